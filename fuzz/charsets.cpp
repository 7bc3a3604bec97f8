// Finding charsets out, of any bytes: whatever the answer, it is one that holds. A text that is
// said to be in a charset decodes by it, up to where it is said not to; a part of the text doesn't
// make more of it than there is.
#include "fuzz/FuzzInput.h"
#include "util/conv/TextDetect.h"
#include "util/conv/block_conversion.h"

#include <memory>

using namespace Quil;

namespace {

TTextDetect& DetectorOf(unsigned int choice) {
    static std::unique_ptr<TTextDetect> detectors[] = {
        std::make_unique<TTextDetect>(TTextDetect::GetCandidates("xx")),
        std::make_unique<TTextDetect>(TTextDetect::GetCandidates("ja")),
        std::make_unique<TTextDetect>(std::vector<stringEx>{"GB18030", "CP1252", "IBM037"})};
    return *detectors[choice % std::size(detectors)];
}

void CheckDecodes(const TEXT_FINDING& found, const std::string& text) {
    const CTextConvHandle converter = GainBestConvFor(0, found.charset);
    FUZZ::Require(!converter->IsPlain(), "the charset is one that the converters know");
    const std::size_t length = static_cast<std::size_t>(found.undecoded.value_or(text.size()));
    FUZZ::Require(length <= text.size(), "what doesn't decode lies in the text");
    wstringEx decoded;
    const LOSS loss =
        DecodeWhole(*converter, decoded, stringEx(text.data(), static_cast<unsigned int>(length)));
    FUZZ::Require(loss.count == 0, "what is in front of it decodes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    TTextDetect& detect = DetectorOf(input.Byte());
    std::string text;
    const unsigned int times = 1 + input.Below(40);
    const std::string rest = input.Rest();
    for (unsigned int i = 0; i < times; ++i) {
        text += rest;
    }
    for (const bool isWhole : {true, false}) {
        const TEXT_FINDING found = detect.Detect(text, isWhole);
        FUZZ::Require((found.kind == TEXT_FINDING::EMPTY) == text.empty(), "nothing is empty");
        FUZZ::Require((found.kind == TEXT_FINDING::TEXT) == !found.charset.empty(),
                      "a text has a charset, and nothing else");
        FUZZ::Require(found.confidence + found.secondConfidence <= 100, "shares of a whole");
        FUZZ::Require(found.second.empty() == (found.secondConfidence == 0) &&
                          (found.second.empty() || found.second != found.charset),
                      "the second is another one");
        if (found.kind == TEXT_FINDING::TEXT && isWhole) {
            CheckDecodes(found, text);
        }
    }
    return 0;
}

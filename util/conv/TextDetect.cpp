// The steps from what proves itself to what must be weighed, each of which answers or passes on.
// What is weighed is a sample: the lines that have anything but ASCII, up to some kilobytes. The
// whole text is decoded but once, by the winner, to see that it does.
#include "util/conv/TextDetect.h"

#include "util/conv/block_conversion.h"
#include "util/conv/detect/CharsetRace.h"
#include "util/conv/detect/LanguageModel.h"
#include "util/conv/detect/candidates.h"
#include "util/conv/detect/language_tables.h"
#include "util/conv/detect/signs.h"
#include "util/conv/utf8_validation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>

namespace Quil {

namespace {

constexpr unsigned int CERTAIN = 100;
constexpr unsigned int BROKEN = 60; // at most, of a text that doesn't decode to its end
constexpr std::size_t SAMPLE = std::size_t{8} << 10;
constexpr std::size_t LONGEST_SEQUENCE = 4;
constexpr std::size_t WIDE_SAMPLE = 4096;

/// No charset of several bytes has such a byte behind the first one of a character.
bool IsBorder(char byte) {
    return static_cast<unsigned char>(byte) < '0';
}

/// The lines of a text that have a byte beyond ASCII, as long as there is room. Answers where they
/// end.
std::size_t SampleLines(std::string_view text, std::string& sample) {
    std::size_t place = 0;
    while (sample.size() < SAMPLE) {
        const std::string_view rest = text.substr(place);
        const std::size_t ascii = IMPL::AsciiLength(rest.data(), rest.size());
        if (ascii == rest.size()) {
            return text.size();
        }
        const std::size_t before = rest.rfind('\n', ascii);
        const std::size_t begin = std::max(before == std::string_view::npos ? 0 : before + 1,
                                           ascii - std::min(ascii, SAMPLE / 8));
        const std::size_t end = std::min(rest.find('\n', ascii), rest.size() - 1) + 1;
        std::string_view line = rest.substr(begin, std::min(end - begin, SAMPLE - sample.size()));
        const bool isWhole = line.size() == end - begin;
        if (!isWhole) { // as much of it as has whole characters
            const auto border = std::find_if(line.rbegin(), line.rend(), IsBorder);
            line.remove_suffix(
                border != line.rend() ? static_cast<std::size_t>(border - line.rbegin()) : 0);
        }
        sample.append(line);
        if (!isWhole) {
            return place + begin + line.size();
        }
        place += end;
    }
    return place;
}

/// The words behind those lines that have a byte which isn't in the sample: by one letter a charset
/// may differ from another.
void SampleRareWords(std::string_view text, std::string& sample) {
    constexpr std::size_t LONGEST = 64;
    std::array<bool, 0x100> isSeen{};
    for (const char byte : sample) {
        isSeen[static_cast<unsigned char>(byte)] = true;
    }
    for (std::size_t pos = 0; pos < text.size(); ++pos) {
        const auto byte = static_cast<unsigned char>(text[pos]);
        if (byte < 0x80 || isSeen[byte]) {
            continue;
        }
        isSeen[byte] = true;
        const std::string_view before =
            text.substr(pos - std::min(pos, LONGEST), std::min(pos, LONGEST));
        const std::string_view behind = text.substr(pos, LONGEST);
        const auto begin = std::find_if(before.rbegin(), before.rend(), IsBorder);
        const auto end = std::find_if(behind.begin(), behind.end(), IsBorder);
        if (begin != before.rend() && end != behind.end()) {
            sample.append(begin.base() - 1, before.end());
            sample.append(behind.begin(), end + 1);
        }
    }
}

std::string SampleOf(std::string_view text) {
    std::string sample;
    SampleRareWords(text.substr(SampleLines(text, sample)), sample);
    return sample;
}

} // namespace

struct TTextDetect::STATE {
    IMPL::CCharsetRace race;
    bool isByDefault;
    CWideWindow window{};
    std::map<stringEx, CTextConvHandle> converters{}; ///< of charsets that prove themselves
    wstringEx text{};

    const TTextConv& ConverterFor(const stringEx& name);
    std::optional<std::uint64_t> FindUndecoded(const TTextConv& converter, std::string_view text,
                                               bool isWhole);
    bool TryWide(std::string_view text, bool isWhole, TEXT_FINDING& found);
    bool TryEscapes(std::string_view text, bool isWhole, TEXT_FINDING& found);
    bool TryUtf8(std::string_view text, bool isWhole, TEXT_FINDING& found);
    void Weigh(std::string_view text, bool isWhole, TEXT_FINDING& found);
};

namespace {

void Settle(TEXT_FINDING& found, const char* charset, unsigned int confidence) {
    found.kind = TEXT_FINDING::TEXT;
    found.charset = charset;
    found.confidence = confidence;
}

std::vector<stringEx> Copy(const std::vector<std::string_view>& names) {
    std::vector<stringEx> copies;
    copies.reserve(names.size());
    for (const std::string_view name : names) {
        copies.emplace_back(name.data(), static_cast<unsigned int>(name.size()));
    }
    return copies;
}

/// Whether a text has what no text has.
bool HasStrange(const wstringEx& text) {
    return std::any_of(text.begin(), text.end(), [](wchar_t character) {
        const auto code = static_cast<std::uint32_t>(character);
        return (code < ' ' && (code < '\b' || code > '\r') && code != 0x1A && code != 0x1B) ||
               (code >= 0x7F && code < 0xA0 && code != 0x85) || (code & 0xFFFE) == 0xFFFE;
    });
}

/// Where zeros are that the low or high bytes of ASCII in 16 bits have beside them: a share of the
/// units, or 0 if some are elsewhere.
double ShareOfZeros(std::string_view text, bool isBigEndian) {
    std::size_t right = 0;
    std::size_t wrong = 0;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        right += text[i + (isBigEndian ? 0 : 1)] == '\0' ? 1 : 0;
        wrong += text[i + (isBigEndian ? 1 : 0)] == '\0' ? 1 : 0;
    }
    return wrong != 0 ? 0 : static_cast<double>(right * 2) / static_cast<double>(text.size());
}

} // namespace

const TTextConv& TTextDetect::STATE::ConverterFor(const stringEx& name) {
    CTextConvHandle& converter = converters[name];
    if (!converter) {
        converter = GainBestConvFor(0, name);
    }
    return *converter;
}

/// Where the first byte is that doesn't decode, but for a character that the end cuts.
std::optional<std::uint64_t> TTextDetect::STATE::FindUndecoded(const TTextConv& converter,
                                                               std::string_view all, bool isWhole) {
    if (!CanGoByBlocks(converter)) {
        return std::nullopt;
    }
    CBlockDecoder decoder(converter);
    decoder.Start(window, all.size());
    for (std::size_t done = 0; done < all.size();) {
        window.Clear();
        const std::size_t taken = decoder.Fill(all.data() + done, all.size() - done, isWhole);
        done += taken;
        if (decoder.GetLoss().count != 0) {
            return decoder.GetLoss().place;
        }
        if (taken == 0) {
            break;
        }
    }
    return std::nullopt;
}

/// UTF-16 and UTF-32 without a mark. Units beyond ASCII must be likely ones where no zeros tell.
bool TTextDetect::STATE::TryWide(std::string_view all, bool isWhole, TEXT_FINDING& found) {
    static constexpr struct {
        const char* charset;
        std::size_t width;
        bool isBigEndian;
    } ROWS[] = {{"UTF-32LE", 4, false},
                {"UTF-32BE", 4, true},
                {"UTF-16LE", 2, false},
                {"UTF-16BE", 2, true}};
    constexpr std::uint64_t DEAREST = 8 * IMPL::COSTS_A_NAT + IMPL::COSTS_A_NAT / 2;
    constexpr double CLEAR = 0.1;
    constexpr std::size_t FEWEST = 4;
    const bool hasZeros = all.find('\0') != std::string_view::npos;
    const std::string_view sample = all.substr(0, hasZeros ? WIDE_SAMPLE : WIDE_SAMPLE / 4);
    std::uint64_t least = DEAREST;
    for (const auto& row : ROWS) {
        if ((isWhole && all.size() % row.width != 0) || all.size() < FEWEST * row.width ||
            (!hasZeros && row.width == 4)) {
            continue;
        }
        const stringEx bytes(sample.data(),
                             static_cast<unsigned int>(sample.size() / row.width * row.width));
        const LOSS loss = DecodeWhole(ConverterFor(stringEx(row.charset)), text, bytes);
        if (loss.count != 0 && loss.place + LONGEST_SEQUENCE < bytes.length()) {
            continue;
        }
        if (text.empty() || HasStrange(text)) {
            continue;
        }
        // Of these a text may have no zeros for some words.
        static const std::vector<std::string_view> DENSE{"zh_CN", "zh_TW", "ja", "ko", "th", "ru",
                                                         "uk",    "bg",    "el", "he", "ar"};
        std::uint64_t cost =
            IMPL::CostOfText(text, hasZeros ? std::vector<std::string_view>() : DENSE,
                             DEAREST * text.length()) /
            text.length();
        if (row.width == 2 && ShareOfZeros(sample, row.isBigEndian) > CLEAR) {
            cost = std::min(cost, DEAREST - 1);
        }
        if (cost < least) {
            least = cost;
            Settle(found, row.charset, hasZeros ? 99 : 90);
            found.lineEnds = IMPL::FindLineEnds(all, row.width, row.isBigEndian);
        }
    }
    if (found.kind == TEXT_FINDING::TEXT) {
        found.undecoded = FindUndecoded(ConverterFor(found.charset), all, isWhole);
    }
    return found.kind == TEXT_FINDING::TEXT;
}

/// Charsets that shift between sets by escapes, in a text of 7 bits.
bool TTextDetect::STATE::TryEscapes(std::string_view all, bool isWhole, TEXT_FINDING& found) {
    const char* const charset = IMPL::FindEscapes(all);
    if (charset == nullptr || (!isByDefault && !race.HasEscaped(charset))) {
        return false;
    }
    const TTextConv& converter = ConverterFor(stringEx(charset));
    if (converter.IsPlain() || FindUndecoded(converter, all, isWhole)) {
        return false; // none of the libraries knows it here, or it isn't that
    }
    Settle(found, charset, CERTAIN - 1);
    return true;
}

/// UTF-8, also with something else behind it: no other text is so for long.
bool TTextDetect::STATE::TryUtf8(std::string_view all, bool isWhole, TEXT_FINDING& found) {
    constexpr std::size_t MANY = 8;
    const IMPL::UTF8_EXTENT extent = IMPL::MeasureUtf8(all);
    const bool isValid =
        extent.length == all.size() || (!isWhole && extent.length + LONGEST_SEQUENCE > all.size());
    if (extent.characters == 0 || (!isValid && extent.characters < MANY)) {
        return false;
    }
    // The fewer there are, the likelier it is chance.
    const unsigned int confidence = extent.characters > 2   ? CERTAIN
                                    : extent.characters > 1 ? 97
                                                            : 90;
    Settle(found, "UTF-8", isValid ? confidence : BROKEN);
    if (!isValid) {
        found.undecoded = extent.length;
    }
    return true;
}

/// What must be weighed.
void TTextDetect::STATE::Weigh(std::string_view all, bool isWhole, TEXT_FINDING& found) {
    const std::string sample = SampleOf(all);
    const std::vector<IMPL::READING*> ranks =
        race.Run(sample, !isWhole || sample.size() < all.size());
    if (ranks.empty()) {
        found.kind = TEXT_FINDING::UNKNOWN;
        return;
    }
    const auto lead = [&](const IMPL::READING* reading) {
        return static_cast<double>(reading->cost - ranks.front()->cost) / IMPL::COSTS_A_NAT;
    };
    constexpr double TRUST = 0.5; // characters of a text depend on each other
    const auto noise = static_cast<double>(IMPL::CLanguageModel::GetCostOfNoise(sample));
    double others =
        std::exp(-TRUST * (noise - static_cast<double>(ranks.front()->cost)) / IMPL::COSTS_A_NAT);
    for (const IMPL::READING* reading : ranks) {
        others += std::exp(-TRUST * lead(reading));
    }
    found.kind = TEXT_FINDING::TEXT;
    found.charset = ranks.front()->charset;
    found.confidence = static_cast<unsigned int>(99 / others);
    if (ranks.size() > 1) {
        found.secondConfidence =
            static_cast<unsigned int>(99 * std::exp(-TRUST * lead(ranks[1])) / others);
        found.second = found.secondConfidence != 0 ? ranks[1]->charset : stEMPTY;
    }
    found.undecoded = FindUndecoded(*ranks.front()->converter, all, isWhole);
    found.confidence = found.undecoded ? std::min(found.confidence, BROKEN) : found.confidence;
}

TTextDetect::TTextDetect(const std::vector<stringEx>& candidates)
    : __state(new STATE{
          IMPL::CCharsetRace(candidates.empty()
                                 ? GetCandidates(TTextConv::GetSysDefaultCanonicalLocaleName())
                                 : candidates,
                             !candidates.empty()),
          candidates.empty()}) {}

TTextDetect::~TTextDetect() = default;

TEXT_FINDING TTextDetect::Detect(std::string_view text, bool isWhole) {
    TEXT_FINDING found;
    if (text.empty()) {
        return found;
    }
    found.lineEnds = IMPL::FindLineEnds(text, 1, false);
    if (const IMPL::MARK_FOUND mark = IMPL::FindMark(text); mark.charset != nullptr) {
        Settle(found, mark.charset, CERTAIN);
        found.markLength = mark.length;
        found.lineEnds = IMPL::FindLineEnds(text, mark.width, found.charset.end_with("BE"));
        found.undecoded =
            __state->FindUndecoded(__state->ConverterFor(found.charset), text, isWhole);
        return found;
    }
    const std::size_t ascii = IMPL::AsciiLength(text.data(), text.size());
    const bool hasZeros = text.find('\0') != std::string_view::npos;
    if (ascii == text.size() && !hasZeros && __state->TryEscapes(text, isWhole, found)) {
        return found;
    }
    if (hasZeros || IMPL::HasBinary(text)) {
        if (!__state->TryWide(text, isWhole, found)) {
            found.kind = TEXT_FINDING::BINARY;
            found.lineEnds = TEXT_FINDING::NO_ENDS;
        }
        return found;
    }
    if (ascii == text.size()) {
        Settle(found, "ASCII", CERTAIN);
        return found;
    }
    if (!__state->TryUtf8(text, isWhole, found) && !__state->TryWide(text, isWhole, found)) {
        __state->Weigh(text, isWhole, found);
    }
    return found;
}

std::vector<stringEx> TTextDetect::GetCandidates(const stringEx& language) {
    return Copy(IMPL::GetCandidatesOf(std::string_view(language.data(), language.length())));
}

} // namespace Quil

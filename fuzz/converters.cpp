// Converters on any bytes: by blocks, whose ends lie anywhere, as at once; and text that came out
// of a decoder and went into an encoder without loss comes back as it was.
#include "fuzz/FuzzInput.h"
#include "util/conv/block_conversion.h"
#include "util/conv/utf8_codec.h"
#include "util/conv/utf8_validation.h"

#include <map>
#include <vector>

using namespace Quil;

namespace {

std::vector<stringEx> AllNames() {
    std::vector<stringEx> names{"UTF-16", "UTF-32", "UTF-32BE", "EUC-JISX0213",
                                "IBM930", "TSCII",  "CP1258"};
    TTextConv::ENC_COOKIE cookie;
    stringEx name;
    TTextConv::ENCINFO info;
    while (TTextConv::EnumEncoding(cookie, name, info)) {
        names.push_back(name);
    }
    return names;
}

const TTextConv& ConverterOf(const stringEx& name) {
    static std::map<std::string, CTextConvHandle> known;
    CTextConvHandle& converter = known[name.c_str()];
    if (!converter) {
        converter = GainBestConvFor(0, name);
    }
    return *converter;
}

wstringEx DecodeByBlocks(const TTextConv& converter, const std::string& bytes, std::size_t step,
                         LOSS& loss) {
    wstringEx text;
    CWideWindow window(128);
    CBlockDecoder decoder(converter);
    decoder.Start(window, bytes.size());
    std::string left;
    for (std::size_t at = 0;;) {
        left += bytes.substr(at, step);
        at = std::min(at + step, bytes.size());
        const bool isLast = at == bytes.size();
        std::size_t read = 1;
        while (read != 0 && !(isLast && left.empty())) {
            // Memory of its own, whose end is seen.
            const std::vector<char> block(left.begin(), left.end());
            read = decoder.Fill(block.data(), block.size(), isLast);
            left.erase(0, read);
            text.append(window.Data(), static_cast<unsigned int>(window.Length()));
            window.Clear();
        }
        if (isLast) {
            FUZZ::Require(left.empty(), "a decoder takes all there is");
            break;
        }
    }
    decoder.Fill(nullptr, 0, true);
    text.append(window.Data(), static_cast<unsigned int>(window.Length()));
    loss = decoder.GetLoss();
    return text;
}

stringEx EncodeByBlocks(const TTextConv& converter, const wstringEx& text, std::size_t step,
                        LOSS& loss) {
    stringEx bytes;
    CWideWindow window;
    CBlockEncoder encoder(converter);
    encoder.Start(text.length());
    for (std::size_t at = 0;;) {
        const std::size_t room = std::min({step, text.length() - at, window.GetRoom()});
        window.Put(text.data() + at, room);
        at += room;
        const bool isLast = at == text.length();
        const stringEx& more = encoder.Encode(window, isLast);
        bytes.append(more.data(), more.length());
        if (isLast) {
            break;
        }
    }
    loss = encoder.GetLoss();
    return bytes;
}

/// The validating codec takes what it says is valid, to the byte, and gives it back.
void CheckUtf8(const std::string& bytes) {
    const std::size_t valid = IMPL::ValidUtf8Length(bytes.data(), bytes.size());
    FUZZ::Require(IMPL::AsciiLength(bytes.data(), bytes.size()) <= valid, "ASCII is valid");
    std::vector<wchar_t> text(bytes.size());
    const IMPL::CODEC_STEP decoded =
        IMPL::DecodeUtf8(text.data(), text.size(), bytes.data(), bytes.size());
    FUZZ::Require(decoded.read == valid, "the decoder takes what is valid");
    std::vector<char> again(valid + IMPL::UTF8_MAX_SEQUENCE);
    const IMPL::CODEC_STEP encoded =
        IMPL::EncodeUtf8(again.data(), again.size(), text.data(), decoded.written);
    FUZZ::Require(encoded.read == decoded.written, "the encoder takes it");
    FUZZ::Require(std::string(again.data(), encoded.written) == bytes.substr(0, valid),
                  "and gives it back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<stringEx> names = AllNames();
    FUZZ::CFuzzInput input(data, size);
    const TTextConv& converter =
        ConverterOf(names[(input.Byte() + 256 * input.Byte()) % names.size()]);
    const std::size_t step = 1 + input.Below(60);
    std::string bytes = input.Rest();
    CheckUtf8(bytes);
    for (std::size_t times = bytes.size() > 256 ? 0 : step % 6; times != 0; --times) {
        bytes += bytes; // long texts go through codecs
    }
    const stringEx whole(bytes.data(), static_cast<unsigned int>(bytes.size()));
    wstringEx text;
    const LOSS undecoded = DecodeWhole(converter, text, whole);
    stringEx again;
    LOSS unencoded = EncodeWhole(converter, again, text);
    // What a library with states makes of spoilt text may depend on how much of it it sees.
    if (CanGoByBlocks(converter) && (again == whole || IsStateless(converter))) {
        LOSS loss;
        FUZZ::Require(DecodeByBlocks(converter, bytes, step, loss) == text,
                      "decoded by blocks as at once");
        FUZZ::Require(loss.count == undecoded.count, "the same bytes are lost");
        FUZZ::Require(EncodeByBlocks(converter, text, step, loss) == again,
                      "encoded by blocks as at once");
        FUZZ::Require(loss.count == unencoded.count, "the same characters are lost");
    }
    if (converter.IsUtf8() && undecoded.count == 0 && unencoded.count == 0) {
        FUZZ::Require(again == whole, "what lost nothing comes back");
    }
    return 0;
}

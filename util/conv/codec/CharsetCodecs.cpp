#include "util/conv/codec/CharsetCodecs.h"

#include "util/conv/codec/utf16_codec.h"
#include "util/conv/utf8_codec.h"

#include <algorithm>
#include <iterator>

namespace Quil::IMPL {

namespace {

constexpr CFunctionCodec<char, wchar_t, DecodeUtf8> UTF8_DECODER;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf8> UTF8_ENCODER;
constexpr CFunctionCodec<char, wchar_t, DecodeUtf16<std::endian::little>> UTF16_LE_DECODER;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf16<std::endian::little>> UTF16_LE_ENCODER;
constexpr CFunctionCodec<char, wchar_t, DecodeUtf16<std::endian::big>> UTF16_BE_DECODER;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf16<std::endian::big>> UTF16_BE_ENCODER;

struct CODEC_ROW {
    const char* name;
    const IDecoder* decoder;
    const IEncoder* encoder;
};

/// Codecs that need no filling.
constexpr CODEC_ROW FIXED_CODECS[] = {{"UTF-8", &UTF8_DECODER, &UTF8_ENCODER},
                                      {"UTF8", &UTF8_DECODER, &UTF8_ENCODER},
                                      {"UTF-16LE", &UTF16_LE_DECODER, &UTF16_LE_ENCODER},
                                      {"UTF16LE", &UTF16_LE_DECODER, &UTF16_LE_ENCODER},
                                      {"UTF-16BE", &UTF16_BE_DECODER, &UTF16_BE_ENCODER},
                                      {"UTF16BE", &UTF16_BE_DECODER, &UTF16_BE_ENCODER}};

// Charsets whose sequences depend on nothing before or behind them: they have no shift states and
// no combining characters that a decoder would wait for. Not the Korean CP949 (UHC): the C
// library's decoder steps over some of the pairs that it refuses, so that what they give depends on
// where a call begins.
constexpr const char* CHARSETS_OF_PAIRS[] = {"GBK",  "CP936", "GB2312", "EUC-CN", "GB18030",
                                             "BIG5", "CP950", "EUC-KR", "EUC-TW", "SHIFT_JIS",
                                             "SJIS", "CP932", "EUC-JP"};

/// The elements of text from which on filling the tables pays.
constexpr std::uint64_t PAIRS_THRESHOLD = std::uint64_t{512} << 10;
constexpr std::uint64_t BYTES_THRESHOLD = std::uint64_t{16} << 10;

/// Those of the charset, or null.
const CODEC_ROW* FixedCodecOf(const stringEx& name) {
    const auto* const found = std::ranges::find_if(
        FIXED_CODECS, [&](const CODEC_ROW& row) { return name.equal_no_case(row.name); });
    return found != std::end(FIXED_CODECS) ? found : nullptr;
}

} // namespace

bool NamesUtf8(const stringEx& name) {
    const CODEC_ROW* const codecs = FixedCodecOf(name);
    return codecs != nullptr && codecs->decoder == &UTF8_DECODER;
}

CCharsetCodecs::CCharsetCodecs(const stringEx& name, ICONV_CONVERT convert, void* toWide,
                               void* fromWide, bool canBeAsked)
    : __kind(canBeAsked ? KIND::UNKNOWN : KIND::NONE), __convert(convert), __toWide(toWide),
      __fromWide(fromWide) {
    if (const CODEC_ROW* const codecs = FixedCodecOf(name)) {
        __kind = KIND::FIXED;
        __fixedDecoder = codecs->decoder;
        __fixedEncoder = codecs->encoder;
    } else if (canBeAsked && std::ranges::any_of(CHARSETS_OF_PAIRS, [&](const char* known) {
                   return name.equal_no_case(known);
               })) {
        __kind = KIND::PAIRS;
    }
}

/// Finds out whether each byte of a charset that isn't known by its name is a character.
bool CCharsetCodecs::__IsOfBytes() {
    if (__kind == KIND::UNKNOWN) {
        __kind = CByteDecoder::Ask(__convert, __toWide, __characters) ? KIND::BYTES : KIND::NONE;
    }
    return __kind == KIND::BYTES;
}

const IDecoder* CCharsetCodecs::DecoderFor(std::size_t length) {
    if (__fixedDecoder != nullptr || __kind == KIND::NONE) {
        return __fixedDecoder;
    }
    __decoded += length;
    if (__decoder == nullptr) {
        if (__kind == KIND::PAIRS && __decoded >= PAIRS_THRESHOLD) {
            __decoder = std::make_unique<const CTableDecoder>(__convert, __toWide);
        } else if (__kind != KIND::PAIRS && __decoded >= BYTES_THRESHOLD && __IsOfBytes()) {
            __decoder = std::make_unique<const CByteDecoder>(__characters);
        }
    }
    return __decoder.get();
}

const IEncoder* CCharsetCodecs::EncoderFor(std::size_t length) {
    if (__fixedEncoder != nullptr || __kind == KIND::NONE) {
        return __fixedEncoder;
    }
    __encoded += length;
    if (__encoder == nullptr) {
        if (__kind == KIND::PAIRS && __encoded >= PAIRS_THRESHOLD) {
            __encoder = std::make_unique<const CTableEncoder>(__convert, __fromWide);
        } else if (__kind != KIND::PAIRS && __encoded >= BYTES_THRESHOLD && __IsOfBytes()) {
            __encoder = std::make_unique<const CByteEncoder>(__convert, __fromWide, __characters);
        }
    }
    return __encoder.get();
}

} // namespace Quil::IMPL

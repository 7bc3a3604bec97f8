#include "util/conv/codec/CharsetCodecs.h"

#include "util/conv/Utf8Codec.h"
#include "util/conv/codec/Utf16Codec.h"

#include <algorithm>
#include <iterator>

namespace Quil::IMPL {

namespace {

constexpr CFunctionCodec<char, wchar_t, DecodeUtf8> utf8Decoder;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf8> utf8Encoder;
constexpr CFunctionCodec<char, wchar_t, DecodeUtf16<std::endian::little>> utf16LeDecoder;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf16<std::endian::little>> utf16LeEncoder;
constexpr CFunctionCodec<char, wchar_t, DecodeUtf16<std::endian::big>> utf16BeDecoder;
constexpr CFunctionCodec<wchar_t, char, EncodeUtf16<std::endian::big>> utf16BeEncoder;

struct FIXED_CODECS {
    const char* name;
    const IDecoder* decoder;
    const IEncoder* encoder;
};

/// Codecs that need no filling.
constexpr FIXED_CODECS fixedCodecs[] = {
    {"UTF-8", &utf8Decoder, &utf8Encoder},          {"UTF8", &utf8Decoder, &utf8Encoder},
    {"UTF-16LE", &utf16LeDecoder, &utf16LeEncoder}, {"UTF16LE", &utf16LeDecoder, &utf16LeEncoder},
    {"UTF-16BE", &utf16BeDecoder, &utf16BeEncoder}, {"UTF16BE", &utf16BeDecoder, &utf16BeEncoder}};

// Charsets whose sequences depend on nothing before or behind them: they have no shift states and
// no combining characters that a decoder would wait for. Not the Korean CP949 (UHC): the C
// library's decoder steps over some of the pairs that it refuses, so that what they give depends on
// where a call begins.
constexpr const char* charsetsOfPairs[] = {"GBK",  "CP936", "GB2312", "EUC-CN", "GB18030",
                                           "BIG5", "CP950", "EUC-KR", "EUC-TW", "SHIFT_JIS",
                                           "SJIS", "CP932", "EUC-JP"};

/// The elements of text from which on filling the tables pays.
constexpr std::uint64_t pairsThreshold = std::uint64_t{512} << 10;
constexpr std::uint64_t bytesThreshold = std::uint64_t{16} << 10;

/// Those of the charset, or null.
const FIXED_CODECS* FixedCodecsOf(const stringEx& name) {
    const auto* const found = std::ranges::find_if(
        fixedCodecs, [&](const FIXED_CODECS& row) { return name.equal_no_case(row.name); });
    return found != std::end(fixedCodecs) ? found : nullptr;
}

} // namespace

bool NamesUtf8(const stringEx& name) {
    const FIXED_CODECS* const codecs = FixedCodecsOf(name);
    return codecs != nullptr && codecs->decoder == &utf8Decoder;
}

CCharsetCodecs::CCharsetCodecs(const stringEx& name, ICONV_CONVERT convert, void* toWide,
                               void* fromWide, bool canBeAsked)
    : __kind(canBeAsked ? KIND::UNKNOWN : KIND::NONE), __convert(convert), __toWide(toWide),
      __fromWide(fromWide) {
    if (const FIXED_CODECS* const codecs = FixedCodecsOf(name)) {
        __kind = KIND::FIXED;
        __fixedDecoder = codecs->decoder;
        __fixedEncoder = codecs->encoder;
    } else if (canBeAsked && std::ranges::any_of(charsetsOfPairs, [&](const char* known) {
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
        if (__kind == KIND::PAIRS && __decoded >= pairsThreshold) {
            __decoder = std::make_unique<const CTableDecoder>(__convert, __toWide);
        } else if (__kind != KIND::PAIRS && __decoded >= bytesThreshold && __IsOfBytes()) {
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
        if (__kind == KIND::PAIRS && __encoded >= pairsThreshold) {
            __encoder = std::make_unique<const CTableEncoder>(__convert, __fromWide);
        } else if (__kind != KIND::PAIRS && __encoded >= bytesThreshold && __IsOfBytes()) {
            __encoder = std::make_unique<const CByteEncoder>(__convert, __fromWide, __characters);
        }
    }
    return __encoder.get();
}

} // namespace Quil::IMPL

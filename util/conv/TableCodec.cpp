#include "util/conv/TableCodec.h"

#include "util/conv/AsciiBlock.h"

#include <cstring>

namespace Quil::IMPL {

namespace {

constexpr std::uint32_t bmpSize = 0x10000;
constexpr std::uint32_t asciiSize = 0x80;
constexpr unsigned int byteValues = 0x100;

// Not the Korean CP949 (UHC): the C library's decoder steps over some of the pairs that it refuses,
// so that what they give depends on where a call begins.
constexpr const char* statelessCharsets[] = {"GBK",  "CP936", "GB2312", "EUC-CN", "GB18030",
                                             "BIG5", "CP950", "EUC-KR", "EUC-TW", "SHIFT_JIS",
                                             "SJIS", "CP932", "EUC-JP"};

/// Converts one sequence or character by the library. The bytes of the result, or 0 if it isn't
/// converted as a whole.
std::size_t Ask(ICONV_CONVERT convert, void* descriptor, const void* src, std::size_t srcSize,
                void* dst, std::size_t dstSize) {
    char* in = static_cast<char*>(const_cast<void*>(src)); // the library only reads it
    char* out = static_cast<char*>(dst);
    std::size_t outLeft = dstSize;
    const std::size_t result = convert(descriptor, &in, &srcSize, &out, &outLeft);
    return result == iconvFailure || srcSize != 0 ? 0 : dstSize - outLeft;
}

/// The one character below U+10000 that some bytes decode to, or 0.
char16_t AskCharacter(ICONV_CONVERT convert, void* descriptor, const unsigned char* bytes,
                      std::size_t count) {
    wchar_t wide[2] = {};
    const bool isOne = Ask(convert, descriptor, bytes, count, wide, sizeof wide) == sizeof(wchar_t);
    const auto code = static_cast<std::uint32_t>(wide[0]);
    return isOne && code < bmpSize ? static_cast<char16_t>(code) : char16_t{0};
}

} // namespace

bool IsStatelessCharset(const stringEx& name) {
    return std::ranges::any_of(statelessCharsets,
                               [&](const char* known) { return name.equal_no_case(known); });
}

CTableDecoder::CTableDecoder(ICONV_CONVERT convert, void* descriptor)
    : __pairs(std::size_t{byteValues} * byteValues) {
    for (unsigned int value = 0; value < byteValues; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        __singles[value] = AskCharacter(convert, descriptor, &byte, 1);
        __isAsciiPlain = __isAsciiPlain && (value >= asciiSize || __singles[value] == value);
        if (value >= asciiSize && __singles[value] == 0) {
            __FillPairs(convert, descriptor, value);
        }
    }
}

void CTableDecoder::__FillPairs(ICONV_CONVERT convert, void* descriptor, unsigned int lead) {
    for (unsigned int trail = 0; trail < byteValues; ++trail) {
        const unsigned char bytes[] = {static_cast<unsigned char>(lead),
                                       static_cast<unsigned char>(trail)};
        __pairs[lead * byteValues + trail] = AskCharacter(convert, descriptor, bytes, sizeof bytes);
    }
}

CODEC_STEP CTableDecoder::operator()(wchar_t* dst, std::size_t room, const char* src,
                                     std::size_t length) const {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(src);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && written < room) {
        const unsigned int lead = bytes[read];
        if (__isAsciiPlain && lead < asciiSize && length - read >= asciiBlock &&
            room - written >= asciiBlock && WidenAsciiBlock(dst + written, bytes + read)) {
            read += asciiBlock;
            written += asciiBlock;
        } else if (__singles[lead] != 0 || (lead == 0 && __isAsciiPlain)) {
            dst[written++] = static_cast<wchar_t>(__singles[lead]);
            ++read;
        } else {
            const char16_t c =
                length - read >= 2 ? __pairs[lead * byteValues + bytes[read + 1]] : char16_t{0};
            if (c == 0) {
                break;
            }
            dst[written++] = static_cast<wchar_t>(c);
            read += 2;
        }
    }
    return {read, written};
}

CTableEncoder::CTableEncoder(ICONV_CONVERT convert, void* descriptor) : __sequences(bmpSize) {
    for (std::uint32_t code = 0; code < bmpSize; ++code) {
        const auto wide = static_cast<wchar_t>(code);
        unsigned char bytes[2 * sizeof(std::uint32_t)];
        const std::size_t size = Ask(convert, descriptor, &wide, sizeof wide, bytes, sizeof bytes);
        std::uint32_t sequence = 0;
        for (std::size_t i = 0; i < size && size <= sizeof sequence; ++i) {
            sequence |= static_cast<std::uint32_t>(bytes[i]) << 8 * i;
        }
        // A last byte of 0 couldn't be told from a shorter sequence; none of the charsets has one.
        const bool isWhole = size != 0 && size <= sizeof sequence && bytes[size - 1] != 0;
        __sequences[code] = isWhole ? sequence : 0;
        __isAsciiPlain = __isAsciiPlain && (code >= asciiSize || sequence == code);
    }
}

CODEC_STEP CTableEncoder::operator()(char* dst, std::size_t room, const wchar_t* src,
                                     std::size_t length) const {
    auto* const bytes = reinterpret_cast<unsigned char*>(dst);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && room - written >= utf8MaxSequence) {
        const auto code = static_cast<std::uint32_t>(src[read]);
        if (__isAsciiPlain && code < asciiSize) {
            if (length - read >= asciiBlock && room - written >= asciiBlock &&
                NarrowAsciiBlock(bytes + written, src + read)) {
                read += asciiBlock;
                written += asciiBlock;
            } else {
                bytes[written++] = static_cast<unsigned char>(code);
                ++read;
            }
            continue;
        }
        const std::uint32_t sequence = code < bmpSize ? __sequences[code] : 0;
        if (sequence == 0) {
            break;
        }
        for (std::uint32_t rest = sequence; rest != 0; rest >>= 8) {
            bytes[written++] = static_cast<unsigned char>(rest);
        }
        ++read;
    }
    return {read, written};
}

} // namespace Quil::IMPL

// The loops look at several elements together where they are of one kind, since texts come in runs.

#include "util/conv/codec/table_codec.h"

#include "util/base/lanes.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace Quil::IMPL {

namespace {

constexpr std::uint32_t BMP_SIZE = 0x10000;
constexpr std::uint32_t ASCII_SIZE = 0x80;
constexpr unsigned int BYTE_VALUES = 0x100;
constexpr std::uint16_t IS_BYTE = 0x100; ///< Tells the byte 0 from none.

struct ANSWER {
    std::size_t status;
    std::size_t left;    ///< Bytes of the source that were not read.
    std::size_t written; ///< Bytes.
};

/// Hands some bytes to the library.
ANSWER Call(ICONV_CONVERT convert, void* descriptor, const void* src, std::size_t srcSize,
            void* dst, std::size_t dstSize) {
    char* in = static_cast<char*>(const_cast<void*>(src)); // the library only reads it
    char* out = static_cast<char*>(dst);
    std::size_t outLeft = dstSize;
    const std::size_t status = convert(descriptor, &in, &srcSize, &out, &outLeft);
    return {status, srcSize, dstSize - outLeft};
}

/// Converts one sequence or character by the library. The bytes of the result, or 0 if it isn't
/// converted as a whole.
std::size_t Ask(ICONV_CONVERT convert, void* descriptor, const void* src, std::size_t srcSize,
                void* dst, std::size_t dstSize) {
    const ANSWER answer = Call(convert, descriptor, src, srcSize, dst, dstSize);
    return answer.status == ICONV_FAILURE || answer.left != 0 ? 0 : answer.written;
}

/// The one character below U+10000 that some bytes decode to, or 0.
char16_t AskCharacter(ICONV_CONVERT convert, void* descriptor, const unsigned char* bytes,
                      std::size_t count) {
    wchar_t wide[2] = {};
    const bool isOne = Ask(convert, descriptor, bytes, count, wide, sizeof wide) == sizeof(wchar_t);
    const auto code = static_cast<std::uint32_t>(wide[0]);
    return isOne && code < BMP_SIZE ? static_cast<char16_t>(code) : char16_t{0};
}

/// Two bytes as the index of a table that goes by the trail byte first: as they lie in memory where
/// the first byte is the lowest.
std::uint32_t PairAt(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8);
}

/// Stores the four bytes of a sequence, the lowest one first.
void StoreLowestFirst(unsigned char* dst, std::uint32_t sequence) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(dst, &sequence, sizeof sequence);
    } else {
        for (std::size_t i = 0; i < sizeof sequence; ++i) {
            dst[i] = static_cast<unsigned char>(sequence >> 8 * i);
        }
    }
}

/// How many of four entries stand before the first empty one, without a branch on each: where in
/// the four a run ends can't be foretold.
std::size_t CountBeforeZero(std::uint32_t first, std::uint32_t second, std::uint32_t third,
                            std::uint32_t fourth) {
    const auto bit = [](std::uint32_t entry) { return static_cast<unsigned int>(entry != 0); };
    return static_cast<std::size_t>(
        std::countr_one(bit(first) | bit(second) << 1 | bit(third) << 2 | bit(fourth) << 3));
}

/// A run of ASCII by blocks.
struct ASCII_RUN {
    std::size_t length;

    ASCII_RUN(wchar_t* dst, std::size_t room, const unsigned char* src, std::size_t srcLength)
        : length(0) {
        const std::size_t limit = std::min(room, srcLength);
        while (limit - length >= LANES_SIZE && WidenAscii(dst + length, src + length)) {
            length += LANES_SIZE;
        }
    }
    ASCII_RUN(unsigned char* dst, std::size_t room, const wchar_t* src, std::size_t srcLength)
        : length(0) {
        const std::size_t limit = std::min(room, srcLength);
        while (limit - length >= LANES_SIZE && NarrowAscii(dst + length, src + length)) {
            length += LANES_SIZE;
        }
    }
};

} // namespace

CTableDecoder::CTableDecoder(ICONV_CONVERT convert, void* descriptor)
    : __pairs(std::size_t{BYTE_VALUES} * BYTE_VALUES) {
    for (unsigned int value = 0; value < BYTE_VALUES; ++value) {
        const auto byte = static_cast<unsigned char>(value);
        __singles[value] = AskCharacter(convert, descriptor, &byte, 1);
        __isAsciiPlain = __isAsciiPlain && (value >= ASCII_SIZE || __singles[value] == value);
        if (value >= ASCII_SIZE && __singles[value] == 0) {
            __FillPairs(convert, descriptor, value);
        }
    }
}

void CTableDecoder::__FillPairs(ICONV_CONVERT convert, void* descriptor, unsigned int lead) {
    for (unsigned int trail = 0; trail < BYTE_VALUES; ++trail) {
        const unsigned char bytes[] = {static_cast<unsigned char>(lead),
                                       static_cast<unsigned char>(trail)};
        __pairs[PairAt(bytes)] = AskCharacter(convert, descriptor, bytes, sizeof bytes);
    }
}

/// A run of pairs. A single byte leads no pair, so its entries are empty and end the run.
CODEC_STEP CTableDecoder::__ConvertPairs(wchar_t* dst, std::size_t room, const unsigned char* src,
                                         std::size_t length) const {
    constexpr std::size_t TOGETHER = 4;
    const std::size_t limit = std::min(room, length / 2);
    std::size_t count = 0;
    const char16_t* const pairs = __pairs.data();
    for (; limit - count >= TOGETHER; count += TOGETHER) {
        // Kept apart, not in an array, so that they stay in registers.
        const unsigned char* const at = src + 2 * count;
        const char16_t first = pairs[PairAt(at)];
        const char16_t second = pairs[PairAt(at + 2)];
        const char16_t third = pairs[PairAt(at + 4)];
        const char16_t fourth = pairs[PairAt(at + 6)];
        dst[count] = static_cast<wchar_t>(first);
        dst[count + 1] = static_cast<wchar_t>(second);
        dst[count + 2] = static_cast<wchar_t>(third);
        dst[count + 3] = static_cast<wchar_t>(fourth);
        if (first == 0 || second == 0 || third == 0 || fourth == 0) {
            count += CountBeforeZero(first, second, third, fourth);
            return {2 * count, count};
        }
    }
    for (; count < limit; ++count) {
        const char16_t found = __pairs[PairAt(src + 2 * count)];
        if (found == 0) {
            break;
        }
        dst[count] = static_cast<wchar_t>(found);
    }
    return {2 * count, count};
}

CODEC_STEP CTableDecoder::Convert(wchar_t* dst, std::size_t room, const char* src,
                                  std::size_t length) const {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(src);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && written < room) {
        const unsigned int lead = bytes[read];
        if (__singles[lead] != 0 || (lead == 0 && __isAsciiPlain)) {
            if (__isAsciiPlain && lead < ASCII_SIZE) {
                const ASCII_RUN run(dst + written, room - written, bytes + read, length - read);
                read += run.length;
                written += run.length;
                if (run.length != 0) {
                    continue;
                }
            }
            dst[written++] = static_cast<wchar_t>(__singles[lead]);
            ++read;
            continue;
        }
        const CODEC_STEP run =
            __ConvertPairs(dst + written, room - written, bytes + read, length - read);
        if (run.read == 0) {
            break;
        }
        read += run.read;
        written += run.written;
    }
    return {read, written};
}

CTableEncoder::CTableEncoder(ICONV_CONVERT convert, void* descriptor)
    : __sequences(BMP_SIZE), __pairs(BMP_SIZE) {
    for (std::uint32_t code = 0; code < BMP_SIZE; ++code) {
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
        __pairs[code] =
            isWhole && size == 2 ? static_cast<std::uint16_t>(sequence) : std::uint16_t{0};
        __isAsciiPlain = __isAsciiPlain && (code >= ASCII_SIZE || sequence == code);
    }
}

/// A run of characters that are pairs, four at a time. Answers how many.
std::size_t CTableEncoder::__ConvertPairs(unsigned char* dst, std::size_t room, const wchar_t* src,
                                          std::size_t length) const {
    constexpr std::size_t TOGETHER = 4;
    const std::size_t limit = std::min(room / 2, length);
    const std::uint16_t* const pairs = __pairs.data();
    std::size_t count = 0;
    for (; limit - count >= TOGETHER; count += TOGETHER) {
        std::uint32_t codes[TOGETHER];
        std::memcpy(codes, src + count, sizeof codes);
        if ((codes[0] | codes[1] | codes[2] | codes[3]) >= BMP_SIZE) {
            break;
        }
        const std::uint32_t first = pairs[codes[0]];
        const std::uint32_t second = pairs[codes[1]];
        const std::uint32_t third = pairs[codes[2]];
        const std::uint32_t fourth = pairs[codes[3]];
        StoreLowestFirst(dst + 2 * count, first | second << 16);
        StoreLowestFirst(dst + 2 * count + 4, third | fourth << 16);
        if (first == 0 || second == 0 || third == 0 || fourth == 0) {
            return count + CountBeforeZero(first, second, third, fourth);
        }
    }
    return count;
}

CODEC_STEP CTableEncoder::Convert(char* dst, std::size_t room, const wchar_t* src,
                                  std::size_t length) const {
    auto* const bytes = reinterpret_cast<unsigned char*>(dst);
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && room - written >= LONGEST_CHARACTER) {
        const auto code = static_cast<std::uint32_t>(src[read]);
        if (__isAsciiPlain && code < ASCII_SIZE) {
            const ASCII_RUN run(bytes + written, room - written, src + read, length - read);
            read += run.length;
            written += run.length;
            if (run.length == 0) {
                bytes[written++] = static_cast<unsigned char>(code);
                ++read;
            }
            continue;
        }
        const std::size_t run =
            __ConvertPairs(bytes + written, room - written, src + read, length - read);
        read += run;
        written += 2 * run;
        if (run != 0) {
            continue;
        }
        const std::uint32_t sequence = code < BMP_SIZE ? __sequences[code] : 0;
        if (sequence == 0) {
            break;
        }
        // The bytes behind a shorter one are written over by the next; there is room for all.
        StoreLowestFirst(bytes + written, sequence);
        written += static_cast<std::size_t>(std::bit_width(sequence) + 7) / 8;
        ++read;
    }
    return {read, written};
}

bool CByteDecoder::Ask(ICONV_CONVERT convert, void* descriptor, CHARACTERS& characters) {
    for (unsigned int value = 0; value < BYTE_VALUES; ++value) {
        // What an earlier byte may have changed is undone, and must not show.
        convert(descriptor, nullptr, nullptr, nullptr, nullptr);
        const auto byte = static_cast<unsigned char>(value);
        wchar_t wide[2] = {};
        const ANSWER answer = Call(convert, descriptor, &byte, 1, wide, sizeof wide);
        const bool isRefused = answer.status == ICONV_FAILURE && errno == EILSEQ &&
                               answer.left == 1 && answer.written == 0;
        if (!isRefused &&
            (answer.status != 0 || answer.left != 0 || answer.written != sizeof(wchar_t))) {
            return false;
        }
        characters[value] = isRefused ? sm_refused : wide[0];
    }
    return true;
}

CByteDecoder::CByteDecoder(const CHARACTERS& characters)
    : __characters(characters), __isAsciiPlain(true),
      __hasRefused(std::ranges::count(characters, sm_refused) != 0) {
    for (unsigned int value = 0; value < ASCII_SIZE; ++value) {
        __isAsciiPlain = __isAsciiPlain && characters[value] == static_cast<wchar_t>(value);
    }
}

namespace {

/// Converts elements one by one, and ASCII by blocks where it is plain, until `put(target, source)`
/// says that there is nothing for one. Answers how many.
template <class Target, class Source, class Put>
std::size_t ConvertSingles(Target* dst, const Source* src, std::size_t limit, bool isAsciiPlain,
                           Put put) {
    std::size_t done = 0;
    while (done < limit) {
        if (isAsciiPlain) {
            done += ASCII_RUN(dst + done, limit - done, src + done, limit - done).length;
        }
        const std::size_t end = std::min(limit, done + LANES_SIZE);
        for (; done < end; ++done) {
            if (!put(dst[done], src[done])) {
                return done;
            }
        }
    }
    return done;
}

} // namespace

CODEC_STEP CByteDecoder::Convert(wchar_t* dst, std::size_t room, const char* src,
                                 std::size_t length) const {
    const auto convert = [&](auto mayRefuse) {
        return ConvertSingles(dst, reinterpret_cast<const unsigned char*>(src),
                              std::min(room, length), __isAsciiPlain,
                              [this, mayRefuse](wchar_t& character, unsigned char byte) {
                                  character = __characters[byte];
                                  return !mayRefuse.value || character != sm_refused;
                              });
    };
    const std::size_t done = __hasRefused ? convert(std::true_type()) : convert(std::false_type());
    return {done, done};
}

CByteEncoder::CByteEncoder(ICONV_CONVERT convert, void* descriptor,
                           const CByteDecoder::CHARACTERS& characters)
    : __bytes(BMP_SIZE) {
    for (unsigned int value = 0; value < BYTE_VALUES; ++value) {
        const wchar_t wide = characters[value];
        unsigned char bytes[LONGEST_CHARACTER];
        if (static_cast<std::uint32_t>(wide) < BMP_SIZE &&
            IMPL::Ask(convert, descriptor, &wide, sizeof wide, bytes, sizeof bytes) == 1) {
            __bytes[static_cast<std::uint32_t>(wide)] =
                static_cast<std::uint16_t>(IS_BYTE | bytes[0]);
        }
    }
    for (std::uint32_t code = 0; code < ASCII_SIZE; ++code) {
        __isAsciiPlain = __isAsciiPlain && __bytes[code] == (IS_BYTE | code);
    }
}

CODEC_STEP CByteEncoder::Convert(char* dst, std::size_t room, const wchar_t* src,
                                 std::size_t length) const {
    const std::size_t done =
        ConvertSingles(reinterpret_cast<unsigned char*>(dst), src, std::min(room, length),
                       __isAsciiPlain, [this](unsigned char& byte, wchar_t character) {
                           const auto code = static_cast<std::uint32_t>(character);
                           const std::uint16_t entry =
                               code < BMP_SIZE ? __bytes[code] : std::uint16_t{0};
                           byte = static_cast<unsigned char>(entry);
                           return entry != 0;
                       });
    return {done, done};
}

} // namespace Quil::IMPL

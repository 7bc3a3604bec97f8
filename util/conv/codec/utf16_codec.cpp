// Eight units go at a time where they all are characters by themselves, which they nearly always
// are. The compiler's own vectors do that without regard to the machine.

#include "util/conv/codec/utf16_codec.h"

#include "util/base/lanes.h"
#include "util/base/unicode_units.h"

#include <cstdint>
#include <cstring>

namespace Quil::IMPL {

namespace {

constexpr std::size_t BLOCK = 8;

using UNITS = LANES<std::uint16_t, BLOCK>;
using CHARACTERS = LANES<std::uint32_t, BLOCK>;

/// Between a unit and its two bytes as they lie in memory; on a vector, element by element.
template <std::endian Order, class Value>
Value Turn(Value units) {
    if constexpr (Order == std::endian::native) {
        return units;
    } else {
        return static_cast<Value>(units << 8 | units >> 8);
    }
}

template <std::endian Order>
std::uint32_t LoadUnit(const char* src) {
    std::uint16_t unit = 0;
    std::memcpy(&unit, src, sizeof unit);
    return Turn<Order>(unit);
}

template <std::endian Order>
void StoreUnit(char* dst, std::uint32_t unit) {
    const auto turned = Turn<Order>(static_cast<std::uint16_t>(unit));
    std::memcpy(dst, &turned, sizeof turned);
}

template <std::endian Order>
bool DecodeBlock(wchar_t* dst, const char* src) {
    const auto units = Turn<Order>(LoadLanes<UNITS>(src));
    if (AnyLane((units & static_cast<std::uint16_t>(SURROGATE_BITS)) ==
                static_cast<std::uint16_t>(FIRST_HIGH_SURROGATE))) {
        return false;
    }
    StoreLanes(dst, __builtin_convertvector(units, CHARACTERS));
    return true;
}

template <std::endian Order>
bool EncodeBlock(char* dst, const wchar_t* src) {
    CHARACTERS characters; // twice a usual vector, which functions don't return
    std::memcpy(&characters, src, sizeof characters);
    if (AnyLane(characters >> 16)) {
        return false;
    }
    const UNITS units = __builtin_convertvector(characters, UNITS);
    if (AnyLane((units & static_cast<std::uint16_t>(SURROGATE_BITS)) ==
                static_cast<std::uint16_t>(FIRST_HIGH_SURROGATE))) {
        return false;
    }
    StoreLanes(dst, Turn<Order>(units));
    return true;
}

} // namespace

template <std::endian Order>
CODEC_STEP DecodeUtf16(wchar_t* dst, std::size_t room, const char* src, std::size_t length) {
    std::size_t read = 0;
    std::size_t written = 0;
    while (length - read >= 2 && written < room) {
        if (length - read >= 2 * BLOCK && room - written >= BLOCK &&
            DecodeBlock<Order>(dst + written, src + read)) {
            read += 2 * BLOCK;
            written += BLOCK;
            continue;
        }
        std::uint32_t c = LoadUnit<Order>(src + read);
        std::size_t size = 2;
        if (IsSurrogate(c)) {
            const std::uint32_t trail =
                length - read >= 4 ? LoadUnit<Order>(src + read + 2) : std::uint32_t{0};
            if (IsLowSurrogate(c) || !IsLowSurrogate(trail)) {
                break;
            }
            c = JoinSurrogates(c, trail);
            size = 4;
        }
        dst[written++] = static_cast<wchar_t>(c);
        read += size;
    }
    return {read, written};
}

template <std::endian Order>
CODEC_STEP EncodeUtf16(char* dst, std::size_t room, const wchar_t* src, std::size_t length) {
    std::size_t read = 0;
    std::size_t written = 0;
    while (read < length && room - written >= LONGEST_CHARACTER) {
        if (length - read >= BLOCK && room - written >= 2 * BLOCK &&
            EncodeBlock<Order>(dst + written, src + read)) {
            read += BLOCK;
            written += 2 * BLOCK;
            continue;
        }
        const auto c = static_cast<std::uint32_t>(src[read]);
        if (IsSurrogate(c) || c >= UNICODE_END) {
            break;
        }
        if (c < FIRST_OF_PAIRS) {
            StoreUnit<Order>(dst + written, c);
            written += 2;
        } else {
            StoreUnit<Order>(dst + written, HighSurrogateOf(c));
            StoreUnit<Order>(dst + written + 2, LowSurrogateOf(c));
            written += 4;
        }
        ++read;
    }
    return {read, written};
}

template CODEC_STEP DecodeUtf16<std::endian::little>(wchar_t*, std::size_t, const char*,
                                                     std::size_t);
template CODEC_STEP DecodeUtf16<std::endian::big>(wchar_t*, std::size_t, const char*, std::size_t);
template CODEC_STEP EncodeUtf16<std::endian::little>(char*, std::size_t, const wchar_t*,
                                                     std::size_t);
template CODEC_STEP EncodeUtf16<std::endian::big>(char*, std::size_t, const wchar_t*, std::size_t);

} // namespace Quil::IMPL

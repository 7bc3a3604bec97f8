// What conversions can't take over, and what stands for it.
#pragma once

#include "util/base/visibility.h"

#include <cstdint>

namespace QUIL_PUBLIC Quil {

/// Elements of a text that a conversion couldn't take over: bytes that belong to no character, or
/// characters that the charset lacks.
struct LOSS {
    std::uint64_t count = 0;
    // Of the first one:
    std::uint64_t place = 0;   ///< elements in front of it
    std::uint32_t element = 0; ///< what it is
    std::uint64_t line = 0;    ///< from 1 on; 0: not known

    void Add(std::uint64_t at, std::uint32_t lost) {
        if (count++ == 0) {
            place = at;
            element = lost;
        }
    }
    /// Adds what was lost of a text behind another one, which had so many elements.
    void Append(const LOSS& behind, std::uint64_t length) {
        if (count == 0) {
            *this = behind;
            place += length;
        } else {
            count += behind.count;
        }
    }
};

/// A byte that isn't part of any character can be kept as a wide character outside Unicode, one for
/// each byte. To an expression all of them are U+FFFF, which is no character either.
constexpr std::uint32_t FIRST_KEPT_BYTE = 0x4000FFFF;
constexpr unsigned int KEPT_BYTE_SHIFT = 16;

constexpr wchar_t KeptByte(char byte) {
    return static_cast<wchar_t>(
        FIRST_KEPT_BYTE + (std::uint32_t{static_cast<unsigned char>(byte)} << KEPT_BYTE_SHIFT));
}

constexpr bool IsKeptByte(wchar_t character) {
    constexpr std::uint32_t MASK = ~(std::uint32_t{0xFF} << KEPT_BYTE_SHIFT);
    return (static_cast<std::uint32_t>(character) & MASK) == FIRST_KEPT_BYTE;
}

constexpr char ByteOfKept(wchar_t character) {
    return static_cast<char>(static_cast<std::uint32_t>(character) >> KEPT_BYTE_SHIFT & 0xFF);
}

} // namespace Quil

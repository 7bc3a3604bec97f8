// What a unit of UTF-16 or UTF-8 says of itself, and where Unicode ends: the numbers that decoders,
// encoders and walks over text all ask for.
#pragma once

#include <cstdint>

namespace Quil::IMPL {

constexpr std::uint32_t FIRST_HIGH_SURROGATE = 0xD800;
constexpr std::uint32_t FIRST_LOW_SURROGATE = 0xDC00;
/// Surrogates of either half agree with the first one in these bits.
constexpr std::uint32_t SURROGATE_BITS = 0xFFFFF800;
constexpr std::uint32_t SURROGATE_HALF_BITS = 0xFFFFFC00;
/// The first character that takes a pair of surrogates.
constexpr std::uint32_t FIRST_OF_PAIRS = 0x10000;
constexpr std::uint32_t UNICODE_END = 0x110000;

constexpr bool IsSurrogate(std::uint32_t c) noexcept {
    return (c & SURROGATE_BITS) == FIRST_HIGH_SURROGATE;
}

constexpr bool IsHighSurrogate(std::uint32_t c) noexcept {
    return (c & SURROGATE_HALF_BITS) == FIRST_HIGH_SURROGATE;
}

constexpr bool IsLowSurrogate(std::uint32_t c) noexcept {
    return (c & SURROGATE_HALF_BITS) == FIRST_LOW_SURROGATE;
}

/// The character that a pair stands for, and its halves.
constexpr std::uint32_t JoinSurrogates(std::uint32_t high, std::uint32_t low) noexcept {
    return FIRST_OF_PAIRS + ((high - FIRST_HIGH_SURROGATE) << 10) + (low - FIRST_LOW_SURROGATE);
}

constexpr std::uint32_t HighSurrogateOf(std::uint32_t c) noexcept {
    return FIRST_HIGH_SURROGATE + ((c - FIRST_OF_PAIRS) >> 10);
}

constexpr std::uint32_t LowSurrogateOf(std::uint32_t c) noexcept {
    return FIRST_LOW_SURROGATE + (c & 0x3FFU);
}

/// Whether a byte of UTF-8 goes on with a character that began before it.
constexpr bool IsContinuation(unsigned char byte) noexcept {
    return (byte & 0xC0U) == 0x80U;
}

} // namespace Quil::IMPL

// The x87's extended floats, of which a stream's are, where the machine has others.
//
// Ten bytes, the lowest first: 64 bits of significand, whose highest is written out, then 15 of
// exponent and the sign. Everything is integers but two steps that are exact: a value times a power
// of two, and a whole number that a float has the digits for. Rounding is to the nearest, of two to
// the even one.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Quil::IMPL {

/// One such float, in its parts.
struct EXTENDED80 {
    std::uint64_t significand;
    std::uint16_t exponent; ///< biased; the highest bit is the sign
};

/// Whether `long double` is such a float, and its first bytes are as they stand in a stream.
constexpr bool IS_EXTENDED80 = std::numeric_limits<long double>::digits == 64;
constexpr unsigned int EXTENDED80_SIZE = 10;

constexpr std::uint64_t EXTENDED_TOP = std::uint64_t{1} << 63;
constexpr std::uint16_t EXTENDED_SIGN = 0x8000;
constexpr std::uint16_t EXTENDED_SPECIAL = 0x7FFF; ///< the exponent of infinities and NaN
constexpr int EXTENDED_BIAS = 16383 + 63;          ///< of significands taken as whole numbers

/// Halves a whole number so many times, and rounds once.
constexpr std::uint64_t rounded_shift(std::uint64_t number, int count) {
    if (count == 0 || count > 64) {
        return count == 0 ? number : 0;
    }
    const std::uint64_t whole = count == 64 ? 0 : number >> count;
    const std::uint64_t rest = number << (64 - count); // against a half, which is the top bit
    return whole + (rest > EXTENDED_TOP || (rest == EXTENDED_TOP && (whole & 1) != 0) ? 1 : 0);
}

/// The nearest one. A value beyond their range becomes infinite.
template <class T>
EXTENDED80 to_extended80(T value) {
    const std::uint16_t sign = std::signbit(value) ? EXTENDED_SIGN : 0;
    const auto special = static_cast<std::uint16_t>(sign | EXTENDED_SPECIAL);
    if (std::isnan(value)) {
        return {EXTENDED_TOP | EXTENDED_TOP >> 1, special};
    }
    if (std::isinf(value)) {
        return {EXTENDED_TOP, special};
    }
    int exponent = 0;
    std::frexp(value, &exponent);
    // The value in units of its last bit, which can't be less than the least one that there is.
    int unit = std::max(exponent - 64, 1 - EXTENDED_BIAS);
    const T scaled = std::ldexp(std::fabs(value), -unit);
    const T whole = std::floor(scaled);
    auto significand = static_cast<std::uint64_t>(whole);
    const T rest = scaled - whole;
    if (rest > T(0.5) || (rest == T(0.5) && (significand & 1) != 0)) {
        if (++significand == 0) {
            significand = EXTENDED_TOP;
            ++unit;
        }
    }
    const int biased = significand < EXTENDED_TOP ? 0 : unit + EXTENDED_BIAS;
    if (biased >= EXTENDED_SPECIAL) {
        return {EXTENDED_TOP, special};
    }
    return {significand, static_cast<std::uint16_t>(sign | biased)};
}

/// The nearest value of a type. One beyond its range becomes infinite; bits that stand for no
/// number are NaN.
template <class T>
T from_extended80(const EXTENDED80& extended) {
    using LIMITS = std::numeric_limits<T>;
    const bool isNegative = (extended.exponent & EXTENDED_SIGN) != 0;
    const int biased = extended.exponent & EXTENDED_SPECIAL;
    std::uint64_t significand = extended.significand;
    T value = 0;
    if (biased == EXTENDED_SPECIAL) {
        value = significand == EXTENDED_TOP ? LIMITS::infinity() : LIMITS::quiet_NaN();
    } else if (biased != 0 && significand < EXTENDED_TOP) {
        value = LIMITS::quiet_NaN();
    } else {
        const int exponent = std::max(biased, 1) - EXTENDED_BIAS;
        const int surplus = static_cast<int>(std::bit_width(significand)) - LIMITS::digits;
        const int below = LIMITS::min_exponent - LIMITS::digits - exponent;
        const int shift = std::max({0, surplus, below});
        value = std::ldexp(static_cast<T>(rounded_shift(significand, shift)), exponent + shift);
    }
    return isNegative ? -value : value;
}

} // namespace Quil::IMPL

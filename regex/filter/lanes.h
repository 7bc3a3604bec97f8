// Characters of a text as the compiler's own vectors, and what is asked of them: where they equal
// a character, by the bits of the color map that tell characters apart.
#pragma once

#include "regex/compile/chrtraits.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace Quil::IMPL::engine {

/// Vectors of characters of one byte.
template <class Chr>
struct lanes {
    using value = std::uint8_t;
    using vector __attribute__((vector_size(16))) = value;
    static constexpr std::ptrdiff_t COUNT = 16;

    static vector load(const Chr* at) {
        vector v;
        std::memcpy(&v, at, sizeof v);
        return v;
    }
    static value select(Chr c) { return static_cast<value>(c); }
    /// Moves lanes of all ones and all zeros to the bits of an integer.
    static std::uint64_t bits(const vector& is) {
        constexpr std::uint64_t SUM = 0x0101010101010101u; // of bytes, in the highest one
        constexpr vector WEIGHTS = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        const vector weighted = is & WEIGHTS;
        std::uint64_t halves[2];
        std::memcpy(halves, &weighted, sizeof halves);
        return (halves[0] * SUM >> 56) | (halves[1] * SUM >> 56) << 8;
    }
};

/// Of wide characters only 16 bits count, as in the color map.
template <>
struct lanes<wchar_t> {
    using value = std::int32_t;
    using vector __attribute__((vector_size(16))) = value;
    static constexpr std::ptrdiff_t COUNT = 4;
    static constexpr value MASK = 0xFFFF;

    static vector load(const wchar_t* at) {
        vector v;
        std::memcpy(&v, at, sizeof v);
        return v & MASK;
    }
    static value select(wchar_t c) { return static_cast<value>(c) & MASK; }
    static std::uint64_t bits(const vector& is) {
        constexpr vector WEIGHTS = {1, 2, 4, 8};
        const vector weighted = is & WEIGHTS;
        std::uint64_t halves[2];
        std::memcpy(halves, &weighted, sizeof halves);
        const std::uint64_t both = halves[0] | halves[1];
        return (both | both >> 32) & 0xF;
    }
};

template <class Vector>
bool anylane(const Vector& is) {
    std::uint64_t halves[2];
    std::memcpy(halves, &is, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

} // namespace Quil::IMPL::engine

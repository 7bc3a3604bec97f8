// Sixteen bytes of a text at a time, as the compiler's own vectors: what every inner loop over
// texts asks of them. Only where the compiler makes something poor of its vectors stand
// instructions of a machine. Loops for newer instructions, which not every machine can run, stay
// where they are used: a function shared with them could end up in the program in their form.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Quil::IMPL {

constexpr std::size_t LANES_SIZE = 16; ///< bytes of a usual vector

/// Names the vector of `Count` elements of the integer type T.
template <class T, std::size_t Count>
struct lanes_of {
    using type __attribute__((vector_size(Count * sizeof(T)))) = T;
};

template <class T, std::size_t Count = LANES_SIZE / sizeof(T)>
using LANES = typename lanes_of<T, Count>::type;

/// A vector from where it lies in memory, at any address.
template <class Vector>
inline Vector LoadLanes(const void* from) {
    Vector lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

template <class Vector>
inline void StoreLanes(void* to, const Vector& lanes) {
    std::memcpy(to, &lanes, sizeof lanes);
}

/// The vector's words of 64 bits, put together by or.
template <class Vector>
inline std::uint64_t FoldLanes(const Vector& lanes) {
    std::array<std::uint64_t, sizeof lanes / sizeof(std::uint64_t)> words;
    std::memcpy(words.data(), &lanes, sizeof lanes);
    std::uint64_t folded = 0;
    for (const std::uint64_t word : words) {
        folded |= word;
    }
    return folded;
}

/// True if a bit is set in any lane.
template <class Vector>
inline bool AnyLane(const Vector& lanes) {
    return FoldLanes(lanes) != 0;
}

/// True if no byte of the vector is above 0x7F.
inline bool IsAscii(const LANES<std::uint8_t>& lanes) {
#if defined(__SSE2__)
    return _mm_movemask_epi8(reinterpret_cast<__m128i>(lanes)) == 0;
#else
    return (FoldLanes(lanes) & 0x8080808080808080U) == 0;
#endif
}

/// Lanes of all ones and all zeros as the bits of an integer, the first lane as the lowest.
inline std::uint64_t LaneBits(const LANES<std::uint8_t>& lanes) {
    constexpr std::uint64_t SUM = 0x0101010101010101U; // of bytes, in the highest one
    constexpr LANES<std::uint8_t> WEIGHTS = {1, 2, 4, 8, 16, 32, 64, 128,
                                             1, 2, 4, 8, 16, 32, 64, 128};
    const LANES<std::uint8_t> weighted = lanes & WEIGHTS;
    std::uint64_t halves[2];
    std::memcpy(halves, &weighted, sizeof halves);
    return (halves[0] * SUM >> 56) | (halves[1] * SUM >> 56) << 8;
}

inline std::uint64_t LaneBits(const LANES<std::int32_t>& lanes) {
    constexpr LANES<std::int32_t> WEIGHTS = {1, 2, 4, 8};
    const std::uint64_t both = FoldLanes(lanes & WEIGHTS);
    return (both | both >> 32) & 0xF;
}

/// Widens sixteen bytes if they all are ASCII.
inline bool WidenAscii(wchar_t* to, const unsigned char* from) {
    using BYTES = LANES<std::uint8_t>;
    using UNITS = LANES<std::uint16_t>;
    const auto bytes = LoadLanes<BYTES>(from);
    if (!IsAscii(bytes)) {
        return false;
    }
    const BYTES zero{};
    const auto low = reinterpret_cast<UNITS>(__builtin_shufflevector(
        bytes, zero, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
    const auto high = reinterpret_cast<UNITS>(__builtin_shufflevector(
        bytes, zero, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31));
    const UNITS none{};
    StoreLanes(to, __builtin_shufflevector(low, none, 0, 8, 1, 9, 2, 10, 3, 11));
    StoreLanes(to + 4, __builtin_shufflevector(low, none, 4, 12, 5, 13, 6, 14, 7, 15));
    StoreLanes(to + 8, __builtin_shufflevector(high, none, 0, 8, 1, 9, 2, 10, 3, 11));
    StoreLanes(to + 12, __builtin_shufflevector(high, none, 4, 12, 5, 13, 6, 14, 7, 15));
    return true;
}

/// Narrows sixteen characters if they all are ASCII.
inline bool NarrowAscii(unsigned char* to, const wchar_t* from) {
    using CHARACTERS = LANES<std::uint32_t>;
    const auto a = LoadLanes<CHARACTERS>(from);
    const auto b = LoadLanes<CHARACTERS>(from + 4);
    const auto c = LoadLanes<CHARACTERS>(from + 8);
    const auto d = LoadLanes<CHARACTERS>(from + 12);
    if (AnyLane((a | b | c | d) & ~0x7FU)) {
        return false;
    }
#if defined(__SSE2__)
    const __m128i low = _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
    const __m128i high =
        _mm_packs_epi32(reinterpret_cast<__m128i>(c), reinterpret_cast<__m128i>(d));
    StoreLanes(to, _mm_packus_epi16(low, high));
#else
    const CHARACTERS all[] = {a, b, c, d};
    for (std::size_t i = 0; i < LANES_SIZE; ++i) {
        to[i] = static_cast<unsigned char>(all[i / 4][i % 4]);
    }
#endif
    return true;
}

} // namespace Quil::IMPL

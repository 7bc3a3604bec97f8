// Sixteen characters of ASCII at a time, for the inner loops of codecs.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Quil::IMPL {

constexpr std::size_t asciiBlock = 16;

#if defined(__SSE2__)

/// Widens sixteen bytes if they all are ASCII.
inline bool WidenAsciiBlock(wchar_t* dst, const unsigned char* src) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    if (_mm_movemask_epi8(bytes) != 0) {
        return false;
    }
    const __m128i zero = _mm_setzero_si128();
    const __m128i low = _mm_unpacklo_epi8(bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(bytes, zero);
    auto* const out = reinterpret_cast<__m128i*>(dst);
    _mm_storeu_si128(out, _mm_unpacklo_epi16(low, zero));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(low, zero));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi16(high, zero));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi16(high, zero));
    return true;
}

/// Narrows sixteen characters if they all are ASCII.
inline bool NarrowAsciiBlock(unsigned char* dst, const wchar_t* src) {
    const auto* const in = reinterpret_cast<const __m128i*>(src);
    const __m128i a = _mm_loadu_si128(in);
    const __m128i b = _mm_loadu_si128(in + 1);
    const __m128i c = _mm_loadu_si128(in + 2);
    const __m128i d = _mm_loadu_si128(in + 3);
    const __m128i all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    const __m128i beyondAscii = _mm_andnot_si128(_mm_set1_epi32(0x7F), all);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(beyondAscii, _mm_setzero_si128())) != 0xFFFF) {
        return false;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    return true;
}

#else

inline bool WidenAsciiBlock(wchar_t* dst, const unsigned char* src) {
    if (std::any_of(src, src + asciiBlock, [](unsigned char byte) { return byte >= 0x80; })) {
        return false;
    }
    std::copy_n(src, asciiBlock, dst);
    return true;
}

inline bool NarrowAsciiBlock(unsigned char* dst, const wchar_t* src) {
    if (std::any_of(src, src + asciiBlock,
                    [](wchar_t c) { return static_cast<std::uint32_t>(c) >= 0x80; })) {
        return false;
    }
    std::transform(src, src + asciiBlock, dst,
                   [](wchar_t c) { return static_cast<unsigned char>(c); });
    return true;
}

#endif

} // namespace Quil::IMPL

// The fingerprint search by vectors of 32 bytes, for processors that have AVX 2.
#include "regex/filter/fingerprint_leap.h"

#if defined(__AVX2__)

#include <immintrin.h>

namespace {

struct vec {
    using type = __m256i;
    static constexpr std::size_t BYTES = 32;

    template <class T>
    static type load(const T* p) {
        return _mm256_loadu_si256(reinterpret_cast<const type*>(p));
    }
    static type table(const std::uint8_t* p) {
        return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    }
    static type both(type a, type b) { return _mm256_and_si256(a, b); }
    static bool none(type v) { return _mm256_testz_si256(v, v) != 0; }
    static type lookup(const type* halves, type bytes) {
        const type low = _mm256_set1_epi8(0x0F);
        return both(_mm256_shuffle_epi8(halves[0], both(bytes, low)),
                    _mm256_shuffle_epi8(halves[1], both(_mm256_srli_epi16(bytes, 4), low)));
    }
    /// A bit for each byte that isn't 0.
    static unsigned int hits(type v) {
        const type zero = _mm256_cmpeq_epi8(v, _mm256_setzero_si256());
        return ~static_cast<unsigned int>(_mm256_movemask_epi8(zero));
    }
    /// The lowest bytes of 32 characters, and the ones above them.
    static void load2(const wchar_t* p, type& low, type& high) {
        const type mask = _mm256_set1_epi32(0xFFFF), byte = _mm256_set1_epi16(0xFF);
        const type a = _mm256_packus_epi32(both(load(p), mask), both(load(p + 8), mask));
        const type b = _mm256_packus_epi32(both(load(p + 16), mask), both(load(p + 24), mask));
        // The instructions pack each half of a vector for itself; this is the way back.
        const type order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
        low = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(both(a, byte), both(b, byte)), order);
        high = _mm256_permutevar8x32_epi32(
            _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8)), order);
    }
};

} // namespace

#include "regex/filter/fingerprint_leap.inl"

namespace Quil::IMPL::engine {

const unsigned char* leap32(const std::uint8_t* tables, std::size_t places,
                            const unsigned char* first, const unsigned char* limit) {
    return leapany(tables, places, first, limit);
}

const wchar_t* leap32(const std::uint8_t* tables, std::size_t places, const wchar_t* first,
                      const wchar_t* limit) {
    return leapany(tables, places, first, limit);
}

} // namespace Quil::IMPL::engine

#endif

// The fingerprint search by vectors of 16 bytes, for processors that have SSE 4.1.
#include "regex/filter/fingerprint_leap.h"

#if defined(__SSE4_1__)

#include <smmintrin.h>

namespace {

struct vec {
    using type = __m128i;
    static constexpr std::size_t BYTES = 16;

    template <class T>
    static type load(const T* p) {
        return _mm_loadu_si128(reinterpret_cast<const type*>(p));
    }
    static type table(const std::uint8_t* p) { return load(p); }
    static type both(type a, type b) { return _mm_and_si128(a, b); }
    static bool none(type v) { return _mm_testz_si128(v, v) != 0; }
    static type lookup(const type* halves, type bytes) {
        const type low = _mm_set1_epi8(0x0F);
        return both(_mm_shuffle_epi8(halves[0], both(bytes, low)),
                    _mm_shuffle_epi8(halves[1], both(_mm_srli_epi16(bytes, 4), low)));
    }
    /// A bit for each byte that isn't 0.
    static unsigned int hits(type v) {
        const type zero = _mm_cmpeq_epi8(v, _mm_setzero_si128());
        return static_cast<unsigned int>(_mm_movemask_epi8(zero)) ^ 0xFFFF;
    }
    /// The lowest bytes of 16 characters, and the ones above them.
    static void load2(const wchar_t* p, type& low, type& high) {
        const type mask = _mm_set1_epi32(0xFFFF), byte = _mm_set1_epi16(0xFF);
        const type a = _mm_packus_epi32(both(load(p), mask), both(load(p + 4), mask));
        const type b = _mm_packus_epi32(both(load(p + 8), mask), both(load(p + 12), mask));
        low = _mm_packus_epi16(both(a, byte), both(b, byte));
        high = _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8));
    }
};

} // namespace

#include "regex/filter/fingerprint_leap.inl"

namespace Quil::IMPL::engine {

const unsigned char* leap16(const std::uint8_t* tables, std::size_t places,
                            const unsigned char* first, const unsigned char* limit) {
    return leapany(tables, places, first, limit);
}

const wchar_t* leap16(const std::uint8_t* tables, std::size_t places, const wchar_t* first,
                      const wchar_t* limit) {
    return leapany(tables, places, first, limit);
}

} // namespace Quil::IMPL::engine

#endif

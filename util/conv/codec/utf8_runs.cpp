#include "util/conv/codec/utf8_runs.h"

#include "util/base/cpu.h"
#include "util/base/unicode_units.h"

#include <bit>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Quil::IMPL {

#if defined(__x86_64__)

namespace {

constexpr std::size_t TOGETHER = 8; ///< characters in a vector
constexpr std::size_t TRIPLE_SIZE = 3;
/// Two halves of sixteen bytes, the second one twelve behind the first, hold eight triples.
constexpr std::size_t HALF_STEP = 12;
constexpr std::size_t BYTES_TOUCHED = HALF_STEP + 16;

bool mayUseVectors = HasAvx2();

/// How many of the vector's characters, from the first on, take three bytes; `isShaped` marks those
/// whose bytes looked so.
__attribute__((target("avx2"))) inline unsigned int CountTriples(__m256i characters,
                                                                 __m256i isShaped) {
    const __m256i isLong = _mm256_cmpgt_epi32(characters, _mm256_set1_epi32(0x7FF));
    const __m256i isSurrogate = _mm256_cmpeq_epi32(
        _mm256_and_si256(characters, _mm256_set1_epi32(static_cast<int>(SURROGATE_BITS))),
        _mm256_set1_epi32(FIRST_HIGH_SURROGATE));
    const __m256i isGood = _mm256_and_si256(isShaped, _mm256_andnot_si256(isSurrogate, isLong));
    const auto mask = static_cast<unsigned int>(_mm256_movemask_ps(_mm256_castsi256_ps(isGood)));
    return static_cast<unsigned int>(std::countr_one(mask));
}

/// The next eight sequences as characters, and how many of them are valid.
__attribute__((target("avx2"))) inline unsigned int LoadTriples(const unsigned char* src,
                                                                __m256i& characters) {
    const auto* const low = reinterpret_cast<const __m128i*>(src);
    const auto* const high = reinterpret_cast<const __m128i*>(src + HALF_STEP);
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(low)),
                                                  _mm_loadu_si128(high), 1);
    // The lead byte becomes the third of its character's four.
    const __m256i order = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
    const __m256i spread = _mm256_shuffle_epi8(bytes, order);
    const __m256i isShaped = _mm256_cmpeq_epi32(
        _mm256_and_si256(spread, _mm256_set1_epi32(0xF0C0C0)), _mm256_set1_epi32(0xE08080));
    characters = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(spread, _mm256_set1_epi32(0x3F)),
                        _mm256_and_si256(_mm256_srli_epi32(spread, 2), _mm256_set1_epi32(0xFC0))),
        _mm256_and_si256(_mm256_srli_epi32(spread, 4), _mm256_set1_epi32(0xF000)));
    return CountTriples(characters, isShaped);
}

__attribute__((target("avx2"))) CODEC_STEP
DecodeByVectors(wchar_t* dst, std::size_t room, const unsigned char* src, std::size_t length) {
    std::size_t count = 0;
    while (length - TRIPLE_SIZE * count >= BYTES_TOUCHED && room - count >= TOGETHER) {
        __m256i characters;
        const unsigned int good = LoadTriples(src + TRIPLE_SIZE * count, characters);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + count), characters);
        if (good != TOGETHER) {
            count += good;
            break;
        }
        count += TOGETHER; // not `good`, which the next address would have to wait for
    }
    return {TRIPLE_SIZE * count, count};
}

__attribute__((target("avx2"))) CODEC_STEP EncodeByVectors(unsigned char* dst, std::size_t room,
                                                           const wchar_t* src, std::size_t length) {
    const __m256i order = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    std::size_t count = 0;
    while (length - count >= TOGETHER && room - TRIPLE_SIZE * count >= BYTES_TOUCHED) {
        const __m256i characters =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + count));
        const unsigned int good =
            CountTriples(characters, _mm256_cmpgt_epi32(_mm256_set1_epi32(0x10000), characters));
        const __m256i middle =
            _mm256_and_si256(_mm256_slli_epi32(characters, 2), _mm256_set1_epi32(0x3F00));
        const __m256i last =
            _mm256_and_si256(_mm256_slli_epi32(characters, 16), _mm256_set1_epi32(0x3F0000));
        const __m256i bits =
            _mm256_or_si256(_mm256_srli_epi32(characters, 12), _mm256_or_si256(middle, last));
        const __m256i packed =
            _mm256_shuffle_epi8(_mm256_or_si256(bits, _mm256_set1_epi32(0x8080E0)), order);
        unsigned char* const to = dst + TRIPLE_SIZE * count;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(packed));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + HALF_STEP),
                         _mm256_extracti128_si256(packed, 1));
        if (good != TOGETHER) {
            count += good;
            break;
        }
        count += TOGETHER; // not `good`, which the next address would have to wait for
    }
    return {count, TRIPLE_SIZE * count};
}

} // namespace

CODEC_STEP DecodeTriples(wchar_t* dst, std::size_t room, const unsigned char* src,
                         std::size_t length) {
    return mayUseVectors ? DecodeByVectors(dst, room, src, length) : CODEC_STEP{0, 0};
}

CODEC_STEP EncodeTriples(unsigned char* dst, std::size_t room, const wchar_t* src,
                         std::size_t length) {
    return mayUseVectors ? EncodeByVectors(dst, room, src, length) : CODEC_STEP{0, 0};
}

void UseVectorRuns(bool use) {
    mayUseVectors = use && HasAvx2();
}

#else

CODEC_STEP DecodeTriples(wchar_t*, std::size_t, const unsigned char*, std::size_t) {
    return {0, 0};
}

CODEC_STEP EncodeTriples(unsigned char*, std::size_t, const wchar_t*, std::size_t) {
    return {0, 0};
}

void UseVectorRuns(bool) {}

#endif

} // namespace Quil::IMPL

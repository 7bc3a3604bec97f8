// Vector search for the few characters that lead away, a plain loop of color reads for many.
#include "regex/skip.h"

#include <cstdint>
#include <cstring>

namespace Quil::IMPL::engine {

namespace {

/// A vector of characters, as the compiler's own vector type.
template <class Chr>
struct lanes;

template <>
struct lanes<char> {
    using value = std::uint8_t;
    typedef value vector __attribute__((vector_size(16)));
    static constexpr value MASK = 0xFF;
};

template <>
struct lanes<unsigned char> : lanes<char> {};

template <>
struct lanes<wchar_t> {
    using value = std::uint32_t;
    typedef value vector __attribute__((vector_size(16)));
    static constexpr value MASK = 0xFFFF; // as the color map does, only these bits count
};

template <class Chr>
typename lanes<Chr>::value selected(Chr c) {
    return static_cast<typename lanes<Chr>::value>(static_cast<typename lanes<Chr>::value>(c) &
                                                   lanes<Chr>::MASK);
}

template <class Vector>
bool any(Vector v) {
    std::uint64_t halves[2];
    std::memcpy(halves, &v, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

} // namespace

template <class Chr>
void TSkip<Chr>::set(const color* colors, std::vector<unsigned char> leaving) {
    colors_ = colors;
    leaving_ = std::move(leaving);
    count_ = 0;
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS && count_ <= FEW; ++i) {
        if (!leaving_[static_cast<std::size_t>(colors_[i])])
            continue;
        if (count_ < FEW)
            few_[count_] = static_cast<Chr>(i);
        ++count_;
    }
    for (std::size_t i = count_; i < FEW && count_ > 0; ++i)
        few_[i] = few_[0];
}

template <class Chr>
const Chr* TSkip<Chr>::find(const Chr* cp, const Chr* limit) const {
    if (count_ == 0)
        return limit;
    if (count_ <= FEW)
        return findfew(cp, limit);
    return findmany(cp, limit);
}

template <class Chr>
const Chr* TSkip<Chr>::findfew(const Chr* cp, const Chr* limit) const {
    using value = typename lanes<Chr>::value;
    using vector = typename lanes<Chr>::vector;
    constexpr std::ptrdiff_t LANES = sizeof(vector) / sizeof(value);
    constexpr std::ptrdiff_t UNROLL = 4;
    const value a = selected(few_[0]), b = selected(few_[1]), c = selected(few_[2]);
    for (; limit - cp >= UNROLL * LANES; cp += UNROLL * LANES) {
        vector text[UNROLL];
        std::memcpy(text, cp, sizeof text);
        vector hits{};
        for (vector& v : text) {
            v &= lanes<Chr>::MASK;
            hits |= reinterpret_cast<vector>((v == a) | (v == b) | (v == c));
        }
        if (any(hits))
            break;
    }
    for (; cp != limit; ++cp) {
        const value v = selected(*cp);
        if (v == a || v == b || v == c)
            break;
    }
    return cp;
}

template <class Chr>
const Chr* TSkip<Chr>::findmany(const Chr* cp, const Chr* limit) const {
    constexpr std::ptrdiff_t UNROLL = 4;
    const unsigned char* const leaving = leaving_.data();
    const color* const colors = colors_;
    const auto leaves = [&](Chr c) { return leaving[colors[chrtraits<Chr>::index(c)]]; };
    while (limit - cp >= UNROLL && !(leaves(cp[0]) | leaves(cp[1]) | leaves(cp[2]) | leaves(cp[3])))
        cp += UNROLL;
    while (cp != limit && !leaves(*cp))
        ++cp;
    return cp;
}

template class TSkip<char>;
template class TSkip<wchar_t>;
template class TSkip<unsigned char>;

} // namespace Quil::IMPL::engine

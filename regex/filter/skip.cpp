// Vector search for the few characters that lead away, a plain loop of color reads for many.
#include "regex/filter/skip.h"

#include "regex/filter/lanes.h"

namespace Quil::IMPL::engine {

template <class Chr>
void TSkip<Chr>::set(const color* colors, colorset leaving) {
    __colors = colors;
    __leaving = std::move(leaving);
    __count = 0;
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS && __count <= FEW; ++i) {
        if (!holds(__leaving, __colors[i])) {
            continue;
        }
        if (__count < FEW) {
            __few[__count] = static_cast<Chr>(i);
        }
        ++__count;
    }
    for (std::size_t i = __count; i < FEW && __count > 0; ++i) {
        __few[i] = __few[0];
    }
}

template <class Chr>
const Chr* TSkip<Chr>::find(const Chr* cp, const Chr* limit) const {
    if (__count == 0) {
        return limit;
    }
    if (__count <= FEW) {
        return findfew(cp, limit);
    }
    return findmany(cp, limit);
}

template <class Chr>
const Chr* TSkip<Chr>::findfew(const Chr* cp, const Chr* limit) const {
    using lane = lanes<Chr>;
    using vector = typename lane::vector;
    constexpr std::ptrdiff_t UNROLL = 4;
    const auto a = lane::select(__few[0]), b = lane::select(__few[1]), c = lane::select(__few[2]);
    for (; limit - cp >= UNROLL * lane::COUNT; cp += UNROLL * lane::COUNT) {
        vector hits{};
        for (std::ptrdiff_t i = 0; i < UNROLL; ++i) {
            const vector v = lane::load(cp + i * lane::COUNT);
            hits |= reinterpret_cast<vector>((v == a) | (v == b) | (v == c));
        }
        if (AnyLane(hits)) {
            break;
        }
    }
    for (; cp != limit; ++cp) {
        const auto v = lane::select(*cp);
        if (v == a || v == b || v == c) {
            break;
        }
    }
    return cp;
}

template <class Chr>
const Chr* TSkip<Chr>::findmany(const Chr* cp, const Chr* limit) const {
    constexpr std::ptrdiff_t UNROLL = 4;
    const unsigned char* const leaving = __leaving.data();
    const color* const colors = __colors;
    const auto leaves = [&](Chr c) { return leaving[GETCOLOR(colors, c)]; };
    while (limit - cp >= UNROLL &&
           !(leaves(cp[0]) | leaves(cp[1]) | leaves(cp[2]) | leaves(cp[3]))) {
        cp += UNROLL;
    }
    while (cp != limit && !leaves(*cp)) {
        ++cp;
    }
    return cp;
}

template class TSkip<char>;
template class TSkip<wchar_t>;
template class TSkip<unsigned char>;

} // namespace Quil::IMPL::engine

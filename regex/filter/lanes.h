// Characters of a text as the compiler's own vectors, and what is asked of them: where they equal
// a character, by the bits of the color map that tell characters apart.
#pragma once

#include "regex/compile/chrtraits.h"
#include "util/base/lanes.h"

namespace Quil::IMPL::engine {

/// Vectors of characters of one byte.
template <class Chr>
struct lanes {
    using value = std::uint8_t;
    using vector = LANES<value>;
    static constexpr std::ptrdiff_t COUNT = LANES_SIZE;

    static vector load(const Chr* at) { return LoadLanes<vector>(at); }
    static value select(Chr c) { return static_cast<value>(c); }
};

/// Of wide characters only 16 bits count, as in the color map.
template <>
struct lanes<wchar_t> {
    using value = std::int32_t;
    using vector = LANES<value>;
    static constexpr std::ptrdiff_t COUNT = LANES_SIZE / sizeof(value);
    static constexpr value MASK = 0xFFFF;

    static vector load(const wchar_t* at) { return LoadLanes<vector>(at) & MASK; }
    static value select(wchar_t c) { return static_cast<value>(c) & MASK; }
};

} // namespace Quil::IMPL::engine

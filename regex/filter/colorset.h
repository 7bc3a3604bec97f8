// Sets of colors, and which characters of a text are in them.
#pragma once

#include "regex/compile/color.h"

#include <vector>

namespace Quil::IMPL::engine {

/// Which colors are in a set: by color, 1 or 0.
using colorset = std::vector<unsigned char>;

inline bool holds(const colorset& set, int co) {
    return set[static_cast<std::size_t>(co)] != 0;
}

} // namespace Quil::IMPL::engine

// What a mistyped name was probably meant to be.
#pragma once

#include "util/text/stringEx.h"

#include <vector>

namespace Quil {

/// The name that takes the fewest letters changed, left out, put in or exchanged to make of it what
/// was typed, without regard to case; empty if none is near.
stringEx FindNearest(const stringEx& typed, const std::vector<stringEx>& names);

} // namespace Quil

// Where the matches of a text were, and what stands in their places.
#pragma once

#include "util/base/visibility.h"

#include <vector>

namespace QUIL_PUBLIC Quil {

/// A match and its replacement, in elements.
struct REPLACED_MATCH {
    unsigned int begin; ///< in the text
    unsigned int length;
    unsigned int newBegin; ///< in the result
    unsigned int newLength;
};

using REPLACED_MATCHES = std::vector<REPLACED_MATCH>;

} // namespace Quil

// Where the matches of a text were, and what stands in their places.
#pragma once

#include <vector>

namespace Quil {

/// A match and its replacement, in elements.
struct REPLACED_MATCH {
    unsigned int begin; ///< in the text
    unsigned int length;
    unsigned int newBegin; ///< in the result
    unsigned int newLength;
};

using REPLACED_MATCHES = std::vector<REPLACED_MATCH>;

} // namespace Quil

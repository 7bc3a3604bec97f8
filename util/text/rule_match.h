// A match of one of many rules.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

/// A match of a rule in a text, in elements.
struct RULE_MATCH {
    unsigned int begin = 0;
    unsigned int length = 0;
    unsigned int rule = 0;

    unsigned int end() const noexcept { return begin + length; }
};

} // namespace Quil

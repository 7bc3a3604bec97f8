// The tag for locks that lie in memory which another party has set up.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

/// Selects the constructors for objects in a block that several processes map. They are made by
/// placement and never destroyed there, since the other processes may still use them.
struct FLAG_PREALLOCATE {};

} // namespace Quil

// The version of the library, which is also the command's.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

/// "MAJOR.MINOR.PATCH" of the library that runs; of a shared one it may be newer than what the
/// program was compiled with. MAJOR changes when programs have to. Lives for ever; never throws.
const char* Version() noexcept;

} // namespace Quil

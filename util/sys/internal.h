// The lock under which the library's lazily built statics are created.
#pragma once

#include "util/sys/advSync.h"
#include "util/sys/mutex.h"

namespace Quil::IMPL {

/// The one recursive lock for building a static on first use, after an unlocked test. Ready before
/// any constructor runs and never destroyed.
CFastMutex& GetStaticLocalVarInitLock();

} // namespace Quil::IMPL

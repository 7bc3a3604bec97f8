// The lock under which the library's lazily built statics are created.
#pragma once

#include "util/base/InitGuard.h"
#include "util/sys/mutex.h"

namespace Quil::IMPL {

/// The one recursive lock for building a static on first use, after an unlocked test. Ready before
/// any constructor runs and never destroyed.
CFastMutex& GetStaticLocalVarInitLock();

/// The lock needs no building. What is built early is the description of the machine, by which the
/// fast locks spin.
class impInitGuardForQuilUtilInternalDepend
    : public TInitGuard<impInitGuardForQuilUtilInternalDepend> {
    friend TInitGuard;
    static void __Init();
};

static const impInitGuardForQuilUtilInternalDepend s_initGuardForInternal;

} // namespace Quil::IMPL

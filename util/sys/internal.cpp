#include "util/sys/internal.h"

#include "util/sys/immortal.h"
#include "util/sys/lazysem.h"

namespace Quil::IMPL {

CFastMutex& GetStaticLocalVarInitLock() {
    static constinit CImmortal<CFastMutex> lock;
    return lock.Get();
}

void impInitGuardForQuilUtilInternalDepend::_Init() {
    FAST_LOCK_START::Init();
}

} // namespace Quil::IMPL

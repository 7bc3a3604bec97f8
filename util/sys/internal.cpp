// The lock of lazily built statics. It is ready without a constructor's run and never destroyed, so
// there is no order that could be wrong.
#include "util/sys/internal.h"

#include "util/base/Immortal.h"
#include "util/base/LazyStatic.h"
#include "util/sys/lock/LazySem.h"

namespace Quil::IMPL {

CFastMutex& GetStaticLocalVarInitLock() {
    static constinit CImmortal<CFastMutex> lock;
    return lock.Get();
}

CStaticsLock::CStaticsLock() {
    GetStaticLocalVarInitLock().Lock();
}

CStaticsLock::~CStaticsLock() {
    GetStaticLocalVarInitLock().UnLock();
}

void impInitGuardForQuilUtilInternalDepend::__Init() {
    FAST_LOCK_START::Init();
}

} // namespace Quil::IMPL

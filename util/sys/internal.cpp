#include "util/sys/internal.h"

namespace Quil::IMPL {

CFastMutex& GetStaticLocalVarInitLock() {
    static constinit CFastMutex lock;
    return lock;
}

} // namespace Quil::IMPL

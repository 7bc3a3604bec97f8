// The semaphore of a fast lock, published by the first thread that needs one; who loses that race
// throws its own away.
#include "util/sys/lock/LazySem.h"

#include "util/base/CancelHold.h"
#include "util/base/PlatInfo.h"
#include "util/sys/mutex.h"
#include "util/sys/sem.h"

#include <memory>

namespace Quil::IMPL {

void FAST_LOCK_START::Init() {
    CFastMutex::sm_bMpFlag = CFastSem::sm_bMpFlag = CPlatInfo::Get().IsMp();
}

CLazySem::~CLazySem() {
    delete __sem.load(std::memory_order_acquire);
}

CSem& CLazySem::__GetSemaphore() {
    CSem* present = __sem.load(std::memory_order_acquire);
    if (present == nullptr) {
        auto made = std::make_unique<CSem>(0U);
        if (__sem.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel,
                                          std::memory_order_acquire)) {
            present = made.release();
        }
    }
    return *present;
}

void CLazySem::P() {
    const CCancelHold hold;
    __GetSemaphore().P();
}

void CLazySem::V() {
    __GetSemaphore().V(1);
}

} // namespace Quil::IMPL

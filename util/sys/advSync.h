// Scoped holders of the library's locks.
#pragma once

#include "util/sys/mutex.h"

namespace Quil {

/// Holds a `CFastMutex` from construction to destruction, or to `Reset`.
class CFastSessionLock {
public:
    explicit CFastSessionLock(CFastMutex& mutex) : __mutex(&mutex) { mutex.Lock(); }
    CFastSessionLock(const CFastSessionLock&) = delete;
    CFastSessionLock& operator=(const CFastSessionLock&) = delete;
    ~CFastSessionLock() { Reset(); }

    /// Releases early; does nothing the second time.
    void Reset() {
        if (__mutex != nullptr) {
            __mutex->UnLock();
            __mutex = nullptr;
        }
    }

private:
    CFastMutex* __mutex;
};

} // namespace Quil

// The recursive lock that guards the library's shared objects.
#pragma once

#include <pthread.h>

namespace Quil {

/// A recursive lock. Constant-initialised, so that objects that others need before `main` may have
/// one.
class CFastMutex {
public:
    /// For `Lock`: wait for as long as it takes.
    static constexpr unsigned long NO_LIMIT = static_cast<unsigned long>(-1);

    constexpr CFastMutex() = default;
    CFastMutex(const CFastMutex&) = delete;
    CFastMutex& operator=(const CFastMutex&) = delete;

    /// Takes the lock, or one more level of it. 0 milliseconds is a try; a value that is negative
    /// as a signed number or above 2147483646 waits without limit. True if it was taken.
    bool Lock(unsigned long milliseconds = NO_LIMIT);
    void UnLock();

private:
    pthread_mutex_t __mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

} // namespace Quil

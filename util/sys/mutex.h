// Recursive locks: the fast one (`CFastMutex`), which the library's own objects use, and the
// system's (`CMutex`, and `CProcMutex` between processes).
//
// Time-outs are in milliseconds: 0 is a try and returns at once, a value that is negative as a
// signed number or above 2147483646 waits without limit. Results are true for success. A lock is
// released by the thread that took it, as often as it took it.
#pragma once

#include "util/base/preallocate.h"
#include "util/base/timeout.h"
#include "util/base/visibility.h"
#include "util/sys/lock/LazySem.h"
#include "util/sys/lock/SharedObject.h"
#include "util/text/stringEx.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace QUIL_PUBLIC Quil {

/// A lock that costs one atomic instruction each way while threads don't collide, and makes a
/// semaphore to sleep on when they first do. Constant-initialised, so objects that others need
/// before `main` may have one. Threads that sleep are woken in the order of the semaphore; tries
/// and timed waits get the lock only when nobody sleeps for it.
class CFastMutex {
public:
    /// For `Lock`: wait for as long as it takes.
    static constexpr unsigned long NO_LIMIT = IMPL::NO_LIMIT;

    constexpr CFastMutex() = default;
    CFastMutex(const CFastMutex&) = delete;
    CFastMutex& operator=(const CFastMutex&) = delete;

    /// Takes the lock, or one more level of it. A wait with a limit polls, in slices of 10 ms and
    /// at least one. Waiting is no cancellation point.
    bool Lock(unsigned long milliseconds = NO_LIMIT) {
        if (IsOwner()) {
            ++__recursion;
            return true;
        }
        if (!IMPL::IsUnlimited(milliseconds)) {
            return __LockWithin(milliseconds);
        }
        if (__word.fetch_add(1, std::memory_order_acquire) != FREE) {
            __sem.P(); // the lock is handed over by whoever wakes this thread
        }
        __Own();
        return true;
    }

    void UnLock() {
        if (--__recursion == 0) {
            __owner.store(NOBODY, std::memory_order_relaxed);
            if (__word.fetch_sub(1, std::memory_order_release) > 0) {
                __sem.V();
            }
        }
    }

    /// True if the calling thread holds the lock. A thread can read its own id here only if it
    /// wrote it.
    bool IsOwner() const { return __owner.load(std::memory_order_relaxed) == pthread_self(); }

    /// Whether the machine has several processors, so that spinning makes sense.
    static bool IsMultiProcessor() { return sm_bMpFlag; }

private:
    friend struct IMPL::FAST_LOCK_START;
    static constexpr std::int32_t FREE = -1;
    static constexpr pthread_t NOBODY = 0;

    void __Own() {
        __owner.store(pthread_self(), std::memory_order_relaxed);
        __recursion = 1;
    }
    bool __TryTake();
    bool __LockWithin(unsigned long milliseconds);

    std::atomic<std::int32_t> __word{FREE}; ///< 0: held; above: so many threads wait
    unsigned int __recursion = 0;
    std::atomic<pthread_t> __owner{NOBODY};
    IMPL::CLazySem __sem;
    static bool sm_bMpFlag;
};

/// The operations of both system locks. `Self` supplies `__Handle()`, `__Name()` and `__Detail()`.
/// Failures of the system are thrown as `mutexExp`.
template <class Self>
class TMutexOps {
public:
    bool Lock();
    bool Lock(unsigned long milliseconds);
    /// Waits up to `offset` from now.
    bool Lock(const timespec& offset);
    bool TryLock();
    void UnLock();

protected:
    TMutexOps() = default;

private:
    pthread_mutex_t* __Handle() const { return static_cast<const Self*>(this)->__Handle(); }
    /// Takes over from an owner that died; throws any other error but `refusal`.
    bool __Taken(int error, int refusal, const char* what) const;
    [[noreturn]] void __Throw(const char* what, int error) const;
};

/// A recursive lock of this process. Owns a `pthread_mutex_t`.
class CMutex : public TMutexOps<CMutex> {
public:
    CMutex();
    /// In a block that several processes map: with `initialize` the lock is set up there, else what
    /// another process has set up stays.
    CMutex(FLAG_PREALLOCATE, bool initialize);
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;
    /// Throws `mutexExp` if it is held, unless an exception is in flight.
    ~CMutex() noexcept(false);

    /// The system's lock, for conditions that go with it.
    pthread_mutex_t* ToSysHandle() const { return &__mutex; }

private:
    friend TMutexOps;
    pthread_mutex_t* __Handle() const { return &__mutex; }
    static const char* __Name() { return "CMutex"; }
    static stringEx __Detail() { return stEMPTY; }

    mutable pthread_mutex_t __mutex;
};

/// A recursive lock between processes, found by its name. When the process that holds it dies the
/// next one gets it, whatever state the dead one left behind. The creator takes the name away.
class CProcMutex : public TMutexOps<CProcMutex> {
public:
    /// With `create` the name must be free, or its creator dead (by the rules of `CShMem`); else it
    /// must exist. Throws `mutexExp` or `shmemExp`.
    CProcMutex(bool create, const stringEx& name);
    CProcMutex(const CProcMutex&) = delete;
    CProcMutex& operator=(const CProcMutex&) = delete;
    ~CProcMutex() noexcept(false);

    pthread_mutex_t* ToSysHandle() const { return __Handle(); }

private:
    friend TMutexOps;
    pthread_mutex_t* __Handle() const { return __shared.Get().ToSysHandle(); }
    static const char* __Name() { return "CProcMutex"; }
    stringEx __Detail() const;

    IMPL::CSharedObject<CMutex> __shared;
};

extern template class TMutexOps<CMutex>;
extern template class TMutexOps<CProcMutex>;

namespace IMPL {

/// After a lock or a condition's wait on a lock between processes: 0 if the lock was taken over
/// from an owner that died, else the error as it was.
int TakeOverFromDeadOwner(pthread_mutex_t* mutex, int error);

} // namespace IMPL

} // namespace Quil

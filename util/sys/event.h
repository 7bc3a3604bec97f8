// Manual-reset events: a flag to wait for (`CEvent`, and `CProcEvent` between processes).
//
// A waiter sleeps until it sees the flag, or sees that somebody raised the event since it came: a
// `Raise` followed at once by a `Reset` lets all present waiters go, and a false wake-up none.
//
// Time-outs are in milliseconds: 0 is a try and returns at once, a value that is negative as a
// signed number or above 2147483646 waits without limit. A wait answers true if the event was
// raised.
#pragma once

#include "util/base/visibility.h"
#include "util/sys/mutex.h"

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// What an event of one process is beside its lock: the system's condition and the flag.
struct EVENT_STATE {
    EVENT_STATE();
    EVENT_STATE(const EVENT_STATE&) = delete;
    EVENT_STATE& operator=(const EVENT_STATE&) = delete;

    // Both answer an error number, or 0. `until` is on the monotonic clock, or null.

    int WakeAll();
    int Sleep(pthread_mutex_t* lock, const timespec* until);

    pthread_cond_t condition;
    bool isRaised = false;
    unsigned int generation = 0; ///< counts the calls of `Raise`
};

/// The same between processes. The system's condition keeps books on its sleepers, which those that
/// are killed leave wrong, and then whoever wakes the others waits for the dead. Here a sleeper
/// only watches the count of raises.
struct PROC_EVENT_STATE {
    PROC_EVENT_STATE(FLAG_PREALLOCATE, bool initialize);
    PROC_EVENT_STATE(const PROC_EVENT_STATE&) = delete;
    PROC_EVENT_STATE& operator=(const PROC_EVENT_STATE&) = delete;

    int WakeAll();
    int Sleep(pthread_mutex_t* lock, const timespec* until);

    bool isRaised;
    std::atomic<std::uint32_t> generation;
};

/// A caller's lock, which a wait gives up while it sleeps.
class IHeldLock {
public:
    virtual void Release() = 0;
    virtual void Regain() = 0;

protected:
    ~IHeldLock() = default;
};

template <class Mutex>
class CHeldLock final : public IHeldLock {
public:
    explicit CHeldLock(Mutex& mutex) : __mutex(mutex) {}
    void Release() override { __mutex.UnLock(); }
    void Regain() override { __mutex.Lock(); }

private:
    Mutex& __mutex;
};

} // namespace IMPL

/// The operations of both events. `Self` supplies `__State()`, `__Lock()`, `__Name()` and
/// `__Detail()`. Failures of the system are thrown as `eventExp`, those of a lock as `mutexExp`.
/// Waits are cancellation points.
///
/// The forms with a caller's lock find it held and return with it held; it is free while the thread
/// sleeps. (A recursive lock must be held once.)
template <class Self>
class TEventOps {
public:
    void Raise();
    void Reset();
    bool TryWait();
    bool Wait() { return __Wait(nullptr, nullptr); }
    bool Wait(unsigned long milliseconds) { return __WaitFor(nullptr, milliseconds); }
    /// Waits up to `offset` from now.
    bool Wait(const timespec& offset) { return __Wait(nullptr, &offset); }

    template <class Mutex>
    bool TryWait(Mutex&) {
        return TryWait();
    }
    template <class Mutex>
    bool Wait(Mutex& held) {
        IMPL::CHeldLock<Mutex> lock(held);
        return __Wait(&lock, nullptr);
    }
    template <class Mutex>
    bool Wait(Mutex& held, unsigned long milliseconds) {
        IMPL::CHeldLock<Mutex> lock(held);
        return __WaitFor(&lock, milliseconds);
    }
    template <class Mutex>
    bool Wait(Mutex& held, const timespec& offset) {
        IMPL::CHeldLock<Mutex> lock(held);
        return __Wait(&lock, &offset);
    }

protected:
    TEventOps() = default;

private:
    class COwnLock;

    Self& __Self() { return *static_cast<Self*>(this); }
    bool __WaitFor(IMPL::IHeldLock* held, unsigned long milliseconds);
    bool __Wait(IMPL::IHeldLock* held, const timespec* offset);
    bool __Sleep(const timespec* offset);
};

/// An event of this process. Owns a condition and a lock.
class CEvent : public TEventOps<CEvent> {
public:
    explicit CEvent(bool isRaised = false);
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;
    ~CEvent() noexcept(false);

private:
    friend TEventOps;
    IMPL::EVENT_STATE& __State() { return __state; }
    CMutex& __Lock() { return __mutex; }
    static const char* __Name() { return "CEvent"; }
    static stringEx __Detail() { return stEMPTY; }

    IMPL::EVENT_STATE __state;
    CMutex __mutex;
};

/// An event between processes, found by its name; its lock is named with ".lock" behind. The
/// creator takes both names away. Processes may be killed in any of its operations: the others go
/// on, at the latest a tenth of a second after a `Raise` that was cut short.
class CProcEvent : public TEventOps<CProcEvent> {
public:
    /// With `create` the names must be free, or their creator dead (by the rules of `CShMem`); else
    /// they must exist. Throws `eventExp`, `mutexExp` or `shmemExp`.
    CProcEvent(bool create, const stringEx& name);
    CProcEvent(const CProcEvent&) = delete;
    CProcEvent& operator=(const CProcEvent&) = delete;
    ~CProcEvent() noexcept(false);

private:
    friend TEventOps;
    IMPL::PROC_EVENT_STATE& __State() { return __shared.Get(); }
    CProcMutex& __Lock() { return __mutex; }
    static const char* __Name() { return "CProcEvent"; }
    stringEx __Detail() const;

    IMPL::CSharedObject<IMPL::PROC_EVENT_STATE> __shared;
    CProcMutex __mutex;
};

extern template class TEventOps<CEvent>;
extern template class TEventOps<CProcEvent>;

} // namespace Quil

// Threads: an object whose class says what the thread does, with states, a way to ask it to stop,
// and one place for an exception that leaves it.
//
// The object and the running thread share a record (`IMPL::THREAD_RECORD`) that neither owns alone:
// whoever sees that the thread has ended may destroy the object at once, since the thread's last
// steps touch the record only.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/text/stringEx.h"

#include <atomic>
#include <bitset>
#include <pthread.h>

namespace QUIL_PUBLIC Quil {

class CTime;
class CTimeSpan;

namespace IMPL {
class CThread_Imp;
struct THREAD_RECORD;
} // namespace IMPL

/// A flag that may also be left open.
class CSemiBool {
public:
    constexpr CSemiBool() = default;
    constexpr CSemiBool(bool value) : __state(value ? YES : NO) {}

    constexpr bool IsSet() const { return __state != OPEN; }
    /// The flag, or `otherwise` if it was left open.
    constexpr bool Value(bool otherwise) const { return IsSet() ? __state == YES : otherwise; }

private:
    enum STATE : signed char { OPEN = -1, NO, YES };
    STATE __state = OPEN;
};

/// A thread. The derived class supplies `_Entry`; it must also stop the thread and wait for it in
/// its own destructor, since the thread uses what that destroys.
///
/// An exception that leaves `_Entry` ends the thread alone, with exit code -1 and one line in the
/// process-wide log, or on standard error where that has no logger.
///
/// Any thread may call the members, also on itself (but not `Kill`, nor `Create` before its end).
/// Failures are thrown as `threadExp`. Time-outs are in milliseconds: 0 is a try, a value that is
/// negative as a signed number or above 2147483646 waits without limit.
class TThread {
public:
    enum STATE : int {
        SUSPENDING = -1, ///< for the short time in which a suspension is in progress
        NOT_CREATED = 0,
        SUSPENDED = 1, ///< created or suspended, not running
        RUNNING = 2,
        STOPPING = 3, ///< running, asked to stop
        ENDED = 4,    ///< by returning from `_Entry`, or by an exception
        KILLED = 5    ///< or unwound by the system's means, with exit code -1
    };
    enum PRIORITY { LOWEST, LOW, NORMAL, HIGH, HIGHEST };
    enum SCHDPOLICY { SCHD_OTHER, SCHD_FIFO, SCHD_ROUND_ROBIN };

    /// A thread that is still running is killed here, which is too late for the derived part. One
    /// that destroys its own object, as a static one's does when its code calls `exit`, runs on.
    virtual ~TThread() noexcept(false);

    /// A new object of the same class, and a copy; null where a class has neither.
    virtual TThread* New() const { return nullptr; }
    virtual TThread* Clone() const { return nullptr; }

protected:
    TThread();
    TThread(const TThread&) = delete;
    TThread& operator=(const TThread&) = delete;

    /// What the thread does; the result is its exit code. Long work looks at `_ShouldStop`.
    virtual int _Entry() = 0;
    /// Called on the thread while an exception that left `_Entry` is handled. What it throws itself
    /// is reported likewise.
    virtual void _OnUncaughtException() {}
    /// Around a kill, on the thread that kills.
    virtual void _OnKilling(int /*code*/) {}
    virtual void _OnKilled(int /*code*/) {}

public:
    /// Asks the thread to stop, resuming it if it is suspended. True if it isn't alive any more.
    virtual bool TryStop();

    /// Makes the thread, suspended. An object whose thread has ended may be used again; one whose
    /// thread is alive waits for its end first. With `autoDestroy` the object, which must come from
    /// `new`, is deleted at the end of its thread; open means as before. A stack size of 0 is the
    /// system's.
    void Create(CSemiBool autoDestroy = CSemiBool(), unsigned long stackSize = 0);
    void Run() { Resume(); }
    /// Stops the thread wherever it is, be it with a lock of the C library: only for threads that
    /// are known to be harmless. Returns when it stands still.
    void Suspend();
    void Resume();
    /// Cancels the thread and waits until it has unwound, which takes a cancellation point.
    void Kill(int code);

    /// True if there is nothing (more) to wait for. A thread that waits for itself gets false at
    /// once.
    bool Wait() const;
    bool Wait(unsigned long milliseconds) const;
    bool TryWait() const;

    STATE GetState() const;
    int GetExitCode() const;
    /// The thread's id, as `GetCurrentThreadId` gives it there; 0 without a thread.
    unsigned long GetId() const;
    pthread_t ToSysHandle() const { return static_cast<pthread_t>(GetId()); }

    PRIORITY GetPriority() const;
    void SetPriority(PRIORITY priority);
    SCHDPOLICY GetSchdPolicy() const;
    void SetSchdPolicy(SCHDPOLICY policy);
    /// The processors that the thread may run on. With `onlyPresent` those that this process may
    /// not use are first taken out of `mask`.
    void SetCpuAffinity(std::bitset<1024>& mask, bool onlyPresent);
    /// A hint that this system has no use for: false.
    bool SetIdealCpu(long cpu);
    /// A mark that this system has no use for; it is only kept.
    void SetPriorityBoost(bool boost);
    bool ShouldBoostPriority() const;
    /// This system's waits for input and output end with the call: false.
    bool HasPendingIo() const;
    /// When the thread was made, and its processor time in the system and in the program. Each may
    /// be null.
    void GetTimes(CTime* created, CTimeSpan* system, CTimeSpan* user) const;

    static unsigned long GetCurrentThreadId() { return pthread_self(); }
    static unsigned int GetCurrentCpu();
    static unsigned long GetMinStackSize();
    static unsigned int GetCpuCount();
    static unsigned int GetOnlineCpuCount();
    static void SwitchToOther();
    static void RelinquishCPU();
    /// Sleeps. False if a signal cut it short.
    static bool Sleep(unsigned long milliseconds);
    static bool USleep(const CTimeSpan& span);
    /// Reads processors and ranges of them, such as "0,2-5". False for anything else, which leaves
    /// `mask` as it was.
    static bool StrToCpuMask(std::bitset<1024>& mask, const stringEx& text);

    static PRIORITY GetCurrentPriority();
    static void SetCurrentPriority(PRIORITY priority);
    static SCHDPOLICY GetCurrentSchdPolicy();
    static void SetCurrentSchdPolicy(SCHDPOLICY policy);
    static void SetCurrentCpuAffinity(std::bitset<1024>& mask, bool onlyPresent);

    /// Called on a thread that an exception has ended, after `_OnUncaughtException`. Null for none.
    static void SetUncaughtHandler(void (*handler)());

protected:
    /// True once the thread has been asked to stop.
    bool _ShouldStop() const;
    /// Whether the object goes with its thread; it may still be decided while `_Entry` runs.
    bool _ShouldDestroy() const;
    void _SetShouldDestroy(bool shouldDestroy) { __autoDestroy = shouldDestroy; }

private:
    friend class IMPL::CThread_Imp;

    bool __IsAlive() const;
    pthread_t __LiveThread(const char* caller) const;
    void __Cancel(IMPL::CThread_Imp& imp, int code);

    CHandle<IMPL::THREAD_RECORD, GuardedDeletor<IMPL::THREAD_RECORD>> __record;
    IMPL::CThread_Imp* __imp = nullptr;
    std::atomic<bool> __autoDestroy{false};
    std::atomic<bool> __boost{false};

    static std::atomic<void (*)()> sm_apUncaughtHandler;
};

} // namespace Quil

// The POSIX half of a thread object.
#pragma once

#include "util/base/handle.h"
#include "util/sys/event.h"
#include "util/sys/mutex.h"
#include "util/sys/sem.h"
#include "util/sys/thread.h"

#include <atomic>
#include <csignal>
#include <pthread.h>
#include <sys/types.h>

namespace Quil::IMPL {

/// What a thread object and its thread both need, counted by both.
struct THREAD_RECORD {
    CFastMutex lock;    ///< guards the object
    CSem start{0};      ///< the new thread waits here until it is resumed
    CSem suspended{0};  ///< the thread's answer to a suspension
    CEvent ended{true}; ///< raised by the thread's last step, however it ends
    std::atomic<int> state{TThread::NOT_CREATED};
    std::atomic<int> exitCode{0};
    std::atomic<int> stop{0};     ///< not 0: asked to stop
    std::atomic<int> killCode{0}; ///< the exit code if the thread is unwound to its end
    std::atomic<int> released{0}; ///< not 0: the object is no business of the thread any more
    std::atomic<int> hold{0};     ///< number of the present suspension, 0 for none
    std::atomic<int> held{0};     ///< number of the last suspension that the thread answered
    std::atomic<pid_t> systemId{0};
    std::atomic<long long> created{0}; ///< microseconds since 1970
};

/// The exit code of a thread that an exception ended, or something else that `_Entry` didn't return
/// from.
constexpr int FAILED_EXIT = -1;

using THREAD_RECORD_HANDLE = CHandle<THREAD_RECORD, GuardedDeletor<THREAD_RECORD>>;

/// A thread of the system, from its creation until it is joined. Owned by a `TThread`.
class CThread_Imp {
public:
    /// Starts the thread, which waits for the record's start semaphore. Throws `threadExp`.
    CThread_Imp(TThread* thread, const THREAD_RECORD_HANDLE& record, unsigned long stackSize);
    CThread_Imp(const CThread_Imp&) = delete;
    CThread_Imp& operator=(const CThread_Imp&) = delete;
    /// Waits until the thread has unwound; on the thread itself, lets it end alone.
    ~CThread_Imp();

    /// Asks the system to cancel the thread. Throws `threadExp`.
    void Kill();
    /// Make the thread stand still, and let it go on.
    void Suspend(THREAD_RECORD& record);
    void Resume(THREAD_RECORD& record);

    pthread_t GetHandle() const { return __handle; }

    /// Whether the caller is the record's thread.
    static bool IsCurrent(const THREAD_RECORD& record);

    // Scheduling of any thread.

    static TThread::PRIORITY GetPriority(pthread_t thread);
    static void SetPriority(pthread_t thread, TThread::PRIORITY priority);
    static TThread::SCHDPOLICY GetSchdPolicy(pthread_t thread);
    static void SetSchdPolicy(pthread_t thread, TThread::SCHDPOLICY policy);
    static void SetCpuAffinity(pthread_t thread, std::bitset<1024>& mask, bool onlyPresent);

private:
    struct START;

    static void* __EntryPoint(void* argument);
    static int __RunEntry(TThread& thread);
    static void __OnException(TThread& thread);
    static void __End(const START& start, TThread::STATE state, int code);
    static void __Cleaner(void* start);
    static void __OnHoldSignal(int);

    static void _GetThreadShcdParam(pthread_t thread, int& policy, sched_param& param);
    static void _SetThreadShcdParam(pthread_t thread, int policy, TThread::PRIORITY priority);

    pthread_t __handle;
};

} // namespace Quil::IMPL

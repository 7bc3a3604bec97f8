// A thread of the system from its start to its join: what runs on it around the entry, how it is
// held and let go, and how it is scheduled.
#include "util/sys/thread_imp.h"

#include "util/base/CancelHold.h"
#include "util/base/sanitizer.h"
#include "util/sys/errhdl.h"
#include "util/sys/error/SignalStack.h"
#include "util/sys/log.h"
#include "util/sys/syserror.h"
#include "util/text/ConvStr.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <sched.h>
#include <unistd.h>

namespace Quil::IMPL {

namespace {

constexpr ERROR_TEXT CREATE_ERRORS[] = {
    {EBUSY, "already initialized"},
    {EINVAL, "invalid attr obj"},
    {EPERM, "permission denied"},
    {EAGAIN, "not enough system resource, or process limit has been exceeded"}};
constexpr ERROR_TEXT SCHEDULE_ERRORS[] = {
    {ESRCH, "the value specified by thread does not refer to an existing thread"},
    {EINVAL, "invalid scheduling policy"},
    {ENOTSUP, "unsupport scheduling policy or parameters"},
    {EPERM, "permission denied or modify one of the parameters is not allowed"}};
constexpr ERROR_TEXT THREAD_ERRORS[] = {{ESRCH, "invalid thread id"}};

void Check(int error, const char* head, std::span<const ERROR_TEXT> table) {
    if (error != 0) {
        ThrowSysError<threadExp>(head, error, table);
    }
}

/// The record of the running thread, for the signal that suspends it.
thread_local THREAD_RECORD* currentRecord = nullptr;

/// Makes a record known to its thread for as long as that may look at it.
class CCurrentRecord {
public:
    explicit CCurrentRecord(THREAD_RECORD& record) { currentRecord = &record; }
    CCurrentRecord(const CCurrentRecord&) = delete;
    CCurrentRecord& operator=(const CCurrentRecord&) = delete;
    ~CCurrentRecord() { currentRecord = nullptr; }
};

/// Leaves a line on the exception that is being handled: in the process-wide log, or where that has
/// no logger, on standard error. What fails here can't be told.
void Report(const char* head) {
    try {
        const stringEx text = stringEx(head) + ": " + CurrentExceptionText();
        const CLog::LogHandle log = CLog::GetGlobal();
        if (log && log->HasLogger()) {
            log->LogErrorMsg(stringEx("util.trd"), text);
        } else {
            std::fprintf(stderr, "[ERROR] %s\n", text.c_str());
        }
    } catch (...) {
        PassThreadEnd();
    }
}

/// Frees what the library keeps for the calling thread.
void ClearTls() {
    stringEx::regex_free_tls();
    wstringEx::regex_free_tls();
    ConvStrFreeTls();
}

/// Runs foreign code on a thread that is about to end. An exception of its own, told by `head`,
/// goes no further.
template <class Step>
void RunGuarded(const char* head, Step step) {
    try {
        step();
    } catch (...) {
        PassThreadEnd();
        Report(head);
    }
}

/// The attributes of a new thread.
class CAttributes {
public:
    CAttributes() {
        Check(pthread_attr_init(&value), "CThread_Imp::Create - failed create thread",
              CREATE_ERRORS);
    }
    CAttributes(const CAttributes&) = delete;
    CAttributes& operator=(const CAttributes&) = delete;
    ~CAttributes() {
        if (!__isDestroyed) {
            pthread_attr_destroy(&value);
        }
    }

    void Destroy() {
        __isDestroyed = true;
        Check(pthread_attr_destroy(&value), "CThread_Imp::Create - failed destory attribute object",
              CREATE_ERRORS);
    }

    pthread_attr_t value;

private:
    bool __isDestroyed = false;
};

sigset_t HoldSignalSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGRTMIN);
    return set;
}

} // namespace

/// What the creator hands to the thread.
struct CThread_Imp::START {
    TThread* thread;
    THREAD_RECORD_HANDLE record;
};

CThread_Imp::CThread_Imp(TThread* thread, const THREAD_RECORD_HANDLE& record,
                         unsigned long stackSize) {
    constexpr std::size_t GUARD_SIZE = 4096;
    CAttributes attributes;
    Check(pthread_attr_setdetachstate(&attributes.value, PTHREAD_CREATE_JOINABLE),
          "CThread_Imp::Create - failed create thread", CREATE_ERRORS);
    Check(pthread_attr_setguardsize(&attributes.value, GUARD_SIZE),
          "CThread_Imp::Create - failed set guard area attribute", CREATE_ERRORS);
    if (stackSize != 0) {
        Check(pthread_attr_setstacksize(&attributes.value, stackSize),
              "CThread_Imp::Create - failed set stack size attribute", CREATE_ERRORS);
    }
    auto start = std::make_unique<START>(START{thread, record});
    Check(pthread_create(&__handle, &attributes.value, __EntryPoint, start.get()),
          "CThread_Imp::Create - failed create thread", CREATE_ERRORS);
    static_cast<void>(start.release()); // the thread's now
    attributes.Destroy();
}

CThread_Imp::~CThread_Imp() {
    const CCancelHold hold;
    if (pthread_equal(__handle, pthread_self()) != 0) {
        pthread_detach(__handle);
    } else {
        pthread_join(__handle, nullptr);
    }
}

bool CThread_Imp::IsCurrent(const THREAD_RECORD& record) {
    return currentRecord == &record;
}

void CThread_Imp::Kill() {
    Check(pthread_cancel(__handle), "CThread_Imp::Kill - failed kill the thread", THREAD_ERRORS);
}

// --- On the thread -------------------------------------------------------------------------------

void* CThread_Imp::__EntryPoint(void* argument) {
    const std::unique_ptr<START> start(static_cast<START*>(argument));
    if (start == nullptr || start->thread == nullptr || !start->record) {
        CLog::FatalMsg(stringEx("util.trd"), stringEx("invalid thread handle, program aborted"));
        util_FatalExit(true);
    }
    TThread* const thread = start->thread;
    THREAD_RECORD& record = *start->record;
    record.systemId = gettid();
    const CCurrentRecord current(record);
    std::optional<CSignalStack> crashStack;
    if constexpr (!QUIL_SANITIZED) {
        crashStack.emplace();
    }
    const sigset_t holdSignal = HoldSignalSet();
    pthread_sigmask(SIG_UNBLOCK, &holdSignal, nullptr);

    int code = 0;
    pthread_cleanup_push(__Cleaner, start.get());
    record.start.P();
    if (record.stop == 0) {
        code = __RunEntry(*thread);
    }
    pthread_cleanup_pop(0);
    __End(*start, TThread::ENDED, code);
    return nullptr;
}

/// The thread is unwound to its end, by a kill, a cancellation from outside or `pthread_exit`.
void CThread_Imp::__Cleaner(void* start) {
    __End(*static_cast<const START*>(start), TThread::KILLED, 0);
}

/// A thread's last steps. With the state they come to where somebody else may destroy the object.
void CThread_Imp::__End(const START& start, TThread::STATE state, int code) {
    const CCancelHold hold; // from here on the thread ends by itself
    THREAD_RECORD& record = *start.record;
    record.lock.Lock();
    const bool shouldDestroy = record.released == 0 && start.thread->_ShouldDestroy();
    record.exitCode.exchange(state == TThread::KILLED ? record.killCode.load() : code);
    record.state.exchange(state);
    record.lock.UnLock();
    if (shouldDestroy) {
        RunGuarded("an exception left the destructor of a thread's object",
                   [&] { delete start.thread; });
    }
    ClearTls();
    record.ended.Raise();
}

int CThread_Imp::__RunEntry(TThread& thread) {
    try {
        return thread._Entry();
    } catch (...) {
        PassThreadEnd();
        __OnException(thread);
    }
    return FAILED_EXIT;
}

/// The hook goes first, since a class may have to mend what a report needs; the handler last, since
/// it may end the process. Neither keeps the next from its turn.
void CThread_Imp::__OnException(TThread& thread) {
    constexpr char HOOK_FAILED[] = "an exception left the handler of uncaught exceptions";
    RunGuarded(HOOK_FAILED, [&] { thread._OnUncaughtException(); });
    Report("an exception has ended a thread");
    if (void (*const handler)() = TThread::sm_apUncaughtHandler.load()) {
        RunGuarded(HOOK_FAILED, handler);
    }
}

// --- Suspension ----------------------------------------------------------------------------------

/// Runs on the suspended thread, and again inside itself when that is resumed. Uses only what is
/// allowed in a signal handler.
void CThread_Imp::__OnHoldSignal(int) {
    THREAD_RECORD* const record = currentRecord;
    if (record == nullptr) {
        return;
    }
    const int error = errno;
    int before = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); // a kill waits for the resumption
    sigset_t open;
    pthread_sigmask(SIG_SETMASK, nullptr, &open);
    sigdelset(&open, SIGRTMIN);
    for (int number = record->hold.load(); number != 0; number = record->hold.load()) {
        if (record->held.exchange(number) != number) {
            record->suspended.V();
        }
        sigsuspend(&open);
    }
    pthread_setcancelstate(before, nullptr);
    errno = error;
}

void CThread_Imp::Suspend(THREAD_RECORD& record) {
    static constinit std::atomic<int> suspensions{0};
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = __OnHoldSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGRTMIN, &action, nullptr);
    int number = ++suspensions;
    number = number != 0 ? number : ++suspensions;
    record.hold = number;
    Check(pthread_kill(__handle, SIGRTMIN), "CThread_Imp::Suspend - failed suspend the thread",
          THREAD_ERRORS);
    const CCancelHold hold;
    while (record.held.load() != number) {
        record.suspended.P();
    }
}

void CThread_Imp::Resume(THREAD_RECORD& record) {
    record.hold = 0;
    Check(pthread_kill(__handle, SIGRTMIN), "CThread_Imp::Resume - failed resume the thread",
          THREAD_ERRORS);
}

// --- Scheduling ----------------------------------------------------------------------------------

namespace {

constexpr int SYSTEM_POLICIES[] = {SCHED_OTHER, SCHED_FIFO, SCHED_RR};

struct PRIORITY_RANGE {
    int low;
    int high;
};

PRIORITY_RANGE RangeOf(int policy, const char* head) {
    const PRIORITY_RANGE range{sched_get_priority_min(policy), sched_get_priority_max(policy)};
    if (range.low < 0 || range.high < 0) {
        stringEx line("  sched type = ");
        ThrowSysError<threadExp>(head, errno, SCHEDULE_ERRORS, line << policy);
    }
    return range;
}

} // namespace

void CThread_Imp::_GetThreadShcdParam(pthread_t thread, int& policy, sched_param& param) {
    Check(pthread_getschedparam(thread, &policy, &param),
          "CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info", SCHEDULE_ERRORS);
}

/// The library's priorities lie evenly in the range of the policy. The time-sharing one has a range
/// of one value.
void CThread_Imp::_SetThreadShcdParam(pthread_t thread, int policy, TThread::PRIORITY priority) {
    const PRIORITY_RANGE range =
        RangeOf(policy, "CThread_Imp::_SetThreadShcdParam - failed retrive sched's pri range");
    sched_param param{};
    param.sched_priority =
        range.low + (range.high - range.low) * static_cast<int>(priority) / TThread::HIGHEST;
    if (const int error = pthread_setschedparam(thread, policy, &param)) {
        stringEx line("  sched type = ");
        ThrowSysError<threadExp>(
            "CThread_Imp::_SetThreadShcdParam - failed set thread's sched param", error,
            SCHEDULE_ERRORS, line << policy);
    }
}

TThread::PRIORITY CThread_Imp::GetPriority(pthread_t thread) {
    int policy = 0;
    sched_param param{};
    _GetThreadShcdParam(thread, policy, param);
    const PRIORITY_RANGE range =
        RangeOf(policy, "CThread_Imp::_GetThreadShcdParam - failed retrive sched's pri range");
    if (range.low == range.high) {
        return TThread::NORMAL;
    }
    const int width = range.high - range.low;
    return static_cast<TThread::PRIORITY>(
        ((param.sched_priority - range.low) * TThread::HIGHEST + width / 2) / width);
}

void CThread_Imp::SetPriority(pthread_t thread, TThread::PRIORITY priority) {
    int policy = 0;
    sched_param param{};
    _GetThreadShcdParam(thread, policy, param);
    _SetThreadShcdParam(thread, policy, priority);
}

TThread::SCHDPOLICY CThread_Imp::GetSchdPolicy(pthread_t thread) {
    int policy = 0;
    sched_param param{};
    _GetThreadShcdParam(thread, policy, param);
    for (const auto known : {TThread::SCHD_FIFO, TThread::SCHD_ROUND_ROBIN}) {
        if (policy == SYSTEM_POLICIES[known]) {
            return known;
        }
    }
    return TThread::SCHD_OTHER;
}

void CThread_Imp::SetSchdPolicy(pthread_t thread, TThread::SCHDPOLICY policy) {
    _SetThreadShcdParam(thread, SYSTEM_POLICIES[policy], TThread::NORMAL);
}

void CThread_Imp::SetCpuAffinity(pthread_t thread, std::bitset<1024>& mask, bool onlyPresent) {
    static_assert(CPU_SETSIZE == 1024);
    constexpr ERROR_TEXT ERRORS[] = {{ESRCH, "invalid thread id"},
                                     {EPERM, "permission denied"},
                                     {EINVAL, "no processor of the mask is present"}};
    cpu_set_t present;
    CPU_ZERO(&present);
    if (onlyPresent && sched_getaffinity(getpid(), sizeof present, &present) != 0) {
        ThrowSysError<threadExp>(
            "CThread_Imp::_SetCpuAffinity - failed retrive system' cpu affinity mask", errno,
            ERRORS);
    }
    cpu_set_t wanted;
    CPU_ZERO(&wanted);
    for (std::size_t cpu = 0; cpu != mask.size(); ++cpu) {
        if (onlyPresent && !CPU_ISSET(cpu, &present)) {
            mask.reset(cpu);
        }
        if (mask.test(cpu)) {
            CPU_SET(cpu, &wanted);
        }
    }
    Check(pthread_setaffinity_np(thread, sizeof wanted, &wanted),
          "CThread_Imp::_SetCpuAffinity - failed set cpu affinity mask", ERRORS);
}

} // namespace Quil::IMPL

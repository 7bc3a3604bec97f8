// The states of a thread object. They change under the record's lock, and that is free whenever a
// thread that still needs it is waited for.
#include "util/sys/thread.h"

#include "util/base/CancelHold.h"
#include "util/base/PlatInfo.h"
#include "util/sys/advSync.h"
#include "util/sys/errhdl.h"
#include "util/sys/thread_imp.h"

#include <exception>
#include <memory>
#include <sched.h>
#include <sys/time.h>
#include <unistd.h>

namespace Quil {

namespace {

bool IsAliveState(int state) {
    return state != TThread::NOT_CREATED && state != TThread::ENDED && state != TThread::KILLED;
}

[[noreturn]] void ThrowState(const char* head, int state) {
    stringEx message(head);
    throw threadExp(0, message << state);
}

long long MicrosecondsSince1970() {
    constexpr long long PER_SECOND = 1000000;
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * PER_SECOND + now.tv_usec;
}

} // namespace

constinit std::atomic<void (*)()> TThread::sm_apUncaughtHandler{nullptr};

TThread::TThread() : __record(new IMPL::THREAD_RECORD) {}

TThread::~TThread() noexcept(false) {
    const IMPL::CCancelHold hold;
    const bool mayThrow = std::uncaught_exceptions() == 0;
    std::unique_ptr<IMPL::CThread_Imp> imp;
    const CFastSessionLock lock(__record->lock); // goes first, so that the thread can be joined
    imp.reset(std::exchange(__imp, nullptr));
    if (imp == nullptr || !__IsAlive()) {
        return;
    }
    __record->released = 1;
    if (IMPL::CThread_Imp::IsCurrent(*__record)) {
        return; // its own code ends the program, and goes on behind this
    }
    try {
        __Cancel(*imp, 0);
    } catch (const qlExp&) {
        if (mayThrow) {
            throw;
        }
    }
}

// --- Life ----------------------------------------------------------------------------------------

void TThread::Create(CSemiBool autoDestroy, unsigned long stackSize) {
    constexpr unsigned long SLICE = 10;
    IMPL::THREAD_RECORD& record = *__record;
    CFastSessionLock lock(record.lock);
    if (__IsAlive() && IMPL::CThread_Imp::IsCurrent(record)) {
        throw threadExp(0, "TThread::Create - a thread can't wait for itself");
    }
    while (__IsAlive()) {
        lock.Reset(); // the thread needs it to end
        IMPL::SleepFor(SLICE);
        lock.__Lock();
    }
    delete std::exchange(__imp, nullptr); // past its state, the thread takes no lock any more
    __autoDestroy = autoDestroy.Value(__autoDestroy);
    record.exitCode = 0;
    record.killCode = IMPL::FAILED_EXIT;
    record.stop = 0;
    record.released = 0;
    record.hold = 0;
    record.systemId = 0;
    record.created = MicrosecondsSince1970();
    while (record.start.TryP()) {
        // a thread that was killed before its start left its unit
    }
    record.ended.Reset();
    try {
        __imp = new IMPL::CThread_Imp(this, __record, stackSize);
    } catch (...) {
        record.state = NOT_CREATED;
        record.ended.Raise();
        throw;
    }
    record.state = SUSPENDED;
}

void TThread::Resume() {
    const CFastSessionLock lock(__record->lock);
    const int state = __record->state;
    if (state == RUNNING) {
        return;
    }
    if (state != SUSPENDED) {
        ThrowState("TThread::Resume - invalid state: ", state);
    }
    __record->state.exchange(RUNNING);
    if (__record->hold != 0) {
        __imp->Resume(*__record);
    } else {
        __record->start.V();
    }
}

void TThread::Suspend() {
    CFastSessionLock lock(__record->lock);
    const int state = __record->state;
    if (state == SUSPENDED) {
        return;
    }
    if (state != RUNNING) {
        ThrowState("TThread::Suspend - invalid state: ", state);
    }
    IMPL::CThread_Imp& imp = *__imp;
    if (pthread_equal(imp.GetHandle(), pthread_self()) != 0) {
        __record->state.exchange(SUSPENDED);
        lock.Reset(); // who resumes this thread needs it
        imp.Suspend(*__record);
        return;
    }
    __record->state.exchange(SUSPENDING);
    try {
        imp.Suspend(*__record);
    } catch (...) {
        __record->state.exchange(RUNNING);
        throw;
    }
    __record->state.exchange(SUSPENDED);
}

bool TThread::TryStop() {
    const CFastSessionLock lock(__record->lock);
    if (!__IsAlive()) {
        return true;
    }
    if (__record->state == SUSPENDED) {
        // The mark goes first, so that a thread which hasn't started yet finds it.
        __record->stop.exchange(1);
        Resume();
    }
    const int state = __record->state;
    if (state != RUNNING && state != STOPPING) {
        ThrowState("TThread::TryStop - invalid state: ", state);
    }
    __record->state.exchange(STOPPING);
    __record->stop.exchange(1);
    return false;
}

void TThread::Kill(int code) {
    const CHandle record = __record; // the object may go before the end of this call
    std::unique_ptr<IMPL::CThread_Imp> imp;
    bool autoDestroy = false;
    {
        // The thread can't end while this holds its lock, nor the object go.
        const CFastSessionLock lock(record->lock);
        if (!__IsAlive() || __imp == nullptr) {
            return;
        }
        if (pthread_equal(__imp->GetHandle(), pthread_self()) != 0) {
            throw threadExp(0, "TThread::Kill - a thread can't kill itself");
        }
        autoDestroy = __autoDestroy;
        _OnKilling(code);
        __Cancel(*__imp, code);
        record->released = 1;
        _OnKilled(code);
        imp.reset(std::exchange(__imp, nullptr));
    }
    imp.reset();
    if (!autoDestroy) {
        return;
    }
    stringEx nested("unknown error");
    try {
        delete this;
        return;
    } catch (const qlExp& failure) {
        nested = failure.GetErrString();
    } catch (const std::exception& failure) {
        nested = failure.what();
    } catch (...) {
        IMPL::PassThreadEnd();
        nested.detach_if_static();
    }
    throw threadExp(0, "TThread::Kill - unexpected error on auto destroy\n@ " + nested);
}

/// Makes the thread unwind and end with `code`; with the object's lock held, which it needs to end.
void TThread::__Cancel(IMPL::CThread_Imp& imp, int code) {
    __record->killCode = code;
    imp.Kill();
    if (__record->hold != 0) {
        imp.Resume(*__record);
    }
}

// --- Waiting and looking -------------------------------------------------------------------------

bool TThread::Wait() const {
    return Wait(IMPL::NO_LIMIT);
}

bool TThread::Wait(unsigned long milliseconds) const {
    const CHandle record = __record; // whose event this is, whatever becomes of the object
    if (milliseconds == 0 || IMPL::CThread_Imp::IsCurrent(*record)) {
        return !IsAliveState(record->state);
    }
    return record->ended.Wait(milliseconds);
}

bool TThread::TryWait() const {
    return !__IsAlive();
}

bool TThread::__IsAlive() const {
    return IsAliveState(__record->state);
}

TThread::STATE TThread::GetState() const {
    return static_cast<STATE>(__record->state.load());
}

int TThread::GetExitCode() const {
    return __record->exitCode;
}

bool TThread::_ShouldStop() const {
    return __record->stop != 0;
}

bool TThread::_ShouldDestroy() const {
    return __autoDestroy;
}

unsigned long TThread::GetId() const {
    const CFastSessionLock lock(__record->lock);
    return __imp != nullptr ? __imp->GetHandle() : 0;
}

void TThread::SetUncaughtHandler(void (*handler)()) {
    sm_apUncaughtHandler.exchange(handler);
}

// --- Scheduling ----------------------------------------------------------------------------------

/// The handle of a living thread, with the object's lock held by the caller.
pthread_t TThread::__LiveThread(const char* caller) const {
    if (__imp == nullptr || !__IsAlive()) {
        stringEx message("TThread::");
        throw threadExp(0, message << caller << " - invalid thread object");
    }
    return __imp->GetHandle();
}

TThread::PRIORITY TThread::GetPriority() const {
    const CFastSessionLock lock(__record->lock);
    return IMPL::CThread_Imp::GetPriority(__LiveThread("GetPriority"));
}

void TThread::SetPriority(PRIORITY priority) {
    const CFastSessionLock lock(__record->lock);
    IMPL::CThread_Imp::SetPriority(__LiveThread("SetPriority"), priority);
}

TThread::SCHDPOLICY TThread::GetSchdPolicy() const {
    const CFastSessionLock lock(__record->lock);
    return IMPL::CThread_Imp::GetSchdPolicy(__LiveThread("GetSchdPolicy"));
}

void TThread::SetSchdPolicy(SCHDPOLICY policy) {
    const CFastSessionLock lock(__record->lock);
    IMPL::CThread_Imp::SetSchdPolicy(__LiveThread("SetSchdPolicy"), policy);
}

void TThread::SetCpuAffinity(std::bitset<1024>& mask, bool onlyPresent) {
    const CFastSessionLock lock(__record->lock);
    IMPL::CThread_Imp::SetCpuAffinity(__LiveThread("SetCpuAffinity"), mask, onlyPresent);
}

bool TThread::SetIdealCpu(long /*cpu*/) {
    return false;
}

void TThread::SetPriorityBoost(bool boost) {
    __boost = boost;
}

bool TThread::ShouldBoostPriority() const {
    return __boost;
}

bool TThread::HasPendingIo() const {
    const CFastSessionLock lock(__record->lock);
    __LiveThread("HasPendingIo");
    return false;
}

TThread::PRIORITY TThread::GetCurrentPriority() {
    return IMPL::CThread_Imp::GetPriority(pthread_self());
}

void TThread::SetCurrentPriority(PRIORITY priority) {
    IMPL::CThread_Imp::SetPriority(pthread_self(), priority);
}

TThread::SCHDPOLICY TThread::GetCurrentSchdPolicy() {
    return IMPL::CThread_Imp::GetSchdPolicy(pthread_self());
}

void TThread::SetCurrentSchdPolicy(SCHDPOLICY policy) {
    IMPL::CThread_Imp::SetSchdPolicy(pthread_self(), policy);
}

void TThread::SetCurrentCpuAffinity(std::bitset<1024>& mask, bool onlyPresent) {
    IMPL::CThread_Imp::SetCpuAffinity(pthread_self(), mask, onlyPresent);
}

unsigned int TThread::GetCurrentCpu() {
    const int cpu = sched_getcpu();
    return cpu < 0 ? 0 : static_cast<unsigned int>(cpu);
}

unsigned long TThread::GetMinStackSize() {
    const long size = sysconf(_SC_THREAD_STACK_MIN);
    return size < 0 ? 0 : static_cast<unsigned long>(size);
}

unsigned int TThread::GetCpuCount() {
    return CPlatInfo::Get().GetCpuCount();
}

unsigned int TThread::GetOnlineCpuCount() {
    return CPlatInfo::Get().GetOnlineCpuCount();
}

void TThread::SwitchToOther() {
    sched_yield();
}

void TThread::RelinquishCPU() {
    sched_yield();
}

bool TThread::Sleep(unsigned long milliseconds) {
    const timespec time = IMPL::ToTimespec(milliseconds);
    return nanosleep(&time, nullptr) == 0;
}

bool TThread::StrToCpuMask(std::bitset<1024>& mask, const stringEx& text) {
    std::bitset<1024> read;
    unsigned int pos = 0;
    const auto number = [&](unsigned long& value) {
        const unsigned int start = pos;
        if (pos >= text.length() || !stringEx::is_digit(text[pos])) {
            return false;
        }
        value = text.to_ulong(start, stringEx::npos, 10, &pos);
        return value < read.size();
    };
    const auto take = [&](char sign) {
        return pos < text.length() && text[pos] == sign && (++pos, true);
    };
    do {
        unsigned long first = 0;
        if (!number(first)) {
            return false;
        }
        unsigned long last = first;
        if (take('-') && (!number(last) || last < first)) {
            return false;
        }
        for (unsigned long cpu = first; cpu <= last; ++cpu) {
            read.set(cpu);
        }
    } while (take(','));
    if (pos != text.length()) {
        return false;
    }
    mask = read;
    return true;
}

} // namespace Quil

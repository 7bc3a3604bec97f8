// The waits of events. One loop serves them all: it ends when the flag is up, or when the count of
// raises is another than it was when the wait began.
#include "util/sys/event.h"

#include "util/sys/errhdl.h"
#include "util/sys/syserror.h"

#include <cerrno>
#include <exception>
#include <limits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Quil {

namespace {

using IMPL::ERROR_TEXT;

constexpr ERROR_TEXT INIT_ERRORS[] = {{ENOMEM, "insufficient memory"},
                                      {EAGAIN, "the system lacked the necessary resources"},
                                      {EINVAL, "the value specified by event is invalid"}};
constexpr ERROR_TEXT DESTROY_ERRORS[] = {{EBUSY, "attempt to destroy a waiting event"},
                                         {EINVAL, "the value specified by event is invalid"}};
constexpr ERROR_TEXT RAISE_ERRORS[] = {{EINVAL, "the value specified by cond is invalid"}};
constexpr ERROR_TEXT WAIT_ERRORS[] = {
    {EINVAL, "the value specified by cond or mutex is invalid"},
    {EPERM, "the mutex was not owned by the current thread at the time of the call"}};
constexpr ERROR_TEXT TIMED_ERRORS[] = {
    {EINVAL, "the value specified by cond, mutex or timeout is invalid"},
    {EPERM, "the mutex was not owned by the current thread at the time of the call"}};

constexpr unsigned int LONG_KEY = 14; // "seconds offset"

} // namespace

// --- State ---------------------------------------------------------------------------------------

IMPL::EVENT_STATE::EVENT_STATE() {
    if (const int error = pthread_cond_init(&condition, nullptr)) {
        ThrowSysError<eventExp>("CEvent::CEvent - failed initialize event", error, INIT_ERRORS);
    }
}

int IMPL::EVENT_STATE::WakeAll() {
    return pthread_cond_broadcast(&condition);
}

int IMPL::EVENT_STATE::Sleep(pthread_mutex_t* lock, const timespec* until) {
    return until == nullptr ? pthread_cond_wait(&condition, lock)
                            : pthread_cond_clockwait(&condition, lock, CLOCK_MONOTONIC, until);
}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): what is there must stay
IMPL::PROC_EVENT_STATE::PROC_EVENT_STATE(FLAG_PREALLOCATE, bool initialize) {
    if (initialize) {
        isRaised = false;
        generation = 0;
    }
}

int IMPL::PROC_EVENT_STATE::WakeAll() {
    syscall(SYS_futex, &generation, FUTEX_WAKE, std::numeric_limits<int>::max());
    return 0;
}

/// Sleeps in slices: a process may be killed between its change of the count and its call to wake
/// the others. They also make the wait end soon for a thread that is cancelled, which is looked for
/// only where the lock is held again.
int IMPL::PROC_EVENT_STATE::Sleep(pthread_mutex_t* lock, const timespec* until) {
    constexpr unsigned long SLICE = 100;
    const std::uint32_t seen = generation;
    timespec wake = AfterNow(CLOCK_MONOTONIC, ToTimespec(SLICE));
    const auto isBefore = [](const timespec& a, const timespec& b) {
        return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
    };
    if (until != nullptr && isBefore(*until, wake)) {
        wake = *until;
    }
    if (const int error = pthread_mutex_unlock(lock)) {
        return error;
    }
    syscall(SYS_futex, &generation, FUTEX_WAIT_BITSET, seen, &wake, nullptr,
            FUTEX_BITSET_MATCH_ANY);
    if (const int error = TakeOverFromDeadOwner(lock, pthread_mutex_lock(lock))) {
        return error;
    }
    pthread_testcancel();
    return until != nullptr && !isBefore(Now(CLOCK_MONOTONIC), *until) ? ETIMEDOUT : 0;
}

// --- Operations of both --------------------------------------------------------------------------

/// Holds the event's own lock; also while a cancelled thread unwinds.
template <class Self>
class TEventOps<Self>::COwnLock {
public:
    explicit COwnLock(Self& event) : __lock(event.__Lock()) { __lock.Lock(); }
    COwnLock(const COwnLock&) = delete;
    COwnLock& operator=(const COwnLock&) = delete;
    ~COwnLock() { pthread_mutex_unlock(__lock.ToSysHandle()); }

private:
    std::remove_reference_t<decltype(std::declval<Self&>().__Lock())>& __lock;
};

template <class Self>
void TEventOps<Self>::Raise() {
    const COwnLock own(__Self());
    auto& state = __Self().__State();
    state.isRaised = true;
    ++state.generation;
    if (const int error = state.WakeAll()) {
        stringEx head(Self::__Name());
        IMPL::ThrowSysError<eventExp>(head.append("::Raise - failed raise event"), error,
                                      RAISE_ERRORS, __Self().__Detail());
    }
}

template <class Self>
void TEventOps<Self>::Reset() {
    const COwnLock own(__Self());
    __Self().__State().isRaised = false;
}

template <class Self>
bool TEventOps<Self>::TryWait() {
    const COwnLock own(__Self());
    return __Self().__State().isRaised;
}

template <class Self>
bool TEventOps<Self>::__WaitFor(IMPL::IHeldLock* held, unsigned long milliseconds) {
    if (milliseconds == 0) {
        return TryWait();
    }
    if (IMPL::IsUnlimited(milliseconds)) {
        return __Wait(held, nullptr);
    }
    const timespec offset = IMPL::ToTimespec(milliseconds);
    return __Wait(held, &offset);
}

/// The event's own lock is taken before the caller's is let go, so no `Raise` falls in between.
/// Afterwards the own one goes first: a thread that raises may hold the caller's.
template <class Self>
bool TEventOps<Self>::__Wait(IMPL::IHeldLock* held, const timespec* offset) {
    struct REGAIN {
        IMPL::IHeldLock* released;
        ~REGAIN() noexcept(false) {
            if (released != nullptr) {
                released->Regain();
            }
        }
    } regain{nullptr};
    const COwnLock own(__Self());
    if (__Self().__State().isRaised) {
        return true;
    }
    if (held == nullptr) {
        return __Sleep(offset);
    }
    held->Release();
    regain.released = held;
    return __Sleep(offset);
}

template <class Self>
bool TEventOps<Self>::__Sleep(const timespec* offset) {
    auto& state = __Self().__State();
    const unsigned int generation = state.generation;
    timespec until{};
    if (offset != nullptr) {
        until = IMPL::AfterNow(CLOCK_MONOTONIC, *offset);
    }
    int error = 0;
    while (!state.isRaised && state.generation == generation && error == 0) {
        error = state.Sleep(__Self().__Lock().ToSysHandle(), offset != nullptr ? &until : nullptr);
    }
    if (error != 0 && error != ETIMEDOUT) {
        stringEx detail = __Self().__Detail();
        if (offset == nullptr) {
            stringEx head(Self::__Name());
            IMPL::ThrowSysError<eventExp>(head.append("::Wait - failed wait event"), error,
                                          WAIT_ERRORS, detail);
        }
        detail.append(detail.empty() ? "" : "\n");
        detail.append_format("  seconds offset = %ld.%09ld", offset->tv_sec, offset->tv_nsec);
        IMPL::ThrowSysError<eventExp>("TimedWaitEvent - failed wait event", error, TIMED_ERRORS,
                                      detail, LONG_KEY);
    }
    return state.isRaised || state.generation != generation;
}

template class TEventOps<CEvent>;
template class TEventOps<CProcEvent>;

// --- CEvent, CProcEvent --------------------------------------------------------------------------

CEvent::CEvent(bool isRaised) {
    __state.isRaised = isRaised;
}

CEvent::~CEvent() noexcept(false) {
    const int error = pthread_cond_destroy(&__state.condition);
    if (error != 0 && std::uncaught_exceptions() == 0) {
        IMPL::ThrowSysError<eventExp>("CEvent::~CEvent - failed destroy event", error,
                                      DESTROY_ERRORS);
    }
}

CProcEvent::CProcEvent(bool create, const stringEx& name)
    : __shared(create, name), __mutex(create, name + ".lock") {
    if (!__shared.WaitUntilReady()) {
        IMPL::ThrowSysError<eventExp>("CProcEvent::CProcEvent - failed open event", EINVAL,
                                      INIT_ERRORS, __Detail());
    }
}

stringEx CProcEvent::__Detail() const {
    return "  name = " + __shared.GetName();
}

CProcEvent::~CProcEvent() noexcept(false) {
    try {
        __shared.Close();
    } catch (const qlExp& failure) {
        if (std::uncaught_exceptions() == 0) {
            throw eventExp(failure.GetErrCode(),
                           "CProcEvent::~CProcEvent - failed close named event\n@ " +
                               failure.GetErrString());
        }
    }
}

} // namespace Quil

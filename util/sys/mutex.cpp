// The slow roads of the fast lock, and the system's locks with the words for their failures.
#include "util/sys/mutex.h"

#include "util/base/CancelHold.h"
#include "util/sys/errhdl.h"
#include "util/sys/internal.h"
#include "util/sys/syserror.h"

#include <cerrno>
#include <exception>

namespace Quil {

// --- CFastMutex ----------------------------------------------------------------------------------

bool CFastMutex::sm_bMpFlag = false;

bool CFastMutex::__TryTake() {
    std::int32_t free = FREE;
    if (!__word.compare_exchange_strong(free, 0, std::memory_order_acquire,
                                        std::memory_order_relaxed)) {
        return false;
    }
    __Own();
    return true;
}

/// Never sleeps on the semaphore, so there is nothing to take back from the word in the end.
bool CFastMutex::__LockWithin(unsigned long milliseconds) {
    if (milliseconds == 0) {
        return __TryTake();
    }
    const IMPL::CCancelHold hold;
    return IMPL::PollFor(milliseconds, sm_bMpFlag, [this] { return __TryTake(); });
}

// --- Operations of both system locks -------------------------------------------------------------

namespace {

using IMPL::ERROR_TEXT;

constexpr ERROR_TEXT LOCK_ERRORS[] = {
    {EINVAL, "mutex object does not correctly initialized"},
    {EAGAIN, "maximum number of recursive locks has been exceeded"},
    {EDEADLK, "deadlock detected"},
    {EPERM, "the current thread does not own the mutex"}};
constexpr ERROR_TEXT DESTROY_ERRORS[] = {{EBUSY, "attempt to destroy a locked mutex"},
                                         {EINVAL, "the value specified by mutex is invalid"}};
constexpr ERROR_TEXT ATTRIBUTE_ERRORS[] = {
    {ENOMEM, "insufficient memory exists to initialize the attrs"},
    {EINVAL, "invalid attr object"}};
constexpr ERROR_TEXT TYPE_ERRORS[] = {{EINVAL, "attr's type value is invalid"}};
constexpr ERROR_TEXT SHARED_ERRORS[] = {{EINVAL, "the process-shared attribute is invalid"}};
constexpr ERROR_TEXT INIT_ERRORS[] = {{EBUSY, "attempt to reinitialize the mutex"},
                                      {EINVAL, "the value specified by attr is invalid"}};

constexpr unsigned int LONG_KEY = 14; // "seconds offset"

void CheckInit(int error, std::span<const ERROR_TEXT> table) {
    if (error != 0) {
        IMPL::ThrowSysError<mutexExp>("CMutex::CMutex - failed initialize mutex", error, table);
    }
}

/// Sets up a recursive lock. One between processes is told when its owner dies.
void InitMutex(pthread_mutex_t* mutex, bool isShared) {
    struct ATTRIBUTES {
        pthread_mutexattr_t value;
        ATTRIBUTES() { CheckInit(pthread_mutexattr_init(&value), ATTRIBUTE_ERRORS); }
        ATTRIBUTES(const ATTRIBUTES&) = delete;
        ATTRIBUTES& operator=(const ATTRIBUTES&) = delete;
        ~ATTRIBUTES() { pthread_mutexattr_destroy(&value); }
    } attributes;
    CheckInit(pthread_mutexattr_settype(&attributes.value, PTHREAD_MUTEX_RECURSIVE), TYPE_ERRORS);
    if (isShared) {
        CheckInit(pthread_mutexattr_setpshared(&attributes.value, PTHREAD_PROCESS_SHARED),
                  SHARED_ERRORS);
        CheckInit(pthread_mutexattr_setrobust(&attributes.value, PTHREAD_MUTEX_ROBUST),
                  ATTRIBUTE_ERRORS);
    }
    CheckInit(pthread_mutex_init(mutex, &attributes.value), INIT_ERRORS);
}

} // namespace

int IMPL::TakeOverFromDeadOwner(pthread_mutex_t* mutex, int error) {
    return error == EOWNERDEAD ? pthread_mutex_consistent(mutex) : error;
}

template <class Self>
void TMutexOps<Self>::__Throw(const char* what, int error) const {
    stringEx head(Self::__Name());
    IMPL::ThrowSysError<mutexExp>(head.append("::").append(what), error, LOCK_ERRORS,
                                  static_cast<const Self*>(this)->__Detail());
}

template <class Self>
bool TMutexOps<Self>::__Taken(int error, int refusal, const char* what) const {
    error = IMPL::TakeOverFromDeadOwner(__Handle(), error);
    if (error == refusal) {
        return false;
    }
    if (error != 0) {
        __Throw(what, error);
    }
    return true;
}

template <class Self>
bool TMutexOps<Self>::Lock() {
    constexpr int NEVER_REFUSED = -1;
    return __Taken(pthread_mutex_lock(__Handle()), NEVER_REFUSED, "Lock - failed lock mutex");
}

template <class Self>
bool TMutexOps<Self>::Lock(unsigned long milliseconds) {
    if (milliseconds == 0) {
        return TryLock();
    }
    return IMPL::IsUnlimited(milliseconds) ? Lock() : Lock(IMPL::ToTimespec(milliseconds));
}

template <class Self>
bool TMutexOps<Self>::Lock(const timespec& offset) {
    const timespec until = IMPL::AfterNow(CLOCK_REALTIME, offset);
    const int error =
        IMPL::TakeOverFromDeadOwner(__Handle(), pthread_mutex_timedlock(__Handle(), &until));
    if (error != 0 && error != ETIMEDOUT) {
        stringEx detail = static_cast<const Self*>(this)->__Detail();
        detail.append(detail.empty() ? "" : "\n");
        detail.append_format("  seconds offset = %ld.%09ld", offset.tv_sec, offset.tv_nsec);
        IMPL::ThrowSysError<mutexExp>("TimedLock - failed lock mutex", error, LOCK_ERRORS, detail,
                                      LONG_KEY);
    }
    return error == 0;
}

template <class Self>
bool TMutexOps<Self>::TryLock() {
    return __Taken(pthread_mutex_trylock(__Handle()), EBUSY, "TryLock - failed lock mutex");
}

template <class Self>
void TMutexOps<Self>::UnLock() {
    if (const int error = pthread_mutex_unlock(__Handle())) {
        __Throw("UnLock - failed unlock mutex", error);
    }
}

template class TMutexOps<CMutex>;
template class TMutexOps<CProcMutex>;

// --- CMutex, CProcMutex --------------------------------------------------------------------------

CMutex::CMutex() {
    InitMutex(&__mutex, false);
}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): what is there must stay
CMutex::CMutex(FLAG_PREALLOCATE, bool initialize) {
    if (initialize) {
        InitMutex(&__mutex, true);
    }
}

CMutex::~CMutex() noexcept(false) {
    const int error = pthread_mutex_destroy(&__mutex);
    if (error != 0 && std::uncaught_exceptions() == 0) {
        IMPL::ThrowSysError<mutexExp>("CMutex::~CMutex - failed destroy mutex", error,
                                      DESTROY_ERRORS);
    }
}

CProcMutex::CProcMutex(bool create, const stringEx& name) : __shared(create, name) {
    if (!__shared.WaitUntilReady()) {
        IMPL::ThrowSysError<mutexExp>("CProcMutex::CProcMutex - failed open mutex", EINVAL,
                                      LOCK_ERRORS, __Detail());
    }
}

stringEx CProcMutex::__Detail() const {
    return "  name = " + __shared.GetName();
}

CProcMutex::~CProcMutex() noexcept(false) {
    try {
        __shared.Close();
    } catch (const qlExp& failure) {
        if (std::uncaught_exceptions() == 0) {
            throw mutexExp(failure.GetErrCode(),
                           "CProcMutex::~CProcMutex - failed close mutex\n@ " +
                               failure.GetErrString());
        }
    }
}

} // namespace Quil

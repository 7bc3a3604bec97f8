// The system's semaphores with the words for their failures, and the count of the fast one.
#include "util/sys/sem.h"

#include "util/sys/errhdl.h"
#include "util/sys/syserror.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>

namespace Quil {

namespace {

using IMPL::ERROR_TEXT;

constexpr ERROR_TEXT INIT_ERRORS[] = {{EINVAL, "the init value exceeds max limited"},
                                      {ENOSPC, "the max semaphores limit has been reached"},
                                      {EPERM, "permission denied"}};
constexpr ERROR_TEXT USE_ERRORS[] = {
    {EINVAL, "current object is not a valid semaphore"},
    {EDEADLK, "deadlock detected"},
    {EBUSY, "there are currently processes blocked on the semaphore"}};
constexpr ERROR_TEXT TIMED_ERRORS[] = {
    {EINVAL, "invalid semaphore obj or invalid timeout argument"}, {EDEADLK, "deadlock detected"}};
constexpr ERROR_TEXT NAMED_ERRORS[] = {
    {EMFILE, "too many file descriptors are currently open in this process"},
    {ENFILE, "too many semaphores are currently open in the system"},
    {ENAMETOOLONG, "semaphore name is too long"},
    {ENOSPC, "there is insufficient space for the creation of the new named semaphore"},
    {EACCES, "access denied"},
    {ENOENT, "the named semaphore does not exist"},
    {EEXIST, "the named semaphore already exists"},
    {EINVAL, "unsupport name or value is too big"}};

constexpr char CREATE_FAILED[] = "CProcSem::CProcSem - failed create named semaphore";

/// Keys are padded to the longest, "semaphore name" or "seconds offset".
constexpr unsigned int LONG_KEY = 14;

stringEx NameLine(const stringEx& name) {
    return "  semaphore name = " + name;
}

sem_t* CreateNamedSemaphore(const char* name, unsigned int initial) {
    constexpr mode_t OWNER_ONLY = 0600;
    return sem_open(name, O_CREAT | O_EXCL, OWNER_ONLY, initial);
}

sem_t* OpenNamedSemaphore(const char* name) {
    return sem_open(name, 0);
}

} // namespace

// --- Operations of both --------------------------------------------------------------------------

template <class Self>
stringEx TSemOps<Self>::__Head(const char* what) const {
    stringEx head(Self::__Name());
    return head.append("::").append(what);
}

template <class Self>
void TSemOps<Self>::__Throw(const char* what, int error) const {
    const stringEx detail = static_cast<const Self*>(this)->__Detail();
    IMPL::ThrowSysError<semExp>(__Head(what), error, USE_ERRORS, detail,
                                detail.empty() ? 0 : LONG_KEY);
}

template <class Self>
bool TSemOps<Self>::P() {
    while (sem_wait(__Handle()) != 0) {
        if (errno != EINTR) {
            __Throw("P - failed wait semaphore", errno);
        }
    }
    return true;
}

template <class Self>
bool TSemOps<Self>::P(unsigned long milliseconds) {
    if (milliseconds == 0) {
        return TryP();
    }
    return IMPL::IsUnlimited(milliseconds) ? P() : P(IMPL::ToTimespec(milliseconds));
}

template <class Self>
bool TSemOps<Self>::P(const timespec& offset) {
    const timespec until = IMPL::AfterNow(CLOCK_REALTIME, offset);
    while (sem_timedwait(__Handle(), &until) != 0) {
        if (errno == ETIMEDOUT) {
            return false;
        }
        if (errno != EINTR) {
            const int error = errno;
            stringEx detail = static_cast<const Self*>(this)->__Detail();
            detail.append(detail.empty() ? "" : "\n");
            detail.append_format("  seconds offset = %ld.%09ld", offset.tv_sec, offset.tv_nsec);
            IMPL::ThrowSysError<semExp>(__Head("P - failed wait semaphore"), error, TIMED_ERRORS,
                                        detail, LONG_KEY);
        }
    }
    return true;
}

template <class Self>
bool TSemOps<Self>::TryP() {
    while (sem_trywait(__Handle()) != 0) {
        if (errno == EAGAIN) {
            return false;
        }
        if (errno != EINTR) {
            __Throw("TryP - failed try semaphore", errno);
        }
    }
    return true;
}

template <class Self>
void TSemOps<Self>::V(unsigned int n) {
    for (; n != 0; --n) {
        if (sem_post(__Handle()) != 0) {
            __Throw("V - failed post semaphore", errno);
        }
    }
}

template class TSemOps<CSem>;
template class TSemOps<CProcSem>;

// --- CSem ----------------------------------------------------------------------------------------

CSem::CSem(unsigned int initial, unsigned int maximum) {
    __Init(false, initial, maximum);
}

CSem::CSem(FLAG_PREALLOCATE, unsigned int initial, unsigned int maximum) {
    __Init(true, initial, maximum);
}

void CSem::__Init(bool isShared, unsigned int initial, unsigned int maximum) {
    const int error = initial > maximum                             ? EINVAL
                      : sem_init(&__sem, isShared ? 1 : 0, initial) ? errno
                                                                    : 0;
    if (error != 0) {
        IMPL::ThrowSysError<semExp>("CSem::CSem - failed initialize semaphore", error, INIT_ERRORS);
    }
}

CSem::~CSem() noexcept(false) {
    if (sem_destroy(&__sem) != 0 && std::uncaught_exceptions() == 0) {
        IMPL::ThrowSysError<semExp>("CSem::~CSem - failed destroy semaphore", errno, USE_ERRORS);
    }
}

// --- CProcSem ------------------------------------------------------------------------------------

CProcSem::CProcSem(bool create, const stringEx& name, unsigned int initial) : __name(name) {
    __name.detach_if_static().make_tail();
    if (create) {
        __Create(initial);
    } else {
        __sem = OpenNamedSemaphore(__name.c_str());
    }
    if (__sem == SEM_FAILED) {
        IMPL::ThrowSysError<semExp>(create ? CREATE_FAILED
                                           : "CProcSem::CProcSem - failed open named semaphore",
                                    errno, NAMED_ERRORS, NameLine(__name), LONG_KEY);
    }
}

/// The ownership's block comes first and goes last, so where it was a dead creator's the semaphore
/// is that one's too. A semaphore without such a block was made by other means and is left alone.
void CProcSem::__Create(unsigned int initial) {
    try {
        __ownership.emplace(true, __name + ".own", 1);
    } catch (const shmemExp& failure) {
        IMPL::ThrowSysError<semExp>(CREATE_FAILED, static_cast<int>(failure.GetErrCode()),
                                    NAMED_ERRORS, NameLine(__name), LONG_KEY);
    }
    __sem = CreateNamedSemaphore(__name.c_str(), initial);
    if (__sem == SEM_FAILED && errno == EEXIST && __ownership->IsTakenOver() &&
        sem_unlink(__name.c_str()) == 0) {
        __sem = CreateNamedSemaphore(__name.c_str(), initial);
    }
}

stringEx CProcSem::__Detail() const {
    return NameLine(__name);
}

CProcSem::~CProcSem() noexcept(false) {
    const bool isCreator = __ownership && __ownership->IsCreator();
    const int closeError = sem_close(__sem) != 0 ? errno : 0;
    const int unlinkError = isCreator && sem_unlink(__name.c_str()) != 0 ? errno : 0;
    if (std::uncaught_exceptions() != 0) {
        return;
    }
    if (closeError != 0) {
        IMPL::ThrowSysError<semExp>("CProcSem::~CProcSem - failed close named semaphore",
                                    closeError, USE_ERRORS, NameLine(__name), LONG_KEY);
    }
    if (unlinkError != 0) {
        IMPL::ThrowSysError<semExp>("CProcSem::~CProcSem - failed unlink the named semaphore",
                                    unlinkError, NAMED_ERRORS, NameLine(__name), LONG_KEY);
    }
}

// --- CFastSem ------------------------------------------------------------------------------------

bool CFastSem::sm_bMpFlag = false;

/// Repeats while units are free: another taker in between is no reason to refuse this one.
bool CFastSem::__TryTake() {
    std::int32_t word = __word.load(std::memory_order_relaxed);
    while (word < 0) {
        if (__word.compare_exchange_weak(word, word + 1, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

bool CFastSem::P(unsigned long milliseconds) {
    if (milliseconds == 0) {
        return __TryTake();
    }
    if (!IMPL::IsUnlimited(milliseconds)) {
        return IMPL::PollFor(milliseconds, sm_bMpFlag, [this] { return __TryTake(); });
    }
    if (__word.fetch_add(1, std::memory_order_acquire) >= 0) {
        __sem.P();
    }
    return true;
}

void CFastSem::V() {
    if (__word.fetch_sub(1, std::memory_order_release) > 0) {
        __sem.V();
    }
}

} // namespace Quil

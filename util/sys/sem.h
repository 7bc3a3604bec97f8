// Counting semaphores: the system's (`CSem`, and `CProcSem` between processes), and the fast one
// (`CFastSem`), which makes no system call while units are free.
//
// Time-outs of all of them are in milliseconds: 0 is a try and returns at once, a value that is
// negative as a signed number or above 2147483646 waits without limit. Results are true for
// success.
#pragma once

#include "util/base/preallocate.h"
#include "util/base/timeout.h"
#include "util/base/visibility.h"
#include "util/sys/lock/LazySem.h"
#include "util/sys/lock/ShMem.h"
#include "util/text/stringEx.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <semaphore.h>

namespace QUIL_PUBLIC Quil {

/// The operations of both system semaphores. `Self` supplies `__Handle()` and the message texts'
/// `__Name()`. Any thread may call them. Failures of the system are thrown as `semExp`.
template <class Self>
class TSemOps {
public:
    /// Takes a unit, waiting for it. Interrupted waits go on. A cancellation point.
    bool P();
    bool P(unsigned long milliseconds);
    /// Waits up to `offset` from now.
    bool P(const timespec& offset);
    bool TryP();
    /// Gives `n` units. Stops at the first failure and throws that.
    void V(unsigned int n = 1);

protected:
    TSemOps() = default;

private:
    sem_t* __Handle() const { return static_cast<const Self*>(this)->__Handle(); }
    stringEx __Head(const char* what) const;
    [[noreturn]] void __Throw(const char* what, int error) const;
};

/// A semaphore of this process. Owns a `sem_t`.
class CSem : public TSemOps<CSem> {
public:
    /// Throws `semExp` if `initial` is above `maximum` or the system's own limit.
    explicit CSem(unsigned int initial = 0, unsigned int maximum = SEM_VALUE_MAX);
    /// In a block that several processes map: for the one that sets it up.
    CSem(FLAG_PREALLOCATE, unsigned int initial, unsigned int maximum);
    CSem(const CSem&) = delete;
    CSem& operator=(const CSem&) = delete;
    ~CSem() noexcept(false);

private:
    friend TSemOps;
    sem_t* __Handle() const { return &__sem; }
    static stringEx __Detail() { return stEMPTY; }
    static const char* __Name() { return "CSem"; }
    void __Init(bool isShared, unsigned int initial, unsigned int maximum);

    mutable sem_t __sem;
};

/// A semaphore between processes, found by its name. The creator takes the name away at the end.
/// A block of shared memory of the name with ".own" behind tells whether the creator lives: that is
/// how the name of a dead one is taken over. A unit that a process held when it died stays away.
class CProcSem : public TSemOps<CProcSem> {
public:
    /// With `create` the name must be free, or its creator dead (by the rules of `CShMem`); else it
    /// must exist. `initial` is the creator's. Throws `semExp`.
    CProcSem(bool create, const stringEx& name, unsigned int initial = 0);
    CProcSem(const CProcSem&) = delete;
    CProcSem& operator=(const CProcSem&) = delete;
    ~CProcSem() noexcept(false);

private:
    friend TSemOps;
    sem_t* __Handle() const { return __sem; }
    stringEx __Detail() const;
    static const char* __Name() { return "CProcSem"; }

    void __Create(unsigned int initial);

    sem_t* __sem = SEM_FAILED;
    stringEx __name;
    std::optional<CShMem> __ownership; ///< the creator's
};

/// A semaphore that sleeps only when there is no unit. Any thread may call it.
class CFastSem {
public:
    constexpr explicit CFastSem(std::int32_t initial = 0) : __word(-initial) {}
    CFastSem(const CFastSem&) = delete;
    CFastSem& operator=(const CFastSem&) = delete;

    /// Takes a unit. A wait with a limit polls, in slices of 10 ms and at least one.
    bool P(unsigned long milliseconds = IMPL::NO_LIMIT);
    void V();

    /// Whether the machine has several processors, so that spinning makes sense.
    static bool IsMultiProcessor() { return sm_bMpFlag; }

private:
    friend struct IMPL::FAST_LOCK_START;
    bool __TryTake();

    std::atomic<std::int32_t> __word; ///< negative: free units; positive: sleepers
    IMPL::CLazySem __sem;
    static bool sm_bMpFlag;
};

extern template class TSemOps<CSem>;
extern template class TSemOps<CProcSem>;

} // namespace Quil

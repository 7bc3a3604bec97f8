// Scoped holders of the library's locks: taken in the constructor, released in the destructor or by
// `Reset`.
//
// One template each for exclusive locks, for spinning in front of any of them, and for readers and
// writers; the names below are those with the locks filled in. A holder belongs to one thread.
#pragma once

#include "util/base/visibility.h"
#include "util/sys/errhdl.h"
#include "util/sys/lock/ReaderWriterState.h"
#include "util/sys/mutex.h"

#include <exception>
#include <sched.h>
#include <utility>

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// What a holder takes and gives back is the business of `Policy`: `Lock(target, milliseconds)`
/// answers how the target is held (false for not at all), `UnLock(target, hold)`.
template <class Policy>
class TScopedLock {
public:
    using Target = typename Policy::Target;

    /// Waits for as long as it takes.
    explicit TScopedLock(Target& target) : __target(&target) { __Lock(); }
    /// Waits up to a limit in milliseconds (0 is a try). `IsLocked` tells how that ended.
    TScopedLock(Target& target, unsigned long milliseconds) : __target(&target) {
        __TimedLock(milliseconds);
    }
    TScopedLock(const TScopedLock&) = delete;
    TScopedLock& operator=(const TScopedLock&) = delete;
    /// A release that fails goes to the caller, unless an exception is in flight already.
    ~TScopedLock() noexcept(false) {
        try {
            Reset();
        } catch (const qlExp&) {
            if (std::uncaught_exceptions() == 0) {
                throw;
            }
        }
    }

    /// Releases early; does nothing the second time.
    void Reset() {
        const auto hold = __hold;
        __hold = {};
        if (hold) {
            Policy::UnLock(*__target, hold);
        }
    }

    bool IsLocked() const { return __hold; }

    /// Take it again after `Reset`, or after a wait that failed; nothing if it is held.
    void __Lock() { __TimedLock(NO_LIMIT); }
    bool __TimedLock(unsigned long milliseconds) {
        if (!__hold) {
            __hold = Policy::Lock(*__target, milliseconds);
        }
        return IsLocked();
    }

private:
    Target* __target;
    decltype(Policy::Lock(std::declval<Target&>(), 0UL)) __hold{};
};

template <class Mutex>
struct SESSION_POLICY {
    using Target = Mutex;
    static bool Lock(Mutex& mutex, unsigned long milliseconds) { return mutex.Lock(milliseconds); }
    static void UnLock(Mutex& mutex, bool) { mutex.UnLock(); }
};

/// A lock that two members of a reader-writer state take and give back.
template <class State, auto lock, auto unLock>
struct STATE_POLICY {
    using Target = State;
    static auto Lock(State& state, unsigned long milliseconds) {
        return (state.*lock)(milliseconds);
    }
    static void UnLock(State& state, typename State::HOLD hold) { (state.*unLock)(hold); }
};

template <class State>
using READER_POLICY = STATE_POLICY<State, &State::LockReader, &State::UnLockReader>;
template <class State>
using WRITER_POLICY = STATE_POLICY<State, &State::LockWriter, &State::UnLockWriter>;
template <class State>
using REPAIR_POLICY = STATE_POLICY<State, &State::LockRepair, &State::UnLockWriter>;

/// Spins on tries before it takes the plain road: `spins` times, or, when `limit` is the same
/// number, until the lock is got. On a machine with one processor there is nothing to spin for.
template <class Policy>
class TScopedSpinLock : public TScopedLock<Policy> {
public:
    TScopedSpinLock(typename Policy::Target& target, unsigned int spins, unsigned int limit)
        : TScopedLock<Policy>(target, 0) {
        if (CFastMutex::IsMultiProcessor()) {
            __Spin(spins, spins == limit);
        }
        this->__Lock();
    }

private:
    void __Spin(unsigned int spins, bool isEndless) {
        unsigned int tries = 0;
        while (!this->IsLocked() && (isEndless || tries < spins)) {
            this->__TimedLock(0);
            if (++tries % SPIN_TRIES == 0) {
                sched_yield();
            }
        }
    }
};

} // namespace IMPL

using CSessionLock = IMPL::TScopedLock<IMPL::SESSION_POLICY<CMutex>>;
using CProcSessionLock = IMPL::TScopedLock<IMPL::SESSION_POLICY<CProcMutex>>;
/// Sleeps at once on contention.
using CFastSessionLock = IMPL::TScopedLock<IMPL::SESSION_POLICY<CFastMutex>>;
/// Spins first.
using CFastSessionSpinLock = IMPL::TScopedSpinLock<IMPL::SESSION_POLICY<CFastMutex>>;

using CReaderLock = IMPL::TScopedLock<IMPL::READER_POLICY<CReaderWriterState>>;
using CWriterLock = IMPL::TScopedLock<IMPL::WRITER_POLICY<CReaderWriterState>>;
using CProcReaderLock = IMPL::TScopedLock<IMPL::READER_POLICY<CProcReaderWriterState>>;
using CProcWriterLock = IMPL::TScopedLock<IMPL::WRITER_POLICY<CProcReaderWriterState>>;
/// Writes where another process died while it wrote. The release declares the data whole.
using CProcRepairLock = IMPL::TScopedLock<IMPL::REPAIR_POLICY<CProcReaderWriterState>>;
using CFastReaderLock = IMPL::TScopedLock<IMPL::READER_POLICY<CFastReaderWriterState>>;
using CFastWriterLock = IMPL::TScopedLock<IMPL::WRITER_POLICY<CFastReaderWriterState>>;
using CFastReaderSpinLock = IMPL::TScopedSpinLock<IMPL::READER_POLICY<CFastReaderWriterState>>;
using CFastWriterSpinLock = IMPL::TScopedSpinLock<IMPL::WRITER_POLICY<CFastReaderWriterState>>;

/// The two sides of a queue: those who push queue up among themselves, and so do those who pop. The
/// sides don't exclude each other, so what both touch needs a lock of its own.
struct FAST_PCLOCK {
    CFastMutex producers;
    CFastMutex consumers;
};

namespace IMPL {

template <CFastMutex FAST_PCLOCK::*side>
struct QUEUE_SIDE_POLICY {
    using Target = FAST_PCLOCK;
    static bool Lock(FAST_PCLOCK& sides, unsigned long milliseconds) {
        return (sides.*side).Lock(milliseconds);
    }
    static void UnLock(FAST_PCLOCK& sides, bool) { (sides.*side).UnLock(); }
};

} // namespace IMPL

using CFastProducerLock = IMPL::TScopedLock<IMPL::QUEUE_SIDE_POLICY<&FAST_PCLOCK::producers>>;
using CFastConsumerLock = IMPL::TScopedLock<IMPL::QUEUE_SIDE_POLICY<&FAST_PCLOCK::consumers>>;

} // namespace Quil

// The steps of readers and writers, the same for locks of every kind: entry lock, count, and the
// semaphore that is the resource.
#include "util/sys/lock/ReaderWriterState.h"

#include "util/base/CancelHold.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <unistd.h>

namespace Quil::IMPL {

PROC_RW_FIELDS::PROC_RW_FIELDS(bool create, const stringEx& name)
    : entry(create, name + ".entry"), countLock(create, name + ".lock"),
      shared(create, name + ".state"), count(shared.Get().count), owner(shared.Get().owner),
      isAbandoned(shared.Get().isAbandoned), sem(create, name + ".sem", create ? 1 : 0) {
    if (!shared.WaitUntilReady()) {
        throw syncExp(0, "CProcReaderWriterState::CProcReaderWriterState - state is not set up\n"
                         "  name = " +
                             name);
    }
}

std::uint64_t PROC_RW_FIELDS::Self() {
    struct IDENTITY {
        pid_t thread = 0;
        std::uint64_t number = 0;
    };
    thread_local IDENTITY identity;
    const pid_t thread = gettid();
    if (identity.thread != thread) { // the first call, or the first in a forked child
        const timespec now = Now(CLOCK_MONOTONIC);
        constexpr unsigned int HALF = 32;
        identity.thread = thread;
        identity.number = static_cast<std::uint64_t>(thread) << HALF |
                          static_cast<std::uint32_t>(now.tv_sec * 1000000 + now.tv_nsec / 1000);
    }
    return identity.number;
}

template <class Fields>
template <class Change>
auto TReaderWriterState<Fields>::__WithCount(Change change) {
    struct RELEASE {
        decltype(__fields.countLock)& lock;
        ~RELEASE() noexcept(false) { lock.UnLock(); }
    };
    __fields.countLock.Lock();
    const RELEASE release{__fields.countLock};
    return change(__fields.count, __fields.owner);
}

/// With the entry held. NONE: readers are there, or a writer has left the data half written.
template <class Fields>
auto TReaderWriterState<Fields>::__Enter(HOLD wanted, bool isReader) -> HOLD {
    return __WithCount([&](int& count, auto& owner) {
        if (count < 0 && owner == Fields::Self()) {
            return NESTED;
        }
        if (count < 0) {
            __fields.isAbandoned = true;
            std::atomic_signal_fence(std::memory_order_seq_cst); // in this order, if it dies here
            count = 0;
        }
        if ((__fields.isAbandoned && wanted != REPAIR) || (count != 0 && !isReader)) {
            return NONE;
        }
        if (count == 0) {
            __fields.sem.P(0);
        }
        if (isReader) {
            ++count;
        } else {
            owner = Fields::Self();
            std::atomic_signal_fence(std::memory_order_seq_cst);
            count = -1;
        }
        return wanted;
    });
}

template <class Fields>
void TReaderWriterState<Fields>::__Refuse() {
    __fields.entry.UnLock();
    throw syncExp(EOWNERDEAD, "CProcReaderWriterState::Lock - a writer died while it wrote" +
                                  __fields.Detail());
}

template <class Fields>
auto TReaderWriterState<Fields>::LockReader(unsigned long milliseconds) -> HOLD {
    const CCancelHold cancelHold; // a thread that ended in here would keep the entry closed
    if (!__fields.entry.Lock(milliseconds)) {
        return NONE;
    }
    const HOLD hold = __Enter(FULL, true);
    if (hold == NONE) {
        __Refuse();
    }
    if (hold == FULL) {
        __fields.entry.UnLock();
    }
    return hold;
}

template <class Fields>
auto TReaderWriterState<Fields>::__LockWriter(HOLD wanted, unsigned long milliseconds) -> HOLD {
    const CCancelHold cancelHold;
    const timespec start = Now(CLOCK_MONOTONIC);
    if (!__fields.entry.Lock(milliseconds)) {
        return NONE;
    }
    for (;;) {
        const HOLD hold = __Enter(wanted, false);
        if (hold != NONE) {
            return hold;
        }
        if (__fields.isAbandoned && wanted != REPAIR) {
            __Refuse();
        }
        // With the entry closed readers only leave; the last one gives the unit.
        const unsigned long left = Remaining(start, milliseconds);
        if (!__fields.sem.P(std::min(left, Fields::LONGEST_WAIT)) && left == 0) {
            __fields.entry.UnLock();
            return NONE;
        }
    }
}

template <class Fields>
auto TReaderWriterState<Fields>::LockWriter(unsigned long milliseconds) -> HOLD {
    return __LockWriter(FULL, milliseconds);
}

template <class Fields>
auto TReaderWriterState<Fields>::LockRepair(unsigned long milliseconds) -> HOLD {
    return __LockWriter(REPAIR, milliseconds);
}

template <class Fields>
void TReaderWriterState<Fields>::UnLockReader(HOLD hold) {
    if (hold == NESTED) {
        __fields.entry.UnLock();
    } else if (hold == FULL) {
        __WithCount([this](int& count, auto&) {
            if (--count == 0) {
                __fields.sem.V();
            }
        });
    }
}

template <class Fields>
void TReaderWriterState<Fields>::UnLockWriter(HOLD hold) {
    if (hold == FULL || hold == REPAIR) {
        __WithCount([this, hold](int& count, auto& owner) {
            if (hold == REPAIR) {
                __fields.isAbandoned = false;
            }
            count = 0;
            owner = 0;
            __fields.sem.V();
        });
    }
    if (hold != NONE) {
        __fields.entry.UnLock();
    }
}

template class TReaderWriterState<LOCAL_RW_FIELDS<CFastMutex, CFastSem>>;
template class TReaderWriterState<LOCAL_RW_FIELDS<CMutex, CSem>>;
template class TReaderWriterState<PROC_RW_FIELDS>;

} // namespace Quil::IMPL

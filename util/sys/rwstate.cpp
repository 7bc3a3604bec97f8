// The steps of readers and writers, the same for locks of every kind: entry lock, count, and the
// semaphore that is the resource.
#include "util/sys/rwstate.h"

#include "util/sys/cancel.h"
#include "util/sys/errhdl.h"

namespace Quil::IMPL {

PROC_RW_FIELDS::PROC_RW_FIELDS(bool create, const stringEx& name)
    : entry(create, name + ".entry"), countLock(create, name + ".lock"),
      shared(create, name + ".state"), count(shared.Get().count), owner(shared.Get().owner),
      sem(create, name + ".sem", create ? 1 : 0) {
    if (!shared.WaitUntilReady()) {
        throw syncExp(0, "CProcReaderWriterState::CProcReaderWriterState - state is not set up\n"
                         "  name = " +
                             name);
    }
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

template <class Fields>
bool TReaderWriterState<Fields>::__IsWriter() {
    return __WithCount([](int count, auto owner) { return count < 0 && owner == Fields::Self(); });
}

template <class Fields>
auto TReaderWriterState<Fields>::LockReader(unsigned long milliseconds) -> HOLD {
    const CCancelHold hold; // a thread that ended in here would keep the entry closed
    if (!__fields.entry.Lock(milliseconds)) {
        return NONE;
    }
    if (__IsWriter()) {
        return NESTED;
    }
    // A writer would hold the entry lock, so the unit is free if nobody reads.
    __WithCount([this](int& count, auto&) {
        if (count == 0) {
            __fields.sem.P(NO_LIMIT);
        }
        ++count;
    });
    __fields.entry.UnLock();
    return FULL;
}

template <class Fields>
auto TReaderWriterState<Fields>::LockWriter(unsigned long milliseconds) -> HOLD {
    const CCancelHold hold;
    const timespec start = Now(CLOCK_MONOTONIC);
    if (!__fields.entry.Lock(milliseconds)) {
        return NONE;
    }
    if (__IsWriter()) {
        return NESTED;
    }
    // With the entry closed readers only leave; the last one gives the unit.
    if (!__fields.sem.P(Remaining(start, milliseconds))) {
        __fields.entry.UnLock();
        return NONE;
    }
    __WithCount([](int& count, auto& owner) {
        count = -1;
        owner = Fields::Self();
    });
    return FULL;
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
    if (hold == FULL) {
        __WithCount([this](int& count, auto& owner) {
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

// What readers and writers share: any number of readers, or one writer.
//
// Who wants in passes the entry lock first. A reader passes it on at once; a writer keeps it until
// it leaves, so new readers queue behind a writer that waits for the present ones. The semaphore is
// the resource itself: the first reader or the writer takes its unit, the last reader or the writer
// gives it back.
//
// A thread that writes may read and write again. Two things a thread must not do, they wait for
// ever: read again while a writer waits, and write while it reads.
#pragma once

#include "util/sys/mutex.h"
#include "util/sys/sem.h"

#include <unistd.h>

namespace Quil {

namespace IMPL {

/// The counting of one reader-writer lock. `Fields` supplies `entry` and `countLock` (locks),
/// `sem`, and by reference `count` (readers, or -1 for a writer) and `owner`; `Fields::Self()`
/// names the calling thread. All waits take milliseconds, by the rule for time-outs, and none is a
/// cancellation point.
template <class Fields>
class TReaderWriterState {
public:
    /// How a lock is held: a nested one has only taken another level of the entry lock.
    enum HOLD { NONE, FULL, NESTED };

    template <class... Arguments>
    explicit TReaderWriterState(const Arguments&... arguments) : __fields(arguments...) {}

    HOLD LockReader(unsigned long milliseconds);
    HOLD LockWriter(unsigned long milliseconds);
    void UnLockReader(HOLD hold);
    void UnLockWriter(HOLD hold);

private:
    /// The count, under its lock, which nobody holds for long.
    template <class Change>
    auto __WithCount(Change change);
    bool __IsWriter();

    Fields __fields;
};

template <class Mutex, class Sem>
struct LOCAL_RW_FIELDS {
    Mutex entry;
    Mutex countLock;
    int count = 0;
    pthread_t owner = 0;
    Sem sem{1};

    static pthread_t Self() { return pthread_self(); }
};

/// Thread ids are the system's here: those of the thread library repeat in other processes.
struct PROC_RW_FIELDS {
    struct SHARED {
        SHARED(FLAG_PREALLOCATE, bool) {}
        int count = 0;
        pid_t owner = 0;
    };

    PROC_RW_FIELDS(bool create, const stringEx& name);

    static pid_t Self() { return gettid(); }

    CProcMutex entry;
    CProcMutex countLock;
    CSharedObject<SHARED> shared;
    int& count;
    pid_t& owner;
    CProcSem sem;
};

extern template class TReaderWriterState<LOCAL_RW_FIELDS<CFastMutex, CFastSem>>;
extern template class TReaderWriterState<LOCAL_RW_FIELDS<CMutex, CSem>>;
extern template class TReaderWriterState<PROC_RW_FIELDS>;

} // namespace IMPL

/// The states that the scoped locks work on, of the fast and of the system's locks.
using CFastReaderWriterState =
    IMPL::TReaderWriterState<IMPL::LOCAL_RW_FIELDS<CFastMutex, CFastSem>>;
using CReaderWriterState = IMPL::TReaderWriterState<IMPL::LOCAL_RW_FIELDS<CMutex, CSem>>;
/// Between processes: `(bool create, const stringEx& name)`. Names with ".entry", ".lock", ".state"
/// and ".sem" behind are used. A process that dies while it reads or writes blocks the others.
using CProcReaderWriterState = IMPL::TReaderWriterState<IMPL::PROC_RW_FIELDS>;

} // namespace Quil

// What readers and writers share: any number of readers, or one writer.
//
// Who wants in passes the entry lock first. A reader passes it on at once; a writer keeps it until
// it leaves, so new readers queue behind a writer that waits for the present ones. The semaphore is
// the resource itself: the first reader or the writer takes its unit, the last reader or the writer
// gives it back. Who holds the entry and finds nobody counted has the resource, whether the unit is
// there or went with a process that died.
//
// A writer's count seen by another thread that has the entry means that the writer died. What it
// wrote may be half done, so from then on readers and writers are refused by a `syncExp`, until
// somebody takes the lock to repair the data.
//
// A thread that writes may read and write again. Two things a thread must not do, they wait for
// ever: read again while a writer waits, and write while it reads.
#pragma once

#include "util/base/visibility.h"
#include "util/sys/mutex.h"
#include "util/sys/sem.h"

#include <cstdint>

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// The counting of one reader-writer lock. `Fields` supplies `entry` and `countLock` (locks),
/// `sem`, and by reference `count` (readers, or -1 for a writer) and `owner`; `Fields::Self()`
/// names the calling thread. `isAbandoned` there marks data that a dead writer left. All waits take
/// milliseconds, by the rule for time-outs, and none is a cancellation point.
template <class Fields>
class TReaderWriterState {
public:
    /// How a lock is held: a nested one has only taken another level of the entry lock; the release
    /// of a repair declares the data whole.
    enum HOLD { NONE, FULL, NESTED, REPAIR };

    template <class... Arguments>
    explicit TReaderWriterState(const Arguments&... arguments) : __fields(arguments...) {}

    /// These two throw `syncExp` where a writer died, and hold nothing then.
    HOLD LockReader(unsigned long milliseconds);
    HOLD LockWriter(unsigned long milliseconds);
    /// As `LockWriter`, also where a writer died.
    HOLD LockRepair(unsigned long milliseconds);
    void UnLockReader(HOLD hold);
    void UnLockWriter(HOLD hold);

private:
    /// The count, under its lock, which nobody holds for long.
    template <class Change>
    auto __WithCount(Change change);
    HOLD __Enter(HOLD wanted, bool isReader);
    HOLD __LockWriter(HOLD wanted, unsigned long milliseconds);
    [[noreturn]] void __Refuse();

    Fields __fields;
};

template <class Mutex, class Sem>
struct LOCAL_RW_FIELDS {
    Mutex entry;
    Mutex countLock;
    int count = 0;
    pthread_t owner = 0;
    Sem sem{1};

    // A writer that ends with its process takes everybody along.
    static constexpr unsigned long LONGEST_WAIT = NO_LIMIT;
    bool isAbandoned = false;
    static stringEx Detail() { return stEMPTY; }

    static pthread_t Self() { return pthread_self(); }
};

/// Threads are told apart by a number of their own here: the thread library's repeat in other
/// processes, and the system's are used again when a thread is gone.
struct PROC_RW_FIELDS {
    struct SHARED {
        SHARED(FLAG_PREALLOCATE, bool) {}
        int count = 0;
        std::uint64_t owner = 0;
        bool isAbandoned = false;
    };

    PROC_RW_FIELDS(bool create, const stringEx& name);

    static std::uint64_t Self();
    /// A process may be killed between its change of the count and its unit, so waits look again.
    static constexpr unsigned long LONGEST_WAIT = 100;
    stringEx Detail() const { return "\n  name = " + shared.GetName(); }

    CProcMutex entry;
    CProcMutex countLock;
    CSharedObject<SHARED> shared;
    int& count;
    std::uint64_t& owner;
    bool& isAbandoned;
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
/// Between processes: `(bool create, const stringEx& name)`. With `create` the names must be free,
/// or their creator dead (by the rules of `CShMem`). Used are the name with ".entry", ".lock",
/// ".state", ".sem" and ".sem.own" behind. When a process dies while it writes, the others get a
/// `syncExp` in place of its data, and a `CProcRepairLock` makes the lock usable again. A process
/// that dies while it reads keeps writers out: their limits hold.
using CProcReaderWriterState = IMPL::TReaderWriterState<IMPL::PROC_RW_FIELDS>;

} // namespace Quil

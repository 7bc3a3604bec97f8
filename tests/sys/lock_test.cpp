// The locks: what each promises one thread, and many.
#include "tests/sys/await.h"
#include "util/base/sanitizer.h"
#include "util/sys/advSync.h"
#include "util/sys/event.h"
#include "util/sys/mutex.h"
#include "util/sys/sem.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <vector>

namespace {

using namespace Quil;
using TEST::CancelIn;

void SleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

/// The answer of `ask` on another thread.
template <class Ask>
bool Elsewhere(Ask ask) {
    bool answer = false;
    std::thread([&] { answer = ask(); }).join();
    return answer;
}

template <class Body>
void OnThreads(unsigned int count, Body body) {
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i != count; ++i) {
        threads.emplace_back([&body, i] { body(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

template <class Mutex>
class RecursiveLock : public testing::Test {};
using RecursiveLocks = testing::Types<CFastMutex, CMutex>;
TYPED_TEST_SUITE(RecursiveLock, RecursiveLocks);

TYPED_TEST(RecursiveLock, IsFreeAfterTheLastLevelOnly) {
    TypeParam mutex;
    const auto isFree = [&] { return mutex.Lock(0) && (mutex.UnLock(), true); };
    mutex.Lock();
    EXPECT_TRUE(mutex.Lock(0));
    EXPECT_TRUE(mutex.Lock(5));
    for (int levels = 3; levels != 0; --levels) {
        EXPECT_FALSE(Elsewhere(isFree)) << levels;
        mutex.UnLock();
    }
    EXPECT_TRUE(Elsewhere(isFree));
}

TYPED_TEST(RecursiveLock, TimedWaitEndsAndLeavesTheLockUsable) {
    TypeParam mutex;
    for (const unsigned long limit : {5UL, 15UL}) {
        mutex.Lock();
        EXPECT_FALSE(Elsewhere([&] {
            const auto start = std::chrono::steady_clock::now();
            const bool taken = mutex.Lock(limit);
            EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5));
            return taken;
        }));
        mutex.UnLock();
        EXPECT_TRUE(Elsewhere([&] { return mutex.Lock(0) && (mutex.UnLock(), true); }));
    }
}

TYPED_TEST(RecursiveLock, ExcludesThreads) {
    TypeParam mutex;
    long count = 0;
    OnThreads(4, [&](unsigned int thread) {
        for (int i = 0; i != 3000; ++i) {
            // A timed wait may starve beside blocking ones; it must then leave no trace.
            if (thread == 3 && i % 100 == 0 && mutex.Lock(20)) {
                mutex.UnLock();
            }
            mutex.Lock();
            mutex.Lock();
            ++count;
            mutex.UnLock();
            mutex.UnLock();
        }
    });
    EXPECT_EQ(count, 12000);
    EXPECT_TRUE(mutex.Lock(0));
    mutex.UnLock();
}

TEST(FastMutex, ShortTimedWaitTakesAWholeSlice) {
    CFastMutex mutex;
    mutex.Lock();
    EXPECT_TRUE(Elsewhere([&] {
        const auto start = std::chrono::steady_clock::now();
        return !mutex.Lock(5) &&
               std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(10);
    }));
    mutex.UnLock();
}

TEST(FastMutex, SpinLocksExclude) {
    CFastMutex mutex;
    long count = 0;
    OnThreads(3, [&](unsigned int thread) {
        for (int i = 0; i != 1000; ++i) {
            const CFastSessionSpinLock lock(mutex, 50, thread == 0 ? 50 : 60);
            ++count;
        }
    });
    EXPECT_EQ(count, 3000);
}

TEST(Sem, FastTriesTakeExactlyTheUnits) {
    for (int round = 0; round != 200; ++round) {
        CFastSem sem(2);
        std::atomic<int> taken{0};
        OnThreads(3, [&](unsigned int) { taken += sem.P(0) ? 1 : 0; });
        ASSERT_EQ(taken, 2);
        ASSERT_FALSE(sem.P(0));
        sem.V();
        ASSERT_TRUE(sem.P(5));
    }
}

template <class Sem>
void ExpectVWakesAll() {
    Sem sem;
    std::atomic<int> awake{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i != 3; ++i) {
        waiters.emplace_back([&] {
            sem.P();
            ++awake;
        });
    }
    if constexpr (requires { sem.V(3U); }) {
        sem.V(3U);
    } else {
        for (int i = 0; i != 3; ++i) {
            sem.V();
        }
    }
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    EXPECT_EQ(awake, 3);
    EXPECT_FALSE(sem.P(0));
}

TEST(Sem, EveryUnitWakesOneWaiter) {
    ExpectVWakesAll<CSem>();
    ExpectVWakesAll<CFastSem>();
}

TEST(Sem, OffsetsBeyondTheClockAndBehindIt) {
    CSem sem;
    EXPECT_FALSE(sem.P(timespec{-5, 0}));
    EXPECT_FALSE(sem.P(timespec{0, 1500000})); // not in the system's normal form together with now
    sem.V();
    EXPECT_TRUE(sem.P(timespec{std::numeric_limits<time_t>::max(), 999999999}));
}

TEST(Event, StaysRaisedUntilReset) {
    CEvent event;
    EXPECT_FALSE(event.TryWait());
    EXPECT_FALSE(event.Wait(5));
    event.Raise();
    EXPECT_TRUE(event.Wait());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(timespec{1, 0}));
    event.Reset();
    EXPECT_FALSE(event.TryWait());
}

TEST(Event, ARaiseAndAResetLetGoWhoWaitsAndNobodyElse) {
    CEvent event;
    CFastMutex mutex;
    for (int round = 0; round < 50; ++round) {
        int waiting = 0;
        int released = 0;
        OnThreads(4, [&](unsigned int thread) {
            mutex.Lock();
            if (thread != 0) {
                ++waiting;
                released += event.Wait(mutex) ? 1 : 0; // in vain it would wait for ever
            } else {
                // A waiter gives the lock up when its wait has begun.
                while (waiting != 3) {
                    mutex.UnLock();
                    std::this_thread::yield();
                    mutex.Lock();
                }
                event.Raise();
                event.Reset();
            }
            mutex.UnLock();
        });
        ASSERT_EQ(released, 3);
    }
    EXPECT_FALSE(event.Wait(1));
}

template <class Mutex>
void ExpectNoRaiseIsMissed() {
    CEvent event;
    Mutex mutex;
    int turn = 0;
    constexpr int rounds = 3000;
    std::thread raiser([&] {
        for (int i = 0; i != rounds; ++i) {
            mutex.Lock();
            while (turn != 0) {
                mutex.UnLock();
                std::this_thread::yield();
                mutex.Lock();
            }
            turn = 1;
            event.Raise();
            mutex.UnLock();
        }
    });
    for (int i = 0; i != rounds; ++i) {
        mutex.Lock();
        while (turn != 1) {
            ASSERT_TRUE(event.Wait(mutex, 5000)) << "round " << i;
        }
        event.Reset();
        turn = 0;
        mutex.UnLock();
    }
    raiser.join();
}

TEST(Event, WaitUnderACallersLockMissesNoRaise) {
    ExpectNoRaiseIsMissed<CFastMutex>();
    ExpectNoRaiseIsMissed<CMutex>();
}

TEST(ReaderWriter, ReadersShareAndAWriterExcludes) {
    CFastReaderWriterState state;
    CFastReaderLock reader(state);
    EXPECT_TRUE(Elsewhere([&] { return CFastReaderLock(state, 0).IsLocked(); }));
    EXPECT_FALSE(Elsewhere([&] { return CFastWriterLock(state, 0).IsLocked(); }));
    reader.Reset();
    CFastWriterLock writer(state);
    EXPECT_TRUE(CFastWriterLock(state).IsLocked()); // the writer itself may nest
    EXPECT_TRUE(CFastReaderLock(state).IsLocked());
    EXPECT_FALSE(Elsewhere([&] { return CFastReaderLock(state, 15).IsLocked(); }));
    EXPECT_FALSE(Elsewhere([&] { return CFastWriterLock(state, 15).IsLocked(); }));
    {
        const CFastReaderLock within(state);
        const CFastWriterLock again(state);
        EXPECT_TRUE(within.IsLocked() && again.IsLocked());
    }
    EXPECT_FALSE(Elsewhere([&] { return CFastReaderLock(state, 15).IsLocked(); }));
    writer.Reset();
    EXPECT_TRUE(Elsewhere([&] { return CFastWriterLock(state, 0).IsLocked(); }));
}

TEST(ReaderWriter, WaitingWriterStopsNewReaders) {
    CReaderWriterState state;
    CReaderLock reader(state);
    std::atomic<bool> written{false};
    std::thread writer([&] {
        CWriterLock lock(state);
        written = true;
    });
    // The writer is inside the entry once a new reader is refused.
    while (Elsewhere([&] { return CReaderLock(state, 0).IsLocked(); })) {
        SleepMs(1);
    }
    EXPECT_FALSE(written);
    reader.Reset();
    writer.join();
    EXPECT_TRUE(written);
    EXPECT_TRUE(CReaderLock(state, 0).IsLocked());
}

TEST(ReaderWriter, NobodySeesAHalfWrittenPair) {
    CFastReaderWriterState state;
    long one = 0;
    long other = 0;
    OnThreads(4, [&](unsigned int thread) {
        for (int i = 0; i != 1500; ++i) {
            if (thread == 0) {
                const CFastWriterLock lock(state);
                ++one;
                const CFastWriterLock nested(state);
                ++other;
            } else if (thread == 1) {
                const CFastWriterSpinLock lock(state, 50, 60);
                ++one;
                ++other;
            } else if (thread == 2) {
                const CFastReaderLock lock(state);
                ASSERT_EQ(one, other);
            } else {
                const CFastReaderSpinLock lock(state, 50, 60);
                ASSERT_EQ(one, other);
            }
        }
    });
    EXPECT_EQ(one, 3000);
}

// --- Cancelled threads ---------------------------------------------------------------------------

TEST(Cancelled, WaiterOfAFastMutexStillGetsItsTurn) {
    CFastMutex mutex;
    mutex.Lock();
    CancelIn(
        [&] {
            mutex.Lock();
            mutex.UnLock();
        },
        [&] { mutex.UnLock(); });
    EXPECT_TRUE(mutex.Lock(0));
    mutex.UnLock();
}

template <class State>
void ExpectUsableAfterACancelledWriter() {
    State state;
    for (const unsigned long limit : {CFastMutex::NO_LIMIT, 5000UL}) {
        state.LockReader(0);
        CancelIn([&] { state.UnLockWriter(state.LockWriter(limit)); },
                 [&] { state.UnLockReader(State::FULL); });
        const auto hold = state.LockWriter(0);
        EXPECT_EQ(hold, State::FULL);
        state.UnLockWriter(hold);
    }
}

TEST(Cancelled, WaitingWriterLeavesTheEntryOpen) {
    if (QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a cancelled thread's frames are gone";
    }
    ExpectUsableAfterACancelledWriter<CReaderWriterState>();
    ExpectUsableAfterACancelledWriter<CFastReaderWriterState>();
}

TEST(Cancelled, WaiterOfAnEventGetsItsCallersLockBack) {
    if (QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a cancelled thread's frames are gone";
    }
    CEvent event;
    CFastMutex mutex;
    bool isHeld = false;
    CancelIn(
        [&] {
            struct LOOK {
                CFastMutex& mutex;
                bool& isHeld;
                ~LOOK() {
                    isHeld = mutex.IsOwner();
                    mutex.UnLock();
                }
            } const look{mutex, isHeld};
            mutex.Lock();
            event.Wait(mutex);
        },
        [] {});
    EXPECT_TRUE(isHeld);
    EXPECT_TRUE(mutex.Lock(0));
    mutex.UnLock();
    EXPECT_FALSE(event.TryWait());
}

} // namespace

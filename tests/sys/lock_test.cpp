// The locks: what each promises one thread, and many.
#include "util/sys/advSync.h"
#include "util/sys/errhdl.h"
#include "util/sys/event.h"
#include "util/sys/mutex.h"
#include "util/sys/sanitizer.h"
#include "util/sys/sem.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <pthread.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Quil;

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

std::string UniqueName(const char* what) {
    return "/quil-test-" + std::to_string(getpid()) + "-" + what;
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

TEST(FastMutex, CancelledWaiterStillGetsItsTurn) {
    static CFastMutex mutex;
    mutex.Lock();
    pthread_t waiter;
    ASSERT_EQ(pthread_create(
                  &waiter, nullptr,
                  [](void*) -> void* {
                      mutex.Lock();
                      mutex.UnLock();
                      pthread_testcancel();
                      return nullptr;
                  },
                  nullptr),
              0);
    SleepMs(30);
    pthread_cancel(waiter);
    mutex.UnLock();
    void* result = nullptr;
    pthread_join(waiter, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(mutex.Lock(0));
    mutex.UnLock();
}

TEST(FastMutex, SpinLocksExclude) {
    CFastMutex mutex;
    CFastReaderWriterState state;
    long underMutex = 0;
    long underState = 0;
    OnThreads(3, [&](unsigned int thread) {
        for (int i = 0; i != 1000; ++i) {
            {
                CFastSessionSpinLock lock(mutex, 50, thread == 0 ? 50 : 60);
                ++underMutex;
            }
            CFastWriterSpinLock lock(state, 50, 60);
            ++underState;
            lock.Reset();
            const CFastReaderSpinLock reader(state, 50, 60);
            ASSERT_GT(underState, 0);
        }
    });
    EXPECT_EQ(underMutex, 3000);
    EXPECT_EQ(underState, 3000);
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

TEST(Event, PulseReachesWhoWaits) {
    CEvent event;
    std::atomic<int> released{0};
    std::thread waiter([&] {
        while (released < 100) {
            if (event.Wait(2000)) {
                ++released;
            }
        }
    });
    // Each round is a Raise followed at once by a Reset.
    for (int seen = 0; seen < 100; seen = released) {
        event.Raise();
        event.Reset();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(released, 100);
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
            if (thread < 2) {
                const CFastWriterLock lock(state);
                ++one;
                const CFastWriterLock nested(state);
                ++other;
            } else {
                const CFastReaderLock lock(state);
                ASSERT_EQ(one, other);
            }
        }
    });
    EXPECT_EQ(one, 3000);
}

// --- Between processes
// ----------------------------------------------------------------------------

TEST(Named, MutexSurvivesItsDeadOwner) {
    const std::string name = UniqueName("mutex");
    CProcMutex mutex(true, name.c_str());
    const pid_t child = fork();
    if (child == 0) {
        CProcMutex same(false, name.c_str());
        same.Lock();
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(mutex.Lock());
    mutex.UnLock();
    EXPECT_TRUE(mutex.TryLock());
    mutex.UnLock();
}

TEST(Named, EventAndSemaphoreReachAnotherProcess) {
    const std::string eventName = UniqueName("event");
    const std::string semName = UniqueName("sem");
    CProcEvent event(true, eventName.c_str());
    CProcSem sem(true, semName.c_str(), 0);
    const pid_t child = fork();
    if (child == 0) {
        CProcEvent same(false, eventName.c_str());
        CProcSem units(false, semName.c_str());
        units.V(2);
        _exit(same.Wait(5000) ? 7 : 8);
    }
    EXPECT_TRUE(sem.P(5000));
    EXPECT_TRUE(sem.P(5000));
    event.Raise();
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(Named, ReadersAndWritersOfTwoProcessesExclude) {
    const std::string name = UniqueName("rw");
    CProcReaderWriterState state(true, stringEx(name.c_str()));
    CProcWriterLock writer(state);
    const pid_t child = fork();
    if (child == 0) {
        CProcReaderWriterState same(false, stringEx(name.c_str()));
        _exit(CProcReaderLock(same, 20).IsLocked() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// --- Messages, each provoked by the system itself
// -------------------------------------------------

template <class Exp, class Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const Exp& failure) {
        return failure.GetErrString().c_str();
    }
    return "nothing thrown";
}

TEST(LockMessages, AreInTheHouseStyle) {
    if (!QUIL_SANITIZED) { // which reports what these two do
        CMutex mutex;
        EXPECT_EQ(MessageOf<mutexExp>([&] { mutex.UnLock(); }),
                  "CMutex::UnLock - failed unlock mutex\n"
                  "  error code = 1\n"
                  "  error desc = the current thread does not own the mutex");
        EXPECT_EQ(MessageOf<mutexExp>([] {
                      CMutex held;
                      held.Lock();
                  }),
                  "CMutex::~CMutex - failed destroy mutex\n"
                  "  error code = 16\n"
                  "  error desc = attempt to destroy a locked mutex");
    }
    EXPECT_EQ(MessageOf<semExp>([] { CSem sem(0x80000000U); }),
              "CSem::CSem - failed initialize semaphore\n"
              "  error code = 22\n"
              "  error desc = the init value exceeds max limited");
    CSem full(SEM_VALUE_MAX);
    EXPECT_EQ(MessageOf<semExp>([&] { full.V(3); }),
              "CSem::V - failed post semaphore\n"
              "  error code = 75\n"
              "  error desc = unexpect system error: Value too large for defined data type");
    EXPECT_EQ(MessageOf<semExp>([] { CProcSem sem(false, "/quil-no-such-name"); }),
              "CProcSem::CProcSem - failed open named semaphore\n"
              "  error code     = 2\n"
              "  error desc     = the named semaphore does not exist\n"
              "  semaphore name = /quil-no-such-name");
    const std::string name = UniqueName("twice");
    CProcMutex made(true, name.c_str());
    EXPECT_EQ(MessageOf<syncExp>([&] { CProcSem sem(true, "/a/b"); }),
              "CProcSem::CProcSem - failed create named semaphore\n"
              "  error code     = 22\n"
              "  error desc     = unsupport name or value is too big\n"
              "  semaphore name = /a/b");
    EXPECT_EQ(MessageOf<shmemExp>([&] { CProcMutex again(true, name.c_str()); }),
              "CShMem::CShMem - failed create shared memory\n"
              "  error code = 17\n"
              "  error desc = the named shared memory already exists\n"
              "  name       = " +
                  name);
}

} // namespace

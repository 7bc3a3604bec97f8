// Locks that are found by name, by other threads and other processes, and the words of all locks'
// failures, each provoked for real.
#include "tests/sys/message_of.h"
#include "util/base/sanitizer.h"
#include "util/sys/advSync.h"
#include "util/sys/errhdl.h"
#include "util/sys/event.h"
#include "util/sys/lock/ShMem.h"
#include "util/sys/mutex.h"
#include "util/sys/sem.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace Quil;
using TEST::MessageOf;

std::string UniqueName(const std::string& what) {
    return "/quil-test-" + std::to_string(getpid()) + "-" + what;
}

/// What needs names is skipped where the system has no place for them.
class Named : public testing::Test {
protected:
    void SetUp() override {
        const std::string name = UniqueName("probe");
        const int probe = shm_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600);
        if (probe < 0) {
            GTEST_SKIP() << "no shared memory here: " << std::strerror(errno);
        }
        close(probe);
        shm_unlink(name.c_str());
    }
};
using LockMessages = Named;

/// A process that runs `body`, says so through a pipe, and stays as it is until it is killed.
class CVictim {
public:
    template <class Body>
    explicit CVictim(Body body) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        __process = fork();
        if (__process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            [[maybe_unused]] const auto held = body();
            EXPECT_EQ(write(ends[1], "r", 1), 1);
            for (;;) {
                pause();
            }
        }
        close(ends[1]);
        char ready = 0;
        EXPECT_EQ(read(ends[0], &ready, 1), 1);
        close(ends[0]);
    }
    CVictim(const CVictim&) = delete;
    CVictim& operator=(const CVictim&) = delete;
    ~CVictim() { Kill(); }

    void Kill() {
        if (__process > 0) {
            kill(__process, SIGKILL);
            waitpid(std::exchange(__process, 0), nullptr, 0);
        }
    }

private:
    pid_t __process;
};

/// The exit status of a forked process that runs `body`, which must take less than ten seconds.
template <class Body>
int StatusOf(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        _exit(body());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// --- Between processes ---------------------------------------------------------------------------

TEST_F(Named, MutexSurvivesItsDeadOwner) {
    const std::string name = UniqueName("mutex");
    CProcMutex mutex(true, name.c_str());
    EXPECT_EQ(StatusOf([&] { return (new CProcMutex(false, name.c_str()))->Lock() ? 0 : 1; }), 0);
    EXPECT_TRUE(mutex.Lock());
    mutex.UnLock();
    EXPECT_TRUE(mutex.TryLock());
    mutex.UnLock();
}

TEST_F(Named, EventAndSemaphoreReachAnotherProcess) {
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

TEST_F(Named, ReadersAndWritersOfTwoProcessesExclude) {
    const std::string name = UniqueName("rw");
    CProcReaderWriterState state(true, stringEx(name.c_str()));
    CProcWriterLock writer(state);
    EXPECT_EQ(StatusOf([&] {
                  CProcReaderWriterState same(false, stringEx(name.c_str()));
                  return CProcReaderLock(same, 20).IsLocked() ? 1 : 0;
              }),
              0);
}

TEST_F(Named, NobodyReadsWhatADeadWriterLeft) {
    if (QUIL_SANITIZED && !QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a timed wait takes over a dead owner's mutex";
    }
    const std::string name = UniqueName("half");
    CProcReaderWriterState state(true, stringEx(name.c_str()));
    const auto die = [&](auto hold) {
        CVictim victim([&] {
            auto same = std::make_shared<CProcReaderWriterState>(false, stringEx(name.c_str()));
            hold(*same);
            return same;
        });
    };
    const auto write = [](CProcReaderWriterState& same) { same.LockWriter(1000); };
    const auto refused = [&](auto lock) { EXPECT_THROW(lock(), syncExp); };
    die(write);
    EXPECT_EQ(StatusOf([&] {
                  for (int i = 0; i != 2; ++i) {
                      refused([&] { const CProcReaderLock lock(state, 20); });
                      refused([&] { const CProcWriterLock lock(state); });
                  }
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
    die([](CProcReaderWriterState& same) { same.LockRepair(1000); }); // nothing is repaired by that
    refused([&] { const CProcReaderLock lock(state, 0); });
    {
        const CProcRepairLock repair(state, 1000);
        EXPECT_TRUE(repair.IsLocked());
        EXPECT_TRUE(CProcReaderLock(state).IsLocked());
    }
    EXPECT_TRUE(CProcReaderLock(state, 0).IsLocked());
    die([](CProcReaderWriterState& same) { same.LockReader(1000); });
    EXPECT_TRUE(CProcReaderLock(state, 0).IsLocked()); // the unit went with the dead reader
    EXPECT_EQ(StatusOf([&] { return CProcWriterLock(state, 30).IsLocked() ? 1 : 0; }), 0);
}

TEST_F(Named, ARaiseDoesNotWaitForKilledWaiters) {
    const std::string name = UniqueName("killed");
    CProcEvent event(true, name.c_str());
    CProcMutex gate(true, (name + "-gate").c_str());
    for (int round = 0; round != 3; ++round) {
        std::vector<std::unique_ptr<CVictim>> waiters;
        for (int i = 0; i != 4; ++i) {
            waiters.push_back(std::make_unique<CVictim>([&] {
                static CSem isInside;
                std::thread waiter([&] {
                    gate.Lock();
                    isInside.V();
                    event.Wait(gate);
                });
                isInside.P();
                return waiter;
            }));
            gate.Lock(); // it sleeps once it has let go of this and of the event's own lock
            gate.UnLock();
            EXPECT_FALSE(event.TryWait());
        }
        waiters.clear();
        EXPECT_EQ(StatusOf([&] {
                      for (int i = 0; i != 4; ++i) {
                          event.Raise();
                          event.Reset();
                      }
                      return event.Wait(20) ? 1 : 0;
                  }),
                  0);
    }
    event.Raise();
    EXPECT_TRUE(event.Wait(1000));
}

TEST_F(Named, ADeadCreatorsNamesAreTakenOver) {
    const std::string name = UniqueName("heir");
    const auto all = [&] {
        auto memory = std::make_shared<CShMem>(true, (name + "-memory").c_str(), 100);
        auto event = std::make_shared<CProcEvent>(true, (name + "-event").c_str());
        auto sem = std::make_shared<CProcSem>(true, (name + "-sem").c_str(), 1);
        auto state = std::make_shared<CProcReaderWriterState>(true, (name + "-state").c_str());
        return std::make_tuple(memory, event, sem, state);
    };
    CVictim creator(all);
    EXPECT_THROW(all(), shmemExp); // it lives
    EXPECT_THROW(CProcSem(true, (name + "-sem").c_str()), semExp);
    creator.Kill();
    const auto [memory, event, sem, state] = all();
    EXPECT_TRUE(memory->IsTakenOver());
    EXPECT_TRUE(sem->P(0));
    // A copy in a forked child leaves them alone.
    EXPECT_EQ(StatusOf([&, memory = memory, event = event, sem = sem] {
                  memory->Close();
                  event->~CProcEvent();
                  sem->~CProcSem();
                  return memory->IsCreator() ? 1 : 0;
              }),
              0);
    EXPECT_NO_THROW(CShMem(false, (name + "-memory").c_str(), 100));
    EXPECT_NO_THROW(CProcEvent(false, (name + "-event").c_str()));
    EXPECT_NO_THROW(CProcSem(false, (name + "-sem").c_str()));
}

TEST_F(Named, ANameThatWasNeverSignedIsTakenOver) {
    const std::string name = UniqueName("unsigned");
    close(shm_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600));
    const CShMem heir(true, name.c_str(), 8);
    EXPECT_TRUE(heir.IsTakenOver());
}

TEST_F(Named, MemoryIsOneForAllWhoOpenIt) {
    const std::string name = UniqueName("memory").substr(1); // the slash in front may be left out
    CShMem made(true, name.c_str(), 100);
    EXPECT_TRUE(made.IsCreator());
    EXPECT_EQ(made.GetSize(), 100U);
    auto* const bytes = static_cast<char*>(made.GetAddr());
    EXPECT_EQ(std::string(bytes, 100), std::string(100, '\0'));
    std::strcpy(bytes, "shared");
    {
        const CShMem opened(false, ("/" + name).c_str(), 100);
        EXPECT_FALSE(opened.IsCreator());
        EXPECT_STREQ(static_cast<const char*>(opened.GetAddr()), "shared");
    }
    const CShMem again(false, name.c_str(), 100); // whoever only opens leaves the name alone
    made.Close();
    made.Close();
    EXPECT_STREQ(static_cast<const char*>(again.GetAddr()), "shared");
    EXPECT_THROW(CShMem(false, name.c_str(), 100), shmemExp);
}

/// A block that somebody has begun to make, of zeros, and won't go on with.
class CAbandoned {
public:
    CAbandoned(const std::string& name, off_t size)
        : __name(name), __descriptor(shm_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600)) {
        EXPECT_GE(__descriptor, 0);
        EXPECT_EQ(ftruncate(__descriptor, size), 0);
    }
    CAbandoned(const CAbandoned&) = delete;
    CAbandoned& operator=(const CAbandoned&) = delete;
    ~CAbandoned() {
        close(__descriptor);
        shm_unlink(__name.c_str());
    }

    int GetDescriptor() const { return __descriptor; }

private:
    std::string __name;
    int __descriptor;
};

std::string BlockOf(const std::string& name) {
    std::string block(4096, '\0');
    const int descriptor = shm_open(name.c_str(), O_RDONLY, 0);
    const ssize_t size = read(descriptor, block.data(), block.size());
    close(descriptor);
    block.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return block;
}

// The steps of a creator that is slow: the name, the size, the content, and at last the word in
// front that says so.
TEST_F(Named, AnOpenerWaitsForALateCreator) {
    const std::string name = UniqueName("late");
    const CProcMutex pattern(true, (name + "-pattern").c_str());
    const std::string block = BlockOf(name + "-pattern");
    ASSERT_GT(block.size(), sizeof(pthread_mutex_t));
    const CAbandoned slow(name, 0);
    std::atomic<bool> isOpen{false};
    std::thread opener([&] {
        CProcMutex mutex(false, name.c_str());
        isOpen = true;
        mutex.Lock();
        mutex.UnLock();
    });
    const auto give = [&](std::size_t offset, std::size_t length) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_FALSE(isOpen) << "before the bytes at " << offset;
        EXPECT_EQ(
            pwrite(slow.GetDescriptor(), block.data() + offset, length, static_cast<off_t>(offset)),
            static_cast<ssize_t>(length));
    };
    constexpr std::size_t word = 4;
    give(block.size() - 1, 1);
    give(word, block.size() - word);
    give(0, word);
    opener.join();
    EXPECT_TRUE(isOpen);
}

TEST_F(Named, ADeadCreatorIsNotWaitedForForever) {
    const std::string name = UniqueName("dead");
    const CAbandoned empty(name + "-empty", 0);
    const CAbandoned mutex(name + "-mutex", 4096);
    const CAbandoned event(name + "-event", 4096);
    CProcMutex lock(true, (name + "-event.lock").c_str());
    CProcMutex entry(true, (name + "-rw.entry").c_str());
    CProcMutex countLock(true, (name + "-rw.lock").c_str());
    const CAbandoned state(name + "-rw.state", 4096);
    CProcSem sem(true, (name + "-rw.sem").c_str());
    std::vector<std::thread> openers; // each waits for a second
    const auto open = [&](auto action, const std::string& message) {
        openers.emplace_back([=] { EXPECT_EQ(MessageOf<qlExp>(action), message); });
    };
    open([=] { CShMem block(false, (name + "-empty").c_str(), 1); },
         "CShMem::CShMem - failed size shared memory\n"
         "  error code = 110\n"
         "  error desc = the creator has not given the shared memory its size\n"
         "  name       = " +
             name + "-empty");
    open([=] { CProcMutex opened(false, (name + "-mutex").c_str()); },
         "CProcMutex::CProcMutex - failed open mutex\n"
         "  error code = 22\n"
         "  error desc = mutex object does not correctly initialized\n"
         "  name = " +
             name + "-mutex");
    open([=] { CProcEvent opened(false, (name + "-event").c_str()); },
         "CProcEvent::CProcEvent - failed open event\n"
         "  error code = 22\n"
         "  error desc = the value specified by event is invalid\n"
         "  name = " +
             name + "-event");
    open([=] { CProcReaderWriterState opened(false, (name + "-rw").c_str()); },
         "CProcReaderWriterState::CProcReaderWriterState - state is not set up\n"
         "  name = " +
             name + "-rw");
    for (std::thread& opener : openers) {
        opener.join();
    }
}

// --- Messages ------------------------------------------------------------------------------------

TEST_F(LockMessages, OfLocksThatAreNotHeldOrBroken) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "the sanitizer reports each of these as a misuse";
    }
    CMutex mutex;
    EXPECT_EQ(MessageOf<mutexExp>([&] { mutex.UnLock(); }),
              "CMutex::UnLock - failed unlock mutex\n"
              "  error code = 1\n"
              "  error desc = the current thread does not own the mutex");
    const std::string name = UniqueName("unheld");
    CProcMutex named(true, name.c_str());
    EXPECT_EQ(MessageOf<mutexExp>([&] { named.UnLock(); }),
              "CProcMutex::UnLock - failed unlock mutex\n"
              "  error code = 1\n"
              "  error desc = the current thread does not own the mutex\n"
              "  name = " +
                  name);
    EXPECT_EQ(MessageOf<mutexExp>([] {
                  CMutex held;
                  held.Lock();
              }),
              "CMutex::~CMutex - failed destroy mutex\n"
              "  error code = 16\n"
              "  error desc = attempt to destroy a locked mutex");
    EXPECT_THROW(
        [] {
            CMutex held;
            held.Lock();
            throw 1; // the destructor is silent then
        }(),
        int);

    alignas(CMutex) unsigned char rubbish[sizeof(CMutex)];
    std::memset(rubbish, 0x7F, sizeof rubbish);
    CMutex& broken = *new (rubbish) CMutex(FLAG_PREALLOCATE(), false);
    const std::string cause = "\n  error code = 22\n"
                              "  error desc = mutex object does not correctly initialized";
    EXPECT_EQ(MessageOf<mutexExp>([&] { broken.Lock(); }),
              "CMutex::Lock - failed lock mutex" + cause);
    EXPECT_EQ(MessageOf<mutexExp>([&] { broken.TryLock(); }),
              "CMutex::TryLock - failed lock mutex" + cause);
    EXPECT_EQ(MessageOf<mutexExp>([&] {
                  broken.Lock(timespec{0, 2000000});
              }),
              "TimedLock - failed lock mutex\n"
              "  error code     = 22\n"
              "  error desc     = mutex object does not correctly initialized\n"
              "  seconds offset = 0.002000000");
}

TEST_F(LockMessages, OfSemaphores) {
    EXPECT_EQ(MessageOf<semExp>([] { CSem sem(0x80000000U); }),
              "CSem::CSem - failed initialize semaphore\n"
              "  error code = 22\n"
              "  error desc = the init value exceeds max limited");
    EXPECT_THROW(CSem(3, 2), semExp);
    CSem full(SEM_VALUE_MAX);
    EXPECT_EQ(MessageOf<semExp>([&] { full.V(3); }),
              "CSem::V - failed post semaphore\n"
              "  error code = 75\n"
              "  error desc = unexpect system error: Value too large for defined data type");
    const std::string taken = UniqueName("taken");
    const CProcSem made(true, taken.c_str());
    const struct {
        bool create;
        std::string name;
        int code;
        const char* text;
    } rows[] = {
        {false, "/quil-no-such-name", ENOENT, "the named semaphore does not exist"},
        {true, taken, EEXIST, "the named semaphore already exists"},
        {true, "/a/b", EINVAL, "unsupport name or value is too big"},
        {true, "", EINVAL, "unsupport name or value is too big"},
        {true, "/" + std::string(252, 'n'), ENAMETOOLONG, "semaphore name is too long"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MessageOf<semExp>([&] { CProcSem sem(row.create, row.name.c_str()); }),
                  std::string("CProcSem::CProcSem - failed ") + (row.create ? "create" : "open") +
                      " named semaphore\n  error code     = " + std::to_string(row.code) +
                      "\n  error desc     = " + row.text + "\n  semaphore name = " + row.name);
    }
}

TEST_F(LockMessages, OfNamesThatAreTakenOrTooMany) {
    const std::string name = UniqueName("twice");
    CProcMutex made(true, name.c_str());
    EXPECT_EQ(MessageOf<shmemExp>([&] { CProcMutex again(true, name.c_str()); }),
              "CShMem::CShMem - failed create shared memory\n"
              "  error code = 17\n"
              "  error desc = the named shared memory already exists\n"
              "  name       = " +
                  name);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const std::string memory = MessageOf<shmemExp>([&] { CProcMutex same(false, name.c_str()); });
    const std::string sem = MessageOf<semExp>([] { CProcSem same(true, "/quil-unmade"); });
    setrlimit(RLIMIT_NOFILE, &before);
    for (const std::string& message : {memory, sem}) {
        EXPECT_NE(message.find("too many file descriptors are currently open in this process\n  "),
                  std::string::npos)
            << message;
    }
}

TEST_F(LockMessages, OfNamesThatSomebodyTookAway) {
    const std::string name = UniqueName("gone");
    const auto unlinked = [&](auto make) {
        return [&name, make] {
            const auto object = make();
            shm_unlink(name.c_str());
            sem_unlink(name.c_str());
        };
    };
    const auto mutex = unlinked([&] { return CProcMutex(true, name.c_str()); });
    const auto event = unlinked([&] { return CProcEvent(true, name.c_str()); });
    const auto sem = unlinked([&] { return CProcSem(true, name.c_str()); });
    const std::string cause = "@ CShMem::Close - failed unlink shared memory\n"
                              "  error code = 2\n"
                              "  error desc = the named shared memory does not exist\n"
                              "  name       = " +
                              name;
    EXPECT_EQ(MessageOf<mutexExp>(mutex), "CProcMutex::~CProcMutex - failed close mutex\n" + cause);
    EXPECT_EQ(MessageOf<eventExp>(event),
              "CProcEvent::~CProcEvent - failed close named event\n" + cause);
    EXPECT_EQ(MessageOf<semExp>(sem), "CProcSem::~CProcSem - failed unlink the named semaphore\n"
                                      "  error code     = 2\n"
                                      "  error desc     = the named semaphore does not exist\n"
                                      "  semaphore name = " +
                                          name);
    EXPECT_THROW(
        [&] {
            const CProcSem silent(true, name.c_str());
            sem_unlink(name.c_str());
            throw 1;
        }(),
        int);
    // The event's lock went with it all the same.
    EXPECT_EQ(MessageOf<qlExp>([&] { CProcMutex(true, (name + ".lock").c_str()); }),
              "nothing thrown");
}

} // namespace

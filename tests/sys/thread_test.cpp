// Thread objects: states, ends of every kind, and slots.
#include "tests/sys/await.h"
#include "tests/sys/message_of.h"
#include "util/base/sanitizer.h"
#include "util/base/tls.h"
#include "util/conv/TextConv.h"
#include "util/file/buffered_stream.h"
#include "util/sys/errhdl.h"
#include "util/sys/log.h"
#include "util/sys/mutex.h"
#include "util/sys/thread.h"
#include "util/sys/time.h"

#include <atomic>
#include <bitset>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Quil;
using TEST::Await;
using TEST::MessageOf;

/// A thread that does what the test says.
class CTestThread : public TThread {
public:
    explicit CTestThread(std::function<int(CTestThread&)> body) : __body(std::move(body)) {}
    ~CTestThread() override {
        if (!TryStop()) {
            Wait();
        }
        if (isGone != nullptr) {
            *isGone = true;
        }
    }
    using TThread::_ShouldStop;
    void Start() {
        Create();
        Run();
    }

    std::atomic<bool>* isGone = nullptr;
    bool isHookThrowing = false;
    std::atomic<int> uncaught{0};
    std::atomic<int> killing{0};
    std::atomic<int> killed{0};

protected:
    int _Entry() override { return __body(*this); }
    void _OnUncaughtException() override {
        ++uncaught;
        if (isHookThrowing) {
            throw 1;
        }
    }
    void _OnKilling(int code) override { killing = code; }
    void _OnKilled(int code) override { killed = code; }

private:
    std::function<int(CTestThread&)> __body;
};

int UntilStopped(CTestThread& thread) {
    while (!thread._ShouldStop()) {
        TThread::Sleep(1);
    }
    return 5;
}

TEST(Thread, NeverCreatedThereIsNothingToWaitFor) {
    CTestThread thread(UntilStopped);
    EXPECT_TRUE(thread.TryWait());
    EXPECT_TRUE(thread.Wait());
    EXPECT_TRUE(thread.TryStop());
    thread.Kill(3);
    EXPECT_EQ(thread.killing, 0);
    EXPECT_EQ(MessageOf<threadExp>([&] { thread.Resume(); }), "TThread::Resume - invalid state: 0");
    EXPECT_EQ(MessageOf<threadExp>([&] { thread.Suspend(); }),
              "TThread::Suspend - invalid state: 0");
    std::bitset<1024> mask;
    const struct {
        const char* name;
        std::function<void()> call;
    } rows[] = {
        {"HasPendingIo", [&] { thread.HasPendingIo(); }},
        {"GetTimes", [&] { thread.GetTimes(nullptr, nullptr, nullptr); }},
        {"GetPriority", [&] { thread.GetPriority(); }},
        {"SetPriority", [&] { thread.SetPriority(TThread::NORMAL); }},
        {"GetSchdPolicy", [&] { thread.GetSchdPolicy(); }},
        {"SetSchdPolicy", [&] { thread.SetSchdPolicy(TThread::SCHD_OTHER); }},
        {"SetCpuAffinity", [&] { thread.SetCpuAffinity(mask, true); }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MessageOf<threadExp>(row.call),
                  std::string("TThread::") + row.name + " - invalid thread object");
    }
}

TEST(Thread, RunsAgainAfterItsEnd) {
    std::atomic<int> runs{0};
    CTestThread thread([&](CTestThread&) { return 10 + ++runs; });
    for (int round = 1; round <= 3; ++round) {
        thread.Create();
        EXPECT_EQ(thread.GetState(), TThread::SUSPENDED);
        EXPECT_FALSE(thread.Wait(1));
        thread.Run();
        EXPECT_TRUE(thread.Wait());
        EXPECT_EQ(thread.GetState(), TThread::ENDED);
        EXPECT_EQ(thread.GetExitCode(), 10 + round);
    }
}

TEST(Thread, CreateWaitsForALivingThread) {
    CTestThread thread([](CTestThread&) { return TThread::Sleep(30) ? 1 : 0; });
    thread.Start();
    thread.Create();
    EXPECT_EQ(thread.GetState(), TThread::SUSPENDED);
    EXPECT_FALSE(thread.TryStop());
}

TEST(Thread, AStopBeforeTheStartSkipsTheEntry) {
    std::atomic<bool> ran{false};
    CTestThread thread([&](CTestThread&) { return ran = true, 0; });
    thread.Create();
    EXPECT_FALSE(thread.TryStop());
    EXPECT_TRUE(thread.Wait());
    EXPECT_FALSE(ran);
    EXPECT_EQ(thread.GetState(), TThread::ENDED);
}

TEST(Thread, AKillBeforeTheStartSkipsTheEntry) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "they don't see that a wait is left when its thread is cancelled";
    }
    std::atomic<bool> ran{false};
    CTestThread thread([&](CTestThread&) { return ran = true, 0; });
    thread.Create();
    thread.Kill(5);
    EXPECT_TRUE(thread.Wait());
    EXPECT_FALSE(ran);
    EXPECT_EQ(thread.GetState(), TThread::KILLED);
    EXPECT_EQ(thread.GetExitCode(), 5);
}

TEST(Thread, StopIsARequest) {
    CTestThread thread(UntilStopped);
    thread.Start();
    thread.Run(); // a running thread stays as it is
    EXPECT_FALSE(thread.TryWait());
    while (!thread.TryStop()) {
        const std::string message = MessageOf<threadExp>([&] { thread.Suspend(); });
        EXPECT_TRUE(message == "TThread::Suspend - invalid state: 3" ||
                    message == "TThread::Suspend - invalid state: 4");
        thread.Wait(20);
    }
    EXPECT_TRUE(thread.Wait());
}

std::atomic<int> handlerCalls{0};

TEST(Thread, AnExceptionEndsTheThreadAloneAndIsTold) {
    const std::string line = "an exception has ended a thread: mine";
    const std::string failure =
        "an exception left the handler of uncaught exceptions: unknown system error";
    for (const bool hasLogger : {false, true}) {
        for (const bool areThrowing : {false, true}) {
            std::ostringstream stream;
            const CLog::LogHandle log(new CLog);
            if (hasLogger) {
                log->PushLogger(CLog::LoggerHandle(new CStreamLogger(stream)));
            }
            CLog::SetGlobal(log);
            handlerCalls = 0;
            TThread::SetUncaughtHandler(areThrowing ? []() -> void { ++handlerCalls, throw 1; }
                                                    : [] { ++handlerCalls; });
            CTestThread thread([](CTestThread&) -> int { throw threadExp(1, "mine"); });
            thread.isHookThrowing = areThrowing;
            testing::internal::CaptureStderr();
            thread.Start();
            EXPECT_TRUE(thread.Wait());
            const std::string onError = testing::internal::GetCapturedStderr();
            TThread::SetUncaughtHandler(nullptr);
            CLog::SetGlobal(CLog::LogHandle());
            EXPECT_EQ(thread.uncaught, 1);
            EXPECT_EQ(handlerCalls, 1);
            EXPECT_EQ(thread.GetState(), TThread::ENDED);
            EXPECT_EQ(thread.GetExitCode(), -1);
            if (hasLogger) {
                EXPECT_NE(stream.str().find("Error]   (util.trd)\n" + line), std::string::npos);
                EXPECT_EQ(onError, "");
            } else {
                const std::string more = areThrowing ? "[ERROR] " + failure + "\n" : "";
                EXPECT_EQ(onError, more + "[ERROR] " + line + "\n" + more);
            }
        }
    }
}

TEST(Thread, EndsByTheSystemsMeans) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "they don't see that a wait or frame is left when its thread is cancelled";
    }
    const auto asleep = [](CTestThread&) { return TThread::Sleep(60000) ? 1 : 2; };
    const struct {
        const char* what;
        int (*body)(CTestThread&);
        void (*end)(CTestThread&);
    } rows[] = {
        {"pthread_exit", [](CTestThread&) -> int { pthread_exit(nullptr); },
         [](CTestThread& thread) { thread.Run(); }},
        {"cancelled", asleep,
         [](CTestThread& thread) {
             thread.Run();
             pthread_cancel(thread.ToSysHandle());
         }},
        {"cancelled before its start", asleep,
         [](CTestThread& thread) { pthread_cancel(thread.ToSysHandle()); }},
    };
    for (const auto& row : rows) {
        for (const bool isDestroyed : {false, true}) {
            std::atomic<bool> isGone{false};
            auto* const thread = new CTestThread(row.body);
            thread->isGone = &isGone;
            thread->Create(isDestroyed);
            std::thread waiter([thread] { EXPECT_TRUE(thread->Wait(20000)); });
            TThread::Sleep(20);
            row.end(*thread);
            waiter.join();
            EXPECT_EQ(isGone, isDestroyed) << row.what;
            if (!isDestroyed) {
                EXPECT_EQ(thread->GetState(), TThread::KILLED) << row.what;
                EXPECT_EQ(thread->GetExitCode(), -1) << row.what;
                thread->Create(); // and it can be used again
                thread->Kill(3);
                EXPECT_EQ(thread->GetExitCode(), 3) << row.what;
                delete thread;
            }
        }
    }
}

TEST(Thread, ObjectMayGoAsSoonAsTheThreadHasEnded) {
    for (int round = 0; round != 300; ++round) {
        auto thread = std::make_unique<CTestThread>([](CTestThread&) { return 0; });
        thread->Create();
        thread->Run();
        while (!thread->TryWait()) {
            std::this_thread::yield();
        }
        thread.reset();
    }
}

TEST(Thread, DestroysItsOwnObjectBesideAWaiter) {
    auto content = std::make_shared<int>();
    const std::weak_ptr<int> alive(content);
    auto* thread = new CTestThread([content](CTestThread&) { return 0; });
    content.reset();
    thread->Create(true);
    std::atomic<bool> isWaiting{false};
    std::thread waiter([&] {
        isWaiting = true;
        EXPECT_TRUE(thread->Wait()); // the object goes before the event that this sleeps on
        EXPECT_TRUE(alive.expired());
    });
    Await(isWaiting);
    TThread::Sleep(20);
    thread->Run();
    waiter.join();
}

TEST(Thread, KillTellsWhatTheObjectsDestructorThrew) {
    if (QUIL_SANITIZED && !QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a wait is left when its thread is cancelled";
    }
    class CThrowing : public TThread {
    public:
        explicit CThrowing(void (*raise)()) : __raise(raise) {}
        ~CThrowing() noexcept(false) override { __raise(); }

    protected:
        int _Entry() override { return 0; }

    private:
        void (*__raise)();
    };
    const struct {
        void (*raise)();
        const char* nested;
    } rows[] = {{[] { throw dirExp(1, "mine"); }, "mine"},
                {[] { throw std::runtime_error("what"); }, "what"},
                {[] { throw 1; }, "unknown error"}};
    for (const auto& row : rows) {
        auto* const thread = new CThrowing(row.raise);
        thread->Create(true);
        EXPECT_EQ(MessageOf<threadExp>([&] { thread->Kill(0); }),
                  std::string("TThread::Kill - unexpected error on auto destroy\n@ ") + row.nested);
    }
}

TEST(Thread, KillUnwindsEvenThroughACatchAll) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "they don't see that a wait or frame is left when its thread is cancelled";
    }
    std::atomic<bool> isInside{false};
    std::atomic<bool> unwound{false};
    CTestThread thread([&](CTestThread&) {
        struct LOCAL {
            std::atomic<bool>& flag;
            ~LOCAL() { flag = true; }
        } const local{unwound};
        isInside = true;
        TThread::Sleep(60000);
        return 0;
    });
    thread.Start();
    Await(isInside);
    thread.Kill(42);
    EXPECT_TRUE(unwound);
    EXPECT_TRUE(thread.Wait());
    EXPECT_EQ(thread.GetState(), TThread::KILLED);
    EXPECT_EQ(thread.GetExitCode(), 42);
    EXPECT_EQ(thread.killing, 42);
    EXPECT_EQ(thread.killed, 42);
    EXPECT_EQ(thread.uncaught, 0);
}

TEST(Thread, KilledThreadStillWritesItsBlocks) {
    if (QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a cancelled thread's frames are gone";
    }
    const std::string path = testing::TempDir() + "quil-killed-" + std::to_string(getpid());
    std::atomic<bool> isHolding{false};
    CTestThread thread([&](CTestThread& self) {
        CSysFile file;
        file.Open(path.c_str(), CSysFile::ACCESS_WRITE, CSysFile::CREATE, 0, 0600, 0);
        CBufferedSeekableSink<CSysFile> sink(file, 100);
        file.Close(); // the sink is the only one to hold it
        sink.Write("kept", 4);
        isHolding = true;
        while (self.killed == 0) {
            TThread::SwitchToOther();
        }
        return 0; // through destructors that make system calls
    });
    thread.Start();
    Await(isHolding);
    thread.Kill(6);
    CSysFile file;
    file.Open(path.c_str(), CSysFile::ACCESS_READ, 0, 0, 0, 0);
    unlink(path.c_str());
    EXPECT_EQ(file.GetSize(), 4);
}

TEST(Thread, SuspendedThreadStandsStill) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "the thread sanitizer holds signals back, and forgets the thread's signal "
                        "mask when one comes inside another's handler";
    }
    std::atomic<long> steps{0};
    CTestThread thread([&](CTestThread& self) {
        while (!self._ShouldStop()) {
            ++steps;
        }
        return 0;
    });
    thread.Start();
    for (int round = 0; round != 20; ++round) {
        thread.Suspend();
        thread.Suspend();
        const long before = steps;
        TThread::Sleep(2);
        ASSERT_EQ(steps, before);
        thread.Resume();
        while (steps == before) {
            std::this_thread::yield();
        }
    }
}

TEST(Thread, MaySuspendItself) {
    CTestThread thread([](CTestThread& self) {
        self.Suspend();
        return 9;
    });
    thread.Start();
    while (thread.GetState() != TThread::SUSPENDED) {
        TThread::Sleep(1);
    }
    EXPECT_FALSE(thread.Wait(20));
    thread.Resume();
    EXPECT_TRUE(thread.Wait());
    EXPECT_EQ(thread.GetExitCode(), 9);
}

TEST(Thread, ASignalCutsASleepShort) {
    const auto before = std::signal(SIGUSR1, [](int) {});
    std::atomic<bool> isAsleep{false};
    CTestThread thread([&](CTestThread&) {
        isAsleep = true;
        return TThread::Sleep(60000) ? 1 : 2;
    });
    thread.Start();
    Await(isAsleep);
    do {
        pthread_kill(thread.ToSysHandle(), SIGUSR1);
    } while (!thread.Wait(20));
    EXPECT_EQ(thread.GetExitCode(), 2);
    std::signal(SIGUSR1, before);
}

TEST(Thread, TakesItsCachesAlong) {
    // What stayed behind would be reported by the leak checker.
    for (const bool isKilled : {false, true}) {
        if (isKilled && QUIL_SANITIZED) {
            continue; // they don't see that a wait or frame is left when its thread is cancelled
        }
        std::atomic<bool> isDone{false};
        CTestThread thread([&](CTestThread&) {
            EXPECT_TRUE(stringEx("xay").regex_match("a", 0, 0, false, false, true, false, false,
                                                    false, false));
            isDone = ConvStrSToW("text") == L"text";
            return isKilled && TThread::Sleep(60000) ? 1 : 0;
        });
        thread.Start();
        Await(isDone);
        if (isKilled) {
            thread.Kill(0);
        }
        thread.Wait();
    }
}

TEST(Thread, MayOutlastTheStaticsOfTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exitBesideAThread = [] {
        static std::atomic<bool> isWorking{false};
        auto* const thread = new CTestThread([](CTestThread&) -> int {
            for (;;) {
                stringEx("xay").regex_match("\\a", 0, 0, false, false, true, false, false, true,
                                            false);
                ConvStrSToW("text");
                isWorking = true;
            }
        });
        thread->Create(true);
        thread->Run();
        Await(isWorking);
        std::exit(7);
    };
    EXPECT_EXIT(exitBesideAThread(), testing::ExitedWithCode(7), "");
}

TEST(Thread, DoesNotWaitForItself) {
    {
        CTestThread thread([](CTestThread& self) {
            EXPECT_FALSE(self.Wait());
            EXPECT_EQ(MessageOf<threadExp>([&] { self.Create(); }),
                      "TThread::Create - a thread can't wait for itself");
            return 1;
        });
        thread.Start();
        EXPECT_TRUE(thread.Wait());
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exitOnAStaticThread = [] {
        alarm(20);
        static CTestThread exiting([](CTestThread&) -> int { std::exit(7); });
        exiting.Start();
        TThread::Sleep(60000);
    };
    EXPECT_EXIT(exitOnAStaticThread(), testing::ExitedWithCode(7), "");
}

TEST(Thread, TimesAndUSleep) {
    CTestThread thread([](CTestThread& self) {
        volatile unsigned long work = 0;
        while (!self._ShouldStop()) {
            work = work + 1;
        }
        return 0;
    });
    const CTime before = CTime::Now();
    thread.Start();
    CTime created;
    CTimeSpan system;
    CTimeSpan user;
    do {
        EXPECT_TRUE(TThread::USleep(CTimeSpan(2000)));
        thread.GetTimes(&created, &system, &user);
    } while (user == tsZERO);
    EXPECT_GE(created, before);
    EXPECT_GE(CTime::Now() - created, user);
}

TEST(Thread, SystemRefusalsAreTold) {
    CTestThread thread(UntilStopped);
    EXPECT_EQ(MessageOf<threadExp>([&] { thread.Create(false, 1000); }),
              "CThread_Imp::Create - failed set stack size attribute\n"
              "  error code = 22\n"
              "  error desc = invalid attr obj");
    EXPECT_EQ(MessageOf<threadExp>([&] { thread.Create(false, 1UL << 46); }),
              "CThread_Imp::Create - failed create thread\n"
              "  error code = 11\n"
              "  error desc = not enough system resource, or process limit has been exceeded");
    EXPECT_EQ(thread.GetState(), TThread::NOT_CREATED);
    EXPECT_TRUE(thread.Wait());
    thread.Create();
    std::bitset<1024> none;
    EXPECT_EQ(MessageOf<threadExp>([&] { thread.SetCpuAffinity(none, false); }).substr(0, 70),
              "CThread_Imp::_SetCpuAffinity - failed set cpu affinity mask\n  error co");
    std::bitset<1024> all;
    all.set();
    thread.SetCpuAffinity(all, true);
    EXPECT_GE(all.count(), 1U);
    EXPECT_LE(all.count(), TThread::GetOnlineCpuCount());
    EXPECT_LE(TThread::GetOnlineCpuCount(), TThread::GetCpuCount());
    EXPECT_LT(TThread::GetCurrentCpu(), TThread::GetCpuCount());
    EXPECT_EQ(thread.GetPriority(), TThread::NORMAL);
    EXPECT_EQ(thread.GetSchdPolicy(), TThread::SCHD_OTHER);
}

TEST(Thread, PoliciesAndPrioritiesReadBackOrAreRefused) {
    CTestThread thread([](CTestThread&) { return 0; });
    thread.Create(); // and it isn't run before it is an ordinary thread again
    sched_param lowest{};
    lowest.sched_priority = sched_get_priority_min(SCHED_FIFO);
    const bool isAllowed = pthread_setschedparam(thread.ToSysHandle(), SCHED_FIFO, &lowest) == 0;
    EXPECT_EQ(isAllowed, thread.GetSchdPolicy() == TThread::SCHD_FIFO);
    for (const auto policy : {TThread::SCHD_ROUND_ROBIN, TThread::SCHD_FIFO}) {
        const std::string message = MessageOf<threadExp>([&] { thread.SetSchdPolicy(policy); });
        if (!isAllowed) {
            EXPECT_EQ(message,
                      "CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n"
                      "  error code = 1\n"
                      "  error desc = permission denied or modify one of the parameters is not "
                      "allowed\n"
                      "  sched type = " +
                          std::to_string(policy == TThread::SCHD_FIFO ? SCHED_FIFO : SCHED_RR));
            continue;
        }
        EXPECT_EQ(message, "nothing thrown");
        EXPECT_EQ(thread.GetSchdPolicy(), policy);
        EXPECT_EQ(thread.GetPriority(), TThread::NORMAL);
        int last = 0;
        for (int priority = TThread::LOWEST; priority <= TThread::HIGHEST; ++priority) {
            thread.SetPriority(static_cast<TThread::PRIORITY>(priority));
            EXPECT_EQ(thread.GetPriority(), priority);
            int systemPolicy = 0;
            sched_param param{};
            pthread_getschedparam(thread.ToSysHandle(), &systemPolicy, &param);
            EXPECT_GT(param.sched_priority, last);
            last = param.sched_priority;
        }
        EXPECT_EQ(last, sched_get_priority_max(SCHED_FIFO));
    }
    thread.SetSchdPolicy(TThread::SCHD_OTHER);
    thread.SetPriority(TThread::HIGHEST); // this policy has but one
    EXPECT_EQ(thread.GetPriority(), TThread::NORMAL);
    thread.Run();
}

TEST(Thread, CpuMasks) {
    const struct {
        const char* text;
        const char* bits; // of processors 0 to 7, or null if refused
    } cases[] = {{"0", "10000000"}, {"0,2-4", "10111000"}, {"7,1", "01000001"}, {"", nullptr},
                 {"1-", nullptr},   {"3,", nullptr},       {"a", nullptr},      {"-1", nullptr},
                 {"1024", nullptr}, {"4-2", nullptr},      {"1 ", nullptr}};
    for (const auto& test : cases) {
        std::bitset<1024> mask;
        mask.set(9);
        const bool isRead = TThread::StrToCpuMask(mask, test.text);
        EXPECT_EQ(isRead, test.bits != nullptr) << test.text;
        EXPECT_EQ(mask.test(9), !isRead) << test.text;
        for (std::size_t cpu = 0; isRead && cpu != 8; ++cpu) {
            EXPECT_EQ(mask.test(cpu), test.bits[cpu] == '1') << test.text << " cpu " << cpu;
        }
    }
}

TEST(TlsSlot, EachThreadHasItsOwnValue) {
    CTlsSlot slot;
    int mine = 0;
    slot.SetValue(&mine);
    std::thread([&] {
        EXPECT_EQ(slot.GetValue(), nullptr);
        int theirs = 0;
        slot.SetValue(&theirs);
    }).join();
    EXPECT_EQ(slot.GetValue(), &mine);
}

TEST(TlsSlot, AKeyThatSomebodyDeletedIsTold) {
    pthread_key_t next = 0;
    ASSERT_EQ(pthread_key_create(&next, nullptr), 0);
    pthread_key_delete(next);
    auto* const slot = new CTlsSlot; // takes the key that became free
    ASSERT_EQ(pthread_key_delete(next), 0);
    const std::string cause = "  error code = 22\n  error desc = the handle (key) value is invalid";
    int value = 0;
    EXPECT_EQ(MessageOf<tlsExp>([&] { slot->SetValue(&value); }),
              "CTlsSlot::SetValue - failed set tls value\n" + cause);
    EXPECT_EQ(MessageOf<tlsExp>([&] { delete slot; }),
              "CTlsSlot::~CTlsSlot - failed delete tls slot\n" + cause);
}

TEST(TlsSlot, TheSystemHasOnlySoMany) {
    std::vector<std::unique_ptr<CTlsSlot>> slots;
    const std::string message = MessageOf<tlsExp>([&] {
        for (int i = 0; i != 1025; ++i) {
            slots.push_back(std::make_unique<CTlsSlot>());
        }
    });
    EXPECT_EQ(message, "CTlsSlot::CTlsSlot - failed create tls slot\n"
                       "  error code = 11\n"
                       "  error desc = no necessary resources or process limit reached");
}

} // namespace

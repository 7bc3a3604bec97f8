// The log: layout, threshold, loggers that misbehave, and the mode with a thread of its own.
#include "tests/sys/await.h"
#include "tests/sys/child.h"
#include "tests/sys/message_of.h"
#include "util/base/sanitizer.h"
#include "util/file/FileLogger.h"
#include "util/file/sysfile.h"
#include "util/sys/errhdl.h"
#include "util/sys/log.h"
#include "util/sys/thread.h"
#include "util/sys/time.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace Quil;
using TEST::Await;
using TEST::MessageOf;

/// Keeps what it gets, and then does what the test says.
class CKeepingLogger : public ILogger {
public:
    explicit CKeepingLogger(std::function<void(const std::string&)> then = nullptr)
        : __then(std::move(then)) {}

    void OnLogMsg(const CTime&, CLog::LEVEL, const stringEx&, const stringEx& message) override {
        std::string text(message.data(), message.length());
        {
            const std::lock_guard lock(__mutex);
            __messages.push_back(text);
        }
        if (__then) {
            __then(text);
        }
    }
    std::vector<std::string> Messages() const {
        const std::lock_guard lock(__mutex);
        return __messages;
    }

private:
    std::function<void(const std::string&)> __then;
    mutable std::mutex __mutex;
    std::vector<std::string> __messages;
};

using Texts = std::vector<std::string>;

/// Pushes a logger and keeps looking at it.
CKeepingLogger& Push(CLog& log, std::function<void(const std::string&)> then = nullptr) {
    auto* const logger = new CKeepingLogger(std::move(then));
    log.PushLogger(CLog::LoggerHandle(logger));
    return *logger;
}

class CFilter : public ILogFilter {
public:
    explicit CFilter(std::function<bool(const stringEx&)> isPassed)
        : __isPassed(std::move(isPassed)) {}
    bool IsPassed(const CTime&, CLog::LEVEL, const stringEx&, const stringEx& message) override {
        return __isPassed(message);
    }

private:
    std::function<bool(const stringEx&)> __isPassed;
};

TEST(Log, StreamAndFileShareTheLayout) {
    CTime::SetLocalTimeZone_(480);
    const CTime time(1260664205000123);
    std::ostringstream stream;
    CStreamLogger(stream).OnLogMsg(time, CLog::LEVEL_INFO, "mod", "100% of\ntwo lines");
    CStreamLogger(stream).OnLogMsg(time, CLog::LEVEL_DISABLED, "mod", "");
    const std::string expected = "[2009-12-13 08:30:05.000123 UTC+0800][Info]    (mod)\n"
                                 "100% of\ntwo lines\n\n"
                                 "[2009-12-13 08:30:05.000123 UTC+0800][Unknown] (mod)\n\n\n";
    EXPECT_EQ(stream.str(), expected);

    const std::string path = testing::TempDir() + "quil-log-" + std::to_string(getpid());
    {
        CSysFile file;
        file.Open(stringEx(path.c_str()), CSysFile::ACCESS_WRITE, CSysFile::CREATE, 0, 0600, 0);
        CFileLogger<CSysFile> logger(file);
        logger.OnLogMsg(time, CLog::LEVEL_INFO, "mod", "100% of\ntwo lines");
        logger.OnLogMsg(time, CLog::LEVEL_DISABLED, "mod", "");
        logger.Flush();
    }
    std::ifstream written(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), expected);
    unlink(path.c_str());
    CTime::RefreshLocalTimeZone();
}

TEST(Log, NamesOfTheLevels) {
    std::string names;
    for (int level = CLog::LEVEL_DEBUG; level <= CLog::LEVEL_DISABLED + 1; ++level) {
        names += std::string(CLog::LevelToStr(static_cast<CLog::LEVEL>(level)).c_str()) + "; ";
    }
    EXPECT_EQ(names, "debug only; info; warning; error; important notes; fatal error; disabled; "
                     "unknown; ");
}

TEST(Log, AFailedDestinationIsNobodyElsesTrouble) {
    struct FAILING : std::stringbuf {
        int sync() override { throw 1; }
    } buffer;
    std::ostream stream(&buffer);
    stream.exceptions(std::ios::badbit);
    CStreamLogger(stream).Flush();
    EXPECT_TRUE(stream.bad());

    CSysFile full;
    full.Open("/dev/full", CSysFile::ACCESS_WRITE, 0, 0, 0, 0);
    CSysFile closed;
    const CTime time;
    EXPECT_THROW(CFileLogger<CSysFile>(full).OnLogMsg(time, CLog::LEVEL_INFO, "m", "text"),
                 sysfileExp);
    CLog log;
    log.PushLogger(CLog::LoggerHandle(new CFileLogger<CSysFile>(full)));
    log.PushLogger(CLog::LoggerHandle(new CFileLogger<CSysFile>(closed)));
    const CKeepingLogger& after = Push(log);
    log.LogInfoMsg(stringEx("m"), stringEx("text"));
    log.LogFlush();
    EXPECT_EQ(after.Messages(), (Texts{"text"}));
}

TEST(Log, ThresholdLetsEqualLevelsPass) {
    const struct {
        CLog::LEVEL threshold;
        Texts passed;
    } cases[] = {{CLog::LEVEL_DEBUG, {"1", "2", "5%"}},
                 {CLog::LEVEL_WARNING, {"2", "5%"}},
                 {CLog::LEVEL_FATAL, {"5%"}},
                 {CLog::LEVEL_DISABLED, {}}};
    for (const auto& test : cases) {
        CLog log(test.threshold);
        const CKeepingLogger& logger = Push(log);
        log.LogInfoMsg("m", "%d", 1);
        log.LogWarningMsg(stringEx("m"), stringEx("2"));
        log.LogMsg(CLog::LEVEL_FATAL, "m", "%d%%", 5);
        log.LogMsg(CLog::LEVEL_DISABLED, stringEx("m"), stringEx("6"));
        Texts passed = test.passed;
        if (test.threshold != CLog::LEVEL_DISABLED) {
            passed.push_back("6");
        }
        EXPECT_EQ(logger.Messages(), passed) << test.threshold;
    }
}

TEST(Log, FailuresOfLoggersAndFiltersStayThere) {
    CLog log;
    Push(log, [](const std::string&) { throw 1; });
    const CKeepingLogger& after = Push(log);
    log.SetFilter(CLog::FilterHandle(new CFilter([](const stringEx& message) -> bool {
        return message == "throw" ? throw 2 : message != "drop";
    })));
    for (const char* text : {"keep", "drop", "throw"}) {
        log.LogInfoMsg(stringEx("m"), stringEx(text));
    }
    EXPECT_EQ(after.Messages(), (Texts{"keep", "throw"}));
}

TEST(Log, PushAndPopRefuse) {
    CLog log;
    EXPECT_EQ(MessageOf<logExp>([&] { log.PushLogger(CLog::LoggerHandle()); }),
              "CLog::PushLogger - invalid logger handle");
    EXPECT_EQ(MessageOf<logExp>([&] { log.ResetAllLoggers({CLog::LoggerHandle()}); }),
              "CLog::PushLogger - invalid logger handle");
    EXPECT_EQ(MessageOf<auxExp>([&] { log.PopLogger(); }), "CLog::PopLogger - nothing to pop");
    Push(log);
    const CLog::LoggerHandle last = log.PopLogger();
    EXPECT_FALSE(log.HasLogger());
    EXPECT_FALSE(log.RemoveLogger(last));
    log.ResetAllLoggers({last, last});
    EXPECT_EQ(log.GetLoggerCount(), 2U);
    EXPECT_TRUE(log.RemoveLogger(last));
    EXPECT_TRUE(log.IsLoggerExist(last));
}

TEST(Log, ALoggerMayPopItself) {
    CLog log;
    Push(log, [&](const std::string&) { log.PopLogger(); });
    log.LogInfoMsg(stringEx("m"), stringEx("once"));
    log.LogInfoMsg(stringEx("m"), stringEx("twice"));
    EXPECT_FALSE(log.HasLogger());
}

class CModes : public testing::TestWithParam<bool> {};

TEST_P(CModes, ManyThreadsNestedLoggingAndModeSwitchesLoseNothing) {
    constexpr int perThread = 500;
    constexpr int threadCount = 4;
    CLog log(CLog::LEVEL_DEBUG, 3);
    CKeepingLogger& logger = Push(log, [&](const std::string& text) {
        if (text.front() == 'm') {
            log.LogInfoMsg(stringEx("m"), stringEx(("n" + text).c_str()));
        }
        log.LogFlush();
    });
    log.EnableNoneBlockingMode(GetParam());
    std::atomic<int> running{threadCount};
    std::vector<std::thread> threads;
    for (int thread = 0; thread != threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i != perThread; ++i) {
                log.LogInfoMsg("m", "m%d:%d", thread, i);
            }
            log.LogFlush();
            const Texts out = logger.Messages();
            const std::string own = "m" + std::to_string(thread) + ":";
            EXPECT_EQ(std::ranges::count_if(
                          out, [&](const std::string& text) { return text.starts_with(own); }),
                      perThread);
            --running;
        });
    }
    for (bool enable = false; running != 0; enable = !enable) {
        log.EnableNoneBlockingMode(enable);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    log.EnableNoneBlockingMode(false);
    EXPECT_EQ(logger.Messages().size(), 2U * perThread * threadCount);
    // Each thread's own messages are in order.
    std::vector<int> next(threadCount);
    for (const std::string& text : logger.Messages()) {
        if (text.front() == 'm') {
            const auto thread = static_cast<std::size_t>(text[1] - '0');
            ASSERT_EQ(std::stoi(text.substr(3)), next[thread]++);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Log, CModes, testing::Bool());

TEST(Log, LeavingTheModeWritesAllThatIsQueued) {
    for (int round = 0; round != 200; ++round) {
        CLog log;
        const CKeepingLogger& logger = Push(log);
        log.EnableNoneBlockingMode(true, 5);
        log.LogInfoMsg(stringEx("m"), stringEx("one"));
        log.EnableNoneBlockingMode(false);
        ASSERT_EQ(logger.Messages().size(), 1U) << "round " << round;
        log.LogInfoMsg(stringEx("m"), stringEx("two"));
        ASSERT_EQ(logger.Messages().size(), 2U);
    }
}

TEST(Log, ABurstThroughAQueueOfOne) {
    CLog log;
    const CKeepingLogger& logger = Push(log);
    log.EnableNoneBlockingMode(true, 1);
    log.LogFlush(); // nothing was ever queued
    for (int i = 0; i != 3000; ++i) {
        log.LogInfoMsg("m", "%d", i);
    }
    log.LogFlush();
    EXPECT_EQ(logger.Messages().size(), 3000U);
}

TEST(Log, AFullQueueHoldsItsCallersBack) {
    CLog log(CLog::LEVEL_DEBUG, 1);
    std::atomic<bool> mayGo{false};
    std::atomic<bool> isInside{false};
    const CKeepingLogger& logger = Push(log, [&](const std::string&) {
        isInside = true;
        Await(mayGo);
    });
    log.EnableNoneBlockingMode(true);
    log.LogInfoMsg(stringEx("m"), stringEx("in work"));
    Await(isInside);
    log.LogInfoMsg(stringEx("m"), stringEx("queued"));
    std::atomic<bool> isQueued{false};
    std::thread caller([&] {
        log.LogInfoMsg(stringEx("m"), stringEx("waits"));
        isQueued = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(isQueued);
    mayGo = true;
    caller.join();
    log.LogFlush();
    EXPECT_EQ(logger.Messages(), (Texts{"in work", "queued", "waits"}));
}

TEST(Log, OutlivesACallerThatIsCancelled) {
    if (QUIL_ADDRESS_SANITIZED) {
        GTEST_SKIP() << "it doesn't see that a cancelled thread's frames are gone";
    }
    CLog log(CLog::LEVEL_DEBUG, 1);
    std::atomic<bool> mayGo{false};
    const CKeepingLogger& logger = Push(log, [&](const std::string&) { Await(mayGo); });
    log.EnableNoneBlockingMode(true);
    TEST::CancelIn(
        [&] {
            for (int i = 0; i != 10; ++i) { // until the queue is full
                log.LogInfoMsg("m", "%d", i);
            }
        },
        [] {});
    mayGo = true;
    log.LogInfoMsg(stringEx("m"), stringEx("after"));
    log.LogFlush();
    const Texts messages = logger.Messages();
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages.back(), "after");
}

TEST(Log, ALoggerCantChangeTheModeNorHangInIt) {
    for (const bool isBlocking : {true, false}) {
        CLog log(CLog::LEVEL_DEBUG, 1);
        const CKeepingLogger& logger = Push(log, [&](const std::string& text) {
            if (text.front() != 'n') {
                log.EnableNoneBlockingMode(isBlocking);
                log.Pause();
                log.LogFlush();
                for (int i = 0; i != 3; ++i) {
                    log.LogFatalMsg("m", "n%d", i);
                }
            }
        });
        log.EnableNoneBlockingMode(!isBlocking);
        log.LogInfoMsg(stringEx("m"), stringEx("1"));
        log.LogInfoMsg(stringEx("m"), stringEx("2"));
        log.LogFlush();
        EXPECT_EQ(log.IsInNoneBlockingMode(), !isBlocking);
        EXPECT_EQ(logger.Messages(), (Texts{"1", "n0", "n1", "n2", "2", "n0", "n1", "n2"}));
    }
}

TEST(Log, APauseHoldsTheOutputBack) {
    CLog log;
    const CKeepingLogger& logger = Push(log);
    log.EnableNoneBlockingMode(true, 10);
    log.Pause();
    for (const char* text : {"1", "2", "3"}) {
        log.LogInfoMsg(stringEx("m"), stringEx(text));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(logger.Messages().empty());
    log.Continue();
    log.LogFlush();
    EXPECT_EQ(logger.Messages(), (Texts{"1", "2", "3"}));
    log.Pause();
    log.LogInfoMsg(stringEx("m"), stringEx("4"));
    log.LogFlush(); // ends the pause
    EXPECT_EQ(logger.Messages().size(), 4U);
    log.Pause();
    log.LogInfoMsg(stringEx("m"), stringEx("5"));
    log.LogFatalMsg(stringEx("m"), stringEx("6")); // and so does this
    while (logger.Messages().size() != 6U) {
        std::this_thread::yield();
    }
    log.Pause();
    log.LogInfoMsg(stringEx("m"), stringEx("7"));
    log.EnableNoneBlockingMode(false); // and this
    EXPECT_EQ(logger.Messages().size(), 7U);
}

TEST(Log, GlobalMayBeReplacedUnderLoad) {
    std::atomic<int> written{0};
    const auto make = [&] {
        const CLog::LogHandle log(new CLog(CLog::LEVEL_DEBUG, 2));
        Push(*log, [&](const std::string&) { ++written; });
        log->EnableNoneBlockingMode(true);
        return log;
    };
    CLog::SetGlobal(make());
    std::thread writer([] {
        for (int i = 0; i != 2000; ++i) {
            CLog::InfoMsg("m", "%d", i);
        }
    });
    for (int i = 0; i != 50; ++i) {
        CLog::SetGlobal(make());
    }
    writer.join();
    CLog::SetGlobal(CLog::LogHandle());
    EXPECT_EQ(written, 2000);
    CLog::Msg(CLog::LEVEL_FATAL, stringEx("m"), stringEx("to nobody"));
    EXPECT_EQ(written, 2000);
}

TEST(Log, MayGoWhileItsOwnThreadIsInALogger) {
    std::atomic<int> written{0};
    auto log = std::make_unique<CLog>(CLog::LEVEL_DEBUG, 10);
    CLog* const raw = log.get();
    std::atomic<bool> mayGo{false};
    Push(*raw, [&](const std::string& text) {
        Await(mayGo);
        if (text == "0") {
            log.reset();
        }
        ++written;
    });
    raw->EnableNoneBlockingMode(true);
    for (int i = 0; i != 5; ++i) {
        raw->LogInfoMsg("m", "%d", i);
    }
    mayGo = true;
    for (int i = 0; i != 5000 && written != 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(written, 5);
}

TEST(Log, ExitWritesWhatIsQueued) {
    static CLog::LogHandle kept; // by somebody who doesn't release it
    const auto queueFive = [] {
        kept = CLog::GetGlobal();
        kept->EnableNoneBlockingMode(true, 10);
        kept->Pause();
        for (int i = 0; i != 5; ++i) {
            kept->LogInfoMsg("m", "%d", i);
        }
    };
    const TEST::ENDING ending = TEST::InChild([&] {
        queueFive();
        std::exit(7);
    });
    const TEST::ENDING inLogger = TEST::InChild(
        [&] {
            queueFive();
            kept->Continue();
            TThread::Sleep(60000);
        },
        [] {
            static bool isFirst = true;
            if (std::exchange(isFirst, false)) {
                std::exit(8);
            }
        });
    const std::string all = "m: 0\nm: 1\nm: 2\nm: 3\nm: 4\n";
    EXPECT_EQ(ending.status, 7);
    EXPECT_EQ(ending.log, all);
    EXPECT_EQ(inLogger.status, 8);
    EXPECT_EQ(inLogger.log, all);
}

TEST(Log, AForkedChildWritesDirectly) {
    static std::atomic<bool> isInside{false};
    static std::atomic<bool> mayGo{false};
    for (const bool isFlushed : {false, true}) {
        for (const bool isInOutput : {false, true}) {
            isInside = false;
            mayGo = !isInOutput;
            const TEST::ENDING ending = TEST::InChild(
                [=] {
                    const CLog::LogHandle log = CLog::GetGlobal();
                    log->EnableNoneBlockingMode(true, 2);
                    if (isInOutput) {
                        log->LogInfoMsg(stringEx("parent"), stringEx("0"));
                        Await(isInside);
                    } else {
                        log->Pause();
                    }
                    log->LogInfoMsg(stringEx("parent"), stringEx("1"));
                    const pid_t child = fork();
                    if (child == 0) {
                        alarm(20);
                        mayGo = true;
                        for (int i = 0; i != 4; ++i) { // more than the queue takes
                            CLog::FatalMsg("child", "%d", i);
                        }
                        isFlushed ? CLog::Flush() : CLog::SetGlobal(CLog::LogHandle());
                        if (QUIL_ADDRESS_SANITIZED) {
                            _exit(7); // what the parent's thread held counts as a leak here
                        }
                        std::exit(7);
                    }
                    int status = 0;
                    waitpid(child, &status, 0);
                    mayGo = true;
                    log->LogFlush();
                    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
                },
                [] {
                    isInside = true;
                    Await(mayGo);
                });
            EXPECT_EQ(ending.status, 7);
            EXPECT_EQ(ending.log, std::string(isInOutput ? "parent: 0\n" : "") +
                                      "child: 0\nchild: 1\nchild: 2\nchild: 3\nparent: 1\n");
        }
    }
}

} // namespace

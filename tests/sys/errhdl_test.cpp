// Exceptions and the net below them. Handlers end the process, so they are met in children.
#include "tests/sys/child.h"
#include "tests/sys/message_of.h"
#include "util/base/sanitizer.h"
#include "util/file/sysfile.h"
#include "util/sys/errhdl.h"
#include "util/sys/error/signal_code.h"
#include "util/sys/log.h"
#include "util/sys/thread.h"
#include "util/sys/time.h"
#include "util/text/wstringEx.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Quil;
using TEST::ENDING;
using TEST::InChild;

TEST(ErrorFamily, MessageOutlivesWhatItWasAViewOf) {
    char text[] = "message";
    const dirExp failure(19, stringEx(text, stringEx::NOT_OWNER()));
    std::memset(text, 'x', sizeof text - 1);
    EXPECT_EQ(failure.GetErrString(), "message");
    EXPECT_EQ(failure.GetErrCode(), 19U);
}

TEST(SysError, HasTheSystemsWords) {
    for (const int code : {ENOENT, 9999}) {
        // A copy: the C library keeps the words of an unknown number only until it is asked again.
        const stringEx words(std::strerror(code));
        EXPECT_EQ(GetSysErrString(static_cast<unsigned long>(code)), words);
        EXPECT_EQ(GetSysErrStringW(static_cast<unsigned long>(code)).to_str(), words);
    }
    errno = EDOM;
    EXPECT_EQ(GetSysLastError(), static_cast<unsigned long>(EDOM));
}

TEST(Guards, InstallOnce) {
    using Guard = IMPL::impInitGuardForQuilUtilErrHdlDepend;
    const auto previous = std::signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(previous, SIG_IGN);
    {
        const Guard another;
        EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL);
    }
    util_ResetOsErrHdl();
    EXPECT_EQ(std::signal(SIGPIPE, SIG_IGN), SIG_IGN);
}

TEST(SignalText, ByRecord) {
    const struct {
        int number;
        int code;
        const char* lines;
    } cases[] = {
        {SIGSEGV, 128,
         "invalid memory reference\n  signal number   = 0xB\n"
         "  reason code     = Unknown Reason (128)\n"},
        {SIGFPE, 3,
         "arithmetic exception\n  signal number   = 0x8\n"
         "  reason code     = Unknown Reason (3)\n"},
        {SIGFPE, 8,
         "arithmetic exception\n  signal number   = 0x8\n"
         "  reason code     = Subscript out of range (8)\n"},
        {SIGTRAP, 1,
         "a breakpoint has reached\n  signal number   = 0x5\n  reason code     = none (1)\n"},
        {SIGSYS, 1, "invalid system call\n  signal number   = 0x1F\n  reason code     =  (1)\n"},
        {SIGTERM, -6,
         "unknown system error\n  signal number   = 0xF\n  reason code     = unknown (-6)\n"},
    };
    for (const auto& test : cases) {
        siginfo_t info{};
        info.si_signo = test.number;
        info.si_code = test.code;
        EXPECT_EQ(IMPL::ParseSigCode(&info, nullptr),
                  (std::string(test.lines) + "  error number    = Success (0)\n"
                                             "  roughly address = (nil)\n"
                                             "  thread context  = (nil)")
                      .c_str());
    }
}

// --- Children ------------------------------------------------------------------------------------

constexpr int FATAL = 255;

void Crash() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

std::size_t Count(const std::string& text, const char* part) {
    std::size_t count = 0;
    for (std::size_t pos = text.find(part); pos != std::string::npos;
         pos = text.find(part, pos + 1)) {
        ++count;
    }
    return count;
}

volatile char sink;

// NOLINTNEXTLINE(misc-no-recursion): it is here to fill the stack
int FillStack(int depth) {
    char room[4096];
    std::memset(room, depth, sizeof room);
    sink = room[depth % 4096];
    return depth < 0 ? 0 : FillStack(depth + 1) + sink;
}

class CrashSignals : public testing::Test {
protected:
    void SetUp() override {
        if (QUIL_SANITIZED) {
            GTEST_SKIP() << "the sanitizer takes the signals";
        }
    }
};

class CDeepThread : public TThread {
public:
    ~CDeepThread() override { Wait(); }

protected:
    int _Entry() override { return FillStack(0); }
};

TEST_F(CrashSignals, AreLoggedOnceAndEndWithMinusOne) {
    const std::string told = "util.errhnd: unrecoverable underlaying error ocurred: ";
    const std::string memory = "invalid memory reference\n  signal number   = 0xB\n";
    const struct {
        void (*deed)();
        std::string log; ///< its beginning
    } rows[] = {
        {Crash, told + memory + "  reason code     = Address not mapped to object (1)\n"},
#ifdef __x86_64__ // elsewhere such a division has a result
        {[] {
             volatile int zero = 0;
             volatile int one = 1;
             sink = static_cast<char>(one / zero);
         },
         told + "arithmetic exception\n  signal number   = 0x8\n"
                "  reason code     = Integer divide by zero (1)\n"},
#endif
        {[] { FillStack(0); }, told + memory},
        {[] {
             CDeepThread thread;
             thread.Create();
             thread.Run();
             thread.Wait();
         },
         told + memory},
        {[] {
             CLog::SetGlobal(CLog::LogHandle()); // without a logger the end is silent
             Crash();
         },
         ""},
    };
    for (const auto& row : rows) {
        const ENDING ending = InChild(row.deed);
        EXPECT_EQ(ending.status, FATAL) << row.log;
        EXPECT_TRUE(ending.log.starts_with(row.log)) << ending.log;
        EXPECT_EQ(Count(ending.log, "unrecoverable"), row.log.empty() ? 0U : 1U);
    }
}

TEST_F(CrashSignals, ASecondFaultEndsAtOnce) {
    const ENDING ending = InChild(Crash, Crash);
    EXPECT_EQ(ending.status, FATAL);
    EXPECT_EQ(Count(ending.log, "unrecoverable"), 1U);
    // A crash inside a logger, in either mode: its own log takes the report.
    for (const bool isBlocking : {true, false}) {
        const ENDING inLogger = InChild(
            [isBlocking] {
                CLog::GetGlobal()->EnableNoneBlockingMode(!isBlocking, 1);
                CLog::InfoMsg(stringEx("m"), stringEx("first"));
                TThread::Sleep(5000);
            },
            [] {
                static bool isFirst = true;
                if (std::exchange(isFirst, false)) {
                    Crash();
                }
            });
        EXPECT_EQ(inLogger.status, FATAL);
        EXPECT_EQ(Count(inLogger.log, "unrecoverable"), 1U);
    }
}

void Throw() {
    throw dirExp(1, "lost");
}

TEST(FatalHandlers, ExceptionsThatNobodyCatchesOrExpects) {
    const std::string terminated =
        "util.errhnd: process has been terminated in an unexpected way\n";
    const std::string unexpected =
        "util.errhnd: an unexpected exception has occured, process aborted\n@ ";
    const auto raised = [](void (*raise)()) {
        return [raise] {
            try {
                raise();
            } catch (...) {
                IMPL::UnexpectHandler();
            }
        };
    };
    const struct {
        std::function<void()> deed;
        std::function<void()> then; ///< what the logger does
        std::string log;
    } rows[] = {
        {[]() noexcept { Throw(); }, nullptr, terminated},
        {std::terminate, std::terminate, terminated},
        {raised([] { throw dirExp(1, "100% lost"); }), nullptr, unexpected + "100% lost\n"},
        {raised([] { throw std::runtime_error("what"); }), nullptr, unexpected + "what\n"},
        {raised([] { throw 1; }), nullptr, unexpected + "unknown system error\n"},
    };
    for (const auto& row : rows) {
        const ENDING ending = InChild(row.deed, row.then);
        EXPECT_EQ(ending.status, FATAL) << row.log;
        EXPECT_EQ(ending.log, row.log);
    }
}

void LimitMemory() {
    constexpr rlim_t room = 256UL << 20;
    const rlimit limit{room, room};
    setrlimit(RLIMIT_AS, &limit);
}

/// Until there is none left, be it for a small block.
void TakeByNew() {
    LimitMemory();
    char* volatile kept = nullptr; // or a compiler may leave the allocations out
    for (;;) {
        kept = new (std::nothrow) char[1000];
        kept[0] = 1;
    }
}

/// Nothing is left when the queue needs room: the handler runs within a push.
void TakeAllAndLog() {
    const CLog::LogHandle log = CLog::GetGlobal();
    log->EnableNoneBlockingMode(true, 1);
    const stringEx text("x");
    log->LogInfoMsg(text, text);
    log->LogFlush();
    LimitMemory();
    for (std::size_t size = 1 << 20; size >= sizeof(int);) {
        char* volatile const kept = static_cast<char*>(std::malloc(size));
        size /= kept != nullptr ? 1 : 2;
    }
    for (;;) {
        log->LogInfoMsg(text, text);
    }
}

TEST(FatalHandlers, NoMemoryForNew) {
    if (QUIL_SANITIZED) {
        GTEST_SKIP() << "the sanitizer's own allocation doesn't call the handler";
    }
    for (void (*const take)() : {TakeByNew, TakeAllAndLog}) {
        const ENDING ending = InChild(take);
        EXPECT_EQ(ending.status, FATAL);
        EXPECT_TRUE(ending.log.ends_with("util.errhnd: not enough memory, process aborted\n"))
            << ending.log;
    }
}

/// Never comes back from what the log asks of it.
class CStuckLogger : public ILogger {
public:
    void OnLogMsg(const CTime&, CLog::LEVEL, const stringEx&, const stringEx&) override { Flush(); }
    void Flush() override {
        for (;;) {
            pause();
        }
    }
};

TEST(FatalHandlers, EndBesideAStuckLogger) {
    const std::function<void()> ends[] = {IMPL::NewHandler, IMPL::TerminateHandler,
                                          IMPL::UnexpectHandler, [] { util_FatalExit(true); }};
    enum { STUCK_HERE, STUCK_IN_A_CALLER, STUCK_IN_THE_QUEUE, SINK_COUNT };
    std::vector<pid_t> children; // all at once, since each may take its seconds
    for (const auto& end : ends) {
        for (int sink = STUCK_HERE; sink != SINK_COUNT; ++sink) {
            const pid_t child = fork();
            if (child == 0) {
                alarm(30);
                const CLog::LogHandle log(new CLog);
                log->PushLogger(CLog::LoggerHandle(new CStuckLogger));
                CLog::SetGlobal(log);
                log->EnableNoneBlockingMode(sink == STUCK_IN_THE_QUEUE);
                const auto say = [] { CLog::InfoMsg(stringEx("m"), stringEx("x")); };
                if (sink == STUCK_IN_A_CALLER) {
                    std::thread(say).detach();
                } else if (sink == STUCK_IN_THE_QUEUE) {
                    say();
                }
                TThread::Sleep(100);
                end();
            }
            children.push_back(child);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == FATAL) << child - children.front();
    }
}

TEST(FatalHandlers, FatalExitRunsNothing) {
    const ENDING ending = InChild([] {
        std::atexit([] { _exit(3); });
        util_FatalExit(true);
    });
    EXPECT_EQ(ending.status, FATAL);
}

TEST(FatalHandlers, AClosedPipeIsAnOrdinaryError) {
    const std::string path = testing::TempDir() + "quil-pipe-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    CSysFile reader;
    reader.Open(path.c_str(), CSysFile::ACCESS_READ, O_NONBLOCK, 0, 0, 0);
    CSysFile writer;
    writer.Open(path.c_str(), CSysFile::ACCESS_WRITE, 0, 0, 0, 0);
    unlink(path.c_str());
    EXPECT_EQ(writer.Write("x", 1), 1U);
    reader.Close();
    EXPECT_EQ(TEST::MessageOf<sysfileExp>([&] { writer.Write("x", 1); }),
              "CSysFile::Write - failed write file\n  file path  = " + path +
                  "\n  error code = 32\n  error desc = nobody reads from the pipe or socket");
}

TEST(FatalHandlers, UserSignalsAreIgnoredEachOnItsFlag) {
    for (const bool first : {true, false}) {
        for (const bool second : {true, false}) {
            const auto raised = [&](int number) {
                return InChild([&] {
                           IgnoreSigUsr(first, second);
                           std::raise(number);
                       })
                    .status;
            };
            EXPECT_EQ(raised(SIGUSR1), first ? 0 : -SIGUSR1);
            EXPECT_EQ(raised(SIGUSR2), second ? 0 : -SIGUSR2);
        }
    }
}

} // namespace

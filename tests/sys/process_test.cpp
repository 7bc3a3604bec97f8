// Programs that are started: what they are given, what they answer, how they end, and that nothing
// of them stays.
#include "tests/file/temp_tree.h"
#include "util/base/sanitizer.h"
#include "util/sys/Process.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Quil;
using namespace std::chrono_literals;

class ProcessTest : public TEST::TempTree {};

PROCESS_START Piped(PROCESS_START start) {
    start.in.kind = start.out.kind = start.err.kind = STREAM_TO::PIPE;
    return start;
}

std::size_t CountDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST_F(ProcessTest, ArgumentsArriveAsTheyAre) {
    PROCESS_START start{{"printf", "%s|", "a b", "", "$HOME", "\"'\n", "\xFF"}};
    start.out.kind = STREAM_TO::PIPE;
    CProcess process(start);
    CProcess::OUTPUTS outputs;
    const PROCESS_END* const end = process.Communicate(outputs);
    EXPECT_EQ(outputs.out, "a b||$HOME|\"'\n|\xFF|");
    EXPECT_TRUE(end->IsSuccess());
    EXPECT_GT(end->peakBytes, 0U);
}

TEST_F(ProcessTest, StreamsGoWhereTheyAreSent) {
    Put("in", "from a file");
    PROCESS_START start =
        PROCESS_START::Shell("cat; echo \"$A in $PWD\" >&2; test -z \"$PATH_OF\"");
    start.in = {STREAM_TO::READ, Path("in")};
    start.out = {STREAM_TO::WRITE, Path("out")};
    start.err.kind = STREAM_TO::OUTPUT;
    start.environment = std::vector<stringEx>{"A=some value", "PATH=/usr/bin:/bin"};
    start.folder = "/usr";
    EXPECT_TRUE(CProcess(start).Wait()->IsSuccess());
    EXPECT_EQ(Get("out"), "from a filesome value in /usr\n");
    start.out.kind = STREAM_TO::APPEND;
    start.in.kind = STREAM_TO::NOTHING;
    EXPECT_TRUE(CProcess(start).Wait()->IsSuccess());
    EXPECT_EQ(Get("out"), "from a filesome value in /usr\nsome value in /usr\n");
    // Crosswise: each becomes what the other was.
    const int out = open("o", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const int err = open("e", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    start = PROCESS_START::Shell("echo out; echo err >&2; ls /proc/self/fd");
    start.out = {STREAM_TO::DESCRIPTOR, {}, out};
    start.err = {STREAM_TO::DESCRIPTOR, {}, err};
    EXPECT_TRUE(CProcess(start).Wait()->IsSuccess());
    EXPECT_EQ(Get("e"), "err\n");
    EXPECT_EQ(Get("o"), "out\n0\n1\n2\n3\n") << "3 is the listed folder itself";
    close(out);
    close(err);
}

TEST_F(ProcessTest, WhatFailsOnTheWayIsToldToWhoStarts) {
    Put("plain", "no program");
    const auto refusal = [](PROCESS_START start) {
        try {
            CProcess process(start);
            return std::pair<unsigned int, std::string>(0, "");
        } catch (const procExp& failure) {
            return std::pair<unsigned int, std::string>(failure.GetErrCode(),
                                                        failure.GetErrString().c_str());
        }
    };
    PROCESS_START elsewhere{{"true"}};
    elsewhere.folder = Path("none");
    PROCESS_START unreadable{{"true"}};
    unreadable.in = {STREAM_TO::READ, Path("none")};
    const struct {
        PROCESS_START start;
        unsigned int code;
        const char* text;
    } rows[] = {
        {{{}}, EINVAL, "no program is named"},
        {{{"no-such-program-at-all"}}, ENOENT, "can't start the program\n  program     = no-such"},
        {{{Path("plain")}}, EACCES, "Permission denied"},
        {elsewhere, ENOENT, "can't enter the folder"},
        {unreadable, ENOENT, "can't open a file for it"},
    };
    const std::size_t before = CountDescriptors();
    for (const auto& row : rows) {
        const auto [code, text] = refusal(row.start);
        EXPECT_EQ(code, row.code);
        EXPECT_NE(text.find(row.text), std::string::npos) << text;
    }
    EXPECT_EQ(CountDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

TEST_F(ProcessTest, BothOutputsComeWhateverTheirOrderAndAnInputThatNobodyReadsIsNoHarm) {
    CProcess loud(Piped(PROCESS_START::Shell(
        "head -c 3000000 /dev/zero >&2; cat; head -c 3000000 /dev/zero; echo end >&2")));
    CProcess::OUTPUTS outputs;
    const stringEx input(200000U, 'x');
    EXPECT_TRUE(loud.Communicate(outputs, input)->IsSuccess());
    EXPECT_EQ(outputs.out.length(), 3200000U);
    EXPECT_EQ(outputs.err.length(), 3000004U);
    CProcess deaf(Piped(PROCESS_START::Shell("exec 0<&-; sleep 0.05; exit 7")));
    EXPECT_EQ(deaf.Communicate(outputs, stringEx(1U << 20, 'x'))->code, 7);
}

TEST_F(ProcessTest, AProgramEndsByItselfByASignalOrWithItsOwner) {
    CProcess slow(PROCESS_START{{"sleep", "60"}});
    EXPECT_EQ(slow.Wait(20ms), nullptr);
    slow.Signal(SIGTERM);
    const PROCESS_END* const end = slow.Wait(10s);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->signal, SIGTERM);
    EXPECT_FALSE(end->IsSuccess());
    // What a group's leader has started ends with it: nobody has the pipe open any more.
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    PROCESS_START start = PROCESS_START::Shell("echo here; sleep 60; echo there");
    start.hasGroup = true;
    start.out = {STREAM_TO::DESCRIPTOR, {}, ends[1]};
    start.err.kind = STREAM_TO::PIPE;
    {
        CProcess process(start);
        close(ends[1]);
        CProcess::OUTPUTS outputs;
        EXPECT_EQ(process.Communicate(outputs, stEMPTY, 200ms), nullptr);
    }
    pollfd wait = {ends[0], POLLIN, 0};
    char text[16];
    EXPECT_EQ(read(ends[0], text, sizeof text), 5);
    EXPECT_EQ(poll(&wait, 1, 5000), 1);
    EXPECT_EQ(read(ends[0], text, sizeof text), 0);
    close(ends[0]);
}

TEST_F(ProcessTest, NothingStaysOfThousandsOfStarts) {
    const int count = QUIL_SANITIZED ? 500 : 10000;
    const std::size_t before = CountDescriptors();
    for (int i = 0; i < count; ++i) {
        PROCESS_START start{{"/bin/true"}};
        start.out.kind = i % 2 == 0 ? STREAM_TO::PIPE : STREAM_TO::NOTHING;
        CProcess process(start);
        if (i % 3 != 0) {
            ASSERT_TRUE(process.Wait()->IsSuccess());
        }
    }
    EXPECT_EQ(CountDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

} // namespace

// Environments: what expands to what, and files that go with one.
#include "tests/file/temp_tree.h"
#include "tests/sys/message_of.h"
#include "util/store/EnvMgr.h"
#include "util/sys/Process.h"
#include "util/sys/errhdl.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Quil;
namespace fs = std::filesystem;

TEST(EnvMgr, ExpandsWhatIsThereAndFindsCircles) {
    CEnvMgr env({"A=a", "EMPTY=", "NESTED=<${A}${B}>", "B=b", "C1=x${C2}", "C2=${C3:-}", "C3=${C1}",
                 "SELF=${SELF}", "D=${NONE:-${A}-${NONE:-}}", "MONEY=5$$"});
    const struct {
        const char* text;
        const char* result; ///< or a part of the message
    } rows[] = {
        {"", ""},
        {"no $A, ${A}", "no $A, a"},
        {"$${A} $", "${A} $"},
        {"${NESTED}", "<ab>"},
        {"[${NONE}${EMPTY}]", "[]"},
        {"${NONE:-x} ${EMPTY:-y} ${A:-z}", "x y a"},
        {"${D}", "a-"},
        {"${MONEY}", "5$"},
        {"${NONE:-${A}${B}}!", "ab!"},
        {"${A", "isn't closed"},
        {"${NONE:-${A}", "isn't closed"},
        {"${SELF}", "circle\n  text = SELF -> SELF"},
        {"${C1}", "circle\n  text = C1 -> C2 -> C3 -> C1"},
    };
    for (const auto& row : rows) {
        stringEx result;
        const std::string message =
            TEST::MessageOf<auxExp>([&] { result = env.Expand(row.text); }).c_str();
        const bool isRefused = message != "nothing thrown";
        EXPECT_NE((isRefused ? message : std::string(result.c_str())).find(row.result),
                  std::string::npos)
            << row.text << ": " << result << message;
        EXPECT_TRUE(isRefused || result == row.result) << row.text << ": " << result;
    }
    // What would grow beyond all memory, and what is too deep without a circle.
    env.Set("V0", "xxxxxxxxxx");
    for (int i = 1; i < 1000; ++i) {
        const stringEx before = stringEx("${V") + std::to_string(i - 1).c_str() + "}";
        env.Set(stringEx("V") + std::to_string(i).c_str(), i < 30 ? before + before : before);
    }
    EXPECT_NE(TEST::MessageOf<auxExp>([&] { env.Expand("${V40}"); }).find("too long"),
              std::string::npos);
    EXPECT_NE(TEST::MessageOf<auxExp>([&] { env.Expand("${V999}"); }).find("too deep"),
              std::string::npos);
}

TEST(EnvMgr, IsWhatAProgramGets) {
    ASSERT_EQ(setenv("QUIL_TEST", "of this process", 1), 0);
    CEnvMgr env;
    unsetenv("QUIL_TEST");
    EXPECT_EQ(env.Get("QUIL_TEST"), "of this process");
    env.Set("ADDED", "a=b");
    CEnvMgr more({"ADDED=no", "MORE=", "ODD"});
    env.Merge(more, false);
    env.Unset("QUIL_TEST");
    EXPECT_FALSE(env.Has("QUIL_TEST"));
    EXPECT_TRUE(env.Has("MORE") && env.Has("ODD"));
    PROCESS_START start = PROCESS_START::Shell("echo \"$ADDED,$MORE,${QUIL_TEST-none}\"");
    start.environment = env.GetList();
    start.out.kind = STREAM_TO::PIPE;
    CProcess::OUTPUTS outputs;
    CProcess process(start);
    process.Communicate(outputs);
    EXPECT_EQ(outputs.out, "a=b,,none\n");
    env.Merge(more);
    EXPECT_EQ(env.Get("ADDED"), "no");
    EXPECT_EQ(TEST::Failure<auxExp>([&] { env.Set("a=b", ""); }).substr(0, 1), "1");
}

class EnvFileTest : public TEST::TempTree {
protected:
    stringEx Make(const char* name) const {
        Put(name, "x");
        return stringEx(name);
    }
    static std::size_t Count() {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator("."), fs::directory_iterator()));
    }
};

TEST_F(EnvFileTest, FilesGoWithItOrWithTheNextOneThatOpensTheList) {
    const stringEx list("list");
    {
        CEnvMgr env;
        env.RemoveAtEnd(Make("a"));
        env.RemoveAtEnd("never made");
        env.OpenList(list);
        env.RemoveAtEnd(Make("b\nodd"));
        EXPECT_EQ(Count(), 3U);
    }
    EXPECT_EQ(Count(), 0U);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        CEnvMgr env;
        env.RemoveAtEnd(Make("c"));
        env.OpenList(list);
        env.RemoveAtEnd(Make("d"));
        (void)!write(ends[1], "x", 1);
        pause();
    }
    char ready = 0;
    ASSERT_EQ(read(ends[0], &ready, 1), 1);
    EXPECT_EQ(TEST::Failure<auxExp>([&] { CEnvMgr().OpenList(list); }).substr(0, 1), "3");
    EXPECT_EQ(Count(), 3U);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    {
        CEnvMgr next;
        next.OpenList(list);
        EXPECT_EQ(Count(), 1U) << "only the list is left";
    }
    EXPECT_EQ(Count(), 0U);
}

} // namespace

// What somebody sees who sits at a terminal: questions, and how far a long run is.
#include "tests/tool/command.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Arguments = std::vector<std::string>;

/// A terminal of 60 columns, on which the command runs until its end.
class TerminalTest : public CommandTest {
protected:
    /// Answers what the terminal shows, line ends as "\n"; each answer is typed at a question.
    std::string Show(const Arguments& arguments, std::vector<std::string> answers = {}) {
        winsize size{};
        size.ws_row = 24;
        size.ws_col = 60;
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            std::vector<char*> argv{const_cast<char*>(TSUB_PATH)};
            for (const std::string& argument : arguments) {
                argv.push_back(const_cast<char*>(argument.c_str()));
            }
            argv.push_back(nullptr);
            setenv("LC_ALL", "C.UTF-8", 1);
            if (!fault.empty()) {
                setenv("TSUB_TEST_FAULT", fault.c_str(), 1);
                setenv("LD_PRELOAD", FAULTS_PATH, 1);
                setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
            }
            if (chdir(folder.c_str()) == 0) {
                execv(TSUB_PATH, argv.data());
            }
            _exit(127);
        }
        std::string shown;
        char buffer[4096];
        for (ssize_t count; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
            shown.append(buffer, static_cast<std::size_t>(count));
            if (shown.ends_with(",?] ") && !answers.empty()) {
                const std::string line = answers.front() + "\n";
                answers.erase(answers.begin());
                EXPECT_EQ(write(terminal, line.data(), line.size()),
                          static_cast<ssize_t>(line.size()));
            }
        }
        close(terminal);
        int state = 0;
        waitpid(child, &state, 0);
        status = WEXITSTATUS(state);
        for (std::size_t at; (at = shown.find("\r\n")) != std::string::npos;) {
            shown.erase(at, 1);
        }
        return shown;
    }

    int status = 0;
};

TEST_F(TerminalTest, AsksForEachFileAndEachMatch) {
    const std::string text = "x x\n1\n2\n3\n4\n5\n6\n7\nx\xFF\n";
    const struct {
        std::vector<std::string> answers;
        std::string first[3]; ///< lines of the files, and what is in the last one
        int status;
    } rows[] = {
        {{"y", "n", "y"}, {"y y", "x x", "y y"}, 0},
        {{"n", "a"}, {"x x", "y y", "y y"}, 0},
        {{"y", "d"}, {"y y", "x x", "x x"}, 0},
        {{"q"}, {"x x", "x x", "x x"}, 1},
        {{"what", "n", "s", "n", "y", "n", "y"}, {"x x", "x y", "y y"}, 0},
        {{"s", "y", "d", "s", "n", "a", "s", "q"}, {"y x", "x y", "x x"}, 0},
        {{"s", "n", "n", "n", "q"}, {"x x", "x x", "x x"}, 1},
    };
    for (const auto& row : rows) {
        for (const char* const name : {"a", "b", "c"}) {
            Write(name, text);
        }
        const std::string shown =
            Show({"a", "b", "c", "-f:x", "-t:y", "--interactive"}, row.answers);
        EXPECT_EQ(status, row.status) << shown;
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(Read(std::string(1, static_cast<char>('a' + i))).substr(0, 3), row.first[i])
                << testing::PrintToString(row.answers) << shown;
        }
    }
    EXPECT_EQ(Read("b"), text) << "matches that weren't wanted leave all as it is";
    const std::string shown = Show({"a", "-f:x", "-t:y", "--interactive"}, {"s", "d"});
    EXPECT_NE(shown.find("+++ a"), std::string::npos);
    EXPECT_NE(shown.find("\x1B[31m-\x1B[7mx\x1B[27m x\x1B[m\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("Replace match 1 of 3? [y,n,a,d,q,?] "), std::string::npos);
    Write("a", "x1\nx2\nx\n");
    Write("list", "x\ty\n@regex\n([0-9])\t<\\1>\n");
    Show({"a", "--rules=list", "--interactive"}, {"s", "n", "y", "y", "n", "y"});
    EXPECT_EQ(Read("a"), "x<1>\ny2\ny\n") << "rules, match by match";
    EXPECT_EQ(Tsub({"a", "-f:x", "-t:y", "--interactive"}).status, 255) << "nobody to ask";
    Show({"a", "-f:x", "-t:y", "--interactive", "--preview"});
    EXPECT_EQ(status, 255);
}

TEST_F(TerminalTest, ShowsATextInTheTerminalsCharset) {
    Write("x", "\xC4\xE3 a\x1B[2J\n");
    EXPECT_EQ(Show({"x", "-f:a", "-t:b", "-encin:gbk", "--preview", "--color=never"}),
              "--- x\n+++ x\n@@ -1 +1 @@\n-\xE4\xBD\xA0 a^[[2J\n+\xE4\xBD\xA0 b^[[2J\n");
}

TEST_F(TerminalTest, TellsHowFarALongRunIs) {
    const std::string longName(80, 'n');
    for (const std::string& name : {std::string("1"), std::string("2"), longName}) {
        Write(name, "a");
    }
    const auto shows = [&](const Arguments& more) {
        fault = "read 1 1012,read 2 1002,read 3 1002";
        Arguments arguments{"1", "2", longName, "-f:a", "-t:b"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const std::string shown = Show(arguments);
        fault.clear();
        return shown;
    };
    const std::string shown = shows({});
    EXPECT_EQ(shown.rfind("\r0 of 3 files, 1 B, 1 B/s  1\x1B[K", 0), 0U) << shown;
    EXPECT_NE(shown.find("\r2 of 3 files, "), std::string::npos);
    EXPECT_EQ(shown.find(std::string(50, 'n')), std::string::npos) << "cut to the width";
    EXPECT_TRUE(shown.ends_with("\x1B[K\r\x1B[K")) << shown;
    EXPECT_EQ(shows({"--no-progress"}), "");
    EXPECT_EQ(shows({"-stdout"}), "bbb");
    errorsOnTerminal = false;
    fault = "read 1 1012";
    EXPECT_EQ(Tsub({"1", "-f:b", "-t:a"}).err, "");
}

} // namespace

// The command in the middle of pipes: what comes is answered at once, and a text in parts gives
// what the whole text gives.
#include "tests/tool/command.h"

#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Runs a shell command in a folder and answers its output.
std::string Shell(const std::filesystem::path& folder, const std::string& command) {
    FILE* const pipe = popen(("cd " + folder.string() + " && " + command).c_str(), "r");
    std::string output;
    char buffer[4096];
    for (std::size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) != 0;) {
        output.append(buffer, got);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

TEST_F(CommandTest, AFilterOfPartsGivesWhatAFilterOfTheWholeGives) {
    std::string text;
    for (int i = 0; i < 30000; ++i) {
        text += "line " + std::to_string(i) + (i % 7 == 0 ? " caf\xC3\xA9" : " one") +
                (i % 1000 == 0 ? "\xFF" : "") + "\n";
    }
    Write("text", text);
    for (const std::string arguments :
         {"-f:one -t:two", "-r:[0-9]+ -t:\"<\\0>\"", "-f:\xC3\xA9 -t:e -encin:utf-8",
          "-any -encin:iso-8859-1 -encout:utf-8"}) {
        const std::string filter = TSUB_PATH " --filter " + arguments;
        const std::string expected = Shell(folder, filter + " < text; true");
        EXPECT_NE(expected, text);
        EXPECT_TRUE(Shell(folder, "split -n l/9 --filter='" + filter + "; true' text") == expected)
            << arguments;
    }
}

/// A process at the other end of two pipes.
class Conversation {
public:
    explicit Conversation(std::vector<std::string> arguments) {
        int in[2];
        int out[2];
        if (pipe(in) != 0 || pipe(out) != 0) {
            return;
        }
        __child = fork();
        if (__child == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            close(in[1]);
            close(out[0]);
            std::vector<char*> argv{const_cast<char*>(TSUB_PATH)};
            for (std::string& argument : arguments) {
                argv.push_back(argument.data());
            }
            argv.push_back(nullptr);
            setenv("LC_ALL", "C.UTF-8", 1);
            execv(TSUB_PATH, argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        __to = in[1];
        __from = out[0];
    }
    ~Conversation() {
        close(__to);
        close(__from);
        waitpid(__child, nullptr, 0);
    }
    /// Says something and answers as much as is expected; who waits in vain is ended by a signal.
    std::string Say(const std::string& text, std::size_t expected) const {
        EXPECT_EQ(write(__to, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        std::string answer(expected, '\0');
        std::size_t got = 0;
        alarm(60);
        while (got < expected) {
            const ssize_t count = read(__from, answer.data() + got, expected - got);
            if (count <= 0) {
                break;
            }
            got += static_cast<std::size_t>(count);
        }
        alarm(0);
        answer.resize(got);
        return answer;
    }

private:
    pid_t __child = -1;
    int __to = -1;
    int __from = -1;
};

TEST_F(CommandTest, WhatIsDecidedIsWrittenBeforeMoreComes) {
    const Conversation lines({"-r:o+", "-t:<\\0>"});
    EXPECT_EQ(lines.Say("foo\nba", 6), "f<oo>\n");
    EXPECT_EQ(lines.Say("r\n", 4), "bar\n");
    const Conversation literal({"-f:abc", "-t:x"});
    EXPECT_EQ(literal.Say("1 abc ab", 4), "1 x ") << "the rest may go on";
    EXPECT_EQ(literal.Say("d\n", 4), "abd\n");
    const Conversation chinese({"-f:\xE4\xB8\xAD", "-t:x", "-encin:gbk"});
    EXPECT_EQ(chinese.Say("a\xD6\xD0\xCE\xC4\xD6", 4), "ax\xCE\xC4");
    EXPECT_EQ(chinese.Say("\xD0\n", 2), "x\n");
    const Conversation polish({"-f:\xC5\x82", "-t:x", "-encin:iso-8859-2"});
    EXPECT_EQ(polish.Say("a\xB3\xB1\n", 4), "ax\xB1\n");
}

} // namespace

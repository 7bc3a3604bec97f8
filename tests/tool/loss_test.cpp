// What must not be lost: a file whose run is broken off, output that a device refuses, letters
// where the locale names no charset.
#include "tests/tool/command.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

TEST_F(CommandTest, ASignalEndsTheRunBehindTheFileThatIsBeingWritten) {
    const std::string old(300000, 'a');
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Write("1.txt", old);
        Write("2.txt", old);
        fault = "write 1 " + std::to_string(-signal);
        const Outcome outcome = Tsub({"1.txt", "2.txt", "-f:a", "-t:bb", "-frc"});
        EXPECT_EQ(outcome.status, 256 + signal);
        EXPECT_EQ(Read("1.txt"), std::string(600000, 'b'));
        EXPECT_EQ(Read("2.txt"), old);
        EXPECT_NE(outcome.out.find("\n## 300000 replacements in file: "), std::string::npos)
            << "the files that were done are reported";
    }
}

TEST_F(CommandTest, ASignalEndsTheRunAtOnceWhileAFileIsOnlySearched) {
    const std::string old = std::string(600000, 'a') + "b";
    Write("1.txt", old);
    Write("2.txt", old);
    fault = "read 2 " + std::to_string(-SIGTERM);
    EXPECT_EQ(Tsub({"1.txt", "2.txt", "-f:b", "-t:cc"}).status, 256 + SIGTERM);
    EXPECT_TRUE(Read("1.txt") == old && Read("2.txt") == old);
    // Also once it is found what is to be changed: a whole text takes its time from there on.
    fault = "fstat 2 " + std::to_string(-SIGTERM); // of the descriptor to write by
    EXPECT_EQ(Tsub({"2.txt", "-f:b", "-t:cc"}).status, 256 + SIGTERM);
    EXPECT_TRUE(Read("1.txt") == old && Read("2.txt") == old);
}

TEST_F(CommandTest, AWriteThatFailsLeavesTheOldContentOrSaysWhatThereIs) {
    const std::string old(300000, 'a');
    const std::string longer(600000, 'b');
    const char* const stands = "the old content stands\n";
    const struct {
        const char* fault;
        const char* replacement;
        std::string content;
        const char* state; ///< null: no failure
    } rows[] = {
        {"fallocate 1 28, fallocate 2 28", "-t:bb", old, stands},
        {"fallocate 1 28", "-t:bb", longer, nullptr},
        {"fallocate 1 95, fallocate 2 95, write 1 28", "-t:bb", old, stands},
        {"fallocate 1 95, fallocate 2 95, write 1 0, write 2 28", "-t:bb", old, stands},
        {"fallocate 1 95, fallocate 2 95", "-t:bb", longer, nullptr},
        {"write 1 11", "-t:bb", old, stands},
        {"write 1 5", "-t:b", old, stands},
        {"ftruncate 1 5", "-t:", old, stands},
        {"write 1 0, write 2 5", "-t:b", longer.substr(0, 65536) + old.substr(65536),
         "new up to byte 65536, old from there to byte 300000\n"},
        {"write 1 0, write 2 4, write 3 0, write 4 4", "-t:bb", longer, nullptr},
    };
    for (const auto& row : rows) {
        Write("x.txt", old);
        fault = row.fault;
        const Outcome outcome = Tsub({"x.txt", "-f:a", row.replacement});
        EXPECT_EQ(outcome.status, row.state != nullptr ? 255 : 0) << row.fault;
        EXPECT_TRUE(Read("x.txt") == row.content) << row.fault << ": " << Read("x.txt").size();
        EXPECT_TRUE(row.state == nullptr
                        ? outcome.err.empty()
                        : outcome.err.ends_with(std::string("\n  file state = ") + row.state))
            << row.fault << ": " << outcome.err;
    }
    Write("y.txt", old);
    fault = "write 1 28";
    EXPECT_EQ(Tsub({"x.txt", "y.txt", "-ric:[ab]", "-t:c"}).status, 0) << "one file was changed";
}

/// Wherever a write fails, what the message says leads to the whole text: new bytes, those that it
/// saved, and old ones.
TEST_F(CommandTest, AWriteThatFailsLosesNothing) {
    std::string old;
    while (old.size() < 700000) {
        old += std::to_string(old.size()) + (old.size() % 3 == 0 ? "a" : ".");
    }
    const auto with = [](std::string text, const std::string& replacement) {
        for (std::size_t at = 0; (at = text.find('a', at)) != std::string::npos;
             at += replacement.size()) {
            text.replace(at, 1, replacement);
        }
        return text;
    };
    unsigned int failures = 0;
    for (const std::string replacement : {"", "long", "b"}) {
        for (int n = 1; n < 12; ++n) {
            Write("x.txt", old);
            fault = "write " + std::to_string(n) + " 0, write " + std::to_string(n + 1) + " 5";
            const Outcome outcome = Tsub({"x.txt", "-f:a", "-t:" + replacement});
            if (outcome.status == 0) {
                EXPECT_TRUE(Read("x.txt") == with(old, replacement));
                break;
            }
            ++failures;
            const auto behind = [&](const std::string& what) {
                const std::size_t at = outcome.err.find(what);
                return at == std::string::npos ? "" : outcome.err.substr(at + what.size());
            };
            ASSERT_NE(behind("new up to byte "), "") << outcome.err;
            const std::size_t fresh = std::stoul(behind("new up to byte "));
            std::string text = Read("x.txt").substr(0, fresh);
            if (const std::string rest = behind(".rest-"); !rest.empty()) {
                text += Read("x.txt.rest-" + rest.substr(0, rest.find('\n')));
            }
            const std::string from = behind("old from byte ");
            if (!from.empty() || !behind("old from there").empty()) {
                text += with(Read("x.txt").substr(from.empty() ? fresh : std::stoul(from)),
                             replacement);
            }
            EXPECT_TRUE(text == with(old, replacement)) << replacement << n << outcome.err;
        }
    }
    EXPECT_GT(failures, 8U);
}

TEST_F(CommandTest, OutputThatADeviceRefusesIsAnError) {
    const std::string text(200000, 'a');
    const std::vector<std::string> rows[] = {
        {"-listenc"},
        {"-listcmp"},
        {"-h"},
        {"-f:a", "-t:b"},
        {"-f:a", "-t:b", "-encin:gbk"},
        {"-r:a", "-t:b", "-encin:gbk"},
        {"-any", "-encin:gbk", "-encout:utf-8"},
        {"x.txt", "-f:a", "-t:b", "-stdout"},
        {"x.txt", "-f:a", "-t:b", "-encin:ucs-2", "-stdout"},
    };
    Write("x.txt", std::string("a\0\0\0", 4) + text);
    outDescriptor = open("/dev/full", O_WRONLY);
    for (const std::vector<std::string>& arguments : rows) {
        const Outcome outcome = Tsub(arguments, text);
        EXPECT_EQ(outcome.status, 255) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.err,
                  "[FATAL ERROR] can't write to standard output: No space left on device\n");
    }
    Write("y.txt", "a");
    EXPECT_EQ(Tsub({"y.txt", "-f:a", "-t:b", "-frc"}).status, 255);
    EXPECT_EQ(Read("y.txt"), "b") << "a report that is lost keeps no file from its replacement";
    close(outDescriptor);
}

TEST_F(CommandTest, AReaderThatWentAwayEndsTheRunQuietly) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    outDescriptor = ends[1];
    const Outcome outcome = Tsub({"-f:a", "-t:b"}, std::string(200000, 'a'));
    EXPECT_EQ(outcome.status, 256 + SIGPIPE);
    EXPECT_EQ(outcome.err, "");
    Write("1.txt", "a");
    Write("2.txt", "a");
    EXPECT_EQ(Tsub({"1.txt", "2.txt", "-f:a", "-t:b", "-frc"}).status, 256 + SIGPIPE);
    EXPECT_EQ(Read("1.txt") + Read("2.txt"), "bb") << "who listens to reports decides no file";
    close(ends[1]);
}

TEST_F(CommandTest, WhereTheLocaleNamesNoCharsetTextIsUtf8) {
    const std::string text = "caf\xC3\xA9 a\n";
    const struct {
        const char* all;
        const char* characters;
        const char* language;
        std::vector<std::string> arguments;
        std::string result;
    } rows[] = {
        {nullptr,
         nullptr,
         nullptr,
         {"-f:a", "-t:\xC3\xA9"},
         "c\xC3\xA9"
         "f\xC3\xA9 \xC3\xA9\n"},
        {"C", nullptr, nullptr, {"-f:a", "-t:b"}, "cbf\xC3\xA9 b\n"},
        {"", "POSIX", "C.UTF-8", {"-f:a", "-t:b"}, "cbf\xC3\xA9 b\n"},
        {nullptr, "", "C", {"-ric:\xC3\x89", "-t:e"}, "cafe a\n"},
        {"xx_XX.UTF-8", nullptr, nullptr, {"-f:a", "-t:b"}, "cbf\xC3\xA9 b\n"},
        {"C", nullptr, nullptr, {"-f:a", "-t:b", "-encin:ascii"}, "cbf?? b\n"},
    };
    for (const auto& row : rows) {
        Write("x.txt", text);
        environment = {{"LC_CTYPE", row.characters}, {"LANG", row.language}};
        std::vector<std::string> arguments{"x.txt"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(Tsub(arguments, "", row.all).status, 0);
        EXPECT_EQ(Read("x.txt"), row.result) << testing::PrintToString(arguments);
    }
}

} // namespace

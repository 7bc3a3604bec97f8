// What --backup keeps and --undo gives back, wherever the run ended.
#include "tests/tool/command.h"

#include <algorithm>
#include <csignal>

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

class BackupTest : public CommandTest {
protected:
    void SetUp() override {
        CommandTest::SetUp();
        state = folder.string() + ".state";
        fs::remove_all(state);
        environment.emplace_back("XDG_STATE_HOME", state.c_str());
    }
    void TearDown() override {
        fs::remove_all(state);
        CommandTest::TearDown();
    }
    std::vector<std::string> Runs() const {
        std::vector<std::string> runs;
        std::string list = Tsub({"--undo=list"}).out;
        for (std::size_t end; (end = list.find('\n')) != std::string::npos;
             list.erase(0, end + 1)) {
            runs.push_back(list.substr(0, list.find(' ')));
        }
        return runs;
    }

    std::string state;
};

TEST_F(BackupTest, UndoGivesBackAndCanBeUndone) {
    Write("a.txt", "one\xFF");
    Write("d/b.txt", "one one");
    Write("c.txt", "nil");
    fs::create_symlink("a.txt", folder / "link");
    fs::permissions(folder / "a.txt", fs::perms(0640));
    const auto read = [this] { return Read("a.txt") + "|" + Read("d/b.txt"); };
    const auto time = fs::last_write_time(folder / "a.txt") - std::chrono::hours(100);
    fs::last_write_time(folder / "a.txt", time);
    EXPECT_EQ(Tsub({"--undo"}).status, 255) << "no run";
    EXPECT_EQ(Tsub({"*", "-s", "-f:one", "-t:two", "--backup"}).status, 0);
    EXPECT_EQ(read(), "two?|two two");
    const Outcome list = Tsub({"--undo=list"});
    EXPECT_NE(list.out.find("  2 files  "), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("tsub * -s -f:one -t:two --backup\n"), std::string::npos);

    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(read(), "one\xFF|one one");
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(fs::status(folder / "a.txt").permissions(), fs::perms(0640));
    EXPECT_LT(abs(time - fs::last_write_time(folder / "a.txt")), std::chrono::microseconds(2));
    EXPECT_EQ(Tsub({"--undo"}).status, 0) << "of the undo";
    EXPECT_EQ(read(), "two?|two two");
}

TEST_F(BackupTest, WhatSomebodyElseHasChangedIsLeftAlone) {
    Write("a.txt", "one");
    Write("b.txt", "one");
    EXPECT_EQ(Tsub({"*", "-f:one", "-t:two", "--backup"}).status, 0);
    const std::string run = Runs().at(0);
    Write("b.txt", "mine");
    const Outcome outcome = Tsub({"--undo=" + run});
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.err, "[ERROR] left alone, somebody has changed it since the run: " +
                               (folder / "b.txt").string() + "\n");
    EXPECT_EQ(Read("a.txt") + Read("b.txt"), "onemine");
    EXPECT_EQ(Tsub({"--undo=" + run, "-force"}).status, 0);
    EXPECT_EQ(Read("b.txt"), "one");
    EXPECT_EQ(Tsub({"--undo=" + run}).status, 1) << "nothing to do";
    EXPECT_EQ(Tsub({"--undo=never"}).status, 255);
    EXPECT_EQ(Tsub({"--undo", "--preview", "-force"}).out, "b.txt\n");
    EXPECT_EQ(Tsub({"--undo", "b.txt"}).status, 255) << "runs come back as a whole";
    EXPECT_EQ(Read("b.txt"), "one");
}

TEST_F(BackupTest, AFileChangedTwiceComesBackAsItWasAtFirst) {
    Write("a.txt", "a");
    EXPECT_EQ(Tsub({"a.txt", "a.txt", "-f:a", "-t:aa", "--backup"}).status, 0);
    EXPECT_EQ(Read("a.txt"), "aaaa");
    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(Read("a.txt"), "a");
}

TEST_F(BackupTest, ARunThatEndedBeforeItTouchedAnythingIsNoneToUndo) {
    Write("a.txt", "a");
    EXPECT_EQ(Tsub({"a.txt", "-f:a", "-t:b", "--backup"}).status, 0);
    for (const char* const call : {"write 1", "write 2", "copy_file_range 1"}) {
        fault = std::string(call) + " " + std::to_string(-SIGKILL);
        EXPECT_EQ(Tsub({"a.txt", "-f:b", "-t:c", "--backup"}).status, 256 + SIGKILL) << call;
        fault.clear();
    }
    EXPECT_EQ(Tsub({"--undo=list"}).status, 0);
    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(Read("a.txt"), "a");
}

TEST_F(BackupTest, OldRunsGo) {
    Write("a.txt", "a");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Tsub({"a.txt", "-f:a", "-t:aa", "--backup", "--keep-runs=3"}).status, 0);
    }
    const std::vector<std::string> runs = Runs();
    ASSERT_EQ(runs.size(), 3U);
    EXPECT_TRUE(std::is_sorted(runs.rbegin(), runs.rend()));
    EXPECT_EQ(Tsub({"--forget=" + runs[1]}).status, 0);
    EXPECT_EQ(Runs(), (std::vector<std::string>{runs[0], runs[2]}));
    EXPECT_EQ(Tsub({"--forget=" + runs[1]}).status, 255);
    EXPECT_EQ(Tsub({"--forget=all"}).status, 0);
    EXPECT_TRUE(Runs().empty());
}

TEST_F(BackupTest, ARunDoesntGoWhileItIsGivenBack) {
    Write("a.txt", "a");
    Write("b.txt", "b");
    EXPECT_EQ(Tsub({"a.txt", "-f:a", "-t:x", "--backup"}).status, 0);
    const std::string oldest = Runs().at(0);
    EXPECT_EQ(Tsub({"b.txt", "-f:b", "-t:x", "--backup"}).status, 0);
    EXPECT_EQ(Tsub({"--undo=" + oldest, "--keep-runs=1"}).status, 0);
    EXPECT_EQ(Read("a.txt") + Read("b.txt"), "ax");
    EXPECT_EQ(Runs().size(), 2U) << "the undo, and what it gave back";
}

TEST_F(BackupTest, ARecordThatCantBeWrittenDoesntHideThoseBehindIt) {
    for (const char* const name : {"a.txt", "b.txt", "c.txt"}) {
        Write(name, "a");
    }
    fault = "write 2 0,write 3 28"; // half of the first entry, and then no room
    const Outcome outcome = Tsub({"a.txt", "b.txt", "c.txt", "-f:a", "-t:b", "--backup"});
    fault.clear();
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '['), 1) << outcome.err;
    EXPECT_EQ(Read("a.txt") + Read("b.txt") + Read("c.txt"), "abb");
    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(Read("a.txt") + Read("b.txt") + Read("c.txt"), "aaa");
}

TEST_F(BackupTest, AFileThatCantBeKeptIsNotChanged) {
    Write("a.txt", std::string(200000, 'a'));
    Write("b.txt", "a");
    fileLimit = 100000;
    const Outcome outcome = Tsub({"a.txt", "b.txt", "-f:a", "-t:b", "--backup"});
    EXPECT_EQ(outcome.err.rfind("[ERROR] can't write to file: " + (folder / "a.txt").string(), 0),
              0U)
        << outcome.err;
    EXPECT_EQ(Read("a.txt"), std::string(200000, 'a'));
    EXPECT_EQ(Read("b.txt"), "b");
    fileLimit = 0;
    EXPECT_EQ(Tsub({"--undo"}).status, 0);
    EXPECT_EQ(Read("b.txt"), "a");
}

TEST_F(BackupTest, AFileThatCouldntBeWrittenIsSomebodysToChange) {
    Write("a.txt", "a");
    Write("b.txt", "a");
    fault = "fallocate 1 28"; // no room
    EXPECT_EQ(Tsub({"a.txt", "b.txt", "-f:a", "-t:bbb", "--backup"}).status, 0);
    fault.clear();
    const std::string first = Read("a.txt") == "a" ? "a.txt" : "b.txt";
    Write(first, "mine");
    EXPECT_EQ(Tsub({"--undo"}).status, 255) << "left alone";
    EXPECT_EQ(Read(first), "mine");
}

TEST_F(BackupTest, ARunFromBeforeThereWereManifestsIsGivenBack) {
    using namespace std::string_literals;
    const auto text = [](const std::string& bytes) {
        return "\x0A"s + static_cast<char>(bytes.size()) + "\0\0\0"s + bytes;
    };
    const std::string path = (folder / "a.txt").string();
    // Version, time, folder and command; then a file: its number, path, mode and time.
    const std::string journal = "\x8C\1\0"s + "\5\0\xE1\xF5\5\0\0\0\0"s + text("/") +
                                text("tsub old") + "\x8D" + "\x80\1\x87\1\0\0\0\0\0\0\0"s +
                                text(path) + "\3\xA4\x81\0\0"s + "\0\x8D"s;
    Write("kept/19730303-000000-000000/journal", journal);
    Write("kept/19730303-000000-000000/1", "old");
    Write("a.txt", "new");
    EXPECT_NE(Tsub({"--undo=list", "--backup=kept"}).out.find("tsub old"), std::string::npos);
    EXPECT_EQ(Tsub({"--undo", "--backup=kept"}).err, "");
    EXPECT_EQ(Read("a.txt"), "old");
}

TEST_F(BackupTest, ARunThatIsKilledAnywhereCanBeUndone) {
    constexpr int FILES = 12;
    const auto content = [](int i) {
        return std::string(static_cast<std::size_t>(i) * 9000, 'x') + "a" + std::string(5000, 'y');
    };
    const auto write = [&] {
        for (int i = 0; i < FILES; ++i) {
            Write("f" + std::to_string(i), content(i));
        }
    };
    // Killed at each of its writes, and of its copies in the kernel.
    int killed = 0;
    for (const char* const call : {"write", "copy_file_range", "ftruncate"}) {
        for (int n = 1; n < 60; n += n < 8 ? 1 : 7) {
            write();
            fault = std::string(call) + " " + std::to_string(n) + " " + std::to_string(-SIGKILL);
            const int status = Tsub({"*", "-f:a", "-t:bbb", "--backup"}).status;
            fault.clear();
            killed += status == 256 + SIGKILL ? 1 : 0;
            Tsub({"--undo"});
            for (int i = 0; i < FILES; ++i) {
                ASSERT_TRUE(Read("f" + std::to_string(i)) == content(i)) << call << n << " " << i;
            }
            Tsub({"--forget=all"});
        }
    }
    EXPECT_GT(killed, 20);
}

} // namespace

// The long options: what they are refused for, and which files they choose.
#include "tests/tool/command.h"

#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

TEST_F(CommandTest, WrongLongOptionsEndTheRunBeforeAnythingIsRead) {
    const struct {
        const char* option;
        const char* told;
    } rows[] = {
        {"--prewiev", "isn't an option; --preview is one, --help lists all"},
        {"--Jobs", "isn't an option; --jobs is one, --help lists all"},
        {"--unlike-any", "isn't an option, --help lists all"},
        {"--jobs=0", "wants a number from 1 to 9999"},
        {"--jobs:x", "wants a number from 1 to 9999"},
        {"--preview=1", "takes no value"},
        {"--exclude", "wants a value: --exclude=GLOB"},
        {"--color=", "wants a value: --color=WHEN"},
        {"--color=blue", "wants auto, always or never"},
    };
    Write("x.txt", "a");
    for (const auto& row : rows) {
        const Outcome outcome = Tsub({"x.txt", "-f:a", "-t:b", row.option});
        EXPECT_EQ(outcome.status, 255) << row.option;
        EXPECT_EQ(outcome.err, std::string("[FATAL ERROR] ") + row.option + " " + row.told + "\n");
        EXPECT_EQ(Read("x.txt") + outcome.out, "a") << row.option;
    }
}

TEST_F(CommandTest, BehindTwoHyphensAllAreNames) {
    Write("-f:a", "a");
    Write("--preview", "a");
    EXPECT_EQ(Tsub({"-f:a", "-t:b", "--", "-f:a", "--preview"}).status, 0);
    EXPECT_EQ(Read("-f:a") + Read("--preview"), "bb");
}

TEST_F(CommandTest, UnknownSwitchesAreToldOfOnATerminal) {
    for (const bool onTerminal : {false, true}) {
        errorsOnTerminal = onTerminal;
        Write("x.txt", "a");
        const Outcome outcome = Tsub({"x.txt", "-F:a", "-T:b", "-frcc:1", "-exp", "-", "--jobs"});
        EXPECT_EQ(outcome.err,
                  onTerminal ? "[WARNING] switch -frcc isn't known and has no effect; -frc is one\n"
                             : "");
        EXPECT_EQ(Read("x.txt"), "b");
    }
}

TEST_F(CommandTest, ARefusalSaysOnATerminalWhatToDoNext) {
    const struct {
        Arguments arguments;
        const char* advice;
    } rows[] = {
        {{"nothing.txt", "-f:a", "-t:b"},
         "no file has such a name here; -s looks into folders, too"},
        {{"x.txt", "-any", "-encin:gb2321", "-encout:utf-8"},
         "gb2321 isn't a charset that is known; GB2312 is one, -listenc shows all"},
        {{"*", "-s", "-f:a", "-t:b"}, "--skip-broken passes over what can't be looked into"},
        {{"x.txt", "-any", "--from-code=ascii"},
         "--from-code says what a text is really in; -force converts all the same, with \"?\" for "
         "what is lost"},
    };
    Write("x.txt", "\xFF");
    fs::create_symlink("nowhere", folder / "broken");
    for (const auto& row : rows) {
        for (const bool onTerminal : {false, true}) {
            errorsOnTerminal = onTerminal;
            const Outcome outcome = Tsub(row.arguments);
            EXPECT_NE(outcome.err, "") << row.advice;
            EXPECT_EQ(outcome.err.ends_with(std::string("\n@ ") + row.advice + "\n"), onTerminal)
                << outcome.err;
        }
    }
}

TEST_F(CommandTest, HelpNamesEverySwitchOfTheUsage) {
    const Outcome help = Tsub({"--help", "-f:a"});
    EXPECT_EQ(help.status, 0);
    for (const char* const name : {"-f:", "-rnnlic:", "-encarg:", "-listcmp ", "--files-from="}) {
        EXPECT_NE(help.out.find(std::string("\n  ") + name), std::string::npos) << name;
    }
    std::size_t width = 0;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = help.out.find('\n', begin);
        width = std::max(width, std::min(end, help.out.size()) - begin);
    }
    EXPECT_LE(width, 80U);
    EXPECT_EQ(Tsub({"--version"}).out.rfind("tsub " TSUB_VERSION "\n", 0), 0U);
}

TEST_F(CommandTest, OptionsChooseTheFiles) {
    const struct {
        Arguments arguments;
        std::string input;
        std::string files; ///< the letters of those that are replaced
        int status = 0;
    } rows[] = {
        {{"*", "-s"}, "", "abcdgilnv"},
        {{"*", "-s", "--exclude=*.o"}, "", "abcdgilv"},
        {{"*", "-s", "--exclude=./lib/", "--exclude=d*"}, "", "abcginv"},
        {{"*", "-s", "--exclude=sub/*"}, "", "abgilv"}, // also what lies deeper
        {{"sub/*", "-s", "--exclude=sub/*", "--exclude=deep/d.txt"}, "", "cn"},
        {{"*", "-s", "--exclude-vcs"}, "", "abcdln"},
        {{"*", "-s", "--exclude-binary"}, "", "acdgilnv"},
        {{"b.bin", "--exclude-binary", "-encin:utf-16le", "-force"}, "", "", 1},
        {{"--files-from=-"}, "a.txt\nsub/c.txt\n\n", "ac"},
        {{"--files-from=-", "--null", "sub/n.o"}, std::string("a.txt\0sub/*\0", 12), "an"},
        {{"--files-from=-", "--exclude=*.txt", "b.bin"}, "a.txt\nsub/n.o", "bn"},
        {{"a.*", "", "--exclude=x"}, "", "", 255},
        {{"a.*", "", "--skip-broken"}, "", "", 255},
    };
    for (const auto& row : rows) {
        for (const char* const name : {"a.txt", "sub/c.txt", "sub/deep/d.txt", "sub/n.o",
                                       "lib/l.txt", ".git/g", ".svn/i", "CVS/v"}) {
            Write(name, "-");
        }
        Write("b.bin", std::string("\0-", 2));
        const Outcome outcome = [&] {
            Arguments arguments{"-f:-", "-t:+"};
            arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
            return Tsub(arguments, row.input);
        }();
        std::string files;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const std::string name = fs::relative(entry.path(), folder);
            if (entry.is_regular_file() && Read(name).find('+') != std::string::npos) {
                const std::string last = entry.path().filename();
                files += last[0];
            }
        }
        std::sort(files.begin(), files.end());
        EXPECT_EQ(files, row.files) << testing::PrintToString(row.arguments);
        EXPECT_EQ(outcome.status, row.status) << testing::PrintToString(row.arguments);
    }
}

TEST_F(CommandTest, WhatIsBrokenIsPassedOver) {
    Write("a.txt", "-");
    Write("sub/b.txt", "-");
    fs::create_symlink("nowhere", folder / "gone");
    fs::create_symlink("..", folder / "sub" / "up");
    EXPECT_EQ(Tsub({"*", "-s", "-f:-", "-t:+"}).status, 255);
    const Outcome outcome = Tsub({"*", "none/*", "-s", "-f:-", "-t:+", "--skip-broken"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(Read("a.txt") + Read("sub/b.txt"), "++");
    for (const char* const told : {"/none/\n@ CDir::Open", "/gone", "/sub/up"}) {
        EXPECT_NE(outcome.err.find(told), std::string::npos) << told << outcome.err;
    }
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '['), 3);
}

TEST_F(CommandTest, FoldersThatCantBeListedAreToldOf) {
    Write("a.txt", "-");
    Write("sub/b.txt", "-");
    fs::permissions(folder / "a.txt", fs::perms::all);
    fs::permissions(folder / "sub", fs::perms::none);
    asNobody = true;
    const Outcome outcome = Tsub({"*", "-s", "-f:-", "-t:+", "--skip-broken"});
    fs::permissions(folder / "sub", fs::perms::owner_all);
    EXPECT_EQ(outcome.err.find("[ERROR] can't look into: "), 0U);
    EXPECT_EQ(Read("a.txt") + Read("sub/b.txt"), "+-");
}

} // namespace

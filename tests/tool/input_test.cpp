// Inputs and outputs: pipes, files, trees, encodings, and what happens when one of them fails.
#include "tests/tool/command.h"
#include "util/conv/TextLibIcu.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

TEST_F(CommandTest, PipesCarryOneMoreElementThanTheyWereGiven) {
    const struct {
        std::vector<std::string> arguments;
        std::string input;
        std::string output;
        int status;
    } rows[] = {
        {{"-f:a", "-t:bb"}, "banana", "bbbnbbnbb?", 0},
        {{"-f:x", "-t:y"}, "banana\n", "banana\n?", 1},
        {{"-f:x", "-t:y"}, "", "?", 1},
        {{"-any", "-t:x", "-trc"}, "", "x\n## total replaced 1 matchs\n", 0},
        {{"-any"}, "\xEF\xBB\xBFq", "q?", 1},
        {{"-any", "-encin:iso-8859-1", "-encout:utf-8"}, "\xE9", "\xC3\xA9\xC3\xBF", 1},
        {{"-any", "-encin:gbk", "-encout:utf-8"}, "\xD6\xD0\xCE", "\xE4\xB8\xAD??", 1},
        {{"-f:\xE4\xB8\xAD", "-t:\xE5\x9B\xBD", "-encin:gbk", "-encout:gb18030"},
         "\xD6\xD0.\xD6\xD0",
         "\xB9\xFA.\xB9\xFA?",
         0},
        {{"-f:\xD6\xD0", "-t:X", "-encarg:gbk", "-trc"},
         "\xE4\xB8\xAD\xE4\xB8\xAD",
         "XX?\n## total replaced 2 matchs\n",
         0},
        {{"-f:a", "-t:b", "-stdio", "nothing*.here"}, "a", "b?", 0},
        {{"-fic:\xC3\xA9t\xC3\xA9", "-t:x"}, "\xC3\x89T\xC3\x89.\xC3\xA9T\xC3\xA9", "x.x?", 0},
        {{"-f:x", "-t:y"},
         "a\xFF"
         "b\xE4\xB8",
         "a?b???",
         1},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Tsub(row.arguments, row.input);
        EXPECT_EQ(outcome.out, row.output) << testing::PrintToString(row.arguments);
        EXPECT_EQ(outcome.status, row.status);
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(CommandTest, ATreeIsRewrittenWhereSomethingMatched) {
    Write("a.txt", "teh cat");
    Write("sub/deep/b.txt", "teh teh");
    Write("sub/c.txt", "none");
    Write("sub/d.md", "teh");
    Write(".hidden.txt", "teh");
    Write("zero.txt", "");
    Write("dir.txt/e.txt", "teh");
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(5);
    fs::last_write_time(folder / "sub/c.txt", old);

    const Outcome outcome = Tsub({"*.txt", "-s", "-f:teh", "-t:the", "-frc", "-trc"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(Read("a.txt"), "the cat");
    EXPECT_EQ(Read("sub/deep/b.txt"), "the the");
    EXPECT_EQ(Read("dir.txt/e.txt"), "the");
    EXPECT_EQ(Read(".hidden.txt"), "the");
    EXPECT_EQ(Read("sub/d.md"), "teh");
    EXPECT_EQ(fs::last_write_time(folder / "sub/c.txt"), old);
    EXPECT_NE(outcome.out.find("\n## 2 replacements in file: " +
                               (fs::canonical(folder) / "sub/deep/b.txt").string() + "\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_TRUE(outcome.out.ends_with("\n## total replaced 5 matchs\n")) << outcome.out;

    // With -errstop hidden names are left alone; without -s the tree below is.
    Write(".hidden.txt", "cat");
    EXPECT_EQ(Tsub({"*.txt", "-f:cat", "-t:dog", "-errstop"}).status, 0);
    EXPECT_EQ(Read("a.txt") + Read(".hidden.txt"), "the dogcat");
    EXPECT_EQ(Tsub({"sub/*", "-f:none", "-t:some"}).status, 0);
    EXPECT_EQ(Read("sub/c.txt"), "some");
    EXPECT_EQ(Tsub({"sub/", "-f:some", "-t:all"}).status, 0) << "an open end stands for all files";
    EXPECT_EQ(Read("sub/c.txt"), "all");
    EXPECT_EQ(Tsub({"sub", "-f:all", "-t:x"}).status, 255) << "in a folder its own name is sought";
}

TEST_F(CommandTest, PatternsAreTakenInTurnAndAFileFoundTwiceIsDoneTwice) {
    Write("a.txt", "a");
    Write("b.txt", "a");
    EXPECT_EQ(Tsub({"a.txt", "a.txt", "-f:a", "-t:aa"}).status, 0);
    EXPECT_EQ(Read("a.txt"), "aaaa");
    const Outcome outcome =
        Tsub({"b.txt", "a.txt", "-f:a", "-t:x", "-stdout", "-frc", "-trc", "-unisign"});
    EXPECT_EQ(outcome.out, "xxxxx\n## total replaced 5 matchs\n");
    EXPECT_EQ(Read("b.txt"), "a") << "-stdout leaves the files alone";
    EXPECT_EQ(Tsub({"b.txt", "a.txt", "-f:aaaa", "-t:c"}).status, 0);
    EXPECT_EQ(Tsub({"a.txt", "b.txt", "-f:c", "-t:d"}).status, 0) << "a match in any file counts";
}

TEST_F(CommandTest, AByteOrderMarkIsDroppedAndGivenOnlyOnRequest) {
    const std::string mark = "\xEF\xBB\xBF";
    const struct {
        std::vector<std::string> arguments;
        std::string content;
        std::string result;
        int status;
    } rows[] = {
        {{"-f:a", "-t:b"}, mark + "a", "b", 0},
        {{"-f:x", "-t:b"}, mark + "a", mark + "a", 1},
        {{"-any"}, mark + mark + "a", mark + "a", 1},
        {{"-any", "-unisign", "-encin:gbk", "-encout:UTF-8"}, "a", mark + "a", 1},
        {{"-any", "-unisign", "-encin:gbk", "-encout:UTF8", "-force"}, "a", "a", 1},
        {{"-any", "-unisign", "-encout:gb18030"}, "a", "a", 1},
        {{"-f:a", "-t:b", "-unisign", "-encin:utf-8"}, "a", mark + "b", 0},
    };
    for (const auto& row : rows) {
        Write("x.txt", row.content);
        std::vector<std::string> arguments{"x.txt"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(Tsub(arguments).status, row.status) << testing::PrintToString(arguments);
        EXPECT_EQ(Read("x.txt"), row.result) << testing::PrintToString(arguments);
    }
}

TEST_F(CommandTest, FamiliesConvertAmongThemselves) {
    using FAMILY = std::vector<std::pair<std::string, std::string>>; // names, and one text in each
    const FAMILY families[] = {
        {{"EUC-CN", "\xD6\xD0"}, {"GBK", "\xD6\xD0"}, {"GB18030", "\xD6\xD0"}},
        {{"EUC-JP", "\xC6\xFC\xA5\xAB"}, {"SHIFT_JIS", "\x93\xFA\x83J"}},
        {{"EUC-KR", "\xC7\xD1"}, {"UHC", "\xC7\xD1"}, {"JOHAB", "\xD0\x65"}},
        {{"BIG5", "\xC1\x63"}, {"BIG5-HKSCS", "\xC1\x63"}, {"EUC-TW", "\xF4\xED"}},
        {{"ISO-8859-5", "\xBF\xE0"}, {"KOI8-R", "\xF0\xD2"}, {"OEM-Russian", "\x8F\xE0"}},
        {{"ISO-8859-1", "\xFC\xDF"},
         {"ANSI-LatinI", "\xFC\xDF"},
         {"OEM-LatinI", "\x81\xE1"},
         {"MacRoman", "\x9F\xA7"}},
    };
    const bool hasIcu = Quil::CTextLibIcu::IsExternalDependencyReady(); // for MacRoman
    for (const FAMILY& family : families) {
        for (const auto& [from, given] : family) {
            for (const auto& [to, expected] : family) {
                if (!hasIcu && (from == "MacRoman" || to == "MacRoman")) {
                    continue;
                }
                Write("x.txt", given + " abc\n");
                const Outcome outcome = Tsub({"x.txt", "-any", "-encin:" + from, "-encout:" + to});
                EXPECT_EQ(outcome.status, 1) << outcome.out << outcome.err;
                EXPECT_EQ(Read("x.txt"), expected + " abc\n") << from << " to " << to;
            }
        }
    }
    if (!hasIcu) {
        GTEST_SKIP() << "no ICU here: MacRoman wasn't tried";
    }
}

TEST_F(CommandTest, RawWideNamesDumpThirtyTwoBitCharacters) {
    const std::string wide("a\0\0\0\x34\x12\0\0\x41\0\x01\0", 12);
    Write("x.txt", wide + "zz");
    EXPECT_EQ(Tsub({"x.txt", "-f:a", "-t:b", "-encin:ucs-2"}).status, 0);
    EXPECT_EQ(Read("x.txt"), "b" + wide.substr(1)) << "odd bytes at the end fall off";
    EXPECT_EQ(Tsub({"x.txt", "-any", "-encin:utf-16", "-encout:utf-16be", "-unisign"}).status, 1);
    EXPECT_EQ(Read("x.txt"), std::string("\xFE\xFF\0\0\0b\0\0\x12\x34\0\0\0\x41\0\0", 16))
        << "swapping keeps the low halves only";
    EXPECT_EQ(Tsub({"x.txt", "-any", "-encin:cp1201", "-encout:gbk", "-force"}).status, 1);
    EXPECT_EQ(Read("x.txt"), std::string("\0b\0\0\x12\x34\0\0\0\x41\0\0", 12))
        << "a raw input stays raw and swapped";
    EXPECT_EQ(Tsub({"x.txt", "-any", "-encin:UTF-16BE", "-encout:utf-16le"}).status, 1);
    EXPECT_EQ(Read("x.txt"), std::string("b\0\0\0\x34\x12\0\0\x41\0\0\0", 12));
    const Outcome outcome = Tsub({"-f:a", "-t:b", "-encin:ucs-2", "-trc"}, "\xC3\xA9"
                                                                           "a");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.rfind("\xC3\xA9"
                                "b",
                                0),
              0U)
        << "wide streams convert by the locale";
}

TEST_F(CommandTest, AnUnreadableFileStopsTheOthersOnlyOnRequest) {
    Write("a.txt", "a");
    Write("z.txt", "a");
    ASSERT_EQ(mkfifo((folder / "m.txt").c_str(), 0666), 0);
    const std::string fifo = (fs::canonical(folder) / "m.txt").string();
    const Outcome outcome = Tsub({"a.txt", "m.txt", "z.txt", "-f:a", "-t:b", "-trc"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err.rfind("[ERROR] failed reading file: " + fifo + "\n@ ", 0), 0U)
        << outcome.err;
    EXPECT_EQ(outcome.out, "\n## total replaced 2 matchs\n");
    EXPECT_EQ(Read("a.txt") + Read("z.txt"), "bb");

    const Outcome stopped = Tsub({"a.txt", "m.txt", "z.txt", "-f:b", "-t:c", "-trc", "-errstop"});
    EXPECT_EQ(stopped.status, 255);
    EXPECT_EQ(stopped.out, "");
    EXPECT_EQ(Read("a.txt") + Read("z.txt"), "cb");

    fs::create_symlink("nowhere", folder / "dangling");
    const Outcome aborted = Tsub({"*.txt", "-f:c", "-t:d"}); // a listing meets it, a name doesn't
    EXPECT_EQ(aborted.status, 255);
    EXPECT_EQ(
        aborted.err.rfind(
            "[FATAL ERROR] Quil runtime lib error: CDir::GetAllFiles - failed find files\n", 0),
        0U)
        << aborted.err;
    EXPECT_EQ(Read("a.txt"), "c");
}

TEST_F(CommandTest, AFileThatCantBeWrittenIsReportedAndNotCounted) {
    Write("a.txt", "a");
    Write("b.txt", std::string(3000, 'a'));
    Write("c.txt", "a");
    fileLimit = 4096;
    const Outcome outcome = Tsub({"a.txt", "b.txt", "c.txt", "-f:a", "-t:bb", "-trc", "-frc"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err.rfind("[ERROR] can't write to file: ", 0), 0U) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with("\n## total replaced 2 matchs\n")) << outcome.out;
    EXPECT_EQ(Read("b.txt"), std::string(3000, 'a'));
    EXPECT_EQ(Tsub({"b.txt", "c.txt", "-ric:[ab]", "-t:cc", "-errstop"}).status, 255);
    EXPECT_EQ(Read("c.txt"), "bb");
}

} // namespace

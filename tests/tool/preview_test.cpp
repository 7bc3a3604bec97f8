// What a run shows instead of doing it: that patch makes of the files what the run makes of them,
// and that nothing else is written.
#include "tests/tool/command.h"

#include <algorithm>
#include <cstdlib>
#include <random>

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

/// Lines of letters, now and then without an end, with foreign bytes, or long ones.
std::string RandomText(std::mt19937& random) {
    static const std::string pieces[] = {"a",    "b",    "ab",       "c",    "\n",  "\n",
                                         "\n\n", "\r\n", "\xC3\xA9", "\xFF", "aaa", " \n"};
    std::string text;
    for (auto n = random() % 400; n != 0; --n) {
        const std::string& piece = pieces[random() % std::size(pieces)];
        for (auto times = random() % 40 == 0 ? random() % 3000 : 1; times != 0; --times) {
            text += piece;
        }
    }
    return text;
}

TEST_F(CommandTest, PatchMakesOfAPreviewWhatTheRunMakes) {
    std::mt19937 random(71);
    const Arguments ways[] = {
        {"-f:a", "-t:xy"},
        {"-f:ab", "-t:"},
        {"-r:b+", "-t:<\\0>"},
        {"-r:a\\n", "-t:"},
        {"-rnnl:a[^c]*c", "-t:-"},
        {"-f:c", "-t:1\n2\n"},
        {"-f:\n", "-t:"},
        {"-any", "-t:all\nnew"},
        {"-r:$", "-t:;\n"},
        {"-f:a", "-t:b", "--keep-bytes"},
        {"-f:\xC3\xA9", "-t:e", "-encin:utf-8", "--keep-bytes"},
        {"-f:b", "-t:bb", "-encin:gbk"},
    };
    const std::size_t blocks[] = {0, 1, 7, 64};
    for (int round = 0; round < 60; ++round) {
        const Arguments& way = ways[static_cast<std::size_t>(round) % std::size(ways)];
        blockSize = blocks[random() % std::size(blocks)];
        for (const char* const name : {"x.txt", "d/y z.txt", "d/q\"uote"}) {
            Write(name, RandomText(random));
        }
        Arguments arguments{"*", "-s", "-frc"};
        arguments.insert(arguments.end(), way.begin(), way.end());
        const auto read = [this] {
            return Read("x.txt") + '\0' + Read("d/y z.txt") + '\0' + Read("d/q\"uote");
        };
        const std::string before = read();
        const fs::path copy = fs::path(folder.string() + ".copy");
        fs::remove_all(copy);
        fs::copy(folder, copy, fs::copy_options::recursive);
        Arguments preview(arguments);
        preview.emplace_back("--preview");
        const Outcome shown = Tsub(preview);
        ASSERT_TRUE(read() == before);
        const Outcome done = Tsub(arguments);
        EXPECT_EQ(shown.status, done.status);
        const std::string expected = read();
        Write("preview.diff", shown.out);
        const std::string command = "cd " + copy.string() + " && patch -s -p0 < " +
                                    (folder / "preview.diff").string() + " > /dev/null";
        ASSERT_EQ(shown.out.find("@@") == std::string::npos ? 0 : std::system(command.c_str()), 0)
            << testing::PrintToString(way) << shown.out;
        fs::remove(folder / "preview.diff");
        const fs::path original = folder;
        folder = copy;
        ASSERT_TRUE(read() == expected) << testing::PrintToString(way) << blockSize;
        folder = original;
        fs::remove_all(copy);
    }
}

TEST_F(CommandTest, APreviewTellsLinesAsDiffDoes) {
    Write("x.txt", "1\n2\n3\n4\na\n6\n7\n8\n9\n10\n11\n12\n13\n14\na");
    const std::string expected = "--- x.txt\n+++ x.txt\n"
                                 "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-a\n+b\n 6\n 7\n 8\n"
                                 "@@ -12,4 +12,4 @@\n 12\n 13\n 14\n-a\n"
                                 "\\ No newline at end of file\n+b\n"
                                 "\\ No newline at end of file\n";
    for (const char* const option : {"--preview", "--dry-run"}) {
        EXPECT_EQ(Tsub({"x.txt", "-f:a", "-t:b", option}).out, expected);
    }
    EXPECT_EQ(Tsub({"x.txt", "-f:a", "-t:b", "--preview", "--color=never", "--jobs=3"}).out,
              expected);
    // Lines that go and lines that come stand by themselves, without the rest of the block.
    EXPECT_EQ(Tsub({"x.txt", "-r:^4\\n|\\n14", "-t:", "--preview"}).out,
              "--- x.txt\n+++ x.txt\n@@ -1,7 +1,6 @@\n 1\n 2\n 3\n-4\n a\n 6\n 7\n"
              "@@ -11,5 +10,4 @@\n 11\n 12\n 13\n-14\n a\n\\ No newline at end of file\n");
    EXPECT_EQ(Tsub({"x.txt", "-f:\n4\na", "-t:\n4b", "--preview", "--color=always"}).out,
              "\x1B[1m--- x.txt\x1B[m\n\x1B[1m+++ x.txt\x1B[m\n\x1B[36m@@ -1,8 +1,7 @@\x1B[m\n"
              " 1\n 2\n 3\n\x1B[31m-4\x1B[m\n\x1B[31m-a\x1B[m\n\x1B[32m+4b\x1B[m\n 6\n 7\n 8\n");
}

TEST_F(CommandTest, NamesAndCountsAreShownAsGrepDoes) {
    Write("a.txt", "x-x");
    Write("d/b c.txt", "x");
    Write("n.txt", "y");
    const struct {
        Arguments arguments;
        std::string out;
    } rows[] = {
        {{"--files-with-matches"}, "a.txt\nd/b c.txt\n"},
        {{"--files-with-matches", "--null"}, std::string("a.txt\0d/b c.txt\0", 16)},
        {{"--count"}, "a.txt:2\nd/b c.txt:1\n"},
        {{"--count", "--null"},
         std::string("a.txt\0"
                     "2\nd/b c.txt\0"
                     "1\n",
                     20)},
    };
    for (const auto& row : rows) {
        Arguments arguments{"a.txt", "d/b c.txt", "n.txt", "-f:x", "-t:z"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(outcome.out, row.out);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(Read("a.txt") + Read("d/b c.txt"), "x-xx");
    }
    for (const char* const option : {"--preview", "--count"}) {
        EXPECT_EQ(Tsub({"-f:x", "-t:y", option}, "x").status, 255);
        EXPECT_EQ(Tsub({"a.txt", "-f:x", "-t:y", "-stdout", option}).status, 255);
    }
}

TEST_F(CommandTest, APreviewedConversionTellsWhatItWouldLose) {
    Write("x.txt", "a\xE2\x82\xAC\n\xE4\xBD\xA0"
                   "b\xFF");
    const auto shown = [this](const char* to) {
        return Tsub({"x.txt", "-any", "-encin:utf-8", std::string("-encout:") + to, "--preview",
                     "-force"})
            .out;
    };
    const std::string bad = "1 byte isn't utf-8, the first is 0xFF at offset 9 on line 2";
    EXPECT_EQ(shown("utf-16le"), "x.txt: utf-8 to utf-16le, 6 characters, " + bad + "\n");
    EXPECT_EQ(shown("gb18030"), "x.txt: utf-8 to gb18030, 6 characters, " + bad + "\n");
    EXPECT_EQ(shown("iso-8859-1"), "x.txt: utf-8 to iso-8859-1, 6 characters, " + bad +
                                       "; 2 characters aren't in iso-8859-1, the first is U+20AC, "
                                       "character 2 of the result\n");
    EXPECT_EQ(Read("x.txt").size(), 10U);
}

} // namespace

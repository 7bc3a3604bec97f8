// The file list: what names and patterns with "./" in front mean, what is said of names that lead
// nowhere, and that names cost no listing.
#include "tests/tool/command.h"

#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST_F(CommandTest, ADotInFrontMeansHere) {
    const struct {
        std::vector<std::string> patterns;
        std::string files; ///< the letters of those that are replaced, in order
        std::string err;
        int status;
    } rows[] = {
        {{"./a.txt"}, "a", "", 0},
        {{".//.///a.txt", "././b.txt"}, "ab", "", 0},
        {{"./*.txt"}, "abh", "", 0},
        {{"./sub/*"}, "c", "", 0},
        {{"./"}, "abh", "", 0},
        {{"sub/"}, "c", "", 0},
        {{".", "./a.txt", "./sub", "./sub/c.txt"}, "ac", "", 0}, // as find lists them
        {{"b.txt", "./gone", "a.txt"}, "ba", "[ERROR] can't find the file: ./gone\n", 0},
        {{"gone", "sub/gone", "gone*", "a.txt", "./.h.txt", "-errstop"},
         "a",
         "[ERROR] can't find the file: gone\n[ERROR] can't find the file: sub/gone\n",
         0},
        {{"gone", "."}, "", "[FATAL ERROR] can't find the file(s)!\n", 255},
    };
    for (const auto& row : rows) {
        for (const char* const name : {"a.txt", "b.txt", ".h.txt", "sub/c.txt"}) {
            Write(name, std::string("-") + name);
        }
        std::vector<std::string> arguments{"-f:-", "-t:", "-stdout"};
        arguments.insert(arguments.end(), row.patterns.begin(), row.patterns.end());
        const Outcome outcome = Tsub(arguments);
        std::string files;
        for (std::size_t end = outcome.out.find(".txt"); end != std::string::npos;
             end = outcome.out.find(".txt", end + 1)) {
            files += outcome.out[end - 1];
        }
        if (row.files == "abh") { // a listing's order is the system's
            std::sort(files.begin(), files.end());
        }
        EXPECT_EQ(files, row.files) << testing::PrintToString(row.patterns);
        EXPECT_EQ(outcome.err, row.err) << testing::PrintToString(row.patterns);
        EXPECT_EQ(outcome.status, row.status) << testing::PrintToString(row.patterns);
    }
}

TEST_F(CommandTest, NamesThatTheShellExpandedCostNoListing) {
    // With a listing for each, this would be 400 million questions to the system.
    std::vector<std::string> arguments{"-f:x", "-t:y"};
    Write("f0", "x");
    for (int i = 1; i < 20000; ++i) {
        const std::string name = "f" + std::to_string(i);
        ASSERT_EQ(link((folder / "f0").c_str(), (folder / name).c_str()), 0);
        arguments.push_back(name);
    }
    arguments.emplace_back("f0");
    fs::create_symlink("nowhere", folder / "dangling"); // beside the names, none of them
    const Outcome outcome = Tsub(arguments);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(Read("f0"), "y");
}

} // namespace

// Sorting a command line into switches and words, and cutting a flat one.
#include "util/sys/misc.h"
#include "util/text/CmdArgParser.h"

#include <gtest/gtest.h>

namespace {

using namespace Quil;

TEST(CmdArgParser, SortsByPrefixAndSuffix) {
    const struct {
        const char* raw;
        bool isSwitch;
        const char* name;
        const char* value;
    } rows[] = {
        {"-f:", true, "f", ""},       {"-f", true, "f", ""},        {"-f:a:b", true, "f", "a:b"},
        {"-x=1:2", true, "x", "1:2"}, {"-a:b=c", true, "a", "b=c"}, {"/s", false, "", ""},
        {"", false, "", ""},          {"-", false, "", ""},         {"-:x", false, "", "x"},
        {"--f:y", true, "-f", "y"},
    };
    std::vector<const char*> argv{"-program:name"};
    for (const auto& row : rows) {
        argv.push_back(row.raw);
    }
    CCmdArgParser parser("-", ":=", 1);
    ASSERT_EQ(parser.Parse(static_cast<int>(argv.size()), argv.data()), 1);
    EXPECT_FALSE(parser.IsSwitch(0) || parser.IsNoneSwitch(0));
    unsigned int i = 0;
    for (const auto& row : rows) {
        ++i;
        EXPECT_EQ(parser.IsSwitch(i), row.isSwitch) << row.raw;
        EXPECT_EQ(parser.IsNoneSwitch(i), !row.isSwitch) << row.raw;
        EXPECT_EQ(parser.GetSwitchName(i), row.name) << row.raw;
        EXPECT_EQ(parser.GetSwitchValue(i), row.value) << row.raw;
    }
    EXPECT_FALSE(parser.IsNoneSwitch(i + 1));
    // Two nameless switches count as switches, so the words that can be reached are two fewer.
    EXPECT_EQ(parser.GetNoneSwitchCount(), 2U);
    EXPECT_EQ(parser.GetNoneSwitch(0), "/s");
    EXPECT_EQ(parser.GetNoneSwitch(2), "");
}

TEST(CmdArgParser, LooksUpByNameAndOccurrence) {
    CCmdArgParser parser("-/", ":", 0);
    parser.Parse(std::vector<stringEx>{"-f:1", "word", "/F:2", "-f:3", "-fic:x"});
    EXPECT_EQ(parser.GetSwitchCount("f"), 2U);
    EXPECT_EQ(parser.GetSwitchCountNoCase("f"), 3U);
    EXPECT_EQ(parser.GetSwitch("f", 1), "3");
    EXPECT_EQ(parser.GetSwitchNoCase("f", 1), "2");
    EXPECT_EQ(parser.GetSwitchPos("FIC", 0), CCmdArgParser::NOT_FOUND);
    EXPECT_EQ(parser.GetSwitchPosNoCase("FIC", 0), 4U);
    EXPECT_EQ(parser.GetSwitchPosNoCase("", 0), CCmdArgParser::NOT_FOUND);
    EXPECT_EQ(parser.GetSwitchCountNoCase(""), 0U);
    EXPECT_EQ(parser.GetSwitch("f", 2), "");
    // Without a suffix set the whole word is the name; without a prefix set nothing is sorted.
    EXPECT_EQ(parser.Reset("-", "", 1), 1);
    EXPECT_EQ(parser.GetSwitchPos("fic:x", 0), 4U);
    EXPECT_EQ(parser.GetNoneSwitchCount(), 2U);
    EXPECT_EQ(parser.Reset("", ":"), 0);
    EXPECT_EQ(CCmdArgParser("-", ":", 1).Reset(0), 1);
}

TEST(CmdArgParser, MergeKeepsTheCounts) {
    CCmdArgParser parser("-", ":", 0);
    parser.Parse(std::vector<stringEx>{"a"});
    CCmdArgParser other("-", ":", 1);
    other.Parse(std::vector<stringEx>{"program", "-s", "b"});
    EXPECT_EQ(parser.Merge(other), 2U);
    EXPECT_TRUE(parser.IsSwitch(1));
    EXPECT_EQ(parser.GetNoneSwitchCount(), 3U) << "the switch count is the old one";
    parser.Reset(0);
    EXPECT_EQ(parser.GetNoneSwitchCount(), 2U);
    EXPECT_EQ(parser.Merge(parser), 3U);
}

TEST(CmdArgParser, CutsAFlatLine) {
    const struct {
        const char* line;
        std::vector<const char*> raws;
    } rows[] = {
        {"a \"b c\" d", {"a", "b c", "d"}},
        {"  x\t\n y  ", {"x", "y"}},
        {"-t:\"p q\"r \"\" s", {"-t:p qr", "s"}},
        {"one \"two  three", {"one", "two  three"}},
        {"\"tab\there\" \"\v\r\n\"", {"tab\there", "\v\r\n"}},
    };
    CCmdArgParser parser("-", ":", 0);
    for (const auto& row : rows) {
        ASSERT_EQ(parser.Parse(stringEx(row.line)), 1) << row.line;
        std::vector<stringEx> raws(row.raws.begin(), row.raws.end());
        CCmdArgParser expected("-", ":", 0);
        expected.Parse(raws);
        ASSERT_EQ(parser.GetNoneSwitchCount(), expected.GetNoneSwitchCount()) << row.line;
        for (unsigned int i = 0; i < raws.size(); ++i) {
            EXPECT_EQ(parser.GetNoneSwitch(i), expected.GetNoneSwitch(i)) << row.line;
            EXPECT_EQ(parser.GetSwitchValue(i), expected.GetSwitchValue(i)) << row.line;
        }
    }
    EXPECT_EQ(parser.Parse(stringEx(" \t ")), 0);
    EXPECT_EQ(parser.GetNoneSwitchCount(), 2U) << "a blank line keeps the arguments";
}

TEST(CmdArgParser, FetchesTheProcessesOwnLine) {
    stringEx line;
    GetCmdLine(line);
    CCmdArgParser parser("-", ":", 1);
    parser.Parse(line);
    EXPECT_NE(line.find("text_tests", 0), stringEx::npos) << line.c_str();
    wstringEx wide;
    GetCmdLine(wide);
    EXPECT_EQ(wide.to_str(), line);
}

} // namespace

// What the command line alone decides: usage, listings, refusals, which of several switches wins.
#include "tests/tool/command.h"

#include <algorithm>

namespace {

using Arguments = std::vector<std::string>;

TEST_F(CommandTest, TooLittleOnTheLinePrintsTheUsage) {
    Write("x.txt", "aaa");
    for (const Arguments& arguments :
         {Arguments{}, Arguments{"-h"}, Arguments{"-?"}, Arguments{"x.txt", "-f:a"},
          Arguments{"-f:", "-t:x"}, Arguments{"x.txt", "-t:b"}, Arguments{"x.txt", "-r", "-t:b"},
          Arguments{"x.txt", "-H", "-f:a", "-t:b"}}) {
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(outcome.status, 1) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out.rfind("\n====", 0), 0U);
        EXPECT_NE(outcome.out.find("\nUSAGE: tsub ["), std::string::npos);
        // A control character in the third example, GBK bytes in the last two, an empty last line.
        EXPECT_NE(outcome.out.find("/t:\"\x01HER_DEF\"\n"), std::string::npos);
        EXPECT_NE(outcome.out.find("-r:\"\xD5\xC5(\\a+/>)\" -t:\"\xC0\xEE\\1\"\n"),
                  std::string::npos);
        EXPECT_TRUE(outcome.out.ends_with("\xC3\xC7\"\n\n"));
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_EQ(Read("x.txt"), "aaa");
}

TEST_F(CommandTest, TheFirstSwitchInOrderWins) {
    const struct {
        Arguments arguments;
        const char* result;
    } rows[] = {
        {{"-f:a", "-r:b", "-t:c"}, "cbAB"},
        {{"-fic:a", "-ric:b", "-t:c"}, "cbcB"},
        {{"-any", "-f:b", "-t:"}, "aAB"},
        {{"-f:a", "-t:c", "-tu:d"}, "cbAB"},
        {{"-f:a", "-tl:D", "-tu:d"}, "DbAB"},
        {{"-f:a", "-tl:D\\T"}, "d\\tbAB"},
        {{"-f:a", "-f:b", "-t:x", "-t:y"}, "xbAB"},
        {{"-F=a", "-T=x:=y"}, "x:=ybAB"},
        {{"-f:ab", "-t"}, "AB"},
        {{"-foo", "-f:a", "-t:b", "-s:3"}, "bbAB"},
        {{"-f:a", "-t:x", "-noexp"}, "xbAB"},
        {{"-fic:AB", "-t:x", "-noexp", "-exp"}, "xx"},
        {{"-any", "-t:new"}, "new"},
        {{"-f:[:nl:]", "-t:[:nl:]"}, "abAB"},
    };
    for (const auto& row : rows) {
        Write("x.txt", "abAB");
        Arguments arguments{"x.txt"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(Read("x.txt"), row.result) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.status, std::string("abAB") == row.result ? 1 : 0);
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST_F(CommandTest, RefusalsTouchNothing) {
    Write("x.txt", "a\xC3\xA9");
    const struct {
        Arguments arguments;
        const char* out;
        const char* err;
    } rows[] = {
        {{"x.txt", "-f:a", "-t:b", "-encarg: utf-16 "},
         "[FATAL ERROR] due to system's limite, wide char is not support for the argument.\n",
         ""},
        {{"-h", "-encarg:CP1201"},
         "[FATAL ERROR] due to system's limite, wide char is not support for the argument.\n",
         ""},
        {{"x.txt", "-any", "-encin:utf-8", "-encout:gbk"},
         "\n## Incompatible text encoding convertion detected: encoding from \"utf-8\" to \"gbk\" "
         "will lost infomation and should not be used. use: \"tsub -listcmp\" for a list of the "
         "compatible convertion combinations. or use \"-force\" to enforce the convertion.\n",
         ""},
        {{"missing*.txt", "-f:a", "-t:b"}, "", "[FATAL ERROR] can't find the file(s)!\n"},
        {{"/s", "-f:a", "-t:b"}, "", "[FATAL ERROR] can't find the file(s)!\n"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Tsub(row.arguments);
        EXPECT_EQ(outcome.status, 255) << testing::PrintToString(row.arguments);
        EXPECT_EQ(outcome.out, row.out);
        EXPECT_EQ(outcome.err, row.err);
    }
    // A name that no library knows ends the run before a file is touched, with or without -force.
    for (const char* name : {"-encin:no-such-charset", "-encout:no-such-charset",
                             "-encarg:", "-encin:-_-", "-encin:CP99999"}) {
        const Outcome outcome = Tsub({"x.txt", "-f:a", "-t:b", "-force", name});
        EXPECT_EQ(outcome.status, 255) << name;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("[FATAL ERROR] Quil runtime lib error: ", 0), 0U)
            << outcome.err;
    }
    EXPECT_EQ(Read("x.txt"), "a\xC3\xA9");
}

TEST_F(CommandTest, TheEncodingListing) {
    const Outcome outcome = Tsub({"-LISTENC", "-h", "-encarg:utf-16"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const std::string& out = outcome.out;
    EXPECT_EQ(out.rfind("\nName                Codepage   Description\n=====", 0), 0U);
    for (const char* line :
         {"\nGBK                 CP936      Simplified Chinese - GBK\n",
          "\nOEM-MultilingualLatinI\n                    CP850      Multilingual "
          "Latin 1 - OEM\n",
          "\nOEM-CanadianFrench  CP863      Canadian French - OEM\n",
          "\nANSI-CentralEuropean\n                    CP1250     "}) {
        EXPECT_NE(out.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3 + 95 + 3)
        << "three names are too long for their column";
}

TEST_F(CommandTest, TheListingOfConversions) {
    const Outcome outcome = Tsub({"-listcmp"});
    EXPECT_EQ(outcome.status, 0);
    const std::string blanks(40, ' ');
    const std::string& out = outcome.out;
    EXPECT_EQ(out.rfind("\n-- Unicode Charset --\nFrom" + std::string(36, ' ') + "To\n====", 0),
              0U);
    EXPECT_NE(out.find("=\n<ANY>" + std::string(35, ' ') + "GB18030\n" + blanks + "UCS-2\n"),
              std::string::npos);
    EXPECT_NE(out.find("=\nANSI_x3.4-1968" + std::string(26, ' ') + "<ANY>\nASCII\nC\n"),
              std::string::npos);
    EXPECT_NE(out.find("\nTCVN" + std::string(36, ' ') + "TCVN\nVISCII" + std::string(34, ' ') +
                       "VISCII\n\n-- GB Special --\n"),
              std::string::npos);
    // A right column that has run out leaves its blanks behind the left one.
    EXPECT_NE(out.find("\nGB2312" + std::string(34, ' ') + "\nISO-2022-JP"), std::string::npos);
}

} // namespace

// Lists of rules as a user gives them: what is said of a bad one, what the lines mean, and that
// every way of an input comes to the same.
#include "tests/tool/command.h"

#include <fstream>
#include <random>
#include <sys/stat.h>
#include <thread>

namespace {

const char* const TERMS = "# terms of the manual\n"
                          "\n"
                          "colour\tcolor\n"
                          "New York\tNYC\r\n"
                          "北京\tPeking\n"
                          "北京大学\tPKU\n"
                          "@word nocase\n"
                          "foo\tbar\n"
                          "@regex\n"
                          "([0-9]+)-([0-9]+)\t\\2-\\1\n"
                          "@literal\n"
                          "never\tthere\n";
const char* const TEXT = "colour Foo FOO food New York 12-345 北京大学, 北京\n";
const char* const RESULT = "color bar bar food NYC 345-12 PKU, Peking\n";

} // namespace

TEST_F(CommandTest, EveryWayOfAnInputComesToTheSameByRules) {
    std::string text;
    std::string result;
    for (int i = 0; i < 3000; ++i) {
        text += i % 3 == 0 ? TEXT : "nothing here\n";
        result += i % 3 == 0 ? RESULT : "nothing here\n";
    }
    Write("terms", TERMS);
    Write("literals", "colour\tcolor\n北京\tPeking\n北京大学\tPKU\nNew York\tNYC\n@word nocase\n"
                      "foo\tbar\n@literal\n12-345\t345-12\n");
    for (const std::string rules : {"--rules=terms", "--rules=literals"}) {
        SCOPED_TRACE(rules);
        for (const std::size_t size : {0, 1, 7, 100}) {
            blockSize = size;
            const std::string& some = size == 0 ? text : std::string(TEXT);
            const std::string& wanted = size == 0 ? result : std::string(RESULT);
            EXPECT_EQ(Tsub({"--filter", rules}, some).out, wanted) << size;
            EXPECT_EQ(Tsub({"--filter", rules, "--from-code=utf-8", "--to-code=utf-16le"}, some)
                          .out.substr(0, 4),
                      std::string("c\0o\0", 4));
            for (const std::vector<std::string>& more :
                 {std::vector<std::string>{},
                  {"--keep-bytes"},
                  {"-encin:utf-8", "-encout:gbk", "-force"}}) {
                Write("file", some);
                std::vector<std::string> arguments{"file", rules};
                arguments.insert(arguments.end(), more.begin(), more.end());
                EXPECT_EQ(Tsub(arguments).status, 0);
                if (more.size() == 3) {
                    EXPECT_EQ(Tsub({"file", "-any", "-encin:gbk", "-encout:utf-8"}).status, 1);
                }
                EXPECT_TRUE(Read("file") == wanted) << more.size() << Read("file").substr(0, 200);
            }
        }
        blockSize = 0;
        Write("gbk", TEXT);
        Tsub({"gbk", "-any", "-encin:utf-8", "-encout:gbk", "-force"});
        EXPECT_EQ(Tsub({"gbk", rules, "--from-code=gbk", "--keep-bytes", "--backup"}).status, 0);
        EXPECT_EQ(Tsub({"gbk", "-any", "--from-code=gbk", "--to-code=utf-8"}).status, 1);
        EXPECT_EQ(Read("gbk"), RESULT);
    }
}

TEST_F(CommandTest, LiteralRulesInBlocksAreThoseOfTheWholeText) {
    std::mt19937 random(3);
    const std::string letters[] = {"a", "b", " ", "\n", "é", "文"};
    const auto some = [&](std::size_t most) {
        std::string text;
        for (std::size_t i = random() % most + 1; i > 0; --i) {
            text += letters[random() % std::size(letters)];
        }
        return text;
    };
    for (int round = 0; round < 40; ++round) {
        std::string rules = "find,put\n";
        for (int i = 0; i < 6; ++i) {
            rules += i == 3 ? "@word\n" : "";
            rules += "\"" + some(6) + std::string(static_cast<std::size_t>(i), 'b') + "\",<" +
                     std::to_string(i) + ">\n";
        }
        const std::string text = some(80);
        Write("rules", rules);
        blockSize = 0;
        const std::vector<std::string> arguments{"--filter", "--rules=rules", "--rules-format=csv"};
        const Outcome whole = Tsub(arguments, text);
        if (whole.status == 255) {
            EXPECT_NE(whole.err.find("the same is found by"), std::string::npos) << whole.err;
            continue;
        }
        blockSize = random() % 5 + 1;
        Write("text", text);
        EXPECT_EQ(Tsub(arguments, text).out, whole.out) << rules;
        Tsub({"text", "--rules=rules", "--rules-format=csv"});
        EXPECT_EQ(Read("text"), whole.out) << rules;
        const std::string other = Tsub({"--filter", "--rules=rules", "--rules-format=csv",
                                        "--from-code=utf-8", "--to-code=gb18030"},
                                       text)
                                      .out;
        const std::vector<std::string> back{"--filter", "-any", "--from-code=gb18030",
                                            "--to-code=utf-8"};
        EXPECT_EQ(Tsub(back, other).out, whole.out) << rules << blockSize;
    }
}

TEST_F(CommandTest, ABadListIsToldByItsPlaceAndNothingIsRead) {
    static const struct {
        const char* list;
        const char* message;
    } ROWS[] = {
        {"a\tb\nnothing parted\n", "line 2, column 15: no tab"},
        {"a\tb\tc\n", "line 1, column 4: a second tab"},
        {"\tb\n", "line 1, column 1: nothing to find"},
        {"a\tb\\q\n", "line 1, column 4: \\ has to have"},
        {"é\\x4\tb\n", "line 1, column 2: \\ has to have"},
        {"a\\ud800\tb\n", "line 1, column 2: \\ has to have"},
        {"@wrod\n", "line 1, column 1: @wrod isn't a directive; @word is one"},
        {"@regex word\n", "line 1, column 8: word can't stand behind @regex"},
        {"x\ty\n@regex\na(b\tc\n", "line 3, column 2: bad expression: "},
        {"a\tb\n\nc\td\na\tb\n", "line 4, column 1: the same is found by list, line 1"},
        {"@nocase\nÄ\tb\nä\tc\n", "line 3, column 1: the same is found by list, line 2"},
        {"a\tb\nc \xFF\td\n", "line 2, column 3: bytes that are no utf-8"},
        {"a\tb\nc\t\xFD\x95\x95\x95\x95\x95\n", "line 2, column 3: bytes that are no utf-8"},
        {"# nothing\n", "no rules: list has none"},
    };
    for (const auto& row : ROWS) {
        SCOPED_TRACE(row.list);
        Write("list", row.list);
        Write("text", "a a(b\n");
        const Outcome outcome = Tsub({"text", "--rules=list"});
        EXPECT_EQ(outcome.status, 255);
        EXPECT_NE(outcome.err.find(row.message), std::string::npos) << outcome.err;
        EXPECT_EQ(Read("text"), "a a(b\n");
    }
    Write("list", "a,b\né,\"c\nd,e\n");
    EXPECT_NE(Tsub({"text", "--rules=list", "--rules-format=csv"})
                  .err.find("list, line 2, column 3: a quote that is never closed"),
              std::string::npos);
    Write("list", "a,b\nc,d,e\n");
    EXPECT_NE(Tsub({"text", "--rules=list", "--rules-format=csv"})
                  .err.find("list, line 2, column 1: a row of 3 cells"),
              std::string::npos);
    Write("list", "a\tb\n");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"text", "--rules=list", "-f:a"},
          {"text", "--rules=list", "-t:a"},
          {"--rules=-"},
          {"text", "--rules=-", "--rules=-"},
          {"text", "--rules=missing"},
          {"text", "-f:a", "-t:b", "--rules-report"},
          {"text", "-f:a", "-t:b", "--change-case=upper"},
          {"text", "-r:a", "-t:b", "--preserve-case"},
          {"--report", "--rules=list"},
          {"--undo", "--rules=list"},
          {"text", "--rules=list", "--rules-charset=x"}}) {
        EXPECT_EQ(Tsub(arguments, "a\n").status, 255) << testing::PrintToString(arguments);
        EXPECT_EQ(Read("text"), "a a(b\n");
    }
}

TEST_F(CommandTest, ListsComeAsTheirWritersHaveThem) {
    static const struct {
        std::string list;
        std::vector<std::string> options;
        std::string text;
        std::string result;
    } ROWS[] = {
        {"a\\tb\\\\\\x41\\u00e9\\uD83D\\uDE00\t\\n\\r\\#\\@\n", {}, "a\tb\\Aé😀.", "\n\r#@."},
        {"\\#x\t1\n\\@y\t2\n", {}, "#x @y", "1 2"},
        {"x\t\n", {}, "axb", "ab"},
        {"\xEF\xBB\xBFx\ty\n", {}, "x", "y"},
        {std::string("\xFF\xFEx\0\t\0y\0\n\0", 10), {}, "x", "y"},
        {"\xD6\xD0\tx\n", {"--rules-charset=gbk"}, "中", "x"},
        {"\"a, \"\"b\"\"\",\"c\nd\"\n@nocase\ne,f\n",
         {"--rules-format=csv"},
         "a, \"b\" E",
         "c\nd f"},
        {"a,b\tc\n", {"--rules-format=csv"}, "a,b", "c"},
        {"@regex nocase\n^x(.)\t<\\1>\n", {}, "Xa\nxb x", "<a>\n<b> x"},
        {"@regex nnl\na.b\tc\n", {}, "a\nb", "c"},
        {"@regex\nx*\t-\n", {}, "axxb", "a-b"},
        {"a\tb\nb\ta\n", {}, "abba", "baab"},
    };
    for (const auto& row : ROWS) {
        Write("list", row.list);
        std::vector<std::string> arguments{"--filter", "--rules=list"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const Outcome outcome = Tsub(arguments, row.text);
        EXPECT_EQ(outcome.out, row.result) << row.list << outcome.err;
    }
    Write("list", "a\tb\n");
    Write("more", "c\td\n");
    Write("text", "a c e");
    EXPECT_EQ(Tsub({"text", "--rules=list", "--rules=more", "--rules=-"}, "e\tf\n").status, 0);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    std::thread writer([this] { std::ofstream(folder / "pipe") << "b\tb\n"; });
    EXPECT_EQ(Tsub({"text", "--rules=pipe"}).status, 0) << "a pipe by name";
    writer.join();
    EXPECT_EQ(Read("text"), "b d f");
}

TEST_F(CommandTest, TheReportCountsEachMatchOnce) {
    Write("terms", TERMS);
    const std::string report = "## 6 rules matched, 21 times\n3\tterms:3\tcolour\tcolor\n"
                               "3\tterms:4\tNew York\tNYC\n3\tterms:5\t北京\tPeking\n"
                               "3\tterms:6\t北京大学\tPKU\n6\tterms:8\tfoo\tbar\n"
                               "3\tterms:10\t([0-9]+)-([0-9]+)\t\\2-\\1\n"
                               "## 1 rule never matched\n0\tterms:12\tnever\tthere\n";
    for (const std::vector<std::string>& more : {std::vector<std::string>{"--count"},
                                                 {"--keep-bytes", "--files-with-matches"},
                                                 {"--preview"},
                                                 {"--from-code=auto", "--jobs=2"},
                                                 {}}) {
        for (const char* const name : {"a.txt", "b.txt", "c.txt"}) {
            Write(name, TEXT);
        }
        Write("d.txt", "none of them\n");
        std::vector<std::string> arguments{"*.txt", "--rules=terms", "--rules-report=report"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(Tsub(arguments).status, 0);
        EXPECT_EQ(Read("report"), report) << testing::PrintToString(more);
    }
    EXPECT_EQ(Tsub({"a.txt", "--rules=-", "--rules-report"}, "PKU\tx\\ty\n\x07\ty\n").out,
              "## 1 rule matched, 1 time\n1\t-:1\tPKU\tx\\ty\n## 1 rule never matched\n"
              "0\t-:2\t\\x07\ty\n");
}

TEST_F(CommandTest, LettersFollowWhatTheyReplaceAndGroupsChange) {
    static const struct {
        std::vector<std::string> arguments;
        std::string text;
        std::string result;
    } ROWS[] = {
        {{"-fic:foo", "-t:bär", "--preserve-case"}, "foo Foo FOO fOO", "bär Bär BÄR bär"},
        {{"-ric:f(o+)", "-t:b\\1", "--preserve-case"}, "foo Foo FOO é", "boo Boo BOO é"},
        {{"-rnnlic:é(.)", "-t:ö\\1", "--preserve-case"}, "éa ÉA", "öa ÖA"},
        {{"-r:<(.*)>", "-t:x\\1", "--change-case=upper"}, "<straße é> <a>", "xSTRAßE É> <A"},
        {{"-r:[A-Z]+", "-t:[\\0]", "--change-case=lower"}, "ABC d", "[abc] d"},
        {{"-r:.+", "-t:\\0", "--change-case=title"}, "war AND peace", "War And Peace"},
        {{"-r:(a)", "-tu:\\1b", "--change-case=upper"}, "a", "AB"},
        {{"--rules=list", "--preserve-case", "--change-case=upper"}, "red Red x", "blue Blue X!"},
    };
    Write("list", "@nocase\nred\tblue\n@regex\n(x)\t\\1!\n");
    for (const auto& row : ROWS) {
        std::vector<std::string> arguments{"--filter"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(Tsub(arguments, row.text).out, row.result)
            << testing::PrintToString(row.arguments);
        arguments.emplace_back("-noexp");
        EXPECT_EQ(Tsub(arguments, row.text).out, row.result) << "without a second buffer";
    }
}

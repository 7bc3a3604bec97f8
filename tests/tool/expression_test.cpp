// Expressions on the command line: the four switches, classes, aliases, directors and references,
// on a file in both ways of building the result, and on a pipe.
#include "tests/tool/command.h"

namespace {

TEST_F(CommandTest, Expressions) {
    const struct {
        const char *find, *replace, *text, *result;
    } rows[] = {
        // Where lines and case count.
        {"-r:a.b", "-t:x", "a\nb a-b A-B", "a\nb x A-B"},
        {"-ric:a.b", "-t:x", "a\nb a-b A-B", "a\nb x x"},
        {"-rnnl:a.b", "-t:x", "a\nb a-b A-B", "x x A-B"},
        {"-rnnlic:a.b", "-t:x", "a\nB a-b A-B", "x x x"},
        {"-r:^", "-t:> ", "a\n\nb", "> a\n> \n> b"},
        {"-rnnl:^", "-t:> ", "a\n\nb", "> a\n\nb"},
        {"-r:$", "-t:;", "a\nb", "a;\nb;"},
        // Classes and escapes.
        {"-r:\\d+", "-t:#", "1 22\xD9\xA0 x", "# # x"},
        {"-r:\\w+\\W", "-t:<\\0>", "ab1 _!", "<ab1 ><_!>"},
        {"-r:[[:upper:]]+", "-t:x", "aBC\xC3\x89", "ax"},
        {"-r:a\\tb\\n", "-t:\\n\\t", "a\tb\nc", "\n\tc"},
        // Aliases, wherever they stand; not for plain text.
        {"-r:a[:tb:]b", "-t:x", "a\tb", "x"},
        {"-r:[[:dq:][:sq:]]", "-t:[:bs:]", "a\"b'", "a\bb\b"},
        {"-r:[[:alpha:][:nl:]]+", "-t:x", "a\nb1", "x1"},
        {"-r:a", "-t:x[:nl:]y[:rt:]", "a", "x\ny\r"},
        {"-f:a", "-t:x[:nl:]y", "a", "x[:nl:]y"},
        {"-f:[:nl:]", "-t:x", "\n[:nl:]", "\nx"},
        // A fold reaches neither an alias nor what a reference fills in.
        {"-r:a", "-tu:[:tb:]x", "a", "\tX"},
        {"-r:(a)", "-tu:\\1b", "a", "aB"},
        // Directors.
        {"-r:***:(?i)a.*?b", "-t:x", "Aabb", "xb"},
        {"-r:***:\\ya\\y", "-t:x", "ba a", "ba x"},
        // References.
        {"-r:(a)(b)(c)(d)(e)(f)(g)(h)(i)", "-t:\\9\\8\\7\\6\\5\\4\\3\\2\\1\\0", "abcdefghi",
         "ihgfedcbaabcdefghi"},
        {"-r:(a)|(b)", "-t:<\\1\\2\\3>", "ab", "<a><b>"},
        {"-r:x*", "-t:-", "abc", "-a-b-c"},
    };
    for (const auto& row : rows) {
        const int status = std::string(row.text) == row.result ? 1 : 0;
        const auto message = [&](const char* how) {
            return std::string(how) + ": " + row.find + " " + row.replace;
        };
        for (const char* form : {"-exp", "-noexp"}) {
            Write("x.txt", row.text);
            const Outcome outcome = Tsub({"x.txt", row.find, row.replace, form});
            EXPECT_EQ(Read("x.txt"), row.result) << message(form);
            EXPECT_EQ(outcome.status, status) << message(form);
            EXPECT_EQ(outcome.out + outcome.err, "") << message(form);
        }
        // What comes from a pipe ends with a character more, as a file that holds it would.
        Write("x.txt", row.text + std::string("\xFF"));
        const bool isChanged = Tsub({"x.txt", row.find, row.replace}).status == 0;
        const Outcome piped = Tsub({row.find, row.replace}, row.text);
        EXPECT_EQ(piped.out, isChanged ? Read("x.txt") : row.text + std::string("?"))
            << message("pipe");
        EXPECT_EQ(piped.err, "") << message("pipe");
    }
}

// Only a terminal is told; scripts see that nothing was replaced. Characters count as typed.
TEST_F(CommandTest, BadExpressions) {
    std::string allTogether;
    for (int i = 0; i < 3000; ++i) {
        allTogether += "(a*)";
    }
    const struct {
        std::string find;
        const char* told;
        const char* place = ""; ///< the typed text and the mark below it
    } rows[] = {
        {"-r:ab(c", "parentheses not balanced, at character 3", "    ab(c\n      ^\n@ write \\( "},
        {"-rnnlic:\xC3\xA9\\d+[:tb:]\xC3\xA9[z-a]", "bad range, at character 13",
         "    \xC3\xA9\\d+[:tb:]\xC3\xA9[z-a]\n                ^\n@ the first of "},
        {"-r:\xE4\xBD\xA0\xE4\xBB\xAC(", "parentheses not balanced, at character 3",
         "    \xE4\xBD\xA0\xE4\xBB\xAC(\n        ^\n@ "}, // two columns each
        {"-r:" + std::string(500, 'a') + "\t[" + std::string(500, 'b'),
         "bracket not closed, at character 502",
         " ...aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa [bbbbbbbbbbbbbbbbbbbbbbb...\n"
         "                                                    ^\n@ "},
        {"-r:[[:dq:]]a{256}", "bad repeat count (up to 255, the lower first), at character 10"},
        {"-ric:***:(?i", "unknown or unfinished option in (?...), at its end",
         "    ***:(?i\n           ^\n@ "},
        {"-r:(((a{255}){255}){255}){255}", "too large, at character 17"},
        {"-r:" + allTogether, "too large", "@ "}, // no group alone is
        {"-r:a", nullptr},
        {"-f:a(", nullptr},
    };
    for (const auto& row : rows) {
        for (const bool onTerminal : {false, true}) {
            errorsOnTerminal = onTerminal;
            Write("x.txt", "-");
            const Outcome outcome = Tsub({"x.txt", row.find, "-t:x"});
            EXPECT_EQ(outcome.status, 1) << row.find;
            EXPECT_EQ(Read("x.txt") + outcome.out, "-") << row.find;
            const bool isTold = onTerminal && row.told != nullptr;
            EXPECT_EQ(outcome.err.rfind(isTold ? std::string("[ERROR] bad expression: ") +
                                                     row.told + "\n" + row.place
                                               : "",
                                        0),
                      0U)
                << row.find << "\n"
                << outcome.err;
            EXPECT_EQ(outcome.err.empty(), !isTold) << row.find;
        }
    }
    // A pipe's text goes through as it would without a match.
    const Outcome piped = Tsub({"-r:a(", "-t:x"}, "a(");
    EXPECT_EQ(piped.out, "a(?");
    EXPECT_NE(piped.err, "");
}

} // namespace

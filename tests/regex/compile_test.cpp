// Compiling: result codes, information bits and group counts by table for all syntaxes, and
// patterns made to break the compiler.

#include "regex/regex.h"
#include "tests/regex/engine.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace Quil {
namespace {

constexpr int B = REG_BASIC, E = REG_EXTENDED, A = REG_ADVANCED;

using compiled = test::expression<wchar_t>;
using test::times;

std::string printable(const std::wstring& text) {
    return test::narrow(text.substr(0, 60));
}

// Beside what the string classes are told, and where.
TEST(Compile, ResultCodes) {
    std::wstring distinct;
    for (int c = 0x100; c < 0x100 + REG_MAXCOLORS + 100; c++) {
        distinct += static_cast<wchar_t>(c);
    }
    const struct {
        int flags;
        std::wstring pattern;
        int code;
    } cases[] = {
        // arguments
        {REG_QUOTE | REG_ICASE, L"a", 0},
        {REG_QUOTE | E, L"a", REG_INVARG},
        {REG_QUOTE | REG_EXPANDED, L"a", REG_INVARG},
        {REG_QUOTE | REG_NLANCH, L"a", REG_INVARG},
        {REG_ADVF, L"a", REG_INVARG},
        {A, L"", 0},
        // directors and embedded options
        {A, L"***=a(", 0},
        {B, L"***=a\\", 0},
        {B, L"***x", REG_BADRPT},
        {E, L"**", REG_BADRPT},
        {B, L"**", 0},
        {A, L"***", REG_BADRPT},
        {A, L"(?i a", REG_BADOPT},
        {E, L"(?i)a", REG_BADRPT},
        {A, L"(?q)a(", 0},
        {A, L"(?b)\\(a\\)*", 0},
        {A, L"(?e)a*?b", REG_BADRPT},
        // parentheses
        {B, L"a\\)", REG_EPAREN},
        {B, L"\\(a", REG_EPAREN},
        {E, L"a)", 0},
        {A, L"()", 0},
        {A, L"a(?#x", 0},
        // quantifiers
        {A, L"*a", REG_BADRPT},
        {B, L"*a", 0},
        {A, L"(?=a)*", REG_BADRPT},
        {A, L"^*", REG_BADRPT},
        {A, L"a{1,256}", REG_BADBR},
        {A, L"a{1,", REG_EBRACE},
        {A, L"a{1,2,3}", REG_BADBR},
        {E, L"a{", 0},
        {B, L"a\\{1", REG_EBRACE},
        {B, L"a\\{1\\", REG_BADBR},
        {B, L"a\\{1\\}", 0},
        // back references
        {A, L"\\1(a)", REG_ESUBREG},
        {A, L"(a\\1)", REG_ESUBREG},
        {A, L"(a){0}\\1", REG_ESUBREG},
        {A, L"(?=((a)))\\1", REG_ESUBREG},
        {A, L"(a)(?=\\1)", REG_ESUBREG},
        {A, L"(a)(?=(\\1))", REG_ESUBREG},
        {A, L"(a)(?=b)\\1", 0},
        {A | REG_NOSUB, L"(a)\\1", REG_ESUBREG},
        {A, L"\\89", REG_EESCAPE},
        // escapes
        {B, L"\\", REG_EESCAPE},
        {A, L"\\c", REG_EESCAPE},
        {A, L"\\g", REG_EESCAPE},
        {A, L"\\x", REG_EESCAPE},
        {A, L"\\xg", REG_EESCAPE},
        {A, L"\\u004", REG_EESCAPE},
        {A, L"\\U0000004", REG_EESCAPE},
        {A, L"\\x" + times(300, L"4"), 0},
        {E, L"\\d\\g", 0},
        // brackets
        {A, L"[", REG_EBRACK},
        {A, L"[^", REG_EBRACK},
        {A, L"[]", REG_EBRACK},
        {A, L"[[", REG_EBRACK},
        {A, L"[[:alpha:", REG_EBRACK},
        {A, L"[\\", REG_EESCAPE},
        {A, L"[\\D]", REG_EESCAPE},
        {A, L"[\\1]", REG_EESCAPE},
        {A, L"[\\x]", REG_EESCAPE},
        {A, L"[\\d-z]", REG_ERANGE},
        {A, L"[a-\\UFFFFFFFF]", REG_ERANGE},
        {A, L"[[.tilde.]-a]", REG_ERANGE},
        {A, L"[[..]]", REG_ECOLLATE},
        {A, L"[[==]]", REG_ECOLLATE},
        {A, L"[[::]]", REG_ECTYPE},
        {A, L"[[:ascii:]]", 0},
        {E, L"[[:<:]]a[[:>:]]", 0},
        // limits
        {A, L"(a{255}){10}", 0},
        {A, L"(a{255}){255}", 0},
        {A, L"(?:a?){100}", 0},
        {A, L"((a{255}){255}){255}", REG_ESPACE},
        {A, L"(?:(?:a?){255}){255}", REG_ESPACE},
        {A, L"(?:\\y.?){30}", REG_ESPACE},
        {A, times(100'000, L"a"), 0},
        {A, times(1'000'000, L"a"), REG_ESPACE},
        {REG_QUOTE, distinct.substr(0, 5000), 0},
        {REG_QUOTE, distinct, REG_ESPACE},
        {A, L"[" + distinct + L"]", 0}, // one color
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compiled(c.pattern, c.flags).error(), c.code) << printable(c.pattern);
    }
    regex_t re;
    EXPECT_EQ(wre_comp(nullptr, L"a", 1, A), REG_INVARG);
    EXPECT_EQ(wre_comp(&re, nullptr, 0, A), REG_INVARG);
    EXPECT_EQ(sre_comp(&re, "[[:ascii:]]", 11, A), REG_ECTYPE);
}

TEST(Compile, GroupsAndInformation) {
    const struct {
        int flags;
        std::wstring pattern;
        std::size_t groups;
        long info;
    } cases[] = {
        {A, L"a(b(c))(?:d)", 2, REG_UNONPOSIX},
        {B, L"(a)\\(b\\)", 1, 0},
        {A | REG_NOSUB, L"(a)", 0, 0},
        {A, L"(a){0}", 1, REG_UBOUNDS | REG_UEMPTYMATCH},
        {A, L"(?=((a)))b", 1, REG_UNONPOSIX | REG_ULOOKAHEAD},
        {A, L"(a)\\1", 1, REG_UBACKREF | REG_UNONPOSIX},
        {E, L"a{", 0, REG_UBRACES | REG_UUNSPEC},
        {E, L"\\a", 0, REG_UBSALNUM | REG_UUNSPEC},
        {E, L"a)", 0, REG_UPBOTCH},
        {E, L"[\\a]", 0, REG_UBBS},
        {A, L"[a-b]", 0, REG_UUNPORT},
        {A, L"\\d", 0, REG_UNONPOSIX | REG_ULOCALE},
        {A, L"\\x41", 0, REG_UNONPOSIX | REG_UUNPORT},
        {A, L"[[:alpha:]]", 0, REG_ULOCALE},
        {A, L"[[.a.]]", 0, 0},
        {A, L"[[.tilde.]]", 0, REG_ULOCALE},
        {A, L"\\a", 0, REG_UNONPOSIX | REG_ULOCALE},
        {E, L"a|", 0, REG_UUNSPEC | REG_UEMPTYMATCH},
        {A, L"a*?", 0, REG_UNONPOSIX | REG_UEMPTYMATCH | REG_USHORTEST},
        {A, L"^", 0, REG_UEMPTYMATCH},
        {A, L"$^", 0, REG_UEMPTYMATCH},
        {A, L"^a", 0, 0},
        {A, L"a$b", 0, REG_UIMPOSSIBLE},
        {A, L"a^b", 0, REG_UIMPOSSIBLE},
        {E | REG_EXPANDED, L"a b # c", 0, REG_UNONPOSIX},
    };
    for (const auto& c : cases) {
        compiled re(c.pattern, c.flags);
        ASSERT_EQ(re.error(), REG_OKAY) << printable(c.pattern);
        EXPECT_EQ(re.handle()->re_nsub, c.groups) << printable(c.pattern);
        EXPECT_EQ(re.handle()->re_info, c.info) << printable(c.pattern);
    }
}

/// Whether a compile ends in a result or in a refusal to spend more on it.
void expectbounded(const std::wstring& pattern, int flags) {
    const int code = compiled(pattern, flags).error();
    EXPECT_TRUE(code == REG_OKAY || code == REG_ESPACE || code == REG_EPAREN)
        << code << " for " << printable(pattern);
}

TEST(Compile, HostilePatternsEnd) {
    constexpr std::size_t MANY = 100000;
    for (const wchar_t* const open : {L"(", L"(?:", L"(?=", L"(a|", L"x(?!", L"((a)*?b"}) {
        expectbounded(times(MANY, open), A);
    }
    // So often that each is either compiled in full or meets a limit.
    const struct {
        const wchar_t* piece;
        std::size_t count;
    } pieces[] = {{L"(a)|", 8000},    {L"a|", 15000},           {L"[a-z]", 8000}, {L"(?=a)", 20000},
                  {L"\\w", 8000},     {L"(?#)", 10 * MANY / 4}, {L"(a)", 20000},  {L"a*b*?", 3000},
                  {L"(a)?\\1", MANY}, {L"(a*)", 3000}};
    for (const auto& p : pieces) {
        expectbounded(times(p.count, p.piece), A);
    }
    expectbounded(L"(?:(?:(?:a?){255}){255}){255}", A);
    expectbounded(L"(?:(?:\\y)?a*){255}b", A);

    std::wstring colors; // each character a color of its own
    for (int i = 0; i < 40000; ++i) {
        colors += {L'[', static_cast<wchar_t>(0x4000 + i), L']', L'|'};
    }
    expectbounded(colors, A);
}

/// The number `i` in base 26, letter by letter, in five letters of an alphabet that begins there.
std::wstring wordof(std::size_t i, wchar_t alphabet) {
    std::wstring word;
    for (std::size_t left = i * 7919 % 11881376; word.size() < 5; left /= 26) {
        word += static_cast<wchar_t>(static_cast<std::size_t>(alphabet) + left % 26 +
                                     (alphabet > 0x7f ? i / 26 * 26 % 20800 : 0));
    }
    return word;
}

TEST(Compile, LongListsCompile) {
    const struct {
        std::size_t count;
        const wchar_t* before; ///< in front of each word and behind it, as expression and as text
        const wchar_t* behind;
        const wchar_t* textbefore;
        const wchar_t* textbehind;
        wchar_t alphabet;
        int flags;
    } rows[] = {{20000, L"", L"", L"", L"", L'a', E},
                {20000, L"", L"", L"", L"", L'a', E | REG_ICASE},
                {4000, L"", L"[0-9]", L"", L"7", L'a', E},
                {4000, L"", L"[[:alpha:]]+", L"", L"xyz", L'a', E | REG_ICASE},
                {4000, L"\\d{1,3}\\.", L"", L"12.", L"", L'a', A},
                {4000, L"", L"...x", L"", L"123x", L'a', A},
                {8000, L"", L"", L"", L"", L'\x4e00', E},
                {1000, L"[\x4e00-\x8fff]", L"", L"\x5000", L"", L'a', E | REG_ICASE}};
    for (const auto& row : rows) {
        std::wstring list;
        for (std::size_t i = 0; i < row.count; ++i) {
            list += (i == 0 ? L"" : L"|") + (row.before + wordof(i, row.alphabet)) + row.behind;
        }
        compiled expression(list, row.flags);
        ASSERT_EQ(expression.error(), REG_OKAY) << row.count << printable(row.behind);
        for (const std::size_t i : {std::size_t{0}, row.count / 2, row.count - 1}) {
            const std::wstring text = row.textbefore + wordof(i, row.alphabet) + row.textbehind;
            EXPECT_EQ(test::print(expression.exec(L"..." + text + L"...", 0, 1)),
                      "3-" + std::to_string(3 + text.size()));
        }
    }
    std::wstring ranges;
    for (int i = 0; i < 1000; ++i) {
        ranges += {static_cast<wchar_t>(0x4e00 + i * 7), L'-',
                   static_cast<wchar_t>(0x6e00 + i * 13 % 9000)};
    }
    EXPECT_EQ(
        test::print(compiled(L"[" + ranges + L"]+", E | REG_ICASE).exec(L"a\x4e01\x6000z", 0)),
        "1-3");
    // What can't be had is refused before it is built.
    expectbounded(L"((a?){255}){255}", A);
    expectbounded(L"(((a?)(b?)){200}){130}", A);
    expectbounded(times(20, L"((a|ab|c)*d?){100}"), A);
}

TEST(Compile, NestingUpToTheLimitCompilesOnTheStackOfAThread) {
    std::thread([] {
        const std::size_t depth = REG_MAXDEPTH - 1;
        const std::wstring open = times(depth, L"(?:"), close = times(depth, L")");
        EXPECT_EQ(test::print(compiled(open + L"a" + close, A).exec(L"ba", 0)), "1-2");
        EXPECT_EQ(compiled(L"(" + open + L"a" + close + L")", A).error(), REG_ESPACE);
        expectbounded(times(depth, L"(a?") + times(depth, L")*"), A);
    }).join();
}

TEST(Compile, EveryShortPatternAndRandomOnes) {
    const int allflags[] = {B, E, A, A | REG_ICASE | REG_NEWLINE | REG_EXPANDED, REG_QUOTE};
    for (const int flags : allflags) {
        for (int i = 0; i < 0x10000; ++i) {
            const char pattern[] = {static_cast<char>(i >> 8), static_cast<char>(i)};
            regex_t re;
            if (sre_comp(&re, pattern, i < 256 ? 1 : 2, flags) == REG_OKAY) {
                sregfree(&re);
            }
        }
    }
    std::mt19937 random(20260);
    const std::string syntax = "()[]{}|*+?.^$\\:=!,-#<>0123adwsyXmMAZ \n";
    for (int i = 0; i < 20000; ++i) {
        std::string pattern(random() % 20 + 3, 'a');
        for (char& c : pattern) {
            c = random() % 8 == 0 ? static_cast<char>(random()) : syntax[random() % syntax.size()];
        }
        // An end of its own, so that a read past it is seen.
        const std::vector<char> exact(pattern.begin(), pattern.end());
        regex_t re;
        const int flags = allflags[random() % 4];
        if (sre_comp(&re, exact.data(), exact.size(), flags) == REG_OKAY) {
            EXPECT_LE(re.re_nsub, exact.size());
            sregfree(&re);
        }
    }
}

} // namespace
} // namespace Quil

// Compiling: result codes, information bits and group counts by table for all syntaxes, and
// patterns made to break the compiler.

#include "regex/regex.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

// The test framework includes the C library's matcher, whose macros take the engine's names.
#undef REG_EXTENDED
#undef REG_ICASE
#undef REG_NEWLINE
#undef REG_NOSUB

namespace Quil {
namespace {

constexpr int B = REG_BASIC, E = REG_EXTENDED, A = REG_ADVANCED;

/// One compile of a wide pattern, freed at the end.
class compiled {
public:
    compiled(const std::wstring& pattern, int flags)
        : code(wre_comp(&handle, pattern.data(), pattern.size(), flags)) {}
    ~compiled() {
        if (code == REG_OKAY)
            wregfree(&handle);
    }
    compiled(const compiled&) = delete;
    compiled& operator=(const compiled&) = delete;

    /// The bounds of the match in `text` as "0-2", "no", or "err 5".
    std::string match(const std::wstring& text) {
        if (code != REG_OKAY)
            return "err " + std::to_string(code);
        regmatch_t whole = {-1, -1};
        const int result = wre_exec(&handle, text.data(), text.size(), nullptr, 1, &whole, 0);
        if (result == REG_NOMATCH)
            return "no";
        if (result != REG_OKAY)
            return "exec " + std::to_string(result);
        return std::to_string(whole.rm_so) + "-" + std::to_string(whole.rm_eo);
    }

    regex_t handle{};
    int code;
};

std::wstring times(std::size_t count, const std::wstring& text) {
    std::wstring all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

std::string printable(const std::wstring& text) {
    std::string all;
    for (const wchar_t c : text.substr(0, 60))
        all += c >= ' ' && c < 127 ? std::string(1, static_cast<char>(c)) : "?";
    return all;
}

TEST(Compile, ResultCodes) {
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
        {A, L"***?a", REG_BADPAT},
        {B, L"***x", REG_BADRPT},
        {E, L"**", REG_BADRPT},
        {B, L"**", 0},
        {A, L"***", REG_BADRPT},
        {E, L"***:(?i)a", 0},
        {B, L"***:(?i", REG_BADOPT},
        {A, L"(?z)a", REG_BADOPT},
        {A, L"(?i a", REG_BADOPT},
        {E, L"(?i)a", REG_BADRPT},
        {A, L"(?q)a(", 0},
        {A, L"(?b)\\(a\\)*", 0},
        {A, L"(?e)a*?b", REG_BADRPT},
        // parentheses
        {A, L"(a", REG_EPAREN},
        {A, L"a)", REG_EPAREN},
        {B, L"a\\)", REG_EPAREN},
        {B, L"\\(a", REG_EPAREN},
        {E, L"a)", 0},
        {A, L"()", 0},
        {A, L"(?", REG_BADRPT},
        {A, L"(?<a)", REG_BADRPT},
        {A, L"a(?#x", 0},
        // quantifiers
        {A, L"*a", REG_BADRPT},
        {B, L"*a", 0},
        {E, L"a|*b", REG_BADRPT},
        {E, L"a{2}{3}", REG_BADRPT},
        {A, L"(?=a)*", REG_BADRPT},
        {A, L"^*", REG_BADRPT},
        {A, L"a{255}", 0},
        {A, L"a{256}", REG_BADBR},
        {A, L"a{1,256}", REG_BADBR},
        {A, L"a{2,1}", REG_BADBR},
        {A, L"a{1", REG_EBRACE},
        {A, L"a{1,", REG_EBRACE},
        {A, L"a{1x}", REG_BADBR},
        {A, L"a{1,2,3}", REG_BADBR},
        {E, L"a{", 0},
        {B, L"a\\{1", REG_EBRACE},
        {B, L"a\\{1\\", REG_BADBR},
        {B, L"a\\{1\\}", 0},
        // back references
        {A, L"(a)\\1", 0},
        {A, L"\\1(a)", REG_ESUBREG},
        {A, L"(a\\1)", REG_ESUBREG},
        {A, L"(a){0}\\1", REG_ESUBREG},
        {A, L"((a)){0}\\2", REG_ESUBREG},
        {A, L"(?:(a)){0}\\1", REG_ESUBREG},
        {A, L"(?=((a)))\\1", REG_ESUBREG},
        {A, L"(a)(?=\\1)", REG_ESUBREG},
        {A, L"(a)(?=(\\1))", REG_ESUBREG},
        {A, L"(a)(?=b)\\1", 0},
        {A | REG_NOSUB, L"(a)\\1", REG_ESUBREG},
        {B | REG_NOSUB, L"\\(a\\)\\1", REG_ESUBREG},
        {A, L"\\8", REG_ESUBREG},
        {A, L"\\89", REG_EESCAPE},
        {A, L"(a)\\10", 0},
        // escapes
        {A, L"\\", REG_EESCAPE},
        {B, L"\\", REG_EESCAPE},
        {E, L"\\", REG_EESCAPE},
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
        {A, L"[a", REG_EBRACK},
        {A, L"[^", REG_EBRACK},
        {A, L"[]", REG_EBRACK},
        {A, L"[[", REG_EBRACK},
        {A, L"[[.", REG_EBRACK},
        {A, L"[[:alpha:", REG_EBRACK},
        {A, L"[\\", REG_EESCAPE},
        {A, L"[\\D]", REG_EESCAPE},
        {A, L"[\\y]", REG_EESCAPE},
        {A, L"[\\1]", REG_EESCAPE},
        {A, L"[\\x]", REG_EESCAPE},
        {A, L"[\\d-z]", REG_ERANGE},
        {A, L"[a-\\d]", REG_ERANGE},
        {A, L"[b-a]", REG_ERANGE},
        {A, L"[a-b-c]", REG_ERANGE},
        {A, L"[a-\\UFFFFFFFF]", REG_ERANGE},
        {A, L"[\\x00-\\U7FFFFFFF]", 0},
        {A, L"[[.tilde.]-a]", REG_ERANGE},
        {A, L"[[.nosuch.]]", REG_ECOLLATE},
        {A, L"[[..]]", REG_ECOLLATE},
        {A, L"[[==]]", REG_ECOLLATE},
        {A, L"[[::]]", REG_ECTYPE},
        {A, L"[[:nosuch:]]", REG_ECTYPE},
        {A, L"[[:ascii:]]", 0},
        {E, L"[[:<:]]a[[:>:]]", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(compiled(c.pattern, c.flags).code, c.code) << printable(c.pattern);
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
        {A, L"a$b", 0, REG_UIMPOSSIBLE},
        {E | REG_EXPANDED, L"a b # c", 0, REG_UNONPOSIX},
    };
    for (const auto& c : cases) {
        compiled re(c.pattern, c.flags);
        ASSERT_EQ(re.code, REG_OKAY) << printable(c.pattern);
        EXPECT_EQ(re.handle.re_nsub, c.groups) << printable(c.pattern);
        EXPECT_EQ(re.handle.re_info, c.info) << printable(c.pattern);
    }
}

TEST(Compile, SyntaxByWhatMatches) {
    const struct {
        int flags;
        std::wstring pattern, text;
        const char* match;
    } cases[] = {
        // the three syntaxes and the literal one
        {B, L"a\\{2,3\\}", L"aaaa", "0-3"},
        {B, L"a|b+", L"xa|b+", "1-5"},
        {B, L"^*b", L"*b", "0-2"},
        {B, L"a^b$c", L"a^b$c", "0-5"},
        {B, L"\\<a\\>", L"ba a", "3-4"},
        {E, L"a{,2}", L"a{,2}", "0-5"},
        {E, L"[\\d]+", L"x\\d", "1-3"},
        {A, L"[\\d]+", L"x\\12", "2-4"},
        {A, L"(?q)a.b", L"a.ba.b", "0-3"},
        {E, L"***=a.b", L"axba.b", "3-6"},
        {REG_QUOTE, L"a.b", L"axba.b", "3-6"},
        {A | REG_BOSONLY, L"a", L"ba", "no"},
        // options
        {E, L"***:(?i)a+", L"bAa", "1-3"},
        {A, L"(?ic)a", L"Aa", "1-2"},
        {A, L"(?x)a b\t# c\nc", L"abc", "0-3"},
        {A | REG_EXPANDED, L"[ ]a {2}", L" aa", "0-3"},
        {A, L"a(?#x)*", L"aaa", "0-3"},
        {A, L"(?n)^b.", L"a\nbc", "2-4"},
        {A, L"(?p)a.b|^c", L"a\nb\nc", "no"},
        {A, L"(?w)a.b", L"a\nb", "0-3"},
        // brackets
        {A, L"[]a]+", L"b]a", "1-3"},
        {A, L"[a-]+", L"b-a", "1-3"},
        {E, L"[%--]+", L"a%&-b", "1-4"},
        {E, L"[[.hyphen.]-/]+", L"a-./0", "1-4"},
        {A, L"[[=a=]b]+", L"cab", "1-3"},
        {A | REG_FAKE, L"[[=x=]]+", L"wxyz", "1-3"},
        {A | REG_NLSTOP, L"[^a]", L"\nb", "1-2"},
        {A, L"\\x41b", L"\x041B", "0-1"},
        {A, L"\\u0041b", L"Ab", "0-2"},
        {A, L"[\\w-]+", L"a-b_", "0-4"},
        {A, L"(a)\\10", L"a\b", "0-2"},
        {A, L"\\a\\e\\cA\\B", L"\a\x1b\x01\\", "0-4"},
        // classes and case
        {A, L"[[:print:]]+", L"!a1 ", "1-3"},
        {A, L"[[:graph:]]+", L"\x0120\xA0", "1-2"},
        {A, L"[[:space:]]+", L"a\x3000\x200B\x85", "1-3"},
        {A, L"\\d+",
         L"a\x0660"
         L"1",
         "1-3"},
        {A | REG_ICASE, L"[[:upper:]]", L"1a", "1-2"},
        {A | REG_ICASE, L"[\x0410-\x042F]+", L"\x0434\x0416x", "0-2"},
        {A | REG_ICASE, L"[\x01C4-\x01CC]+",
         L"\x01C4\x01C5\x01C6\x01C7\x01C8\x01C9\x01CA\x01CB\x01CC\x01CD", "0-9"},
        {A | REG_ICASE, L"\x212A", L"kK\x206B", "2-3"},
        {A | REG_ICASE, L"k", L"\x212AK", "1-2"},
        {A | REG_ICASE, L"\x00B5", L"\xFF9C", "0-1"},
        {A | REG_ICASE, L"[\\x00-\\uFFFF]", L"x", "0-1"},
        {A, L"[\\uFFF0-\\U00010010]+", L"\x20\x0F\xFFF1", "1-3"},
        {A, L"[[:alpha:]]+", L"\x0660\xAA\x4E00\xFFFE", "1-4"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(compiled(c.pattern, c.flags).match(c.text), c.match) << printable(c.pattern);
}

TEST(Compile, NarrowCharactersAreSigned) {
    const struct {
        std::string pattern, text;
        int code, start, end;
    } cases[] = {
        {"[\\x80-\\xff]", "a\xE9", REG_OKAY, 1, 2},  {"[\\x00-\\xff]", "a", REG_ERANGE, 0, 0},
        {"[a-\\x7f]", " ~", REG_OKAY, 1, 2},         {"(?i)[Y-\\x7f]+", "X xy~", REG_OKAY, 0, 1},
        {"\\u00e9", "\xE9", REG_OKAY, 0, 1},         {"[^a]", "a\xE9", REG_OKAY, 1, 2},
        {"[[:alpha:]]+", "\xE9xy1", REG_OKAY, 1, 3}, {"[[:cntrl:]]", "a\x01", REG_OKAY, 1, 2},
    };
    for (const auto& c : cases) {
        regex_t re;
        ASSERT_EQ(sre_comp(&re, c.pattern.data(), c.pattern.size(), A), c.code) << c.pattern;
        if (c.code != REG_OKAY)
            continue;
        regmatch_t m = {-1, -1};
        EXPECT_EQ(sre_exec(&re, c.text.data(), c.text.size(), nullptr, 1, &m, 0), REG_OKAY);
        EXPECT_EQ(m.rm_so, c.start) << c.pattern;
        EXPECT_EQ(m.rm_eo, c.end) << c.pattern;
        sregfree(&re);
    }
}

/// Whether a compile ends in a result or in a refusal to spend more on it.
void expectbounded(const std::wstring& pattern, int flags) {
    const int code = compiled(pattern, flags).code;
    EXPECT_TRUE(code == REG_OKAY || code == REG_ESPACE || code == REG_EPAREN)
        << code << " for " << printable(pattern);
}

TEST(Compile, HostilePatternsEnd) {
    constexpr std::size_t MANY = 100000;
    for (const wchar_t* const open : {L"(", L"(?:", L"(?=", L"(a|", L"x(?!", L"((a)*?b"})
        expectbounded(times(MANY, open), A);
    // So often that each is either compiled in full or meets a limit.
    const struct {
        const wchar_t* piece;
        std::size_t count;
    } pieces[] = {{L"(a)|", 8000},    {L"a|", 15000},           {L"[a-z]", 8000}, {L"(?=a)", 20000},
                  {L"\\w", 8000},     {L"(?#)", 10 * MANY / 4}, {L"(a)", 20000},  {L"a*b*?", 3000},
                  {L"(a)?\\1", MANY}, {L"(a*)", 3000}};
    for (const auto& p : pieces)
        expectbounded(times(p.count, p.piece), A);
    expectbounded(L"((a{255}){255}){255}", A);
    expectbounded(L"(?:(?:(?:a?){255}){255}){255}", A);
    expectbounded(L"(?:(?:\\y)?a*){255}b", A);
    EXPECT_EQ(compiled(L"(a{255}){10}", A).code, REG_OKAY);
    EXPECT_EQ(compiled(times(MANY, L"a"), A).code, REG_OKAY);

    std::wstring colors; // each character a color of its own
    for (int i = 0; i < 40000; ++i)
        colors += {L'[', static_cast<wchar_t>(0x4000 + i), L']', L'|'};
    expectbounded(colors, A);
}

/// The number `i` in base 26, letter by letter, in five letters of an alphabet that begins there.
std::wstring wordof(std::size_t i, wchar_t alphabet) {
    std::wstring word;
    for (std::size_t left = i * 7919 % 11881376; word.size() < 5; left /= 26)
        word += static_cast<wchar_t>(alphabet + left % 26 +
                                     (alphabet > 0x7f ? i / 26 * 26 % 20800 : 0));
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
        for (std::size_t i = 0; i < row.count; ++i)
            list += (i == 0 ? L"" : L"|") + (row.before + wordof(i, row.alphabet)) + row.behind;
        compiled expression(list, row.flags);
        ASSERT_EQ(expression.code, REG_OKAY) << row.count << printable(row.behind);
        for (const std::size_t i : {std::size_t{0}, row.count / 2, row.count - 1}) {
            const std::wstring text = row.textbefore + wordof(i, row.alphabet) + row.textbehind;
            EXPECT_EQ(expression.match(L"..." + text + L"..."),
                      "3-" + std::to_string(3 + text.size()));
        }
    }
    std::wstring ranges;
    for (int i = 0; i < 1000; ++i)
        ranges += {static_cast<wchar_t>(0x4e00 + i * 7), L'-',
                   static_cast<wchar_t>(0x6e00 + i * 13 % 9000)};
    EXPECT_EQ(compiled(L"[" + ranges + L"]+", E | REG_ICASE).match(L"a\x4e01\x6000z"), "1-3");
    // What can't be had is refused before it is built.
    expectbounded(L"((a?){255}){255}", A);
    expectbounded(L"(((a?)(b?)){200}){130}", A);
    expectbounded(times(20, L"((a|ab|c)*d?){100}"), A);
}

TEST(Compile, NestingUpToTheLimitCompilesOnTheStackOfAThread) {
    std::thread([] {
        const std::size_t depth = REG_MAXDEPTH - 1;
        const std::wstring open = times(depth, L"(?:"), close = times(depth, L")");
        EXPECT_EQ(compiled(open + L"a" + close, A).match(L"ba"), "1-2");
        EXPECT_EQ(compiled(L"(" + open + L"a" + close + L")", A).code, REG_ESPACE);
        expectbounded(times(depth, L"(a?") + times(depth, L")*"), A);
    }).join();
}

TEST(Compile, EveryShortPatternAndRandomOnes) {
    const int allflags[] = {B, E, A, A | REG_ICASE | REG_NEWLINE | REG_EXPANDED, REG_QUOTE};
    for (const int flags : allflags)
        for (int i = 0; i < 0x10000; ++i) {
            const char pattern[] = {static_cast<char>(i >> 8), static_cast<char>(i)};
            regex_t re;
            if (sre_comp(&re, pattern, i < 256 ? 1 : 2, flags) == REG_OKAY)
                sregfree(&re);
        }
    std::mt19937 random(20260);
    const std::string syntax = "()[]{}|*+?.^$\\:=!,-#<>0123adwsyXmMAZ \n";
    for (int i = 0; i < 20000; ++i) {
        std::string pattern(random() % 20 + 3, 'a');
        for (char& c : pattern)
            c = random() % 8 == 0 ? static_cast<char>(random()) : syntax[random() % syntax.size()];
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

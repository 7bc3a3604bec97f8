// Matching by table: spans of the match and of every group, in the wide and in the narrow engine;
// then what a table can't say: the bounds of work and memory, and the context kept between
// searches.
#include "regex/regcontext.h"
#include "regex/regex.h"
#include "tests/regex/engine.h"

#include <clocale>
#include <iterator>
#include <string>
#include <vector>

namespace Quil {
namespace {

using test::expression;
using test::widen;

struct row {
    const char* flags;   // B E A syntax, Q literal, I S W N U X O F; x and a digit: execute flags
    const char* pattern; // <41> is the character U+0041
    const char* text;
    const char* expected; // spans, "-" took no part; "no"; "err" and the code
};

const row WIDE[] = {
    {"B", "a\\{2,3\\}", "aaaa", "0-3"},
    {"B", "a|b+", "xa|b+", "1-5"},
    {"B", "\\(*a\\)", "x*a", "1-3 1-3"},
    {"B", "^*b", "*b", "0-2"},
    {"B", "a^b$c", "a^b$c", "0-5"},
    {"B", "\\(a\\)\\{2\\}", "aaa", "0-2 1-2"},
    {"B", "\\<a\\>", "ba<20>a", "3-4"},
    {"E", "(a|b)*c", "abac", "0-4 2-3"},
    {"E", "(a*)(ab)*(b*)", "abb", "0-3 0-1 - 1-3"},
    {"E", "(ab|a)(bc|c)?", "abc", "0-3 0-2 2-3"},
    {"E", "a{,2}", "a{,2}", "0-5"},
    {"E", "a{2}{3}", "aaaaaa", "err 13"},
    {"E", "(|a)+", "aaa", "0-3 3-3"},
    {"E", "(^|,)a(,|$)", "b,a", "1-3 1-2 3-3"},
    {"E", "[[:digit:][:upper:]]+", "aB7c", "1-3"},
    {"E", "[%--]+", "a%&-b", "1-4"},
    {"E", "[[.hyphen.]-/]+", "a-./0", "1-4"},
    {"A", "a.*?b", "axbxb", "0-3"},
    {"A", "(a.*?)(b*)", "axbb", "0-1 0-1 1-1"},
    {"A", "(.*?)(b+)$", "abbb", "0-4 0-1 1-4"},
    {"A", "(?:a|ab)(?:c|bcd)(d*)", "abcd", "0-4 4-4"},
    {"A", "(a+?)(a*)", "aaa", "0-1 0-1 1-1"},
    {"A", "(a{1,2}?){2}", "aaaa", "0-2 1-2"},
    {"A", "(a?\?)(a?)", "a", "0-0 0-0 0-0"},
    {"A", "((a)|b)*", "ab", "0-2 1-2 -"},
    {"A", "(a?)*", "aa", "0-2 2-2"},
    {"A", "((a)(b)?)+", "aba", "0-3 2-3 2-3 -"},
    {"A", "(?:(a)|(b)|(c))+", "abc", "0-3 - - 2-3"},
    {"A", "(a){2,3}", "aaa", "0-3 2-3"},
    {"A", "(a*)(a|aa)", "aaaa", "0-4 0-3 3-4"},
    {"A", "(a|b)\\1", "abba", "1-3 1-2"},
    {"A", "(a|b)\\1?", "ab", "0-1 0-1"},
    {"A", "(a*)b\\1", "aabaaa", "0-5 0-2"},
    {"A", "(ab*)\\1+", "abbabbabb", "0-9 0-3"},
    {"A", "(.)(.)\\2\\1", "xabbay", "1-5 1-2 2-3"},
    {"A", "(?:(a*)b|c?)\\1", "xaba", "no"},
    {"AN", "^(.*)\\n\\1$", "z<A>ab<A>ab", "2-7 2-4"},
    {"A", "(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)\\10", "abcdefghijj",
     "0-11 0-1 1-2 2-3 3-4 4-5 5-6 6-7 7-8 8-9 9-10"},
    {"A", "(a)\\10", "a<8>", "0-2 0-1"},
    {"A", "(a*)(\\1)", "aaaa", "0-4 0-2 2-4"},
    {"A", "\\yb\\w*", "abc<20>bcd", "4-7"},
    {"A", "\\Yb", "b<20>ab", "3-4"},
    {"AN", "^a", "b<A>a", "2-3"},
    {"AN", "a$", "a<A>b", "0-1"},
    {"AN", "\\Aa", "b<A>a", "no"},
    {"AS", "a.b", "a<A>b", "no"},
    {"AW", "a.b", "a<A>b", "0-3"},
    {"AS", "[^x]", "<A>y", "1-2"},
    {"AS", "\\Wa", "<A>a", "no"},
    {"A", "[^x]\\Z", "a<A>", "1-2"},
    {"Ax2", "a|$", "b", "no"},
    {"Ax1", "^", "a", "no"},
    {"A", "foo(?=bar)", "foofoobar", "3-6"},
    {"A", "foo(?!bar)", "foobarfoo", "6-9"},
    {"A", "(?=.*b)a", "aab", "0-1"},
    {"A", "(?:(?=ab)a|b)+", "abab", "0-4"},
    {"A", "a(?=b$)", "abab", "2-3"},
    {"A", "(?=(a)b)(a)", "ab", "0-1 0-1"},
    {"A", "(?=((a)))b|a", "ab", "0-1 -"},
    {"A", "(?i)stra<DF>e", "STRA<DF>E", "0-6"},
    {"A", "(?x)a<20>b<9>#<20>c<A>c", "abc", "0-3"},
    {"A", "(?q)a.b", "a.ba.b", "0-3"},
    {"A", "(?z)a", "a", "err 18"},
    {"A", "a(?#x)*", "aaa", "0-3"},
    {"E", "***:(?n)^b.", "a<A>bc", "2-4"},
    {"Q", "a.b", "axba.b", "3-6"},
    {"A", "(?", "a", "err 13"},
    {"A", "\\x41b", "<41B>", "0-1"},
    {"A", "\\u0041b", "Ab", "0-2"},
    {"A", "[\\w-]+", "a-b_", "0-4"},
    {"AI", "[[:upper:]]", "1a", "1-2"},
    {"A", "[[:lower:]]+", "<C9><E0>1", "1-2"},
    {"AI", "[<410>-<42F>]+", "<434><416>x", "0-2"},
    {"AI", "[<1C4>-<1CC>]+", "<1C4><1C5><1C6><1C7><1C8><1C9><1CA><1CB><1CC><1CD>", "0-9"},
    {"A", "[[:space:]]+", "a<3000><200B><85>", "1-3"},
    {"A", "[[:punct:]]+", "a$!<AB>+", "2-4"},
    {"A", "[[:print:]]+", "!a1<20>", "1-3"},
    {"AI", "<130>", "i", "0-1"},
    {"AI", "<FF>", "<178>", "0-1"},
    {"A", "<10041>", "A", "0-1"},
    {"BU", "\\(a\\)\\1", "aa", "err 6"},
    {"A", "((a)){0}\\2", "aa", "err 6"},
    {"A", "(?:(a*?)b)?\?\\1", "xaba", "1-4 1-2"},
    {"A", "(?:(a*?)b)?\?\\1", "xyz", "no"},
    {"AI", "<17F>", "sS", "1-2"},
    {"Ax1", "\\Aa", "a", "0-1"},
    {"Ax2", "a\\Z", "a", "0-1"},
    {"AI", "(ab)\\1", "abAB", "0-4 0-2"},
    {"AU", "(a)(b)", "ab", "0-2"},
    {"E", "[\\d]+", "x\\d", "1-3"},
    {"A", "[\\d]+", "x\\12", "2-4"},
    {"E", "***=a.b", "axba.b", "3-6"},
    {"AO", "a", "ba", "no"},
    {"E", "***:(?i)a+", "bAa", "1-3"},
    {"A", "(?ic)a", "Aa", "1-2"},
    {"AX", "[<20>]a<20>{2}", "<20>aa", "0-3"},
    {"A", "(?p)a.b|^c", "a<A>b<A>c", "no"},
    {"A", "(?w)a.b", "a<A>b", "0-3"},
    {"A", "[]a]+", "b]a", "1-3"},
    {"A", "[a-]+", "b-a", "1-3"},
    {"A", "[[=a=]b]+", "cab", "1-3"},
    {"AF", "[[=x=]]+", "wxyz", "1-3"},
    {"A", "\\a\\e\\cA\\B", "<7><1B><1>\\", "0-4"},
    {"A", "[[:graph:]]+", "<120><A0>", "1-2"},
    {"A", "\\d+", "a<660>1", "1-3"},
    {"AI", "<212A>", "kK<206B>", "2-3"},
    {"AI", "k", "<212A>K", "1-2"},
    {"AI", "<B5>", "<FF9C>", "0-1"},
    {"AI", "[\\x00-\\uFFFF]", "<78>", "0-1"},
    {"A", "[\\uFFF0-\\U00010010]+", "<20><F><FFF1>", "1-3"},
    {"A", "[\\U80000000-a]", "<7A>", "0-1"}, // more values than the map has
    {"A", "[[:alpha:]]+", "<660><AA><4E00><FFFE>", "1-4"},
    // Loops of constraints end,
    {"A", "(?:^|$)+", "ab", "0-0"},
    {"A", "(?:^$)*x", "ax", "1-2"},
    {"A", "(?:^$)+", "a", "no"},
    {"A", "(?:^$)+", "", "0-0"},
    {"A", "a(?:$|^)*b", "ab", "0-2"},
    {"A", "a(?:$|^)+b", "ab", "no"},
    {"A", "(?:\\A\\Z)*", "ab", "0-0"},
    {"A", "(?:\\y\\y)+a", "b<20>a", "2-3"},
    {"A", "(?:\\ya?)*", "aa", "0-1"},
    {"A", "(?:\\ya?)+!", "x<20>aa!", "4-5"},
    {"A", "a(?:\\y){2,9}(?:(?:\\y){9}){9}(\\y){3}", "ba<20>a", "1-2 2-2"},
    {"A", "(?:\\m|\\M)*x", "axa", "1-2"},
    {"A", "(?:\\m|\\M)+x", "ax<20>x", "3-4"},
    {"A", "(?:^a?$)*b", "ab", "1-2"},
    {"A", "(?:(?=a)|(?!b))+.", "ba", "1-2"},
    {"A", "(?:(?=.b)(?:^|(?=a)))+..", "cbab", "0-2"},
    {"A", "(?:(?=.b)(?:\\M|(?=a)))+..", "cbab", "2-4"},
    {"A", "(?:\\Y|(?=b)\\m|c)*b", "ab<20>cb", "1-2"},
    // and of empty arcs, which must not be copied round them for ever.
    {"A", "(?:(?:.*?|[ab]{0}a*?)+)*?c", "xbc", "0-3"},
    {"A", "(?:(?:.*|[ab]{0}a*)+)*c", "xbcxc", "0-5"},
    {"A", "(?:(?:(?:b+)?a?){2}|[ab](?:a*?(?:[ab]??c*|a?)*|b*(c*?|a*?a{1,2})?\?b)*?)?\?b+", "cab",
     "1-3 -"},
    {"A", "(?:(?:a+a*|a*?)|(?:c*)+)+(?:^.)?", "xaca", "0-1"},
    {"A", "(?:(?:|a*)+|(?:b*|)*)*x", "abax", "0-4"},
};

const row NARROW[] = {
    {"A", "[\\x80-\\xff]", "<E9>", "0-1"},
    {"A", "[\\x00-\\xff]", "a", "err 11"},
    {"A", "[a-\\x7f]", "~", "0-1"},
    {"A", "[^a]", "<E9>", "0-1"},
    {"A", "\\u00e9", "<E9>", "0-1"},
    {"E", "^..$", "<C3><A9>", "0-2"},
    {"E", "[[:cntrl:]]", "<0>", "no"},
    {"A", "[[:alpha:]]+", "<E9>xy1", "1-3"},
    {"A", "(?i)[Y-\\x7f]+", "X<20>xy~", "0-1"},
    {"A", "[[:cntrl:]]", "a<1>", "1-2"},
};

int compileflags(const std::string& letters) {
    const struct {
        char letter;
        int flag;
    } flags[] = {{'E', REG_EXTENDED}, {'A', REG_ADVANCED}, {'Q', REG_QUOTE},   {'I', REG_ICASE},
                 {'S', REG_NLSTOP},   {'W', REG_NLANCH},   {'N', REG_NEWLINE}, {'U', REG_NOSUB},
                 {'X', REG_EXPANDED}, {'O', REG_BOSONLY},  {'F', REG_FAKE}};
    int all = 0;
    for (const auto& [letter, flag] : flags) {
        all |= letters.find(letter) != std::string::npos ? flag : 0;
    }
    return all;
}

int executeflags(const std::string& letters) {
    const auto x = letters.find('x');
    return x == std::string::npos ? 0 : letters[x + 1] - '0';
}

/// Replaces <hexadecimal> by the character.
template <class Chr>
std::basic_string<Chr> decode(const std::string& s) {
    std::basic_string<Chr> out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const auto close = s.find('>', i);
        const bool code = s[i] == '<' && close != std::string::npos && close > i + 1 &&
                          s.find_first_not_of("0123456789ABCDEF", i + 1) == close;
        out += code ? static_cast<Chr>(std::stoul(s.substr(i + 1), nullptr, 16))
                    : static_cast<Chr>(s[i]);
        i = code ? close : i;
    }
    return out;
}

template <class Chr>
std::string result(const row& r, int moreflags, std::basic_string<Chr> text) {
    expression<Chr> e(decode<Chr>(r.pattern), compileflags(r.flags));
    if (e.error() != REG_OKAY) {
        return "err " + std::to_string(e.error());
    }
    const bool nosub = compileflags(r.flags) & REG_NOSUB;
    const auto matches = e.exec(text, executeflags(r.flags) | moreflags);
    if (matches.empty()) {
        return "no";
    }
    return nosub ? r.expected : test::print(matches);
}

template <class Chr>
class exectable : public testing::Test {};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(exectable, characters);

TEST(Exec, WideTable) {
    for (const row& r : WIDE) {
        EXPECT_EQ(result(r, 0, decode<wchar_t>(r.text)), r.expected)
            << r.flags << ' ' << r.pattern << " on " << r.text;
    }
}

TEST(Exec, NarrowTable) {
    std::setlocale(LC_ALL, "C");
    for (const row& r : NARROW) {
        EXPECT_EQ(result(r, 0, decode<char>(r.text)), r.expected)
            << r.flags << ' ' << r.pattern << " on " << r.text;
    }
    for (const row& r : WIDE) {
        const std::string both = std::string(r.pattern) + r.text;
        const bool ascii = both.find("\\x41b") == std::string::npos &&
                           both.find_first_of('<') == std::string::npos;
        if (ascii) {
            EXPECT_EQ(result(r, 0, decode<char>(r.text)), r.expected)
                << r.flags << ' ' << r.pattern << " on " << r.text;
        }
    }
}

// A cache of seven states must give what a large one gives; and what stands around a match, in any
// length that sends the search through its skips, must not change it.
TEST(Exec, SmallCacheAndSurroundings) {
    for (const row& r : WIDE) {
        EXPECT_EQ(result(r, REG_SMALL, decode<wchar_t>(r.text)), r.expected)
            << r.flags << ' ' << r.pattern << " on " << r.text;
        expression<wchar_t> e(decode<wchar_t>(r.pattern), compileflags(r.flags));
        if (e.error() != REG_OKAY) {
            continue;
        }
        for (const std::size_t around : {1u, 7u, 300u, 5000u}) {
            const std::wstring filling(around, L'\x2603');
            const std::wstring text = filling + decode<wchar_t>(r.text) + filling;
            TRegexContext<wchar_t> plain(e.handle());
            plain.setfastroads(false);
            for (const int flags : {0, REG_NOTBOL | REG_NOTEOL}) {
                EXPECT_EQ(test::exec(plain, text, 0, 12, flags), e.exec(text, flags, 12))
                    << r.flags << ' ' << r.pattern << " on " << r.text << " within " << around;
            }
        }
    }
}

TYPED_TEST(exectable, BadArguments) {
    using other = std::conditional_t<sizeof(TypeParam) == 1, wchar_t, char>;
    expression<TypeParam> e(widen<TypeParam>("a"), REG_ADVANCED);
    const TypeParam text[] = {'a'};
    const other othertext[] = {'a'};
    EXPECT_EQ(test::engine<TypeParam>::exec(nullptr, text, 1, nullptr, 0, nullptr, 0), REG_INVARG);
    EXPECT_EQ(test::engine<TypeParam>::exec(e.handle(), nullptr, 0, nullptr, 0, nullptr, 0),
              REG_INVARG);
    EXPECT_EQ(test::engine<other>::exec(e.handle(), othertext, 1, nullptr, 0, nullptr, 0),
              REG_MIXED);
    EXPECT_EQ(test::engine<TypeParam>::exec(e.handle(), text, 0, nullptr, 0, nullptr, 0),
              REG_NOMATCH);
}

// A caller's slots beyond the groups are -1, and with REG_NOSUB none is touched.
TEST(Exec, Slots) {
    for (const char* pattern : {"(a)(b)?", "(a)(b)?\\1*"}) {
        regmatch_t m[5] = {{7, 7}, {7, 7}, {7, 7}, {7, 7}, {7, 7}};
        expression<wchar_t> e(widen<wchar_t>(pattern), REG_ADVANCED);
        EXPECT_EQ(wre_exec(e.handle(), L"xa", 2, nullptr, 4, m, 0), REG_OKAY);
        EXPECT_EQ(m[0].rm_so, 1);
        EXPECT_EQ(m[1].rm_eo, 2);
        EXPECT_EQ(m[2].rm_so, -1);
        EXPECT_EQ(m[3].rm_so, -1);
        EXPECT_EQ(m[4].rm_so, 7);
        expression<wchar_t> nosub(L"a", REG_ADVANCED | REG_NOSUB);
        m[0] = {7, 7};
        EXPECT_EQ(wre_exec(nosub.handle(), L"xa", 2, nullptr, 4, m, 0), REG_OKAY);
        EXPECT_EQ(m[0].rm_so, 7);
    }
}

// The earliest place from which more text could still make a match.
TEST(Exec, Expect) {
    const struct {
        const wchar_t* pattern;
        const wchar_t* text;
        int code, extend;
    } rows[] = {
        {L"abc", L"xxab", REG_NOMATCH, 2}, {L"abc", L"xxxx", REG_NOMATCH, 4},
        {L"ab*", L"xabb", REG_OKAY, 1},    {L"ab*c", L"xabcx", REG_OKAY, 1},
        {L"ab*c", L"xabcxx", REG_OKAY, 6}, {L"(a)b\\1", L"xab", REG_NOMATCH, 1},
        {L"a.*b|c", L"xac", REG_OKAY, 1},
    };
    for (const auto& r : rows) {
        const std::wstring text = r.text;
        expression<wchar_t> e(r.pattern, REG_ADVANCED | REG_EXPECT);
        rm_detail_t details{};
        regmatch_t m[2];
        const int length = static_cast<int>(text.size());
        EXPECT_EQ(wre_exec(e.handle(), text.data(), text.size(), nullptr, 2, m, 0), REG_INVARG);
        EXPECT_EQ(wre_exec(e.handle(), text.data(), text.size(), &details, 2, m, 0), r.code);
        EXPECT_EQ(details.rm_extend.rm_so, r.extend) << test::narrow(r.pattern);
        EXPECT_EQ(details.rm_extend.rm_eo, length);
    }
}

TEST(Exec, ManyGroupsAndNodes) {
    for (const int groups : {18, 19, 20, 21, 45, 300}) {
        std::wstring pattern, text;
        for (int i = 0; i < groups; ++i) {
            pattern += L"(a|b)";
            text += i % 2 ? L'a' : L'b';
        }
        expression<wchar_t> e(pattern + L"\\1", REG_ADVANCED);
        const auto matches = e.exec(text + L"b", 0);
        ASSERT_EQ(matches.size(), static_cast<std::size_t>(groups) + 1) << groups;
        for (int i = 0; i < groups; ++i) {
            EXPECT_EQ(matches[static_cast<std::size_t>(i) + 1].rm_so, i);
        }
    }
}

/// Walks a text match by match as a replace-all does; gives the matches' number.
template <class Chr>
std::size_t sweep(TRegexContext<Chr>& context, const std::basic_string<Chr>& text,
                  std::size_t nmatch) {
    std::vector<regmatch_t> m(nmatch);
    context.settext(text.data(), text.size());
    std::size_t count = 0;
    for (std::size_t from = 0; from < text.size(); ++count) {
        if (context.exec(from, nmatch, m.data(), from ? REG_NOTBOL : 0) != REG_OKAY) {
            break;
        }
        from += static_cast<std::size_t>(m[0].rm_eo) + (m[0].rm_so == m[0].rm_eo ? 1 : 0);
    }
    return count;
}

// The whole run over a text looks at each character a bounded number of times, however dense the
// matches are and however far each must look ahead.
TEST(Exec, LinearWork) {
    const std::size_t n = 100000;
    std::wstring alternating, lines, halves;
    while (alternating.size() < n) {
        alternating += L"ab";
    }
    while (lines.size() < n) {
        lines += L"key=value, value and value\n";
    }
    const std::wstring as(n, L'a');
    const std::wstring asb = as + L'b';
    const struct {
        const wchar_t* pattern;
        const std::wstring& text;
        std::size_t matches;
        unsigned int times; // looks at each character, at most
    } rows[] = {
        {L"a", as, n, 2},
        {L"x*", as, n, 3},
        {L"^", as, 1, 2},
        {L"$", as, 1, 2},
        {L"(a)(a)", as, n / 2, 6},
        {L".*", lines, 1, 3},
        {L"(?n)^.*$", lines, lines.size() / 27 + 1, 4},
        {L"(?n)(.*)=(.*), (.*)$", lines, lines.size() / 27, 20},
        {L"a(b.*c)?", alternating, n / 2, 20},
        {L"a(b(..)*c)?", alternating, n / 2, 20},
        {L"a.*c|b", alternating, n / 2, 20},
        {L"(?=.*b)a", as, 0, 20},
        {L"(?=.*b)a", asb, n, 40},
        {L"a(?!.*c)", asb, n, 20},
        {L"(.*)(.*)x", as, 0, 3},
        {L"(.*)(.*)b", asb, 1, 20},
        {L"(.*?)(.*)(.*)b", asb, 1, 30},
        {L"(a*)*b|a", as, n, 20},
        {L"a.*?c", as, 0, 20},
        {L"[a-z,]+ [a-z]+\n", lines, lines.size() / 27, 8},
        {L"(ab)+ba|a", alternating, n / 2, 20},
        {L"a.*?b", alternating, n / 2, 4},
        {L"b.*?c|a", alternating, n / 2, 20},
        {L"[ab]+?c", alternating, 0, 20},
    };
    for (const auto& r : rows) {
        expression<wchar_t> e(r.pattern, REG_ADVANCED);
        ASSERT_EQ(e.error(), REG_OKAY);
        TRegexContext<wchar_t> context(e.handle());
        EXPECT_EQ(sweep(context, r.text, 4), r.matches) << test::narrow(r.pattern);
        EXPECT_LE(context.looked(), r.times * r.text.size()) << test::narrow(r.pattern);
    }
}

TEST(Exec, HugeTexts) {
    expression<wchar_t> e(std::wstring(100000, L'a'), REG_ADVANCED);
    const std::wstring text(100000, L'a');
    EXPECT_EQ(test::print(e.exec(text, 0)), "0-100000");
    EXPECT_TRUE(e.exec(text.substr(1), 0).empty());
    expression<wchar_t> groups(L"(a|b)*(.*)\\1", REG_ADVANCED);
    EXPECT_EQ(test::print(groups.exec(text, 0)), "0-100000 99998-99999 99999-99999");
}

// Exponentially many states, few of which fit: the cache is emptied, and nothing else changes.
TEST(Exec, CacheOverflow) {
    expression<wchar_t> e(L"(a|b)*a(a|b){12}x", REG_ADVANCED);
    std::wstring text;
    for (unsigned int i = 0, seed = 1; i < 20000; ++i, seed = seed * 1103515245u + 12345u) {
        text += seed & 0x10000 ? L'a' : L'b';
    }
    text += L"a" + std::wstring(12, L'b') + L"x";
    const auto end = std::to_string(text.size());
    const auto matches = e.exec(text, 0);
    ASSERT_EQ(matches.size(), 3u);
    EXPECT_EQ(test::print({matches[0]}), "0-" + end);
    EXPECT_EQ(e.exec(text, REG_SMALL), matches);
}

// One context over many texts and flags finds what a new one finds each time.
TEST(Exec, ContextReuse) {
    for (const row& r : WIDE) {
        expression<wchar_t> e(decode<wchar_t>(r.pattern), compileflags(r.flags));
        if (e.error() != REG_OKAY) {
            continue;
        }
        TRegexContext<wchar_t> kept(e.handle());
        for (std::size_t other = 0; other < std::size(WIDE); other += 5) {
            for (const int flags : {0, REG_NOTEOL, REG_NOTBOL, REG_SMALL}) {
                for (std::size_t from = 0; from <= 2; ++from) {
                    const std::wstring text = decode<wchar_t>(WIDE[other].text);
                    if (from > text.size()) {
                        continue;
                    }
                    EXPECT_EQ(test::exec(kept, text, from, 12, flags),
                              e.exec(text.substr(from), flags, 12))
                        << r.flags << ' ' << r.pattern << " on " << WIDE[other].text;
                }
            }
        }
    }
}

// The flags are those of a call: none is remembered with the text.
TEST(Exec, FlagsChangeOnOneText) {
    expression<wchar_t> e(L"^a$", REG_ADVANCED);
    TRegexContext<wchar_t> context(e.handle());
    const std::wstring text = L"a";
    context.settext(text.data(), text.size());
    for (const int flags :
         {REG_NOTEOL, 0, REG_NOTBOL, 0, REG_NOTEOL | REG_SMALL, REG_SMALL, REG_NOTEOL}) {
        regmatch_t match{};
        EXPECT_EQ(context.exec(0, 1, &match, flags),
                  (flags & ~REG_SMALL) == 0 ? REG_OKAY : REG_NOMATCH)
            << flags;
    }
}

} // namespace
} // namespace Quil

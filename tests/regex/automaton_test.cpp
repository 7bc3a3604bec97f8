// What compile makes of a pattern where matching can't show it: how characters fall into colors,
// how long matches can be, that loops of constraints come to an end and limits are kept.
#include "regex/compile/regguts.h"

#include <algorithm>
#include <cwchar>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace Quil {
namespace {

using namespace IMPL::engine;

/// A compiled wide pattern.
class CCompiled {
public:
    explicit CCompiled(const std::wstring& pattern, int flags = REG_ADVANCED)
        : result(wre_comp(&re, pattern.data(), pattern.size(), flags)) {}
    CCompiled(const CCompiled&) = delete;
    CCompiled& operator=(const CCompiled&) = delete;
    ~CCompiled() {
        if (result == REG_OKAY)
            wregfree(&re);
    }

    const guts<wchar_t>& compiled() const { return *static_cast<guts<wchar_t>*>(re.re_guts); }
    color colorof(wchar_t c) const { return GETCOLOR(&compiled().cmap, c); }

    /// Where the first match lies, as "start-end"; "no" without one.
    std::string match(const std::wstring& text) {
        regmatch_t m[1] = {};
        const int r = wre_exec(&re, text.data(), text.size(), nullptr, 1, m, 0);
        if (r != REG_OKAY)
            return r == REG_NOMATCH ? "no" : "error " + std::to_string(r);
        return std::to_string(m[0].rm_so) + "-" + std::to_string(m[0].rm_eo);
    }

    regex_t re{};
    int result;
};

TEST(ColorMapTest, CharactersThatAPatternTellsApart) {
    const struct {
        const wchar_t* pattern;
        std::size_t colors; // sets of characters
    } cases[] = {
        {L"", 1},
        {L"abc", 4},
        {L"[a-c]", 2},
        {L"a|a", 2},
        {L"[a-z]|m", 3},
        {L"[\\u0100-\\u01FF]", 2},           // one whole block
        {L"[\\u0100-\\u02FF]|[\\u0180]", 3}, // a cell taken out of a shared block
        {L"[\\u00F0-\\u0210]|[\\u0150-\\u0250]", 4},
        {L"[\\x00-\\uFFFF]", 1}, // everything went over to one subcolor
        {L"[\\x00-\\uFFFF]|[\\x00-\\uFFFF]", 1},
        {L"[\\x00-\\U7FFFFFFF]", 1},
        {L"[^a]|a", 2},
    };
    for (const auto& c : cases) {
        const CCompiled p(c.pattern);
        ASSERT_EQ(p.result, REG_OKAY) << c.pattern;
        std::set<color> colors;
        for (int i = 0; i < 0x10000; i++)
            colors.insert(p.colorof(static_cast<wchar_t>(i)));
        EXPECT_EQ(colors.size(), c.colors) << std::string(c.pattern, c.pattern + wcslen(c.pattern));
    }
}

TEST(ColorMapTest, BlocksTakenOverAndSplit) {
    // Each member of the list cuts through what the ones before it left.
    const CCompiled p(
        L"[\\u0100-\\u04FF]|[\\u0200-\\u03FF]|\\u0280|[\\u027F-\\u0281]|[\\u03FF-\\u0500]");
    ASSERT_EQ(p.result, REG_OKAY);
    auto kind = [](int c) {
        const bool in[] = {c >= 0x100 && c <= 0x4FF, c >= 0x200 && c <= 0x3FF, c == 0x280,
                           c >= 0x27F && c <= 0x281, c >= 0x3FF && c <= 0x500};
        int bits = 0;
        for (const bool b : in)
            bits = bits * 2 + (b ? 1 : 0);
        return bits;
    };
    std::set<std::pair<int, color>> pairs;
    std::set<int> kinds;
    std::set<color> colors;
    for (int c = 0; c < 0x10000; c++) {
        pairs.insert({kind(c), p.colorof(static_cast<wchar_t>(c))});
        kinds.insert(kind(c));
        colors.insert(p.colorof(static_cast<wchar_t>(c)));
    }
    EXPECT_EQ(pairs.size(), kinds.size());  // one color for each kind ...
    EXPECT_EQ(colors.size(), kinds.size()); // ... and the other way round
    EXPECT_EQ(p.colorof(static_cast<wchar_t>(0x10280)), p.colorof(0x280));
    EXPECT_EQ(p.colorof(static_cast<wchar_t>(-1)), p.colorof(0xFFFF));
}

TEST(AutomatonTest, LengthsOfMatches) {
    const struct {
        const wchar_t* pattern;
        int minlen;
        int maxlen;
    } cases[] = {
        {L"abc", 3, 3},
        {L"", 0, 0},
        {L"a|bcd", 1, 3},
        {L"a{2,5}", 2, 5},
        {L"ab*", 1, UNBOUNDED},
        {L"^x$", 1, 1},
        {L"\\ya\\y", 1, 1},
        {L"a(?=bcd)e?", 1, 2},
        {L"(?:a|(?=x)bc)d", 2, 3},
        {L"(?:^|$)+a", 1, 1},
    };
    for (const auto& c : cases) {
        const CCompiled p(c.pattern);
        ASSERT_EQ(p.result, REG_OKAY);
        EXPECT_EQ(p.compiled().tree->cnfa.minlen, c.minlen) << c.minlen << "-" << c.maxlen;
        EXPECT_EQ(p.compiled().tree->cnfa.maxlen, c.maxlen) << c.minlen << "-" << c.maxlen;
    }
}

TEST(AutomatonTest, LoopsOfConstraintsEnd) {
    const struct {
        const wchar_t* pattern;
        const wchar_t* text;
        const char* expected;
    } cases[] = {
        {L"(?:^|$)+", L"ab", "0-0"},
        {L"(?:^$)*x", L"ax", "1-2"},
        {L"(?:^$)+", L"a", "no"},
        {L"(?:^$)+", L"", "0-0"},
        {L"a(?:$|^)*b", L"ab", "0-2"},
        {L"a(?:$|^)+b", L"ab", "no"},
        {L"(?:\\A\\Z)*", L"ab", "0-0"},
        {L"(?:\\y\\y)+a", L"b a", "2-3"},
        {L"(?:\\ya?)*", L"aa", "0-1"},
        {L"(?:\\ya?)+!", L"x aa!", "4-5"},
        {L"(?:\\m|\\M)*x", L"axa", "1-2"},
        {L"(?:\\m|\\M)+x", L"ax x", "3-4"},
        {L"(?:^a?$)*b", L"ab", "1-2"},
        {L"(?:(?=a)|(?!b))+.", L"ba", "1-2"},
        {L"(?:(?=.b)(?:^|(?=a)))+..", L"cbab", "0-2"},
        {L"(?:(?=.b)(?:\\M|(?=a)))+..", L"cbab", "2-4"},
        {L"(?:\\Y|(?=b)\\m|c)*b", L"ab cb", "1-2"},
    };
    for (const auto& c : cases) {
        CCompiled p(c.pattern);
        const std::string name(c.pattern, c.pattern + wcslen(c.pattern));
        ASSERT_EQ(p.result, REG_OKAY) << name;
        EXPECT_EQ(p.match(c.text), c.expected) << name;
    }
}

// Empty arcs that lead round a loop must not be copied round it for ever.
TEST(AutomatonTest, LoopsOfNothingEnd) {
    const struct {
        const wchar_t* pattern;
        const wchar_t* text;
        const char* expected;
    } cases[] = {
        {L"(?:(?:.*?|[ab]{0}a*?)+)*?c", L"xbc", "0-3"},
        {L"(?:(?:.*|[ab]{0}a*)+)*c", L"xbcxc", "0-5"},
        {L"(?:(?:(?:b+)?a?){2}|[ab](?:a*?(?:[ab]??c*|a?)*|b*(c*?|a*?a{1,2})?\?b)*?)?\?b+", L"cab",
         "1-3"},
        {L"(?:(?:a+a*|a*?)|(?:c*)+)+(?:^.)?", L"xaca", "0-1"},
        {L"(?:(?:|a*)+|(?:b*|)*)*x", L"abax", "0-4"},
    };
    for (const auto& c : cases) {
        CCompiled p(c.pattern);
        const std::string name(c.pattern, c.pattern + wcslen(c.pattern));
        ASSERT_EQ(p.result, REG_OKAY) << name;
        EXPECT_EQ(p.match(c.text), c.expected) << name;
    }
}

TEST(AutomatonTest, WhatCanNotMatchAndWhatMatchesNothing) {
    const struct {
        const wchar_t* pattern;
        long bits;
    } cases[] = {
        {L"a$b", REG_UIMPOSSIBLE}, {L"a^b", REG_UIMPOSSIBLE}, {L"^", REG_UEMPTYMATCH},
        {L"$^", REG_UEMPTYMATCH},  {L"a*", REG_UEMPTYMATCH},  {L"^a", 0},
    };
    for (const auto& c : cases) {
        const CCompiled p(c.pattern);
        ASSERT_EQ(p.result, REG_OKAY);
        EXPECT_EQ(p.re.re_info & (REG_UIMPOSSIBLE | REG_UEMPTYMATCH), c.bits);
    }
}

std::wstring times(int count, const std::wstring& text) {
    std::wstring all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

std::string beginningof(const std::wstring& text) {
    return std::string(text.begin(), text.begin() + std::min<std::ptrdiff_t>(40, std::ssize(text)));
}

TEST(AutomatonTest, LimitsGiveAnErrorAndSensiblePatternsPass) {
    std::wstring distinct;
    for (int c = 0x100; c < 0x100 + REG_MAXCOLORS + 100; c++)
        distinct += static_cast<wchar_t>(c);
    const struct {
        std::wstring pattern;
        int flags;
        int result;
    } cases[] = {
        {L"a{255}", REG_ADVANCED, REG_OKAY},
        {L"(a{255}){10}", REG_ADVANCED, REG_OKAY},
        {L"(a{255}){255}", REG_ADVANCED, REG_OKAY},
        {L"(?:a?){100}", REG_ADVANCED, REG_OKAY},
        {L"((a{255}){255}){255}", REG_ADVANCED, REG_ESPACE},
        {L"(?:(?:a?){255}){255}", REG_ADVANCED, REG_ESPACE},
        {L"(?:\\y.?){30}", REG_ADVANCED, REG_ESPACE},
        {std::wstring(1'000'000, L'a'), REG_ADVANCED, REG_ESPACE},
        {distinct.substr(0, 5000), REG_QUOTE, REG_OKAY},
        {distinct, REG_QUOTE, REG_ESPACE},
        {L"[" + distinct + L"]", REG_ADVANCED, REG_OKAY}, // one color
    };
    for (const auto& c : cases)
        EXPECT_EQ(CCompiled(c.pattern, c.flags).result, c.result) << beginningof(c.pattern);
}

/// Arcs of all compact automata that a tree holds.
std::ptrdiff_t arcsof(const subre* root) {
    std::ptrdiff_t arcs = 0;
    std::vector<const subre*> todo{root};
    while (!todo.empty()) {
        const subre* t = todo.back();
        todo.pop_back();
        for (int i = 0; i < t->cnfa.nstates; i++)
            for (const carc* a = t->cnfa.states[i] + 1; a->co != COLORLESS; a++)
                arcs++;
        for (const subre* child : {t->left, t->right})
            if (child != nullptr)
                todo.push_back(child);
    }
    return arcs;
}

// What is compiled for groups must not grow with the square of their number.
TEST(AutomatonTest, ManyGroupsCostLittleMoreThanTheirExpression) {
    const struct {
        std::wstring pattern, plain;
        std::wstring text;
    } cases[] = {
        {times(2000, L"(a)"), times(2000, L"a"), std::wstring(2000, L'a')},
        {times(2000, L"(a|b)"), times(2000, L"[ab]"), times(1000, L"ab")},
        {times(1500, L"(") + L"ab" + times(1500, L")") + L"\\1", L"abab", L"abab"},
        {L"(x)" + times(1500, L"(") + L"\\1" + times(1500, L")"), L"xx", L"xx"},
        {times(1500, L"(") + L"a*" + times(1500, L")") + L"b", L"a*b", L"aab"},
    };
    for (const auto& c : cases) {
        CCompiled p(c.pattern), plain(c.plain);
        ASSERT_EQ(p.result, REG_OKAY) << beginningof(c.pattern);
        EXPECT_LE(arcsof(p.compiled().tree), 10 * arcsof(plain.compiled().tree) + 10'000)
            << beginningof(c.pattern);
        std::vector<regmatch_t> m(p.re.re_nsub + 1);
        ASSERT_EQ(wre_exec(&p.re, c.text.data(), c.text.size(), nullptr, m.size(), m.data(), 0),
                  REG_OKAY);
        EXPECT_EQ(m[0].rm_eo, std::ssize(c.text)) << beginningof(c.pattern);
        for (const regmatch_t& group : m)
            EXPECT_GE(group.rm_so, 0) << beginningof(c.pattern);
    }
}

// What REG_PROGRESS writes: the tree, and a heading for each automaton and each of its stages.
TEST(AutomatonTest, ProgressIsToldOnStandardOutput) {
    testing::internal::CaptureStdout();
    const int result = CCompiled(L"(?=x)(a)\\1{2,}?", REG_ADVANCED | REG_PROGRESS).result;
    const std::string all = testing::internal::GetCapturedStdout();
    ASSERT_EQ(result, REG_OKAY);
    EXPECT_EQ(all.find("\n\n\n========= RAW ==========\n"), 0U);
    EXPECT_NE(all.find("\n\n\n========= TREE FIXED ==========\n"
                       "1. `.' shortest hascapture hasbackref 4-5 L:2 R:3"
                       "2. `=' 4-10"
                       "3. `.' shortest hascapture hasbackref 10-5 L:4 R:6"
                       "4. `(' hascapture (#1) 15-16 L:5"
                       "5. `=' 13-14"
                       "6. `.' shortest hasbackref 16-5 L:7 R:8"
                       "7. `=' 16-16"
                       "8. `.' shortest hasbackref 16-5 L:9 R:10"
                       "9. `b' shortest hasbackref (#1) {2,} 19-20"
                       "10. `=' 20-5"),
              std::string::npos)
        << all;
    const std::string stages = "\ninitial cleanup:\n\nempties:\n\nconstraints:\n\nfinal cleanup:\n";
    std::string rest;
    for (const int node : {2, 5, 4, 7, 9, 10, 8, 6, 3, 1})
        rest += "\n\n\n========= TREE NODE " + std::to_string(node) + " ==========\n" + stages;
    rest += "\n\n\n========= LA1 ==========\n";
    EXPECT_NE(all.find(rest), std::string::npos) << all;
    const std::string search = "\n\n\n========= SEARCH ==========\n" + stages;
    EXPECT_EQ(all.substr(all.size() - search.size()), search);
}

} // namespace
} // namespace Quil

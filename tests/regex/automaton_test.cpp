// What compile makes of a pattern where matching can't show it: how characters fall into colors,
// how long matches can be, and what groups cost.
#include "regex/compile/regguts.h"
#include "tests/regex/engine.h"

#include <cwchar>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace Quil {
namespace {

using namespace IMPL::engine;

using compiled = test::expression<wchar_t>;
using test::times;

const guts<wchar_t>& gutsof(compiled& p) {
    return *static_cast<guts<wchar_t>*>(p.handle()->re_guts);
}

color colorof(compiled& p, int c) {
    return GETCOLOR(gutsof(p).cmap.table, static_cast<wchar_t>(c));
}

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
        compiled p(c.pattern, REG_ADVANCED);
        ASSERT_EQ(p.error(), REG_OKAY) << c.pattern;
        std::set<color> colors;
        for (int i = 0; i < 0x10000; i++) {
            colors.insert(colorof(p, i));
        }
        EXPECT_EQ(colors.size(), c.colors) << std::string(c.pattern, c.pattern + wcslen(c.pattern));
    }
}

TEST(ColorMapTest, BlocksTakenOverAndSplit) {
    // Each member of the list cuts through what the ones before it left.
    compiled p(L"[\\u0100-\\u04FF]|[\\u0200-\\u03FF]|\\u0280|[\\u027F-\\u0281]|[\\u03FF-\\u0500]",
               REG_ADVANCED);
    ASSERT_EQ(p.error(), REG_OKAY);
    auto kind = [](int c) {
        const bool in[] = {c >= 0x100 && c <= 0x4FF, c >= 0x200 && c <= 0x3FF, c == 0x280,
                           c >= 0x27F && c <= 0x281, c >= 0x3FF && c <= 0x500};
        int bits = 0;
        for (const bool b : in) {
            bits = bits * 2 + (b ? 1 : 0);
        }
        return bits;
    };
    std::set<std::pair<int, color>> pairs;
    std::set<int> kinds;
    std::set<color> colors;
    for (int c = 0; c < 0x10000; c++) {
        pairs.insert({kind(c), colorof(p, c)});
        kinds.insert(kind(c));
        colors.insert(colorof(p, c));
    }
    EXPECT_EQ(pairs.size(), kinds.size());  // one color for each kind ...
    EXPECT_EQ(colors.size(), kinds.size()); // ... and the other way round
    EXPECT_EQ(colorof(p, 0x10280), colorof(p, 0x280));
    EXPECT_EQ(colorof(p, -1), colorof(p, 0xFFFF));
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
        compiled p(c.pattern, REG_ADVANCED);
        ASSERT_EQ(p.error(), REG_OKAY);
        EXPECT_EQ(gutsof(p).tree->cnfa.minlen, c.minlen) << c.minlen << "-" << c.maxlen;
        EXPECT_EQ(gutsof(p).tree->cnfa.maxlen, c.maxlen) << c.minlen << "-" << c.maxlen;
    }
}

std::string beginningof(const std::wstring& text) {
    return test::narrow(text.substr(0, 40));
}

/// Arcs of all compact automata that a tree holds.
std::ptrdiff_t arcsof(const subre* root) {
    std::ptrdiff_t arcs = 0;
    std::vector<const subre*> todo{root};
    while (!todo.empty()) {
        const subre* t = todo.back();
        todo.pop_back();
        for (int i = 0; i < t->cnfa.nstates; i++) {
            for (const carc* a = t->cnfa.states[i] + 1; a->co != COLORLESS; a++) {
                arcs++;
            }
        }
        for (const subre* child : {t->left, t->right}) {
            if (child != nullptr) {
                todo.push_back(child);
            }
        }
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
        compiled p(c.pattern, REG_ADVANCED), plain(c.plain, REG_ADVANCED);
        ASSERT_EQ(p.error(), REG_OKAY) << beginningof(c.pattern);
        EXPECT_LE(arcsof(gutsof(p).tree), 10 * arcsof(gutsof(plain).tree) + 10'000)
            << beginningof(c.pattern);
        const std::vector<regmatch_t> m = p.exec(c.text, 0);
        ASSERT_FALSE(m.empty());
        EXPECT_EQ(m[0].rm_eo, std::ssize(c.text)) << beginningof(c.pattern);
        for (const regmatch_t& group : m) {
            EXPECT_GE(group.rm_so, 0) << beginningof(c.pattern);
        }
    }
}

// What REG_PROGRESS writes: the tree, and a heading for each automaton and each of its stages.
TEST(AutomatonTest, ProgressIsToldOnStandardOutput) {
    testing::internal::CaptureStdout();
    const int result = compiled(L"(?=x)(a)\\1{2,}?", REG_ADVANCED | REG_PROGRESS).error();
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
    for (const int node : {2, 5, 4, 7, 9, 10, 8, 6, 3, 1}) {
        rest += "\n\n\n========= TREE NODE " + std::to_string(node) + " ==========\n" + stages;
    }
    rest += "\n\n\n========= LA1 ==========\n";
    EXPECT_NE(all.find(rest), std::string::npos) << all;
    const std::string search = "\n\n\n========= SEARCH ==========\n" + stages;
    EXPECT_EQ(all.substr(all.size() - search.size()), search);
}

} // namespace
} // namespace Quil

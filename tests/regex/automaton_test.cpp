// What compile makes of a pattern where matching can't show it: how characters fall into colors,
// how long matches can be, that loops of constraints come to an end and limits are kept.
#include "regex/regguts.h"

#include <algorithm>
#include <cwchar>
#include <gtest/gtest.h>
#include <set>
#include <string>

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
        EXPECT_EQ(CCompiled(c.pattern, c.flags).result, c.result)
            << std::string(c.pattern.begin(),
                           c.pattern.begin() + std::min<std::ptrdiff_t>(20, std::ssize(c.pattern)));
}

} // namespace
} // namespace Quil

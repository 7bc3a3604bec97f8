// Runs of one set of characters: by their bits as by the automaton, across blocks and at the edges
// of texts, and the expressions that are such runs told from those that nearly are.
#include "regex/compile/regguts.h"
#include "regex/filter/classrun.h"
#include "tests/regex/sweep.h"

#include <algorithm>

namespace Quil {
namespace {

using test::expression;

TEST(ClassRun, WhatIsARun) {
    const struct {
        const wchar_t* pattern;
        bool is;
    } rows[] = {
        {L"a+", true},
        {L"[a-z]+", true},
        {L"([a-z]+)", true},
        {L"a{3,}", true},
        {L"aaa*", true},
        {L"a*a", true},
        {L"[^\\n]+", true},
        {L"\\d+", true},
        {L"(?:a|[b-d])+", true},
        {L"(?:a+)+", true},
        {L"(?:aa?)+", true},
        {L"a*", false},
        {L"a", false},
        {L"a{3}", false},
        {L"a{2,4}", false},
        {L"a{20,}", false},
        {L"ab+", false},
        {L"[ab]c*", false},
        {L"(?:ab)+", false},
        {L"a+b?", false},
        {L"^a+", false},
        {L"a+$", false},
        {L"\\ya+", false},
        {L"a+\\y", false},
        {L"\\w+\\M", false},
        {L"a+(?=b)", false},
        {L"a+(?!b)", false},
        {L"(?=a)[ab]+", false},
        {L"(?n)^[^a]+", false},
        {L"(?:aaa)+", false},
        {L"(?:aa|aaaaa)+", false},
        {L"[ab]+|[bc]+", false},
    };
    for (const auto& r : rows) {
        expression<wchar_t> e(r.pattern, REG_ADVANCED);
        ASSERT_EQ(e.error(), REG_OKAY);
        const auto* g = static_cast<const IMPL::engine::guts<wchar_t>*>(e.handle()->re_guts);
        const IMPL::engine::TClassRun<wchar_t> run(g->tree->cnfa, g->cmap.table);
        EXPECT_EQ(!run.empty(), r.is) << test::narrow(r.pattern);
    }
}

TEST(ClassRun, TheSameMatchesAsByTheAutomaton) {
    // The wide form takes it up from some length of the text on.
    test::sweeptextures({L"a+", L"[ab]{2,}", L"([a-z]+)", L"[^a]+", L"[^\\n]+", L"[acegikm]+",
                         L"[[:alpha:]]+", L"\\s+", L"[a\\u4e00-\\u9fa5]+", L"a+?", L"((a+))",
                         L"[\\u0041b]{3,}"},
                        {L"ab", L"aaaaaaaaaaaaaab", L"a b\nZ.\xe9",
                         L"a\x4e00\x9fa5\x9fa6\x10041"
                         L"b"},
                        400, 60, 5000);
}

TEST(ClassRun, TextsThatTakeTurns) {
    expression<wchar_t> e(L"[a-z]+", REG_ADVANCED);
    TRegexContext<unsigned char> kept(e.handle());
    std::basic_string<unsigned char> text(200, 'a');
    const auto whole = [&] { return test::print(test::exec(kept, text, 0, 1, 0)); };
    EXPECT_EQ(whole(), "0-200");
    text[70] = ' ';
    EXPECT_EQ(whole(), "0-70");
    EXPECT_EQ(test::print(test::exec(kept, text, 70, 1, 0)), "1-130");
    EXPECT_EQ(test::print(test::exec(kept, text, 10, 1, 0)), "0-60");
    text[5] = ' ';
    EXPECT_EQ(test::print(test::exec(kept, text, 3, 1, 0)), "0-2");
    text.resize(71);
    EXPECT_EQ(test::print(test::exec(kept, text, 68, 1, 0)), "0-2");
}

TEST(ClassRun, OneTextFromPlaceToPlace) {
    expression<wchar_t> e(L"[0-9]+", REG_ADVANCED);
    std::basic_string<unsigned char> text(1000, 'a');
    for (const std::size_t at : {3u, 64u, 65u, 500u, 998u, 999u}) {
        text[at] = '1';
    }
    TRegexContext<unsigned char> context(e.handle());
    context.settext(text.data(), text.size());
    const auto from = [&](std::size_t place) {
        regmatch_t m{-1, -1};
        context.exec(place, 1, &m, 0);
        return static_cast<std::size_t>(m.rm_so) + place;
    };
    EXPECT_EQ(from(400), 500u);
    EXPECT_EQ(from(0), 3u);
    EXPECT_EQ(from(66), 500u);
    EXPECT_EQ(from(65), 65u);
    EXPECT_EQ(from(999), 999u);

    ASSERT_TRUE(context.inbulk());
    const std::vector<regmatch_t> all = {{3, 4}, {64, 66}, {500, 501}, {998, 1000}};
    for (std::size_t most = 1; most < 6; ++most) {
        std::vector<regmatch_t> m(most);
        EXPECT_EQ(context.spans(0, m.data(), most), std::min(most, all.size()));
        for (std::size_t i = 0; i < std::min(most, all.size()); ++i) {
            EXPECT_EQ(m[i], all[i]) << i;
        }
    }
    regmatch_t m{};
    EXPECT_EQ(context.spans(999, &m, 1), 1u);
    EXPECT_EQ(m.rm_so, 999);
    EXPECT_EQ(context.spans(1000, &m, 1), 0u);
    const std::basic_string<unsigned char> other(1000, '1');
    context.settext(other.data(), other.size());
    EXPECT_FALSE(context.inbulk());
}

} // namespace
} // namespace Quil

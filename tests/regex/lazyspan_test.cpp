// Shortest matches tried from place to place against the search that finds them otherwise: leaps
// inside a match and before it, edges of the text, and tries that come to nothing.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(LazySpan, TheSameMatchesAsByASearch) {
    const std::size_t found = test::sweeptextures(
        {L"a.*?b",         L"aa.*?ab",        L"a .*? b",       L"a.*?bb",
         L"a.*?aab",       L"ab.*?[bc]a",     L"a[^b]*?c",      L"ab*?c",
         L"(a.*?)(b+)c",   L"\\W(.*?)\\W",    L"a.*?b|c.*?d",   L".*?b",
         L".+?bb",         L"a.*?",           L"a.*?$",         L"a.*?bc$",
         L"^a.*?b",        L"\\ya.*?b",       L"a.*?b\\y",      L"a.*?\\yb",
         L"a.{3,}?b",      L"a.*?x.*?b",      L"(?:a.*?b)+?c",  L"a(?=b).*?c",
         L"a.*?(?=bb)",    L"[ab]+?c",        L"a.*?b.*",       L"a.*?(.)b",
         L"a(?:b.*?c)??d", L"a.*?\\u4e00b",   L"a.*?[abc ]b",   L"b(?:ab)*?bb",
         L"a[ab]*?aa",     L"aa[^c]*?a[^b]c", L"(?:^b)??a.*?c", L"(?:\\Ab)??ab[^x]*?c"},
        {L"ab c\n", L"ab", L"aaaaaaaabbc   ", L"abcdxAB \x4e00\x10061\x10062"}, 500, 160, 4200);
    EXPECT_GT(found, 1000u);
}

// Long spans, in which every kind of near miss of the end stands at every distance from vectors'
// edges.
TEST(LazySpan, NearMissesOfTheEnd) {
    for (const wchar_t* const pattern :
         {L"<.*?>", L"a<.*? of", L"<.*?bab", L"<.*?aab", L"<(?:[^a]|aa|a[^ab])*?ab", L"(?n)<.*? of",
          L"(?n)a<.*?bab", L"<[^\nx]*?bab", L"<(?:[^ax]|a[^ab])*?ab"}) {
        for (std::size_t length = 0; length < 140; ++length) {
            for (const wchar_t* const miss :
                 {L" ", L" o", L" ox of", L"  of", L"a", L"aa", L"aab", L"ba", L"bb", L"bbab",
                  L"abab", L"\n", L" \n", L"ax", L"bx", L"aaab", L"<"}) {
                const std::wstring span(length, L'.');
                test::comparesweeps(pattern, REG_ADVANCED,
                                    L"a<" + span + miss + span + miss + L" of>bab" + span);
            }
        }
    }
}

} // namespace
} // namespace Quil

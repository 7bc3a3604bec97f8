// Shortest matches tried from place to place against the search that finds them otherwise: leaps
// inside a match and before it, edges of the text, and tries that come to nothing.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(LazySpan, TheSameMatchesAsByASearch) {
    const wchar_t* const patterns[] = {
        L"a.*?b",         L"aa.*?ab",        L"a .*? b",       L"a.*?bb",
        L"a.*?aab",       L"ab.*?[bc]a",     L"a[^b]*?c",      L"ab*?c",
        L"(a.*?)(b+)c",   L"\\W(.*?)\\W",    L"a.*?b|c.*?d",   L".*?b",
        L".+?bb",         L"a.*?",           L"a.*?$",         L"a.*?bc$",
        L"^a.*?b",        L"\\ya.*?b",       L"a.*?b\\y",      L"a.*?\\yb",
        L"a.{3,}?b",      L"a.*?x.*?b",      L"(?:a.*?b)+?c",  L"a(?=b).*?c",
        L"a.*?(?=bb)",    L"[ab]+?c",        L"a.*?b.*",       L"a.*?(.)b",
        L"a(?:b.*?c)??d", L"a.*?\\u4e00b",   L"a.*?[abc ]b",   L"b(?:ab)*?bb",
        L"a[ab]*?aa",     L"aa[^c]*?a[^b]c", L"(?:^b)??a.*?c", L"(?:\\Ab)??ab[^x]*?c",
    };
    const std::wstring tail(4200, L'.');
    std::mt19937 seed(31);
    std::size_t found = 0;
    for (const wchar_t* const pattern : patterns)
        for (const int flags : {REG_ADVANCED, REG_ADVANCED | REG_ICASE, REG_ADVANCED | REG_NEWLINE})
            for (const wchar_t* const alphabet :
                 {L"ab c\n", L"ab", L"aaaaaaaabbc   ", L"abcdxAB \x4e00\x10061\x10062"})
                for (std::size_t length = 0; length < 500; length += 1 + seed() % 160) {
                    const std::wstring text = test::texture(seed, length, alphabet);
                    found += test::comparesweeps(pattern, flags, text) ? 1 : 0;
                    test::comparesweeps(pattern, flags, text + tail);
                    test::comparesweeps(pattern, flags, tail + text);
                }
    EXPECT_GT(found, 1000u);
}

// Long spans, in which every kind of near miss of the end stands at every distance from vectors'
// edges.
TEST(LazySpan, NearMissesOfTheEnd) {
    for (const wchar_t* const pattern :
         {L"<.*?>", L"a<.*? of", L"<.*?bab", L"<.*?aab", L"<(?:[^a]|aa|a[^ab])*?ab"})
        for (std::size_t length = 0; length < 140; ++length)
            for (const wchar_t* const miss : {L" ", L" o", L" ox of", L"  of", L"a", L"aa", L"aab",
                                              L"ba", L"bb", L"bbab", L"abab", L"aaab", L"<"}) {
                const std::wstring span(length, L'.');
                test::comparesweeps(pattern, REG_ADVANCED,
                                    L"a<" + span + miss + span + miss + L" of>bab" + span);
            }
}

} // namespace
} // namespace Quil

// The short cuts for back references against the plain way, on texts long enough for vectors: every
// match of a sweep with all its groups, on the three kinds of text.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(References, ShapesOnTextsOfEveryLength) {
    const std::size_t found = test::sweeptextures({L"(..)\\1",
                                                   L"([a-c][a-c])\\1",
                                                   L"(.)\\1",
                                                   L"(.)\\1+",
                                                   L"(.)\\1{2}",
                                                   L"(a.)x?\\1",
                                                   L"b(.)(.)\\2\\1",
                                                   L"(.)(.)\\1\\2",
                                                   L"(..)\\1.*?",
                                                   L"(.)\\1.*?c",
                                                   L"(.)\\1?b",
                                                   L"(.)\\1*",
                                                   L"(.)\\1*?c",
                                                   L"(?:(a)|b)\\1*c",
                                                   L"(a|b)\\1",
                                                   L"(ab|bc)\\1",
                                                   L"(?:(.)|b)\\1",
                                                   L"((.).)\\2\\1",
                                                   L"^(.)\\1",
                                                   L"(.)\\1$",
                                                   L"\\y(.)\\1",
                                                   L"(?=a)(.)\\1",
                                                   L"(.)(?!b)\\1",
                                                   L"(.)\\1(?=c)",
                                                   L"(a+)b\\1",
                                                   L"([a-c]+) \\1",
                                                   L"(.*)\\1",
                                                   L"(.+)\\1\\1",
                                                   L"(.*?) (\\1|b)x",
                                                   L"(?:(a*)b|c?)\\1",
                                                   L"(a+)(b+)\\2\\1",
                                                   L"(.)(.*)\\1",
                                                   L"(.)\\1.*x",
                                                   L"(?:(a*)c\\1x|a*bc?)\\1",
                                                   L"(?:([ab])(a*)\\1|[ab]*)\\2",
                                                   L"([^c]*)c\\1",
                                                   L"(\\w+)\\s+\\1",
                                                   L"(a*b)(c*)\\1",
                                                   L"(a)(b*)c\\2",
                                                   L"((a+) )\\1",
                                                   L"([^ ]*) ([^ ]*) \\2 \\1",
                                                   L"(.*) ([^ ]*) \\1",
                                                   L"([^c]*c)\\1+",
                                                   L"(a+)(b+c)x*\\2\\1",
                                                   L"^([^b]*)b.*\\1",
                                                   L"([ac]+)b\\1.*?b",
                                                   L"(?:(a+)b|a(b)).\\1",
                                                   L"(.{17})\\1",
                                                   L"(.)(?:.\\1)+",
                                                   L"(.)\\1|(.).\\2"},
                                                  {L"abcA \n", L"ab", L"abc\x4e00\x10041"}, 44, 3);
    EXPECT_GT(found, 2000u);
}

/// An expression by chance, of a few parts that often refer to earlier ones.
std::wstring random(std::mt19937& seed) {
    const auto pick = [&](std::size_t n) { return static_cast<unsigned int>(seed() % n); };
    const wchar_t* const atoms[] = {L"a", L"b", L"[ab]", L".",  L"(?:a|bc)", L"\\y",
                                    L"^", L" ", L" ",    L"b+", L"[^ ]*"};
    const wchar_t* const groups[] = {L"(a|b)",     L"(.)",     L"(..)",    L"(a+)", L"(.*?)",
                                     L"([ab]{2})", L"([^ ]*)", L"([^b]+)", L"(a*b)"};
    const wchar_t* const repeats[] = {L"*", L"+", L"?", L"{2}", L"*?", L"+?", L"{1,2}"};
    std::wstring pattern;
    unsigned int opened = 0;
    for (unsigned int i = 0, parts = 2 + pick(5); i < parts; ++i) {
        const unsigned int kind = pick(4);
        if (kind == 0 || opened == 0) {
            pattern += groups[pick(std::size(groups))];
            ++opened;
        } else if (kind < 3) {
            pattern += L"\\" + std::to_wstring(1 + pick(opened));
        } else {
            pattern += atoms[pick(std::size(atoms))];
        }
        if (pick(4) == 0) {
            pattern += repeats[pick(std::size(repeats))];
        }
        if (pick(9) == 0) {
            pattern += L"|";
        }
    }
    return pattern;
}

TEST(References, ExpressionsByChance) {
    std::mt19937 seed(77);
    std::size_t found = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::wstring pattern = random(seed);
        const int flags = REG_ADVANCED | (seed() % 4 ? 0 : REG_ICASE);
        found += test::comparesweeps(pattern, flags, test::texture(seed, seed() % 50, L"aabbcB "))
                     ? 1
                     : 0;
    }
    EXPECT_GT(found, 1500u);
}

} // namespace
} // namespace Quil

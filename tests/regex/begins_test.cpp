// Matches whose begin lies far behind the place from which it is looked for: the begins that are
// told by reading back against those that are tried one by one.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(Begins, TheSameAsTriedOneByOne) {
    const wchar_t* const patterns[] = {
        L"[a-c]+ [0-9]+",
        L"([a-c]+) ([0-9]+)",
        L"[a-c]+ [a-c]+ [0-9]",
        L"a[a-c ]*1",
        L"(ab|bc|ca)+1",
        L"\\y[a-c]+1",
        L"[a-c]*\\y [0-9]",
        L"a.*1|bc",
        L"[a-c ]+(?=0)",
        L"[a-c ]{20,}0",
        L"([a-c]+ )+([0-9])\\y",
        L"[abc]+\n[0-9]",
        L"^[a-c ]+1",
        L"[a-c ]+[01]+$",
        L"(a|b c|c)*(0|1$)",
        L"[a-c ]*?[a-c]1",
        L"(?:[a-c]+? )+?0",
        L"[^1]*1",
        L"[ab ]*c[ab ]*c[ab ]*0",
        L"(?:a..)*1",
    };
    std::mt19937 seed(7);
    std::size_t found = 0;
    for (const wchar_t* const pattern : patterns)
        for (const int flags : {REG_ADVANCED, REG_ADVANCED | REG_ICASE, REG_ADVANCED | REG_NEWLINE})
            for (const wchar_t* const alphabet :
                 {L"abcabcabc 01", L"abcabcabcabcaabcabcabcb      1", L"aB c\n0C1\x4e00"})
                for (std::size_t length = 0; length < 200; length += 1 + seed() % 25) {
                    const std::wstring text = test::texture(seed, length, alphabet);
                    found += test::comparesweeps(pattern, flags, text) ? 1 : 0;
                }
    EXPECT_GT(found, 800u);
}

} // namespace
} // namespace Quil

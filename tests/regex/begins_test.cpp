// Matches whose begin lies far behind the place from which it is looked for: the begins that are
// told by reading back against those that are tried one by one.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(Begins, TheSameAsTriedOneByOne) {
    const std::size_t found = test::sweeptextures(
        {L"[a-c]+ [0-9]+",
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
         L"(?:a..)*1"},
        {L"abcabcabc 01", L"abcabcabcabcaabcabcabcb      1", L"aB c\n0C1\x4e00"}, 200, 25);
    EXPECT_GT(found, 800u);
}

} // namespace
} // namespace Quil

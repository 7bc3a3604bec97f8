// Groups whose meeting places are told by characters alone, against the division by automata.
#include "tests/regex/sweep.h"

namespace Quil {
namespace {

TEST(Hinge, TheSameGroupsAsByAutomata) {
    const std::size_t found = test::sweeptextures({L"([^,]*),([^,]*),(.*)", L"(.*)/([^/]*)",
                                                   L"([a-c]+) ([0-2]+)",    L"(a*b)(.*)",
                                                   L"(a*b)([ab]*)",         L"([ac]*b)([ac]*)",
                                                   L"(.*b)([^b]*)",         L"(.*,)(.*?)/",
                                                   L"(a+)(b+)(c+)",         L"(a*)(b*)(c*)",
                                                   L"(a*)(b+)(c*)",         L"(.*)(b+)(c*)",
                                                   L"(a+)((b+)a)*(c+)",     L"(a|b)*(c)(.*)",
                                                   L"(ab?)+(b)(a*)",        L"(.*?)(,)(.*?)(/|$)",
                                                   L"(\\w+)\\s+(\\w+)",     L"(\\y\\w+)( +)(.)",
                                                   L"(a*)(?:b|^)(c+)",      L"([^/]*/)*([^/]+)",
                                                   L"(?:(a+),)?(b+)/(.*)",  L"(a+)(\\y)(,+)",
                                                   L"(.*)(?=,)(.*)",        L"(a+)(,(b+),)+(a*)",
                                                   L"([^ab]*)([ab]+)(.*)",  L"(c*(a|b))(c*)(.*)",
                                                   L"(a{2,3})(b{1,2})c?",   L"((.*),)((.*)/)"},
                                                  {L"abc,/ \n", L"abcc,/", L"ab01 C\x4e00"}, 40, 4);
    EXPECT_GT(found, 1500u);
}

} // namespace
} // namespace Quil

// The short road on UTF-8 bytes against the plain one: the same charset under a name that only the
// plain road serves must give the same files, reports and exit status.
#include "tests/tool/command.h"

#include <random>

namespace {

TEST_F(CommandTest, BothRoadsGiveTheSame) {
    const char* const patterns[] = {
        "a*",     "(a|b)+", "^a", "b$",          "^",    "([ab])\\1", "a",         "[^a]", "(^|b)a",
        "b{1,2}", "bi",     "Ab", "***:(a.*?)b", "\\w+", "(a)(b)?",   "***:\\yab", "?"};
    const char* const replacements[] = {"", "X", "<\\0>", "\\1-", "\\n", "\xC3\xA9\\0"};
    const char* const finds[] = {"-r:", "-ric:", "-rnnl:", "-f:", "-fic:"};
    const char* const pieces[] = {"a", "b", "i", "I", "\n", "?", "\xC3\xA9", "\xC4\xB0", "\xFF"};
    std::mt19937 random(11);
    const auto any = [&random](const auto& list) { return list[random() % std::size(list)]; };
    for (int round = 0; round < 250; ++round) {
        std::string text = round % 7 == 0 ? "\xEF\xBB\xBF" : "";
        const unsigned int kinds = round % 2 == 0 ? 6 : round % 3 == 0 ? 9 : 8; // ASCII, all, UTF-8
        // Some texts have many blocks of lines, of which only some aren't ASCII.
        const bool isLong = round % 10 == 5;
        for (auto n = isLong ? 200'000 : random() % 20; n != 0; --n) {
            const bool isForeign = !isLong || n / 40'000 % 2 == 0;
            text += pieces[random() % (isForeign ? kinds : 6)];
        }
        std::vector<std::string> arguments{"x.txt", std::string(any(finds)) + any(patterns),
                                           std::string("-t:") + any(replacements), "-trc",
                                           round % 3 == 0 ? "-noexp" : "-force"};
        Write("x.txt", text);
        const Outcome shortRoad = Tsub(arguments);
        const std::string shortFile = Read("x.txt");
        Write("x.txt", text);
        arguments.insert(arguments.end(), {"-encin:ISO-IR-193", "-force"});
        const Outcome plainRoad = Tsub(arguments);
        EXPECT_EQ(shortFile, Read("x.txt")) << testing::PrintToString(arguments) << text;
        EXPECT_EQ(shortRoad.out, plainRoad.out) << testing::PrintToString(arguments) << text;
        EXPECT_EQ(shortRoad.status, plainRoad.status);
        EXPECT_EQ(shortRoad.err + plainRoad.err, "");
    }
}

} // namespace

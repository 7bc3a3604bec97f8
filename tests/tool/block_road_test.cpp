// Conversions, and literals in any charset, against the converters and strings themselves, which
// take a text at once: the same bytes, counts and exit status whatever the road.
#include "tests/tool/command.h"
#include "util/conv/TextLibIConv.h"

#include <functional>
#include <random>

using namespace Quil;

namespace {

stringEx Bytes(const std::string& text) {
    return stringEx(text.data(), static_cast<unsigned int>(text.size()));
}

/// What a run makes of a text: decoded, replaced and encoded as a whole.
struct RESULT {
    std::string text;
    unsigned long count;
};

using REPLACE = std::function<unsigned long(wstringEx&)>;

RESULT AtOnce(const std::string& text, const char* from, const char* to, const REPLACE& replace) {
    CTextLibIConv decoder{stringEx(from)};
    CTextLibIConv encoder{stringEx(to)};
    decoder.UseLibraryOnly();
    encoder.UseLibraryOnly();
    wstringEx wide = decoder.MBtoWC(Bytes(text));
    if (wide.begin_with(wstringEx::get_bom())) {
        wide.erase(0, 1);
    }
    const unsigned long count = replace(wide);
    const stringEx narrow = encoder.WCtoMB(wide);
    return {std::string(narrow.c_str(), narrow.length()), count};
}

std::string Converted(const std::string& text, const char* from, const char* to) {
    return AtOnce(text, from, to, [](wstringEx&) { return 0UL; }).text;
}

TEST_F(CommandTest, ConvertsFilesAsTheConvertersDo) {
    const char* const names[] = {"UTF-8", "GBK",         "GB18030", "SHIFT_JIS", "ISO-8859-1",
                                 "UTF-7", "ISO-2022-JP", "utf16le", "TCVN",      "EUC-KR"};
    const char* const pieces[] = {"a",  "\xE4\xB8\xAD", "\xC3\xA9",    "\xF0\x9F\x98\x80",
                                  "\n", "~+-",          "\xE3\x81\x82"};
    std::mt19937 random(5);
    for (int round = 0; round < 60; ++round) {
        const char* const from = names[random() % std::size(names)];
        const char* const to = names[random() % std::size(names)];
        std::string text = round % 3 == 0 ? "\xEF\xBB\xBF" : "";
        for (auto n = random() % (round % 4 == 0 ? 100000 : 40); n != 0; --n) {
            text += pieces[random() % std::size(pieces)];
        }
        text = round % 5 == 0 ? text : Converted("\xEF\xBB\xBF" + text, "UTF-8", from);
        for (std::size_t spoils = text.size() / 1000; spoils != 0; --spoils) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        const std::string expected = Converted(text, from, to);
        const std::vector<std::string> switches{"-any", "-force", std::string("-encin:") + from,
                                                std::string("-encout:") + to};
        std::vector<std::string> onFile{"x.txt"};
        onFile.insert(onFile.end(), switches.begin(), switches.end());
        Write("x.txt", text);
        const Outcome file = Tsub(onFile);
        EXPECT_EQ(file.status, 1) << "nothing was replaced";
        EXPECT_EQ(file.out + file.err, "");
        EXPECT_TRUE(Read("x.txt") == expected) << from << " to " << to << " round " << round;

        // The end of standard input reads as one more byte.
        const Outcome pipe = Tsub(switches, text);
        EXPECT_EQ(pipe.status, 1);
        EXPECT_TRUE(pipe.out == Converted(text + "\xFF", from, to)) << from << " to " << to;
    }
}

TEST_F(CommandTest, ConvertsWhatHasNoTextAndWhatHasButAMark) {
    const struct {
        const char* name;
        std::string text;
        std::vector<std::string> switches;
        std::string result;
    } cases[] = {
        {"nothing", "", {"-encin:gbk", "-encout:utf-8", "-unisign"}, ""},
        {"no text", "\x1B(B", {"-encin:iso-2022-jp", "-encout:utf-8", "-unisign"}, "\x1B(B"},
        {"a mark", "\xEF\xBB\xBF", {"-encin:utf-8", "-encout:gbk"}, ""},
        {"a new mark",
         "\xD6\xD0",
         {"-encin:gbk", "-encout:utf-8", "-unisign"},
         "\xEF\xBB\xBF\xE4\xB8\xAD"},
        {"marks", "\xEF\xBB\xBF\xEF\xBB\xBFx", {"-encin:utf-8", "-encout:utf-8"}, "\xEF\xBB\xBFx"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments{"x.txt", "-any", "-force"};
        arguments.insert(arguments.end(), c.switches.begin(), c.switches.end());
        Write("x.txt", c.text);
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(outcome.err, "") << c.name;
        EXPECT_EQ(Read("x.txt"), c.result) << c.name;
    }
}

TEST_F(CommandTest, ReplacesLiteralsByBlocksAsInAWholeText) {
    const char* const names[] = {"GBK", "GB18030", "utf16le", "ISO-2022-JP", "ISO-IR-193"};
    const char* const finds[] = {"aa",
                                 "ab",
                                 "\xE4\xB8\xAD",
                                 ("\xE4\xB8\xAD"
                                  "ab"),
                                 "Ba",
                                 "aab",
                                 "z"};
    const char* const replacements[] = {"", "b", "\xE4\xB8\xAD\xE4\xB8\xAD-"};
    const char* const pieces[] = {"a", "b", "B", "\xE4\xB8\xAD", "\n"};
    const CTextLibIConv utf8{stringEx("UTF-8")};
    std::mt19937 random(6);
    for (int round = 0; round < 100; ++round) {
        const char* const from = names[random() % std::size(names)];
        const char* const to = names[random() % std::size(names)];
        // Long texts of two pieces have matches on both sides of every block's end.
        std::string text = round % 3 == 0 ? "\xEF\xBB\xBF" : "";
        const unsigned int kinds = round % 2 == 0 ? 2 : 5;
        for (auto n = round % 3 == 0 ? random() % 30 : 32700 + random() % 40000; n != 0; --n) {
            text += pieces[random() % kinds];
        }
        text = Converted("\xEF\xBB\xBF" + text, "UTF-8", from);
        // A literal longer than a block is one that was taken from there.
        std::string find = finds[random() % std::size(finds)];
        if (round % 25 == 24) {
            find = Converted(text, from, "UTF-8").substr(5, 33000);
            find.resize(find.rfind('a') + 1);
        }
        const std::string replacement = round == 50
                                            ? std::string(100000, 'r')
                                            : replacements[random() % std::size(replacements)];
        const bool noCase = round % 4 == 0;
        const auto replace = [&](wstringEx& wide) -> unsigned long {
            const wstringEx what = utf8.MBtoWC(Bytes(find));
            const wstringEx with = utf8.MBtoWC(Bytes(replacement));
            return noCase ? wide.find_replace_no_case(what, with, 0, true)
                          : wide.find_replace(what, with, 0, true);
        };
        const RESULT expected = AtOnce(text, from, to, replace);
        const std::string report =
            expected.count == 0
                ? ""
                : "\n## total replaced " + std::to_string(expected.count) + " matchs\n";
        std::vector<std::string> arguments{
            "x.txt",  (noCase ? "-fic:" : "-f:") + find, "-t:" + replacement,         "-trc",
            "-force", std::string("-encin:") + from,     std::string("-encout:") + to};
        Write("x.txt", text);
        const Outcome file = Tsub(arguments);
        EXPECT_EQ(file.status, expected.count == 0 ? 1 : 0);
        EXPECT_EQ(file.out, report) << round;
        EXPECT_TRUE(Read("x.txt") == (expected.count == 0 ? text : expected.text))
            << from << " to " << to << " round " << round;

        arguments.emplace_back("-stdout");
        Write("x.txt", text);
        EXPECT_TRUE(Tsub(arguments).out == expected.text + report) << round;
    }
}

TEST_F(CommandTest, FindsTheOnlyMatchAcrossABlocksEnd) {
    constexpr std::size_t window = 32768; // a block ends a little before it
    for (std::size_t pos = window - 80; pos < window + 10; ++pos) {
        const std::string before(pos, 'x');
        const std::string behind(50000, 'y');
        Write("x.txt", before + "\xD6\xD0lit" + behind);
        EXPECT_EQ(Tsub({"x.txt", "-f:\xE4\xB8\xADlit", "-t:!", "-encin:gbk"}).status, 0) << pos;
        EXPECT_TRUE(Read("x.txt") == before + "!" + behind) << pos;
    }
}

/// While the result grows the input's memory is given back, from some megabytes on.
TEST_F(CommandTest, ConvertsAndReplacesInALargeFile) {
    std::string text;
    while (text.size() < 14U << 20) {
        text += std::to_string(text.size()) + "\xD6\xD0\xCE\xC4" +
                (text.size() % 64 == 0 ? "\xFF" : "\n");
    }
    Write("x.txt", text);
    EXPECT_EQ(Tsub({"x.txt", "-any", "-encin:gbk", "-encout:utf-8"}).status, 1);
    EXPECT_TRUE(Read("x.txt") == Converted(text, "GBK", "UTF-8"));

    const auto replace = [](wstringEx& wide) -> unsigned long {
        return wide.find_replace(wstringEx(L"7\u4E2D"), wstringEx(L"\u6587"), 0, true);
    };
    Write("x.txt", text);
    Tsub({"x.txt", "-f:7\xE4\xB8\xAD", "-t:\xE6\x96\x87", "-encin:gbk"});
    EXPECT_TRUE(Read("x.txt") == AtOnce(text, "GBK", "GBK", replace).text);
}

} // namespace

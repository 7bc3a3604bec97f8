// Conversions of files and of standard input against the converters themselves, which decode and
// encode a text at once: the same bytes whatever the road.
#include "tests/tool/command.h"
#include "util/conv/TextLibIConv.h"

#include <random>

using namespace Quil;

namespace {

stringEx Bytes(const std::string& text) {
    return stringEx(text.data(), static_cast<unsigned int>(text.size()));
}

std::string Converted(const std::string& text, const char* from, const char* to) {
    CTextLibIConv decoder{stringEx(from)};
    CTextLibIConv encoder{stringEx(to)};
    decoder.UseLibraryOnly();
    encoder.UseLibraryOnly();
    wstringEx wide = decoder.MBtoWC(Bytes(text));
    if (wide.begin_with(wstringEx::get_bom())) {
        wide.erase(0, 1);
    }
    const stringEx narrow = encoder.WCtoMB(wide);
    return std::string(narrow.c_str(), narrow.length());
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

} // namespace

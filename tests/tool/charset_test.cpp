// Charsets by the names of the world, and what becomes of bytes and characters that don't fit.
#include "tests/tool/command.h"

#include <functional>
#include <iconv.h>
#include <random>

namespace {

using Arguments = std::vector<std::string>;
using std::string_literals::operator""s;

TEST_F(CommandTest, CharsetsGoByTheirUsualNames) {
    const struct {
        Arguments arguments;
        std::string text;
        std::string result;
    } rows[] = {
        {{"--from-code=latin1", "--to-code=utf8"}, "\xE9", "\xC3\xA9"},
        {{"--from-code=UTF8", "--to-code=CP1252"}, "\xE2\x82\xAC", "\x80"},
        {{"--from-code=windows-1251", "--to-code=KOI8-R"}, "\xC0", "\xE1"},
        {{"--from-code=SJIS", "--to-code=utf-8"}, "\\\x83\x5C", "\\\xE3\x82\xBD"},
        {{"--from-code=ujis", "--to-code=shift_jis"}, "\xA5\xBD", "\x83\x5C"},
        {{"--from-code=macintosh", "--to-code=utf-8"}, "\x8E", "\xC3\xA9"},
        {{"--to-code=gb2312"}, "\xE4\xBD\xA0", "\xC4\xE3"},
        // Marks and orders of bytes.
        {{"--from-code=utf-16", "--to-code=utf-8"},
         "\xFF\xFE"
         "a\0"s,
         "\xEF\xBB\xBF"
         "a"},
        {{"--from-code=utf-16", "--to-code=utf-8"},
         "\xFE\xFF\0a"s,
         "\xEF\xBB\xBF"
         "a"},
        {{"--from-code=utf-16", "--to-code=utf-8", "--bom=no"}, "\xFE\xFF\0a"s, "a"},
        {{"--from-code=utf-16", "--to-code=utf-8"}, "a\0"s, "a"},
        {{"--from-code=utf-32"}, "\0\0\xFE\xFF\0\0\0a"s, "\0\0\xFE\xFF\0\0\0a"s},
        {{"--to-code=utf-16"},
         "a",
         "\xFF\xFE"
         "a\0"s},
        {{"--to-code=utf-16be"}, "a", "\0a"s},
        {{"--to-code=utf-16be", "--bom=yes"}, "a", "\xFE\xFF\0a"s},
        {{"--bom=yes"},
         "a",
         "\xEF\xBB\xBF"
         "a"},
        {{"--bom=no", "-encout:latin1"}, "\xEF\xBB\xBF\xC3\xA9", "\xE9"},
        // The text decides, not what one knows of the charsets.
        {{"--from-code=utf-8", "--to-code=ascii"}, "a", "a"},
        {{"--from-code=utf-8", "--to-code=ascii", "-force"}, "\xC3\xA9", "?"},
        {{"--from-code=utf-8", "--to-code=ascii"}, "\xC3\xA9", "\xC3\xA9"},
        {{"--strict", "-encin:utf-8", "-encout:iso-8859-1"}, "\xC3\xA9", "\xE9"},
        {{"--strict", "-encin:utf-8", "-encout:iso-8859-1"}, "\xE2\x82\xAC", "\xE2\x82\xAC"},
    };
    for (const auto& row : rows) {
        Write("x", row.text);
        Arguments arguments{"x", "-any"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const Outcome outcome = Tsub(arguments);
        EXPECT_EQ(Read("x"), row.result) << testing::PrintToString(arguments) << outcome.err;
        EXPECT_EQ(outcome.status, 1);
    }
    // A text so long that it goes by tables.
    Write("x", std::string(40000, '\xFF'));
    EXPECT_EQ(Tsub({"x", "-any", "--strict", "--from-code=iso-8859-7", "--to-code=utf-8"}).status,
              1);
    EXPECT_EQ(Read("x"), std::string(40000, '\xFF'));
    for (const char* const name : {"utf9", "shft_jis", "no such"}) {
        const Outcome outcome = Tsub({"x", "-any", std::string("--from-code=") + name});
        EXPECT_EQ(outcome.status, 255);
        EXPECT_NE(outcome.err.find("isn't a charset that is known"), std::string::npos);
    }
    EXPECT_NE(Tsub({"--list-charsets"}).out.find("\nshift_jis sjis "), std::string::npos);
    EXPECT_EQ(Tsub({"-f:b", "-t:c", "--from-code=utf-16"}, "\xFE\xFF\0b"s).out, "\xFE\xFF\0c"s);
    // A locale of which the catalogue knows nothing.
    EXPECT_EQ(Tsub({"x", "-f:a", "-t:b", "--from-code=utf8"}, "", "ru_RU.CP1251").status, 1);
}

TEST_F(CommandTest, WhatIsLostIsToldOf) {
    const std::string text = "a\nb\xFF" + std::string(70000, 'c') + "\xFE" + "a";
    Write("x", text);
    Write("y", "a");
    const Outcome strict = Tsub({"x", "y", "-f:a", "-t:b", "--strict"});
    EXPECT_EQ(strict.status, 0);
    EXPECT_EQ(strict.err,
              "[ERROR] can't convert without loss: " + (folder / "x").string() +
                  "\n@ 2 bytes aren't UTF-8, the first is 0xFF at offset 3 on line 2\n");
    EXPECT_TRUE(Read("x") == text);
    EXPECT_EQ(Read("y"), "b");
    const Outcome pipe = Tsub({"-f:a", "-t:b", "--strict"}, "a\xFF");
    EXPECT_EQ(pipe.status, 255);
    EXPECT_EQ(pipe.out, "");
    EXPECT_EQ(Tsub({"-f:a", "-t:b", "--strict"}, "a").out, "b");

    const std::string warning = "[WARNING] " + (folder / "x").string() +
                                ": 2 bytes aren't UTF-8, the first is 0xFF at offset 3; "
                                "--keep-bytes keeps them\n";
    for (const bool onTerminal : {false, true}) {
        errorsOnTerminal = onTerminal;
        Write("x", text);
        EXPECT_EQ(Tsub({"x", "-f:a", "-t:b"}).err, onTerminal ? warning : "");
        // Far from each other, so that they are written by themselves.
        EXPECT_EQ(Read("x").substr(0, 4) + Read("x").substr(70004), "b\nb??b");
    }
    errorsOnTerminal = false;
    Write("x", text);
    EXPECT_EQ(Tsub({"x", "-f:a", "-t:b", "-encout:iso-8859-1", "-force", "--keep-bytes"}).err,
              strict.err);
}

/// The characters of a text as its charset's converter gives them; a byte of none by itself.
std::vector<std::string> Characters(const char* charset, const std::string& text) {
    std::vector<std::string> characters;
    const iconv_t converter = iconv_open("WCHAR_T", charset);
    for (std::size_t pos = 0; pos < text.size();) {
        std::size_t length = 1;
        for (std::size_t tried = 1; tried <= 4 && pos + tried <= text.size(); ++tried) {
            std::string bytes = text.substr(pos, tried);
            char* in = bytes.data();
            std::size_t inLeft = bytes.size();
            wchar_t wide[4];
            char* out = reinterpret_cast<char*>(wide);
            std::size_t outLeft = sizeof wide;
            iconv(converter, nullptr, nullptr, nullptr, nullptr);
            if (iconv(converter, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1) &&
                inLeft == 0) {
                length = tried;
                break;
            }
        }
        characters.push_back(text.substr(pos, length));
        pos += length;
    }
    iconv_close(converter);
    return characters;
}

TEST_F(CommandTest, OnlyWhatIsMatchedChangesWhereBytesAreKept) {
    std::mt19937 random(88);
    const struct {
        const char* charset;
        std::vector<std::string> pieces;
    } rows[] = {
        {"UTF-8",
         {"a", "b", "\n", "\xC3\xA9", "\xE4\xBD\xA0", "\xF0\x9F\x98\x80", "\xFF", "\xC3",
          "\xE4\xBD", "\xED\xA0\x80", "\xF5", " "}},
        {"GBK", {"a", "b", "\n", "\xC4\xE3", "\xBA\xC3", "\xFF", "\x80", "\xC4", "\x81\x30", "|"}},
        {"CP932",
         {"a", "b", "\n", "\x83\x5C", "\x81\xCA", "\xFA\x54", "\xEE\xF9", "\xA0", "\x83", "\xB1"}},
        {"ISO-8859-3", {"a", "b", "\n", "\xE9", "\xA5", "\xAE", "\xFF"}},
        {"GB18030",
         {"a", "b", "\n", "\xC4\xE3", "\x81\x30\x81\x30", "\x81\x30\x81", "\xFF", "\x80"}},
    };
    const struct {
        Arguments arguments;
        std::function<std::string(const std::string&)> result; ///< of one character
    } ways[] = {
        {{"-f:a", "-t:xyz"}, [](const std::string& c) { return c == "a" ? "xyz" : c; }},
        {{"-fic:B", "-t:"}, [](const std::string& c) { return c == "b" ? "" : c; }},
        {{"-r:a", "-t:<\\0>"}, [](const std::string& c) { return c == "a" ? "<a>" : c; }},
        {{"-r:[^ab]", "-t:-"},
         [](const std::string& c) { return c == "a" || c == "b" || c == "\n" ? c : "-"; }},
        {{"-rnnl:.", "-t:-"}, [](const std::string&) { return "-"; }},
    };
    const std::size_t blocks[] = {0, 0, 1, 7, 64};
    for (int round = 0; round < 150; ++round) {
        const auto& row = rows[static_cast<std::size_t>(round) % std::size(rows)];
        const auto& way = ways[random() % std::size(ways)];
        std::string text;
        for (auto n = random() % (round % 10 == 0 ? 100000 : 60); n != 0; --n) {
            text += row.pieces[random() % row.pieces.size()];
        }
        std::string expected;
        for (const std::string& character : Characters(row.charset, text)) {
            expected += way.result(character);
        }
        blockSize = text.size() > 1000 ? 0 : blocks[random() % std::size(blocks)];
        Write("x", text);
        Arguments arguments{"x", std::string("--from-code=") + row.charset, "--keep-bytes"};
        arguments.insert(arguments.end(), way.arguments.begin(), way.arguments.end());
        const Outcome outcome = Tsub(arguments);
        ASSERT_TRUE(Read("x") == expected) << testing::PrintToString(arguments) << "\n"
                                           << testing::PrintToString(text.substr(0, 300)) << "\n"
                                           << testing::PrintToString(Read("x").substr(0, 300));
        EXPECT_EQ(outcome.status, text == expected ? 1 : 0);
        arguments.erase(arguments.begin());
        ASSERT_TRUE(Tsub(arguments, text).out == expected);
    }
}

} // namespace

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

/// A run that is put together at random, and what it must come to.
struct TRIAL {
    std::string from;
    std::string to;
    std::string text;
    std::string find; ///< the switch, with its value
    std::string replacement;
    bool replaces = true;
    bool marks = false;
    bool inPlace = false;

    std::vector<std::string> Switches() const {
        std::vector<std::string> switches{find, "-trc", "-force", "-encin:" + from,
                                          "-encout:" + to};
        if (replaces) {
            switches.push_back("-t:" + replacement);
        }
        if (marks) {
            switches.emplace_back("-unisign");
        }
        if (inPlace) {
            switches.emplace_back("-noexp");
        }
        return switches;
    }

    unsigned long Replace(wstringEx& text) const {
        const CTextLibIConv utf8{stringEx("UTF-8")};
        const std::size_t colon = find.find(':');
        const wstringEx what = utf8.MBtoWC(Bytes(find.substr(colon + 1)));
        const wstringEx with = utf8.MBtoWC(Bytes(replacement));
        const std::string name = find.substr(0, colon);
        if (name == "-any") {
            text = replaces ? with : text;
            return replaces ? 1 : 0;
        }
        if (name == "-f" || name == "-fic") {
            return name == "-f" ? text.find_replace(what, with, 0, true)
                                : text.find_replace_no_case(what, with, 0, true);
        }
        REGEX_ERROR error;
        const auto expression = wstringEx::regex_comp(
            what, name.ends_with("ic"), !name.starts_with("-rnnl"), true, true, error);
        if (inPlace) {
            return text.regex_find_replace_all_with_comp(expression, with, false, false, true);
        }
        wstringEx result;
        const unsigned long count =
            text.regex_find_replace_all_with_comp_to(result, expression, with, false, false, true);
        text = count != 0 ? result : text;
        return count;
    }

    RESULT Expected(const std::string& input) const {
        return AtOnce(input, from.c_str(), to.c_str(),
                      [this](wstringEx& wide) { return wide.empty() ? 0 : Replace(wide); });
    }
};

TRIAL AnyTrial(std::mt19937& random) {
    const auto any = [&random](const auto& list) { return list[random() % std::size(list)]; };
    const char* const names[] = {"UTF-8",     "UTF-8",   "UTF-8",       "GBK",
                                 "GB18030",   "utf16le", "ISO-2022-JP", "ISO-IR-193",
                                 "SHIFT_JIS", "TCVN",    "ISO-8859-1"};
    const char* const patterns[] = {"a*",           "(a|b)+",   "^a",   "b$",     "a+\n",
                                    "(ab)\\1",      "a",        "[^a]", "(^|b)a", "b{1,2}",
                                    "***:\\yab",    "Ab",       "aab",  "ba",     "***:(a.*?)b",
                                    "\\w+",         "(a)(b)?",  "?",    "aaaa",   "a\xE4\xB8\xAD",
                                    "\xE4\xB8\xAD", "\303\251b"};
    const char* const replacements[] = {"",        "x", "yy", "<\\0>", "\\1-", "\xE4\xB8\xAD-",
                                        "\xC3\xA9"};
    const char* const finds[] = {"-r:", "-ric:", "-rnnl:", "-rnnlic:", "-f:", "-fic:", "-f:"};
    const char* const pieces[] = {"a", "b",        "\n",           "B",        "i",    "?",
                                  "~", "\xC3\xA9", "\xE4\xB8\xAD", "\xC4\xB0", "\xFF", "\xE4\xB8"};
    TRIAL trial;
    trial.from = any(names);
    trial.to = random() % 2 == 0 ? trial.from : any(names);
    trial.find = random() % 8 == 0 ? "-any" : std::string(any(finds)) + any(patterns);
    trial.replaces = trial.find != "-any" || random() % 4 == 0;
    trial.replacement = any(replacements);
    trial.marks = random() % 8 == 0;
    trial.inPlace = random() % 3 == 0;
    const unsigned int kinds[] = {3, 6, 9, 12};
    const unsigned int kind = any(kinds);
    std::string text = random() % 5 == 0 ? "\xEF\xBB\xBF" : "";
    const bool isLong = random() % 10 == 0;
    for (auto n = isLong ? 33000 + random() % 60000 : random() % 60; n != 0; --n) {
        text += pieces[random() % (n / 7000 % 2 == 0 ? kind : 3)];
    }
    trial.text =
        random() % 4 == 0 ? text : Converted("\xEF\xBB\xBF" + text, "UTF-8", trial.from.c_str());
    return trial;
}

/// Whatever the blocks are and wherever the text comes from and goes to, the result is that of the
/// library's operations on the whole text.
TEST_F(CommandTest, GivesByBlocksWhatAWholeTextGives) {
    std::mt19937 random(11);
    for (int round = 0; round < 500; ++round) {
        const TRIAL trial = AnyTrial(random);
        const std::size_t sizes[] = {0, 1, 2, 7, 64};
        blockSize = trial.text.size() > 1000 ? 0 : sizes[random() % std::size(sizes)];
        const auto report = [](unsigned long count) {
            return count == 0 ? "" : "\n## total replaced " + std::to_string(count) + " matchs\n";
        };
        const std::string what = testing::PrintToString(trial.Switches()) + " blocks of " +
                                 std::to_string(blockSize) + " round " + std::to_string(round);
        std::vector<std::string> onFile = trial.Switches();
        onFile.emplace_back("x.txt");
        const RESULT ofFile = trial.Expected(trial.text);
        const bool hasText =
            AtOnce(trial.text, trial.from.c_str(), "UTF-8", [](wstringEx& wide) -> unsigned long {
                return wide.empty() ? 0 : 1;
            }).count != 0;
        const bool isWritten = ofFile.count != 0 || (trial.find == "-any" && hasText);
        const bool isMarked = trial.marks && trial.to == "UTF-8";

        Write("x.txt", trial.text);
        const Outcome file = Tsub(onFile);
        EXPECT_EQ(file.out + file.err, report(ofFile.count)) << what;
        EXPECT_EQ(file.status, ofFile.count == 0 ? 1 : 0) << what;
        EXPECT_TRUE(Read("x.txt") == (!isWritten ? trial.text
                                      : isMarked ? "\xEF\xBB\xBF" + ofFile.text
                                                 : ofFile.text))
            << what << "\n"
            << trial.text.substr(0, 100) << "\n"
            << Read("x.txt").substr(0, 100);

        Write("x.txt", trial.text);
        onFile.emplace_back("-stdout");
        EXPECT_TRUE(Tsub(onFile).out == ofFile.text + report(ofFile.count)) << what;

        const RESULT ofPipe = trial.Expected(trial.text + "\xFF");
        EXPECT_TRUE(Tsub(trial.Switches(), trial.text).out == ofPipe.text + report(ofPipe.count))
            << what;
        std::vector<std::string> asFilter = trial.Switches();
        asFilter.emplace_back("--filter");
        EXPECT_TRUE(Tsub(asFilter, trial.text).out == ofFile.text + report(ofFile.count)) << what;
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

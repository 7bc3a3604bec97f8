// Command lines, flat ones and lists of arguments: words that were quoted come back, the narrow and
// the wide form read the same, and no place or name that is asked for does harm.
#include "fuzz/FuzzInput.h"
#include "util/text/CmdArgParser.h"
#include "util/text/ConvStr.h"

#include <vector>

using namespace Quil;

namespace {

stringEx Text(const std::string& bytes) {
    return {bytes.data(), static_cast<unsigned int>(bytes.size())};
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

/// All that a parser tells.
std::string Told(const CCmdArgParser& parser, const stringEx& name) {
    std::string all;
    for (unsigned int i = 0; i < 40; ++i) {
        all += parser.IsSwitch(i) ? "s" : parser.IsNoneSwitch(i) ? "n" : "-";
        all += std::string(parser.GetSwitchName(i).c_str()) + "\x1F" +
               parser.GetSwitchValue(i).c_str() + "\x1E";
    }
    for (const stringEx& word : parser.GetNoneSwitches()) {
        all += std::string(word.c_str()) + "\x1E";
    }
    const unsigned int count = parser.GetSwitchCountNoCase(name);
    FUZZ::Require(parser.GetSwitchCount(name) <= count, "regard to case finds no more");
    FUZZ::Require(parser.IsSwitchExistNoCase(name) == (count != 0), "what is there is counted");
    for (unsigned int i = 0; i <= count; ++i) {
        const unsigned int place = parser.GetSwitchPosNoCase(name, i);
        FUZZ::Require((place == CCmdArgParser::NOT_FOUND) == (i == count),
                      "each that is counted has a place");
        FUZZ::Require(i == count || parser.GetSwitchValue(place) == parser.GetSwitchNoCase(name, i),
                      "one value");
        all += std::to_string(place);
    }
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    const stringEx prefix = Text(input.Text(2));
    const stringEx suffix = Text(input.Text(2));
    const unsigned int first = input.Below(3);
    const stringEx name = Text(input.Text(4));
    const std::string line = input.Rest();

    CCmdArgParser parser(prefix, suffix, first);
    parser.Parse(Text(line));
    const std::string told = Told(parser, name);
    if (IsAscii(line)) {
        CCmdArgParser wide(prefix, suffix, first);
        wide.Parse(ConvStrSToW(Text(line)));
        FUZZ::Require(Told(wide, name) == told, "a wide line is read as a narrow one");
    }

    // The words between quotes, and the same as a list.
    std::vector<stringEx> words;
    std::string quoted;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t end = std::min(line.find('"', at), line.size());
        if (end != at) {
            words.push_back(Text(line.substr(at, end - at)));
            quoted += " \"" + line.substr(at, end - at) + "\"";
        }
        at = end + 1;
    }
    CCmdArgParser list(prefix, suffix, first);
    CCmdArgParser flat(prefix, suffix, first);
    list.Parse(words);
    flat.Parse(Text(quoted));
    FUZZ::Require(Told(list, name) == Told(flat, name), "quoted words come back");
    list.Merge(flat);
    list.Reset(suffix, prefix, first + 1);
    Told(list, name);
    return 0;
}

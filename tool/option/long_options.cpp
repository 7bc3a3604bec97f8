#include "tool/option/long_options.h"

#include "tool/option/nearest.h"
#include "tool/option/option_table.h"
#include "tool/run.h"
#include "util/text/CmdArgParser.h"

#include <algorithm>
#include <iostream>
#include <string_view>

namespace Quil {

namespace {

bool IsLong(std::string_view argument) {
    return argument.size() > 2 && argument.starts_with("--") && stringEx::is_alpha(argument[2]);
}

bool Refuse(const stringEx& argument, const stringEx& reason) {
    std::cerr << "[FATAL ERROR] " << argument << " " << reason << "\n";
    return false;
}

/// "; --this is one" if a long option, or a switch, has nearly that name; else empty.
stringEx KnownInstead(const stringEx& name, bool isLong) {
    std::vector<stringEx> known;
    for (const OPTION& option : GetOptions()) {
        if (option.IsLong() == isLong) {
            known.emplace_back(option.name);
        }
    }
    stringEx instead;
    if (const stringEx nearest = FindNearest(name, known); !nearest.empty()) {
        instead.append(isLong ? "; --" : "; -").append(nearest).append(" is one");
    }
    return instead;
}

/// "this, that or those".
stringEx Enumeration(const std::vector<std::string_view>& words) {
    stringEx text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text.append(i == 0 ? "" : i + 1 == words.size() ? " or " : ", ");
        text.append(words[i].data(), static_cast<unsigned int>(words[i].size()));
    }
    return text;
}

bool Settle(const stringEx& argument, Run& run) {
    const unsigned int end = argument.find_first_of("=:", 2);
    const bool hasValue = end != stringEx::npos;
    const stringEx name = argument.substr(2, hasValue ? end - 2 : stringEx::npos);
    const stringEx value = hasValue ? argument.substr(end + 1, stringEx::npos) : stEMPTY;
    const auto options = GetOptions();
    const auto option = std::find_if(options.begin(), options.end(), [&name](const OPTION& row) {
        return row.IsLong() && name == row.name;
    });
    if (option == options.end()) {
        return Refuse(argument, stringEx("isn't an option")
                                    .append(KnownInstead(name, true))
                                    .append(", --help lists all"));
    }
    if (hasValue && option->value == VALUE::NONE) {
        return Refuse(argument, "takes no value");
    }
    if (value.empty() && (hasValue || option->value == VALUE::NEEDED)) {
        return Refuse(argument, stringEx("wants a value: --")
                                    .append(option->name)
                                    .append("=")
                                    .append(option->valueName));
    }
    if (const std::vector<std::string_view> words = GetWords(*option);
        !words.empty() &&
        std::ranges::find(words, std::string_view(value.c_str())) == words.end()) {
        return Refuse(argument, stringEx("wants ").append(Enumeration(words)));
    }
    if (const char* const wanted = option->settle(run, value)) {
        return Refuse(argument, stringEx("wants ").append(wanted));
    }
    return true;
}

bool IsKnownSwitch(const stringEx& name) {
    return name == "?" || std::ranges::any_of(GetOptions(), [&name](const OPTION& row) {
               return !row.IsLong() && name.equal_no_case(row.name);
           });
}

} // namespace

int FindOptionsEnd(int argc, const char* const* argv) {
    return static_cast<int>(
        std::find(argv + std::min(argc, 1), argv + argc, std::string_view("--")) - argv);
}

bool SettleLongOptions(int end, const char* const* argv, Run& run) {
    return std::all_of(argv + std::min(end, 1), argv + end, [&run](const char* argument) {
        return !IsLong(argument) || Settle(stringEx(argument), run);
    });
}

bool CheckSwitches(const CCmdArgParser& parser, unsigned int end, const Run& run) {
    for (unsigned int i = 0; i < end; ++i) {
        const stringEx name = parser.GetSwitchName(i);
        if (name.empty() || IsLong((stringEx("-") + name).c_str()) || IsKnownSwitch(name)) {
            continue;
        }
        const stringEx known = KnownInstead(name, false);
        if (run.isCareful) {
            std::cerr << "[FATAL ERROR] switch -" << name << " isn't known" << known << "\n";
            return false;
        }
        if (run.isWatched) {
            std::cerr << "[WARNING] switch -" << name << " isn't known and has no effect" << known
                      << "\n";
        }
    }
    return true;
}

} // namespace Quil

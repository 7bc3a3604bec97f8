#include "tool/long_options.h"

#include "tool/run.h"
#include "util/base/PlatInfo.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace Quil {

namespace {

enum class VALUE { NONE, NUMBER_OR_NOTHING };

struct OPTION {
    const char* name;
    VALUE value;
    void (*settle)(Run& run, unsigned int number); ///< 0 where no number is given
};

constexpr OPTION OPTIONS[] = {
    {"filter", VALUE::NONE, [](Run& run, unsigned int) { run.isFilter = true; }},
    {"jobs", VALUE::NUMBER_OR_NOTHING,
     [](Run& run, unsigned int number) {
         run.jobs = number != 0 ? number : CPlatInfo::Get().GetOnlineCpuCount();
     }},
};

constexpr unsigned int MOST_DIGITS = 4;

bool IsLong(std::string_view argument) {
    return argument.size() > 2 && argument.starts_with("--") && stringEx::is_alpha(argument[2]);
}

bool Refuse(const stringEx& argument, const char* reason) {
    std::cerr << "[FATAL ERROR] " << argument << " " << reason << "\n";
    return false;
}

/// A number from 1 on; 0 if the text is none.
unsigned int NumberOf(const stringEx& text) {
    const bool isNumber = !text.empty() && text.length() <= MOST_DIGITS &&
                          std::all_of(text.begin(), text.end(),
                                      [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? static_cast<unsigned int>(std::atoi(text.c_str())) : 0;
}

bool Settle(const stringEx& argument, Run& run) {
    const unsigned int end = argument.find_first_of("=:", 2);
    const bool hasValue = end != stringEx::npos;
    const stringEx name = argument.substr(2, hasValue ? end - 2 : stringEx::npos);
    const auto* const option =
        std::find_if(std::begin(OPTIONS), std::end(OPTIONS),
                     [&name](const OPTION& row) { return name == row.name; });
    if (option == std::end(OPTIONS)) {
        return Refuse(argument, "isn't an option");
    }
    if (hasValue && option->value == VALUE::NONE) {
        return Refuse(argument, "takes no value");
    }
    const unsigned int number = hasValue ? NumberOf(argument.substr(end + 1, stringEx::npos)) : 0;
    if (hasValue && number == 0) {
        return Refuse(argument, "wants a number from 1 to 9999");
    }
    option->settle(run, number);
    return true;
}

} // namespace

bool SettleLongOptions(int argc, const char* const* argv, Run& run) {
    return std::all_of(argv + 1, argv + argc, [&run](const char* argument) {
        return !IsLong(argument) || Settle(stringEx(argument), run);
    });
}

} // namespace Quil

#include "tool/option/help.h"

#include "tool/charset_names.h"
#include "tool/option/option_table.h"
#include "util/base/version.h"
#include "util/conv/TextDetect.h"
#include "util/conv/TextLibIConv.h"
#include "util/conv/TextLibIcu.h"

#include <gnu/libc-version.h>

namespace Quil {

namespace {

constexpr std::size_t HELP_COLUMN = 24;

std::string Row(const OPTION& option) {
    std::string row = option.IsLong() ? "  --" : "  -";
    row += option.name;
    const std::string value = option.GetValueSign() + std::string(option.valueName);
    if (option.value == VALUE::NEEDED) {
        row += value;
    } else if (option.value == VALUE::OPTIONAL) {
        row += "[" + value + "]";
    }
    if (row.size() + 2 > HELP_COLUMN) {
        row += "\n";
        row.append(HELP_COLUMN, ' ');
    } else {
        row.resize(HELP_COLUMN, ' ');
    }
    return row + option.help + "\n";
}

/// What charsets are looked for where a language is spoken, a row for each of the languages.
std::string CandidateRows() {
    constexpr std::size_t COLUMN = 8;
    constexpr std::size_t WIDTH = 80;
    std::string rows;
    for (const char* const language :
         {"zh", "ja", "ko", "ru", "el", "he", "ar", "th", "vi", "tr", "pl", "ro", "lt", "de"}) {
        std::string row = std::string("  ") + language;
        row.resize(COLUMN, ' ');
        row += "utf-8";
        for (const stringEx& candidate : TTextDetect::GetCandidates(stringEx(language))) {
            const std::string name = std::string(" ") + ShownCharset(candidate).c_str();
            if (row.size() - (row.rfind('\n') + 1) + name.size() >= WIDTH) {
                row += "\n" + std::string(COLUMN - 1, ' ');
            }
            row += name;
        }
        rows += row + "\n";
    }
    return rows;
}

} // namespace

std::string HelpText() {
    std::string text =
        "Usage: tsub [PATTERN...] FIND REPLACE [OPTION...]\n"
        "       ... | tsub FIND REPLACE [OPTION...]\n"
        "\n"
        "Finds a text or an expression in files, or in a pipe, and replaces it, in any\n"
        "charset. Patterns (*, ?) are names or end in one; -- ends the options.\n";
    for (const TASK_TITLE& title : GetTasks()) {
        text += std::string("\n") + title.text + ":\n";
        for (const OPTION& option : GetOptions()) {
            if (option.task == title.task) {
                text += Row(option);
            }
        }
    }
    return text +
           "\nWhat --from-code=auto decides between, by the locale's language (ru, pl, lt and\n"
           "de: also their neighbours'); by another language, between all charsets:\n" +
           CandidateRows() +
           "\n"
           "Exit status: 0 something was replaced, 1 nothing was, 255 an error.\n";
}

std::string VersionText() {
#ifdef __clang__
    constexpr const char* COMPILER = "clang " __clang_version__;
#else
    constexpr const char* COMPILER = "g++ " __VERSION__;
#endif
    const auto found = [](bool isFound) { return isFound ? "found" : "not found"; };
    return std::string("tsub ") + Version() + "\nbuilt with " + COMPILER + "\n" + "C library " +
           gnu_get_libc_version() + "\n" + "iconv " +
           found(CTextLibIConv::IsExternalDependencyReady()) + "\n" + "ICU " +
           found(CTextLibIcu::IsExternalDependencyReady()) + "\n";
}

} // namespace Quil

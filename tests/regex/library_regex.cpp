// Calls to the C library's regcomp and regexec.
#include "tests/regex/library_regex.h"

#include <regex.h>

namespace test {

std::optional<std::vector<std::pair<int, int>>>
librarymatches(const std::string& pattern, const std::vector<std::string>& texts) {
    regex_t compiled;
    if (regcomp(&compiled, pattern.c_str(), REG_EXTENDED) != 0) {
        return std::nullopt;
    }
    std::vector<std::pair<int, int>> spans;
    for (const std::string& text : texts) {
        regmatch_t m[1];
        const bool found = regexec(&compiled, text.c_str(), 1, m, 0) == 0;
        spans.emplace_back(found ? m[0].rm_so : -1, found ? m[0].rm_eo : -1);
    }
    regfree(&compiled);
    return spans;
}

} // namespace test

// The narrow engine's entry for matching.
#include "regex/regcontext.h"

namespace Quil {

int sre_exec(regex_t* re, const char* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags) {
    TRegexContext<char> context(re);
    context.settext(string, len);
    return context.exec(0, nmatch, pmatch, flags, details);
}

} // namespace Quil

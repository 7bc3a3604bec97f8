// The wide engine's entry for matching.
#include "regex/regcontext.h"

namespace Quil {

int wre_exec(regex_t* re, const wchar_t* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags) {
    TRegexContext<wchar_t> context(re);
    context.settext(string, len);
    return context.exec(0, nmatch, pmatch, flags, details);
}

} // namespace Quil

// The words for the engine's numbers.
#include "util/text/regex_error.h"

#include "regex/regex.h"

namespace Quil {

const char* IMPL::regex_error_text(int code) noexcept {
    switch (code) {
    case REG_OKAY:
        return "";
    case REG_BADPAT:
        return "***? is reserved";
    case REG_ECOLLATE:
        return "unknown collating element";
    case REG_ECTYPE:
        return "unknown character class";
    case REG_EESCAPE:
        return "unknown or unfinished backslash sequence";
    case REG_ESUBREG:
        return "reference to a group that isn't closed before it";
    case REG_EBRACK:
        return "bracket not closed";
    case REG_EPAREN:
        return "parentheses not balanced";
    case REG_EBRACE:
        return "brace not closed";
    case REG_BADBR:
        return "bad repeat count (up to 255, the lower first)";
    case REG_ERANGE:
        return "bad range";
    case REG_ESPACE:
        return "too large";
    case REG_BADRPT:
        return "nothing to repeat, or unknown (? or ***";
    case REG_BADOPT:
        return "unknown or unfinished option in (?...)";
    default:
        return "the engine failed";
    }
}

} // namespace Quil

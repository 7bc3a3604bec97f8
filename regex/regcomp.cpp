// Compile entry points of the narrow engine.

#include "regex/compile.h"

namespace Quil {

int sre_comp(regex_t* re, const char* pattern, std::size_t len, int flags) {
    std::ptrdiff_t at;
    return IMPL::engine::compile(re, pattern, len, flags, at);
}

int sre_comp_at(regex_t* re, const char* pattern, std::size_t len, int flags, std::ptrdiff_t& at) {
    return IMPL::engine::compile(re, pattern, len, flags, at);
}

} // namespace Quil

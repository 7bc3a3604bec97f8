// Compile entry points of the wide engine.

#include "regex/compile.h"

namespace Quil {

int wre_comp(regex_t* re, const wchar_t* pattern, std::size_t len, int flags) {
    std::ptrdiff_t at;
    return IMPL::engine::compile(re, pattern, len, flags, at);
}

int wre_comp_at(regex_t* re, const wchar_t* pattern, std::size_t len, int flags,
                std::ptrdiff_t& at) {
    return IMPL::engine::compile(re, pattern, len, flags, at);
}

} // namespace Quil

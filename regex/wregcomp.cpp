// Compile entry point of the wide engine.

#include "regex/compile.h"

namespace Quil {

int wre_comp(regex_t* re, const wchar_t* pattern, std::size_t len, int flags) {
    return IMPL::engine::compile(re, pattern, len, flags);
}

} // namespace Quil

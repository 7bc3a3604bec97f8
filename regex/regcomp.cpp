// Compile entry point of the narrow engine.

#include "regex/compile.h"

namespace Quil {

int sre_comp(regex_t* re, const char* pattern, std::size_t len, int flags) {
    return IMPL::engine::compile(re, pattern, len, flags);
}

} // namespace Quil

// A compile from beginning to end: the order of the stages, and who owns what between them.

#pragma once

#include "regex/regguts.h"

#include <cstddef>

namespace Quil::IMPL::engine {

/// Compiles `len` characters of `pattern` into `re`; the result code. What wre_comp() and
/// sre_comp() do.
template <class chr>
int compile(regex_t* re, const chr* pattern, std::size_t len, int flags);

extern template int compile(regex_t*, const char*, std::size_t, int);
extern template int compile(regex_t*, const wchar_t*, std::size_t, int);

} // namespace Quil::IMPL::engine

// A compile from beginning to end: the order of the stages, and who owns what between them.

#pragma once

#include "regex/compile/regguts.h"

#include <cstddef>

namespace Quil::IMPL::engine {

/// Compiles `len` characters of `pattern` into `re`; the result code, and where the error was
/// found. What wre_comp_at() and sre_comp_at() do.
template <class chr>
int compile(regex_t* re, const chr* pattern, std::size_t len, int flags, std::ptrdiff_t& at);

extern template int compile(regex_t*, const char*, std::size_t, int, std::ptrdiff_t&);
extern template int compile(regex_t*, const wchar_t*, std::size_t, int, std::ptrdiff_t&);

} // namespace Quil::IMPL::engine

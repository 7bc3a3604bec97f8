// printf for wide text into a fixed room.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace Quil::IMPL {

/// Formats into `to`, which has room for `n` elements. The number of elements written, or -1 as
/// soon as the text doesn't fit, or for a format that can't be served (`%n`, an unknown
/// conversion). A terminating 0 follows where there is room for one.
///
/// `%s` takes a wide string ("(null)" for null), `%p` is "%08lX", `%%` a percent sign; every other
/// conversion goes through the narrow formatter, and its text is widened. Flags, widths and
/// precisions are passed on, `*` takes them from the arguments.
int my_vsnwprintf(wchar_t* to, std::size_t n, const wchar_t* format, va_list arguments);

} // namespace Quil::IMPL

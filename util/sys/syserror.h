// The library's words for the error numbers of system calls.
//
// Each call knows best what a number means there, so the thrower brings a table of its own; numbers
// that the table lacks get the system's words.
#pragma once

#include "util/text/stringEx.h"

#include <span>

namespace Quil::IMPL {

struct ERROR_TEXT {
    int number;
    const char* text;
};

/// The table's text for a number, or "unexpect system error: " and the system's.
stringEx DescribeSysError(int number, std::span<const ERROR_TEXT> table);

/// A whole message: the head line (without its line end), the detail lines for code and
/// description, and `extra`, a further detail line, if it isn't empty. `keyWidth` is what the keys
/// are padded to.
stringEx SysErrorMessage(const stringEx& head, int number, std::span<const ERROR_TEXT> table,
                         const stringEx& extra = stEMPTY, unsigned int keyWidth = 10);

/// Throws that message as an `Exp` whose code is the number.
template <class Exp>
[[noreturn]] void ThrowSysError(const stringEx& head, int number, std::span<const ERROR_TEXT> table,
                                const stringEx& extra = stEMPTY, unsigned int keyWidth = 10) {
    throw Exp(static_cast<unsigned int>(number),
              SysErrorMessage(head, number, table, extra, keyWidth));
}

} // namespace Quil::IMPL

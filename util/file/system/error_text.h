// How the file classes word their failures: one mechanism for all call sites.
//
// A call site owns a table of the error numbers that it can explain, and the order and keys of its
// detail lines; putting a message together is done here.

#pragma once

#include "util/sys/syserror.h"
#include "util/text/stringEx.h"

#include <cerrno>
#include <concepts>
#include <initializer_list>

namespace Quil::IMPL {

/// One detail line of a message. The key is the whole text in front of the value, "  key = ",
/// padded by the caller so that the equal signs of a message stand in one column.
struct ERROR_LINE {
    ERROR_LINE(const char* keyText, const stringEx& text) : key(keyText), value(text) {}
    ERROR_LINE(const char* keyText, const char* text) : key(keyText), value(text) {}
    ERROR_LINE(const char* keyText, bool flag) : key(keyText), value(flag ? "true" : "false") {}
    template <std::integral Int>
    ERROR_LINE(const char* keyText, Int number) : key(keyText) {
        value << static_cast<long long>(number);
    }

    const char* key;
    stringEx value;
};

/// The head, which ends its own line, and the detail lines joined by line feeds.
stringEx ComposeError(const char* head, std::initializer_list<ERROR_LINE> lines);

/// A message with the caught message `cause` below it, behind the lines.
stringEx ComposeError(const char* head, std::initializer_list<ERROR_LINE> lines,
                      const stringEx& cause);

/// Repeats a system call while a signal interrupts it. `call` answers -1 for a failure.
template <class Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace Quil::IMPL

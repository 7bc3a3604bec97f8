// The messages of failed system calls: known numbers by the thrower's table, the rest by the
// system.
#include "util/sys/syserror.h"

#include "util/sys/errhdl.h"

#include <algorithm>

namespace Quil::IMPL {

stringEx DescribeSysError(int number, std::span<const ERROR_TEXT> table) {
    const auto found = std::ranges::find(table, number, &ERROR_TEXT::number);
    return found != table.end()
               ? stringEx(found->text)
               : "unexpect system error: " + GetSysErrString(static_cast<unsigned long>(number));
}

stringEx SysErrorMessage(const stringEx& head, int number, std::span<const ERROR_TEXT> table,
                         const stringEx& extra, unsigned int keyWidth) {
    constexpr unsigned int KEY_LENGTH = 10;
    const stringEx padding(keyWidth > KEY_LENGTH ? keyWidth - KEY_LENGTH : 0, ' ');
    stringEx message(head);
    message << "\n  error code" << padding << " = " << number << "\n  error desc" << padding
            << " = " << DescribeSysError(number, table);
    if (!extra.empty()) {
        message << '\n' << extra;
    }
    return message;
}

} // namespace Quil::IMPL

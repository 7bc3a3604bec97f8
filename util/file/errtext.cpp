// The wording of failures.

#include "util/file/errtext.h"

#include "util/sys/errhdl.h"

#include <algorithm>

namespace Quil::IMPL {

stringEx DescribeErrno(int code, std::span<const ERRNO_TEXT> table) {
    const auto row = std::find_if(table.begin(), table.end(),
                                  [code](const ERRNO_TEXT& entry) { return entry.code == code; });
    if (row != table.end())
        return stringEx(row->text);
    stringEx text("unexpect system error: ");
    text += GetSysErrString(static_cast<unsigned long>(code));
    return text;
}

stringEx ComposeError(const char* head, std::initializer_list<ERROR_LINE> lines) {
    stringEx message(head);
    bool first = true;
    for (const ERROR_LINE& line : lines) {
        if (!first)
            message += '\n';
        first = false;
        message += line.key;
        message += line.value;
    }
    return message;
}

stringEx ComposeError(const char* head, std::initializer_list<ERROR_LINE> lines,
                      const stringEx& cause) {
    stringEx message = ComposeError(head, lines);
    message += "\n@ ";
    message += cause;
    return message;
}

} // namespace Quil::IMPL

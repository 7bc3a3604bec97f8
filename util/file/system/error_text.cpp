// The wording of failures.

#include "util/file/system/error_text.h"

namespace Quil::IMPL {

stringEx ComposeError(const char* head, std::initializer_list<ERROR_LINE> lines) {
    stringEx message(head);
    bool first = true;
    for (const ERROR_LINE& line : lines) {
        if (!first) {
            message += '\n';
        }
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

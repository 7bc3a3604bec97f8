#include "util/sys/errhdl.h"

#include <cerrno>
#include <cstring>

namespace Quil {

unsigned long GetSysLastError() {
    return static_cast<unsigned long>(errno);
}

stringEx GetSysErrString(unsigned long code) {
    stringEx text(std::strerror(static_cast<int>(code)));
    for (const char* end : {"\n", "\r"}) {
        if (text.end_with(end)) {
            text.pop_back();
        }
    }
    return text;
}

} // namespace Quil

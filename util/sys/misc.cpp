// Answers from the process's environment and its files under /proc.
#include "util/sys/misc.h"

#include "util/sys/errhdl.h"
#include "util/text/ConvStr.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace Quil {

namespace {

/// As much of a command line as is looked at: arguments of a system at its usual limit, and no
/// more.
constexpr unsigned int CMD_LINE_LIMIT = 4 * 1024 * 1024;

/// Turns NUL-terminated arguments into one line.
stringEx JoinArguments(const stringEx& arguments) {
    stringEx line;
    for (unsigned int pos = 0; pos < arguments.length();) {
        const unsigned int end = std::min(arguments.find('\0', pos), arguments.length());
        const stringEx argument = arguments.substr_static(pos, end - pos);
        const bool quoted =
            argument.empty() || argument.find_first_of(" \t\v\r\n", 0) != stringEx::npos;
        if (pos != 0) {
            line.push_back(' ');
        }
        line.append(quoted ? "\"" : "").append(argument).append(quoted ? "\"" : "");
        pos = end + 1;
    }
    return line;
}

/// An open file of the system's, closed with the object.
class CProcFile {
public:
    explicit CProcFile(const stringEx& path)
        : __path(path), __descriptor(open(__path.make_tail(), O_RDONLY | O_CLOEXEC)) {
        if (__descriptor < 0) {
            __Throw("open");
        }
    }
    CProcFile(const CProcFile&) = delete;
    CProcFile& operator=(const CProcFile&) = delete;
    ~CProcFile() { close(__descriptor); }

    /// Bytes read, up to `room`; 0 at the end.
    unsigned int Read(char* to, unsigned int room) const {
        ssize_t got = 0;
        do {
            got = read(__descriptor, to, room);
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            __Throw("read");
        }
        return static_cast<unsigned int>(got);
    }

private:
    [[noreturn]] void __Throw(const char* what) const {
        const int error = errno;
        stringEx message("IMPL::ReadProcFile - can't ");
        message.append(what).append(" the file\n  file name  = ").append(__path);
        message.append("\n  error code = ").append_long(error, 10);
        throw sysfileExp(static_cast<unsigned int>(error), message);
    }

    stringEx __path;
    int __descriptor;
};

} // namespace

stringEx GetEnvString(const stringEx& name) {
    stringEx terminated(name);
    const char* value = std::getenv(terminated.make_tail());
    return value != nullptr ? stringEx(value) : stringEx();
}

stringEx GetTxtFileEL() {
    return "\n";
}

void GetCmdLine(stringEx& line) {
    line.clear();
    try {
        line = JoinArguments(IMPL::ReadProcFile("/proc/self/cmdline", CMD_LINE_LIMIT));
    } catch (...) {
        line.clear();
    }
}

void GetCmdLine(wstringEx& line) {
    line.clear();
    try {
        stringEx narrow;
        GetCmdLine(narrow);
        ConvStrSToW(line, narrow);
    } catch (...) {
        line.clear();
    }
}

namespace IMPL {

stringEx ReadProcFile(const stringEx& path, unsigned int limit) {
    constexpr unsigned int BLOCK = 4096;
    const CProcFile file(path);
    stringEx content;
    while (content.length() < limit) {
        const unsigned int room = std::min(BLOCK, limit - content.length());
        content._grow(content.length() + room + 1);
        const unsigned int got = file.Read(content.ref() + content.length(), room);
        content._eofonly(content.length() + got);
        if (got == 0) {
            break;
        }
    }
    return content;
}

} // namespace IMPL
} // namespace Quil

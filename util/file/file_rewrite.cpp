#include "util/file/file_rewrite.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace Quil::IMPL {

namespace {

constexpr char WHOLE[] = "the old content stands";

[[noreturn]] void ThrowWithState(const sysfileExp& cause, const stringEx& state) {
    stringEx message = cause.GetErrString();
    message.append("\n  file state = ").append(state);
    throw sysfileExp(cause.GetErrCode(), message);
}

std::uint64_t EndOf(const CSysFile& file) {
    file.SeekEnd(0);
    return CULongLongNative(file.GetCurrentPos()).Value();
}

CLongLongNative Offset(std::uint64_t bytes) {
    return CLongLongNative(CULongLongNative(bytes));
}

} // namespace

CFileRewrite::CFileRewrite(CSysFile& file) : __file(file), __oldSize(EndOf(file)) {}

void CFileRewrite::Overwrite(const void* data, std::uint64_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::uint64_t front = std::min(size, __oldSize);
    __Reserve(size);
    __WriteBehind(bytes + front, size - front);
    __file.SeekBegin(0);
    __WriteFront(bytes, front, size);
    if (size < __oldSize) {
        try {
            __file.ResizeToCurrentPos();
        } catch (const sysfileExp& cause) {
            ThrowWithState(cause, "the new content, and behind it the end of the old");
        }
    }
}

void CFileRewrite::Append(const void* data, std::uint64_t size) {
    __Reserve(__oldSize + size);
    __WriteBehind(static_cast<const unsigned char*>(data), size);
}

/// A file without content has nothing to lose.
void CFileRewrite::__Reserve(std::uint64_t size) {
    if (__oldSize == 0) {
        return;
    }
    try {
        __file.ReserveRoom(Offset(size));
    } catch (const sysfileExp& cause) {
        ThrowWithState(cause, WHOLE);
    }
}

/// The position is at the old end, and nothing in front of it is touched.
void CFileRewrite::__WriteBehind(const unsigned char* bytes, std::uint64_t size) {
    try {
        __Write(bytes, size);
    } catch (const sysfileExp& cause) {
        __CutBack(cause);
    }
}

void CFileRewrite::__WriteFront(const unsigned char* bytes, std::uint64_t size,
                                std::uint64_t newSize) {
    try {
        __Write(bytes, size);
    } catch (const sysfileExp& cause) {
        if (__written == 0) {
            __CutBack(cause);
        }
        stringEx state;
        state << "new up to byte " << __written << ", old from there to byte " << __oldSize;
        if (newSize > __oldSize) {
            state << ", new from there on";
        }
        ThrowWithState(cause, state);
    }
}

/// Leaves the old content as it was, of which nothing has been overwritten yet.
void CFileRewrite::__CutBack(const sysfileExp& cause) {
    try {
        if (EndOf(__file) > __oldSize) {
            __file.SeekBegin(Offset(__oldSize));
            __file.ResizeToCurrentPos();
        }
    } catch (const sysfileExp&) {
        ThrowWithState(cause, "the old content, and behind it a part of the new");
    }
    ThrowWithState(cause, WHOLE);
}

/// Writes everything. One call may stop short when the device fills up; the next one says why.
void CFileRewrite::__Write(const unsigned char* bytes, std::uint64_t size) {
    __written = 0;
    while (__written < size) {
        const auto part = static_cast<unsigned int>(
            std::min<std::uint64_t>(size - __written, std::numeric_limits<unsigned int>::max()));
        __written += __file.Write(bytes + __written, part);
    }
}

} // namespace Quil::IMPL

#include "util/file/system/FileRewrite.h"

#include "util/file/system/error_text.h"

#include <algorithm>
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

void WriteAll(CSysFile& file, const void* data, std::uint64_t size, std::uint64_t& written) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    for (written = 0; written < size;) {
        const auto part = static_cast<unsigned int>(
            std::min<std::uint64_t>(size - written, std::numeric_limits<unsigned int>::max()));
        const unsigned int count = file.Write(bytes + written, part);
        if (count == 0) { // a next call would be told the same, without end
            throw sysfileExp(EIO, ComposeError("WriteAll - the device takes no more bytes\n",
                                               {{"  file path  = ", file.GetFileName()},
                                                {"  error code = ", EIO}}));
        }
        written += count;
    }
}

CFileRewrite::CFileRewrite(CSysFile& file) : __file(file), __oldSize(EndOf(file)) {}

void CFileRewrite::Overwrite(const void* data, std::uint64_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::uint64_t front = std::min(size, __oldSize);
    __RefuseDevice();
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

void CFileRewrite::Finish(bool flush) {
    try {
        if (flush) {
            __file.Flush();
        }
        __file.Close();
    } catch (const sysfileExp& cause) {
        ThrowWithState(cause, "the new content, of which the device may lack a part");
    }
}

/// What the device says to being emptied is the failure.
void CFileRewrite::__RefuseDevice() {
    if (__file.IsRegularFile()) {
        return;
    }
    try {
        __file.SeekBegin(0);
        __file.ResizeToCurrentPos();
    } catch (const sysfileExp& cause) {
        ThrowWithState(cause, WHOLE);
    }
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
        WriteAll(__file, bytes, size, __written);
    } catch (const sysfileExp& cause) {
        __CutBack(cause);
    }
}

void CFileRewrite::__WriteFront(const unsigned char* bytes, std::uint64_t size,
                                std::uint64_t newSize) {
    try {
        WriteAll(__file, bytes, size, __written);
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

} // namespace Quil::IMPL

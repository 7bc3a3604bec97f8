#include "util/file/CFile.h"

#include "util/sys/errhdl.h"

#include <cerrno>
#include <string>
#include <sys/stat.h>

namespace Quil {

namespace {

[[noreturn]] void Throw(const char* method, const char* what) {
    const auto error = static_cast<unsigned int>(errno);
    stringEx message("CCFile::");
    message.append(method).append(" - ").append(what).append("\n  description = ");
    throw cfileExp(error, message.append(GetSysErrString(error)));
}

} // namespace

CCFile::CCFile(const stringEx& path, const char* mode)
    : __file(std::fopen(path.c_str(), (std::string(mode) + "e").c_str())) {
    if (__file == nullptr) {
        Throw("CCFile", "can't open the file");
    }
}

CCFile CCFile::Borrow(std::FILE* file) {
    CCFile borrowed;
    borrowed.__file = CHandle<std::FILE, IMPL::CFileDeletor>::Borrow(file);
    return borrowed;
}

unsigned int CCFile::Read(void* buffer, unsigned int size) const {
    const std::size_t count = std::fread(buffer, 1, size, GetFile());
    if (count < size && std::ferror(GetFile()) != 0) {
        Throw("Read", "can't read");
    }
    return static_cast<unsigned int>(count);
}

unsigned int CCFile::Write(const void* buffer, unsigned int size) {
    if (std::fwrite(buffer, 1, size, GetFile()) != size) {
        Throw("Write", "can't write");
    }
    return size;
}

void CCFile::Flush() {
    if (std::fflush(GetFile()) != 0) {
        Throw("Flush", "can't write");
    }
}

void CCFile::Close() {
    if (IsValid()) {
        Flush();
        __file = nullptr;
    }
}

void CCFile::__Seek(const CLongLongNative& offset, int from) const {
    if (::fseeko(GetFile(), offset.Value(), from) != 0) {
        Throw("Seek", "can't move there");
    }
}

CLongLongNative CCFile::GetCurrentPos() const {
    const off_t position = ::ftello(GetFile());
    if (position < 0) {
        Throw("GetCurrentPos", "it has no position");
    }
    return position;
}

CLongLongNative CCFile::GetSize() const {
    struct stat state = {};
    if (std::fflush(GetFile()) != 0 || ::fstat(::fileno(GetFile()), &state) != 0) {
        Throw("GetSize", "can't tell the size");
    }
    return state.st_size;
}

} // namespace Quil

// CDir: operations on a file as a whole.
//
// A file object makes one system call at a time; here the loops stand that turn such calls into all
// of a file, and the care for what would be lost when the device is full.

#include "util/file/dir.h"
#include "util/file/path/posix_dir.h"
#include "util/file/system/FileRewrite.h"
#include "util/file/system/error_text.h"
#include "util/file/system/posix_file.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cstddef>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;
using IMPL::NormalizePathName;

namespace {

constexpr unsigned long READ_WRITE_FOR_ALL = 0666;
constexpr unsigned long OWNER_ALL = 0700;
constexpr unsigned long SHARE_READ = 1;
constexpr unsigned long SHARE_WRITE = 2;
constexpr unsigned int COPY_BLOCK = 262144;

constexpr ERROR_TEXT REMOVE_ERRORS[] = {
    {EBUSY, "file is in use"},
    {ENAMETOOLONG, "pathname is too long"},
    {EACCES, "write permission is denied for the directory of the file"},
    {EPERM, "the file or its directory does not allow removal"},
    {EROFS, "the file resides on a read-only file system"},
    {ELOOP, "a loop exists in symbolic links, or too many links levels"},
    {ENOTDIR, "a component of the path is not a directory"},
};

/// Reads until `size` bytes have come or the file ends; answers the count.
unsigned int ReadAll(const CSysFile& file, void* buffer, unsigned int size) {
    auto* const bytes = static_cast<unsigned char*>(buffer);
    unsigned int total = 0;
    while (total < size) {
        const unsigned int count = file.Read(bytes + total, size - total);
        if (count == 0) {
            break;
        }
        total += count;
    }
    return total;
}

/// The size of the file, if a string of `S` can hold it.
template <class S>
unsigned int SizeForString(const CSysFile& file, const stringEx& path) {
    const std::uint64_t size = CULongLongNative(file.GetSize()).Value();
    constexpr std::uint64_t ELEMENT_SIZE = sizeof(typename S::value_type);
    const std::uint64_t limit = std::min<std::uint64_t>(S::max_size() * ELEMENT_SIZE,
                                                        std::numeric_limits<unsigned int>::max());
    if (size > limit) {
        throw dirExp(static_cast<unsigned int>(EFBIG),
                     ComposeError("CDir::ReadFile - file is too large to be read as a whole\n",
                                  {{"  file path  = ", path},
                                   {"  file size  = ", size},
                                   {"  size limit = ", limit}}));
    }
    return static_cast<unsigned int>(size);
}

template <class S>
void ReadWhole(const stringEx& path, S& data) {
    stringEx name(path);
    name.detach_if_static();
    if (data.is_static()) {
        data = S(); // what was looked at isn't to be written over
    } else {
        data.clear(); // and the block, if nobody shares it, serves this file too
    }
    IMPL::RefuseEmpty(name, "CDir::ReadFile - read what ?");
    IMPL::PosixRefuseFifo(name);
    CSysFile file;
    // One that has taken the name since then must not hold the run up: it fails at its size.
    file.Open(name, CSysFile::ACCESS_READ, O_NONBLOCK, SHARE_READ, READ_WRITE_FOR_ALL, 0);
    const unsigned int size = SizeForString<S>(file, name);
    if (size == 0) {
        return;
    }
    constexpr unsigned int ELEMENT_SIZE = sizeof(typename S::value_type);
    // One element more than whole ones: it takes odd bytes, and then the terminator.
    data.reserve(std::uint64_t{size / ELEMENT_SIZE} + 1);
    const unsigned int count = ReadAll(file, &data.front(), size) / ELEMENT_SIZE;
    data._eofonly(count);
}

void WriteWhole(const stringEx& path, const void* data, std::size_t size, bool flush, bool append) {
    IMPL::RefuseEmpty(path, "CDir::WriteFile - write what ?");
    IMPL::PosixRefuseFifo(path);
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_WRITE, CSysFile::CREATE, SHARE_WRITE, READ_WRITE_FOR_ALL, 0);
    IMPL::CFileRewrite rewrite(file);
    append ? rewrite.Append(data, size) : rewrite.Overwrite(data, size);
    rewrite.Finish(flush);
}

void CopyContent(const stringEx& from, const stringEx& to, bool flush) {
    IMPL::PosixRefuseFifo(from);
    IMPL::PosixRefuseFifo(to);
    CSysFile source;
    source.Open(from, CSysFile::ACCESS_READ, 0, SHARE_READ, READ_WRITE_FOR_ALL, 0);
    CSysFile target;
    target.Open(to, CSysFile::ACCESS_WRITE, CSysFile::CREATE, SHARE_WRITE, READ_WRITE_FOR_ALL, 0);
    struct stat status = {};
    IMPL::PosixStat(to, &status);
    byteEx block;
    block.resize(COPY_BLOCK);
    std::uint64_t written = 0;
    while (const unsigned int count = source.Read(&block.front(), COPY_BLOCK)) {
        IMPL::WriteAll(target, &block.front(), count, written);
    }
    // What the target had is overwritten up to here; its old tail has to go too.
    if (S_ISREG(status.st_mode) && status.st_size > 0) {
        target.ResizeToCurrentPos();
    }
    if (flush) {
        target.Flush();
    }
    target.Close();
}

/// Runs `attempt` with the directory of `path` opened to its owner, and closes it again. Failures
/// answer false.
template <class Attempt>
bool TryWithOpenDir(const stringEx& path, Attempt attempt) {
    try {
        stringEx parent(path);
        CDir::RemoveTailingDelimiter(parent);
        parent.erase(parent.rfind('/') + 1, stringEx::npos);
        const unsigned long attributes = CDir::GetAttributes(parent);
        CDir::SetAttributes(parent, attributes | OWNER_ALL);
        const bool done = attempt();
        CDir::SetAttributes(parent, attributes);
        return done;
    } catch (const qlExp&) {
        return false;
    }
}

bool Removed(const stringEx& path) {
    try {
        CDir::RemoveFile(path);
        return true;
    } catch (const qlExp&) {
        return false;
    }
}

bool Moved(const stringEx& from, const stringEx& to, bool overwrite, bool flush) {
    try {
        CDir::TransferFile(from, to, overwrite, flush);
        return true;
    } catch (const qlExp&) {
        return false;
    }
}

} // namespace

void CDir::ReadFile(const stringEx& path, byteEx& data) {
    ReadWhole(path, data);
}

void CDir::ReadFile(const stringEx& path, stringEx& data) {
    ReadWhole(path, data);
}

void CDir::ReadFile(const stringEx& path, wstringEx& data) {
    ReadWhole(path, data);
}

void CDir::WriteFile(const stringEx& path, const byteEx& data, bool flush, bool append) {
    WriteWhole(path, data.data(), data.length(), flush, append);
}

void CDir::WriteFile(const stringEx& path, const stringEx& data, bool flush, bool append) {
    WriteWhole(path, data.data(), data.length(), flush, append);
}

void CDir::WriteFile(const stringEx& path, const wstringEx& data, bool flush, bool append) {
    WriteWhole(path, data.data(), std::size_t{data.length()} * sizeof(wchar_t), flush, append);
}

void CDir::DuplicateFile(const stringEx& from, const stringEx& to, bool overwrite, bool flush) {
    const stringEx source = NormalizePathName(from);
    const stringEx target = NormalizePathName(to);
    if (!overwrite && IsFileExist(target)) {
        throw dirExp(
            static_cast<unsigned int>(EEXIST),
            ComposeError("CDir::DuplicateFile - error copy file, dest already exists\n",
                         {{"  source file       = ", source}, {"  destination file  = ", target}}));
    }
    try {
        CopyContent(source, target, flush);
    } catch (const qlExp& cause) {
        throw dirExp(cause.GetErrCode(), ComposeError("CDir::DuplicateFile - error copy file\n",
                                                      {{"  source file       = ", source},
                                                       {"  destination file  = ", target}},
                                                      cause.GetErrString()));
    }
}

void CDir::RemoveFile(const stringEx& path) {
    if (!IsFileExist(path) || ::unlink(path.c_str()) == 0) {
        return;
    }
    const int code = errno;
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError("CDir::RemoveFile - failed remove file\n",
                              {{"  file       = ", path},
                               {"  error code = ", code},
                               {"  error desc = ", DescribeSysError(code, REMOVE_ERRORS)}}));
}

bool CDir::TryRemoveFile(const stringEx& path, bool force) {
    try {
        stringEx full(path);
        ConvToFullPath(full);
        if (!Removed(full) && force) {
            TryWithOpenDir(full, [&] { return Removed(full); });
        }
        return !IsFileExist(full);
    } catch (const qlExp&) {
        return false;
    }
}

bool CDir::TryRemoveFile(CSysFile& file, bool force) {
    const stringEx name = file.GetFileName();
    try {
        file.Close();
    } catch (const qlExp&) {
        // The descriptor is gone all the same, and what it had to say concerns a doomed file.
    }
    return TryRemoveFile(name, force);
}

bool CDir::TryTransferFile(const stringEx& from, const stringEx& to, bool overwrite, bool flush,
                           bool force) {
    if (Moved(from, to, overwrite, flush)) {
        return true;
    }
    try {
        stringEx target(to);
        ConvToFullPath(target);
        return force && IsFileExist(target) &&
               TryWithOpenDir(target, [&] { return Moved(from, to, overwrite, flush); });
    } catch (const qlExp&) {
        return false;
    }
}

} // namespace Quil

// CSysFile: ownership of the descriptor, and the calls that only this class makes.

#include "util/file/sysfile.h"

#include "util/file/system/error_text.h"
#include "util/file/system/posix_file.h"
#include "util/sys/errhdl.h"
#include "util/sys/time.h"
#include "util/text/ConvStr.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;
using IMPL::RetryInterrupted;

namespace {

constexpr ERROR_TEXT READ_ERRORS[] = {
    {EBADF, "invalid file descriptor, or the file is not open for reading"},
    {EAGAIN, "no data is there yet, and waiting for it was not asked for"},
    {EIO, "io error occurred"},
    {EISDIR, "the file is a directory"},
};

constexpr ERROR_TEXT WRITE_ERRORS[] = {
    {EBADF, "invalid file descriptor, or the file is not open for writing"},
    {EFBIG, "file too big"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "the user's quota on the device is exhausted"},
    {EPIPE, "nobody reads from the pipe or socket"},
    {EIO, "io error occurred"},
};

constexpr ERROR_TEXT FLUSH_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EINVAL, "the file does not support synchronization"},
    {EIO, "io error occurred"},
};

constexpr ERROR_TEXT RESIZE_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EINVAL, "the file is not open for writing, or its size can't be set"},
    {EFBIG, "file too big"},
    {EIO, "io error occurred"},
};

[[noreturn]] void ThrowFileError(const char* head, const stringEx& name, int code,
                                 std::span<const ERROR_TEXT> table) {
    throw sysfileExp(static_cast<unsigned int>(code),
                     ComposeError(head, {{"  file path  = ", name},
                                         {"  error code = ", code},
                                         {"  error desc = ", DescribeSysError(code, table)}}));
}

constexpr ERROR_TEXT STATUS_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EIO, "io error occurred"},
    {EINVAL, "the time is out of what the file system can keep"},
};

CTime ToTime(const timespec& time) {
    CTimeSpan since1970;
    since1970.FromTimespec(time); // a file system may keep times beyond the library's
    return tmZERO + since1970;
}

/// A null pointer gives the mark that leaves a time as it is.
timespec FromTime(const CTime* time) {
    timespec result = {0, UTIME_OMIT};
    if (time != nullptr) {
        CTimeSpan(time->GetMicroseconds()).ToTimespec(result);
    }
    return result;
}

/// Asks the device for the room that the file's bytes from `from` up to `size` lack, without moving
/// the file's end; answers 0 or the error number.
int Allocate(int descriptor, const struct stat& status, std::int64_t size, std::int64_t from) {
    // The process's own limit is one that the allocation doesn't look at.
    struct rlimit limit = {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
        static_cast<rlim_t>(size) > limit.rlim_cur) {
        return EFBIG;
    }
#ifdef FALLOC_FL_KEEP_SIZE
    constexpr std::int64_t BLOCK_UNIT = 512;
    const bool hasHoles = status.st_blocks * BLOCK_UNIT < std::min(status.st_size, size);
    const std::int64_t begin = hasHoles ? from : status.st_size;
    if (size > begin && RetryInterrupted([&] {
                            return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, begin,
                                               size - begin);
                        }) == -1) {
        return errno;
    }
#endif
    return 0;
}

} // namespace

void CSysFile::Open(const stringEx& path, unsigned long access, MODE mode, unsigned long share,
                    unsigned long permissions, unsigned long options) {
    OpenRaw(ConvStrSToT(path), access, mode, share, permissions, options);
}

void CSysFile::Open(const wstringEx& path, unsigned long access, MODE mode, unsigned long share,
                    unsigned long permissions, unsigned long options) {
    OpenRaw(ConvStrSToT(path), access, mode, share, permissions, options);
}

void CSysFile::OpenRaw(const stringEx& path, unsigned long access, MODE mode,
                       unsigned long /*share*/, unsigned long permissions, unsigned long options) {
    // A path that is this object's own name must outlive the name.
    stringEx name(path);
    name.detach_if_static();
    Close();
    __Own(IMPL::PosixOpenFile<sysfileExp>(name, access, mode, permissions, options), name);
}

void CSysFile::OpenIn(const CSysFile& folder, const stringEx& path, MODE mode) {
    stringEx name(path);
    name.detach_if_static();
    Close();
    __Own(IMPL::PosixOpenFile<sysfileExp>(name, ACCESS_READ, mode, 0, 0, folder.__descriptor),
          name);
}

void CSysFile::Open(CONSOLE stream) {
    Close();
    __descriptor = stream;
}

CSysFile CSysFile::ReOpen(unsigned long access, unsigned long share, unsigned long options) const {
    CSysFile other;
    other.OpenRaw(__name, access, 0, share, 0, options);
    return other;
}

void CSysFile::Close() {
    __descriptor = CLOSED;
    __name = stEMPTY;
    __shared = {};
}

CSysFile CSysFile::Duplicate() const {
    CSysFile other;
    other.__Own(IMPL::PosixDuplicateFile<sysfileExp>(__descriptor), __name);
    return other;
}

int CSysFile::Disclaim() {
    const int descriptor = __descriptor;
    if (__shared) {
        __shared->descriptor = CLOSED;
    }
    Close();
    return descriptor;
}

void CSysFile::__Own(int descriptor, const stringEx& name) {
    __shared = IMPL::ShareDescriptor<CSysFile>(descriptor);
    __descriptor = descriptor;
    __name = name;
}

void CSysFile::__Close(int descriptor) {
    IMPL::PosixCloseFile<sysfileExp>(descriptor);
}

unsigned int CSysFile::Read(void* buffer, unsigned int size) const {
    const ssize_t count = RetryInterrupted([&] { return ::read(__descriptor, buffer, size); });
    if (count == -1) {
        ThrowFileError("CSysFile::Read - failed read file\n", __name, errno, READ_ERRORS);
    }
    return static_cast<unsigned int>(count);
}

void CSysFile::CopyRest(const CSysFile& from) {
    constexpr std::size_t MOST = std::size_t{1} << 30;
    ssize_t copied = 0;
    do {
        copied = RetryInterrupted([&] {
            return ::copy_file_range(from.__descriptor, nullptr, __descriptor, nullptr, MOST, 0);
        });
    } while (copied > 0);
    // A failure there, or nothing at once, may only mean that this pair of files has to go by hand.
    constexpr unsigned int BLOCK = 1 << 18;
    const auto block = std::make_unique_for_overwrite<char[]>(BLOCK);
    while (const unsigned int count = from.Read(block.get(), BLOCK)) {
        for (unsigned int done = 0; done < count;) {
            done += Write(block.get() + done, count - done);
        }
    }
}

unsigned int CSysFile::Write(const void* buffer, unsigned int size) {
    const ssize_t count = RetryInterrupted([&] { return ::write(__descriptor, buffer, size); });
    if (count == -1) {
        ThrowFileError("CSysFile::Write - failed write file\n", __name, errno, WRITE_ERRORS);
    }
    return static_cast<unsigned int>(count);
}

void CSysFile::Flush() {
    if (RetryInterrupted([&] { return ::fsync(__descriptor); }) == -1) {
        ThrowFileError("CSysFile::Flush - failed flush file\n", __name, errno, FLUSH_ERRORS);
    }
}

void CSysFile::SeekBegin(const CLongLongNative& offset) const {
    IMPL::PosixSeekFile(__descriptor, offset.Value(), SEEK_SET);
}

void CSysFile::SeekCurrent(const CLongLongNative& offset) const {
    IMPL::PosixSeekFile(__descriptor, offset.Value(), SEEK_CUR);
}

void CSysFile::SeekEnd(const CLongLongNative& offset) const {
    IMPL::PosixSeekFile(__descriptor, offset.Value(), SEEK_END);
}

CLongLongNative CSysFile::GetCurrentPos() const {
    return IMPL::PosixSeekFile(__descriptor, 0, SEEK_CUR);
}

CLongLongNative CSysFile::GetSize() const {
    const std::int64_t position = IMPL::PosixSeekFile(__descriptor, 0, SEEK_CUR);
    const std::int64_t size = IMPL::PosixSeekFile(__descriptor, 0, SEEK_END);
    IMPL::PosixSeekFile(__descriptor, position, SEEK_SET);
    return size;
}

void CSysFile::GetStatus(struct stat& status) const {
    if (::fstat(__descriptor, &status) == -1) {
        ThrowFileError("CSysFile::GetStatus - failed retrive the file status\n", __name, errno,
                       STATUS_ERRORS);
    }
}

bool CSysFile::IsRegularFile() const {
    struct stat status = {};
    return ::fstat(__descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

void CSysFile::ResizeToCurrentPos() {
    const std::int64_t position = IMPL::PosixSeekFile(__descriptor, 0, SEEK_CUR);
    if (RetryInterrupted([&] { return ::ftruncate(__descriptor, position); }) != -1) {
        return;
    }
    const int code = errno;
    throw sysfileExp(
        static_cast<unsigned int>(code),
        ComposeError("CSysFile::ResizeToCurrentPos - failed set the size of shared memory object\n",
                     {{"  resize to  = ", position},
                      {"  error code = ", code},
                      {"  error desc = ", DescribeSysError(code, RESIZE_ERRORS)}}));
}

bool CSysFile::ReserveRoom(const CLongLongNative& size, const CLongLongNative& from) {
    struct stat status = {};
    if (::fstat(__descriptor, &status) == -1 || !S_ISREG(status.st_mode)) {
        return true;
    }
    const int code = Allocate(__descriptor, status, size.Value(), from.Value());
    if (code != ENOSPC && code != EDQUOT && code != EFBIG) {
        return code == 0;
    }
    // Gives back what was allocated before the room ran out; a failure here changes nothing more.
    [[maybe_unused]] const int ignored = ::ftruncate(__descriptor, status.st_size);
    ThrowFileError("CSysFile::ReserveRoom - failed reserve room for the file\n", __name, code,
                   WRITE_ERRORS);
}

void CSysFile::Lock(const CLongLongNative& from, const CLongLongNative& length, LOCK type) {
    IMPL::PosixLockFile(__descriptor, from.Value(), length.Value(),
                        type == LOCK_SHARED ? F_RDLCK : F_WRLCK, true);
}

bool CSysFile::TryLock(const CLongLongNative& from, const CLongLongNative& length, LOCK type) {
    return IMPL::PosixLockFile(__descriptor, from.Value(), length.Value(),
                               type == LOCK_SHARED ? F_RDLCK : F_WRLCK, false);
}

void CSysFile::UnLock(const CLongLongNative& from, const CLongLongNative& length) {
    IMPL::PosixLockFile(__descriptor, from.Value(), length.Value(), F_UNLCK, true);
}

void CSysFile::GetTime(CTime* created, CTime* accessed, CTime* modified) const {
    struct stat status = {};
    if (::fstat(__descriptor, &status) == -1) {
        ThrowFileError("CSysFile::GetTime - failed retrive the file status\n", __name, errno,
                       STATUS_ERRORS);
    }
    if (created != nullptr) {
        *created = tmINV;
    }
    if (accessed != nullptr) {
        *accessed = ToTime(status.st_atim);
    }
    if (modified != nullptr) {
        *modified = ToTime(status.st_mtim);
    }
}

void CSysFile::SetTime(const CTime* /*created*/, const CTime* accessed, const CTime* modified) {
    const timespec times[2] = {FromTime(accessed), FromTime(modified)};
    if (::futimens(__descriptor, times) == -1) {
        ThrowFileError("CSysFile::SetTime - failed set the file times\n", __name, errno,
                       STATUS_ERRORS);
    }
}

CFileMapping CSysFile::MakeFileMapping(const CLongLongNative& size, CFileMapping::ACCESS access,
                                       const char* name) const {
    CFileMapping mapping(__descriptor, stringEx(name));
    if (access != CFileMapping::ACCESS_READ) {
        mapping.__Reserve(size);
    }
    return mapping;
}

CFileMapping CSysFile::MakeFileMapping(const CLongLongNative& size, CFileMapping::ACCESS access,
                                       const wchar_t* name) const {
    return MakeFileMapping(size, access, ConvStrSToT(wstringEx(name)).c_str());
}

} // namespace Quil

// System calls on descriptors, with the words for their failures.

#include "util/file/system/posix_file.h"

#include "util/file/sysfile.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quil::IMPL {

namespace {

constexpr ERROR_TEXT OPEN_ERRORS[] = {
    {ENOENT, "file dose not exists or can't be created"},
    {EACCES, "permission denied or confilct flags compination"},
    {EISDIR, "the file is a directory and write permission is specified"},
    {ENAMETOOLONG, "file or path name is too long"},
    {ENOTDIR, "path is not a directory"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {ENFILE, "the maximum allowable number of files is currently open in the system"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {EROFS, "open file in read-only media with write permission"},
    {EOVERFLOW, "file too big"},
    {EFBIG, "file too big"},
    {EEXIST, "the file already exists"},
    {ENOSPC, "no room for a new file on the device"},
};

constexpr ERROR_TEXT CLOSE_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EIO, "io error occurred"},
};

constexpr ERROR_TEXT DUPLICATE_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
};

constexpr ERROR_TEXT SEEK_ERRORS[] = {
    {EBADF, "invalid file descriptor"},
    {EINVAL, "invalide argument, or the resulting file offset would be negative for the file"},
    {ESPIPE, "the fildes argument is associated with a pipe, fifo, or socket"},
    {EOVERFLOW, "the new file offset is too big"},
};

constexpr ERROR_TEXT LOCK_ERRORS[] = {
    {EBADF, "invalid file descriptor or wrong access mode, or the open mode does not match the "
            "lock type"},
    {EINVAL, "invalid arguments or file does not support locking"},
    {ENOLCK, "lock number exceed the system limit"},
    {EDEADLK, "deadlock detected"},
    {EOVERFLOW, "offset out-of-range"},
};

template <class Exp>
[[noreturn]] void ThrowPathError(const char* head, const stringEx& path, int code,
                                 std::span<const ERROR_TEXT> table) {
    throw Exp(static_cast<unsigned int>(code),
              ComposeError(head, {{"  file path  = ", path},
                                  {"  error code = ", code},
                                  {"  error desc = ", DescribeSysError(code, table)}}));
}

template <class Exp>
[[noreturn]] void ThrowDescriptorError(const char* head, int code,
                                       std::span<const ERROR_TEXT> table) {
    throw Exp(static_cast<unsigned int>(code),
              ComposeError(head, {{"  sys error  = ", code},
                                  {"  error desc = ", DescribeSysError(code, table)}}));
}

[[noreturn]] void ThrowSeekError(std::int64_t offset, int whence, int code) {
    throw sysfileExp(static_cast<unsigned int>(code),
                     ComposeError("PosixSeekFile - failed seek file\n",
                                  {{"  offset     = ", offset},
                                   {"  whence     = ", whence},
                                   {"  error code = ", code},
                                   {"  error desc = ", DescribeSysError(code, SEEK_ERRORS)}}));
}

/// The platform's flags for `open`. The word's CREATE is not the platform's own bit, and its other
/// bits are. A terminal must never become the controlling one by being opened.
int OpenFlags(unsigned long access, unsigned long mode) {
    const unsigned long platform = mode & ~CSysFile::CREATE;
    const int create = (mode & CSysFile::CREATE) != 0 ? O_CREAT : 0;
    return static_cast<int>(access | platform) | create | O_CLOEXEC | O_NOCTTY;
}

/// Answers 0 or the error number.
int AdviseAccess(int descriptor, unsigned long options) {
    if ((options & CSysFile::OPTION_SEQUENTIAL) != 0) {
        return posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    if ((options & CSysFile::OPTION_RANDOM) != 0) {
        return posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    }
    return 0;
}

} // namespace

template <class Exp>
int PosixOpenFile(const stringEx& path, unsigned long access, unsigned long mode,
                  unsigned long permissions, unsigned long options, int folder) {
    const int flags = OpenFlags(access, mode);
    const unsigned int slash = folder != -1 ? path.rfind('/') : stringEx::npos;
    const char* const name = path.c_str() + (slash != stringEx::npos ? slash + 1 : 0);
    const int descriptor = RetryInterrupted([&] {
        return ::openat(slash != stringEx::npos ? folder : AT_FDCWD, name, flags,
                        static_cast<mode_t>(permissions));
    });
    if (descriptor == -1) {
        ThrowPathError<Exp>("PosixOpenFile - failed open specified file\n", path, errno,
                            OPEN_ERRORS);
    }
    if (const int code = AdviseAccess(descriptor, options); code != 0) {
        ::close(descriptor);
        ThrowPathError<Exp>("PosixOpenFile - failed set access advice\n", path, code, SEEK_ERRORS);
    }
    return descriptor;
}

template <class Exp>
int PosixDuplicateFile(int descriptor) {
    const int duplicate = RetryInterrupted([&] { return ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0); });
    if (duplicate == -1) {
        ThrowDescriptorError<Exp>("PosixDuplicateFile - failed duplicate file descriptor\n", errno,
                                  DUPLICATE_ERRORS);
    }
    return duplicate;
}

template <class Exp>
void PosixCloseFile(int descriptor) {
    // An interrupted close has given the descriptor up all the same on this platform; a second try
    // could close one that another thread has got meanwhile.
    if (::close(descriptor) == -1 && errno != EINTR) {
        ThrowDescriptorError<Exp>("PosixCloseFile - failed close file\n", errno, CLOSE_ERRORS);
    }
}

void PosixRefuseFifo(const stringEx& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
        ThrowSeekError(0, SEEK_CUR, ESPIPE);
    }
}

std::int64_t PosixSeekFile(int descriptor, std::int64_t offset, int whence) {
    const off_t position = ::lseek(descriptor, offset, whence);
    if (position == -1) {
        ThrowSeekError(offset, whence, errno);
    }
    return position;
}

bool PosixLockFile(int descriptor, std::int64_t from, std::int64_t length, short type, bool wait) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = from;
    range.l_len = length;
    if (RetryInterrupted([&] { return ::fcntl(descriptor, wait ? F_SETLKW : F_SETLK, &range); }) !=
        -1) {
        return true;
    }
    const int code = errno;
    if (!wait && (code == EACCES || code == EAGAIN)) {
        return false;
    }
    throw sysfileExp(static_cast<unsigned int>(code),
                     ComposeError("PosixLockFile - failed lock or unlock file\n",
                                  {{"  from       = ", from},
                                   {"  length     = ", length},
                                   {"  error code = ", code},
                                   {"  error desc = ", DescribeSysError(code, LOCK_ERRORS)}}));
}

template int PosixOpenFile<sysfileExp>(const stringEx&, unsigned long, unsigned long, unsigned long,
                                       unsigned long, int);
template int PosixOpenFile<fmppExp>(const stringEx&, unsigned long, unsigned long, unsigned long,
                                    unsigned long, int);
template int PosixDuplicateFile<sysfileExp>(int);
template int PosixDuplicateFile<fmppExp>(int);
template void PosixCloseFile<sysfileExp>(int);
template void PosixCloseFile<fmppExp>(int);

} // namespace Quil::IMPL

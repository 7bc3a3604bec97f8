// CDir: moving files, and copies that are what the file is.
//
// A move within a file system is a change of names. What complicates it: file systems without
// links, and files that may not be linked; and what stands at the target must stay until it is
// replaced.

#include "util/file/dir.h"
#include "util/file/path/file_copy.h"
#include "util/file/path/posix_dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;

namespace {

constexpr ERROR_TEXT MOVE_ERRORS[] = {
    {ENOENT, "source file does not exist"},
    {EEXIST, "the target has been exist"},
    {EACCES, "permission is denied for a directory of one of the paths"},
    {ELOOP, "a loop exists in symbolic links, or too many links levels"},
    {ENAMETOOLONG, "pathname is too long"},
    {ENOSPC, "the directory to contain the link cannot be extended"},
    {ENOTDIR, "a component of a path is not a directory"},
    {EPERM, "the file system does not support links, or the source can't be linked"},
    {EROFS, "the requested link requires writing in a directory on a read-only file system"},
};

[[noreturn]] void ThrowMoveError(const char* head, const stringEx& from, const stringEx& to,
                                 int code) {
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError(head, {{"  from       = ", from},
                                     {"  to         = ", to},
                                     {"  error code = ", code},
                                     {"  error desc = ", DescribeSysError(code, MOVE_ERRORS)}}));
}

IMPL::FILE_ID IdOf(const stringEx& path) {
    struct stat status = {};
    IMPL::PosixStat(path, &status);
    return {status.st_dev, status.st_ino};
}

constexpr unsigned long OWNER_ONLY = 0600;
constexpr mode_t ALL_MODE_BITS = 07777;
constexpr const char* LINK_FAILED = "CDir::TransferFile - error link file to the target path\n";

/// Whether a file system refused since it can't do it at all, or not for these two places.
bool IsRefusedAsSuch(int code) {
    return code == EXDEV || code == EMLINK || code == EPERM || code == EINVAL || code == ENOSYS ||
           code == EOPNOTSUPP;
}

void CopyForMove(const stringEx& from, const stringEx& to, const stringEx& copy, bool flush) {
    try {
        IMPL::CopyFileAsItIs(from, copy, flush);
    } catch (const qlExp& cause) {
        throw dirExp(cause.GetErrCode(),
                     ComposeError("CDir::TransferFile - error copy file to the target\n",
                                  {{"  from       = ", from}, {"  to         = ", to}},
                                  cause.GetErrString()));
    }
}

void RemoveSource(const stringEx& from, const stringEx& to) {
    if (::unlink(from.c_str()) == -1) {
        ThrowMoveError("CDir::TransferFile - error remove (unlink) the source\n", from, to, errno);
    }
}

/// Moves to a path that must be free. A link is refused where a path is taken, as no plain rename
/// is.
void MoveBeside(const stringEx& from, const stringEx& to, bool flush) {
    if (::link(from.c_str(), to.c_str()) == -1) {
        const int code = errno;
        if (!IsRefusedAsSuch(code)) {
            ThrowMoveError(LINK_FAILED, from, to, code);
        }
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
            return;
        }
        if (!IsRefusedAsSuch(errno)) {
            ThrowMoveError(LINK_FAILED, from, to, errno);
        }
        CopyForMove(from, to, to, flush);
    }
    RemoveSource(from, to);
}

/// Moves over what is at `to`, which stays until it is replaced as a whole.
void MoveOver(const stringEx& from, const stringEx& to, bool flush) {
    if (::rename(from.c_str(), to.c_str()) == 0) {
        return;
    }
    if (!IsRefusedAsSuch(errno)) {
        ThrowMoveError(LINK_FAILED, from, to, errno);
    }
    stringEx parent(to);
    CDir::ConvToFullPath(parent);
    parent.erase(parent.rfind('/') + 1, stringEx::npos);
    const stringEx copy = CDir(parent).GenTempFileName();
    CopyForMove(from, to, copy, flush);
    if (::rename(copy.c_str(), to.c_str()) == -1) {
        const int code = errno;
        ::unlink(copy.c_str());
        ThrowMoveError(LINK_FAILED, from, to, code);
    }
    RemoveSource(from, to);
}

/// What the file system or the user's rights don't allow is left as it came.
void KeepStatus(const stringEx& path, const struct stat& status) {
    mode_t mode = status.st_mode & ALL_MODE_BITS;
    if (::chown(path.c_str(), status.st_uid, status.st_gid) == -1) {
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    }
    [[maybe_unused]] int ignored = ::chmod(path.c_str(), mode);
    const timespec times[2] = {status.st_atim, status.st_mtim};
    ignored = ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

} // namespace

void IMPL::CopyFileAsItIs(const stringEx& from, const stringEx& to, bool flush) {
    struct stat status = {};
    PosixStat(from, &status);
    CSysFile created;
    created.Open(to, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_EXCL, 0, OWNER_ONLY, 0);
    created.Close();
    try {
        CDir::DuplicateFile(from, to, true, flush);
    } catch (...) {
        ::unlink(to.c_str());
        throw;
    }
    KeepStatus(to, status);
}

void CDir::TransferFile(const stringEx& from, const stringEx& to, bool overwrite, bool flush) {
    if (!IsFileExist(from)) {
        ThrowMoveError(LINK_FAILED, from, to, ENOENT);
    }
    if (IsFileExist(to)) {
        // Removing one of two names of a file could lose it: the other may be a mere link to it.
        if (IdOf(from) == IdOf(to)) {
            return;
        }
        if (!overwrite) {
            ThrowMoveError(LINK_FAILED, from, to, EEXIST);
        }
    }
    overwrite ? MoveOver(from, to, flush) : MoveBeside(from, to, flush);
}

} // namespace Quil

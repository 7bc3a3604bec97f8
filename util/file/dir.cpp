// CDir: the object, enumeration entry by entry, and questions to the file system.

#include "util/file/dir.h"

#include "util/file/path/posix_dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::DIR_ENTRY;
using IMPL::ERROR_TEXT;

namespace {

constexpr mode_t ATTRIBUTE_BITS = 07777;

constexpr ERROR_TEXT CHANGE_ERRORS[] = {
    {ENOENT, "path does not exists"},
    {EACCES, "permission denied"},
    {EPERM, "only the owner may change the attributes"},
    {ENOTDIR, "a component of the path is not a directory"},
    {ELOOP, "a loop exists in symbolic links, or too many links levels"},
    {EROFS, "the path resides on a read-only file system"},
};

void CheckChange(int result, const char* head, const stringEx& path) {
    if (result == 0) {
        return;
    }
    const int code = errno;
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError(head, {{"  path       = ", path},
                                     {"  error code = ", code},
                                     {"  error desc = ", DescribeSysError(code, CHANGE_ERRORS)}}));
}

/// Whether the path leads to something, and that is a directory or not as wanted.
bool Exists(const stringEx& path, bool asDirectory) {
    struct stat status = {};
    return !path.empty() && ::stat(path.c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode) == asDirectory;
}

} // namespace

CDir::CDir(const stringEx& path, bool create, bool noCheck) {
    Open(path, create, noCheck);
}

void CDir::Open(const stringEx& path, bool create, bool noCheck) {
    stringEx full(path);
    full.detach_if_static();
    __path = stEMPTY;
    IMPL::RefuseEmpty(full, "CDir::Open - nothing to open");
    ConvToFullPath(full);
    if (!full.end_with("/")) {
        full += '/';
    }
    if (!noCheck && !IsDirExist(full)) {
        if (!create) {
            throw dirExp(0, ComposeError("CDir::Open - error open dir, not exist\n",
                                         {{"  dir to open         = ", full},
                                          {"  current working dir = ", GetPwd() + "\n"}}));
        }
        MakeDir(full, true);
    }
    __path = full;
}

CDir CDir::GainDir(const stringEx& sub, bool create) const {
    stringEx path(sub);
    ToAbsolutePath(path);
    return CDir(path, create);
}

void CDir::ChangeDir(const stringEx& sub, bool create) {
    *this = GainDir(sub, create);
}

void CDir::SetPwd() const {
    CheckChange(::chdir(__path.c_str()), "CDir::SetPwd - failed setting current working dir\n",
                __path);
}

bool CDir::IsFileExist(const stringEx& path) {
    return Exists(path, false);
}

bool CDir::IsDirExist(const stringEx& path) {
    return Exists(path, true);
}

bool CDir::IsFifo(const stringEx& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

bool CDir::IsFileExecutable(const stringEx& path) {
    return IsFileExist(path) && ::access(path.c_str(), X_OK) == 0;
}

unsigned long CDir::GetAttributes(const stringEx& path) {
    struct stat status = {};
    IMPL::PosixStat(path, &status);
    return status.st_mode & ATTRIBUTE_BITS;
}

void CDir::SetAttributes(const stringEx& path, unsigned long attributes) {
    CheckChange(::chmod(path.c_str(), static_cast<mode_t>(attributes) & ATTRIBUTE_BITS),
                "CDir::SetAttributes - failed setting attributes\n", path);
}

CDir::SPACE_INFO CDir::GetSpaceInfo() const {
    struct statvfs status = {};
    IMPL::PosixStatVfs("CDir::GetSpaceInfo - failed retrieve space info\n", __path, &status);
    const CULongLongNative unit = status.f_frsize;
    return {unit * status.f_blocks, unit * status.f_bfree, unit * status.f_bavail};
}

CDir::STORAGE_TOPOLOGY CDir::GetStorageTopology() const {
    struct statvfs status = {};
    IMPL::PosixStatVfs("CDir::GetStorageTopology - failed retrieve storage's topology info\n",
                       __path, &status);
    return {status.f_bsize, status.f_frsize, status.f_blocks, status.f_namemax};
}

bool CDir::__StartEnum(COOKIE& cookie) const {
    if (!cookie) {
        cookie = COOKIE(::opendir(__path.c_str()));
    }
    return static_cast<bool>(cookie);
}

void CDir::__ReleaseCookie(void* cookie) {
    if (::closedir(static_cast<DIR*>(cookie)) == -1) {
        throw dirExp(static_cast<unsigned int>(errno), stringEx("invalid dir descriptor"));
    }
}

bool CDir::__EnumNext(COOKIE& cookie, stringEx& name,
                      bool (*isWanted)(const DIR_ENTRY& entry, bool hidden, bool dots), bool hidden,
                      bool dots) const {
    name = stEMPTY;
    if (!__StartEnum(cookie)) {
        return false;
    }
    DIR_ENTRY entry;
    while (IMPL::ReadEntry(static_cast<DIR*>(cookie.get()), __path, entry)) {
        if (isWanted(entry, hidden, dots)) {
            name = __path + entry.name;
            return true;
        }
    }
    cookie = COOKIE();
    return false;
}

bool CDir::EnumFile(COOKIE& cookie, stringEx& name, bool hidden) const {
    return __EnumNext(cookie, name, IMPL::IsWantedFile, hidden, false);
}

bool CDir::EnumSubDir(COOKIE& cookie, stringEx& name, bool hidden, bool dots) const {
    return __EnumNext(cookie, name, IMPL::IsWantedDir, hidden, dots);
}

} // namespace Quil

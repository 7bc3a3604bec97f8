// System calls on directories and paths, with the words for their failures.

#include "util/file/path/posix_dir.h"

#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <climits>
#include <cstring>
#include <fcntl.h>

namespace Quil::IMPL {

namespace {

constexpr unsigned int EMPTY_ARGUMENT = 2;
constexpr unsigned int READ_DIR_FAILED = 18;

constexpr ERROR_TEXT STAT_ERRORS[] = {
    {ENOENT, "path does not exists"},
    {EACCES, "search permission is denied for a component of the path prefix"},
    {EIO, "an error occurred while reading from the file system"},
    {ELOOP, "a loop exists in symbolic links, or too many links levels"},
    {ENOTDIR, "a component of the path prefix is not a directory"},
    {EOVERFLOW, "file size out-of-range"},
};

constexpr ERROR_TEXT READ_DIR_ERRORS[] = {
    {EBADF, "the argument does not refer to an open directory stream"},
    {EOVERFLOW,
     "one of the values in the structure to be returned cannot be represented correctly"},
    {ENOENT, "the current position of the directory stream is invalid"},
};

} // namespace

void RefuseEmpty(const stringEx& path, const char* message) {
    if (path.empty()) {
        throw dirExp(EMPTY_ARGUMENT, stringEx(message));
    }
}

void ThrowStatError(const stringEx& path, int code) {
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError("PosixStat - failed retrive the status of giving path\n",
                              {{"  error code = ", code},
                               {"  error desc = ", DescribeSysError(code, STAT_ERRORS)},
                               {"  path       = ", path}}));
}

void PosixStat(const stringEx& path, struct stat* status) {
    if (::stat(path.c_str(), status) == -1) {
        ThrowStatError(path, errno);
    }
}

dirent* PosixReadDir(DIR* directory) {
    errno = 0;
    dirent* const entry = ::readdir(directory);
    if (entry == nullptr && errno != 0) {
        const int code = errno;
        throw dirExp(READ_DIR_FAILED,
                     ComposeError("PosixReadDir - error enum entries in the directory\n",
                                  {{"  error code = ", code},
                                   {"  error desc = ", DescribeSysError(code, READ_DIR_ERRORS)}}));
    }
    return entry;
}

int StatEntry(int directory, const char* path, struct stat* status, bool followLinks) {
    if (::fstatat(directory, path, status, followLinks ? 0 : AT_SYMLINK_NOFOLLOW) == 0) {
        return 0;
    }
    const int code = errno;
    if (::fstatat(directory, path, status, AT_SYMLINK_NOFOLLOW) == 0) {
        return followLinks && S_ISLNK(status->st_mode) ? code : 0; // it has come just now
    }
    const bool isMissing = errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
    return isMissing ? NO_ENTRY : errno;
}

bool ReadEntry(DIR* directory, const stringEx& path, DIR_ENTRY& entry) {
    while (const dirent* const next = PosixReadDir(directory)) {
        entry.name = next->d_name;
        // The call below goes from the open directory; the full path must be usable all the same.
        if (path.length() + std::strlen(next->d_name) >= PATH_MAX) {
            ThrowStatError(path + next->d_name, ENAMETOOLONG);
        }
        if (next->d_type != DT_LNK && next->d_type != DT_UNKNOWN) {
            entry = {next->d_name, next->d_type == DT_DIR, {}, next->d_type == DT_FIFO};
            return true;
        }
        struct stat status = {};
        const int code = StatEntry(::dirfd(directory), next->d_name, &status);
        if (code == NO_ENTRY) {
            continue;
        }
        if (code != 0) {
            ThrowStatError(path + next->d_name, code);
        }
        entry = {next->d_name,
                 S_ISDIR(status.st_mode),
                 {status.st_dev, status.st_ino},
                 S_ISFIFO(status.st_mode)};
        return true;
    }
    return false;
}

bool IsDotOrDotDot(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

bool IsWantedFile(const DIR_ENTRY& entry, bool hidden, bool /*dots*/) {
    return !entry.isDir && (hidden || entry.name[0] != '.');
}

bool IsWantedDir(const DIR_ENTRY& entry, bool hidden, bool dots) {
    return entry.isDir && (entry.name[0] != '.' || (IsDotOrDotDot(entry.name) ? dots : hidden));
}

void PosixStatVfs(const char* head, const stringEx& path, struct statvfs* status) {
    if (RetryInterrupted([&] { return ::statvfs(path.c_str(), status); }) == 0) {
        return;
    }
    const int code = errno;
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError(head, {{"  error code = ", code},
                                     {"  error desc = ", DescribeSysError(code, STAT_ERRORS)},
                                     {"  path       = ", path}}));
}

stringEx NormalizePathName(const stringEx& path) {
    stringEx normal(path);
    if (normal.find('\\') != stringEx::npos) {
        normal.detach();
        for (unsigned int i = 0; i < normal.length(); ++i) {
            if (normal[i] == '\\') {
                normal[i] = '/';
            }
        }
    }
    unsigned int length = normal.length();
    while (length > 1 && normal[length - 1] == '/' && normal[length - 2] == '/') {
        --length;
    }
    if (length != normal.length()) {
        normal.erase(length, stringEx::npos);
    }
    return normal;
}

} // namespace Quil::IMPL

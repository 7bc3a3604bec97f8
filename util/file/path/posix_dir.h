// The system calls on directories and paths, each with its failure in words.

#pragma once

#include "util/text/stringEx.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace Quil::IMPL {

struct DirCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

/// What tells one file from all others, whatever its names.
struct FILE_ID {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FILE_ID&) const = default;
};

/// An entry of a directory, symbolic links followed.
struct DIR_ENTRY {
    const char* name = nullptr; ///< valid until the next entry is read
    bool isDir = false;
    FILE_ID id; ///< where the entry had to be asked: not where the directory tells the kind
    bool isFifo = false;
};

/// Throws `dirExp` with code 2 and this message for a path that is empty.
void RefuseEmpty(const stringEx& path, const char* message);

/// The status of what `path` leads to, symbolic links followed. Throws `dirExp`.
void PosixStat(const stringEx& path, struct stat* status);
/// The exception of `PosixStat` for the error number `code`.
[[noreturn]] void ThrowStatError(const stringEx& path, int code);

/// The answer of `StatEntry` where there is nothing of that name.
constexpr int NO_ENTRY = -1;
/// Asks for the status of `path`, seen from the open directory `directory`. Answers 0, `NO_ENTRY`,
/// or the error number for an entry that can't be asked: a dangling link is there, a name that
/// another process has just removed is not.
int StatEntry(int directory, const char* path, struct stat* status, bool followLinks = true);

/// The next entry, or null at the end. Throws `dirExp` with code 18.
dirent* PosixReadDir(DIR* directory);

/// The next entry of the directory opened at `path`, which ends in "/"; false at the end. A
/// symbolic link, and an entry whose kind the directory doesn't tell, is asked for its status once,
/// whose failure throws as `PosixStat` does, with the name in `entry`. One that is gone by then is
/// passed over.
bool ReadEntry(DIR* directory, const stringEx& path, DIR_ENTRY& entry);

/// Whether an entry is a file, or a directory, that an enumeration with these flags answers.
bool IsWantedFile(const DIR_ENTRY& entry, bool hidden, bool);
bool IsWantedDir(const DIR_ENTRY& entry, bool hidden, bool dots);
bool IsDotOrDotDot(const char* name);

/// The status of the file system at `path`. Throws `dirExp` with the head given.
void PosixStatVfs(const char* head, const stringEx& path, struct statvfs* status);

/// A copy with every accepted delimiter turned into "/", and one "/" at most at the end.
stringEx NormalizePathName(const stringEx& path);

} // namespace Quil::IMPL

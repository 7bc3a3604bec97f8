// CDir: operations on directories as a whole.
//
// Each lists a directory, closes it, and then treats the entries: what they change can't disturb an
// enumeration, and no descriptor is held while going down. The depth is bounded by the length that
// the system allows a path.

#include "util/file/dir.h"
#include "util/file/path/posix_dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace Quil {

using IMPL::ComposeError;
using IMPL::DescribeSysError;
using IMPL::ERROR_TEXT;
using IMPL::FILE_ID;
using IMPL::NormalizePathName;
using IMPL::RefuseEmpty;

namespace {

constexpr mode_t ALL_FOR_ALL = 0777;
constexpr const char* TARGET_INSIDE = "the target lies inside the source";

constexpr ERROR_TEXT MAKE_ERRORS[] = {
    {EACCES, "write permission is denied for the parent directory"},
    {ELOOP, "a loop exists in symbolic links, or links level too deep"},
    {EMLINK, "The link count of the parent directory would exceed"},
    {ENAMETOOLONG, "the length of the dir path is too long"},
    {ENOENT, "a component of the dir prefix specified by path does not name an existing directory"},
    {ENOSPC, "the file system does not contain enough space to hold the new directory"},
    {ENOTDIR, "a component of the dir prefix is not a directory"},
    {EROFS, "the parent directory resides on a read-only file system"},
};

constexpr ERROR_TEXT REMOVE_ERRORS[] = {
    {ENOTEMPTY, "not an empty directory"},
    {EEXIST, "not an empty directory"},
    {EBUSY, "the directory to be removed is currently in use"},
    {EINVAL, "the path argument contains a last component that is dot"},
    {EIO, "a physical I/O error has occurred"},
    {ELOOP, "a loop exists in symbolic links"},
    {ENOTDIR, "a component of the path is not a directory"},
    {EROFS, "the directory entry to be removed resides on a read-only file system"},
};

enum class KIND { FILE, DIRECTORY, LINK };

struct LISTED {
    stringEx name;
    KIND kind;
    FILE_ID id;
};

/// What is in the directory at `path`, which ends in "/", but "." and "..". Symbolic links are
/// followed, or else listed as such. A directory that can't be opened throws.
std::vector<LISTED> List(const stringEx& path, bool followLinks) {
    const std::unique_ptr<DIR, IMPL::DirCloser> directory(::opendir(path.c_str()));
    if (!directory) {
        IMPL::ThrowStatError(path, errno);
    }
    std::vector<LISTED> entries;
    while (const dirent* const entry = IMPL::PosixReadDir(directory.get())) {
        if (IMPL::IsDotOrDotDot(entry->d_name)) {
            continue;
        }
        stringEx full = path + entry->d_name;
        struct stat status = {};
        if (full.length() >= PATH_MAX) {
            IMPL::ThrowStatError(full, ENAMETOOLONG);
        }
        const int code =
            IMPL::StatEntry(::dirfd(directory.get()), entry->d_name, &status, followLinks);
        if (code == IMPL::NO_ENTRY) {
            continue; // removed since it was listed
        }
        if (code != 0) {
            IMPL::ThrowStatError(full, code);
        }
        const KIND kind = S_ISDIR(status.st_mode)   ? KIND::DIRECTORY
                          : S_ISLNK(status.st_mode) ? KIND::LINK
                                                    : KIND::FILE;
        entries.push_back({stringEx(entry->d_name), kind, {status.st_dev, status.st_ino}});
    }
    return entries;
}

FILE_ID IdOf(const stringEx& path) {
    struct stat status = {};
    IMPL::PosixStat(path, &status);
    return {status.st_dev, status.st_ino};
}

[[noreturn]] void ThrowRemoveError(const stringEx& path, bool subDirs, bool subFiles, int code) {
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError("CDir::RemoveDir - failed remove specified directory\n",
                              {{"  dir to remove     = ", path},
                               {"  remove sub dirs   = ", subDirs},
                               {"  remove sub files  = ", subFiles},
                               {"  error code        = ", code},
                               {"  error desc        = ", DescribeSysError(code, REMOVE_ERRORS)}}));
}

/// `path` ends in "/". What can't be removed inside shows in that the directory is not empty.
void RemoveTree(const stringEx& path, bool subDirs, bool subFiles) {
    if (subDirs || subFiles) {
        for (const LISTED& entry : List(path, false)) {
            const stringEx full = path + entry.name;
            if (entry.kind == KIND::DIRECTORY) {
                if (subDirs) {
                    RemoveTree(full + "/", subDirs, subFiles);
                }
            } else if (subFiles) {
                ::unlink(full.c_str());
            }
        }
    }
    if (::rmdir(path.c_str()) == -1) {
        ThrowRemoveError(path, subDirs, subFiles, errno);
    }
}

/// Copies one tree. Directories on the way down are remembered: a symbolic link back to one of them
/// would copy without end, and so would a target that is met inside the source.
class CTreeCopy {
public:
    CTreeCopy(bool overwrite, bool flush) : __overwrite(overwrite), __flush(flush) {}

    /// Both paths end in "/".
    void Run(const stringEx& from, const stringEx& to, bool subDirs, bool subFiles) {
        const FILE_ID source = IdOf(from);
        CDir::MakeDir(to, true);
        __target = IdOf(to);
        __Copy(from, source, to, subDirs, subFiles);
    }

private:
    void __Copy(const stringEx& from, const FILE_ID& id, const stringEx& to, bool subDirs,
                bool subFiles) {
        const std::vector<LISTED> entries = List(from, true);
        __way.push_back(id);
        for (const LISTED& entry : entries) {
            if (subDirs && entry.kind == KIND::DIRECTORY) {
                __CopySubDir(from + entry.name + "/", entry.id, to + entry.name + "/");
            }
        }
        for (const LISTED& entry : entries) {
            if (subFiles && entry.kind != KIND::DIRECTORY) {
                CDir::DuplicateFile(from + entry.name, to + entry.name, __overwrite, __flush);
            }
        }
        __way.pop_back();
    }

    void __CopySubDir(const stringEx& from, const FILE_ID& id, const stringEx& to) {
        for (const FILE_ID& above : __way) {
            if (above == id) {
                IMPL::ThrowStatError(from, ELOOP);
            }
        }
        if (id == __target) {
            throw dirExp(0, stringEx(TARGET_INSIDE));
        }
        CDir::MakeDir(to);
        __Copy(from, id, to, true, true);
    }

    bool __overwrite;
    bool __flush;
    FILE_ID __target;
    std::vector<FILE_ID> __way;
};

/// Whether the directory `inner`, or what there is of the way to it, lies in `outer`, by whatever
/// links it is reached.
bool LiesIn(stringEx inner, const stringEx& outer) {
    while (!CDir::IsDirExist(inner)) {
        CDir::RemoveTailingDelimiter(inner);
        inner.erase(inner.rfind('/') + 1, stringEx::npos);
    }
    char innerPath[PATH_MAX];
    char outerPath[PATH_MAX];
    if (::realpath(inner.c_str(), innerPath) == nullptr) {
        IMPL::ThrowStatError(inner, errno);
    }
    if (::realpath(outer.c_str(), outerPath) == nullptr) {
        IMPL::ThrowStatError(outer, errno);
    }
    return stringEx(stringEx(innerPath) + "/").begin_with(stringEx(outerPath) + "/");
}

/// A link is made anew, so that it may go to another file system.
void MoveLink(const stringEx& from, const stringEx& to) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(from.c_str(), target, sizeof target - 1);
    if (length == -1) {
        IMPL::ThrowStatError(from, errno);
    }
    target[length] = '\0';
    CDir::MakeSymbolicLink(target, to);
    if (::unlink(from.c_str()) == -1) {
        IMPL::ThrowStatError(from, errno);
    }
}

/// Both paths end in "/". `top` is the directory that all goes to: met inside the source, by a
/// mount that no path tells of, it would be moved into itself without end.
void MoveTree(const stringEx& from, const stringEx& to, const FILE_ID& top) {
    CDir::MakeDir(to, true);
    for (const LISTED& entry : List(from, false)) {
        const stringEx source = from + entry.name;
        const stringEx target = to + entry.name;
        if (entry.kind == KIND::DIRECTORY && entry.id == top) {
            throw dirExp(0, stringEx(TARGET_INSIDE));
        }
        if (entry.kind == KIND::DIRECTORY) {
            MoveTree(source + "/", target + "/", top);
        } else if (entry.kind == KIND::LINK) {
            MoveLink(source, target);
        } else {
            CDir::TransferFile(source, target);
        }
    }
    CDir::RemoveDir(from);
}

} // namespace

void CDir::MakeDir(const stringEx& path, bool recursive) {
    RefuseEmpty(path, "CDir::MakeDir - make what ?");
    const stringEx normal = NormalizePathName(path);
    if (IsDirExist(normal)) {
        return;
    }
    if (recursive) {
        stringEx parent(normal);
        RemoveTailingDelimiter(parent);
        parent.erase(parent.rfind('/') + 1, stringEx::npos);
        if (!parent.empty() && !IsDirExist(parent)) {
            MakeDir(parent, true);
        }
    }
    if (::mkdir(normal.c_str(), ALL_FOR_ALL) == 0 || errno == EEXIST) {
        return;
    }
    const int code = errno;
    throw dirExp(static_cast<unsigned int>(code),
                 ComposeError("CDir::MakeDir - failed making directory\n",
                              {{"  dir to create = ", normal},
                               {"  is recursive  = ", recursive},
                               {"  error code    = ", code},
                               {"  error desc    = ", DescribeSysError(code, MAKE_ERRORS)}}));
}

void CDir::RemoveDir(const stringEx& path, bool subDirs, bool subFiles) {
    RefuseEmpty(path, "CDir::RemoveDir - remove what ?");
    stringEx normal = NormalizePathName(path);
    if (!IsDirExist(normal)) {
        return;
    }
    RemoveTailingDelimiter(normal);
    // Refused before anything is touched: what is behind a link is not the caller's to empty.
    struct stat status = {};
    if (::lstat(normal.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        ThrowRemoveError(normal, subDirs, subFiles, ENOTDIR);
    }
    RemoveTree(normal + "/", subDirs, subFiles);
}

void CDir::DuplicateDir(const stringEx& from, const stringEx& to, bool overwrite, bool subDirs,
                        bool subFiles, bool flush) {
    const CDir source(from);
    const CDir target(to, false, true);
    const auto fail = [&](const char* head, unsigned int code, const stringEx& desc) {
        throw dirExp(code, ComposeError(head, {{"  dir to copy         = ", source.__path},
                                               {"  dir to copy to      = ", target.__path},
                                               {"  overwrite exist     = ", overwrite},
                                               {"  copy sub files      = ", subFiles},
                                               {"  system error no     = ", code},
                                               {"  system error desc   = ", desc}}));
    };
    if (subDirs && target <= source) {
        fail("CDir::DuplicateDir - dir nesting found in recursive copy mode\n", EINVAL,
             GetSysErrString(EINVAL));
    }
    try {
        CTreeCopy(overwrite, flush).Run(source.__path, target.__path, subDirs, subFiles);
    } catch (const qlExp& cause) {
        fail("CDir::DuplicateDir - failed copy dir\n", cause.GetErrCode(), cause.GetErrString());
    }
}

void CDir::TransferDir(const stringEx& from, const stringEx& to) {
    const CDir source(from);
    const CDir target(to, false, true);
    if (target <= source || LiesIn(target.__path, source.__path)) {
        throw dirExp(
            static_cast<unsigned int>(EINVAL),
            ComposeError("CDir::TransferDir - dir nesting found in recursive copy mode\n",
                         {{"  source dir = ", source.__path}, {"  target dir = ", target.__path}}));
    }
    try {
        MakeDir(target.__path, true);
        MoveTree(source.__path, target.__path, IdOf(target.__path));
    } catch (const qlExp& cause) {
        throw dirExp(cause.GetErrCode(), ComposeError("CDir::TransferDir - failed transfer dir\n",
                                                      {{"  source dir = ", source.__path},
                                                       {"  target dir = ", target.__path}},
                                                      cause.GetErrString()));
    }
}

} // namespace Quil

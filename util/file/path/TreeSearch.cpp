// The walk through a directory tree, and CDir's searches by expression on top of it.

#include "util/file/path/TreeSearch.h"

#include "util/file/dir.h"
#include "util/file/system/error_text.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <memory>

namespace Quil {

namespace IMPL {

namespace {

constexpr unsigned int SEARCH_FAILED = 19;

} // namespace

void CTreeSearch::Run(const stringEx& base) {
    __base = base;
    __Guard(base, [&] {
        if (!__query.directories) {
            CDir().Open(base);
        }
        __Walk(base);
    });
}

void CTreeSearch::LookUp(const stringEx& base, const stringEx& name) {
    __base = base;
    __Guard(base, [&] {
        __way.push_back({base, {}, {}});
        __Ask(base, name);
        __way.pop_back();
    });
}

/// Failures of `search` come out with the heads of the search on them.
template <class Search>
void CTreeSearch::__Guard(const stringEx& base, Search search) {
    try {
        search();
    } catch (const qlExp& cause) {
        const stringEx text = __WrapCause(cause.GetErrString());
        throw dirExp(SEARCH_FAILED, __query.directories
                                        ? text
                                        : ComposeError("CDir::GetAllFiles - failed find files\n",
                                                       {{"  base dir = ", base}}, text));
    }
}

/// A directory that can't be listed has no entries, though they can't be asked either.
void CTreeSearch::__Ask(const stringEx& base, const stringEx& name) {
    const stringEx path = base + name;
    struct stat status = {};
    const int code = StatEntry(AT_FDCWD, path.c_str(), &status);
    if (code == 0) {
        const DIR_ENTRY entry{name.c_str(), S_ISDIR(status.st_mode), {}, S_ISFIFO(status.st_mode)};
        if (__query.directories
                ? IsWantedDir(entry, __query.hidden, __query.dots)
                : IsWantedFile(entry, __query.hidden, false) && __watch.Takes(base, base, name)) {
            __offer(base, name, entry.isFifo);
        }
    } else if (code == NO_ENTRY) {
        if (path.length() >= PATH_MAX) {
            ThrowStatError(path, ENAMETOOLONG);
        }
        if (!__query.directories) {
            CDir().Open(base);
        }
    } else if (DIR* const directory = ::opendir(base.c_str()); directory != nullptr) {
        ::closedir(directory);
        ThrowStatError(path, code);
    }
}

/// A search that goes through sub-directories has failed in all of them on the way, innermost
/// first.
stringEx CTreeSearch::__WrapCause(const stringEx& cause) const {
    stringEx text(cause);
    if (__query.directories || __query.recursive) {
        for (auto level = __way.rbegin(); level != __way.rend(); ++level) {
            text = ComposeError("CDir::GetAllSubDirs - failed find subdirs\n",
                                {{"  base dir = ", level->path}}, text);
        }
    }
    return text;
}

void CTreeSearch::__Walk(const stringEx& base) {
    __Enter(base);
    while (!__way.empty()) {
        LEVEL& level = __way.back();
        if (level.next == level.subDirs.size()) {
            __way.pop_back();
            continue;
        }
        const SUB_DIR subDir = std::move(level.subDirs[level.next]);
        ++level.next;
        __Visit(subDir);
    }
}

template <class Step>
bool CTreeSearch::__Try(const stringEx& path, Step step) {
    const std::size_t depth = __way.size();
    try {
        step();
        return true;
    } catch (const dirExp& cause) {
        if (!__watch.PassesOver(path, cause.GetErrString())) {
            throw;
        }
        __way.resize(depth);
        return false;
    }
}

/// A directory that can't be opened has no entries.
void CTreeSearch::__Enter(const stringEx& path) {
    const std::unique_ptr<DIR, DirCloser> directory(::opendir(path.c_str()));
    if (!directory) {
        __watch.PassesOver(path, std::strerror(errno));
        return;
    }
    LEVEL level;
    level.path = path;
    struct stat status = {};
    if (::fstat(::dirfd(directory.get()), &status) == -1) {
        ThrowStatError(path, errno);
    }
    level.id = {status.st_dev, status.st_ino};
    __RefuseLoop(path, level.id);
    __way.push_back(std::move(level));
    __ReadLevel(directory.get(), __way.back());
}

void CTreeSearch::__ReadLevel(DIR* directory, LEVEL& level) {
    const bool wantsDirs = __query.directories || __query.recursive;
    DIR_ENTRY entry;
    while (__ReadEntry(directory, level.path, entry)) {
        const stringEx name(entry.name, stringEx::NOT_OWNER());
        if (wantsDirs && IsWantedDir(entry, __query.hidden, __query.dots)) {
            if (__watch.Enters(__base, level.path, name)) {
                level.subDirs.push_back({stringEx(entry.name), entry.id});
            }
        } else if (!__query.directories && IsWantedFile(entry, __query.hidden, false) &&
                   __watch.Takes(__base, level.path, name)) {
            __offer(level.path, name, entry.isFifo);
        }
    }
}

/// The next entry that can be asked. A directory that can't be read any further has come to its
/// end.
bool CTreeSearch::__ReadEntry(DIR* directory, const stringEx& path, DIR_ENTRY& entry) {
    for (;;) {
        bool isThere = false;
        entry.name = nullptr;
        if (__Try(path, [&] { isThere = ReadEntry(directory, path, entry); }) ||
            entry.name == nullptr) {
            return isThere;
        }
    }
}

void CTreeSearch::__Visit(const SUB_DIR& subDir) {
    const stringEx path = __way.back().path + subDir.name;
    if (__query.directories) {
        __offer(__way.back().path, subDir.name, false);
    }
    if (!__query.recursive || IsDotOrDotDot(subDir.name.c_str())) {
        return;
    }
    __Try(path, [&] {
        __RefuseLoop(path, subDir.id);
        __Enter(path + "/");
    });
}

/// Following a symbolic link to a directory above would go on until the system refuses the path;
/// with two such links that takes more directories than anyone can wait for.
void CTreeSearch::__RefuseLoop(const stringEx& path, const FILE_ID& id) const {
    for (const LEVEL& level : __way) {
        if (level.id == id) {
            ThrowStatError(path, ELOOP);
        }
    }
}

} // namespace IMPL

namespace {

CDir::REGEX CompileNamePattern(const stringEx& pattern, CDir::CASE_SET caseSet) {
    return stringEx::regex_comp(pattern, caseSet == CDir::CASE_INSENSITIVE, false, true, true);
}

unsigned int SearchByExpression(const CDir& base, std::vector<stringEx>& out,
                                const CDir::REGEX& pattern, const IMPL::TREE_QUERY& query) {
    CSearchWatch watch;
    IMPL::CTreeSearch search(
        query,
        [&](const stringEx& folder, const stringEx& name, bool) {
            if (name.regex_match_with_comp(pattern, false, false)) {
                out.push_back(folder + name);
            }
        },
        watch);
    search.Run(base.GetPath());
    return static_cast<unsigned int>(out.size());
}

} // namespace

unsigned int CDir::GetAllFilesRegEx(std::vector<stringEx>& out, const stringEx& pattern,
                                    CASE_SET caseSet, bool recursive, bool hidden,
                                    bool reserved) const {
    return GetAllFilesRegEx(out, CompileNamePattern(pattern, caseSet), recursive, hidden, reserved);
}

unsigned int CDir::GetAllFilesRegEx(std::vector<stringEx>& out, const REGEX& pattern,
                                    bool recursive, bool hidden, bool /*reserved*/) const {
    return SearchByExpression(*this, out, pattern, {false, recursive, hidden, false});
}

unsigned int CDir::GetAllSubDirsRegEx(std::vector<stringEx>& out, const stringEx& pattern,
                                      CASE_SET caseSet, bool recursive, bool hidden, bool dots,
                                      bool reserved) const {
    return GetAllSubDirsRegEx(out, CompileNamePattern(pattern, caseSet), recursive, hidden, dots,
                              reserved);
}

unsigned int CDir::GetAllSubDirsRegEx(std::vector<stringEx>& out, const REGEX& pattern,
                                      bool recursive, bool hidden, bool dots,
                                      bool /*reserved*/) const {
    return SearchByExpression(*this, out, pattern, {true, recursive, hidden, dots});
}

} // namespace Quil

// CDir's searches by wildcards.
//
// One call may bring thousands of patterns, since a shell hands over the names that it has
// expanded. So a name without wildcards is asked for by its path, which costs no listing, and the
// others are sorted by the directory that they search, which is listed once for all of them. The
// results come pattern by pattern all the same.

#include "util/file/dir.h"
#include "util/file/path/TreeSearch.h"
#include "util/sys/errhdl.h"

#include <fcntl.h>
#include <map>

namespace Quil {

using IMPL::CTreeSearch;
using IMPL::NormalizePathName;
using IMPL::TREE_QUERY;

namespace {

/// A pattern and what it has found.
struct PATTERN {
    stringEx folder;        ///< where it searches: absolute, ends in "/"
    stringEx name;          ///< what the last component is matched with
    bool hasFolder = false; ///< the folder comes from the pattern
    bool isDone = false;
    std::vector<stringEx> found;
};

bool HasWildcards(const stringEx& name) {
    return name.find('*') != stringEx::npos || name.find('?') != stringEx::npos;
}

/// False for a text that no entry of a directory can bear as its name.
bool CanBeName(const stringEx& name) {
    return name.find('/') == stringEx::npos && name.find('\0') == stringEx::npos;
}

/// The patterns that search one directory. Plain names are found by their order, so that their
/// number doesn't count for each entry.
class CPatternGroup {
public:
    void Add(PATTERN& pattern) {
        if (HasWildcards(pattern.name)) {
            __wild.push_back(&pattern);
        } else {
            __plain.emplace(pattern.name, &pattern);
        }
        __all.push_back(&pattern);
    }

    /// Lists the directory, or the tree below it.
    void Search(const stringEx& folder, const TREE_QUERY& query, CSearchWatch& watch) {
        const auto offer = [&](const stringEx& path, const stringEx& name, bool isFifo) {
            if (__Offer(path, name) && isFifo) {
                watch.NoteFifo(path + name);
            }
        };
        CTreeSearch(query, offer, watch).Run(folder);
        for (PATTERN* const pattern : __all) {
            pattern->isDone = true;
        }
    }

private:
    bool __Offer(const stringEx& folder, const stringEx& name) const {
        bool isTaken = false;
        const auto [first, last] = __plain.equal_range(name);
        for (auto row = first; row != last; ++row) {
            row->second->found.push_back(folder + name);
            isTaken = true;
        }
        for (PATTERN* const pattern : __wild) {
            if (name.wildcard_match(pattern->name, 0, '?', '*', false)) {
                pattern->found.push_back(folder + name);
                isTaken = true;
            }
        }
        return isTaken;
    }

    std::multimap<stringEx, PATTERN*> __plain;
    std::vector<PATTERN*> __wild;
    std::vector<PATTERN*> __all;
};

/// One call with all its patterns. The base must outlive it.
class CPatternSearch {
public:
    CPatternSearch(const CDir& base, const TREE_QUERY& query, CSearchWatch& watch)
        : __base(base), __query(query), __watch(watch) {}

    /// Appends to `out`, and to `counts`, unless null, how many each pattern found.
    void Run(const std::vector<stringEx>& texts, std::vector<stringEx>& out,
             std::vector<unsigned int>* counts) {
        __patterns.reserve(texts.size());
        for (const stringEx& text : texts) {
            __Prepare(text);
        }
        for (PATTERN& pattern : __patterns) {
            if (!pattern.isDone) {
                __SearchUnlessBroken(pattern);
            }
            if (counts != nullptr) {
                counts->push_back(static_cast<unsigned int>(pattern.found.size()));
            }
            for (stringEx& path : pattern.found) {
                out.push_back(std::move(path));
            }
        }
    }

private:
    /// Whether the name is asked for by its path.
    bool __IsLookedUp(const PATTERN& pattern) const {
        return !__query.recursive && !pattern.folder.empty() && !HasWildcards(pattern.name);
    }

    void __Prepare(const stringEx& text) {
        PATTERN& pattern = __patterns.emplace_back();
        pattern.name = text;
        pattern.name.detach_if_static();
        if (__FindFile(pattern)) {
            return;
        }
        __Split(pattern);
        if (!__IsLookedUp(pattern)) {
            __groups[pattern.folder].Add(pattern);
        }
    }

    /// The usual case, a path to a file as it stands: one question settles it. False leaves the
    /// pattern to the others.
    bool __FindFile(PATTERN& pattern) const {
        const stringEx path = NormalizePathName(pattern.name);
        const unsigned int slash = path.rfind('/');
        const stringEx folder = slash == stringEx::npos ? stEMPTY : path.substr(0, slash + 1);
        const stringEx name = path.substr(folder.length(), stringEx::npos);
        if (__query.directories || __query.recursive || __base.GetPath().empty() || name.empty() ||
            folder == "./" || HasWildcards(name) || !CanBeName(name)) {
            return false;
        }
        const stringEx from = __FolderOf(folder);
        const stringEx full = from + name;
        struct stat status = {};
        if (IMPL::StatEntry(AT_FDCWD, full.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
            return false;
        }
        pattern.isDone = true;
        if (IMPL::IsWantedFile({name.c_str(), false, {}}, __query.hidden, false) &&
            __watch.Takes(from, from, name)) {
            pattern.found.push_back(full);
            if (S_ISFIFO(status.st_mode)) {
                __watch.NoteFifo(full);
            }
        }
        return true;
    }

    /// Sets the directory part apart; an empty name stands for all names. The name that is left is
    /// not taken apart a second time: it may itself be the name of a directory.
    void __Split(PATTERN& pattern) const {
        stringEx folder;
        if (!pattern.name.empty()) {
            folder = pattern.name;
            CDir::GetPathDir(folder);
            pattern.hasFolder = folder != "./";
            if (pattern.hasFolder) {
                CDir::GetPathFilename(pattern.name);
            }
        }
        pattern.folder = __FolderOf(pattern.hasFolder ? folder : stEMPTY);
        if (pattern.name.empty()) {
            pattern.name = "*";
        }
    }

    /// The absolute path of a pattern's directory part, which ends in "/" or is empty.
    stringEx __FolderOf(const stringEx& part) const {
        if (part.empty()) {
            return __base.GetPath();
        }
        stringEx folder(part);
        __base.ToAbsolutePath(folder);
        return folder;
    }

    void __SearchUnlessBroken(PATTERN& pattern) {
        try {
            __Search(pattern);
        } catch (const dirExp& cause) {
            if (!__watch.PassesOver(pattern.folder, cause.GetErrString())) {
                throw;
            }
        }
    }

    void __Search(PATTERN& pattern) {
        if (pattern.hasFolder) {
            CDir().Open(pattern.folder);
        }
        if (!__IsLookedUp(pattern)) {
            __groups[pattern.folder].Search(pattern.folder, __query, __watch);
        } else if (CanBeName(pattern.name)) {
            const auto offer = [&](const stringEx& folder, const stringEx& name, bool isFifo) {
                pattern.found.push_back(folder + name);
                if (isFifo) {
                    __watch.NoteFifo(folder + name);
                }
            };
            CTreeSearch search(__query, offer, __watch);
            search.LookUp(pattern.folder, pattern.name);
        }
    }

    const CDir& __base;
    TREE_QUERY __query;
    CSearchWatch& __watch;
    std::vector<PATTERN> __patterns; ///< never grows past what was reserved: groups point into it
    std::map<stringEx, CPatternGroup> __groups;
};

} // namespace

unsigned int CDir::GetAllFiles(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                               bool hidden, bool /*reserved*/) const {
    return GetAllFiles(out, std::vector<stringEx>{std::move(pattern)}, recursive, hidden);
}

unsigned int CDir::GetAllFiles(std::vector<stringEx>& out, const std::vector<stringEx>& patterns,
                               bool recursive, bool hidden, std::vector<unsigned int>* counts,
                               CSearchWatch* watch) const {
    CSearchWatch none;
    CPatternSearch(*this, {false, recursive, hidden, false}, watch != nullptr ? *watch : none)
        .Run(patterns, out, counts);
    return static_cast<unsigned int>(out.size());
}

unsigned int CDir::GetAllSubDirs(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                                 bool hidden, bool dots, bool /*reserved*/) const {
    CSearchWatch none;
    CPatternSearch(*this, {true, recursive, hidden, dots}, none)
        .Run({std::move(pattern)}, out, nullptr);
    return static_cast<unsigned int>(out.size());
}

} // namespace Quil

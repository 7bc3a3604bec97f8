// CDir's searches by wildcards.
//
// One call may bring thousands of patterns, since a shell hands over the names that it has
// expanded. So a name without wildcards is asked for by its path, which costs no listing, and the
// others are sorted by the directory that they search, which is listed once for all of them. The
// results come pattern by pattern all the same.

#include "util/file/dir.h"
#include "util/file/path/tree_search.h"

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
        if (HasWildcards(pattern.name))
            m_wild.push_back(&pattern);
        else
            m_plain.emplace(pattern.name, &pattern);
        m_all.push_back(&pattern);
    }

    /// Lists the directory, or the tree below it.
    void Search(const stringEx& folder, const TREE_QUERY& query) {
        CTreeSearch(query, [this](const stringEx& path, const stringEx& name) {
            Offer(path, name);
        }).Run(folder);
        for (PATTERN* const pattern : m_all)
            pattern->isDone = true;
    }

private:
    void Offer(const stringEx& folder, const stringEx& name) const {
        const auto [first, last] = m_plain.equal_range(name);
        for (auto row = first; row != last; ++row)
            row->second->found.push_back(folder + name);
        for (PATTERN* const pattern : m_wild)
            if (name.wildcard_match(pattern->name, 0, '?', '*', false))
                pattern->found.push_back(folder + name);
    }

    std::multimap<stringEx, PATTERN*> m_plain;
    std::vector<PATTERN*> m_wild;
    std::vector<PATTERN*> m_all;
};

/// One call with all its patterns. The base must outlive it.
class CPatternSearch {
public:
    CPatternSearch(const CDir& base, const TREE_QUERY& query) : m_base(base), m_query(query) {}

    /// Appends to `out`, and to `counts`, unless null, how many each pattern found.
    void Run(const std::vector<stringEx>& texts, std::vector<stringEx>& out,
             std::vector<unsigned int>* counts) {
        m_patterns.reserve(texts.size());
        for (const stringEx& text : texts)
            Prepare(text);
        for (PATTERN& pattern : m_patterns) {
            if (!pattern.isDone)
                Search(pattern);
            if (counts != nullptr)
                counts->push_back(static_cast<unsigned int>(pattern.found.size()));
            for (stringEx& path : pattern.found)
                out.push_back(std::move(path));
        }
    }

private:
    /// Whether the name is asked for by its path.
    bool IsLookedUp(const PATTERN& pattern) const {
        return !m_query.recursive && !pattern.folder.empty() && !HasWildcards(pattern.name);
    }

    void Prepare(const stringEx& text) {
        PATTERN& pattern = m_patterns.emplace_back();
        pattern.name = text;
        pattern.name.detach_if_static();
        if (FindFile(pattern))
            return;
        Split(pattern);
        if (!IsLookedUp(pattern))
            m_groups[pattern.folder].Add(pattern);
    }

    /// The usual case, a path to a file as it stands: one question settles it. False leaves the
    /// pattern to the others.
    bool FindFile(PATTERN& pattern) const {
        const stringEx path = NormalizePathName(pattern.name);
        const unsigned int slash = path.rfind('/');
        const stringEx folder = slash == stringEx::npos ? stEMPTY : path.substr(0, slash + 1);
        const stringEx name = path.substr(folder.length(), stringEx::npos);
        if (m_query.directories || m_query.recursive || m_base.GetPath().empty() || name.empty() ||
            folder == "./" || HasWildcards(name) || !CanBeName(name))
            return false;
        const stringEx full = FolderOf(folder) + name;
        struct stat status = {};
        if (IMPL::StatEntry(AT_FDCWD, full.c_str(), &status) != 0 || S_ISDIR(status.st_mode))
            return false;
        pattern.isDone = true;
        if (IMPL::IsWantedFile({name.c_str(), false, {}}, m_query.hidden, false))
            pattern.found.push_back(full);
        return true;
    }

    /// Sets the directory part apart; an empty name stands for all names. The name that is left is
    /// not taken apart a second time: it may itself be the name of a directory.
    void Split(PATTERN& pattern) const {
        stringEx folder;
        if (!pattern.name.empty()) {
            folder = pattern.name;
            CDir::GetPathDir(folder);
            pattern.hasFolder = folder != "./";
            if (pattern.hasFolder)
                CDir::GetPathFilename(pattern.name);
        }
        pattern.folder = FolderOf(pattern.hasFolder ? folder : stEMPTY);
        if (pattern.name.empty())
            pattern.name = "*";
    }

    /// The absolute path of a pattern's directory part, which ends in "/" or is empty.
    stringEx FolderOf(const stringEx& part) const {
        if (part.empty())
            return m_base.GetPath();
        stringEx folder(part);
        m_base.ToAbsolutePath(folder);
        return folder;
    }

    void Search(PATTERN& pattern) {
        if (pattern.hasFolder)
            CDir().Open(pattern.folder);
        if (!IsLookedUp(pattern)) {
            m_groups[pattern.folder].Search(pattern.folder, m_query);
        } else if (CanBeName(pattern.name)) {
            CTreeSearch search(m_query, [&](const stringEx& folder, const stringEx& name) {
                pattern.found.push_back(folder + name);
            });
            search.LookUp(pattern.folder, pattern.name);
        }
    }

    const CDir& m_base;
    TREE_QUERY m_query;
    std::vector<PATTERN> m_patterns; ///< never grows past what was reserved: groups point into it
    std::map<stringEx, CPatternGroup> m_groups;
};

} // namespace

unsigned int CDir::GetAllFiles(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                               bool hidden, bool /*reserved*/) const {
    return GetAllFiles(out, std::vector<stringEx>{std::move(pattern)}, recursive, hidden);
}

unsigned int CDir::GetAllFiles(std::vector<stringEx>& out, const std::vector<stringEx>& patterns,
                               bool recursive, bool hidden,
                               std::vector<unsigned int>* counts) const {
    CPatternSearch(*this, {false, recursive, hidden, false}).Run(patterns, out, counts);
    return static_cast<unsigned int>(out.size());
}

unsigned int CDir::GetAllSubDirs(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                                 bool hidden, bool dots, bool /*reserved*/) const {
    CPatternSearch(*this, {true, recursive, hidden, dots}).Run({std::move(pattern)}, out, nullptr);
    return static_cast<unsigned int>(out.size());
}

} // namespace Quil

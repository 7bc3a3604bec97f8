// The walk through a directory tree, and CDir's searches on top of it.

#include "util/file/tree_search.h"

#include "util/file/dir.h"
#include "util/file/errtext.h"
#include "util/sys/errhdl.h"

#include <memory>

namespace Quil {

namespace IMPL {

namespace {

constexpr unsigned int SEARCH_FAILED = 19;

} // namespace

void CTreeSearch::Run(const stringEx& base) {
    try {
        if (!m_query.directories)
            CDir().Open(base);
        Walk(base);
    } catch (const qlExp& cause) {
        const stringEx text = WrapCause(cause.GetErrString());
        throw dirExp(SEARCH_FAILED, m_query.directories
                                        ? text
                                        : ComposeError("CDir::GetAllFiles - failed find files\n",
                                                       {{"  base dir = ", base}}, text));
    }
}

/// A search that goes through sub-directories has failed in all of them on the way, innermost
/// first.
stringEx CTreeSearch::WrapCause(const stringEx& cause) const {
    stringEx text(cause);
    if (m_query.directories || m_query.recursive)
        for (auto level = m_way.rbegin(); level != m_way.rend(); ++level)
            text = ComposeError("CDir::GetAllSubDirs - failed find subdirs\n",
                                {{"  base dir = ", level->path}}, text);
    return text;
}

void CTreeSearch::Walk(const stringEx& base) {
    Enter(base);
    while (!m_way.empty()) {
        LEVEL& level = m_way.back();
        if (level.next == level.subDirs.size()) {
            m_way.pop_back();
            continue;
        }
        const SUB_DIR subDir = std::move(level.subDirs[level.next]);
        ++level.next;
        Visit(subDir);
    }
}

/// A directory that can't be opened has no entries.
void CTreeSearch::Enter(const stringEx& path) {
    const std::unique_ptr<DIR, DirCloser> directory(::opendir(path.c_str()));
    if (!directory)
        return;
    LEVEL level;
    level.path = path;
    struct stat status = {};
    if (::fstat(::dirfd(directory.get()), &status) == -1)
        ThrowStatError(path, errno);
    level.id = {status.st_dev, status.st_ino};
    m_way.push_back(std::move(level));
    ReadLevel(directory.get(), m_way.back());
}

void CTreeSearch::ReadLevel(DIR* directory, LEVEL& level) {
    const bool wantsDirs = m_query.directories || m_query.recursive;
    DIR_ENTRY entry;
    while (ReadEntry(directory, level.path, entry)) {
        if (wantsDirs && IsWantedDir(entry, m_query.hidden, m_query.dots))
            level.subDirs.push_back({stringEx(entry.name), entry.id});
        else if (!m_query.directories && IsWantedFile(entry, m_query.hidden, false) &&
                 m_query.matches(stringEx(entry.name, stringEx::NOT_OWNER())))
            m_out.push_back(level.path + entry.name);
    }
}

void CTreeSearch::Visit(const SUB_DIR& subDir) {
    const stringEx path = m_way.back().path + subDir.name;
    if (m_query.directories && m_query.matches(subDir.name))
        m_out.push_back(path);
    if (!m_query.recursive || IsDotOrDotDot(subDir.name.c_str()))
        return;
    RefuseLoop(path, subDir.id);
    Enter(path + "/");
}

/// Following a symbolic link to a directory above would go on until the system refuses the path;
/// with two such links that takes more directories than anyone can wait for.
void CTreeSearch::RefuseLoop(const stringEx& path, const FILE_ID& id) const {
    for (const LEVEL& level : m_way)
        if (level.id == id)
            ThrowStatError(path, ELOOP);
}

} // namespace IMPL

namespace {

/// Sets the directory part of a search pattern apart. False when there is none, the pattern being a
/// plain one then; an empty name stands for all names.
bool SplitPattern(stringEx& pattern, stringEx& directory) {
    bool split = false;
    if (!pattern.empty()) {
        directory = pattern;
        CDir::GetPathDir(directory);
        split = directory != "./";
        if (split)
            CDir::GetPathFilename(pattern);
    }
    if (pattern.empty())
        pattern = "*";
    return split;
}

unsigned int Search(const CDir& base, std::vector<stringEx>& out, IMPL::TREE_QUERY query) {
    IMPL::CTreeSearch(std::move(query), out).Run(base.GetPath());
    return static_cast<unsigned int>(out.size());
}

/// The name that is left of a pattern is not taken apart a second time: it may itself be the name
/// of a directory.
unsigned int SearchByWildcards(const CDir& base, std::vector<stringEx>& out, stringEx pattern,
                               IMPL::TREE_QUERY query) {
    pattern.detach_if_static();
    stringEx directory;
    const bool split = SplitPattern(pattern, directory);
    query.matches = [&pattern](const stringEx& name) {
        return name.wildcard_match(pattern, 0, '?', '*', false);
    };
    if (!split)
        return Search(base, out, std::move(query));
    const CDir start = directory.begin_with("/") ? CDir(directory) : base.GainDir(directory);
    return Search(start, out, std::move(query));
}

CDir::REGEX CompileNamePattern(const stringEx& pattern, CDir::CASE_SET caseSet) {
    return stringEx::regex_comp(pattern, caseSet == CDir::CASE_INSENSITIVE, false, true, true);
}

auto MatchedBy(const CDir::REGEX& pattern) {
    return [&pattern](const stringEx& name) {
        return name.regex_match_with_comp(pattern, false, false);
    };
}

} // namespace

unsigned int CDir::GetAllFiles(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                               bool hidden, bool /*reserved*/) const {
    return SearchByWildcards(*this, out, std::move(pattern),
                             {false, recursive, hidden, false, nullptr});
}

unsigned int CDir::GetAllSubDirs(std::vector<stringEx>& out, stringEx pattern, bool recursive,
                                 bool hidden, bool dots, bool /*reserved*/) const {
    return SearchByWildcards(*this, out, std::move(pattern),
                             {true, recursive, hidden, dots, nullptr});
}

unsigned int CDir::GetAllFilesRegEx(std::vector<stringEx>& out, const stringEx& pattern,
                                    CASE_SET caseSet, bool recursive, bool hidden,
                                    bool reserved) const {
    return GetAllFilesRegEx(out, CompileNamePattern(pattern, caseSet), recursive, hidden, reserved);
}

unsigned int CDir::GetAllFilesRegEx(std::vector<stringEx>& out, const REGEX& pattern,
                                    bool recursive, bool hidden, bool /*reserved*/) const {
    return Search(*this, out, {false, recursive, hidden, false, MatchedBy(pattern)});
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
    return Search(*this, out, {true, recursive, hidden, dots, MatchedBy(pattern)});
}

} // namespace Quil

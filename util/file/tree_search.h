// The walk through a directory tree behind CDir's searches.
//
// Each directory is read once and each entry in it asked for its kind once, whether files or
// directories are looked for. The directory is closed before the walk goes deeper, so the depth is
// not bounded by descriptors or by the stack; a directory that comes up below itself ends the walk.

#pragma once

#include "util/file/posixdir.h"
#include "util/text/stringEx.h"

#include <functional>
#include <vector>

namespace Quil::IMPL {

/// What a search looks for.
struct TREE_QUERY {
    bool directories;                                  ///< instead of files
    bool recursive;                                    ///< into sub-directories
    bool hidden;                                       ///< also names that begin with "."
    bool dots;                                         ///< also "." and "..", as directories
    std::function<bool(const stringEx& name)> matches; ///< is given the last component
};

/// One walk. Results are appended to `out`, each directory's ahead of those below it.
class CTreeSearch {
public:
    CTreeSearch(TREE_QUERY query, std::vector<stringEx>& out)
        : m_query(std::move(query)), m_out(out) {}

    /// Walks the directory at `base`, which ends in "/". Failures throw `dirExp` with code 19, the
    /// cause below a head for each directory on the way to it.
    void Run(const stringEx& base);

private:
    struct SUB_DIR {
        stringEx name;
        FILE_ID id;
    };
    /// A directory on the way down, and which of its sub-directories come next.
    struct LEVEL {
        stringEx path;
        FILE_ID id;
        std::vector<SUB_DIR> subDirs;
        std::size_t next = 0;
    };

    void Walk(const stringEx& base);
    void Enter(const stringEx& path);
    void ReadLevel(DIR* directory, LEVEL& level);
    void Visit(const SUB_DIR& subDir);
    void RefuseLoop(const stringEx& path, const FILE_ID& id) const;
    stringEx WrapCause(const stringEx& cause) const;

    TREE_QUERY m_query;
    std::vector<stringEx>& m_out;
    std::vector<LEVEL> m_way;
};

} // namespace Quil::IMPL

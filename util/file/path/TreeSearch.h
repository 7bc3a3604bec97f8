// The walk through a directory tree behind CDir's searches.
//
// Each directory is read once and tells its entries' kinds, or they are asked once, whether files
// or directories are looked for. The directory is closed before the walk goes deeper, so the depth
// is not bounded by descriptors or by the stack; a directory that comes up below itself ends the
// walk.

#pragma once

#include "util/file/SearchWatch.h"
#include "util/file/path/posix_dir.h"
#include "util/text/stringEx.h"

#include <functional>
#include <vector>

namespace Quil::IMPL {

/// What a search looks for.
struct TREE_QUERY {
    bool directories; ///< instead of files
    bool recursive;   ///< into sub-directories
    bool hidden;      ///< also names that begin with "."
    bool dots;        ///< also "." and "..", as directories
};

/// One search. What it comes by is offered, each directory's entries ahead of those below it.
class CTreeSearch {
public:
    /// Is given the directory, which ends in "/", the name in it, and whether that is a FIFO's. All
    /// are good for the call.
    using OFFER = std::function<void(const stringEx& folder, const stringEx& name, bool isFifo)>;

    CTreeSearch(const TREE_QUERY& query, OFFER offer, CSearchWatch& watch)
        : __query(query), __offer(std::move(offer)), __watch(watch) {}

    /// Walks the directory at `base`, which ends in "/". Failures throw `dirExp` with code 19, the
    /// cause below a head for each directory on the way to it.
    void Run(const stringEx& base);

    /// Asks for one name in the directory at `base` without listing it, to the effect of a listing
    /// that is not recursive. No other entry is looked at, so none can end the search.
    void LookUp(const stringEx& base, const stringEx& name);

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

    template <class Search>
    void __Guard(const stringEx& base, Search search);
    /// Does a step that may fail at `path`; false if it did and the search goes on all the same.
    template <class Step>
    bool __Try(const stringEx& path, Step step);
    void __Walk(const stringEx& base);
    void __Ask(const stringEx& base, const stringEx& name);
    void __Enter(const stringEx& path);
    void __ReadLevel(DIR* directory, LEVEL& level);
    bool __ReadEntry(DIR* directory, const stringEx& path, DIR_ENTRY& entry);
    void __Visit(const SUB_DIR& subDir);
    void __RefuseLoop(const stringEx& path, const FILE_ID& id) const;
    stringEx __WrapCause(const stringEx& cause) const;

    TREE_QUERY __query;
    OFFER __offer;
    CSearchWatch& __watch;
    stringEx __base;
    std::vector<LEVEL> __way;
};

} // namespace Quil::IMPL

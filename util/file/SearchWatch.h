// What a search for files asks on its way, and tells: which folders it goes into, which files it
// takes, and whether it goes on where something can't be looked at.
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"

namespace QUIL_PUBLIC Quil {

/// Has its say in a search by CDir. This one takes everything, passes over nothing and forgets what
/// it is told. Folders end in "/"; the search began in the folder `base`.
class CSearchWatch {
public:
    CSearchWatch() = default;
    CSearchWatch(const CSearchWatch&) = delete;
    CSearchWatch& operator=(const CSearchWatch&) = delete;
    virtual ~CSearchWatch() = default;

    /// Whether the search goes into the folder `name` that lies in `folder`.
    virtual bool Enters(const stringEx& /*base*/, const stringEx& /*folder*/,
                        const stringEx& /*name*/) {
        return true;
    }
    /// Whether the file is taken, if a pattern matches it.
    virtual bool Takes(const stringEx& /*base*/, const stringEx& /*folder*/,
                       const stringEx& /*name*/) {
        return true;
    }
    /// Something in or at `path` can't be looked at. Whether the search goes on without it; a
    /// folder that can't be listed counts as empty all the same.
    virtual bool PassesOver(const stringEx& /*path*/, const stringEx& /*cause*/) { return false; }
    /// A file that was found is a FIFO: to open one disturbs its other end.
    virtual void NoteFifo(const stringEx& /*path*/) {}
};

} // namespace Quil

// A block of memory that processes share by name.
//
// A name outlives a creator that is killed. So each block says behind its bytes who made it, and
// the next creator takes the name over when that process is gone.
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"

#include <sys/types.h>

namespace QUIL_PUBLIC Quil {

/// A mapped shared-memory block. Owns the mapping; the creator also takes the name away at the end
/// (the process that made it: a copy of the object in a forked child leaves the name alone). The
/// object belongs to one thread at a time; what is in the block is everybody's.
class CShMem {
public:
    /// With `create` the block is made, of zeros, and the name must be free, or its creator must be
    /// dead: then the name goes to the new block, and whoever still has the old one open keeps that
    /// among themselves. A creator counts as alive also when it can't be judged, being in another
    /// process-id namespace. One that died before it could sign is
    /// waited for, a second at most.
    ///
    /// Without, the block must exist, and is waited for until its creator has given it its size (a
    /// second at most), which may be larger than `size`. `size` is in bytes, above 0.
    ///
    /// Throws `shmemExp`.
    CShMem(bool create, const stringEx& name, unsigned int size);
    CShMem(const CShMem&) = delete;
    CShMem& operator=(const CShMem&) = delete;
    /// Throws `shmemExp`, unless an exception is in flight.
    ~CShMem() noexcept(false);

    /// Gives up mapping and name before the end. Throws `shmemExp`. Does nothing the second time.
    void Close();

    void* GetAddr() const { return __address; }
    unsigned int GetSize() const { return __size; }
    /// False in a forked child of the creator.
    bool IsCreator() const;
    /// True if the name was a dead creator's.
    bool IsTakenOver() const { return __isTakenOver; }
    const stringEx& GetName() const { return __name; }

private:
    int __Create();
    int __Open() const;

    void* __address = nullptr;
    unsigned int __size;
    stringEx __name;
    pid_t __creator; ///< 0 for who only opens
    bool __isTakenOver = false;
};

} // namespace Quil

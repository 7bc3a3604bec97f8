// A block of memory that processes share by name.
#pragma once

#include "util/text/stringEx.h"

namespace Quil {

/// A mapped shared-memory block. Owns the mapping; the creator also takes the name away at the end.
/// The object belongs to one thread at a time; what is in the block is everybody's.
class CShMem {
public:
    /// With `create` the name must be free and the block is made, of zeros; else it must exist, and
    /// is waited for until its creator has given it its size (a second at most). `size` is in
    /// bytes, above 0. Throws `shmemExp`.
    CShMem(bool create, const stringEx& name, unsigned int size);
    CShMem(const CShMem&) = delete;
    CShMem& operator=(const CShMem&) = delete;
    /// Throws `shmemExp`, unless an exception is in flight.
    ~CShMem() noexcept(false);

    /// Gives up mapping and name before the end. Throws `shmemExp`. Does nothing the second time.
    void Close();

    void* GetAddr() const { return __address; }
    unsigned int GetSize() const { return __size; }
    bool IsCreator() const { return __isCreator; }
    const stringEx& GetName() const { return __name; }

private:
    void __Map(int descriptor);

    void* __address = nullptr;
    unsigned int __size;
    stringEx __name;
    bool __isCreator;
};

} // namespace Quil

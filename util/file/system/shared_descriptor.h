// A file descriptor that several objects share and the last of them closes.

#pragma once

#include "util/base/CancelHold.h"
#include "util/base/handle.h"

#include <new>

namespace Quil::IMPL {

/// The cell that the sharers have in common. A descriptor of -1 is closed by nobody.
struct SHARED_DESCRIPTOR {
    int descriptor;
};

/// Closes by `Owner::__Close`, which may throw an exception of the owner's area. A cancelled thread
/// ends after that: whether an interrupted close has happened, nobody could tell.
template <class Owner>
struct DescriptorDeletor {
    void operator()(SHARED_DESCRIPTOR* shared) const noexcept(false) {
        const CCancelHold hold;
        const int descriptor = shared->descriptor;
        delete shared;
        if (descriptor != -1) {
            Owner::__Close(descriptor);
        }
    }
};

/// Sharers hold one of these beside the bare number.
template <class Owner>
using DescriptorHandle = CHandle<SHARED_DESCRIPTOR, DescriptorDeletor<Owner>, CAtomicINT32, 0>;

/// Takes ownership of an open descriptor; on failure it is closed.
template <class Owner>
DescriptorHandle<Owner> ShareDescriptor(int descriptor) {
    SHARED_DESCRIPTOR* const shared = new (std::nothrow) SHARED_DESCRIPTOR{descriptor};
    if (shared == nullptr) {
        Owner::__Close(descriptor);
        throw std::bad_alloc();
    }
    return DescriptorHandle<Owner>(shared);
}

} // namespace Quil::IMPL

// One object in a shared-memory block, for the locks between processes.
//
// The creator sets the object up after others can already see the block, so a word beside it says
// when it is ready.
#pragma once

#include "util/base/preallocate.h"
#include "util/base/timeout.h"
#include "util/sys/lock/ShMem.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace Quil::IMPL {

/// A `T` in shared memory. `T` has a constructor `(FLAG_PREALLOCATE, bool initialize)` and is never
/// destroyed there.
template <class T>
class CSharedObject {
    struct LAYOUT {
        std::atomic<std::uint32_t> isReady;
        alignas(T) unsigned char room[sizeof(T)];
    };
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

public:
    /// With `create` the name is taken over from a dead creator as `CShMem` says. Throws
    /// `shmemExp`.
    CSharedObject(bool create, const stringEx& name) : __memory(create, name, sizeof(LAYOUT)) {
        if (create) {
            new (__Layout().room) T(FLAG_PREALLOCATE(), true);
            __Layout().isReady.store(1, std::memory_order_release);
        }
    }

    /// Waits a second at most. False: the creator died or hangs in between.
    bool WaitUntilReady() const {
        constexpr unsigned int TRIES = 100;
        constexpr unsigned long PAUSE = 10;
        for (unsigned int i = 0; i != TRIES; ++i) {
            if (__Layout().isReady.load(std::memory_order_acquire) != 0) {
                return true;
            }
            SleepFor(PAUSE);
        }
        return false;
    }

    T& Get() const { return *std::launder(static_cast<T*>(static_cast<void*>(__Layout().room))); }
    const stringEx& GetName() const { return __memory.GetName(); }
    void Close() { __memory.Close(); }

private:
    LAYOUT& __Layout() const { return *static_cast<LAYOUT*>(__memory.GetAddr()); }

    CShMem __memory;
};

} // namespace Quil::IMPL

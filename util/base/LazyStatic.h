// A process-wide value that is built on first use and then stays as it is.
#pragma once

#include <atomic>

namespace Quil::IMPL {

/// Holds the library's one recursive lock for such values, GetStaticLocalVarInitLock(). What a lock
/// is, is known only far above this; the two are defined beside it.
class CStaticsLock {
public:
    CStaticsLock();
    CStaticsLock(const CStaticsLock&) = delete;
    CStaticsLock& operator=(const CStaticsLock&) = delete;
    ~CStaticsLock();
};

/// The holder of a lazily built value: an unlocked look first, the library's recursive lock for
/// such statics only when there is nothing yet. The lock is recursive, so one value may be built
/// from another. The value is never destroyed, so destructors of other statics may still use it.
/// Constant-initialised; any thread may call Get.
template <class T>
class CLazyStatic {
public:
    constexpr CLazyStatic() = default;

    /// The value; `make`, which answers a `T*` from new, is called if there is none yet. When it
    /// throws, the next call tries again.
    template <class Make>
    T& Get(Make make) {
        T* value = __value.load(std::memory_order_acquire);
        if (value == nullptr) {
            const CStaticsLock lock;
            value = __value.load(std::memory_order_relaxed);
            if (value == nullptr) {
                value = make();
                __value.store(value, std::memory_order_release);
            }
        }
        return *value;
    }

private:
    std::atomic<T*> __value = nullptr;
};

} // namespace Quil::IMPL

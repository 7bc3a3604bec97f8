// The library's one shared-ownership pointer and its counter.
//
// A handle is two words: the object and a heap cell that counts the handles on it. The cell is
// apart from the object, so anything can be shared: a C block, an object with a virtual destructor,
// an enumeration's cookie. What "release" means is the deleter's business alone.
//
// A handle's destructor may throw where its deleter may. The standard library doesn't take such a
// type everywhere, so what a `std::thread` runs captures the handle's quiet form:
//
//     std::thread([converter = CQuietHandle(converter)] { converter->MBtoWC(...); });
#pragma once

#include "util/base/CancelHold.h"
#include "util/base/visibility.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <type_traits>
#include <utility>

namespace QUIL_PUBLIC Quil {

/// A 32-bit counter that threads may change at once. Both changes answer the value before them.
class CAtomicINT32 {
public:
    constexpr explicit CAtomicINT32(std::int32_t value = 0) noexcept : __value(value) {}

    /// Adds one.
    std::int32_t Increment() noexcept { return __value.fetch_add(1, std::memory_order_acq_rel); }
    /// Takes one off. Who sees 1 here sees also all that the other holders did before they let go.
    std::int32_t Decrement() noexcept { return __value.fetch_sub(1, std::memory_order_acq_rel); }
    /// The present value. An acquire load: a holder that reads 1 may change the object in place.
    std::int32_t Load() const noexcept { return __value.load(std::memory_order_acquire); }

private:
    std::atomic<std::int32_t> __value;
};

/// Releases by `delete`. The object's destructor may throw; its memory is freed all the same, since
/// a delete expression frees it whichever way the destructor ends. Says that it may throw whatever
/// `T` says: a list's node, with a handle on the next one, can't be asked before it is complete.
template <class T>
struct GuardedDeletor {
    void operator()(T* object) const noexcept(false) { delete object; }
};

/// Releases by `free`, for blocks that come from `malloc`.
template <class T>
struct FreeDeletor {
    void operator()(T* block) const noexcept { std::free(block); }
};

/// A shared-ownership pointer to a `T` (which may be `void`), released by a default-constructed
/// `Deletor` when its last handle goes.
///
/// - No object: no counter either; this is the empty handle.
/// - Object and counter: the counter holds the number of handles on the object.
/// - Object without counter: the handle looks at something that it does not own.
///
/// Threads may copy and drop their own handles of one object at once; a single handle belongs to
/// one thread at a time. Copies and moves never throw. `N` has no effect.
template <class T, class Deletor, class Counter = CAtomicINT32, int N = 0>
class CHandle {
    static constexpr bool sm_releaseIsNothrow =
        noexcept(std::declval<const Deletor&>()(std::declval<T*>()));

public:
    /// The empty handle.
    constexpr CHandle() noexcept = default;
    constexpr CHandle(std::nullptr_t) noexcept {}

    /// Takes ownership of `object` with a count of 1; null gives the empty handle. When there is no
    /// memory for the counter the object is released and std::bad_alloc goes on.
    explicit CHandle(T* object) : __object(object) {
        if (object == nullptr) {
            return;
        }
        try {
            __counter = new Counter(1);
        } catch (...) {
            Deletor{}(object);
            throw;
        }
    }

    CHandle(const CHandle& other) noexcept : __object(other.__object), __counter(other.__counter) {
        if (__counter != nullptr) {
            __counter->Increment();
        }
    }

    CHandle(CHandle&& other) noexcept
        : __object(std::exchange(other.__object, nullptr)),
          __counter(std::exchange(other.__counter, nullptr)) {}

    /// A handle on `object` that shares the ownership which `owner` takes part in: the block of
    /// `owner` seen as another type. Without a counter there, it doesn't own either.
    template <class U, class OtherDeletor>
    CHandle(const CHandle<U, OtherDeletor, Counter, N>& owner, T* object) noexcept
        : __object(object), __counter(owner.__counter) {
        if (__counter != nullptr) {
            __counter->Increment();
        }
    }

    /// A handle that looks at `object` and never releases it.
    static CHandle Borrow(T* object) noexcept {
        CHandle handle;
        handle.__object = object;
        return handle;
    }

    /// Drops this handle's share. An exception of the deleter goes on, unless another exception is
    /// in flight already: then it is lost, since letting it out would end the program.
    ~CHandle() noexcept(sm_releaseIsNothrow) {
        if constexpr (sm_releaseIsNothrow) {
            __Release();
        } else {
            try {
                __Release();
            } catch (...) {
                IMPL::PassThreadEnd();
                if (std::uncaught_exceptions() == 0) {
                    throw;
                }
            }
        }
    }

    /// Shares the other's object. Handles of one and the same object stay as they are. The source
    /// is counted before the old object goes, so that `h = h->next` may destroy what `h->next` lies
    /// in. An exception of the deleter goes to the caller, and this handle is then empty.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): it is one of the same object
    CHandle& operator=(const CHandle& other) noexcept(sm_releaseIsNothrow) {
        if (__object != other.__object) {
            __Install(CHandle(other));
        }
        return *this;
    }

    // NOLINTNEXTLINE(performance-noexcept-move-constructor): the deleter decides
    CHandle& operator=(CHandle&& other) noexcept(sm_releaseIsNothrow) {
        if (__object != other.__object) {
            __Install(CHandle(std::move(other)));
        }
        return *this;
    }

    // The analyzer takes the release of one holder for the object's end.
    // NOLINTBEGIN(clang-analyzer-cplusplus.NewDelete)
    T* get() const noexcept { return __object; }
    T* operator->() const noexcept { return __object; }
    // NOLINTEND(clang-analyzer-cplusplus.NewDelete)
    std::add_lvalue_reference_t<T> operator*() const noexcept requires(!std::is_void_v<T>) {
        return *__object;
    }
    bool operator!() const noexcept { return __object == nullptr; }
    explicit operator bool() const noexcept { return __object != nullptr; }

    friend bool operator==(const CHandle& handle, std::nullptr_t) noexcept {
        return handle.__object == nullptr;
    }
    /// Handles are equal when they are on the same object.
    friend bool operator==(const CHandle& one, const CHandle& other) noexcept {
        return one.__object == other.__object;
    }

    /// True if this handle takes part in the ownership of its object.
    bool IsOwner() const noexcept { return __counter != nullptr; }
    /// True if other handles own the object as well.
    bool IsShared() const noexcept { return __counter != nullptr && __counter->Load() != 1; }

    /// Exchanges the objects together with their counters.
    void swap(CHandle& other) noexcept {
        std::swap(__object, other.__object);
        std::swap(__counter, other.__counter);
    }

    /// Tells the sole owner that its object has moved (after a `realloc`).
    void SetMoved(T* object) noexcept { __object = object; }

    /// Gives up this handle's share and keeps looking at the object. The last owner leaves the
    /// object alive: it is then whoever else knows it that must release it.
    void Disown() noexcept {
        Counter* const counter = std::exchange(__counter, nullptr);
        if (counter != nullptr && counter->Decrement() == 1) {
            delete counter;
        }
    }

private:
    template <class, class, class, int>
    friend class CHandle;

    /// Drops the share. The last one frees the counter and empties this handle before the deleter
    /// runs. A sole owner needs no atomic change: nobody else can copy from it meanwhile.
    void __Release() noexcept(sm_releaseIsNothrow) {
        if (__counter == nullptr || (__counter->Load() != 1 && __counter->Decrement() != 1)) {
            return;
        }
        delete std::exchange(__counter, nullptr);
        Deletor{}(std::exchange(__object, nullptr));
    }

    /// `next` holds its count already; when the release throws, its destructor gives that back.
    void __Install(CHandle&& next) noexcept(sm_releaseIsNothrow) {
        CHandle old(std::move(*this));
        old.__Release();
        old.__object = nullptr;
        old.__counter = nullptr;
        swap(next);
    }

    T* __object = nullptr;
    Counter* __counter = nullptr;
};

/// A handle for places that demand a destructor which doesn't throw. What the release throws at the
/// end is lost; who wants to see it assigns null before.
template <class Handle>
class CQuietHandle : public Handle {
public:
    explicit CQuietHandle(Handle handle) noexcept : Handle(std::move(handle)) {}
    CQuietHandle(const CQuietHandle&) noexcept = default;
    CQuietHandle(CQuietHandle&&) noexcept = default;
    CQuietHandle& operator=(const CQuietHandle&) = default;
    // The release of what it held may throw.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    CQuietHandle& operator=(CQuietHandle&&) = default;
    using Handle::operator=;

    ~CQuietHandle() noexcept {
        const IMPL::CCancelHold hold; // a cancelled thread's unwinding could not pass
        try {
            Handle::operator=(Handle());
        } catch (...) { // NOLINT(bugprone-empty-catch): that is the point
        }
    }
};

} // namespace Quil

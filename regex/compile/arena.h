// Memory of the engine: storage is taken piece by piece and given back all at once.
//
// A compile makes hundreds of small records that point at each other and end together; an arena
// owns them all, so no path of a failed compile has anything to free one by one. Failure is told by
// null, since the engine reports by codes and must not run the process's new-handler.
#pragma once

#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace Quil::IMPL::engine {

/// Owns blocks of raw memory and deals them out in pieces. What lies in it is never destroyed, only
/// released, hence trivially destructible types only. One thread at a time.
class arena {
public:
    arena() = default;
    arena(const arena&) = delete;
    arena& operator=(const arena&) = delete;
    arena(arena&& other) noexcept
        : __blocks(std::exchange(other.__blocks, nullptr)),
          __at(std::exchange(other.__at, nullptr)), __end(std::exchange(other.__end, nullptr)),
          __nextblock(std::exchange(other.__nextblock, FIRSTBLOCK)) {}
    arena& operator=(arena&& other) noexcept {
        std::swap(__blocks, other.__blocks);
        std::swap(__at, other.__at);
        std::swap(__end, other.__end);
        std::swap(__nextblock, other.__nextblock);
        return *this;
    }
    ~arena();

    /// `bytes` of storage, aligned for any type, not initialised; null if there is no memory.
    void* alloc(std::size_t bytes);

    /// Gives up what lies in it and keeps its largest block for what comes next: memory that was
    /// used a moment ago costs less than fresh memory.
    void rewind();

    // NOLINTBEGIN(bugprone-sizeof-expression): T may well be a pointer

    /// Storage for `n` elements of T, all bytes zero; null if there is no memory.
    template <class T>
    T* array(std::size_t n) {
        static_assert(std::is_trivially_destructible_v<T> && std::is_trivially_copyable_v<T>);
        if (n > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T)) {
            return nullptr;
        }
        void* p = alloc(n * sizeof(T));
        if (p != nullptr) {
            std::memset(p, 0, n * sizeof(T));
        }
        return static_cast<T*>(p);
    }

    /// A larger copy of an array that lies in this arena, the new tail zero; null if there is no
    /// memory. The old storage stays taken: growing by doubling costs as much again.
    template <class T>
    T* regrow(const T* old, std::size_t n, std::size_t grown) {
        T* p = array<T>(grown);
        if (p != nullptr && n > 0) {
            std::memcpy(p, old, n * sizeof(T));
        }
        return p;
    }

    // NOLINTEND(bugprone-sizeof-expression)

private:
    static constexpr std::size_t FIRSTBLOCK = std::size_t{16} * 1024;
    struct block {
        block* next;
        std::size_t size; ///< bytes, this head included
    };
    block* __blocks = nullptr;
    char* __at = nullptr;                 ///< free storage of the newest block
    char* __end = nullptr;                ///< its end
    std::size_t __nextblock = FIRSTBLOCK; ///< bytes of the block that comes next
};

} // namespace Quil::IMPL::engine

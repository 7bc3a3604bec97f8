// Blocks of raw memory, the newest first, and a mark in it of how far it is dealt out.
//
// Most expressions end within the first block. One that doesn't may take a hundred megabytes, and
// then the system's work for each fresh page is what its compile costs: blocks double, and from the
// size of a huge page on they are made of huge pages.
#include "regex/compile/arena.h"

#include <algorithm>
#include <cstdlib>
#include <sys/mman.h>

namespace Quil::IMPL::engine {

namespace {

constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
/// The size at which blocks stop doubling; a larger piece gets its own.
constexpr std::size_t LASTBLOCK = std::size_t{8} * 1024 * 1024;
constexpr std::size_t HUGEPAGE = std::size_t{2} * 1024 * 1024;

constexpr std::size_t roundup(std::size_t n) {
    return (n + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

/// Where a block's storage begins.
constexpr std::size_t HEAD = roundup(sizeof(void*) + sizeof(std::size_t));

/// Memory of `bytes`; of huge pages, where the system has them, if that fills one.
void* freshblock(std::size_t bytes) {
    if (bytes < HUGEPAGE) {
        return std::malloc(bytes);
    }
    void* block = std::aligned_alloc(HUGEPAGE, (bytes + HUGEPAGE - 1) / HUGEPAGE * HUGEPAGE);
    if (block != nullptr) {
        madvise(block, bytes, MADV_HUGEPAGE); // a hint: without them the block is as good
    }
    return block;
}

} // namespace

arena::~arena() {
    while (__blocks != nullptr) {
        block* dead = __blocks;
        __blocks = dead->next;
        std::free(dead);
    }
}

void arena::rewind() {
    block* largest = __blocks;
    for (block* b = __blocks; b != nullptr; b = b->next) {
        if (b->size > largest->size) {
            largest = b;
        }
    }
    while (__blocks != nullptr) {
        block* dead = __blocks;
        __blocks = dead->next;
        if (dead != largest) {
            std::free(dead);
        }
    }
    if (largest == nullptr) {
        return;
    }
    largest->next = nullptr;
    __blocks = largest;
    __at = reinterpret_cast<char*>(largest) + HEAD;
    __end = reinterpret_cast<char*>(largest) + largest->size;
}

void* arena::alloc(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() / 2) {
        return nullptr;
    }
    bytes = roundup(std::max(bytes, std::size_t{1}));
    if (bytes > static_cast<std::size_t>(__end - __at)) {
        const std::size_t size = std::max(bytes, __nextblock - HEAD);
        block* fresh = static_cast<block*>(freshblock(HEAD + size));
        if (fresh == nullptr) {
            return nullptr;
        }
        __nextblock = std::min(__nextblock * 2, LASTBLOCK);
        static_assert(sizeof(block) <= HEAD);
        fresh->next = __blocks;
        fresh->size = HEAD + size;
        __blocks = fresh;
        char* storage = reinterpret_cast<char*>(fresh) + HEAD;
        const std::size_t left = size - bytes;
        // A block made for one large piece must not displace one with more room left.
        if (left < static_cast<std::size_t>(__end - __at)) {
            return storage;
        }
        __at = storage + bytes;
        __end = storage + size;
        return storage;
    }
    void* piece = __at;
    __at += bytes;
    return piece;
}

} // namespace Quil::IMPL::engine

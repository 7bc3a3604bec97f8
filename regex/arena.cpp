// Blocks of raw memory, the newest first, and a mark in it of how far it is dealt out.
#include "regex/arena.h"

#include <algorithm>
#include <cstdlib>

namespace Quil::IMPL::engine {

namespace {

constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
/// Storage of a block; a larger piece gets its own.
constexpr std::size_t BLOCKSIZE = std::size_t{16} * 1024;

constexpr std::size_t roundup(std::size_t n) {
    return (n + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

} // namespace

arena::~arena() {
    while (__blocks != nullptr) {
        block* dead = __blocks;
        __blocks = dead->next;
        std::free(dead);
    }
}

void* arena::alloc(std::size_t bytes) {
    constexpr std::size_t HEAD = roundup(sizeof(block));
    if (bytes > std::numeric_limits<std::size_t>::max() / 2)
        return nullptr;
    bytes = roundup(std::max(bytes, std::size_t{1}));
    if (bytes > static_cast<std::size_t>(__end - __at)) {
        const std::size_t size = std::max(bytes, BLOCKSIZE - HEAD);
        block* fresh = static_cast<block*>(std::malloc(HEAD + size));
        if (fresh == nullptr)
            return nullptr;
        fresh->next = __blocks;
        __blocks = fresh;
        char* storage = reinterpret_cast<char*>(fresh) + HEAD;
        const std::size_t left = size - bytes;
        // A block made for one large piece must not displace one with more room left.
        if (left < static_cast<std::size_t>(__end - __at))
            return storage;
        __at = storage + bytes;
        __end = storage + size;
        return storage;
    }
    void* piece = __at;
    __at += bytes;
    return piece;
}

} // namespace Quil::IMPL::engine

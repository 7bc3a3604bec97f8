// Making and releasing of the compiled form, for both engines.
#pragma once

#include "regex/regguts.h"

#include <new>
#include <utility>

namespace Quil::IMPL::engine {

template <class chr>
guts<chr>* newguts() {
    arena mem;
    void* place = mem.alloc(sizeof(guts<chr>));
    if (place == nullptr)
        return nullptr;
    auto* g = new (place) guts<chr>{};
    g->mem = std::move(mem);
    return g;
}

template <class chr>
void rfree(regex_t* re) {
    if (re == nullptr || re->re_magic != REMAGIC)
        return;
    auto* g = static_cast<guts<chr>*>(re->re_guts);
    re->re_magic = 0;
    re->re_guts = nullptr;
    re->re_fns = nullptr;
    if (g == nullptr)
        return;
    g->magic = 0;
    const arena last = std::move(g->mem); // holds the record too
    g->~guts();
}

/// Releases a handle through its own engine.
inline void freehandle(regex_t* re) {
    if (re != nullptr)
        re->re_fns->rfree(re);
}

} // namespace Quil::IMPL::engine

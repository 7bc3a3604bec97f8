// Which states of an automaton lie on loops: Tarjan's search for strongly connected components,
// along those kinds of arc that the caller is after. It keeps its place in records of its own, so
// the length of a loop costs no stack.
#pragma once

#include "regex/compile/nfa.h"
#include "regex/compile/regguts.h"

#include <algorithm>
#include <cstddef>

namespace Quil::IMPL::engine {

/// A search in one automaton, whose states are numbered below `n->nstates`. Memory comes from an
/// arena of the caller; without any, REG_ESPACE is recorded.
template <class Follow, class Found>
class componentsearch {
public:
    /// @param follow tells of an arc whether it counts
    /// @param found is called with each component of two states or more, as an array and a size,
    ///     as soon as it is known. It may change the out-arcs of the members and make states; these
    ///     are not searched.
    componentsearch(nfa* n, arena* mem, Follow follow, Found found)
        : __n(n), __mem(mem), __follow(follow), __found(found) {}

    void run() {
        __visits = array<visit>(static_cast<std::size_t>(__n->nstates));
        if (__visits == nullptr) {
            return;
        }
        const state* last = __n->slast;
        for (state* s = __n->states; s != nullptr && !iserr(__n->v); s = s->next) {
            if (of(s).index == 0) {
                search(s);
            }
            if (s == last) {
                break; // what follows was made meanwhile
            }
        }
    }

private:
    /// What is known of a state.
    struct visit {
        int index;     ///< order of discovery, 0 not met yet
        int low;       ///< lowest index known to be reachable
        bool open;     ///< on the stack of states without a component yet
        state* below;  ///< next on that stack
        state* caller; ///< state from which it was entered
        arc* at;       ///< out-arc to look at next
    };

    visit& of(const state* s) { return __visits[s->no]; }

    template <class T>
    T* array(std::size_t size) {
        T* const p = __mem->array<T>(size);
        if (p == nullptr) {
            seterr(__n->v, REG_ESPACE);
        }
        return p;
    }

    void enter(state* s, state* caller) {
        visit& vis = of(s);
        vis.index = vis.low = ++__count;
        vis.open = true;
        vis.below = __stack;
        vis.caller = caller;
        vis.at = s->outs;
        __stack = s;
    }

    void search(state* root) {
        enter(root, nullptr);
        for (state* s = root; s != nullptr && !iserr(__n->v);) {
            visit& vis = of(s);
            const arc* a = vis.at;
            if (a == nullptr) {
                if (vis.low == vis.index) {
                    close(s);
                }
                if (vis.caller != nullptr) {
                    of(vis.caller).low = std::min(of(vis.caller).low, vis.low);
                }
                s = vis.caller;
                continue;
            }
            vis.at = a->outchain;
            if (!__follow(a)) {
                continue;
            }
            const visit& target = of(a->to);
            if (target.index == 0) {
                enter(a->to, s);
                s = a->to;
            } else if (target.open) {
                vis.low = std::min(vis.low, target.index);
            }
        }
    }

    /// The states above `s` on the stack, and s, are a component.
    void close(state* s) {
        std::size_t size = 1;
        for (const state* t = __stack; t != s; t = of(t).below) {
            size++;
        }
        state** members = size > 1 ? array<state*>(size) : nullptr;
        for (std::size_t i = 0; i < size; i++) {
            if (members != nullptr) {
                members[i] = __stack;
            }
            of(__stack).open = false;
            __stack = of(__stack).below;
        }
        // New states get no visit: they are reached only from states whose visit is over.
        if (members != nullptr) {
            __found(members, static_cast<int>(size));
        }
    }

    nfa* __n;
    arena* __mem;
    Follow __follow;
    Found __found;
    visit* __visits = nullptr;
    state* __stack = nullptr;
    int __count = 0;
};

} // namespace Quil::IMPL::engine

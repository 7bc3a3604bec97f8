// Optimiser: removes empty arcs, then moves every constraint towards the end of the automaton where
// it can be decided: `^` and BEHIND back to `pre`, `$` and AHEAD forward to `post`.
//
// A constraint that meets an ordinary arc on its way is decided there and then: the arc takes a
// character, so a `^` before it can't hold, and a BEHIND holds if the color is its own. Where two
// constraints of different direction meet they change places.
#include "regex/compile/components.h"

namespace Quil::IMPL::engine {

namespace {

/// Marks with `mark` what can be reached from `from` along the arcs of a side through states whose
/// mark is `through`.
template <const side& Side>
void markfrom(state* from, state* through, state* mark) {
    if (from->tmp != through) {
        return;
    }
    from->tmp = mark;
    from->work = nullptr;
    state* todo = from;
    while (todo != nullptr) {
        const state* s = todo;
        todo = s->work;
        for (const arc* a = s->*Side.arcs; a != nullptr; a = a->*Side.next) {
            state* next = a->*Side.far;
            if (next->tmp != through) {
                continue;
            }
            next->tmp = mark;
            next->work = todo;
            todo = next;
        }
    }
}

/// Drops the states that can't be reached or lead nowhere, and numbers the others.
void cleanup(nfa* n) {
    if (iserr(n->v)) {
        return;
    }
    markfrom<OUTS>(n->pre, nullptr, n->pre);
    markfrom<INS>(n->post, n->pre, n->post);
    for (state *s = n->states, *next = nullptr; s != nullptr; s = next) {
        next = s->next;
        if (s->tmp != n->post && s->flag == 0) {
            dropstate(n, s);
        }
    }
    n->nstates = 0;
    for (state* s = n->states; s != nullptr; s = s->next) {
        s->tmp = nullptr;
        s->no = n->nstates++;
    }
}

/// Removes an empty arc by merging its ends, or giving one a copy of the other's arcs: whichever is
/// less.
void unempty(nfa* n, arc* a) {
    state* from = a->from;
    state* to = a->to;
    if (from == to) {
        freearc(n, a);
        return;
    }
    bool onfrom = from->nouts <= to->nins;
    if (from->nouts == to->nins) {
        onfrom = from->nins <= to->nouts;
    }
    freearc(n, a);
    if (onfrom) {
        if (from->nouts == 0) {
            moveins(n, from, to);
            freestate(n, from);
        } else {
            copyins(n, from, to);
        }
    } else {
        if (to->nins == 0) {
            moveouts(n, to, from);
            freestate(n, to);
        } else {
            copyouts(n, to, from);
        }
    }
}

/// Makes one state of those that empty arcs tie into a loop, as in `(a*|b*)*`: each leads to the
/// others for nothing, and unempty() would copy arcs round the loop without an end.
void mergeloops(nfa* n) {
    const auto isempty = [](const arc* a) { return a->type == EMPTY; };
    arena mem;
    state* loops = nullptr; // what is left of each loop, through `work`; `tmp` of the others
    componentsearch(n, &mem, isempty, [&](state** members, int count) {
        members[0]->work = loops;
        loops = members[0];
        for (int i = 1; i < count; ++i) {
            members[i]->tmp = members[0];
        }
    }).run();
    for (state *s = n->states, *next = nullptr; s != nullptr && loops != nullptr; s = next) {
        next = s->next;
        if (s->tmp == nullptr) {
            continue;
        }
        moveins(n, s, s->tmp);
        moveouts(n, s, s->tmp);
        s->tmp = nullptr;
        if (iserr(n->v)) {
            return;
        }
        freestate(n, s);
    }
    for (; loops != nullptr; loops = loops->work) {
        for (arc *a = loops->outs, *next = nullptr; a != nullptr; a = next) {
            next = a->outchain;
            if (isempty(a) && a->to == loops) {
                freearc(n, a);
            }
        }
    }
}

void fixempties(nfa* n) {
    if (!iserr(n->v)) {
        mergeloops(n);
    }
    bool progress = true;
    while (progress && !iserr(n->v)) {
        progress = false;
        for (state *s = n->states, *nexts = nullptr; s != nullptr && !iserr(n->v); s = nexts) {
            nexts = s->next;
            for (arc *a = s->outs, *nexta = nullptr; a != nullptr && !iserr(n->v); a = nexta) {
                nexta = a->outchain;
                if (a->type != EMPTY) {
                    continue;
                }
                // The arc's end may be the state that comes next, and end here.
                state* beyond = nexts != nullptr ? nexts->next : nullptr;
                unempty(n, a);
                progress = true;
                if (nexts != nullptr && nexts->no == FREESTATE) {
                    nexts = beyond;
                }
            }
        }
    }
}

enum class verdict { incompatible, satisfied, compatible };

/// What becomes of a constraint that moves over an arc.
verdict combine(const arc* con, const arc* a) {
    if (con->type == a->type && con->type != LACON) {
        return con->co == a->co ? verdict::satisfied : verdict::incompatible;
    }
    if (a->type == LACON) {
        return verdict::compatible;
    }
    const bool behind = con->type == BOL || con->type == BEHIND;
    switch (a->type) {
    case PLAIN:
        return (con->type == BEHIND || con->type == AHEAD) && con->co == a->co
                   ? verdict::satisfied
                   : verdict::incompatible;
    case BOL:
    case BEHIND:
        return behind ? verdict::incompatible : verdict::compatible;
    case EOL:
    case AHEAD:
        return behind ? verdict::compatible : verdict::incompatible;
    default:
        return verdict::incompatible;
    }
}

/// Moves a constraint, one of the `Own` arcs of its nearer end, over the arcs on the other side of
/// that state: back over what leads to its source, or forward over what leaves its target. Whether
/// anything changed.
template <const side& Own, const side& Other>
bool moveover(nfa* n, arc* con) {
    state* near = con->*Own.near;
    state* const far = con->*Own.far;
    if (near == far || (near->flag == 0 && near->*Other.count == 0)) {
        freearc(n, con);
        return true;
    }
    if (near->flag != 0) {
        return false;
    }
    if (near->*Own.count > 1) {
        state* s = newstate(n);
        if (s == nullptr) {
            return false;
        }
        copyarcs<Other>(n, near, s);
        cparc<Own>(n, con, s, far);
        freearc(n, con);
        if (iserr(n->v)) {
            return false;
        }
        near = s;
        con = s->*Own.arcs;
    }
    for (arc *a = near->*Other.arcs, *next = nullptr; a != nullptr; a = next) {
        next = a->*Other.next;
        const verdict what = combine(con, a);
        if (what == verdict::satisfied) {
            continue;
        }
        if (what == verdict::compatible) {
            state* s = newstate(n);
            if (s == nullptr) {
                return false;
            }
            cparc<Own>(n, a, s, far);
            cparc<Own>(n, con, a->*Other.far, s);
        }
        freearc(n, a);
    }
    movearcs<Other>(n, near, far);
    dropstate(n, near);
    return true;
}

/// Moves all constraints of two types, that of an edge of the text and that of a character, until
/// none can be moved.
template <const side& Own, const side& Other>
void moveall(nfa* n, int edge, int character) {
    bool progress = true;
    while (progress && !iserr(n->v)) {
        progress = false;
        for (state *s = n->states, *nexts = nullptr; s != nullptr && !iserr(n->v); s = nexts) {
            nexts = s->next;
            for (arc *a = s->*Own.arcs, *nexta = nullptr; a != nullptr && !iserr(n->v); a = nexta) {
                nexta = a->*Own.next;
                if ((a->type == edge || a->type == character) && moveover<Own, Other>(n, a)) {
                    progress = true;
                }
            }
        }
    }
}

/// Makes the constraints of an edge, which have come to the frame, arcs of its pseudocolors.
template <const side& Own>
void settle(nfa* n, state* frame, int edge, const color (&pseudocolors)[2]) {
    for (arc *a = frame->*Own.arcs, *nexta = nullptr; a != nullptr && !iserr(n->v); a = nexta) {
        nexta = a->*Own.next;
        if (a->type == edge) {
            newarc(n, PLAIN, pseudocolors[a->co], a->from, a->to);
            freearc(n, a);
        }
    }
}

/// Drives `^` and BEHIND back to `pre`.
void pullback(nfa* n) {
    moveall<OUTS, INS>(n, BOL, BEHIND);
    settle<OUTS>(n, n->pre, BOL, n->bos);
}

/// Drives `$` and AHEAD forward to `post`.
void pushfwd(nfa* n) {
    moveall<INS, OUTS>(n, EOL, AHEAD);
    settle<INS>(n, n->post, EOL, n->eos);
}

/// Information bits: whether nothing can match, or an empty stretch can.
long analyze(const nfa* n) {
    if (n->pre->outs == nullptr) {
        return REG_UIMPOSSIBLE;
    }
    bool matchesempty = false;
    for (const arc* a = n->pre->outs; a != nullptr; a = a->outchain) {
        if (a->to->tmp != nullptr) {
            continue;
        }
        a->to->tmp = a->to; // as many arcs as there are colors may lead here
        for (const arc* b = a->to->outs; b != nullptr; b = b->outchain) {
            matchesempty = matchesempty || b->to == n->post;
        }
    }
    for (const arc* a = n->pre->outs; a != nullptr; a = a->outchain) {
        a->to->tmp = nullptr;
    }
    return matchesempty ? REG_UEMPTYMATCH : 0;
}

} // namespace

long optimize(nfa* n, std::FILE* stream) {
    auto heading = [stream](const char* text) {
        if (stream != nullptr) {
            std::fputs(text, stream);
        }
    };
    heading("\ninitial cleanup:\n");
    cleanup(n);
    heading("\nempties:\n");
    fixempties(n);
    heading("\nconstraints:\n");
    breakloops(n);
    pullback(n);
    pushfwd(n);
    heading("\nfinal cleanup:\n");
    cleanup(n);
    n->v->work += passeswork(n);
    return iserr(n->v) ? 0 : analyze(n);
}

} // namespace Quil::IMPL::engine

// Arcs and states: making, finding, moving and copying them. An arc that is there already is not
// made again, so each new one is looked for first: along the shorter chain, or, where both are
// long, in a hash of those states that have many.
#include "regex/compile/nfa.h"

#include "regex/compile/regguts.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

namespace Quil::IMPL::engine {

namespace {

/// A state with more arcs than this on a side is searched through the hash, not along its chain.
constexpr int LONGCHAIN = 32;
constexpr std::size_t FIRSTBUCKETS = 256;

std::size_t hashof(int type, int co, const state* from, const state* to) {
    auto mix = [](std::uint64_t h, std::uint64_t x) { return (h ^ x) * 0x9E3779B97F4A7C15U; };
    std::uint64_t h = mix(static_cast<std::uint32_t>(co), static_cast<std::uint32_t>(type));
    h = mix(h, reinterpret_cast<std::uintptr_t>(from));
    h = mix(h ^ (h >> 29), reinterpret_cast<std::uintptr_t>(to));
    return static_cast<std::size_t>(h >> 32);
}

arc*& bucketof(nfa* n, const arc* a) {
    return n->buckets[hashof(a->type, a->co, a->from, a->to) & (n->nbuckets - 1)];
}

void pushbucket(nfa* n, arc* a) {
    arc*& head = bucketof(n, a);
    a->hashchain = head;
    head = a;
}

/// Doubles the hash. Without memory it stays as it is, only slower; null for the first time.
bool growbuckets(nfa* n) {
    const std::size_t size = n->nbuckets == 0 ? FIRSTBUCKETS : n->nbuckets * 2;
    arc** grown = n->mem.array<arc*>(size);
    if (grown == nullptr) {
        return n->buckets != nullptr;
    }
    arc** old = n->buckets;
    const std::size_t nold = n->nbuckets;
    n->buckets = grown;
    n->nbuckets = size;
    for (std::size_t i = 0; i < nold; i++) {
        for (arc *a = old[i], *next = nullptr; a != nullptr; a = next) {
            next = a->hashchain;
            pushbucket(n, a);
        }
    }
    return true;
}

void hasharc(nfa* n, arc* a) {
    if (n->nhashed >= n->nbuckets) {
        growbuckets(n);
    }
    pushbucket(n, a);
    n->nhashed++;
}

void unhasharc(nfa* n, const arc* a) {
    arc** link = &bucketof(n, a);
    while (*link != a) {
        link = &(*link)->hashchain;
    }
    *link = a->hashchain;
    n->nhashed--;
}

/// Puts the out-arcs of a state that has many into the hash.
void hashouts(nfa* n, state* s) {
    if (n->buckets == nullptr && !growbuckets(n)) {
        return;
    }
    s->hashed = true;
    for (arc* a = s->outs; a != nullptr; a = a->outchain) {
        hasharc(n, a);
    }
}

template <const side& Side, class Holds>
bool anyarc(const state* s, Holds holds) {
    for (const arc* a = s->*Side.arcs; a != nullptr; a = a->*Side.next) {
        if (holds(a)) {
            return true;
        }
    }
    return false;
}

bool hasarc(const nfa* n, int type, int co, const state* from, const state* to) {
    auto same = [=](const arc* a) {
        return a->type == type && a->co == co && a->from == from && a->to == to;
    };
    if (from->hashed && to->nins > LONGCHAIN) {
        const arc* a = n->buckets[hashof(type, co, from, to) & (n->nbuckets - 1)];
        while (a != nullptr && !same(a)) {
            a = a->hashchain;
        }
        return a != nullptr;
    }
    return from->nouts <= to->nins ? anyarc<OUTS>(from, same) : anyarc<INS>(to, same);
}

/// An unlinked arc; null and REG_ESPACE at the limits.
arc* takearc(nfa* n) {
    if (n->narcs >= REG_MAXARCS || ++n->v->work + passeswork(n) > REG_MAXWORK) {
        seterr(n->v, REG_ESPACE);
        return nullptr;
    }
    arc* a = n->freearcs;
    if (a != nullptr) {
        n->freearcs = a->outchain;
    } else {
        a = static_cast<arc*>(n->mem.alloc(sizeof(arc))); // newarc fills all of it
    }
    if (a == nullptr) {
        seterr(n->v, REG_ESPACE);
    } else {
        n->narcs++;
    }
    return a;
}

template <const side& Side>
void linkarc(arc* a) {
    state* s = a->*Side.near;
    arc* next = s->*Side.arcs;
    a->*Side.prev = nullptr;
    a->*Side.next = next;
    if (next != nullptr) {
        next->*Side.prev = a;
    }
    s->*Side.arcs = a;
    (s->*Side.count)++;
}

template <const side& Side>
void unlinkarc(arc* a) {
    state* s = a->*Side.near;
    arc* next = a->*Side.next;
    arc* prev = a->*Side.prev;
    (prev != nullptr ? prev->*Side.next : s->*Side.arcs) = next;
    if (next != nullptr) {
        next->*Side.prev = prev;
    }
    (s->*Side.count)--;
}

/// Only the arcs of a main automaton are known to the color map: a subordinate one must not disturb
/// it.
bool onchain(const nfa* n, const arc* a) {
    return n->parent == nullptr && a->colored();
}

/// The states that a walk meets, in that order, listed through `work`; the list is walked while it
/// grows. `tmp` of a state says that it was met.
class metstates {
public:
    metstates(state* first, state* mark) : __first(first), __last(first) { __note(first, mark); }
    void add(state* s, state* mark) {
        __last->work = s;
        __last = s;
        __note(s, mark);
    }
    void unmark() {
        for (state* s = __first; s != nullptr; s = s->work) {
            s->tmp = nullptr;
        }
    }

private:
    static void __note(state* s, state* mark) {
        s->tmp = mark;
        s->work = nullptr;
    }

    state* __first;
    state* __last;
};

/// Room for a distance of every state; false, with REG_ESPACE, if there is no memory.
bool growdistances(nfa* n) {
    if (n->ndistances >= n->nstates) {
        return true;
    }
    const int room = std::max(n->nstates, n->ndistances * 2);
    n->distances = n->mem.array<int>(static_cast<std::size_t>(room));
    n->ndistances = n->distances != nullptr ? room : 0;
    if (n->distances == nullptr) {
        seterr(n->v, REG_ESPACE);
    }
    return n->distances != nullptr;
}

} // namespace

nfaptr newnfa(varsbase* v, colormap* cm, nfa* parent) {
    arena mem = std::move(v->spare);
    void* place = mem.alloc(sizeof(nfa));
    if (place == nullptr) {
        seterr(v, REG_ESPACE);
        return nullptr;
    }
    nfaptr owner(new (place) nfa{});
    nfa* n = owner.get();
    n->mem = std::move(mem);
    n->cm = cm;
    n->v = v;
    n->parent = parent;
    std::fill_n(n->bos, 2, COLORLESS);
    std::fill_n(n->eos, 2, COLORLESS);
    n->post = newfstate(n, '@');
    n->pre = newfstate(n, '>');
    n->init = newstate(n);
    n->final = newstate(n);
    if (iserr(v)) {
        return nullptr;
    }
    rainbow(n, cm, PLAIN, COLORLESS, n->pre, n->init);
    newarc(n, BOL, 1, n->pre, n->init);
    newarc(n, BOL, 0, n->pre, n->init);
    rainbow(n, cm, PLAIN, COLORLESS, n->final, n->post);
    newarc(n, EOL, 1, n->final, n->post);
    newarc(n, EOL, 0, n->final, n->post);
    if (iserr(v)) {
        return nullptr;
    }
    return owner;
}

void freenfa(nfa* n) {
    if (n == nullptr) {
        return;
    }
    varsbase* v = n->v;
    arena mem = std::move(n->mem); // holds the record too
    n->~nfa();
    mem.rewind();
    v->spare = std::move(mem);
}

void specialcolors(nfa* n) {
    if (n->parent != nullptr) {
        std::copy_n(n->parent->bos, 2, n->bos);
        std::copy_n(n->parent->eos, 2, n->eos);
        return;
    }
    n->bos[0] = pseudocolor(n->cm);
    n->bos[1] = pseudocolor(n->cm);
    n->eos[0] = pseudocolor(n->cm);
    n->eos[1] = pseudocolor(n->cm);
}

state* newstate(nfa* n) {
    if (iserr(n->v)) {
        return nullptr;
    }
    const bool isroom = n->nlive < REG_MAXSTATES && ++n->v->work <= REG_MAXWORK;
    state* s = isroom ? n->free : nullptr;
    if (s != nullptr) {
        n->free = s->next;
    } else if (isroom) {
        s = static_cast<state*>(n->mem.alloc(sizeof(state)));
    }
    if (s == nullptr) {
        seterr(n->v, REG_ESPACE);
        return nullptr;
    }
    *s = state{};
    s->no = n->nstates++;
    s->prev = n->slast;
    (n->slast != nullptr ? n->slast->next : n->states) = s;
    n->slast = s;
    n->nlive++;
    return s;
}

state* newfstate(nfa* n, char flag) {
    state* s = newstate(n);
    if (s != nullptr) {
        s->flag = flag;
    }
    return s;
}

void dropstate(nfa* n, state* s) {
    while (s->ins != nullptr) {
        freearc(n, s->ins);
    }
    while (s->outs != nullptr) {
        freearc(n, s->outs);
    }
    freestate(n, s);
}

void freestate(nfa* n, state* s) {
    (s->prev != nullptr ? s->prev->next : n->states) = s->next;
    (s->next != nullptr ? s->next->prev : n->slast) = s->prev;
    s->no = FREESTATE;
    s->flag = 0;
    s->prev = nullptr;
    s->next = n->free;
    n->free = s;
    n->nlive--;
}

void newarc(nfa* n, int type, int co, state* from, state* to) {
    if (iserr(n->v) || hasarc(n, type, co, from, to)) {
        return;
    }
    arc* a = takearc(n);
    if (a == nullptr) {
        return;
    }
    *a = arc{};
    a->type = type;
    a->co = co;
    a->from = from;
    a->to = to;
    linkarc<OUTS>(a);
    linkarc<INS>(a);
    if (from->hashed) {
        hasharc(n, a);
    } else if (from->nouts > LONGCHAIN) {
        hashouts(n, from);
    }
    if (onchain(n, a)) {
        colorchain(n->cm, a);
    }
}

void freearc(nfa* n, arc* a) {
    if (onchain(n, a)) {
        uncolorchain(n->cm, a);
    }
    if (a->from->hashed) {
        unhasharc(n, a);
    }
    unlinkarc<OUTS>(a);
    unlinkarc<INS>(a);
    a->type = 0;
    a->outchain = n->freearcs;
    n->freearcs = a;
    n->narcs--;
}

void cparc(nfa* n, const arc* a, state* from, state* to) {
    newarc(n, a->type, a->co, from, to);
}

void recolor(nfa* n, arc* a, color co) {
    uncolorchain(n->cm, a);
    if (a->from->hashed) {
        unhasharc(n, a);
    }
    a->co = co;
    if (a->from->hashed) {
        hasharc(n, a);
    }
    colorchain(n->cm, a);
}

template <const side& Side>
void movearcs(nfa* n, state* old, state* fresh) {
    while (old->*Side.arcs != nullptr && !iserr(n->v)) {
        arc* a = old->*Side.arcs;
        cparc<Side>(n, a, fresh, a->*Side.far);
        freearc(n, a);
    }
}

template <const side& Side>
void copyarcs(nfa* n, state* old, state* fresh) {
    for (const arc* a = old->*Side.arcs; a != nullptr; a = a->*Side.next) {
        cparc<Side>(n, a, fresh, a->*Side.far);
    }
}

template void movearcs<INS>(nfa*, state*, state*);
template void movearcs<OUTS>(nfa*, state*, state*);
template void copyarcs<INS>(nfa*, state*, state*);
template void copyarcs<OUTS>(nfa*, state*, state*);

void cloneouts(nfa* n, state* old, state* from, state* to, int type) {
    for (const arc* a = old->outs; a != nullptr; a = a->outchain) {
        newarc(n, type, a->co, from, to);
    }
}

void delsub(nfa* n, state* lp, state* rp) {
    if (iserr(n->v)) {
        return;
    }
    rp->tmp = rp;
    metstates met(lp, lp);
    for (state* s = lp; s != nullptr; s = s->work) {
        while (s->outs != nullptr) {
            state* to = s->outs->to;
            freearc(n, s->outs);
            if (to->tmp == nullptr) {
                met.add(to, to);
            }
        }
    }
    rp->tmp = nullptr;
    met.unmark();
    for (state *s = lp->work, *next = nullptr; s != nullptr; s = next) {
        next = s->work;
        if (s->nins == 0) {
            freestate(n, s);
        }
    }
}

void dupnfa(nfa* n, state* start, state* stop, state* from, state* to) {
    if (start == stop) {
        newarc(n, EMPTY, 0, from, to);
        return;
    }
    if (iserr(n->v)) {
        return;
    }
    stop->tmp = to; // the mark of a state is its copy
    metstates met(start, from);
    for (const state* s = start; s != nullptr && !iserr(n->v); s = s->work) {
        for (const arc* a = s->outs; a != nullptr && !iserr(n->v); a = a->outchain) {
            if (a->to->tmp == nullptr) {
                state* copy = newstate(n);
                if (copy == nullptr) {
                    break;
                }
                met.add(a->to, copy);
            }
            cparc(n, a, s->tmp, a->to->tmp);
        }
    }
    stop->tmp = nullptr;
    met.unmark();
}

stretch survey(nfa* n, state* start, state* stop) {
    stretch found = {.states = 0, .arcs = 0, .length = 0};
    if (iserr(n->v) || start == stop || !growdistances(n)) {
        return found;
    }
    int* const distances = n->distances;
    bool differ = false;
    distances[start->no] = 0;
    stop->tmp = stop;
    metstates met(start, start);
    bool reached = false;
    for (const state* s = start; s != nullptr; s = s->work) {
        for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
            const int distance = distances[s->no] + (a->type == PLAIN ? 1 : 0);
            found.arcs++;
            state* to = a->to;
            const bool seen = to == stop ? std::exchange(reached, true) : to->tmp != nullptr;
            if (seen) {
                differ = differ || distances[to->no] != distance;
                continue;
            }
            distances[to->no] = distance;
            if (to == stop) {
                continue;
            }
            found.states++;
            met.add(to, to);
        }
    }
    found.length = reached && !differ ? distances[stop->no] : UNBOUNDED;
    stop->tmp = nullptr;
    met.unmark();
    return found;
}

bool passesempty(state* start, state* stop) {
    metstates met(start, start);
    for (const state* s = start; s != nullptr && stop->tmp == nullptr; s = s->work) {
        for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
            if (a->type != PLAIN && a->to->tmp == nullptr) {
                met.add(a->to, a->to);
            }
        }
    }
    const bool passes = stop->tmp != nullptr;
    met.unmark();
    return passes;
}

} // namespace Quil::IMPL::engine

// From the graph to the form that the matcher runs: the search prefix, the lengths that a match can
// have, and the compact arrays.
#include "regex/compile/nfa.h"
#include "regex/compile/regguts.h"

#include <algorithm>

namespace Quil::IMPL::engine {

namespace {

/// Characters of the shortest way from pre to post. Steps through the states distance by distance:
/// what lies at one distance is listed through `work`.
int shortestpath(const nfa* n) {
    state* found = n->pre; // states at this distance
    n->pre->tmp = n->pre;
    n->pre->work = nullptr;
    int distance = 0;
    while (found != nullptr && n->post->tmp == nullptr) {
        // A lookahead consumes nothing: what it leads to lies at the same distance.
        state* last = found;
        while (last->work != nullptr) {
            last = last->work;
        }
        for (const state* s = found; s != nullptr; s = s->work) {
            for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
                if (a->type == LACON && a->to->tmp == nullptr) {
                    a->to->tmp = a->to;
                    a->to->work = nullptr;
                    last->work = a->to;
                    last = a->to;
                }
            }
        }
        state* farther = nullptr;
        for (const state *s = found, *next = nullptr; s != nullptr; s = next) {
            next = s->work;
            for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
                if (a->to->tmp == nullptr) {
                    a->to->tmp = a->to;
                    a->to->work = farther;
                    farther = a->to;
                }
            }
        }
        found = farther;
        distance++;
    }
    return distance;
}

/// Characters of the longest way from pre to post, or UNBOUNDED: goes through the states in
/// topological order, which leaves some over if there is a loop.
int longestpath(const nfa* n, int* distance, int* pending) {
    int left = 0;
    for (const state* s = n->states; s != nullptr; s = s->next, left++) {
        pending[s->no] = s->nins;
    }
    state* todo = n->pre;
    if (pending[n->pre->no] > 0) {
        return UNBOUNDED;
    }
    n->pre->work = nullptr;
    while (todo != nullptr) {
        const state* s = todo;
        todo = s->work;
        left--;
        for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
            const int reached = distance[s->no] + (a->type == PLAIN ? 1 : 0);
            distance[a->to->no] = std::max(distance[a->to->no], reached);
            if (--pending[a->to->no] == 0) {
                a->to->work = todo;
                todo = a->to;
            }
        }
    }
    return left == 0 ? distance[n->post->no] : UNBOUNDED;
}

/// Lengths of the matches. The frame takes a character on either side of them.
void measure(nfa* n, cnfa* out) {
    constexpr int FRAME = 2;
    out->minlen = 0;
    out->maxlen = UNBOUNDED;
    if (n->pre->outs == nullptr) {
        return;
    }
    out->minlen = shortestpath(n) - FRAME;
    for (state* s = n->states; s != nullptr; s = s->next) {
        s->tmp = nullptr;
    }
    const std::size_t nstates = static_cast<std::size_t>(out->nstates);
    int* scratch = n->mem.array<int>(nstates * 2);
    if (scratch == nullptr) {
        seterr(n->v, REG_ESPACE);
        return;
    }
    const int longest = longestpath(n, scratch, scratch + nstates);
    out->maxlen = longest == UNBOUNDED ? UNBOUNDED : longest - FRAME;
}

/// Writes the run of one state, and returns what lies behind it.
carc* writerun(const nfa* n, const state* s, cnfa* out, carc* at) {
    out->states[s->no] = at;
    *at++ = {.co = 0, .to = 0}; // no-progress flag, set later
    carc* first = at;
    for (const arc* a = s->outs; a != nullptr; a = a->outchain) {
        if (a->type == LACON) {
            *at++ = {.co = out->ncolors + a->co, .to = a->to->no};
            out->flags |= HASLACONS;
        } else if (a->type == PLAIN) {
            *at++ = {.co = a->co, .to = a->to->no};
        } else {
            seterr(n->v, REG_ASSERT); // the optimiser leaves no others
        }
    }
    std::sort(first, at, [](const carc& a, const carc& b) {
        return a.co != b.co ? a.co < b.co : a.to < b.to;
    });
    *at++ = {.co = COLORLESS, .to = 0};
    return at;
}

} // namespace

void makesearch(varsbase* v, nfa* n) {
    if (iserr(v) || n->pre->outs == nullptr) {
        return;
    }
    auto anchor = [n](const arc* a) { return a->co == n->bos[0] || a->co == n->bos[1]; };
    const arc* a = n->pre->outs;
    while (a != nullptr && anchor(a)) {
        a = a->outchain;
    }
    if (a != nullptr) {
        rainbow(n, n->cm, PLAIN, COLORLESS, n->pre, n->pre);
        newarc(n, PLAIN, n->bos[0], n->pre, n->pre);
        newarc(n, PLAIN, n->bos[1], n->pre, n->pre);
    }

    // List the states behind `pre` that can be reached from elsewhere too. As many arcs as there
    // are colors may lead to one of them: each is looked at once.
    state* list = nullptr;
    for (a = n->pre->outs; a != nullptr; a = a->outchain) {
        state* s = a->to;
        if (s->tmp != nullptr) {
            continue;
        }
        s->tmp = s;
        const arc* other = s->ins;
        while (other != nullptr && other->from == n->pre) {
            other = other->inchain;
        }
        if (other == nullptr) {
            continue;
        }
        s->work = list;
        list = s;
    }
    for (a = n->pre->outs; a != nullptr; a = a->outchain) {
        a->to->tmp = nullptr;
    }
    // ... and split each: what is reached only from `pre` has made no progress yet.
    for (state *s = list, *nexts = nullptr; s != nullptr; s = nexts) {
        nexts = s->work;
        state* progress = newstate(n);
        if (progress == nullptr) {
            continue;
        }
        copyouts(n, s, progress);
        for (arc* in = s->ins, *next = nullptr; in != nullptr; in = next) {
            next = in->inchain;
            if (in->from == n->pre) {
                continue;
            }
            cparc(n, in, in->from, progress);
            freearc(n, in);
        }
    }
}

void compact(nfa* n, cnfa* out, arena* mem) {
    *out = cnfa{};
    if (iserr(n->v)) {
        return;
    }
    std::size_t narcs = 0;
    int nstates = 0;
    for (state* s = n->states; s != nullptr; s = s->next) {
        s->no = nstates++;
        narcs += static_cast<std::size_t>(s->nouts) + 2;
    }
    carc** states = mem->array<carc*>(static_cast<std::size_t>(nstates));
    carc* arcs = mem->array<carc>(narcs);
    if (states == nullptr || arcs == nullptr) {
        seterr(n->v, REG_ESPACE);
        return;
    }
    *out = {.nstates = nstates,
            .ncolors = static_cast<int>(n->cm->max) + 1,
            .flags = 0,
            .pre = n->pre->no,
            .post = n->post->no,
            .bos = {n->bos[0], n->bos[1]},
            .eos = {n->eos[0], n->eos[1]},
            .states = states,
            .arcs = arcs,
            .minlen = 0,
            .maxlen = UNBOUNDED};
    carc* at = arcs;
    for (const state* s = n->states; s != nullptr; s = s->next) {
        at = writerun(n, s, out, at);
    }
    states[out->pre]->co = 1;
    for (const arc* a = n->pre->outs; a != nullptr; a = a->outchain) {
        states[a->to->no]->co = 1;
    }
    measure(n, out);
}

} // namespace Quil::IMPL::engine

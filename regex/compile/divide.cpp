// Quantifiers: a stretch that may repeat is copied so often as it must, or may, stand.
//
// What complicates it: where the tree must know of the atom, only one copy can hold its groups, and
// which way a match went must be a node of its own.

#include "regex/compile/divide.h"

#include "regex/compile/parser.h"

#include <algorithm>

namespace Quil::IMPL::engine {

namespace {

void emptyarc(varsbase* v, state* from, state* to) {
    newarc(v->nfa, EMPTY, 0, from, to);
}

void newstates(varsbase* v, state*& s, state*& s2) {
    s = newstate(v->nfa);
    s2 = newstate(v->nfa);
}

void copies(varsbase* v, state* lp, state* rp, int m, int n);

/// Puts `m` to `n` copies of the stretch before it; `optional` lets them all be left out.
void prepend(varsbase* v, state* lp, state* rp, int m, int n, bool optional) {
    state* const s = newstate(v->nfa);
    if (iserr(v)) {
        return;
    }
    moveouts(v->nfa, lp, s);
    dupnfa(v->nfa, s, rp, lp, s);
    copies(v, lp, s, m, n);
    if (optional) {
        emptyarc(v, lp, s);
    }
}

/// Gives a back reference the stretch of its group: what the automaton takes it for.
void copygroup(varsbase* v, const subre* node) {
    const capture& group = v->subs[node->subno];
    delsub(v->nfa, node->begin, node->end);
    dupnfa(v->nfa, group.begin, group.end, node->begin, node->end);
}

/// Puts a choice between the node in `slot` and nothing in its place. `slot` is then that of the
/// node. The way past the node, from `bypass` to its end, is yet to be laid.
void either(varsbase* v, subre**& slot, int preference, state* lp, state* bypass) {
    subre* const node = *slot;
    const int flags = COMBINE(preference, node->flags);
    subre* const choice = newsubre(v, '|', flags, lp, node->end);
    subre* const other = newsubre(v, '|', PREF(flags), bypass, node->end);
    subre* const nothing = newsubre(v, '=', 0, bypass, node->end);
    if (iserr(v)) {
        return;
    }
    choice->left = node;
    choice->right = other;
    other->left = nothing;
    *slot = choice;
    slot = &choice->left;
}

/// A back reference counts its repetitions itself, when it is matched.
void repeatbackref(varsbase* v, subre* node, quantifier q, state* prefix) {
    emptyarc(v, prefix, node->begin);
    repeat(v, node->begin, node->end, q.min, q.max);
    node->min = q.min;
    node->max = q.max;
    node->flags |= COMBINE(q.preference, node->flags);
}

/// Puts all copies but the last of the node in `slot` before it, as a stretch without groups.
void repeatnode(varsbase* v, subre** slot, quantifier q, state* prefix) {
    subre* const node = *slot;
    dupnfa(v->nfa, node->begin, node->end, prefix, node->begin);
    repeat(v, prefix, node->begin, q.min - 1, q.max == DUPINF ? DUPINF : q.max - 1);
    const int flags = COMBINE(q.preference, node->flags);
    subre* const copies = newsubre(v, '.', flags, prefix, node->end);
    subre* const others = newsubre(v, '=', PREF(flags), prefix, node->begin);
    if (iserr(v)) {
        return;
    }
    copies->left = others;
    copies->right = node;
    *slot = copies;
}

/// Makes the stretch stand so often, copy by copy.
void copies(varsbase* v, state* lp, state* rp, int m, int n) {
    if (iserr(v)) {
        return;
    }
    if (m == 0 && n == 0) {
        delsub(v->nfa, lp, rp);
        emptyarc(v, lp, rp);
    } else if (m == 0 && n == DUPINF) {
        state* const s = newstate(v->nfa);
        if (iserr(v)) {
            return;
        }
        moveouts(v->nfa, lp, s);
        moveins(v->nfa, rp, s);
        emptyarc(v, lp, s);
        emptyarc(v, s, rp);
    } else if (m == 0) {
        copies(v, lp, rp, 1, n);
        emptyarc(v, lp, rp);
    } else if (m == 1 && n == DUPINF) {
        state *s, *s2;
        newstates(v, s, s2);
        if (iserr(v)) {
            return;
        }
        moveouts(v->nfa, lp, s);
        moveins(v->nfa, rp, s2);
        emptyarc(v, lp, s);
        emptyarc(v, s2, rp);
        emptyarc(v, s2, s);
    } else if (m == 1 && n > 1) {
        prepend(v, lp, rp, 1, n - 1, true);
    } else if (m > 1) {
        prepend(v, lp, rp, m - 1, n == DUPINF ? n : n - 1, false);
    }
}

/// Refuses, with REG_ESPACE, what would pass the limits on automata, before so much is built.
void checkroom(varsbase* v, const stretch& one, state* lp, state* rp, int wanted) {
    const std::int64_t more = wanted - 1;
    const std::int64_t arcs = more * one.arcs;
    const std::int64_t states = v->nfa->nlive + more * (one.states + 1);
    if (states > REG_MAXSTATES || v->nfa->narcs + arcs > REG_MAXARCS ||
        v->work + arcs > REG_MAXWORK || (states > REG_MAXOPTIONAL && passesempty(lp, rp))) {
        seterr(v, REG_ESPACE);
    }
}

} // namespace

void repeat(varsbase* v, state* lp, state* rp, int m, int n) {
    if (const int wanted = n == DUPINF ? m : n; wanted > 1 && !iserr(v)) {
        const stretch one = survey(v->nfa, lp, rp);
        if (one.length == 0) {
            // What only asks where it stands gets the same answer each time, and a row of word
            // edges doubles the ways through it with each.
            m = std::min(m, 1);
            n = 1;
        } else {
            checkroom(v, one, lp, rp, wanted);
        }
    }
    copies(v, lp, rp, m, n);
}

void divide(varsbase* v, subre* node, quantifier q, state* lp, state* rp, subre* top) {
    nfa* const n = v->nfa;
    state *s, *s2;
    newstates(v, s, s2);
    if (iserr(v)) {
        return;
    }
    moveouts(n, lp, s);
    moveins(n, rp, s2);
    node->begin = s;
    node->end = s2;

    state *prefix, *bypass;
    newstates(v, prefix, bypass);
    subre* const t = newsubre(v, '.', COMBINE(q.preference, node->flags), lp, rp);
    subre* const before = newsubre(v, '=', top->flags, top->begin, lp);
    if (iserr(v)) {
        return;
    }
    emptyarc(v, lp, prefix);
    emptyarc(v, lp, bypass);
    t->left = node;
    subre** slot = &t->left;
    top->op = '.';
    top->left = before;
    top->right = t;

    if (node->op == 'b') {
        copygroup(v, node);
    }
    const bool optional = q.min == 0;
    if (optional) {
        either(v, slot, q.preference, lp, bypass);
        q.min = 1;
    }
    if (iserr(v)) {
        return;
    }
    if (node->op == 'b') {
        repeatbackref(v, node, q, prefix);
    } else if (q.once()) {
        emptyarc(v, prefix, node->begin);
    } else {
        repeatnode(v, slot, q, prefix);
    }
    // Only now: a loop takes all arcs to the node's end along, and what passes by would enter it.
    if (optional) {
        emptyarc(v, bypass, node->end);
    }
    t->right = newsubre(v, '=', 0, node->end, rp);
}

} // namespace Quil::IMPL::engine

// The automaton in its two forms: `nfa`, a graph that parser and optimiser rebuild at will, and
// `cnfa`, the compact read-only form that the matcher runs.
//
// Every arc is on its source's out-chain, its target's in-chain and, in a main automaton, its
// color's chain, each doubly linked: the parser moves whole fans of arcs about, the color map has
// to find every arc of a color, and all must be able to drop an arc in one step. States and arcs
// lie in an arena of their nfa; freed ones are kept for reuse and end with the nfa.
//
// optimize() removes empty arcs and drives each constraint (`^`, `$`, word edges) to the ends of
// the automaton, where it becomes an ordinary arc of a pseudocolor. What is left, PLAIN and LACON
// arcs, needs no knowledge of constraints to run.
#pragma once

#include "regex/compile/arena.h"
#include "regex/compile/color.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace Quil::IMPL::engine {

/// \name Arc types. The values are those of the parser's tokens.
/// @{
inline constexpr int PLAIN = 'p';  ///< consumes a character of color `co`
inline constexpr int EMPTY = 'n';  ///< consumes nothing
inline constexpr int BOL = '^';    ///< beginning: `co` 1 of a line, 0 of the string only
inline constexpr int EOL = '$';    ///< end: `co` 1 of a line, 0 of the string only
inline constexpr int BEHIND = 'r'; ///< the previous character has color `co`
inline constexpr int AHEAD = 'a';  ///< the next character has color `co`
inline constexpr int LACON = 'L';  ///< the lookahead with number `co` holds here
/// @}

struct arc {
    int type;      ///< arc type, 0 if free
    int co;        ///< color, or what the type says
    state* from;   ///< where it comes from
    state* to;     ///< where it leads to
    arc* outchain; ///< next out-arc of `from`; next free arc when free
    arc* outprev;
    arc* inchain; ///< next in-arc of `to`
    arc* inprev;
    arc* colorchain; ///< next arc of the same color
    arc* colorprev;
    arc* hashchain; ///< next in its bucket of `nfa::buckets`, if `from` is hashed

    /// Arcs of these types stand for a color.
    bool colored() const { return type == PLAIN || type == AHEAD || type == BEHIND; }
};

inline constexpr int FREESTATE = -1;

struct state {
    int no;      ///< number; FREESTATE on the free list
    char flag;   ///< '>' for pre, '@' for post, else 0
    bool hashed; ///< its out-arcs are in `nfa::buckets`
    int nins;    ///< number of in-arcs
    int nouts;   ///< number of out-arcs
    arc* ins;    ///< chain of in-arcs
    arc* outs;   ///< chain of out-arcs
    state* tmp;  ///< mark of a traversal, null between them
    state* work; ///< link of a traversal's work list
    state* next; ///< list of live states; next free state when free
    state* prev;
};

/// One side of a state: the arcs that enter it, or those that leave it. What is done on either
/// side, the one the mirror image of the other, is written once, with the side as its parameter.
struct side {
    arc* state::*arcs; ///< the chain
    int state::*count; ///< its length
    arc* arc::*next;   ///< the chain's links
    arc* arc::*prev;
    state* arc::*near; ///< the end of an arc at the state itself
    state* arc::*far;  ///< the other end
};
inline constexpr side INS = {&state::ins,  &state::nins, &arc::inchain,
                             &arc::inprev, &arc::to,     &arc::from};
inline constexpr side OUTS = {&state::outs,  &state::nouts, &arc::outchain,
                              &arc::outprev, &arc::from,    &arc::to};

/// An automaton under construction.
struct nfa {
    state* pre;     ///< pre-initial state: its arcs take the character before the match
    state* init;    ///< initial state
    state* final;   ///< final state
    state* post;    ///< post-final state, reached by the character behind the match
    int nstates;    ///< for numbering states
    state* states;  ///< list of live states
    state* slast;   ///< its tail
    state* free;    ///< free states
    colormap* cm;   ///< the map
    color bos[2];   ///< pseudocolors: 1 beginning of line, 0 beginning of string only
    color eos[2];   ///< the same for the end
    varsbase* v;    ///< for error reports
    nfa* parent;    ///< main automaton of a subordinate one, else null
    arc* freearcs;  ///< free arcs
    int nlive;      ///< states in use
    int narcs;      ///< arcs in use
    int* distances; ///< scratch of survey(), by state number
    int ndistances; ///< elements of it
    arc** buckets;  ///< hash of the out-arcs of states that have many
    std::size_t nbuckets;
    std::size_t nhashed;
    arena mem; ///< holds states, arcs and this record
};

/// Element of a compact automaton's arc list.
struct carc {
    int co; ///< color; ncolors + number for a lookahead; COLORLESS ends a state's run
    int to; ///< number of the state it leads to
};

/// The arcs of one state of a compact automaton, for a `for`. They are walked to their mark: a
/// search that stops early never asks where that is.
class carcs {
public:
    struct mark {
        friend bool operator==(const carc* arc, mark) { return arc->co == COLORLESS; }
    };

    explicit carcs(const carc* first) : __first(first) {}
    const carc* begin() const { return __first; }
    mark end() const { return {}; }

private:
    const carc* __first;
};

inline constexpr int HASLACONS = 1;
inline constexpr int UNBOUNDED = -1; ///< `maxlen`: no longest match

/// What the passes over an automaton's arcs cost, counted as arcs made: as long as they fit in the
/// processor's cache nothing that counts beside making them, then several times as much.
inline long passeswork(const nfa* n) {
    return 12L * std::max(0, n->narcs - 50'000);
}

/// A compact automaton. Its arrays belong to the arena that compact() was given. states[i] is a run
/// of `carc`: first the no-progress flag of state i in its `co`, then the arcs, then the end
/// marker; arcsof() and noprogress() read it.
struct cnfa {
    int nstates; ///< 0: no automaton
    int ncolors; ///< highest color in use plus 1
    int flags;   ///< HASLACONS if any arc is a lookahead
    int pre;
    int post;
    color bos[2];
    color eos[2];
    carc** states; ///< by state number, a run in `arcs`
    carc* arcs;    ///< all of them
    int minlen;    ///< characters of the shortest match, lookaheads taken to hold
    int maxlen;    ///< characters of the longest match, or UNBOUNDED

    bool empty() const { return nstates == 0; }
    carcs arcsof(int state) const { return carcs(states[state] + 1); }
    /// The state is `pre` or lies directly behind it.
    bool noprogress(int state) const { return states[state]->co != 0; }
    bool islookahead(const carc& arc) const { return arc.co >= ncolors; }
    /// The color is that of an edge of the text, which no character has.
    bool isedge(int co) const {
        return co == bos[0] || co == bos[1] || co == eos[0] || co == eos[1];
    }
};

/// \name Building
/// Each is a no-op once an error is recorded.
/// @{
void freenfa(nfa* n);
struct nfadeleter {
    void operator()(nfa* n) const { freenfa(n); }
};
/// Owns an automaton.
using nfaptr = std::unique_ptr<nfa, nfadeleter>;

/// An automaton with its four fixed states and the frame around init and final: between pre and
/// init, and final and post, any one character or the string's edge. Null and REG_ESPACE recorded
/// if there is no memory.
nfaptr newnfa(varsbase* v, colormap* cm, nfa* parent);

state* newstate(nfa* n);             ///< null on error
state* newfstate(nfa* n, char flag); ///< a state with `flag` set
void dropstate(nfa* n, state* s);    ///< frees the state and all its arcs
void freestate(nfa* n, state* s);    ///< frees a state without arcs

void newarc(nfa* n, int type, int co, state* from, state* to); ///< unless there is an equal one
void freearc(nfa* n, arc* a);
/// Gives a colored arc another color: the move of a whole chain when a color ends.
void recolor(nfa* n, arc* a, color co);
void cparc(nfa* n, const arc* a, state* from, state* to); ///< newarc() of the same type and color
/// The same, told by the end on that side and the other.
template <const side& Side>
void cparc(nfa* n, const arc* a, state* near, state* far) {
    if constexpr (Side.near == &arc::from) {
        cparc(n, a, near, far);
    } else {
        cparc(n, a, far, near);
    }
}

/// Moves all arcs of a side of `old` to `fresh`, another state.
template <const side& Side>
void movearcs(nfa* n, state* old, state* fresh);
/// Copies them.
template <const side& Side>
void copyarcs(nfa* n, state* old, state* fresh);
extern template void movearcs<INS>(nfa*, state*, state*);
extern template void movearcs<OUTS>(nfa*, state*, state*);
extern template void copyarcs<INS>(nfa*, state*, state*);
extern template void copyarcs<OUTS>(nfa*, state*, state*);

inline void moveins(nfa* n, state* old, state* fresh) {
    movearcs<INS>(n, old, fresh);
}
inline void moveouts(nfa* n, state* old, state* fresh) {
    movearcs<OUTS>(n, old, fresh);
}
inline void copyins(nfa* n, state* old, state* fresh) {
    copyarcs<INS>(n, old, fresh);
}
inline void copyouts(nfa* n, state* old, state* fresh) {
    copyarcs<OUTS>(n, old, fresh);
}

/// For each out-arc of `old`, an arc of `type` and its color between `from` and `to`.
void cloneouts(nfa* n, state* old, state* from, state* to, int type);

/// Deletes what lies between two states. What is reachable from elsewhere survives.
void delsub(nfa* n, state* lp, state* rp);
/// Copies what lies between `start` and `stop`, which may belong to another automaton, between
/// `from` and `to` of `n`.
void dupnfa(nfa* n, state* start, state* stop, state* from, state* to);

/// What lies between two states.
struct stretch {
    std::int64_t states; ///< without those two
    std::int64_t arcs;
    int length; ///< characters of every way through, or UNBOUNDED if they may differ
};
/// Goes through what lies between `start` and `stop`.
stretch survey(nfa* n, state* start, state* stop);
/// Whether `stop` can be reached from `start`, another state, without a character.
bool passesempty(state* start, state* stop);

/// Gives the automaton its pseudocolors: new ones, or those of its parent.
void specialcolors(nfa* n);
/// @}

/// \name Finishing
/// @{

/// Removes empty arcs, drives constraints to the ends, drops useless states. Returns information
/// bits (REG_UEMPTYMATCH, REG_UIMPOSSIBLE). Writes a heading for each stage to `stream`, if not
/// null.
long optimize(nfa* n, std::FILE* stream);

/// Replaces loops that consist of constraints only by equal chains without a loop; a step of
/// optimize(), which couldn't end on such loops.
void breakloops(nfa* n);

/// Lets the optimised main automaton start anywhere in the text, unless it is anchored, and splits
/// the states behind `pre` so that the matcher can tell where a match may have begun.
void makesearch(varsbase* v, nfa* n);

/// Writes the compact form of an optimised automaton; arrays from `mem`.
void compact(nfa* n, cnfa* out, arena* mem);
/// @}

} // namespace Quil::IMPL::engine

// From tokens to automaton and tree: each item of a branch becomes arcs between two states, as soon
// as it is read.
//
// What complicates it: a tree of nodes beside the automaton must say what the automaton can't,
// which is where groups lie, where back references stand, and where parts that prefer the longest
// and the shortest match meet. Only branches that hold such parts are divided into nodes; every
// other expression is one node, whatever its size.

#pragma once

#include "regex/compile/regguts.h"

namespace Quil::IMPL::engine {

/// Parses the whole pattern, of which the first token has been read, into arcs from `init` to
/// `final` of the main NFA. Returns the root of the tree, null after an error. Patterns nested
/// deeper than REG_MAXDEPTH give REG_ESPACE: parsing, and each pass over the tree, takes stack for
/// every level.
template <class chr>
subre* parse(vars<chr>* v, state* init, state* final);

/// \name Brackets and single characters
/// Each adds arcs from `lp` to `rp` for what it reads.
/// @{

/// Reads "[...]", from behind the bracket up to its end, and settles the colors.
template <class chr>
void bracket(vars<chr>* v, state* lp, state* rp);

/// The same for "[^...]"; `lp` must not have had out-arcs.
template <class chr>
void cbracket(vars<chr>* v, state* lp, state* rp);

/// Adds an arc for a character, and for its case variants if the pattern ignores case.
template <class chr>
void onechr(vars<chr>* v, chr c, state* lp, state* rp);

/// Makes sure that `v->wordchrs` has an out-arc for each color of word characters, and reads the
/// next token.
template <class chr>
void wordchrs(vars<chr>* v);
/// @}

/// \name The tree
/// @{

/// A node for the stretch from `begin` to `end`; null on REG_ESPACE.
subre* newsubre(varsbase* v, int op, int flags, state* begin, state* end);
/// Gives the nodes of a tree back for reuse. Null is no tree.
void freesubre(varsbase* v, subre* t);
/// Numbers the nodes of a tree from `start` on; the next free number.
int numst(subre* t, int start);
/// Marks the nodes of a tree as in use.
void markst(subre* t);
/// Builds the compact automata of a tree, those of inner nodes only where the matcher reads them or
/// a dump shows them. Returns the information bits of the root's.
long nfatree(varsbase* v, subre* t);
/// Builds the compact automaton of one node's stretch; returns its information bits.
long nfanode(varsbase* v, subre* t);
/// Writes a tree to the diagnostic stream, with the state numbers of the stretches if asked.
void dumpst(const subre* t, std::FILE* stream, bool withstates);
/// @}

/// Whether the pattern ignores case.
inline bool ignorescase(const varsbase* v) {
    return (v->cflags & REG_ICASE) != 0;
}

} // namespace Quil::IMPL::engine

// Quantified atoms: how often a stretch of the automaton stands, and what the tree keeps of it.

#pragma once

#include "regex/compile/regguts.h"

namespace Quil::IMPL::engine {

/// How often an atom may stand, and what its quantifier prefers: LONGER, SHORTER or 0.
struct quantifier {
    int min = 1;
    int max = 1; ///< DUPINF: no bound
    int preference = 0;

    bool once() const { return min == 1 && max == 1; }
    bool never() const { return max == 0; }
};

/// Makes the stretch from `lp` to `rp` stand `m` to `n` times.
void repeat(varsbase* v, state* lp, state* rp, int m, int n);

/// Divides `top` at an atom that the tree must know of, whose stretch from `lp` to `rp` is not
/// repeated yet: prefix, atom, rest of the branch. `top` becomes a concatenation; its right child's
/// right child stands for the rest, which is yet to be parsed and begins at that node's `begin`.
void divide(varsbase* v, subre* node, quantifier q, state* lp, state* rp, subre* top);

} // namespace Quil::IMPL::engine

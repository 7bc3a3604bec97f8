// Where the two sides of a concatenation meet, told by their characters alone: in `([^=]*)=(.*)` at
// the first equals sign, in `(.*)/([^/]*)` at the last slash. So no automaton has to look for it.
#pragma once

#include "regex/compile/nfa.h"
#include "regex/filter/colorset.h"

namespace Quil::IMPL::engine {

/// What is known of the meeting place of two automata. Value type.
class CHinge {
public:
    CHinge() = default;
    /// Nothing is known of a side without an automaton.
    CHinge(const cnfa& left, const cnfa& right);

    /// Nothing is known.
    bool empty() const { return __colors.empty(); }
    /// The place is told by what stands before it, wherever the match may end.
    bool ahead() const { return !empty() && !__last; }
    /// The one place at which [begin, end], which the two match together, can be divided; null if
    /// there is none.
    template <class Chr>
    const Chr* find(const Chr* begin, const Chr* end, const color* colors) const;

private:
    colorset __colors;     // of the characters that stand at the hinge
    bool __last = false;   // the last of them, not the first
    bool __behind = false; // the left side's own: the place is behind it
};

} // namespace Quil::IMPL::engine

// What an automaton tells of its matches beforehand: the sets of characters that they begin with,
// and a chain of sets that stands in each of them. A text can be searched for those at many times
// the speed of a matcher, which then has to look at the few places that are left.
#pragma once

#include "regex/compile/nfa.h"
#include "regex/filter/colorset.h"

#include <functional>
#include <vector>

namespace Quil::IMPL::engine {

/// How often a character of the set is to be expected, 0 to 1.
using colorweight = std::function<double(const colorset&)>;

/// Words of which every match begins with one, the character before it included if that matters.
/// A match that begins at the text's edge has no such character, so it may be missing there.
struct beginnings {
    std::vector<std::vector<colorset>> words;
    std::size_t places = 0; ///< of each word; 0: nothing can be told
    std::size_t behind = 0; ///< 1 if the first place is the one before the match
};

/// Words of up to `most` places; none for an automaton that takes the empty string, or with too
/// many beginnings.
beginnings findbeginnings(const cnfa& automaton, std::size_t most);

/// The number of the lookahead that is asked at the begin of every match, before anything else; 0
/// if there is none.
int leadinglookahead(const cnfa& automaton);

/// A chain that every match holds.
struct necessity {
    std::vector<colorset> chain; ///< empty: there is none
    colorset before;             ///< what may stand between a match's begin and the chain
    colorset inside;             ///< what may stand in a match
};

/// The chain of at most `most` sets that is to be expected least.
necessity findnecessity(const cnfa& automaton, std::size_t most, const colorweight& weight);

} // namespace Quil::IMPL::engine

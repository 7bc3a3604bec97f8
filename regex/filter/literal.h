// Search for a long literal. A DFA finds short ones as fast as anything does; but its states hold
// every beginning of the literal that the text could stand at, so a literal of length n may cost n
// steps for each of its n states. Here the same is told by one number a place, how much of the
// beginning matches, and by what is left of it after a mismatch.
#pragma once

#include "regex/compile/regguts.h"

#include <vector>

namespace Quil::IMPL::engine {

/// A chain of colors that a text is searched for. Owns its tables.
class CLiteral {
public:
    /// Shorter chains are better left to the DFA.
    static constexpr int LONG = 500;

    /// Takes over an automaton that is nothing but a long chain; else the object stays empty.
    explicit CLiteral(const cnfa& automaton);

    bool empty() const { return __chain.empty(); }
    /// The end of the first occurrence, or null. `looked` counts the characters.
    template <class Chr>
    const Chr* find(const Chr* start, const Chr* stop, const color* colors,
                    std::uint64_t& looked) const;

private:
    bool follow(const cnfa& automaton);
    void prepare();

    std::vector<int> __chain;
    std::vector<std::uint32_t> __rest; // how much still matches when the next color doesn't
};

} // namespace Quil::IMPL::engine

// The deterministic automaton of a scan: its loop is "color of the character, one table read, next
// state", and a state is made when the loop first asks for it.
// What complicates it: a state is a set of NFA states, there may be exponentially many of them, so
// they are kept in a cache that is emptied when it is full; and a transition that asked a lookahead
// depends on the text, so it is never kept.
#pragma once

#include "regex/compile/regguts.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Quil::IMPL::engine {

/// Answers a DFA's questions about lookahead constraints.
class ILookahead {
public:
    /// Whether lookahead `number` holds at `position` (characters from the text's start).
    virtual bool holds(int number, std::size_t position) = 0;

protected:
    ~ILookahead() = default;
};

/// How much memory the state caches of one context may take, and how many states each.
struct cachelimits {
    std::size_t used = 0;          ///< bytes taken now, by all caches together
    std::size_t bytes = 64u << 20; ///< a cache that would pass this is emptied first
    std::size_t leaststates = 512; ///< room for small automata that have many states
    bool smallcache = false;       ///< REG_SMALL: 7 states only
};

/// A lazily built DFA over one compact automaton. Owns its states; borrows the automaton and the
/// limits, which must outlive it. Not to be shared between threads.
///
/// A transition word holds the row of the state reached, a multiple of ROWUNIT, and in its low bits
/// what the loop has to know of that state, so that one load tells everything:
///
///     next = table()[(at & ROW) + color];
///
/// Rows stay valid until `generation()` changes.
class CDfa {
public:
    using transition = std::uint32_t;

    static constexpr transition STOP = 1;       ///< no state here: not known yet, or none at all
    static constexpr transition POST = 2;       ///< the automaton's post state is in the set
    static constexpr transition NOPROGRESS = 4; ///< a match can still be said not to have begun
    static constexpr transition SKIP = 8;       ///< marked by `markskip`
    static constexpr transition ROWUNIT = 16;
    static constexpr transition ROW = ~(ROWUNIT - 1);
    static constexpr transition UNSET = STOP;
    static constexpr transition DEAD = ROW | STOP; ///< the set is empty

    CDfa(const cnfa& automaton, cachelimits& limits);
    ~CDfa();
    CDfa(const CDfa&) = delete;
    CDfa& operator=(const CDfa&) = delete;

    const cnfa& automaton() const { return __automaton; }
    const transition* table() const { return __table.data(); }
    /// Counts how often the cache was emptied.
    std::uint32_t generation() const { return __generation; }

    /// The set that holds only the automaton's pre state.
    transition start() { return __start == UNSET ? makestart() : __start; }
    /// The state reached from `at` by `co`, or DEAD. `position` is where the scan stands behind the
    /// character; lookaheads are asked there. May empty the cache: `at` is then no state any more.
    transition step(transition at, int co, std::size_t position, ILookahead& lookahead) {
        const transition next = __table[(at & ROW) + static_cast<transition>(co)];
        if (next & STOP) {
            return next == DEAD ? DEAD : miss(at, co, position, lookahead);
        }
        return next;
    }
    /// Sets SKIP on every transition that leads to `state`.
    void markskip(transition state);

private:
    using word = std::uint64_t;
    static constexpr int WORDBITS = 64;
    static constexpr std::size_t SMALLSTATES = 7;
    static constexpr std::uint32_t NOSTATE = ~std::uint32_t{0};

    transition makestart();
    transition miss(transition at, int co, std::size_t position, ILookahead& lookahead);
    bool follow(const word* states, int co);
    bool asklookaheads(std::size_t position, ILookahead& lookahead);
    void reach(const carc& arc);
    std::uint32_t findset(word hash) const;
    std::uint32_t addset(word hash, transition flags);
    bool full() const;
    void flush();
    void rehash(std::size_t buckets);
    word hashwork() const;
    std::size_t bytes() const;
    void account();

    const cnfa& __automaton;
    cachelimits& __limits;
    std::size_t __words;  // words of one set
    std::size_t __stride; // table cells of one state
    std::size_t __maxstates;
    std::vector<transition> __table;
    std::vector<word> __sets;
    std::vector<word> __hashes;
    std::vector<transition> __entries;    // the transition word that leads to each state
    std::vector<std::uint32_t> __buckets; // hash table of states, open addressing
    std::vector<word> __work;             // the set under construction
    std::vector<int> __pending; // states of `work_` whose lookahead arcs were not followed
    transition __workflags = 0;
    transition __start = UNSET;
    std::uint32_t __generation = 0;
    std::size_t __accounted = 0;
};

} // namespace Quil::IMPL::engine

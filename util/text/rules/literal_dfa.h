// The automaton for texts in which matches are dense: an element costs one look into a table, not a
// way down for each place.
//
// A state is the longest beginning of a literal that the elements read last make up. What is sought
// is the leftmost match and there the longest: so a state on whose way a literal has ended falls
// back to none that begins later, and where it can't go on, the search is over.
//
// The table is one of two. A row for each state and a column for each kind of element is the
// fastest, as long as the cache has it. For more states the rows are laid into each other, as a
// double array: a cell says whose it is, and a state that has none for an element falls back.
#pragma once

#include "util/text/rules/literal_trie.h"

#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// A match, as an automaton finds it.
template <class T>
struct DFA_MATCH {
    const T* end = nullptr; ///< null: there is none
    std::uint32_t entry = 0;
};

/// The kinds of elements that the literals of a list tell: each that they have, and all others.
/// Those that fold to the same are of one kind.
template <class T>
class literal_kinds {
public:
    using kind = std::uint16_t;

    explicit literal_kinds(const literal_list<T>& list);

    /// How many there are; 0 if the literals have elements that can't be told.
    std::uint32_t count() const noexcept { return __count; }
    /// 0: it is in no literal.
    kind of(T element) const noexcept {
        const auto number = static_cast<std::uint32_t>(element);
        return sizeof(T) == 1 || number < TOLD ? __kinds[number] : kind{0};
    }

private:
    static constexpr std::uint32_t TOLD = sizeof(T) == 1 ? 0x100 : 0x10000;

    std::vector<kind> __kinds;
    std::uint32_t __count = 1;
};

/// Where the states of a trie go if they can't go on, for leftmost matches.
template <class T>
struct leftmost_links {
    static constexpr std::uint32_t DEAD = ~std::uint32_t{0};
    static constexpr std::uint32_t NONE = literal_trie<T, false>::NONE;

    explicit leftmost_links(const literal_trie<T, false>& trie);

    std::vector<std::uint32_t> fallback; ///< a shorter state; DEAD: the search is over
    std::vector<std::uint32_t> ended;    ///< the entry that has ended with a state; NONE: none has
};

/// The table with a row for each state. Only read once it is made.
template <class T>
class literal_dfa {
public:
    literal_dfa(const literal_trie<T, false>& trie, const leftmost_links<T>& links,
                const literal_kinds<T>& kinds);

    /// The leftmost match in [from, end), and of those the longest. `reached` becomes the place up
    /// to which the text was looked at.
    DFA_MATCH<T> find(const T* from, const T* end, const T*& reached) const {
        const std::uint32_t* const table = __table.data();
        DFA_MATCH<T> match;
        std::uint32_t state = 0;
        const T* at = from;
        while (at != end) {
            state = table[state + __kinds.of(*at++)];
            if (state & SPECIAL) {
                if (state == (SPECIAL | OVER)) {
                    break;
                }
                match = {at, __entries[(state & OVER) / __columns]};
                if (state & LEAF) {
                    break;
                }
                state &= OVER;
            }
        }
        reached = at;
        return match;
    }

private:
    static constexpr std::uint32_t SPECIAL = 0x80000000U; ///< a literal has ended, or all hope
    static constexpr std::uint32_t LEAF = 0x40000000U;    ///< ... and none goes on from there
    static constexpr std::uint32_t OVER = ~(SPECIAL | LEAF);

    const literal_kinds<T> __kinds;
    std::uint32_t __columns;
    std::vector<std::uint32_t> __table; ///< a state's number is where its row begins
    std::vector<std::uint32_t> __entries;
};

/// The rows laid into each other. Only read once it is made.
template <class T>
class literal_double_array {
public:
    literal_double_array(const literal_trie<T, false>& trie, const leftmost_links<T>& links,
                         const literal_kinds<T>& kinds);

    /// As that of the other table.
    DFA_MATCH<T> find(const T* from, const T* end, const T*& reached) const {
        const CELL* const cells = __cells.data();
        DFA_MATCH<T> match;
        std::uint32_t ended = ROOT; // the state that the match ended with
        std::uint32_t state = ROOT;
        const T* at = from;
        while (at != end) {
            const std::uint32_t next =
                (cells[state].base & ~ENDED) ^ static_cast<std::uint32_t>(__kinds.of(*at));
            if (cells[next].owner == state) {
                state = next;
                ++at;
                // Beginnings of literals are literals often enough to make a branch dear.
                const bool isEnd = (cells[next].base & ENDED) != 0;
                match.end = isEnd ? at : match.end;
                ended = isEnd ? next : ended;
            } else if (state == ROOT) {
                ++at;
            } else {
                state = __links[state].fallback;
                if (state == OVER) {
                    ++at;
                    break;
                }
            }
        }
        reached = at;
        match.entry = __links[ended].entry;
        return match;
    }

private:
    static constexpr std::uint32_t ROOT = 0;
    static constexpr std::uint32_t OVER = ~std::uint32_t{0};
    static constexpr std::uint32_t FREE = ~std::uint32_t{0};
    static constexpr std::uint32_t ENDED = 0x80000000U; ///< a literal has

    struct CELL {
        std::uint32_t base = 0; ///< a child's cell is this, but for the bits of its element's kind
        std::uint32_t owner = FREE;
    };
    struct LINKS {
        std::uint32_t fallback = ROOT;
        std::uint32_t entry = 0;
    };

    std::uint32_t __FindBase(const std::vector<std::uint16_t>& kinds);
    void __AddBlock();

    const literal_kinds<T> __kinds;
    std::uint32_t __block = 0; ///< cells that differ by kinds only
    std::vector<CELL> __cells;
    std::vector<LINKS> __links;    ///< of each cell
    std::uint32_t __firstOpen = 0; ///< the first block in which cells are still looked for
    std::vector<std::vector<std::uint32_t>> __free; ///< cells of each of these blocks
};

extern template class literal_kinds<unsigned char>;
extern template class literal_kinds<wchar_t>;
extern template struct leftmost_links<unsigned char>;
extern template struct leftmost_links<wchar_t>;
extern template class literal_dfa<unsigned char>;
extern template class literal_dfa<wchar_t>;
extern template class literal_double_array<unsigned char>;
extern template class literal_double_array<wchar_t>;

} // namespace Quil::IMPL

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

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Quil::IMPL {

/// A match, as an automaton finds it.
template <class T>
struct DFA_MATCH {
    const T* end;
    std::uint32_t entry; ///< of the list
};

/// Where an automaton puts the matches that it finds, and what that has cost.
template <class T>
struct DFA_MATCHES {
    static constexpr std::size_t MOST = 64;

    std::array<DFA_MATCH<T>, MOST> found;
    std::size_t count = 0;
    std::ptrdiff_t readTwice = 0; ///< elements, behind matches

    void add(const T* end, std::uint32_t entry, const T* reached) noexcept {
        found[count++] = {end, entry};
        readTwice += reached - end;
    }
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

    /// Finds the matches in [from, end), each the leftmost behind the one before, and of those the
    /// longest; as many as there is room for. Answers up to where there are no others.
    const T* find(const T* from, const T* end, DFA_MATCHES<T>& matches) const {
        const std::uint32_t* const table = __table.data();
        const T* at = from;
        const T* ended = nullptr; // where the match at hand does
        std::uint32_t entry = 0;
        std::uint32_t state = 0;
        const auto take = [&] {
            matches.add(ended, entry, at);
            at = std::exchange(ended, nullptr);
            state = 0;
        };
        while (matches.count < matches.found.size()) {
            if (at == end) {
                if (ended == nullptr) {
                    break;
                }
                take(); // there may be others behind it
                continue;
            }
            state = table[state + __kinds.of(*at++)];
            if (state & SPECIAL) {
                const bool isOver = state == (SPECIAL | OVER);
                if (!isOver) {
                    ended = at;
                    entry = __entries[(state & OVER) / __columns];
                }
                if (isOver || (state & LEAF) != 0) {
                    take();
                }
                state &= OVER;
            }
        }
        return at;
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
    const T* find(const T* from, const T* end, DFA_MATCHES<T>& matches) const {
        const CELL* const cells = __cells.data();
        const T* at = from;
        const T* ended = nullptr;
        std::uint32_t last = ROOT; // the state that the match at hand ended with
        std::uint32_t state = ROOT;
        const auto take = [&] {
            matches.add(ended, __links[last].entry, at);
            at = std::exchange(ended, nullptr);
            state = ROOT;
        };
        while (matches.count < matches.found.size()) {
            if (at == end) {
                if (ended == nullptr) {
                    break;
                }
                take();
                continue;
            }
            const std::uint32_t next =
                (cells[state].base & ~ENDED) ^ static_cast<std::uint32_t>(__kinds.of(*at));
            if (cells[next].owner == state) {
                state = next;
                ++at;
                // Beginnings of literals are literals often enough to make a branch dear.
                const bool isEnd = (cells[next].base & ENDED) != 0;
                ended = isEnd ? at : ended;
                last = isEnd ? next : last;
            } else if (state == ROOT) {
                ++at;
            } else {
                state = __links[state].fallback;
                if (state == OVER) {
                    ++at;
                    take();
                }
            }
        }
        return at;
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

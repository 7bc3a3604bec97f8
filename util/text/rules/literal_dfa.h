// The automaton for texts in which matches are dense: an element costs one look into a table, and
// where a match ends nothing has to be read again.
//
// A state is the longest beginning of a literal that the elements read last make up, as far as no
// match covers them. What is sought is the leftmost match and there the longest; so it is decided
// on when a state on whose way a literal has ended can't go on. What was read behind that match is
// then the beginning of something else, and since the state tells what it was, the table has where
// that leads to: so a state's row is filled from the row of the state that its end alone leads to.
#pragma once

#include "util/text/basic_buffer.h"
#include "util/text/rule_match.h"
#include "util/text/rules/literal_trie.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Quil::IMPL {

/// The kinds of elements that the literals of a list tell: each that they have, and all others.
/// Those that fold to the same are of one kind. The smallest numbers are of the most frequent ones.
template <class T>
class literal_kinds {
public:
    using kind = std::uint16_t;

    explicit literal_kinds(const literal_list<T>& list);

    /// No element is of this kind: a table has a column for something else.
    static constexpr kind UNUSED = 1;

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
    std::uint32_t __count = 0;
};

/// The table. Only read once it is made.
template <class T>
class literal_dfa {
public:
    using state = std::uint32_t; ///< where its row begins

    /// A match that is decided on when a state is left.
    struct DECIDED {
        std::uint32_t rule = 0;
        std::uint32_t length = 0;
        std::uint32_t behind = 0; ///< so many elements were read behind it
        bool hasMore = false;     ///< others may be in those
    };

    static constexpr state ROOT = 0;
    /// Cells that a table may have.
    static constexpr std::uint64_t MOST_CELLS = std::uint64_t{1} << 24;

    /// @param sample a text as those that will be read: the rows that it needs stand together
    literal_dfa(const literal_trie<T, false>& trie, const literal_list<T>& list,
                const literal_kinds<T>& kinds, text_ref<T> sample);

    /// Cells of the table for so many states.
    static std::uint64_t cells(std::uint64_t states, const literal_kinds<T>& kinds) {
        return states * kinds.count();
    }

    /// What a state becomes by an element.
    struct STEP {
        std::uint32_t cell;
        state next() const noexcept { return cell & ~LEFT; }
        /// 1: matches are decided on, those of the state that is left; else 0.
        std::uint32_t decides() const noexcept { return cell >> 31; }
    };
    STEP step(state from, T element) const noexcept {
        return {__table[from + __kinds.of(element)]};
    }
    /// The first match that is decided on if a state is left, or the text ends; of no length: none.
    const DECIDED& decided(state left) const noexcept {
        return __decided[__table[left + DECIDED_COLUMN]];
    }
    /// Asks memory for that.
    void prefetch_decided(state left) const noexcept {
        __builtin_prefetch(&__decided[__table[left + DECIDED_COLUMN]]);
    }

private:
    static constexpr std::uint32_t LEFT = 0x80000000U; ///< a state is, on which matches depended
    /// Stands beside that of elements in no literal, by which most states are left.
    static constexpr std::uint32_t DECIDED_COLUMN = literal_kinds<T>::UNUSED;

    /// A state while the table is filled.
    struct DRAFT {
        state row = 0;
        state fallback = 0; ///< that its end leads to once its match is decided on
        std::uint32_t decided = 0;
        bool isEnded = false; ///< a literal has on its way: nothing that begins later counts
        bool isMet = false;   ///< the sample has it
    };

    using trie_type = literal_trie<T, false>;
    static void __Meet(const trie_type& trie, bool folds, text_ref<T> sample,
                       std::vector<DRAFT>& drafts);
    void __PlaceRows(const trie_type& trie, std::vector<DRAFT>& drafts);
    void __FillRow(const DRAFT& draft);
    void __Draft(DRAFT& draft, const DRAFT& parent, T element);

    std::uint32_t __Add(const DECIDED& what) {
        __decided.push_back(what);
        return static_cast<std::uint32_t>(__decided.size() - 1);
    }

    const literal_kinds<T> __kinds;
    const std::uint32_t __columns;
    std::unique_ptr<std::uint32_t[]> __table; ///< a row for each state
    std::vector<DECIDED> __decided{1};
};

extern template class literal_kinds<unsigned char>;
extern template class literal_kinds<wchar_t>;
extern template class literal_dfa<unsigned char>;
extern template class literal_dfa<wchar_t>;

} // namespace Quil::IMPL

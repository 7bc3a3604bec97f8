// The automaton for texts in which matches are dense: a table with a row for each state and a column
// for each kind of element, so that an element costs one look into it.
//
// A state is the longest beginning of a literal that the elements read last make up. What is sought
// is the leftmost match and there the longest: so a state on whose way a literal has ended falls
// back to none that begins later, and where it can't go on, the search is over.
#pragma once

#include "util/text/rules/literal_trie.h"

#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// Of literals that match wherever they stand. Only read once it is made.
template <class T>
class literal_dfa {
public:
    struct MATCH {
        const T* end = nullptr; ///< null: there is none
        std::uint32_t entry = 0;
    };

    explicit literal_dfa(const literal_list<T>& list);

    /// False if its table would be too large to pay.
    static bool can_be(const literal_list<T>& list);

    /// The leftmost match in [from, end), and of those the longest. `reached` becomes the place up
    /// to which the text was looked at.
    MATCH find(const T* from, const T* end, const T*& reached) const {
        const std::uint32_t* const table = __table.data();
        const kind* const kinds = __kinds.data();
        MATCH match;
        std::uint32_t state = 0;
        const T* at = from;
        while (at != end) {
            state = table[state + __KindOf(kinds, *at++)];
            if (state & SPECIAL) {
                state &= ~SPECIAL;
                if (state == DEAD) {
                    break;
                }
                match = {at, __entries[state / __columns]};
            }
        }
        reached = at;
        return match;
    }

private:
    using trie = literal_trie<T, false>;
    using kind = std::uint16_t;

    static constexpr std::uint32_t SPECIAL = 0x80000000U; ///< a literal has ended, or all hope
    static constexpr std::uint32_t DEAD = ~SPECIAL;
    static constexpr std::uint32_t KINDS = sizeof(T) == 1 ? 0x100 : 0x10000; ///< of elements told

    static kind __KindOf(const kind* kinds, T element) noexcept {
        const auto number = static_cast<std::uint32_t>(element);
        return sizeof(T) == 1 || number < KINDS ? kinds[number] : kind{0};
    }
    static std::uint32_t __FindKinds(const literal_list<T>& list, std::vector<kind>& kinds);
    void __Fill(const trie& states);

    std::vector<kind> __kinds;          ///< of each element; 0: it is in no literal
    std::uint32_t __columns;
    std::vector<std::uint32_t> __table; ///< a state's number is where its row begins
    std::vector<std::uint32_t> __entries; ///< that end with each state
};

extern template class literal_dfa<unsigned char>;
extern template class literal_dfa<wchar_t>;

} // namespace Quil::IMPL

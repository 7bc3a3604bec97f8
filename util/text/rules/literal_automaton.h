// The automaton of Aho and Corasick over a set's literals read backwards: it tells for every place
// of a text which literals begin there, in a time that depends on the text's length alone.
//
// The loop: from a text's end to its front, follow the element from the state at hand, or from the
// nearest state that has a way for it. A state is the longest beginning of a reversed literal that
// the elements read last make up, so the literals that end a reversed text at a place, longest
// first, are those that begin there.
#pragma once

#include "util/text/rules/literal_trie.h"

#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// Serves where many literals nearly match at many places. Only read once it is made.
template <class T>
class literal_automaton {
public:
    explicit literal_automaton(const literal_list<T>& list);

    /// A walk over one text, from its end to its front.
    class walk {
    public:
        explicit walk(const literal_automaton& automaton) : __automaton(automaton) {}

        /// Reads the element in front of those that were read, and calls `use(entry)` for each
        /// literal that begins with it, the longest first, until that answers true.
        template <class Use>
        void read(T element, Use use) {
            const literal_automaton& a = __automaton;
            __state = a.__Follow(__state, element);
            std::uint32_t at =
                a.__trie.state(__state).entry != trie::NONE ? __state : a.__links[__state].shorter;
            while (at != 0 && !use(a.__trie.state(at).entry)) {
                at = a.__links[at].shorter;
            }
        }

    private:
        const literal_automaton& __automaton;
        std::uint32_t __state = 0;
    };

private:
    using trie = literal_trie<T, true>;

    struct LINKS {
        std::uint32_t fallback = 0; ///< the longest other state that ends the same text
        std::uint32_t shorter = 0;  ///< the longest literal among those; 0: there is none
    };

    std::uint32_t __Follow(std::uint32_t state, T element) const;

    trie __trie;
    std::vector<LINKS> __links;
};

extern template class literal_automaton<unsigned char>;
extern template class literal_automaton<wchar_t>;

} // namespace Quil::IMPL

// The automaton of Aho and Corasick over a set's literals read backwards: it tells for every place
// of a text which literals begin there, in a time that depends on the text's length alone.
//
// The loop: from a text's end to its front, follow the element from the state at hand, or from the
// nearest state that has a way for it. A state is the longest beginning of a reversed literal that
// the elements read last make up, so the literals that end a reversed text at a place, longest
// first, are those that begin there.
#pragma once

#include "util/text/rules/literal_tree.h"

#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// Serves where many literals nearly match at many places. Made from the list, which must stay;
/// then only read.
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
            __state = __automaton.__Follow(__state, element);
            const std::vector<STATE>& states = __automaton.__states;
            for (std::uint32_t at = states[__state].entry != NONE ? __state : states[__state].shorter;
                 at != 0 && !use(states[at].entry); at = states[at].shorter) {
            }
        }

    private:
        const literal_automaton& __automaton;
        std::uint32_t __state = 0;
    };

private:
    static constexpr std::uint32_t NONE = literal_tree<T>::NONE;

    struct STATE {
        std::uint32_t firstChild = 0;
        std::uint32_t children = 0;
        std::uint32_t fallback = 0; ///< the longest other state that ends the same text
        std::uint32_t shorter = 0;  ///< the longest literal among those; 0: there is none
        std::uint32_t entry = NONE; ///< of the list, that this state is
    };

    void __MakeStates();
    void __MakeFallbacks();
    std::uint32_t __Child(std::uint32_t state, T element) const;
    std::uint32_t __Follow(std::uint32_t state, T element) const;

    const literal_list<T>& __list;
    std::vector<STATE> __states; ///< the first one stands for nothing read
    std::vector<T> __edges;      ///< the element by which a state is come to
};

extern template class literal_automaton<unsigned char>;
extern template class literal_automaton<wchar_t>;

} // namespace Quil::IMPL

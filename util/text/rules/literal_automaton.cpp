#include "util/text/rules/literal_automaton.h"

namespace Quil::IMPL {

template <class T>
literal_automaton<T>::literal_automaton(const literal_list<T>& list)
    : __trie(list), __links(__trie.size()) {
    for (std::uint32_t state = 0; state < __trie.size(); ++state) {
        const auto& parent = __trie.state(state);
        for (std::uint32_t child = parent.firstChild; child < parent.firstChild + parent.children;
             ++child) {
            const std::uint32_t fallback =
                state == 0 ? 0 : __Follow(__links[state].fallback, __trie.edge(child));
            __links[child] = {fallback, __trie.state(fallback).entry != trie::NONE
                                            ? fallback
                                            : __links[fallback].shorter};
        }
    }
}

template <class T>
std::uint32_t literal_automaton<T>::__Follow(std::uint32_t state, T element) const {
    for (;;) {
        if (const std::uint32_t child = __trie.child(state, element); child != 0) {
            return child;
        }
        if (state == 0) {
            return 0;
        }
        state = __links[state].fallback;
    }
}

template class literal_automaton<unsigned char>;
template class literal_automaton<wchar_t>;

} // namespace Quil::IMPL

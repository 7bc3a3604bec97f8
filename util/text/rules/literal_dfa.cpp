// A row is made of the row of the state that it falls back to, which is complete by then, since it
// is of a lower level.
#include "util/text/rules/literal_dfa.h"

#include <algorithm>

namespace Quil::IMPL {

template <class T>
literal_dfa<T>::literal_dfa(const literal_list<T>& list)
    : __columns(__FindKinds(list, __kinds)) {
    __Fill(trie(list));
}

/// Numbers the elements that the literals have; answers how many numbers there are, with that of
/// all others. Elements that fold to the same have the same number.
template <class T>
std::uint32_t literal_dfa<T>::__FindKinds(const literal_list<T>& list, std::vector<kind>& kinds) {
    kinds.assign(KINDS, 0);
    std::uint32_t count = 1;
    for (const auto& entry : list.entries()) {
        const T* const text = list.text(entry);
        for (std::uint32_t i = 0; i < entry.length; ++i) {
            const auto number = static_cast<std::uint32_t>(text[i]);
            if (number >= KINDS) {
                return 0; // such elements aren't told
            }
            if (kinds[number] == 0) {
                kinds[number] = static_cast<kind>(count++);
            }
        }
    }
    if (list.folds()) {
        for (std::uint32_t number = 0; number < KINDS; ++number) {
            const T folded = fold_literal(static_cast<T>(number));
            kinds[number] = kinds[static_cast<std::uint32_t>(folded) % KINDS];
        }
    }
    return count;
}

template <class T>
bool literal_dfa<T>::can_be(const literal_list<T>& list) {
    constexpr std::uint64_t MOST_CELLS = std::uint64_t{1} << 24;
    std::uint64_t states = 1;
    for (const auto& entry : list.entries()) {
        states += entry.length;
    }
    std::vector<kind> kinds;
    const std::uint64_t columns = __FindKinds(list, kinds);
    // Literals in order share beginnings: the states are fewer than their elements.
    const T* last = nullptr;
    std::uint32_t lastLength = 0;
    for (const auto& entry : list.entries()) {
        const T* const text = list.text(entry);
        const std::uint32_t length = std::min(entry.length, lastLength);
        states -= last == nullptr ? 0
                                  : static_cast<std::uint64_t>(
                                        std::mismatch(text, text + length, last).first - text);
        last = text;
        lastLength = entry.length;
    }
    return columns != 0 && states * columns <= MOST_CELLS;
}

template <class T>
void literal_dfa<T>::__Fill(const trie& states) {
    const std::uint32_t count = states.size();
    std::vector<std::uint32_t> fallbacks(count, 0); // DEAD: none
    __table.resize(std::size_t{count} * __columns);
    __entries.assign(count, 0);
    const auto row = [this](std::uint32_t state) {
        return __table.begin() + static_cast<std::ptrdiff_t>(state) * __columns;
    };
    // A literal has ended with a state, or with one that it falls back to; whether it is its own.
    std::vector<std::uint8_t> ends(count, 0);
    for (std::uint32_t state = 0; state < count; ++state) {
        const auto& made = states.state(state);
        const std::uint32_t fallback = fallbacks[state];
        if (made.entry != trie::NONE) {
            ends[state] = 1;
            __entries[state] = made.entry;
            fallbacks[state] = DEAD;
        } else if (fallback != DEAD && ends[fallback] != 0) {
            ends[state] = 1;
            __entries[state] = __entries[fallback];
        }
        if (state == 0) {
            std::fill_n(row(0), __columns, 0);
        } else if (fallbacks[state] == DEAD) {
            std::fill_n(row(state), __columns, SPECIAL | DEAD);
        } else {
            std::copy_n(row(fallback), __columns, row(state));
        }
        for (std::uint32_t child = made.firstChild; child < made.firstChild + made.children;
             ++child) {
            const kind column = __KindOf(__kinds.data(), states.edge(child));
            std::uint32_t& cell = row(state)[column];
            // What the cell says so far is where the parent's fallback goes with the element.
            const std::uint32_t target = cell & ~SPECIAL;
            fallbacks[child] = target == DEAD ? DEAD : target / __columns;
            cell = child * __columns;
        }
    }
    for (std::uint32_t& cell : __table) {
        const std::uint32_t target = cell & ~SPECIAL;
        if (target != DEAD && ends[target / __columns] != 0) {
            cell |= SPECIAL;
        }
    }
}

template class literal_dfa<unsigned char>;
template class literal_dfa<wchar_t>;

} // namespace Quil::IMPL

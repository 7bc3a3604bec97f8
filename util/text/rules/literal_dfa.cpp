// Both tables are filled level by level, so that the row, or the cell, of a state that another one
// falls back to is there by then.
#include "util/text/rules/literal_dfa.h"

#include <algorithm>
#include <bit>

namespace Quil::IMPL {

template <class T>
literal_kinds<T>::literal_kinds(const literal_list<T>& list) : __kinds(TOLD, 0) {
    for (const auto& entry : list.entries()) {
        const T* const text = list.text(entry);
        for (std::uint32_t i = 0; i < entry.length; ++i) {
            const auto number = static_cast<std::uint32_t>(text[i]);
            if (number >= TOLD || __count == TOLD) {
                __count = 0;
                return;
            }
            if (__kinds[number] == 0) {
                __kinds[number] = static_cast<kind>(__count++);
            }
        }
    }
    for (std::uint32_t number = 0; list.folds() && number < TOLD; ++number) {
        const T folded = fold_literal(static_cast<T>(number));
        __kinds[number] = __kinds[static_cast<std::uint32_t>(folded) % TOLD];
    }
}

template <class T>
leftmost_links<T>::leftmost_links(const literal_trie<T, false>& trie)
    : fallback(trie.size(), 0), ended(trie.size(), NONE) {
    for (std::uint32_t state = 0; state < trie.size(); ++state) {
        const auto& made = trie.state(state);
        const std::uint32_t shorter = fallback[state];
        if (made.entry != NONE) {
            ended[state] = made.entry;
            fallback[state] = DEAD;
        } else if (shorter != DEAD) {
            ended[state] = ended[shorter];
        }
        for (std::uint32_t child = made.firstChild; child < made.firstChild + made.children;
             ++child) {
            std::uint32_t at = state == 0 ? 0 : fallback[state];
            std::uint32_t found = 0;
            while (state != 0 && at != DEAD && (found = trie.child(at, trie.edge(child))) == 0 &&
                   at != 0) {
                at = fallback[at];
            }
            fallback[child] = at == DEAD ? DEAD : found;
        }
    }
}

template <class T>
literal_dfa<T>::literal_dfa(const literal_trie<T, false>& trie, const leftmost_links<T>& links,
                            const literal_kinds<T>& kinds)
    : __kinds(kinds), __columns(kinds.count()), __table(std::size_t{trie.size()} * kinds.count()),
      __entries(links.ended) {
    const auto row = [this](std::uint32_t state) {
        return __table.begin() + static_cast<std::ptrdiff_t>(state) * __columns;
    };
    for (std::uint32_t state = 0; state < trie.size(); ++state) {
        const auto& made = trie.state(state);
        const std::uint32_t fallback = links.fallback[state];
        if (fallback == leftmost_links<T>::DEAD) {
            std::fill_n(row(state), __columns, SPECIAL | OVER);
        } else if (state != 0) {
            std::copy_n(row(fallback), __columns, row(state));
        }
        for (std::uint32_t child = made.firstChild; child < made.firstChild + made.children;
             ++child) {
            const bool isEnd = links.ended[child] != leftmost_links<T>::NONE;
            const bool isLeaf = trie.state(child).entry != leftmost_links<T>::NONE &&
                                trie.state(child).children == 0;
            row(state)[__kinds.of(trie.edge(child))] =
                child * __columns | (isEnd ? SPECIAL : 0) | (isLeaf ? LEAF : 0);
        }
    }
}

template <class T>
literal_double_array<T>::literal_double_array(const literal_trie<T, false>& trie,
                                              const leftmost_links<T>& links,
                                              const literal_kinds<T>& kinds)
    : __kinds(kinds), __block(std::bit_ceil(kinds.count())) {
    std::vector<std::uint32_t> cellOf(trie.size(), 0);
    std::vector<std::uint16_t> wanted;
    std::vector<std::uint32_t> open{0};
    __AddBlock();
    std::erase(__free.front(), ROOT);
    // Way by way, not level by level: so the states of a literal's end lie beside each other.
    while (!open.empty()) {
        const std::uint32_t state = open.back();
        open.pop_back();
        const auto& made = trie.state(state);
        if (made.children == 0) {
            continue;
        }
        wanted.clear();
        for (std::uint32_t i = 0; i < made.children; ++i) {
            wanted.push_back(__kinds.of(trie.edge(made.firstChild + i)));
            open.push_back(made.firstChild + i);
        }
        const std::uint32_t base = __FindBase(wanted);
        __cells[cellOf[state]].base = base;
        for (std::uint32_t i = 0; i < made.children; ++i) {
            cellOf[made.firstChild + i] = base ^ wanted[i];
            __cells[base ^ wanted[i]].owner = cellOf[state];
        }
    }
    __free.clear();
    __links.resize(__cells.size());
    for (std::uint32_t state = 0; state < trie.size(); ++state) {
        const std::uint32_t fallback = links.fallback[state];
        LINKS& made = __links[cellOf[state]];
        made.fallback = fallback == leftmost_links<T>::DEAD ? OVER : cellOf[fallback];
        if (links.ended[state] != leftmost_links<T>::NONE) {
            made.entry = links.ended[state];
            __cells[cellOf[state]].base |= ENDED;
        }
    }
}

template <class T>
void literal_double_array<T>::__AddBlock() {
    const auto begin = static_cast<std::uint32_t>(__cells.size());
    __cells.resize(begin + __block);
    auto& cells = __free.emplace_back(__block);
    std::iota(cells.begin(), cells.end(), begin);
}

/// A base by which these kinds have free cells, which are taken then.
template <class T>
std::uint32_t literal_double_array<T>::__FindBase(const std::vector<std::uint16_t>& kinds) {
    constexpr std::size_t OPEN_BLOCKS = 8;
    constexpr std::size_t TRIES = 16; // in each
    for (std::size_t number = __firstOpen;; ++number) {
        if (number == __free.size()) {
            __AddBlock();
        }
        std::vector<std::uint32_t>& cells = __free[number];
        const std::size_t tries = std::min(cells.size(), TRIES);
        for (std::size_t i = 0; i < tries; ++i) {
            const std::uint32_t base = cells[cells.size() - 1 - i] ^ kinds.front();
            const bool isFree = std::ranges::all_of(kinds, [&](std::uint16_t kind) {
                return std::ranges::binary_search(cells, base ^ kind);
            });
            if (!isFree) {
                continue;
            }
            for (const std::uint16_t kind : kinds) {
                cells.erase(std::ranges::lower_bound(cells, base ^ kind));
            }
            while (__free.size() - __firstOpen > OPEN_BLOCKS ||
                   (__firstOpen < __free.size() && __free[__firstOpen].empty())) {
                ++__firstOpen;
            }
            return base;
        }
    }
}

template class literal_kinds<unsigned char>;
template class literal_kinds<wchar_t>;
template struct leftmost_links<unsigned char>;
template struct leftmost_links<wchar_t>;
template class literal_dfa<unsigned char>;
template class literal_dfa<wchar_t>;
template class literal_double_array<unsigned char>;
template class literal_double_array<wchar_t>;

} // namespace Quil::IMPL

// The table is filled level by level, so that the rows of all shorter states are there when a state
// needs one of them.
#include "util/text/rules/literal_dfa.h"

#include <algorithm>
#include <functional>
#include <span>

namespace Quil::IMPL {

template <class T>
literal_kinds<T>::literal_kinds(const literal_list<T>& list) : __kinds(TOLD, 0) {
    std::vector<std::uint32_t> frequencies(TOLD, 0);
    std::vector<std::uint32_t> told;
    for (const auto& entry : list.entries()) {
        for (const T element : std::span(list.text(entry), entry.length)) {
            const auto number = static_cast<std::uint32_t>(element);
            if (number >= TOLD) {
                return;
            }
            if (frequencies[number]++ == 0) {
                told.push_back(number);
            }
        }
    }
    constexpr std::uint32_t FIRST = UNUSED + 1;
    if (told.size() > TOLD - FIRST) {
        return;
    }
    std::ranges::stable_sort(told, std::greater(),
                             [&](auto number) { return frequencies[number]; });
    __count = FIRST;
    for (const std::uint32_t number : told) {
        __kinds[number] = static_cast<kind>(__count++);
    }
    for (std::uint32_t number = 0; list.folds() && number < TOLD; ++number) {
        const T folded = fold_literal(static_cast<T>(number));
        __kinds[number] = __kinds[static_cast<std::uint32_t>(folded) % TOLD];
    }
}

template <class T>
literal_dfa<T>::literal_dfa(const literal_trie<T, false>& trie, const literal_list<T>& list,
                            const literal_kinds<T>& kinds, text_ref<T> sample)
    : __kinds(kinds), __columns(kinds.count()),
      __table(std::make_unique_for_overwrite<std::uint32_t[]>(cells(trie.size(), kinds))) {
    std::vector<DRAFT> drafts(trie.size());
    __Meet(trie, list.folds(), sample, drafts);
    __PlaceRows(trie, drafts);
    for (std::uint32_t number = 0; number < trie.size(); ++number) {
        const auto& made = trie.state(number);
        const DRAFT& draft = drafts[number];
        if (number == 0) {
            std::fill_n(__table.get(), __columns, ROOT);
        } else {
            __FillRow(draft);
        }
        for (std::uint32_t i = 0; i < made.children; ++i) {
            const std::uint32_t child = made.firstChild + i;
            const std::uint32_t entry = trie.state(child).entry;
            DRAFT& next = drafts[child];
            if (entry != literal_trie<T, false>::NONE) {
                const auto& literal = list.entries()[entry];
                next.isEnded = true;
                next.decided = __Add({literal.rule, literal.length, 0, false});
            } else if (number != 0) {
                __Draft(next, draft, trie.edge(child));
            }
            __table[draft.row + __kinds.of(trie.edge(child))] = next.row;
        }
    }
}

/// Marks the states that a sample has.
template <class T>
void literal_dfa<T>::__Meet(const trie_type& trie, bool folds, text_ref<T> sample,
                            std::vector<DRAFT>& drafts) {
    constexpr unsigned int ENOUGH = 64 * 1024;
    constexpr unsigned int MOST_DEPTH = 64; // so that no text takes long
    drafts[0].isMet = true;
    for (unsigned int begin = 0; begin < std::min(sample.length, ENOUGH); ++begin) {
        const unsigned int end = std::min(begin + MOST_DEPTH, sample.length);
        std::uint32_t number = 0;
        for (unsigned int at = begin; at < end; ++at) {
            const T element = sample.data[at];
            number = trie.child(number, folds ? fold_literal(element) : element);
            if (number == 0) {
                break;
            }
            drafts[number].isMet = true;
        }
    }
}

/// Places the rows, those of the states that were met first, each behind that of its parent: so
/// what is read often shares pages, and lines of the cache.
template <class T>
void literal_dfa<T>::__PlaceRows(const trie_type& trie, std::vector<DRAFT>& drafts) {
    const auto eachChild = [&](std::uint32_t number, auto act) {
        const auto& made = trie.state(number);
        for (std::uint32_t i = 0; i < made.children; ++i) {
            act(made.firstChild + i);
        }
    };
    std::vector<std::uint32_t> rows(trie.size());   // of each state and all below it
    std::vector<std::uint32_t> places(trie.size()); // where those begin
    std::uint32_t placed = 0;
    for (const bool isMet : {true, false}) {
        for (std::uint32_t number = trie.size(); number-- > 0;) {
            rows[number] = drafts[number].isMet == isMet ? 1 : 0;
            eachChild(number, [&](std::uint32_t child) { rows[number] += rows[child]; });
        }
        places[0] = placed;
        for (std::uint32_t number = 0; number < trie.size(); ++number) {
            std::uint32_t next = places[number];
            if (drafts[number].isMet == isMet) {
                drafts[number].row = next++ * __columns;
            }
            eachChild(number, [&](std::uint32_t child) {
                places[child] = next;
                next += rows[child];
            });
        }
        placed += rows[0];
    }
}

/// Fills the row of a state as far as it can't go on.
template <class T>
void literal_dfa<T>::__FillRow(const DRAFT& draft) {
    const std::uint32_t* const from = __table.get() + draft.fallback;
    std::uint32_t* const row = __table.get() + draft.row;
    const std::uint32_t left = draft.isEnded ? LEFT : 0;
    std::transform(from, from + __columns, row, [left](std::uint32_t cell) { return cell | left; });
    row[DECIDED_COLUMN] = draft.isEnded ? draft.decided : from[DECIDED_COLUMN];
    if (draft.isEnded && from[DECIDED_COLUMN] != 0) {
        __decided[draft.decided].hasMore = true;
    }
}

/// What a state, which is no literal, falls back to, and what is decided on then. Its parent isn't
/// the root.
template <class T>
void literal_dfa<T>::__Draft(DRAFT& draft, const DRAFT& parent, T element) {
    const STEP fallen = step(parent.fallback, element);
    draft.fallback = fallen.next();
    draft.isEnded = parent.isEnded || fallen.decides() != 0;
    if (draft.isEnded) {
        DECIDED what = parent.isEnded ? __decided[parent.decided] : decided(parent.fallback);
        what.behind += 1;
        draft.decided = __Add(what);
    }
}

template class literal_kinds<unsigned char>;
template class literal_kinds<wchar_t>;
template class literal_dfa<unsigned char>;
template class literal_dfa<wchar_t>;

} // namespace Quil::IMPL

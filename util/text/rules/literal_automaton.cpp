// The states are made level by level, so a state's children stand together and every state behind
// those that it falls back to.
#include "util/text/rules/literal_automaton.h"

#include <algorithm>
#include <numeric>

namespace Quil::IMPL {

template <class T>
literal_automaton<T>::literal_automaton(const literal_list<T>& list) : __list(list) {
    __MakeStates();
    __MakeFallbacks();
}

template <class T>
void literal_automaton<T>::__MakeStates() {
    const auto& entries = __list.entries();
    const auto backwards = [&](std::uint32_t entry, std::uint32_t depth) {
        return __list.text(entries[entry])[entries[entry].length - 1 - depth];
    };
    std::vector<std::uint32_t> order(entries.size());
    std::iota(order.begin(), order.end(), 0U);
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        const std::uint32_t common = std::min(entries[a].length, entries[b].length);
        for (std::uint32_t depth = 0; depth < common; ++depth) {
            if (backwards(a, depth) != backwards(b, depth)) {
                return backwards(a, depth) < backwards(b, depth);
            }
        }
        return entries[a].length < entries[b].length;
    });
    struct RANGE {
        std::uint32_t begin;
        std::uint32_t end;
    };
    std::vector<RANGE> level{{0, static_cast<std::uint32_t>(order.size())}};
    std::vector<RANGE> next;
    std::uint32_t state = 0;
    __states.emplace_back();
    __edges.emplace_back();
    for (std::uint32_t depth = 0; !level.empty(); ++depth) {
        next.clear();
        for (RANGE range : level) {
            if (range.begin < range.end && entries[order[range.begin]].length == depth) {
                __states[state].entry = order[range.begin++];
            }
            __states[state].firstChild = static_cast<std::uint32_t>(__states.size());
            while (range.begin < range.end) {
                const T element = backwards(order[range.begin], depth);
                std::uint32_t end = range.begin + 1;
                while (end < range.end && backwards(order[end], depth) == element) {
                    ++end;
                }
                next.push_back({range.begin, end});
                __states.emplace_back();
                __edges.push_back(element);
                ++__states[state].children;
                range.begin = end;
            }
            ++state;
        }
        level.swap(next);
    }
}

template <class T>
void literal_automaton<T>::__MakeFallbacks() {
    for (std::uint32_t state = 0; state < __states.size(); ++state) {
        const STATE parent = __states[state];
        for (std::uint32_t child = parent.firstChild; child < parent.firstChild + parent.children;
             ++child) {
            STATE& made = __states[child];
            made.fallback = state == 0 ? 0 : __Follow(parent.fallback, __edges[child]);
            const STATE& behind = __states[made.fallback];
            made.shorter = behind.entry != NONE ? made.fallback : behind.shorter;
        }
    }
}

/// The state's child behind the element; 0 if there is none.
template <class T>
std::uint32_t literal_automaton<T>::__Child(std::uint32_t state, T element) const {
    const T* const first = __edges.data() + __states[state].firstChild;
    const T* const last = first + __states[state].children;
    const T* const found = std::lower_bound(first, last, element);
    return found != last && *found == element
               ? static_cast<std::uint32_t>(found - __edges.data())
               : 0;
}

template <class T>
std::uint32_t literal_automaton<T>::__Follow(std::uint32_t state, T element) const {
    for (;;) {
        if (const std::uint32_t child = __Child(state, element); child != 0) {
            return child;
        }
        if (state == 0) {
            return 0;
        }
        state = __states[state].fallback;
    }
}

template class literal_automaton<unsigned char>;
template class literal_automaton<wchar_t>;

} // namespace Quil::IMPL

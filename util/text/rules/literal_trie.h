// The literals of a list as states, one for each of their beginnings, or read backwards one for
// each of their ends: what automata are made of. A state is come to by one element from its parent.
//
// The states are numbered level by level: so a state's children stand together, in the order of
// their elements, and each state stands behind every shorter one.
#pragma once

#include "util/text/rules/literal_tree.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

namespace Quil::IMPL {

template <class T, bool Backwards>
class literal_trie {
public:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};

    struct STATE {
        std::uint32_t firstChild = 0;
        std::uint32_t children = 0;
        std::uint32_t entry = NONE; ///< of the list, that this state is
    };

    explicit literal_trie(const literal_list<T>& list) : __list(list) {
        struct RANGE {
            std::uint32_t begin;
            std::uint32_t end;
        };
        const std::vector<std::uint32_t> order = __Order();
        const auto length = [&](std::uint32_t i) { return list.entries()[order[i]].length; };
        std::vector<RANGE> level{{0, static_cast<std::uint32_t>(order.size())}};
        std::vector<RANGE> next;
        std::uint32_t state = 0;
        __states.emplace_back();
        __edges.emplace_back();
        for (std::uint32_t depth = 0; !level.empty(); ++depth) {
            next.clear();
            for (RANGE range : level) {
                if (range.begin < range.end && length(range.begin) == depth) {
                    __states[state].entry = order[range.begin++];
                }
                __states[state].firstChild = static_cast<std::uint32_t>(__states.size());
                while (range.begin < range.end) {
                    const T element = __At(order[range.begin], depth);
                    std::uint32_t end = range.begin + 1;
                    while (end < range.end && __At(order[end], depth) == element) {
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

    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(__states.size()); }
    const STATE& state(std::uint32_t number) const noexcept { return __states[number]; }
    /// The element by which a state is come to.
    T edge(std::uint32_t number) const noexcept { return __edges[number]; }

    /// The state's child behind an element; 0 if there is none.
    std::uint32_t child(std::uint32_t number, T element) const noexcept {
        const T* const first = __edges.data() + __states[number].firstChild;
        const T* const last = first + __states[number].children;
        const T* const found = std::lower_bound(first, last, element);
        return found != last && *found == element
                   ? static_cast<std::uint32_t>(found - __edges.data())
                   : 0;
    }

private:
    T __At(std::uint32_t entry, std::uint32_t depth) const {
        const auto& literal = __list.entries()[entry];
        return __list.text(literal)[Backwards ? literal.length - 1 - depth : depth];
    }

    /// The entries in the order of their texts as they are read.
    std::vector<std::uint32_t> __Order() const {
        const auto& entries = __list.entries();
        std::vector<std::uint32_t> order(entries.size());
        std::iota(order.begin(), order.end(), 0U);
        if constexpr (Backwards) {
            std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
                const std::uint32_t common = std::min(entries[a].length, entries[b].length);
                for (std::uint32_t depth = 0; depth < common; ++depth) {
                    if (__At(a, depth) != __At(b, depth)) {
                        return __At(a, depth) < __At(b, depth);
                    }
                }
                return entries[a].length < entries[b].length;
            });
        }
        return order;
    }

    const literal_list<T>& __list;
    std::vector<STATE> __states; ///< the first one stands for nothing read
    std::vector<T> __edges;
};

} // namespace Quil::IMPL

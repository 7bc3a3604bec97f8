// The literals of a set in order, and as a tree of what they have in common: so the longest one
// that a text begins with is found by one way down.
//
// A node stands for a stretch of elements, not for one, so a list of a hundred thousand words has
// at most twice as many nodes, and most ways are three or four long.
#pragma once

#include "util/base/lanes.h"
#include "util/text/rules/literal_fold.h"
#include "util/text/rules/prefix_filter.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Quil::IMPL {

/// One of the literals that a set is made of. Borrows the text.
template <class T>
struct LITERAL {
    text_ref<T> text; ///< not empty
    unsigned int rule;
    bool noCase;
    bool wholeWord;
};

/// Different literals, sorted. Those that differ by their rules only, or, where case is folded, by
/// their case only, are one entry.
template <class T>
class literal_list {
public:
    struct ENTRY {
        std::uint32_t begin; ///< of its text
        std::uint32_t length;
        std::uint32_t first; ///< of its owners
        std::uint32_t count;
        unsigned int rule; ///< of the first one
    };
    struct OWNER {
        unsigned int rule;
        bool wholeWord;
        const T* exact; ///< the text as it must stand; null: any case does
    };

    literal_list(std::span<const LITERAL<T>> literals, bool folds);

    const std::vector<ENTRY>& entries() const noexcept { return __entries; }
    const T* text(const ENTRY& entry) const noexcept { return at(entry.begin); }
    const T* at(std::uint32_t place) const noexcept { return __text.data() + place; }
    /// Those whose literal it is, by their rules.
    std::span<const OWNER> owners(const ENTRY& entry) const noexcept {
        return {__owners.data() + entry.first, entry.count};
    }
    bool folds() const noexcept { return __folds; }
    unsigned int longest() const noexcept { return __longest; }

    /// Whether a literal begins with this text and goes on behind it.
    bool begins_with(const T* text, unsigned int length) const;

private:
    struct KEY {
        std::uint64_t word;
        std::uint32_t literal;
    };

    std::vector<T> __text; ///< folded, if it is to be
    std::vector<ENTRY> __entries;
    std::vector<OWNER> __owners;
    bool __folds;
    unsigned int __longest = 0;
};

/// The tree. A way down begins at the node of a prefix.
template <class T>
class literal_tree {
public:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};

    struct NODE {
        std::uint32_t text;  ///< where a text stands that has all of the way to this node ...
        std::uint32_t depth; ///< ... which is so many elements long
        std::uint32_t entry; ///< that ends here; NONE: none does
        std::uint32_t firstChild;
        std::uint32_t children;
    };

    explicit literal_tree(const literal_list<T>& list) : __list(list) {
        __nodes.push_back({}); // number 0 stands for none
        __edges.push_back({});
    }

    /// Adds the tree of these entries, which are sorted and begin with the same elements. Answers
    /// its root.
    std::uint32_t add(std::span<const std::uint32_t> entries);

    const NODE& node(std::uint32_t number) const noexcept { return __nodes[number]; }
    /// Ends the adding: what follows wants some room behind the last element.
    void close() { __edges.resize(__edges.size() + LANES_SIZE); }

    /// The child behind an element; 0 if there is none.
    std::uint32_t child(const NODE& node, T element) const noexcept {
        constexpr std::uint32_t AT_ONCE = LANES_SIZE / sizeof(T);
        const T* const edges = __edges.data() + node.firstChild;
        std::uint32_t low = 0;
        if constexpr (sizeof(T) != 1) {
            for (std::uint32_t high = node.children; high - low > AT_ONCE;) {
                const std::uint32_t middle = low + (high - low) / 2;
                (edges[middle] <= element ? low : high) = middle;
            }
        }
        for (; low < node.children; low += AT_ONCE) {
            using lane = std::conditional_t<sizeof(T) == 1, std::uint8_t, std::int32_t>;
            const auto same = LoadLanes<LANES<lane>>(edges + low) == static_cast<lane>(element);
            const std::uint64_t bits = LaneBits(std::bit_cast<LANES<lane>>(same));
            if (bits != 0) {
                const auto at = low + static_cast<std::uint32_t>(std::countr_zero(bits));
                return at < node.children ? node.firstChild + at : 0;
            }
        }
        return 0;
    }
    std::size_t size() const noexcept { return __nodes.size(); }
    /// Which elements lead on from a node, as a root has it.
    std::uint64_t next_bits(std::uint32_t number) const noexcept {
        const NODE& node = __nodes[number];
        std::uint64_t bits = node.entry != NONE ? prefix_table::ROOT::ALL : 0;
        for (std::uint32_t i = 0; i < node.children; ++i) {
            bits |= prefix_table::ROOT::bit(__edges[node.firstChild + i]);
        }
        return bits;
    }

    /// Have the memory come that a way down from a node asks for: the node, and then what it names.
    void prefetch(std::uint32_t number) const noexcept {
        __builtin_prefetch(__nodes.data() + number);
    }
    void prefetch_way(std::uint32_t number) const noexcept {
        const NODE& node = __nodes[number];
        __builtin_prefetch(__list.at(node.text));
        __builtin_prefetch(__edges.data() + node.firstChild);
        __builtin_prefetch(__nodes.data() + node.firstChild);
    }

private:
    struct RANGE {
        std::uint32_t node;
        std::uint32_t begin;
        std::uint32_t end;
        std::uint32_t common; ///< elements that they begin with
    };

    void __Spread(std::span<const std::uint32_t> entries, const RANGE& range);

    const literal_list<T>& __list;
    std::vector<NODE> __nodes;
    std::vector<T> __edges; ///< the element by which a node is entered from its parent
    std::vector<RANGE> __open;
};

extern template class literal_list<unsigned char>;
extern template class literal_list<wchar_t>;
extern template class literal_tree<unsigned char>;
extern template class literal_tree<wchar_t>;

} // namespace Quil::IMPL

// Where in a text a literal of a large set may begin: the first elements of every place, as one
// number, are looked up in a set of bits.
//
// What complicates it: literals of one element and of twenty stand in one list, and what all have
// in common, the first element, tells nothing. So the literals fall into a few classes by their
// lengths, each looked up by as many elements as its shortest one has.
#pragma once

#include "util/text/rules/literal_fold.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Quil::IMPL {

/// The first elements of a text as a number.
template <class T>
struct prefix_word;

template <>
struct prefix_word<unsigned char> {
    static constexpr unsigned int MOST = 8; ///< elements
    static constexpr unsigned int BITS = 8; ///< of each
    static constexpr double RARITY = 10;    ///< one of so many is any one in particular, about

    /// All MOST of them must be there.
    static std::uint64_t load(const unsigned char* text) noexcept {
        std::uint64_t word;
        std::memcpy(&word, text, sizeof word);
        if constexpr (std::endian::native == std::endian::big) {
            word = __builtin_bswap64(word);
        }
        return word;
    }
    /// Folded in haste: some elements beside letters count as equal, too.
    static std::uint64_t blur(std::uint64_t word) noexcept { return word | 0x2020202020202020; }
};

/// The word of the folded elements.
template <class T>
std::uint64_t fold_word(std::uint64_t word) noexcept {
    constexpr unsigned int BITS = prefix_word<T>::BITS;
    std::uint64_t folded = 0;
    for (unsigned int i = 0; i < prefix_word<T>::MOST; ++i) {
        const auto element = word >> (BITS * i) & ((std::uint64_t{1} << BITS) - 1);
        const auto lower = static_cast<std::uint64_t>(fold_literal(static_cast<T>(element)));
        folded |= (lower & ((std::uint64_t{1} << BITS) - 1)) << (BITS * i);
    }
    return folded;
}

template <>
struct prefix_word<wchar_t> {
    static constexpr unsigned int MOST = 3;
    static constexpr unsigned int BITS = 21;
    static constexpr double RARITY = 20;

    static std::uint64_t load(const wchar_t* text) noexcept {
        std::uint64_t word = 0;
        for (unsigned int i = 0; i < MOST; ++i) {
            word |= (static_cast<std::uint64_t>(text[i]) & 0x1FFFFF) << (BITS * i);
        }
        return word;
    }
    static std::uint64_t blur(std::uint64_t word) noexcept { return fold_word<wchar_t>(word); }
};

/// The prefixes of one class of literals, each with the node of a tree that has those that begin
/// with it.
class prefix_class {
public:
    struct SLOT {
        std::uint64_t prefix;
        std::uint32_t node; ///< 0: the slot is free
    };

    /// @param length elements of a prefix
    /// @param bits of an element
    /// @param prefixes how many different ones there are
    prefix_class(unsigned int length, unsigned int bits, std::size_t prefixes)
        : __length(length),
          __mask(length * bits == 64 ? ~std::uint64_t{0}
                                     : (std::uint64_t{1} << (length * bits)) - 1) {
        constexpr unsigned int LEAST = 12;
        constexpr unsigned int MOST = 21; // beyond which a second level cache holds less than all
        constexpr std::size_t BITS_FOR_EACH = 16;
        const auto log = [](std::size_t n) { return static_cast<unsigned int>(std::bit_width(n)); };
        const unsigned int filterLog = std::clamp(log(prefixes * BITS_FOR_EACH), LEAST, MOST);
        const unsigned int slotLog = std::max(4U, log(prefixes * 2));
        __filterShift = 64 - filterLog;
        __slotShift = 64 - slotLog;
        __filter.resize((std::size_t{1} << filterLog) / 64);
        __slots.resize(std::size_t{1} << slotLog);
    }

    unsigned int length() const noexcept { return __length; }

    /// @param blurred the word as `may_have` is asked about it
    void add(std::uint64_t word, std::uint64_t blurred, std::uint32_t node) noexcept {
        const std::uint64_t bit = __hash(blurred) >> __filterShift;
        __filter[bit / 64] |= std::uint64_t{1} << (bit % 64);
        std::size_t at = __hash(word) >> __slotShift;
        while (__slots[at].node != 0) {
            at = (at + 1) & (__slots.size() - 1);
        }
        __slots[at] = {word & __mask, node};
    }

    /// False if no prefix begins the word.
    bool may_have(std::uint64_t word) const noexcept {
        const std::uint64_t bit = __hash(word) >> __filterShift;
        return (__filter[bit / 64] >> (bit % 64) & 1U) != 0;
    }

    /// The node of the prefix that begins the word; 0 if there is none.
    std::uint32_t find(std::uint64_t word) const noexcept {
        std::size_t at = __hash(word) >> __slotShift;
        while (__slots[at].node != 0 && __slots[at].prefix != (word & __mask)) {
            at = (at + 1) & (__slots.size() - 1);
        }
        return __slots[at].node;
    }

private:
    std::uint64_t __hash(std::uint64_t word) const noexcept {
        return (word & __mask) * 0x9E3779B97F4A7C15U;
    }

    unsigned int __length;
    std::uint64_t __mask;
    unsigned int __filterShift = 0;
    unsigned int __slotShift = 0;
    std::vector<std::uint64_t> __filter;
    std::vector<SLOT> __slots;
};

} // namespace Quil::IMPL

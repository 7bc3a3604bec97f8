// Where in a text a literal of a large set may begin: the first elements of every place, as one
// number, are looked up in a set of bits.
//
// What complicates it: literals of one element and of twenty stand in one list, and what all have
// in common, the first element, tells nothing. So the literals fall into a few classes by their
// lengths, each looked up by as many elements as its shortest one has; and where that says yes,
// once more by as many as each one has, in steps.
#pragma once

#include "util/text/rules/literal_fold.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Quil::IMPL {

/// The first elements of a text as a number, or as two of them.
template <class T>
struct prefix_word;

template <>
struct prefix_word<unsigned char> {
    static constexpr unsigned int HALF = 8; ///< elements of one number
    static constexpr unsigned int BITS = 8; ///< of each
    static constexpr unsigned int END = 4;  ///< elements of a number that tells of an end
    static constexpr unsigned int STEP = 3; ///< elements more that longer literals are looked up by

    /// All HALF elements must be there.
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

    /// The END elements in front of a place.
    static std::uint32_t end(const unsigned char* place) noexcept {
        std::uint32_t word;
        std::memcpy(&word, place - END, sizeof word);
        return word;
    }
    static std::uint32_t blur_end(std::uint32_t word) noexcept { return word | 0x20202020; }
};

template <>
struct prefix_word<wchar_t> {
    static constexpr unsigned int HALF = 3;
    static constexpr unsigned int BITS = 21;
    static constexpr unsigned int END = 1;
    static constexpr unsigned int STEP = 1;

    static std::uint64_t load(const wchar_t* text) noexcept {
        std::uint64_t word = 0;
        for (unsigned int i = 0; i < HALF; ++i) {
            word |= (static_cast<std::uint64_t>(text[i]) & 0x1FFFFF) << (BITS * i);
        }
        return word;
    }
    static std::uint64_t blur(std::uint64_t word) noexcept {
        std::uint64_t folded = 0;
        for (unsigned int i = 0; i < HALF; ++i) {
            const auto element = static_cast<wchar_t>(word >> (BITS * i) & 0x1FFFFF);
            folded |= (static_cast<std::uint64_t>(fold_literal(element)) & 0x1FFFFF) << (BITS * i);
        }
        return folded;
    }

    static std::uint32_t end(const wchar_t* place) noexcept {
        return static_cast<std::uint32_t>(place[-1]);
    }
    static std::uint32_t blur_end(std::uint32_t word) noexcept {
        return static_cast<std::uint32_t>(fold_literal(static_cast<wchar_t>(word)));
    }
};

/// Elements that a prefix has at most.
template <class T>
constexpr unsigned int MOST_OF_PREFIX = 2 * prefix_word<T>::HALF;

/// The first elements of a text, from which who looks takes as many as it needs.
struct PREFIX {
    std::uint64_t low;
    std::uint64_t high; ///< of the elements behind those

    /// What masks so many elements of `bits` each, `half` in each word.
    static constexpr PREFIX Mask(unsigned int elements, unsigned int half, unsigned int bits) {
        const auto mask = [bits](unsigned int count) {
            return count * bits >= 64 ? ~std::uint64_t{0}
                                      : (std::uint64_t{1} << (count * bits)) - 1;
        };
        return {mask(std::min(elements, half)), elements > half ? mask(elements - half) : 0};
    }
};

/// The first elements of a text, all of which must be there. Folded ones are folded in haste, which
/// makes candidates of places that aren't, but leaves none out.
template <class T>
PREFIX prefix_of(const T* text, bool folds) noexcept {
    using word = prefix_word<T>;
    const PREFIX exact{word::load(text), word::load(text + word::HALF)};
    return folds ? PREFIX{word::blur(exact.low), word::blur(exact.high)} : exact;
}

/// A set of hashes that says yes to all that it has, and to few others.
class prefix_bits {
public:
    /// @param bits for each of them: more make it say no more often, and fill the cache
    prefix_bits(std::size_t count, std::size_t bits) {
        constexpr unsigned int LEAST = 12;
        constexpr unsigned int MOST = 21; // beyond which a second level cache holds less than all
        const auto log = static_cast<unsigned int>(std::bit_width(count * bits));
        __shift = 64 - std::clamp(log, LEAST, MOST);
        __bits.resize((std::size_t{1} << (64 - __shift)) / 64);
    }

    void add(std::uint64_t hash) noexcept {
        const std::uint64_t bit = hash >> __shift;
        __bits[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
    /// 0 or 1.
    std::uint64_t may_have(std::uint64_t hash) const noexcept {
        const std::uint64_t bit = hash >> __shift;
        return __bits[bit / 64] >> (bit % 64) & 1U;
    }

private:
    unsigned int __shift;
    std::vector<std::uint64_t> __bits;
};

/// The prefixes of literals of about one length, each with the node of a tree that has those that
/// begin with it. What all of these have in common may go on behind the prefix: its end, a number
/// too, and what comes then are looked at before the tree is, which lies far away in memory.
class prefix_table {
public:
    struct ROOT {
        std::uint32_t node;    ///< 0: there is none
        std::uint32_t depth;   ///< elements that its literals have in common
        std::uint32_t end;     ///< the last of those
        std::uint32_t endMask; ///< 0: they are too few to have such an end
        /// Which elements may stand behind these, by their low bits; all, if a literal has ended.
        std::uint64_t next;

        static constexpr std::uint64_t ALL = ~std::uint64_t{0};
        template <class T>
        static std::uint64_t bit(T element) noexcept {
            return std::uint64_t{1} << (static_cast<std::uint64_t>(element) & 63U);
        }
    };

    /// @param length elements of a prefix, which `mask` leaves
    /// @param prefixes how many different ones there are
    prefix_table(unsigned int length, const PREFIX& mask, std::size_t prefixes)
        : __length(length), __mask(mask), __bits(prefixes, BITS_FOR_EACH) {
        constexpr unsigned int LEAST = 4;
        const auto log = std::max(LEAST, static_cast<unsigned int>(std::bit_width(prefixes * 2)));
        __slotShift = 64 - log;
        __slots.resize((std::size_t{1} << log) + MARGIN);
    }

    unsigned int length() const noexcept { return __length; }

    void add(const PREFIX& prefix, const ROOT& root) {
        const std::uint64_t hash = hash_of(prefix);
        __bits.add(hash);
        std::size_t at = hash >> __slotShift;
        while (__slots[at].root.node != 0) {
            __hasTwins = __hasTwins || __slots[at].hash == hash;
            ++at;
            if (at + 2 == __slots.size()) {
                __slots.resize(__slots.size() + MARGIN);
            }
        }
        __slots[at] = {hash, root};
    }

    std::uint64_t hash_of(const PREFIX& prefix) const noexcept {
        return (prefix.low & __mask.low) * 0xC2B2AE3D27D4EB4FU +
               (prefix.high & __mask.high) * 0x9E3779B97F4A7C15U;
    }
    /// 0 if no prefix has this hash, else 1.
    std::uint64_t may_have(std::uint64_t hash) const noexcept { return __bits.may_have(hash); }
    /// Has the memory come that the others ask for.
    void prefetch(std::uint64_t hash) const noexcept {
        const SLOT* const slot = &__slots[hash >> __slotShift];
        __builtin_prefetch(slot);
        __builtin_prefetch(slot + 1);
    }

    /// The root of the prefix with this hash, as nearly always; null, if `find` has to tell. With
    /// no such prefix, any root. No branch depends on the memory.
    const ROOT* look(std::uint64_t hash, bool& isFound) const noexcept {
        const SLOT* const slot = &__slots[hash >> __slotShift];
        const bool isFirst = slot[0].hash == hash;
        const bool isSecond = slot[1].hash == hash;
        const bool isFull = slot[0].root.node != 0 && slot[1].root.node != 0;
        isFound = isFirst || isSecond;
        const bool isOpen = isFound ? __hasTwins : isFull;
        return isOpen ? nullptr : &slot[isFirst ? 0 : 1].root;
    }
    /// Calls `use(root)` for each prefix with this hash. There may be several: those that a hasty
    /// fold makes one, and by a rare chance any. So literals have to be compared from their first
    /// element on.
    template <class Use>
    void find(std::uint64_t hash, Use use) const noexcept {
        for (const SLOT* slot = &__slots[hash >> __slotShift]; slot->root.node != 0; ++slot) {
            if (slot->hash == hash) {
                use(slot->root);
            }
        }
    }

private:
    static constexpr std::size_t BITS_FOR_EACH = 24;
    /// Slots behind those that a hash tells; free ones, at least two.
    static constexpr std::size_t MARGIN = 16;

    struct SLOT {
        std::uint64_t hash;
        ROOT root;
    };

    unsigned int __length;
    PREFIX __mask;
    prefix_bits __bits;
    unsigned int __slotShift;
    bool __hasTwins = false; ///< prefixes of one hash
    std::vector<SLOT> __slots;
};

/// Tables that longer literals of a class have for themselves, at most.
constexpr unsigned int MOST_TABLES = 3;

/// A class of literals: where its prefixes are, as far as all have one, and the tables.
struct prefix_class {
    static constexpr std::size_t BITS_FOR_EACH = 48;

    bool isLong; ///< both words of a prefix count
    PREFIX mask;
    prefix_bits bits;
    std::vector<prefix_table> tables;

    template <bool Long>
    std::uint64_t hash_of(const PREFIX& prefix) const noexcept {
        const std::uint64_t low = (prefix.low & mask.low) * 0x9E3779B97F4A7C15U;
        return Long ? low + (prefix.high & mask.high) * 0xC2B2AE3D27D4EB4FU : low;
    }
};

} // namespace Quil::IMPL

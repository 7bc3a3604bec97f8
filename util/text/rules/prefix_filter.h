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
    static constexpr unsigned int STEP = 3; ///< elements more that are looked at in a next step

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

/// Steps in which a prefix is looked at, the first one included.
constexpr unsigned int PREFIX_STEPS = 3;

/// The prefixes of one class of literals, each with the node of a tree that has those that begin
/// with it. What all of these have in common may go on behind the prefix: its end, a number too,
/// and what comes then are looked at before the tree is, which lies far away in memory.
class prefix_class {
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

    /// The first elements of a text, from which a class takes as many as it needs.
    struct WORD {
        std::uint64_t low;
        std::uint64_t high; ///< of elements behind those; not looked at by a class of short ones
    };

    /// @param length elements of a prefix
    /// @param half elements of each word
    /// @param bits of an element
    /// @param prefixes how many different ones there are
    /// @param step elements more of each step
    /// @param literals how many of them there are
    prefix_class(unsigned int length, unsigned int half, unsigned int bits, std::size_t prefixes,
                 unsigned int step, std::size_t literals)
        : __length(length), __isLong(length > half), __step(step) {
        for (unsigned int i = 0; i < PREFIX_STEPS; ++i) {
            const unsigned int elements = std::min(length + i * step, 2 * half);
            __masks[i] = {__maskOf(std::min(elements, half) * bits),
                          elements > half ? __maskOf((elements - half) * bits) : 0};
        }
        constexpr unsigned int LEAST = 12;
        constexpr unsigned int MOST = 22; // beyond which a second level cache holds less than all
        constexpr std::size_t BITS_FOR_EACH = 48;
        const auto log = [](std::size_t n) { return static_cast<unsigned int>(std::bit_width(n)); };
        const unsigned int filterLog = std::clamp(log(prefixes * BITS_FOR_EACH), LEAST, MOST);
        const unsigned int fineLog = std::clamp(log(literals * BITS_FOR_EACH), LEAST, MOST);
        const unsigned int slotLog = std::max(4U, log(prefixes * 2));
        __filterShift = 64 - filterLog;
        __fineShift = 64 - fineLog;
        __fine.resize((std::size_t{1} << fineLog) / 64);
        __slotShift = 64 - slotLog;
        __filter.resize((std::size_t{1} << filterLog) / 64);
        __slots.resize((std::size_t{1} << slotLog) + MARGIN);
    }

    unsigned int length() const noexcept { return __length; }
    /// Whether both words count.
    bool is_long() const noexcept { return __isLong; }

    void add(const WORD& word, const ROOT& root) noexcept {
        const std::uint64_t hash = hash_of<true>(word);
        const std::uint64_t bit = hash >> __filterShift;
        __filter[bit / 64] |= std::uint64_t{1} << (bit % 64);
        std::size_t at = hash >> __slotShift;
        while (__slots[at].root.node != 0) {
            ++at;
            if (at + 2 == __slots.size()) {
                __slots.resize(__slots.size() + MARGIN);
            }
        }
        __slots[at] = {__tag(hash), root};
    }

    /// Adds a literal of so many elements, of which this word is the beginning.
    void add_literal(const WORD& word, unsigned int length) noexcept {
        const unsigned int steps = std::min((length - __length) / __step, PREFIX_STEPS - 1);
        const std::uint64_t bit = __fineHash(word, steps) >> __fineShift;
        __fine[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
    /// 0 if no literal begins as the word, as far as that tells, else 1.
    std::uint64_t may_have_literal(const WORD& word) const noexcept {
        std::uint64_t found = 0;
        for (unsigned int i = 0; i < PREFIX_STEPS; ++i) {
            const std::uint64_t bit = __fineHash(word, i) >> __fineShift;
            found |= __fine[bit / 64] >> (bit % 64);
        }
        return found & 1U;
    }

    /// @param Long both words count
    template <bool Long>
    std::uint64_t hash_of(const WORD& word) const noexcept {
        const std::uint64_t low = (word.low & __masks[0].low) * LOW_FACTOR;
        return Long ? low + (word.high & __masks[0].high) * HIGH_FACTOR : low;
    }

    /// 0 if no prefix has this hash, else 1.
    std::uint64_t may_have(std::uint64_t hash) const noexcept {
        const std::uint64_t bit = hash >> __filterShift;
        return __filter[bit / 64] >> (bit % 64) & 1U;
    }

    /// Has the memory come that the others ask for.
    void prefetch(std::uint64_t hash) const noexcept {
        __builtin_prefetch(&__slots[hash >> __slotShift]);
    }

    /// The root of the prefix with this hash, or nearly always so: null, if `find` has to tell.
    /// With no such prefix, any root. No branch depends on the memory.
    const ROOT* look(std::uint64_t hash, bool& isFound) const noexcept {
        const SLOT* const slot = &__slots[hash >> __slotShift];
        const std::uint32_t tag = __tag(hash);
        const bool isFirst = slot[0].tag == tag;
        const bool isSecond = slot[1].tag == tag;
        const bool isFull = slot[0].root.node != 0 && slot[1].root.node != 0;
        isFound = isFirst || isSecond;
        return isFirst == isSecond && isFull ? nullptr : &slot[isFirst ? 0 : 1].root;
    }

    /// Calls `use(root)` for the root of the prefix with this hash, and very rarely for another
    /// one's: so literals have to be compared from their first element on.
    template <class Use>
    void find(std::uint64_t hash, Use use) const noexcept {
        std::size_t at = hash >> __slotShift;
        while (__slots[at].root.node != 0) {
            if (__slots[at].tag == __tag(hash)) {
                use(__slots[at].root);
            }
            ++at;
        }
    }

private:
    /// Slots behind those that a hash tells; free ones, at least two.
    static constexpr std::size_t MARGIN = 16;

    struct SLOT {
        std::uint32_t tag; ///< of the hash
        ROOT root;
    };

    static constexpr std::uint64_t LOW_FACTOR = 0x9E3779B97F4A7C15;
    static constexpr std::uint64_t HIGH_FACTOR = 0xC2B2AE3D27D4EB4F;

    std::uint64_t __fineHash(const WORD& word, unsigned int step) const noexcept {
        return (word.low & __masks[step].low) * HIGH_FACTOR +
               (word.high & __masks[step].high) * LOW_FACTOR;
    }
    static constexpr std::uint64_t __maskOf(unsigned int bits) noexcept {
        return bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
    }
    /// The upper half: a product's lower bits don't depend on all of the word.
    static std::uint32_t __tag(std::uint64_t hash) noexcept {
        return static_cast<std::uint32_t>(hash >> 32);
    }

    unsigned int __length;
    bool __isLong;
    unsigned int __step;
    std::array<WORD, PREFIX_STEPS> __masks; ///< of the elements that count in each step
    unsigned int __fineShift = 0;
    unsigned int __filterShift = 0;
    unsigned int __slotShift = 0;
    std::vector<std::uint64_t> __filter; ///< of the prefixes
    std::vector<std::uint64_t> __fine;   ///< of the literals, by the last step that each one has
    std::vector<SLOT> __slots;
};

} // namespace Quil::IMPL

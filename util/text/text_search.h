// The one scan for a literal that every find-and-replace form shares.
//
// The idea: look at two elements of the needle at once, its first and its last, sixteen bytes of
// text at a time, and verify only where both fit. What complicates it: with folding each of the two
// stands for several text elements (k, K and the Kelvin sign), so the filter compares with a short
// list of partners; and a text on which the filter nearly always fits, but the needle doesn't,
// would make the verification quadratic, so a search that spent too much on it goes over to an
// automaton.
#pragma once

#include "util/base/handle.h"
#include "util/base/lanes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

namespace Quil::IMPL {

/// Compares elements as they stand.
struct plain_fold {
    static constexpr bool is_plain = true;

    template <class T>
    static T apply(T element) {
        return element;
    }
};

/// Compares elements by the lower-case mapping of the string class S.
template <class S>
struct lower_fold {
    static constexpr bool is_plain = false;

    template <class T>
    static T apply(T element) {
        return static_cast<T>(S::to_lower(element));
    }
};

/// Calls `use(element)` for each element of [first, last] whose folded form `isWanted`. The
/// partners of an element, which count as the same, are those with its folded form. They lie in its
/// own block of 0x10000 wide elements or 0x100 narrow ones: only the bits below select an element's
/// mapping.
template <class Fold, class T, class IsWanted, class Use>
void each_partner(T first, T last, IsWanted isWanted, Use use) {
    for (T element = first;; ++element) {
        if (isWanted(Fold::apply(element))) {
            use(element);
        }
        if (element == last) {
            return;
        }
    }
}

/// Position of the first element at or behind pos that `fits`, or npos.
template <class T, class Fits>
unsigned int find_first_that(const T* text, unsigned int length, unsigned int pos, Fits fits) {
    const T* const end = text + length;
    const T* const found = pos < length ? std::find_if(text + pos, end, fits) : end;
    return found != end ? static_cast<unsigned int>(found - text) : ~0U;
}

/// Position of the last element at or before pos that `fits`, or npos.
template <class T, class Fits>
unsigned int find_last_that(const T* text, unsigned int length, unsigned int pos, Fits fits) {
    for (unsigned int i = pos < length ? pos + 1 : length; i-- > 0;) {
        if (fits(text[i])) {
            return i;
        }
    }
    return ~0U;
}

/// Searches texts for one needle. Keeps a pointer to a plain needle, and a lowered copy of a folded
/// one (std::bad_alloc). Not for an empty needle. Positions and lengths are in elements. One thread
/// at a time, and one direction. A search needs memory for the automaton alone, and goes on without
/// where there is none.
template <class T, class Fold>
class text_search {
public:
    static constexpr unsigned int npos = ~0U;

    /// @param textLength length of the text that will be searched: a short one isn't worth the
    ///        preparation that a long one repays
    text_search(const T* needle, unsigned int length, unsigned int textLength);

    text_search(const text_search&) = delete;
    text_search& operator=(const text_search&) = delete;

    unsigned int length() const { return __length; }

    /// Position of the first occurrence at or behind pos in the text, or npos.
    unsigned int find(const T* text, unsigned int length, unsigned int pos);

    /// Position of the last occurrence that begins at or before pos in the text, or npos.
    unsigned int find_last(const T* text, unsigned int length, unsigned int pos);

    /// How many elements at the text's end may be the beginning of an occurrence that goes on
    /// behind it.
    unsigned int open_end(const T* text, unsigned int length);

    /// Forgets what the texts so far have taught: the next one may be of another kind.
    void restart() {
        __scanned = 0;
        __wasted = 0;
        __isByAutomaton = false;
    }

    /// Calls `onMatch(position)` for each occurrence at or behind pos, from left to right and none
    /// overlapping the one before, until it answers false. What lies before an occurrence's end may
    /// be overwritten meanwhile.
    template <class OnMatch>
    void each(const T* text, unsigned int length, unsigned int pos, OnMatch&& onMatch);

private:
    // An element of the filter: the text elements that fold to it, padded by repetition.
    static constexpr unsigned int PARTNER_ROOM = 4;
    using partners = std::array<T, PARTNER_ROOM>;

    // Memory comes from malloc: that operator new is out of it may end the process.
    template <class U>
    using room = std::unique_ptr<U[], FreeDeletor<U>>;
    template <class U>
    static room<U> __Allocate(std::size_t n) noexcept {
        return room<U>(static_cast<U*>(std::malloc(n * sizeof(U))));
    }

    // Verification may cost this many comparisons for each element scanned before the automaton,
    // which needs a bounded number of them, takes over.
    static constexpr std::uint64_t VERIFY_FACTOR = 8;
    static constexpr std::uint64_t VERIFY_ALLOWANCE = 1 << 16;

    // Sixteen bytes of text as elements, and the steps that the filter takes at once.
    using lane = std::conditional_t<sizeof(T) == 1, std::int8_t, std::int32_t>;
    using block = LANES<lane>;
    static constexpr std::ptrdiff_t BLOCK_LANES = LANES_SIZE / sizeof(T);
    static constexpr std::ptrdiff_t UNROLL = 4;
    static constexpr std::ptrdiff_t STRIDE = BLOCK_LANES * UNROLL;

    static unsigned int __Partners(T folded, partners& out);
    void __PrepareFilter(unsigned int textLength);
    template <class Needle>
    bool __PrepareAutomaton(Needle needle) noexcept;
    bool __Verify(const T* candidate);
    template <unsigned int Count>
    static block __Compare(const T* text, const partners& wanted);

    // The scans. Each looks for occurrences that begin in [first, end) and gives them to `take`,
    // which answers where to go on, or null to stop. They answer how far they came.
    template <unsigned int Count, class Take>
    const T* __ScanFiltered(const T* first, const T* end, Take& take);
    template <class Take>
    const T* __ScanSimply(const T* first, const T* end, Take& take);
    template <class Take>
    const T* __ScanByAutomaton(const T* first, const T* end, Take& take) const;
    template <class Needle>
    unsigned int __Follow(Needle needle, unsigned int matched, T element) const;
    template <class Needle, class Text>
    Text __RunAutomaton(Needle needle, Text first, Text end) const;
    template <unsigned int Count>
    block __Filter(const T* place) const;

    /// True once failed verifications cost more than the scan of this much text may, and the
    /// automaton is there to go on.
    bool __IsSlow(std::ptrdiff_t scanned) {
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): both rooms are released with the object
        __isByAutomaton = __IsWasteful(scanned) && __PrepareAutomaton(__needle);
        return __isByAutomaton;
    }
    bool __IsWasteful(std::ptrdiff_t scanned) const {
        return __wasted >
               VERIFY_ALLOWANCE + VERIFY_FACTOR * (__scanned + static_cast<std::uint64_t>(scanned));
    }

    const T* __needle; ///< lowered when folding
    unsigned int __length;
    unsigned int __partnerCount = 1; ///< of each element of the filter; 0: no filter
    partners __heads{};
    partners __tails{};
    std::uint64_t __scanned = 0; ///< elements passed by earlier calls
    std::uint64_t __wasted = 0;  ///< comparisons in verifications that failed
    room<T> __lowered;
    /// The automaton, once it is needed: for each prefix of the needle the length of its longest
    /// proper prefix that is also its suffix.
    room<unsigned int> __borders;
    bool __isWithout = false;     ///< there was no memory for the automaton
    bool __isByAutomaton = false; ///< and the present texts want it
};

/// Membership in a set of elements. Values below 256 cost one look-up, others a search by halves.
template <class T, class Fold>
class element_set {
public:
    element_set(const T* set, unsigned int length);

    bool contains(T element) const {
        const auto value = static_cast<value_type>(Fold::apply(element));
        if constexpr (sizeof(T) == 1) {
            return __low[value];
        } else {
            return value < __low.size() ? __low[value] : __ContainsHigh(value);
        }
    }

private:
    using value_type = std::make_unsigned_t<T>;

    bool __ContainsHigh(value_type value) const;

    std::array<bool, 256> __low{};
    std::vector<value_type> __high; ///< sorted
};

template <class T, class Fold>
text_search<T, Fold>::text_search(const T* needle, unsigned int length, unsigned int textLength)
    : __needle(needle), __length(length) {
    if constexpr (!Fold::is_plain) {
        __lowered = __Allocate<T>(length);
        if (!__lowered) {
            throw std::bad_alloc();
        }
        std::transform(needle, needle + length, __lowered.get(),
                       [](T element) { return Fold::apply(element); });
        __needle = __lowered.get();
    }
    __PrepareFilter(textLength);
}

template <class T, class Fold>
void text_search<T, Fold>::__PrepareFilter(unsigned int textLength) {
    // Finding the partners of a wide element means asking all 65536 mappings.
    constexpr unsigned int WORTHWHILE = sizeof(T) == 1 ? 256 : 32768;

    if constexpr (Fold::is_plain) {
        __heads.fill(__needle[0]);
        __tails.fill(__needle[__length - 1]);
    } else if (textLength < WORTHWHILE) {
        __partnerCount = 0;
    } else {
        const unsigned int heads = __Partners(__needle[0], __heads);
        const unsigned int tails = __Partners(__needle[__length - 1], __tails);
        const bool fits =
            heads >= 1 && heads <= PARTNER_ROOM && tails >= 1 && tails <= PARTNER_ROOM;
        __partnerCount = !fits ? 0 : heads <= 2 && tails <= 2 ? 2 : PARTNER_ROOM;
    }
}

template <class T, class Fold>
unsigned int text_search<T, Fold>::__Partners(T folded, partners& out) {
    using value_type = std::make_unsigned_t<T>;
    constexpr auto SELECTORS = static_cast<value_type>(sizeof(T) == 1 ? 0xFF : 0xFFFF);
    const auto value = static_cast<value_type>(folded);

    unsigned int count = 0;
    each_partner<Fold>(
        static_cast<T>(value & ~SELECTORS), static_cast<T>(value | SELECTORS),
        [folded](T element) { return element == folded; },
        [&](T element) {
            if (count < PARTNER_ROOM) {
                out[count] = element;
            }
            ++count;
        });
    for (unsigned int i = count; i > 0 && i < PARTNER_ROOM; ++i) {
        out[i] = out[0];
    }
    return count;
}

template <class T, class Fold>
unsigned int text_search<T, Fold>::find(const T* text, unsigned int length, unsigned int pos) {
    unsigned int found = npos;
    each(text, length, pos, [&found](unsigned int position) {
        found = position;
        return false;
    });
    return found;
}

template <class T, class Fold>
template <class OnMatch>
void text_search<T, Fold>::each(const T* text, unsigned int length, unsigned int pos,
                                OnMatch&& onMatch) {
    if (pos > length || length - pos < __length) {
        return;
    }
    const auto take = [&](const T* match) {
        return onMatch(static_cast<unsigned int>(match - text)) ? match + __length : nullptr;
    };
    const T* first = text + pos;
    const T* end = text + (length - __length) + 1;
    const T* reached = nullptr;
    if (__isByAutomaton) {
        reached = __ScanByAutomaton(first, end, take);
    } else if (__partnerCount == 1) {
        reached = __ScanFiltered<1>(first, end, take);
    } else if (__partnerCount == 2) {
        reached = __ScanFiltered<2>(first, end, take);
    } else if (__partnerCount == PARTNER_ROOM) {
        reached = __ScanFiltered<PARTNER_ROOM>(first, end, take);
    } else {
        reached = __ScanSimply(first, end, take);
    }
    __scanned += static_cast<std::uint64_t>(reached - first);
}

template <class T, class Fold>
unsigned int text_search<T, Fold>::open_end(const T* text, unsigned int length) {
    constexpr unsigned int SHORT = 16;
    unsigned int open = std::min(length, __length - 1);
    const T* const end = text + length;
    if (open > SHORT && __PrepareAutomaton(__needle)) {
        unsigned int matched = 0;
        for (const T* place = end - open; place != end; ++place) {
            matched = __Follow(__needle, matched, Fold::apply(*place));
        }
        return matched;
    }
    const auto begins = [this, end](unsigned int count) {
        return std::equal(end - count, end, __needle,
                          [](T element, T wanted) { return Fold::apply(element) == wanted; });
    };
    while (open > 0 && !begins(open)) {
        --open;
    }
    return open;
}

template <class T, class Fold>
bool text_search<T, Fold>::__Verify(const T* candidate) {
    for (unsigned int i = 0; i < __length; ++i) {
        if (Fold::apply(candidate[i]) != __needle[i]) {
            __wasted += i;
            return false;
        }
    }
    return true;
}

template <class T, class Fold>
template <unsigned int Count>
auto text_search<T, Fold>::__Compare(const T* text, const partners& wanted) -> block {
    const block elements = LoadLanes<block>(text);
    block hits = elements == (block{} + static_cast<lane>(wanted[0]));
    for (unsigned int i = 1; i < Count; ++i) {
        hits |= elements == (block{} + static_cast<lane>(wanted[i]));
    }
    return hits;
}

// The lanes at which both ends of the needle fit. A needle of one element has but one end.
template <class T, class Fold>
template <unsigned int Count>
auto text_search<T, Fold>::__Filter(const T* place) const -> block {
    const block heads = __Compare<Count>(place, __heads);
    return __length == 1 ? heads : heads & __Compare<Count>(place + (__length - 1), __tails);
}

template <class T, class Fold>
template <unsigned int Count, class Take>
const T* text_search<T, Fold>::__ScanFiltered(const T* first, const T* end, Take& take) {
    constexpr int LANE_BITS = 8 * sizeof(T);
    constexpr std::uint64_t LANE_MASK = (std::uint64_t{1} << LANE_BITS) - 1;
    constexpr std::ptrdiff_t WORD_LANES = BLOCK_LANES / 2;

    const T* open = first; // where the next occurrence may begin
    const T* place = first;
    for (; end - place >= STRIDE; place = std::max(place + STRIDE, open)) {
        block hits[UNROLL]; // std::array would lose the vector attribute
        block any{};
        for (std::ptrdiff_t i = 0; i < UNROLL; ++i) {
            hits[i] = __Filter<Count>(place + i * BLOCK_LANES);
            any |= hits[i];
        }
        if (!AnyLane(any)) {
            continue;
        }

        std::array<std::uint64_t, 2 * UNROLL> words;
        std::memcpy(words.data(), hits, sizeof hits);
        for (std::size_t w = 0; w < words.size(); ++w) {
            for (std::uint64_t word = words[w]; word != 0;) {
                const int index = std::countr_zero(word) / LANE_BITS;
                word &= ~(LANE_MASK << (index * LANE_BITS));
                const T* candidate = place + static_cast<std::ptrdiff_t>(w) * WORD_LANES + index;
                if (candidate < open) {
                    continue;
                }
                if (__Verify(candidate)) {
                    open = take(candidate);
                    if (!open) {
                        return candidate;
                    }
                } else if (__IsSlow(candidate - first)) {
                    return __ScanByAutomaton(candidate + 1, end, take);
                }
            }
        }
    }
    return __ScanSimply(place, end, take);
}

template <class T, class Fold>
template <class Take>
const T* text_search<T, Fold>::__ScanSimply(const T* first, const T* end, Take& take) {
    for (const T* place = first; place < end;) {
        const bool isCandidate = Fold::apply(*place) == __needle[0];
        if (isCandidate && __Verify(place)) {
            const T* const open = take(place);
            if (!open) {
                return place;
            }
            place = open;
            continue;
        }
        ++place;
        if (isCandidate && __IsSlow(place - first)) {
            return __ScanByAutomaton(place, end, take);
        }
    }
    return end;
}

/// Prepares for the needle that begins at `needle`, which may be an iterator that runs backwards.
template <class T, class Fold>
template <class Needle>
bool text_search<T, Fold>::__PrepareAutomaton(Needle needle) noexcept {
    if (__borders || __isWithout) {
        return !__isWithout;
    }
    __borders = __Allocate<unsigned int>(__length);
    __isWithout = !__borders;
    if (__isWithout) {
        return false;
    }
    __borders[0] = 0;
    for (unsigned int i = 1, border = 0; i < __length; ++i) {
        while (border > 0 && needle[i] != needle[border]) {
            border = __borders[border - 1];
        }
        border += needle[i] == needle[border];
        __borders[i] = border;
    }
    return true;
}

/// How many of the needle's elements a text ends in that ended in `matched` before `element` came.
template <class T, class Fold>
template <class Needle>
unsigned int text_search<T, Fold>::__Follow(Needle needle, unsigned int matched, T element) const {
    while (matched > 0 && element != needle[matched]) {
        matched = __borders[matched - 1];
    }
    return matched + (element == needle[matched] ? 1 : 0);
}

/// Behind the first occurrence that lies in [first, end), or null.
template <class T, class Fold>
template <class Needle, class Text>
Text text_search<T, Fold>::__RunAutomaton(Needle needle, Text first, Text end) const {
    unsigned int matched = 0;
    for (; first != end; ++first) {
        matched = __Follow(needle, matched, Fold::apply(*first));
        if (matched == __length) {
            return ++first;
        }
    }
    return Text{};
}

template <class T, class Fold>
template <class Take>
const T* text_search<T, Fold>::__ScanByAutomaton(const T* first, const T* end, Take& take) const {
    const T* const textEnd = end + (__length - 1);
    while (const T* const behind = __RunAutomaton(__needle, first, textEnd)) {
        if (!take(behind - __length)) {
            return behind - __length;
        }
        first = behind;
    }
    return end;
}

template <class T, class Fold>
unsigned int text_search<T, Fold>::find_last(const T* text, unsigned int length, unsigned int pos) {
    if (length < __length) {
        return npos;
    }
    const unsigned int last = std::min(pos, length - __length);
    for (unsigned int i = last + 1; i-- > 0;) {
        if (Fold::apply(text[i]) != __needle[0]) {
            continue;
        }
        if (__Verify(text + i)) {
            return i;
        }
        const std::reverse_iterator needle(__needle + __length);
        if (__IsWasteful(last - i) && __PrepareAutomaton(needle)) {
            const std::reverse_iterator rest(text + i + __length - 1);
            const T* const found = __RunAutomaton(needle, rest, std::reverse_iterator(text)).base();
            return found ? static_cast<unsigned int>(found - text) : npos;
        }
    }
    return npos;
}

template <class T, class Fold>
element_set<T, Fold>::element_set(const T* set, unsigned int length) {
    for (unsigned int i = 0; i < length; ++i) {
        const auto value = static_cast<value_type>(Fold::apply(set[i]));
        if (value < __low.size()) {
            __low[value] = true;
        } else {
            __high.push_back(value);
        }
    }
    std::sort(__high.begin(), __high.end());
}

template <class T, class Fold>
bool element_set<T, Fold>::__ContainsHigh(value_type value) const {
    return std::binary_search(__high.begin(), __high.end(), value);
}

} // namespace Quil::IMPL

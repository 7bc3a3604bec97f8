// General category and simple case mappings of Unicode 3.1 for every 16-bit character value.
//
// A lookup goes through a two-stage table to one of some hundred packed words: three reads and no
// branch, since this is the inner step of every search that folds case. The tables are generated
// (regex/data/uni_data.py). They depend on nothing, so both the strings and the expression engine
// stand on them. Every function here may be called from any thread.

#pragma once

#include "util/base/visibility.h"

#include <cctype>
#include <cstdint>

namespace QUIL_PUBLIC Quil {

/// General categories, in the numbering of the tables.
// clang-format off
enum class UniCategory : int {
    Cn, Lu, Ll, Lt, Lm, Lo, Mn, Me, Mc, Nd, Nl, No, Zs, Zl, Zp,
    Cc, Cf, Co, Cs, Pc, Pd, Ps, Pe, Pi, Pf, Po, Sm, Sc, Sk, So
};
// clang-format on

namespace IMPL {

extern const unsigned char pageMap[2048];
extern const unsigned char groupMap[230 * 32];
extern const std::int32_t groups[123];

constexpr std::uint32_t UNI_CATEGORY_MASK = 0x1F;
constexpr int UNI_TITLE_BIT = 5; ///< the title form is the neighbour of the character
constexpr int UNI_LOWER_BIT = 6; ///< the lower form is ch + delta
constexpr int UNI_UPPER_BIT = 7; ///< the upper form is ch - delta
constexpr int UNI_DELTA_SHIFT = 22;

/// The packed word of `ch`, of which only the low 16 bits select.
inline std::int32_t UniCharInfo(wchar_t ch) noexcept {
    const std::uint32_t low = static_cast<std::uint32_t>(ch) & 0xFFFF;
    return groups[groupMap[pageMap[low >> 5] * 32U + (low & 31)]];
}

/// All bits set if bit `bit` of `info` is, else none.
inline std::uint32_t UniCharMask(std::int32_t info, int bit) noexcept {
    return 0U - ((static_cast<std::uint32_t>(info) >> bit) & 1U);
}

/// The case offset: signed, 10 bits.
inline std::uint32_t UniCharDelta(std::int32_t info) noexcept {
    return static_cast<std::uint32_t>(info >> UNI_DELTA_SHIFT);
}

} // namespace IMPL

/// Upper, lower and title form of `ch`. The low 16 bits select the mapping and the whole value is
/// moved by it, so U+10041 lowers to U+10061. Offsets have 10 bits: the upper form of U+00B5 is
/// -100, and U+1FBE, U+2126, U+212A and U+212B don't map to what Unicode says either.
inline wchar_t UniCharToUpper(wchar_t ch) noexcept {
    const std::int32_t info = IMPL::UniCharInfo(ch);
    return static_cast<wchar_t>(
        static_cast<std::uint32_t>(ch) -
        (IMPL::UniCharDelta(info) & IMPL::UniCharMask(info, IMPL::UNI_UPPER_BIT)));
}

inline wchar_t UniCharToLower(wchar_t ch) noexcept {
    const std::int32_t info = IMPL::UniCharInfo(ch);
    return static_cast<wchar_t>(
        static_cast<std::uint32_t>(ch) +
        (IMPL::UniCharDelta(info) & IMPL::UniCharMask(info, IMPL::UNI_LOWER_BIT)));
}

inline wchar_t UniCharToTitle(wchar_t ch) noexcept {
    const std::int32_t info = IMPL::UniCharInfo(ch);
    const std::uint32_t upper = IMPL::UniCharMask(info, IMPL::UNI_UPPER_BIT);
    const std::uint32_t lower = IMPL::UniCharMask(info, IMPL::UNI_LOWER_BIT);
    const std::uint32_t title = IMPL::UniCharMask(info, IMPL::UNI_TITLE_BIT);
    // The neighbour is one down for a small letter (upper is all ones, that is -1), else one up.
    const std::uint32_t neighbour = (upper | 1U) & title;
    const std::uint32_t offset = IMPL::UniCharDelta(info) & upper & ~lower & ~title;
    return static_cast<wchar_t>(static_cast<std::uint32_t>(ch) + neighbour - offset);
}

/// The general category of the low 16 bits of `ch`. U+FFFE counts as Lo and U+FFFF as No.
inline UniCategory GetUniCharCategory(wchar_t ch) noexcept {
    return static_cast<UniCategory>(static_cast<std::uint32_t>(IMPL::UniCharInfo(ch)) &
                                    IMPL::UNI_CATEGORY_MASK);
}

/// The same mappings for narrow characters, by the C library and the current locale.
inline char sUniCharToUpper(char ch) noexcept {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
}

inline char sUniCharToLower(char ch) noexcept {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
}

inline char sUniCharToTitle(char ch) noexcept {
    return sUniCharToUpper(ch);
}

} // namespace Quil

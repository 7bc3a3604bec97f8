// What the engine has to know of a character type: all that tells the narrow engine from the wide
// one. Everything else is one set of functions, templates over `chr` where a character is touched.
#pragma once

#include "regex/uni_data.h"

#include <cstddef>
#include <cstdint>

namespace Quil::IMPL::engine {

/// Holds any character value, or a count of characters.
using uchr = std::uint32_t;
/// A collating element's value: signed, wide enough for any character.
using celt = std::int32_t;

template <class chr>
struct chrtraits;

template <>
struct chrtraits<char> {
    using pattern = char;                     ///< characters of the expressions that run on these
    static constexpr int CSIZE = 1;           ///< `re_csize`
    static constexpr std::size_t NCHRS = 256; ///< character values that the color map tells apart
    static constexpr bool HASTITLE = false;   ///< title case is a case of its own

    /// The cell of `c` in the color map.
    static std::size_t index(char c) { return static_cast<unsigned char>(c); }
    /// Its place in ranges: the same on all machines, whether or not the type has a sign.
    static celt order(char c) { return static_cast<signed char>(c); }
    static char tolower(char c) { return sUniCharToLower(c); }
    static char toupper(char c) { return sUniCharToUpper(c); }
    static char totitle(char c) { return sUniCharToTitle(c); }
};

template <>
struct chrtraits<wchar_t> {
    using pattern = wchar_t;
    static constexpr int CSIZE = 4;
    static constexpr std::size_t NCHRS = 0x10000;
    static constexpr bool HASTITLE = true;

    /// The cell of `c` in the color map: its low 16 bits, so U+1F600 is taken for U+F600.
    static std::size_t index(wchar_t c) { return static_cast<std::uint32_t>(c) & 0xFFFF; }
    static celt order(wchar_t c) { return static_cast<celt>(c); }
    static wchar_t tolower(wchar_t c) { return UniCharToLower(c); }
    static wchar_t toupper(wchar_t c) { return UniCharToUpper(c); }
    static wchar_t totitle(wchar_t c) { return UniCharToTitle(c); }
};

/// Bytes that are characters of the same value, ASCII or Latin 1: a text, not a pattern.
/// Expressions of the wide engine run on it as they would on its wide form, without that being
/// made.
template <>
struct chrtraits<unsigned char> {
    using pattern = wchar_t;
    static constexpr int CSIZE = chrtraits<wchar_t>::CSIZE;
    static constexpr std::size_t NCHRS = 256;

    static std::size_t index(unsigned char c) { return c; }
    static wchar_t tolower(unsigned char c) { return UniCharToLower(static_cast<wchar_t>(c)); }
};

} // namespace Quil::IMPL::engine

// The wide string: 32-bit characters with Unicode classes and case. All matching is done on these.
#pragma once

#include "util/base/visibility.h"
#include "util/text/replace/string_regex.h"
#include "util/text/stringEx.h"

namespace QUIL_PUBLIC Quil {

/// A wide text. A value type with no data beside its buffer; see `basic_buffer` for sharing, views
/// and threads, and the layers below for what it can do.
class wstringEx : public string_regex<wstringEx, wchar_t> {
    using Layers = string_regex<wstringEx, wchar_t>;

public:
    using Layers::Layers;
    using Layers::operator<<;
    constexpr wstringEx() noexcept = default;
    /// From a literal or an element.
    template <AssignableText<wchar_t> U>
    wstringEx& operator=(const U& text) {
        basic_buffer<wchar_t>::operator=(text);
        return *this;
    }

    /// The Unicode category number, by the low 16 bits.
    static int get_category(int c) noexcept { return IMPL::char_class<wchar_t>::get_category(c); }
    /// True for the blocks of Chinese, Japanese and Korean, by code point.
    static bool is_cjk(int c) noexcept;

    /// The low 8 bits of each element; no charset is converted.
    stringEx to_str() const;
    stringEx to_tstr() const { return to_str(); }
    /// Becomes each byte widened as a signed char: bytes above 127 give negative elements.
    wstringEx& from_str(const stringEx& text);
    /// The 32-bit elements in memory order as bytes; the block is shared.
    operator byteEx() const;

    // UTF-16 text: the low 16 bits of each element are a code unit, and a high surrogate with a low
    // one behind it is one character. Positions are in units.

    /// The number of characters.
    unsigned int utf16_length() const noexcept;
    /// The position of the first unit of the character that `pos` lies in.
    unsigned int utf16_get_charpos(unsigned int pos) const noexcept;
    /// The position of the next character behind `pos`; `npos` at the end.
    unsigned int utf16_get_next_charpos(unsigned int pos) const noexcept;
    /// The position of the `n`-th character, counted from 1; `npos` if there is none.
    unsigned int utf16_get_char(unsigned int n) const noexcept;
    /// The units of the `n`-th character, counted from 1; 0 if there is none.
    unsigned int utf16_get_charlen(unsigned int n) const noexcept;
    /// The units of the character that `pos` lies in; 0 behind the text.
    unsigned int utf16_get_charlen_bypos(unsigned int pos) const noexcept;

    /// A view of the byte order mark, U+FEFF.
    static wstringEx get_bom() noexcept;

    /// For data of a fixed byte order, named by the order that the data has: the elements' bytes
    /// are swapped when the machine and the caller's order call for it. This is a little-endian
    /// system's pair: `AdjustOnLE` swaps and `AdjustOnBE` leaves the text alone.
    wstringEx& AdjustOnLE();
    wstringEx& AdjustOnBE();
};

/// The empty wide string.
extern const wstringEx wstEMPTY;

extern template class string_face<wstringEx, wchar_t>;
extern template class string_core<wstringEx, wchar_t>;
extern template class string_replace<wstringEx, wchar_t>;
extern template class string_field<wstringEx, wchar_t>;
extern template class string_escape<wstringEx, wchar_t>;
extern template class string_match<wstringEx, wchar_t>;
extern template class string_regex<wstringEx, wchar_t>;

} // namespace Quil

// The narrow string: 8-bit text, classed and folded as the C library does in its locale.
#pragma once

#include "util/base/visibility.h"
#include "util/text/replace/string_regex.h"

namespace QUIL_PUBLIC Quil {

class byteEx;
class wstringEx;

/// A narrow text. A value type with no data beside its buffer; see `basic_buffer` for sharing,
/// views and threads, and the layers below for what it can do.
class stringEx : public string_regex<stringEx, char> {
    using Layers = string_regex<stringEx, char>;

public:
    using Layers::Layers;
    using Layers::operator<<;
    constexpr stringEx() noexcept = default;
    /// From a literal or an element.
    template <AssignableText<char> U>
    stringEx& operator=(const U& text) {
        basic_buffer<char>::operator=(text);
        return *this;
    }

    /// Each byte widened as a signed char; no charset is converted.
    wstringEx to_wstr() const;
    /// Becomes the low 8 bits of each element.
    stringEx& from_wstr(const wstringEx& text);
    /// The same elements as bytes; the block is shared.
    operator byteEx() const;

    // UTF-8 text. A byte below 0x80 or from 0xC0 on starts a character. Positions are in bytes.

    /// The number of characters.
    unsigned int utf8_length() const noexcept;
    /// The position of the first byte of the character that `pos` lies in.
    unsigned int utf8_get_charpos(unsigned int pos) const noexcept;
    /// The position of the next character behind `pos`; `npos` at the end.
    unsigned int utf8_get_next_charpos(unsigned int pos) const noexcept;
    /// The position of the `n`-th character, counted from 1; `npos` if there is none.
    unsigned int utf8_get_char(unsigned int n) const noexcept;
    /// The bytes of the `n`-th character, counted from 1; 0 if there is none.
    unsigned int utf8_get_charlen(unsigned int n) const noexcept;
    /// The bytes of the character that `pos` lies in; 0 behind the text.
    unsigned int utf8_get_charlen_bypos(unsigned int pos) const noexcept;

    /// A view of the three bytes of the byte order mark.
    static stringEx get_bom() noexcept;
};

/// The empty narrow string.
extern const stringEx stEMPTY;

extern template class string_face<stringEx, char>;
extern template class string_core<stringEx, char>;
extern template class string_replace<stringEx, char>;
extern template class string_field<stringEx, char>;
extern template class string_escape<stringEx, char>;
extern template class string_match<stringEx, char>;
extern template class string_regex<stringEx, char>;

} // namespace Quil

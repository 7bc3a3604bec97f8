// The byte string: raw bytes without terminator, case or character classes, plus hex dumps.
#pragma once

#include "util/base/visibility.h"
#include "util/text/byte_buffer.h"
#include "util/text/string/string_escape.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// Raw bytes. A value type with no data beside its buffer; it re-types to and from the text strings
/// without touching an element.
class byteEx : public string_escape<byteEx, unsigned char> {
    using Layers = string_escape<byteEx, unsigned char>;

public:
    using Layers::Layers;
    constexpr byteEx() noexcept = default;
    /// From a literal or an element.
    template <AssignableText<unsigned char> U>
    byteEx& operator=(const U& text) {
        basic_buffer<unsigned char>::operator=(text);
        return *this;
    }

    /// The same bytes as narrow text; the block is shared, and no terminator is added.
    operator stringEx() const;
    /// The same bytes as wide elements in memory order, the odd rest left out. The block is shared
    /// unless it lies where no wide element may.
    operator wstringEx() const;

    /// Appends raw bytes: 4 for each wide element. Nothing is converted.
    byteEx& operator<<(char element) { return *this += static_cast<unsigned char>(element); }
    byteEx& operator<<(wchar_t element);
    byteEx& operator<<(const stringEx& text);
    byteEx& operator<<(const wstringEx& text);

    /// Each byte as two hex digits, with `separator` between the bytes.
    void to_hex_encode(stringEx& to, const stringEx& separator, bool upper = true) const;
    void to_hex_encode(wstringEx& to, const wstringEx& separator, bool upper = true) const;
    stringEx to_hex_encode(const stringEx& separator = stEMPTY, bool upper = true) const;
    wstringEx to_hex_encode(const wstringEx& separator, bool upper = true) const;
    /// Becomes the bytes of a hex text: two digits, then as many elements as `separator` has, which
    /// aren't looked at.
    byteEx& from_hex_code(const stringEx& text, const stringEx& separator = stEMPTY);
    byteEx& from_hex_code(const wstringEx& text, const wstringEx& separator = wstEMPTY);
    /// The source text of an array of these bytes.
    stringEx to_array_definition(const stringEx& name, bool isConst = true) const;
};

/// The empty byte string.
extern const byteEx btEMPTY;

extern template class string_face<byteEx, unsigned char>;
extern template class string_core<byteEx, unsigned char>;
extern template class string_replace<byteEx, unsigned char>;
extern template class string_field<byteEx, unsigned char>;
extern template class string_escape<byteEx, unsigned char>;

} // namespace Quil

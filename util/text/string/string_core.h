// The operations that text strings have of their own: character classes, case, trimming, folded
// search, numbers, formats, and text of the other width.
//
// One template serves both widths. What differs between them is what a character is (`char_class`),
// how the C library formats, and how one element becomes one of the other width: the low 8 bits
// downwards, a signed char upwards. Bytes have none of these operations.
#pragma once

#include "util/base/visibility.h"
#include "util/text/char_class.h"
#include "util/text/string/string_face.h"

#include <cstdarg>

namespace QUIL_PUBLIC Quil {

/// The layer for text. Positions, counts and results are in elements. Forms named `_no_case`
/// compare `to_lower` of both sides, element by element.
template <class Self, class T>
class string_core : public string_face<Self, T> {
    using Face = string_face<Self, T>;
    using Buffer = basic_buffer<T>;
    using CharClass = IMPL::char_class<T>;
    static constexpr bool sm_isWide = sizeof(T) != 1;

protected:
    /// An element of the other text width.
    using Other = std::conditional_t<sm_isWide, char, wchar_t>;

public:
    using Buffer::npos;
    using Face::Face;
    constexpr string_core() noexcept = default;

    // --- Character classes and case --------------------------------------------------------------

    static bool is_alnum(int c) noexcept { return CharClass::is_alnum(c); }
    static bool is_alpha(int c) noexcept { return CharClass::is_alpha(c); }
    static bool is_cntrl(int c) noexcept { return CharClass::is_cntrl(c); }
    static bool is_digit(int c) noexcept { return CharClass::is_digit(c); }
    static bool is_graph(int c) noexcept { return CharClass::is_graph(c); }
    static bool is_lower(int c) noexcept { return CharClass::is_lower(c); }
    static bool is_print(int c) noexcept { return CharClass::is_print(c); }
    static bool is_punct(int c) noexcept { return CharClass::is_punct(c); }
    static bool is_space(int c) noexcept { return CharClass::is_space(c); }
    static bool is_upper(int c) noexcept { return CharClass::is_upper(c); }
    static bool is_valid(int c) noexcept { return CharClass::is_valid(c); }
    static bool is_xdigit(int c) noexcept { return CharClass::is_xdigit(c); }
    static int to_lower(int c) noexcept { return CharClass::to_lower(c); }
    static int to_upper(int c) noexcept { return CharClass::to_upper(c); }

    /// Converts the elements from the first one up to `n`, or all when `pos + n` is above the
    /// length. `pos` takes part in that test alone: the conversion always starts at the first
    /// element.
    Self& make_upper(unsigned int pos = 0, unsigned int n = npos);
    Self& make_lower(unsigned int pos = 0, unsigned int n = npos);

    // --- C string helpers ------------------------------------------------------------------------

    static unsigned int strlen(const T* text) noexcept { return Buffer::__calclen(text); }
    /// Compares `n` elements; without `n` the shorter of both lengths, so that a text equals all
    /// its extensions.
    static int strcmp(const T* a, const T* b, unsigned int n = npos) noexcept;
    /// Copies `n` elements, or the whole text, without a terminator. `strmov` allows an overlap.
    static T* strcpy(T* to, const T* from, unsigned int n = npos) noexcept;
    static T* strmov(T* to, const T* from, unsigned int n = npos) noexcept;
    /// Formats into a room of `n` elements. Narrow: as the C library does. Wide: the number
    /// written, or -1 as soon as they don't fit; a terminator follows where there is room for one.
    static int snprintf(T* to, unsigned int n, const T* format, ...);
    static int vsnprintf(T* to, unsigned int n, const T* format, va_list arguments);

    // --- Trimming, prefix and suffix -------------------------------------------------------------

    /// Take off the leading (trailing) run of `is_space` elements.
    Self& trim_left();
    Self& trim_right();
    /// The trimmed text as a view on this string; all space gives the empty string.
    Self trim_left_static() const;
    Self trim_right_static() const;

    bool begin_with_no_case(text_ref<T> s) const noexcept;
    bool end_with_no_case(text_ref<T> s) const noexcept;
    bool begin_with_set_no_case(text_ref<T> set) const noexcept;
    bool end_with_set_no_case(text_ref<T> set) const noexcept;

    // --- Folded compare and search ---------------------------------------------------------------

    /// -1, 0 or 1 by the first lowered elements that differ (as signed values), else by the
    /// lengths.
    int compare_no_case(text_ref<T> s) const noexcept { return compare_no_case(0, npos, s); }
    int compare_no_case(unsigned int pos, unsigned int n, text_ref<T> s) const noexcept;
    bool equal_no_case(text_ref<T> s) const noexcept {
        return s.length == this->length() && compare_no_case(s) == 0;
    }

    /// The first occurrence at or behind `pos`; an empty needle is found at `pos` below the length.
    unsigned int find_no_case(text_ref<T> s, unsigned int pos = 0) const;
    unsigned int find_no_case(T element, unsigned int pos = 0) const {
        return find_no_case(text_ref<T>(&element, 1), pos);
    }
    unsigned int rfind_no_case(text_ref<T> s, unsigned int pos = npos) const;
    unsigned int rfind_no_case(T element, unsigned int pos = npos) const {
        return rfind_no_case(text_ref<T>(&element, 1), pos);
    }
    unsigned int find_first_of_no_case(text_ref<T> set, unsigned int pos = 0) const;
    unsigned int find_first_not_of_no_case(text_ref<T> set, unsigned int pos = 0) const;
    unsigned int find_last_of_no_case(text_ref<T> set, unsigned int pos = npos) const;
    unsigned int find_last_not_of_no_case(text_ref<T> set, unsigned int pos = npos) const;

    // --- Numbers ---------------------------------------------------------------------------------

    /// A 32-bit number read from at most `n` elements: spaces, a sign, digits below `base` (2 to
    /// 36; -1 goes by a prefix 0x, 0b, 0, x or b). No digit gives 0. Too large a value gives the
    /// nearest limit (unsigned: all ones, then negated if negative) and `errno` ERANGE. `*end`
    /// becomes the position behind the number, or `pos` without a digit; it is left alone when
    /// `pos` isn't below the length.
    long to_long(unsigned int pos = 0, unsigned int n = npos, int base = 10,
                 unsigned int* end = nullptr) const noexcept;
    unsigned long to_ulong(unsigned int pos = 0, unsigned int n = npos, int base = 10,
                           unsigned int* end = nullptr) const noexcept;
    /// A decimal number with fraction and exponent; no locale. Out of range: `errno` ERANGE with an
    /// infinity or a zero of the number's sign.
    double to_double(unsigned int pos = 0, unsigned int n = npos,
                     unsigned int* end = nullptr) const noexcept;

    /// Appends the digits in `base` (2 to 36, upper case; another base writes 0). The sign is
    /// written in base 10 only.
    Self& append_long(long value, int base = 10);
    Self& append_ulong(unsigned long value, int base = 10);
    Self& from_long(long value, int base = 10);
    Self& from_ulong(unsigned long value, int base = 10);

    // --- Formatting ------------------------------------------------------------------------------

    /// Formats into a fixed room behind the present text (`format` clears it first): 256 elements,
    /// or the leading size. A narrow text that is longer is cut there; a wide one adds nothing.
    Self& format(const T* format, ...);
    Self& format(unsigned int size, const T* format, ...);
    Self& append_format(const T* format, ...);
    Self& append_format(unsigned int size, const T* format, ...);
    Self& vformat(const T* format, va_list arguments);
    Self& vformat(unsigned int size, const T* format, va_list arguments);
    Self& append_vformat(const T* format, va_list arguments);
    Self& append_vformat(unsigned int size, const T* format, va_list arguments);

    // --- Appending -------------------------------------------------------------------------------

    Self& operator<<(const T* text) { return this->append(text); }
    Self& operator<<(const Buffer& text) { return this->append(text); }
    Self& operator<<(const std::basic_string<T>& text) {
        return append_text(text.data(), static_cast<unsigned int>(text.size()));
    }
    Self& operator<<(T element) { return *this += element; }
    /// Text of the other width, element by element; no charset is converted. Bytes count as narrow.
    Self& operator<<(const Other* text);
    Self& operator<<(const basic_buffer<Other>& text) {
        return append_text(text.data(), text.length());
    }
    Self& operator<<(const std::basic_string<Other>& text) {
        return append_text(text.data(), static_cast<unsigned int>(text.size()));
    }
    Self& operator<<(Other element) { return append_text(&element, 1); }
    Self& operator<<(const basic_buffer<unsigned char>& bytes) {
        return append_text(static_cast<const char*>(static_cast<const void*>(bytes.data())),
                           bytes.length());
    }
    /// Decimal text.
    Self& operator<<(int value) { return *this << static_cast<long long>(value); }
    Self& operator<<(unsigned int value) { return *this << static_cast<unsigned long long>(value); }
    Self& operator<<(long value) { return *this << static_cast<long long>(value); }
    Self& operator<<(unsigned long value) {
        return *this << static_cast<unsigned long long>(value);
    }
    Self& operator<<(long long value);
    Self& operator<<(unsigned long long value);

protected:
    /// All `n` elements, also where they lie in this string's own block.
    Self& append_text(const T* text, unsigned int n) {
        return this->append(Buffer(text, n, typename Buffer::NOT_OWNER()));
    }
    Self& append_text(const Other* text, unsigned int n);

    /// A copy with every element lowered.
    static Self _Lowered(text_ref<T> text);

private:
    template <class Map>
    Self& __MakeCase(unsigned int pos, unsigned int n, Map map);
    unsigned int __LeadingSpaces() const noexcept;
    unsigned int __TrailingSpaces() const noexcept;
    Self& __AppendDigits(unsigned long long magnitude, unsigned int base, bool minus);
};

/// Bytes: the face alone.
template <class Self>
class string_core<Self, unsigned char> : public string_face<Self, unsigned char> {
public:
    using string_face<Self, unsigned char>::string_face;
    constexpr string_core() noexcept = default;
};

} // namespace Quil

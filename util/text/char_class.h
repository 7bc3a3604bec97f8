// What a character is and what its other case is, for narrow and for wide elements: one set of
// names for the C library's classes and for Unicode's, so that the string classes can be one
// template.
#pragma once

#include "regex/uni_data.h"

#include <cctype>
#include <cstdint>

namespace Quil::IMPL {

/// The tests and mappings for elements of type `T`. Everything is inline: these stand in the inner
/// loops of the folding searches.
template <class T>
struct char_class;

/// Narrow elements follow the C library and its locale. Values outside -128 to 255 are in no class.
template <>
struct char_class<char> {
    static bool is_alnum(int c) noexcept { return __Is(c) && std::isalnum(__Byte(c)) != 0; }
    static bool is_alpha(int c) noexcept { return __Is(c) && std::isalpha(__Byte(c)) != 0; }
    static bool is_cntrl(int c) noexcept { return __Is(c) && std::iscntrl(__Byte(c)) != 0; }
    static bool is_digit(int c) noexcept { return c >= '0' && c <= '9'; }
    static bool is_graph(int c) noexcept { return __Is(c) && std::isgraph(__Byte(c)) != 0; }
    static bool is_lower(int c) noexcept { return __Is(c) && std::islower(__Byte(c)) != 0; }
    static bool is_print(int c) noexcept { return __Is(c) && std::isprint(__Byte(c)) != 0; }
    static bool is_punct(int c) noexcept { return __Is(c) && std::ispunct(__Byte(c)) != 0; }
    /// The terminator counts as space and the form feed doesn't: trimming and number parsing rely
    /// on just this set, whatever the locale.
    static bool is_space(int c) noexcept {
        return c == ' ' || c == 0 || c == '\t' || c == '\n' || c == '\v' || c == '\r';
    }
    static bool is_upper(int c) noexcept { return __Is(c) && std::isupper(__Byte(c)) != 0; }
    static bool is_valid(int c) noexcept { return c >= 0 && c < 128; }
    static bool is_xdigit(int c) noexcept { return __Is(c) && std::isxdigit(__Byte(c)) != 0; }

    /// The mapped element, as a signed char.
    static int to_lower(int c) noexcept {
        return static_cast<signed char>(std::tolower(static_cast<signed char>(c)));
    }
    static int to_upper(int c) noexcept {
        return static_cast<signed char>(std::toupper(static_cast<signed char>(c)));
    }

private:
    static bool __Is(int c) noexcept { return c >= -128 && c <= 255; }
    static int __Byte(int c) noexcept { return static_cast<unsigned char>(c); }
};

/// Wide elements are classed by their Unicode category.
template <>
struct char_class<wchar_t> {
    static int get_category(int c) noexcept {
        return static_cast<int>(GetUniCharCategory(static_cast<wchar_t>(c)));
    }

    static bool is_alnum(int c) noexcept { return __In(c, LETTERS | DIGIT | OTHER_NUMBERS); }
    static bool is_alpha(int c) noexcept { return __In(c, LETTERS); }
    static bool is_cntrl(int c) noexcept { return __In(c, CONTROL | FORMAT); }
    static bool is_digit(int c) noexcept { return __In(c, DIGIT); }
    static bool is_graph(int c) noexcept { return !__In(c, UNASSIGNED | SPACES | FORMAT); }
    static bool is_lower(int c) noexcept { return __In(c, __Categories(2, 2)); }
    static bool is_print(int c) noexcept { return !__In(c, UNASSIGNED | FORMAT); }
    static bool is_punct(int c) noexcept { return __In(c, __Categories(19, 29)); }
    static bool is_space(int c) noexcept { return __In(c, SPACES); }
    static bool is_upper(int c) noexcept { return __In(c, __Categories(1, 1)); }
    static bool is_valid(int c) noexcept { return !__In(c, UNASSIGNED); }
    static bool is_xdigit(int c) noexcept {
        return (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f') || is_digit(c);
    }

    static int to_lower(int c) noexcept { return UniCharToLower(static_cast<wchar_t>(c)); }
    static int to_upper(int c) noexcept { return UniCharToUpper(static_cast<wchar_t>(c)); }

private:
    /// The set of the categories `first` to `last`, as bits.
    static constexpr std::uint32_t __Categories(int first, int last) noexcept {
        return (2U << last) - (1U << first);
    }
    static bool __In(int c, std::uint32_t categories) noexcept {
        return (categories >> get_category(c) & 1U) != 0;
    }

    static constexpr std::uint32_t UNASSIGNED = 1U << 0;
    static constexpr std::uint32_t SPACES = 1U << 8 | 0xFU << 12; ///< separators, marks, controls
    static constexpr std::uint32_t DIGIT = 1U << 9;
    static constexpr std::uint32_t OTHER_NUMBERS = 1U << 11;
    static constexpr std::uint32_t CONTROL = 1U << 15;
    static constexpr std::uint32_t FORMAT = 1U << 16;
    static constexpr std::uint32_t LETTERS = 0x1FU << 1 | 1U << 10; ///< with letter numbers
};

} // namespace Quil::IMPL

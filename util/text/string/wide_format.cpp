// printf for wide text. The wide formatter of the C library reports a room that is too small and an
// element that its locale can't express in one and the same way, and it takes narrow text for `%s`;
// so the formats are taken apart here and only the single conversions are left to the C library.
#include "util/text/string/wide_format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>

namespace Quil::IMPL {

namespace {

constexpr int NONE = -1; ///< no width, no precision
/// More digits than the longest number has that the C library formats.
constexpr int MAX_PRECISION = 32768;

/// One conversion: `%[flags][width][.precision][modifier]kind`.
struct CONVERSION {
    std::string flags;
    int width = NONE;
    int precision = NONE;
    std::string modifier;
    char kind = 0;
};

/// The room that is written to; it remembers when something didn't fit.
class wide_room {
public:
    wide_room(wchar_t* to, std::size_t n) noexcept : __to(to), __n(n) {}

    bool Put(const wchar_t* text, std::size_t n) noexcept {
        if (n > __n - __used) {
            return false;
        }
        std::copy_n(text, n, __to + __used);
        __used += n;
        return true;
    }
    bool Fill(std::size_t n, wchar_t element) noexcept {
        if (n > __n - __used) {
            return false;
        }
        std::fill_n(__to + __used, n, element);
        __used += n;
        return true;
    }
    int Finish() noexcept {
        if (__used < __n) {
            __to[__used] = L'\0';
        }
        return static_cast<int>(__used);
    }
    std::size_t Room() const noexcept { return __n; }

private:
    wchar_t* __to;
    std::size_t __n;
    std::size_t __used = 0;
};

/// The arguments of one call, handed from function to function as one list.
struct ARGUMENTS {
    va_list list;
};

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): my_vsnwprintf opens the list, out of its sight
class wide_formatter {
public:
    wide_formatter(wide_room& room, const wchar_t* format, ARGUMENTS& arguments) noexcept
        : __room(room), __p(format), __arguments(arguments) {}

    /// False as soon as something doesn't fit or can't be served.
    bool Run() {
        while (*__p != L'\0') {
            const wchar_t* const percent = std::wcschr(__p, L'%');
            const std::size_t literal =
                percent != nullptr ? static_cast<std::size_t>(percent - __p) : std::wcslen(__p);
            if (!__room.Put(__p, literal)) {
                return false;
            }
            __p += literal;
            if (percent != nullptr && !__Convert(__ReadConversion())) {
                return false;
            }
        }
        return true;
    }

private:
    CONVERSION __ReadConversion() {
        CONVERSION conversion;
        ++__p;
        while (*__p != L'\0' && std::wcschr(L"0+- #", *__p) != nullptr) {
            conversion.flags += static_cast<char>(*__p++);
        }
        conversion.width = __ReadNumber();
        if (conversion.width < NONE) { // from the arguments: a flag and a width
            conversion.flags += '-';
            conversion.width = conversion.width == INT32_MIN ? INT32_MAX : -conversion.width;
        }
        if (*__p == L'.') {
            ++__p;
            conversion.precision = std::max(__ReadNumber(), NONE);
            if (conversion.precision == NONE && *(__p - 1) == L'.') {
                conversion.precision = 0;
            }
        }
        while (*__p != L'\0' && std::wcschr(L"hlLqjzt", *__p) != nullptr) {
            conversion.modifier += static_cast<char>(*__p++);
        }
        if (*__p > 0 && *__p < 128) {
            conversion.kind = static_cast<char>(*__p++);
        }
        return conversion;
    }

    /// Digits, or an argument for `*`; NONE without either.
    int __ReadNumber() {
        if (*__p == L'*') {
            ++__p;
            return va_arg(__arguments.list, int);
        }
        if (*__p < L'0' || *__p > L'9') {
            return NONE;
        }
        std::int64_t number = 0;
        while (*__p >= L'0' && *__p <= L'9') {
            number = std::min<std::int64_t>(number * 10 + (*__p++ - L'0'), INT32_MAX);
        }
        return static_cast<int>(number);
    }

    bool __Convert(const CONVERSION& conversion) {
        switch (conversion.kind) {
        case '%':
            return __room.Put(L"%", 1);
        case 's':
            return __PutString(conversion, va_arg(__arguments.list, const wchar_t*));
        case 'c':
            return __PutCharacter(conversion);
        case 'p':
            return __PutNarrow({"0", 8, NONE, "l", 'X'},
                               reinterpret_cast<unsigned long>(va_arg(__arguments.list, void*)));
        case 'd':
        case 'i':
            return __PutSigned(conversion);
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return __PutUnsigned(conversion);
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            return conversion.modifier == "L"
                       ? __PutNarrow(conversion, va_arg(__arguments.list, long double))
                       : __PutNarrow(conversion, va_arg(__arguments.list, double));
        default:
            return false;
        }
    }

    bool __PutString(const CONVERSION& conversion, const wchar_t* text) {
        if (text == nullptr) {
            text = L"(null)";
        }
        const std::size_t length =
            conversion.precision == NONE
                ? std::wcslen(text)
                : wcsnlen(text, static_cast<std::size_t>(conversion.precision));
        return __PutPadded(conversion, text, length);
    }

    bool __PutCharacter(const CONVERSION& conversion) {
        wchar_t element;
        if (conversion.modifier == "l") {
            element = static_cast<wchar_t>(va_arg(__arguments.list, wint_t));
        } else {
            element = static_cast<signed char>(va_arg(__arguments.list, int));
        }
        return __PutPadded(conversion, &element, 1);
    }

    bool __PutPadded(const CONVERSION& conversion, const wchar_t* text, std::size_t length) {
        const auto width = static_cast<std::size_t>(std::max(conversion.width, 0));
        const std::size_t padding = width > length ? width - length : 0;
        const bool left = conversion.flags.find('-') != std::string::npos;
        return (left || __room.Fill(padding, L' ')) && __room.Put(text, length) &&
               (!left || __room.Fill(padding, L' '));
    }

    bool __PutSigned(const CONVERSION& conversion) {
        const std::string& modifier = conversion.modifier;
        va_list& list = __arguments.list;
        if (modifier == "l") {
            return __PutNarrow(conversion, va_arg(list, long));
        }
        if (modifier == "ll" || modifier == "q" || modifier == "L") {
            return __PutNarrow(conversion, va_arg(list, long long));
        }
        if (modifier == "j") {
            return __PutNarrow(conversion, va_arg(list, std::intmax_t));
        }
        if (modifier == "z" || modifier == "t") {
            return __PutNarrow(conversion, va_arg(list, std::ptrdiff_t));
        }
        return __PutNarrow(conversion, va_arg(list, int));
    }

    bool __PutUnsigned(const CONVERSION& conversion) {
        const std::string& modifier = conversion.modifier;
        va_list& list = __arguments.list;
        if (modifier == "l") {
            return __PutNarrow(conversion, va_arg(list, unsigned long));
        }
        if (modifier == "ll" || modifier == "q" || modifier == "L") {
            return __PutNarrow(conversion, va_arg(list, unsigned long long));
        }
        if (modifier == "j") {
            return __PutNarrow(conversion, va_arg(list, std::uintmax_t));
        }
        if (modifier == "z" || modifier == "t") {
            return __PutNarrow(conversion, va_arg(list, std::size_t));
        }
        return __PutNarrow(conversion, va_arg(list, unsigned int));
    }

    /// One number by the C library: its length is asked first, so the scratch always holds it. A
    /// width that can't fit is refused before the C library works it out.
    template <class Number>
    bool __PutNarrow(CONVERSION conversion, Number number) {
        if (conversion.width > NONE && static_cast<std::size_t>(conversion.width) > __room.Room()) {
            return false;
        }
        conversion.precision = std::min(conversion.precision, MAX_PRECISION);
        std::string format = "%" + conversion.flags;
        if (conversion.width != NONE) {
            format += std::to_string(conversion.width);
        }
        if (conversion.precision != NONE) {
            format += "." + std::to_string(conversion.precision);
        }
        format += conversion.modifier + conversion.kind;
        const int length = __Print(nullptr, 0, format.c_str(), number);
        if (length < 0 || static_cast<std::size_t>(length) > __room.Room()) {
            return false;
        }
        std::string scratch(static_cast<std::size_t>(length) + 1, '\0');
        __Print(scratch.data(), scratch.size(), format.c_str(), number);
        return std::all_of(scratch.begin(), scratch.end() - 1, [this](char element) {
            return __room.Fill(1, static_cast<signed char>(element));
        });
    }

    // The format comes from __PutNarrow, which is also where its argument comes from.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    template <class Number>
    static int __Print(char* to, std::size_t n, const char* format, Number number) {
        return std::snprintf(to, n, format, number);
    }
#pragma GCC diagnostic pop

    wide_room& __room;
    const wchar_t* __p;
    ARGUMENTS& __arguments;
};
// NOLINTEND(clang-analyzer-valist.Uninitialized)

} // namespace

int my_vsnwprintf(wchar_t* to, std::size_t n, const wchar_t* format, va_list arguments) {
    wide_room room(to, n);
    ARGUMENTS own;
    va_copy(own.list, arguments);
    const bool served = wide_formatter(room, format, own).Run();
    va_end(own.list);
    return served ? room.Finish() : -1;
}

} // namespace Quil::IMPL

// Whole numbers and their text, for every width of both: one scanner, one parser and one writer of
// digits. A parser accumulates the magnitude in the unsigned type, notes an overflow without
// stopping, and leaves it to the caller which prefixes tell a base.
#pragma once

#include <cerrno>
#include <concepts>
#include <limits>
#include <type_traits>

namespace Quil::IMPL {

constexpr unsigned int MIN_BASE = 2;
constexpr unsigned int MAX_BASE = 36;
constexpr unsigned int NO_DIGIT = MAX_BASE;
constexpr int DETECT_BASE = -1; ///< the base that the prefix tells

constexpr bool IsBase(int base) noexcept {
    return base >= static_cast<int>(MIN_BASE) && base <= static_cast<int>(MAX_BASE);
}

/// The value of a digit or letter of ASCII, or NO_DIGIT.
template <class T>
constexpr unsigned int DigitValue(T element) noexcept {
    if (element >= '0' && element <= '9') {
        return static_cast<unsigned int>(element - '0');
    }
    if (element >= 'A' && element <= 'Z') {
        return static_cast<unsigned int>(element - 'A') + 10;
    }
    if (element >= 'a' && element <= 'z') {
        return static_cast<unsigned int>(element - 'a') + 10;
    }
    return NO_DIGIT;
}

/// Reads a range of a text of the string class S from front to back.
template <class S>
class scanner {
    using T = typename S::value_type;

public:
    scanner(const T* first, unsigned int n) noexcept
        : __first(first), __p(first), __end(first + n) {}

    unsigned int Consumed() const noexcept { return static_cast<unsigned int>(__p - __first); }
    void GoBackTo(unsigned int consumed) noexcept { __p = __first + consumed; }

    void SkipSpaces() noexcept {
        while (__p != __end && S::is_space(*__p)) {
            ++__p;
        }
    }
    /// Steps over `one`, or `other`, if it is next.
    bool Take(char one, char other) noexcept {
        const bool isNext =
            __p != __end && (*__p == static_cast<T>(one) || *__p == static_cast<T>(other));
        __p += isNext ? 1 : 0;
        return isNext;
    }
    bool Take(char one) noexcept { return Take(one, one); }
    /// Steps over a sign if there is one; true if it is "-".
    bool TakeSign() noexcept {
        const bool isMinus = Take('-');
        if (!isMinus) {
            Take('+');
        }
        return isMinus;
    }
    /// Steps over a digit below `base`; NO_DIGIT or its value.
    unsigned int TakeDigit(unsigned int base) noexcept {
        const unsigned int digit = __p != __end ? DigitValue(*__p) : NO_DIGIT;
        if (digit >= base) {
            return NO_DIGIT;
        }
        ++__p;
        return digit;
    }

private:
    const T* __first;
    const T* __p;
    const T* __end;
};

/// What was read of a whole number.
template <std::unsigned_integral Unsigned>
struct PARSED {
    Unsigned magnitude = 0;
    bool negative = false;
    bool overflow = false;
    bool anyDigit = false;

    /// The value in the signed type, at the end of the range that it passed, and errno ERANGE then.
    std::make_signed_t<Unsigned> ClampSigned() const noexcept {
        using Signed = std::make_signed_t<Unsigned>;
        constexpr auto largest = static_cast<Unsigned>(std::numeric_limits<Signed>::max());
        const auto limit = static_cast<Unsigned>(largest + (negative ? 1U : 0U));
        const bool isOutside = overflow || magnitude > limit;
        if (isOutside) {
            errno = ERANGE;
        }
        const Unsigned clamped = isOutside ? limit : magnitude;
        return static_cast<Signed>(negative ? Unsigned{0} - clamped : clamped);
    }
};

/// Reads spaces, a sign and the digits of `base`; of no base at all nothing behind the sign. With
/// DETECT_BASE, `takePrefix(text)` steps over a prefix and answers the base that it tells.
template <std::unsigned_integral Unsigned, class S, class TakePrefix>
PARSED<Unsigned> ParseNumber(scanner<S>& text, int base, TakePrefix takePrefix) noexcept {
    constexpr Unsigned MAX = std::numeric_limits<Unsigned>::max();
    PARSED<Unsigned> parsed;
    text.SkipSpaces();
    parsed.negative = text.TakeSign();
    if (base != DETECT_BASE && !IsBase(base)) {
        return parsed;
    }
    const unsigned int radix =
        base == DETECT_BASE ? takePrefix(text) : static_cast<unsigned int>(base);
    for (unsigned int digit; (digit = text.TakeDigit(radix)) != NO_DIGIT;) {
        parsed.anyDigit = true;
        const bool isFull = parsed.magnitude > MAX / radix;
        parsed.magnitude *= radix;
        parsed.overflow = parsed.overflow || isFull || parsed.magnitude > MAX - digit;
        parsed.magnitude += digit;
    }
    return parsed;
}

/// Elements that the digits of any number and a sign take at the most.
template <std::unsigned_integral Unsigned>
constexpr int DIGITS_ROOM = std::numeric_limits<Unsigned>::digits + 1;

/// Writes the digits of `magnitude`, letters in upper case, so that they end before `end`.
/// @return the first one
template <class T, std::unsigned_integral Unsigned>
T* WriteDigits(T* end, Unsigned magnitude, unsigned int base) noexcept {
    do {
        *--end = static_cast<T>("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[magnitude % base]);
        magnitude /= base;
    } while (magnitude != 0);
    return end;
}

} // namespace Quil::IMPL

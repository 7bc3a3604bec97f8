// Numbers from and to text, for both widths: the parsers skip `is_space`, know no locale, and keep
// to the range that they are given.
#include "util/text/byteEx.h"

#include <cerrno>
#include <cfloat>
#include <limits>

namespace Quil {

namespace {

constexpr unsigned int MIN_BASE = 2;
constexpr unsigned int MAX_BASE = 36;
constexpr unsigned int NO_DIGIT = MAX_BASE;

/// The value of a digit, or NO_DIGIT.
template <class T>
unsigned int DigitValue(T element) noexcept {
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

/// Reads a range from front to back.
template <class S>
class scanner {
    using T = typename S::value_type;

public:
    scanner(const T* first, unsigned int n) noexcept
        : __first(first), __p(first), __end(first + n) {}

    bool AtEnd() const noexcept { return __p == __end; }
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
struct PARSED {
    std::uint32_t magnitude = 0;
    bool negative = false;
    bool overflow = false;
    bool anyDigit = false;
};

/// The base that a prefix tells, which is stepped over. A lone 0 is a prefix too.
template <class S>
unsigned int TakeBasePrefix(scanner<S>& text) noexcept {
    const bool zero = text.Take('0');
    if (text.Take('b', 'B')) {
        return 2;
    }
    if (text.Take('x', 'X')) {
        return 16;
    }
    return zero ? 8 : 10;
}

template <class S>
PARSED Parse(scanner<S>& text, int base) noexcept {
    constexpr int DETECT = -1;
    constexpr std::uint32_t MAX = std::numeric_limits<std::uint32_t>::max();
    PARSED parsed;
    text.SkipSpaces();
    parsed.negative = text.Take('-');
    if (!parsed.negative) {
        text.Take('+');
    }
    const unsigned int radix =
        base == DETECT ? TakeBasePrefix(text) : static_cast<unsigned int>(base);
    if (radix < MIN_BASE || radix > MAX_BASE) {
        return parsed;
    }
    for (unsigned int digit; (digit = text.TakeDigit(radix)) != NO_DIGIT;) {
        parsed.anyDigit = true;
        if (parsed.magnitude > MAX / radix ||
            (parsed.magnitude == MAX / radix && digit > MAX % radix)) {
            parsed.overflow = true;
        }
        parsed.magnitude = parsed.magnitude * radix + digit;
    }
    return parsed;
}

} // namespace

template <class Self, class T>
long string_core<Self, T>::to_long(unsigned int pos, unsigned int n, int base,
                                   unsigned int* end) const noexcept {
    if (pos >= this->length()) {
        return 0;
    }
    scanner<Self> text(this->data() + pos, std::min(n, this->length() - pos));
    const PARSED parsed = Parse(text, base);
    if (end != nullptr) {
        *end = parsed.anyDigit ? pos + text.Consumed() : pos;
    }
    if (!parsed.anyDigit) {
        return 0;
    }
    constexpr std::int64_t MAX = std::numeric_limits<std::int32_t>::max();
    const std::int64_t limit = parsed.negative ? MAX + 1 : MAX;
    std::int64_t magnitude = parsed.magnitude;
    if (parsed.overflow || magnitude > limit) {
        errno = ERANGE;
        magnitude = limit;
    }
    return static_cast<long>(parsed.negative ? -magnitude : magnitude);
}

template <class Self, class T>
unsigned long string_core<Self, T>::to_ulong(unsigned int pos, unsigned int n, int base,
                                             unsigned int* end) const noexcept {
    if (pos >= this->length()) {
        return 0;
    }
    scanner<Self> text(this->data() + pos, std::min(n, this->length() - pos));
    PARSED parsed = Parse(text, base);
    if (end != nullptr) {
        *end = parsed.anyDigit ? pos + text.Consumed() : pos;
    }
    if (!parsed.anyDigit) {
        return 0;
    }
    if (parsed.overflow) {
        errno = ERANGE;
        parsed.magnitude = std::numeric_limits<std::uint32_t>::max();
    }
    return parsed.negative ? 0U - parsed.magnitude : parsed.magnitude;
}

namespace {

/// Digits of a decimal number and its fraction; false if there is none.
template <class S>
bool TakeMantissa(scanner<S>& text, long double& value) noexcept {
    bool anyDigit = false;
    for (unsigned int digit; (digit = text.TakeDigit(10)) != NO_DIGIT;) {
        value = value * 10 + digit;
        anyDigit = true;
    }
    if (!text.Take('.')) {
        return anyDigit;
    }
    long double scale = 1;
    for (unsigned int digit; (digit = text.TakeDigit(10)) != NO_DIGIT;) {
        scale *= 0.1L;
        value += scale * digit;
        anyDigit = true;
    }
    return anyDigit;
}

/// An exponent part, of which nothing is taken when it has no digit. Beyond 32 bits it stays at the
/// limit, which no double reaches.
template <class S>
std::int32_t TakeExponent(scanner<S>& text) noexcept {
    const unsigned int before = text.Consumed();
    if (!text.Take('e', 'E')) {
        return 0;
    }
    const bool negative = text.Take('-');
    if (!negative) {
        text.Take('+');
    }
    constexpr std::int64_t MAX = std::numeric_limits<std::int32_t>::max();
    std::int64_t exponent = 0;
    bool anyDigit = false;
    for (unsigned int digit; (digit = text.TakeDigit(10)) != NO_DIGIT;) {
        exponent = std::min(exponent * 10 + digit, MAX);
        anyDigit = true;
    }
    if (!anyDigit) {
        text.GoBackTo(before);
    }
    return static_cast<std::int32_t>(negative ? -exponent : exponent);
}

/// `value` times ten to the power of `exponent`, ended as soon as no double can hold it.
long double Scale(long double value, std::int32_t exponent) noexcept {
    for (; exponent > 0 && value <= DBL_MAX; --exponent) {
        value *= 10;
    }
    for (; exponent < 0 && value >= DBL_TRUE_MIN; ++exponent) {
        value *= 0.1L;
    }
    return value;
}

} // namespace

template <class Self, class T>
double string_core<Self, T>::to_double(unsigned int pos, unsigned int n,
                                       unsigned int* end) const noexcept {
    if (pos >= this->length()) {
        return 0;
    }
    scanner<Self> text(this->data() + pos, std::min(n, this->length() - pos));
    text.SkipSpaces();
    const bool negative = text.Take('-');
    if (!negative) {
        text.Take('+');
    }
    long double value = 0;
    const bool anyDigit = TakeMantissa(text, value);
    const std::int32_t exponent = anyDigit ? TakeExponent(text) : 0;
    if (end != nullptr) {
        *end = anyDigit ? pos + text.Consumed() : pos;
    }
    double result = 0;
    if (value != 0) {
        value = Scale(value, exponent);
        if (value > DBL_MAX) {
            errno = ERANGE;
            result = std::numeric_limits<double>::infinity();
        } else if (value < DBL_TRUE_MIN) {
            errno = ERANGE;
        } else {
            result = static_cast<double>(value);
        }
    }
    return negative && anyDigit ? -result : result;
}

// --- Numbers to text ----------------------------------------------------------------------------

template <class Self, class T>
Self& string_core<Self, T>::__AppendDigits(unsigned long long magnitude, unsigned int base,
                                           bool minus) {
    T digits[std::numeric_limits<unsigned long long>::digits + 1];
    T* const end = std::end(digits);
    T* p = end;
    if (base < MIN_BASE || base > MAX_BASE) {
        magnitude = 0;
        minus = false;
        base = MIN_BASE;
    }
    do {
        *--p = static_cast<T>("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[magnitude % base]);
        magnitude /= base;
    } while (magnitude != 0);
    if (minus) {
        *--p = T('-');
    }
    return this->append(p, static_cast<unsigned int>(end - p));
}

template <class Self, class T>
Self& string_core<Self, T>::append_long(long value, int base) {
    const auto bits = static_cast<unsigned long long>(value);
    return __AppendDigits(value < 0 ? 0 - bits : bits, static_cast<unsigned int>(base),
                          value < 0 && base == 10);
}

template <class Self, class T>
Self& string_core<Self, T>::append_ulong(unsigned long value, int base) {
    return __AppendDigits(value, static_cast<unsigned int>(base), false);
}

template <class Self, class T>
Self& string_core<Self, T>::from_long(long value, int base) {
    this->clear();
    return append_long(value, base);
}

template <class Self, class T>
Self& string_core<Self, T>::from_ulong(unsigned long value, int base) {
    this->clear();
    return append_ulong(value, base);
}

template <class Self, class T>
Self& string_core<Self, T>::operator<<(long long value) {
    const auto bits = static_cast<unsigned long long>(value);
    return __AppendDigits(value < 0 ? 0 - bits : bits, 10, value < 0);
}

template <class Self, class T>
Self& string_core<Self, T>::operator<<(unsigned long long value) {
    return __AppendDigits(value, 10, false);
}

// The members that are defined here.
template class string_core<stringEx, char>;
template class string_core<wstringEx, wchar_t>;

} // namespace Quil

// Numbers from and to text, for both widths: the parsers skip `is_space`, know no locale, and keep
// to the range that they are given.
#include "util/text/byteEx.h"
#include "util/text/number_text.h"

#include <cfloat>

namespace Quil {

namespace {

using IMPL::NO_DIGIT;
using IMPL::scanner;
using PARSED = IMPL::PARSED<std::uint32_t>;

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

/// Parses the range of a text that begins at `pos`, which lies in it, and tells where it ended.
template <class S>
PARSED ParseAt(const S& s, unsigned int pos, unsigned int n, int base, unsigned int* end) noexcept {
    scanner<S> text(s.data() + pos, std::min(n, s.length() - pos));
    const PARSED parsed = IMPL::ParseNumber<std::uint32_t>(text, base, TakeBasePrefix<S>);
    if (end != nullptr) {
        *end = parsed.anyDigit ? pos + text.Consumed() : pos;
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
    return ParseAt(static_cast<const Self&>(*this), pos, n, base, end).ClampSigned();
}

template <class Self, class T>
unsigned long string_core<Self, T>::to_ulong(unsigned int pos, unsigned int n, int base,
                                             unsigned int* end) const noexcept {
    if (pos >= this->length()) {
        return 0;
    }
    PARSED parsed = ParseAt(static_cast<const Self&>(*this), pos, n, base, end);
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
    const bool negative = text.TakeSign();
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
    const bool negative = text.TakeSign();
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

// --- Numbers to text -----------------------------------------------------------------------------

template <class Self, class T>
Self& string_core<Self, T>::__AppendDigits(unsigned long long magnitude, unsigned int base,
                                           bool minus) {
    T digits[IMPL::DIGITS_ROOM<unsigned long long>];
    T* const end = std::end(digits);
    const bool isBase = IMPL::IsBase(static_cast<int>(base));
    T* p = isBase ? IMPL::WriteDigits(end, magnitude, base) : IMPL::WriteDigits(end, 0U, 10);
    if (minus && isBase) {
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

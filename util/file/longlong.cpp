// Text forms of the 64-bit integers.
//
// Reading accumulates the magnitude in the unsigned type and settles sign and range at the end, so
// one parser serves both types.

#include "util/file/longlong.h"

#include "util/text/stringEx.h"

#include <algorithm>
#include <cerrno>

namespace Quil::IMPL {

namespace {

constexpr int DETECT_BASE = -1;
constexpr int MIN_BASE = 2;
constexpr int MAX_BASE = 36;
constexpr int NO_DIGIT = MAX_BASE;

/// The value of a digit or letter, or NO_DIGIT.
int DigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const int upper = stringEx::to_upper(c);
    return upper >= 'A' && upper <= 'Z' ? upper - 'A' + 10 : NO_DIGIT;
}

/// What stands at the front of a number: where its digits begin, and what they mean.
struct NUMBER_HEAD {
    unsigned int digits = 0;
    int base = 0;
    bool negative = false;
};

/// The base that the text at `pos` announces; `pos` is moved behind the prefix. The "0" of an octal
/// number is left standing: it is a digit too.
int DetectBase(const stringEx& text, unsigned int& pos) {
    const auto at = [&](unsigned int i) { return i < text.length() ? text[i] : '\0'; };
    const auto is = [&](unsigned int i, char lower) {
        return at(i) == lower || at(i) == lower - 'a' + 'A';
    };
    if (is(pos, 'x')) {
        pos += 1;
        return 16;
    }
    if (at(pos) != '0')
        return 10;
    if (is(pos + 1, 'x') || is(pos + 1, 'b')) {
        pos += 2;
        return is(pos - 1, 'x') ? 16 : 2;
    }
    return 8;
}

NUMBER_HEAD ReadHead(const stringEx& text, int base) {
    NUMBER_HEAD head;
    unsigned int pos = 0;
    while (pos < text.length() && stringEx::is_space(text[pos]))
        ++pos;
    if (pos < text.length() && (text[pos] == '-' || text[pos] == '+')) {
        head.negative = text[pos] == '-';
        ++pos;
    }
    head.base = base == DETECT_BASE ? DetectBase(text, pos) : base;
    head.digits = pos;
    return head;
}

} // namespace

template <class Self, std::integral Int>
Self& native_int64<Self, Int>::FromString(const stringEx& text, int base, unsigned int* used) {
    if (used != nullptr)
        *used = 0;
    m_value = 0;
    if (base != DETECT_BASE && (base < MIN_BASE || base > MAX_BASE))
        return _self();

    const NUMBER_HEAD head = ReadHead(text, base);
    const auto radix = static_cast<Unsigned>(head.base);
    constexpr Unsigned allOnes = std::numeric_limits<Unsigned>::max();
    Unsigned magnitude = 0;
    bool overflow = false;
    unsigned int pos = head.digits;
    for (; pos < text.length(); ++pos) {
        const int digit = DigitValue(text[pos]);
        if (digit >= head.base)
            break;
        const auto value = static_cast<Unsigned>(digit);
        overflow = overflow || magnitude > (allOnes - value) / radix;
        magnitude = magnitude * radix + value;
    }
    if (used != nullptr && pos > head.digits)
        *used = pos;

    constexpr auto largest = static_cast<Unsigned>(std::numeric_limits<Int>::max());
    const Unsigned limit = largest + (std::is_signed_v<Int> && head.negative ? 1U : 0U);
    if (overflow || magnitude > limit) {
        errno = ERANGE;
        return _set(limit);
    }
    return _set(head.negative ? Unsigned{0} - magnitude : magnitude);
}

template <class Self, std::integral Int>
stringEx native_int64<Self, Int>::ToString(int radix) const {
    if (radix < MIN_BASE || radix > MAX_BASE)
        return stringEx();
    constexpr int longest = 1 + std::numeric_limits<Unsigned>::digits;
    char room[longest];
    char* const end = room + longest;
    char* first = end;
    const bool negative = m_value < 0;
    Unsigned rest = negative ? Unsigned{0} - _bits() : _bits();
    const auto base = static_cast<Unsigned>(radix);
    do {
        *--first = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[rest % base];
        rest /= base;
    } while (rest != 0);
    if (negative)
        *--first = '-';
    return stringEx(first, static_cast<unsigned int>(end - first));
}

template class native_int64<CLongLongNative, std::int64_t>;
template class native_int64<CULongLongNative, std::uint64_t>;

} // namespace Quil::IMPL

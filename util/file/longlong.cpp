// Text forms of the 64-bit integers.

#include "util/file/longlong.h"

#include "util/text/number_text.h"
#include "util/text/stringEx.h"

namespace Quil::IMPL {

namespace {

/// The base that the text announces, whose prefix is stepped over. The "0" of an octal number is
/// left standing: it is a digit too.
unsigned int TakeBasePrefix(scanner<stringEx>& text) noexcept {
    if (text.Take('x', 'X')) {
        return 16;
    }
    const unsigned int before = text.Consumed();
    if (!text.Take('0')) {
        return 10;
    }
    if (text.Take('x', 'X')) {
        return 16;
    }
    if (text.Take('b', 'B')) {
        return 2;
    }
    text.GoBackTo(before);
    return 8;
}

} // namespace

template <class Self, std::integral Int>
Self& native_int64<Self, Int>::FromString(const stringEx& text, int base, unsigned int* used) {
    scanner<stringEx> scan(text.data(), text.length());
    const PARSED parsed = ParseNumber<Unsigned>(scan, base, TakeBasePrefix);
    if (used != nullptr) {
        *used = parsed.anyDigit ? scan.Consumed() : 0;
    }
    if constexpr (std::is_signed_v<Int>) {
        return _set(static_cast<Unsigned>(parsed.ClampSigned()));
    }
    if (parsed.overflow) {
        errno = ERANGE;
        return _set(std::numeric_limits<Unsigned>::max());
    }
    return _set(parsed.negative ? Unsigned{0} - parsed.magnitude : parsed.magnitude);
}

template <class Self, std::integral Int>
stringEx native_int64<Self, Int>::ToString(int radix) const {
    if (!IsBase(radix)) {
        return stringEx();
    }
    char room[DIGITS_ROOM<Unsigned>];
    char* const end = std::end(room);
    const bool negative = m_value < 0;
    char* first = WriteDigits(end, negative ? Unsigned{0} - _bits() : _bits(),
                              static_cast<unsigned int>(radix));
    if (negative) {
        *--first = '-';
    }
    return stringEx(first, static_cast<unsigned int>(end - first));
}

template class native_int64<CLongLongNative, std::int64_t>;
template class native_int64<CULongLongNative, std::uint64_t>;

} // namespace Quil::IMPL

// The 64-bit integers in which file offsets, sizes and times travel: CLongLongNative (signed) and
// CULongLongNative (unsigned).
//
// Both are one template over the built-in type, with two thin faces. Arithmetic wraps instead of
// being undefined, everything but the text forms is constexpr, so constants of these types need no
// start-up code.

#pragma once

#include "util/base/InitGuard.h"
#include "util/base/visibility.h"

#include <compare>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace QUIL_PUBLIC Quil {

class stringEx;

namespace IMPL {

/// The operations that both integers have. `Self` is the face, `Int` the built-in 64-bit type.
///
/// A plain value: it may be copied freely, and one object belongs to one thread at a time.
template <class Self, std::integral Int>
class native_int64 {
    static_assert(sizeof(Int) == 8);
    using Unsigned = std::make_unsigned_t<Int>;

public:
    constexpr native_int64() noexcept = default;

    /// Any built-in number converts as the language converts it (a wider or negative one wraps).
    template <class U>
    requires std::is_arithmetic_v<U> || std::is_enum_v<U>
    constexpr native_int64(U value) noexcept : __value(static_cast<Int>(value)) {}

    /// The value as a built-in number; a narrower type takes the low bits.
    template <class U>
    requires std::is_arithmetic_v<U>
    constexpr explicit operator U() const noexcept { return static_cast<U>(__value); }
    constexpr Int Value() const noexcept { return __value; }

    /// Takes the value from 8 bytes in the machine's own order.
    Self& FromArray(const unsigned char* bytes) noexcept {
        std::memcpy(&__value, bytes, sizeof __value);
        return __self();
    }
    /// Writes the value as 8 bytes in the machine's own order.
    void ToArray(unsigned char* bytes) const noexcept {
        std::memcpy(bytes, &__value, sizeof __value);
    }

    /// Reads a number from `text`: white space, one sign, digits of `base` (2 to 36; letters in
    /// either case). Base -1 looks at the prefix: "0x" or "x" is 16, "0b" is 2, "0" is 8, otherwise
    /// 10; a base given outright takes no prefix. A base out of range gives 0.
    ///
    /// A value out of the type's range becomes the nearest end of the range and sets `errno` to
    /// ERANGE; the negative of an unsigned number wraps. `used`, if not null, receives the number
    /// of elements consumed, 0 when there was no digit.
    Self& FromString(const stringEx& text, int base = 10, unsigned int* used = nullptr);

    /// The value in `radix` 2 to 36, with upper-case letters as digits above 9 and a leading "-"
    /// for a negative value in any radix. Another radix gives the empty string.
    stringEx ToString(int radix = 10) const;

    constexpr Self& operator+=(const Self& other) noexcept {
        return __set(__bits() + other.__bits());
    }
    constexpr Self& operator-=(const Self& other) noexcept {
        return __set(__bits() - other.__bits());
    }
    constexpr Self& operator*=(const Self& other) noexcept {
        return __set(__bits() * other.__bits());
    }
    /// The quotient, rounded toward zero. A divisor of 0 is the caller's fault.
    constexpr Self& operator/=(const Self& other) noexcept {
        return __is_minus_one(other) ? __set(Unsigned{0} - __bits())
                                     : __set(static_cast<Unsigned>(__value / other.__value));
    }
    /// The remainder, with the sign of the dividend. A divisor of 0 is the caller's fault.
    constexpr Self& operator%=(const Self& other) noexcept {
        return __is_minus_one(other) ? __set(0)
                                     : __set(static_cast<Unsigned>(__value % other.__value));
    }
    constexpr Self& operator&=(const Self& other) noexcept {
        return __set(__bits() & other.__bits());
    }
    constexpr Self& operator|=(const Self& other) noexcept {
        return __set(__bits() | other.__bits());
    }
    constexpr Self& operator^=(const Self& other) noexcept {
        return __set(__bits() ^ other.__bits());
    }
    /// Shifts by 64 bits or more shift everything out.
    constexpr Self& operator<<=(unsigned int bits) noexcept {
        return __set(bits < 64 ? __bits() << bits : 0);
    }
    constexpr Self& operator>>=(unsigned int bits) noexcept {
        return __set(
            static_cast<Unsigned>(__value >> (bits < 64 ? bits : 63) >> (bits < 64 ? 0 : 1)));
    }

    constexpr Self& operator++() noexcept { return __set(__bits() + 1); }
    constexpr Self& operator--() noexcept { return __set(__bits() - 1); }
    constexpr Self operator++(int) noexcept {
        const Self old = __self();
        ++*this;
        return old;
    }
    constexpr Self operator--(int) noexcept {
        const Self old = __self();
        --*this;
        return old;
    }

    constexpr Self operator-() const noexcept { return Self(Unsigned{0} - __bits()); }
    constexpr Self operator~() const noexcept { return Self(~__bits()); }
    constexpr bool operator!() const noexcept { return __value == 0; }

    friend constexpr Self operator+(Self a, const Self& b) noexcept { return a += b; }
    friend constexpr Self operator-(Self a, const Self& b) noexcept { return a -= b; }
    friend constexpr Self operator*(Self a, const Self& b) noexcept { return a *= b; }
    friend constexpr Self operator/(Self a, const Self& b) noexcept { return a /= b; }
    friend constexpr Self operator%(Self a, const Self& b) noexcept { return a %= b; }
    friend constexpr Self operator&(Self a, const Self& b) noexcept { return a &= b; }
    friend constexpr Self operator|(Self a, const Self& b) noexcept { return a |= b; }
    friend constexpr Self operator^(Self a, const Self& b) noexcept { return a ^= b; }
    friend constexpr Self operator<<(Self a, unsigned int bits) noexcept { return a <<= bits; }
    friend constexpr Self operator>>(Self a, unsigned int bits) noexcept { return a >>= bits; }
    friend constexpr bool operator==(const Self& a, const Self& b) noexcept {
        return a.__value == b.__value;
    }
    friend constexpr std::strong_ordering operator<=>(const Self& a, const Self& b) noexcept {
        return a.__value <=> b.__value;
    }

private:
    constexpr Self& __self() noexcept { return static_cast<Self&>(*this); }
    constexpr Unsigned __bits() const noexcept { return static_cast<Unsigned>(__value); }
    constexpr Self& __set(Unsigned bits) noexcept {
        __value = static_cast<Int>(bits);
        return __self();
    }
    /// The one divisor for which the smallest signed value has no quotient of its type.
    static constexpr bool __is_minus_one(const native_int64& value) noexcept {
        return std::is_signed_v<Int> && value.__bits() == std::numeric_limits<Unsigned>::max();
    }

    Int __value = 0;
};

} // namespace IMPL

class CULongLongNative;

/// A signed 64-bit integer: offsets in files, counts of microseconds.
class CLongLongNative : public IMPL::native_int64<CLongLongNative, std::int64_t> {
public:
    using native_int64::native_int64;
    constexpr CLongLongNative() noexcept = default;
    constexpr explicit CLongLongNative(const CULongLongNative& other) noexcept;
};

/// An unsigned 64-bit integer: sizes, and numbers that are shown as bits.
class CULongLongNative : public IMPL::native_int64<CULongLongNative, std::uint64_t> {
public:
    using native_int64::native_int64;
    constexpr CULongLongNative() noexcept = default;
    constexpr explicit CULongLongNative(const CLongLongNative& other) noexcept
        : native_int64(other.Value()) {}
};

constexpr CLongLongNative::CLongLongNative(const CULongLongNative& other) noexcept
    : native_int64(other.Value()) {}

namespace IMPL {

/// Start-up guard of the integers. They are constant-initialised, so there is nothing to build; the
/// guard counts the source files that use them, like the guards of the other areas.
class impInitGuardForInt64 : public TInitGuard<impInitGuardForInt64> {
public:
    static void __Init() {}
};

static const impInitGuardForInt64 s_initGuardForInt64;

extern template class native_int64<CLongLongNative, std::int64_t>;
extern template class native_int64<CULongLongNative, std::uint64_t>;

} // namespace IMPL

} // namespace Quil

// What the wide string adds to the layers: the other strings, UTF-16 and byte order.
#include "util/text/wstringEx.h"

#include "util/base/unicode_units.h"
#include "util/text/byteEx.h"
#include "util/text/string/character_walk.h"

#include <bit>

namespace Quil {

constinit const wstringEx wstEMPTY{};

namespace {

/// Where characters begin in UTF-16: everywhere but at the second half of a pair.
bool Starts(const wchar_t* text, unsigned int i) noexcept {
    const auto unit = [text](unsigned int at) { return static_cast<std::uint16_t>(text[at]); };
    return i == 0 || !IMPL::IsLowSurrogate(unit(i)) || !IMPL::IsHighSurrogate(unit(i - 1));
}

using Walk = IMPL::character_walk<wchar_t, Starts>;

} // namespace

bool wstringEx::is_cjk(int c) noexcept {
    struct BLOCK {
        int first;
        int last;
    };
    static constexpr BLOCK BLOCKS[] = {{0x2E80, 0xA4CF}, {0xAC00, 0xD7AF},   {0xF900, 0xFAFF},
                                       {0xFE30, 0xFE4F}, {0x20000, 0x2A6DF}, {0x2F800, 0x2FA1F}};
    return std::any_of(std::begin(BLOCKS), std::end(BLOCKS),
                       [c](const BLOCK& block) { return c >= block.first && c <= block.last; });
}

stringEx wstringEx::to_str() const {
    stringEx narrow;
    narrow << *this;
    return narrow;
}

wstringEx& wstringEx::from_str(const stringEx& text) {
    return _Become(text.to_wstr()); // which may look into this string
}

wstringEx::operator byteEx() const {
    return byte_buffer::_from_layout(_layout_as<unsigned char>());
}

unsigned int wstringEx::utf16_length() const noexcept {
    return Walk(*this).Count();
}

unsigned int wstringEx::utf16_get_charpos(unsigned int pos) const noexcept {
    return Walk(*this).StartOf(pos);
}

unsigned int wstringEx::utf16_get_next_charpos(unsigned int pos) const noexcept {
    return Walk(*this).Next(pos);
}

unsigned int wstringEx::utf16_get_char(unsigned int n) const noexcept {
    return Walk(*this).Find(n);
}

unsigned int wstringEx::utf16_get_charlen(unsigned int n) const noexcept {
    return Walk(*this).LengthAt(Walk(*this).Find(n));
}

unsigned int wstringEx::utf16_get_charlen_bypos(unsigned int pos) const noexcept {
    return Walk(*this).LengthAt(pos);
}

wstringEx wstringEx::get_bom() noexcept {
    return {L"\xFEFF", 1, NOT_OWNER()};
}

namespace {

void SwapBytes(wstringEx& text) {
    wchar_t* const elements = text.make_tail();
    for (unsigned int i = 0; i < text.length(); ++i) {
        elements[i] =
            static_cast<wchar_t>(__builtin_bswap32(static_cast<std::uint32_t>(elements[i])));
    }
}

} // namespace

wstringEx& wstringEx::AdjustOnLE() {
    if constexpr (std::endian::native == std::endian::little) {
        SwapBytes(*this);
    }
    return *this;
}

wstringEx& wstringEx::AdjustOnBE() {
    if constexpr (std::endian::native == std::endian::big) {
        SwapBytes(*this);
    }
    return *this;
}

} // namespace Quil

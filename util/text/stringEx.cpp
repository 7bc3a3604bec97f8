// What the narrow string adds to the layers: the other strings and UTF-8.
#include "util/text/stringEx.h"

#include "util/base/unicode_units.h"
#include "util/text/byteEx.h"
#include "util/text/string/character_walk.h"

namespace Quil {

constinit const stringEx stEMPTY{};

namespace {

/// Where characters begin in UTF-8.
bool Starts(const char* text, unsigned int i) noexcept {
    return !IMPL::IsContinuation(static_cast<unsigned char>(text[i]));
}

using Walk = IMPL::character_walk<char, Starts>;

} // namespace

wstringEx stringEx::to_wstr() const {
    wstringEx wide;
    wide << *this;
    return wide;
}

stringEx& stringEx::from_wstr(const wstringEx& text) {
    return _Become(text.to_str()); // which may look into this string
}

stringEx::operator byteEx() const {
    return byte_buffer::_from_layout(_layout_as<unsigned char>());
}

unsigned int stringEx::utf8_length() const noexcept {
    return Walk(*this).Count();
}

unsigned int stringEx::utf8_get_charpos(unsigned int pos) const noexcept {
    return Walk(*this).StartOf(pos);
}

unsigned int stringEx::utf8_get_next_charpos(unsigned int pos) const noexcept {
    return Walk(*this).Next(pos);
}

unsigned int stringEx::utf8_get_char(unsigned int n) const noexcept {
    return Walk(*this).Find(n);
}

unsigned int stringEx::utf8_get_charlen(unsigned int n) const noexcept {
    return Walk(*this).LengthAt(Walk(*this).Find(n));
}

unsigned int stringEx::utf8_get_charlen_bypos(unsigned int pos) const noexcept {
    return Walk(*this).LengthAt(pos);
}

stringEx stringEx::get_bom() noexcept {
    return {"\xEF\xBB\xBF", 3, NOT_OWNER()};
}

} // namespace Quil

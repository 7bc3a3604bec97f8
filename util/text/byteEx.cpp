// Byte strings: re-typing, raw appending and hex texts.
#include "util/text/byteEx.h"

#include <cstdint>

namespace Quil {

constinit const byteEx btEMPTY{};

byteEx::operator stringEx() const {
    return basic_buffer<char>::_from_layout(_layout_as<char>());
}

byteEx::operator wstringEx() const {
    if (reinterpret_cast<std::uintptr_t>(data()) % alignof(wchar_t) == 0) {
        return basic_buffer<wchar_t>::_from_layout(_layout_as<wchar_t>());
    }
    wstringEx copy; // a view on bytes at an odd address
    const auto n = static_cast<unsigned int>(length() / sizeof(wchar_t));
    std::memcpy(copy._eofbuf(n), data(), n * sizeof(wchar_t));
    return copy;
}

byteEx& byteEx::operator<<(wchar_t element) {
    return append(reinterpret_cast<const unsigned char*>(&element), sizeof element);
}

byteEx& byteEx::operator<<(const stringEx& text) {
    return append(static_cast<byteEx>(text));
}

byteEx& byteEx::operator<<(const wstringEx& text) {
    return append(static_cast<byteEx>(text));
}

namespace {

template <class S>
S EncodeHex(const byteEx& bytes, const S& separator, bool upper) {
    const char* const digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    const std::uint64_t n = bytes.length();
    S text;
    text.reserve((n + 1) * separator.length() + 2 * n + 2);
    for (const unsigned char byte : bytes) {
        text += static_cast<typename S::value_type>(digits[byte >> 4]);
        text += static_cast<typename S::value_type>(digits[byte & 0xF]);
        text += separator;
    }
    text.erase(text.length() - (n != 0 ? separator.length() : 0));
    return text;
}

template <class S>
byteEx DecodeHex(const S& text, const S& separator) {
    const std::uint64_t step = std::uint64_t{separator.length()} + 2;
    byteEx bytes;
    bytes.reserve(text.length() / step + 1);
    for (std::uint64_t pos = 0; pos < text.length(); pos += step) {
        bytes += static_cast<unsigned char>(text.to_ulong(static_cast<unsigned int>(pos), 2, 16));
    }
    return bytes;
}

} // namespace

void byteEx::to_hex_encode(stringEx& to, const stringEx& separator, bool upper) const {
    to._Become(EncodeHex(*this, separator, upper));
}

void byteEx::to_hex_encode(wstringEx& to, const wstringEx& separator, bool upper) const {
    to._Become(EncodeHex(*this, separator, upper));
}

stringEx byteEx::to_hex_encode(const stringEx& separator, bool upper) const {
    return EncodeHex(*this, separator, upper);
}

wstringEx byteEx::to_hex_encode(const wstringEx& separator, bool upper) const {
    return EncodeHex(*this, separator, upper);
}

byteEx& byteEx::from_hex_code(const stringEx& text, const stringEx& separator) {
    return _Become(DecodeHex(text, separator));
}

byteEx& byteEx::from_hex_code(const wstringEx& text, const wstringEx& separator) {
    return _Become(DecodeHex(text, separator));
}

stringEx byteEx::to_array_definition(const stringEx& name, bool isConst) const {
    stringEx text(isConst ? "const " : "");
    text << "unsigned char " << name << "[] = {\n";
    if (!empty()) {
        text << "0X" << to_hex_encode(", 0X");
    }
    return text << "};\n";
}

} // namespace Quil

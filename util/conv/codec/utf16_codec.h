// UTF-16 of a fixed byte order to wide characters and back, for text that is well-formed: a
// surrogate that isn't one of a pair is left to the library.
#pragma once

#include "util/conv/codec/Codec.h"

#include <bit>

namespace Quil::IMPL {

/// Decodes units of two bytes in the order `Order`.
template <std::endian Order>
CODEC_STEP DecodeUtf16(wchar_t* dst, std::size_t room, const char* src, std::size_t length);

/// Encodes to units of two bytes in the order `Order`. Stops at what is no Unicode scalar value.
template <std::endian Order>
CODEC_STEP EncodeUtf16(char* dst, std::size_t room, const wchar_t* src, std::size_t length);

extern template CODEC_STEP DecodeUtf16<std::endian::little>(wchar_t*, std::size_t, const char*,
                                                            std::size_t);
extern template CODEC_STEP DecodeUtf16<std::endian::big>(wchar_t*, std::size_t, const char*,
                                                         std::size_t);
extern template CODEC_STEP EncodeUtf16<std::endian::little>(char*, std::size_t, const wchar_t*,
                                                            std::size_t);
extern template CODEC_STEP EncodeUtf16<std::endian::big>(char*, std::size_t, const wchar_t*,
                                                         std::size_t);

} // namespace Quil::IMPL

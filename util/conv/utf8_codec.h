// UTF-8 to wide characters and back, for text that is strictly valid.
//
// Valid means the standard's well-formed sequences only: shortest form, no surrogates, nothing
// above U+10FFFF. Conversion libraries differ on everything else, so these functions don't judge
// it: they stop there and leave that place to the library.
#pragma once

#include "util/conv/codec_step.h"

#include <cstddef>

namespace Quil::IMPL {

/// The room that the encoder wants to have left before it writes a character.
constexpr std::size_t UTF8_MAX_SEQUENCE = LONGEST_CHARACTER;

/// Decodes from the start of `src` until the source ends, `room` wide characters are written, or a
/// sequence comes that is cut or not strictly valid.
CODEC_STEP DecodeUtf8(wchar_t* dst, std::size_t room, const char* src, std::size_t length);

/// Encodes from the start of `src` until the source ends, less than utf8MaxSequence bytes of room
/// are left, or an element comes that is no Unicode scalar value.
CODEC_STEP EncodeUtf8(char* dst, std::size_t room, const wchar_t* src, std::size_t length);

} // namespace Quil::IMPL

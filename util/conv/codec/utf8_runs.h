// Runs of UTF-8 sequences of three bytes, which the texts of East Asia are made of, eight at a
// time.
#pragma once

#include "util/conv/codec/Codec.h"

namespace Quil::IMPL {

// Each function goes on from the start of `src` as long as characters of three bytes come that are
// strictly valid, and may stop earlier: near the end of the text or of the room, and at once on a
// machine without the instructions (AVX2). The caller's loop by single characters does the rest.

CODEC_STEP DecodeTriples(wchar_t* dst, std::size_t room, const unsigned char* src,
                         std::size_t length);
CODEC_STEP EncodeTriples(unsigned char* dst, std::size_t room, const wchar_t* src,
                         std::size_t length);

/// Whether the instructions are used where the machine has them: they are, unless a check of the
/// plain loops wants them off. Not to be changed while another thread converts.
void UseVectorRuns(bool use);

} // namespace Quil::IMPL

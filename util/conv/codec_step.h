// What codecs tell of a step, and what room they want for one.
#pragma once

#include <cstddef>

namespace Quil::IMPL {

/// How far a step came, in elements of the source and of the target.
struct CODEC_STEP {
    std::size_t read;
    std::size_t written;
};

/// The room that an encoder wants to have left before it writes a character.
constexpr std::size_t LONGEST_CHARACTER = 4;

} // namespace Quil::IMPL

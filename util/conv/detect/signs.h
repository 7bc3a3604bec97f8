// What a text shows of its charset by its form, without anybody reading it.
#pragma once

#include "util/conv/TextDetect.h"

#include <cstddef>
#include <string_view>

namespace Quil::IMPL {

/// The charset whose byte-order mark the text begins with, and the mark's length; null without one.
struct MARK_FOUND {
    const char* charset;
    std::size_t length;
    std::size_t width; ///< bytes of a character, or of a part of one
};
MARK_FOUND FindMark(std::string_view text);

/// The charset whose escape sequences are in a text of 7 bits; null if there are none.
const char* FindEscapes(std::string_view text);

/// How far a text is UTF-8, and how many characters beyond ASCII are in that.
struct UTF8_EXTENT {
    std::size_t length;
    std::size_t characters; ///< not counted beyond some
};
UTF8_EXTENT MeasureUtf8(std::string_view text);

/// Whether it holds too many control characters for a text.
bool HasBinary(std::string_view text);

/// How lines end, where a character has so many bytes and the low one comes first or last.
TEXT_FINDING::LINE_ENDS FindLineEnds(std::string_view text, std::size_t width, bool isBigEndian);

} // namespace Quil::IMPL

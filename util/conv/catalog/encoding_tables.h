// The encodings and the compatibility groups as constant tables, from which the catalogue fills its
// containers. Internal to the catalogue.
#pragma once

#include <span>

namespace Quil::IMPL {

/// One encoding. The rows stand in groups of scripts; the catalogue orders them by name.
struct ENCODING_ROW {
    const char* name;
    unsigned int codePage;
    bool rightToLeft;
    const char* description;
};

/// One group of conversions that lose nothing. The order of the rows counts: the first group that
/// allows a conversion names it.
struct COMPATIBILITY_ROW {
    const char* name;
    bool mutual;
    std::span<const char* const> from;
    std::span<const char* const> to;
};

/// The tables in full.
std::span<const ENCODING_ROW> GetEncodingRows();
std::span<const COMPATIBILITY_ROW> GetCompatibilityRows();

} // namespace Quil::IMPL

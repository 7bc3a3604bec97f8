// Whether bytes are UTF-8, without decoding them.
#pragma once

#include <cstddef>

namespace Quil::IMPL {

/// The length in bytes of the strictly valid text at the start of `src`: all of it, or up to the
/// first sequence that is cut or not valid. Strictly valid means the standard's well-formed
/// sequences only: shortest form, no surrogates, nothing above U+10FFFF.
std::size_t ValidUtf8Length(const char* src, std::size_t length);

/// The number of bytes at the start of `src` that are ASCII.
std::size_t AsciiLength(const char* src, std::size_t length);

} // namespace Quil::IMPL

// The vector loops of the fingerprint search. They are compiled for instructions that not every
// machine has; so this header brings no functions that the linker could take from there for others.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Quil::IMPL::engine {

inline constexpr std::size_t MOSTPLACES = 4; ///< characters of a word
inline constexpr std::size_t NIBBLEVALUES = 16;

/// The first of the places from `first` on whose characters may be a word, or the place from which
/// on less than a vector is left before `limit`. Reads `places` - 1 characters beyond that.
/// `tables`: NIBBLEVALUES bytes for each half byte, from the lowest on, of each place.
/// leap16 needs SSE 4.1, leap32 AVX 2.
/// @{
const unsigned char* leap16(const std::uint8_t* tables, std::size_t places,
                            const unsigned char* first, const unsigned char* limit);
const wchar_t* leap16(const std::uint8_t* tables, std::size_t places, const wchar_t* first,
                      const wchar_t* limit);
const unsigned char* leap32(const std::uint8_t* tables, std::size_t places,
                            const unsigned char* first, const unsigned char* limit);
const wchar_t* leap32(const std::uint8_t* tables, std::size_t places, const wchar_t* first,
                      const wchar_t* limit);
/// @}

} // namespace Quil::IMPL::engine

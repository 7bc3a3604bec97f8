// Charsets of one and two bytes by tables that the conversion library itself has filled.
//
// A table is asked from the library, character by character, so it can't differ from it. What a
// table doesn't hold, longer sequences, bad input, characters that the charset lacks, stops the
// codec and is left to the library. Filling one takes some milliseconds, which only a large text
// repays.
#pragma once

#include "util/conv/IconvStepper.h"
#include "util/conv/Utf8Codec.h"
#include "util/text/stringEx.h"

#include <array>
#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// The elements of text from which on filling a table pays.
constexpr std::size_t tableThreshold = std::size_t{512} << 10;

/// True if a charset's sequences depend on nothing before or behind them: it has no shift states
/// and no combining characters that a decoder would wait for.
bool IsStatelessCharset(const stringEx& name);

/// Decodes the bytes and pairs of bytes that stand for one character below U+10000. Once made, it
/// may be read by any thread.
class CTableDecoder {
public:
    /// Fills the table by a descriptor that decodes, which must not be in use meanwhile.
    CTableDecoder(ICONV_CONVERT convert, void* descriptor);

    /// Decodes from the start of `src` until the source or the room ends, or something comes that
    /// the table doesn't hold.
    CODEC_STEP operator()(wchar_t* dst, std::size_t room, const char* src,
                          std::size_t length) const;

private:
    void __FillPairs(ICONV_CONVERT convert, void* descriptor, unsigned int lead);

    std::array<char16_t, 0x100> __singles{}; ///< 0: not one by itself.
    std::vector<char16_t> __pairs;           ///< By lead byte, then trail byte; 0: none.
    bool __isAsciiPlain = true;              ///< The bytes below 0x80 are ASCII.
};

/// Encodes the characters below U+10000 that the charset has. Once made, it may be read by any
/// thread.
class CTableEncoder {
public:
    /// Fills the table by a descriptor that encodes, which must not be in use meanwhile.
    CTableEncoder(ICONV_CONVERT convert, void* descriptor);

    /// Encodes from the start of `src` until the source ends, less than utf8MaxSequence bytes of
    /// room are left, or something comes that the table doesn't hold.
    CODEC_STEP operator()(char* dst, std::size_t room, const wchar_t* src,
                          std::size_t length) const;

private:
    std::vector<std::uint32_t> __sequences; ///< The bytes, the first one lowest; 0: none.
    bool __isAsciiPlain = true;
};

} // namespace Quil::IMPL

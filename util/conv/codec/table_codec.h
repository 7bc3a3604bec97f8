// Charsets of one and two bytes by tables that the conversion library itself has filled.
//
// A table is asked from the library, character by character, so it can't differ from it. What a
// table doesn't hold, longer sequences, bad input, characters that the charset lacks, stops the
// codec and is left to the library. Filling one takes some milliseconds, which only a large text
// repays.
#pragma once

#include "util/conv/backend/IconvStepper.h"
#include "util/conv/codec/Codec.h"

#include <array>
#include <cstdint>
#include <vector>

namespace Quil::IMPL {

/// Decodes the bytes and pairs of bytes that stand for one character below U+10000.
class CTableDecoder final : public IDecoder {
public:
    /// Fills the table by a descriptor that decodes, which must not be in use meanwhile.
    CTableDecoder(ICONV_CONVERT convert, void* descriptor);

    CODEC_STEP Convert(wchar_t* dst, std::size_t room, const char* src,
                       std::size_t length) const override;

private:
    void __FillPairs(ICONV_CONVERT convert, void* descriptor, unsigned int lead);
    CODEC_STEP __ConvertPairs(wchar_t* dst, std::size_t room, const unsigned char* src,
                              std::size_t length) const;

    std::array<char16_t, 0x100> __singles{}; ///< 0: not one by itself.
    std::vector<char16_t> __pairs;           ///< By trail byte, then lead byte; 0: none.
    bool __isAsciiPlain = true;              ///< The bytes below 0x80 are ASCII.
};

/// Encodes the characters below U+10000 that the charset has.
class CTableEncoder final : public IEncoder {
public:
    /// Fills the table by a descriptor that encodes, which must not be in use meanwhile.
    CTableEncoder(ICONV_CONVERT convert, void* descriptor);

    CODEC_STEP Convert(char* dst, std::size_t room, const wchar_t* src,
                       std::size_t length) const override;

private:
    std::size_t __ConvertPairs(unsigned char* dst, std::size_t room, const wchar_t* src,
                               std::size_t length) const;

    std::vector<std::uint32_t> __sequences; ///< The bytes, the first one lowest; 0: none.
    std::vector<std::uint16_t> __pairs;     ///< Those of two bytes again, close together; 0: none.
    bool __isAsciiPlain = true;
};

/// Decodes a charset all of whose characters are single bytes.
class CByteDecoder final : public IDecoder {
public:
    /// What each byte stands for.
    using CHARACTERS = std::array<wchar_t, 0x100>;
    /// Of a byte that the library refuses: what stands for that, and counts it, is not a codec.
    static constexpr auto sm_refused = static_cast<wchar_t>(0xFFFFFFFF);

    /// Asks the library what each byte stands for. False if some byte means nothing, or not the
    /// same, by itself: the charset isn't of this kind.
    static bool Ask(ICONV_CONVERT convert, void* descriptor, CHARACTERS& characters);

    explicit CByteDecoder(const CHARACTERS& characters);

    CODEC_STEP Convert(wchar_t* dst, std::size_t room, const char* src,
                       std::size_t length) const override;

private:
    CHARACTERS __characters;
    bool __isAsciiPlain;
    bool __hasRefused; ///< There are bytes that end a run.
};

/// Encodes to such a charset the characters that its bytes stand for.
class CByteEncoder final : public IEncoder {
public:
    /// Asks the library for the byte of each of the characters.
    CByteEncoder(ICONV_CONVERT convert, void* descriptor,
                 const CByteDecoder::CHARACTERS& characters);

    CODEC_STEP Convert(char* dst, std::size_t room, const wchar_t* src,
                       std::size_t length) const override;

private:
    std::vector<std::uint16_t> __bytes; ///< By character: the byte and a bit above; 0: none.
    bool __isAsciiPlain = true;
};

} // namespace Quil::IMPL

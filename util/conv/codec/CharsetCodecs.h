// Which codec serves a charset: none, for most; the choice goes by the name, and for charsets of
// single bytes by what the library answers to each byte.
#pragma once

#include "util/conv/backend/IconvStepper.h"
#include "util/conv/codec/Codec.h"
#include "util/conv/codec/table_codec.h"
#include "util/text/stringEx.h"

#include <cstdint>
#include <memory>

namespace Quil::IMPL {

/// Whether it is UTF-8 that a library knows by this name.
bool NamesUtf8(const stringEx& name);

/// The codecs of one charset. Some are filled through the library, which costs up to some
/// milliseconds: they are made once the texts so far were long enough to repay that. For one thread
/// at a time, and not while a text is under way in the library.
class CCharsetCodecs {
public:
    /// No codecs at all.
    CCharsetCodecs() = default;

    /// @param convert  the library's function
    /// @param toWide, fromWide  its descriptors for the charset, which the caller keeps open
    /// @param canBeAsked  whether codecs may be filled from its answers
    CCharsetCodecs(const stringEx& name, ICONV_CONVERT convert, void* toWide, void* fromWide,
                   bool canBeAsked);

    /// The codec for the next text of `length` elements, or null.
    const IDecoder* DecoderFor(std::size_t length);
    const IEncoder* EncoderFor(std::size_t length);

    /// Whether it is known that nothing is kept from character to character. Not to be asked first
    /// while a text is under way.
    bool IsStateless() { return __kind == KIND::FIXED || __kind == KIND::PAIRS || __IsOfBytes(); }

private:
    enum class KIND { NONE, FIXED, PAIRS, BYTES, UNKNOWN };

    bool __IsOfBytes();

    KIND __kind = KIND::NONE;
    ICONV_CONVERT __convert = nullptr;
    void* __toWide = nullptr;
    void* __fromWide = nullptr;
    std::uint64_t __decoded = 0; ///< Elements of the texts so far.
    std::uint64_t __encoded = 0;
    CByteDecoder::CHARACTERS __characters{}; ///< Of a charset of single bytes.
    const IDecoder* __fixedDecoder = nullptr;
    const IEncoder* __fixedEncoder = nullptr;
    std::unique_ptr<const IDecoder> __decoder;
    std::unique_ptr<const IEncoder> __encoder;
};

} // namespace Quil::IMPL

#include "util/conv/backend/IconvWays.h"

namespace Quil::IMPL {

namespace {

// libiconv gets the whole text and small blocks to write to, which it is used to. The C library's
// steps are long enough that their number doesn't count, and short enough for its way to start
// over.
constexpr ICONV_PIECES LIBICONV_DECODING{static_cast<std::size_t>(-1) / sizeof(wchar_t), 256};
constexpr ICONV_PIECES LIBICONV_ENCODING{static_cast<std::size_t>(-1) / sizeof(wchar_t), 512};
constexpr ICONV_PIECES DECODING_PIECES{std::size_t{64} << 10, std::size_t{64} << 10};
constexpr ICONV_PIECES ENCODING_PIECES{std::size_t{16} << 10, std::size_t{64} << 10};

} // namespace

CIconvWays::CIconvWays(const stringEx& name, ICONV_CONVERT convert, void* toWide, void* fromWide,
                       bool isLibiconv)
    : __convert(convert), __toWide(toWide), __fromWide(fromWide), __isLibiconv(isLibiconv),
      __codecs(name, convert, toWide, fromWide, !isLibiconv) {}

DECODING_WAY CIconvWays::ToWide(std::size_t length) {
    return {__convert, __toWide, __codecs.DecoderFor(length),
            __isLibiconv ? LIBICONV_DECODING : DECODING_PIECES, __isLibiconv};
}

ENCODING_WAY CIconvWays::FromWide(std::size_t length) {
    return {__convert, __fromWide, __codecs.EncoderFor(length),
            __isLibiconv ? LIBICONV_ENCODING : ENCODING_PIECES, __isLibiconv};
}

} // namespace Quil::IMPL

#include "util/conv/backend/IconvWays.h"

#include <algorithm>

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

bool RemembersOrder(const stringEx& name) {
    constexpr const char* BEGINNINGS[] = {"UTF-16",    "UTF16", "UTF-32",  "UTF32",    "UCS",
                                          "CSUNICODE", "CSUCS", "UNICODE", "ISO-10646"};
    return std::ranges::any_of(BEGINNINGS,
                               [&](const char* begin) { return name.begin_with_no_case(begin); }) &&
           !name.end_with_no_case("LE") && !name.end_with_no_case("BE");
}

CIconvWays::CIconvWays(const stringEx& name, ICONV_CONVERT convert, void* toWide, void* fromWide,
                       bool isLibiconv, REOPEN reopen)
    : __convert(convert), __toWide(toWide), __fromWide(fromWide), __isLibiconv(isLibiconv),
      __reopen(RemembersOrder(name) && !isLibiconv ? std::move(reopen) : nullptr),
      __codecs(name, convert, toWide, fromWide, !isLibiconv && !__reopen) {}

DECODING_WAY CIconvWays::ToWide(std::size_t length) {
    if (__isUsed && __reopen) {
        __toWide = __reopen();
    }
    __isUsed = true;
    return {__convert, __toWide, __codecs.DecoderFor(length),
            __isLibiconv ? LIBICONV_DECODING : DECODING_PIECES, __isLibiconv};
}

ENCODING_WAY CIconvWays::FromWide(std::size_t length) {
    return {__convert, __fromWide, __codecs.EncoderFor(length),
            __isLibiconv ? LIBICONV_ENCODING : ENCODING_PIECES, __isLibiconv};
}

} // namespace Quil::IMPL

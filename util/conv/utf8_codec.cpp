// Runs of ASCII go sixteen at a time, and so do their tests; a run of another length of sequence
// stays in a loop of its own, since text in one script repeats one length.

#include "util/conv/utf8_codec.h"

#include "util/base/lanes.h"
#include "util/base/unicode_units.h"
#include "util/conv/codec/utf8_runs.h"

#include <cstdint>

namespace Quil::IMPL {

namespace {

static_assert(sizeof(wchar_t) == sizeof(std::uint32_t));

/// The character that a well-formed sequence of `Length` bytes at `src` stands for; 0 if it isn't
/// one (0 itself is ASCII and never comes here). All `Length` bytes must be readable.
template <unsigned Length>
inline std::uint32_t DecodeSequence(const unsigned char* src) {
    if constexpr (Length == 2) {
        const std::uint32_t c = (src[0] & 0x1FU) << 6 | (src[1] & 0x3FU);
        return (src[0] & 0xE0U) == 0xC0U && IsContinuation(src[1]) && c >= 0x80 ? c : 0;
    } else if constexpr (Length == 3) {
        const std::uint32_t c = (src[0] & 0x0FU) << 12 | (src[1] & 0x3FU) << 6 | (src[2] & 0x3FU);
        return (src[0] & 0xF0U) == 0xE0U && IsContinuation(src[1]) && IsContinuation(src[2]) &&
                       c >= 0x800 && !IsSurrogate(c)
                   ? c
                   : 0;
    } else {
        const std::uint32_t c = (src[0] & 0x07U) << 18 | (src[1] & 0x3FU) << 12 |
                                (src[2] & 0x3FU) << 6 | (src[3] & 0x3FU);
        return (src[0] & 0xF8U) == 0xF0U && IsContinuation(src[1]) && IsContinuation(src[2]) &&
                       IsContinuation(src[3]) && c >= FIRST_OF_PAIRS && c < UNICODE_END
                   ? c
                   : 0;
    }
}

/// The state of a decoding: both ends move towards their limits.
struct DECODER {
    const unsigned char* src;
    const unsigned char* srcEnd;
    wchar_t* dst;
    wchar_t* dstEnd;

    std::size_t SrcLeft() const { return static_cast<std::size_t>(srcEnd - src); }
    std::size_t Room() const { return static_cast<std::size_t>(dstEnd - dst); }

    void AsciiRun() {
        while (SrcLeft() >= LANES_SIZE && Room() >= LANES_SIZE && WidenAscii(dst, src)) {
            src += LANES_SIZE;
            dst += LANES_SIZE;
        }
        while (src != srcEnd && dst != dstEnd && *src < 0x80) {
            *dst++ = static_cast<wchar_t>(*src++);
        }
    }

    /// Decodes sequences of one length as long as they come; false if there was none.
    template <unsigned Length>
    bool SequenceRun() {
        const unsigned char* const start = src;
        if constexpr (Length == 3) {
            const CODEC_STEP run = DecodeTriples(dst, Room(), src, SrcLeft());
            src += run.read;
            dst += run.written;
        }
        while (SrcLeft() >= Length && dst != dstEnd) {
            const std::uint32_t c = DecodeSequence<Length>(src);
            if (c == 0) {
                break;
            }
            *dst++ = static_cast<wchar_t>(c);
            src += Length;
        }
        return src != start;
    }

    /// Decodes the run of sequences that the byte at hand begins; false if it begins none.
    bool MultiByteRun() {
        if (*src < 0xE0) {
            return SequenceRun<2>();
        }
        return *src < 0xF0 ? SequenceRun<3>() : SequenceRun<4>();
    }
};

/// The state of an encoding.
struct ENCODER {
    const wchar_t* src;
    const wchar_t* srcEnd;
    unsigned char* dst;
    unsigned char* dstEnd;

    std::size_t SrcLeft() const { return static_cast<std::size_t>(srcEnd - src); }
    std::size_t Room() const { return static_cast<std::size_t>(dstEnd - dst); }
    bool CanGoOn() const { return src != srcEnd && Room() >= UTF8_MAX_SEQUENCE; }
    std::uint32_t Current() const { return static_cast<std::uint32_t>(*src); }

    void AsciiRun() {
        while (SrcLeft() >= LANES_SIZE && Room() >= LANES_SIZE && NarrowAscii(dst, src)) {
            src += LANES_SIZE;
            dst += LANES_SIZE;
        }
        while (CanGoOn() && Current() < 0x80) {
            *dst++ = static_cast<unsigned char>(*src++);
        }
    }

    bool TripleRun() {
        const CODEC_STEP run = EncodeTriples(dst, Room(), src, SrcLeft());
        src += run.read;
        dst += run.written;
        return run.read != 0;
    }

    static unsigned char Continuation(std::uint32_t bits) {
        return static_cast<unsigned char>(0x80U | (bits & 0x3FU));
    }

    /// Encodes characters that aren't ASCII as long as they come; false at the first that is no
    /// scalar value.
    bool MultiByteRun() {
        while (CanGoOn()) {
            const std::uint32_t c = Current();
            if (c < 0x80) {
                return true;
            }
            if (c >= 0x800 && TripleRun()) {
                continue;
            }
            if (c < 0x800) {
                *dst++ = static_cast<unsigned char>(0xC0U | c >> 6);
            } else if (c < FIRST_OF_PAIRS) {
                if (IsSurrogate(c)) {
                    return false;
                }
                *dst++ = static_cast<unsigned char>(0xE0U | c >> 12);
                *dst++ = Continuation(c >> 6);
            } else if (c < UNICODE_END) {
                *dst++ = static_cast<unsigned char>(0xF0U | c >> 18);
                *dst++ = Continuation(c >> 12);
                *dst++ = Continuation(c >> 6);
            } else {
                return false;
            }
            *dst++ = Continuation(c);
            ++src;
        }
        return true;
    }
};

} // namespace

CODEC_STEP DecodeUtf8(wchar_t* dst, std::size_t room, const char* src, std::size_t length) {
    const auto* const start = reinterpret_cast<const unsigned char*>(src);
    DECODER decoder{start, start + length, dst, dst + room};
    do {
        decoder.AsciiRun();
    } while (decoder.src != decoder.srcEnd && decoder.dst != decoder.dstEnd &&
             decoder.MultiByteRun());
    return {static_cast<std::size_t>(decoder.src - start),
            static_cast<std::size_t>(decoder.dst - dst)};
}

CODEC_STEP EncodeUtf8(char* dst, std::size_t room, const wchar_t* src, std::size_t length) {
    auto* const target = reinterpret_cast<unsigned char*>(dst);
    ENCODER encoder{src, src + length, target, target + room};
    do {
        encoder.AsciiRun();
    } while (encoder.CanGoOn() && encoder.MultiByteRun());
    return {static_cast<std::size_t>(encoder.src - src),
            static_cast<std::size_t>(encoder.dst - target)};
}

} // namespace Quil::IMPL

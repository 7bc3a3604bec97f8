// Sixteen bytes at a time, and no branch on what they are: a byte's validity follows from it and
// the three before it. It continues a sequence just when one of those asks for that, by being a
// lead of two, three or four bytes one, two or three places before; a second byte has a narrower
// range behind some leads; and some bytes never stand. What complicates it is only where a text
// ends, or where it isn't valid: there a plain loop goes by whole sequences.

#include "util/conv/utf8_validation.h"

#include "util/base/lanes.h"
#include "util/base/unicode_units.h"

#include <cstdint>

namespace Quil::IMPL {

namespace {

using BLOCK = LANES<std::uint8_t>;
constexpr std::size_t BLOCKS = 4; // that are tested together
constexpr std::size_t STEP = BLOCKS * LANES_SIZE;
constexpr std::size_t LOOK_BACK = 3; // bytes of a sequence before its last one

inline BLOCK Load(const unsigned char* src) {
    return LoadLanes<BLOCK>(src);
}

/// All bits set where a lane is at least `least`.
inline BLOCK AtLeast(BLOCK block, std::uint8_t least) {
    return static_cast<BLOCK>(block >= least);
}

inline BLOCK Is(BLOCK block, std::uint8_t value) {
    return static_cast<BLOCK>(block == value);
}

/// Not zero in the lanes of the sixteen bytes at `src` that make the text invalid. The three bytes
/// before must be readable.
inline BLOCK Errors(const unsigned char* src) {
    const BLOCK byte = Load(src);
    const BLOCK before = Load(src - 1);
    const BLOCK asked =
        AtLeast(before, 0xC0) | AtLeast(Load(src - 2), 0xE0) | AtLeast(Load(src - 3), 0xF0);
    const BLOCK continues = AtLeast(byte, 0x80) & ~AtLeast(byte, 0xC0);
    const BLOCK tooSmall =
        (Is(before, 0xE0) & ~AtLeast(byte, 0xA0)) | (Is(before, 0xF0) & ~AtLeast(byte, 0x90));
    const BLOCK tooLarge =
        (Is(before, 0xED) & AtLeast(byte, 0xA0)) | (Is(before, 0xF4) & AtLeast(byte, 0x90));
    const BLOCK never = AtLeast(byte, 0xF5) | Is(byte & 0xFE, 0xC0);
    return (asked ^ continues) | tooSmall | tooLarge | never;
}

/// The length of the valid sequence at `src`, or 0.
std::size_t SequenceLength(const unsigned char* src, std::size_t left) {
    const unsigned char lead = src[0];
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (left < length) {
        return 0;
    }
    const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    bool isValid = src[1] >= least && src[1] <= most;
    for (std::size_t i = 2; i < length; ++i) {
        isValid = isValid && IsContinuation(src[i]);
    }
    return isValid ? length : 0;
}

/// Goes on from `at`, where a sequence begins, up to the first that begins at or behind `end`, or
/// isn't valid.
std::size_t PassSequences(const unsigned char* src, std::size_t length, std::size_t at,
                          std::size_t end) {
    while (at < end) {
        const std::size_t passed = SequenceLength(src + at, length - at);
        if (passed == 0) {
            break;
        }
        at += passed;
    }
    return at;
}

} // namespace

std::size_t ValidUtf8Length(const char* text, std::size_t length) {
    const auto* const src = reinterpret_cast<const unsigned char*>(text);
    const std::size_t first = length < LOOK_BACK ? length : LOOK_BACK;
    std::size_t at = PassSequences(src, length, 0, first);
    if (at < first) {
        return at;
    }
    for (; length - at >= STEP; at += STEP) {
        BLOCK all{};
        for (std::size_t i = 0; i < BLOCKS; ++i) {
            all |= Load(src + at + i * LANES_SIZE);
        }
        // What the last bytes before ask for is ASCII's error too, so they have to be clean.
        const bool isClean = src[at - 1] < 0xC0 && src[at - 2] < 0xE0 && src[at - 3] < 0xF0;
        if (isClean && IsAscii(all)) {
            continue;
        }
        BLOCK errors{};
        for (std::size_t i = 0; i < BLOCKS; ++i) {
            errors |= Errors(src + at + i * LANES_SIZE);
        }
        if (AnyLane(errors)) {
            break;
        }
    }
    // Back to where the last sequence so far begins: it may be an open one.
    while (at > 0 && IsContinuation(src[--at])) {
    }
    return PassSequences(src, length, at, length);
}

std::size_t AsciiLength(const char* text, std::size_t length) {
    const auto* const src = reinterpret_cast<const unsigned char*>(text);
    std::size_t at = 0;
    for (; length - at >= STEP; at += STEP) {
        BLOCK all{};
        for (std::size_t i = 0; i < BLOCKS; ++i) {
            all |= Load(src + at + i * LANES_SIZE);
        }
        if (!IsAscii(all)) {
            break;
        }
    }
    while (at < length && src[at] < 0x80) {
        ++at;
    }
    return at;
}

} // namespace Quil::IMPL

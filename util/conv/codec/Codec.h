// What stands for a charset without the library: a codec for the plain part of its texts.
#pragma once

#include "util/conv/codec_step.h"

#include <cstddef>

namespace Quil::IMPL {

/// A codec converts from the start of a text until the source or the room ends, or something comes
/// that isn't plain: bad input, a sequence that is cut, whatever else is the library's to judge. It
/// goes as far as it can, and always on with a plain character and room for the longest one. Once
/// made, it may be used by any thread.
template <class Source, class Target>
class ICodec {
public:
    constexpr virtual ~ICodec() = default;

    virtual CODEC_STEP Convert(Target* dst, std::size_t room, const Source* src,
                               std::size_t length) const = 0;
};

using IDecoder = ICodec<char, wchar_t>;
using IEncoder = ICodec<wchar_t, char>;

/// A codec over a function. For constants.
template <class Source, class Target,
          CODEC_STEP Function(Target*, std::size_t, const Source*, std::size_t)>
class CFunctionCodec final : public ICodec<Source, Target> {
public:
    constexpr CFunctionCodec() = default;
    constexpr ~CFunctionCodec() override {} // NOLINT: g++ 12 wants a body for constants

    CODEC_STEP Convert(Target* dst, std::size_t room, const Source* src,
                       std::size_t length) const override {
        return Function(dst, room, src, length);
    }
};

} // namespace Quil::IMPL

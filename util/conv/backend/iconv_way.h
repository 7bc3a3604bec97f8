// One direction of a converter: its descriptor, the codec that takes the plain part of a text, and
// the loop over both.
#pragma once

#include "util/conv/backend/IconvStepper.h"
#include "util/conv/codec/Codec.h"

#include <algorithm>

namespace Quil::IMPL {

/// How text goes from elements `Source` to elements `Target`. Owns nothing.
template <class Source, class Target>
struct ICONV_WAY {
    ICONV_CONVERT convert;
    void* descriptor;
    const ICodec<Source, Target>* codec; ///< Null: the library gets everything.
    ICONV_PIECES pieces;                 ///< What the library gets where there is no codec.
    bool mayDrop; ///< The library drops bad input by itself, which may depend on what it gets.
};

using DECODING_WAY = ICONV_WAY<char, wchar_t>;
using ENCODING_WAY = ICONV_WAY<wchar_t, char>;

/// Elements of the target for which a codec is given room at a time.
constexpr std::size_t CODEC_ROOM = std::size_t{64} << 10;

/// Enough for the longest sequence of any charset that has a codec: what the library decides on
/// before the text goes on by the codec.
constexpr ICONV_PIECES ONE_SEQUENCE{16, 64};

/// Lets the way's codec convert as far as it goes.
template <class Target, class Source, class Output>
void RunCodec(const ICONV_WAY<Source, Target>& way, CIconvStepper<Source, Output>& stepper,
              Output& output) {
    CODEC_STEP step{};
    do {
        const std::size_t rest = stepper.GetRestLength();
        const std::size_t room = std::min(rest, CODEC_ROOM) + LONGEST_CHARACTER;
        auto* const target = output.Reserve(room, stepper.GetPos(), stepper.GetLength());
        step = way.codec->Convert(target, output.GetRoom(), stepper.GetRest(), rest);
        stepper.Skip(step.read);
        output.Advance(step.written);
    } while (step.read != 0 && !output.IsFull());
}

/// Converts until fewer than `least` elements of the source are left, a sequence of it is cut by
/// the end of what is there, or the output is full. The library gets a sequence at a time of what
/// stops a codec, whose charset has no state to keep. A library that drops input by itself gets all
/// the rest instead.
template <class Target, class Source, class Output>
void RunWay(const ICONV_WAY<Source, Target>& way, CIconvStepper<Source, Output>& stepper,
            Output& output, std::size_t least) {
    if (way.codec != nullptr && !stepper.IsAtEnd()) {
        RunCodec(way, stepper, output);
    }
    const bool returns = way.codec != nullptr && !way.mayDrop;
    while (stepper.GetRestLength() >= least && !stepper.IsCut() && !output.IsFull()) {
        stepper.Step(returns ? ONE_SEQUENCE : way.pieces);
        if (returns) {
            RunCodec(way, stepper, output);
        }
    }
}

/// Converts a whole text into a string. Answers what was lost of it.
template <class String, class Source, class Target>
LOSS ConvertWhole(const ICONV_WAY<Source, Target>& way, String& dst, const Source* src,
                  std::size_t length) {
    CConvOutput<String> output(dst);
    if (length == 0) {
        return {};
    }
    CIconvStepper<Source, CConvOutput<String>> stepper(way.convert, way.descriptor, src, length,
                                                       output);
    RunWay(way, stepper, output, 1);
    output.Finish();
    return stepper.GetLoss();
}

} // namespace Quil::IMPL

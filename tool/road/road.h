// The ways in which an input's bytes can become its result's. All give the same bytes; they differ
// in what they can take and in what they cost.
#pragma once

#include "tool/run.h"

#include <memory>
#include <optional>

namespace Quil {

/// A way from an input to its result, one input after the other. The blocks that it fills are used
/// again for the next input. For one thread.
class IRoad {
public:
    virtual ~IRoad() = default;

    /// Takes an input and replaces in it. Answers the number of replacements, or nothing for an
    /// input whose text is empty. May give up `raw`'s bytes to save memory.
    virtual std::optional<unsigned long> Replace(byteEx& raw) = 0;

    /// The result of the last input as the bytes of a file. Good until the next call.
    virtual const byteEx& Encode() = 0;

    /// Writes the result of the last input to standard output.
    virtual void Print() = 0;
};

/// The best road that serves every input of this run. It refers to the run.
std::unique_ptr<IRoad> ChooseRoad(Run& run);

} // namespace Quil

// One pass: an input from its bytes to its result.
#pragma once

#include "tool/run.h"

namespace Quil {

/// How a pass ended: on to the next input, or the end of the run with an error.
enum class PASS { DONE, STOP };

/// Passes over every input of the run. A file that can't be read or written is reported and, unless
/// the run is to stop there, passed over; any other failure is the exception of what failed.
PASS PassOverInputs(Run& run);

} // namespace Quil

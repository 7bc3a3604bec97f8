// What came of an input, for who adds the inputs up and tells of them.
#pragma once

#include "tool/HeldSignals.h"
#include "util/text/stringEx.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Quil {

using FILE_ID = std::pair<std::uint64_t, std::uint64_t>; ///< device and number

/// Rules, by number, and how often each was met.
using RULE_MATCHES = std::vector<std::pair<unsigned int, std::uint64_t>>;

struct FILE_RESULT {
    unsigned long count = 0; ///< replacements
    RULE_MATCHES matches;    ///< of rules, whether or not they were replaced
    bool hasChanged = false; ///< the file was rewritten, or the result printed
    bool hasFailedToWrite = false;
    const char* trouble = nullptr; ///< what couldn't be done with the file, and why
    stringEx cause;
    bool hasLoss = false;       ///< the trouble is that something would be lost
    bool isInDoubt = false;     ///< the trouble is that nobody knows its charset
    stringEx warning;           ///< a line for who looks on
    bool endsRun = false;       ///< the trouble does, with an error
    std::exception_ptr failure; ///< what ends the run
    /// Signals that end the run wait until this is told of, if the file was touched.
    std::unique_ptr<CHeldSignals> untilTold;
    /// Where the result is noted instead of here, if several threads are at work.
    std::optional<FILE_ID> file;
};

} // namespace Quil

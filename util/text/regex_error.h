// Why an expression was refused: what the engine tells by a number, in words, and where in the
// pattern as its writer knows it.
#pragma once

#include "util/base/visibility.h"

namespace QUIL_PUBLIC Quil {

/// What `regex_comp` found wrong with a pattern. Value type.
struct REGEX_ERROR {
    static constexpr unsigned int NOWHERE = ~0U;

    int code = 0;          ///< the engine's result code; REG_OKAY: nothing is wrong
    const char* text = ""; ///< what is wrong, in a few words without an end mark; lives for ever
    /// The element of the pattern, as it was given, at which it was found; NOWHERE if no part can
    /// be blamed.
    unsigned int position = NOWHERE;

    explicit operator bool() const noexcept { return code != 0; }
};

namespace IMPL {

/// The words for a result code of the engine.
const char* regex_error_text(int code) noexcept;

} // namespace IMPL

} // namespace Quil

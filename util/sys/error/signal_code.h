// What a crash signal means, in words.
#pragma once

#include "util/text/stringEx.h"

#include <csignal>

namespace Quil::IMPL {

/// The report on a crash signal, several lines: what happened, the signal's number and reason, the
/// error number, the address, the context's address. `context` is only printed.
stringEx ParseSigCode(const siginfo_t* info, const void* context);

} // namespace Quil::IMPL

// What somebody at a terminal is told behind a refusal: what to do next. A script gets nothing
// extra.
#pragma once

#include "util/text/stringEx.h"

namespace Quil {

class qlExp;
struct Run;

/// Prints the advice as a line behind a message, if standard error is a terminal.
void Advise(const Run& run, const stringEx& advice);

/// Throws the error on, with the advice as a last line if standard error is a terminal.
[[noreturn]] void ThrowAdvised(const Run& run, const qlExp& error, const stringEx& advice);

} // namespace Quil

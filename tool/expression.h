// The expression of a run: from what was typed to what is searched with.
#pragma once

#include "tool/run.h"

namespace Quil {

/// Expands the aliases for characters that are hard to type on a command line. A blind literal
/// replacement, one alias after the other: brackets and backslashes around one don't matter.
void RegexExtendClassParser(wstringEx& str);

/// Compiles the run's expression, if it searches by one. An expression that doesn't compile leaves
/// a null handle, and nothing matches: scripts rely on that. Only somebody who sits at a terminal
/// is told, on standard error, what is wrong with it and at which character, counted from 1 in what
/// was typed, and sees the place; and a careful run ends by that, which false means.
bool CompileExpression(Run& run);

} // namespace Quil

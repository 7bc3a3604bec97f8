// Giving back what a run has changed.
#pragma once

namespace Quil {

struct Run;

/// Does what --undo or --forget asks for. Answers the exit status: 0 if files were given back, 1 if
/// there was nothing to do, -1 if one couldn't be given back or the run isn't known.
int Undo(Run& run);

} // namespace Quil

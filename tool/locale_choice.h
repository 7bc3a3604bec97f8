// Which locale the run goes by. Where the user's names no charset at all, ASCII would be the
// charset of every file and argument, and a file with a match would lose each letter beyond it; so
// such a run goes by C.UTF-8. A locale that names a charset is taken at its word.
#pragma once

namespace Quil {

/// Sets the program's locale to that of the environment, or to C.UTF-8 where the environment's is
/// unset, "C", "POSIX" or not installed: then the environment of this process says so too, for what
/// asks it later. To be called before anything asks for the system's charset, on the only thread.
void TakeLocale();

} // namespace Quil

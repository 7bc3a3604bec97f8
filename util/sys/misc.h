// Small questions to the system that belong to no class: the environment, the process's own command
// line, the end of a line in text files.
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// The value of an environment variable, empty when it is not set.
stringEx GetEnvString(const stringEx& name);

/// What ends a line in a text file here.
stringEx GetTxtFileEL();

/// The command line of this process as one string, for `CCmdArgParser::Parse(stringEx)`: arguments
/// joined by blanks, those that are empty or hold white space in double quotes. An argument with a
/// double quote in it can't be told from a quoted one; the tokeniser has no escape for it. Empty
/// when the system doesn't tell; nothing is thrown.
void GetCmdLine(stringEx& line);
void GetCmdLine(wstringEx& line);

namespace IMPL {

/// Up to `limit` bytes of a file whose size the system doesn't tell, as those under /proc. Throws
/// `sysfileExp` when it can't be read.
stringEx ReadProcFile(const stringEx& path, unsigned int limit);

} // namespace IMPL
} // namespace Quil

// The files that a run passes over, from the file patterns of its command line.
#pragma once

namespace Quil {

class CCmdArgParser;
struct Run;

/// Expands the file patterns into the run's list, in their order. Hidden files are listed unless
/// the run stops at access errors. A plain name that leads to nothing is reported and passed over.
/// False, after saying so, if no file is found at all.
bool BuildFileList(const CCmdArgParser& parser, Run& run);

} // namespace Quil

// The long options: arguments that begin with "--" and a letter.
//
// All are rows of one table. A wrong one ends the run before any input is read: it is newer than
// the scripts that rely on unknown switches being passed over.
#pragma once

namespace Quil {

struct Run;

/// Reads the options of the command line into the run. False, after saying so, for one that isn't
/// known or has a wrong value.
bool SettleLongOptions(int argc, const char* const* argv, Run& run);

} // namespace Quil

// The long options: arguments that begin with "--" and a letter.
//
// A wrong one ends the run before any input is read: it is newer than the scripts that rely on
// unknown switches being passed over. Those with one hyphen are told of where somebody looks on.
#pragma once

namespace Quil {

class CCmdArgParser;
struct Run;

/// The place of the argument "--", behind which all are names; else `argc`.
int FindOptionsEnd(int argc, const char* const* argv);

/// Reads the options among the first `end` arguments into the run. False, after saying so, for one
/// that isn't known or has a wrong value.
bool SettleLongOptions(int end, const char* const* argv, Run& run);

/// Tells of switches among the first `end` arguments that aren't known: in a careful run as an
/// error, which ends it, else if somebody looks on. False if the run ends.
bool CheckSwitches(const CCmdArgParser& parser, unsigned int end, const Run& run);

} // namespace Quil

// What --rules and the options on case come to, and whether they go with the other switches.
#pragma once

namespace Quil {

struct Run;

/// Reads the run's rules, if it names some, and settles what becomes of letters. What to find by
/// other switches must be settled. False, after saying so, if that can't be done.
bool SettleRules(Run& run);

} // namespace Quil

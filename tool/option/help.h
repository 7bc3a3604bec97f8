// What --help and --version print.
#pragma once

#include <string>

namespace Quil {

/// The usage by tasks, from the table of all options.
std::string HelpText();

/// The version, and what it was built with and runs on.
std::string VersionText();

} // namespace Quil

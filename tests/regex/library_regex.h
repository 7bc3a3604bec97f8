// The C library's matcher, kept apart from the engine: its header makes macros of the same names.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// Spans of the whole match of an extended expression on each text, (-1, -1) for none; nothing if
/// the library refuses the pattern.
std::optional<std::vector<std::pair<int, int>>>
librarymatches(const std::string& pattern, const std::vector<std::string>& texts);

} // namespace test

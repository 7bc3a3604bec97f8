// Expressions as trees, and the engine on them against the plain matcher.
#pragma once

#include "tests/regex/reference_matcher.h"

#include <functional>
#include <string>
#include <vector>

namespace test {

using reference::ast;
using reference::astp;

astp leaf(char kind, char c = 0);
astp over(char kind, std::vector<astp> parts);
astp repeated(const astp& a, int min, int max, char preference);
/// A back reference, yet to be settled.
astp referring(int group);

/// Answers a number below the one that it is given.
using chooser = std::function<int(int)>;

/// An expression by choices; `depth` bounds its height. The same one by every compiler: no two
/// arguments of a call ask for a choice.
astp random(const chooser& pick, int depth, bool grouping = true);

/// Sequences within sequences are one sequence when printed, so they are one here.
astp flatten(const astp& a);

/// One expression on all texts, by the engine's roads and the plain matcher. False: it refers to
/// no group, or is too large for the engine.
bool compare(astp root, const std::vector<std::string>& subjects, reference::options o);

} // namespace test

// What a run would lose or has lost of a file, in words.
#pragma once

#include "tool/road/road.h"

namespace Quil {

/// How many bytes or characters, and the first of them with its place; empty if nothing is lost.
stringEx DescribeLosses(const Run& run, const LOSSES& losses);

} // namespace Quil

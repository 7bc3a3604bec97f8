// Whether an expression can be searched line by line instead of in the text as a whole.
#pragma once

#include "regex/regex.h"

namespace Quil {

/// True if every match of a wide expression lies within one line, has one character at least, and
/// depends on nothing outside its line. A text may then be cut behind any line feed, and searches
/// of the pieces find what searches of the whole would. False also where that would hard to tell.
///
/// @param begins a search that goes on behind a match may still be told that it begins a line
///        (without REG_NOTBOL) where it begins one
bool islinelocal(const regex_t* re, bool begins);

} // namespace Quil

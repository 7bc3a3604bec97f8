// Every switch and option of the command, a row each: what --help prints, what is known of a word
// on the command line, and for the long options what it does.
#pragma once

#include "util/text/stringEx.h"

#include <span>

namespace Quil {

struct Run;

/// What somebody wants to do who looks for an option.
enum class TASK { FIND, REPLACE, FILES, SHOW, UNDO, CHARSETS, OUTPUT, OTHER };

enum class VALUE { NONE, OPTIONAL, NEEDED };

struct OPTION {
    TASK task;
    VALUE value;
    const char* name;      ///< without the hyphens
    const char* valueName; ///< what --help calls its value
    const char* help;
    /// Takes the option, with an empty value where it has none. Answers what a value should have
    /// been, or null if it is good. Null for a switch with one hyphen, which the driver asks for.
    const char* (*settle)(Run& run, const stringEx& value);

    bool IsLong() const { return settle != nullptr; }
};

/// All of them, by task.
std::span<const OPTION> GetOptions();

} // namespace Quil

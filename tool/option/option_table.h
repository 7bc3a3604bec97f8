// Every switch and option of the command, a row each: what --help prints and the man page lists,
// what a shell completes, what is known of a word on the command line, and for the long options
// what it does.
#pragma once

#include "util/text/stringEx.h"

#include <span>
#include <string_view>
#include <vector>

namespace Quil {

struct Run;

/// What somebody wants to do who looks for an option.
enum class TASK { FIND, REPLACE, FILES, SHOW, UNDO, CHARSETS, OUTPUT, OTHER };

enum class VALUE { NONE, OPTIONAL, NEEDED };

/// What a value is, for who completes it: anything; one of a few words; a name that -listenc or
/// --list-charsets lists; a run that --undo=list lists.
enum class KIND { ANYTHING, WORD, FILE, FOLDER, ENCODING, CHARSET, RUN };

struct OPTION {
    TASK task;
    VALUE value;
    const char* name;      ///< without the hyphens
    const char* valueName; ///< what --help calls its value
    const char* help;
    /// Takes the option, with an empty value where it has none. Answers what a value should have
    /// been, or null if it is good. Null for a switch with one hyphen, which the driver asks for.
    const char* (*settle)(Run& run, const stringEx& value);
    KIND kind = KIND::ANYTHING;
    /// The words that a value may be, parted by blanks; empty where there are others.
    const char* words = "";

    bool IsLong() const { return settle != nullptr; }
    /// What parts the value from the name, as it is usually written.
    char GetValueSign() const { return IsLong() ? '=' : ':'; }
};

/// What a group of them is for.
struct TASK_TITLE {
    TASK task;
    const char* text;
};

/// The groups, in the order in which they are shown.
std::span<const TASK_TITLE> GetTasks();

/// The words that a value may be; none where there are others.
std::vector<std::string_view> GetWords(const OPTION& option);

/// All of them, by task.
std::span<const OPTION> GetOptions();

} // namespace Quil

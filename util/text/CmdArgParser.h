// Takes a command line apart: each argument becomes a switch with a name and a value, or a plain
// word. Which characters open a switch and which end its name is up to the program, so one tool may
// use "-f:x" and another "/f=x".
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <vector>

namespace QUIL_PUBLIC Quil {

/// A parsed command line. All of it is kept, also the arguments before the first index (the
/// program's own name, in ordinary use), which count for no accessor. Lookups are linear: a command
/// line is short.
///
/// A value type for one thread; once parsing is done, const calls from several threads are safe.
/// Out of memory (`std::bad_alloc`) is the only failure: an unknown switch is the program's
/// business.
class CCmdArgParser {
public:
    /// One argument as it stands, and what was read from it.
    struct ARG {
        stringEx raw;
        stringEx name;  ///< empty for a plain word
        stringEx value; ///< empty where there is none
    };

    /// What a lookup by name answers when there is no such switch.
    static constexpr unsigned int NOT_FOUND = static_cast<unsigned int>(-1);

    /// Each character of `prefix` opens a switch, each of `suffix` ends a switch's name; arguments
    /// before index `first` are neither switch nor plain word.
    CCmdArgParser(const stringEx& prefix, const stringEx& suffix, unsigned int first);

    // Parsing. Each drops what was held and sorts the new arguments; the result is 1, or 0 where
    // nothing was sorted: no arguments (the old ones stay then), or an empty prefix set.

    int Parse(int argc, const char* const* argv);
    int Parse(int argc, const wchar_t* const* argv);
    int Parse(const std::vector<stringEx>& arguments);
    int Parse(const std::vector<wstringEx>& arguments);

    /// One flat line, split at white space. Double quotes protect the white space between them and
    /// are dropped; a quote within a word doesn't cut it, an unclosed one protects all to the end,
    /// and there is no escape for a quote. A line of only blanks keeps the arguments and gives 0.
    int Parse(const stringEx& line);
    int Parse(const wstringEx& line);

    // Configuration. Each sorts again what is held; 1 at once when nothing is.

    int Reset(unsigned int first);
    int Reset(const stringEx& prefix, const stringEx& suffix);
    int Reset(const stringEx& prefix, const stringEx& suffix, unsigned int first);

    /// Appends the other's arguments from its first index on, as they were sorted there, and
    /// returns their number. The switch count stays as it is until the next `Reset`.
    unsigned int Merge(const CCmdArgParser& other);

    // Access by position in the full argument vector.

    bool IsSwitch(unsigned int i) const;
    bool IsNoneSwitch(unsigned int i) const;
    stringEx GetSwitchName(unsigned int i) const;
    stringEx GetSwitchValue(unsigned int i) const;

    // Access by name: the nth occurrence, counted from 0. The plain forms compare byte for byte,
    // the NoCase forms by `equal_no_case`. An empty name is never found.

    unsigned int GetSwitchCount(const stringEx& name) const;
    unsigned int GetSwitchCountNoCase(const stringEx& name) const;
    unsigned int GetSwitchPos(const stringEx& name, unsigned int nth = 0) const;
    unsigned int GetSwitchPosNoCase(const stringEx& name, unsigned int nth = 0) const;
    bool IsSwitchExistNoCase(const stringEx& name) const;
    stringEx GetSwitch(const stringEx& name, unsigned int nth = 0) const;
    stringEx GetSwitchNoCase(const stringEx& name, unsigned int nth = 0) const;

    /// The raw text of the nth plain word, empty when there is none.
    stringEx GetNoneSwitch(unsigned int nth) const;
    /// All of them, as many as are counted, in one scan.
    std::vector<stringEx> GetNoneSwitches() const;

    /// The number of plain words. A bare "-" or a nameless "-:x" counts as a switch here though it
    /// has no name, so with one of them on the line the last plain word falls off the end.
    unsigned int GetNoneSwitchCount() const;

private:
    using EQUAL = bool (*)(const stringEx&, const stringEx&);

    template <class Get>
    int __ParseEach(std::size_t count, Get get);
    int _Parse(stringEx line);
    int __ReParse();
    static void __Sort(ARG& argument, const stringEx& suffix);
    bool __IsInRange(unsigned int i) const;
    unsigned int __CountSwitch(const stringEx& name, EQUAL equal) const;
    unsigned int __FindSwitch(const stringEx& name, unsigned int nth, EQUAL equal) const;

    std::vector<ARG> __arguments;
    stringEx __prefix;
    stringEx __suffix;
    unsigned int __switchCount = 0;
    unsigned int __first;
};

} // namespace Quil

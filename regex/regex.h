// The regular-expression engine as its callers see it: compile a pattern into a `regex_t`, run it
// over counted strings any number of times, free it. The engine stands on its own; the string
// classes wrap it.
//
// The names are the ones that callers of a POSIX matcher know. A source file that needs the C
// library's <regex.h> as well must keep it out of the files that include this one: that header
// makes macros of several of these names.
#pragma once

#include "util/base/visibility.h"

#include <cstddef>
#include <cstdint>

namespace QUIL_PUBLIC Quil {

/// \name Compile flags
/// @{
inline constexpr int REG_BASIC = 0;       ///< basic expressions
inline constexpr int REG_EXTENDED = 0x1;  ///< extended expressions
inline constexpr int REG_ADVF = 0x2;      ///< advanced features; only together with REG_EXTENDED
inline constexpr int REG_ADVANCED = 0x3;  ///< advanced expressions
inline constexpr int REG_QUOTE = 0x4;     ///< the pattern is a literal string
inline constexpr int REG_ICASE = 0x8;     ///< ignore case
inline constexpr int REG_NOSUB = 0x10;    ///< no capturing groups; execute reports no positions
inline constexpr int REG_EXPANDED = 0x20; ///< white space and `#` comments are skipped in patterns
inline constexpr int REG_NLSTOP = 0x40;   ///< `.` and `[^...]` don't match a newline
inline constexpr int REG_NLANCH = 0x80;   ///< `^` and `$` also match at newlines
inline constexpr int REG_NEWLINE = 0xC0;  ///< both of the last two
inline constexpr int REG_EXPECT = 0x200;  ///< report where a longer match could still begin
inline constexpr int REG_BOSONLY = 0x400; ///< match at the string's beginning only
inline constexpr int REG_FAKE = 0x1000;   ///< test aid: the equivalence class of x is x and y
inline constexpr int REG_PROGRESS = 0x2000; ///< diagnostic dump on standard output
/// @}

/// \name Execute flags
/// @{
inline constexpr int REG_NOTBOL = 0x1;   ///< the string's start is not a beginning of line
inline constexpr int REG_NOTEOL = 0x2;   ///< the string's end is not an end of line
inline constexpr int REG_STARTEND = 0x4; ///< accepted and ignored: the length is an argument
inline constexpr int REG_FTRACE = 0x8;   ///< for tracing; same results
inline constexpr int REG_MTRACE = 0x10;  ///< accepted and ignored
inline constexpr int REG_SMALL = 0x20;   ///< keep the cache of state sets to 7 entries
/// What stands in the text before the place where a search begins counts, as for word edges, `^`
/// and
/// `\A`; REG_NOTBOL is then about the text's own start. Only for contexts.
inline constexpr int REG_BEHIND = 0x40;
/// @}

/// \name Information bits, `regex_t::re_info`
/// @{
inline constexpr long REG_UBACKREF = 0x1;       ///< has a back reference
inline constexpr long REG_ULOOKAHEAD = 0x2;     ///< has a lookahead constraint
inline constexpr long REG_UBOUNDS = 0x4;        ///< has a bound `{...}`
inline constexpr long REG_UBRACES = 0x8;        ///< a `{` was taken as a plain character
inline constexpr long REG_UBSALNUM = 0x10;      ///< backslash before an alphanumeric in ERE or BRE
inline constexpr long REG_UPBOTCH = 0x20;       ///< an unmatched `)` taken as plain in an ERE
inline constexpr long REG_UBBS = 0x40;          ///< backslash inside brackets
inline constexpr long REG_UNONPOSIX = 0x80;     ///< any feature outside POSIX
inline constexpr long REG_UUNSPEC = 0x100;      ///< something that POSIX leaves undefined
inline constexpr long REG_UUNPORT = 0x200;      ///< something unportable
inline constexpr long REG_ULOCALE = 0x400;      ///< something that depends on the character tables
inline constexpr long REG_UEMPTYMATCH = 0x800;  ///< can match the empty string
inline constexpr long REG_UIMPOSSIBLE = 0x1000; ///< can match nothing at all
inline constexpr long REG_USHORTEST = 0x2000;   ///< the whole prefers the shortest match
/// @}

/// \name Result codes
/// @{
inline constexpr int REG_OKAY = 0;     ///< success
inline constexpr int REG_NOMATCH = 1;  ///< execute found no match
inline constexpr int REG_BADPAT = 2;   ///< the reserved director `***?`
inline constexpr int REG_ECOLLATE = 3; ///< unknown or empty collating element name
inline constexpr int REG_ECTYPE = 4;   ///< unknown or empty class name
inline constexpr int REG_EESCAPE = 5;  ///< bad or unfinished backslash sequence
inline constexpr int REG_ESUBREG = 6;  ///< back reference to a group that can't be referred to
inline constexpr int REG_EBRACK = 7;   ///< pattern ended inside brackets
inline constexpr int REG_EPAREN = 8;   ///< parentheses don't balance
inline constexpr int REG_EBRACE = 9;   ///< pattern ended inside a bound
inline constexpr int REG_BADBR = 10;   ///< malformed bound, or a count above 255
inline constexpr int REG_ERANGE = 11;  ///< range with its start after its end, or malformed
inline constexpr int REG_ESPACE = 12;  ///< out of memory, or beyond one of the limits below
inline constexpr int REG_BADRPT = 13;  ///< quantifier without operand, bad `(?` or `***`
inline constexpr int REG_ASSERT = 15;  ///< internal inconsistency
inline constexpr int REG_INVARG = 16;  ///< bad argument
inline constexpr int REG_MIXED = 17;   ///< handle compiled by the other engine
inline constexpr int REG_BADOPT = 18;  ///< bad embedded option
/// @}

/// No place in a pattern.
inline constexpr std::ptrdiff_t REG_NOWHERE = -1;

/// \name Limits
/// A pattern that passes one of them gets REG_ESPACE. They stand far above what an expression
/// written for a purpose needs, and keep a hostile one from eating the machine.
/// @{
inline constexpr int REG_MAXSTATES = 800'000; ///< states of one automaton; about one a character
/// States of a repetition whose part may match nothing, as in `(a?){255}`: each of its copies can
/// be left out, so the arcs grow faster than the copies, and would pass their limit only after
/// seconds.
inline constexpr int REG_MAXOPTIONAL = 140'000;
inline constexpr int REG_MAXARCS = 1'000'000; ///< arcs of one automaton
/// Arcs and states made in the whole of one compile, with the passes over large automata
/// (`passeswork()`): half a second. What stands closest to it is a list of 4000 words with three
/// times any character in each.
inline constexpr long REG_MAXWORK = 14'000'000;
inline constexpr int REG_MAXCOLORS = 32'760; ///< sets of characters that a pattern tells apart
inline constexpr int REG_MAXDEPTH = 4'000;   ///< levels of nested parentheses
/// @}

struct regex_t;

/// Functions of the engine that compiled a handle.
struct regex_fns {
    void (*rfree)(regex_t* re); ///< releases what hangs below the handle
};

/// A compiled expression. The caller owns the record itself; compile fills it in and owns what
/// hangs below it until wregfree()/sregfree(). A compiled handle is immutable: any number of
/// threads may execute it at once.
struct regex_t {
    int re_magic;            ///< REMAGIC while valid, 0 after free
    std::size_t re_nsub;     ///< number of capturing groups
    long re_info;            ///< information bits
    int re_csize;            ///< size of the engine's character in bytes: 1 or 4
    const void* re_endp;     ///< reserved: neither read nor set
    void* re_guts;           ///< the compiled form
    const regex_fns* re_fns; ///< null after free
};

/// Where a match or a group lies: start and one past the end, in characters from the start of the
/// string. Both are -1 for a group that took no part.
struct regmatch_t {
    std::int32_t rm_so;
    std::int32_t rm_eo;
};

/// What REG_EXPECT asks for: the earliest position from which a longer text could still give a
/// match, and the end of the text.
struct rm_detail_t {
    regmatch_t rm_extend;
};

/// \name The wide engine
/// Only the low 16 bits of a character select: U+1F600 matches U+F600.
/// @{

/// Compiles `len` characters (no terminator needed; a null character is an ordinary one).
/// Returns a result code. After a failure `re` needs no freeing.
int wre_comp(regex_t* re, const wchar_t* pattern, std::size_t len, int flags);

/// The same, and after a failure `at` is the index of the character at which the error was found:
/// of the quantifier, escape, range or name that is wrong, of the parenthesis, bracket or brace
/// that isn't closed, or of the part that is too large. REG_NOWHERE if no part can be blamed, as
/// when all are too large together. Meaningless after a success.
int wre_comp_at(regex_t* re, const wchar_t* pattern, std::size_t len, int flags,
                std::ptrdiff_t& at);

/// Searches `len` characters for the leftmost match. On REG_OKAY pmatch[0] is the whole match and
/// pmatch[i] group i, for i below `nmatch`. `details` may be null unless compiled with REG_EXPECT.
/// A string of 2^31 characters or more can't be told in `regmatch_t` and must not be given.
int wre_exec(regex_t* re, const wchar_t* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags);

/// Frees what hangs below the handle, not the handle. Nothing for null. Once only: the function
/// table that this call goes through is gone after the first time.
void wregfree(regex_t* re);
/// @}

/// \name The narrow engine
/// The same over `char`. Case and classes follow the C library's locale of the moment.
/// @{
int sre_comp(regex_t* re, const char* pattern, std::size_t len, int flags);
int sre_comp_at(regex_t* re, const char* pattern, std::size_t len, int flags, std::ptrdiff_t& at);
int sre_exec(regex_t* re, const char* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags);
void sregfree(regex_t* re);
/// @}

} // namespace Quil

// From pattern to tokens: take a character, and let the state of the lexer say what it means.
//
// What complicates it: a character means another thing in brackets, in a bound or behind an opening
// parenthesis; and a class escape such as \d is replaced by a bracket expression that is read as if
// it stood in the pattern, so that the parser never meets the shorthand.

#pragma once

#include "regex/compile/regguts.h"

namespace Quil::IMPL::engine {

/// Where the lexer stands; decides what a character means.
enum lexstate {
    L_ERE = 1, ///< main text of an ERE or ARE
    L_BRE,     ///< main text of a BRE
    L_Q,       ///< literal string
    L_EBND,    ///< inside {...}
    L_BBND,    ///< inside \{...\}
    L_BRACK,   ///< inside [...]
    L_CEL,     ///< inside [. .]
    L_ECL,     ///< inside [= =]
    L_CCL,     ///< inside [: :]
};

/// Reads what may stand before the expression proper (a director such as ***: and embedded options
/// such as (?i)), sets `v->cflags` by it, and reads the first token.
template <class chr>
void lexstart(vars<chr>* v);

/// Reads the next token into `v->nexttype` and `v->nextvalue`; false, with the type EOS, after an
/// error.
template <class chr>
bool next(vars<chr>* v);

/// Makes the lexer read the bracket expression of all word characters before it goes on with the
/// pattern. To be called before the token behind the present one is read.
template <class chr>
void lexword(vars<chr>* v);

} // namespace Quil::IMPL::engine

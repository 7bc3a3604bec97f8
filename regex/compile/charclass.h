// What the lexer and the bracket parser ask the character set: the members of a named class, the
// case variants of a character, what a named collating element stands for.
//
// The two engines differ here and hardly anywhere else: wide characters are answered for by tables
// made from Unicode 3.1, narrow ones by the C library in the locale of the moment.

#pragma once

#include "regex/compile/regguts.h"

#include <cstddef>

namespace Quil::IMPL::engine {

/// A run of characters, both ends included.
template <class chr>
struct crange {
    chr first;
    chr last;
};

/// A short-lived list of characters and ranges. Lies in the arena of the compile.
template <class chr>
struct cvec {
    chr* chrs;
    std::size_t nchrs;
    std::size_t chrspace; ///< room for characters
    crange<chr>* ranges;
    std::size_t nranges;
    std::size_t rangespace; ///< room for ranges

    void add(chr c) { chrs[nchrs++] = c; }
    void add(chr first, chr last) { ranges[nranges++] = {first, last}; }
};

/// The working list of `v`, emptied, with room for so many; null on REG_ESPACE.
template <class chr>
cvec<chr>* getcvec(vars<chr>* v, std::size_t nchrs, std::size_t nranges);

/// The members of class `[start, end)`, such as "alpha"; with `cases`, lower and upper stand for
/// alpha. Null after an error (REG_ECTYPE). The answer, as that of all functions here, lies in the
/// one working list of `v` and lasts until the next question; null also on REG_ESPACE.
template <class chr>
const cvec<chr>* cclass(vars<chr>* v, const chr* start, const chr* end, bool cases);

/// All characters equivalent to `c`: itself, and with `cases` its case variants.
template <class chr>
const cvec<chr>* eclass(vars<chr>* v, chr c, bool cases);

/// The characters from `first` to `last`, with `cases` also their case variants. Null after an
/// error (REG_ERANGE if they are in the wrong order). Only what the color map tells apart counts:
/// 16 bits of a wide character.
template <class chr>
const cvec<chr>* range(vars<chr>* v, chr first, chr last, bool cases);

/// The case variants of one character, itself among them. Case is not symmetric: another character
/// may have this one as a variant without being a variant of it.
template <class chr>
const cvec<chr>* allcases(vars<chr>* v, chr c);

/// The character that collating element `[start, end)` names: itself, or "tilde" and the like. 0
/// after an error (REG_ECOLLATE).
template <class chr>
chr element(vars<chr>* v, const chr* start, const chr* end);

/// Compares two runs of `length` characters; 0 if they are equal, in `casecmp` but for case.
template <class chr>
int cmp(const chr* a, const chr* b, std::size_t length);
template <class chr>
int casecmp(const chr* a, const chr* b, std::size_t length);

} // namespace Quil::IMPL::engine

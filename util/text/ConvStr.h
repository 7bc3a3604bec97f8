// The ConvStr family: texts between the system's encoding, UTF-8 and wide characters, for the
// library's own use.
//
// It is declared here, with the strings, since errors, libraries and the command line have texts of
// both widths; what converts stands far above them, and defines these functions
// (util/conv/ConvStr.cpp).
#pragma once

#include "util/base/visibility.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

// The conversions go by converters that each thread keeps. The letters tell
// source and target: W is wide text, U narrow text in UTF-8, M narrow text in the system's
// encoding, T the library's text type (here the same as M), S the native string, wide or narrow by
// the argument. They never throw but for memory: a failed conversion takes the strings' own element
// by element conversion, or gives the source as it is where both sides are narrow. `dst` may be or
// share its block with `src`. The forms with `scratch` use that string for the wide text in
// between, so that a loop has one buffer for all its strings.

wstringEx ConvStrUToW(const stringEx& src);
void ConvStrUToW(wstringEx& dst, const stringEx& src);
wstringEx ConvStrSToW(const stringEx& src);
void ConvStrSToW(wstringEx& dst, const stringEx& src);

stringEx ConvStrSToU(const wstringEx& src);
void ConvStrSToU(stringEx& dst, const wstringEx& src);
stringEx ConvStrSToM(const wstringEx& src);
void ConvStrSToM(stringEx& dst, const wstringEx& src);
stringEx ConvStrSToT(const wstringEx& src);
void ConvStrSToT(stringEx& dst, const wstringEx& src);
stringEx ConvStrSToT(const stringEx& src);
void ConvStrSToT(stringEx& dst, const stringEx& src);

stringEx ConvStrUToM(const stringEx& src);
void ConvStrUToM(stringEx& dst, const stringEx& src);
void ConvStrUToM(stringEx& dst, const stringEx& src, wstringEx& scratch);
stringEx ConvStrUToT(const stringEx& src);
void ConvStrUToT(stringEx& dst, const stringEx& src);
void ConvStrUToT(stringEx& dst, const stringEx& src, wstringEx& scratch);
stringEx ConvStrSToU(const stringEx& src);
void ConvStrSToU(stringEx& dst, const stringEx& src);
void ConvStrSToU(stringEx& dst, const stringEx& src, wstringEx& scratch);

/// Releases the calling thread's converters, if it has any. A later conversion makes new ones.
void ConvStrFreeTls();

} // namespace Quil

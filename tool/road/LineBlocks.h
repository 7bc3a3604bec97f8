// Expressions in UTF-8 text, by blocks of whole lines: what is decoded stays in the cache, and what
// has no match is never encoded.
#pragma once

#include "util/text/RegexReplacer.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace Quil {

/// Replaces by an expression that is local to lines. A block of ASCII, which most are in the texts
/// of many languages, is not decoded at all. Refers to the replacer; its blocks serve again.
class CLineBlocks {
public:
    explicit CLineBlocks(CRegexReplacer& replacer) : __replacer(replacer) {}

    /// Puts the result in `to`, which is emptied first; with no match it stays so. Answers the
    /// number of matches. `text` must be strictly valid; where there was a match it
    /// is used up.
    unsigned long Replace(byteEx& to, byteEx& text);

private:
    unsigned int __ReplaceBlock(text_ref<unsigned char> block);
    text_ref<unsigned char> __Encode();

    CRegexReplacer& __replacer;
    byteEx __result; ///< the last block's, if it is of ASCII
    bool __isDecoded = false;
    wstringEx __wide;
    wstringEx __wideResult;
    stringEx __encoded;
};

} // namespace Quil

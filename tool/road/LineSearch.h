// An expression whose matches lie within lines, searched by blocks of whole lines: so neither the
// text nor its result is ever there as a whole, nor, in UTF-8, its wide characters. Any other takes
// the text as one block.
#pragma once

#include "tool/road/search.h"
#include "util/text/RegexReplacer.h"

namespace Quil {

/// Searches wide texts, or texts in UTF-8, whose blocks in ASCII are searched as they stand; bytes
/// there that are part of no character are kept, a character each. For one thread.
template <class T>
class CLineSearch final : public ISearch<T> {
public:
    CLineSearch(const wstringEx::regex_handle& expression, const wstringEx& replacement,
                const stringEx& replacementBytes, CRegexReplacer::FORM form,
                PIECES told = PIECES::BLOCKS);

    void Start(std::uint64_t size, std::uint64_t place, bool isAgain) override;
    std::size_t Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) override;
    std::uint64_t GetMost(std::uint64_t size) const override { return size * (1 + __mostForOne); }

private:
    /// A block with matches, by its place in the text.
    struct FOUND {
        std::uint64_t place = 0;
        unsigned int length = 0;
        unsigned int count = 0; ///< none: not known
    };

    unsigned int __Find(text_ref<T> block);
    unsigned int __Replace(text_ref<T> block);
    text_ref<T> __GetResult();
    void __Tell(text_ref<T> block, IPieces<T>& pieces);

    CRegexReplacer __replacer;
    bool __isLocal;
    PIECES __told; ///< match by match only on wide characters
    REPLACED_MATCHES __matches;
    std::uint64_t __mostForOne; ///< elements in place of one that is matched
    std::uint64_t __place = 0;  ///< of what isn't taken
    FOUND __last;               ///< whose result is there
    basic_buffer<T> __result;   ///< the last block's
    bool __isDecoded = false;   ///< it is the next one instead
    wstringEx __wideResult;
    wstringEx __wide;
    stringEx __encoded;
};

} // namespace Quil

// Expressions whose matches lie within lines, searched by blocks of whole lines: so neither the
// text nor its result is ever there as a whole, nor, in UTF-8, its wide characters. Any others take
// the text as one block.
#pragma once

#include "tool/road/search.h"
#include "util/text/ITextReplacer.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <memory>

namespace Quil {

/// Searches wide texts, or texts in UTF-8, whose blocks in ASCII are searched as they stand; bytes
/// there that are part of no character are kept, a character each. For one thread.
template <class T>
class CLineSearch final : public ISearch<T> {
public:
    /// @param isLocal whether the replacer may be given whole lines, not the text as a whole
    /// @param growth elements, or bytes, in place of one that is matched, at most
    CLineSearch(std::unique_ptr<ITextReplacer> replacer, bool isLocal, double growth,
                PIECES told = PIECES::BLOCKS);

    void Start(std::uint64_t size, std::uint64_t place, bool isAgain) override;
    std::size_t Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) override;
    std::uint64_t GetMost(std::uint64_t size) const override {
        constexpr double LIMIT = 1e18;
        return static_cast<std::uint64_t>(
            std::min(LIMIT, static_cast<double>(size) * (1 + __growth)));
    }
    const CRuleCounts* GetRuleCounts() const override { return __replacer->GetRuleCounts(); }

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

    std::unique_ptr<ITextReplacer> __replacer;
    bool __isLocal;
    double __growth;
    PIECES __told; ///< match by match only on wide characters
    REPLACED_MATCHES __matches;
    std::uint64_t __place = 0; ///< of what isn't taken
    FOUND __last;              ///< whose result is there
    basic_buffer<T> __result;  ///< the last block's
    bool __isDecoded = false;  ///< it is the next one instead
    wstringEx __wideResult;
    wstringEx __wide;
    stringEx __encoded;
};

} // namespace Quil

// The road for conversions and for literals in any charset: the text goes from one charset to the
// other by blocks that stay in the cache.
//
// The whole wide text would be fresh memory of four times the text's size, which costs more than
// all that is done with it. What complicates it: a literal may lie across the end of a block, so
// the last characters of one, a character fewer than the literal has, wait for the next.
#pragma once

#include "tool/road/ConsumedInput.h"
#include "tool/road/road.h"
#include "util/conv/block_conversion.h"

namespace Quil {

/// Serves runs that only convert or look for a literal, by converters over the C library. The
/// memory of an input goes back to the system while the result grows.
class CBlockRoad final : public IRoad {
public:
    /// Whether the road's results are those of the plain road on all inputs of this run.
    static bool CanServe(const Run& run);

    explicit CBlockRoad(const Run& run);

    std::optional<unsigned long> Replace(byteEx& raw) override;
    const byteEx& Encode() override;
    void Print() override;

private:
    /// How far the current input is.
    enum class STATE {
        BEGUN,   ///< The window holds the text's first block.
        PASSED,  ///< Nothing was found. The window is somewhere in the text.
        REPLACED ///< The encoder has the result, byte-order mark and all.
    };

    bool __Begin();
    template <class Fold>
    unsigned long __Replace();
    template <class Search>
    bool __IsFound(Search& search);
    template <class Search>
    unsigned long __ReplaceBlock(Search& search);
    void __Put(const wchar_t* characters, std::size_t count);
    void __Advance(std::size_t decoded);
    void __StartResult(bool withSign);
    template <class AfterBlock>
    void __Convert(AfterBlock afterBlock);

    const Run& __run;
    CBlockDecoder __decoder;
    CBlockEncoder __encoder;
    CWideWindow __window;   ///< what is decoded and not yet used
    CWideWindow __replaced; ///< what is to be encoded, where something was replaced
    STATE __state = STATE::BEGUN;
    byteEx __raw; ///< the current input, which the decoder reads
    CConsumedInput __consumed{__raw};
    std::size_t __taken = 0; ///< what of it is in the result
    byteEx __bytes;          ///< the result; shares the encoder's string
};

} // namespace Quil

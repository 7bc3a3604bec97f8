// The road for conversions: the text goes from one charset to the other by blocks that stay in the
// cache.
//
// Nothing is searched there, so no more of the wide text is needed at a time than what the encoder
// wants to see. The whole wide text would be fresh memory of four times the text's size, which
// costs more than the conversion itself.
#pragma once

#include "tool/road.h"
#include "util/conv/BlockConversion.h"

namespace Quil {

/// Serves runs that only convert, by converters over the C library.
class CBlockRoad final : public IRoad {
public:
    /// Whether the road's results are those of the plain road on all inputs of this run.
    static bool CanServe(const Run& run);

    explicit CBlockRoad(const Run& run);

    std::optional<unsigned long> Replace(byteEx& raw) override;
    const byteEx& Encode() override;
    void Print() override;

private:
    template <class AfterBlock>
    void __Convert(AfterBlock afterBlock);

    const Run& __run;
    CBlockDecoder __decoder;
    CBlockEncoder __encoder;
    CWideWindow __window;
    byteEx __raw;   ///< the current input, which the decoder reads
    byteEx __bytes; ///< the result; shares the encoder's string
};

} // namespace Quil

// The road through wide characters: decode a block, search in it, encode what comes of it.
//
// The whole wide text would be fresh memory of four times the text's size, which costs more than
// all that is done with it; the window here stays in the cache. What complicates it: decoder,
// search and encoder each keep something back for the next block, so what is put in the result
// lags behind what was taken.
#pragma once

#include "tool/road/road.h"
#include "tool/road/search.h"
#include "util/conv/block_conversion.h"

namespace Quil {

/// Serves texts in every charset whose converters go by blocks, by the search that it is given.
class CWideRoad final : public IRoad, private IPieces<wchar_t> {
public:
    static bool CanServe(const Run& run);

    CWideRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search);

    void Start(const TASK& task) override;
    std::size_t Take(const BLOCK& block, ISink& sink) override;
    unsigned long GetCount() const override { return __search->GetCount(); }
    bool HasText() const override { return __hasText; }
    bool HasChanged() const override { return true; }
    bool CanResume() const override { return false; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override;
    LOSSES GetLosses() const override {
        return {__decoder.GetLoss(), __encoder.GetLoss(), __decoder.GetCharacters()};
    }

private:
    void Keep(text_ref<wchar_t> text) override;
    void Replace(text_ref<wchar_t> old, text_ref<wchar_t> text) override;
    void __BeginText();
    bool __Search(bool isLast);
    void __Encode(bool isLast);

    const Run& __run;
    std::unique_ptr<ISearch<wchar_t>> __search;
    CBlockDecoder __decoder;
    CBlockEncoder __encoder;
    CWideWindow __window; ///< what is decoded and not yet decided on
    CWideWindow __result; ///< what is to be encoded
    TASK __task;
    bool __hasText = false;
    ISink* __sink = nullptr;
    std::string_view __untold; ///< what was taken of the present block and the sink doesn't know
};

} // namespace Quil

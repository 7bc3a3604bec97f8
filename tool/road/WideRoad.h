// The road through wide characters: decode a block, search in it, encode what comes of it. What is
// put in the result lags behind what was taken, since the encoder keeps something back too.
#pragma once

#include "tool/road/CharacterRoad.h"

namespace Quil {

/// Serves texts in every charset whose converters go by blocks, by the search that it is given.
class CWideRoad final : public TCharacterRoad {
public:
    static bool CanServe(const Run& run);

    CWideRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search);

    void Start(const TASK& task) override;
    bool HasChanged() const override { return true; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override;
    LOSSES GetLosses() const override {
        return {_GetDecoder().GetLoss(), __encoder.GetLoss(), _GetDecoder().GetCharacters()};
    }

private:
    void Keep(text_ref<wchar_t> text) override;
    void Replace(text_ref<wchar_t> /*old*/, text_ref<wchar_t> text) override { Keep(text); }
    void _Read(std::string_view bytes) override { __untold = bytes; }
    void _BeginText(bool hasMark) override;
    void _FinishRound(bool isEnd) override { __Encode(isEnd); }
    void __Encode(bool isLast);

    CBlockEncoder __encoder;
    CWideWindow __result;      ///< what is to be encoded
    std::string_view __untold; ///< what was taken of the present block and the sink doesn't know
};

} // namespace Quil

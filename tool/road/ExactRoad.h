// The road on which only what was matched changes: every other byte of the result is the input's
// own, whatever it means.
//
// The text is searched in wide characters, in which a byte that belongs to no character is one by
// itself. What complicates it: a charset may have several byte sequences for one character, so what
// is kept can't be encoded again. How many bytes a stretch has is found out by encoding it, which
// nearly always gives just the bytes that stand there; else it is read character by character.
#pragma once

#include "tool/road/CharacterRoad.h"

#include <string>

namespace Quil {

/// Serves runs that write the charset that they read, if it has no states to shift between, by a
/// search that tells match by match.
class CExactRoad final : public TCharacterRoad {
public:
    static bool CanServe(const Run& run);

    CExactRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search);

    void Start(const TASK& task) override;
    unsigned long GetCount() const override { return TCharacterRoad::GetCount() - __declined; }
    bool HasChanged() const override { return GetCount() != 0; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override;
    LOSSES GetLosses() const override {
        return {{}, __encoder.GetLoss(), _GetDecoder().GetCharacters()};
    }

private:
    void Keep(text_ref<wchar_t> text) override;
    void Replace(text_ref<wchar_t> old, text_ref<wchar_t> text) override;
    void _Read(std::string_view bytes) override;
    void _BeginText(bool hasMark) override;
    void _FinishRound(bool /*isEnd*/) override {}
    std::size_t __Measure(text_ref<wchar_t> text);
    std::size_t __MeasureByReading(std::size_t begin);
    const stringEx& __Encode(text_ref<wchar_t> text);
    std::string_view __TakeSource(std::size_t count);

    CBlockDecoder __reader; ///< of single characters
    CBlockEncoder __encoder;
    CWideWindow __part; ///< what is being encoded
    CWideWindow __read; ///< what the reader gives
    stringEx __encoded;
    std::string __source; ///< the bytes of what isn't told yet
    std::size_t __sourceBegin = 0;
    unsigned long __declined = 0; ///< matches that the run doesn't want replaced
    unsigned long __place = 0;    ///< the number of the match at hand
};

} // namespace Quil

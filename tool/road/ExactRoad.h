// The road on which only what was matched changes: every other byte of the result is the input's
// own, whatever it means.
//
// The text is searched in wide characters, in which a byte that belongs to no character is one by
// itself. What complicates it: a charset may have several byte sequences for one character, so what
// is kept can't be encoded again. How many bytes a stretch has is found out by encoding it, which
// nearly always gives just the bytes that stand there; else it is read character by character.
#pragma once

#include "tool/road/road.h"
#include "tool/road/search.h"
#include "util/conv/block_conversion.h"

#include <string>

namespace Quil {

/// Serves runs that write the charset that they read, if it has no states to shift between, by a
/// search that tells match by match.
class CExactRoad final : public IRoad, private IPieces<wchar_t> {
public:
    static bool CanServe(const Run& run);

    CExactRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search);

    void Start(const TASK& task) override;
    std::size_t Take(const BLOCK& block, ISink& sink) override;
    unsigned long GetCount() const override { return __search->GetCount() - __declined; }
    bool HasText() const override { return __hasText; }
    bool HasChanged() const override { return GetCount() != 0; }
    bool CanResume() const override { return false; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override;
    LOSSES GetLosses() const override;

private:
    void Keep(text_ref<wchar_t> text) override;
    void Replace(text_ref<wchar_t> old, text_ref<wchar_t> text) override;
    bool __Search(bool isLast);
    void __BeginText();
    std::size_t __Measure(text_ref<wchar_t> text);
    std::size_t __MeasureByReading(std::size_t begin);
    const stringEx& __Encode(text_ref<wchar_t> text);
    std::string_view __TakeSource(std::size_t count);

    const Run& __run;
    std::unique_ptr<ISearch<wchar_t>> __search;
    CBlockDecoder __decoder;
    CBlockDecoder __reader; ///< of single characters
    CBlockEncoder __encoder;
    CWideWindow __window; ///< what is decoded and not yet decided on
    CWideWindow __part;   ///< what is being encoded
    CWideWindow __read;   ///< what the reader gives
    stringEx __encoded;
    TASK __task;
    std::string __source; ///< the bytes of what is in the window
    std::size_t __sourceBegin = 0;
    unsigned long __declined = 0; ///< matches that the run doesn't want replaced
    unsigned long __place = 0;    ///< the number of the match at hand
    bool __hasText = false;
    ISink* __sink = nullptr;
};

} // namespace Quil

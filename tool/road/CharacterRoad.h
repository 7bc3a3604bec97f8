// What roads through wide characters have in common: a block is decoded into a window, and searched
// there.
//
// The whole wide text would be fresh memory of four times the text's size, which costs more than
// all that is done with it; the window stays in the cache. What complicates it: decoder and search
// each keep something back for the next block.
#pragma once

#include "tool/road/road.h"
#include "tool/road/search.h"
#include "util/conv/block_conversion.h"

namespace Quil {

/// Whether a charset's texts can be decoded and encoded by blocks.
bool GoesByBlocks(const CHARSET& charset);

/// Finds out what becomes of the text; a class derived from it tells the sink. The run stays as
/// long as this.
class TCharacterRoad : public IRoad, protected IPieces<wchar_t> {
public:
    void Start(const TASK& task) override;
    std::size_t Take(const BLOCK& block, ISink& sink) override;
    unsigned long GetCount() const override { return __search->GetCount(); }
    void AddRuleCounts(RULE_MATCHES& matches) const override {
        AddMet(matches, __search->GetRuleCounts());
    }
    bool HasText() const override { return __hasText; }
    bool CanResume() const override { return false; }

protected:
    TCharacterRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search, UNFIT unfit);

    /// So many bytes were decoded, which are these.
    virtual void _Read(std::string_view bytes) = 0;
    /// The text begins, with or without a mark, which isn't part of it any more.
    virtual void _BeginText(bool hasMark) = 0;
    /// All of what was read that could be decided on is told.
    virtual void _FinishRound(bool isEnd) = 0;

    /// Elements that the result of a text has at most, and the losses in reading it.
    std::uint64_t _GetMost(std::uint64_t size) const { return __search->GetMost(size); }
    const CBlockDecoder& _GetDecoder() const { return __decoder; }
    bool _IsWanted() const { return _task.result != TASK::RESULT::NONE; }
    bool _GivesMark(bool hadMark) const {
        return _IsWanted() && _run.WritesMark(hadMark, _task.result == TASK::RESULT::FILE);
    }

    const Run& _run;
    TASK _task;
    ISink* _sink = nullptr;

private:
    bool __Search(bool isLast);

    std::unique_ptr<ISearch<wchar_t>> __search;
    CBlockDecoder __decoder;
    CWideWindow __window; ///< what is decoded and not yet decided on
    bool __hasText = false;
};

} // namespace Quil

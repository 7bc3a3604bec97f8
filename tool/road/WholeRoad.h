// The road for everything, by which the others are measured: decode the whole input, replace in the
// wide text, encode the result.
#pragma once

#include "tool/road/road.h"
#include "util/text/ITextReplacer.h"

namespace Quil {

/// Serves every run. An input or output whose encoding is one of the raw wide names is a dump of
/// 32-bit characters and passes no converter. It takes nothing until it has all of an input.
class CWholeRoad final : public IRoad {
public:
    explicit CWholeRoad(const Run& run);

    void Start(const TASK& task) override;
    std::size_t Take(const BLOCK& block, ISink& sink) override;
    unsigned long GetCount() const override { return __count; }
    void AddRuleCounts(RULE_MATCHES& matches) const override {
        AddMet(matches, __replacer ? __replacer->GetRuleCounts() : nullptr);
    }
    bool HasText() const override { return __hasText; }
    bool HasChanged() const override { return true; }
    bool WantsAll() const override { return true; }
    bool CanResume() const override { return false; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override {
        return __isDone ? __bytes.length() : size;
    }
    LOSSES GetLosses() const override { return __losses; }

private:
    bool __TakeAscii(const BLOCK& block);
    void __Decode(std::string_view bytes);
    void __FindAndReplace();
    void __Encode();
    void __Mark();

    const Run& __run;
    TASK __task;
    std::unique_ptr<ITextReplacer> __replacer; ///< of expressions and rules; null: none is needed
    wstringEx __text;                          ///< the current input, then its result
    wstringEx __scratch;                       ///< where the expanding form builds a result
    byteEx __bytes;                            ///< the result of a file
    LOSSES __losses;
    /// Converters of its own: those of the run are for all threads.
    std::unique_ptr<const TTextConv> __decoder;
    std::unique_ptr<const TTextConv> __encoder;
    unsigned long __count = 0;
    bool __hasText = false;
    bool __hasMark = false; ///< the text began with one
    bool __isDone = false;  ///< the result is there already
};

} // namespace Quil

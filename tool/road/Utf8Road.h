// The short road for UTF-8: the bytes themselves are searched, since in UTF-8 no character's bytes
// begin inside another's.
//
// What complicates it: bytes that aren't valid are the converter's to judge. Where it makes "?" of
// each, as most do, they are replaced by those in front of the search; else the rest of the input
// goes the other road. Without regard to case a letter outside ASCII may stand for one inside, so a
// text that has such a letter goes there too.
#pragma once

#include "tool/road/road.h"
#include "tool/road/search.h"

#include <vector>

namespace Quil {

/// Serves runs in UTF-8 that write UTF-8, by the search that it is given: for literals in ASCII,
/// where case doesn't count, and all else that can be found on bytes.
class CUtf8Road final : public IRoad, private IPieces<unsigned char> {
public:
    static bool CanServe(const Run& run);

    /// Answers the road for what this one can't judge; asked only when such a text comes.
    using MAKE_OTHER = std::unique_ptr<IRoad> (*)(const Run&);

    /// @param folded what the search looks for without regard to case, of which it knows that of
    ///        ASCII only
    CUtf8Road(const Run& run, std::unique_ptr<ISearch<unsigned char>> search,
              const wstringEx& folded, MAKE_OTHER makeOther);

    void Start(const TASK& task) override;
    std::size_t Take(const BLOCK& block, ISink& sink) override;
    unsigned long GetCount() const override {
        return __search->GetCount() + (__isAtLoss ? __other->GetCount() : 0);
    }
    void AddRuleCounts(RULE_MATCHES& matches) const override;
    bool HasText() const override { return __hasText; }
    bool HasChanged() const override { return __hasChanged || GetCount() != 0; }
    bool CanResume() const override { return true; }
    std::uint64_t GetMostBytes(std::uint64_t size) const override;
    bool KeepsPlaces() const override { return __search->KeepsPlaces(); }
    LOSSES GetLosses() const override;

private:
    /// A byte of the present block that isn't that of the input.
    struct MENDED {
        std::size_t pos;
        char old;
    };

    /// Also a block that the sink ended the work on comes back as it was.
    struct GIVE_BACK {
        CUtf8Road& road;
        ~GIVE_BACK() { road.__Unmend(0); }
    };

    bool __TakesMark(const BLOCK& block, std::size_t& begin);
    bool __Check(const BLOCK& block);
    static bool __IsCutAt(const BLOCK& block, std::size_t pos);
    static std::size_t __CountBad(const BLOCK& block, std::size_t pos);
    bool __Mend(const BLOCK& block, std::size_t pos, std::size_t count);
    bool __IsForeign(std::string_view text) const;
    void __Unmend(std::size_t taken);
    void __NoteLosses(std::size_t taken);
    void __GiveUp();
    void Keep(text_ref<unsigned char> text) override;
    void Replace(text_ref<unsigned char> old, text_ref<unsigned char> text) override;

    const Run& __run;
    std::unique_ptr<ISearch<unsigned char>> __search;
    MAKE_OTHER __makeOther;
    std::unique_ptr<IRoad> __other;
    std::vector<std::string> __foreign; ///< letters outside ASCII that fold to one of the literal's
    TASK __task;
    bool __isAtStart = true;
    bool __hasText = false;
    bool __hasChanged = false;
    bool __isAtLoss = false;   ///< all that comes is the other road's
    std::uint64_t __place = 0; ///< bytes that were taken
    LOSS __lost;               ///< of them

    // Of the block, from the first byte that isn't taken.
    std::size_t __checked = 0;    ///< up to here it is valid
    std::vector<MENDED> __mended; ///< by their places
    std::string __came;           ///< bytes before they were mended
    std::size_t __told = 0;       ///< of those: the sink knows them
    char* __block = nullptr;
    ISink* __sink = nullptr;
};

} // namespace Quil

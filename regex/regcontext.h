// Running a compiled expression: the object that `wre_exec` and `sre_exec` make for one call, and
// that a caller who searches again and again keeps, so that what one search has found out about the
// expression serves the next.
#pragma once

#include "regex/regex.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Quil {

/// The execution of one compiled expression over any number of texts. With `Chr` `unsigned char`
/// the expression is one of the wide engine and each byte of the text the character of its value.
/// Holds the DFA states found so far, which depend on the expression alone, and the scratch of a
/// match.
///
/// Borrows the expression, which must outlive it, and the text set last. Belongs to one thread at a
/// time; any number of contexts may run one expression at once. Memory is bounded, whatever the
/// text.
///
///     TRegexContext<wchar_t> context(re);
///     context.settext(text, length);
///     for (size_t from = 0; context.exec(from, nmatch, matches, flags) == REG_OKAY; from = ...)
///
/// A search that begins at `from` takes no notice of what stands before it, as if the text began
/// there: word edges, `\A` and lookahead see a text of their own. REG_NOTBOL says more, and with
/// REG_BEHIND it is seen.
template <class Chr>
class TRegexContext {
public:
    /// Does not look at `re` yet: a null or invalid one is reported by `exec`.
    explicit TRegexContext(const regex_t* re);
    ~TRegexContext();
    TRegexContext(const TRegexContext&) = delete;
    TRegexContext& operator=(const TRegexContext&) = delete;

    /// The text for the next searches: `length` elements. It must not change until the next
    /// `settext`, as what was learned about it is kept from search to search.
    void settext(const Chr* text, std::size_t length);

    /// Searches the text from element `from` on for the leftmost match. Result codes, `pmatch` and
    /// the flags are those of `wre_exec`; offsets in `pmatch` count from `from`. Asking for no more
    /// groups than are needed saves work: 0 only tells whether there is a match, 1 its bounds.
    /// Texts of 2^31 elements and more are REG_INVARG, since offsets could not be told.
    int exec(std::size_t from, std::size_t nmatch, regmatch_t pmatch[], int eflags,
             rm_detail_t* details = nullptr);

    /// Whether `spans` may be asked about the text of the last `exec`: matches are never empty, and
    /// depend neither on flags nor on what stands before them.
    bool inbulk() const;
    /// The matches from element `from` on, at most `most`, as searches find them that go on where
    /// the last match ended. Offsets count from the text's start. Fewer than `most`: no more are
    /// there.
    std::size_t spans(std::size_t from, regmatch_t found[], std::size_t most);

    /// How many characters all searches have looked at so far; each look counts.
    std::uint64_t looked() const;
    /// For tests and measurements: false makes every result come by the plain scans, without the
    /// skips, notes and short cuts that spare looking at characters. The results are the same.
    void setfastroads(bool on);

private:
    struct machine;

    int check(std::size_t from, const rm_detail_t* details) const;

    const regex_t* __re;
    const Chr* __text = nullptr;
    std::size_t __length = 0;
    bool __fastroads = true;
    std::uint64_t __looked = 0; // by machines given up
    std::unique_ptr<machine> __machine;
};

extern template class TRegexContext<char>;
extern template class TRegexContext<wchar_t>;
extern template class TRegexContext<unsigned char>;

} // namespace Quil

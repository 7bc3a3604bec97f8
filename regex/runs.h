// Runs of characters of one set, the matches of expressions like `[0-9]+`. Matches that stand close
// together make up most of the cost of such a search, and the search for each would be a call and a
// look at the same few characters. So the text is marked block by block, a bit for a character, and
// where a run begins and ends is read off the bits.
#pragma once

#include "regex/fingerprint.h"
#include "regex/foresight.h"
#include "regex/regguts.h"

namespace Quil::IMPL::engine {

/// The runs of one text, found one after the other. Borrows the color table.
template <class Chr>
class TRuns {
public:
    void set(const color* colors, const colorset& set, const TCellSet<Chr>& cells);
    bool empty() const { return set_.empty(); }
    /// Another text, or another end of it.
    void newtext() { block_ = nullptr; }
    /// The first run in [from, stop); its begin, or null if there is none.
    const Chr* next(const Chr* from, const Chr* stop, const Chr*& end);

private:
    void mark(const Chr* block, const Chr* stop);
    /// Where the block ends.
    const Chr* behind(const Chr* stop) const {
        constexpr auto LENGTH = static_cast<std::ptrdiff_t>(MARKEDCHARS);
        return stop - block_ > LENGTH ? block_ + LENGTH : stop;
    }
    bool holds(Chr c) const {
        return set_[static_cast<std::size_t>(colors_[chrtraits<Chr>::index(c)])] != 0;
    }

    const color* colors_ = nullptr;
    colorset set_;
    TFingerprint<Chr> search_;
    bool exact_ = false;         // it finds nothing but the set
    const Chr* block_ = nullptr; // characters that are marked; beyond the text none are
    std::uint64_t marks_ = 0;
};

extern template class TRuns<char>;
extern template class TRuns<wchar_t>;
extern template class TRuns<unsigned char>;

} // namespace Quil::IMPL::engine

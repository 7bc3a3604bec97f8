// The places of a text that a search has to look at: where a match may begin, and the stretches
// around something that every match holds. All else is passed over by vectors.
#pragma once

#include "regex/compile/regguts.h"
#include "regex/filter/fingerprint.h"
#include "regex/filter/foresight.h"

#include <map>
#include <utility>

namespace Quil::IMPL::engine {

/// Filters for one expression, made of its automaton. Borrows the color table. One thread at a
/// time.
template <class Chr>
class TPrefilter {
public:
    /// A stretch of the text.
    struct stretch {
        const Chr* first;
        const Chr* last;
    };

    /// `lacons`: the expression's lookaheads.
    TPrefilter(const cnfa& automaton, const subre* lacons, const color* colors);

    /// Whether there is anything to search for. All the rest asks for that.
    bool useful() const { return !__begin.empty() || !__need.empty(); }
    /// Where matches may begin; empty if anywhere.
    const TFingerprint<Chr>& begin() const { return __begin; }
    /// Tries at beginnings turned out to cost too much: lets `next` look for what every match
    /// holds, if it can and didn't. False if nothing changes.
    bool usereserve();
    /// Another text, or another end of it.
    void newtext() { __known = __end = nullptr; }
    /// The first stretch of [from, stop] in which a match that begins at or behind `from` can lie;
    /// whatever does lies in it wholly. False if there is none. Remembers what was found, so
    /// searches of one text that follow each other look at it once.
    bool next(const Chr* from, const Chr* stop, stretch& found);

private:
    void setbegin(const beginnings& b);
    void setneed(const necessity& n);
    typename TFingerprint<Chr>::word boxes(const std::vector<colorset>& chain);
    TCellSet<Chr> cells(const colorset& set) const;
    double weight(const colorset& set) const;
    double weight(const std::vector<colorset>& chain) const;
    double weight(const beginnings& b) const;
    void weigh(const cnfa& automaton);
    const color* row(std::size_t i) const { return __colors + i * TCellSet<Chr>::ROWCELLS; }

    const color* __colors;
    std::vector<double> __weights;                   // by color
    std::array<bool, TCellSet<Chr>::ROWS> __solid{}; // by row, whether it is of one color
    std::map<std::pair<std::size_t, colorset>, std::vector<typename TCellSet<Chr>::box>> __boxes;
    TFingerprint<Chr> __begin;
    TFingerprint<Chr> __need;
    std::size_t __needplaces = 0;
    necessity __reserve;         // not looked for so far
    TFingerprint<Chr> __outside; // what no match holds
    colorset __before;
    bool __anybefore = false;
    colorset __inside;
    const Chr* __known = nullptr; // from here on, the next chain is at ...
    const Chr* __chain = nullptr;
    const Chr* __end = nullptr; // ... and this is where the stretch around it ends
};

extern template class TPrefilter<char>;
extern template class TPrefilter<wchar_t>;
extern template class TPrefilter<unsigned char>;

} // namespace Quil::IMPL::engine

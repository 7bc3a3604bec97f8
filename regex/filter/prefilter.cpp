// From sets of colors to sets of characters, and the walk from chain to chain.
#include "regex/filter/prefilter.h"

#include <algorithm>

namespace Quil::IMPL::engine {

namespace {

/// Per mille of the characters of an English text, by code from the space on; a guess for others.
constexpr std::array<std::uint8_t, 96> FREQUENCY = {
    170, 1,  3, 1, 1,  1,  1,  3,  2,  2, 1,  1,  9,  3,  9, 1,  4, 4,  3,  2,  2,  2,   2,  2,
    2,   2,  1, 1, 1,  1,  1,  1,  1,  3, 2,  3,  2,  2,  2, 2,  2, 3,  1,  1,  2,  3,   2,  2,
    2,   1,  2, 4, 4,  1,  1,  2,  1,  1, 1,  1,  1,  1,  1, 1,  1, 65, 12, 22, 34, 102, 18, 16,
    49,  56, 1, 6, 33, 20, 57, 62, 15, 1, 48, 51, 74, 23, 8, 19, 2, 16, 1,  1,  1,  1,   1,  1};
constexpr std::size_t FIRSTPRINTED = 0x20;
constexpr double PERMILLE = 1000;
constexpr double CONTROL = 0.002, LINEFEED = 0.015;
constexpr double OTHER = 1.0 / 3000; // a character beyond ASCII

double frequency(std::size_t cell) {
    if (cell == '\n')
        return LINEFEED;
    if (cell < FIRSTPRINTED)
        return CONTROL;
    if (cell < FIRSTPRINTED + FREQUENCY.size())
        return FREQUENCY[cell - FIRSTPRINTED] / PERMILLE;
    return OTHER;
}

// A chain is worth the search for it if it is rare, and rarer than what matches begin with.
constexpr double RARE = 0.02;
constexpr double RARER = 0.25;
constexpr std::size_t BOXES = 3; // of a place of a longer word

} // namespace

template <class Chr>
TPrefilter<Chr>::TPrefilter(const cnfa& automaton, const subre* lacons, const color* colors)
    : colors_(colors) {
    weigh(automaton);
    beginnings b = findbeginnings(automaton, MOSTPLACES);
    // Where a lookahead must hold, its own match begins too.
    const int leading = automaton.minlen > 0 ? leadinglookahead(automaton) : 0;
    if (leading != 0 && lacons[leading].subno != 0) {
        beginnings ahead = findbeginnings(lacons[leading].cnfa, MOSTPLACES);
        if (ahead.places != 0 && (b.places == 0 || weight(ahead) < weight(b)))
            b = std::move(ahead);
    }
    const double common = weight(b);
    if (b.places != 0)
        setbegin(b);
    const necessity n =
        findnecessity(automaton, MOSTPLACES, [this](const colorset& set) { return weight(set); });
    const double rare = weight(n.chain);
    const bool first = std::find(n.before.begin(), n.before.end(), 1) == n.before.end();
    if (!n.chain.empty() && rare < RARE && (begin_.empty() || (rare < RARER * common && !first)))
        setneed(n);
    boxes_.clear();
}

template <class Chr>
void TPrefilter<Chr>::weigh(const cnfa& automaton) {
    constexpr std::size_t CELLS = TCellSet<Chr>::ROWCELLS;
    weights_.assign(static_cast<std::size_t>(automaton.ncolors), 0);
    for (std::size_t i = 0; i < TCellSet<Chr>::ROWS; ++i) {
        const color first = *row(i);
        solid_[i] = std::all_of(row(i), row(i) + CELLS, [first](color co) { return co == first; });
        if (solid_[i] && i > 0)
            weights_[static_cast<std::size_t>(first)] += OTHER * CELLS;
        else
            for (std::size_t k = 0; k < CELLS; ++k)
                weights_[static_cast<std::size_t>(row(i)[k])] += frequency(i * CELLS + k);
    }
}

template <class Chr>
double TPrefilter<Chr>::weight(const colorset& set) const {
    double sum = 0;
    for (std::size_t co = 0; co < set.size(); ++co)
        sum += set[co] ? weights_[co] : 0;
    return std::min(sum, 1.0);
}

template <class Chr>
double TPrefilter<Chr>::weight(const std::vector<colorset>& chain) const {
    double product = 1;
    for (const colorset& set : chain)
        product *= weight(set);
    return product;
}

template <class Chr>
double TPrefilter<Chr>::weight(const beginnings& b) const {
    double sum = 0;
    for (const auto& word : b.words)
        sum += weight(word);
    return sum;
}

template <class Chr>
TCellSet<Chr> TPrefilter<Chr>::cells(const colorset& set) const {
    TCellSet<Chr> found;
    for (std::size_t i = 0; i < TCellSet<Chr>::ROWS; ++i) {
        if (solid_[i] && holds(set, *row(i)))
            found[i].set();
        for (std::size_t k = 0; k < TCellSet<Chr>::ROWCELLS && !solid_[i]; ++k)
            found[i][k] = holds(set, row(i)[k]);
    }
    return found;
}

template <class Chr>
typename TFingerprint<Chr>::word TPrefilter<Chr>::boxes(const std::vector<colorset>& chain) {
    // The combinations of all places' boxes are what the words come to.
    const std::size_t most = chain.size() == 1 ? MOSTWORDS : BOXES;
    typename TFingerprint<Chr>::word word;
    for (const colorset& set : chain) {
        auto known = boxes_.find({most, set});
        if (known == boxes_.end())
            known = boxes_.emplace(std::pair{most, set}, cells(set).boxes(most)).first;
        word.push_back(known->second);
    }
    return word;
}

template <class Chr>
void TPrefilter<Chr>::setbegin(const beginnings& b) {
    std::vector<typename TFingerprint<Chr>::word> words;
    for (const auto& word : b.words)
        words.push_back(boxes(word));
    begin_.set(words, b.places, b.behind);
}

template <class Chr>
void TPrefilter<Chr>::setneed(const necessity& n) {
    need_.set({boxes(n.chain)}, n.chain.size(), 0);
    needplaces_ = n.chain.size();
    before_ = n.before;
    anybefore_ = cells(before_).full();
    inside_ = n.inside;
    colorset outside(inside_.size());
    std::transform(inside_.begin(), inside_.end(), outside.begin(),
                   [](unsigned char in) { return static_cast<unsigned char>(!in); });
    outside_.set({boxes({outside})}, 1, 0);
}

template <class Chr>
bool TPrefilter<Chr>::next(const Chr* from, const Chr* stop, stretch& found) {
    found = {from, stop};
    if (need_.empty())
        return true;
    if (known_ == nullptr || from < known_ || from > chain_) {
        const bool goeson = known_ != nullptr && from > chain_;
        known_ = from;
        chain_ = need_.find(from, stop, stop);
        if (!goeson || chain_ >= end_)
            end_ = nullptr;
    }
    // A place too near to the text's end for a whole chain counts as found, but is none.
    if (stop - chain_ < static_cast<std::ptrdiff_t>(needplaces_))
        return false;
    if (end_ == nullptr) {
        end_ = chain_;
        do
            end_ = outside_.find(end_, stop, stop);
        while (end_ != stop && holds(inside_, GETCOLOR(colors_, *end_)) && ++end_ != stop);
    }
    found.last = end_;
    if (!anybefore_)
        for (found.first = chain_;
             found.first != from && holds(before_, GETCOLOR(colors_, found.first[-1]));)
            --found.first;
    return true;
}

template class TPrefilter<char>;
template class TPrefilter<wchar_t>;
template class TPrefilter<unsigned char>;

} // namespace Quil::IMPL::engine

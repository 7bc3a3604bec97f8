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
    if (cell == '\n') {
        return LINEFEED;
    }
    if (cell < FIRSTPRINTED) {
        return CONTROL;
    }
    if (cell < FIRSTPRINTED + FREQUENCY.size()) {
        return FREQUENCY[cell - FIRSTPRINTED] / PERMILLE;
    }
    return OTHER;
}

// A chain is worth the search for it if it is rare, and rarer than what matches begin with; in the
// text at hand, or else by its guess.
constexpr double RARE = 0.02;
constexpr double RARER = 0.25;
constexpr std::size_t BOXES = 3; // of a place of a longer word

} // namespace

template <class Chr>
TPrefilter<Chr>::TPrefilter(const cnfa& automaton, const subre* lacons, const color* colors)
    : __colors(colors) {
    weigh(automaton);
    beginnings b = findbeginnings(automaton, MOSTPLACES);
    // Where a lookahead must hold, its own match begins too.
    const int leading = automaton.minlen > 0 ? leadinglookahead(automaton) : 0;
    if (leading != 0 && lacons[leading].subno != 0) {
        beginnings ahead = findbeginnings(lacons[leading].cnfa, MOSTPLACES);
        if (ahead.places != 0 && (b.places == 0 || weight(ahead) < weight(b))) {
            b = std::move(ahead);
        }
    }
    const double common = weight(b);
    if (b.places != 0) {
        setbegin(b);
    }
    const necessity n =
        findnecessity(automaton, MOSTPLACES, [this](const colorset& set) { return weight(set); });
    const double rare = weight(n.chain);
    const bool first = std::find(n.before.begin(), n.before.end(), 1) == n.before.end();
    if (!n.chain.empty() && rare < RARE && (__begin.empty() || !first)) {
        __reserve = n;
    }
    if (__begin.empty() || rare < RARER * common) {
        usereserve();
    }
    __boxes.clear();
}

template <class Chr>
bool TPrefilter<Chr>::usereserve() {
    if (__reserve.chain.empty()) {
        return false;
    }
    setneed(__reserve);
    __reserve = {};
    return true;
}

template <class Chr>
void TPrefilter<Chr>::weigh(const cnfa& automaton) {
    constexpr std::size_t CELLS = TCellSet<Chr>::ROWCELLS;
    __weights.assign(static_cast<std::size_t>(automaton.ncolors), 0);
    for (std::size_t i = 0; i < TCellSet<Chr>::ROWS; ++i) {
        const color first = *row(i);
        __solid[i] = std::all_of(row(i), row(i) + CELLS, [first](color co) { return co == first; });
        if (__solid[i] && i > 0) {
            __weights[static_cast<std::size_t>(first)] += OTHER * CELLS;
        } else {
            for (std::size_t k = 0; k < CELLS; ++k) {
                __weights[static_cast<std::size_t>(row(i)[k])] += frequency(i * CELLS + k);
            }
        }
    }
}

template <class Chr>
double TPrefilter<Chr>::weight(const colorset& set) const {
    double sum = 0;
    for (std::size_t co = 0; co < set.size(); ++co) {
        sum += set[co] ? __weights[co] : 0;
    }
    return std::min(sum, 1.0);
}

template <class Chr>
double TPrefilter<Chr>::weight(const std::vector<colorset>& chain) const {
    double product = 1;
    for (const colorset& set : chain) {
        product *= weight(set);
    }
    return product;
}

template <class Chr>
double TPrefilter<Chr>::weight(const beginnings& b) const {
    double sum = 0;
    for (const auto& word : b.words) {
        sum += weight(word);
    }
    return sum;
}

template <class Chr>
TCellSet<Chr> TPrefilter<Chr>::cells(const colorset& set) const {
    TCellSet<Chr> found;
    for (std::size_t i = 0; i < TCellSet<Chr>::ROWS; ++i) {
        if (__solid[i] && holds(set, *row(i))) {
            found[i].set();
        }
        for (std::size_t k = 0; k < TCellSet<Chr>::ROWCELLS && !__solid[i]; ++k) {
            found[i][k] = holds(set, row(i)[k]);
        }
    }
    return found;
}

template <class Chr>
typename TFingerprint<Chr>::word TPrefilter<Chr>::boxes(const std::vector<colorset>& chain) {
    // The combinations of all places' boxes are what the words come to.
    const std::size_t most = chain.size() == 1 ? MOSTWORDS : BOXES;
    typename TFingerprint<Chr>::word word;
    for (const colorset& set : chain) {
        auto known = __boxes.find({most, set});
        if (known == __boxes.end()) {
            known = __boxes.emplace(std::pair{most, set}, cells(set).boxes(most)).first;
        }
        word.push_back(known->second);
    }
    return word;
}

template <class Chr>
void TPrefilter<Chr>::setbegin(const beginnings& b) {
    std::vector<typename TFingerprint<Chr>::word> words;
    for (const auto& word : b.words) {
        words.push_back(boxes(word));
    }
    __begin.set(words, b.places, b.behind);
}

template <class Chr>
void TPrefilter<Chr>::setneed(const necessity& n) {
    __need.set({boxes(n.chain)}, n.chain.size(), 0);
    __needplaces = n.chain.size();
    __before = n.before;
    __anybefore = cells(__before).full();
    __inside = n.inside;
    colorset outside(__inside.size());
    std::transform(__inside.begin(), __inside.end(), outside.begin(),
                   [](unsigned char in) { return static_cast<unsigned char>(!in); });
    __outside.set({boxes({outside})}, 1, 0);
}

template <class Chr>
bool TPrefilter<Chr>::next(const Chr* from, const Chr* stop, stretch& found) {
    found = {from, stop};
    if (__need.empty()) {
        return true;
    }
    if (__known == nullptr || from < __known || from > __chain) {
        const bool goeson = __known != nullptr && from > __chain;
        __known = from;
        __chain = __need.find(from, stop, stop);
        if (!goeson || __chain >= __end) {
            __end = nullptr;
        }
    }
    // A place too near to the text's end for a whole chain counts as found, but is none.
    if (stop - __chain < static_cast<std::ptrdiff_t>(__needplaces)) {
        return false;
    }
    if (__end == nullptr) {
        __end = __chain;
        do {
            __end = __outside.find(__end, stop, stop);
        } while (__end != stop && holds(__inside, GETCOLOR(__colors, *__end)) && ++__end != stop);
    }
    found.last = __end;
    if (!__anybefore) {
        for (found.first = __chain;
             found.first != from && holds(__before, GETCOLOR(__colors, found.first[-1]));) {
            --found.first;
        }
    }
    return true;
}

template class TPrefilter<char>;
template class TPrefilter<wchar_t>;
template class TPrefilter<unsigned char>;

} // namespace Quil::IMPL::engine

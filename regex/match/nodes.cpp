// Making scanners on demand, turning automata round, and answering lookaheads.
#include "regex/match/nodes.h"

namespace Quil::IMPL::engine {

CReversed::CReversed(const cnfa& automaton, reads what) : reversed_() {
    constexpr std::size_t AROUND = 2; // the flag before a state's arcs and the mark behind them
    const auto nstates = static_cast<std::size_t>(automaton.nstates);
    std::vector<std::size_t> place(nstates + 1, 0);
    const auto eacharc = [&](auto&& visit) {
        for (int from = 0; from < automaton.nstates; ++from) {
            for (const carc& arc : automaton.arcsof(from))
                if (what == reads::MATCHES || arc.to != automaton.post)
                    visit(from, arc);
            // A beginning may end in any state, before any character.
            for (int co = 0; what == reads::BEGINNINGS && co < automaton.ncolors; ++co)
                if (from != automaton.pre && from != automaton.post)
                    visit(from, carc{co, automaton.post});
        }
    };
    eacharc([&](int, const carc& arc) { ++place[static_cast<std::size_t>(arc.to) + 1]; });
    for (std::size_t i = 0; i < nstates; ++i)
        place[i + 1] += place[i] + AROUND;

    // Each run starts with a flag that the reading of spans never looks at, and ends with a mark.
    arcs_.resize(place[nstates] + 1);
    for (carc& arc : arcs_)
        arc = carc{COLORLESS, 0};
    states_.resize(nstates);
    for (std::size_t i = 0; i < nstates; ++i) {
        states_[i] = &arcs_[place[i]];
        *states_[i] = carc{0, 0};
        ++place[i];
    }
    eacharc([&](int from, const carc& arc) {
        arcs_[place[static_cast<std::size_t>(arc.to)]++] = carc{arc.co, from};
    });

    reversed_.nstates = automaton.nstates;
    reversed_.ncolors = automaton.ncolors;
    reversed_.flags = automaton.flags;
    reversed_.pre = automaton.post;
    reversed_.post = automaton.pre;
    for (int i = 0; i < 2; ++i) {
        reversed_.bos[i] = automaton.bos[i];
        reversed_.eos[i] = automaton.eos[i];
    }
    reversed_.minlen = automaton.minlen;
    reversed_.maxlen = automaton.maxlen;
    reversed_.states = states_.data();
    reversed_.arcs = arcs_.data();
}

template <class Chr>
TScanner<Chr>& TNodes<Chr>::forward(const subre& node) {
    entry& e = of(node);
    if (!e.forward)
        e.forward = std::make_unique<TScanner<Chr>>(node.cnfa, env_);
    return *e.forward;
}

template <class Chr>
TScanner<Chr>& TNodes<Chr>::backward(const subre& node) {
    entry& e = of(node);
    if (!e.backward) {
        e.reversed = std::make_unique<CReversed>(node.cnfa);
        e.backward = std::make_unique<TScanner<Chr>>(e.reversed->automaton(), env_);
    }
    return *e.backward;
}

template <class Chr>
void TNodes<Chr>::newtext() {
    for (entry& e : nodes_)
        if (e.forward)
            e.forward->newtext();
}

template <class Chr>
bool TLookaheads<Chr>::holds(int number, std::size_t position) {
    const auto n = static_cast<std::size_t>(number);
    const Chr* const place = env_.start + position;
    // Counted from the stop, a place means the same to all searches of a text, but for the start:
    // there the text's edge stands in for the character before it.
    const auto rest = static_cast<std::uint64_t>(env_.stop - place);
    const std::uint64_t key = position == 0 ? 0 : rest * scanners_.size() + n;
    answer& slot = answers_[key % ANSWERS];
    if (key != 0 && slot.key == key)
        return slot.holds;
    if (!scanners_[n]) {
        scanners_[n] = std::make_unique<TScanner<Chr>>(lacons_[n].cnfa, env_);
        scanners_[n]->sharescans(true);
    }
    const bool matches = scanners_[n]->shortest(place, place, env_.stop) != nullptr;
    const bool result = matches == (lacons_[n].subno != 0);
    if (key != 0)
        slot = {key, result};
    return result;
}

template <class Chr>
void TLookaheads<Chr>::newtext() {
    answers_.fill({});
    for (auto& scanner : scanners_)
        if (scanner)
            scanner->newtext();
}

template class TNodes<char>;
template class TNodes<wchar_t>;
template class TNodes<unsigned char>;
template class TLookaheads<char>;
template class TLookaheads<wchar_t>;
template class TLookaheads<unsigned char>;

} // namespace Quil::IMPL::engine

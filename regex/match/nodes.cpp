// Making scanners on demand, turning automata round, and answering lookaheads.
#include "regex/match/nodes.h"

namespace Quil::IMPL::engine {

CReversed::CReversed(const cnfa& automaton, reads what) : __reversed() {
    constexpr std::size_t AROUND = 2; // the flag before a state's arcs and the mark behind them
    const auto nstates = static_cast<std::size_t>(automaton.nstates);
    std::vector<std::size_t> place(nstates + 1, 0);
    const auto eacharc = [&](auto&& visit) {
        for (int from = 0; from < automaton.nstates; ++from) {
            for (const carc& arc : automaton.arcsof(from)) {
                if (what == reads::MATCHES || arc.to != automaton.post) {
                    visit(from, arc);
                }
            }
            // A beginning may end in any state, before any character.
            for (int co = 0; what == reads::BEGINNINGS && co < automaton.ncolors; ++co) {
                if (from != automaton.pre && from != automaton.post) {
                    visit(from, carc{co, automaton.post});
                }
            }
        }
    };
    eacharc([&](int, const carc& arc) { ++place[static_cast<std::size_t>(arc.to) + 1]; });
    for (std::size_t i = 0; i < nstates; ++i) {
        place[i + 1] += place[i] + AROUND;
    }

    // Each run starts with a flag that the reading of spans never looks at, and ends with a mark.
    __arcs.resize(place[nstates] + 1);
    for (carc& arc : __arcs) {
        arc = carc{COLORLESS, 0};
    }
    __states.resize(nstates);
    for (std::size_t i = 0; i < nstates; ++i) {
        __states[i] = &__arcs[place[i]];
        *__states[i] = carc{0, 0};
        ++place[i];
    }
    eacharc([&](int from, const carc& arc) {
        __arcs[place[static_cast<std::size_t>(arc.to)]++] = carc{arc.co, from};
    });

    __reversed.nstates = automaton.nstates;
    __reversed.ncolors = automaton.ncolors;
    __reversed.flags = automaton.flags;
    __reversed.pre = automaton.post;
    __reversed.post = automaton.pre;
    for (int i = 0; i < 2; ++i) {
        __reversed.bos[i] = automaton.bos[i];
        __reversed.eos[i] = automaton.eos[i];
    }
    __reversed.minlen = automaton.minlen;
    __reversed.maxlen = automaton.maxlen;
    __reversed.states = __states.data();
    __reversed.arcs = __arcs.data();
}

template <class Chr>
TScanner<Chr>& TNodes<Chr>::forward(const subre& node) {
    entry& e = of(node);
    if (!e.forward) {
        e.forward = std::make_unique<TScanner<Chr>>(node.cnfa, __env);
    }
    return *e.forward;
}

template <class Chr>
TScanner<Chr>& TNodes<Chr>::backward(const subre& node) {
    entry& e = of(node);
    if (!e.backward) {
        e.reversed = std::make_unique<CReversed>(node.cnfa);
        e.backward = std::make_unique<TScanner<Chr>>(e.reversed->automaton(), __env);
    }
    return *e.backward;
}

template <class Chr>
void TNodes<Chr>::newtext() {
    for (entry& e : __nodes) {
        if (e.forward) {
            e.forward->newtext();
        }
    }
}

template <class Chr>
bool TLookaheads<Chr>::holds(int number, std::size_t position) {
    const auto n = static_cast<std::size_t>(number);
    const Chr* const place = __env.start + position;
    // Counted from the stop, a place means the same to all searches of a text, but for the start:
    // there the text's edge stands in for the character before it.
    const auto rest = static_cast<std::uint64_t>(__env.stop - place);
    const std::uint64_t key = position == 0 ? 0 : rest * __scanners.size() + n;
    answer& slot = __answers[key % ANSWERS];
    if (key != 0 && slot.key == key) {
        return slot.holds;
    }
    if (!__scanners[n]) {
        __scanners[n] = std::make_unique<TScanner<Chr>>(__lacons[n].cnfa, __env);
        __scanners[n]->sharescans(true);
    }
    const bool matches = __scanners[n]->shortest(place, place, __env.stop) != nullptr;
    const bool result = matches == (__lacons[n].subno != 0);
    if (key != 0) {
        slot = {key, result};
    }
    return result;
}

template <class Chr>
void TLookaheads<Chr>::newtext() {
    __answers.fill({});
    for (auto& scanner : __scanners) {
        if (scanner) {
            scanner->newtext();
        }
    }
}

template class TNodes<char>;
template class TNodes<wchar_t>;
template class TNodes<unsigned char>;
template class TLookaheads<char>;
template class TLookaheads<wchar_t>;
template class TLookaheads<unsigned char>;

} // namespace Quil::IMPL::engine

// Recognising a chain in an automaton, and running along a text with it.
#include "regex/filter/literal.h"

namespace Quil::IMPL::engine {

namespace {

/// Whether there are `colors` arcs, all to the same state.
bool takesall(carcs arcs, int to, std::size_t colors) {
    std::size_t count = 0;
    for (const carc& arc : arcs) {
        if (arc.to != to) {
            return false;
        }
        ++count;
    }
    return count == colors;
}

} // namespace

CLiteral::CLiteral(const cnfa& automaton) {
    if (automaton.minlen != automaton.maxlen || automaton.minlen < LONG ||
        (automaton.flags & HASLACONS)) {
        return;
    }
    if (follow(automaton)) {
        prepare();
    } else {
        __chain.clear();
    }
}

/// From the state behind pre, one arc after the other, to the frame around post.
bool CLiteral::follow(const cnfa& automaton) {
    // A frame takes every color of the text and its own two of the edges' four. With fewer arcs, a
    // constraint on the character beside the match was driven there.
    constexpr std::size_t OTHEREDGES = 2;
    const std::size_t frame = static_cast<std::size_t>(automaton.ncolors) - OTHEREDGES;
    const carcs pre = automaton.arcsof(automaton.pre);
    int state = pre.begin()->to;
    if (!takesall(pre, state, frame)) {
        return false;
    }
    for (int i = 0; i < automaton.minlen; ++i) {
        const carcs arcs = automaton.arcsof(state);
        const carc* const only = arcs.begin();
        if (only == arcs.end() || only + 1 != arcs.end()) {
            return false;
        }
        __chain.push_back(only->co);
        state = only->to;
    }
    return takesall(automaton.arcsof(state), automaton.post, frame);
}

void CLiteral::prepare() {
    __rest.assign(__chain.size() + 1, 0);
    for (std::size_t i = 1, k = 0; i < __chain.size(); ++i) {
        while (k > 0 && __chain[i] != __chain[k]) {
            k = __rest[k];
        }
        k += __chain[i] == __chain[k] ? 1 : 0;
        __rest[i + 1] = static_cast<std::uint32_t>(k);
    }
}

template <class Chr>
const Chr* CLiteral::find(const Chr* start, const Chr* stop, const color* colors,
                          std::uint64_t& looked) const {
    std::size_t k = 0;
    const Chr* cp = start;
    while (cp != stop && k < __chain.size()) {
        const int co = GETCOLOR(colors, *cp++);
        while (k > 0 && co != __chain[k]) {
            k = __rest[k];
        }
        k += co == __chain[k] ? 1 : 0;
    }
    looked += static_cast<std::uint64_t>(cp - start);
    return k == __chain.size() ? cp : nullptr;
}

template const char* CLiteral::find(const char*, const char*, const color*, std::uint64_t&) const;
template const unsigned char* CLiteral::find(const unsigned char*, const unsigned char*,
                                             const color*, std::uint64_t&) const;
template const wchar_t* CLiteral::find(const wchar_t*, const wchar_t*, const color*,
                                       std::uint64_t&) const;

} // namespace Quil::IMPL::engine

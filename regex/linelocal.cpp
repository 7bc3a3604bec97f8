// The whole expression's automaton tells: its frame takes the character before a match and the one
// behind it, and all other arcs those of the match.
#include "regex/linelocal.h"

#include "regex/compile/chrtraits.h"
#include "regex/compile/regguts.h"

#include <set>

namespace Quil {

using namespace IMPL::engine;

namespace {

/// Where the frame leads from behind a character of this color.
std::set<int> behind(const cnfa& automaton, int co) {
    std::set<int> states;
    for (const carc& arc : automaton.arcsof(automaton.pre)) {
        if (arc.co == co) {
            states.insert(arc.to);
        }
    }
    return states;
}

/// Whether a match can hold a character of this color.
bool takes(const cnfa& automaton, int co) {
    for (int state = 0; state < automaton.nstates; ++state) {
        if (state == automaton.pre) {
            continue;
        }
        for (const carc& arc : automaton.arcsof(state)) {
            if (arc.co == co && arc.to != automaton.post) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool islinelocal(const regex_t* re, bool begins) {
    using wide = chrtraits<wchar_t>;
    if (re == nullptr || re->re_magic != REMAGIC || re->re_csize != wide::CSIZE) {
        return false;
    }
    const auto& g = *static_cast<const guts<wchar_t>*>(re->re_guts);
    const cnfa& automaton = g.tree->cnfa;
    // A lookahead sees beyond the line.
    if (automaton.empty() || (automaton.flags & HASLACONS) || g.nlacons > 1 ||
        automaton.minlen < 1) {
        return false;
    }
    const int linefeed = g.cmap.table[wide::index(L'\n')];
    const std::set<int> first = behind(automaton, linefeed);
    return !takes(automaton, linefeed) && first == behind(automaton, automaton.bos[1]) &&
           (begins || first == behind(automaton, automaton.bos[0]));
}

} // namespace Quil

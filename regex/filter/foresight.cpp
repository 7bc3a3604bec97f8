// Beginnings are found by following the automaton for a few characters, all colors that lead to the
// same states together. What every match must pass is a state without which the automaton falls in
// two; the arcs that lead to such a state are a place of the chain, which goes on to the front
// while it is one way that leads there, and to the back by the characters that may follow.
#include "regex/filter/foresight.h"

#include <algorithm>
#include <map>

namespace Quil::IMPL::engine {

namespace {

constexpr std::size_t MOSTBEGINNINGS = 64;
constexpr std::size_t MOSTARCS = 100'000; // looked at for the beginnings
constexpr long MOSTCELLS = 1'000'000;     // states times colors, where a chain is sought
constexpr std::size_t MOSTFOLLOWED = 64;  // states at a time behind a narrow one

colorset textcolors(const cnfa& automaton) {
    colorset all(static_cast<std::size_t>(automaton.ncolors));
    for (std::size_t co = 0; co < all.size(); ++co) {
        all[co] = !automaton.isedge(static_cast<int>(co));
    }
    return all;
}

/// Follows the automaton from its pre state for some characters.
class CFollower {
public:
    explicit CFollower(const cnfa& automaton)
        : __automaton(automaton), __any(textcolors(automaton)) {}

    /// False if there are too many.
    bool follow(std::size_t places) {
        __words.clear();
        __word.clear();
        __arcs = 0;
        return expand({__automaton.pre}, places + 1);
    }
    /// Without the places at the ends that tell nothing, and those beyond `most`.
    beginnings take(std::size_t most) {
        beginnings found;
        std::size_t first = MATCH, last = 0;
        bool told = false;
        for (const auto& w : __words) {
            for (std::size_t place = 0; place < w.size(); ++place) {
                if (!holdsall(w[place])) {
                    told = true;
                    first = std::min(first, place);
                    last = std::max(last, place);
                }
            }
        }
        if (!told) {
            return found;
        }
        last = std::min(last, first + most - 1);
        for (const auto& w : __words) {
            found.words.emplace_back(w.begin() + static_cast<std::ptrdiff_t>(first),
                                     w.begin() + static_cast<std::ptrdiff_t>(last) + 1);
        }
        found.places = last + 1 - first;
        found.behind = MATCH - first;
        return found;
    }

private:
    using states = std::vector<int>;        // in order
    static constexpr std::size_t MATCH = 1; // place of a match's first character

    bool holdsall(const colorset& set) const {
        for (std::size_t co = 0; co < __any.size(); ++co) {
            if (__any[co] && !set[co]) {
                return false;
            }
        }
        return true;
    }
    /// Adds what lies behind lookaheads, which may hold.
    void passlookaheads(states& set) const {
        for (std::size_t i = 0; i < set.size(); ++i) {
            for (const carc& arc : __automaton.arcsof(set[i])) {
                if (__automaton.islookahead(arc) &&
                    std::find(set.begin(), set.end(), arc.to) == set.end()) {
                    set.push_back(arc.to);
                }
            }
        }
    }
    /// The sets of states reached, each with the colors that lead there.
    std::map<states, colorset> reached(states from) {
        passlookaheads(from);
        std::map<int, states> bycolor;
        for (const int state : from) {
            for (const carc& arc : __automaton.arcsof(state)) {
                ++__arcs;
                if (!__automaton.islookahead(arc)) {
                    bycolor[arc.co].push_back(arc.to);
                }
            }
        }
        std::map<states, colorset> bystates;
        for (auto& [co, to] : bycolor) {
            std::sort(to.begin(), to.end());
            to.erase(std::unique(to.begin(), to.end()), to.end());
            if (bystates.size() > MOSTBEGINNINGS) {
                __arcs = MOSTARCS + 1;
                break;
            }
            colorset& set = bystates[to];
            set.resize(__any.size());
            set[static_cast<std::size_t>(co)] = 1;
        }
        return bystates;
    }
    bool expand(const states& from, std::size_t places) {
        if (places == 0 || std::find(from.begin(), from.end(), __automaton.post) != from.end()) {
            __words.push_back(__word);
            __words.back().resize(__word.size() + places, __any);
            return __words.size() <= MOSTBEGINNINGS;
        }
        const auto next = reached(from);
        bool fits = __arcs <= MOSTARCS;
        for (auto i = next.begin(); i != next.end() && fits; ++i) {
            __word.push_back(i->second);
            fits = expand(i->first, places - 1);
            __word.pop_back();
        }
        return fits;
    }

    const cnfa& __automaton;
    const colorset __any;
    std::vector<std::vector<colorset>> __words;
    std::vector<colorset> __word; // on the way
    std::size_t __arcs = 0;
};

/// The automaton as a graph, for the search of what all its ways pass.
class CPassage {
public:
    explicit CPassage(const cnfa& automaton)
        : __automaton(automaton), __count(static_cast<std::size_t>(automaton.nstates)),
          __sources(__count), __loops(__count), __parents(__count, NONE) {
        for (int s = 0; s < automaton.nstates; ++s) {
            for (const carc& arc : automaton.arcsof(s)) {
                if (arc.to == s) {
                    __loops[at(s)] = 1;
                } else if (__sources[at(arc.to)].empty() || __sources[at(arc.to)].back() != s) {
                    __sources[at(arc.to)].push_back(s);
                }
            }
        }
        for (auto& from : __sources) {
            std::sort(from.begin(), from.end());
            from.erase(std::unique(from.begin(), from.end()), from.end());
        }
    }

    /// The states that every way from pre to post passes, in order, without these two.
    std::vector<int> narrows() {
        const std::vector<int> way = shortestway();
        std::vector<std::size_t> places(__count, 0); // on the way, plus one
        for (std::size_t i = 0; i < way.size(); ++i) {
            places[at(way[i])] = i + 1;
        }
        std::vector<unsigned char> seen(__count);
        std::vector<int> pending;
        std::vector<int> found;
        // `far`: how far along the way one comes from its part before `i` without entering there.
        std::size_t far = 0;
        for (std::size_t i = 0; i + 1 < way.size(); ++i) {
            if (i > 0 && far <= i) {
                found.push_back(way[i]);
            }
            pending.push_back(way[i]);
            while (!pending.empty()) {
                const int s = pending.back();
                pending.pop_back();
                for (const carc& arc : __automaton.arcsof(s)) {
                    if (const std::size_t place = places[at(arc.to)]) {
                        far = std::max(far, place - 1);
                    } else if (!std::exchange(seen[at(arc.to)], 1)) {
                        pending.push_back(arc.to);
                    }
                }
            }
        }
        return found;
    }

    /// The states, besides itself, from which arcs lead to `s`, if pre is none of them and nothing
    /// but characters leads there; else none. Gives the colors.
    std::vector<int> sources(int s, colorset& colors) const {
        colors.assign(static_cast<std::size_t>(__automaton.ncolors), 0);
        for (const int from : __sources[at(s)]) {
            if (from == __automaton.pre) {
                return {};
            }
            for (const carc& arc : __automaton.arcsof(from)) {
                if (arc.to == s && __automaton.islookahead(arc)) {
                    return {};
                }
                if (arc.to == s) {
                    colors[at(arc.co)] = 1;
                }
            }
        }
        return __sources[at(s)];
    }
    /// The sets of the characters that follow the first arrival at `s`, up to `most`, as far as
    /// matches don't end there.
    std::vector<colorset> after(int s, std::size_t most) const {
        std::vector<colorset> sets;
        std::vector<int> states{s};
        while (sets.size() < most) {
            colorset colors(static_cast<std::size_t>(__automaton.ncolors));
            std::vector<int> next;
            const auto add = [](std::vector<int>& to, int state) {
                if (std::find(to.begin(), to.end(), state) == to.end()) {
                    to.push_back(state);
                }
            };
            for (std::size_t i = 0; i < states.size(); ++i) {
                for (const carc& arc : __automaton.arcsof(states[i])) {
                    add(__automaton.islookahead(arc) ? states : next, arc.to);
                    if (!__automaton.islookahead(arc)) {
                        colors[at(arc.co)] = 1;
                    }
                }
            }
            if (next.size() > MOSTFOLLOWED ||
                std::find(next.begin(), next.end(), __automaton.post) != next.end()) {
                break;
            }
            sets.push_back(colors);
            states = std::move(next);
        }
        return sets;
    }
    bool loops(int s) const { return __loops[at(s)] != 0; }

    /// The colors on the ways from the begin of a match to one of `states`; to post: those of a
    /// whole match.
    colorset colorsbefore(const std::vector<int>& states) const {
        colorset colors(static_cast<std::size_t>(__automaton.ncolors));
        std::vector<unsigned char> leads(__count);
        std::vector<int> pending(states);
        for (const int s : states) {
            leads[at(s)] = 1;
        }
        while (!pending.empty()) {
            const int to = pending.back();
            pending.pop_back();
            for (const int from : __sources[at(to)]) {
                if (!std::exchange(leads[at(from)], 1)) {
                    pending.push_back(from);
                }
            }
        }
        for (int from = 0; from < __automaton.nstates; ++from) {
            if (from != __automaton.pre) {
                for (const carc& arc : __automaton.arcsof(from)) {
                    if (leads[at(arc.to)] && arc.to != __automaton.post &&
                        !__automaton.islookahead(arc)) {
                        colors[at(arc.co)] = 1;
                    }
                }
            }
        }
        return colors;
    }

private:
    static constexpr int NONE = -1;

    static std::size_t at(int i) { return static_cast<std::size_t>(i); }

    std::vector<int> shortestway() {
        std::vector<int> reached{__automaton.pre};
        __parents[at(__automaton.pre)] = __automaton.pre;
        for (std::size_t i = 0; i < reached.size(); ++i) {
            for (const carc& arc : __automaton.arcsof(reached[i])) {
                if (__parents[at(arc.to)] == NONE) {
                    __parents[at(arc.to)] = reached[i];
                    reached.push_back(arc.to);
                }
            }
        }
        std::vector<int> way;
        if (__parents[at(__automaton.post)] == NONE) {
            return way;
        }
        for (int s = __automaton.post; s != __automaton.pre; s = __parents[at(s)]) {
            way.push_back(s);
        }
        way.push_back(__automaton.pre);
        std::reverse(way.begin(), way.end());
        return way;
    }

    const cnfa& __automaton;
    const std::size_t __count;
    std::vector<std::vector<int>> __sources; // by state, where arcs come from, itself left out
    std::vector<unsigned char> __loops;      // by state, whether an arc leads back to it
    std::vector<int> __parents;              // on the shortest ways from pre
};

} // namespace

beginnings findbeginnings(const cnfa& automaton, std::size_t most) {
    if (automaton.minlen <= 0) {
        return {};
    }
    CFollower follower(automaton);
    for (std::size_t places = most; places > 0; --places) {
        if (follower.follow(places)) {
            return follower.take(most);
        }
    }
    return {};
}

int leadinglookahead(const cnfa& automaton) {
    int number = 0;
    bool all = true;
    for (const carc& enter : automaton.arcsof(automaton.pre)) {
        for (const carc& arc : automaton.arcsof(enter.to)) {
            const int asked = std::max(arc.co - automaton.ncolors, 0);
            all = all && asked > 0 && (number == 0 || asked == number);
            number = asked;
        }
    }
    return all ? number : 0;
}

necessity findnecessity(const cnfa& automaton, std::size_t most, const colorweight& weight) {
    necessity best;
    if (automaton.minlen <= 0 || long{automaton.nstates} * automaton.ncolors > MOSTCELLS) {
        return best;
    }
    CPassage passage(automaton);
    double least = 1;
    std::vector<int> first;
    for (const int narrow : passage.narrows()) {
        const std::vector<colorset> after = passage.after(narrow, most);
        std::vector<colorset> chain; // up to `narrow`
        std::vector<int> from{narrow};
        for (double before = 1; !from.empty();) {
            double product = before;
            for (std::size_t i = 0; i <= after.size() && chain.size() + i <= most; ++i) {
                product *= i > 0 ? weight(after[i - 1]) : 1;
                if (product >= least) {
                    continue;
                }
                least = product;
                best.chain = chain;
                best.chain.insert(best.chain.end(), after.begin(),
                                  after.begin() + static_cast<std::ptrdiff_t>(i));
                first = from;
            }
            colorset colors;
            if (chain.size() == most || from.size() > 1 ||
                (from[0] != narrow && passage.loops(from[0]))) {
                break;
            }
            if (from = passage.sources(from[0], colors); !from.empty()) {
                before *= weight(colors);
                chain.insert(chain.begin(), colors);
            }
        }
    }
    if (!best.chain.empty()) {
        best.before = passage.colorsbefore(first);
        best.inside = passage.colorsbefore({automaton.post});
    }
    return best;
}

} // namespace Quil::IMPL::engine

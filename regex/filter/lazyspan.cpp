// Tries from place to place, and the leaps inside a match.
#include "regex/filter/lazyspan.h"

#include "regex/filter/lanes.h"

#include <algorithm>

namespace Quil::IMPL::engine {

template <class Chr>
TLazySpan<Chr>::TLazySpan(const cnfa& automaton, scanenv<Chr>& env)
    : __env(env), __dfa(automaton, env.limits),
      __usable(automaton.minlen > 0 && automaton.maxlen == UNBOUNDED &&
               !(automaton.flags & HASLACONS)) {}

/// Finds out what a match can begin with. False: it depends on what stands before it, or the cache
/// is too small.
template <class Chr>
bool TLazySpan<Chr>::prepare() {
    __used.assign(static_cast<std::size_t>(__dfa.automaton().ncolors), 0);
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS; ++i) {
        __used[static_cast<std::size_t>(__env.colors[i])] = 1;
    }
    for (std::size_t co = 0; co < __used.size(); ++co) {
        if (!__used[co]) {
            continue;
        }
        const transition entered = step(__dfa.start(), static_cast<int>(co));
        if (entered == CDfa::DEAD || flushed() || (__entered != NOWAIT && entered != __entered)) {
            return false;
        }
        __entered = entered;
    }
    colorset first = leaving(__entered, CDfa::DEAD);
    if (const std::vector<Chr> few = characters(first); few.size() == 1 && !flushed()) {
        __beginpair = pair(__entered, CDfa::DEAD, few);
    }
    __beginnings.set(__env.colors, std::move(first));
    __ready = !flushed();
    return __ready;
}

/// The next place at or behind `from`, which isn't the text's begin, where a match may begin.
template <class Chr>
const Chr* TLazySpan<Chr>::nextbegin(const Chr* from) const {
    if (!__beginpair) {
        return __beginnings.find(from, __env.stop);
    }
    // Two characters may be as frequent as "th", where more of the beginning tells more.
    return __begins ? __begins->find(from, __env.stop, __env.stop)
                    : __beginnings.find(leappair(*__beginpair, from), __env.stop);
}

template <class Chr>
auto TLazySpan<Chr>::find(const Chr*& begin, const Chr*& end) -> outcome {
    constexpr std::uint64_t SLACK = 4096;
    constexpr std::uint64_t LEAPS = 8; // characters leapt over for the cost of a look at one
    begin = __env.start;
    if (__off || (!__ready && !(__usable = prepare()))) {
        return outcome::UNKNOWN;
    }
    for (const Chr* p = __env.start;; ++p) {
        if (p != __env.start) { // there the text's edge stands before the match
            p = nextbegin(p);
        }
        const auto passed = static_cast<std::uint64_t>(p - begin);
        __env.looked += passed;
        __advanced += passed;
        begin = p;
        if (p == __env.stop) {
            return outcome::NONE;
        }
        const Chr* reached = p;
        const outcome result = attempt(p, end, reached);
        const auto looked = static_cast<std::uint64_t>(reached - p);
        __env.looked += looked;
        if (result == outcome::FOUND) {
            __advanced += looked;
            return result;
        }
        const auto leapt = static_cast<std::uint64_t>(__leapt);
        __wasted += looked - leapt + leapt / LEAPS;
        const bool dear = __wasted > SLACK + 2 * __advanced;
        __patience -= dear ? 1 : 0;
        __usable = !flushed() && __patience > 0;
        __off = result == outcome::UNKNOWN || dear;
        if (__off) {
            return outcome::UNKNOWN;
        }
    }
}

/// Tries a match that begins at `begin`. NONE: there is no such match. `reached` tells how far the
/// text was looked at.
template <class Chr>
auto TLazySpan<Chr>::attempt(const Chr* begin, const Chr*& end, const Chr*& reached) -> outcome {
    constexpr std::ptrdiff_t STRETCH = 32; // characters between two looks at the state
    const cnfa& a = __dfa.automaton();
    const color* const colors = __env.colors;
    const Chr* p = begin;
    __leapt = 0;
    transition state = begin == __env.start ? step(__dfa.start(), __env.before(a)) : __entered;
    if (state == CDfa::DEAD) {
        return outcome::NONE;
    }
    while (p != __env.stop) {
        const Chr* const limit = __env.stop - p > STRETCH ? p + STRETCH : __env.stop;
        while (p != limit) {
            const int co = GETCOLOR(colors, *p);
            transition next = __dfa.table()[(state & CDfa::ROW) + static_cast<transition>(co)];
            if (next & CDfa::STOP) {
                next = step(state, co);
                if (next == CDfa::DEAD || flushed()) {
                    reached = p;
                    return next == CDfa::DEAD ? outcome::NONE : outcome::UNKNOWN;
                }
            }
            ++p;
            state = next;
            if (state & (CDfa::POST | CDfa::SKIP)) {
                break;
            }
        }
        reached = p;
        if (state & CDfa::POST) {
            end = p - 1;
            return outcome::FOUND;
        }
        if (state & CDfa::SKIP) {
            p = leap(state, p);
            __leapt += p - reached;
        } else if (p == limit) {
            consider(state);
        }
        if (flushed()) {
            return outcome::UNKNOWN;
        }
    }
    reached = p;
    state = step(state, a.eos[(__env.eflags & REG_NOTEOL) ? 0 : 1]);
    end = p;
    return state != CDfa::DEAD && (state & CDfa::POST) ? outcome::FOUND : outcome::UNKNOWN;
}

/// The colors that lead from `from` to another state than `home`.
template <class Chr>
colorset TLazySpan<Chr>::leaving(transition from, transition home) {
    colorset away(__used.size());
    for (std::size_t co = 0; co < __used.size() && !flushed(); ++co) {
        if (__used[co]) {
            away[co] = (step(from, static_cast<int>(co)) & CDfa::ROW) != (home & CDfa::ROW);
        }
    }
    return away;
}

/// The characters of some colors, up to one more than can be found by vectors.
template <class Chr>
std::vector<Chr> TLazySpan<Chr>::characters(const colorset& colors) const {
    std::vector<Chr> found;
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS && found.size() <= FEW; ++i) {
        if (holds(colors, __env.colors[i])) {
            found.push_back(static_cast<Chr>(i));
        }
    }
    return found;
}

/// Looks whether the automaton waits in this state; if so, it leaps there from now on.
template <class Chr>
void TLazySpan<Chr>::consider(transition state) {
    if (__nwaits == MOSTWAITS || __considerings == 0) {
        return;
    }
    --__considerings;
    colorset away = leaving(state, state);
    const std::vector<Chr> few = characters(away);
    if (few.size() > FEW || flushed()) {
        return;
    }
    wait& w = __waits[__nwaits];
    w.row = state & CDfa::ROW;
    w.pair = pair(state, state, few);
    if (flushed()) {
        return;
    }
    w.leaving.set(__env.colors, std::move(away));
    ++__nwaits;
    __dfa.markskip(state);
}

/// The characters that, behind `first`, lead from `from` to another state than `home`. None if the
/// others don't lead there.
template <class Chr>
std::vector<Chr> TLazySpan<Chr>::behind(transition from, transition home, Chr first) {
    const transition middle = step(from, GETCOLOR(__env.colors, first));
    if (middle == CDfa::DEAD || (middle & CDfa::POST)) {
        return {};
    }
    std::vector<Chr> few = characters(leaving(middle, home));
    return few.size() > FEW ? std::vector<Chr>() : few;
}

/// Given the few characters that lead from `from` to another state than `home`: one of them which
/// does so for good only with few others behind it.
template <class Chr>
auto TLazySpan<Chr>::pair(transition from, transition home, const std::vector<Chr>& away)
    -> std::optional<pairing> {
    for (const Chr first : away) {
        const std::vector<Chr> few = behind(from, home, first);
        // What leads away must do so behind `first` as well. Else it could be taken for the
        // beginning of something where the automaton reads it as the end of something.
        const bool safe = from != home || std::all_of(away.begin(), away.end(), [&](Chr c) {
                              return std::find(few.begin(), few.end(), c) != few.end();
                          });
        if (few.empty() || !safe) {
            continue;
        }
        pairing found;
        found.first = first;
        for (std::size_t i = 0; i < FEW; ++i) {
            found.second[i] = few[std::min(i, few.size() - 1)];
        }
        for (const Chr other : away) {
            if (other != first) {
                found.others[found.nothers++] = other;
            }
        }
        return found;
    }
    return std::nullopt;
}

/// The next place at which a waiting state may be left.
template <class Chr>
const Chr* TLazySpan<Chr>::leap(transition state, const Chr* from) const {
    for (const wait& w : __waits) {
        if (w.row == (state & CDfa::ROW)) {
            return w.leaving.find(w.pair ? leappair(*w.pair, from) : from, __env.stop);
        }
    }
    return from;
}

/// Goes on to the neighbourhood of the next pair.
template <class Chr>
const Chr* TLazySpan<Chr>::leappair(const pairing& pair, const Chr* from) const {
    using vector = typename lanes<Chr>::vector;
    const auto first = lanes<Chr>::select(pair.first);
    const auto a = lanes<Chr>::select(pair.second[0]);
    const auto b = lanes<Chr>::select(pair.second[1]);
    const auto c = lanes<Chr>::select(pair.second[2]);
    for (; __env.stop - from > lanes<Chr>::COUNT; from += lanes<Chr>::COUNT) {
        const vector text = lanes<Chr>::load(from);
        const vector next = lanes<Chr>::load(from + 1);
        auto is = (text == first) & ((next == a) | (next == b) | (next == c));
        for (std::size_t i = 0; i < pair.nothers; ++i) {
            is |= text == lanes<Chr>::select(pair.others[i]);
        }
        if (AnyLane(is)) {
            return from + std::countr_zero(LaneBits(reinterpret_cast<vector>(is)));
        }
    }
    return from;
}

template class TLazySpan<char>;
template class TLazySpan<wchar_t>;
template class TLazySpan<unsigned char>;

} // namespace Quil::IMPL::engine

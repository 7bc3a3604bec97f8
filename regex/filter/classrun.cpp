// Recognising a run in an automaton, and finding runs by their characters' bits.
#include "regex/filter/classrun.h"

#include "regex/filter/lanes.h"

#include <algorithm>
#include <bit>

namespace Quil::IMPL::engine {

namespace {

/// Follows an automaton color by color, by sets of its states.
class CFollower {
public:
    static constexpr int MOSTSTATES = 64;
    using set = std::uint64_t;

    explicit CFollower(const cnfa& a)
        : __a(a), __next(static_cast<std::size_t>(a.ncolors)), __now(bit(a.pre)) {}

    /// Takes the step that all colors of `which` lead to; false if they lead to different sets.
    bool step(const colorset& which) {
        const set reached = __next[first(which)];
        for (std::size_t co = 0; co < __next.size(); ++co) {
            if (which[co] && __next[co] != reached) {
                return false;
            }
        }
        __now = reached;
        return true;
    }
    /// Finds out where each color leads from here.
    void look() {
        std::fill(__next.begin(), __next.end(), 0);
        for (set rest = __now; rest != 0; rest &= rest - 1) {
            for (const carc& arc : __a.arcsof(std::countr_zero(rest))) {
                __next[static_cast<std::size_t>(arc.co)] |= bit(arc.to);
            }
        }
    }
    set now() const { return __now; }
    set next(std::size_t co) const { return __next[co]; }
    set post() const { return bit(__a.post); }

private:
    static set bit(int state) { return set{1} << state; }
    static std::size_t first(const colorset& which) {
        return static_cast<std::size_t>(std::find(which.begin(), which.end(), 1) - which.begin());
    }

    const cnfa& __a;
    std::vector<set> __next;
    set __now;
};

/// The colors that stand before a match, and those that stand behind it.
colorset frame(const cnfa& a, const color (&without)[2]) {
    colorset which(static_cast<std::size_t>(a.ncolors), 1);
    for (const color co : without) {
        which[static_cast<std::size_t>(co)] = 0;
    }
    return which;
}

/// If `a` is a run of one set: the colors of the set in `in`, and the run's least length. Else 0.
int runofset(const cnfa& a, colorset& in) {
    constexpr int LONGEST = 16; // run worth following
    if (a.flags & HASLACONS || a.maxlen != UNBOUNDED || a.minlen < 1 || a.minlen > LONGEST ||
        a.nstates > CFollower::MOSTSTATES) {
        return 0;
    }
    const colorset behind = frame(a, a.bos);
    CFollower follower(a);
    follower.look();
    if (!follower.step(frame(a, a.eos))) {
        return 0;
    }
    // After each character of the set the others either can't be there yet, or end the match.
    for (int length = 0;; ++length) {
        const auto before = follower.now();
        follower.look();
        const auto ended = length < a.minlen ? 0 : follower.post();
        if (length == 0) {
            in.assign(behind.size(), 0);
            for (std::size_t co = 0; co < in.size(); ++co) {
                in[co] = follower.next(co) != 0;
            }
            if (std::find(in.begin(), in.end(), 1) == in.end()) {
                return 0;
            }
            for (std::size_t co = 0; co < in.size(); ++co) {
                if (in[co] && a.isedge(static_cast<int>(co))) {
                    return 0;
                }
            }
        }
        for (std::size_t co = 0; co < in.size(); ++co) {
            if (!in[co] && behind[co] && follower.next(co) != ended) {
                return 0;
            }
        }
        if (!follower.step(in) || ((follower.now() & follower.post()) != 0) != (ended != 0)) {
            return 0;
        }
        if (follower.now() == before) {
            return length >= a.minlen ? a.minlen : 0;
        }
        if (length > a.minlen + 2) {
            return 0;
        }
    }
}

} // namespace

template <class Chr>
TClassRun<Chr>::TClassRun(const cnfa& automaton, const color* colors) : __colors(colors) {
    __least = runofset(automaton, __in);
}

/// Looks for the set's ranges.
template <class Chr>
void TClassRun<Chr>::prepare() {
    __ready = true;
    const auto in = [this](std::size_t i) { return holds(__in, __colors[i]); };
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS; ++i) {
        if (!in(i)) {
            continue;
        }
        if (__ranges == FEW) {
            __ranges = 0;
            return;
        }
        __first[__ranges] = static_cast<Chr>(i);
        while (i + 1 < chrtraits<Chr>::NCHRS && in(i + 1)) {
            ++i;
        }
        __last[__ranges++] = static_cast<Chr>(i);
    }
}

/// The bits of a whole block, by vectors.
template <class Chr>
std::uint64_t TClassRun<Chr>::compare(const Chr* place) const {
    using vector = typename lanes<Chr>::vector;
    std::uint64_t bits = 0;
    for (std::ptrdiff_t at = 0; at < BLOCK; at += lanes<Chr>::COUNT) {
        const vector text = lanes<Chr>::load(place + at);
        vector is{};
        for (std::size_t i = 0; i < __ranges; ++i) {
            is |= reinterpret_cast<vector>((text >= lanes<Chr>::select(__first[i])) &
                                           (text <= lanes<Chr>::select(__last[i])));
        }
        bits |= LaneBits(is) << at;
    }
    return bits;
}

/// Finds the bits of the characters from `place` on; those at and behind `stop` are 0.
template <class Chr>
void TClassRun<Chr>::look(const Chr* place, const Chr* stop) {
    __block = place;
    if (__ranges > 0 && stop - place >= BLOCK) {
        __bits = compare(place);
        return;
    }
    const std::ptrdiff_t length = std::min(stop - place, BLOCK);
    __bits = 0;
    for (std::ptrdiff_t i = 0; i < length; ++i) {
        __bits |= std::uint64_t{__in[static_cast<std::size_t>(GETCOLOR(__colors, place[i]))]} << i;
    }
}

/// The first place from `p` on whose bit differs from all those of `unlike`, or `stop`.
template <class Chr>
const Chr* TClassRun<Chr>::seek(const Chr* p, const Chr* stop, std::uint64_t unlike) {
    while (p != stop) {
        if (!__block || p < __block || p - __block >= BLOCK) {
            look(p, stop);
        }
        const std::uint64_t rest = (__bits ^ unlike) >> (p - __block);
        if (rest != 0) {
            return p + std::countr_zero(rest);
        }
        p = stop - __block > BLOCK ? __block + BLOCK : stop;
    }
    return stop;
}

template <class Chr>
const Chr* TClassRun<Chr>::find(const Chr* begin, const Chr* stop, const Chr*& end,
                                std::uint64_t& looked) {
    constexpr std::uint64_t OUTSIDE = 0, INSIDE = ~OUTSIDE;
    if (!__ready) {
        prepare();
    }
    const Chr* run = nullptr;
    end = begin;
    do {
        run = seek(end, stop, OUTSIDE);
        end = seek(run, stop, INSIDE);
    } while (end - run < __least && end != stop);
    looked += static_cast<std::uint64_t>(end - begin);
    return end - run < __least ? nullptr : run;
}

template class TClassRun<char>;
template class TClassRun<wchar_t>;
template class TClassRun<unsigned char>;

} // namespace Quil::IMPL::engine

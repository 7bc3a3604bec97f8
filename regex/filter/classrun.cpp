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
        : a_(a), next_(static_cast<std::size_t>(a.ncolors)), now_(bit(a.pre)) {}

    /// Takes the step that all colors of `which` lead to; false if they lead to different sets.
    bool step(const colorset& which) {
        const set reached = next_[first(which)];
        for (std::size_t co = 0; co < next_.size(); ++co)
            if (which[co] && next_[co] != reached)
                return false;
        now_ = reached;
        return true;
    }
    /// Finds out where each color leads from here.
    void look() {
        std::fill(next_.begin(), next_.end(), 0);
        for (set rest = now_; rest != 0; rest &= rest - 1)
            for (const carc& arc : a_.arcsof(std::countr_zero(rest)))
                next_[static_cast<std::size_t>(arc.co)] |= bit(arc.to);
    }
    set now() const { return now_; }
    set next(std::size_t co) const { return next_[co]; }
    set post() const { return bit(a_.post); }

private:
    static set bit(int state) { return set{1} << state; }
    static std::size_t first(const colorset& which) {
        return static_cast<std::size_t>(std::find(which.begin(), which.end(), 1) - which.begin());
    }

    const cnfa& a_;
    std::vector<set> next_;
    set now_;
};

/// The colors that stand before a match, and those that stand behind it.
colorset frame(const cnfa& a, const color (&without)[2]) {
    colorset which(static_cast<std::size_t>(a.ncolors), 1);
    for (const color co : without)
        which[static_cast<std::size_t>(co)] = 0;
    return which;
}

/// If `a` is a run of one set: the colors of the set in `in`, and the run's least length. Else 0.
int runofset(const cnfa& a, colorset& in) {
    constexpr int LONGEST = 16; // run worth following
    if (a.flags & HASLACONS || a.maxlen != UNBOUNDED || a.minlen < 1 || a.minlen > LONGEST ||
        a.nstates > CFollower::MOSTSTATES)
        return 0;
    const colorset behind = frame(a, a.bos);
    CFollower follower(a);
    follower.look();
    if (!follower.step(frame(a, a.eos)))
        return 0;
    // After each character of the set the others either can't be there yet, or end the match.
    for (int length = 0;; ++length) {
        const auto before = follower.now();
        follower.look();
        const auto ended = length < a.minlen ? 0 : follower.post();
        if (length == 0) {
            in.assign(behind.size(), 0);
            for (std::size_t co = 0; co < in.size(); ++co)
                in[co] = follower.next(co) != 0;
            if (std::find(in.begin(), in.end(), 1) == in.end())
                return 0;
            for (std::size_t co = 0; co < in.size(); ++co)
                if (in[co] && a.isedge(static_cast<int>(co)))
                    return 0;
        }
        for (std::size_t co = 0; co < in.size(); ++co)
            if (!in[co] && behind[co] && follower.next(co) != ended)
                return 0;
        if (!follower.step(in) || ((follower.now() & follower.post()) != 0) != (ended != 0))
            return 0;
        if (follower.now() == before)
            return length >= a.minlen ? a.minlen : 0;
        if (length > a.minlen + 2)
            return 0;
    }
}

} // namespace

template <class Chr>
TClassRun<Chr>::TClassRun(const cnfa& automaton, const color* colors) : colors_(colors) {
    least_ = runofset(automaton, in_);
}

/// Looks for the set's ranges.
template <class Chr>
void TClassRun<Chr>::prepare() {
    ready_ = true;
    const auto in = [this](std::size_t i) { return holds(in_, colors_[i]); };
    for (std::size_t i = 0; i < chrtraits<Chr>::NCHRS; ++i) {
        if (!in(i))
            continue;
        if (ranges_ == FEW) {
            ranges_ = 0;
            return;
        }
        first_[ranges_] = static_cast<Chr>(i);
        while (i + 1 < chrtraits<Chr>::NCHRS && in(i + 1))
            ++i;
        last_[ranges_++] = static_cast<Chr>(i);
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
        for (std::size_t i = 0; i < ranges_; ++i)
            is |= reinterpret_cast<vector>((text >= lanes<Chr>::select(first_[i])) &
                                           (text <= lanes<Chr>::select(last_[i])));
        bits |= LaneBits(is) << at;
    }
    return bits;
}

/// Finds the bits of the characters from `place` on; those at and behind `stop` are 0.
template <class Chr>
void TClassRun<Chr>::look(const Chr* place, const Chr* stop) {
    block_ = place;
    if (ranges_ > 0 && stop - place >= BLOCK) {
        bits_ = compare(place);
        return;
    }
    const std::ptrdiff_t length = std::min(stop - place, BLOCK);
    bits_ = 0;
    for (std::ptrdiff_t i = 0; i < length; ++i)
        bits_ |= std::uint64_t{in_[static_cast<std::size_t>(GETCOLOR(colors_, place[i]))]} << i;
}

/// The first place from `p` on whose bit differs from all those of `unlike`, or `stop`.
template <class Chr>
const Chr* TClassRun<Chr>::seek(const Chr* p, const Chr* stop, std::uint64_t unlike) {
    while (p != stop) {
        if (!block_ || p < block_ || p - block_ >= BLOCK)
            look(p, stop);
        const std::uint64_t rest = (bits_ ^ unlike) >> (p - block_);
        if (rest != 0)
            return p + std::countr_zero(rest);
        p = stop - block_ > BLOCK ? block_ + BLOCK : stop;
    }
    return stop;
}

template <class Chr>
const Chr* TClassRun<Chr>::find(const Chr* begin, const Chr* stop, const Chr*& end,
                                std::uint64_t& looked) {
    constexpr std::uint64_t OUTSIDE = 0, INSIDE = ~OUTSIDE;
    if (!ready_)
        prepare();
    const Chr* run = nullptr;
    end = begin;
    do {
        run = seek(end, stop, OUTSIDE);
        end = seek(run, stop, INSIDE);
    } while (end - run < least_ && end != stop);
    looked += static_cast<std::uint64_t>(end - begin);
    return end - run < least_ ? nullptr : run;
}

template class TClassRun<char>;
template class TClassRun<wchar_t>;
template class TClassRun<unsigned char>;

} // namespace Quil::IMPL::engine

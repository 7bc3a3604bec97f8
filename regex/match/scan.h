// Scans of a text by one automaton: the longest and the shortest match from a place, and every
// place where a match of a span can end or begin. The loop is that of the DFA; around it stand the
// two characters that a match looks at outside itself, the one before it and the one behind it,
// which the automaton reads like others. So an end is known one character late.
#pragma once

#include "regex/compile/regguts.h"
#include "regex/filter/fingerprint.h"
#include "regex/filter/skip.h"
#include "regex/match/dfa.h"
#include "regex/match/runmemo.h"

#include <cstddef>
#include <cstdint>

namespace Quil::IMPL::engine {

/// What all scans of one context share: the text of the call, and the means.
template <class Chr>
struct scanenv {
    const Chr* start = nullptr; ///< the text, as far as it is searched
    const Chr* stop = nullptr;
    bool isedge = true; ///< nothing stands before it
    int eflags = 0;
    const color* colors = nullptr;
    cachelimits limits;
    ILookahead* lookahead = nullptr;
    std::uint64_t looked = 0; ///< characters looked at so far, a statistic
    bool fastroads = true;    ///< false: every result comes by the plain scans

    /// What an automaton reads before the first character.
    int before(const cnfa& automaton) const {
        return isedge ? automaton.bos[(eflags & REG_NOTBOL) ? 0 : 1] : GETCOLOR(colors, start[-1]);
    }
};

/// A set of places of a span, one bit each.
class CPlaces {
public:
    CPlaces(std::uint64_t* words, std::size_t places) : __words(words), __places(places) {}
    static std::size_t wordsfor(std::size_t places) { return (places + BITS - 1) / BITS; }

    void add(std::size_t place) { __words[place / BITS] |= std::uint64_t{1} << (place % BITS); }
    void intersect(const CPlaces& other);
    /// The first place at or behind `from`, or the last at or before it; -1 if there is none.
    std::ptrdiff_t next(std::ptrdiff_t from) const;
    std::ptrdiff_t previous(std::ptrdiff_t from) const;

private:
    static constexpr std::size_t BITS = 64;
    std::uint64_t* __words; // borrowed
    std::size_t __places;
};

enum class scanway { FORWARD, BACKWARD };

/// Scans by one automaton. Borrows the automaton and the environment; owns the DFA's states, which
/// live on from scan to scan. Places are pointers into the environment's text.
template <class Chr>
class TScanner {
public:
    TScanner(const cnfa& automaton, scanenv<Chr>& env) : __env(env), __dfa(automaton, env.limits) {}

    /// Lets scans up to the text's stop share what they found. The owner must ask this scanner
    /// either for longest or for shortest matches only.
    /// `asks`: the caller wants to know whether there is a match and won't go on behind it, so all
    /// of a scan is looking ahead.
    void sharescans(bool asks) {
        __shares = true;
        __asks = asks;
    }
    /// Lets `shortest` leap over characters on which the automaton stays where it is; with a
    /// filter, to where that says a match may begin. The filter is borrowed.
    void allowskips() { __skips = true; }
    void leapby(const TFingerprint<Chr>* begin) { __begin = begin; }
    /// The text, or the meaning of its end, is another one than before.
    void newtext() { __memo.reset(); }

    /// The end of the longest match of [start, stop] that begins at `start`, or null. `*hitstop`
    /// tells whether the scan was alive at the text's stop: more text could have changed the
    /// result.
    const Chr* longest(const Chr* start, const Chr* stop, bool* hitstop = nullptr);
    /// The end of the shortest match that begins at `start` and ends in [min, max], or null.
    /// `*cold` is then the last place where a match had not begun; null with no match and no hope.
    const Chr* shortest(const Chr* start, const Chr* min, const Chr* max,
                        const Chr** cold = nullptr, bool* hitstop = nullptr);
    /// What a try for a match at one place came to; OPEN: it would go far, so better search.
    enum class outcome { NONE, FOUND, OPEN };
    /// Tries for a match that begins at `start` and isn't empty: the longest, or the shortest.
    outcome attempt(const Chr* start, bool shorter, const Chr*& end);
    /// Adds to `places` (counted from `start`) every end of a match that begins at `start` and lies
    /// in [start, stop].
    void ends(const Chr* start, const Chr* stop, CPlaces& places);
    /// For a scanner of the reversed automaton: every begin, counted from `start`, of a match that
    /// lies in [start, stop] and ends at `stop`.
    void begins(const Chr* start, const Chr* stop, CPlaces& places);

private:
    using transition = CDfa::transition;
    template <scanway Way>
    transition enter(const Chr* place);
    template <scanway Way>
    transition leave(transition at, const Chr* place);
    template <scanway Way, class Visit>
    void walk(const Chr*& cp, const Chr* limit, transition& at, Visit visit);
    template <scanway Way>
    void mark(const Chr* from, const Chr* to, const Chr* base, CPlaces& places);

    int bos() const { return __env.before(__dfa.automaton()); }
    int eos() const;
    std::size_t place(const Chr* cp) const { return static_cast<std::size_t>(cp - __env.start); }
    bool sharing(const Chr* stop) const { return __shares && __memo.on() && stop == __env.stop; }
    const Chr* checkpoint(const Chr* cp, const Chr* limit) const;
    bool meets(const Chr* cp, const Chr* limit, transition at, const Chr*& end);
    const Chr* leap(const Chr* cp, const Chr* limit, transition& at);
    const Chr* finish(const Chr* start, const Chr* cp, const Chr* end, const Chr* stop);
    bool findskip(transition first, std::size_t length);
    bool waits(transition state, int co);

    scanenv<Chr>& __env;
    CDfa __dfa;
    CRunMemo __memo;
    TSkip<Chr> __skip;
    const TFingerprint<Chr>* __begin = nullptr;
    static constexpr std::ptrdiff_t TRIALLEAPS = 256; // after which it is asked whether they pay
    static constexpr std::ptrdiff_t SHORTLEAP = 8;    // characters
    std::ptrdiff_t __leaps = 0;
    std::ptrdiff_t __leapt = 0;
    std::uint32_t __skipgeneration = ~std::uint32_t{0};
    int __skiptries = 4;
    bool __shares = false;
    bool __asks = false;
    bool __skips = false;
};

extern template class TScanner<char>;
extern template class TScanner<wchar_t>;
extern template class TScanner<unsigned char>;

} // namespace Quil::IMPL::engine

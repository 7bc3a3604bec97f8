// The scan loops, and what stands around them: the characters at the edges, and the meeting of
// scans.
#include "regex/match/scan.h"

#include <algorithm>
#include <bit>

namespace Quil::IMPL::engine {

void CPlaces::intersect(const CPlaces& other) {
    for (std::size_t i = 0; i < wordsfor(__places); ++i) {
        __words[i] &= other.__words[i];
    }
}

std::ptrdiff_t CPlaces::next(std::ptrdiff_t from) const {
    auto i = static_cast<std::size_t>(from);
    if (from < 0 || i >= __places) {
        return -1;
    }
    std::uint64_t word = __words[i / BITS] >> (i % BITS) << (i % BITS);
    for (i /= BITS; word == 0; word = __words[i]) {
        if (++i == wordsfor(__places)) {
            return -1;
        }
    }
    return static_cast<std::ptrdiff_t>(i * BITS) + std::countr_zero(word);
}

std::ptrdiff_t CPlaces::previous(std::ptrdiff_t from) const {
    if (from < 0) {
        return -1;
    }
    auto i = static_cast<std::size_t>(from);
    std::uint64_t word = __words[i / BITS] << (BITS - 1 - i % BITS) >> (BITS - 1 - i % BITS);
    for (i /= BITS; word == 0; word = __words[i]) {
        if (i-- == 0) {
            return -1;
        }
    }
    return static_cast<std::ptrdiff_t>(i * BITS + BITS - 1) - std::countl_zero(word);
}

template <class Chr>
int TScanner<Chr>::eos() const {
    return __dfa.automaton().eos[(__env.eflags & REG_NOTEOL) ? 0 : 1];
}

/// The state after the character that stands before the scan's first one, seen in its direction.
template <class Chr>
template <scanway Way>
CDfa::transition TScanner<Chr>::enter(const Chr* at) {
    int co;
    if constexpr (Way == scanway::FORWARD) {
        co = at == __env.start ? bos() : GETCOLOR(__env.colors, at[-1]);
    } else {
        co = at == __env.stop ? eos() : GETCOLOR(__env.colors, *at);
    }
    return __dfa.step(__dfa.start(), co, place(at), *__env.lookahead);
}

/// The state after the text's edge, for a scan that has arrived there.
template <class Chr>
template <scanway Way>
CDfa::transition TScanner<Chr>::leave(transition at, const Chr* edge) {
    return __dfa.step(at, Way == scanway::FORWARD ? eos() : bos(), place(edge), *__env.lookahead);
}

/// The loop: from `cp` towards `limit` until the state is DEAD or `visit(place, state)`, which is
/// called after each character, returns true.
template <class Chr>
template <scanway Way, class Visit>
void TScanner<Chr>::walk(const Chr*& cp, const Chr* limit, transition& at, Visit visit) {
    constexpr std::ptrdiff_t STEP = Way == scanway::FORWARD ? 1 : -1;
    const color* const colors = __env.colors;
    const auto ahead = [colors](const Chr* p) {
        return GETCOLOR(colors, Way == scanway::FORWARD ? *p : p[-1]);
    };
    const Chr* p = cp;
    transition state = at;
    bool stopped = false;
    while (!stopped && p != limit) {
        const transition* const table = __dfa.table();
        transition next = 0;
        do {
            next = table[(state & CDfa::ROW) + static_cast<transition>(ahead(p))];
            if (next & CDfa::STOP) {
                break;
            }
            p += STEP;
            state = next;
            stopped = visit(p, state);
        } while (!stopped && p != limit);
        if (!(next & CDfa::STOP)) {
            break;
        }
        state = __dfa.step(state, ahead(p), place(p + STEP), *__env.lookahead);
        if (state == CDfa::DEAD) {
            break;
        }
        p += STEP;
        stopped = visit(p, state);
    }
    __env.looked += static_cast<std::uint64_t>(Way == scanway::FORWARD ? p - cp : cp - p);
    cp = p;
    at = state;
}

/// Where the scan has to look at the memo next.
template <class Chr>
const Chr* TScanner<Chr>::checkpoint(const Chr* cp, const Chr* limit) const {
    const auto rest = static_cast<std::uint64_t>(__env.stop - cp);
    const std::uint64_t distance = rest == 0 ? 0 : (rest - 1) % __memo.interval() + 1;
    return static_cast<std::uint64_t>(limit - cp) <= distance
               ? limit
               : cp + static_cast<std::ptrdiff_t>(distance);
}

/// Whether an earlier scan was in this state here; then `end` is where it ended, or null.
template <class Chr>
bool TScanner<Chr>::meets(const Chr* cp, const Chr* limit, transition at, const Chr*& end) {
    if (at == CDfa::DEAD || cp == limit) {
        return false;
    }
    __memo.follow(__dfa.generation());
    std::uint64_t found = 0;
    if (!__memo.recall(static_cast<std::uint64_t>(__env.stop - cp), at & CDfa::ROW, found)) {
        return false;
    }
    end = found == CRunMemo::NONE ? nullptr : __env.stop - found;
    return true;
}

/// Ends a scan that could share: leaves its result for others, or finds that sharing would pay.
template <class Chr>
const Chr* TScanner<Chr>::finish(const Chr* start, const Chr* cp, const Chr* end, const Chr* stop) {
    if (sharing(stop)) {
        __memo.follow(__dfa.generation());
        __memo.settle(end ? static_cast<std::uint64_t>(__env.stop - end) : CRunMemo::NONE);
    } else if (__shares && __env.fastroads && stop == __env.stop &&
               cp - (end && !__asks ? end : start) > CRunMemo::WASTE) {
        __memo.turnon();
    }
    return end;
}

template <class Chr>
const Chr* TScanner<Chr>::longest(const Chr* start, const Chr* stop, bool* hitstop) {
    if (hitstop) {
        *hitstop = false;
    }
    const Chr* const realstop = stop == __env.stop ? stop : stop + 1;
    transition at = enter<scanway::FORWARD>(start);
    const Chr* cp = start;
    const Chr* post = nullptr;
    const auto note = [&post](const Chr* p, transition state) {
        post = (state & CDfa::POST) ? p : post;
        return false;
    };
    while (at != CDfa::DEAD && cp != realstop) {
        const Chr* const limit = sharing(stop) ? checkpoint(cp, realstop) : realstop;
        walk<scanway::FORWARD>(cp, limit, at, note);
        const Chr* end = nullptr;
        if (limit != realstop && meets(cp, realstop, at, end)) {
            return finish(start, cp, end ? end : post ? post - 1 : nullptr, stop);
        }
    }
    if (at != CDfa::DEAD && cp == __env.stop && stop == __env.stop) {
        if (hitstop) {
            *hitstop = true;
        }
        if (const transition last = leave<scanway::FORWARD>(at, cp);
            last != CDfa::DEAD && (last & CDfa::POST)) {
            return finish(start, cp, cp, stop);
        }
    }
    return finish(start, cp, post ? post - 1 : nullptr, stop);
}

template <class Chr>
const Chr* TScanner<Chr>::shortest(const Chr* start, const Chr* min, const Chr* max,
                                   const Chr** cold, bool* hitstop) {
    if (hitstop) {
        *hitstop = false;
    }
    const Chr* const realmin = min == __env.stop ? min : min + 1;
    const Chr* const realmax = max == __env.stop ? max : max + 1;
    const bool memo = min == start && sharing(max);
    transition at = enter<scanway::FORWARD>(start);
    if (__skips && at != CDfa::DEAD && findskip(at, static_cast<std::size_t>(realmax - start))) {
        at = enter<scanway::FORWARD>(start);
    }
    const Chr* cp = start;
    const Chr* nopr = start;
    const auto note = [&nopr, realmin](const Chr* p, transition state) {
        nopr = (state & CDfa::NOPROGRESS) ? p : nopr;
        return (state & (CDfa::POST | CDfa::SKIP)) != 0 &&
               ((state & CDfa::SKIP) != 0 || p >= realmin);
    };
    while (at != CDfa::DEAD && cp != realmax) {
        if (at & CDfa::SKIP) {
            nopr = leap(cp, realmax, at);
            __env.looked += static_cast<std::uint64_t>(nopr - cp);
            if ((cp = nopr) == realmax || at == CDfa::DEAD) {
                break;
            }
        }
        const Chr* const limit = memo ? checkpoint(cp, realmax) : realmax;
        walk<scanway::FORWARD>(cp, limit, at, note);
        if (at != CDfa::DEAD && (at & CDfa::POST) && cp >= realmin) {
            break;
        }
        const Chr* end = nullptr;
        if (limit != realmax && cp == limit && meets(cp, realmax, at, end)) {
            return finish(start, cp, end, max);
        }
    }
    if (at == CDfa::DEAD) {
        return finish(start, cp, nullptr, max);
    }
    if (cold) {
        *cold = nopr;
    }
    const Chr* end = nullptr;
    if ((at & CDfa::POST) && cp > min) {
        end = cp - 1;
    } else if (cp == __env.stop && max == __env.stop) {
        at = leave<scanway::FORWARD>(at, cp);
        if (at != CDfa::DEAD && (at & CDfa::POST)) {
            end = cp;
        } else if (hitstop) {
            *hitstop = true;
        }
    } else if (at & CDfa::POST) {
        end = cp;
    }
    return finish(start, cp, end, max);
}

/// From a place where nothing has begun to the next one where a match may begin.
template <class Chr>
const Chr* TScanner<Chr>::leap(const Chr* cp, const Chr* limit, transition& at) {
    if (!__begin) {
        return __skip.find(cp, limit);
    }
    if (cp == __env.start && __begin->looksbehind()) {
        return cp; // nothing stands before the text: its first character is walked over
    }
    const Chr* const found = __begin->find(cp, limit, __env.stop);
    __leapt += found - cp;
    if (++__leaps == TRIALLEAPS) {
        if (__leapt < TRIALLEAPS * SHORTLEAP) {
            __begin = nullptr; // the start of each leap costs more than it spares
        }
        __leaps = __leapt = 0;
    }
    // What was passed over may lead away and come to nothing, so the state is one of a fresh start.
    if (found != cp) {
        at = enter<scanway::FORWARD>(found);
    }
    return found;
}

template <class Chr>
typename TScanner<Chr>::outcome TScanner<Chr>::attempt(const Chr* start, bool shorter,
                                                       const Chr*& end) {
    constexpr std::ptrdiff_t PATIENCE = 256; // characters without an end
    if (__memo.on()) {
        end = shorter ? shortest(start, start, __env.stop) : longest(start, __env.stop);
        return end ? outcome::FOUND : outcome::NONE;
    }
    transition at = enter<scanway::FORWARD>(start);
    const Chr* cp = start;
    const Chr* post = nullptr;
    const auto last = [&post](const Chr* p, transition state) {
        post = (state & CDfa::POST) ? p : post;
        return false;
    };
    const auto first = [&post](const Chr* p, transition state) {
        post = (state & CDfa::POST) ? p : nullptr;
        return post != nullptr;
    };
    while (at != CDfa::DEAD && cp != __env.stop && !(shorter && post)) {
        const Chr* const from = post ? post : start;
        if (cp - from >= PATIENCE) {
            end = post ? longest(start, __env.stop) : nullptr;
            return end ? outcome::FOUND : outcome::OPEN;
        }
        const Chr* const far = __env.stop - from > PATIENCE ? from + PATIENCE : __env.stop;
        if (shorter) {
            walk<scanway::FORWARD>(cp, far, at, first);
        } else {
            walk<scanway::FORWARD>(cp, far, at, last);
        }
    }
    end = post ? post - 1 : nullptr;
    if (at != CDfa::DEAD && cp == __env.stop && !(shorter && post)) {
        at = leave<scanway::FORWARD>(at, cp);
        end = at != CDfa::DEAD && (at & CDfa::POST) ? cp : end;
    }
    return end ? outcome::FOUND : outcome::NONE;
}

/// Adds the places where matches end, seen in the scan's direction, between `from` and `to`.
template <class Chr>
template <scanway Way>
void TScanner<Chr>::mark(const Chr* from, const Chr* to, const Chr* base, CPlaces& places) {
    constexpr std::ptrdiff_t STEP = Way == scanway::FORWARD ? 1 : -1;
    const Chr* const edge = Way == scanway::FORWARD ? __env.stop : __env.start;
    transition at = enter<Way>(from);
    const Chr* cp = from;
    if (at != CDfa::DEAD) {
        walk<Way>(cp, to == edge ? to : to + STEP, at, [&](const Chr* p, transition state) {
            if (state & CDfa::POST) {
                places.add(static_cast<std::size_t>(p - STEP - base));
            }
            return false;
        });
    }
    if (at == CDfa::DEAD || to != edge) {
        return;
    }
    if (at = leave<Way>(at, cp); at != CDfa::DEAD && (at & CDfa::POST)) {
        places.add(static_cast<std::size_t>(cp - base));
    }
}

template <class Chr>
void TScanner<Chr>::ends(const Chr* start, const Chr* stop, CPlaces& places) {
    mark<scanway::FORWARD>(start, stop, start, places);
}

template <class Chr>
void TScanner<Chr>::begins(const Chr* start, const Chr* stop, CPlaces& places) {
    mark<scanway::BACKWARD>(stop, start, start, places);
}

/// Whether the search, in `state`, has found nothing yet and stays where it is by `co`.
template <class Chr>
bool TScanner<Chr>::waits(transition state, int co) {
    return state != CDfa::DEAD && (state & (CDfa::POST | CDfa::NOPROGRESS)) == CDfa::NOPROGRESS &&
           __dfa.step(state, co, 0, *__env.lookahead) == state;
}

/// Looks, once for each filling of the cache, for the state in which a search waits, and marks it.
/// Says whether it went to work: states known before may then be gone.
template <class Chr>
bool TScanner<Chr>::findskip(transition first, std::size_t length) {
    constexpr std::size_t WORTHWHILE = 16; // characters to scan for each transition to find out
    const cnfa& a = __dfa.automaton();
    const int ncolors = a.ncolors;
    const auto colors = static_cast<std::size_t>(ncolors);
    const std::uint32_t generation = __dfa.generation();
    if (__skipgeneration == generation || __skiptries == 0 || !__env.fastroads ||
        __env.limits.smallcache || length < WORTHWHILE * (colors + WORTHWHILE)) {
        return false;
    }
    __skipgeneration = generation;
    --__skiptries;
    for (int co = 0; co < ncolors && __dfa.generation() == generation; ++co) {
        if (a.isedge(co)) {
            continue;
        }
        const transition state = __dfa.step(first, co, 0, *__env.lookahead);
        if (__dfa.generation() != generation || !waits(state, co)) {
            continue;
        }
        colorset leaving(colors);
        for (int other = 0; other < ncolors && __dfa.generation() == generation; ++other) {
            leaving[static_cast<std::size_t>(other)] = !a.isedge(other) && !waits(state, other);
        }
        if (__dfa.generation() == generation) {
            __skip.set(__env.colors, std::move(leaving));
            __dfa.markskip(state);
        }
        break;
    }
    return true;
}

template class TScanner<char>;
template class TScanner<wchar_t>;
template class TScanner<unsigned char>;

} // namespace Quil::IMPL::engine

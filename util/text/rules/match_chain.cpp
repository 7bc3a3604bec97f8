// A search that begins at a place finds what the chain has next, unless a match of the chain lies
// over the place: what is leftmost behind the end of one match is so from everywhere between them.
#include "util/text/rules/match_chain.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Quil::IMPL {

template <class T>
match_chain<T>::match_chain(const literal_dfa<T>& dfa)
    : __dfa(dfa), __events(std::size_t{LANES} * STRETCH) {}

template <class T>
void match_chain<T>::set_text(text_ref<T> text, unsigned int closed) {
    __text = text;
    __closed = closed;
    __state = literal_dfa<T>::ROOT;
    __place = 0;
    __found.clear();
    __next = 0;
    __ahead = {};
    __before = 0;
}

template <class T>
bool match_chain<T>::find(unsigned int from, RULE_MATCH& match) {
    __ahead = {};
    for (;;) {
        for (; __next < __found.size() && __found[__next].begin < from; ++__next) {
            __before = __found[__next].end();
        }
        if (from < __before) {
            return __FindFrom(from, match);
        }
        if (__next < __found.size()) {
            match = __found[__next];
            __ahead = std::span(__found).subspan(__next + 1);
            return true;
        }
        if (from >= __closed || __place == __text.length || is_spent()) {
            return false;
        }
        if (from > __place) {
            __state = literal_dfa<T>::ROOT;
            __place = from;
        }
        __Gather();
    }
}

/// Finds the matches that are decided on in the elements that come next.
template <class T>
void match_chain<T>::__Gather() {
    const unsigned int rest = __text.length - __place;
    const unsigned int stretch = std::min(rest / LANES, STRETCH);
    __found.clear();
    __next = 0;
    __credit += std::int64_t{READ_AGAIN} * std::min(rest, LANES * STRETCH);
    if (stretch >= LEAST_STRETCH) {
        __ReadLanes(stretch);
    } else {
        __ReadRest();
    }
    if (__place == __text.length) {
        __Finish();
    }
}

template <class T>
void match_chain<T>::__ReadLanes(unsigned int stretch) {
    std::array<LANE, LANES> lanes;
    for (unsigned int i = 0; i < LANES; ++i) {
        lanes[i].begin = __place + i * stretch;
    }
    lanes[0].at = __state;
    const literal_dfa<T>& dfa = __dfa;
    const T* const text = __text.data + __place;
    EVENT* const events = __events.data();
    [&]<unsigned int... Lane>(std::integer_sequence<unsigned int, Lane...>) {
        std::array<state, LANES> at{lanes[Lane].at...};
        std::array<EVENT*, LANES> out{events + Lane * STRETCH...};
        for (unsigned int i = 0; i < stretch; ++i) {
            const auto read = [&](unsigned int lane) {
                const auto step = dfa.step(at[lane], text[lane * stretch + i]);
                *out[lane] = {i, at[lane]};
                out[lane] += step.decides();
                at[lane] = step.next();
            };
            (read(Lane), ...);
        }
        ((lanes[Lane].at = at[Lane]), ...);
        ((lanes[Lane].events = static_cast<unsigned int>(out[Lane] - (events + Lane * STRETCH))),
         ...);
    }
    (std::make_integer_sequence<unsigned int, LANES>());

    state before = __state;
    for (unsigned int i = 0; i < LANES; ++i) {
        LANE& lane = lanes[i];
        if (i != 0) {
            __Join(lane, lane.begin + stretch, before);
        }
        before = lane.at;
        const std::span found(events + i * STRETCH + lane.dropped, lane.events - lane.dropped);
        for (const EVENT& event : found) {
            __dfa.prefetch_decided(event.left);
        }
        for (const EVENT& event : found) {
            __Decide({lane.begin + event.place, event.left});
        }
    }
    __state = before;
    __place += LANES * stretch;
}

/// Reads a lane again that begins in another state than was thought.
template <class T>
void match_chain<T>::__Join(LANE& lane, unsigned int end, state before) {
    state thought = literal_dfa<T>::ROOT;
    for (unsigned int at = lane.begin; before != thought; ++at) {
        if (at == end) {
            lane.at = before;
            return;
        }
        const auto step = __dfa.step(before, __text.data[at]);
        if (step.decides() != 0) {
            __Decide({at, before});
        }
        const auto other = __dfa.step(thought, __text.data[at]);
        lane.dropped += other.decides();
        before = step.next();
        thought = other.next();
    }
}

/// Reads what is left of the text, element by element.
template <class T>
void match_chain<T>::__ReadRest() {
    for (; __place < __text.length; ++__place) {
        const auto step = __dfa.step(__state, __text.data[__place]);
        if (step.decides() != 0) {
            __Decide({__place, __state});
        }
        __state = step.next();
    }
}

/// Behind the text's last element: what is decided on by its end.
template <class T>
void match_chain<T>::__Finish() {
    for (;;) {
        const decided& what = __dfa.decided(__state);
        if (what.length == 0 || is_spent() || !__Note(__place, what)) {
            return;
        }
        __credit -= what.behind;
        __place -= what.behind;
        __state = literal_dfa<T>::ROOT;
        __ReadRest();
    }
}

/// Notes the matches behind a first one that are decided on by the element at a place. What stands
/// behind that one is read again.
template <class T>
void match_chain<T>::__DecideMore(unsigned int place, const decided& first) {
    unsigned int at = place - first.behind;
    for (state now = literal_dfa<T>::ROOT; at <= place && !is_spent(); --__credit) {
        const auto step = __dfa.step(now, __text.data[at]);
        if (step.decides() == 0) {
            now = step.next();
            ++at;
            continue;
        }
        const decided& what = __dfa.decided(now);
        __Note(at, what);
        now = what.hasMore ? literal_dfa<T>::ROOT : step.next();
        at = what.hasMore ? at - what.behind : at + 1;
    }
}

/// A search by itself, from within a match of the chain.
template <class T>
bool match_chain<T>::__FindFrom(unsigned int from, RULE_MATCH& match) {
    state now = literal_dfa<T>::ROOT;
    unsigned int at = from;
    for (; at < __text.length; ++at, --__credit) {
        const auto step = __dfa.step(now, __text.data[at]);
        if (step.decides() != 0) {
            break;
        }
        now = step.next();
    }
    const decided& what = __dfa.decided(now);
    match = {at - what.behind - what.length, what.length, what.rule};
    return what.length != 0 && match.begin < __closed;
}

template class match_chain<unsigned char>;
template class match_chain<wchar_t>;

} // namespace Quil::IMPL

// The state cache of the lazy DFA: how a set of NFA states is found, kept and forgotten.
// The cache has no replacement policy: when it is full, all of it goes, and the scan goes on from
// the one set that it needs next. A set is only memory, so this changes no result.
#include "regex/match/dfa.h"

#include <algorithm>
#include <bit>

namespace Quil::IMPL::engine {

namespace {

constexpr std::size_t LEASTSTATES = 4; // that a cache may always hold, whatever their size

} // namespace

CDfa::CDfa(const cnfa& automaton, cachelimits& limits)
    : __automaton(automaton), __limits(limits),
      __words(static_cast<std::size_t>(automaton.nstates + WORDBITS - 1) / WORDBITS),
      __stride((static_cast<std::size_t>(automaton.ncolors) + ROWUNIT - 1) / ROWUNIT * ROWUNIT),
      __maxstates(std::max(2 * static_cast<std::size_t>(automaton.nstates), limits.leaststates)),
      __work(__words) {
    // A row is a 32-bit cell number, and the highest one means DEAD.
    __maxstates = std::min(__maxstates, static_cast<std::size_t>(ROW) / __stride - 1);
}

CDfa::~CDfa() {
    __limits.used -= __accounted;
}

CDfa::transition CDfa::makestart() {
    std::fill(__work.begin(), __work.end(), 0);
    const auto pre = static_cast<std::size_t>(__automaton.pre);
    __work[pre / WORDBITS] |= word{1} << (pre % WORDBITS);
    if (full()) {
        flush();
    }
    __start = __entries[addset(hashwork(), NOPROGRESS)];
    return __start;
}

void CDfa::markskip(transition state) {
    for (transition& cell : __table) {
        if (!(cell & STOP) && (cell & ROW) == (state & ROW)) {
            cell |= SKIP;
        }
    }
    __entries[(state & ROW) / __stride] |= SKIP;
    if (__start != UNSET && (__start & ROW) == (state & ROW)) {
        __start |= SKIP;
    }
}

CDfa::transition CDfa::miss(transition at, int co, std::size_t position, ILookahead& lookahead) {
    const std::size_t source = (at & ROW) / __stride;
    const std::size_t cell = (at & ROW) + static_cast<std::size_t>(co);
    __workflags = NOPROGRESS;
    __pending.clear();
    if (!follow(&__sets[source * __words], co)) {
        return __table[cell] = DEAD;
    }
    const bool asked = (__automaton.flags & HASLACONS) != 0 && asklookaheads(position, lookahead);

    const word hash = hashwork();
    const std::uint32_t generation = __generation;
    std::uint32_t found = findset(hash);
    if (found == NOSTATE) {
        if (full()) {
            flush();
        }
        found = addset(hash, __workflags);
    }
    if (!asked && generation == __generation) {
        __table[cell] = __entries[found];
    }
    return __entries[found];
}

/// Fills `work_` with the targets of every arc of color `co` that leaves `states`.
bool CDfa::follow(const word* states, int co) {
    std::fill(__work.begin(), __work.end(), 0);
    bool any = false;
    for (std::size_t w = 0; w < __words; ++w) {
        for (word rest = states[w]; rest != 0; rest &= rest - 1) {
            const int state = static_cast<int>(w) * WORDBITS + std::countr_zero(rest);
            for (const carc& arc : __automaton.arcsof(state)) {
                if (arc.co != co) {
                    continue;
                }
                reach(arc);
                any = true;
            }
        }
    }
    return any;
}

void CDfa::reach(const carc& arc) {
    const auto target = static_cast<std::size_t>(arc.to);
    word& cell = __work[target / WORDBITS];
    const word bit = word{1} << (target % WORDBITS);
    if (arc.to == __automaton.post) {
        __workflags |= POST;
    }
    if (!__automaton.noprogress(arc.to)) {
        __workflags &= ~NOPROGRESS;
    }
    if ((cell & bit) == 0 && (__automaton.flags & HASLACONS) != 0) {
        __pending.push_back(arc.to);
    }
    cell |= bit;
}

/// Adds to `work_` what lies behind lookaheads that hold at `position`; says whether any was asked.
bool CDfa::asklookaheads(std::size_t position, ILookahead& lookahead) {
    bool asked = false;
    while (!__pending.empty()) {
        const int state = __pending.back();
        __pending.pop_back();
        for (const carc& arc : __automaton.arcsof(state)) {
            if (!__automaton.islookahead(arc)) {
                continue;
            }
            asked = true;
            const auto target = static_cast<std::size_t>(arc.to);
            if ((__work[target / WORDBITS] >> (target % WORDBITS) & 1) == 0 &&
                lookahead.holds(arc.co - __automaton.ncolors, position)) {
                reach(arc);
            }
        }
    }
    return asked;
}

CDfa::word CDfa::hashwork() const {
    constexpr word MULTIPLIER = 0x9E3779B97F4A7C15u;
    word hash = 0;
    for (const word bits : __work) {
        hash = (std::rotl(hash, 23) ^ bits) * MULTIPLIER;
    }
    return hash ^ hash >> 32;
}

std::uint32_t CDfa::findset(word hash) const {
    if (__buckets.empty()) {
        return NOSTATE;
    }
    const std::size_t mask = __buckets.size() - 1;
    for (std::size_t i = hash & mask; __buckets[i] != NOSTATE; i = (i + 1) & mask) {
        const std::size_t state = __buckets[i];
        if (__hashes[state] == hash &&
            std::equal(__work.begin(), __work.end(),
                       __sets.begin() + static_cast<std::ptrdiff_t>(state * __words))) {
            return __buckets[i];
        }
    }
    return NOSTATE;
}

std::uint32_t CDfa::addset(word hash, transition flags) {
    constexpr std::size_t FIRSTBUCKETS = 16;
    const auto state = static_cast<std::uint32_t>(__hashes.size());
    __sets.insert(__sets.end(), __work.begin(), __work.end());
    __hashes.push_back(hash);
    __entries.push_back(static_cast<transition>(state * __stride) | flags);
    __table.resize(__table.size() + __stride, UNSET);
    if (2 * __hashes.size() > __buckets.size()) {
        rehash(std::max(2 * __buckets.size(), FIRSTBUCKETS));
    } else {
        const std::size_t mask = __buckets.size() - 1;
        std::size_t i = hash & mask;
        while (__buckets[i] != NOSTATE) {
            i = (i + 1) & mask;
        }
        __buckets[i] = state;
    }
    account();
    return state;
}

void CDfa::rehash(std::size_t buckets) {
    __buckets.assign(buckets, NOSTATE);
    for (std::uint32_t state = 0; state < __hashes.size(); ++state) {
        std::size_t i = __hashes[state] & (buckets - 1);
        while (__buckets[i] != NOSTATE) {
            i = (i + 1) & (buckets - 1);
        }
        __buckets[i] = state;
    }
}

bool CDfa::full() const {
    const std::size_t states = __hashes.size();
    if (states >= (__limits.smallcache ? SMALLSTATES : __maxstates)) {
        return true;
    }
    // Vectors double, so the next state may ask for as much again as all have now.
    const bool grows = __sets.size() + __words > __sets.capacity() ||
                       __table.size() + __stride > __table.capacity();
    return states >= LEASTSTATES && __limits.used + (grows ? bytes() : 0) > __limits.bytes;
}

void CDfa::flush() {
    // Assigning new vectors gives the memory back; the other caches of the context may need it.
    __table = std::vector<transition>();
    __sets = std::vector<word>();
    __hashes = std::vector<word>();
    __entries = std::vector<transition>();
    __buckets = std::vector<std::uint32_t>();
    __start = UNSET;
    ++__generation;
    account();
}

std::size_t CDfa::bytes() const {
    return __table.capacity() * sizeof(transition) + __sets.capacity() * sizeof(word) +
           __hashes.capacity() * sizeof(word) + __entries.capacity() * sizeof(transition) +
           __buckets.capacity() * sizeof(std::uint32_t);
}

void CDfa::account() {
    __limits.used -= __accounted;
    __accounted = bytes();
    __limits.used += __accounted;
}

} // namespace Quil::IMPL::engine

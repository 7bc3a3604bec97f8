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
    : automaton_(automaton), limits_(limits),
      words_(static_cast<std::size_t>(automaton.nstates + WORDBITS - 1) / WORDBITS),
      stride_((static_cast<std::size_t>(automaton.ncolors) + ROWUNIT - 1) / ROWUNIT * ROWUNIT),
      maxstates_(std::max(2 * static_cast<std::size_t>(automaton.nstates), limits.leaststates)),
      work_(words_) {
    // A row is a 32-bit cell number, and the highest one means DEAD.
    maxstates_ = std::min(maxstates_, static_cast<std::size_t>(ROW) / stride_ - 1);
}

CDfa::~CDfa() {
    limits_.used -= accounted_;
}

CDfa::transition CDfa::makestart() {
    std::fill(work_.begin(), work_.end(), 0);
    const auto pre = static_cast<std::size_t>(automaton_.pre);
    work_[pre / WORDBITS] |= word{1} << (pre % WORDBITS);
    if (full())
        flush();
    start_ = entries_[addset(hashwork(), NOPROGRESS)];
    return start_;
}

void CDfa::markskip(transition state) {
    for (transition& cell : table_)
        if (!(cell & STOP) && (cell & ROW) == (state & ROW))
            cell |= SKIP;
    entries_[(state & ROW) / stride_] |= SKIP;
    if (start_ != UNSET && (start_ & ROW) == (state & ROW))
        start_ |= SKIP;
}

CDfa::transition CDfa::miss(transition at, int co, std::size_t position, ILookahead& lookahead) {
    const std::size_t source = (at & ROW) / stride_;
    const std::size_t cell = (at & ROW) + static_cast<std::size_t>(co);
    workflags_ = NOPROGRESS;
    pending_.clear();
    if (!follow(&sets_[source * words_], co))
        return table_[cell] = DEAD;
    const bool asked = (automaton_.flags & HASLACONS) != 0 && asklookaheads(position, lookahead);

    const word hash = hashwork();
    const std::uint32_t generation = generation_;
    std::uint32_t found = findset(hash);
    if (found == NOSTATE) {
        if (full())
            flush();
        found = addset(hash, workflags_);
    }
    if (!asked && generation == generation_)
        table_[cell] = entries_[found];
    return entries_[found];
}

/// Fills `work_` with the targets of every arc of color `co` that leaves `states`.
bool CDfa::follow(const word* states, int co) {
    std::fill(work_.begin(), work_.end(), 0);
    bool any = false;
    for (std::size_t w = 0; w < words_; ++w) {
        for (word rest = states[w]; rest != 0; rest &= rest - 1) {
            const int state = static_cast<int>(w) * WORDBITS + std::countr_zero(rest);
            for (const carc& arc : automaton_.arcsof(state)) {
                if (arc.co != co)
                    continue;
                reach(arc);
                any = true;
            }
        }
    }
    return any;
}

void CDfa::reach(const carc& arc) {
    const auto target = static_cast<std::size_t>(arc.to);
    word& cell = work_[target / WORDBITS];
    const word bit = word{1} << (target % WORDBITS);
    if (arc.to == automaton_.post)
        workflags_ |= POST;
    if (!automaton_.noprogress(arc.to))
        workflags_ &= ~NOPROGRESS;
    if ((cell & bit) == 0 && (automaton_.flags & HASLACONS) != 0)
        pending_.push_back(arc.to);
    cell |= bit;
}

/// Adds to `work_` what lies behind lookaheads that hold at `position`; says whether any was asked.
bool CDfa::asklookaheads(std::size_t position, ILookahead& lookahead) {
    bool asked = false;
    while (!pending_.empty()) {
        const int state = pending_.back();
        pending_.pop_back();
        for (const carc& arc : automaton_.arcsof(state)) {
            if (!automaton_.islookahead(arc))
                continue;
            asked = true;
            const auto target = static_cast<std::size_t>(arc.to);
            if ((work_[target / WORDBITS] >> (target % WORDBITS) & 1) == 0 &&
                lookahead.holds(arc.co - automaton_.ncolors, position))
                reach(arc);
        }
    }
    return asked;
}

CDfa::word CDfa::hashwork() const {
    constexpr word MULTIPLIER = 0x9E3779B97F4A7C15u;
    word hash = 0;
    for (const word bits : work_)
        hash = (std::rotl(hash, 23) ^ bits) * MULTIPLIER;
    return hash ^ hash >> 32;
}

std::uint32_t CDfa::findset(word hash) const {
    if (buckets_.empty())
        return NOSTATE;
    const std::size_t mask = buckets_.size() - 1;
    for (std::size_t i = hash & mask; buckets_[i] != NOSTATE; i = (i + 1) & mask) {
        const std::size_t state = buckets_[i];
        if (hashes_[state] == hash &&
            std::equal(work_.begin(), work_.end(),
                       sets_.begin() + static_cast<std::ptrdiff_t>(state * words_)))
            return buckets_[i];
    }
    return NOSTATE;
}

std::uint32_t CDfa::addset(word hash, transition flags) {
    constexpr std::size_t FIRSTBUCKETS = 16;
    const auto state = static_cast<std::uint32_t>(hashes_.size());
    sets_.insert(sets_.end(), work_.begin(), work_.end());
    hashes_.push_back(hash);
    entries_.push_back(static_cast<transition>(state * stride_) | flags);
    table_.resize(table_.size() + stride_, UNSET);
    if (2 * hashes_.size() > buckets_.size()) {
        rehash(std::max(2 * buckets_.size(), FIRSTBUCKETS));
    } else {
        const std::size_t mask = buckets_.size() - 1;
        std::size_t i = hash & mask;
        while (buckets_[i] != NOSTATE)
            i = (i + 1) & mask;
        buckets_[i] = state;
    }
    account();
    return state;
}

void CDfa::rehash(std::size_t buckets) {
    buckets_.assign(buckets, NOSTATE);
    for (std::uint32_t state = 0; state < hashes_.size(); ++state) {
        std::size_t i = hashes_[state] & (buckets - 1);
        while (buckets_[i] != NOSTATE)
            i = (i + 1) & (buckets - 1);
        buckets_[i] = state;
    }
}

bool CDfa::full() const {
    const std::size_t states = hashes_.size();
    if (states >= (limits_.smallcache ? SMALLSTATES : maxstates_))
        return true;
    // Vectors double, so the next state may ask for as much again as all have now.
    const bool grows =
        sets_.size() + words_ > sets_.capacity() || table_.size() + stride_ > table_.capacity();
    return states >= LEASTSTATES && limits_.used + (grows ? bytes() : 0) > limits_.bytes;
}

void CDfa::flush() {
    // Assigning new vectors gives the memory back; the other caches of the context may need it.
    table_ = std::vector<transition>();
    sets_ = std::vector<word>();
    hashes_ = std::vector<word>();
    entries_ = std::vector<transition>();
    buckets_ = std::vector<std::uint32_t>();
    start_ = UNSET;
    ++generation_;
    account();
}

std::size_t CDfa::bytes() const {
    return table_.capacity() * sizeof(transition) + sets_.capacity() * sizeof(word) +
           hashes_.capacity() * sizeof(word) + entries_.capacity() * sizeof(transition) +
           buckets_.capacity() * sizeof(std::uint32_t);
}

void CDfa::account() {
    limits_.used -= accounted_;
    accounted_ = bytes();
    limits_.used += accounted_;
}

} // namespace Quil::IMPL::engine

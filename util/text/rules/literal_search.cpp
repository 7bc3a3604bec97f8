// The places of a text are looked at in batches: first all by the filter, without a branch; then
// those that are left by the tables, whose memory was asked for meanwhile; and the few that are
// left then by the tree, as far as no match lies over them.
#include "util/text/rules/literal_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace Quil::IMPL {

template <class T>
literal_search<T>::literal_search(const literal_set<T>& set)
    : __set(set), __folds(set.list().folds()), __text(basic_buffer<T>()) {}

template <class T>
void literal_search<T>::set_text(text_ref<T> text, bool isLast, bool isInWord) {
    const unsigned int longest = __set.list().longest();
    __text = text;
    __isLast = isLast;
    __isInWord = isInWord;
    __closed = isLast ? text.length : text.length < longest ? 0 : text.length - longest + 1;
    __undecided = text.length;
    __chunkBegin = __chunkEnd = 0;
    __candidates.clear();
    __next = __batchEnd = 0;
    __given += text.length;
    if (!__chain && __given > __set.dfa_pays_from()) {
        __chain.emplace(__set.dfa(text));
    }
    if (__chain) {
        __chain->set_text(text, __closed);
    }
}

template <class T>
bool literal_search<T>::find(unsigned int from, RULE_MATCH& match) {
    const unsigned int fast = std::min(
        __closed, __text.length < MOST_OF_PREFIX<T> ? 0 : __text.length - MOST_OF_PREFIX<T> + 1);
    unsigned int at = from;
    __undecided = __text.length;
    __isByChain = __chain && !__isByAutomaton && at < __closed && __FindByChain(at, match);
    if (__isByChain) {
        return true;
    }
    while (at < fast) {
        const unsigned int before = at;
        const bool isFound =
            __isByAutomaton ? __FindByAutomaton(at, fast, match) : __FindByTree(at, fast, match);
        __credit += static_cast<std::int64_t>(at - before) * COST_FACTOR;
        if (isFound || __undecided != __text.length) {
            return isFound;
        }
    }
    return __FindAtEnd(at, match);
}

/// Looks for a match that begins in [at, end), where all elements of a prefix are there. Without
/// one, `at` is where the search came to: the end, unless it was given up.
template <class T>
bool literal_search<T>::__FindByTree(unsigned int& at, unsigned int end, RULE_MATCH& match) {
    for (;;) {
        while (__next < __candidates.size()) {
            const unsigned int place = __candidates[__next].place;
            if (place < at) {
                ++__next;
                continue;
            }
            OUTCOME outcome = OUTCOME::NONE;
            match.length = 0;
            for (; __next < __candidates.size() && __candidates[__next].place == place; ++__next) {
                __GoDown(place, __candidates[__next].root, outcome, match);
            }
            if (outcome != OUTCOME::NONE || __isByAutomaton) {
                at = place + (outcome == OUTCOME::NONE ? 1 : 0);
                return __Finish(place, outcome, match) == OUTCOME::FOUND;
            }
        }
        at = std::max(at, __batchEnd);
        if (at >= end) {
            return false;
        }
        __Gather(at, std::min(at + BATCH, end));
    }
}

/// Finds the candidates in [begin, end).
template <class T>
void literal_search<T>::__Gather(unsigned int begin, unsigned int end) {
    __candidates.clear();
    __next = 0;
    __batchEnd = end;
    for (const prefix_class& one : __set.classes()) {
        if (one.isLong) {
            __folds ? __GatherOf<true, true>(one, begin, end)
                    : __GatherOf<false, true>(one, begin, end);
        } else {
            __folds ? __GatherOf<true, false>(one, begin, end)
                    : __GatherOf<false, false>(one, begin, end);
        }
    }
    if (__set.classes().size() > 1) {
        std::sort(__candidates.begin(), __candidates.end(),
                  [](const CANDIDATE& a, const CANDIDATE& b) { return a.place < b.place; });
    }
    for (const CANDIDATE& candidate : __candidates) {
        __set.tree().prefetch_way(candidate.root);
    }
}

/// The same of one class, of long prefixes or short ones.
template <class T>
template <bool Folds, bool Long>
void literal_search<T>::__GatherOf(const prefix_class& one, unsigned int begin, unsigned int end) {
    const T* const text = __text.data;
    std::array<unsigned int, BATCH + 1> places;
    std::size_t count = 0;
    for (unsigned int i = begin; i < end; ++i) {
        PREFIX front{word::load(text + i), 0};
        if constexpr (Long) {
            front.high = word::load(text + i + word::HALF);
        }
        if constexpr (Folds) {
            front = {word::blur(front.low), word::blur(front.high)};
        }
        places[count] = i;
        count += one.bits.may_have(one.template hash_of<Long>(front));
    }
    if (const std::size_t most = count * one.tables.size() + 1; __hits.size() < most) {
        __hits.resize(most); // never less: what is given room again is cleared again
    }
    std::size_t hits = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const PREFIX front = prefix_of(text + places[i], Folds);
        for (const prefix_table& table : one.tables) {
            const std::uint64_t hash = table.hash_of(front);
            __hits[hits] = {places[i], &table, hash};
            hits += table.may_have(hash);
        }
    }
    for (std::size_t i = 0; i < hits; ++i) {
        __hits[i].table->prefetch(__hits[i].hash);
    }
    std::size_t found = __candidates.size();
    const auto add = [&](const HIT& hit, const prefix_table::ROOT& root, bool isFound) {
        __candidates[found] = {hit.place, root.node};
        found += static_cast<std::size_t>(isFound & __MayBe<Folds>(root, hit.place));
    };
    __candidates.resize(found + hits + 1);
    for (std::size_t i = 0; i < hits; ++i) {
        const HIT& hit = __hits[i];
        bool isFound = false;
        if (const prefix_table::ROOT* const root = hit.table->look(hit.hash, isFound)) {
            add(hit, *root, isFound);
        } else {
            hit.table->find(hit.hash, [&](const prefix_table::ROOT& other) {
                __candidates.resize(std::max(__candidates.size(), found + hits - i + 1));
                add(hit, other, true);
            });
        }
    }
    __candidates.resize(found);
}

/// Whether the text goes on from a place, behind which a whole prefix stands, as what the literals
/// of a root have in common ends. No branch depends on what the text has there.
template <class T>
template <bool Folds>
bool literal_search<T>::__MayBe(const prefix_table::ROOT& root, unsigned int place) const {
    const unsigned int rest = __text.length - place;
    const bool fits = root.depth <= rest;
    const unsigned int depth = fits ? root.depth : 0;
    const T* const end = __text.data + place + std::max(depth, word::END);
    const std::uint32_t last = Folds ? word::blur_end(word::end(end)) : word::end(end);
    // Where all may come next, the text may be over.
    const T behind = __text.data[place + depth - (depth == rest ? 1 : 0)];
    const std::uint64_t next = prefix_table::ROOT::bit(Folds ? fold_literal(behind) : behind);
    return fits & (((last ^ root.end) & root.endMask) == 0) & ((root.next & next) != 0);
}

/// The same up to the text's end, with a look at what may come behind it.
template <class T>
bool literal_search<T>::__FindAtEnd(unsigned int at, RULE_MATCH& match) {
    for (; at < __text.length; ++at) {
        const unsigned int rest = __text.length - at;
        if (rest >= MOST_OF_PREFIX<T> && !__MayBegin(at)) {
            continue;
        }
        if (at >= __closed && __set.list().begins_with(__text.data + at, rest)) {
            __undecided = at;
            return false;
        }
        std::array<T, MOST_OF_PREFIX<T>> front{};
        const unsigned int count = std::min(rest, MOST_OF_PREFIX<T>);
        std::copy_n(__text.data + at, count, front.begin());
        const OUTCOME outcome = __Try(at, prefix_of(front.data(), __folds), count, match);
        if (outcome != OUTCOME::NONE) {
            return outcome == OUTCOME::FOUND;
        }
    }
    __undecided = __isLast ? __text.length : cut_begin(__text);
    return false;
}

/// False if no literal begins at a place, behind which a whole prefix stands.
template <class T>
bool literal_search<T>::__MayBegin(unsigned int at) const {
    const PREFIX front = prefix_of(__text.data + at, __folds);
    return std::ranges::any_of(__set.classes(), [&](const prefix_class& one) {
        return one.bits.may_have(one.template hash_of<true>(front)) != 0;
    });
}

/// Looks whether a match begins at a place, of whose elements the word has `count`.
template <class T>
auto literal_search<T>::__Try(unsigned int at, const PREFIX& front, unsigned int count,
                              RULE_MATCH& match) -> OUTCOME {
    OUTCOME outcome = OUTCOME::NONE;
    match.length = 0;
    for (const prefix_class& one : __set.classes()) {
        for (const prefix_table& table : one.tables) {
            if (table.length() <= count) {
                table.find(table.hash_of(front), [&](const prefix_table::ROOT& root) {
                    __GoDown(at, root.node, outcome, match);
                });
            }
        }
    }
    return __Finish(at, outcome, match);
}

template <class T>
auto literal_search<T>::__Finish(unsigned int at, OUTCOME outcome, RULE_MATCH& match) -> OUTCOME {
    if (outcome == OUTCOME::OPEN) {
        __undecided = at;
    }
    match.begin = at;
    return outcome;
}

template <class T>
void literal_search<T>::__GoDown(unsigned int at, std::uint32_t root, OUTCOME& outcome,
                                 RULE_MATCH& match) {
    const literal_list<T>& list = __set.list();
    const text_ref<T> rest(__text.data + at, __text.length - at);
    unsigned int depth = 0;
    std::int64_t cost = 0;
    for (std::uint32_t number = root; number != 0;) {
        const auto& node = __set.tree().node(number);
        cost += 1 + (node.depth - depth) / STRETCH;
        if (node.depth > rest.length || !__Fits(list.at(node.text), rest, depth, node.depth)) {
            break;
        }
        depth = node.depth;
        if (node.entry != tree::NONE && depth > match.length) {
            unsigned int rule = list.entries()[node.entry].rule;
            const OUTCOME chosen =
                __set.has_conditions() ? __Choose(node.entry, at, rule) : OUTCOME::FOUND;
            if (chosen == OUTCOME::FOUND) {
                match.length = depth;
                match.rule = rule;
            }
            outcome = std::max(outcome, chosen);
        }
        if (depth == rest.length) {
            break;
        }
        const T next = rest.data[depth];
        number = __set.tree().child(node, __folds ? fold_literal(next) : next);
    }
    __credit -= cost;
    __isByAutomaton = __isByAutomaton || __credit < 0;
}

/// Whether a text goes on as a literal from one element up to another one, behind which it may be
/// over.
template <class T>
inline bool literal_search<T>::__Fits(const T* literal, text_ref<T> text, unsigned int from,
                                      unsigned int end) const {
    constexpr unsigned int AT_ONCE = sizeof(std::uint64_t) / sizeof(T);
    const unsigned int count = end - from;
    if (__folds) {
        return std::equal(text.data + from, text.data + end, literal + from,
                          [](T own, T wanted) { return fold_literal(own) == wanted; });
    }
    if (count > AT_ONCE || from + AT_ONCE > text.length) {
        return std::equal(text.data + from, text.data + end, literal + from);
    }
    std::uint64_t own;
    std::uint64_t wanted;
    std::memcpy(&own, text.data + from, sizeof own);
    std::memcpy(&wanted, literal + from, sizeof wanted);
    const std::uint64_t differing = own ^ wanted;
    const unsigned int unused = 8 * static_cast<unsigned int>(sizeof(T)) * (AT_ONCE - count);
    return count == 0 || (std::endian::native == std::endian::little ? differing << unused
                                                                     : differing >> unused) == 0;
}

/// The first rule whose literal this is that takes the match.
template <class T>
auto literal_search<T>::__Choose(std::uint32_t entry, unsigned int at, unsigned int& rule) const
    -> OUTCOME {
    const auto& literal = __set.list().entries()[entry];
    const unsigned int end = at + literal.length;
    for (const auto& owner : __set.list().owners(literal)) {
        if (owner.exact != nullptr &&
            !std::equal(owner.exact, owner.exact + literal.length, __text.data + at)) {
            continue;
        }
        if (owner.wholeWord) {
            const EDGE edge = end == __text.length ? EDGE::OPEN : edge_at(__text, end);
            if (edge == EDGE::WORD || __IsInWord(at)) {
                continue;
            }
            if (edge == EDGE::OPEN && !__isLast) {
                return OUTCOME::OPEN;
            }
        }
        rule = owner.rule;
        return OUTCOME::FOUND;
    }
    return OUTCOME::NONE;
}

/// Looks for a match that begins where all literals end within the text. Without one, `at` is where
/// the search came to.
template <class T>
bool literal_search<T>::__FindByChain(unsigned int& at, RULE_MATCH& match) {
    if (__chain->find(at, match)) {
        return true;
    }
    __isByAutomaton = __chain->is_spent();
    if (!__isByAutomaton) {
        at = std::max(at, __closed);
    }
    return false;
}

template <class T>
bool literal_search<T>::__FindByAutomaton(unsigned int& at, unsigned int end, RULE_MATCH& match) {
    while (at < end) {
        if (at < __chunkBegin || at >= __chunkEnd) {
            __TellChunk(at,
                        std::min<unsigned int>(end, at + std::max(CHUNK, __set.list().longest())));
        }
        for (; at < __chunkEnd; ++at) {
            const RULE_MATCH& found = __chunk[at - __chunkBegin];
            if (found.length == 0) {
                continue;
            }
            if (found.rule == UNDECIDED) {
                __undecided = at;
                return false;
            }
            match = found;
            return true;
        }
    }
    return false;
}

/// Finds the longest match at each place of [begin, end).
template <class T>
void literal_search<T>::__TellChunk(unsigned int begin, unsigned int end) {
    const auto& list = __set.list();
    const std::uint64_t behind =
        std::min<std::uint64_t>(__text.length, std::uint64_t{end} + list.longest());
    typename literal_automaton<T>::walk walk(__set.automaton());
    __chunk.assign(end - begin, {});
    for (auto at = static_cast<unsigned int>(behind); at-- > begin;) {
        const T element = __folds ? fold_literal(__text.data[at]) : __text.data[at];
        walk.read(element, [&](std::uint32_t entry) {
            if (at >= end) {
                return true;
            }
            unsigned int rule = 0;
            const OUTCOME outcome = __Choose(entry, at, rule);
            if (outcome != OUTCOME::NONE) {
                __chunk[at - begin] = {at, list.entries()[entry].length,
                                       outcome == OUTCOME::OPEN ? UNDECIDED : rule};
            }
            return outcome != OUTCOME::NONE;
        });
    }
    __chunkBegin = begin;
    __chunkEnd = end;
}

template class literal_search<unsigned char>;
template class literal_search<wchar_t>;

} // namespace Quil::IMPL

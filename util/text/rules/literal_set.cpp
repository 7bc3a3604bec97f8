// The classes are chosen by what a text would cost: a look-up for each class and place, and a way
// down wherever one says yes, which a prefix does the more often the shorter it is.
#include "util/text/rules/literal_set.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

namespace Quil::IMPL {

namespace {

/// The first elements of a text, all of which must be there. Folded ones are folded in haste, which
/// makes candidates of places that aren't, but leaves none out.
template <class T>
prefix_class::WORD WordOf(const T* text, bool folds) {
    using word = prefix_word<T>;
    const prefix_class::WORD exact{word::load(text), word::load(text + word::HALF)};
    return folds ? prefix_class::WORD{word::blur(exact.low), word::blur(exact.high)} : exact;
}

/// Bounds of classes by length, the last one open, and what they cost at each place.
struct CHOICE {
    double cost;
    std::vector<unsigned int> cuts;
};

/// How many prefixes the literals of a class have.
template <class T>
std::size_t CountPrefixes(const literal_list<T>& list, unsigned int least, unsigned int behind) {
    const T* last = nullptr;
    std::size_t count = 0;
    for (const auto& entry : list.entries()) {
        if (entry.length < least || entry.length >= behind) {
            continue;
        }
        const T* const text = list.text(entry);
        if (last == nullptr || !std::equal(text, text + least, last)) {
            ++count;
        }
        last = text;
    }
    return count;
}

/// The states of a trie: literals in order share beginnings with those before them.
template <class T>
std::uint64_t CountStates(const literal_list<T>& list) {
    std::span<const T> last;
    std::uint64_t states = 1;
    for (const auto& entry : list.entries()) {
        const std::span<const T> text(list.text(entry), entry.length);
        states += static_cast<std::uint64_t>(text.end() - std::ranges::mismatch(text, last).in1);
        last = text;
    }
    return states;
}

constexpr unsigned int MOST_CLASSES = 4;
constexpr unsigned int OPEN = ~0U; ///< no bound

/// What classes would cost at each place of a text like a sample, in nanoseconds about.
template <class T>
class class_costs {
public:
    class_costs(const literal_list<T>& list, text_ref<T> sample) : __list(list) {
        constexpr unsigned int PLACES = 1000;
        constexpr unsigned int TOO_FEW = 200;
        for (const auto& entry : list.entries()) {
            const unsigned int length = std::min(entry.length, MOST);
            __has[length] = true;
        }
        const unsigned int step = sample.length / PLACES + 1;
        for (unsigned int at = 0; at + MOST <= sample.length; at += step) {
            __Look(sample.data + at);
        }
        // Of a text as short, the literals themselves tell more.
        for (std::size_t i = 0; __places < TOO_FEW && i < list.entries().size(); ++i) {
            if (list.entries()[i].length >= MOST) {
                __Look(list.text(list.entries()[i]));
            }
        }
    }

    /// Of a class of the literals with so many elements, but fewer than `behind`; none: 0.
    double of(unsigned int least, unsigned int behind) const {
        constexpr double LOOK_COST = 0.65;
        while (least < behind && least < MOST && !__has[least]) {
            ++least;
        }
        if (least == behind || !__has[least]) {
            return 0;
        }
        return LOOK_COST + __costs[least][std::min(behind, MOST + 1)] / std::max(1U, __places);
    }

private:
    static constexpr unsigned int MOST = MOST_OF_PREFIX<T>;

    /// Adds what a place costs by a class of each kind: if a prefix is found, the way from it on.
    void __Look(const T* text) {
        constexpr double COARSE_COST = 3;
        constexpr double FOUND_COST = 25;
        constexpr double ELEMENT_COST = 4;
        ++__places;
        std::array<unsigned int, MOST + 1> shortest{};
        unsigned int deepest = 0;
        auto first = __list.entries().begin();
        auto last = __list.entries().end();
        for (unsigned int length = 1; length <= MOST && first != last; ++length) {
            const T element = __list.folds() ? fold_literal(text[length - 1]) : text[length - 1];
            const auto at = [&](const auto& entry) { return __list.text(entry)[length - 1]; };
            first = std::find_if(first, last, [&](const auto& e) { return e.length >= length; });
            first =
                std::partition_point(first, last, [&](const auto& e) { return at(e) < element; });
            last =
                std::partition_point(first, last, [&](const auto& e) { return at(e) == element; });
            if (first != last) {
                deepest = length;
                shortest[length] = std::min_element(first, last, [](const auto& a, const auto& b) {
                                       return a.length < b.length;
                                   })->length;
            }
        }
        for (unsigned int least = 1; least <= deepest; ++least) {
            for (unsigned int behind = least + 1; behind <= MOST + 1; ++behind) {
                if (shortest[least] >= behind && behind <= MOST) {
                    continue;
                }
                __costs[least][behind] += COARSE_COST;
                if (__IsFound(shortest, least, behind)) {
                    __costs[least][behind] += FOUND_COST + ELEMENT_COST * (deepest - least);
                }
            }
        }
    }

    /// Whether a class finds something here in its last step, too.
    static bool __IsFound(const std::array<unsigned int, MOST + 1>& shortest, unsigned int least,
                          unsigned int behind) {
        for (unsigned int i = 0; i < PREFIX_STEPS; ++i) {
            const unsigned int length = least + i * prefix_word<T>::STEP;
            const unsigned int next = i + 1 == PREFIX_STEPS ? OPEN : length + prefix_word<T>::STEP;
            const unsigned int found = shortest[std::min(length, MOST)];
            if (found != 0 && found < next && (found < behind || behind > MOST)) {
                return true;
            }
        }
        return false;
    }

    const literal_list<T>& __list;
    std::array<bool, MOST + 1> __has{};
    std::array<std::array<double, MOST + 2>, MOST + 2> __costs{};
    unsigned int __places = 0;
};

/// The best cuts.
template <class T>
CHOICE ChooseCuts(const literal_list<T>& list, text_ref<T> sample) {
    constexpr unsigned int MOST = MOST_OF_PREFIX<T>;
    const class_costs<T> costs(list, sample);
    // For each length, the best classes of the literals with at least as many elements.
    std::array<CHOICE, MOST + 2> best;
    best[MOST + 1] = {0, {OPEN}};
    for (unsigned int least = MOST; least > 0; --least) {
        best[least].cost = std::numeric_limits<double>::infinity();
        for (unsigned int behind = least + 1; behind <= MOST + 1; ++behind) {
            const double cost = costs.of(least, behind) + best[behind].cost;
            if (cost < best[least].cost && best[behind].cuts.size() <= MOST_CLASSES) {
                best[least] = {cost, best[behind].cuts};
                best[least].cuts.insert(best[least].cuts.begin(), least);
            }
        }
    }
    return best[1];
}

} // namespace

template <class T>
literal_set<T>::literal_set(std::span<const LITERAL<T>> literals, text_ref<T> sample)
    : __list(literals, std::ranges::any_of(literals, [](const auto& l) { return l.noCase; })),
      __tree(__list) {
    const auto [cost, cuts] = ChooseCuts(__list, sample);
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        __MakeClass(cuts[i], cuts[i + 1]);
    }
    __tree.close();
    for (const auto& entry : __list.entries()) {
        const auto& owner = __list.owners(entry)[0];
        __hasConditions = __hasConditions || owner.wholeWord || owner.exact != nullptr;
    }
    if (!__hasConditions) {
        __MakeDfa(cost);
    }
}

/// A class of the literals of these lengths, if there are any.
template <class T>
void literal_set<T>::__MakeClass(unsigned int least, unsigned int behind) {
    using word = prefix_word<T>;
    std::vector<std::uint32_t> members;
    unsigned int shortest = MOST_OF_PREFIX<T>;
    for (std::uint32_t i = 0; i < __list.entries().size(); ++i) {
        if (const auto& entry = __list.entries()[i];
            entry.length >= least && entry.length < behind) {
            members.push_back(i);
            shortest = std::min(shortest, entry.length);
        }
    }
    if (members.empty()) {
        return;
    }
    prefix_class& made =
        __classes.emplace_back(shortest, word::HALF, word::BITS,
                               CountPrefixes(__list, shortest, behind), word::STEP, members.size());
    const auto wordOf = [this](std::uint32_t member) {
        const auto& entry = __list.entries()[member];
        std::array<T, MOST_OF_PREFIX<T>> front{};
        std::copy_n(__list.text(entry), std::min(entry.length, MOST_OF_PREFIX<T>), front.begin());
        return WordOf<T>(front.data(), __list.folds());
    };
    for (std::size_t begin = 0; begin < members.size();) {
        const T* const text = __list.text(__list.entries()[members[begin]]);
        std::size_t end = begin;
        while (end < members.size() &&
               std::equal(text, text + shortest, __list.text(__list.entries()[members[end]]))) {
            made.add_literal(wordOf(members[end]), __list.entries()[members[end]].length);
            ++end;
        }
        const std::uint32_t root = __tree.add(std::span(members).subspan(begin, end - begin));
        const std::uint32_t depth = __tree.node(root).depth;
        const bool hasEnd = depth >= word::END;
        std::uint32_t last = hasEnd ? word::end(text + depth) : 0;
        last = __list.folds() && hasEnd ? word::blur_end(last) : last;
        made.add(wordOf(members[begin]),
                 {root, depth, last, hasEnd ? ~std::uint32_t{0} : 0, __tree.next_bits(root)});
        begin = end;
    }
}

/// Makes an automaton if it costs less at each place than the classes do.
template <class T>
void literal_set<T>::__MakeDfa(double cost) {
    constexpr std::uint64_t MOST_CELLS = std::uint64_t{1} << 18; // what a second level cache holds
    constexpr double TABLE_COST = 1.5;                           // nanoseconds, about
    constexpr double ARRAY_COST = 6;
    if (cost <= TABLE_COST) {
        return;
    }
    const literal_kinds<T> kinds(__list);
    const bool fits = CountStates(__list) * kinds.count() <= MOST_CELLS;
    if (kinds.count() == 0 || (!fits && cost <= ARRAY_COST)) {
        return;
    }
    const literal_trie<T, false> trie(__list);
    const leftmost_links<T> links(trie);
    if (fits) {
        __dfa = std::make_unique<literal_dfa<T>>(trie, links, kinds);
    } else {
        __array = std::make_unique<literal_double_array<T>>(trie, links, kinds);
    }
}

template <class T>
const literal_automaton<T>& literal_set<T>::automaton() const {
    std::call_once(__once,
                   [this] { __automaton = std::make_unique<literal_automaton<T>>(__list); });
    return *__automaton;
}

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
}

template <class T>
bool literal_search<T>::find(unsigned int from, RULE_MATCH& match) {
    const unsigned int fast = std::min(
        __closed, __text.length < MOST_OF_PREFIX<T> ? 0 : __text.length - MOST_OF_PREFIX<T> + 1);
    unsigned int at = from;
    __undecided = __text.length;
    if (__set.has_dfa() && !__isByAutomaton && at < __closed && __FindByDfa(at, match)) {
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
        if (one.is_long()) {
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
    const auto hashAt = [&](unsigned int place) {
        prefix_class::WORD front{word::load(text + place), 0};
        if constexpr (Long) {
            front.high = word::load(text + place + word::HALF);
        }
        if constexpr (Folds) {
            front = {word::blur(front.low), word::blur(front.high)};
        }
        return one.template hash_of<Long>(front);
    };
    for (unsigned int i = begin; i < end; ++i) {
        places[count] = i;
        count += one.may_have(hashAt(i));
    }
    const std::size_t coarse = std::exchange(count, 0);
    for (std::size_t i = 0; i < coarse; ++i) {
        places[count] = places[i];
        count += one.may_have_literal(WordOf<T>(text + places[i], Folds));
    }
    for (std::size_t i = 0; i < count; ++i) {
        one.prefetch(hashAt(places[i]));
    }
    std::size_t found = __candidates.size();
    __candidates.resize(found + count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t hash = hashAt(places[i]);
        bool isFound = false;
        const prefix_class::ROOT* const root = one.look(hash, isFound);
        if (root == nullptr) {
            one.find(hash, [&](const prefix_class::ROOT& other) {
                __candidates.resize(std::max(__candidates.size(), found + count - i + 1));
                __candidates[found] = {places[i], other.node};
                found += __MayBe<Folds>(other, places[i]) ? 1 : 0;
            });
            continue;
        }
        __candidates[found] = {places[i], root->node};
        found += static_cast<std::size_t>(isFound) &
                 static_cast<std::size_t>(__MayBe<Folds>(*root, places[i]));
    }
    __candidates.resize(found);
}

/// Whether the text goes on from a place, where any literal would end within it, as what the
/// literals of a root have in common ends.
template <class T>
template <bool Folds>
bool literal_search<T>::__MayBe(const prefix_class::ROOT& root, unsigned int place) const {
    const T* const end = __text.data + place + std::max(root.depth, word::END);
    const std::uint32_t last = Folds ? word::blur_end(word::end(end)) : word::end(end);
    // Where all may come next, the text may be over.
    const bool isOver = place + root.depth == __text.length;
    const T behind = __text.data[place + root.depth - (isOver ? 1 : 0)];
    const std::uint64_t next = prefix_class::ROOT::bit(Folds ? fold_literal(behind) : behind);
    return (((last ^ root.end) & root.endMask) == 0) & ((root.next & next) != 0);
}

/// The same up to the text's end, with a look at what may come behind it.
template <class T>
bool literal_search<T>::__FindAtEnd(unsigned int at, RULE_MATCH& match) {
    for (; at < __text.length; ++at) {
        const unsigned int rest = __text.length - at;
        if (at >= __closed && __set.list().begins_with(__text.data + at, rest)) {
            __undecided = at;
            return false;
        }
        std::array<T, MOST_OF_PREFIX<T>> front{};
        const unsigned int count = std::min(rest, MOST_OF_PREFIX<T>);
        std::copy_n(__text.data + at, count, front.begin());
        const OUTCOME outcome = __Try(at, WordOf<T>(front.data(), __folds), count, match);
        if (outcome != OUTCOME::NONE) {
            return outcome == OUTCOME::FOUND;
        }
    }
    __undecided = __isLast ? __text.length : cut_begin(__text);
    return false;
}

/// Looks whether a match begins at a place, of whose elements the word has `count`.
template <class T>
auto literal_search<T>::__Try(unsigned int at, const prefix_class::WORD& front, unsigned int count,
                              RULE_MATCH& match) -> OUTCOME {
    OUTCOME outcome = OUTCOME::NONE;
    match.length = 0;
    for (const prefix_class& one : __set.classes()) {
        if (one.length() <= count) {
            one.find(one.template hash_of<true>(front), [&](const prefix_class::ROOT& root) {
                __GoDown(at, root.node, outcome, match);
            });
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
            unsigned int rule = list.owners(list.entries()[node.entry])[0].rule;
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
bool literal_search<T>::__FindByDfa(unsigned int& at, RULE_MATCH& match) {
    const T* reached = nullptr;
    const auto found = __set.find_by_dfa(__text.data + at, __text.data + __text.length, reached);
    const auto end =
        static_cast<unsigned int>((found.end == nullptr ? reached : found.end) - __text.data);
    // What was read behind a match is read again.
    __credit += static_cast<std::int64_t>(end - at) * COST_FACTOR -
                (reached - __text.data - end) * DFA_COST;
    __isByAutomaton = __credit < 0;
    const auto& literal = __set.list().entries()[found.entry];
    if (found.end == nullptr || end - literal.length >= __closed) {
        at = std::max(at, __closed);
        return false;
    }
    match = {end - literal.length, literal.length, __set.list().owners(literal)[0].rule};
    return true;
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

template class literal_set<unsigned char>;
template class literal_set<wchar_t>;
template class literal_search<unsigned char>;
template class literal_search<wchar_t>;

} // namespace Quil::IMPL

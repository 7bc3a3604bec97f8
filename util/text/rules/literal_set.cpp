// The classes are chosen by what a text would cost: a look-up for each class and place, and a way
// down wherever one says yes, which a prefix does the more often the shorter it is.
#include "util/text/rules/literal_set.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace Quil::IMPL {

namespace {

/// Bounds of the classes by length, the last one open.
using CUTS = std::vector<unsigned int>;

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

/// The best cuts into at most three classes.
template <class T>
CUTS ChooseCuts(const literal_list<T>& list) {
    constexpr unsigned int MOST = prefix_word<T>::MOST;
    constexpr unsigned int OPEN = ~0U;
    constexpr double LOOK_COST = 1;
    constexpr double WAY_COST = 12;
    std::array<bool, MOST + 1> has{};
    for (const auto& entry : list.entries()) {
        has[std::min(entry.length, MOST)] = true;
    }
    const auto costOf = [&](unsigned int least, unsigned int behind) {
        while (least < MOST && !has[least]) {
            ++least; // the shortest that there is
        }
        const std::size_t count = CountPrefixes(list, least, behind);
        const double share = static_cast<double>(count) / std::pow(prefix_word<T>::RARITY, least);
        return count == 0 ? 0 : LOOK_COST + WAY_COST * std::min(1.0, share);
    };
    std::array<std::array<double, MOST + 2>, MOST + 2> costs{};
    for (unsigned int least = 1; least <= MOST; ++least) {
        for (unsigned int behind = least + 1; behind <= MOST + 1; ++behind) {
            costs[least][behind] = costOf(least, behind > MOST ? OPEN : behind);
        }
    }
    CUTS best{1};
    double bestCost = costs[1][MOST + 1];
    for (unsigned int a = 2; a <= MOST; ++a) {
        if (const double two = costs[1][a] + costs[a][MOST + 1]; two < bestCost) {
            bestCost = two;
            best = {1, a};
        }
        for (unsigned int b = a + 1; b <= MOST; ++b) {
            const double three = costs[1][a] + costs[a][b] + costs[b][MOST + 1];
            if (three < bestCost) {
                bestCost = three;
                best = {1, a, b};
            }
        }
    }
    best.push_back(OPEN);
    return best;
}

} // namespace

template <class T>
literal_set<T>::literal_set(std::span<const LITERAL<T>> literals)
    : __list(literals, std::ranges::any_of(literals, [](const auto& l) { return l.noCase; })),
      __tree(__list) {
    const CUTS cuts = ChooseCuts(__list);
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        __MakeClass(cuts[i], cuts[i + 1]);
    }
}

/// A class of the literals of these lengths, if there are any.
template <class T>
void literal_set<T>::__MakeClass(unsigned int least, unsigned int behind) {
    using word = prefix_word<T>;
    std::vector<std::uint32_t> members;
    unsigned int shortest = word::MOST;
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
    prefix_class& made = __classes.emplace_back(shortest, word::BITS,
                                                CountPrefixes(__list, shortest, behind));
    for (std::size_t begin = 0; begin < members.size();) {
        const T* const text = __list.text(__list.entries()[members[begin]]);
        std::size_t end = begin + 1;
        while (end < members.size() &&
               std::equal(text, text + shortest, __list.text(__list.entries()[members[end]]))) {
            ++end;
        }
        std::array<T, word::MOST> front{};
        std::copy_n(text, shortest, front.begin());
        const std::uint64_t prefix = word::load(front.data());
        made.add(prefix, __list.folds() ? word::blur(prefix) : prefix,
                 __tree.add(std::span(members).subspan(begin, end - begin)));
        begin = end;
    }
}

template <class T>
const literal_automaton<T>& literal_set<T>::automaton() const {
    std::call_once(__once, [this] { __automaton = std::make_unique<literal_automaton<T>>(__list); });
    return *__automaton;
}

template <class T>
literal_search<T>::literal_search(const literal_set<T>& set)
    : __set(set), __folds(set.list().folds()), __text(basic_buffer<T>()) {
    for (const auto& entry : set.list().entries()) {
        const auto& owner = set.list().owners(entry)[0];
        __hasConditions = __hasConditions || owner.wholeWord || owner.exact != nullptr;
    }
}

template <class T>
void literal_search<T>::set_text(text_ref<T> text, bool isLast, bool isInWord) {
    const unsigned int longest = __set.list().longest();
    __text = text;
    __isLast = isLast;
    __isInWord = isInWord;
    __closed = isLast                  ? text.length
               : text.length < longest ? 0
                                       : text.length - longest + 1;
    __undecided = text.length;
    __chunkBegin = __chunkEnd = 0;
}

template <class T>
bool literal_search<T>::find(unsigned int from, RULE_MATCH& match) {
    const unsigned int fast =
        std::min(__closed, __text.length < word::MOST ? 0 : __text.length - word::MOST + 1);
    unsigned int at = from;
    __undecided = __text.length;
    while (at < fast) {
        const unsigned int before = at;
        const bool isFound = __isByAutomaton ? __FindByAutomaton(at, fast, match)
                                             : __FindByClasses(at, fast, match);
        __credit += static_cast<std::int64_t>(at - before) * COST_FACTOR;
        if (isFound || __undecided != __text.length) {
            return isFound;
        }
    }
    return __FindAtEnd(at, match);
}

template <class T>
bool literal_search<T>::__FindByClasses(unsigned int& at, unsigned int end, RULE_MATCH& match) {
    switch (__set.classes().size()) {
    case 0:
        at = end;
        return false;
    case 1:
        return __folds ? __FindBetween<true, 1>(at, end, match)
                       : __FindBetween<false, 1>(at, end, match);
    case 2:
        return __folds ? __FindBetween<true, 2>(at, end, match)
                       : __FindBetween<false, 2>(at, end, match);
    default:
        return __folds ? __FindBetween<true, 3>(at, end, match)
                       : __FindBetween<false, 3>(at, end, match);
    }
}

/// Looks for a match that begins in [at, end), where all elements of a prefix are there. Without
/// one, `at` is where the search came to: the end, unless it was given up.
template <class T>
template <bool Folds, unsigned int Classes>
bool literal_search<T>::__FindBetween(unsigned int& at, unsigned int end, RULE_MATCH& match) {
    const prefix_class* const classes = __set.classes().data();
    const T* const text = __text.data;
    for (unsigned int i = at; i < end; ++i) {
        const std::uint64_t exact = word::load(text + i);
        const std::uint64_t prefix = Folds ? word::blur(exact) : exact;
        bool mayBegin = classes[0].may_have(prefix);
        if constexpr (Classes > 1) {
            mayBegin |= classes[1].may_have(prefix);
        }
        if constexpr (Classes > 2) {
            mayBegin |= classes[2].may_have(prefix);
        }
        if (!mayBegin) {
            continue;
        }
        const OUTCOME outcome =
            __Try(i, Folds ? fold_word<T>(exact) : exact, word::MOST, match);
        if (outcome != OUTCOME::NONE || __isByAutomaton) {
            at = i + (outcome == OUTCOME::NONE ? 1 : 0);
            return outcome == OUTCOME::FOUND;
        }
    }
    at = end;
    return false;
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
        std::array<T, word::MOST> front{};
        const unsigned int count = std::min(rest, word::MOST);
        std::copy_n(__text.data + at, count, front.begin());
        const std::uint64_t exact = word::load(front.data());
        const OUTCOME outcome = __Try(at, __folds ? fold_word<T>(exact) : exact, count, match);
        if (outcome != OUTCOME::NONE) {
            return outcome == OUTCOME::FOUND;
        }
    }
    __undecided = __isLast ? __text.length : cut_begin(__text);
    return false;
}

/// Looks whether a match begins at a place, of whose elements the word has `count`.
template <class T>
auto literal_search<T>::__Try(unsigned int at, std::uint64_t prefix, unsigned int count,
                              RULE_MATCH& match) -> OUTCOME {
    OUTCOME outcome = OUTCOME::NONE;
    match.length = 0;
    for (const prefix_class& one : __set.classes()) {
        if (one.length() <= count) {
            if (const std::uint32_t root = one.find(prefix); root != 0) {
                __GoDown(at, root, outcome, match);
            }
        }
    }
    if (outcome == OUTCOME::OPEN) {
        __undecided = at;
    }
    match.begin = at;
    return outcome;
}

template <class T>
void literal_search<T>::__GoDown(unsigned int at, std::uint32_t root, OUTCOME& outcome,
                                 RULE_MATCH& match) {
    const auto& entries = __set.list().entries();
    const unsigned int rest = __text.length - at;
    unsigned int depth = 0;
    for (std::uint32_t number = root; number != 0;) {
        const auto& node = __set.tree().node(number);
        --__credit;
        if (node.depth > rest ||
            !__Fits(__set.list().text({node.text, 0, 0, 0}) + depth, at + depth,
                    node.depth - depth)) {
            break;
        }
        depth = node.depth;
        if (node.entry != tree::NONE && depth > match.length) {
            unsigned int rule = __set.list().owners(entries[node.entry])[0].rule;
            const OUTCOME chosen =
                __hasConditions ? __Choose(node.entry, at, rule) : OUTCOME::FOUND;
            if (chosen == OUTCOME::FOUND) {
                match.length = depth;
                match.rule = rule;
            }
            outcome = std::max(outcome, chosen);
        }
        if (depth == rest) {
            break;
        }
        const T next = __text.data[at + depth];
        number = __set.tree().child(node, __folds ? fold_literal(next) : next);
    }
    if (__credit < 0) {
        __isByAutomaton = true;
    }
}

/// Whether the text goes on with a stretch of a literal.
template <class T>
bool literal_search<T>::__Fits(const T* label, unsigned int at, unsigned int count) {
    const T* const text = __text.data + at;
    unsigned int same = 0;
    if (__folds) {
        while (same < count && fold_literal(text[same]) == label[same]) {
            ++same;
        }
    } else {
        while (same < count && text[same] == label[same]) {
            ++same;
        }
    }
    __credit -= same / STRETCH;
    return same == count;
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

template <class T>
bool literal_search<T>::__FindByAutomaton(unsigned int& at, unsigned int end, RULE_MATCH& match) {
    while (at < end) {
        if (at < __chunkBegin || at >= __chunkEnd) {
            __TellChunk(at, std::min<unsigned int>(end, at + std::max(CHUNK, __set.list().longest())));
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
    const std::uint64_t behind = std::min<std::uint64_t>(
        __text.length, std::uint64_t{end} + list.longest());
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

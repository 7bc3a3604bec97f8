// The classes are chosen by what a text would cost: a look-up for each class and place, and a way
// down wherever one says yes, which a prefix does the more often the shorter it is.
#include "util/text/rules/literal_set.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

namespace Quil::IMPL {

namespace {

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
        constexpr double LOOK_COST = 1;
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
        for (unsigned int i = 0; i < MOST_TABLES; ++i) {
            const unsigned int length = least + i * prefix_word<T>::STEP;
            const unsigned int next = i + 1 == MOST_TABLES ? OPEN : length + prefix_word<T>::STEP;
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
        __dfaPaysFrom = __DfaPaysFrom(cost);
    }
}

/// A class of the literals of these lengths, if there are any.
template <class T>
void literal_set<T>::__MakeClass(unsigned int least, unsigned int behind) {
    using word = prefix_word<T>;
    constexpr unsigned int MOST = MOST_OF_PREFIX<T>;
    unsigned int shortest = OPEN;
    for (const auto& entry : __list.entries()) {
        if (entry.length >= least && entry.length < behind) {
            shortest = std::min(shortest, entry.length);
        }
    }
    if (shortest == OPEN) {
        return;
    }
    shortest = std::min(shortest, MOST);
    prefix_class& made = __classes.emplace_back(prefix_class{
        shortest > word::HALF,
        PREFIX::Mask(shortest, word::HALF, word::BITS),
        prefix_bits(CountPrefixes(__list, shortest, behind), prefix_class::BITS_FOR_EACH),
        {}});
    for (unsigned int i = 0, from = shortest; i < MOST_TABLES && from <= MOST && from < behind;
         ++i) {
        const bool isLast = i + 1 == MOST_TABLES || from + word::STEP > MOST;
        __MakeTable(made, from, isLast ? behind : std::min(from + word::STEP, behind));
        from += word::STEP;
    }
}

/// A table of the literals of these lengths, if there are any.
template <class T>
void literal_set<T>::__MakeTable(prefix_class& of, unsigned int least, unsigned int behind) {
    using word = prefix_word<T>;
    std::vector<std::uint32_t> members;
    unsigned int length = MOST_OF_PREFIX<T>;
    for (std::uint32_t i = 0; i < __list.entries().size(); ++i) {
        if (const auto& entry = __list.entries()[i];
            entry.length >= least && entry.length < behind) {
            members.push_back(i);
            length = std::min(length, entry.length);
        }
    }
    if (members.empty()) {
        return;
    }
    prefix_table& table =
        of.tables.emplace_back(length, PREFIX::Mask(length, word::HALF, word::BITS),
                               CountPrefixes(__list, length, behind));
    const auto textOf = [&](std::size_t member) {
        return __list.text(__list.entries()[members[member]]);
    };
    for (std::size_t begin = 0; begin < members.size();) {
        const T* const text = textOf(begin);
        std::size_t end = begin + 1;
        while (end < members.size() && std::equal(text, text + length, textOf(end))) {
            ++end;
        }
        std::array<T, MOST_OF_PREFIX<T>> front{};
        std::copy_n(text, length, front.begin());
        const PREFIX prefix = prefix_of(front.data(), __list.folds());
        of.bits.add(of.template hash_of<true>(prefix));
        table.add(prefix, __MakeRoot(text, std::span(members).subspan(begin, end - begin)));
        begin = end;
    }
}

/// The tree of literals with one prefix, as a table tells of it.
template <class T>
prefix_table::ROOT literal_set<T>::__MakeRoot(const T* text,
                                              std::span<const std::uint32_t> members) {
    using word = prefix_word<T>;
    const std::uint32_t node = __tree.add(members);
    const std::uint32_t depth = __tree.node(node).depth;
    const bool hasEnd = depth >= word::END;
    std::uint32_t end = hasEnd ? word::end(text + depth) : 0;
    end = __list.folds() && hasEnd ? word::blur_end(end) : end;
    return {node, depth, end, hasEnd ? ~std::uint32_t{0} : 0, __tree.next_bits(node)};
}

/// From what length of a text on the automaton's table has been worth making, if each place costs
/// so much without it.
template <class T>
std::uint64_t literal_set<T>::__DfaPaysFrom(double cost) const {
    // Nanoseconds, about.
    constexpr double MAKE_COST = 3;       // of a cell
    constexpr double LEAST_COST = 1.2;    // of an element
    constexpr double FARTHER_COST = 0.25; // with twice the cells
    constexpr double NEAR = 18;           // the second level cache has two to this cells
    const literal_kinds<T> kinds(__list);
    const std::uint64_t cells = literal_dfa<T>::cells(CountStates(__list), kinds);
    const double far = std::max(0.0, std::log2(static_cast<double>(cells)) - NEAR);
    const double gain = cost - LEAST_COST - FARTHER_COST * far;
    if (kinds.count() == 0 || cells > literal_dfa<T>::MOST_CELLS || gain <= 0) {
        return NEVER;
    }
    return static_cast<std::uint64_t>(MAKE_COST * static_cast<double>(cells) / gain);
}

template <class T>
const literal_dfa<T>& literal_set<T>::dfa(text_ref<T> sample) const {
    std::call_once(__dfaOnce, [&] {
        __dfa = std::make_unique<literal_dfa<T>>(literal_trie<T, false>(__list), __list,
                                                 literal_kinds<T>(__list), sample);
    });
    return *__dfa;
}

template <class T>
const literal_automaton<T>& literal_set<T>::automaton() const {
    std::call_once(__automatonOnce,
                   [this] { __automaton = std::make_unique<literal_automaton<T>>(__list); });
    return *__automaton;
}

template class literal_set<unsigned char>;
template class literal_set<wchar_t>;

} // namespace Quil::IMPL

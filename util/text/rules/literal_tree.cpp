// Sorting goes by the first elements as a number, which tell most literals apart without a look at
// their texts.
#include "util/text/rules/literal_tree.h"

#include "util/text/rules/prefix_filter.h"

#include <algorithm>
#include <new>

namespace Quil::IMPL {

namespace {

/// The first elements of a text as a number that has the order of the texts: those that are equal
/// in it must be looked at.
template <class T>
std::uint64_t SortWord(const T* text, std::uint32_t length) {
    constexpr unsigned int ELEMENTS = prefix_word<T>::HALF;
    constexpr unsigned int BITS = prefix_word<T>::BITS;
    std::uint64_t word = 0;
    for (unsigned int i = 0; i < ELEMENTS; ++i) {
        word = word << BITS |
               (i < length ? static_cast<std::uint64_t>(text[i]) & ((1U << BITS) - 1) : 0);
    }
    return word;
}

/// Elements that two texts have in common, from `from` on, up to so many.
template <class T>
std::uint32_t CommonEnd(const T* a, const T* b, std::uint32_t from, std::uint32_t length) {
    return static_cast<std::uint32_t>(std::mismatch(a + from, a + length, b + from).first - a);
}

} // namespace

template <class T>
literal_list<T>::literal_list(std::span<const LITERAL<T>> literals, bool folds) : __folds(folds) {
    std::uint64_t size = 0;
    for (const LITERAL<T>& literal : literals) {
        size += literal.text.length;
    }
    constexpr std::size_t PADDING = sizeof(std::uint64_t); // whole words can be read
    if (size > basic_buffer<T>::max_size()) {
        throw std::bad_alloc();
    }
    __text.reserve(size + PADDING);
    std::vector<std::uint32_t> begins;
    std::vector<KEY> keys;
    begins.reserve(literals.size());
    keys.reserve(literals.size());
    for (const LITERAL<T>& literal : literals) {
        const auto begin = static_cast<std::uint32_t>(__text.size());
        __text.insert(__text.end(), literal.text.data, literal.text.data + literal.text.length);
        if (folds) {
            std::transform(__text.begin() + begin, __text.end(), __text.begin() + begin,
                           [](T c) { return fold_literal(c); });
        }
        keys.push_back({SortWord(__text.data() + begin, literal.text.length),
                        static_cast<std::uint32_t>(begins.size())});
        begins.push_back(begin);
        __longest = std::max(__longest, literal.text.length);
    }
    __text.resize(__text.size() + PADDING);
    const auto texts = [&](const KEY& key) {
        return std::span<const T>(__text.data() + begins[key.literal],
                                  literals[key.literal].text.length);
    };
    std::sort(keys.begin(), keys.end(), [&](const KEY& a, const KEY& b) {
        if (a.word != b.word) {
            return a.word < b.word;
        }
        const auto ofA = texts(a);
        const auto ofB = texts(b);
        const auto [atA, atB] = std::ranges::mismatch(ofA, ofB);
        if (atA != ofA.end() && atB != ofB.end()) {
            return *atA < *atB;
        }
        return ofA.size() != ofB.size() ? ofA.size() < ofB.size() : a.literal < b.literal;
    });
    __entries.reserve(keys.size());
    __owners.reserve(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const LITERAL<T>& literal = literals[keys[i].literal];
        if (i == 0 || keys[i].word != keys[i - 1].word ||
            !std::ranges::equal(texts(keys[i]), texts(keys[i - 1]))) {
            __entries.push_back({begins[keys[i].literal], literal.text.length,
                                 static_cast<std::uint32_t>(__owners.size()), 0, literal.rule});
        }
        ++__entries.back().count;
        const bool isExact = folds && !literal.noCase;
        __owners.push_back(
            {literal.rule, literal.wholeWord, isExact ? literal.text.data : nullptr});
    }
}

template <class T>
bool literal_list<T>::begins_with(const T* text, unsigned int length) const {
    const auto fold = [this](T c) { return __folds ? fold_literal(c) : c; };
    const auto at =
        std::partition_point(__entries.begin(), __entries.end(), [&](const ENTRY& entry) {
            const T* const own = this->text(entry);
            const unsigned int common = std::min(entry.length, length);
            for (unsigned int i = 0; i < common; ++i) {
                if (own[i] != fold(text[i])) {
                    return own[i] < fold(text[i]);
                }
            }
            return entry.length <= length;
        });
    return at != __entries.end() && at->length > length &&
           std::equal(text, text + length, this->text(*at), [&](T a, T b) { return fold(a) == b; });
}

template <class T>
std::uint32_t literal_tree<T>::add(std::span<const std::uint32_t> entries) {
    const auto root = static_cast<std::uint32_t>(__nodes.size());
    __nodes.push_back({});
    __edges.push_back({});
    __open.assign(1, {root, 0, static_cast<std::uint32_t>(entries.size()), 0});
    while (!__open.empty()) {
        const RANGE range = __open.back();
        __open.pop_back();
        __Spread(entries, range);
    }
    return root;
}

/// Makes a node of entries that have the way to it in common, and its children.
template <class T>
void literal_tree<T>::__Spread(std::span<const std::uint32_t> entries, const RANGE& range) {
    const auto entry = [&](std::uint32_t i) -> const auto& {
        return __list.entries()[entries[i]];
    };
    const auto& first = entry(range.begin);
    const auto& last = entry(range.end - 1);
    const std::uint32_t depth = CommonEnd(__list.text(first), __list.text(last), range.common,
                                          std::min(first.length, last.length));
    const bool isEnd = first.length == depth;
    const std::uint32_t begin = range.begin + (isEnd ? 1 : 0);
    const auto firstChild = static_cast<std::uint32_t>(__nodes.size());
    for (std::uint32_t from = begin; from < range.end;) {
        const T element = __list.text(entry(from))[depth];
        std::uint32_t to = from + 1;
        while (to < range.end && __list.text(entry(to))[depth] == element) {
            ++to;
        }
        __open.push_back({static_cast<std::uint32_t>(__nodes.size()), from, to, depth + 1});
        __nodes.push_back({});
        __edges.push_back(element);
        from = to;
    }
    __nodes[range.node] = {first.begin, depth, isEnd ? entries[range.begin] : NONE, firstChild,
                           static_cast<std::uint32_t>(__nodes.size()) - firstChild};
}

template class literal_list<unsigned char>;
template class literal_list<wchar_t>;
template class literal_tree<unsigned char>;
template class literal_tree<wchar_t>;

} // namespace Quil::IMPL

// Finding the reference in the tree, and comparing the text with itself.
#include "regex/filter/refskip.h"

#include "regex/compile/charclass.h"
#include "regex/filter/lanes.h"

#include <algorithm>

namespace Quil::IMPL::engine {

namespace {

/// A node of the tree that each match must pass, and where in the match it begins.
struct fixedpart {
    const subre* node;
    std::ptrdiff_t offset;
};

/// A group by number: where it begins in each match, and its length, which is 0 if either varies.
struct fixedgroup {
    std::ptrdiff_t offset = 0;
    std::ptrdiff_t length = 0;
};

} // namespace

template <class Chr>
TReferenceSkip<Chr>::TReferenceSkip(const guts<pattern>& g, const scanenv<Chr>& env)
    : __env(env), __anycase(g.compare == &casecmp<pattern>) {
    if (!(g.info & REG_UBACKREF)) {
        return;
    }
    lookforfixed(g);
    if (__fixed.length == 0) {
        lookforwalk(g);
    }
}

template <class Chr>
void TReferenceSkip<Chr>::lookforfixed(const guts<pattern>& g) {
    std::vector<fixedgroup> groups(g.nsub + 1);
    std::vector<fixedpart> parts{{g.tree, 0}};
    while (!parts.empty()) {
        const auto [node, offset] = parts.back();
        parts.pop_back();
        const auto number = static_cast<std::size_t>(node->subno);
        switch (node->op) {
        case '(':
            if (const int length = TNodes<Chr>::length(*node); length > 0) {
                groups[number] = {offset, length};
            }
            parts.push_back({node->left, offset});
            break;
        case '.': // the left part first, as it holds the groups that the right one refers to
            if (const int length = TNodes<Chr>::length(*node->left); length >= 0) {
                parts.push_back({node->right, offset + length});
            }
            parts.push_back({node->left, offset});
            break;
        case 'b': // the reference that tells most is taken
            if (const auto [begin, length] = groups[number];
                node->min > 0 && std::min(length, ENOUGH) > __fixed.length) {
                __fixed = {begin, offset, std::min(length, ENOUGH)};
            }
            break;
        default:
            break; // an alternative need not be passed
        }
    }
}

/// The same where distances vary: takes the first reference whose place follows from the begin.
template <class Chr>
void TReferenceSkip<Chr>::lookforwalk(const guts<pattern>& g) {
    std::vector<span> groups(g.nsub + 1);
    std::vector<part> parts{{g.tree, 0, UNKNOWN}};
    while (!parts.empty()) {
        const auto [node, begin, end] = parts.back();
        parts.pop_back();
        const auto number = static_cast<std::size_t>(node->subno);
        switch (node->op) {
        case '(':
            groups[number] = {begin, end};
            parts.push_back({node->left, begin, end});
            break;
        case '.': {
            const std::size_t mid = meet(*node, begin);
            if (mid != UNKNOWN) {
                parts.push_back({node->right, mid, end});
            }
            parts.push_back({node->left, begin, mid});
            break;
        }
        case 'b':
            if (node->min > 0 && groups[number].end != UNKNOWN) {
                __group = groups[number];
                __reference = begin;
                __walks = true;
                lookforshared();
                return;
            }
            break;
        default:
            break;
        }
    }
}

/// Whether the places are those of the next begin as well, but for some that move with it: then one
/// hinge, the group's end, tells all others.
template <class Chr>
void TReferenceSkip<Chr>::lookforshared() {
    constexpr std::ptrdiff_t HINGED = -1;
    std::array<std::ptrdiff_t, MOSTPLACES> offsets{};
    std::size_t hinges = 0;
    for (std::size_t i = 0; i < __steps.size(); ++i) {
        const step& s = __steps[i];
        const std::ptrdiff_t from = offsets[s.from];
        const bool moves = from != HINGED && s.hinge.empty();
        offsets[i + 1] = moves ? from + s.distance : HINGED;
        if (from != HINGED && !moves) {
            ++hinges;
            __shared.hinge = i;
            __shared.from = from;
        }
    }
    __shares = !__anycase && hinges == 1 && __shared.hinge + 1 == __group.end &&
               offsets[__group.begin] != HINGED && offsets[__reference] == HINGED;
    __shared.lead = offsets[__group.begin];
    // A group that may be empty is alike everywhere.
    __shares = __shares && __shared.from + __steps[__shared.hinge].distance > __shared.lead;
}

/// The place where a concatenation that begins at a known place is divided.
template <class Chr>
std::size_t TReferenceSkip<Chr>::meet(const subre& node, std::size_t begin) {
    step how{.from = begin, .distance = node.left->cnfa.minlen, .hinge = {}};
    if (TNodes<Chr>::length(*node.left) < 0) {
        how.hinge = CHinge(node.left->cnfa, node.right->cnfa);
        if (!how.hinge.ahead()) {
            return UNKNOWN;
        }
    }
    if (__steps.size() + 1 == MOSTPLACES) {
        return UNKNOWN;
    }
    __steps.push_back(std::move(how));
    return __steps.size();
}

template <class Chr>
void TReferenceSkip<Chr>::newtext() {
    for (step& s : __steps) {
        s.lookedfrom = s.found = nullptr;
    }
}

template <class Chr>
bool TReferenceSkip<Chr>::alike(const Chr* a, const Chr* b, std::ptrdiff_t length) const {
    for (std::ptrdiff_t i = 0; i < length; ++i) {
        if (a[i] != b[i] &&
            !(__anycase && chrtraits<Chr>::tolower(a[i]) == chrtraits<Chr>::tolower(b[i]))) {
            return false;
        }
    }
    return true;
}

template <class Chr>
const Chr* TReferenceSkip<Chr>::find(const Chr* begin, const Chr* stop) {
    if (__walks) {
        for (; begin != stop; ++begin) {
            if (holds(begin, stop)) {
                return begin;
            }
            if (__shares) {
                begin = passunlike(begin, stop);
            }
        }
        return nullptr;
    }
    const auto [group, reference, length] = __fixed;
    if (stop - begin < reference + length) {
        return nullptr;
    }
    const Chr* const last = stop - reference - length;
    if (!__anycase) {
        begin = findexact(begin, last);
    }
    while (begin <= last && !alike(begin + group, begin + reference, length)) {
        ++begin;
    }
    return begin <= last ? begin : nullptr;
}

/// Behind a begin at which the reference doesn't hold: passes over those that follow up to the
/// hinge and whose group begins with another character than the reference. Answers the last one
/// passed.
template <class Chr>
const Chr* TReferenceSkip<Chr>::passunlike(const Chr* begin, const Chr* stop) const {
    const step& hinge = __steps[__shared.hinge];
    const Chr* const reference = __places[__reference];
    if (reference == nullptr || reference >= stop || hinge.found == stop) {
        return begin;
    }
    const Chr* const last = hinge.found - hinge.distance - __shared.from;
    while (begin < last && begin[1 + __shared.lead] != *reference) {
        ++begin;
    }
    return begin;
}

/// Goes on to the neighbourhood of the next begin, by vectors of the text. All bits of a character
/// count here, not only those that the color map tells apart.
template <class Chr>
const Chr* TReferenceSkip<Chr>::findexact(const Chr* begin, const Chr* last) const {
    using vector = typename lanes<Chr>::vector;
    const auto at = [](const Chr* p) {
        vector v;
        std::memcpy(&v, p, sizeof v);
        return v;
    };
    const std::ptrdiff_t second = __fixed.length - 1;
    for (; last - begin >= lanes<Chr>::COUNT; begin += lanes<Chr>::COUNT) {
        const Chr* const a = begin + __fixed.group;
        const Chr* const b = begin + __fixed.reference;
        if (AnyLane((at(a) == at(b)) & (at(a + second) == at(b + second)))) {
            break;
        }
    }
    return begin;
}

/// Where a step leads to, or null: nowhere, so there is no match.
template <class Chr>
const Chr* TReferenceSkip<Chr>::follow(step& how, const Chr* from, const Chr* stop) const {
    if (stop - from < how.distance) {
        return nullptr;
    }
    if (how.hinge.empty()) {
        return from + how.distance;
    }
    // The steps of one begin after the other lead to the same place again and again.
    if (!how.found || from < how.lookedfrom || from >= how.found) {
        const Chr* const found = how.hinge.find(from, stop, __env.colors);
        how.lookedfrom = from;
        how.found = found ? found : stop;
    }
    return how.found - from < how.distance ? nullptr : how.found;
}

/// Whether the reference may hold in a match that begins here.
template <class Chr>
bool TReferenceSkip<Chr>::holds(const Chr* begin, const Chr* stop) {
    __places = {begin};
    for (std::size_t i = 0; i < __steps.size(); ++i) {
        if (!(__places[i + 1] = follow(__steps[i], __places[__steps[i].from], stop))) {
            return false;
        }
    }
    const Chr* const group = __places[__group.begin];
    const Chr* const reference = __places[__reference];
    const std::ptrdiff_t length = __places[__group.end] - group;
    return length <= stop - reference && alike(group, reference, length);
}

template class TReferenceSkip<char>;
template class TReferenceSkip<wchar_t>;
template class TReferenceSkip<unsigned char>;

} // namespace Quil::IMPL::engine

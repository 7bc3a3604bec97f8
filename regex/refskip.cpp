// Finding the reference in the tree, and comparing the text with itself.
#include "regex/refskip.h"

#include "regex/charclass.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

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
TReferenceSkip<Chr>::TReferenceSkip(const guts<pattern>& g)
    : anycase_(g.compare == &casecmp<pattern>) {
    std::vector<fixedgroup> groups(g.nsub + 1);
    std::vector<fixedpart> parts{{g.tree, 0}};
    while (!parts.empty()) {
        const auto [node, offset] = parts.back();
        parts.pop_back();
        const auto number = static_cast<std::size_t>(node->subno);
        switch (node->op) {
        case '(':
            if (const int length = TNodes<Chr>::length(*node); length > 0)
                groups[number] = {offset, length};
            parts.push_back({node->left, offset});
            break;
        case '.': // the left part first, as it holds the groups that the right one refers to
            if (const int length = TNodes<Chr>::length(*node->left); length >= 0)
                parts.push_back({node->right, offset + length});
            parts.push_back({node->left, offset});
            break;
        case 'b':
            if (node->min > 0)
                take(groups[number].offset, offset, groups[number].length);
            break;
        default:
            break; // an alternative need not be passed
        }
    }
}

/// Chooses the reference that tells most.
template <class Chr>
void TReferenceSkip<Chr>::take(std::ptrdiff_t group, std::ptrdiff_t reference,
                               std::ptrdiff_t length) {
    if (std::min(length, ENOUGH) <= length_)
        return;
    group_ = group;
    reference_ = reference;
    length_ = std::min(length, ENOUGH);
}

template <class Chr>
bool TReferenceSkip<Chr>::holds(const Chr* begin) const {
    for (std::ptrdiff_t i = 0; i < length_; ++i) {
        const Chr a = begin[group_ + i], b = begin[reference_ + i];
        if (a != b && !(anycase_ && chrtraits<Chr>::tolower(a) == chrtraits<Chr>::tolower(b)))
            return false;
    }
    return true;
}

template <class Chr>
const Chr* TReferenceSkip<Chr>::find(const Chr* begin, const Chr* stop) const {
    const std::ptrdiff_t room = reference_ + length_;
    if (stop - begin < room)
        return nullptr;
    const Chr* const last = stop - room;
    if (!anycase_)
        begin = findexact(begin, last);
    while (begin <= last && !holds(begin))
        ++begin;
    return begin <= last ? begin : nullptr;
}

/// Goes on to the neighbourhood of the next begin, by vectors of the text.
template <class Chr>
const Chr* TReferenceSkip<Chr>::findexact(const Chr* begin, const Chr* last) const {
    using value = std::make_unsigned_t<std::conditional_t<sizeof(Chr) == 1, char, std::int32_t>>;
    typedef value vector __attribute__((vector_size(16)));
    constexpr std::ptrdiff_t LANES = sizeof(vector) / sizeof(value);
    const std::ptrdiff_t second = length_ - 1;
    const auto at = [](const Chr* p) {
        vector v;
        std::memcpy(&v, p, sizeof v);
        return v;
    };
    for (; last - begin >= LANES; begin += LANES) {
        const Chr* const a = begin + group_;
        const Chr* const b = begin + reference_;
        const auto alike = (at(a) == at(b)) & (at(a + second) == at(b + second));
        std::uint64_t halves[2];
        std::memcpy(halves, &alike, sizeof halves);
        if ((halves[0] | halves[1]) != 0)
            break;
    }
    return begin;
}

template class TReferenceSkip<char>;
template class TReferenceSkip<wchar_t>;
template class TReferenceSkip<unsigned char>;

} // namespace Quil::IMPL::engine

// Division of a match along the tree, without and with back references.
#include "regex/match/dissect.h"

#include "regex/compile/charclass.h"

#include <type_traits>

namespace Quil::IMPL::engine {

namespace {

/// Sets of divisions may take this many words; behind that, divisions are tried scan by scan.
constexpr std::size_t MOSTBITWORDS = std::size_t{1} << 23;

bool shorter(const subre& node) {
    return (node.flags & SHORTER) != 0;
}

} // namespace

template <class Chr>
TDissector<Chr>::TDissector(const guts<pattern>& g, scanenv<Chr>& env, TNodes<Chr>& nodes)
    : __guts(g), __env(env), __nodes(nodes), __hinges(static_cast<std::size_t>(g.ntree)) {}

template <class Chr>
void TDissector<Chr>::setmatches(regmatch_t* pmatch, std::size_t nmatch) {
    __pmatch = pmatch;
    __nmatch = nmatch;
}

template <class Chr>
void TDissector<Chr>::clear() {
    for (std::size_t i = 1; i < __nmatch; ++i) {
        __pmatch[i] = regmatch_t{-1, -1};
    }
}

template <class Chr>
void TDissector<Chr>::note(const subre& group, const Chr* begin, const Chr* end) {
    const auto n = static_cast<std::size_t>(group.subno);
    if (n < __nmatch) {
        __pmatch[n] =
            regmatch_t{static_cast<int>(begin - __env.start), static_cast<int>(end - __env.start)};
    }
}

template <class Chr>
int TDissector<Chr>::dissect(const subre* root, const Chr* begin, const Chr* end) {
    __pieces.clear();
    piece p{root, begin, end};
    for (;;) {
        if (!(p.node->flags & CAP)) { // no group to be found
            if (__pieces.empty()) {
                return REG_OKAY;
            }
            p = __pieces.back();
            __pieces.pop_back();
            continue;
        }
        switch (p.node->op) {
        case '(':
            note(*p.node, p.begin, p.end);
            p.node = p.node->left;
            break;
        case '|': {
            const subre* t = p.node;
            while (t && !__nodes.matches(*t->left, p.begin, p.end)) {
                t = t->right;
            }
            if (!t) {
                return REG_ASSERT;
            }
            p.node = t->left;
            break;
        }
        case '.': {
            const Chr* const mid = split(*p.node, p.begin, p.end);
            if (!mid) {
                return REG_ASSERT;
            }
            if (p.node->right->flags & CAP) {
                __pieces.push_back({p.node->right, mid, p.end});
            }
            p = {p.node->left, p.begin, mid};
            break;
        }
        default:
            return REG_ASSERT;
        }
    }
}

/// Where a concatenation that matches [begin, end] must be divided, if the length of its right side
/// or the characters of the two tell. Both sides then match there. Null if it isn't known.
template <class Chr>
const Chr* TDissector<Chr>::onlymid(const subre& node, const Chr* begin, const Chr* end) {
    if (!__env.fastroads) {
        return nullptr;
    }
    if (const int length = __nodes.length(*node.right); length >= 0 && length <= end - begin) {
        return end - length;
    }
    std::optional<CHinge>& hinge = __hinges[static_cast<std::size_t>(node.retry)];
    if (!hinge) {
        hinge.emplace(node.left->cnfa, node.right->cnfa);
    }
    return hinge->empty() ? nullptr : hinge->find(begin, end, __env.colors);
}

/// Where the left side of a concatenation ends, by its own preference; null if nowhere.
template <class Chr>
const Chr* TDissector<Chr>::split(const subre& node, const Chr* begin, const Chr* end) {
    // Neither side has an automaton then.
    if (const int length = __nodes.length(*node.left); length >= 0) {
        return length <= end - begin ? begin + length : nullptr;
    }
    if (const int length = __nodes.length(*node.right); length >= 0) {
        return length <= end - begin ? end - length : nullptr;
    }
    if (const Chr* const only = onlymid(node, begin, end)) {
        return only;
    }
    const Chr* mid = firstmid(*node.left, begin, end);
    if (!mid || __nodes.matches(*node.right, mid, end)) {
        return mid;
    }
    if (collectable(begin, end)) {
        return splitlinear(node, begin, end);
    }
    while ((mid = stepmid(*node.left, begin, mid, end)) != nullptr) {
        if (__nodes.matches(*node.right, mid, end)) {
            break;
        }
    }
    return mid;
}

/// The same by one pass for each side.
template <class Chr>
const Chr* TDissector<Chr>::splitlinear(const subre& node, const Chr* begin, const Chr* end) {
    const std::size_t at = __bits.size();
    collect(node, begin, end);
    const Chr* const mid =
        preferred(*node.left, places(at, begin, end), begin, shorter(*node.left) ? begin : end);
    __bits.resize(at);
    return mid;
}

template <class Chr>
const Chr* TDissector<Chr>::firstmid(const subre& left, const Chr* begin, const Chr* end) {
    TScanner<Chr>& scanner = __nodes.forward(left);
    return shorter(left) ? scanner.shortest(begin, begin, end) : scanner.longest(begin, end);
}

/// The division after `mid` in the order of the left side's preference.
template <class Chr>
const Chr* TDissector<Chr>::stepmid(const subre& left, const Chr* begin, const Chr* mid,
                                    const Chr* end) {
    if (mid == (shorter(left) ? end : begin)) {
        return nullptr;
    }
    TScanner<Chr>& scanner = __nodes.forward(left);
    return shorter(left) ? scanner.shortest(begin, mid + 1, end) : scanner.longest(begin, mid - 1);
}

template <class Chr>
bool TDissector<Chr>::collectable(const Chr* begin, const Chr* end) const {
    const auto span = static_cast<std::size_t>(end - begin) + 1;
    return __env.fastroads && __bits.size() + 2 * CPlaces::wordsfor(span) <= MOSTBITWORDS;
}

template <class Chr>
CPlaces TDissector<Chr>::places(std::size_t at, const Chr* begin, const Chr* end) {
    return CPlaces(__bits.data() + at, static_cast<std::size_t>(end - begin) + 1);
}

/// The first of a set of divisions in the order of the left side's preference, `from` included.
template <class Chr>
const Chr* TDissector<Chr>::preferred(const subre& left, const CPlaces& among, const Chr* begin,
                                      const Chr* from) const {
    const std::ptrdiff_t place =
        shorter(left) ? among.next(from - begin) : among.previous(from - begin);
    return place < 0 ? nullptr : begin + place;
}

/// Pushes the set of divisions that both sides allow.
template <class Chr>
void TDissector<Chr>::collect(const subre& node, const Chr* begin, const Chr* end) {
    const std::size_t at = __bits.size();
    const std::size_t words = CPlaces::wordsfor(static_cast<std::size_t>(end - begin) + 1);
    __bits.resize(at + 2 * words, 0);
    CPlaces lefts = places(at, begin, end);
    CPlaces rights = places(at + words, begin, end);
    __nodes.forward(*node.left).ends(begin, end, lefts);
    __nodes.backward(*node.right).begins(begin, end, rights);
    lefts.intersect(rights);
    __bits.resize(at + words);
}

/// Each node starts afresh whenever it is entered: a parent that tries another division clears what
/// the children found. So no memory of earlier tries is needed beside the list of open nodes.
template <class Chr>
int TDissector<Chr>::cdissect(const subre* root, const Chr* begin, const Chr* end) {
    __frames.clear();
    __bits.clear();
    enter(root, begin, end);
    int er = REG_OKAY;
    while (!__frames.empty()) {
        er = advance(er);
        if (er == PENDING) {
            continue;
        }
        if (__frames.back().candidates != NONE) {
            __bits.resize(__frames.back().candidates);
        }
        __frames.pop_back();
    }
    return er;
}

template <class Chr>
void TDissector<Chr>::enter(const subre* node, const Chr* begin, const Chr* end) {
    __frames.push_back(frame{.span = {node, begin, end}});
}

/// Takes the innermost node one step on. `er` is the result of the child entered last.
template <class Chr>
int TDissector<Chr>::advance(int er) {
    const piece span = __frames.back().span;
    if (!(span.node->flags & BACKR)) {
        return dissect(span.node, span.begin, span.end);
    }
    switch (span.node->op) {
    case '(':
        return capture(er);
    case '.':
        return __nodes.length(*span.node->left) >= 0 ? concatenatefixed(er) : concatenate(er);
    case '|':
        return alternate(er);
    case 'b':
        return refer(*span.node, span.begin, span.end);
    case '=':
        return REG_OKAY;
    default:
        return REG_ASSERT;
    }
}

template <class Chr>
int TDissector<Chr>::capture(int er) {
    frame& f = __frames.back();
    const piece span = f.span;
    if (f.at == ENTERED) {
        f.at = INLEFT;
        enter(span.node->left, span.begin, span.end);
        return PENDING;
    }
    if (er == REG_OKAY) {
        note(*span.node, span.begin, span.end);
    }
    return er;
}

/// A concatenation whose left side has but one length, and so one division. Neither side has an
/// automaton then.
template <class Chr>
int TDissector<Chr>::concatenatefixed(int er) {
    frame& f = __frames.back();
    const auto [node, begin, end] = f.span;
    switch (f.at) {
    case ENTERED:
        f.mid = split(*node, begin, end);
        if (!f.mid) {
            return REG_NOMATCH;
        }
        f.at = INLEFT;
        enter(node->left, begin, f.mid);
        return PENDING;
    case INLEFT:
        if (er != REG_OKAY) {
            return er;
        }
        f.at = INRIGHT;
        enter(node->right, f.mid, end);
        return PENDING;
    default:
        return er;
    }
}

template <class Chr>
int TDissector<Chr>::concatenate(int er) {
    frame& f = __frames.back();
    const piece span = f.span;
    switch (f.at) {
    case ENTERED:
        f.mid = onlymid(*span.node, span.begin, span.end);
        f.only = f.mid != nullptr;
        if (!f.only) {
            f.mid = firstmid(*span.node->left, span.begin, span.end);
        }
        if (!f.mid) {
            return REG_NOMATCH;
        }
        f.at = INLEFT;
        enter(span.node->left, span.begin, f.mid);
        return PENDING;
    case INLEFT:
        if (er == REG_OKAY && (f.only || __nodes.matches(*span.node->right, f.mid, span.end))) {
            f.at = INRIGHT;
            enter(span.node->right, f.mid, span.end);
            return PENDING;
        }
        return er == REG_OKAY || er == REG_NOMATCH ? nextmid() : er;
    default:
        return er == REG_NOMATCH ? nextmid() : er;
    }
}

/// Goes over to the next division. Those that the right side can't reach the end from are left out
/// where that can be told beforehand.
template <class Chr>
int TDissector<Chr>::nextmid() {
    frame& f = __frames.back();
    const auto [node, begin, end] = f.span;
    const subre& left = *node->left;
    const Chr* const tried = f.mid;
    if (f.only || tried == (shorter(left) ? end : begin)) {
        return REG_NOMATCH;
    }
    if (f.candidates == NONE && collectable(begin, end)) {
        f.candidates = __bits.size();
        collect(*node, begin, end);
    }
    f.mid = f.candidates == NONE ? stepmid(left, begin, tried, end)
                                 : preferred(left, places(f.candidates, begin, end), begin,
                                             shorter(left) ? tried + 1 : tried - 1);
    if (!f.mid) {
        return REG_NOMATCH;
    }
    f.at = INLEFT;
    zap(&left);
    zap(node->right);
    enter(&left, begin, f.mid);
    return PENDING;
}

template <class Chr>
int TDissector<Chr>::alternate(int er) {
    frame& f = __frames.back();
    const piece span = f.span;
    if (f.at == INLEFT && er != REG_NOMATCH) {
        return er;
    }
    if (f.at == INLEFT) {
        zap(f.alternative->left);
    }
    f.alternative = f.at == ENTERED ? span.node : f.alternative->right;
    while (f.alternative && !__nodes.matches(*f.alternative->left, span.begin, span.end)) {
        f.alternative = f.alternative->right;
    }
    if (!f.alternative) {
        return REG_NOMATCH;
    }
    f.at = INLEFT;
    enter(f.alternative->left, span.begin, span.end);
    return PENDING;
}

/// Whether [begin, end] is the referred group's text, as often as the node's bounds allow.
template <class Chr>
int TDissector<Chr>::refer(const subre& node, const Chr* begin, const Chr* end) const {
    const regmatch_t& group = __pmatch[static_cast<std::size_t>(node.subno)];
    if (group.rm_so == -1) {
        return REG_NOMATCH;
    }
    const std::ptrdiff_t length = group.rm_eo - group.rm_so;
    if (length == 0) {
        return begin == end ? REG_OKAY : REG_NOMATCH;
    }
    if (end - begin < length) {
        return REG_NOMATCH;
    }
    const bool bounded = node.max != DUPINF;
    const Chr* p = begin;
    std::ptrdiff_t times = 0;
    for (; end - p >= length && !(bounded && times >= node.max); p += length, ++times) {
        if (compare(__env.start + group.rm_so, p, static_cast<std::size_t>(length)) != 0) {
            break;
        }
    }
    return p == end && times >= node.min ? REG_OKAY : REG_NOMATCH;
}

/// Two runs of the text, as the expression compares characters; zero if they are equal.
template <class Chr>
int TDissector<Chr>::compare(const Chr* a, const Chr* b, std::size_t length) const {
    if constexpr (std::is_same_v<Chr, pattern>) {
        return __guts.compare(a, b, length);
    } else {
        return __guts.compare == &casecmp<pattern> ? casecmp(a, b, length) : cmp(a, b, length);
    }
}

template <class Chr>
void TDissector<Chr>::zap(const subre* root) {
    __zapping.assign(1, root);
    while (!__zapping.empty()) {
        const subre* const t = __zapping.back();
        __zapping.pop_back();
        if (t->op == '(' && static_cast<std::size_t>(t->subno) < __nmatch) {
            __pmatch[t->subno] = regmatch_t{-1, -1};
        }
        for (const subre* const child : {t->left, t->right}) {
            if (child) {
                __zapping.push_back(child);
            }
        }
    }
}

template class TDissector<char>;
template class TDissector<wchar_t>;
template class TDissector<unsigned char>;

} // namespace Quil::IMPL::engine

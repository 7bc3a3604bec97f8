// The sets of characters that an automaton reads first, last, and elsewhere.
#include "regex/filter/hinge.h"

namespace Quil::IMPL::engine {

namespace {

/// What an automaton reads where.
struct reading {
    colorset first; // characters that a match begins with
    colorset later; // those behind the first one
    colorset last;  // those that a match ends with
    colorset early; // those before the last one
    colorset all;
    bool nothing = false; // a match may be empty

    explicit reading(const cnfa& a);
};

template <class Visit>
void eacharc(const cnfa& a, Visit visit) {
    for (int from = 0; from < a.nstates; ++from) {
        for (const carc& arc : a.arcsof(from)) {
            visit(static_cast<std::size_t>(from), static_cast<std::size_t>(arc.to),
                  static_cast<std::size_t>(arc.co));
        }
    }
}

reading::reading(const cnfa& a) {
    const auto pre = static_cast<std::size_t>(a.pre), post = static_cast<std::size_t>(a.post);
    const auto nstates = static_cast<std::size_t>(a.nstates);
    colorset begins(nstates), ends(nstates), entered(nstates), goes(nstates);
    eacharc(a, [&](std::size_t from, std::size_t to, std::size_t) {
        (from == pre ? begins[to] : to == post ? ends[from] : goes[from]) = 1;
        if (from != pre) {
            entered[to] = 1;
        }
    });
    for (colorset* const set : {&first, &later, &last, &early, &all}) {
        set->assign(static_cast<std::size_t>(a.ncolors), 0);
    }
    eacharc(a, [&](std::size_t from, std::size_t to, std::size_t co) {
        if (from == pre || to == post) {
            return;
        }
        all[co] = 1;
        first[co] |= begins[from];
        later[co] |= entered[from];
        last[co] |= ends[to];
        early[co] |= goes[to];
    });
    for (std::size_t s = 0; s < nstates; ++s) {
        nothing = nothing || (begins[s] && ends[s]);
    }
}

bool apart(const colorset& a, const colorset& b) {
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] && b[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

CHinge::CHinge(const cnfa& left, const cnfa& right) {
    if (left.empty() || right.empty() || ((left.flags | right.flags) & HASLACONS)) {
        return;
    }
    const reading l(left), r(right);
    const bool ahead = !r.nothing && (apart(r.first, l.all) || apart(r.first, r.later));
    const bool behind = !l.nothing && (apart(l.last, r.all) || apart(l.last, l.early));
    if (ahead) {
        __colors = r.first;
        __last = !apart(r.first, l.all);
    } else if (behind) {
        __colors = l.last;
        __last = !apart(l.last, l.early);
        __behind = true;
    }
}

template <class Chr>
const Chr* CHinge::find(const Chr* begin, const Chr* end, const color* colors) const {
    const auto at = [&](const Chr* p) { return holds(__colors, GETCOLOR(colors, *p)); };
    const Chr* p = begin;
    if (__last) {
        for (p = end; p != begin && !at(p - 1); --p) {
        }
        return p == begin ? nullptr : __behind ? p : p - 1;
    }
    while (p != end && !at(p)) {
        ++p;
    }
    return p == end ? nullptr : __behind ? p + 1 : p;
}

template const char* CHinge::find(const char*, const char*, const color*) const;
template const wchar_t* CHinge::find(const wchar_t*, const wchar_t*, const color*) const;
template const unsigned char* CHinge::find(const unsigned char*, const unsigned char*,
                                           const color*) const;

} // namespace Quil::IMPL::engine

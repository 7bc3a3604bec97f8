// Bracket expressions: one member after the other adds its arcs; the complement is then what no arc
// was added for.

#include "regex/compile/charclass.h"
#include "regex/compile/lexer.h"
#include "regex/compile/parser.h"

namespace Quil::IMPL::engine {

namespace {

template <class chr>
void dovec(vars<chr>* v, const cvec<chr>* cv, state* lp, state* rp) {
    if (!cv) {
        return;
    }
    for (std::size_t i = 0; i < cv->nchrs; ++i) {
        newarc(v->nfa, PLAIN, subcolor(v->cm, cv->chrs[i]), lp, rp);
    }
    for (std::size_t i = 0; i < cv->nranges; ++i) {
        subrange(v, cv->ranges[i].first, cv->ranges[i].last, lp, rp);
    }
}

/// The name between [. and .] or the like, whose opening is the present token. Reads past its end.
template <class chr>
std::basic_string_view<chr> scanplain(vars<chr>* v) {
    // Taken before the first token is read: a name in a shorthand ends where the pattern goes on.
    const chr* const start = v->now;
    next(v);
    const chr* end = v->now;
    while (v->nexttype == PLAIN) {
        end = v->now;
        next(v);
    }
    next(v);
    if (iserr(v)) {
        return {};
    }
    return {start, static_cast<std::size_t>(end - start)};
}

/// The collating element at the present token, which opened it.
template <class chr>
chr scanelement(vars<chr>* v) {
    const std::basic_string_view<chr> name = scanplain(v);
    if (name.empty()) {
        seterr(v, REG_ECOLLATE);
    }
    return !iserr(v) ? element(v, name.data(), name.data() + name.size()) : chr();
}

template <class chr>
void classmember(vars<chr>* v, state* lp, state* rp) {
    const std::basic_string_view<chr> name = scanplain(v);
    if (name.empty()) {
        seterr(v, REG_ECTYPE);
    }
    if (!iserr(v)) {
        dovec(v, cclass(v, name.data(), name.data() + name.size(), ignorescase(v)), lp, rp);
    }
}

template <class chr>
void equivalents(vars<chr>* v, state* lp, state* rp) {
    const chr c = scanelement(v);
    if (!iserr(v)) {
        dovec(v, eclass(v, c, ignorescase(v)), lp, rp);
    }
}

/// The end of a range, behind its dash.
template <class chr>
chr rangeend(vars<chr>* v) {
    if (v->nexttype == COLLEL) {
        return scanelement(v);
    }
    if (v->nexttype != PLAIN && v->nexttype != RANGE) {
        seterr(v, REG_ERANGE);
        return chr();
    }
    const auto end = static_cast<chr>(v->nextvalue);
    next(v);
    return end;
}

/// A character or a range, of which `start` has been read.
template <class chr>
void rangemember(vars<chr>* v, chr start, state* lp, state* rp) {
    chr end = start;
    if (v->nexttype == RANGE) {
        next(v);
        end = rangeend(v);
    }
    if (iserr(v)) {
        return;
    }
    if (start != end) {
        note(v, REG_UUNPORT);
    }
    dovec(v, range(v, start, end, ignorescase(v)), lp, rp);
}

template <class chr>
void brackpart(vars<chr>* v, state* lp, state* rp) {
    const construct member(v);
    switch (v->nexttype) {
    case RANGE:
        seterr(v, REG_ERANGE);
        break;
    case PLAIN: {
        const auto c = static_cast<chr>(v->nextvalue);
        next(v);
        if (v->nexttype == RANGE) {
            rangemember(v, c, lp, rp);
        } else {
            onechr(v, c, lp, rp);
        }
        break;
    }
    case COLLEL: {
        const chr c = scanelement(v);
        if (!iserr(v)) {
            rangemember(v, c, lp, rp);
        }
        break;
    }
    case ECLASS:
        equivalents(v, lp, rp);
        break;
    case CCLASS:
        classmember(v, lp, rp);
        break;
    default:
        seterr(v, REG_ASSERT);
    }
}

} // namespace

template <class chr>
void onechr(vars<chr>* v, chr c, state* lp, state* rp) {
    if (iserr(v)) {
        return;
    }
    if (ignorescase(v)) {
        dovec(v, allcases(v, c), lp, rp);
    } else {
        newarc(v->nfa, PLAIN, subcolor(v->cm, c), lp, rp);
    }
}

template <class chr>
void bracket(vars<chr>* v, state* lp, state* rp) {
    next(v);
    while (v->nexttype != ']' && v->nexttype != EOS) {
        brackpart(v, lp, rp);
    }
    okcolors(v->nfa, v->cm);
}

template <class chr>
void cbracket(vars<chr>* v, state* lp, state* rp) {
    state* const left = newstate(v->nfa);
    state* const right = newstate(v->nfa);
    if (iserr(v)) {
        return;
    }
    bracket(v, left, right);
    if (v->cflags & REG_NLSTOP) {
        newarc(v->nfa, PLAIN, v->nlcolor, left, right);
    }
    if (iserr(v)) {
        return;
    }
    colorcomplement(v->nfa, v->cm, PLAIN, left, lp, rp);
    if (iserr(v)) {
        return;
    }
    dropstate(v->nfa, left);
    freestate(v->nfa, right);
}

template <class chr>
void wordchrs(vars<chr>* v) {
    if (v->wordchrs) {
        next(v);
        return;
    }
    state* const left = newstate(v->nfa);
    state* const right = newstate(v->nfa);
    if (iserr(v)) {
        return;
    }
    lexword(v);
    next(v);
    bracket(v, left, right);
    next(v);
    v->wordchrs = left;
}

template void onechr(vars<char>*, char, state*, state*);
template void bracket(vars<char>*, state*, state*);
template void cbracket(vars<char>*, state*, state*);
template void wordchrs(vars<char>*);

template void onechr(vars<wchar_t>*, wchar_t, state*, state*);
template void bracket(vars<wchar_t>*, state*, state*);
template void cbracket(vars<wchar_t>*, state*, state*);
template void wordchrs(vars<wchar_t>*);

} // namespace Quil::IMPL::engine

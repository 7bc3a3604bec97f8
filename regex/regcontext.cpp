// A search in two steps: the search automaton tells whether there is a match and about where it
// begins; the automaton of the whole tree then tells from which place on it goes, and how far.
#include "regex/regcontext.h"

#include "regex/filter/classrun.h"
#include "regex/filter/lazyspan.h"
#include "regex/filter/literal.h"
#include "regex/filter/prefilter.h"
#include "regex/filter/refskip.h"
#include "regex/match/dissect.h"
#include "regex/match/nodes.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <vector>

namespace Quil {

using namespace IMPL::engine;

/// What one context has built for its expression, all of it dispensable memory.
template <class Chr>
struct TRegexContext<Chr>::machine {
    static constexpr int PASSED = -1;                      // no result yet
    static constexpr std::ptrdiff_t FAR = 16;              // begins that are better told than tried
    static constexpr std::uint64_t WORTHFILTERS = 1 << 15; // characters of texts to search
    // Characters that tries in vain may look at before those are told from tries that pay.
    static constexpr std::int64_t CREDIT = 4096;
    static constexpr std::int64_t LEASTCREDIT = CREDIT / 8; // for each text
    static constexpr std::int64_t TRYCOST = 8;              // of each try, in characters

    using compiled_form = guts<typename chrtraits<Chr>::pattern>;

    explicit machine(const compiled_form& compiled);

    void settext(const Chr* start, const Chr* stop, int eflags, bool isedge);
    int run(std::size_t nmatch, regmatch_t* pmatch, rm_detail_t* details);

    int find(std::size_t nmatch, regmatch_t* pmatch, rm_detail_t* details);
    bool filters();
    const Chr* findfiltered(const Chr* from, const Chr*& end);
    const Chr* firstclose(const Chr* from, const Chr* limit, const Chr*& cold);
    const Chr* findwithin(const Chr* from, const Chr* limit, const Chr*& end);
    bool trybegins(const Chr*& begin, const Chr* limit, const Chr*& end);
    int findrun(std::size_t nmatch, regmatch_t* pmatch);
    int tell(std::size_t nmatch, regmatch_t* pmatch, const Chr* begin, const Chr* end);
    const Chr* findspan(const Chr* open, const Chr* close, const Chr*& end, const Chr*& cold);
    int cfind(std::size_t nmatch, regmatch_t* pmatch, rm_detail_t* details);
    int cfindloop(const Chr*& cold);
    int cfindleaping();
    int confirm(const Chr* begin, const Chr*& cold);
    bool findalive(const Chr* open, const Chr* close, const Chr*& begin, const Chr*& end);
    const Chr* candidate(const Chr* begin, const Chr* limit, bool* hitstop);
    void report(rm_detail_t* details, const Chr* cold) const;

    const compiled_form& g;
    scanenv<Chr> env;
    TLookaheads<Chr> lookaheads;
    TNodes<Chr> nodes;
    TDissector<Chr> dissector;
    TReferenceSkip<Chr> references;
    TScanner<Chr> search;
    const CLiteral literal; // the whole expression, if it is one long literal
    TScanner<Chr>& whole;   // the tree's root
    const bool shorter;     // the root prefers the shortest match
    const bool expect;
    const bool mayleap;   // begins that can't match may be left out: none makes the search give up
    const bool fixed;     // all matches are of one length, and nothing else has to be told of them
    TClassRun<Chr> runs;  // the whole expression, if it is a run of one set
    const bool takesruns; // ... and the longest one is asked for
    std::optional<TLazySpan<Chr>> lazy;      // finds shortest matches, if those are asked for
    std::optional<CReversed> reversed;       // the root's automaton, for beginnings ...
    std::optional<TScanner<Chr>> beginnings; // ... and the scanner of it
    std::vector<std::uint64_t> alive;        // a set of begins
    std::optional<TPrefilter<Chr>> filter;   // once a text is long enough for it
    std::int64_t credit = CREDIT;            // for tries at single places; below 0: no more of them
    std::vector<regmatch_t> work;
};

template <class Chr>
TRegexContext<Chr>::machine::machine(const compiled_form& compiled)
    : g(compiled), lookaheads(env, g.lacons, g.nlacons), nodes(env, g.ntree),
      dissector(g, env, nodes), references(g, env), search(g.search, env), literal(g.tree->cnfa),
      whole(nodes.forward(*g.tree)), shorter((g.tree->flags & SHORTER) != 0),
      expect((g.cflags & REG_EXPECT) != 0),
      mayleap(!expect && g.tree->cnfa.minlen > 0 && (!shorter || nodes.length(*g.tree) >= 0)),
      fixed(nodes.length(*g.tree) >= 0 && !expect && !(g.info & REG_ULOOKAHEAD)),
      runs(g.tree->cnfa, g.cmap.table), takesruns(!runs.empty() && !shorter && !expect) {
    env.colors = g.cmap.table;
    env.lookahead = &lookaheads;
    if (!expect) {
        whole.sharescans(false);
    }
    if (shorter && !expect && !fixed) {
        lazy.emplace(g.tree->cnfa, env);
    }
    if (!(g.search.flags & HASLACONS)) {
        search.allowskips();
    }
}

template <class Chr>
void TRegexContext<Chr>::machine::settext(const Chr* start, const Chr* stop, int eflags,
                                          bool isedge) {
    // Notes about a text hold as long as it ends at the same place in the same way.
    if (env.stop != stop || ((env.eflags ^ eflags) & REG_NOTEOL)) {
        nodes.newtext();
        lookaheads.newtext();
        runs.newtext();
        references.newtext();
        if (lazy) {
            lazy->newtext();
        }
        if (filter) {
            filter->newtext();
        }
        credit = std::max(credit, LEASTCREDIT);
    }
    env.start = start;
    env.stop = stop;
    env.isedge = isedge;
    env.eflags = eflags;
    env.limits.smallcache = (eflags & REG_SMALL) != 0;
}

template <class Chr>
int TRegexContext<Chr>::machine::run(std::size_t nmatch, regmatch_t* pmatch, rm_detail_t* details) {
    if (g.cflags & REG_NOSUB) {
        nmatch = 0;
    }
    if (!(g.info & REG_UBACKREF)) {
        return find(nmatch, pmatch, details);
    }
    return cfind(nmatch, pmatch, details);
}

template <class Chr>
void TRegexContext<Chr>::machine::report(rm_detail_t* details, const Chr* cold) const {
    if (!expect) {
        return;
    }
    details->rm_extend.rm_so = static_cast<int>((cold ? cold : env.stop) - env.start);
    details->rm_extend.rm_eo = static_cast<int>(env.stop - env.start);
}

template <class Chr>
int TRegexContext<Chr>::machine::find(std::size_t nmatch, regmatch_t* pmatch,
                                      rm_detail_t* details) {
    if (takesruns && env.fastroads && runs.worthwhile(env.stop - env.start)) {
        return findrun(nmatch, pmatch);
    }
    const Chr* from = env.start;
    const Chr* end = nullptr;
    if (lazy && env.fastroads && lazy->usable()) {
        if (!filter) {
            filters(); // which tell it more of what matches begin with
        }
        const auto outcome = lazy->find(from, end);
        if (outcome == TLazySpan<Chr>::outcome::NONE) {
            return REG_NOMATCH;
        }
        if (outcome == TLazySpan<Chr>::outcome::FOUND) {
            return nmatch == 0 ? REG_OKAY : tell(nmatch, pmatch, from, end);
        }
    } else if (filters()) {
        const Chr* const begin = findfiltered(from, end);
        return begin ? tell(nmatch, pmatch, begin, end) : REG_NOMATCH;
    }
    const Chr* cold = nullptr;
    const Chr* const close = firstclose(from, env.stop, cold);
    report(details, cold);
    if (!close) {
        return REG_NOMATCH;
    }
    if (nmatch == 0) {
        return REG_OKAY;
    }

    const Chr* late = nullptr;
    const Chr* const begin = findspan(cold, close, end, late);
    if (!begin) {
        return REG_ASSERT;
    }
    report(details, late);
    return tell(nmatch, pmatch, begin, end);
}

/// The same for an expression that is a run of one set.
template <class Chr>
int TRegexContext<Chr>::machine::findrun(std::size_t nmatch, regmatch_t* pmatch) {
    const Chr* end = nullptr;
    const Chr* const begin = runs.find(env.start, env.stop, end, env.looked);
    if (!begin) {
        return REG_NOMATCH;
    }
    return tell(nmatch, pmatch, begin, end);
}

/// Reports a match, and its groups if they are asked for.
template <class Chr>
int TRegexContext<Chr>::machine::tell(std::size_t nmatch, regmatch_t* pmatch, const Chr* begin,
                                      const Chr* end) {
    if (nmatch == 0) {
        return REG_OKAY;
    }
    pmatch[0] = regmatch_t{static_cast<int>(begin - env.start), static_cast<int>(end - env.start)};
    if (nmatch == 1) {
        return REG_OKAY;
    }
    dissector.setmatches(pmatch, nmatch);
    dissector.clear();
    return dissector.dissect(g.tree, begin, end);
}

/// Whether the search may pass over what the filters rule out.
template <class Chr>
bool TRegexContext<Chr>::machine::filters() {
    if (!env.fastroads || expect || env.limits.smallcache) {
        return false;
    }
    if (!filter) {
        if (env.looked + static_cast<std::uint64_t>(env.stop - env.start) < WORTHFILTERS) {
            return false;
        }
        filter.emplace(g.tree->cnfa, g.lacons, env.colors);
        if (!filter->begin().empty()) {
            search.leapby(&filter->begin());
            if (lazy) {
                lazy->leapby(&filter->begin());
            }
        }
    }
    return filter->useful();
}

/// The leftmost match that begins at or behind `from`, by the stretches in which one can lie.
template <class Chr>
const Chr* TRegexContext<Chr>::machine::findfiltered(const Chr* from, const Chr*& end) {
    typename TPrefilter<Chr>::stretch span;
    for (; filter->next(from, env.stop, span); from = span.last + 1) {
        const Chr* const begin = findwithin(span.first, span.last, end);
        if (begin || span.last == env.stop) {
            return begin;
        }
    }
    return nullptr;
}

/// The leftmost match that begins at or behind `from`, where none ends behind `limit`.
template <class Chr>
const Chr* TRegexContext<Chr>::machine::findwithin(const Chr* from, const Chr* limit,
                                                   const Chr*& end) {
    if (trybegins(from, limit, end)) {
        return from;
    }
    if (from == limit) {
        return nullptr;
    }
    if (filter->usereserve()) {
        return findfiltered(from, end);
    }
    const Chr* cold = nullptr;
    const Chr* const close = firstclose(from, limit, cold);
    const Chr* late = nullptr;
    return close ? findspan(cold, close, end, late) : nullptr;
}

/// The first end of a match that begins at or behind `from`, not behind `limit`. `cold` gets a
/// place before which none that ends there begins.
template <class Chr>
const Chr* TRegexContext<Chr>::machine::firstclose(const Chr* from, const Chr* limit,
                                                   const Chr*& cold) {
    return fixed && env.fastroads && !literal.empty()
               ? literal.find(from, limit, env.colors, env.looked)
               : search.shortest(from, from, limit, &cold);
}

/// Tries the places where a match may begin, from `begin` on, as long as that costs less than it
/// spares. True if there is a match at `begin`; else none begins before there.
template <class Chr>
bool TRegexContext<Chr>::machine::trybegins(const Chr*& begin, const Chr* limit, const Chr*& end) {
    const TFingerprint<Chr>& places = filter->begin();
    if (places.empty() || credit < 0) {
        return false;
    }
    // Where the text begins, the character that a beginning may ask for before it is missing.
    bool edge = begin == env.start && places.looksbehind();
    for (; begin != limit; ++begin, edge = false) {
        if (!edge) {
            const Chr* const next = places.find(begin, limit, env.stop);
            credit = std::min(credit + (next - begin), CREDIT);
            env.looked += static_cast<std::uint64_t>(next - begin);
            if ((begin = next) == limit) {
                break;
            }
        }
        const std::uint64_t looked = env.looked;
        const auto result = whole.attempt(begin, shorter, end);
        if (result == TScanner<Chr>::outcome::FOUND) {
            credit = std::min(credit + (end - begin), CREDIT);
            return true;
        }
        credit -= TRYCOST + static_cast<std::int64_t>(env.looked - looked);
        if (result == TScanner<Chr>::outcome::OPEN || credit < 0) {
            break;
        }
    }
    return false;
}

/// The match whose begin lies in [open, close], where the search has seen the first end.
template <class Chr>
const Chr* TRegexContext<Chr>::machine::findspan(const Chr* open, const Chr* close, const Chr*& end,
                                                 const Chr*& cold) {
    // Where all matches are of one length, the first that ends is the first that begins.
    if (fixed && env.fastroads) {
        end = close;
        return close - nodes.length(*g.tree);
    }
    if (const Chr* begin = nullptr; close - open > FAR && findalive(open, close, begin, end)) {
        return begin;
    }
    for (const Chr* begin = open;; ++begin) {
        bool hitend = false;
        end = candidate(begin, shorter ? begin : env.stop, &hitend);
        if (hitend && !cold) {
            cold = begin;
        }
        if (end) {
            return begin;
        }
        if (begin == close) {
            return nullptr;
        }
    }
}

/// The same where many begins are in question: reading back from `close` tells which of them it was
/// that the search had not given up there. False if that can't be done.
template <class Chr>
bool TRegexContext<Chr>::machine::findalive(const Chr* open, const Chr* close, const Chr*& begin,
                                            const Chr*& end) {
    const cnfa& a = g.tree->cnfa;
    if (!env.fastroads || expect || (a.flags & HASLACONS) ||
        static_cast<std::size_t>(a.nstates) * static_cast<std::size_t>(a.ncolors) >
            CReversed::MOSTARCS) {
        return false;
    }
    if (!beginnings) {
        reversed.emplace(a, CReversed::reads::BEGINNINGS);
        beginnings.emplace(reversed->automaton(), env);
    }
    const auto places = static_cast<std::size_t>(close - open) + 1;
    alive.assign(CPlaces::wordsfor(places), 0);
    CPlaces begins(alive.data(), places);
    beginnings->begins(open, close, begins);
    for (std::ptrdiff_t at = begins.next(0); at >= 0; at = begins.next(at + 1)) {
        begin = open + at;
        end = candidate(begin, shorter ? begin : env.stop, nullptr);
        if (end) {
            return true;
        }
    }
    begin = nullptr;
    return true;
}

/// The end of the preferred match from `begin`, not before, or not behind, `limit`.
template <class Chr>
const Chr* TRegexContext<Chr>::machine::candidate(const Chr* begin, const Chr* limit,
                                                  bool* hitstop) {
    return shorter ? whole.shortest(begin, limit, env.stop, nullptr, hitstop)
                   : whole.longest(begin, limit, hitstop);
}

template <class Chr>
int TRegexContext<Chr>::machine::cfind(std::size_t nmatch, regmatch_t* pmatch,
                                       rm_detail_t* details) {
    const std::size_t slots = g.nsub + 1;
    work.assign(slots, regmatch_t{-1, -1});
    dissector.setmatches(work.data(), slots);
    const Chr* cold = nullptr;
    const int result = cfindloop(cold);
    report(details, cold);
    if (result == REG_OKAY) {
        for (std::size_t i = 0; i < nmatch; ++i) {
            pmatch[i] = i < slots ? work[i] : regmatch_t{-1, -1};
        }
    }
    return result;
}

template <class Chr>
int TRegexContext<Chr>::machine::cfindloop(const Chr*& cold) {
    if (!references.empty() && env.fastroads && mayleap) {
        return cfindleaping();
    }
    const Chr* close = env.start;
    const Chr* least = close;
    do {
        close = search.shortest(close, least, env.stop, &cold);
        if (!close) {
            break;
        }
        const Chr* const open = cold;
        cold = nullptr;
        for (const Chr* begin = open; begin <= close; ++begin) {
            const int result = confirm(begin, cold);
            if (result != PASSED) {
                return result;
            }
        }
        // A search that began where the last one closed would close there again, for ever.
        least = close + 1;
    } while (close < env.stop);
    return REG_NOMATCH;
}

/// The same, but only at the begins that `references` lets through.
template <class Chr>
int TRegexContext<Chr>::machine::cfindleaping() {
    const bool one = nodes.length(*g.tree) >= 0; // one end for each begin: no search is needed
    const Chr* close = nullptr;                  // begins up to here may match, for all one knows
    const Chr* begin = references.find(env.start, env.stop);
    for (; begin; begin = references.find(begin + 1, env.stop)) {
        if (!one && (!close || begin > close)) {
            const Chr* open = nullptr;
            close = search.shortest(begin, begin, env.stop, &open);
            if (!close) {
                return REG_NOMATCH;
            }
            if (open > begin && !(begin = references.find(open, env.stop))) {
                return REG_NOMATCH;
            }
        }
        const Chr* cold = nullptr;
        const int result = confirm(begin, cold);
        if (result != PASSED) {
            return result;
        }
    }
    return REG_NOMATCH;
}

/// Tries all ends of a match from `begin`; PASSED if none holds and the search may go on.
template <class Chr>
int TRegexContext<Chr>::machine::confirm(const Chr* begin, const Chr*& cold) {
    const Chr* limit = shorter ? begin : env.stop;
    for (;;) {
        bool hitend = false;
        const Chr* const end = candidate(begin, limit, &hitend);
        if (hitend && !cold) {
            cold = begin;
        }
        if (!end) {
            return PASSED;
        }
        dissector.clear();
        const int result = dissector.cdissect(g.tree, begin, end);
        if (result == REG_OKAY) {
            work[0] =
                regmatch_t{static_cast<int>(begin - env.start), static_cast<int>(end - env.start)};
        }
        if (result != REG_NOMATCH) {
            return result;
        }
        if (end == (shorter ? env.stop : begin)) {
            return REG_NOMATCH; // with no candidate left here, the whole search gives up
        }
        if (!shorter && !expect && end - begin == g.tree->cnfa.minlen) {
            return PASSED;
        }
        limit = shorter ? end + 1 : end - 1;
    }
}

template <class Chr>
TRegexContext<Chr>::TRegexContext(const regex_t* re) : __re(re) {}

template <class Chr>
TRegexContext<Chr>::~TRegexContext() = default;

template <class Chr>
void TRegexContext<Chr>::settext(const Chr* text, std::size_t length) {
    __text = text;
    __length = length;
    if (__machine) {
        __machine->env.stop = nullptr; // the notes go at the next search
    }
}

template <class Chr>
int TRegexContext<Chr>::check(std::size_t from, const rm_detail_t* details) const {
    constexpr std::size_t MOSTLENGTH = std::numeric_limits<int>::max();
    if (!__re || !__text || __re->re_magic != REMAGIC) {
        return REG_INVARG;
    }
    if (__re->re_csize != chrtraits<Chr>::CSIZE) {
        return REG_MIXED;
    }
    const auto* const g = static_cast<const typename machine::compiled_form*>(__re->re_guts);
    if (((g->cflags & REG_EXPECT) && !details) || __length > MOSTLENGTH || from > __length) {
        return REG_INVARG;
    }
    return (g->info & REG_UIMPOSSIBLE) ? REG_NOMATCH : REG_OKAY;
}

template <class Chr>
int TRegexContext<Chr>::exec(std::size_t from, std::size_t nmatch, regmatch_t pmatch[], int eflags,
                             rm_detail_t* details) {
    if (const int result = check(from, details); result != REG_OKAY) {
        return result;
    }
    try {
        if (!__machine) {
            __machine = std::make_unique<machine>(
                *static_cast<const typename machine::compiled_form*>(__re->re_guts));
        }
        __machine->env.fastroads = __fastroads;
        const bool isedge = from == 0 || !(eflags & REG_BEHIND);
        __machine->settext(__text + from, __text + __length, eflags, isedge);
        return __machine->run(nmatch, pmatch, details);
    } catch (const std::bad_alloc&) {
        // Whatever was half built goes; the next search starts afresh.
        __looked = looked();
        __machine.reset();
        return REG_ESPACE;
    }
}

template <class Chr>
bool TRegexContext<Chr>::inbulk() const {
    return __machine && __fastroads && __machine->takesruns && __machine->runs.ready() &&
           __machine->env.stop == __text + __length;
}

template <class Chr>
std::size_t TRegexContext<Chr>::spans(std::size_t from, regmatch_t found[], std::size_t most) {
    const Chr* const stop = __text + __length;
    const Chr* end = __text + from;
    for (std::size_t i = 0; i < most; ++i) {
        const Chr* const begin = __machine->runs.find(end, stop, end, __machine->env.looked);
        if (!begin) {
            return i;
        }
        found[i] = regmatch_t{static_cast<int>(begin - __text), static_cast<int>(end - __text)};
    }
    return most;
}

template <class Chr>
std::uint64_t TRegexContext<Chr>::looked() const {
    return __looked + (__machine ? __machine->env.looked : 0);
}

template <class Chr>
void TRegexContext<Chr>::setfastroads(bool on) {
    __fastroads = on;
}

template class TRegexContext<char>;
template class TRegexContext<wchar_t>;
template class TRegexContext<unsigned char>;

} // namespace Quil

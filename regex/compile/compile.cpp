// The stages of a compile. Each does nothing once an error is recorded, so they stand in a row; all
// that outlives the compile lies in the arena of the compiled form, all else goes with the record
// on this stack.

#include "regex/compile/compile.h"

#include "regex/compile/charclass.h"
#include "regex/compile/lexer.h"
#include "regex/compile/parser.h"

namespace Quil::IMPL::engine {

namespace {

bool badflags(int flags) {
    const bool quoted = (flags & REG_QUOTE) != 0;
    return (quoted && (flags & (REG_ADVANCED | REG_EXPANDED | REG_NEWLINE))) ||
           ((flags & REG_ADVF) && !(flags & REG_EXTENDED));
}

void heading(const varsbase* v, const char* text) {
    if (v->stream) {
        std::fprintf(v->stream, "\n\n\n========= %s ==========\n", text);
    }
}

void dumptree(const varsbase* v, const char* text) {
    heading(v, text);
    if (v->stream) {
        dumpst(v->tree, v->stream, true);
    }
}

/// The compiled form, its color map and the automaton to build, all empty.
template <class chr>
nfaptr prepare(vars<chr>* v) {
    v->g = newguts<chr>();
    if (!v->g) {
        seterr(v, REG_ESPACE);
        return nullptr;
    }
    v->re->re_guts = v->g;
    v->keep = &v->g->mem;
    v->cm = &v->g->cmap;
    v->subs = v->sub10;
    v->nsubs = NINLINESUBS;
    initcm(v, v->cm, chrtraits<chr>::NCHRS);
    nfaptr main = newnfa(v, v->cm, nullptr);
    v->nfa = main.get();
    return main;
}

/// Pattern to automaton and tree.
template <class chr>
void translate(vars<chr>* v) {
    lexstart(v);
    if (!iserr(v) && (v->cflags & REG_NEWLINE)) {
        v->nlcolor = subcolor(v->cm, chr('\n'));
        okcolors(v->nfa, v->cm);
    }
    if (!iserr(v)) {
        v->tree = parse(v, v->nfa->init, v->nfa->final);
    }
    v->at = REG_NOWHERE;
    if (!iserr(v)) {
        specialcolors(v->nfa);
    }
}

/// The automata of the tree and of the lookaheads.
void buildtree(varsbase* v) {
    if (iserr(v)) {
        return;
    }
    dumptree(v, "RAW");
    v->ntree = numst(v->tree, 1);
    markst(v->tree);
    v->treechain = v->treefree = nullptr;
    dumptree(v, "TREE FIXED");
    const long info = nfatree(v, v->tree);
    note(v, info);
    for (int i = 1; i < v->nlacons && !iserr(v); ++i) {
        if (v->stream) {
            std::fprintf(v->stream, "\n\n\n========= LA%d ==========\n", i);
        }
        nfanode(v, &v->lacons[i]);
    }
}

/// The search automaton, made of the main one, which is of no use then.
void buildsearch(varsbase* v, cnfa* search) {
    if (iserr(v)) {
        return;
    }
    if (v->tree->flags & SHORTER) {
        note(v, REG_USHORTEST);
    }
    heading(v, "SEARCH");
    optimize(v->nfa, v->stream);
    if (!iserr(v)) {
        makesearch(v, v->nfa);
    }
    if (!iserr(v)) {
        compact(v->nfa, search, v->keep);
    }
}

template <class chr>
void package(vars<chr>* v) {
    guts<chr>* const g = v->g;
    settlecolors(v->cm, v->keep);
    v->re->re_nsub = static_cast<std::size_t>(v->nsubexp);
    g->magic = GUTSMAGIC;
    g->cflags = v->cflags;
    g->info = v->re->re_info;
    g->nsub = v->re->re_nsub;
    g->tree = v->tree;
    g->ntree = v->ntree;
    g->compare = ignorescase(v) ? casecmp<chr> : cmp<chr>;
    g->lacons = v->lacons;
    g->nlacons = v->nlacons;
}

/// For `re_fns`.
template <class chr>
constexpr regex_fns enginefns = {&rfree<chr>};

} // namespace

template <class chr>
int compile(regex_t* re, const chr* pattern, std::size_t len, int flags, std::ptrdiff_t& at) {
    at = REG_NOWHERE;
    if (!re || !pattern || badflags(flags)) {
        return REG_INVARG;
    }
    re->re_magic = REMAGIC;
    re->re_nsub = 0;
    re->re_info = 0;
    re->re_csize = chrtraits<chr>::CSIZE;
    re->re_guts = nullptr;
    re->re_fns = &enginefns<chr>;

    vars<chr> v{};
    v.re = re;
    v.errat = v.at = v.construct = REG_NOWHERE;
    v.pattern = v.now = pattern;
    v.stop = pattern + len;
    v.cflags = flags;
    v.nlcolor = COLORLESS;
    v.stream = (flags & REG_PROGRESS) ? stdout : nullptr;

    const nfaptr main = prepare(&v);
    if (!iserr(&v)) {
        translate(&v);
        buildtree(&v);
        buildsearch(&v, &v.g->search);
    }
    if (!iserr(&v)) {
        package(&v);
    }
    if (iserr(&v)) {
        rfree<chr>(re);
    }
    at = v.errat;
    return v.err;
}

template int compile(regex_t*, const char*, std::size_t, int, std::ptrdiff_t&);
template int compile(regex_t*, const wchar_t*, std::size_t, int, std::ptrdiff_t&);

} // namespace Quil::IMPL::engine

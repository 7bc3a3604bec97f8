// The nodes of the subexpression tree, and the passes over it when the pattern has been read.
//
// Trees lean to the right, a node for each alternative or divided atom, so every walk loops along
// `right` and recurses to the left only, which the parser's limit on nesting bounds.

#include "regex/parser.h"

#include <cinttypes>

namespace Quil::IMPL::engine {

subre* newsubre(varsbase* v, int op, int flags, state* begin, state* end) {
    if (iserr(v))
        return nullptr;
    subre* t = v->treefree;
    if (t) {
        v->treefree = t->left;
        subre* const chain = t->chain;
        *t = {};
        t->chain = chain;
    } else {
        t = v->keep->array<subre>(1);
        if (!t) {
            seterr(v, REG_ESPACE);
            return nullptr;
        }
        t->chain = v->treechain;
        v->treechain = t;
    }
    t->op = static_cast<char>(op);
    t->flags = flags;
    t->min = t->max = 1;
    t->begin = begin;
    t->end = end;
    return t;
}

void freesubre(varsbase* v, subre* t) {
    while (t) {
        subre* const right = t->right;
        freesubre(v, t->left);
        t->flags = 0;
        t->left = v->treefree;
        v->treefree = t;
        t = right;
    }
}

int numst(subre* t, int start) {
    for (; t; t = t->right) {
        t->retry = start++;
        start = numst(t->left, start);
    }
    return start;
}

void markst(subre* t) {
    for (; t; t = t->right) {
        t->flags |= INUSE;
        markst(t->left);
    }
}

namespace {

/// Builds the automata of `t`, if `needed`, and of all nodes below, children before parents. The
/// matcher asks those of the parts of a concatenation and of single alternatives only: not that of
/// what a group holds, nor those of the remaining alternatives, each of which would be as large as
/// all alternatives together. Returns the information bits of `t`.
long nfabuild(varsbase* v, subre* t, bool needed) {
    const bool all = v->stream != nullptr;
    std::size_t length = 0;
    for (const subre* node = t; node; node = node->right)
        ++length;
    auto* const chain = v->mem.array<subre*>(length);
    if (!chain) {
        seterr(v, REG_ESPACE);
        return 0;
    }
    std::size_t i = 0;
    for (subre* node = t; node && !iserr(v); node = node->right) {
        chain[i++] = node;
        if (node->left)
            nfabuild(v, node->left, all || node->op != '(');
    }
    for (; i > 1 && !iserr(v); --i)
        if (all || chain[i - 2]->op == '.')
            nfanode(v, chain[i - 1]);
    return needed ? nfanode(v, t) : 0;
}

constexpr std::size_t IDSIZE = 24;

/// The name of a node in a dump: its number, or its address before it has one.
struct nodeid {
    char text[IDSIZE];

    explicit nodeid(const subre* t) {
        if (t->retry != 0)
            std::snprintf(text, sizeof(text), "%d", t->retry);
        else
            std::snprintf(text, sizeof(text), "%p", static_cast<const void*>(t));
    }
};

void dumpnode(const subre* t, std::FILE* stream, bool withstates) {
    static constexpr struct {
        int flag;
        const char* text;
    } names[] = {{LONGER, " longest"},
                 {SHORTER, " shortest"},
                 {MIXED, " hasmixed"},
                 {CAP, " hascapture"},
                 {BACKR, " hasbackref"}};
    std::fprintf(stream, "%s. `%c'", nodeid(t).text, t->op);
    for (const auto& name : names)
        if (t->flags & name.flag)
            std::fputs(name.text, stream);
    if (!(t->flags & INUSE))
        std::fputs(" UNUSED", stream);
    if (t->subno != 0)
        std::fprintf(stream, " (#%d)", t->subno);
    if (t->min != 1 || t->max != 1) {
        std::fprintf(stream, " {%d,", t->min);
        if (t->max != DUPINF)
            std::fprintf(stream, "%d", t->max);
        std::fputs("}", stream);
    }
    if (withstates)
        std::fprintf(stream, " %ld-%ld", static_cast<long>(t->begin->no),
                     static_cast<long>(t->end->no));
    if (t->left)
        std::fprintf(stream, " L:%s", nodeid(t->left).text);
    if (t->right)
        std::fprintf(stream, " R:%s", nodeid(t->right).text);
    if (!t->cnfa.empty())
        std::fputs("\n\n", stream);
}

void stdump(const subre* t, std::FILE* stream, bool withstates) {
    for (; t; t = t->right) {
        dumpnode(t, stream, withstates);
        stdump(t->left, stream, withstates);
    }
}

} // namespace

long nfatree(varsbase* v, subre* t) {
    return nfabuild(v, t, true);
}

long nfanode(varsbase* v, subre* t) {
    if (iserr(v))
        return 0;
    if (v->stream)
        std::fprintf(v->stream, "\n\n\n========= TREE NODE %s ==========\n", nodeid(t).text);
    const nfaptr part = newnfa(v, v->cm, v->nfa);
    if (iserr(v))
        return 0;
    dupnfa(part.get(), t->begin, t->end, part->init, part->final);
    long info = 0;
    if (!iserr(v)) {
        specialcolors(part.get());
        info = optimize(part.get(), v->stream);
    }
    if (!iserr(v))
        compact(part.get(), &t->cnfa, v->keep);
    return info;
}

void dumpst(const subre* t, std::FILE* stream, bool withstates) {
    if (!t)
        std::fputs("null tree\n", stream);
    else
        stdump(t, stream, withstates);
    std::fflush(stream);
}

} // namespace Quil::IMPL::engine

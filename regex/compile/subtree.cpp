// The nodes of the subexpression tree, and the passes over it when the pattern has been read.
//
// Trees lean to the right, a node for each alternative or divided atom, so every walk loops along
// `right` and recurses to the left only, which the parser's limit on nesting bounds.

#include "regex/compile/parser.h"

#include <algorithm>
#include <cstdint>

namespace Quil::IMPL::engine {

subre* newsubre(varsbase* v, int op, int flags, state* begin, state* end) {
    if (iserr(v)) {
        return nullptr;
    }
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

/// Decides which nodes the matcher asks for an automaton. Each would be a copy of a stretch of the
/// main one, which for a branch of n groups comes to n copies of the rest of the branch; but where
/// the length of one side of a concatenation is fixed, the place of the division is known, and
/// neither side need be asked.
class planner {
public:
    explicit planner(varsbase* v) : __v(v) {}

    void plan(subre* root) {
        ask(root, below(root));
        // So many arcs will at least be made. To find that out by making them takes seconds.
        if (__v->work + __asked > REG_MAXWORK) {
            seterr(__v, REG_ESPACE);
        }
    }

private:
    static bool divided(const subre* t) { return (t->flags & (CAP | BACKR)) != 0; }

    void ask(subre* t, const stretch& of) {
        constexpr int FRAME = 4; // arcs of a new automaton, besides two for each color
        t->flags |= ASKED;
        __asked += of.arcs + FRAME;
    }

    /// Plans what lies below `top`, whose stretch it gives. A node in which there is nothing to be
    /// found is taken as a whole.
    stretch below(subre* top) {
        subre* t = top;
        bool inside = divided(t);
        while (inside && t->right) {
            t->right->chain = t;
            inside = t->op == '|' || divided(t->right);
            t = t->right;
        }
        stretch whole = {};
        if (!inside || !t->left) {
            whole = survey(__v->nfa, t->begin, t->end);
        } else {
            whole = merge(t, below(t->left), nullptr);
        }
        for (;; whole = merge(t, below(t->left), &whole)) {
            t->cnfa.minlen = std::max(whole.length, 0);
            t->cnfa.maxlen = whole.length;
            if (t == top) {
                return whole;
            }
            t = t->chain;
        }
    }

    stretch merge(const subre* t, const stretch& left, const stretch* right) {
        stretch whole = left;
        if (t->op != '.') {
            whole.arcs += 2; // lead into the part and out of it
        }
        if (t->op == '|') {
            ask(t->left, left);
        }
        if (!right) {
            return whole;
        }
        whole.arcs += right->arcs;
        if (t->op == '|') {
            whole.length = left.length == right->length ? left.length : UNBOUNDED;
        } else if (left.length == UNBOUNDED || right->length == UNBOUNDED) {
            whole.length = UNBOUNDED;
            // Where the matcher goes back, it tries even divisions that are sure to fail.
            if (left.length == UNBOUNDED &&
                (right->length == UNBOUNDED || (t->flags & BACKR) != 0)) {
                ask(t->left, left);
                ask(t->right, *right);
            }
        } else {
            whole.length = left.length + right->length;
        }
        return whole;
    }

    varsbase* __v;
    std::int64_t __asked = 0; // arcs of the nodes' stretches
};

/// Builds the automata of the nodes that are asked for one, or of all for a dump, children before
/// parents. Returns the information bits of `top`, if it is one of them.
long nfabuild(varsbase* v, subre* top) {
    subre* t = top;
    for (;; t = t->right) {
        if (t->left) {
            nfabuild(v, t->left);
        }
        if (!t->right) {
            break;
        }
        t->right->chain = t;
    }
    long info = 0;
    for (;; t = t->chain) {
        info = v->stream || (t->flags & ASKED) ? nfanode(v, t) : 0;
        if (t == top) {
            return info;
        }
    }
}

constexpr std::size_t IDSIZE = 24;

/// The name of a node in a dump: its number, or its address before it has one.
struct nodeid {
    char text[IDSIZE];

    explicit nodeid(const subre* t) {
        if (t->retry != 0) {
            std::snprintf(text, sizeof(text), "%d", t->retry);
        } else {
            std::snprintf(text, sizeof(text), "%p", static_cast<const void*>(t));
        }
    }
};

void dumpnode(const subre* t, std::FILE* stream, bool withstates) {
    static constexpr struct {
        int flag;
        const char* text;
    } NAMES[] = {{LONGER, " longest"},
                 {SHORTER, " shortest"},
                 {MIXED, " hasmixed"},
                 {CAP, " hascapture"},
                 {BACKR, " hasbackref"}};
    std::fprintf(stream, "%s. `%c'", nodeid(t).text, t->op);
    for (const auto& name : NAMES) {
        if (t->flags & name.flag) {
            std::fputs(name.text, stream);
        }
    }
    if (!(t->flags & INUSE)) {
        std::fputs(" UNUSED", stream);
    }
    if (t->subno != 0) {
        std::fprintf(stream, " (#%d)", t->subno);
    }
    if (t->min != 1 || t->max != 1) {
        std::fprintf(stream, " {%d,", t->min);
        if (t->max != DUPINF) {
            std::fprintf(stream, "%d", t->max);
        }
        std::fputs("}", stream);
    }
    if (withstates) {
        std::fprintf(stream, " %ld-%ld", static_cast<long>(t->begin->no),
                     static_cast<long>(t->end->no));
    }
    if (t->left) {
        std::fprintf(stream, " L:%s", nodeid(t->left).text);
    }
    if (t->right) {
        std::fprintf(stream, " R:%s", nodeid(t->right).text);
    }
    if (!t->cnfa.empty()) {
        std::fputs("\n\n", stream);
    }
}

void stdump(const subre* t, std::FILE* stream, bool withstates) {
    for (; t; t = t->right) {
        dumpnode(t, stream, withstates);
        stdump(t->left, stream, withstates);
    }
}

} // namespace

long nfatree(varsbase* v, subre* t) {
    if (iserr(v)) {
        return 0;
    }
    planner(v).plan(t);
    return nfabuild(v, t);
}

long nfanode(varsbase* v, subre* t) {
    if (iserr(v)) {
        return 0;
    }
    if (v->stream) {
        std::fprintf(v->stream, "\n\n\n========= TREE NODE %s ==========\n", nodeid(t).text);
    }
    const nfaptr part = newnfa(v, v->cm, v->nfa);
    if (iserr(v)) {
        return 0;
    }
    dupnfa(part.get(), t->begin, t->end, part->init, part->final);
    long info = 0;
    if (!iserr(v)) {
        specialcolors(part.get());
        info = optimize(part.get(), v->stream);
    }
    if (!iserr(v)) {
        compact(part.get(), &t->cnfa, v->keep);
    }
    return info;
}

void dumpst(const subre* t, std::FILE* stream, bool withstates) {
    if (!t) {
        std::fputs("null tree\n", stream);
    } else {
        stdump(t, stream, withstates);
    }
    std::fflush(stream);
}

} // namespace Quil::IMPL::engine

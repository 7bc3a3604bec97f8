// Loops of constraints, as in `(^|$)+`: going round one consumes nothing, so moving its constraints
// outwards would never end, since each round makes new ones.
//
// The states that constraints tie into loops fall into strongly connected components. What a run
// can do inside a component is to go from one member to another while a set of constraints holds,
// all at the same place in the text. So the arcs inside are replaced by chains, one for each
// smallest set of constraints by which one member leads to another, that end in a copy of that
// member which can only leave the component. Sets that ask for two different things before, or
// behind, one place can't hold and are left out; so are those that another one implies.
#include "regex/compile/components.h"

#include <algorithm>
#include <cstdint>

namespace Quil::IMPL::engine {

namespace {

/// More kinds of set than this in one component: REG_ESPACE. Reached by a loop of word edges in a
/// pattern of a thousand different characters.
constexpr std::size_t MAXCELLS = 4'000'000;
/// More lookaheads than this in one component: REG_ESPACE.
constexpr std::size_t MAXLACONS = 64;

bool constraint(const arc* a) {
    return a->type != PLAIN && a->type != EMPTY;
}
bool lookbehind(const arc* a) {
    return a->type == BOL || a->type == BEHIND;
}

/// A set of constraints: at most one on either side of the place, and lookaheads.
struct conset {
    int left;             ///< number of the BOL or BEHIND constraint, 0 none
    int right;            ///< number of the EOL or AHEAD constraint, 0 none
    std::uint64_t lacons; ///< bit i: lookahead number i of the component
};

/// A set by which one member leads to another.
struct reach {
    conset set;
    int member;
    reach* samecell; ///< next with the same member, left and right
    reach* next;     ///< next found
};

/// An arc inside the component.
struct innerarc {
    int from;
    int to;
    conset set; ///< of one constraint
};

struct kind {
    int type;
    int co;
};

/// Searches for components, and breaks each as it is found.
class loopbreaker {
public:
    explicit loopbreaker(nfa* n) : __n(n) {}
    void run();

private:
    bool __failed() const { return iserr(__n->v); }
    template <class T>
    T* __array(std::size_t n);

    void __break(state** members, int nmembers);
    bool __number(const arc* a, conset& set);
    void __spread(int start);
    void __meet(int member, const conset& set);
    reach*& __cell(int member, int left, int right);
    bool __implied(int member, const conset& set, const reach* self);
    void __chain(state* from, const reach* r);
    state* __step(state* from, const kind& what, state* to);

    nfa* __n;
    int __norig = 0; ///< states made here are numbered from this on
    arena __mem;     ///< for all of a run; components seldom exist at all

    // Of the component at hand.
    int* __places =
        nullptr; ///< number of a state among the members, by state number; -1 for others
    innerarc* __inner = nullptr;
    int __ninner = 0;
    kind* __lefts = nullptr; ///< from 1
    int __nlefts = 0;
    kind* __rights = nullptr; ///< from 1
    int __nrights = 0;
    kind* __lacons = nullptr;
    std::size_t __nlacons = 0;
    state** __copies = nullptr; ///< by member: what takes over its ways out
    state** __lefted = nullptr; ///< by left constraint: the state behind it, from one start
    reach** __cells = nullptr;  ///< by member, left and right: sets found from one start
    reach* __found = nullptr;   ///< the sets found from one start, in order
    reach* __foundlast = nullptr;
    reach* __spare = nullptr;
};

template <class T>
T* loopbreaker::__array(std::size_t n) {
    T* p = __mem.array<T>(n);
    if (p == nullptr) {
        seterr(__n->v, REG_ESPACE);
    }
    return p;
}

void loopbreaker::run() {
    __norig = __n->nstates;
    const std::size_t nstates = static_cast<std::size_t>(__norig);
    bool any = false;
    for (const state* s = __n->states; s != nullptr; s = s->next) {
        for (arc *a = s->outs, *next = nullptr; a != nullptr; a = next) {
            next = a->outchain;
            if (!constraint(a)) {
                continue;
            }
            if (a->to == s) {
                freearc(__n, a); // a loop of one: holds or not, nothing changes
            } else if (s != __n->pre && a->to != __n->post) {
                any = true;
            }
        }
    }
    if (!any) {
        return;
    }
    __places = __array<int>(nstates);
    if (__failed()) {
        return;
    }
    std::fill_n(__places, nstates, -1);
    componentsearch(__n, &__mem, constraint, [this](state** members, int n) {
        __break(members, n);
    }).run();
}

/// The set of one constraint, numbered within the component. False if there are too many.
bool loopbreaker::__number(const arc* a, conset& set) {
    const bool left = lookbehind(a);
    auto same = [a](const kind& k) { return k.type == a->type && k.co == a->co; };
    if (a->type == LACON) {
        const std::size_t i =
            static_cast<std::size_t>(std::find_if(__lacons, __lacons + __nlacons, same) - __lacons);
        if (i == MAXLACONS) {
            return false;
        }
        if (i == __nlacons) {
            __lacons[__nlacons++] = {a->type, a->co};
        }
        set.lacons = std::uint64_t{1} << i;
        return true;
    }
    kind* kinds = left ? __lefts : __rights;
    int& nkinds = left ? __nlefts : __nrights;
    const int i = static_cast<int>(std::find_if(kinds + 1, kinds + nkinds + 1, same) - kinds);
    if (i > nkinds) {
        kinds[++nkinds] = {a->type, a->co};
    }
    (left ? set.left : set.right) = i;
    return true;
}

reach*& loopbreaker::__cell(int member, int left, int right) {
    const std::size_t row =
        static_cast<std::size_t>(member) * static_cast<std::size_t>(__nlefts + 1) +
        static_cast<std::size_t>(left);
    return __cells[row * static_cast<std::size_t>(__nrights + 1) + static_cast<std::size_t>(right)];
}

/// Whether a set found for the member, other than `self`, asks for no more than this one.
bool loopbreaker::__implied(int member, const conset& set, const reach* self) {
    const int lefts[] = {0, set.left};
    const int rights[] = {0, set.right};
    for (const int left : lefts) {
        for (const int right : rights) {
            for (const reach* r = __cell(member, left, right); r != nullptr; r = r->samecell) {
                if (r != self && (r->set.lacons & ~set.lacons) == 0) {
                    return true;
                }
            }
        }
    }
    return false;
}

/// Notes that the member is reached under a set, unless that is known.
void loopbreaker::__meet(int member, const conset& set) {
    if (__implied(member, set, nullptr)) {
        return;
    }
    reach* r = __spare;
    if (r != nullptr) {
        __spare = r->next;
    } else {
        r = __array<reach>(1);
    }
    if (r == nullptr) {
        return;
    }
    reach*& cell = __cell(member, set.left, set.right);
    *r = {.set = set, .member = member, .samecell = cell, .next = nullptr};
    cell = r;
    (__found == nullptr ? __found : __foundlast->next) = r;
    __foundlast = r;
}

/// Finds all sets by which a member leads to others.
void loopbreaker::__spread(int start) {
    __found = __foundlast = nullptr;
    __meet(start, conset{});
    for (const reach* r = __found; r != nullptr && !__failed(); r = r->next) {
        if (__implied(r->member, r->set, r)) {
            continue; // by one found later
        }
        if ((__n->v->work += __ninner) > REG_MAXWORK) {
            seterr(__n->v, REG_ESPACE);
            return;
        }
        for (const innerarc* e = __inner; e != __inner + __ninner; e++) {
            if (e->from != r->member) {
                continue;
            }
            conset both = r->set;
            if ((e->set.left != 0 && both.left != 0 && e->set.left != both.left) ||
                (e->set.right != 0 && both.right != 0 && e->set.right != both.right)) {
                continue; // can't both hold
            }
            both.left = std::max(both.left, e->set.left);
            both.right = std::max(both.right, e->set.right);
            both.lacons |= e->set.lacons;
            __meet(e->to, both);
        }
    }
}

/// An arc of a constraint to `to`, or to a new state if that is null; returns its target.
state* loopbreaker::__step(state* from, const kind& what, state* to) {
    if (to == nullptr) {
        to = newstate(__n);
    }
    if (to != nullptr) {
        newarc(__n, what.type, what.co, from, to);
    }
    return to;
}

/// Lays the chain of a set. Chains from one start that begin alike share their beginning.
void loopbreaker::__chain(state* from, const reach* r) {
    conset left = r->set;
    state* goal = __copies[r->member];
    if (left.left != 0) {
        const bool whole = left.right == 0 && left.lacons == 0;
        state*& shared = __lefted[left.left];
        state* to = __step(from, __lefts[left.left], whole ? goal : shared);
        if (!whole) {
            shared = to;
        }
        from = to;
    }
    if (left.right != 0 && from != nullptr) {
        from = __step(from, __rights[left.right], left.lacons == 0 ? goal : nullptr);
    }
    for (std::size_t i = 0; left.lacons != 0 && from != nullptr; i++) {
        const std::uint64_t bit = std::uint64_t{1} << i;
        if ((left.lacons & bit) == 0) {
            continue;
        }
        left.lacons &= ~bit;
        from = __step(from, __lacons[i], left.lacons == 0 ? goal : nullptr);
    }
}

void loopbreaker::__break(state** members, int nmembers) {
    const std::size_t nm = static_cast<std::size_t>(nmembers);
    std::size_t ninner = 0;
    for (int i = 0; i < nmembers; i++) {
        __places[members[i]->no] = i;
        ninner += static_cast<std::size_t>(members[i]->nouts);
    }
    __inner = __array<innerarc>(ninner);
    __lefts = __array<kind>(ninner + 1);
    __rights = __array<kind>(ninner + 1);
    __lacons = __array<kind>(MAXLACONS);
    __copies = __array<state*>(nm);
    __ninner = __nlefts = __nrights = 0;
    __nlacons = 0;

    // Take the inner arcs out.
    for (int i = 0; i < nmembers && !__failed(); i++) {
        for (arc *a = members[i]->outs, *next = nullptr; a != nullptr; a = next) {
            next = a->outchain;
            const int to = a->to->no < __norig ? __places[a->to->no] : -1;
            if (!constraint(a) || to < 0) {
                continue;
            }
            innerarc& e = __inner[__ninner++];
            e = {.from = i, .to = to, .set = {}};
            if (!__number(a, e.set)) {
                seterr(__n->v, REG_ESPACE);
                break;
            }
            freearc(__n, a);
        }
    }
    const std::size_t ncells =
        nm * static_cast<std::size_t>(__nlefts + 1) * static_cast<std::size_t>(__nrights + 1);
    if (ncells > MAXCELLS) {
        seterr(__n->v, REG_ESPACE);
    }
    if (__failed()) {
        return;
    }
    __cells = __array<reach*>(ncells);
    __lefted = __array<state*>(static_cast<std::size_t>(__nlefts) + 1);
    for (std::size_t i = 0; i < nm && !__failed(); i++) {
        __copies[i] = newstate(__n);
        if (__copies[i] != nullptr) {
            copyouts(__n, members[i], __copies[i]);
        }
    }

    for (int i = 0; i < nmembers && !__failed(); i++) {
        if (members[i]->nins == 0) {
            continue; // can be reached from inside only
        }
        __spread(i);
        std::fill_n(__lefted, __nlefts + 1, nullptr);
        for (const reach* r = __found; r != nullptr && !__failed(); r = r->next) {
            if (r->member != i && !__implied(r->member, r->set, r)) {
                __chain(members[i], r);
            }
        }
        for (const reach* r = __found; r != nullptr; r = r->next) {
            __cell(r->member, r->set.left, r->set.right) = nullptr;
        }
        if (__foundlast != nullptr) {
            __foundlast->next = __spare;
            __spare = __found;
        }
    }
    for (int i = 0; i < nmembers; i++) {
        __places[members[i]->no] = -1;
    }
}

} // namespace

void breakloops(nfa* n) {
    if (!iserr(n->v)) {
        loopbreaker(n).run();
    }
}

} // namespace Quil::IMPL::engine

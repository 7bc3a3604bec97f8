// The plain matcher: sets of ends for the language, a tree for the order of preference.
#include "tests/regex/reference_matcher.h"

#include <algorithm>

namespace reference {

namespace {

constexpr int LONGER = 1, SHORTER = 2, MIXED = 4, CAP = 8, BACKR = 16, LOCAL = LONGER | SHORTER;

int up(int f) {
    return (f & ~LOCAL) | ((f & LOCAL) == LOCAL ? MIXED : 0);
}

bool messy(int f) {
    return (f & (MIXED | CAP | BACKR)) != 0;
}

int combine(int f1, int f2) {
    return up(f1 | f2) | ((f1 & LOCAL) ? f1 & LOCAL : f2 & LOCAL);
}

std::string bounds(const ast& a) {
    std::string s;
    if (a.min == 0 && a.max == MANY) {
        s = "*";
    } else if (a.min == 1 && a.max == MANY) {
        s = "+";
    } else if (a.min == 0 && a.max == 1) {
        s = "?";
    } else if (a.max == MANY) {
        s = "{" + std::to_string(a.min) + ",}";
    } else if (a.preference == 0) {
        s = "{" + std::to_string(a.min) + "}";
    } else {
        s = "{" + std::to_string(a.min) + "," + std::to_string(a.max) + "}";
    }
    return a.preference == 'S' ? s + "?" : s;
}

} // namespace

std::string print(const ast& a) {
    switch (a.kind) {
    case 'c':
        return std::string(1, a.c);
    case '.':
        return ".";
    case 'e':
        return "(?:)";
    case '^':
        return a.c == '^' || a.c == '$' ? std::string(1, a.c) : std::string("\\") + a.c;
    case ',':
    case '|': {
        std::string s;
        for (const astp& part : a.parts) {
            if (a.kind == '|' && part != a.parts.front()) {
                s += '|';
            }
            s += a.kind == ',' && part->kind == '|' ? "(?:" + print(*part) + ")" : print(*part);
        }
        return s;
    }
    case '*': {
        const char k = a.parts[0]->kind;
        const bool plain = k == 'c' || k == '.' || k == '(' || k == '\\' || k == 'e';
        return (plain ? print(*a.parts[0]) : "(?:" + print(*a.parts[0]) + ")") + bounds(a);
    }
    case '(':
        return "(" + print(*a.parts[0]) + ")";
    case '\\':
        return "\\" + std::to_string(a.group);
    default:
        return std::string("(?") + a.kind + print(*a.parts[0]) + ")";
    }
}

/// A node of the tree that the preferences follow: `=` a plain stretch, `.` `|` `(` `b`.
struct matcher::node {
    char op = '=';
    int flags = 0;
    std::vector<astp> stretch{};
    nodep left{}, right{};
    int group = 0, min = 1, max = 1;
    astp referred{};
};

matcher::matcher(const ast& root, int groups, options o)
    : __root(root), __tree(alternatives(root)), __groups(groups), __options(o),
      __backrefs(__tree->flags & BACKR) {}

matcher::~matcher() = default;

bool matcher::wordat(int at) const {
    return at >= 0 && at < static_cast<int>(__text.size()) &&
           (std::isalnum(static_cast<unsigned char>(__text[static_cast<std::size_t>(at)])) ||
            __text[static_cast<std::size_t>(at)] == '_');
}

bool matcher::holds(char constraint, int at) const {
    const int size = static_cast<int>(__text.size());
    const auto newlineat = [&](int i) {
        return __options.newline && i >= 0 && i < size &&
               __text[static_cast<std::size_t>(i)] == '\n';
    };
    const bool before = wordat(at - 1), behind = wordat(at);
    switch (constraint) {
    case '^':
        return (at == 0 && !__options.notbol) || newlineat(at - 1);
    case '$':
        return (at == size && !__options.noteol) || newlineat(at);
    case 'A':
        return at == 0;
    case 'Z':
        return at == size;
    case 'm':
        return !before && behind;
    case 'M':
        return before && !behind;
    case 'y':
        return before != behind;
    default:
        return before == behind;
    }
}

matcher::ends matcher::repeat(const ast& a, int min, int max, int at) const {
    ends now{at}, all;
    if (min == 0) {
        all = now;
    }
    // More rounds than characters, beyond the least number, reach nothing new.
    const int rounds = std::min(max, min + static_cast<int>(__text.size()) + 1);
    for (int i = 1; i <= rounds && !now.empty(); ++i) {
        ends next;
        for (const int place : now) {
            next.merge(from(a, place));
        }
        now = next;
        if (i >= min) {
            all.insert(now.begin(), now.end());
        }
    }
    return all;
}

/// Every place where a match of the expression from `at` can end.
matcher::ends matcher::from(const ast& a, int at) const {
    const int size = static_cast<int>(__text.size());
    switch (a.kind) {
    case 'c':
    case '.': {
        if (at == size) {
            return {};
        }
        const char c = __text[static_cast<std::size_t>(at)];
        const bool match = a.kind == 'c' ? c == a.c : !(__options.newline && c == '\n');
        return match ? ends{at + 1} : ends{};
    }
    case 'e':
        return {at};
    case '^':
        return holds(a.c, at) ? ends{at} : ends{};
    case ',': {
        ends now{at};
        for (const astp& part : a.parts) {
            ends next;
            for (const int place : now) {
                next.merge(from(*part, place));
            }
            now = next;
        }
        return now;
    }
    case '|': {
        ends all;
        for (const astp& part : a.parts) {
            all.merge(from(*part, at));
        }
        return all;
    }
    case '*':
        return repeat(*a.parts[0], a.min, a.max, at);
    case '(':
        return from(*a.parts[0], at);
    case '\\':
        return from(*a.referred, at);
    default:
        return from(*a.parts[0], at).empty() == (a.kind == '!') ? ends{at} : ends{};
    }
}

matcher::ends matcher::from(const node& n, int at) const {
    switch (n.op) {
    case '=':
        return from(ast{.kind = ',', .parts = n.stretch}, at);
    case '.': {
        ends all;
        for (const int mid : from(*n.left, at)) {
            all.merge(from(*n.right, mid));
        }
        return all;
    }
    case '|': {
        ends all = from(*n.left, at);
        if (n.right) {
            all.merge(from(*n.right, at));
        }
        return all;
    }
    case '(':
        return from(*n.left, at);
    default:
        return repeat(*n.referred, n.min, n.max, at);
    }
}

matcher::nodep matcher::alternatives(const ast& a) const {
    const auto branchof = [this](const astp& part) {
        return part->kind == ',' ? branch(part->parts, 0) : branch({part}, 0);
    };
    if (a.kind != '|') {
        return branchof(std::make_shared<ast>(a));
    }
    std::vector<nodep> nodes;
    int flags = 0;
    for (const astp& part : a.parts) {
        auto n = std::make_unique<node>(node{.op = '|', .flags = LONGER});
        n->left = branchof(part);
        n->flags |= up(n->flags | n->left->flags);
        flags |= n->flags;
        nodes.push_back(std::move(n));
    }
    if (!messy(flags)) {
        return std::make_unique<node>(node{.flags = flags, .stretch = {std::make_shared<ast>(a)}});
    }
    nodep head;
    for (; !nodes.empty(); nodes.pop_back()) {
        nodes.back()->right = std::move(head);
        head = std::move(nodes.back());
    }
    head->flags |= flags;
    return head;
}

matcher::nodep matcher::atom(const ast& a) const {
    if (a.kind == '\\') {
        return std::make_unique<node>(
            node{.op = 'b', .flags = BACKR, .group = a.group, .referred = a.referred});
    }
    if (a.kind == '(') {
        nodep content = alternatives(*a.parts[0]);
        auto n = std::make_unique<node>(node{.op = '(', .flags = content->flags | CAP});
        n->group = a.group;
        n->left = std::move(content);
        return n;
    }
    if (a.kind == '|' || a.kind == ',' || a.kind == '*') {
        return alternatives(a);
    }
    return std::make_unique<node>(node{.stretch = {std::make_shared<ast>(a)}});
}

/// One branch from item `first` on: plain items gather in front, the first messy one divides.
matcher::nodep matcher::branch(const std::vector<astp>& items, std::size_t first) const {
    auto top = std::make_unique<node>();
    for (std::size_t i = first; i < items.size(); ++i) {
        const ast& item = *items[i];
        const bool quantified = item.kind == '*';
        const ast& bare = quantified ? *item.parts[0] : item;
        const int preference = item.preference == 'L'   ? LONGER
                               : item.preference == 'S' ? SHORTER
                                                        : 0;
        nodep part = atom(bare);
        const int f = top->flags | preference | part->flags;
        if (!messy(up(f))) {
            top->stretch.push_back(items[i]);
            top->flags = f;
            continue;
        }
        const int own = combine(preference, part->flags);
        auto division = std::make_unique<node>(node{.op = '.', .flags = own});
        int min = quantified ? item.min : 1;
        const int max = quantified ? item.max : 1;
        const bool bypass = min == 0;
        if (bypass) {
            min = 1;
        }
        if (part->op == 'b') {
            part->min = min;
            part->max = max;
            part->flags |= own;
        } else if (min != 1 || max != 1) {
            auto copies =
                std::make_shared<ast>(ast{.kind = '*', .parts = {std::make_shared<ast>(bare)}});
            copies->min = min - 1;
            copies->max = max == MANY ? MANY : max - 1;
            auto pair = std::make_unique<node>(node{.op = '.', .flags = own});
            pair->left =
                std::make_unique<node>(node{.flags = own & LOCAL, .stretch = {std::move(copies)}});
            pair->right = std::move(part);
            part = std::move(pair);
        }
        if (bypass) {
            auto choice = std::make_unique<node>(node{.op = '|', .flags = own});
            choice->left = std::move(part);
            choice->right = std::make_unique<node>(node{.op = '|', .flags = own & LOCAL});
            choice->right->left = std::make_unique<node>();
            part = std::move(choice);
        }
        division->left = std::move(part);
        division->right = branch(items, i + 1);
        division->flags |= combine(division->flags, division->right->flags);
        auto divided = std::make_unique<node>(node{.op = '.', .flags = top->flags});
        divided->flags |= combine(top->flags, division->flags);
        divided->left = std::move(top);
        divided->right = std::move(division);
        return divided;
    }
    return top;
}

void matcher::zap(const node& n) {
    if (n.op == '(') {
        __spans[static_cast<std::size_t>(n.group)] = {-1, -1};
    }
    if (n.left) {
        zap(*n.left);
    }
    if (n.right) {
        zap(*n.right);
    }
}

bool matcher::refer(const node& n, int begin, int end) const {
    const span group = __spans[static_cast<std::size_t>(n.group)];
    const int length = group.second - group.first;
    if (group.first == -1) {
        return false;
    }
    if (length == 0 || end - begin < length) {
        return length == 0 && begin == end;
    }
    int times = 0;
    for (; begin + length <= end && (n.max == MANY || times < n.max); begin += length, ++times) {
        if (__text.compare(static_cast<std::size_t>(begin), static_cast<std::size_t>(length),
                           __text, static_cast<std::size_t>(group.first),
                           static_cast<std::size_t>(length)) != 0) {
            break;
        }
    }
    return begin == end && times >= n.min;
}

/// Sets the groups of a span that the language of `n` holds; false if a back reference differs.
bool matcher::divide(const node& n, int begin, int end) {
    switch (n.op) {
    case '(':
        if (!divide(*n.left, begin, end)) {
            return false;
        }
        __spans[static_cast<std::size_t>(n.group)] = {begin, end};
        return true;
    case '|':
        for (const node* t = &n; t; t = t->right.get()) {
            if (accepts(*t->left, begin, end) && divide(*t->left, begin, end)) {
                return true;
            }
            zap(*t->left);
        }
        return false;
    case '.': {
        std::vector<int> mids;
        for (const int mid : from(*n.left, begin)) {
            if (mid <= end) {
                mids.push_back(mid);
            }
        }
        if (!(n.left->flags & SHORTER)) {
            std::reverse(mids.begin(), mids.end());
        }
        for (const int mid : mids) {
            if (mid != mids.front()) {
                zap(*n.left);
                zap(*n.right);
            }
            if (divide(*n.left, begin, mid) && accepts(*n.right, mid, end) &&
                divide(*n.right, mid, end)) {
                return true;
            }
        }
        return false;
    }
    case 'b':
        return refer(n, begin, end);
    default:
        return true;
    }
}

std::vector<span> matcher::match(const std::string& text) {
    __text = text;
    const int size = static_cast<int>(text.size());
    const bool shorter = (__tree->flags & SHORTER) != 0;
    for (int begin = 0; begin <= size; ++begin) {
        const ends found = from(*__tree, begin);
        std::vector<int> order(found.begin(), found.end());
        if (!shorter) {
            std::reverse(order.begin(), order.end());
        }
        for (const int end : order) {
            __spans.assign(static_cast<std::size_t>(__groups) + 1, {-1, -1});
            if (divide(*__tree, begin, end)) {
                __spans[0] = {begin, end};
                return __spans;
            }
            // A failed candidate at the far limit ends the whole search, as documented.
            if (end == (shorter ? size : begin)) {
                return {};
            }
        }
    }
    return {};
}

namespace {

template <class Visit>
void eachwithin(const ast& a, Visit visit) {
    visit(a);
    for (const astp& part : a.parts) {
        eachwithin(*part, visit);
    }
}

/// Holds a repeated part, more than a back reference, with a back reference in it.
bool repeatsreference(const ast& a) {
    bool found = false;
    eachwithin(a, [&](const ast& loop) {
        if (loop.kind == '*' && loop.max > 1 && loop.parts[0]->kind != '\\') {
            eachwithin(loop, [&](const ast& within) { found = found || within.kind == '\\'; });
        }
    });
    return found;
}

} // namespace

/// The rounds of a repetition.
matcher::readings matcher::readagain(const ast& a, const readings& before) const {
    readings now = before, all;
    const int rounds = std::min(a.max, a.min + static_cast<int>(__text.size()) + 1);
    for (int i = 0; i <= rounds; ++i) {
        if (i >= a.min) {
            all.insert(now.begin(), now.end());
        }
        readings afresh;
        for (reading r : now) {
            eachwithin(a, [&](const ast& within) {
                if (within.kind == '(') {
                    r.second[static_cast<std::size_t>(within.group)] = {-1, -1};
                }
            });
            afresh.insert(std::move(r));
        }
        now = read(*a.parts[0], afresh);
    }
    return all;
}

matcher::readings matcher::read(const ast& a, const readings& before) const {
    readings all;
    const auto group = static_cast<std::size_t>(a.group);
    switch (a.kind) {
    case ',':
        all = before;
        for (const astp& part : a.parts) {
            all = read(*part, all);
        }
        return all;
    case '|':
        for (const astp& part : a.parts) {
            all.merge(read(*part, before));
        }
        return all;
    case '*':
        return readagain(a, before);
    case '(':
        for (const reading& r : before) {
            for (reading inside : read(*a.parts[0], {r})) {
                inside.second[group] = {r.first, inside.first};
                all.insert(std::move(inside));
            }
        }
        return all;
    case '\\':
        for (const auto& [at, groups] : before) {
            const auto [begin, end] = groups[group];
            const auto length = static_cast<std::size_t>(end - begin);
            if (begin >= 0 && __text.compare(static_cast<std::size_t>(at), length, __text,
                                             static_cast<std::size_t>(begin), length) == 0) {
                all.insert({at + end - begin, groups});
            }
        }
        return all;
    default: // sets no group
        for (const auto& [at, groups] : before) {
            for (const int end : from(a, at)) {
                all.insert({end, groups});
            }
        }
        return all;
    }
}

bool matcher::isreading(const std::vector<span>& spans) const {
    if (spans.empty() || repeatsreference(__root)) {
        return true;
    }
    reading start{spans[0].first, {spans.size(), {-1, -1}}}, wanted{spans[0].second, spans};
    start.second[0] = spans[0];
    return read(__root, {start}).count(wanted) > 0;
}

} // namespace reference

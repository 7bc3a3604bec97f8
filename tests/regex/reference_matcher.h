// A plain matcher for the tests: it works on the expression itself, by sets of ends, without
// colors, automata or states. A match and its groups follow the engine's documented rules to the
// letter and at any cost: leftmost, then longest (or shortest), then parts from left to right by
// preference.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace reference {

struct ast;
using astp = std::shared_ptr<ast>;
constexpr int MANY = 256;

/// An expression. Kinds: one character (`c`), any (`.`), nothing (`e`), constraint (`^ $ A Z y m M`
/// in `c`), sequence (`,`), alternatives (`|`), repetition (`*`), group (`(`), back reference
/// (`\`), lookahead (`=` or `!`).
struct ast {
    char kind = 'e';
    char c = 0;
    std::vector<astp> parts{};
    int min = 1, max = 1; // of a repetition
    char preference = 0;  // 'L', 'S' or 0 of a repetition
    int group = 0;        // of a group or back reference
    astp referred{};      // of a back reference: the content of its group
};

struct options {
    bool newline = false, notbol = false, noteol = false;
};

/// The expression as text of an advanced regular expression.
std::string print(const ast& a);

using span = std::pair<int, int>;

class matcher {
public:
    matcher(const ast& root, int groups, options o);
    ~matcher();
    matcher(const matcher&) = delete;
    matcher& operator=(const matcher&) = delete;
    /// Spans of the match and the groups, empty if there is none.
    std::vector<span> match(const std::string& text);
    /// Whether the spans that `match` gave are a way to read the text by the meaning of each
    /// construct alone, whatever is preferred: a back reference stands for what its group matched
    /// and for nothing without it, a group keeps nothing from an earlier round of a repetition.
    /// Always true where a repeated part holds a back reference, since only its last round is
    /// compared.
    bool isreading(const std::vector<span>& spans) const;

private:
    /// What was read so far: up to where, and the groups.
    using reading = std::pair<int, std::vector<span>>;
    using readings = std::set<reading>;
    readings read(const ast& a, const readings& before) const;
    readings readagain(const ast& a, const readings& before) const;

    struct node;
    using nodep = std::unique_ptr<node>;
    using ends = std::set<int>;

    ends from(const ast& a, int at) const;
    ends from(const node& n, int at) const;
    ends repeat(const ast& a, int min, int max, int at) const;
    bool holds(char constraint, int at) const;
    bool wordat(int at) const;

    nodep alternatives(const ast& a) const;
    nodep branch(const std::vector<astp>& items, std::size_t first) const;
    nodep atom(const ast& a) const;

    bool accepts(const node& n, int begin, int end) const { return from(n, begin).count(end) > 0; }
    bool divide(const node& n, int begin, int end);
    bool refer(const node& n, int begin, int end) const;
    void zap(const node& n);

    const ast& __root;
    nodep __tree;
    int __groups;
    options __options;
    bool __backrefs = false;
    std::string __text;
    std::vector<span> __spans;
};

} // namespace reference

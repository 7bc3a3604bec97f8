// Every small expression on every small text, and many larger ones by chance, against the plain
// matcher; plain extended expressions against the C library as well; and the engine's roads (narrow
// and wide, kept and new context, with and without short cuts) against each other.
#include "regex/regcontext.h"
#include "tests/regex/engine.h"
#include "tests/regex/library_regex.h"
#include "tests/regex/reference_matcher.h"

#include <algorithm>
#include <random>

namespace Quil {
namespace {

using reference::ast;
using reference::astp;
using reference::MANY;

astp leaf(char kind, char c = 0) {
    return std::make_shared<ast>(ast{.kind = kind, .c = c});
}

astp over(char kind, std::vector<astp> parts) {
    return std::make_shared<ast>(ast{.kind = kind, .parts = std::move(parts)});
}

astp repeated(const astp& a, int min, int max, char preference) {
    return std::make_shared<ast>(
        ast{.kind = '*', .parts = {a}, .min = min, .max = max, .preference = preference});
}

/// Gives groups their numbers, from left to right, and back references their groups' content.
/// Copies the nodes: expressions are built from shared parts. False: a reference to no group.
bool settle(astp& a, std::vector<astp>& groups) {
    a = std::make_shared<ast>(*a);
    if (a->kind == '(') {
        a->group = static_cast<int>(groups.size());
        groups.push_back(nullptr);
    }
    if (a->kind == '\\') {
        if (static_cast<std::size_t>(a->group) >= groups.size() ||
            !groups[static_cast<std::size_t>(a->group)]) {
            return false;
        }
        a->referred = groups[static_cast<std::size_t>(a->group)];
    }
    for (astp& part : a->parts) {
        if (!settle(part, groups)) {
            return false;
        }
    }
    if (a->kind == '(') {
        groups[static_cast<std::size_t>(a->group)] = a->parts[0];
    }
    return true;
}

std::vector<std::string> texts(const std::string& alphabet, std::size_t length) {
    std::vector<std::string> all{""};
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].size() < length) {
            for (const char c : alphabet) {
                all.push_back(all[i] + c);
            }
        }
    }
    return all;
}

std::string asspans(const std::vector<reference::span>& spans) {
    std::vector<regmatch_t> m;
    for (const auto& [begin, end] : spans) {
        m.push_back(regmatch_t{begin, end});
    }
    return test::print(m);
}

/// One expression on all texts, by the engine's roads and the plain matcher. False: does not
/// compile.
bool compare(astp root, const std::vector<std::string>& subjects, reference::options o) {
    std::vector<astp> groups{nullptr};
    if (!settle(root, groups)) {
        return false;
    }
    const std::string pattern = reference::print(*root);
    const int cflags = REG_ADVANCED | (o.newline ? REG_NEWLINE : 0);
    const int eflags = (o.notbol ? REG_NOTBOL : 0) | (o.noteol ? REG_NOTEOL : 0);
    test::expression<wchar_t> wide(test::widen<wchar_t>(pattern), cflags);
    test::expression<char> narrow(pattern, cflags);
    EXPECT_EQ(wide.error(), REG_OKAY) << pattern;
    EXPECT_EQ(narrow.error(), REG_OKAY) << pattern;
    if (wide.error() != REG_OKAY || narrow.error() != REG_OKAY) {
        return false;
    }
    TRegexContext<wchar_t> kept(wide.handle()), plain(wide.handle());
    TRegexContext<char> keptnarrow(narrow.handle());
    plain.setfastroads(false);
    reference::matcher matcher(*root, static_cast<int>(groups.size()) - 1, o);
    for (const std::string& text : subjects) {
        const std::wstring widetext = test::widen<wchar_t>(text);
        const std::vector<reference::span> spans = matcher.match(text);
        EXPECT_TRUE(matcher.isreading(spans)) << pattern << " on '" << text << "'";
        const std::string expected = asspans(spans);
        const std::size_t slots = groups.size();
        const auto by = [&](auto& context, const auto& subject, int more) {
            return test::print(test::exec(context, subject, 0, slots, eflags | more));
        };
        EXPECT_EQ(by(kept, widetext, 0), expected) << pattern << " on '" << text << "' " << cflags;
        EXPECT_EQ(by(plain, widetext, REG_SMALL), expected) << pattern << " on '" << text << "'";
        EXPECT_EQ(by(keptnarrow, text, 0), expected) << pattern << " on '" << text << "'";
    }
    return true;
}

/// The whole match of a plain extended expression by the C library.
bool comparelibrary(const std::string& pattern, const std::vector<std::string>& subjects) {
    const auto spans = test::librarymatches(pattern, subjects);
    if (!spans) {
        return false;
    }
    test::expression<wchar_t> e(test::widen<wchar_t>(pattern), REG_EXTENDED);
    EXPECT_EQ(e.error(), REG_OKAY) << pattern;
    for (std::size_t i = 0; i < subjects.size() && e.error() == REG_OKAY; ++i) {
        const auto [begin, end] = (*spans)[i];
        const auto expected = begin < 0 ? "" : test::print({regmatch_t{begin, end}});
        EXPECT_EQ(test::print(e.exec(test::widen<wchar_t>(subjects[i]), 0, 1)), expected)
            << pattern << " on '" << subjects[i] << "'";
    }
    return true;
}

/// A back reference, yet to be settled.
astp referring(int group) {
    astp a = leaf('\\');
    a->group = group;
    return a;
}

/// All expressions of exactly `size` nodes, by size.
std::vector<std::vector<astp>> expressions(std::size_t most,
                                           std::vector<astp> leaves = {leaf('c', 'a'),
                                                                       leaf('c', 'b'), leaf('.')}) {
    std::vector<std::vector<astp>> of(most + 1);
    of[1] = std::move(leaves);
    for (std::size_t size = 2; size <= most; ++size) {
        for (const astp& a : of[size - 1]) {
            for (const auto& [min, max] : {std::pair{0, MANY}, {1, MANY}, {0, 1}, {1, 2}}) {
                for (const char preference : {'L', 'S'}) {
                    of[size].push_back(repeated(a, min, max, preference));
                }
            }
            of[size].push_back(repeated(a, 2, 2, 0));
            of[size].push_back(over('(', {a}));
        }
        for (std::size_t left = 1; left + 1 < size; ++left) {
            for (const astp& a : of[left]) {
                for (const astp& b : of[size - 1 - left]) {
                    for (const char kind : {',', '|'}) {
                        of[size].push_back(over(kind, {a, b}));
                    }
                }
            }
        }
    }
    return of;
}

bool haslazy(const ast& a) {
    return a.preference == 'S' ||
           std::any_of(a.parts.begin(), a.parts.end(), [](const astp& p) { return haslazy(*p); });
}

/// An expression by chance; `depth` bounds its height. The same ones by every compiler: no two
/// arguments of a call ask for chance.
astp random(std::mt19937& seed, int depth, bool grouping = true) {
    const auto pick = [&](unsigned int n) { return static_cast<int>(seed() % n); };
    if (depth == 0 || pick(8) == 0) {
        if (pick(5) == 0) {
            return leaf('^', "^$AZyYmM"[pick(8)]);
        }
        if (grouping && pick(4) == 0) {
            return referring(1 + pick(2));
        }
        return pick(5) == 0 ? leaf('.') : leaf('c', "aab "[pick(4)]);
    }
    const auto child = [&] { return random(seed, depth - 1, grouping); };
    switch (pick(8)) {
    case 0:
    case 1: {
        const int min = pick(3);
        const int max = pick(2) ? MANY : std::max(1, min + pick(2));
        const char preference = pick(3) ? 'L' : 'S';
        return repeated(child(), min, max, preference);
    }
    case 2:
        return over('|', {child(), child()});
    case 3:
        return grouping ? over('(', {child()}) : child();
    case 4: {
        const char kind = pick(2) ? '=' : '!';
        return over(kind, {random(seed, depth - 1, false)});
    }
    default:
        return over(',', {child(), child(), child()});
    }
}

/// Sequences within sequences are one sequence when printed, so they are one here.
astp flatten(const astp& a) {
    auto copy = std::make_shared<ast>(*a);
    copy->parts.clear();
    for (const astp& part : a->parts) {
        const astp flat = flatten(part);
        if (a->kind == flat->kind && (a->kind == ',' || a->kind == '|')) {
            copy->parts.insert(copy->parts.end(), flat->parts.begin(), flat->parts.end());
        } else {
            copy->parts.push_back(flat);
        }
    }
    return copy;
}

TEST(Exhaustive, SmallExpressions) {
    const auto all = expressions(4);
    std::size_t compared = 0;
    for (std::size_t size = 1; size < all.size(); ++size) {
        for (const astp& a : all[size]) {
            compared += compare(flatten(a), texts("ab", size < 4 ? 4 : 3), {}) ? 1 : 0;
        }
    }
    EXPECT_GT(compared, 3000u);
}

// Behind a group that took part, that may have, and that hasn't.
TEST(Exhaustive, SmallExpressionsWithReferences) {
    const astp either = over('(', {over('|', {leaf('c', 'a'), leaf('c', 'b')})});
    const astp starred = over('(', {repeated(leaf('c', 'a'), 0, MANY, 'L')});
    const auto all = expressions(3, {leaf('c', 'b'), leaf('.'), referring(1)});
    std::size_t compared = 0;
    for (const auto& size : all) {
        for (const astp& a : size) {
            for (const astp& root :
                 {over(',', {either, a}), over(',', {starred, a}), over('|', {starred, a}),
                  over(',', {over('|', {either, leaf('c', 'b')}), a})}) {
                compared += compare(flatten(root), texts("ab", 4), {}) ? 1 : 0;
            }
        }
    }
    EXPECT_GT(compared, 1000u);
}

TEST(Exhaustive, PlainExtendedAgainstTheLibrary) {
    const auto subjects = texts("ab", 4);
    std::size_t compared = 0;
    for (const auto& size : expressions(4)) {
        for (const astp& a : size) {
            const std::string pattern = reference::print(*flatten(a));
            if (!haslazy(*a) && pattern.find("(?:") == std::string::npos) {
                compared += comparelibrary(pattern, subjects) ? 1 : 0;
            }
        }
    }
    EXPECT_GT(compared, 400u);
}

// What an alternative has set before it failed must not be seen by a later reference.
TEST(Exhaustive, AlternativesBeforeReferencesByChance) {
    std::mt19937 seed(7);
    const auto atoms = expressions(2);
    const auto pick = [&](const auto& of) { return of[seed() % of.size()]; };
    const auto plain = [&] { return pick(atoms[1 + seed() % 2]); };
    const auto group = [&] { return over('(', {plain()}); };
    const auto refer = [&] { return referring(1 + static_cast<int>(seed() % 4)); };
    const auto branch = [&] {
        return over(',', {seed() % 2 ? group() : plain(), seed() % 2 ? refer() : group()});
    };
    std::size_t compared = 0;
    for (int i = 0; i < 2000; ++i) {
        const astp choice = over('|', {branch(), branch(), branch()});
        const astp rest = repeated(leaf('c', 'b'), 0, 1, 'L');
        compared +=
            compare(flatten(over(',', {choice, group(), refer(), rest})), texts("ab", 4), {}) ? 1
                                                                                              : 0;
    }
    EXPECT_GT(compared, 500u);
}

TEST(Exhaustive, LargerExpressionsByChance) {
    std::mt19937 seed(20011101);
    const auto subjects = texts("ab ", 3);
    std::size_t compared = 0;
    for (int i = 0; i < 2000; ++i) {
        const astp a = flatten(random(seed, 3));
        const reference::options o{seed() % 4 == 0, seed() % 4 == 0, seed() % 4 == 0};
        std::vector<std::string> chosen = {"", "aab\nab a", "ab a\nb", "aaaaaaaa", "abaabaab"};
        for (int j = 0; j < 5; ++j) {
            chosen.push_back(subjects[seed() % subjects.size()]);
        }
        compared += compare(a, chosen, o) ? 1 : 0;
    }
    EXPECT_GT(compared, 1000u);
}

} // namespace
} // namespace Quil

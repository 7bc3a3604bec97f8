// Every small expression on every small text, and many larger ones by chance, against the plain
// matcher; plain extended expressions against the C library as well; and the engine's roads (narrow
// and wide, kept and new context, with and without short cuts) against each other.
#include "regex/regcontext.h"
#include "tests/regex/comparison.h"
#include "tests/regex/engine.h"
#include "tests/regex/library_regex.h"

#include <algorithm>
#include <random>

namespace Quil {
namespace {

using reference::MANY;
using test::ast;
using test::astp;
using test::compare;
using test::flatten;
using test::leaf;
using test::over;
using test::referring;
using test::repeated;

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
    const auto pick = [&seed](int n) {
        return static_cast<int>(seed() % static_cast<unsigned int>(n));
    };
    std::size_t compared = 0;
    for (int i = 0; i < 2000; ++i) {
        const astp a = flatten(test::random(pick, 3));
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

// Regular expressions behind the string classes: the two replace-all forms against each other, the
// replacement syntax, where a line begins, directors, and the pattern that a thread keeps.

#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <type_traits>

namespace Quil {
namespace {

template <class S>
S make(const std::string& text) {
    S s;
    s << text.c_str();
    return s;
}

template <class S>
class RegexFront : public testing::Test {
protected:
    /// Both forms give the same text and count; answers them as "count:text".
    static std::string All(const char* text, const char* pattern, const char* rep,
                           bool newline = false, bool notBol = false, bool translate = true) {
        const auto handle = S::regex_comp(make<S>(pattern), false, newline, true, translate);
        S inPlace = make<S>(text);
        S to = make<S>("old");
        const unsigned int copied = inPlace.regex_find_replace_all_with_comp_to(
            to, handle, make<S>(rep), notBol, false, translate);
        const unsigned int count = inPlace.regex_find_replace_all_with_comp(
            handle, make<S>(rep), notBol, false, translate);
        EXPECT_EQ(copied, count) << pattern << " in " << text;
        EXPECT_TRUE(to == inPlace) << pattern << " in " << text;
        std::string plain;
        for (const auto element : inPlace) {
            plain += static_cast<char>(element);
        }
        return std::to_string(count) + ':' + plain;
    }
};
using Widths = testing::Types<stringEx, wstringEx>;
TYPED_TEST_SUITE(RegexFront, Widths);

TYPED_TEST(RegexFront, ReplaceAll) {
    const struct {
        const char *text, *pattern, *rep;
        bool newline, notBol;
        const char* expected;
    } rows[] = {
        {"", "^", "x", false, false, "0:"},
        {"abc", "x*", "-", false, false, "3:-a-b-c"},
        {"abc", "$", "!", false, false, "1:abc!"},
        {"abc", "^", "> ", false, false, "1:> abc"},
        {"abc", "^", "> ", false, true, "0:abc"},
        {"a\n\nb", "^", "> ", true, false, "3:> a\n> \n> b"},
        {"xxa", "^x", "y\n", true, false, "2:y\ny\na"},
        {"xxa", "^x", "y\n", false, false, "1:y\nxa"},
        {"aaab", "^a", "", false, false, "3:b"},
        {"ab-cd", "(.)(.)", "\\2\\1", false, false, "2:bac-d"},
        {"ab", "(a)(b)", "[\\3]", false, false, "1:[]"},
        {"ab", "(a)(b)(c)?", "[\\3\\0]", false, false, "1:[ab]"},
        {"a", "a", "\\\\1\\x\\", false, false, "1:\\1x"},
        {"a\\1b", "(.*)", "<\\1>", false, false, "1:<a\\1b>"},
        {"1 22", "\\d+", "n\\t", false, false, "2:n\t n\t"},
        {"d\\", "[\\\\]", "x", false, false, "1:dx"},
        // Each search takes the rest of the text for a whole one.
        {"abc", "***:[[:<:]].", "x", false, false, "3:xxx"},
        {"aab", "***:\\Aa", "x", false, false, "2:xxb"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(this->All(row.text, row.pattern, row.rep, row.newline, row.notBol), row.expected)
            << row.pattern << " in " << row.text;
    }
}

// With more matches than are told at once, and the first of them far behind the start.
TYPED_TEST(RegexFront, RunsOfOneSet) {
    const char* const alphabet = "ab ";
    std::mt19937 seed(5);
    for (const unsigned int before : {0U, 5U, 700U}) {
        std::string text(before, '-');
        std::string wrapped = text;
        std::string removed = text;
        unsigned int count = 0;
        for (unsigned int run = 0; run < 2000; ++run) {
            const std::string gap(1 + seed() % 9, alphabet[seed() % 3]);
            const std::string number(1 + seed() % (run % 100 == 0 ? 200 : 4), '0');
            text += number + gap;
            wrapped += "<" + number + ">" + gap;
            removed += gap;
            ++count;
        }
        const std::string told = std::to_string(count) + ":";
        EXPECT_EQ(this->All(text.c_str(), "[0-9]+", "<\\0>", false, false), told + wrapped);
        EXPECT_EQ(this->All(text.c_str(), "([0-9]+)", "<\\1>", true, true), told + wrapped);
        EXPECT_EQ(this->All(text.c_str(), "0+", "", true, false), told + removed);
        EXPECT_EQ(this->All(text.c_str(), "0+", "\\1", false, true), told + removed);
    }
}

TYPED_TEST(RegexFront, FormsAgree) {
    const char* const patterns[] = {"a",  "^a", "a$", "^",     "$",     "a*",      "b|^",
                                    "ab", "x*", "^$", "(a)b*", "[^a]+", "a|(b)|$", "\n"};
    const char* const reps[] = {"-", "\n", "<\\0>", "[\\1]", "a\n"};
    std::mt19937 random(11);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (auto n = random() % 8; n > 0; --n) {
            text += "aab\n"[random() % 4];
        }
        this->All(text.c_str(), patterns[random() % std::size(patterns)],
                  reps[random() % std::size(reps)], random() % 2 == 0, random() % 2 == 0);
    }
}

TYPED_TEST(RegexFront, CopyOutTriesBeginningAgainWhileEmpty) {
    const auto handle = TypeParam::regex_comp(make<TypeParam>("^"), false, false, true, false);
    TypeParam text = make<TypeParam>("ab");
    TypeParam to;
    EXPECT_EQ(
        text.regex_find_replace_all_with_comp_to(to, handle, TypeParam(), false, false, false), 2U);
    EXPECT_EQ(text.regex_find_replace_all_with_comp(handle, TypeParam(), false, false, false), 1U);
    EXPECT_TRUE(to == text);
}

TYPED_TEST(RegexFront, Directors) {
    const struct {
        const char* pattern;
        bool newline, matches;
    } rows[] = {
        {"***:(?i)A.B", false, true}, {"***:(?i)A.B", true, false}, {"***:(?n)a.b", false, false},
        {"***:(?s)a.b", true, true},  {"***=a\nb", false, true},    {"***=a.b", false, false},
        {"a.b", true, false},         {"a.b", false, true},
    };
    const TypeParam text = make<TypeParam>("a\nb");
    for (const auto& row : rows) {
        // By the directive alone `newline` says how the engine is called.
        const auto handle =
            TypeParam::regex_comp(make<TypeParam>(row.pattern), false, row.newline, true, true);
        EXPECT_EQ(text.regex_match_with_comp(handle, false, false), row.matches) << row.pattern;
    }
    // The escapes of a directed pattern are the engine's own.
    EXPECT_EQ(this->All("a1", "***:\\d", "x"), "1:ax");
    // A line feed in the result begins a line where the director says so, whatever was asked for.
    EXPECT_EQ(this->All("xx", "***:(?n)^x", "y\n"), "2:y\ny\n");
    EXPECT_EQ(this->All("xx", "***:(?s)^x", "y\n", true), "1:y\nx");
}

TYPED_TEST(RegexFront, FindTellsMatchesAndGroups) {
    using result = typename TypeParam::regex_result;
    const TypeParam text = make<TypeParam>("ab1 cd22");
    result groups;
    const auto find = [&](const char* pattern, unsigned int index, unsigned int start,
                          bool continued = true) {
        return text.regex_find(groups, make<TypeParam>(pattern), index, start, false, false, true,
                               false, false, true, continued);
    };
    EXPECT_TRUE(find("([a-z]+)(\\d+)", 1, 0));
    EXPECT_EQ(groups, (result{{4, 4}, {4, 2}, {6, 2}}));
    EXPECT_TRUE(find("(x)?c", 0, 2));
    EXPECT_EQ(groups[0], (std::pair<unsigned int, unsigned int>(4, 1)));
    EXPECT_EQ(groups[1].second, 0U);
    EXPECT_FALSE(find("ab", 1, 0));
    EXPECT_FALSE(find("$", 0, 8)) << "a start at the length finds nothing";
    EXPECT_FALSE(find("^b", 0, 1));
    EXPECT_TRUE(find("^b", 0, 1, false));
    EXPECT_FALSE(find("(", 0, 0));
    EXPECT_TRUE(groups.empty());
    EXPECT_TRUE(find("d", 0, 0)) << "a failed compile must leave the thread's record usable";
    EXPECT_TRUE(find("(a)(b)(1)( )(c)(d)(2)(2)()()()", 0, 0));
    EXPECT_EQ(groups.size(), 12U);
    EXPECT_EQ(groups[11], (std::pair<unsigned int, unsigned int>(TypeParam::npos, 0)));

    // The same text with other flags is another pattern.
    const auto match = [&](bool ignoreCase, bool translate) {
        return text.regex_match(make<TypeParam>("B\\d"), 0, 0, ignoreCase, false, true, false,
                                false, translate, false);
    };
    EXPECT_FALSE(match(false, true));
    EXPECT_TRUE(match(true, true));
    EXPECT_FALSE(match(true, false));
    TypeParam::regex_free_tls();
}

// A letter of a class as a capital is the rest.
TYPED_TEST(RegexFront, EscapesOfPatterns) {
    const struct {
        const char *escape, *members; // of the characters below
        bool isClass;
    } rows[] = {
        {"a", "gGz", true},
        {"l", "gz", true},
        {"u", "G", true},
        {"s", " \t\n\r\v", true},
        {"d", "17", true},
        {"x", "17", true},
        {"o", "17", true},
        {"w", "gGz17_", true},
        {"p", std::is_same_v<TypeParam, wstringEx> ? "gGz17" : "gGz17_- \"'", true},
        {"<", "17- \t\n\r\b\v\"'", false},
        {">", "- \t\n\r\b\v\"'", false},
        {"r", "\r", false},
        {"n", "\n", false},
        {"b", "\b", false},
        {"t", "\t", false},
        {"v", "\v", false},
        {"\"", "\"", false},
        {"'", "'", false},
        {"g", "g", false}, // not one of them: the engine's, which takes it as it is
    };
    for (const auto& row : rows) {
        const auto matches = [&](char escape, char c) {
            const TypeParam text(1, static_cast<typename TypeParam::value_type>(c));
            return text.regex_match(make<TypeParam>(std::string("\\") + escape), 0, 0, false, false,
                                    true, false, false, true, false);
        };
        for (const char c : std::string("gGz17_- \t\n\r\b\v\"'")) {
            const bool isMember = std::string(row.members).find(c) != std::string::npos;
            EXPECT_EQ(matches(row.escape[0], c), isMember) << row.escape << ' ' << int{c};
            if (row.isClass) {
                const char capital = static_cast<char>(row.escape[0] - 'a' + 'A');
                EXPECT_EQ(matches(capital, c), !isMember) << capital << ' ' << int{c};
            }
        }
    }
    TypeParam::regex_free_tls();
}

TYPED_TEST(RegexFront, OneOffFormsCompileForThemselves) {
    TypeParam text = make<TypeParam>("aA\na");
    TypeParam to = make<TypeParam>("old");
    const auto all = [&](const char* pattern, bool ignoreCase, bool newline, bool extended) {
        return text.regex_find_replace_all_to(to, make<TypeParam>(pattern), make<TypeParam>("\\n"),
                                              ignoreCase, newline, extended, false, false, true);
    };
    EXPECT_EQ(all("a(", false, false, true), 0U);
    EXPECT_TRUE(to.empty());
    EXPECT_EQ(all("", false, false, true), 0U);
    EXPECT_EQ(all("a", true, false, true), 3U);
    EXPECT_TRUE(to == make<TypeParam>("\n\n\n\n"));
    EXPECT_EQ(all("a$", false, false, true), 1U);
    EXPECT_EQ(all("^a", false, true, true), 2U);
    EXPECT_EQ(all("a+", false, false, false), 0U);
    EXPECT_EQ(all("\\(a\\)A", false, false, false), 1U);
    EXPECT_EQ(text.regex_find_replace_all(make<TypeParam>("(a)(\\n)?"),
                                          make<TypeParam>("\\2\\t\\1"), true, false, true, false,
                                          true, true),
              3U);
    EXPECT_TRUE(text == make<TypeParam>("\ta\n\tA\ta"));
}

TYPED_TEST(RegexFront, ReplacesOne) {
    TypeParam text = make<TypeParam>("a1b2c3");
    EXPECT_TRUE(text.regex_find_replace(make<TypeParam>("([a-z])\\d"), make<TypeParam>("<\\1\\n>"),
                                        1, 0, false, false, true, false, false, true, true));
    EXPECT_TRUE(text == make<TypeParam>("a1<b\n>c3"));
    const auto handle = TypeParam::regex_comp(make<TypeParam>("c"), true, false, true, false);
    EXPECT_FALSE(
        text.regex_find_replace_with_comp(handle, TypeParam(), 1, 0, false, false, false, false));
    EXPECT_TRUE(
        text.regex_find_replace_with_comp(handle, TypeParam(), 0, 0, false, false, false, false));
    EXPECT_TRUE(text == make<TypeParam>("a1<b\n>3"));
    TypeParam::regex_free_tls();
}

TYPED_TEST(RegexFront, NullAndEmpty) {
    const auto null = TypeParam::regex_comp(TypeParam(), false, false, true, true);
    EXPECT_FALSE(null);
    EXPECT_FALSE(TypeParam::regex_comp(make<TypeParam>("a("), false, false, true, true));
    TypeParam text = make<TypeParam>("abc");
    TypeParam to = text;
    EXPECT_EQ(text.regex_find_replace_all_with_comp_to(to, null, text, false, false, true), 0U);
    EXPECT_TRUE(to.empty());
    EXPECT_EQ(text.regex_find_replace_all_with_comp(null, text, false, false, true), 0U);
    const auto empty = TypeParam::regex_comp(make<TypeParam>("^$"), false, false, true, true);
    EXPECT_TRUE(TypeParam().regex_match_with_comp(empty, false, false));
    unsigned int begin = 9;
    unsigned int end = 9;
    const auto handle = TypeParam::regex_comp(make<TypeParam>("b."), false, false, true, true);
    EXPECT_TRUE(text.regex_match_with_comp(handle, begin, end, false, false));
    EXPECT_EQ(begin, 1U);
    EXPECT_EQ(end, 3U);
    // No match: a copy. The text itself as destination: nothing is left to search.
    EXPECT_EQ(text.regex_find_replace_all_with_comp_to(to, empty, text, false, false, true), 0U);
    EXPECT_TRUE(to == text);
    EXPECT_EQ(text.regex_find_replace_all_with_comp_to(text, handle, to, false, false, true), 0U);
    EXPECT_TRUE(text.empty());
}

// The engine's code, and the element of the pattern as it was given.
TYPED_TEST(RegexFront, TellsWhatIsWrongAndWhere) {
    const struct {
        const char *pattern, *expected;
    } rows[] = {
        {"ab", "0:-"},
        {"", "0:-"},
        // What isn't closed, where it was opened.
        {"a(b(c)", "8:1"},
        {"***:a(?=b", "8:5"},
        {"***:a)", "8:5"},
        {"a[b[:alpha:]", "7:1"},
        {"[a][[.b", "7:3"},
        {"a{1}b{2", "9:5"},
        // What doesn't fit, where it begins.
        {"a*+", "13:2"},
        {"a|*", "13:2"},
        {"***:(?<a)", "13:4"},
        {"a{2,1}b", "10:1"},
        {"a{1x}", "10:3"},
        {"a\\", "5:1"},
        {"***:[a\\q]", "5:6"},
        {"***:(a)\\2(b)", "6:7"},
        {"[a-cz-xb]", "11:4"},
        {"[a-c-e]", "11:4"},
        {"[b[:foo:]c]", "4:2"},
        {"[b[.foo.]c]", "3:2"},
        {"***:(?inz)a", "18:8"},
        {"***:(?in", "18:8"},
        {"***?", "2:0"},
        {"a(b{255}){255}(((b{255}){255}){255}){255}c", "12:30"},
        // Behind escapes, which are rewritten to something longer or shorter; and within one.
        {"\\d\\n\\\\\\.\\<\\\"(", "8:12"},
        {"\\w[z-\\n]", "11:3"},
        {"[a-\\d]", "11:1"},
        {"***:\\d\\n(", "8:8"},
    };
    for (const auto& row : rows) {
        REGEX_ERROR error;
        const auto handle =
            TypeParam::regex_comp(make<TypeParam>(row.pattern), false, true, true, true, error);
        EXPECT_EQ(!handle, error || *row.pattern == '\0') << row.pattern;
        EXPECT_EQ(error.text[0] != '\0', static_cast<bool>(error)) << row.pattern;
        EXPECT_EQ(
            std::to_string(error.code) + ":" +
                (error.position == REGEX_ERROR::NOWHERE ? "-" : std::to_string(error.position)),
            row.expected)
            << row.pattern;
    }
}

TYPED_TEST(RegexFront, HandleServesThreads) {
    const auto handle = TypeParam::regex_comp(make<TypeParam>("(a+)b"), false, false, true, true);
    const auto work = [handle] {
        TypeParam text;
        for (int i = 0; i < 1000; ++i) {
            text << "aab-";
        }
        unsigned int count = text.regex_find_replace_all_with_comp(handle, make<TypeParam>("\\1"),
                                                                   false, false, true);
        count += text.regex_match(make<TypeParam>("^(aa-){1,}$"), 0, 0, false, false, true, false,
                                  false, true, false)
                     ? 1
                     : 0;
        TypeParam::regex_free_tls();
        EXPECT_EQ(count, 1001U);
    };
    std::thread other(work);
    work();
    other.join();
}

TYPED_TEST(RegexFront, ManyMatchesInLinearTime) {
    // A search that cost the length of the rest would take hours here.
    TypeParam text(300000, 'a');
    const auto handle = TypeParam::regex_comp(make<TypeParam>("x*"), false, false, true, true);
    EXPECT_EQ(
        text.regex_find_replace_all_with_comp(handle, make<TypeParam>("-"), false, false, true),
        300000U);
    EXPECT_EQ(text.length(), 600000U);
}

} // namespace
} // namespace Quil

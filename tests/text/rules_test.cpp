// Rules are held against their definition, said in a plain program: random ones in random texts, in
// pieces and as a whole, on wide characters and on bytes.
#include "util/text/ConvStr.h"
#include "util/text/RuleSearch.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace Quil;

namespace {

struct RULE_TEXT {
    RULE_KIND kind;
    std::wstring find;
    std::wstring replacement;
};

using RULES = std::vector<RULE_TEXT>;

constexpr RULE_KIND EXACT{};
constexpr RULE_KIND ANY_CASE{.noCase = true};
constexpr RULE_KIND WORD{.wholeWord = true};
constexpr RULE_KIND ANY_CASE_WORD{.noCase = true, .wholeWord = true};
constexpr RULE_KIND EXPRESSION{.isExpression = true};
constexpr RULE_KIND ANY_CASE_EXPRESSION{.isExpression = true, .noCase = true};

bool IsWord(const std::wstring& text, std::size_t at) {
    return at < text.size() && (text[at] == L'_' || wstringEx::is_alnum(text[at]));
}

/// The longest match of a rule at a place; 0 if there is none. The engine is asked for one that
/// begins there by itself, with the text around it to be seen.
std::size_t LongestAt(const RULE_TEXT& rule, const std::wstring& text, std::size_t at) {
    if (rule.kind.isExpression) {
        const auto compiled =
            wstringEx::regex_comp(wstringEx(rule.find.c_str()), rule.kind.noCase, true, true, true);
        const wstringEx subject(text.data(), static_cast<unsigned int>(text.size()));
        wstringEx::regex_result found;
        // Without groups an expression that finds anything here finds its longest match.
        const bool isThere = subject.regex_find_with_comp(
            found, compiled, 0, static_cast<unsigned int>(at), false, false, true);
        return isThere && found[0].first == at ? found[0].second : 0;
    }
    const auto fold = [&](wchar_t c) { return rule.kind.noCase ? wstringEx::to_lower(c) : c; };
    if (!std::equal(rule.find.begin(), rule.find.end(), text.begin() + static_cast<long>(at),
                    text.begin() + static_cast<long>(std::min(text.size(), at + rule.find.size())),
                    [&](wchar_t a, wchar_t b) { return fold(a) == fold(b); })) {
        return 0;
    }
    const bool isPart = IsWord(text, at + rule.find.size()) || (at > 0 && IsWord(text, at - 1));
    return rule.kind.wholeWord && isPart ? 0 : rule.find.size();
}

/// The definition: at each place the longest match of any rule, of these the first rule's.
std::wstring ByDefinition(const RULES& rules, const std::wstring& text) {
    std::wstring result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 0;
        const RULE_TEXT* best = nullptr;
        for (const RULE_TEXT& rule : rules) {
            if (const std::size_t own = LongestAt(rule, text, at); own > length) {
                length = own;
                best = &rule;
            }
        }
        result += best != nullptr ? best->replacement : std::wstring(1, text[at]);
        at += std::max<std::size_t>(length, 1);
    }
    return result;
}

std::shared_ptr<CRuleSet> Prepared(const RULES& rules, const CASE_RULES& cases = {}) {
    auto set = std::make_shared<CRuleSet>(cases);
    for (const RULE_TEXT& rule : rules) {
        set->Add(rule.kind, rule.find.c_str(), rule.replacement.c_str());
    }
    CRuleSet::TROUBLE trouble;
    EXPECT_TRUE(set->Prepare(trouble))
        << trouble.rule << " " << trouble.other << trouble.error.text;
    return set;
}

std::wstring Replaced(const std::shared_ptr<CRuleSet>& set, const std::wstring& text) {
    CRuleReplacer replacer(set);
    wstringEx result;
    const wstringEx source(text.data(), static_cast<unsigned int>(text.size()));
    return replacer.Replace(result, source, nullptr) == 0
               ? text
               : std::wstring(result.data(), result.length());
}

/// The result of a text that comes in pieces, each with what was left of the ones before.
template <class T>
std::basic_string<T> InPieces(const std::shared_ptr<CRuleSet>& set,
                              const std::basic_string<T>& text, std::size_t piece) {
    CRuleSearch<T> search(set);
    std::basic_string<T> result;
    std::size_t taken = 0;
    bool isInWord = false;
    for (std::size_t end = std::min(piece, text.size());;
         end = std::min(end + piece, text.size())) {
        const bool isLast = end == text.size();
        const text_ref<T> part(text.data() + taken, static_cast<unsigned int>(end - taken));
        search.SetText(part, isLast, isInWord);
        unsigned int done = 0;
        basic_buffer<T> made;
        IMPL::text_writer<T> writer(made);
        for (RULE_MATCH match; search.Find(done, match); done = match.end()) {
            writer.put({part.data + done, match.begin - done});
            search.PutReplacement(writer, match);
        }
        const unsigned int decided = isLast ? part.length : std::max(done, search.GetUndecided());
        writer.put({part.data + done, decided - done});
        writer.finish();
        result.append(made.data(), made.length());
        if (decided != 0) {
            isInWord = CRuleSearch<T>::EndsInWord({part.data, decided});
        }
        taken += decided;
        if (isLast) {
            return result;
        }
    }
}

std::basic_string<unsigned char> Bytes(const std::wstring& text) {
    const stringEx bytes =
        ConvStrSToU(wstringEx(text.data(), static_cast<unsigned int>(text.size())));
    return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.length()};
}

std::wstring Random(std::mt19937& random, const std::wstring& letters, std::size_t most) {
    std::wstring text(random() % most + 1, L' ');
    for (wchar_t& c : text) {
        c = letters[random() % letters.size()];
    }
    return text;
}

/// Random rules, none of which hides another one.
RULES RandomRules(std::mt19937& random, const std::wstring& letters,
                  const std::vector<RULE_KIND>& kinds) {
    RULES rules;
    const std::size_t count = random() % 24 + 1;
    for (std::size_t i = 0; i < count; ++i) {
        RULE_TEXT rule{kinds[random() % kinds.size()], Random(random, letters, 10), L"<"};
        rule.replacement += std::to_wstring(i) + L">";
        CRuleSet with;
        for (const RULE_TEXT& other : rules) {
            with.Add(other.kind, other.find.c_str(), L"");
        }
        with.Add(rule.kind, rule.find.c_str(), L"");
        if (CRuleSet::TROUBLE trouble; with.Prepare(trouble)) {
            rules.push_back(rule);
        }
    }
    return rules;
}

} // namespace

TEST(RulesTest, LiteralsAreReplacedAsTheDefinitionHasIt) {
    std::mt19937 random(1);
    const std::vector<std::vector<RULE_KIND>> mixes = {
        {EXACT}, {EXACT, EXACT, WORD}, {EXACT, ANY_CASE}, {ANY_CASE, WORD, ANY_CASE_WORD, EXACT}};
    for (int round = 0; round < 4000; ++round) {
        static const wchar_t* const LETTERS[] = {L"aab ", L"aAbBé文 ", L"aA[{@`"};
        const std::wstring letters = LETTERS[round % 3];
        const RULES rules = RandomRules(random, letters, mixes[random() % mixes.size()]);
        const std::wstring text = Random(random, letters, 60);
        const auto set = Prepared(rules);
        const std::wstring wanted = ByDefinition(rules, text);
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_EQ(Replaced(set, text), wanted);
        const std::size_t piece = round % 2 == 0 ? text.size() * 3 : random() % 9 + 1;
        ASSERT_EQ(InPieces<wchar_t>(set, text, piece), wanted);
        if (!set->FoldsBeyondAscii()) {
            ASSERT_EQ(InPieces<unsigned char>(set, Bytes(text), piece), Bytes(wanted));
        }
    }
}

/// Texts that are worth an automaton: it reads stretches side by side, and is asked from within its
/// matches where those of expressions end there.
TEST(RulesTest, LongTextsOfManyMatchesAreReplacedAsTheDefinitionHasIt) {
    std::mt19937 random(3);
    for (int round = 0; round < 75; ++round) {
        static const wchar_t* const LETTERS[] = {L"ab", L"aab ", L"abcdA文"};
        const std::wstring letters = LETTERS[round % 3];
        RULES rules = RandomRules(random, letters, {round % 2 == 0 ? EXACT : ANY_CASE});
        const bool isMixed = round % 5 == 0;
        std::wstring text = Random(random, letters, isMixed ? 3'000 : 30'000) +
                            std::wstring(random() % 2'000, L'-') + Random(random, letters, 3'000);
        if (isMixed) {
            rules.push_back({EXPRESSION, L"ba ?b|-a", L"[-]"});
        }
        const auto set = Prepared(rules);
        const std::wstring wanted = ByDefinition(rules, text);
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_TRUE(Replaced(set, text) == wanted);
        const std::size_t piece = isMixed ? text.size() : random() % 9'000 + 300;
        ASSERT_TRUE(InPieces<wchar_t>(set, text, piece) == wanted);
        if (!set->FoldsBeyondAscii() && !(isMixed && round % 3 == 2)) {
            ASSERT_TRUE(InPieces<unsigned char>(set, Bytes(text), piece) == Bytes(wanted));
        }
    }
}

/// A thousand literals in pairs that differ only by signs which count as one in a hasty look.
TEST(RulesTest, ManyLiteralsThatLookAlikeAreToldApart) {
    std::mt19937 random(4);
    RULES rules{{EXACT, L"exact", L"0"}};
    std::wstring text;
    std::wstring wanted;
    for (int i = 0; i < 1000; ++i) {
        const std::wstring find = Random(random, L"abc", 1) + std::to_wstring(i) + L"xyz";
        for (const wchar_t sign : {L'[', L'{'}) {
            rules.push_back({ANY_CASE, find + sign, L"<" + std::to_wstring(rules.size()) + L">"});
            text += find + sign + L' ';
            wanted += rules.back().replacement + L' ';
        }
    }
    const auto set = Prepared(rules);
    EXPECT_TRUE(Replaced(set, text) == wanted);
    EXPECT_TRUE(InPieces<unsigned char>(set, Bytes(text), text.size()) == Bytes(wanted));
}

TEST(RulesTest, ExpressionsAmongLiteralsAreReplacedAsTheDefinitionHasIt) {
    std::mt19937 random(2);
    const std::wstring pieces[] = {L"a",      L"b",        L"[ab]", L"a+", L"b*",
                                   L"(a|ab)", L"(b|aa)b?", L".",    L"^a", L"b$",
                                   L"(a)(b)", L"a{2,3}",   L" "};
    for (int round = 0; round < 750; ++round) {
        RULES rules = RandomRules(random, L"aAb ", {EXACT, WORD, ANY_CASE});
        const std::size_t count = random() % 5 + 1;
        for (std::size_t i = 0; i < count; ++i) {
            std::wstring expression = pieces[random() % std::size(pieces)];
            expression += pieces[random() % std::size(pieces)] + std::wstring(i, L'a');
            rules.insert(rules.begin() + static_cast<long>(random() % (rules.size() + 1)),
                         {i % 2 == 0 ? EXPRESSION : ANY_CASE_EXPRESSION, expression,
                          L"[" + std::to_wstring(i) + L"]"});
        }
        const std::wstring text = Random(random, L"aAbb a\n", 30);
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_EQ(Replaced(Prepared(rules), text), ByDefinition(rules, text));
    }
}

/// Long literals that nearly match at every place, and then any number of them that do.
TEST(RulesTest, TextsThatNearlyMatchEverywhereTakeNoLongerAndComeOutTheSame) {
    const std::wstring many(20'000, L'a');
    RULES rules = {{EXACT, many + L"b", L"long"}, {EXACT, L"aab", L"short"}, {WORD, many, L"word"}};
    const std::wstring text = std::wstring(600'000, L'a') + L"b " + many + L" " + many + L"b";
    std::wstring wanted(580'000, L'a');
    wanted += L"long word long";
    const auto set = Prepared(rules);
    EXPECT_EQ(Replaced(set, text), wanted);
    EXPECT_EQ(InPieces<unsigned char>(set, Bytes(text), 300'000), Bytes(wanted));
    rules.push_back({EXACT, L"a", L"A"});
    const std::wstring result = Replaced(Prepared(rules), text);
    EXPECT_EQ(result, std::wstring(580'000, L'A') + L"long word long");

    // The same where an automaton reads ahead in vain at each place.
    const auto plain = Prepared({{EXACT, many + L"b", L"long"}, {EXACT, L"a", L"A"}});
    const std::wstring run = std::wstring(600'000, L'a') + L"b";
    const std::wstring replaced = std::wstring(580'000, L'A') + L"long";
    EXPECT_TRUE(Replaced(plain, run) == replaced);
    EXPECT_TRUE(InPieces<unsigned char>(plain, Bytes(run), 250'000) == Bytes(replaced));
}

TEST(RulesTest, GroupsOfJoinedExpressionsAreTheRulesOwn) {
    const auto set = Prepared({{EXPRESSION, L"(x)(y)?z", L"<\\1|\\2|\\0>"},
                               {EXPRESSION, L"(a+)(b+)", L"\\2\\1"},
                               {EXPRESSION, L"([0-9])\\1", L"twice \\1"},
                               {EXPRESSION, L"***:\\mno\\M", L"yes"},
                               {EXPRESSION, L"***:<.+?>", L"tag"}});
    EXPECT_EQ(Replaced(set, L"xz xyz aabbb 11 12 no nono aano <i>x</i>"),
              L"<x||xz> <x|y|xyz> bbbaa twice 1 12 yes nono aano tagxtag");
    RULES many;
    std::wstring text;
    std::wstring wanted;
    for (int i = 0; i < 60; ++i) {
        const std::wstring number = std::to_wstring(i);
        many.push_back({EXPRESSION, L"(k)" + number + L"=([a-z]+)", number + L":\\2\\1"});
        text += L"k" + number + L"=x ";
        wanted += number + L":xk ";
    }
    EXPECT_EQ(Replaced(Prepared(many), text), wanted) << "more than are joined";
    // What stands before a place is seen, though another match has just ended there.
    EXPECT_EQ(Replaced(set, L"abno 11no"), L"bano twice 1no");
}

TEST(RulesTest, ARuleThatCouldNeverMatchIsTold) {
    static const struct {
        const char* name;
        RULES rules;
        int rule;
        int other;
    } ROWS[] = {
        {"same", {{EXACT, L"a", L"1"}, {EXACT, L"b", L"2"}, {EXACT, L"a", L"1"}}, 2, 0},
        {"in any case", {{ANY_CASE, L"aB", L"1"}, {EXACT, L"AB", L"2"}}, 1, 0},
        {"one case first", {{EXACT, L"ab", L"1"}, {ANY_CASE, L"AB", L"2"}}, -1, 0},
        {"word behind", {{EXACT, L"a", L"1"}, {WORD, L"a", L"2"}}, 1, 0},
        {"word first", {{WORD, L"a", L"1"}, {EXACT, L"a", L"2"}}, -1, 0},
        {"expression", {{EXPRESSION, L"a+", L"1"}, {EXPRESSION, L"a+", L"2"}}, 1, 0},
        {"literal and expression", {{EXACT, L"a", L"1"}, {EXPRESSION, L"a", L"2"}}, -1, 0},
    };
    for (const auto& row : ROWS) {
        SCOPED_TRACE(row.name);
        CRuleSet set;
        for (const RULE_TEXT& rule : row.rules) {
            set.Add(rule.kind, rule.find.c_str(), rule.replacement.c_str());
        }
        CRuleSet::TROUBLE trouble;
        const bool isGood = set.Prepare(trouble);
        EXPECT_EQ(isGood, row.rule < 0);
        EXPECT_EQ(isGood ? -1 : static_cast<int>(trouble.rule), row.rule);
        EXPECT_EQ(trouble.other, static_cast<unsigned int>(row.other));
    }
}

TEST(RulesTest, ReplacementsFollowTheCaseOfWhatTheyReplace) {
    CASE_RULES follows;
    follows.follows = true;
    const auto set = Prepared({{ANY_CASE, L"foo", L"bar"},
                               {ANY_CASE, L"new york", L"los angeles"},
                               {ANY_CASE, L"éa", L"ölß"},
                               {EXACT, L"X", L"y"},
                               {ANY_CASE, L"phone", L"iPhone"}},
                              follows);
    const std::wstring text = L"foo Foo FOO fOO New York New york NEW YORK Éa ÉA X phone Phone";
    const std::wstring wanted =
        L"bar Bar BAR bar Los Angeles Los angeles LOS ANGELES Ölß ÖLß y iPhone IPhone";
    EXPECT_EQ(Replaced(set, text), wanted);

    CASE_RULES title;
    title.groups = CASE_CHANGE::TITLE;
    EXPECT_EQ(
        Replaced(Prepared({{EXPRESSION, L"<(.*)>", L"x \\1 y"}}, title), L"<it's ÄRGER o'neil>"),
        L"x It's Ärger O'neil y");
}

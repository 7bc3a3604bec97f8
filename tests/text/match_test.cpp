// Wildcards, escapes and fields, by tables on both text widths; bytes where their forms differ.

#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <gtest/gtest.h>
#include <string>

namespace Quil {
namespace {

constexpr unsigned int npos = stringEx::npos;

template <class S>
S make(const std::string& text) {
    S s;
    for (const char c : text) {
        s += static_cast<typename S::value_type>(c);
    }
    return s;
}

template <class S>
class Match : public testing::Test {};
using Widths = testing::Types<stringEx, wstringEx>;
TYPED_TEST_SUITE(Match, Widths);

TYPED_TEST(Match, Wildcards) {
    const struct {
        const char *text, *pattern;
        bool noCase, matches;
        unsigned int wildStart;
    } rows[] = {
        {"abc", "*", false, true, 0},        {"abc", "a?c", false, true, 2},
        {"abcd", "a?c", false, false, 0},    {"abc", "ab*", false, true, 2},
        {"abc", "abc*", false, true, 3},     {"abc", "a??", false, true, 1},
        {"abcbc", "a*bc", false, true, 4},   {"abcbd", "a*bc", false, false, 0},
        {"aXbXb?", "a*b?", false, true, 5},  {"abab", "*a?", false, true, 3},
        {"ABC", "a*C", false, false, 0},     {"ABC", "a*C", true, true, 2},
        {"aaaa", "*a*a*b", false, false, 0}, {"a*c", "a\\*c", false, false, 0},
        {"abc", "", false, false, 0},        {"abcd", "?*", false, true, 0},
    };
    for (const auto& row : rows) {
        unsigned int wildStart = 77;
        // A view in the middle of other text: what stands behind it must not be looked at.
        const TypeParam whole = make<TypeParam>(std::string("<") + row.text + ">*");
        const TypeParam text = whole.substr_static(1, whole.length() - 3);
        const TypeParam pattern = make<TypeParam>(std::string(row.pattern) + "*")
                                      .substr(0, static_cast<unsigned int>(strlen(row.pattern)));
        EXPECT_EQ(text.wildcard_match(pattern, &wildStart, 0, '?', '*', row.noCase), row.matches)
            << row.text << ' ' << row.pattern;
        EXPECT_EQ(wildStart, row.matches ? row.wildStart : 77) << row.text << ' ' << row.pattern;
    }
    const TypeParam text = make<TypeParam>("abc");
    EXPECT_TRUE(text.wildcard_match(make<TypeParam>("*c"), 2, '?', '*'));
    EXPECT_FALSE(text.wildcard_match(make<TypeParam>("*"), 3, '?', '*'));
}

TYPED_TEST(Match, WildcardEscapes) {
    const struct {
        const char *text, *pattern;
        bool noCase, matches;
    } rows[] = {
        {"a*c", "a\\*c", false, true}, {"abc", "a\\*c", false, false}, {"a\\", "a\\", false, false},
        {"a\\", "a\\\\", false, true}, {"xx?", "*\\?", false, true},   {"aB", "a\\b", true, true},
        {"aB", "a\\b", false, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(make<TypeParam>(row.text).wildcard_esc_match(make<TypeParam>(row.pattern), 0, '?',
                                                               '*', '\\', row.noCase),
                  row.matches)
            << row.text << ' ' << row.pattern;
    }
}

TYPED_TEST(Match, EscapeTable) {
    const TypeParam table[][2] = {{make<TypeParam>("\n"), make<TypeParam>("n")},
                                  {make<TypeParam>("1"), make<TypeParam>("ab")},
                                  {make<TypeParam>("2"), make<TypeParam>("abc")},
                                  {make<TypeParam>("\\n"), make<TypeParam>("t")},
                                  {TypeParam(), make<TypeParam>("0")},
                                  {TypeParam(), TypeParam()}};
    const struct {
        const char* text;
        bool removeLone, keepDouble;
        const char* expected;
    } rows[] = {
        {"a\\\\n", false, true, "a\\\\n"}, {"a\\\\n", false, false, "a\\n"},
        {"x\\", false, true, "x\\"},       {"x\\", true, true, "x"},
        {"\\n\\abc", false, true, "\n1c"}, {"\\q\\n", false, true, "\\q\n"},
        {"\\q\\n", true, true, "q\n"},     {"\\tn", false, true, "\\nn"},
        {"a\\0b", false, true, "ab"},      {"\\\\\\n", false, true, "\\\\\n"},
        {"\\\\", true, false, "\\"},       {"plain", true, false, "plain"},
    };
    for (const auto& row : rows) {
        TypeParam text = make<TypeParam>(row.text);
        text.escape_restore('\\', table, row.removeLone, row.keepDouble);
        EXPECT_TRUE(text == make<TypeParam>(row.expected)) << row.text;
    }
    TypeParam text = make<TypeParam>("\\\n2");
    text.escape_translate('\\', table, true);
    EXPECT_TRUE(text == make<TypeParam>("\\\\\\t\\abc"));

    TypeParam own = make<TypeParam>("all values are in the text");
    const TypeParam views[][2] = {{own.substr_static(0, 3), own.substr_static(18, 3)},
                                  {own.substr_static(4, 6), make<TypeParam>("v")},
                                  {TypeParam(), TypeParam()}};
    own.escape_translate('%', views, false);
    EXPECT_TRUE(own == make<TypeParam>("%the %v are in the text"));
}

/// Answers "x" as one element, "stop" as an end, and words between tags in brackets.
template <class S>
class command : public IStrMatchCmd<S> {
public:
    int operator()(const S& text, S& out) override {
        if (text.begin_with(make<S>("stop"))) {
            return 2;
        }
        __length = text.begin_with(make<S>("far")) ? S::npos : 1; // more than there is
        if (text.begin_with(make<S>("no"))) {
            return 0;
        }
        out = make<S>("[") + text.substr(0, 1) + make<S>("]");
        return 1;
    }
    unsigned int TellReplaceLength() const override { return __length; }

private:
    unsigned int __length = 1;
};

template <class S>
void escape_commands() {
    command<S> cmd;
    const struct {
        const char* text;
        bool removeLone, keepDouble;
        const char* expected;
    } rows[] = {
        {"a%b%cd", false, true, "a[b][c]d"}, {"%a%stop%b", false, true, "[a]%stop%b"},
        {"%no%a", false, true, "%no[a]"},    {"%%a%", false, true, "%%a%"},
        {"%%a%", true, false, "%a"},         {"a%b%far%c", false, true, "a[b][f]"},
    };
    for (const auto& row : rows) {
        S text = make<S>(row.text);
        S to = make<S>("old");
        text.escape_restore_op_to(to, '%', cmd, row.removeLone, row.keepDouble);
        EXPECT_TRUE(text == make<S>(row.text));
        text.escape_restore_op('%', cmd, row.removeLone, row.keepDouble);
        EXPECT_TRUE(text == make<S>(row.expected)) << row.text;
        EXPECT_TRUE(to == text);
    }
    const std::pair<const char*, const char*> fields[] = {
        {"a${bc}d${no}e", "a[b]d${no}e"},      {"$x${a", "$x${a"}, {"$${a}${b}", "$${a}[b]"},
        {"${a}${stop}${b}", "[a]${stop}${b}"}, {"${}$", "[]$"},
    };
    for (const auto& [given, expected] : fields) {
        S text = make<S>(given);
        S to;
        text.escape_field_op_to(to, make<S>("${"), make<S>("}"), cmd, true);
        text.escape_field_op(make<S>("${"), make<S>("}"), cmd, true);
        EXPECT_TRUE(text == make<S>(expected)) << given;
        EXPECT_TRUE(to == text);
        text.escape_field_op(make<S>(""), make<S>("}"), cmd, true);
        EXPECT_TRUE(to == text);
    }
}

TEST(MatchEscapes, Commands) {
    escape_commands<stringEx>();
    escape_commands<wstringEx>();
    escape_commands<byteEx>();
}

template <class S>
void fields_by_delimiter() {
    const struct {
        const char* text;
        long index;
        const char *field, *rfield, *segment, *rsegment;
    } rows[] = {
        {"a--b--c", 0, "a", "c", "a--b--c", "c"},
        {"a--b--c", 1, "b", "b", "b--c", "b--c"},
        {"a--b--c", 2, "c", "a", "c", ""},
        {"a--b--c", 3, "", "", "", ""},
        {"a--b--c", -1, "a--b--c", "a--b--c", "a--b--c", "a--b--c"},
        {"abc", 0, "abc", "abc", "abc", "abc"},
        {"abc", 1, "", "", "", ""},
        {"----", 1, "", "", "--", "--"},
        {"a--", 0, "a", "", "a--", ""},
        {"---", 1, "-", "-", "-", ""},
        {"", 0, "", "", "", ""},
    };
    const S delimiter = make<S>("--");
    for (const auto& row : rows) {
        const S text = make<S>(row.text);
        S out;
        EXPECT_TRUE(text.get_field(delimiter, row.index) == make<S>(row.field)) << row.text;
        EXPECT_TRUE(text.get_rfield(out, delimiter, row.index) == make<S>(row.rfield)) << row.text;
        EXPECT_TRUE(text.get_segment_static(delimiter, row.index) == make<S>(row.segment))
            << row.text;
        EXPECT_TRUE(text.get_rsegment(delimiter, row.index) == make<S>(row.rsegment)) << row.text;
    }
    const S text = make<S>("a--b--");
    typename S::field_list all;
    EXPECT_TRUE(text.get_all_fields(all, delimiter));
    EXPECT_EQ(all, (typename S::field_list{{0, 1}, {3, 1}, {6, 0}}));
    EXPECT_FALSE(S().get_all_fields(all, delimiter));
    EXPECT_EQ(all, (typename S::field_list{{0, 0}}));
    EXPECT_EQ(text.get_field_count(delimiter), 3U);
    EXPECT_EQ(text.get_field_count(S()), 1U) << "an empty delimiter never loops";

    unsigned int start = 0;
    unsigned int length = 0;
    EXPECT_TRUE(make<S>("a--b").get_field_pos(delimiter, 5, start, length));
    EXPECT_EQ(start, 3U);
    EXPECT_EQ(length, 1U);
    EXPECT_FALSE(make<S>("ab").get_field_pos(delimiter, 1, start, length));
    EXPECT_EQ(start, npos);
    EXPECT_TRUE(text.get_field_pos(S(), -1, start, length));
    EXPECT_EQ(length, 0U);
}

TEST(MatchFields, ByDelimiter) {
    fields_by_delimiter<stringEx>();
    fields_by_delimiter<wstringEx>();
    fields_by_delimiter<byteEx>();
}

TYPED_TEST(Match, PositionToField) {
    const struct {
        const char* text;
        unsigned int pos;
        bool found;
        unsigned int field, offset;
    } rows[] = {
        {"ab,cd,e", 0, true, 0, 0},     {"ab,cd,e", 4, true, 1, 1}, {"ab,cd,e", 6, true, 2, 0},
        {"ab,cd,e", 2, false, npos, 0}, {"ab", 2, false, npos, 0},  {",a,b", 1, true, 0, 0},
        {",a,b", 3, true, 1, 0},
    };
    for (const auto& row : rows) {
        unsigned int field = 0;
        unsigned int offset = 0;
        EXPECT_EQ(
            make<TypeParam>(row.text).pos_to_field(row.pos, make<TypeParam>(","), field, offset),
            row.found);
        EXPECT_EQ(field, row.field) << row.text << row.pos;
        EXPECT_EQ(offset, row.found ? row.offset : npos);
    }
    unsigned int field = 0;
    unsigned int offset = 0;
    EXPECT_FALSE(make<TypeParam>("a<->b").pos_to_field(3, make<TypeParam>("<->"), field, offset));
    EXPECT_TRUE(
        make<TypeParam>("abXXcxxd").pos_to_field_no_case(7, make<TypeParam>("xx"), field, offset));
    EXPECT_EQ(field, 2U);
}

TYPED_TEST(Match, TaggedFields) {
    const struct {
        const char *text, *begin, *end;
        long index;
        const char *field, *rfield;
        unsigned int count;
    } rows[] = {
        {"<a><b>", "<", ">", 0, "a", "b", 2},
        {"<a><b>", "<", ">", 1, "b", "a", 2},
        {"<a<b>c>", "<", ">", 0, "a<b", "b", 2},
        {"<a> <b", "<", ">", 0, "a", "a", 1},
        {"<a> <b", "<", ">", 1, "", "", 1},
        {"<a>", "<", "<", 0, "", "", 0},
        {"<a>", "", ">", 0, "", "", 0},
        {"x<a>", "<", ">", -1, "x<a>", "x<a>", 1},
        {"***:(?ni)x)", "***:(?", ")", 0, "ni", "ni", 1},
    };
    for (const auto& row : rows) {
        const TypeParam text = make<TypeParam>(row.text);
        const TypeParam begin = make<TypeParam>(row.begin);
        const TypeParam end = make<TypeParam>(row.end);
        EXPECT_TRUE(text.get_delimited_field_static(begin, end, row.index) ==
                    make<TypeParam>(row.field))
            << row.text;
        EXPECT_TRUE(text.get_rdelimited_field(begin, end, row.index) == make<TypeParam>(row.rfield))
            << row.text;
        EXPECT_EQ(text.get_delimited_field_count(begin, end), row.count) << row.text;
    }
    EXPECT_EQ(make<TypeParam>("aTbtc").get_delimited_field_count_no_case(make<TypeParam>("t"),
                                                                         make<TypeParam>("T")),
              0U);
}

TYPED_TEST(Match, ReplaceFields) {
    const TypeParam comma = make<TypeParam>(",");
    const TypeParam rep = make<TypeParam>("XY");
    const auto from = [](const char* text) { return make<TypeParam>(text); };
    EXPECT_TRUE(from("a,b,c").replace_field(comma, 1, rep) == from("a,XY,c"));
    EXPECT_TRUE(from("a,b,c").replace_field(comma, 3, rep) == from("a,b,c"));
    EXPECT_TRUE(from("abc").replace_field(comma, 0, rep) == from("XY"));
    EXPECT_TRUE(from("a,b,c").replace_rfield(comma, 0, rep) == from("a,b,XY"));
    EXPECT_TRUE(from("a,b,c").replace_segment(comma, 1, rep) == from("a,XY"));
    EXPECT_TRUE(from("a,b,c").replace_segment(comma, -1, rep) == from("XY"));
    EXPECT_TRUE(from("a,b,c").replace_segment(comma, 3, rep) == from("a,b,c"));
    EXPECT_TRUE(from("a,b,c").replace_rsegment(comma, 1, rep) == from("a,XY"));
    EXPECT_TRUE(from("a<b>c").replace_delimited_field(from("<"), from(">"), 0, rep) ==
                from("a<XY>c"));
    EXPECT_TRUE(from("<b><c>").replace_rdelimited_field(from("<"), from(">"), 0, rep) ==
                from("<b><XY>"));
    EXPECT_TRUE(from("aTb").replace_field_no_case(from("t"), 1, rep) == from("aTXY"));
    TypeParam text = from("a,bcd");
    text.replace_field(comma, 0, text.get_field_static(comma, 1));
    EXPECT_TRUE(text == from("bcd,bcd")) << "the field replaced by a view of its neighbour";
    const byteEx whole = stringEx("HEAD,body of the file");
    byteEx head = whole.substr(0, 4);
    head.replace_field(byteEx(stringEx(",")), 0, whole);
    EXPECT_TRUE(head == whole) << "by a longer one on the same block";
}

} // namespace
} // namespace Quil

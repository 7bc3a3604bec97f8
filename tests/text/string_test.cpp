// The string classes: classes of characters, case, trimming, folded search, numbers, formats,
// conversions, encoded text, hex.
#include "util/text/byteEx.h"

#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

using namespace Quil;

namespace {

constexpr unsigned int npos = stringEx::npos;

/// The narrow and the wide string must agree on plain text.
template <class S>
class BothWidths : public testing::Test {
public:
    static S Make(const char* text) {
        S s;
        s << text;
        return s;
    }
};
using Widths = testing::Types<stringEx, wstringEx>;
TYPED_TEST_SUITE(BothWidths, Widths);

TEST(Classes, SpaceIsAnExactSet) {
    for (int c = -128; c < 256; ++c) {
        const bool expected = c == 0 || c == 9 || c == 10 || c == 11 || c == 13 || c == 32;
        EXPECT_EQ(stringEx::is_space(c), expected) << c;
    }
    EXPECT_TRUE(wstringEx::is_space(0x2028) && wstringEx::is_space(0x0903));
    EXPECT_TRUE(wstringEx::is_space(0x85));    // a control character
    EXPECT_FALSE(wstringEx::is_space(0x200E)); // a format character
}

TEST(Classes, WideByCategory) {
    EXPECT_TRUE(wstringEx::is_alpha(0x0416) && wstringEx::is_upper(0x0416));
    EXPECT_TRUE(wstringEx::is_digit(0x0663) && wstringEx::is_xdigit(0x0663));
    EXPECT_TRUE(wstringEx::is_xdigit('f') && !wstringEx::is_xdigit('g'));
    EXPECT_TRUE(wstringEx::is_punct(0x00BF) && !wstringEx::is_alnum(0x00BF));
    EXPECT_TRUE(wstringEx::is_alnum(0x2160) && wstringEx::is_alnum(0x00B2));
    EXPECT_TRUE(wstringEx::is_cntrl(0x200E) && !wstringEx::is_print(0x200E));
    EXPECT_TRUE(wstringEx::is_print('\n') && !wstringEx::is_graph('\n'));
    EXPECT_FALSE(wstringEx::is_valid(0x0378));
    EXPECT_TRUE(wstringEx::is_cjk(0x4E00) && wstringEx::is_cjk(0x2F800));
    EXPECT_FALSE(wstringEx::is_cjk(0x2E7F) || wstringEx::is_cjk(0xD7B0));
    EXPECT_EQ(wstringEx::to_lower(0x10041), 0x10061);
}

TYPED_TEST(BothWidths, CaseStartsAtTheFirstElement) {
    using S = TypeParam;
    EXPECT_EQ(this->Make("abcdefg").make_upper(2, 3), this->Make("ABCdefg"));
    EXPECT_EQ(this->Make("abcdefg").make_upper(5, 3), this->Make("ABCDEFG"));
    EXPECT_EQ(this->Make("ABC").make_lower(), this->Make("abc"));
    S a = this->Make("abc");
    const S b = a;
    a.make_upper();
    EXPECT_EQ(b, this->Make("abc"));
}

TYPED_TEST(BothWidths, Trimming) {
    using S = TypeParam;
    const char* const cases[][3] = {
        {" \t a b \r\n", "a b \r\n", " \t a b"}, {"a", "a", "a"}, {" \n ", "", ""}, {"", "", ""}};
    for (const auto& [text, left, right] : cases) {
        EXPECT_EQ(this->Make(text).trim_left(), this->Make(left));
        EXPECT_EQ(this->Make(text).trim_right(), this->Make(right));
        const S s = this->Make(text);
        EXPECT_EQ(s.trim_left_static(), this->Make(left));
        EXPECT_EQ(s.trim_right_static(), this->Make(right));
    }
}

TYPED_TEST(BothWidths, PrefixesAndSuffixes) {
    using S = TypeParam;
    const S s = this->Make("Hello");
    EXPECT_TRUE(s.begin_with(this->Make("He")) && !s.begin_with(this->Make("he")));
    EXPECT_TRUE(s.begin_with_no_case(this->Make("hE")) && s.begin_with(S()) && s.end_with(s));
    EXPECT_TRUE(s.end_with(this->Make("lo")) && s.end_with_no_case(this->Make("LO")));
    EXPECT_FALSE(s.end_with(this->Make("Hello Hello")) || s.end_with_no_case(this->Make("la")));
    EXPECT_TRUE(s.begin_with_set(this->Make("xH")) && s.end_with_set_no_case(this->Make("xO")));
    EXPECT_FALSE(s.begin_with_set(S()) || S().end_with_set(s) || s.end_with_set(this->Make("O")));
}

TYPED_TEST(BothWidths, FoldedSearch) {
    using S = TypeParam;
    const S s = this->Make("The cat, the hat");
    EXPECT_EQ(s.find_no_case(this->Make("THE")), 0U);
    EXPECT_EQ(s.find_no_case(this->Make("THE"), 1), 9U);
    EXPECT_EQ(s.find_no_case(this->Make("HAT!")), npos);
    EXPECT_EQ(s.find_no_case(S(), 3), 3U);
    EXPECT_EQ(s.find_no_case(S(), 16), npos);
    EXPECT_EQ(s.rfind_no_case(this->Make("The")), 9U);
    EXPECT_EQ(s.rfind_no_case(this->Make("The"), 8), 0U);
    EXPECT_EQ(s.rfind_no_case(S()), 16U);
    EXPECT_EQ(s.find_first_of_no_case(this->Make("CA")), 4U);
    EXPECT_EQ(s.find_first_not_of_no_case(this->Make("EHT")), 3U);
    EXPECT_EQ(s.find_last_of_no_case(this->Make("C")), 4U);
    EXPECT_EQ(s.find_last_not_of_no_case(this->Make("AHT")), 12U);
    EXPECT_EQ(s.find_last_of_no_case(this->Make("C"), 3), npos);
}

// A needle that nearly fits everywhere: by trying each place this would take minutes.
TYPED_TEST(BothWidths, SearchesStayLinear) {
    using S = TypeParam;
    S text(8'000'000, 'a');
    const S needle = S(4'000'000, 'a') + 'b';
    EXPECT_EQ(text.find_no_case(needle), npos);
    EXPECT_EQ(text.find(needle), npos);
    text += S(1, 'b');
    EXPECT_EQ(text.find_no_case(needle), 4'000'000U);
    EXPECT_EQ(text.find(needle, 5), 4'000'000U);
    text.insert(1, needle);
    EXPECT_EQ(text.rfind(needle, text.length() - needle.length() - 1), 1U);
    EXPECT_EQ(text.rfind_no_case(needle, text.length() - needle.length() - 1), 1U);
}

TYPED_TEST(BothWidths, FoldedCompare) {
    using S = TypeParam;
    EXPECT_EQ(this->Make("aBc").compare_no_case(this->Make("AbC")), 0);
    EXPECT_EQ(this->Make("ab").compare_no_case(this->Make("ABC")), -1);
    EXPECT_EQ(this->Make("b").compare_no_case(this->Make("ABC")), 1);
    EXPECT_EQ(this->Make("xABy").compare_no_case(1, 2, this->Make("ab")), 0);
    EXPECT_TRUE(this->Make("Key").equal_no_case(this->Make("kEY")));
    S shorter = this->Make("text");
    const S longer = shorter;
    shorter.set_length(2);
    EXPECT_EQ(shorter.compare_no_case(longer), -1);
    std::set<S, less_no_case<S>> names{this->Make("UTF-8"), this->Make("gbk")};
    EXPECT_EQ(names.count(this->Make("utf-8")), 1U);
}

TYPED_TEST(BothWidths, ReadsNumbers) {
    struct CASE {
        const char* text;
        int base;
        long value;
        unsigned long unsignedValue;
        unsigned int end;
        int error;
    };
    constexpr long MAX = 2147483647;
    constexpr long MIN = -MAX - 1;
    for (const CASE& c : {CASE{" \t42x", 10, 42, 42, 4, 0},
                          CASE{"-5", 10, -5, 4294967291, 2, 0},
                          CASE{"+7", 10, 7, 7, 2, 0},
                          CASE{"0x1F", -1, 31, 31, 4, 0},
                          CASE{"0x1F", 16, 0, 0, 1, 0}, // the prefix is not for a given base
                          CASE{"x10", -1, 16, 16, 3, 0},
                          CASE{"b11", -1, 3, 3, 3, 0},
                          CASE{"0B102", -1, 2, 2, 4, 0},
                          CASE{"017", -1, 15, 15, 3, 0},
                          CASE{"0", -1, 0, 0, 0, 0},
                          CASE{"zZ", 36, 1295, 1295, 2, 0},
                          CASE{"12", 1, 0, 0, 0, 0},
                          CASE{"12", 37, 0, 0, 0, 0},
                          CASE{"- 1", 10, 0, 0, 0, 0},
                          CASE{"   ", 10, 0, 0, 0, 0},
                          CASE{"2147483648", 10, MAX, 2147483648, 10, ERANGE},
                          CASE{"-2147483648", 10, MIN, 2147483648, 11, 0},
                          CASE{"4294967296", 10, MAX, 4294967295, 10, ERANGE},
                          CASE{"42949672960", 10, MAX, 4294967295, 11, ERANGE},
                          CASE{"-99999999999", 10, MIN, 1, 12, ERANGE}}) {
        const TypeParam s = this->Make("ab") + this->Make(c.text);
        unsigned int end = 99;
        errno = 0;
        EXPECT_EQ(s.to_long(2, npos, c.base, &end), c.value) << c.text;
        EXPECT_EQ(end, c.end + 2) << c.text;
        EXPECT_EQ(errno, c.error) << c.text;
        EXPECT_EQ(s.to_ulong(2, npos, c.base, &end), c.unsignedValue) << c.text;
        EXPECT_EQ(end, c.end + 2) << c.text;
    }
    unsigned int end = 99;
    EXPECT_EQ(this->Make("12").to_long(2, npos, 10, &end), 0);
    EXPECT_EQ(end, 99U);
    EXPECT_EQ(this->Make("12345").to_long(1, 2), 23);
}

TYPED_TEST(BothWidths, ReadsDecimals) {
    struct CASE {
        const char* text;
        double value;
        unsigned int end;
        int error;
    };
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (const CASE& c :
         {CASE{" 1.5e2x", 150, 6, 0}, CASE{"-.25", -.25, 4, 0}, CASE{"3.", 3, 2, 0},
          CASE{"1e", 1, 1, 0}, CASE{"1e+", 1, 1, 0}, CASE{"1e-3", 1e-3, 4, 0}, CASE{"e5", 0, 0, 0},
          CASE{".", 0, 0, 0}, CASE{"0e999999999999", 0, 14, 0}, CASE{"1e400", infinite, 5, ERANGE},
          CASE{"-1e99999999999", -infinite, 14, ERANGE}, CASE{"1e-400", 0, 6, ERANGE},
          CASE{"1.7976931348623157e308", 1.7976931348623157e308, 22, 0}}) {
        unsigned int end = 99;
        errno = 0;
        const double value = this->Make(c.text).to_double(0, npos, &end);
        EXPECT_DOUBLE_EQ(value, c.value) << c.text;
        EXPECT_EQ(end, c.end) << c.text;
        EXPECT_EQ(errno, c.error) << c.text;
    }
    EXPECT_TRUE(std::signbit(this->Make("-1e-400").to_double()));
}

TYPED_TEST(BothWidths, WritesNumbers) {
    using S = TypeParam;
    const auto number = [](long value, int base) { return S().append_long(value, base); };
    EXPECT_EQ(number(-255, 16), this->Make("FF")); // a sign in base 10 only
    EXPECT_EQ(number(-255, 10), this->Make("-255"));
    EXPECT_EQ(number(0, 2), this->Make("0"));
    EXPECT_EQ(number(35, 36), this->Make("Z"));
    EXPECT_EQ(number(5, 1), this->Make("0"));
    EXPECT_EQ(number(-5, 37), this->Make("0"));
    EXPECT_EQ(this->Make("x").from_ulong(10, 2), this->Make("1010"));
    S s;
    s << -1 << 2U << std::numeric_limits<long long>::min() << ~0ULL;
    EXPECT_EQ(s, this->Make("-12-922337203685477580818446744073709551615"));
}

TEST(Format, NarrowIsCutAtItsRoom) {
    stringEx s("x");
    EXPECT_EQ(s.append_format("%d-%s", 5, "y"), "x5-y");
    EXPECT_EQ(s.format(4, "%s", "abcdefgh"), "abcd");
    EXPECT_EQ(s.format("%300d", 1).length(), 256U);
    EXPECT_TRUE(s.has_tail());
}

TEST(Format, WideFitsOrAddsNothing) {
    wstringEx s;
    EXPECT_EQ(s.format(L"%ls|%5s|%-4s|%.2s|%s", L"a", L"b", L"c", L"def", (const wchar_t*)nullptr),
              L"a|    b|c   |de|(null)");
    EXPECT_EQ(
        s.format(L"%d %05u %+i %lX %llu %hx %c%% %*d", -1, 42U, 7, 255L, 1ULL << 40, 16, 'z', 3, 9),
        L"-1 00042 +7 FF 1099511627776 10 z%   9");
    EXPECT_EQ(s.format(L"%.3f %e %g %-*d|", 1.5, 0.0, 0.25, -3, 1),
              L"1.500 0.000000e+00 0.25 1  |");
    EXPECT_EQ(s.format(L"%*.*f|%.*s|", -9, -1, 1.5, -1, L"ab"), L"1.500000 |ab|");
    EXPECT_EQ(s.format(L"%p", reinterpret_cast<void*>(0xABC)), L"00000ABC");
    EXPECT_EQ(s.format(400, L"%300d", 1).length(), 300U);
    EXPECT_EQ(s.format(L"%.400f", 1.0).length(), 0U); // more than the usual 256
    EXPECT_EQ(s.format(3, L"%s", L"abc"), L"abc");
    EXPECT_TRUE(s.has_tail());
    EXPECT_EQ(s.append_format(2, L"%s", L"xyz"), L"abc");
    EXPECT_EQ(s.format(L"%2000000000d", 1).length(), 0U);
    int written = 5;
    EXPECT_EQ(s.format(L"ab%n", &written).length(), 0U);
    EXPECT_EQ(written, 5);
}

TYPED_TEST(BothWidths, SourcesLookIntoTheString) {
    using S = TypeParam;
    const S percent = this->Make("%s%s");
    S s = this->Make("own text, ");
    S expected = s;
    for (int i = 0; i < 5; ++i) {
        s.append_format(2000, percent.c_str(), s.c_str(), s.c_str());
        expected.append(expected + expected);
        ASSERT_EQ(s, expected);
    }
    s = this->Make("own");
    EXPECT_EQ(s.format(percent.c_str(), s.c_str(), s.c_str()), this->Make("ownown"));
    s = this->Make("<%d>");
    EXPECT_EQ(s.format(s.c_str(), 7), this->Make("<7>"));

    s = this->Make("bytes of its own, more than fit behind it");
    const S before(s.data(), s.length());
    expected = before;
    expected << static_cast<byteEx>(before);
    s << static_cast<byteEx>(s.substr_static());
    EXPECT_EQ(s, expected);
    s = S(before.data(), before.length());
    static_cast<byteEx>(s.substr_static()).to_hex_encode(s, s.substr_static(0, 1));
    static_cast<byteEx>(before).to_hex_encode(expected, before.substr(0, 1));
    EXPECT_EQ(s, expected);
    using Other = std::conditional_t<std::is_same_v<S, stringEx>, wstringEx, stringEx>;
    const Other other = static_cast<byteEx>(s.substr_static());
    if constexpr (std::is_same_v<S, stringEx>) {
        expected = Other(other.data(), other.length()).to_str();
        s.from_wstr(other);
    } else {
        expected = Other(other.data(), other.length()).to_wstr();
        s.from_str(other);
    }
    EXPECT_EQ(s, expected);
}

TEST(Conversion, ReTypingSharesTheBlock) {
    wstringEx w(L"abc");
    byteEx bytes = w;
    EXPECT_EQ(bytes.length(), 12U);
    EXPECT_EQ(static_cast<const void*>(bytes.data()), static_cast<const void*>(w.data()));
    const wstringEx back = bytes;
    EXPECT_EQ(back, w);
    bytes.push_back(1);
    EXPECT_EQ(w, L"abc");
    EXPECT_EQ(wstringEx(bytes), L"abc"); // the odd byte is left out

    const wstringEx view(L"abcd", wstringEx::NOT_OWNER());
    const byteEx byteView = view;
    EXPECT_EQ(byteView.capacity(), byteEx::max_size());
    const byteEx odd = byteEx(byteView, 1, 9, byteEx::NOT_OWNER());
    EXPECT_EQ(wstringEx(odd).length(), 2U); // copied: no wide element lies at such an address
    EXPECT_EQ(stringEx(byteEx(stringEx("xyz"))), "xyz");
}

TEST(Conversion, ElementByElement) {
    wstringEx w;
    w << "a\xE9" << stringEx("b") << std::string("c") << 'd' << static_cast<const char*>(nullptr);
    EXPECT_EQ(w.length(), 5U);
    EXPECT_EQ(w[1], static_cast<wchar_t>(-23)); // a byte above 127 becomes a negative element
    EXPECT_EQ(w.to_str(), "a\xE9"
                          "bcd");
    EXPECT_EQ(wstringEx(L"\x4E61").to_str(), "a");
    EXPECT_EQ(stringEx("\xE9").to_wstr(), w.substr(1, 1));
    byteEx bytes;
    bytes << 'x' << L'y' << stringEx("z") << wstringEx(L"w");
    EXPECT_EQ(bytes.length(), 10U);
    EXPECT_EQ(wstringEx(L"\x01020304").AdjustOnLE(), L"\x04030201");
    EXPECT_EQ(wstringEx(L"a").AdjustOnBE(), L"a");
}

TEST(Encoded, Utf8AndUtf16) {
    const stringEx s("a\xC3\xA9\xE4\xB8\xAD"
                     "b");
    EXPECT_EQ(s.utf8_length(), 4U);
    EXPECT_EQ(s.utf8_get_charpos(5), 3U);
    EXPECT_EQ(s.utf8_get_next_charpos(3), 6U);
    EXPECT_EQ(s.utf8_get_next_charpos(6), npos);
    EXPECT_EQ(s.utf8_get_char(3), 3U);
    EXPECT_EQ(s.utf8_get_char(5), npos);
    EXPECT_EQ(s.utf8_get_char(0), npos);
    EXPECT_EQ(s.utf8_get_charlen(3), 3U);
    EXPECT_EQ(s.utf8_get_charlen_bypos(2), 2U);
    EXPECT_EQ(s.utf8_get_charlen_bypos(7), 0U);

    const wchar_t units[] = {'a', 0xD83D, 0xDE00, 0xDE00, 0xFF21, 'b', 0};
    const wstringEx w(units);
    EXPECT_EQ(w.utf16_length(), 5U);
    EXPECT_EQ(w.utf16_get_charpos(2), 1U);
    EXPECT_EQ(w.utf16_get_charpos(3), 3U); // half a pair stands for itself
    EXPECT_EQ(w.utf16_get_next_charpos(1), 3U);
    EXPECT_EQ(w.utf16_get_char(3), 3U);
    EXPECT_EQ(w.utf16_get_charlen(2), 2U);
    EXPECT_EQ(w.utf16_get_charlen_bypos(5), 1U);
}

TEST(Bytes, Hex) {
    const unsigned char raw[] = {0x00, 0xAB, 0x7F};
    const byteEx bytes(raw, 3);
    EXPECT_EQ(bytes.to_hex_encode(), "00AB7F");
    EXPECT_EQ(bytes.to_hex_encode(":", false), "00:ab:7f");
    EXPECT_EQ(bytes.to_hex_encode(wstringEx(L", ")), L"00, AB, 7F");
    EXPECT_EQ(byteEx().to_hex_encode(":"), "");
    EXPECT_EQ(byteEx().from_hex_code("00:ab:7F", ":"), bytes);
    EXPECT_EQ(byteEx().from_hex_code(wstringEx(L"00AB7F")), bytes);
    EXPECT_EQ(bytes.to_array_definition("data"),
              "const unsigned char data[] = {\n0X00, 0XAB, 0X7F};\n");
    EXPECT_EQ(byteEx().to_array_definition("x", false), "unsigned char x[] = {\n};\n");
}

} // namespace

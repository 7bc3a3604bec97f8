// The iconv back end: what it decodes and encodes, what bad input gives, which names it takes.

#include "tests/conv/texts.h"
#include "tests/sys/message_of.h"
#include "util/conv/TextLibIConv.h"
#include "util/sys/errhdl.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

using namespace Quil;
using namespace Quil::TEST;

namespace {

TEST(IConv, DecodesAndEncodes) {
    const struct {
        const char* enc;
        std::string narrow;
        std::wstring wide;
    } cases[] = {
        {"UTF-8", "a\xC3\xA9\xE4\xB8\xAD\xF0\x9D\x84\x9E", L"a\u00E9\u4E2D\U0001D11E"},
        {"utf8", "\xEF\xBB\xBFx", L"\uFEFFx"},
        {"GBK", "a\xD6\xD0\xCE\xC4", L"a\u4E2D\u6587"},
        {"cp936", "\x80", L"\u20AC"},
        {"GB18030", "\x81\x30\x81\x30\xD6\xD0\x90\x30\x81\x30", L"\x80\u4E2D\U00010000"},
        {"ANSI-Cyrillic", "\xEF\xF0", L"\u043F\u0440"},
        {"OEM-Hebrew", "\x80", L"\u05D0"},
        {"MacIceland", "\xDE", L"\u00DE"},
        {"macukraine", "\xA7", L"\u0406"},
        {"UCS-4BE", std::string("\0\0\0a", 4), L"a"},
        {"WCHAR_T", std::string("a\0\0\0", 4), L"a"},
        {"GBK", std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
        {"GBK", "", L""},
    };
    for (const auto& c : cases) {
        const CTextLibIConv conv{stringEx(c.enc)};
        EXPECT_EQ(Str(conv.MBtoWC(Bytes(c.narrow))), c.wide) << c.enc;
        EXPECT_EQ(Str(conv.WCtoMB(Wide(c.wide))), c.narrow) << c.enc;
    }
}

TEST(IConv, AnswersBadInputWithQuestionMarks) {
    const struct {
        const char* enc;
        std::string narrow;
        std::wstring wide;
    } decoding[] = {
        {"UTF-8",
         "a\xFF"
         "b",
         L"a?b"},
        {"UTF-8", "\xC0\x80\xED\xA0\x80", L"?????"},
        {"UTF-8", "x\xE4\xB8", L"x??"},
        {"UTF-8",
         "\xE4\xB8"
         "a\xE4\xB8\xAD",
         L"??a\u4E2D"},
        {"UTF-8", "\xF4\x90\x80\x80", L"\x110000"},
        {"GBK",
         "a\xFF"
         "b",
         L"a?b"},
        {"GBK", "\xD6\xD0\xD6", L"\u4E2D?"},
        {"SHIFT_JIS", "a\x93", L"a?"},
        {"EUC-KR",
         "\xC7\xD1\xFF"
         "a",
         L"\uD55C?a"},
        {"ISO-2022-JP",
         "\x1B$B%\"\x1B(B\xFF"
         "a",
         L"\u30A2?a"},
        {"ISO-2022-JP", "\x1B$B%", L"?"},
        {"ASCII", "a\xFF", L"a?"},
    };
    for (const auto& c : decoding) {
        EXPECT_EQ(Str(CTextLibIConv(stringEx(c.enc)).MBtoWC(Bytes(c.narrow))), c.wide) << c.enc;
    }
    const struct {
        const char* enc;
        std::wstring wide;
        std::string narrow;
    } encoding[] = {
        {"UTF-8",
         L"a\xD800\x110000\xFFFFFFFF"
         L"b",
         "a?\xF4\x90\x80\x80?b"},
        {"ASCII", L"\u4E2D\u6587", "??"},
        {"GBK",
         L"a\xD55C"
         L"b",
         "a?b"},
        {"ISO-8859-1", L"\xFFFFFFE9", "?"},
        {"ISO-2022-JP", L"\u65E5", "\x1B$BF|"},
    };
    for (const auto& c : encoding) {
        EXPECT_EQ(Str(CTextLibIConv(stringEx(c.enc)).WCtoMB(Wide(c.wide))), c.narrow) << c.enc;
    }
}

TEST(IConv, BeginsEachTextAfresh) {
    const CTextLibIConv jis{stringEx("ISO-2022-JP")};
    EXPECT_EQ(Str(jis.MBtoWC(Bytes("\x1B$B%\""))), L"\u30A2");
    EXPECT_EQ(Str(jis.MBtoWC(Bytes("%\""))), L"%\"") << "the shift was the last text's";
    EXPECT_EQ(jis.WCtoMB(Wide(L"\u65E5")), jis.WCtoMB(Wide(L"\u65E5")));
    const CTextLibIConv vietnamese{stringEx("TCVN")};
    EXPECT_EQ(Str(vietnamese.MBtoWC(Bytes("xa"))), L"x") << "held back, and not flushed";
    EXPECT_EQ(Str(vietnamese.MBtoWC(Bytes("xb."))), L"xb.");
}

TEST(IConv, RefusesNamesThatNameNothing) {
    for (const char* const name : {"", "//", "//IGNORE", "--", " ", "Klingon", "\xC3\x89"}) {
        EXPECT_TRUE(Failure<tconvExp>([&] { CTextLibIConv{stringEx(name)}; }).starts_with("1 "))
            << name << ": the catalogue's code, not the library's";
    }
    const std::string failed = "3 CTextLibIConv::CTextLibIConv - failed init encoding convertion\n";
    EXPECT_EQ(Failure<libiconvExp>([] { CTextLibIConv{stringEx("MacThai")}; }),
              failed + "  encoding name = MacThai (CP10021)");
    EXPECT_EQ(Failure<libiconvExp>([] { CTextLibIConv{12345UL}; }),
              failed + "  code page     = 12345\n  encoding name = CP12345");
}

TEST(IConv, ClonesUnderTheNameThatWorked) {
    const CTextLibIConv original{stringEx("ANSI-LatinI")};
    const CTextConvHandle converters[] = {
        CTextConvHandle(original.Clone()), CTextConvHandle(original.New(stringEx("cp1252"))),
        CTextConvHandle(original.New(1252UL)), CTextConvHandle(CTextLibIConv(10079UL).New(1252UL))};
    for (const CTextConvHandle& conv : converters) {
        EXPECT_EQ(Str(conv->MBtoWC(Bytes("\x80"))), L"\u20AC");
    }
    EXPECT_THROW(original.New(stringEx("Klingon")), tconvExp);
}

TEST(IConv, FillsADestinationThatIsSharedOrAView) {
    const CTextLibIConv conv{stringEx("GBK")};
    wstringEx wide(L"some longer text than comes");
    const wstringEx sharer(wide);
    conv.MBtoWC(wide, Bytes("\xD6\xD0"));
    EXPECT_EQ(Str(wide), L"\u4E2D");
    EXPECT_EQ(Str(sharer), L"some longer text than comes");

    const wchar_t constant[] = L"constant";
    wstringEx view(constant, wstringEx::NOT_OWNER());
    conv.MBtoWC(view, Bytes("ab"));
    EXPECT_EQ(Str(view), L"ab");
    EXPECT_STREQ(constant, L"constant");
    conv.MBtoWC(view, stringEx());
    EXPECT_TRUE(view.empty());
    EXPECT_TRUE(view.has_tail() || view.capacity() == 0);
}

TEST(IConv, ServesThreadsThatShareAConverter) {
    const CTextLibIConv conv{stringEx("ISO-2022-JP")};
    const stringEx narrow = Bytes("\x1B$B%\"%\"\x1B(Ba");
    const auto work = [&] {
        for (int i = 0; i < 2000; ++i) {
            ASSERT_EQ(Str(conv.MBtoWC(narrow)), L"\u30A2\u30A2a");
        }
    };
    std::thread other(work);
    work();
    other.join();
}

TEST(IConv, IsReadyAndStaysSoWhateverTheLocation) {
    const CTextLibIConv loaded{stringEx("UTF-8")};
    CTextLibIConv::SetExternalDependencyLocation(stringEx("/nonexistent/libiconv.so"));
    EXPECT_TRUE(CTextLibIConv::IsExternalDependencyReady());
    EXPECT_NO_THROW(CTextLibIConv{stringEx("GBK")});
    CTextLibIConv::SetExternalDependencyLocation(stringEx());
}

} // namespace

// The iconv back end: what it decodes and encodes, what bad input gives, which names it takes, and
// that its large steps give what small ones give.

#include "util/conv/TextLibIConv.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <iconv.h>
#include <random>
#include <string>
#include <thread>

using namespace Quil;

namespace {

stringEx Bytes(const std::string& s) {
    return stringEx(s.data(), static_cast<unsigned int>(s.size()));
}
wstringEx Wide(const std::wstring& s) {
    return wstringEx(s.data(), static_cast<unsigned int>(s.size()));
}
std::string Str(const stringEx& s) {
    return std::string(s.c_str(), s.length());
}
std::wstring Str(const wstringEx& s) {
    return std::wstring(s.c_str(), s.length());
}

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
        {"BIG5", "\xA4\xA4\xA4\xE5", L"\u4E2D\u6587"},
        {"SHIFT_JIS", "\x93\xFA\x96{\xB1", L"\u65E5\u672C\uFF71"},
        {"EUC-JP", "\xC6\xFC\xCB\xDC", L"\u65E5\u672C"},
        {"EUC-KR", "\xC7\xD1", L"\uD55C"},
        {"UHC", "\x81\x41", L"\uAC02"},
        {"KOI8-R", "\xD0\xD2", L"\u043F\u0440"},
        {"ANSI-Cyrillic", "\xEF\xF0", L"\u043F\u0440"},
        {"OEM-Hebrew", "\x80", L"\u05D0"},
        {"ISO-8859-1", "\xE9\xFF", L"\u00E9\u00FF"},
        {"MacIceland", "\xDE", L"\u00DE"},
        {"macukraine", "\xA7", L"\u0406"},
        {"TIS-620", "\xA1", L"\u0E01"},
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
        EXPECT_THROW(CTextLibIConv{stringEx(name)}, tconvExp) << name;
        try {
            const CTextLibIConv conv{stringEx(name)};
        } catch (const tconvExp& e) {
            EXPECT_EQ(e.GetErrCode(), 1U) << "the catalogue's, not the library's";
        }
    }
    const struct {
        std::function<void()> make;
        const char* text;
    } failures[] = {
        {[] { CTextLibIConv{stringEx("MacThai")}; },
         "CTextLibIConv::CTextLibIConv - failed init encoding convertion\n"
         "  encoding name = MacThai (CP10021)"},
        {[] { CTextLibIConv{12345UL}; },
         "CTextLibIConv::CTextLibIConv - failed init encoding convertion\n"
         "  code page     = 12345\n"
         "  encoding name = CP12345"},
    };
    for (const auto& failure : failures) {
        try {
            failure.make();
            ADD_FAILURE() << failure.text;
        } catch (const libiconvExp& e) {
            EXPECT_EQ(e.GetErrCode(), 3U);
            EXPECT_EQ(e.GetErrString(), failure.text);
        }
    }
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

/// A conversion by iconv's own descriptors in small blocks through UCS-4: the slow way, to check
/// by.
template <class Target, class Source>
std::basic_string<Target> BySmallBlocks(const char* to, const char* from,
                                        const std::basic_string<Source>& src) {
    constexpr std::size_t block = sizeof(Target) == 1 ? 512 : 256;
    constexpr auto failure = static_cast<std::size_t>(-1);
    const iconv_t descriptor = iconv_open(to, from);
    std::basic_string<Target> result;
    char* in = reinterpret_cast<char*>(const_cast<Source*>(src.data()));
    std::size_t inLeft = src.size() * sizeof(Source);
    while (inLeft > 0) {
        Target room[block];
        char* out = reinterpret_cast<char*>(room);
        std::size_t outLeft = sizeof room;
        const std::size_t status = iconv(descriptor, &in, &inLeft, &out, &outLeft);
        const std::size_t made = block - outLeft / sizeof(Target);
        result.append(room, made);
        if (status == failure && made == 0) {
            result += static_cast<Target>('?');
            if (inLeft <= sizeof(Source)) {
                break;
            }
            in += sizeof(Source);
            inLeft -= sizeof(Source);
        }
    }
    iconv_close(descriptor);
    return result;
}

/// Text of the encoding with some bytes spoilt, so that the pieces handed to the library end
/// anywhere.
std::string SpoiltText(const std::string& text, std::mt19937& random) {
    std::string spoilt = text;
    for (std::size_t i = 0; i < text.size() / 200; ++i) {
        spoilt[random() % spoilt.size()] = static_cast<char>(random());
    }
    return spoilt;
}

std::wstring RandomWide(std::size_t length, std::mt19937& random) {
    const std::uint32_t ranges[] = {0x80, 0x100, 0x600, 0x3100, 0xA000, 0x10000, 0x120000};
    std::wstring text;
    while (text.size() < length) {
        const std::uint32_t range = ranges[random() % std::size(ranges)];
        const std::size_t run = 1 + random() % 40;
        for (std::size_t i = 0; i < run; ++i) {
            text += static_cast<wchar_t>(random() % range);
        }
        if (random() % 20 == 0) {
            text += static_cast<wchar_t>(random()); // mostly no character at all
        }
    }
    return text;
}

/// Long texts in these go by tables.
TEST(IConv, ConvertsByTablesAsTheLibraryDoes) {
    std::mt19937 random(99);
    for (const char* const name : {"GBK", "GB18030", "BIG5", "EUC-KR", "CP950", "EUC-TW",
                                   "SHIFT_JIS", "CP932", "EUC-JP", "GB2312"}) {
        const CTextLibIConv conv{stringEx(name)};
        CTextLibIConv library{stringEx(name)};
        library.UseLibraryOnly();
        std::wstring wide;
        for (std::uint32_t code = 0; code < 0x20000; ++code) {
            wide += static_cast<wchar_t>(code);
        }
        while (wide.size() < 530000) {
            wide += RandomWide(2000, random) + std::wstring(random() % 40, L'x');
        }
        const stringEx narrow = library.WCtoMB(Wide(wide));
        EXPECT_TRUE(conv.WCtoMB(Wide(wide)) == narrow) << "encoding " << name;

        std::string bytes = SpoiltText(Str(narrow), random);
        for (unsigned int pair = 0; pair < 0x10000; ++pair) {
            bytes += {static_cast<char>(pair >> 8), static_cast<char>(pair)};
        }
        bytes += '\x81'; // and the text ends in a lead byte
        EXPECT_TRUE(conv.MBtoWC(Bytes(bytes)) == library.MBtoWC(Bytes(bytes)))
            << "decoding " << name;
    }
}

TEST(IConv, ConvertsLongTextsAsSmallBlocksDo) {
    std::mt19937 random(20260101);
    const std::wstring wide = RandomWide(70000, random);
    unsigned int tried = 0;
    TTextConv::ENC_COOKIE cookie;
    stringEx name;
    TTextConv::ENCINFO info;
    while (TTextConv::EnumEncoding(cookie, name, info)) {
        const iconv_t known = iconv_open(name.c_str(), "UCS-4LE");
        if (known == reinterpret_cast<iconv_t>(-1)) {
            continue;
        }
        iconv_close(known);
        const CTextLibIConv conv(name);
        const std::string narrow = BySmallBlocks<char>(name.c_str(), "UCS-4LE", wide);
        EXPECT_TRUE(Str(conv.WCtoMB(Wide(wide))) == narrow) << "encoding " << name;
        const std::string spoilt = SpoiltText(narrow, random);
        EXPECT_TRUE(Str(conv.MBtoWC(Bytes(spoilt))) ==
                    BySmallBlocks<wchar_t>("UCS-4LE", name.c_str(), spoilt))
            << "decoding " << name;
        ++tried;
    }
    EXPECT_GT(tried, 40U);
}

} // namespace

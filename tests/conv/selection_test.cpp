// Which converter the factories pick, and the conversions that the library itself uses.

#include "tests/conv/texts.h"
#include "tests/sys/message_of.h"
#include "util/conv/TextConv.h"
#include "util/conv/TextLibIConv.h"
#include "util/conv/TextLibIcu.h"
#include "util/sys/errhdl.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <typeinfo>

using namespace Quil;
using namespace Quil::TEST;

namespace {

template <class Kind>
bool IsOf(const CTextConvHandle& conv) {
    const TTextConv& object = *conv;
    return typeid(object) == typeid(Kind);
}

/// Runs a check in a process of its own, since prototypes and libraries are settled once a process.
template <class Check>
void RunApart(const char* locale, Check check) {
    setenv("LC_ALL", locale, 1);
    std::setlocale(LC_ALL, "");
    std::_Exit(check() ? 0 : 1);
}

void HideLibraries() {
    CTextLibIConv::SetExternalDependencyLocation(stringEx("/nonexistent/libiconv.so"));
    CTextLibIcu::SetExternalDependencyLocation(stringEx("/nonexistent/libicuuc"));
}

TEST(Selection, PlainConverterWidensAndNarrowsElements) {
    const TTextConv plain;
    EXPECT_EQ(Str(plain.MBtoWC(stringEx("a\xE9"))), std::wstring(L"a\xFFFFFFE9"));
    stringEx narrow;
    plain.WCtoMB(narrow, wstringEx(L"a\u4E2D"));
    EXPECT_EQ(Str(narrow), "a\x2D");
    EXPECT_TRUE(IsOf<TTextConv>(CTextConvHandle(plain.Clone())));
    EXPECT_TRUE(IsOf<TTextConv>(CTextConvHandle(plain.New(stringEx("GBK")))));
}

TEST(Selection, PrefersNamesToCodePagesAndNeverFails) {
    const struct {
        unsigned long cp;
        const char* enc;
        const char* narrow;
        const wchar_t* wide;
    } cases[] = {
        {0, "GBK", "\xD6\xD0", L"\u4E2D"},          {936, "", "\xD6\xD0", L"\u4E2D"},
        {936, "Klingon", "\xD6\xD0", L"\u4E2D"},    {1361, "BIG5", "\xA4\xA4", L"\u4E2D"},
        {65001, "anything", "\xC3\xA9", L"\u00E9"}, {0, "utf-8", "\xC3\xA9\xFF", L"\u00E9?"},
    };
    for (const auto& c : cases) {
        const CTextConvHandle conv = GainBestConvFor(c.cp, stringEx(c.enc));
        EXPECT_EQ(Str(conv->TtoWC(stringEx(c.narrow))), c.wide) << c.cp << c.enc;
        EXPECT_TRUE(conv->IsUtf8() || IsOf<CTextLibIConv>(conv)) << c.cp << c.enc;
    }
    for (const char* const name : {"", "Klingon", "//"}) {
        EXPECT_TRUE(IsOf<TTextConv>(GainBestConvFor(0, stringEx(name)))) << name;
    }
    if (CTextLibIcu::IsExternalDependencyReady()) {
        EXPECT_TRUE(IsOf<CTextLibIcu>(GainBestConvFor(0, stringEx("HZ")))) << "unknown to iconv";
    }
}

TEST(Selection, TellsAConverterThatWasNotFound) {
    for (const char* const name : {"GBK", "UTF-8", "MacIceland"}) {
        EXPECT_NO_THROW(EnsureConvFound(GainBestConvFor(0, stringEx(name)), stringEx(name)));
    }
    const stringEx system = TTextConv::GetSysDefaultEnc();
    EXPECT_NO_THROW(EnsureConvFound(CTextConvHandle(new TTextConv), system));
    for (const char* const name : {"", "Klingon"}) {
        const CTextConvHandle conv = GainBestConvFor(0, stringEx(name));
        EXPECT_THROW(EnsureConvFound(conv, stringEx(name)), tconvExp) << name;
    }
    EXPECT_THROW(EnsureConvFound(GainBestConvFor(0, stringEx("MacThai")), stringEx("MacThai")),
                 libiconvExp);
}

bool WorksWithoutLibraries() {
    HideLibraries();
    const CTextConvHandle gbk = GainBestConvFor(936, stringEx("GBK"));
    const bool refused =
        MessageOf<libiconvExp>([&] {
            EnsureConvFound(gbk, stringEx("GBK"));
        }).starts_with("CTextLibIConv::__AddRef - failed load dynamic library\n@ ");
    return refused && IsOf<TTextConv>(gbk) && Str(gbk->MBtoWC(stringEx("abc"))) == L"abc" &&
           !CTextLibIConv::IsExternalDependencyReady() &&
           Str(GainBestUTF8Conv()->WCtoMB(wstringEx(L"\u00E9"))) == "\xC3\xA9" &&
           Str(GainBestUTF8Conv()->MBtoWC(stringEx("\xC3\xA9"))) == L"\u00E9" &&
           GainBestSysDefConv()->MBtoWC(stringEx("a\xE4\xB8")).length() == 3 &&
           Str(GainBestSysDefConv()->MBtoWC(stringEx("a\xE4\xB8"))).find(L'\u4E38') ==
               std::wstring::npos &&
           Str(GainBestSysDefConv()->MBtoWC(stringEx("abc"))) == L"abc" &&
           Str(ConvStrSToU(wstringEx(L"abc"))) == "abc";
}

bool FindsTheLibraryAfterAFailure() {
    HideLibraries();
    const bool failed = IsOf<TTextConv>(GainBestConvFor(0, stringEx("GBK")));
    CTextLibIConv::SetExternalDependencyLocation(stringEx());
    return failed && IsOf<CTextLibIConv>(GainBestConvFor(0, stringEx("GBK")));
}

template <class Gain>
bool RunsOut(Gain gain) {
    return Failure<tconvExp>(gain).starts_with(std::to_string(TTextConv::OUT_OF_RESOURCES) + " ");
}

/// A library that fails for want of memory or descriptors may know the encoding: nothing weaker is
/// to take its place. One that doesn't know it says so by EINVAL.
bool TellsTroubleFromAnUnknownEncoding() {
    CTextLibIConv::SetExternalDependencyLocation(stringEx(FAILING_ICONV));
    CTextLibIcu::SetExternalDependencyLocation(stringEx("/nonexistent/libicuuc"));
    for (const char* const error : {"12", "23", "24"}) { // ENOMEM, ENFILE, EMFILE
        setenv("QUIL_TEST_ICONV_ERRNO", error, 1);
        // Valid UTF-8 asks no library, so it shows only where one is needed.
        if (!RunsOut([] { GainBestSysDefConv()->MBtoWC(stringEx("\xFF")); }) ||
            !RunsOut([] { GainBestUTF8Conv()->MBtoWC(stringEx("a\xC3")); }) ||
            !RunsOut([] { GainBestUTF8Conv()->GetBlockWays(); }) ||
            !RunsOut([] { GainBestConvFor(936, stringEx("GBK")); }) ||
            !RunsOut([] { GainBestConvFor(936, stringEx()); })) {
            return false;
        }
    }
    setenv("QUIL_TEST_ICONV_ERRNO", "22", 1); // EINVAL
    return IsOf<TTextConv>(GainBestConvFor(936, stringEx("GBK"))) &&
           Str(GainBestUTF8Conv()->WCtoMB(wstringEx(L"abc"))) == "abc";
}

bool ConvertsInTheCLocale() {
    const stringEx utf8("a\xC3\xA9");
    stringEx same(utf8);
    ConvStrUToM(same, same);
    return Str(ConvStrUToM(utf8)) == "a?" && Str(same) == "a?" && Str(ConvStrUToT(utf8)) == "a?" &&
           Str(ConvStrSToM(wstringEx(L"\u00E9"))) == "?" &&
           Str(ConvStrSToU(stringEx("a\xFF"))) == "a?" &&
           Str(ConvStrSToU(wstringEx(L"\u00E9"))) == "\xC3\xA9" &&
           Str(ConvStrSToW(stringEx("a\xC3"))) == L"a?" && Str(ConvStrUToW(utf8)) == L"a\u00E9";
}

bool ConvertsInAUtf8Locale() {
    const stringEx bad("a\xFF\xC3\xA9");
    wstringEx scratch(L"untouched");
    stringEx dst;
    ConvStrUToM(dst, bad, scratch);
    return Str(dst) == Str(bad) && Str(scratch) == L"untouched" &&
           Str(ConvStrSToU(bad)) == Str(bad) && Str(ConvStrSToW(bad)) == L"a?\u00E9" &&
           Str(ConvStrSToT(wstringEx(L"\u00E9"))) == "\xC3\xA9" &&
           Str(ConvStrSToT(bad)) == Str(bad) && GainBestSysDefConv()->IsUtf8();
}

TEST(SelectionDeathTest, FollowsLocaleAndLibraries) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunApart("C.UTF-8", WorksWithoutLibraries), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(RunApart("C", WorksWithoutLibraries), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(RunApart("C", FindsTheLibraryAfterAFailure), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(RunApart("C.UTF-8", TellsTroubleFromAnUnknownEncoding), testing::ExitedWithCode(0),
                "");
    EXPECT_EXIT(RunApart("C", ConvertsInTheCLocale), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(RunApart("C.UTF-8", ConvertsInAUtf8Locale), testing::ExitedWithCode(0), "");
}

TEST(Selection, ThreadsReleaseTheirConverters) {
    std::thread([] {
        ConvStrFreeTls(); // nothing yet
        EXPECT_EQ(Str(ConvStrUToW(stringEx("\xC3\xA9"))), L"\u00E9");
        ConvStrFreeTls();
        ConvStrFreeTls();
        EXPECT_EQ(Str(ConvStrSToU(wstringEx(L"\u00E9"))), "\xC3\xA9") << "made again";
        ConvStrFreeTls();
    }).join();
}

} // namespace

// The ICU back end. Everything but the search for the library needs one installed.

#include "util/conv/TextLibIcu.h"
#include "util/sys/errhdl.h"

#include <gtest/gtest.h>
#include <string>

using namespace Quil;

namespace {

class Icu : public testing::Test {
protected:
    void SetUp() override {
        if (!CTextLibIcu::IsExternalDependencyReady()) {
            GTEST_SKIP() << "no ICU here";
        }
    }
};

std::wstring Str(const wstringEx& s) {
    return std::wstring(s.c_str(), s.length());
}
std::string Str(const stringEx& s) {
    return std::string(s.c_str(), s.length());
}

TEST_F(Icu, DecodesAndEncodesBySixteenBitUnits) {
    const struct {
        const char* enc;
        const char* narrow;
        const wchar_t* wide;
    } cases[] = {
        {"GBK", "a\xD6\xD0", L"a\u4E2D"},
        {"ANSI-LatinI", "\x80", L"\u20AC"},
        {"UTF-8", "\xF0\x9D\x84\x9E", L"\xD834\xDD1E"},
        {"UTF-8", "", L""},
    };
    for (const auto& c : cases) {
        const CTextLibIcu conv{stringEx(c.enc)};
        EXPECT_EQ(Str(conv.MBtoWC(stringEx(c.narrow))), c.wide) << c.enc;
        EXPECT_EQ(Str(conv.WCtoMB(wstringEx(c.wide))), c.narrow) << c.enc;
    }
    const CTextConvHandle clone(CTextLibIcu(1252UL).Clone());
    EXPECT_EQ(Str(clone->MBtoWC(stringEx("\x80"))), L"\u20AC");
}

TEST_F(Icu, ToleratesBadInput) {
    const CTextLibIcu utf8{stringEx("UTF-8")};
    EXPECT_EQ(Str(utf8.MBtoWC(stringEx("a\xFF"
                                       "b"))),
              L"a\uFFFDb");
    EXPECT_EQ(Str(utf8.WCtoMB(wstringEx(L"\U00010041"))), "A") << "the low 16 bits";
    EXPECT_EQ(Str(CTextLibIcu(stringEx("ISO-8859-1")).WCtoMB(wstringEx(L"\u4E2D"))), "\x1A");
}

TEST_F(Icu, RefusesUnknownNames) {
    EXPECT_THROW(CTextLibIcu{stringEx("")}, tconvExp);
    EXPECT_THROW(CTextLibIcu{stringEx("Klingon")}, tconvExp);
    try {
        const CTextLibIcu conv{stringEx("JOHAB")};
        ADD_FAILURE() << "ICU has no table for it";
    } catch (const libicuExp& e) {
        EXPECT_EQ(e.GetErrCode(), 3U);
        EXPECT_EQ(e.GetErrString(), "CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                                    "  encoding name = JOHAB (windows-1361)\n"
                                    "  error number  = 4\n"
                                    "  error desc    = U_FILE_ACCESS_ERROR");
    }
    try {
        const CTextLibIcu conv{12345UL};
        ADD_FAILURE() << "no such code page";
    } catch (const libicuExp& e) {
        EXPECT_EQ(e.GetErrString(), "CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                                    "  code page     = 12345\n"
                                    "  encoding name = CP12345\n"
                                    "  error number  = 4\n"
                                    "  error desc    = U_FILE_ACCESS_ERROR");
    }
}

/// A version that is asked for is the only one tried.
[[noreturn]] void AskForAMissingVersion() {
    CTextLibIcu::SetDefaultLibVersion(stringEx("987"));
    bool good = !CTextLibIcu::IsExternalDependencyReady();
    try {
        const CTextLibIcu conv{stringEx("UTF-8")};
        good = false;
    } catch (const libicuExp& e) {
        const stringEx text = e.GetErrString();
        good = good && e.GetErrCode() == 3 &&
               text.begin_with("CTextLibIcu::__AddRef - failed load dynamic library\n@ ") &&
               text.find("icuuc.so.987") != stringEx::npos;
    }
    std::_Exit(good ? 0 : 1);
}

/// A library without ICU's functions.
[[noreturn]] void LookInAnotherLibrary() {
    CTextLibIcu::SetExternalDependencyLocation(stringEx("libm.so.6"));
    CTextLibIcu::SetDefaultLibVersion(stringEx("72"));
    bool good = false;
    try {
        const CTextLibIcu conv{stringEx("UTF-8")};
    } catch (const libicuExp& e) {
        good = e.GetErrString().begin_with("CTextLibIcu::__AddRef - ");
    }
    std::_Exit(good ? 0 : 1);
}

TEST(IcuDeathTest, TellsWhyTheLibraryCannotServe) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(AskForAMissingVersion(), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(LookInAnotherLibrary(), testing::ExitedWithCode(0), "");
}

} // namespace

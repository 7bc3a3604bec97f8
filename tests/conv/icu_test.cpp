// The ICU back end. Everything but the search for the library needs one installed.

#include "tests/conv/texts.h"
#include "tests/sys/message_of.h"
#include "util/conv/TextLibIcu.h"
#include "util/sys/errhdl.h"

#include <gtest/gtest.h>
#include <string>

using namespace Quil;
using namespace Quil::TEST;

namespace {

class Icu : public testing::Test {
protected:
    void SetUp() override {
        if (!CTextLibIcu::IsExternalDependencyReady()) {
            GTEST_SKIP() << "no ICU here";
        }
    }
};

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
    const std::string failed = "3 CTextLibIcu::CTextLibIcu - failed init encoding convertion\n";
    const std::string cause = "\n  error number  = 4\n  error desc    = U_FILE_ACCESS_ERROR";
    EXPECT_EQ(Failure<libicuExp>([] { CTextLibIcu{stringEx("JOHAB")}; }),
              failed + "  encoding name = JOHAB (windows-1361)" + cause);
    EXPECT_EQ(Failure<libicuExp>([] { CTextLibIcu{12345UL}; }),
              failed + "  code page     = 12345\n  encoding name = CP12345" + cause);
}

/// A version that is asked for is the only one tried.
[[noreturn]] void AskForAMissingVersion() {
    CTextLibIcu::SetDefaultLibVersion(stringEx("987"));
    const std::string failure = Failure<libicuExp>([] { CTextLibIcu{stringEx("UTF-8")}; });
    const bool good =
        !CTextLibIcu::IsExternalDependencyReady() &&
        failure.starts_with("3 CTextLibIcu::__AddRef - failed load dynamic library\n@ ") &&
        failure.find("icuuc.so.987") != std::string::npos;
    std::_Exit(good ? 0 : 1);
}

/// A library without ICU's functions.
[[noreturn]] void LookInAnotherLibrary() {
    CTextLibIcu::SetExternalDependencyLocation(stringEx("libm.so.6"));
    CTextLibIcu::SetDefaultLibVersion(stringEx("72"));
    const std::string failure = MessageOf<libicuExp>([] { CTextLibIcu{stringEx("UTF-8")}; });
    std::_Exit(failure.starts_with("CTextLibIcu::__AddRef - ") ? 0 : 1);
}

TEST(IcuDeathTest, TellsWhyTheLibraryCannotServe) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(AskForAMissingVersion(), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(LookInAnotherLibrary(), testing::ExitedWithCode(0), "");
}

} // namespace

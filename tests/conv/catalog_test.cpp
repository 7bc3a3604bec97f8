// The catalogue of encodings: names, code pages, groups, enumerations, the system's default.

#include "tests/sys/message_of.h"
#include "util/conv/TextConv.h"
#include "util/sys/errhdl.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace Quil;
using TEST::Failure;

namespace {

TEST(Catalog, FindsNamesWithoutRegardToCaseAndByNumber) {
    const struct {
        const char* name;
        unsigned long codePage;
        const char* description;
        bool rightToLeft;
    } cases[] = {
        {"utf-8", 65001, "Unicode - UTF-8", false},
        {"Utf-8", 65001, "Unicode - UTF-8", false},
        {"cp936", 936, "Simplified Chinese - GBK", false},
        {"CP437", 437, "English - ASCII (DOS OEM)", false},
        {"oem-multlinguallatini+eurosymbol", 858, "Multlingual Latin I + Euro symbol - OEM", false},
        {"MacArabic", 10004, "Arabic - MAC", true},
        {"armscii-8", 1254, "Armenian - ARMSCII", false},
    };
    for (const auto& c : cases) {
        const TTextConv::ENCINFO& info = TTextConv::GetEncInfo(stringEx(c.name));
        EXPECT_EQ(info.codePage, c.codePage) << c.name;
        EXPECT_EQ(info.description, c.description) << c.name;
        EXPECT_EQ(info.rightToLeft, c.rightToLeft) << c.name;
        EXPECT_EQ(TTextConv::EncToCP(stringEx(c.name)), c.codePage) << c.name;
    }
    EXPECT_EQ(TTextConv::EncToCP(stringEx("cp12345")), 12345U) << "no look-up for a number";
}

TEST(Catalog, NamesACodePageByItsFirstEncoding) {
    const struct {
        unsigned long codePage;
        const char* name;
    } cases[] = {{437, "ASCII"},     {950, "BIG5"}, {1200, "UCS-2"},
                 {1201, "UCS-2BE"},  {949, "KSC"},  {936, "GBK"},
                 {12345, "CP12345"}, {0, "CP0"},    {10029, "MacCentralEurope"}};
    for (const auto& c : cases) {
        EXPECT_EQ(TTextConv::CPToEnc(c.codePage), c.name);
    }
}

TEST(Catalog, RefusesUnknownNames) {
    EXPECT_EQ(Failure<tconvExp>([] { TTextConv::EncToCP(stringEx("Klingon")); }),
              "1 TTextConv::EncToCP - can't convert the encoding to codepage\n"
              "  corresponding mapping doesn't exist\n"
              "  encoding name = Klingon");
    EXPECT_EQ(Failure<tconvExp>([] { TTextConv::GetEncInfo(stringEx("cp12345")); }),
              "2 TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n"
              "  encoding doesn't exist\n"
              "  encoding name = CP12345");
}

TEST(Catalog, TellsConversionsThatLoseNothing) {
    const struct {
        const char* from;
        const char* to;
        const char* group; ///< Null: the conversion isn't allowed.
    } cases[] = {
        {"GBK", "UTF-8", "Unicode Charset"},
        {"utf-8", "utf-8", "Unicode Charset"},
        {"GBK", "gb18030", "Unicode Charset"},
        {"UTF-8", "GBK", nullptr},
        {"ASCII", "EUC-KR", "Standard English"},
        {"ascii", "no such encoding", "Standard English"},
        {"ISO-8859-9", "ANSI-LatinI", "West European"},
        {"ISO-8859-9", "MacTurkish", "South European"},
        {"ISO-8859-1", "ISO-8859-2", nullptr},
        {"KOI8-R", "OEM-Russian", "Cyrillic"},
        {"KOI8-R", "GBK", "GB Special"},
        {"EUC-CN", "GBK", "Simplified Chinese"},
        {"EUC-KR", "GBK", "CJK Charset"},
        {"BIG5-HKSCS:2004", "GBK", "CJK Charset"},
        {"SHIFT_JIS", "GBK", "GB Special"},
        {"SHIFT_JIS", "BIG5", nullptr},
        {"cp936", "UTF-8", "Unicode Charset"},
        {"cp936", "GBK", nullptr},
        {"GBK", "cp936", nullptr},
        {"Klingon", "Klingon", nullptr},
        {"ISO-8859-11", "ISO-8859-11", nullptr},
    };
    for (const auto& c : cases) {
        stringEx group("untouched");
        const bool allowed = TTextConv::CouldConv(stringEx(c.from), stringEx(c.to), &group);
        EXPECT_EQ(allowed, c.group != nullptr) << c.from << " to " << c.to;
        EXPECT_EQ(group, c.group != nullptr ? c.group : "untouched") << c.from << " to " << c.to;
    }
    EXPECT_TRUE(TTextConv::CouldConv(936UL, 65001UL, nullptr));
    EXPECT_FALSE(TTextConv::CouldConv(65001UL, 936UL, nullptr));
}

TEST(Catalog, EnumeratesEncodingsInTheOrderOfNames) {
    TTextConv::ENC_COOKIE cookie;
    stringEx name;
    TTextConv::ENCINFO info;
    for (int round = 0; round < 2; ++round) {
        unsigned int count = 0;
        unsigned int rightToLeft = 0;
        stringEx last;
        while (TTextConv::EnumEncoding(cookie, name, info)) {
            EXPECT_LT(last.compare_no_case(name), 0);
            EXPECT_EQ(TTextConv::EncToCP(name), info.codePage);
            last = name;
            ++count;
            rightToLeft += info.rightToLeft ? 1 : 0;
        }
        EXPECT_EQ(count, 95U);
        EXPECT_EQ(rightToLeft, 8U);
        EXPECT_TRUE(!cookie && name.empty() && info.codePage == 0 && info.description.empty());
    }
}

TEST(Catalog, EnumeratesGroupsAndDropsACookieEarly) {
    TTextConv::COMPENC_INFO info;
    TTextConv::CMP_COOKIE cookie;
    unsigned int count = 0;
    std::size_t members = 0;
    while (TTextConv::EnumCompatibleCata(cookie, info)) {
        EXPECT_TRUE(!info.mutual || info.to.empty()) << info.name;
        members += info.from.size() + info.to.size();
        ++count;
    }
    EXPECT_EQ(count, 18U);
    EXPECT_EQ(members, 138U);
    EXPECT_TRUE(info.from.empty() && info.to.empty() && !info.mutual && info.name.empty());

    ASSERT_TRUE(TTextConv::EnumCompatibleCata(cookie, info));
    EXPECT_EQ(info.name, "Unicode Charset");
    EXPECT_TRUE(info.from.empty());
}

/// The defaults are read once, so each case is looked at in a process of its own.
struct LOCALE_CASE {
    const char* lang;
    const char* ctype;
    const char* all;
    const char* enc;
    unsigned long codePage;
    const char* localeName;
};

void SetOrUnset(const char* name, const char* value) {
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
}

[[noreturn]] void CheckDefaults(const LOCALE_CASE& c) {
    SetOrUnset("LANG", c.lang);
    SetOrUnset("LC_CTYPE", c.ctype);
    SetOrUnset("LC_ALL", c.all);
    const bool isUtf8 = stringEx("UTF-8") == c.enc;
    const bool good = TTextConv::GetSysDefaultEnc() == c.enc &&
                      TTextConv::GetSysDefaultCP() == c.codePage &&
                      TTextConv::IsSysDefaultUseUtf8() == isUtf8 &&
                      TTextConv::GetSysDefaultCanonicalLocaleName() == c.localeName;
    setenv("LANG", "xx_XX", 1); // a later change goes unnoticed
    const bool stays = TTextConv::GetSysDefaultCanonicalLocaleName() == c.localeName;
    std::_Exit(good && stays ? 0 : 1);
}

TEST(CatalogDeathTest, ReadsTheSystemsDefaultsFromLocaleAndEnvironment) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const LOCALE_CASE cases[] = {
        {nullptr, nullptr, "C.UTF-8", "UTF-8", 65001, "C"},
        {nullptr, nullptr, "C", "ANSI_X3.4-1968", 20127, "C"},
        {nullptr, nullptr, nullptr, "ANSI_X3.4-1968", 20127, "en_US"},
        {nullptr, "de_DE.ISO8859-1@euro", "fr_FR", "ANSI_X3.4-1968", 20127, "de_DE"},
        {" zh_CN.GBK", "C.UTF-8", nullptr, "UTF-8", 65001, "zh_CN"},
        {"@x", ".y", "pl_PL", "ANSI_X3.4-1968", 20127, "pl_PL"},
    };
    for (const LOCALE_CASE& c : cases) {
        EXPECT_EXIT(CheckDefaults(c), testing::ExitedWithCode(0), "") << c.localeName;
    }
}

} // namespace

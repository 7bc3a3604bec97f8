#include "util/conv/catalog/encoding_tables.h"

namespace Quil::IMPL {

namespace {

// Several names share a code page, and a few carry the page of a related charset because theirs has
// none: the numbers serve as a second key, not as a definition of the charset.
constexpr ENCODING_ROW ENCODING_ROWS[] = {
    {"C", 20127, false, "English - C Default"},
    {"ASCII", 437, false, "English - ASCII (DOS OEM)"},
    {"US-ASCII", 437, false, "English - US-ASCII"},
    {"ANSI_x3.4-1968", 20127, false, "English - ASCII (x3.4-1968)"},
    {"ISO-646", 20127, false, "English - ASCII (ISO-646)"},
    {"ISO-8859-1", 28591, false, "Latin 1 (West European) - ISO-8859-1"},
    {"ISO-8859-2", 28592, false, "Latin 2 (Central and East European) - ISO-8859-2"},
    {"ISO-8859-3", 28593, false, "Latin 3 (South European) - ISO-8859-3"},
    {"ISO-8859-4", 28594, false, "Latin 4 (North European / Baltic) - ISO-8859-4"},
    {"ISO-8859-5", 28595, false, "Cyrillic - ISO-8859-5"},
    {"ISO-8859-7", 28597, false, "Greek - ISO-8859-7"},
    {"ISO-8859-9", 28599, false, "Latin 5 (Turkish) - ISO-8859-9"},
    {"ISO-8859-10", 28594, false, "Latin 6 (Nordic) - ISO-8859-10"},
    {"ISO-8859-13", 28603, false, "Latin 7 (Baltic Rim) - ISO-8859-13"},
    {"ISO-8859-14", 28591, false, "Latin 8 (Celtic) - ISO-8859-14"},
    {"ISO-8859-15", 28605, false, "Latin 9 (West European) - ISO-8859-15"},
    {"KOI8", 20866, false, "Russian - KOI8-R"},
    {"KOI8-R", 20866, false, "Russian - KOI8-R"},
    {"KOI8-U", 21866, false, "Ukrainian - KOI8-U"},
    {"ANSI-CentralEuropean", 1250, false, "Central European - ANSI"},
    {"ANSI-Cyrillic", 1251, false, "Cyrillic - ANSI"},
    {"ANSI-LatinI", 1252, false, "Latin I - ANSI"},
    {"ANSI-Greek", 1253, false, "Greek - ANSI"},
    {"ANSI-Turkish", 1254, false, "Turkish - ANSI"},
    {"ANSI-Baltic", 1257, false, "Baltic - ANSI"},
    {"MacRoman", 10000, false, "Roman - MAC"},
    {"MacCentralEurope", 10029, false, "Central Europe - MAC"},
    {"MacIceland", 10079, false, "Iceland - MAC"},
    {"MacCroatian", 10082, false, "Croatian - MAC"},
    {"MacRomania", 10010, false, "Romania - MAC"},
    {"MacCyrillic", 10007, false, "Cyrillic - MAC"},
    {"MacUkraine", 10017, false, "Ukraine - MAC"},
    {"MacGreek", 10006, false, "Greek - MAC"},
    {"MacTurkish", 10081, false, "Turkish - MAC"},
    {"Macintosh", 10029, false, "Macintosh - MAC"},
    {"OEM-MultilingualLatinI", 850, false, "Multilingual Latin 1 - OEM"},
    {"OEM-LatinI", 850, false, "Latin 1 (West European) - OEM"},
    {"OEM-Russian", 866, false, "Russian - OEM"},
    {"OEM-Greek", 737, false, "Greek (formerly 437G) - OEM"},
    {"OEM-Baltic", 775, false, "Baltic - OEM"},
    {"OEM-LatinII", 852, false, "Latin 2 (Central and East European) - OEM"},
    {"OEM-Cyrillic", 855, false, "Cyrillic (primarily Russian) - OEM"},
    {"OEM-Turkish", 857, false, "Turkish - OEM"},
    {"OEM-MultlingualLatinI+EuroSymbol", 858, false, "Multlingual Latin I + Euro symbol - OEM"},
    {"OEM-Portuguese", 860, false, "Portuguese - OEM"},
    {"OEM-Icelandic", 861, false, "Icelandic - OEM"},
    {"OEM-CanadianFrench", 863, false, "Canadian French - OEM"},
    {"OEM-Nordic", 865, false, "Nordic - OEM"},
    {"OEM-ModernGreek", 869, false, "Modern Greek - OEM"},
    {"ARMSCII-8", 1254, false, "Armenian - ARMSCII"},
    {"ISO-8859-6", 28596, true, "Arabic - ISO-8859-6"},
    {"ISO-8859-8", 28598, true, "Hebrew - ISO-8859-8"},
    {"ANSI-Hebrew", 1255, true, "Hebrew - ANSI"},
    {"ANSI-Arabic", 1256, true, "Arabic - ANSI"},
    {"OEM-Hebrew", 862, true, "Hebrew - OEM"},
    {"OEM-Arabic", 864, true, "Arabic - OEM"},
    {"MacHebrew", 10005, true, "Hebrew - MAC"},
    {"MacArabic", 10004, true, "Arabic - MAC"},
    {"EUC-CN", 51936, false, "Simplified Chinese - EUC"},
    {"GBK", 936, false, "Simplified Chinese - GBK"},
    {"GB2312", 20936, false, "Simplified Chinese - GB2312"},
    {"GB18030", 54936, false, "Simplified Chinese - GB18030"},
    {"HZ", 52936, false, "Simplified Chinese - HZ-GB2312"},
    {"ISO-2022-CN", 50227, false, "Simplified Chinese - ISO-2022-CN"},
    {"ISO-2022-CN-EXT", 50227, false, "Simplified Chinese - ISO-2022-CN-EXT"},
    {"EUC-TW", 51950, false, "Traditional Chinese - EUC"},
    {"BIG5", 950, false, "Traditional Chinese - BIG5"},
    {"BIG5-HKSCS", 950, false, "Traditional Chinese - BIG5-HKSCS"},
    {"BIG5-HKSCS:1999", 950, false, "Traditional Chinese - BIG5-HKSCS:1999"},
    {"BIG5-HKSCS:2001", 950, false, "Traditional Chinese - BIG5-HKSCS:2001"},
    {"BIG5-HKSCS:2004", 950, false, "Traditional Chinese - BIG5-HKSCS:2004"},
    {"EUC-KR", 51949, false, "Korean - EUC"},
    {"ISO-2022-KR", 50225, false, "Korean - ISO-2022-KR"},
    {"JOHAB", 1361, false, "Korean - Johab"},
    {"UHC", 949, false, "Korean - Unified Hangeul Code"},
    {"KSC", 949, false, "Korean - Unified Hangeul Code"},
    {"EUC-JP", 51932, false, "Japanese - EUC"},
    {"SHIFT_JIS", 932, false, "Japanese - SHIFT-JIS"},
    {"ISO-2022-JP", 50220, false, "Japanese - ISO-2022-JP"},
    {"ISO-2022-JP-1", 50221, false, "Japanese - ISO-2022-JP-1"},
    {"ISO-2022-JP-2", 50222, false, "Japanese - ISO-2022-JP-2"},
    {"VISCII", 1258, false, "Vietnamese - VISCII"},
    {"TCVN", 1258, false, "Vietnamese - TCVN"},
    {"TIS-620", 874, false, "Thai - TIS-620"},
    {"ANSI-Thai", 874, false, "Thai - ANSI"},
    {"ISO-8859-11", 874, false, "Thai - ISO-8859-11"},
    {"MacThai", 10021, false, "Thai - MAC"},
    {"UTF-7", 65000, false, "Unicode - UTF-7"},
    {"UTF-8", 65001, false, "Unicode - UTF-8"},
    {"UTF-16", 1200, false, "Unicode - UTF-16"},
    {"UTF-16LE", 1200, false, "Unicode - UTF-16 Little-Endian"},
    {"UTF-16BE", 1201, false, "Unicode - UTF-16 Big-Endian"},
    {"UCS-2", 1200, false, "Unicode - UCS-2"},
    {"UCS-2LE", 1200, false, "Unicode - UCS-2 Little-Endian (BMP of ISO 10646)"},
    {"UCS-2BE", 1201, false, "Unicode - UCS-2 Big-Endian"},
};

constexpr const char* UNICODE_CHARSET_TO[] = {"UTF-7", "UTF-8",   "UTF-16",  "UTF-16LE", "UTF-16BE",
                                              "UCS-2", "UCS-2LE", "UCS-2BE", "GB18030"};
constexpr const char* STANDARD_ENGLISH_FROM[] = {"C", "ASCII", "US-ASCII", "ISO-646",
                                                 "ANSI_x3.4-1968"};
constexpr const char* WEST_EUROPEAN[] = {"ISO-8859-1",
                                         "ISO-8859-9",
                                         "ISO-8859-14",
                                         "ISO-8859-15",
                                         "ANSI-LatinI",
                                         "MacRoman",
                                         "MacIceland",
                                         "OEM-LatinI",
                                         "OEM-MultilingualLatinI",
                                         "OEM-MultlingualLatinI+EuroSymbol",
                                         "OEM-Portuguese",
                                         "OEM-Icelandic",
                                         "OEM-CanadianFrench"};
constexpr const char* CENTRAL_AND_EAST_EUROPEAN[] = {"ISO-8859-2",       "ANSI-CentralEuropean",
                                                     "MacCentralEurope", "MacCroatian",
                                                     "MacRomania",       "OEM-LatinII"};
constexpr const char* SOUTH_EUROPEAN[] = {"ISO-8859-3", "ISO-8859-9",  "ANSI-Turkish",
                                          "MacTurkish", "OEM-Turkish", "ARMSCII-8"};
constexpr const char* NORTH_EUROPEAN[] = {"ISO-8859-4",  "ISO-8859-10", "ISO-8859-13",
                                          "ANSI-Baltic", "OEM-Baltic",  "OEM-Nordic"};
constexpr const char* CYRILLIC[] = {"ISO-8859-5",  "KOI8",       "KOI8-R",      "KOI8-U",
                                    "MacCyrillic", "MacUkraine", "OEM-Russian", "OEM-Cyrillic"};
constexpr const char* GREEK[] = {"ISO-8859-7", "ANSI-Greek", "MacGreek", "OEM-Greek",
                                 "OEM-ModernGreek"};
constexpr const char* ARABIC[] = {"ISO-8859-6", "ANSI-Arabic", "OEM-Arabic", "MacArabic"};
constexpr const char* HEBREW[] = {"ISO-8859-8", "ANSI-Hebrew", "OEM-Hebrew", "MacHebrew"};
constexpr const char* SIMPLIFIED_CHINESE[] = {"EUC-CN", "GBK",         "GB2312",         "GB18030",
                                              "HZ",     "ISO-2022-CN", "ISO-2022-CN-EXT"};
constexpr const char* TRADITIONAL_CHINESE[] = {
    "BIG5", "BIG5-HKSCS", "BIG5-HKSCS:1999", "BIG5-HKSCS:2001", "BIG5-HKSCS:2004", "EUC-TW"};
constexpr const char* KOREAN[] = {"EUC-KR", "ISO-2022-KR", "JOHAB", "KSC", "UHC"};
constexpr const char* JAPANESE[] = {"EUC-JP", "SHIFT_JIS", "ISO-2022-JP", "ISO-2022-JP-1",
                                    "ISO-2022-JP-2"};
constexpr const char* THAI[] = {"ANSI-Thai", "TIS-620", "MacThai"};
constexpr const char* VIETNAMESE[] = {"VISCII", "TCVN"};
constexpr const char* GB_SPECIAL_FROM[] = {
    "GB2312",      "ISO-8859-1",    "ISO-8859-5",      "KOI8",         "KOI8-R",     "KOI8-U",
    "MacCyrillic", "MacUkraine",    "OEM-Russian",     "OEM-Cyrillic", "ISO-8859-7", "ANSI-Greek",
    "MacGreek",    "OEM-Greek",     "OEM-ModernGreek", "EUC-CN",       "EUC-JP",     "SHIFT_JIS",
    "ISO-2022-JP", "ISO-2022-JP-1", "ISO-2022-JP-2"};
constexpr const char* GB_SPECIAL_TO[] = {"GB2312", "GBK", "GB18030"};
constexpr const char* CJK_CHARSET_FROM[] = {"EUC-CN",
                                            "GBK",
                                            "GB2312",
                                            "GB18030",
                                            "HZ",
                                            "ISO-2022-CN",
                                            "ISO-2022-CN-EXT",
                                            "BIG5",
                                            "BIG5-HKSCS",
                                            "BIG5-HKSCS:1999",
                                            "BIG5-HKSCS:2001",
                                            "BIG5-HKSCS:2004",
                                            "EUC-TW",
                                            "EUC-KR",
                                            "ISO-2022-KR",
                                            "JOHAB",
                                            "KSC",
                                            "UHC"};
constexpr const char* CJK_CHARSET_TO[] = {"GBK", "GB18030"};

constexpr COMPATIBILITY_ROW COMPATIBILITY_ROWS[] = {
    {"Unicode Charset", false, {}, UNICODE_CHARSET_TO},
    {"Standard English", false, STANDARD_ENGLISH_FROM, {}},
    {"West European", true, WEST_EUROPEAN, {}},
    {"Central and East European", true, CENTRAL_AND_EAST_EUROPEAN, {}},
    {"South European", true, SOUTH_EUROPEAN, {}},
    {"North European", true, NORTH_EUROPEAN, {}},
    {"Cyrillic", true, CYRILLIC, {}},
    {"Greek", true, GREEK, {}},
    {"Arabic", true, ARABIC, {}},
    {"Hebrew", true, HEBREW, {}},
    {"Simplified Chinese", true, SIMPLIFIED_CHINESE, {}},
    {"Traditional Chinese", true, TRADITIONAL_CHINESE, {}},
    {"Korean", true, KOREAN, {}},
    {"Japanese", true, JAPANESE, {}},
    {"Thai", true, THAI, {}},
    {"Vietnamese", true, VIETNAMESE, {}},
    {"GB Special", false, GB_SPECIAL_FROM, GB_SPECIAL_TO},
    {"CJK Charset", false, CJK_CHARSET_FROM, CJK_CHARSET_TO},
};

} // namespace

std::span<const ENCODING_ROW> GetEncodingRows() {
    return ENCODING_ROWS;
}

std::span<const COMPATIBILITY_ROW> GetCompatibilityRows() {
    return COMPATIBILITY_ROWS;
}

} // namespace Quil::IMPL

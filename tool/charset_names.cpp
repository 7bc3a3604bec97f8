#include "tool/charset_names.h"

#include "tool/option/nearest.h"
#include "util/conv/TextLibIConv.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <iostream>
#include <optional>

namespace Quil {

namespace {

struct ROW {
    const char* name;      ///< that the converters know
    const char* shown;     ///< the name that people know first
    const char* others;    ///< more of them, with blanks between
    const char* mark = ""; ///< its byte-order mark
};

constexpr const char* LITTLE_32 = "\xFF\xFE\0\0";
constexpr const char* BIG_32 = "\0\0\xFE\xFF";

// The table that programs mean by Shift_JIS, in which 5C is a backslash, is Windows' own.
constexpr ROW ROWS[] = {
    {"UTF-8", "utf-8", "cp65001", "\xEF\xBB\xBF"},
    {"UTF-16LE", "utf-16le", "", "\xFF\xFE"},
    {"UTF-16BE", "utf-16be", "", "\xFE\xFF"},
    {"UTF-16", "utf-16", "unicode ucs-2"},
    {"UTF-32LE", "utf-32le", "", LITTLE_32},
    {"UTF-32BE", "utf-32be", "", BIG_32},
    {"UTF-32", "utf-32", "ucs-4"},
    {"UTF-7", "utf-7", ""},
    {"ANSI_X3.4-1968", "ascii", "us-ascii iso-646 ansi_x3.4-1968 c"},
    {"ISO-8859-1", "iso-8859-1", "latin1 l1 cp819 iso_8859-1"},
    {"ISO-8859-2", "iso-8859-2", "latin2 l2"},
    {"ISO-8859-3", "iso-8859-3", "latin3"},
    {"ISO-8859-4", "iso-8859-4", "latin4"},
    {"ISO-8859-5", "iso-8859-5", "cyrillic"},
    {"ISO-8859-6", "iso-8859-6", "arabic"},
    {"ISO-8859-7", "iso-8859-7", "greek"},
    {"ISO-8859-8", "iso-8859-8", "hebrew"},
    {"ISO-8859-9", "iso-8859-9", "latin5"},
    {"ISO-8859-10", "iso-8859-10", "latin6"},
    {"ISO-8859-13", "iso-8859-13", "latin7"},
    {"ISO-8859-14", "iso-8859-14", "latin8"},
    {"ISO-8859-15", "iso-8859-15", "latin9 latin-9"},
    {"ISO-8859-16", "iso-8859-16", "latin10"},
    {"CP1250", "windows-1250", "cp1250"},
    {"CP1251", "windows-1251", "cp1251"},
    {"CP1252", "windows-1252", "cp1252 ansi"},
    {"CP1253", "windows-1253", "cp1253"},
    {"CP1254", "windows-1254", "cp1254"},
    {"CP1255", "windows-1255", "cp1255"},
    {"CP1256", "windows-1256", "cp1256"},
    {"CP1257", "windows-1257", "cp1257"},
    {"CP1258", "windows-1258", "cp1258"},
    {"KOI8-R", "koi8-r", ""},
    {"KOI8-U", "koi8-u", ""},
    {"CP437", "cp437", "ibm437"},
    {"CP737", "cp737", "ibm737"},
    {"CP850", "cp850", "ibm850"},
    {"CP852", "cp852", "ibm852"},
    {"CP855", "cp855", "ibm855"},
    {"CP857", "cp857", "ibm857"},
    {"CP858", "cp858", "ibm858"},
    {"CP862", "cp862", "ibm862"},
    {"CP866", "cp866", "ibm866"},
    {"CP869", "cp869", "ibm869"},
    {"MACINTOSH", "macintosh", "mac macroman mac-roman"},
    {"MAC-CYRILLIC", "x-mac-cyrillic", "maccyrillic mac-cyrillic"},
    {"MAC-CENTRALEUROPE", "mac-centraleurope", "maccentraleurope"},
    {"GBK", "gbk", "cp936 ms936 windows-936"},
    {"EUC-CN", "gb2312", "euc-cn euccn"},
    {"GB18030", "gb18030", ""},
    {"HZ", "hz", "hz-gb-2312"},
    {"ISO-2022-CN", "iso-2022-cn", ""},
    {"BIG5", "big5", "big-5"},
    {"CP950", "cp950", "windows-950"},
    {"BIG5-HKSCS", "big5-hkscs", ""},
    {"EUC-TW", "euc-tw", ""},
    {"CP932", "shift_jis", "sjis shift-jis ms_kanji cp932 windows-31j ms932"},
    {"EUC-JP", "euc-jp", "eucjp ujis"},
    {"ISO-2022-JP", "iso-2022-jp", "jis"},
    {"EUC-KR", "euc-kr", "euckr ks_c_5601-1987"},
    {"UHC", "cp949", "uhc windows-949 ms949"},
    {"JOHAB", "johab", "cp1361"},
    {"ISO-2022-KR", "iso-2022-kr", ""},
    {"TIS-620", "tis-620", "iso-8859-11"},
    {"CP874", "windows-874", "cp874"},
    {"VISCII", "viscii", ""},
    {"TCVN", "tcvn", ""},
    {"ARMSCII-8", "armscii-8", ""},
    {"IBM037", "ibm037", "cp037 ebcdic-cp-us"},
    {"IBM1047", "ibm1047", "cp1047"},
};

/// Letters in one case and digits: people differ on all else.
stringEx Bare(const stringEx& name) {
    stringEx bare;
    for (unsigned int i = 0; i < name.length(); ++i) {
        const char c = name[i];
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            bare.push_back(static_cast<char>(c | (c >= 'A' ? 0x20 : 0)));
        }
    }
    return bare;
}

std::vector<stringEx> NamesOf(const ROW& row) {
    std::vector<stringEx> names{stringEx(row.shown)};
    const stringEx others(row.others);
    for (unsigned int begin = 0; begin < others.length();) {
        const unsigned int found = others.find(' ', begin);
        const unsigned int end = found == stringEx::npos ? others.length() : found;
        names.push_back(others.substr(begin, end - begin));
        begin = end + 1;
    }
    return names;
}

const ROW* FindRow(const stringEx& name) {
    const stringEx bare = Bare(name);
    if (bare.empty()) {
        return nullptr;
    }
    const auto* const found = std::ranges::find_if(ROWS, [&bare](const ROW& row) {
        return Bare(stringEx(row.name)) == bare ||
               std::ranges::any_of(NamesOf(row),
                                   [&bare](const stringEx& known) { return Bare(known) == bare; });
    });
    return found != std::end(ROWS) ? found : nullptr;
}

stringEx MarkOf(const ROW& row) {
    constexpr unsigned int LONG = 4;
    const bool isLong = row.mark == LITTLE_32 || row.mark == BIG_32;
    return isLong ? stringEx(row.mark, LONG) : stringEx(row.mark);
}

/// Null for a name that no library knows.
CTextConvHandle ConverterFor(const stringEx& name) {
    try {
        CTextConvHandle converter = GainBestConvFor(0, name);
        EnsureConvFound(converter, name);
        return converter;
    } catch (const qlExp&) {
        return {};
    }
}

bool RefuseUnknown(const char* option, const stringEx& name) {
    std::vector<stringEx> all;
    for (const ROW& row : ROWS) {
        const std::vector<stringEx> names = NamesOf(row);
        all.insert(all.end(), names.begin(), names.end());
    }
    std::cerr << "[FATAL ERROR] --" << option << "=" << name << " isn't a charset that is known";
    if (const stringEx nearest = FindNearest(name, all); !nearest.empty()) {
        std::cerr << "; " << nearest << " is one";
    }
    std::cerr << ", --list-charsets shows all\n";
    return false;
}

} // namespace

bool HasOrderByMark(const stringEx& name) {
    const ROW* const row = FindRow(name);
    return row != nullptr && (stringEx(row->name) == "UTF-16" || stringEx(row->name) == "UTF-32");
}

bool FindCharset(const char* option, const stringEx& name, bool isBigEndian, CHARSET& charset) {
    const ROW* row = FindRow(name);
    charset = CHARSET();
    charset.name = name;
    charset.name.detach_if_static();
    if (HasOrderByMark(name)) {
        row = FindRow(stringEx(row->name).append(isBigEndian ? "BE" : "LE"));
    }
    charset.mark = row != nullptr ? MarkOf(*row) : stEMPTY;
    charset.converter = ConverterFor(row != nullptr ? stringEx(row->name) : name);
    return charset.converter || RefuseUnknown(option, name);
}

stringEx ShownCharset(const stringEx& name) {
    const ROW* const row = FindRow(name);
    return row != nullptr ? stringEx(row->shown) : name;
}

stringEx KnownCharset(const stringEx& name) {
    const ROW* const row = FindRow(name);
    const stringEx known = row != nullptr ? stringEx(row->name) : name;
    return ConverterFor(known) ? known : stEMPTY;
}

bool IsSameCharset(const CHARSET& a, const CHARSET& b) {
    return a.mark == b.mark && Bare(ShownCharset(a.name)) == Bare(ShownCharset(b.name));
}

stringEx CharsetListing() {
    stringEx listing;
    for (const ROW& row : ROWS) {
        if (ConverterFor(stringEx(row.name))) {
            listing.append(row.shown);
            if (*row.others != '\0') {
                listing.append(" ").append(row.others);
            }
            listing.append("\n");
        }
    }
    return listing;
}

} // namespace Quil

// The catalogue half of TTextConv: names, code pages, compatibility groups and the system's
// default.
//
// Everything here is a value that is computed once and read without a lock from then on. The locale
// and the environment are thus looked at once; later changes of theirs go unnoticed.

#include "util/base/LazyStatic.h"
#include "util/conv/TextConv.h"
#include "util/conv/catalog/encoding_tables.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <langinfo.h>
#include <map>
#include <memory>
#include <string>

namespace Quil {

namespace {

using ENC_TABLE = std::map<stringEx, TTextConv::ENCINFO, less_no_case<stringEx>>;
using CMP_TABLE = std::vector<TTextConv::COMPENC_INFO>;

constexpr unsigned long ASCII_CODE_PAGE = 20127;
constexpr unsigned int CODE_PAGE_PREFIX_LENGTH = 2;

constinit IMPL::CLazyStatic<ENC_TABLE> encTable;
constinit IMPL::CLazyStatic<CMP_TABLE> cmpTable;
constinit IMPL::CLazyStatic<const stringEx> sysDefaultEnc;
constinit IMPL::CLazyStatic<const unsigned long> sysDefaultCP;
constinit IMPL::CLazyStatic<const stringEx> sysDefaultLocaleName;
constinit IMPL::CLazyStatic<const bool> sysUsesUtf8;

ENC_TABLE* InitEncTbl() {
    auto table = std::make_unique<ENC_TABLE>();
    for (const IMPL::ENCODING_ROW& row : IMPL::GetEncodingRows()) {
        table->emplace(row.name,
                       TTextConv::ENCINFO{row.codePage, row.description, row.rightToLeft});
    }
    return table.release();
}

CMP_TABLE* InitCompEncTbl() {
    const std::span<const IMPL::COMPATIBILITY_ROW> rows = IMPL::GetCompatibilityRows();
    auto table = std::make_unique<CMP_TABLE>();
    table->reserve(rows.size());
    for (const IMPL::COMPATIBILITY_ROW& row : rows) {
        table->push_back({TTextConv::NAME_SET(row.from.begin(), row.from.end()),
                          TTextConv::NAME_SET(row.to.begin(), row.to.end()), row.mutual, row.name});
    }
    return table.release();
}

const ENC_TABLE& GetEncTbl() {
    return encTable.Get(InitEncTbl);
}

const CMP_TABLE& GetCompEncTbl() {
    return cmpTable.Get(InitCompEncTbl);
}

/// True for a name that gives its code page as a number, such as "CP936".
bool IsNumericName(const stringEx& name) {
    return name.begin_with_no_case("CP");
}

unsigned long ParseNumericName(const stringEx& name) {
    return static_cast<unsigned long>(name.to_long(CODE_PAGE_PREFIX_LENGTH, stringEx::npos, 10));
}

/// Puts the locale for characters that the program was in back at the end of the scope.
class CCtypeLocaleSentry {
public:
    CCtypeLocaleSentry() {
        const char* const current = std::setlocale(LC_CTYPE, nullptr);
        __saved = current != nullptr ? current : "C";
    }
    CCtypeLocaleSentry(const CCtypeLocaleSentry&) = delete;
    CCtypeLocaleSentry& operator=(const CCtypeLocaleSentry&) = delete;
    ~CCtypeLocaleSentry() { std::setlocale(LC_CTYPE, __saved.c_str()); }

private:
    std::string __saved;
};

/// The codeset of the user's locale, in which the program itself need not be.
stringEx GetSysDftEnc() {
    try {
        const CCtypeLocaleSentry sentry;
        std::setlocale(LC_CTYPE, "");
        stringEx name(nl_langinfo(CODESET));
        name.trim_left();
        name.trim_right();
        return name;
    } catch (...) {
        return stringEx("ASCII");
    }
}

/// "de_DE" of "de_DE.ISO8859-1@euro".
stringEx LanguageAndCountry(const char* localeName) {
    stringEx name(localeName);
    name.erase(std::min(name.length(), name.find_first_of("@.", 0)));
    name.trim_left();
    name.trim_right();
    return name;
}

stringEx GetSysDftLngCtryName() {
    try {
        for (const char* const variable : {"LANG", "LC_CTYPE", "LC_ALL"}) {
            const char* const value = std::getenv(variable);
            stringEx name = LanguageAndCountry(value != nullptr ? value : "");
            if (!name.empty()) {
                return name;
            }
        }
    } catch (...) {
        // the default serves, as when nothing is set
    }
    return stringEx("en_US");
}

unsigned long GetSysDftCP() {
    try {
        return TTextConv::EncToCP(TTextConv::GetSysDefaultEnc());
    } catch (...) {
        return ASCII_CODE_PAGE; // the platform's name is not in the catalogue
    }
}

bool SysMbcsIsUtf8() {
    try {
        return TTextConv::GetSysDefaultEnc().equal_no_case("UTF-8");
    } catch (...) {
        return false;
    }
}

bool IsMember(std::span<const char* const> names, const stringEx& name) {
    return std::ranges::any_of(names,
                               [&name](const char* member) { return name.equal_no_case(member); });
}

bool IsMemberOrAny(std::span<const char* const> names, const stringEx& name) {
    return names.empty() || IsMember(names, name);
}

/// By the rows as they stand: most runs ask once, and the containers cost more than that.
bool Allows(const IMPL::COMPATIBILITY_ROW& group, const stringEx& from, const stringEx& to) {
    if (group.mutual) {
        return IsMember(group.from, from) && IsMember(group.from, to);
    }
    return IsMemberOrAny(group.from, from) && IsMemberOrAny(group.to, to);
}

/// One step of an enumeration over a table: `take` gets the entry. False at the end, where the
/// cookie is emptied. The cookie holds an iterator from new.
template <class Cookie, class Table, class Take>
bool EnumNext(Cookie& cookie, const Table& table, Take take) {
    using CURSOR = typename Table::const_iterator;
    if (!cookie) {
        cookie = Cookie(static_cast<void*>(new CURSOR(table.begin())));
    }
    CURSOR& cursor = *static_cast<CURSOR*>(cookie.get());
    if (cursor == table.end()) {
        cookie = Cookie();
        return false;
    }
    take(*cursor);
    ++cursor;
    return true;
}

} // namespace

const TTextConv::ENCINFO& TTextConv::GetEncInfo(stringEx name) {
    if (IsNumericName(name)) {
        name = CPToEnc(ParseNumericName(name));
    }
    const ENC_TABLE& table = GetEncTbl();
    const auto found = table.find(name);
    if (found == table.end()) {
        stringEx message("TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n"
                         "  encoding doesn't exist\n"
                         "  encoding name = ");
        message << name;
        throw tconvExp(2, message);
    }
    return found->second;
}

unsigned long TTextConv::EncToCP(const stringEx& name) {
    if (IsNumericName(name)) {
        return ParseNumericName(name);
    }
    const ENC_TABLE& table = GetEncTbl();
    const auto found = table.find(name);
    if (found == table.end()) {
        stringEx message("TTextConv::EncToCP - can't convert the encoding to codepage\n"
                         "  corresponding mapping doesn't exist\n"
                         "  encoding name = ");
        message << name;
        throw tconvExp(1, message);
    }
    return found->second.codePage;
}

stringEx TTextConv::CPToEnc(unsigned long cp) {
    for (const auto& [name, info] : GetEncTbl()) {
        if (info.codePage == cp) {
            return name;
        }
    }
    return CPToNumericName(cp);
}

stringEx TTextConv::CPToNumericName(unsigned long cp) {
    stringEx name("CP");
    name << cp;
    return name;
}

bool TTextConv::CouldConv(const stringEx& from, const stringEx& to, stringEx* group) {
    try {
        for (const IMPL::COMPATIBILITY_ROW& candidate : IMPL::GetCompatibilityRows()) {
            if (Allows(candidate, from, to)) {
                if (group != nullptr) {
                    *group = candidate.name;
                }
                return true;
            }
        }
    } catch (...) {
        // no memory for the tables: nothing is known of the conversion
    }
    return false;
}

bool TTextConv::CouldConv(unsigned long from, unsigned long to, stringEx* group) {
    try {
        const stringEx toName = CPToEnc(to);
        return CouldConv(CPToEnc(from), toName, group);
    } catch (...) {
        return false;
    }
}

bool TTextConv::EnumEncoding(ENC_COOKIE& cookie, stringEx& name, ENCINFO& info) {
    const bool more = EnumNext(cookie, GetEncTbl(), [&](const ENC_TABLE::value_type& entry) {
        name = entry.first;
        info = entry.second;
    });
    if (!more) {
        name = stringEx();
        info = ENCINFO();
    }
    return more;
}

bool TTextConv::EnumCompatibleCata(CMP_COOKIE& cookie, COMPENC_INFO& info) {
    const bool more =
        EnumNext(cookie, GetCompEncTbl(), [&](const COMPENC_INFO& group) { info = group; });
    if (!more) {
        info = COMPENC_INFO();
    }
    return more;
}

void TTextConv::__ReleaseEncCookie(void* cookie) noexcept {
    delete static_cast<ENC_TABLE::const_iterator*>(cookie);
}

void TTextConv::__ReleaseCmpCookie(void* cookie) noexcept {
    delete static_cast<CMP_TABLE::const_iterator*>(cookie);
}

stringEx TTextConv::GetSysDefaultEnc() {
    return sysDefaultEnc.Get([] { return new const stringEx(GetSysDftEnc()); });
}

unsigned long TTextConv::GetSysDefaultCP() {
    return sysDefaultCP.Get([] { return new const unsigned long(GetSysDftCP()); });
}

stringEx TTextConv::GetSysDefaultCanonicalLocaleName() {
    return sysDefaultLocaleName.Get([] { return new const stringEx(GetSysDftLngCtryName()); });
}

bool TTextConv::IsSysDefaultUseUtf8() {
    return sysUsesUtf8.Get([] { return new const bool(SysMbcsIsUtf8()); });
}

} // namespace Quil

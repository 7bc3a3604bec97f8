// The library is found once, under one of two sets of names. Which set it was decides how its
// errors are met: libiconv is asked to ignore what it can't convert. The C library must not be
// asked so: it would drop bad input without a trace, and some of its decoders then read past the
// end of the text.

#include "util/conv/TextLibIConv.h"

#include "util/conv/backend/IconvWays.h"
#include "util/conv/backend/LibraryGlobal.h"
#include "util/sys/dllloader.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <memory>
#include <string_view>

namespace Quil {

namespace {

using ICONV_OPEN = void* (*)(const char*, const char*);
using ICONV_CLOSE = int (*)(void*);

/// The library and its functions; no loader until it is found.
struct INTERFACE {
    std::unique_ptr<CDllLoader> loader;
    ICONV_OPEN open = nullptr;
    IMPL::ICONV_CONVERT convert = nullptr;
    ICONV_CLOSE close = nullptr;
    bool isLibiconv = false; ///< Found under libiconv's own names.
};

/// How the library calls wide characters. The C library's own name for them spares it a second step
/// through its UCS-4, with the same result.
constexpr const char* NAME_OF_WIDE = "UCS-4LE";
constexpr const char* NAME_OF_WIDE_IN_C = "WCHAR_T";

/// Asks libiconv to drop what it can't convert.
constexpr const char* IGNORE_SUFFIX = "//IGNORE";

/// Names of the catalogue that a library knows by a name of its own.
constexpr struct {
    const char* name;
    const char* alias;
} ALIASES[] = {{"MacIceland", "MAC-IS"}, {"MacUkraine", "MAC-UK"}};

const char* AliasOf(const stringEx& name) {
    for (const auto& row : ALIASES) {
        if (name.equal_no_case(row.name)) {
            return row.alias;
        }
    }
    return "";
}

/// False for a name that has no letter or digit before its suffix: libraries pass over all other
/// signs, and would take what is left, nothing, for the locale's encoding.
bool NamesCharset(const stringEx& name) {
    const std::string_view text(name.c_str(), name.length());
    const std::string_view charset = text.substr(0, text.find('/'));
    return std::ranges::any_of(charset, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    });
}

std::unique_ptr<CDllLoader> LoadLibiconv(const stringEx& location) {
    if (!location.empty()) {
        return std::make_unique<CDllLoader>(location, stEMPTY, stEMPTY);
    }
    const stringEx extension("so");
    try {
        return std::make_unique<CDllLoader>(stringEx("iconv"), stEMPTY, extension);
    } catch (const dlllExp&) {
        // no libiconv: the running program has iconv from the C library
        return std::make_unique<CDllLoader>(stEMPTY, stEMPTY, extension);
    }
}

void GetFunctions(INTERFACE& library, const char* open, const char* convert, const char* close) {
    library.open = reinterpret_cast<ICONV_OPEN>(library.loader->GetProc(open));
    library.convert = reinterpret_cast<IMPL::ICONV_CONVERT>(library.loader->GetProc(convert));
    library.close = reinterpret_cast<ICONV_CLOSE>(library.loader->GetProc(close));
}

constexpr unsigned int RELEASE_ERROR = 5;

void LoadInterface(INTERFACE& library, const stringEx& location) {
    library.loader = LoadLibiconv(location);
    try {
        GetFunctions(library, "libiconv_open", "libiconv", "libiconv_close");
        library.isLibiconv = true;
    } catch (const dlllExp& e) {
        if (e.GetErrCode() != IMPL::DLL_PROC_ERROR) {
            throw;
        }
        GetFunctions(library, "iconv_open", "iconv", "iconv_close");
        library.isLibiconv = false;
    }
}

bool IsOpen(const void* descriptor) {
    return descriptor != reinterpret_cast<void*>(-1);
}

[[noreturn]] void ThrowOutOfResources(const stringEx& to, const stringEx& from, int code) {
    stringEx message("CTextLibIConv::CTextLibIConv - failed init encoding convertion\n");
    message << "  from encoding = " << from << "\n  to encoding   = " << to
            << "\n  error code    = " << code
            << "\n  error desc    = " << GetSysErrString(static_cast<unsigned long>(code));
    throw libiconvExp(TTextConv::OUT_OF_RESOURCES, message);
}

/// The descriptor from one encoding to another, for which IsOpen may be false: the library then
/// doesn't know one of them. Any other trouble of the library throws.
void* Open(const INTERFACE& library, const stringEx& to, const stringEx& from) {
    stringEx target(to.c_str());
    if (library.isLibiconv) {
        target << IGNORE_SUFFIX;
    }
    errno = 0;
    void* const descriptor = library.open(target.c_str(), from.c_str());
    const int code = errno;
    if (!IsOpen(descriptor) && code != 0 && code != EINVAL) {
        ThrowOutOfResources(to, from, code);
    }
    return descriptor;
}

/// Calls `open(wide)` with the name of wide characters that suits the library. The C library can't
/// convert from wide characters to themselves, so there its other name for them is tried as well.
template <class OpenByName>
void* OpenWithWide(const INTERFACE& library, OpenByName open) {
    if (!library.isLibiconv) {
        void* const descriptor = open(stringEx(NAME_OF_WIDE_IN_C));
        if (IsOpen(descriptor)) {
            return descriptor;
        }
    }
    return open(stringEx(NAME_OF_WIDE));
}

} // namespace

class CTextLibIConv::Global
    : public IMPL::TLibraryGlobal<CTextLibIConv::Global, IMPL::LIBRARY_STATE<INTERFACE>> {
public:
    using EXCEPTION = libiconvExp;
    static constexpr const char* CONVERTER = "CTextLibIConv";
    static constexpr const char* NO_FUNCTION = "failed locate iconv api\n";

    static void Load(INTERFACE& library) { LoadInterface(library, Lc()); }
};

/// Opens the descriptor that decodes `name` and remembers the name. False if there is none.
bool CTextLibIConv::__OpenToWide(const stringEx& name) {
    _enc = name;
    if (!NamesCharset(name)) {
        return false;
    }
    __toWide = __OpenDecoder();
    return IsOpen(__toWide);
}

void* CTextLibIConv::__OpenDecoder() const {
    const INTERFACE& library = Global::If();
    return OpenWithWide(library, [&](const stringEx& wide) { return Open(library, wide, _enc); });
}

/// The same for a name of the catalogue, which a library may know under another. The name as given
/// is the one remembered when neither is known.
bool CTextLibIConv::__OpenKnownAs(const stringEx& name) {
    if (__OpenToWide(name) || __OpenToWide(stringEx(AliasOf(name)))) {
        return true;
    }
    _enc = name;
    return false;
}

/// Opens the descriptor that encodes to the remembered name. When there is none the other one is
/// closed again.
bool CTextLibIConv::__OpenFromWide() {
    const INTERFACE& library = Global::If();
    try {
        __fromWide =
            OpenWithWide(library, [&](const stringEx& wide) { return Open(library, _enc, wide); });
    } catch (...) {
        library.close(__toWide);
        throw;
    }
    if (!IsOpen(__fromWide)) {
        library.close(__toWide);
        return false;
    }
    UseLibraryOnly(false);
    return true;
}

void CTextLibIConv::UseLibraryOnly(bool only) {
    const INTERFACE& library = Global::If();
    __ways = std::make_unique<IMPL::CIconvWays>(
        _enc, library.convert, __toWide, __fromWide, library.isLibiconv, [this] {
            if (void* const fresh = __OpenDecoder(); IsOpen(fresh)) {
                Global::If().close(__toWide);
                __toWide = fresh;
            }
            return __toWide;
        });
    if (only) {
        __ways->DropCodecs();
    }
    __usesLibraryOnly = only;
}

CTextLibIConv::CTextLibIConv(const stringEx& enc) {
    Global::AddRef();
    stringEx message("CTextLibIConv::CTextLibIConv - failed init encoding convertion\n"
                     "  encoding name = ");
    if (!__OpenKnownAs(enc) && !__OpenToWide(CPToNumericName(EncToCP(enc)))) {
        message << enc << " (" << _enc << ")";
        throw libiconvExp(IMPL::INIT_ERROR, message);
    }
    if (!__OpenFromWide()) {
        message << _enc;
        throw libiconvExp(IMPL::INIT_ERROR, message);
    }
}

CTextLibIConv::CTextLibIConv(unsigned long cp) {
    Global::AddRef();
    if ((!__OpenToWide(CPToNumericName(cp)) && !__OpenKnownAs(CPToEnc(cp))) || !__OpenFromWide()) {
        stringEx message("CTextLibIConv::CTextLibIConv - failed init encoding convertion\n"
                         "  code page     = ");
        message << cp << "\n  encoding name = " << _enc;
        throw libiconvExp(IMPL::INIT_ERROR, message);
    }
}

CTextLibIConv::~CTextLibIConv() noexcept(false) {
    const INTERFACE& library = Global::If();
    const int toWideResult = library.close(__toWide);
    const int fromWideResult = library.close(__fromWide);
    if ((toWideResult == -1 || fromWideResult == -1) && std::uncaught_exceptions() == 0) {
        throw libiconvExp(RELEASE_ERROR,
                          stringEx("CTextLibIConv::~CTextLibIConv - failed release lib "
                                   "iconv's convertion descriptor"));
    }
}

TTextConv* CTextLibIConv::Clone() const {
    auto clone = std::make_unique<CTextLibIConv>(_enc);
    clone->UseLibraryOnly(__usesLibraryOnly);
    return clone.release();
}

bool CTextLibIConv::IsUtf8() const {
    return IMPL::NamesUtf8(_enc);
}

IMPL::IBlockWays* CTextLibIConv::GetBlockWays() const {
    return __ways->CanGoByBlocks() ? __ways.get() : nullptr;
}

void CTextLibIConv::_Decode(wstringEx& dst, const stringEx& src) const {
    IMPL::ConvertWhole(__ways->ToWide(src.length()), dst, src.c_str(), src.length());
}

void CTextLibIConv::_Encode(stringEx& dst, const wstringEx& src) const {
    IMPL::ConvertWhole(__ways->FromWide(src.length()), dst, src.c_str(), src.length());
}

bool CTextLibIConv::IsExternalDependencyReady() {
    return Global::IsReady();
}

void CTextLibIConv::SetExternalDependencyLocation(const stringEx& path) {
    Global::SetLocation(path);
}

} // namespace Quil

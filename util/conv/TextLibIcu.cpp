// ICU's functions bear its version in their names, so finding the library means finding a version:
// the one set first, then, if nobody chose one, whatever newer one is installed.
//
// A conversion is two calls, one for the length and one for the text, into blocks of the exact
// size.

#include "util/conv/TextLibIcu.h"

#include "util/base/LazyStatic.h"
#include "util/sys/advSync.h"
#include "util/sys/dllloader.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

namespace Quil {

namespace {

using ICU_ERROR = int;
using ICU_UNIT = char16_t;

/// The library and its functions; no loader until it is found.
struct INTERFACE {
    std::unique_ptr<CDllLoader> loader;
    void* (*open)(const char*, ICU_ERROR*) = nullptr;
    std::int32_t (*toUnits)(void*, ICU_UNIT*, std::int32_t, const char*, std::int32_t,
                            ICU_ERROR*) = nullptr;
    std::int32_t (*fromUnits)(void*, char*, std::int32_t, const ICU_UNIT*, std::int32_t,
                              ICU_ERROR*) = nullptr;
    void (*close)(void*) = nullptr;
    const char* (*errorName)(ICU_ERROR) = nullptr;
};

constexpr const char* defaultVersion = "38";

// The versions looked for when the default one is missing. From 49 on a version is one number, and
// the functions' suffix has one underscore.
constexpr int newestVersion = 99;
constexpr int oldestVersion = 49;

constexpr unsigned int dllProcError = 3;
constexpr unsigned int initError = 3;
constexpr unsigned int convertError = 4;

constexpr ICU_ERROR noMemory = 7;
constexpr ICU_ERROR indexOutOfBounds = 8;
constexpr ICU_ERROR invalidCharFound = 10;
constexpr ICU_ERROR illegalCharFound = 12;
constexpr ICU_ERROR bufferOverflow = 15;

/// Warnings are below 0. Bad input must not fail a conversion.
bool IsTolerable(ICU_ERROR error) {
    return error <= 0 || (error >= invalidCharFound && error <= illegalCharFound);
}

/// The same for a call that only asks for a length, and so is bound to find no room.
bool IsTolerableForLength(ICU_ERROR error) {
    return IsTolerable(error) || error == bufferOverflow;
}

/// "_3_8" for "38".
stringEx SuffixOf(const stringEx& version) {
    stringEx suffix;
    for (unsigned int i = 0; i < version.length(); ++i) {
        suffix << "_" << version[i];
    }
    return suffix;
}

template <class Function>
void GetFunction(Function& function, const CDllLoader& loader, const char* name,
                 const stringEx& suffix) {
    stringEx symbol(name);
    symbol << suffix;
    function = reinterpret_cast<Function>(loader.GetProc(symbol.c_str()));
}

void GetFunctions(INTERFACE& library, const stringEx& suffix) {
    const CDllLoader& loader = *library.loader;
    GetFunction(library.open, loader, "ucnv_open", suffix);
    GetFunction(library.toUnits, loader, "ucnv_toUChars", suffix);
    GetFunction(library.fromUnits, loader, "ucnv_fromUChars", suffix);
    GetFunction(library.close, loader, "ucnv_close", suffix);
    GetFunction(library.errorName, loader, "u_errorName", suffix);
}

std::unique_ptr<CDllLoader> LoadIcu(const stringEx& location, const stringEx& version) {
    const stringEx extension("so");
    return location.empty() ? std::make_unique<CDllLoader>(stringEx("icuuc"), version, extension)
                            : std::make_unique<CDllLoader>(location, stEMPTY, extension);
}

/// Loads the newest version installed that has all the functions; false if there is none.
bool LoadNewest(INTERFACE& library) {
    for (int number = newestVersion; number >= oldestVersion; --number) {
        stringEx version;
        version << number;
        stringEx suffix("_");
        suffix << version;
        try {
            library.loader = LoadIcu(stEMPTY, version);
            GetFunctions(library, suffix);
            return true;
        } catch (const dlllExp&) {
            library.loader.reset(); // not there, or not whole: the next one
        }
    }
    return false;
}

stringEx LoadFailure(const dlllExp& e) {
    stringEx message("CTextLibIcu::__AddRef - ");
    message << (e.GetErrCode() == dllProcError ? "failed locate icu api\n@ "
                                               : "failed load dynamic library\n")
            << "@ " << e.GetErrString();
    return message;
}

/// The two lines that tell an error of ICU, behind a message's head. The keys are padded so that
/// the equal signs of the message stand in one column.
stringEx WithError(stringEx message, const char* numberKey, const char* descKey, ICU_ERROR error,
                   const INTERFACE& library) {
    message << numberKey << " = " << error << "\n" << descKey << " = " << library.errorName(error);
    return message;
}

[[noreturn]] void ThrowConvertError(const char* head, ICU_ERROR error, const INTERFACE& library) {
    throw libicuExp(convertError,
                    WithError(stringEx(head), "  error code", "  error desc", error, library));
}

/// A length as ICU takes it; one that it can't take fails as `head` says.
std::int32_t IcuLength(unsigned int length, const char* head, const INTERFACE& library) {
    if (length > static_cast<unsigned int>(INT32_MAX - 1)) {
        ThrowConvertError(head, indexOutOfBounds, library);
    }
    return static_cast<std::int32_t>(length);
}

constexpr const char* toWideLengthFailed = "CTextLibIcu::MBtoWC - failed retrive dest size\n";
constexpr const char* toWideFailed = "CTextLibIcu::MBtoWC - failed converting string\n";
constexpr const char* fromWideLengthFailed = "CTextLibIcu::WCtoMB - failed retrive dest size\n";
constexpr const char* fromWideFailed = toWideFailed;

/// Empties a destination. A view is let go: its memory isn't the string's to write on.
template <class String>
void Empty(String& dst) {
    if (dst.is_static()) {
        dst = String();
    }
    dst.clear();
}

/// Empties a destination and makes room for `length` elements and a little.
template <class String>
auto* MakeRoom(String& dst, std::int32_t length) {
    Empty(dst);
    const auto room = static_cast<unsigned int>(length) + 2;
    if (room > String::max_size()) {
        throw std::bad_alloc();
    }
    dst.reserve(room);
    return &dst.front();
}

stringEx WindowsName(unsigned long cp) {
    stringEx name("windows-");
    name << cp;
    return name;
}

} // namespace

/// What all converters share: the library, where to look for which version, and the lock over
/// these. The library stays to the end of the process; its functions may be read without the lock
/// once it is loaded, that is by any object that exists.
class CTextLibIcu::Global {
public:
    static INTERFACE& If() { return __Get().library; }
    static CFastMutex& Mx() { return __Get().mutex; }
    static stringEx& Lc() { return __Get().location; }
    static stringEx& Vr() { return __Get().version; }

    /// Loads the version and location that are set. Newer versions serve only while nobody has
    /// chosen, and a vain search for them isn't repeated.
    static void Load(INTERFACE& library) {
        try {
            library.loader = LoadIcu(Lc(), Vr());
        } catch (const dlllExp&) {
            bool& inVain = __Get().searchedInVain;
            const bool mayChoose = Lc().empty() && Vr() == stringEx(defaultVersion) && !inVain;
            if (mayChoose && LoadNewest(library)) {
                return;
            }
            inVain = inVain || mayChoose;
            throw;
        }
        GetFunctions(library, SuffixOf(Vr()));
    }

private:
    struct STATE {
        INTERFACE library;
        CFastMutex mutex;
        stringEx location;
        stringEx version{defaultVersion};
        bool searchedInVain = false;
    };

    static STATE& __Get() {
        return sm_state.Get([] { return new STATE; });
    }

    static constinit IMPL::CLazyStatic<STATE> sm_state;
};

constinit IMPL::CLazyStatic<CTextLibIcu::Global::STATE> CTextLibIcu::Global::sm_state;

/// Loads the library if that has not been done. After a failure the next call tries again.
void CTextLibIcu::__AddRef() {
    CFastSessionLock lock(Global::Mx());
    INTERFACE& library = Global::If();
    if (library.loader != nullptr) {
        return;
    }
    try {
        Global::Load(library);
    } catch (const dlllExp& e) {
        library.loader.reset();
        throw libicuExp(initError, LoadFailure(e));
    } catch (const std::bad_alloc&) {
        library.loader.reset();
        throw;
    } catch (...) {
        library.loader.reset();
        throw libicuExp(initError, stringEx("CTextLibIcu::__AddRef - unknwon error"));
    }
}

/// Opens the converter for `name` and remembers the name. An empty one would open the locale's. Out
/// of memory is not a name that isn't known: it throws.
bool CTextLibIcu::__Open(const stringEx& name, int& error) {
    __enc = name;
    error = 0;
    __converter = name.empty() ? nullptr : Global::If().open(name.c_str(), &error);
    if (__converter == nullptr && error == noMemory) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  encoding name = ");
        message << __enc << "\n";
        throw libicuExp(OUT_OF_RESOURCES, WithError(message, "  error number ", "  error desc   ",
                                                    error, Global::If()));
    }
    return __converter != nullptr;
}

CTextLibIcu::CTextLibIcu(const stringEx& enc) {
    __AddRef();
    ICU_ERROR error = 0;
    if (!__Open(enc, error) && !__Open(WindowsName(EncToCP(enc)), error)) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  encoding name = ");
        message << enc << " (" << __enc << ")\n";
        throw libicuExp(initError, WithError(message, "  error number ", "  error desc   ", error,
                                             Global::If()));
    }
}

CTextLibIcu::CTextLibIcu(unsigned long cp) {
    __AddRef();
    ICU_ERROR error = 0;
    if (!__Open(WindowsName(cp), error) && !__Open(CPToEnc(cp), error)) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  code page     = ");
        message << cp << "\n  encoding name = " << __enc << "\n";
        throw libicuExp(initError, WithError(message, "  error number ", "  error desc   ", error,
                                             Global::If()));
    }
}

CTextLibIcu::~CTextLibIcu() noexcept(false) {
    Global::If().close(__converter);
}

TTextConv* CTextLibIcu::New(unsigned long cp) const {
    return new CTextLibIcu(cp);
}

TTextConv* CTextLibIcu::New(const stringEx& enc) const {
    return new CTextLibIcu(enc);
}

TTextConv* CTextLibIcu::Clone() const {
    return new CTextLibIcu(__enc);
}

wstringEx CTextLibIcu::MBtoWC(const stringEx& src) const {
    wstringEx dst;
    MBtoWC(dst, src);
    return dst;
}

void CTextLibIcu::MBtoWC(wstringEx& dst, const stringEx& src) const {
    CFastSessionLock lock(__mutex);
    if (src.empty()) {
        Empty(dst);
        return;
    }
    const INTERFACE& library = Global::If();
    const std::int32_t length = IcuLength(src.length(), toWideLengthFailed, library);
    ICU_ERROR error = 0;
    const std::int32_t count =
        library.toUnits(__converter, nullptr, 0, src.c_str(), length, &error);
    if (!IsTolerableForLength(error)) {
        ThrowConvertError(toWideLengthFailed, error, library);
    }
    wchar_t* const target = MakeRoom(dst, count);
    const auto units =
        std::make_unique_for_overwrite<ICU_UNIT[]>(static_cast<std::size_t>(count) + 1);
    error = 0;
    library.toUnits(__converter, units.get(), count + 1, src.c_str(), length, &error);
    if (!IsTolerable(error)) {
        dst._eofonly(0);
        ThrowConvertError(toWideFailed, error, library);
    }
    std::copy_n(units.get(), count, target);
    dst._eofonly(static_cast<unsigned int>(count));
}

stringEx CTextLibIcu::WCtoMB(const wstringEx& src) const {
    stringEx dst;
    WCtoMB(dst, src);
    return dst;
}

void CTextLibIcu::WCtoMB(stringEx& dst, const wstringEx& src) const {
    CFastSessionLock lock(__mutex);
    if (src.empty()) {
        Empty(dst);
        return;
    }
    const INTERFACE& library = Global::If();
    const std::int32_t length = IcuLength(src.length(), fromWideLengthFailed, library);
    const auto units = std::make_unique_for_overwrite<ICU_UNIT[]>(src.length());
    std::transform(src.c_str(), src.c_str() + src.length(), units.get(),
                   [](wchar_t c) { return static_cast<ICU_UNIT>(c); });
    ICU_ERROR error = 0;
    const std::int32_t count =
        library.fromUnits(__converter, nullptr, 0, units.get(), length, &error);
    if (!IsTolerableForLength(error)) {
        ThrowConvertError(fromWideLengthFailed, error, library);
    }
    char* const target = MakeRoom(dst, count);
    error = 0;
    library.fromUnits(__converter, target, count + 1, units.get(), length, &error);
    if (!IsTolerable(error)) {
        dst._eofonly(0);
        ThrowConvertError(fromWideFailed, error, library);
    }
    dst._eofonly(static_cast<unsigned int>(count));
}

bool CTextLibIcu::IsExternalDependencyReady() {
    CFastSessionLock lock(Global::Mx());
    if (Global::If().loader != nullptr) {
        return true;
    }
    try {
        INTERFACE probe;
        Global::Load(probe);
        return true;
    } catch (const dlllExp& e) {
        return e.GetErrCode() == dllProcError; // there is a library, of whatever version
    } catch (...) {
        return false;
    }
}

void CTextLibIcu::SetExternalDependencyLocation(const stringEx& path) {
    CFastSessionLock lock(Global::Mx());
    Global::Lc() = path;
}

void CTextLibIcu::SetDefaultLibVersion(const stringEx& version) {
    CFastSessionLock lock(Global::Mx());
    Global::Vr() = version;
}

} // namespace Quil

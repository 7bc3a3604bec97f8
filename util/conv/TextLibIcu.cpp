// ICU's functions bear its version in their names, so finding the library means finding a version:
// the one set first, then, if nobody chose one, whatever newer one is installed.
//
// A conversion is two calls, one for the length and one for the text, into blocks of the exact
// size.

#include "util/conv/TextLibIcu.h"

#include "util/conv/backend/LibraryGlobal.h"
#include "util/sys/dllloader.h"

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

constexpr const char* DEFAULT_VERSION = "38";

// The versions looked for when the default one is missing. From 49 on a version is one number, and
// the functions' suffix has one underscore.
constexpr int NEWEST_VERSION = 99;
constexpr int OLDEST_VERSION = 49;

constexpr unsigned int CONVERT_ERROR = 4;

constexpr ICU_ERROR NO_MEMORY = 7;
constexpr ICU_ERROR INDEX_OUT_OF_BOUNDS = 8;
constexpr ICU_ERROR INVALID_CHAR_FOUND = 10;
constexpr ICU_ERROR ILLEGAL_CHAR_FOUND = 12;
constexpr ICU_ERROR BUFFER_OVERFLOW = 15;

/// Warnings are below 0. Bad input must not fail a conversion.
bool IsTolerable(ICU_ERROR error) {
    return error <= 0 || (error >= INVALID_CHAR_FOUND && error <= ILLEGAL_CHAR_FOUND);
}

/// The same for a call that only asks for a length, and so is bound to find no room.
bool IsTolerableForLength(ICU_ERROR error) {
    return IsTolerable(error) || error == BUFFER_OVERFLOW;
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
    for (int number = NEWEST_VERSION; number >= OLDEST_VERSION; --number) {
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

/// The two lines that tell an error of ICU, behind a message's head. The keys are padded so that
/// the equal signs of the message stand in one column.
stringEx WithError(stringEx message, const char* numberKey, const char* descKey, ICU_ERROR error,
                   const INTERFACE& library) {
    message << numberKey << " = " << error << "\n" << descKey << " = " << library.errorName(error);
    return message;
}

[[noreturn]] void ThrowConvertError(const char* head, ICU_ERROR error, const INTERFACE& library) {
    throw libicuExp(CONVERT_ERROR,
                    WithError(stringEx(head), "  error code", "  error desc", error, library));
}

/// The heads of the messages of a conversion's two calls.
struct FAILURES {
    const char* length;
    const char* text;
};

constexpr FAILURES TO_WIDE_FAILURES{"CTextLibIcu::MBtoWC - failed retrive dest size\n",
                                    "CTextLibIcu::MBtoWC - failed converting string\n"};
constexpr FAILURES FROM_WIDE_FAILURES{"CTextLibIcu::WCtoMB - failed retrive dest size\n",
                                      TO_WIDE_FAILURES.text};

/// A length as ICU takes it.
std::int32_t IcuLength(unsigned int length, const FAILURES& failures, const INTERFACE& library) {
    if (length > static_cast<unsigned int>(INT32_MAX - 1)) {
        ThrowConvertError(failures.length, INDEX_OUT_OF_BOUNDS, library);
    }
    return static_cast<std::int32_t>(length);
}

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

/// The two calls of a conversion, `convert(target, room, error)`: it answers the length of the text
/// and has written as much as there is room for.
template <class String, class Source, class Convert>
void ConvertTwice(String& dst, const Source& src, Convert convert, const FAILURES& failures,
                  const INTERFACE& library) {
    if (src.empty()) {
        Empty(dst);
        return;
    }
    ICU_ERROR error = 0;
    const std::int32_t count = convert(nullptr, 0, error);
    if (!IsTolerableForLength(error)) {
        ThrowConvertError(failures.length, error, library);
    }
    auto* const target = MakeRoom(dst, count);
    error = 0;
    convert(target, count + 1, error);
    if (!IsTolerable(error)) {
        dst._eofonly(0);
        ThrowConvertError(failures.text, error, library);
    }
    dst._eofonly(static_cast<unsigned int>(count));
}

stringEx WindowsName(unsigned long cp) {
    stringEx name("windows-");
    name << cp;
    return name;
}

struct ICU_STATE : IMPL::LIBRARY_STATE<INTERFACE> {
    stringEx version{DEFAULT_VERSION};
    bool searchedInVain = false;
};

} // namespace

/// What ICU's converters share: beside the library the version that is looked for.
class CTextLibIcu::Global : public IMPL::TLibraryGlobal<CTextLibIcu::Global, ICU_STATE> {
public:
    using EXCEPTION = libicuExp;
    static constexpr const char* CONVERTER = "CTextLibIcu";
    static constexpr const char* NO_FUNCTION = "failed locate icu api\n@ ";

    static stringEx& Vr() { return _Get().version; }

    /// Loads the version and location that are set. Newer versions serve only while nobody has
    /// chosen, and a vain search for them isn't repeated.
    static void Load(INTERFACE& library) {
        try {
            library.loader = LoadIcu(Lc(), Vr());
        } catch (const dlllExp&) {
            bool& inVain = _Get().searchedInVain;
            const bool mayChoose = Lc().empty() && Vr() == stringEx(DEFAULT_VERSION) && !inVain;
            if (mayChoose && LoadNewest(library)) {
                return;
            }
            inVain = inVain || mayChoose;
            throw;
        }
        GetFunctions(library, SuffixOf(Vr()));
    }
};

/// Opens the converter for `name` and remembers the name. An empty one would open the locale's. Out
/// of memory is not a name that isn't known: it throws.
bool CTextLibIcu::__Open(const stringEx& name, int& error) {
    _enc = name;
    error = 0;
    __converter = name.empty() ? nullptr : Global::If().open(name.c_str(), &error);
    if (__converter == nullptr && error == NO_MEMORY) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  encoding name = ");
        message << _enc << "\n";
        throw libicuExp(OUT_OF_RESOURCES, WithError(message, "  error number ", "  error desc   ",
                                                    error, Global::If()));
    }
    return __converter != nullptr;
}

CTextLibIcu::CTextLibIcu(const stringEx& enc) {
    Global::AddRef();
    ICU_ERROR error = 0;
    if (!__Open(enc, error) && !__Open(WindowsName(EncToCP(enc)), error)) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  encoding name = ");
        message << enc << " (" << _enc << ")\n";
        throw libicuExp(IMPL::INIT_ERROR, WithError(message, "  error number ", "  error desc   ",
                                                    error, Global::If()));
    }
}

CTextLibIcu::CTextLibIcu(unsigned long cp) {
    Global::AddRef();
    ICU_ERROR error = 0;
    if (!__Open(WindowsName(cp), error) && !__Open(CPToEnc(cp), error)) {
        stringEx message("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
                         "  code page     = ");
        message << cp << "\n  encoding name = " << _enc << "\n";
        throw libicuExp(IMPL::INIT_ERROR, WithError(message, "  error number ", "  error desc   ",
                                                    error, Global::If()));
    }
}

CTextLibIcu::~CTextLibIcu() noexcept(false) {
    Global::If().close(__converter);
}

void CTextLibIcu::_Decode(wstringEx& dst, const stringEx& src) const {
    const INTERFACE& library = Global::If();
    const std::int32_t length = IcuLength(src.length(), TO_WIDE_FAILURES, library);
    const auto convert = [&](wchar_t* target, std::int32_t room, ICU_ERROR& error) {
        const auto units =
            std::make_unique_for_overwrite<ICU_UNIT[]>(static_cast<std::size_t>(room));
        const std::int32_t count = library.toUnits(__converter, room != 0 ? units.get() : nullptr,
                                                   room, src.c_str(), length, &error);
        if (IsTolerable(error)) {
            std::copy_n(units.get(), std::min(count, room), target);
        }
        return count;
    };
    ConvertTwice(dst, src, convert, TO_WIDE_FAILURES, library);
}

void CTextLibIcu::_Encode(stringEx& dst, const wstringEx& src) const {
    const INTERFACE& library = Global::If();
    const std::int32_t length = IcuLength(src.length(), FROM_WIDE_FAILURES, library);
    const auto units = std::make_unique_for_overwrite<ICU_UNIT[]>(src.length());
    std::transform(src.c_str(), src.c_str() + src.length(), units.get(),
                   [](wchar_t c) { return static_cast<ICU_UNIT>(c); });
    const auto convert = [&](char* target, std::int32_t room, ICU_ERROR& error) {
        return library.fromUnits(__converter, target, room, units.get(), length, &error);
    };
    ConvertTwice(dst, src, convert, FROM_WIDE_FAILURES, library);
}

bool CTextLibIcu::IsExternalDependencyReady() {
    return Global::IsReady();
}

void CTextLibIcu::SetExternalDependencyLocation(const stringEx& path) {
    Global::SetLocation(path);
}

void CTextLibIcu::SetDefaultLibVersion(const stringEx& version) {
    CFastSessionLock lock(Global::Mx());
    Global::Vr() = version;
}

} // namespace Quil

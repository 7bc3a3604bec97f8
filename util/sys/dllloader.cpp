// The system's loader, and its words for a failure, which are fetched before anything else can
// replace them.
#include "util/sys/dllloader.h"

#include "util/sys/errhdl.h"
#include "util/text/ConvStr.h"
#include "util/text/byteEx.h"

#include <dlfcn.h>
#include <exception>

namespace Quil {

namespace {

constexpr unsigned int LOAD_ERROR = 1;
constexpr unsigned int UNLOAD_ERROR = 2;
constexpr unsigned int PROC_ERROR = 3;

/// What the loader says of its last failure, as the last detail line of a message.
stringEx ErrorLine() {
    const char* text = dlerror();
    stringEx line("  sys error desc = ");
    line.append(text != nullptr ? text : "unknwon system error");
    return line;
}

stringEx FileName(const stringEx& name, const stringEx& version, const stringEx& extension) {
    stringEx result(name);
    for (const stringEx* part : {&extension, &version}) {
        if (!part->empty()) {
            result.append(".").append(*part);
        }
    }
    return result;
}

/// Whether "lib" may stand in front of a name that wasn't found.
bool MayAddPrefix(const stringEx& name) {
    return !name.empty() && !name.begin_with("/") && !name.begin_with("lib");
}

} // namespace

CDllLoader::CDllLoader(const stringEx& name, const stringEx& version, const stringEx& extension) {
    __Load(name, version, extension);
}

CDllLoader::CDllLoader(const wstringEx& name, const wstringEx& version,
                       const wstringEx& extension) {
    __Load(ConvStrSToT(name), ConvStrSToT(version), ConvStrSToT(extension));
}

void CDllLoader::__Load(const stringEx& name, const stringEx& version, const stringEx& extension) {
    if (name.empty()) {
        __handle = dlopen(nullptr, RTLD_LAZY);
    } else {
        const stringEx fileName = FileName(name, version, extension);
        __handle = dlopen(fileName.c_str(), RTLD_LAZY);
        if (__handle == nullptr && MayAddPrefix(name)) {
            __handle = dlopen((stringEx("lib") + fileName).c_str(), RTLD_LAZY);
        }
    }
    if (__handle == nullptr) {
        const stringEx cause = ErrorLine();
        stringEx message("CDllLoader::CDllLoader - error loading dynamic library\n"
                         "  dll path       = ");
        message.append(name).append("\n  path hex code  = ");
        message.append(static_cast<byteEx>(name).to_hex_encode(stEMPTY, false));
        throw dlllExp(LOAD_ERROR, message.append("\n").append(cause));
    }
}

CDllLoader::~CDllLoader() noexcept(false) {
    if (dlclose(__handle) != 0 && std::uncaught_exceptions() == 0) {
        throw dlllExp(UNLOAD_ERROR,
                      "CDllLoader::~CDllLoader - error unload dynamic library\n" + ErrorLine());
    }
}

void* CDllLoader::GetProc(const char* symbol) const {
    void* const address = dlsym(__handle, symbol);
    if (address == nullptr) {
        const stringEx cause = ErrorLine();
        stringEx message("CDllLoader::GetProc - error get the address of specific proc\n"
                         "  proc name      = ");
        throw dlllExp(PROC_ERROR, message.append(symbol).append("\n").append(cause));
    }
    return address;
}

} // namespace Quil

#include "util/conv/detect/DetectorLibrary.h"

#include "util/base/LazyStatic.h"
#include "util/sys/dllloader.h"
#include "util/sys/errhdl.h"

namespace Quil::IMPL {

namespace {

template <class Function>
void GetFunction(Function& function, const CDllLoader& loader, const char* name) {
    function = reinterpret_cast<Function>(loader.GetProc(name));
}

} // namespace

CDetectorLibrary::CDetectorLibrary() {
    try {
        auto loader =
            std::make_unique<CDllLoader>(stringEx("uchardet"), stringEx("0"), stringEx("so"));
        GetFunction(__new, *loader, "uchardet_new");
        GetFunction(__delete, *loader, "uchardet_delete");
        GetFunction(__handle, *loader, "uchardet_handle_data");
        GetFunction(__end, *loader, "uchardet_data_end");
        GetFunction(__charset, *loader, "uchardet_get_charset");
        __loader = std::move(loader);
    } catch (const dlllExp&) {
        __loader = nullptr; // one opinion fewer
    }
}

stringEx CDetectorLibrary::Ask(std::string_view text) const {
    if (__loader == nullptr) {
        return stEMPTY;
    }
    const std::unique_ptr<void, void (*)(void*)> detector(__new(), __delete);
    if (detector == nullptr || __handle(detector.get(), text.data(), text.size()) != 0) {
        return stEMPTY;
    }
    __end(detector.get());
    stringEx charset(__charset(detector.get()));
    charset.detach_if_static();
    return charset;
}

const CDetectorLibrary& CDetectorLibrary::Get() {
    static constinit CLazyStatic<const CDetectorLibrary> library;
    return library.Get([] { return new CDetectorLibrary; });
}

} // namespace Quil::IMPL

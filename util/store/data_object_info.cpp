// What data objects have of configurations. It stands here, above them, since a configuration is
// kept in files and written to data objects itself.
#include "util/file/CFile.h"
#include "util/file/data_object.h"
#include "util/store/FakeRegistry.h"

namespace Quil {

namespace {

stringEx Below(const stringEx& path, const char* name) {
    return path + "/" + name;
}

/// A file of the C library as the configuration describes it.
CCFile OpenConfigured(const CFakeRegistry& configuration, const char* mode) {
    return CCFile(configuration.Get("path", stEMPTY),
                  configuration.Get("mode", stringEx(mode)).c_str());
}

} // namespace

void IDataObject::QueryInfo(CFakeRegistry info, const stringEx& path) { // NOLINT: by value, a slot
    info.Set(Below(path, "name"), stringEx(GetName()));
    info.Set(Below(path, "valid"), IsValid());
}

template <class Base>
IDataObject* TCFileStream<Base>::New(const stringEx& path) const {
    return new TCFileStream(CCFile(path, sm_mode));
}

template <class Base>
IDataObject* TCFileStream<Base>::New(const CFakeRegistry& configuration) const {
    return new TCFileStream(OpenConfigured(configuration, sm_mode));
}

template <class Base>
void TCFileStream<Base>::Reset(const CFakeRegistry& configuration) {
    this->_io = OpenConfigured(configuration, sm_mode);
}

template <class Base>
void TCFileStream<Base>::QueryInfo(CFakeRegistry info, const stringEx& path) { // NOLINT: as above
    IDataObject::QueryInfo(info, path);
    if (this->IsValid()) {
        info.Set(Below(path, "position"),
                 static_cast<std::uint64_t>(this->GetCurrentPos().Value()));
        info.Set(Below(path, "size"), static_cast<std::uint64_t>(this->GetSize().Value()));
    }
}

template class TCFileStream<CGenericSeekableSource<CCFile>>;
template class TCFileStream<CGenericSeekableSink<CCFile>>;

} // namespace Quil

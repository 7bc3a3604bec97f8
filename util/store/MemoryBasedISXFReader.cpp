// The ISXF reader of memory. The bound alone doesn't protect a view: a caller may have given a
// larger one, or have moved the position since. So each view is held against the buffer itself.
#include "util/store/MemoryBasedISXFReader.h"

#include <algorithm>

namespace Quil {

namespace {

/// What lies behind the position; nothing when that is past the end.
std::int64_t Rest(const CByteIO& source) {
    return std::max((source.GetSize() - source.GetCurrentPos()).Value(), std::int64_t{0});
}

} // namespace

template <class IO>
CMemoryBasedISXFReader<IO>::CMemoryBasedISXFReader(const IO& source, const CLongLongNative& bound)
    : Reader(source, bound == Reader::NO_BOUND ? CLongLongNative(Rest(source)) : bound) {}

template <class IO>
byteEx CMemoryBasedISXFReader<IO>::GetStaticBlob() const {
    return __View(Reader::TYPE_BLOB);
}

template <class IO>
void CMemoryBasedISXFReader<IO>::GetStaticBlob(byteEx& bytes) const {
    bytes = __View(Reader::TYPE_BLOB);
}

template <class IO>
void CMemoryBasedISXFReader<IO>::GetStaticString(stringEx& text) const {
    text = stringEx(__View(Reader::TYPE_STRING));
}

template <class IO>
byteEx CMemoryBasedISXFReader<IO>::__View(typename Reader::DATATYPE type) const {
    const std::uint32_t size = this->_BeginText(type);
    if (size == 0) {
        return byteEx();
    }
    const IO& source = this->GetIoObj();
    const std::int64_t rest = Rest(source);
    if (size > rest) {
        this->_ThrowShortage(size, static_cast<std::uint64_t>(rest));
    }
    byteEx view(*source.GetData(), static_cast<unsigned int>(source.GetCurrentPos().Value()), size,
                byteEx::NOT_OWNER());
    source.SeekCurrent(size);
    return view;
}

template class CMemoryBasedISXFReader<CByteIO>;

} // namespace Quil

// The ISXF reader of memory, which can hand out views instead of copies.
#pragma once

#include "util/base/visibility.h"
#include "util/store/ISXFReader.h"

namespace QUIL_PUBLIC Quil {

/// A reader of a byte string that also gives texts and blobs as views on it. A view is valid as
/// long as that byte string's block lives unmoved; a text has no terminator behind it.
template <class IO>
class CMemoryBasedISXFReader : public CISXFReader<IO> {
    using Reader = CISXFReader<IO>;

public:
    /// Without a bound of its own, it ends where the buffer ends, seen from the present position.
    explicit CMemoryBasedISXFReader(const IO& source,
                                    const CLongLongNative& bound = Reader::NO_BOUND);

    /// A view that reaches past the buffer throws `isxfExp`, code 2. A void gives an empty one.
    byteEx GetStaticBlob() const;
    void GetStaticBlob(byteEx& bytes) const;
    void GetStaticString(stringEx& text) const;

private:
    byteEx __View(typename Reader::DATATYPE type) const;
};

extern template class CMemoryBasedISXFReader<CByteIO>;

} // namespace Quil

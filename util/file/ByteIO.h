// CByteIO: a byte string used like a file.

#pragma once

#include "util/base/visibility.h"
#include "util/file/longlong.h"
#include "util/text/byteEx.h"

namespace QUIL_PUBLIC Quil {

/// A position in a byte string that belongs to somebody else and must outlive this object. Copies
/// look at the same string with positions of their own. One object belongs to one thread at a time.
class CByteIO {
public:
    CByteIO() = default;
    explicit CByteIO(byteEx* data) : __data(data) {}

    /// At most `size` bytes; answers the count, 0 at or past the end.
    unsigned int Read(void* buffer, unsigned int size) const;
    /// Puts `size` bytes at the position, over what is there. A position past the end first fills
    /// the gap with zero bytes. Throws std::bad_alloc, with the string as it was, when it would
    /// exceed the largest string. The bytes may come from the string itself.
    unsigned int Write(const void* buffer, unsigned int size);
    void Flush() {}

    // Only the position is set. One before the start becomes the start.

    void SeekBegin(const CLongLongNative& offset) const { __Seek(0, offset); }
    void SeekCurrent(const CLongLongNative& offset) const { __Seek(__position, offset); }
    void SeekEnd(const CLongLongNative& offset) const { __Seek(GetSize().Value(), offset); }
    CLongLongNative GetCurrentPos() const { return __position; }
    CLongLongNative GetSize() const { return __data != nullptr ? __data->length() : 0; }

    bool IsEOF() const { return GetCurrentPos() >= GetSize(); }
    bool IsValid() const { return __data != nullptr; }
    bool operator!() const { return !IsValid(); }

    /// The string looked at; null without one.
    const byteEx* GetData() const { return __data; }

private:
    void __Seek(std::int64_t base, const CLongLongNative& offset) const;

    byteEx* __data = nullptr;
    mutable std::int64_t __position = 0;
};

} // namespace Quil

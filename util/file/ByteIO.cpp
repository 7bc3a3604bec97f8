// CByteIO: a byte string used like a file.

#include "util/file/ByteIO.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Quil {

unsigned int CByteIO::Read(void* buffer, unsigned int size) const {
    if (size == 0 || IsEOF()) {
        return 0;
    }
    const auto start = static_cast<unsigned int>(__position);
    const unsigned int count = std::min(size, __data->length() - start);
    std::memcpy(buffer, __data->data() + start, count);
    __position += count;
    return count;
}

unsigned int CByteIO::Write(const void* buffer, unsigned int size) {
    if (size == 0 || __data == nullptr) {
        return 0;
    }
    const std::uint64_t end = static_cast<std::uint64_t>(__position) + size;
    if (end > byteEx::max_size()) {
        throw std::bad_alloc();
    }
    const auto* source = static_cast<const unsigned char*>(buffer);
    const bool isOwn = __data->_is_inside(source);
    const std::ptrdiff_t ownOffset = isOwn ? source - __data->data() : 0;

    const auto start = static_cast<unsigned int>(__position);
    const unsigned int oldLength = __data->length();
    __data->detach_if_static();
    __data->_grow(std::max<std::uint64_t>(end, oldLength));
    unsigned char* const bytes = &__data->front();
    if (start > oldLength) {
        std::memset(bytes + oldLength, 0, start - oldLength);
    }
    std::memmove(bytes + start, isOwn ? bytes + ownOffset : source, size);
    if (end > oldLength) {
        __data->set_size(static_cast<unsigned int>(end));
    }
    __position = static_cast<std::int64_t>(end);
    return size;
}

void CByteIO::__Seek(std::int64_t base, const CLongLongNative& offset) const {
    std::int64_t position = 0;
    if (__builtin_add_overflow(base, offset.Value(), &position)) {
        position = std::numeric_limits<std::int64_t>::max();
    }
    __position = std::max<std::int64_t>(position, 0);
}

} // namespace Quil

// The block between a stream and its file.

#include "util/file/buffered_stream.h"

#include "util/base/CancelHold.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace Quil {

template <class T>
bool CBufferedSeekableSource<T>::IsEOF() const {
    return __Unread() == 0 && __io.GetCurrentPos() >= __io.GetSize();
}

/// The block's state changes only after the file has answered: a failed read loses nothing.
template <class T>
unsigned int CBufferedSeekableSource<T>::Read(void* buffer, unsigned int size) const {
    auto* const target = static_cast<unsigned char*>(buffer);
    const unsigned int ready = std::min(size, __Unread());
    if (ready > 0) {
        std::memcpy(target, __block.data() + __position, ready);
    }
    const unsigned int wanted = size - ready;
    if (wanted == 0) {
        __position += ready;
        return size;
    }
    if (wanted >= __bufferSize) {
        const unsigned int count = __io.Read(target + ready, wanted);
        __Empty();
        return ready + count;
    }
    __block.reserve(__bufferSize);
    const unsigned int count = __io.Read(&__block.front(), __bufferSize);
    __block.set_size(count);
    __position = std::min(wanted, count);
    std::memcpy(target + ready, __block.data(), __position);
    return ready + __position;
}

template <class T>
void CBufferedSeekableSource<T>::__Empty() const {
    __block.set_size(0);
    __position = 0;
}

template <class T>
void CBufferedSeekableSource<T>::SeekBegin(const CLongLongNative& offset) const {
    __io.SeekBegin(offset);
    __Empty();
}

template <class T>
void CBufferedSeekableSource<T>::SeekCurrent(const CLongLongNative& offset) const {
    if (offset == 0) {
        return;
    }
    __io.SeekCurrent(offset);
    __Empty();
}

template <class T>
void CBufferedSeekableSource<T>::SeekEnd(const CLongLongNative& offset) const {
    __io.SeekEnd(offset);
    __Empty();
}

template <class T>
CBufferedSeekableSink<T>::~CBufferedSeekableSink() noexcept(false) {
    const IMPL::CCancelHold hold; // a cancelled thread ends with its data written
    try {
        _FlushBuffer();
    } catch (...) {
        if (std::uncaught_exceptions() == 0) {
            throw;
        }
    }
}

template <class T>
unsigned int CBufferedSeekableSink<T>::Write(const void* buffer, unsigned int size) {
    if (size > 0) {
        __block.append(static_cast<const unsigned char*>(buffer), size);
    }
    if (__block.length() >= __bufferSize) {
        _FlushBuffer();
    }
    return size;
}

template <class T>
void CBufferedSeekableSink<T>::_FlushBuffer() const {
    while (!__block.empty()) {
        __block.erase(0, __io.Write(__block.data(), __block.length()));
    }
}

template <class T>
void CBufferedSeekableSink<T>::Flush() {
    _FlushBuffer();
    __io.Flush();
}

template <class T>
void CBufferedSeekableSink<T>::SeekBegin(const CLongLongNative& offset) const {
    _FlushBuffer();
    __io.SeekBegin(offset);
}

template <class T>
void CBufferedSeekableSink<T>::SeekCurrent(const CLongLongNative& offset) const {
    _FlushBuffer();
    __io.SeekCurrent(offset);
}

template <class T>
void CBufferedSeekableSink<T>::SeekEnd(const CLongLongNative& offset) const {
    _FlushBuffer();
    __io.SeekEnd(offset);
}

template class CBufferedSeekableSource<CSysFile>;
template class CBufferedSeekableSink<CSysFile>;
template class CBufferedSeekableSink<CPeriodFile>;

} // namespace Quil

// The block between a stream and its file.

#include "util/file/buffered_stream.h"

#include "util/base/cancel.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace Quil {

template <class T>
bool CBufferedSeekableSource<T>::IsEOF() const {
    return __Unread() == 0 && __m_io.GetCurrentPos() >= __m_io.GetSize();
}

/// The block's state changes only after the file has answered: a failed read loses nothing.
template <class T>
unsigned int CBufferedSeekableSource<T>::Read(void* buffer, unsigned int size) const {
    auto* const target = static_cast<unsigned char*>(buffer);
    const unsigned int ready = std::min(size, __Unread());
    if (ready > 0) {
        std::memcpy(target, __m_block.data() + __m_position, ready);
    }
    const unsigned int wanted = size - ready;
    if (wanted == 0) {
        __m_position += ready;
        return size;
    }
    if (wanted >= __m_bufferSize) {
        const unsigned int count = __m_io.Read(target + ready, wanted);
        __Empty();
        return ready + count;
    }
    __m_block.reserve(__m_bufferSize);
    const unsigned int count = __m_io.Read(&__m_block.front(), __m_bufferSize);
    __m_block.set_size(count);
    __m_position = std::min(wanted, count);
    std::memcpy(target + ready, __m_block.data(), __m_position);
    return ready + __m_position;
}

template <class T>
void CBufferedSeekableSource<T>::__Empty() const {
    __m_block.set_size(0);
    __m_position = 0;
}

template <class T>
void CBufferedSeekableSource<T>::SeekBegin(const CLongLongNative& offset) const {
    __m_io.SeekBegin(offset);
    __Empty();
}

template <class T>
void CBufferedSeekableSource<T>::SeekCurrent(const CLongLongNative& offset) const {
    if (offset == 0) {
        return;
    }
    __m_io.SeekCurrent(offset);
    __Empty();
}

template <class T>
void CBufferedSeekableSource<T>::SeekEnd(const CLongLongNative& offset) const {
    __m_io.SeekEnd(offset);
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
        __m_block.append(static_cast<const unsigned char*>(buffer), size);
    }
    if (__m_block.length() >= __m_bufferSize) {
        _FlushBuffer();
    }
    return size;
}

template <class T>
void CBufferedSeekableSink<T>::_FlushBuffer() const {
    while (!__m_block.empty()) {
        __m_block.erase(0, __m_io.Write(__m_block.data(), __m_block.length()));
    }
}

template <class T>
void CBufferedSeekableSink<T>::Flush() {
    _FlushBuffer();
    __m_io.Flush();
}

template <class T>
void CBufferedSeekableSink<T>::SeekBegin(const CLongLongNative& offset) const {
    _FlushBuffer();
    __m_io.SeekBegin(offset);
}

template <class T>
void CBufferedSeekableSink<T>::SeekCurrent(const CLongLongNative& offset) const {
    _FlushBuffer();
    __m_io.SeekCurrent(offset);
}

template <class T>
void CBufferedSeekableSink<T>::SeekEnd(const CLongLongNative& offset) const {
    _FlushBuffer();
    __m_io.SeekEnd(offset);
}

template class CBufferedSeekableSource<CSysFile>;
template class CBufferedSeekableSink<CSysFile>;
template class CBufferedSeekableSink<CPeriodFile>;

} // namespace Quil

// Sources and sinks with a block between them and the file.
//
// The source reads ahead and the sink holds back, each up to one block; so nothing else may move
// the file's position meanwhile.

#pragma once

#include "util/file/data_object.h"
#include "util/file/sysfile.h"
#include "util/file/system/period_file.h"
#include "util/text/byteEx.h"

namespace Quil {

/// A source that reads the file a block at a time. Requests of a block and more bypass the block.
template <class T>
class CBufferedSeekableSource : public TSeekableSource {
public:
    CBufferedSeekableSource(const T& io, unsigned int bufferSize)
        : __m_io(io), __m_bufferSize(bufferSize) {}

    bool IsValid() const override { return !!__m_io; }
    const char* GetName() const override { return "Buffered Seekable Data Source"; }
    bool IsEOF() const override;
    unsigned int Read(void* buffer, unsigned int size) const override;

    void SeekBegin(const CLongLongNative& offset) const override;
    /// The offset goes to the file as it stands: what was read ahead is skipped as well, by `Peek`
    /// too. An offset of 0 does nothing. Use `SeekBegin` for an exact position.
    void SeekCurrent(const CLongLongNative& offset) const override;
    void SeekEnd(const CLongLongNative& offset) const override;
    CLongLongNative GetCurrentPos() const override { return __m_io.GetCurrentPos() - __Unread(); }
    CLongLongNative GetSize() const override { return __m_io.GetSize(); }

    T& GetIoObj() { return __m_io; }
    const T& GetIoObj() const { return __m_io; }

private:
    unsigned int __Unread() const { return __m_block.length() - __m_position; }
    void __Empty() const;

    T __m_io;
    unsigned int __m_bufferSize;
    mutable byteEx __m_block;
    mutable unsigned int __m_position = 0;
};

/// A sink that collects what is written until it makes up a block, or `Flush`, a seek or the
/// destructor comes; then it goes to the file in one write. The destructor throws what that throws,
/// unless another exception is in flight.
template <class T>
class CBufferedSeekableSink : public TSeekableSink {
public:
    CBufferedSeekableSink(const T& io, unsigned int bufferSize)
        : __m_io(io), __m_bufferSize(bufferSize) {}
    ~CBufferedSeekableSink() noexcept(false) override;

    bool IsValid() const override { return !!__m_io; }
    const char* GetName() const override { return "Buffered Seekable Data Sink"; }
    /// Takes all of it, whatever its size.
    unsigned int Write(const void* buffer, unsigned int size) override;
    /// Writes the block and waits for the device.
    void Flush() override;

    void SeekBegin(const CLongLongNative& offset) const override;
    void SeekCurrent(const CLongLongNative& offset) const override;
    void SeekEnd(const CLongLongNative& offset) const override;
    /// Counts what is held back.
    CLongLongNative GetCurrentPos() const override {
        return __m_io.GetCurrentPos() + __m_block.length();
    }
    /// The file's size, without what is held back.
    CLongLongNative GetSize() const override { return __m_io.GetSize(); }

    T& GetIoObj() { return __m_io; }
    const T& GetIoObj() const { return __m_io; }

protected:
    /// Writes the block. What has been written when a failure ends it is not held any longer.
    void _FlushBuffer() const;

private:
    mutable T __m_io;
    unsigned int __m_bufferSize;
    mutable byteEx __m_block;
};

extern template class CBufferedSeekableSource<CSysFile>;
extern template class CBufferedSeekableSink<CSysFile>;
extern template class CBufferedSeekableSink<CPeriodFile>;

} // namespace Quil

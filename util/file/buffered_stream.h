// Sources and sinks with a block between them and the file.
//
// The source reads ahead and the sink holds back, each up to one block; so nothing else may move
// the file's position meanwhile.

#pragma once

#include "util/base/visibility.h"
#include "util/file/PeriodFile.h"
#include "util/file/data_object.h"
#include "util/file/sysfile.h"
#include "util/text/byteEx.h"

namespace QUIL_PUBLIC Quil {

/// A source that reads the file a block at a time. Requests of a block and more bypass the block.
template <class T>
class CBufferedSeekableSource : public TSeekableSource {
public:
    CBufferedSeekableSource(const T& io, unsigned int bufferSize)
        : __io(io), __bufferSize(bufferSize) {}

    bool IsValid() const override { return !!__io; }
    const char* GetName() const override { return "Buffered Seekable Data Source"; }
    bool IsEOF() const override;
    unsigned int Read(void* buffer, unsigned int size) const override;

    void SeekBegin(const CLongLongNative& offset) const override;
    /// The offset goes to the file as it stands: what was read ahead is skipped as well, by `Peek`
    /// too. An offset of 0 does nothing. Use `SeekBegin` for an exact position.
    void SeekCurrent(const CLongLongNative& offset) const override;
    void SeekEnd(const CLongLongNative& offset) const override;
    CLongLongNative GetCurrentPos() const override { return __io.GetCurrentPos() - __Unread(); }
    CLongLongNative GetSize() const override { return __io.GetSize(); }

    T& GetIoObj() { return __io; }
    const T& GetIoObj() const { return __io; }

private:
    unsigned int __Unread() const { return __block.length() - __position; }
    void __Empty() const;

    T __io;
    unsigned int __bufferSize;
    mutable byteEx __block;
    mutable unsigned int __position = 0;
};

/// A sink that collects what is written until it makes up a block, or `Flush`, a seek or the
/// destructor comes; then it goes to the file in one write. The destructor throws what that throws,
/// unless another exception is in flight.
template <class T>
class CBufferedSeekableSink : public TSeekableSink {
public:
    CBufferedSeekableSink(const T& io, unsigned int bufferSize)
        : __io(io), __bufferSize(bufferSize) {}
    ~CBufferedSeekableSink() noexcept(false) override;

    bool IsValid() const override { return !!__io; }
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
        return __io.GetCurrentPos() + __block.length();
    }
    /// The file's size, without what is held back.
    CLongLongNative GetSize() const override { return __io.GetSize(); }

    T& GetIoObj() { return __io; }
    const T& GetIoObj() const { return __io; }

protected:
    /// Writes the block. What has been written when a failure ends it is not held any longer.
    void _FlushBuffer() const;

private:
    mutable T __io;
    unsigned int __bufferSize;
    mutable byteEx __block;
};

extern template class CBufferedSeekableSource<CSysFile>;
extern template class CBufferedSeekableSink<CSysFile>;
extern template class CBufferedSeekableSink<CPeriodFile>;

} // namespace Quil

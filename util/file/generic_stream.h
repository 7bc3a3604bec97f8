// Sources and sinks right on an I/O object: each call goes to the object.

#pragma once

#include "util/file/byte_io.h"
#include "util/file/data_object.h"
#include "util/file/sysfile.h"

namespace Quil {

/// A source on a copy of the I/O object given, `CSysFile` or `CByteIO`. A file's end is found by
/// its size, so `IsEOF` throws for a pipe.
template <class T>
class CGenericSeekableSource : public TSeekableSource {
public:
    explicit CGenericSeekableSource(const T& io) : m_io(io) {}

    bool IsValid() const override { return !!m_io; }
    const char* GetName() const override { return "Generic Seekable Data Source"; }
    bool IsEOF() const override { return m_io.GetCurrentPos() >= m_io.GetSize(); }
    unsigned int Read(void* buffer, unsigned int size) const override {
        return m_io.Read(buffer, size);
    }
    void SeekBegin(const CLongLongNative& offset) const override { m_io.SeekBegin(offset); }
    void SeekCurrent(const CLongLongNative& offset) const override { m_io.SeekCurrent(offset); }
    void SeekEnd(const CLongLongNative& offset) const override { m_io.SeekEnd(offset); }
    CLongLongNative GetCurrentPos() const override { return m_io.GetCurrentPos(); }
    CLongLongNative GetSize() const override { return m_io.GetSize(); }

    T& GetIoObj() { return m_io; }
    const T& GetIoObj() const { return m_io; }

private:
    T m_io;
};

/// A sink on a copy of the I/O object given, `CSysFile` or `CByteIO`.
template <class T>
class CGenericSeekableSink : public TSeekableSink {
public:
    explicit CGenericSeekableSink(const T& io) : m_io(io) {}

    bool IsValid() const override { return !!m_io; }
    const char* GetName() const override { return "Generic Seekable Data Sink"; }
    unsigned int Write(const void* buffer, unsigned int size) override {
        return m_io.Write(buffer, size);
    }
    void Flush() override { m_io.Flush(); }
    void SeekBegin(const CLongLongNative& offset) const override { m_io.SeekBegin(offset); }
    void SeekCurrent(const CLongLongNative& offset) const override { m_io.SeekCurrent(offset); }
    void SeekEnd(const CLongLongNative& offset) const override { m_io.SeekEnd(offset); }
    CLongLongNative GetCurrentPos() const override { return m_io.GetCurrentPos(); }
    CLongLongNative GetSize() const override { return m_io.GetSize(); }

    T& GetIoObj() { return m_io; }
    const T& GetIoObj() const { return m_io; }

private:
    T m_io;
};

extern template class CGenericSeekableSource<CSysFile>;
extern template class CGenericSeekableSource<CByteIO>;
extern template class CGenericSeekableSink<CSysFile>;
extern template class CGenericSeekableSink<CByteIO>;

} // namespace Quil

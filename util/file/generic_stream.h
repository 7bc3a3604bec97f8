// Sources and sinks right on an I/O object: each call goes to the object.

#pragma once

#include "util/base/visibility.h"
#include "util/file/ByteIO.h"
#include "util/file/data_object.h"
#include "util/file/sysfile.h"

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// What a source and a sink on a copy of an I/O object `T` have in common; `Base` is the one or the
/// other.
template <class T, class Base>
class TGenericSeekable : public Base {
public:
    explicit TGenericSeekable(const T& io) : _io(io) {}

    bool IsValid() const override { return !!_io; }
    void SeekBegin(const CLongLongNative& offset) const override { _io.SeekBegin(offset); }
    void SeekCurrent(const CLongLongNative& offset) const override { _io.SeekCurrent(offset); }
    void SeekEnd(const CLongLongNative& offset) const override { _io.SeekEnd(offset); }
    CLongLongNative GetCurrentPos() const override { return _io.GetCurrentPos(); }
    CLongLongNative GetSize() const override { return _io.GetSize(); }

    T& GetIoObj() { return _io; }
    const T& GetIoObj() const { return _io; }

protected:
    T _io;
};

} // namespace IMPL

/// A source on a copy of the I/O object given, `CSysFile` or `CByteIO`. A file's end is found by
/// its size, so `IsEOF` throws for a pipe.
template <class T>
class CGenericSeekableSource : public IMPL::TGenericSeekable<T, TSeekableSource> {
public:
    using IMPL::TGenericSeekable<T, TSeekableSource>::TGenericSeekable;

    const char* GetName() const override { return "Generic Seekable Data Source"; }
    bool IsEOF() const override { return this->GetCurrentPos() >= this->GetSize(); }
    unsigned int Read(void* buffer, unsigned int size) const override {
        return this->_io.Read(buffer, size);
    }
};

/// A sink on a copy of the I/O object given, `CSysFile` or `CByteIO`.
template <class T>
class CGenericSeekableSink : public IMPL::TGenericSeekable<T, TSeekableSink> {
public:
    using IMPL::TGenericSeekable<T, TSeekableSink>::TGenericSeekable;

    const char* GetName() const override { return "Generic Seekable Data Sink"; }
    unsigned int Write(const void* buffer, unsigned int size) override {
        return this->_io.Write(buffer, size);
    }
    void Flush() override { this->_io.Flush(); }
};

extern template class CGenericSeekableSource<CSysFile>;
extern template class CGenericSeekableSource<CByteIO>;
extern template class CGenericSeekableSink<CSysFile>;
extern template class CGenericSeekableSink<CByteIO>;

} // namespace Quil

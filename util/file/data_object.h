// The stream family: what a reader or a writer sees of the thing at the other end, be it a file or
// memory, with a block in between or not.
//
// The order of the virtual functions is that of their slots and must stay.

#pragma once

#include "util/base/visibility.h"
#include "util/file/longlong.h"
#include "util/text/stringEx.h"

namespace QUIL_PUBLIC Quil {

class CFakeRegistry;

/// What can be set up by a configuration: some data objects, and what else wants to be.
class IConfigurable {
public:
    IConfigurable() = default;
    IConfigurable(const IConfigurable&) = delete;
    IConfigurable& operator=(const IConfigurable&) = delete;

    virtual ~IConfigurable() noexcept(false) = default;
    /// Begins anew with what the configuration says.
    virtual void Reset(const CFakeRegistry& configuration) = 0;
    /// Puts what there is to say of the object below a key of the configuration.
    virtual void QueryInfo(CFakeRegistry info, const stringEx& path) = 0;
};

/// Root of the family. Objects are held by handles and not copied. No object may be used by two
/// threads at once. Destructors may throw: a sink writes what is left in them.
class IDataObject {
public:
    IDataObject() = default;
    IDataObject(const IDataObject&) = delete;
    IDataObject& operator=(const IDataObject&) = delete;

    virtual ~IDataObject() noexcept(false) = default;
    // Each gives a new object of the same kind, or null where the kind doesn't offer it. The caller
    // owns it.
    virtual IDataObject* New(const stringEx&) const { return nullptr; }
    virtual IDataObject* New(const CFakeRegistry&) const { return nullptr; }
    virtual IDataObject* Clone() const { return nullptr; }
    virtual bool IsValid() const = 0;
    virtual bool operator!() const { return !IsValid(); }
    virtual void Reset(const CFakeRegistry&) {}
    virtual void ClearError() {}
    virtual int GetType() const { return -1; }
    virtual const char* GetName() const { return "Unknown Data Object"; }
    /// Puts the name, and whether the object is valid, below a key of the configuration.
    virtual void QueryInfo(CFakeRegistry info, const stringEx& path);
};

/// Positions in bytes. Moving is const: it changes what comes next, not the object.
class ISeekableObj {
public:
    ISeekableObj() = default;
    ISeekableObj(const ISeekableObj&) = delete;
    ISeekableObj& operator=(const ISeekableObj&) = delete;

    virtual ~ISeekableObj() noexcept(false) = default;
    virtual void SeekBegin(const CLongLongNative& offset) const = 0;
    virtual void SeekCurrent(const CLongLongNative& offset) const = 0;
    virtual void SeekEnd(const CLongLongNative& offset) const = 0;
    virtual CLongLongNative GetCurrentPos() const = 0;
    virtual CLongLongNative GetSize() const = 0;
};

/// Where bytes come from.
class TDataSource : public IDataObject {
public:
    const char* GetName() const override { return "Unknown Data Source"; }
    virtual bool IsEOF() const = 0;
    /// At most `size` bytes; answers the count, 0 at the end.
    virtual unsigned int Read(void* buffer, unsigned int size) const = 0;
    /// The same without moving on; answers 0 where peeking is not supported.
    virtual unsigned int Peek(void*, unsigned int) const { return 0; }
};

/// Where bytes go.
class TDataSink : public IDataObject {
public:
    const char* GetName() const override { return "Unknown Data Sink"; }
    virtual unsigned int Write(const void* buffer, unsigned int size) = 0;
    virtual void Flush() = 0;
};

class TSeekableSource : public TDataSource, public ISeekableObj {
public:
    const char* GetName() const override { return "Unknown Seekable Data Source"; }
    /// Reads and seeks back by the count.
    unsigned int Peek(void* buffer, unsigned int size) const override {
        const unsigned int count = Read(buffer, size);
        SeekCurrent(-CLongLongNative(count));
        return count;
    }
};

class TSeekableSink : public TDataSink, public ISeekableObj {
public:
    const char* GetName() const override { return "Unknown Seekable Data Sink"; }
};

} // namespace Quil

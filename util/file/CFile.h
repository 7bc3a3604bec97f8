// A file of the C library as an I/O object: for streams that other code opens, or shares.
#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/file/generic_stream.h"
#include "util/file/longlong.h"
#include "util/text/stringEx.h"

#include <cstdio>
#include <type_traits>

namespace QUIL_PUBLIC Quil {

namespace IMPL {

struct CFileDeletor {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

} // namespace IMPL

/// A `FILE*`. Copies are of one file and one position; it is closed with the last of them. Failures
/// throw `cfileExp` with the system's error number as code. For one thread.
class CCFile {
public:
    CCFile() = default;
    /// `mode` as fopen takes it; the file is closed to programs that are started.
    CCFile(const stringEx& path, const char* mode);
    /// A stream that somebody else closes, such as `stdin`.
    static CCFile Borrow(std::FILE* file);

    bool IsValid() const { return __file != nullptr; }
    bool operator!() const { return !IsValid(); }
    /// The stream, for calls of the C library.
    std::FILE* GetFile() const { return __file.get(); }

    /// Fewer bytes than asked for come only at the end.
    unsigned int Read(void* buffer, unsigned int size) const;
    unsigned int Write(const void* buffer, unsigned int size);
    /// Gives what is held back to the system.
    void Flush();
    /// The same, and closes it: the last chance to hear of a failure.
    void Close();

    void SeekBegin(const CLongLongNative& offset) const { __Seek(offset, SEEK_SET); }
    void SeekCurrent(const CLongLongNative& offset) const { __Seek(offset, SEEK_CUR); }
    void SeekEnd(const CLongLongNative& offset) const { __Seek(offset, SEEK_END); }
    CLongLongNative GetCurrentPos() const;
    /// What is held back is written first.
    CLongLongNative GetSize() const;

private:
    void __Seek(const CLongLongNative& offset, int from) const;

    CHandle<std::FILE, IMPL::CFileDeletor> __file;
};

/// A source or a sink on such a file, which a configuration can name: by "path", and by "mode"
/// unless it is the usual one ("r" or "w").
template <class Base>
class TCFileStream final : public Base, public IConfigurable {
public:
    using Base::Base;

    IDataObject* New(const stringEx& path) const override;
    IDataObject* New(const CFakeRegistry& configuration) const override;
    void Reset(const CFakeRegistry& configuration) override;
    /// "name" and "valid", and of a file that is open "position" and "size".
    void QueryInfo(CFakeRegistry info, const stringEx& path) override;

private:
    static constexpr const char* sm_mode = std::is_base_of_v<TDataSource, Base> ? "r" : "w";
};

extern template class TCFileStream<CGenericSeekableSource<CCFile>>;
extern template class TCFileStream<CGenericSeekableSink<CCFile>>;

using CCFileSource = TCFileStream<CGenericSeekableSource<CCFile>>;
using CCFileSink = TCFileStream<CGenericSeekableSink<CCFile>>;

} // namespace Quil

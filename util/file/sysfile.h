// Files as the system has them: CSysFile, an open descriptor that copies share.
//
// Each operation is one system call with its failure put into words; only interruption by a signal
// is dealt with here. Whoever wants a whole file read or written takes CDir.

#pragma once

#include "util/base/visibility.h"
#include "util/file/FileMapping.h"
#include "util/file/longlong.h"
#include "util/file/system/shared_descriptor.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

struct stat;

namespace QUIL_PUBLIC Quil {

class CTime;

/// An open file, one of the standard streams, or nothing (after construction and `Close`).
///
/// Copies share the descriptor and with it the file's position; the last copy closes it. Failures
/// throw `sysfileExp` with the system's error number. One object belongs to one thread at a time;
/// threads that hold copies must agree on who moves the position, and `GetSize` moves it briefly.
class CSysFile {
public:
    /// How `Open` treats a file that exists or doesn't. A word of bits, combined by addition: 0
    /// opens an existing file, CREATE creates a missing one, and every other bit is the platform's
    /// own flag of `open` (O_TRUNC, O_EXCL, O_APPEND, O_NONBLOCK).
    using MODE = unsigned long;
    static constexpr MODE CREATE = 256;

    /// What may be done with the file.
    enum ACCESS : unsigned long { ACCESS_READ = 0, ACCESS_WRITE = 1, ACCESS_BOTH = 2 };

    /// Hints for `Open`. Direct access has no meaning on this platform; of the two kinds of access
    /// advice, sequential goes first.
    enum OPTION : unsigned long {
        OPTION_SEQUENTIAL = 268435456,
        OPTION_RANDOM = 536870912,
        OPTION_DIRECT = 1073741824
    };

    /// The standard streams, by their descriptors.
    enum CONSOLE { CONSOLE_INPUT = 0, CONSOLE_OUTPUT = 1, CONSOLE_ERROR = 2 };

    enum LOCK { LOCK_SHARED, LOCK_EXCLUSIVE };

    CSysFile() = default;

    /// Closes what is open and opens `path` with the given access (0 read, 1 write, 2 both). The
    /// permissions are those of a file that is created, before the process's mask. `share` has no
    /// meaning on this platform. The descriptor is closed in programs started from this one.
    void Open(const stringEx& path, unsigned long access, MODE mode, unsigned long share,
              unsigned long permissions, unsigned long options);
    /// The path is converted to the system's encoding.
    void Open(const wstringEx& path, unsigned long access, MODE mode, unsigned long share,
              unsigned long permissions, unsigned long options);
    /// Like `Open`, for a path that is already in the system's form.
    void OpenRaw(const stringEx& path, unsigned long access, MODE mode, unsigned long share,
                 unsigned long permissions, unsigned long options);
    /// Opens a file for reading by its path, of which only the last component is looked up, in
    /// `folder`: that must be open and the one that the path names. For many files of one folder.
    void OpenIn(const CSysFile& folder, const stringEx& path, MODE mode);
    /// Takes a standard stream, which no copy ever closes.
    void Open(CONSOLE stream);

    /// The same file, opened once more by its name, with a position of its own.
    CSysFile ReOpen(unsigned long access, unsigned long share, unsigned long options) const;

    /// Drops this object's share and its name. Closing can fail: the file may have been written to
    /// a device that reports its errors late.
    void Close();

    /// A second descriptor on the same open file: the position stays common.
    CSysFile Duplicate() const;

    /// Gives the descriptor up to the caller, who closes it: neither this object nor its copies
    /// will. Answers -1 if nothing is open.
    int Disclaim();

    /// One read of at most `size` bytes; answers the count, 0 at the end of the file.
    unsigned int Read(void* buffer, unsigned int size) const;
    /// One write of at most `size` bytes; answers the count, which may be less than asked for.
    unsigned int Write(const void* buffer, unsigned int size);
    /// Writes what another file has from its position on, without its passing through the process
    /// where the system can do that: some file systems then share it.
    void CopyRest(const CSysFile& from);
    /// Waits until the file's content has reached the device.
    void Flush();

    void SeekBegin(const CLongLongNative& offset) const;
    void SeekCurrent(const CLongLongNative& offset) const;
    void SeekEnd(const CLongLongNative& offset) const;
    CLongLongNative GetCurrentPos() const;
    /// The size in bytes, found by seeking to the end and back; so it throws for a pipe.
    CLongLongNative GetSize() const;
    /// What the system knows of the file.
    void GetStatus(struct stat& status) const;
    /// False for a device, a pipe or a socket, which have no size that could be set.
    bool IsRegularFile() const;
    /// Cuts the file at the current position, or lengthens it with zero bytes up to there.
    void ResizeToCurrentPos();
    /// Makes sure that the device has room for the file's bytes up to `size`, for those behind its
    /// end and for those from `from` on that lie in a hole, and that this process may write so far.
    /// Size and content stay. Throws when there is none, with the file as it was. Answers false
    /// where the file system can't promise room, and is believed to have it. For all but regular
    /// files there is always room.
    bool ReserveRoom(const CLongLongNative& size, const CLongLongNative& from = 0);

    /// Locks `length` bytes from `from` on (a length of 0: to the end, however far it grows) for
    /// this process, waiting for other processes that hold the range. An exclusive lock needs write
    /// access, a shared one read access.
    void Lock(const CLongLongNative& from, const CLongLongNative& length, LOCK type);
    /// Like `Lock`, but answers false instead of waiting.
    bool TryLock(const CLongLongNative& from, const CLongLongNative& length, LOCK type);
    void UnLock(const CLongLongNative& from, const CLongLongNative& length);

    /// The times of last access and change. No creation time is kept on this platform: `created`
    /// receives the invalid time. Null pointers are passed over.
    void GetTime(CTime* created, CTime* accessed, CTime* modified) const;
    /// Sets the times of last access and change; a null pointer leaves one as it is. `created` is
    /// accepted and ignored.
    void SetTime(const CTime* created, const CTime* accessed, const CTime* modified);

    /// The name given to `Open`; empty for a standard stream.
    const stringEx& GetFileName() const { return __name; }
    bool IsOpen() const { return __descriptor != CLOSED; }
    bool operator!() const { return !IsOpen(); }

    /// A mapping on this file, for views of up to `size` bytes (0: as many as the file has). A file
    /// that is shorter and open for writing is lengthened. The mapping bears `name`; it lives on
    /// when the file is closed.
    CFileMapping MakeFileMapping(const CLongLongNative& size, CFileMapping::ACCESS access,
                                 const char* name) const;
    CFileMapping MakeFileMapping(const CLongLongNative& size, CFileMapping::ACCESS access,
                                 const wchar_t* name) const;

private:
    static constexpr int CLOSED = -1;

    friend struct IMPL::DescriptorDeletor<CSysFile>;
    friend IMPL::DescriptorHandle<CSysFile> IMPL::ShareDescriptor<CSysFile>(int);
    static void __Close(int descriptor);
    void __Own(int descriptor, const stringEx& name);

    int __descriptor = CLOSED;
    /// Null for a standard stream, which is used and not owned.
    IMPL::DescriptorHandle<CSysFile> __shared;
    stringEx __name;
};

} // namespace Quil

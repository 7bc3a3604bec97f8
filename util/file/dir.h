// Directories and paths: CDir is one directory, and the home of the operations on paths and on
// whole files.
//
// A path is text in the system's encoding. Path arithmetic works on the text alone, in place, and
// takes "\" for "/"; whatever asks the file system says so. An object adds a base: most operations
// come as a static one on any path and as a member, with `Sub` in its name, on a path relative to
// the object.

#pragma once

#include "util/base/handle.h"
#include "util/base/visibility.h"
#include "util/file/SearchWatch.h"
#include "util/file/longlong.h"
#include "util/file/sysfile.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <vector>

namespace QUIL_PUBLIC Quil {

namespace IMPL {

/// Releases the cookie of an enumeration when its last handle goes.
template <class Dir>
struct DirCkDeletor {
    void operator()(void* cookie) const noexcept(false) { Dir::__ReleaseCookie(cookie); }
};

struct DIR_ENTRY;

} // namespace IMPL

/// A directory, held by its absolute, normalised path, which ends in "/"; empty after default
/// construction. Nothing is kept open, so a copy is cheap, and the directory's removal shows at the
/// next call.
///
/// Failures throw `dirExp`: code 2 for an empty argument, otherwise the system's error number, 18
/// and 19 as told at the enumerations, or 0. An object belongs to one thread at a time; the static
/// operations may be called from any thread.
class CDir {
public:
    /// An enumeration in progress. The directory is closed with its last handle.
    using COOKIE = CHandle<void, IMPL::DirCkDeletor<CDir>, CAtomicINT32, 0>;
    /// A compiled narrow expression.
    using REGEX = stringEx::regex_handle;

    /// Whether a search by expression looks at case.
    enum CASE_SET { CASE_SENSITIVE, CASE_INSENSITIVE };

    CDir() = default;
    explicit CDir(const stringEx& path, bool create = false, bool noCheck = false);

    // -- The object --------------------------------------------------------------------------

    /// Makes this the directory at `path`. One that doesn't exist is created, with its parents, if
    /// `create` says so, and taken as it is with `noCheck`; otherwise the call throws.
    void Open(const stringEx& path, bool create = false, bool noCheck = false);
    /// The directory at a path relative to this one.
    CDir GainDir(const stringEx& sub, bool create = false) const;
    /// Makes this the directory at a path relative to it.
    void ChangeDir(const stringEx& sub, bool create = false);

    /// Makes this the process's working directory.
    void SetPwd() const;
    /// The process's working directory, with a closing "/".
    static stringEx GetPwd();

    const stringEx& GetPath() const { return __path; }
    bool IsOpen() const { return !__path.empty(); }

    bool operator==(const CDir& other) const { return __path == other.__path; }
    // A directory is less than its parents.
    bool operator<=(const CDir& other) const { return __path.begin_with(other.__path); }
    bool operator<(const CDir& other) const { return *this <= other && !(*this == other); }
    bool operator>=(const CDir& other) const { return other <= *this; }
    bool operator>(const CDir& other) const { return other < *this; }

    // -- Enumeration -------------------------------------------------------------------------

    /// The next file (anything that is not a directory) as a full path; a null cookie starts. False
    /// at the end, which releases the cookie, and for a directory that can't be opened. Names that
    /// begin with "." come only with `hidden`. An entry that can't be asked for its kind, such as a
    /// dangling symbolic link, throws; one that has been removed meanwhile is passed over.
    bool EnumFile(COOKIE& cookie, stringEx& name, bool hidden = false) const;
    /// The same for directories; "." and ".." come only with `dots`.
    bool EnumSubDir(COOKIE& cookie, stringEx& name, bool hidden = false, bool dots = false) const;

    /// Appends the full paths of the files whose names match `pattern` ("?" one character, "*" any
    /// run) and answers the size of `out`. Order is that of the directory, each directory before
    /// its sub-directories; nothing is sorted.
    ///
    /// An empty pattern is "*". A directory in front of the name selects where to search, relative
    /// to this object; no wildcards work there, and it must exist. "./" selects nothing: a pattern
    /// that begins with it matches no name. `recursive` goes into sub-directories, the hidden ones
    /// only with `hidden`. `reserved` has no effect.
    ///
    /// An entry that can't be asked for its kind, and a symbolic link that leads back to a
    /// directory above it, end the search with code 19. A name without wildcards costs no listing
    /// unless `recursive`: other entries beside it are not looked at then.
    unsigned int GetAllFiles(std::vector<stringEx>& out, stringEx pattern, bool recursive = false,
                             bool hidden = false, bool reserved = false) const;
    /// The same for many patterns, one after the other; those that search one directory share its
    /// listing. `counts`, unless null, is appended how many files each pattern found. `watch`,
    /// unless null, has its say.
    unsigned int GetAllFiles(std::vector<stringEx>& out, const std::vector<stringEx>& patterns,
                             bool recursive, bool hidden,
                             std::vector<unsigned int>* counts = nullptr,
                             CSearchWatch* watch = nullptr) const;
    /// The same for directories. `dots` also offers "." and "..", which are never gone into.
    unsigned int GetAllSubDirs(std::vector<stringEx>& out, stringEx pattern, bool recursive = false,
                               bool hidden = false, bool dots = false, bool reserved = false) const;

    // The same with a regular expression, which is tried on names alone: no directory is taken off
    // it. An expression that doesn't compile matches nothing.

    unsigned int GetAllFilesRegEx(std::vector<stringEx>& out, const stringEx& pattern,
                                  CASE_SET caseSet, bool recursive = false, bool hidden = false,
                                  bool reserved = false) const;
    unsigned int GetAllFilesRegEx(std::vector<stringEx>& out, const REGEX& pattern,
                                  bool recursive = false, bool hidden = false,
                                  bool reserved = false) const;
    unsigned int GetAllSubDirsRegEx(std::vector<stringEx>& out, const stringEx& pattern,
                                    CASE_SET caseSet, bool recursive = false, bool hidden = false,
                                    bool dots = false, bool reserved = false) const;
    unsigned int GetAllSubDirsRegEx(std::vector<stringEx>& out, const REGEX& pattern,
                                    bool recursive = false, bool hidden = false, bool dots = false,
                                    bool reserved = false) const;

    // -- Path arithmetic ---------------------------------------------------------------------

    static char GetDirDelimiter() { return '/'; }
    static char GetVolumeDelimiter() { return '/'; }
    /// Every character that is taken for a delimiter in a path.
    static stringEx GetAllAcceptDirDelimiters();

    /// The absolute path: relative ones from the working directory, "~/" from the home directory;
    /// "." and empty parts dropped, ".." applied (at the root it stays there). A closing "/" comes
    /// out for a path that ended in one, or in "." or "..".
    static void ConvToFullPath(stringEx& path);
    /// The directory of a path, with a closing "/". A path without one may itself be a directory:
    /// the file system is asked. "./" for a bare name.
    static void GetPathDir(stringEx& path);
    /// The last component; empty for a path that ends in "/".
    static void GetPathFilename(stringEx& path);
    static void GetPathFilenameNoExt(stringEx& path);
    /// What stands behind the last "." of the last component.
    static void GetPathExt(stringEx& path);
    /// The path without the extension and its ".".
    static void GetPathNoExt(stringEx& path);
    static void RemoveTailingDelimiter(stringEx& path);
    static bool HasPathHadExt(const stringEx& path);
    static bool IsAbsolutePath(const stringEx& path);
    static bool IsRelativePath(const stringEx& path);

    /// Like `ConvToFullPath`, with this object as the base of relative paths.
    void ToAbsolutePath(stringEx& path) const;
    /// The path as seen from this directory, with "../" for each step up.
    void ToRelativePath(stringEx& path) const;
    /// True if the path, taken from this directory, is this directory or lies in it.
    bool IsSubPath(const stringEx& path) const;
    /// The deepest directory that holds both this one and the path.
    CDir GainCommonParent(const stringEx& path) const;
    CDir GainCommonParent(const CDir& other) const { return GainCommonParent(other.__path); }
    /// Always true here: all paths have the root in common.
    bool HasCommonParent(const stringEx&) const { return true; }
    bool HasCommonParent(const CDir&) const { return true; }

    // -- Questions to the file system --------------------------------------------------------

    /// True for anything that is not a directory; false when it can't be asked.
    static bool IsFileExist(const stringEx& path);
    static bool IsDirExist(const stringEx& path);
    static bool IsFifo(const stringEx& path);
    static bool IsFileExecutable(const stringEx& path);
    bool IsSubFileExist(const stringEx& sub) const { return IsFileExist(__path + sub); }
    bool IsSubDirExist(const stringEx& sub) const { return IsDirExist(__path + sub); }

    /// The first file of that name in the directories of `PATH`. A name with a directory is only
    /// tested. Throws when there is none.
    static stringEx FindInPath(const stringEx& name);

    // Directories with a special meaning, each with a closing "/".

    static stringEx GetHomeDir();
    static stringEx GetTempDir();
    static stringEx GetGlobalConfigDir();
    static stringEx GetCurrentUserConfigDir();

    /// The permission bits, as in the mode of `stat` (octal 7777).
    static unsigned long GetAttributes(const stringEx& path);
    static void SetAttributes(const stringEx& path, unsigned long attributes);
    unsigned long GetSubAttributes(const stringEx& sub) const {
        return GetAttributes(__path + sub);
    }
    void SetSubAttributes(const stringEx& sub, unsigned long attributes) const {
        SetAttributes(__path + sub, attributes);
    }

    /// Bytes on the file system that holds this directory.
    struct SPACE_INFO {
        CULongLongNative total;
        CULongLongNative free;
        CULongLongNative available; ///< free to an ordinary user
    };
    SPACE_INFO GetSpaceInfo() const;

    /// How the file system that holds this directory is laid out, in bytes and counts.
    struct STORAGE_TOPOLOGY {
        unsigned long blockSize;    ///< preferred size of a transfer
        unsigned long fragmentSize; ///< unit of allocation
        CULongLongNative fragments;
        unsigned long maxNameLength;
    };
    STORAGE_TOPOLOGY GetStorageTopology() const;

    // -- Whole files -------------------------------------------------------------------------

    /// The file's content. A wide string takes 4 bytes a character; odd bytes at the end are lost.
    /// A file that is too large for a string throws before anything is read. A pipe can't be read
    /// this way and never blocks. What the file itself refuses comes as `sysfileExp`.
    static void ReadFile(const stringEx& path, byteEx& data);
    static void ReadFile(const stringEx& path, stringEx& data);
    static void ReadFile(const stringEx& path, wstringEx& data);
    void ReadSubFile(const stringEx& sub, byteEx& data) const { ReadFile(__path + sub, data); }
    void ReadSubFile(const stringEx& sub, stringEx& data) const { ReadFile(__path + sub, data); }
    void ReadSubFile(const stringEx& sub, wstringEx& data) const { ReadFile(__path + sub, data); }

    /// Writes the elements as they lie in memory over the file, or behind its end with `append`; a
    /// missing file is created. `flush` waits for the device.
    ///
    /// The file is written in place. What is longer than the old content is written first and taken
    /// back where it can't be, so that a full device leaves the old content whole; then the old
    /// bytes are overwritten from the front. What the file refuses comes as `sysfileExp`, whose
    /// text ends with a line that says what the file holds now.
    static void WriteFile(const stringEx& path, const byteEx& data, bool flush = false,
                          bool append = false);
    static void WriteFile(const stringEx& path, const stringEx& data, bool flush = false,
                          bool append = false);
    static void WriteFile(const stringEx& path, const wstringEx& data, bool flush = false,
                          bool append = false);
    void WriteSubFile(const stringEx& sub, const byteEx& data, bool flush = false,
                      bool append = false) const {
        WriteFile(__path + sub, data, flush, append);
    }
    void WriteSubFile(const stringEx& sub, const stringEx& data, bool flush = false,
                      bool append = false) const {
        WriteFile(__path + sub, data, flush, append);
    }
    void WriteSubFile(const stringEx& sub, const wstringEx& data, bool flush = false,
                      bool append = false) const {
        WriteFile(__path + sub, data, flush, append);
    }

    /// Copies a file. Without `overwrite` an existing target throws and is left alone.
    static void DuplicateFile(const stringEx& from, const stringEx& to, bool overwrite = false,
                              bool flush = false);
    void DuplicateSubFile(const stringEx& from, const stringEx& to, bool overwrite = false,
                          bool flush = false) const {
        DuplicateFile(__path + from, __path + to, overwrite, flush);
    }

    /// Moves a file by linking it to its new name; between file systems it is copied. Two names of
    /// one file are left as they are. When only the removal of the source fails, the target stays.
    static void TransferFile(const stringEx& from, const stringEx& to, bool overwrite = false,
                             bool flush = false);
    void TransferSubFile(const stringEx& from, const stringEx& to, bool overwrite = false,
                         bool flush = false) const {
        TransferFile(__path + from, __path + to, overwrite, flush);
    }

    /// Removes a file; one that doesn't exist is no error.
    static void RemoveFile(const stringEx& path);
    void RemoveSubFile(const stringEx& sub) const { RemoveFile(__path + sub); }

    // These answer whether it was done, and throw nothing but std::bad_alloc. `force` opens the
    // directory to its owner for a second try.

    static bool TryRemoveFile(const stringEx& path, bool force = false);
    /// Closes the file first.
    static bool TryRemoveFile(CSysFile& file, bool force = false);
    static bool TryTransferFile(const stringEx& from, const stringEx& to, bool overwrite = false,
                                bool flush = false, bool force = false);
    bool TryRemoveSubFile(const stringEx& sub, bool force = false) const {
        return TryRemoveFile(__path + sub, force);
    }

    // -- Temporary names and backups ---------------------------------------------------------

    /// A path in this directory that no file has at the moment. Nothing is created, so another
    /// process may take the name first: open it with O_EXCL. Throws if the directory is gone.
    stringEx GenTempFileName() const;
    /// The same in `GetTempDir()`.
    static stringEx GenTempFileNameInSysTempDir();

    // Dated copies of a file beside it, "name@YYYYMMDD_HHMMSS.ext" in local time. `file` is taken
    // from this directory. Nothing is thrown: what went wrong goes to the log, at debug level.

    /// Copies the file, then removes the oldest copies until `maxVersions` are left; 0 copies
    /// nothing and removes all. A second call within one second makes no further copy. False if
    /// something failed; a copy that could not be finished is taken away again.
    bool VersionBackup(const stringEx& file, unsigned int maxVersions, bool flush) const;
    /// Puts the newest copy in the place of the file; that copy is then gone. False without one, or
    /// if something failed.
    bool TryRestoreLastVersion(const stringEx& file) const;

    // -- Whole directories -------------------------------------------------------------------

    /// Creates a directory, with `recursive` its parents too; one that exists is no error.
    static void MakeDir(const stringEx& path, bool recursive = false);
    void MakeSubDir(const stringEx& sub, bool recursive = false) const {
        MakeDir(__path + sub, recursive);
    }

    /// Removes a directory; one that doesn't exist is no error. With `subFiles` its files go, with
    /// `subDirs` its sub-directories, by the same rules. A symbolic link is removed, never
    /// followed.
    static void RemoveDir(const stringEx& path, bool subDirs = false, bool subFiles = false);
    void RemoveSubDir(const stringEx& sub, bool subDirs = false, bool subFiles = false) const {
        RemoveDir(__path + sub, subDirs, subFiles);
    }

    /// Copies a directory with the files in it (`subFiles`) and everything below (`subDirs`).
    /// Symbolic links are followed. The target must not lie inside the source.
    static void DuplicateDir(const stringEx& from, const stringEx& to, bool overwrite = false,
                             bool subDirs = true, bool subFiles = true, bool flush = false);
    void DuplicateSubDir(const stringEx& from, const stringEx& to, bool overwrite = false,
                         bool subDirs = true, bool subFiles = true, bool flush = false) const {
        DuplicateDir(__path + from, __path + to, overwrite, subDirs, subFiles, flush);
    }

    /// Moves a directory with all that is in it into `to`, file by file; what exists there already
    /// is not overwritten but ends the move. Symbolic links are moved, not followed.
    static void TransferDir(const stringEx& from, const stringEx& to);
    void TransferSubDir(const stringEx& from, const stringEx& to) const {
        TransferDir(__path + from, __path + to);
    }

    // -- Links -------------------------------------------------------------------------------

    /// A symbolic link to `target`. With `arguments` or `workDir`, which no link can carry, a shell
    /// script is written that changes to the folder and starts the target with them; the fields of
    /// `extraLines` (between line feeds) go ahead of that.
    static void MakeSymbolicLink(const stringEx& target, const stringEx& link,
                                 const stringEx& arguments = stEMPTY,
                                 const stringEx& extraLines = stEMPTY,
                                 const stringEx& workDir = stEMPTY);
    static void MakeHardLink(const stringEx& oldPath, const stringEx& newPath);

private:
    friend struct IMPL::DirCkDeletor<CDir>;
    static void __ReleaseCookie(void* cookie);
    bool __StartEnum(COOKIE& cookie) const;
    bool __EnumNext(COOKIE& cookie, stringEx& name,
                    bool (*isWanted)(const IMPL::DIR_ENTRY& entry, bool hidden, bool dots),
                    bool hidden, bool dots) const;

    stringEx __path;
};

} // namespace Quil

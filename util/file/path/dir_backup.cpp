// Names for temporary files, and dated copies of a file beside it with a way back.
//
// The copies carry their time in their names, so the order of the names is that of their age. What
// complicates it: other files may stand beside them with names much alike ("a@home.txt" beside
// "a.txt"). Only an exact stamp makes a file a backup, since what is one may be removed.

#include "util/base/CancelHold.h"
#include "util/file/dir.h"
#include "util/file/path/file_copy.h"
#include "util/file/path/posix_dir.h"
#include "util/sys/errhdl.h"
#include "util/sys/log.h"
#include "util/sys/time.h"

#include <algorithm>
#include <functional>
#include <memory>

namespace Quil {

namespace {

/// The backups of one file.
class BackupNames {
public:
    /// `path` is the absolute path of the file.
    explicit BackupNames(const stringEx& path) : __head(path), __tail(path) {
        CDir::GetPathNoExt(__head);
        __head += '@';
        CDir::GetPathExt(__tail);
        __tail.insert(0, ".");
    }

    stringEx At(const CTime& time) const {
        return stringEx(__head + time.Format("%Y%M%d_%H%T%S") + __tail);
    }

    /// Only what has a backup's name is looked at: whatever else stands there has no say.
    std::vector<stringEx> FindNewestFirst() const {
        const stringEx folder(__head, 0, __head.rfind('/') + 1);
        std::vector<stringEx> found;
        const std::unique_ptr<DIR, IMPL::DirCloser> directory(::opendir(folder.c_str()));
        if (!directory) {
            IMPL::ThrowStatError(folder, errno);
        }
        while (const dirent* const entry = IMPL::PosixReadDir(directory.get())) {
            const stringEx path = folder + entry->d_name;
            if (__IsBackup(path) && CDir::IsFileExist(path)) {
                found.push_back(path);
            }
        }
        std::sort(found.begin(), found.end(), std::greater<stringEx>());
        return found;
    }

private:
    bool __IsBackup(const stringEx& path) const {
        constexpr const char* STAMP = "00000000_000000";
        if (!path.begin_with(__head) || !path.end_with(__tail)) {
            return false;
        }
        stringEx digits(path, __head.length(), path.length() - __head.length() - __tail.length());
        std::replace_if(digits.begin(), digits.end(), stringEx::is_digit, '0');
        return digits == STAMP;
    }

    stringEx __head; ///< the path without its extension, and "@"
    stringEx __tail; ///< "." and the extension
};

/// Logs the exception that is being handled, behind a head line that `writeHead` adds to a text.
template <class WriteHead>
void LogCurrentException(const char* category, WriteHead writeHead) {
    try {
        stringEx text;
        writeHead(text);
        CLog::DebugMsg(stringEx(category), text << "@ " << IMPL::CurrentExceptionText());
    } catch (...) { // no memory for the text: the result has to do
        IMPL::PassThreadEnd();
    }
}

} // namespace

stringEx CDir::GenTempFileName() const {
    constexpr std::int64_t LOW_BITS = 0xFFFFFF;
    if (!IsOpen() || !IsDirExist(__path)) {
        stringEx message("CDir::GenTempFileName - invalid obj, or the base dir has been removed\n");
        throw dirExp(0, message << "  base dir = " << __path);
    }
    stringEx path;
    do {
        const CLongLongNative number(CTime::Now().GetMicroseconds() & LOW_BITS);
        path = __path + "ql" + number.ToString(16) + ".tmp";
    } while (IsFileExist(path));
    return path;
}

stringEx CDir::GenTempFileNameInSysTempDir() {
    return CDir(GetTempDir(), false, true).GenTempFileName();
}

bool CDir::VersionBackup(const stringEx& file, unsigned int maxVersions, bool flush) const {
    try {
        stringEx path(file);
        ToAbsolutePath(path);
        const BackupNames names(path);
        if (maxVersions != 0) {
            const stringEx backup = names.At(CTime::Now());
            if (!IsFileExist(backup)) {
                IMPL::CopyFileAsItIs(path, backup, flush);
            }
        }
        std::vector<stringEx> backups = names.FindNewestFirst();
        for (; backups.size() > maxVersions; backups.pop_back()) {
            TryRemoveFile(backups.back(), false);
        }
        return true;
    } catch (...) {
        IMPL::PassThreadEnd();
        LogCurrentException("util.dir.backup",
                            [](stringEx& text) { text << "failed remove backup file\n"; });
        return false;
    }
}

bool CDir::TryRestoreLastVersion(const stringEx& file) const {
    stringEx newest;
    stringEx path(file);
    try {
        ToAbsolutePath(path);
        const std::vector<stringEx> backups = BackupNames(path).FindNewestFirst();
        if (backups.empty()) {
            return false;
        }
        newest = backups.front();
        TransferFile(newest, path, true);
        return true;
    } catch (...) {
        IMPL::PassThreadEnd();
        LogCurrentException("util.dir.restore", [&](stringEx& text) {
            text << "failed restore the backup file\n  from = " << newest << "\n  to   = " << path
                 << "\n";
        });
        return false;
    }
}

} // namespace Quil

// What a run with --backup has changed: a folder with the old contents, a manifest that says what
// run it was, and a journal of its files.
//
// An entry goes into the journal, and to the device with its content, before its file is touched;
// what the run has left of the file is noted behind it. So whenever the run ends, each file of
// which there is an entry can be given back, and for each but those that it was amid of it can be
// told whether somebody else has changed it since. A record that the end of a run cut counts as
// never written.
#pragma once

#include "util/file/sysfile.h"
#include "util/text/stringEx.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

struct stat;

namespace Quil {

/// What tells a content from another one.
struct CONTENT_HASH {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    bool operator==(const CONTENT_HASH&) const = default;
};

/// That of a file's content. Throws `sysfileExp`.
CONTENT_HASH HashFile(const stringEx& path);

/// A file of a run.
struct BACKUP_ENTRY {
    std::uint64_t number = 0; ///< that of its copy
    stringEx path;            ///< absolute
    std::uint32_t mode = 0;
    std::int64_t modified = 0;        ///< microseconds since 1970
    std::optional<CONTENT_HASH> left; ///< what the run left behind, once it had
};

/// A run as its journal tells it.
struct BACKUP_RUN {
    stringEx name;
    std::int64_t time = 0; ///< seconds since 1970
    stringEx folder;       ///< where it was started
    stringEx command;
    std::vector<BACKUP_ENTRY> entries;
};

/// Where runs keep what they have changed, a folder each.
class CBackupFolder {
public:
    /// @param path  the folder; empty: the user's own
    explicit CBackupFolder(const stringEx& path);

    const stringEx& GetPath() const { return __path; }
    stringEx PathOf(const stringEx& run) const { return __path + run + "/"; }
    stringEx CopyOf(const BACKUP_RUN& run, const BACKUP_ENTRY& entry) const;
    /// The names of all runs, the oldest first.
    std::vector<stringEx> GetRuns() const;
    /// What a run's journal says, as far as it is whole. Throws if there is none.
    BACKUP_RUN Read(const stringEx& run) const;
    /// Removes a run, unless it still goes on. Answers whether it did.
    bool Forget(const stringEx& run) const;

private:
    stringEx __path;
};

/// Keeps what one run changes. For all of its threads. Failures throw `sysfileExp` or `dirExp`.
class CJournal {
public:
    /// @param keepRuns  runs that are kept in the folder, this one included
    CJournal(CBackupFolder folder, stringEx command, unsigned int keepRuns);

    /// A run that must not go to make room for this one, since it is being given back.
    void Spare(const stringEx& run) { __spared = run; }
    /// Keeps a file's content, before it is changed. Answers its number.
    std::uint64_t Keep(const stringEx& path, const struct stat& state);
    /// The file won't be changed any more, whether all went well or not. Where that can't be noted,
    /// what is in it counts as the run's whatever it is.
    void Complete(std::uint64_t number, const stringEx& path) noexcept;

private:
    void __Begin();
    void __Append(const byteEx& record);

    CBackupFolder __folder;
    stringEx __command;
    unsigned int __keepRuns;
    stringEx __spared;
    std::mutex __mutex;         ///< over the rest
    stringEx __path;            ///< of the run's folder; empty until a file is kept
    CSysFile __journal;         ///< locked as long as the run goes on
    std::uint64_t __length = 0; ///< of its whole records, in bytes
    bool __isBroken = false;    ///< it ends in the middle of one
    std::uint64_t __count = 0;
};

} // namespace Quil

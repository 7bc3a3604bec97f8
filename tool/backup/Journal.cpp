#include "tool/backup/Journal.h"

#include "util/file/ByteIO.h"
#include "util/file/dir.h"
#include "util/store/FakeRegistry.h"
#include "util/store/ISXFReader.h"
#include "util/store/ISXFWriter.h"
#include "util/sys/errhdl.h"

#define XXH_INLINE_ALL
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <xxhash.h>

namespace Quil {

namespace {

constexpr unsigned short JOURNAL_VERSION = 2;
constexpr unsigned short WITHOUT_MANIFEST = 1; // what it tells now stood in the journal
constexpr unsigned char ENTRY = 1;
constexpr unsigned char COMPLETE = 2;

constexpr unsigned long PRIVATE = 0600;
constexpr unsigned int BLOCK = 1 << 20;

using Writer = CISXFWriter<CByteIO>;
using Reader = CISXFReader<CByteIO>;

/// The bytes of what `write` appends.
template <class Write>
byteEx Record(Write write) {
    byteEx bytes;
    CByteIO io(&bytes);
    Writer writer(io);
    write(writer);
    return bytes;
}

std::int64_t Microseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

/// Names sort by time.
stringEx NewName() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm local{};
    ::localtime_r(&now.tv_sec, &local);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y%m%d-%H%M%S-", &local);
    stringEx name(text, static_cast<unsigned int>(length));
    return name.append_format("%06ld", now.tv_nsec / 1000);
}

stringEx Default() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    return state != nullptr && *state == '/' ? stringEx(state) + "/tsub/"
                                             : CDir::GetHomeDir() + "/.local/state/tsub/";
}

stringEx FullPath(const stringEx& path) {
    stringEx full(path);
    CDir::ConvToFullPath(full);
    return full;
}

/// A folder's entries are only on the device when the folder is.
void FlushFolder(const stringEx& path) {
    CSysFile folder;
    folder.OpenRaw(path, CSysFile::ACCESS_READ, O_DIRECTORY, 0, 0, 0);
    folder.Flush();
}

/// What there is to say of a run as a whole.
void WriteManifest(const stringEx& path, const stringEx& command) {
    CFakeRegistry manifest;
    manifest.Set("time", static_cast<std::uint64_t>(std::time(nullptr)));
    manifest.Set("folder", CDir::GetPwd());
    manifest.Set("command", command);
    manifest.Save(path + "manifest");
}

void ReadManifest(const stringEx& path, BACKUP_RUN& run) {
    CFakeRegistry manifest;
    manifest.Load(path + "manifest");
    run.time = static_cast<std::int64_t>(manifest.GetNumber("time", 0));
    run.folder = manifest.Get("folder", stEMPTY);
    run.command = manifest.Get("command", stEMPTY);
}

void ReadRecord(const Reader& reader, BACKUP_RUN& run) {
    const unsigned char kind = reader.GetCtrlCode();
    if (kind == ENTRY) {
        BACKUP_ENTRY entry;
        entry.number = reader.GetBigID().Value();
        reader.GetString(entry.path);
        entry.mode = static_cast<std::uint32_t>(reader.GetDWord());
        entry.modified = static_cast<std::int64_t>(reader.GetQWord().Value());
        reader.GetEofSeg();
        run.entries.push_back(std::move(entry));
        return;
    }
    const std::uint64_t number = reader.GetBigID().Value();
    CONTENT_HASH hash;
    hash.low = reader.GetQWord().Value();
    hash.high = reader.GetQWord().Value();
    reader.GetEofSeg();
    const auto entry = std::ranges::find(run.entries, number, &BACKUP_ENTRY::number);
    if (kind == COMPLETE && entry != run.entries.end()) {
        entry->left = hash;
    }
}

} // namespace

CONTENT_HASH HashFile(const stringEx& path) {
    CSysFile file;
    file.Open(path, CSysFile::ACCESS_READ, 0, 0, 0, 0);
    const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                         &XXH3_freeState);
    if (state == nullptr) {
        throw std::bad_alloc();
    }
    XXH3_128bits_reset(state.get());
    const auto block = std::make_unique_for_overwrite<char[]>(BLOCK);
    while (const unsigned int count = file.Read(block.get(), BLOCK)) {
        XXH3_128bits_update(state.get(), block.get(), count);
    }
    const XXH128_hash_t hash = XXH3_128bits_digest(state.get());
    return {hash.low64, hash.high64};
}

CBackupFolder::CBackupFolder(const stringEx& path)
    : __path(path.empty() ? Default() : FullPath(path) + "/") {}

stringEx CBackupFolder::CopyOf(const BACKUP_RUN& run, const BACKUP_ENTRY& entry) const {
    stringEx path = PathOf(run.name);
    return path.append_ulong(entry.number, 10);
}

std::vector<stringEx> CBackupFolder::GetRuns() const {
    std::vector<stringEx> runs;
    if (CDir::IsDirExist(__path)) {
        CDir::COOKIE cookie;
        stringEx path;
        const CDir folder(__path);
        while (folder.EnumSubDir(cookie, path)) {
            if (CDir::IsFileExist(path + "/journal")) {
                CDir::GetPathFilename(path);
                runs.push_back(path);
            }
        }
    }
    std::ranges::sort(runs);
    return runs;
}

BACKUP_RUN CBackupFolder::Read(const stringEx& run) const {
    byteEx bytes;
    CDir::ReadFile(PathOf(run) + "journal", bytes);
    CByteIO io(&bytes);
    const Reader reader(io);
    BACKUP_RUN told;
    told.name = run;
    try {
        const unsigned short version = reader.GetVersion();
        if (version == JOURNAL_VERSION) {
            ReadManifest(PathOf(run), told);
        } else if (version == WITHOUT_MANIFEST) {
            told.time = static_cast<std::int64_t>(reader.GetQWord().Value());
            reader.GetString(told.folder);
            reader.GetString(told.command);
            reader.GetEofSeg();
        } else {
            throw ioExp(0, stringEx("the journal is of another version: ") + PathOf(run));
        }
        while (!reader.IsEOF()) {
            ReadRecord(reader, told);
        }
    } catch (const isxfExp&) {
        // The run ended within this record, and the file that it tells of wasn't touched yet.
    }
    return told;
}

bool CBackupFolder::Forget(const stringEx& run) const {
    CSysFile journal;
    journal.Open(PathOf(run) + "journal", CSysFile::ACCESS_WRITE, 0, 0, 0, 0);
    if (!journal.TryLock(0, 0, CSysFile::LOCK_EXCLUSIVE)) {
        return false;
    }
    CDir::RemoveDir(PathOf(run), true, true);
    return true;
}

CJournal::CJournal(CBackupFolder folder, stringEx command, unsigned int keepRuns)
    : __folder(std::move(folder)), __command(std::move(command)), __keepRuns(keepRuns) {}

/// The run's folder, once there is something to keep in it; runs that are too many go.
void CJournal::__Begin() {
    CDir::MakeDir(__folder.GetPath(), true);
    stringEx path = __folder.PathOf(NewName());
    CDir::MakeDir(path, false);
    CDir::SetAttributes(path, 0700);
    WriteManifest(path, __command);
    __journal.Open(path + "journal", CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_EXCL, 0, PRIVATE,
                   0);
    __journal.Lock(0, 0, CSysFile::LOCK_EXCLUSIVE);
    __length = 0;
    __Append(Record([&](Writer& writer) { writer.AppendVersion(JOURNAL_VERSION); }));
    FlushFolder(__folder.GetPath());
    __path = path;
    const std::vector<stringEx> runs = __folder.GetRuns();
    for (std::size_t i = 0; i + __keepRuns < runs.size(); ++i) {
        if (runs[i] != __spared) {
            __folder.Forget(runs[i]);
        }
    }
}

/// Appends a record, or nothing of it: behind a part of one nothing could be read any more.
void CJournal::__Append(const byteEx& record) {
    if (__isBroken) {
        throw ioExp(EIO, "the journal of old contents can't be written any more");
    }
    try {
        for (unsigned int done = 0; done < record.length();) {
            done += __journal.Write(record.data() + done, record.length() - done);
        }
    } catch (const qlExp&) {
        __isBroken = true;
        __journal.SeekBegin(CLongLongNative(CULongLongNative(__length)));
        __journal.ResizeToCurrentPos();
        __isBroken = false;
        throw;
    }
    __length += record.length();
}

std::uint64_t CJournal::Keep(const stringEx& path, const struct stat& state) {
    const std::lock_guard lock(__mutex);
    if (__path.empty()) {
        __Begin();
    }
    const std::uint64_t number = ++__count;
    stringEx copy(__path);
    copy.append_ulong(number, 10);
    CSysFile from;
    CSysFile to;
    from.Open(path, CSysFile::ACCESS_READ, 0, 0, 0, 0);
    to.Open(copy, CSysFile::ACCESS_WRITE, CSysFile::CREATE + O_EXCL, 0, PRIVATE, 0);
    to.CopyRest(from);
    to.Flush();
    FlushFolder(__path);
    __Append(Record([&](Writer& writer) {
        writer.AppendCtrlCode(ENTRY);
        writer.AppendBigID(number);
        writer.AppendString(FullPath(path));
        writer.AppendDWord(state.st_mode);
        writer.AppendQWord(static_cast<std::uint64_t>(Microseconds(state.st_mtim)));
        writer.AppendEofSeg();
    }));
    __journal.Flush();
    return number;
}

void CJournal::Complete(std::uint64_t number, const stringEx& path) noexcept {
    try {
        const CONTENT_HASH hash = HashFile(path);
        const std::lock_guard lock(__mutex);
        __Append(Record([&](Writer& writer) {
            writer.AppendCtrlCode(COMPLETE);
            writer.AppendBigID(number);
            writer.AppendQWord(hash.low);
            writer.AppendQWord(hash.high);
            writer.AppendEofSeg();
        }));
    } catch (const qlExp&) {
        return;
    } catch (const std::bad_alloc&) {
        return;
    }
}

} // namespace Quil

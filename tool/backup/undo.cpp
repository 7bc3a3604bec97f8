#include "tool/backup/undo.h"

#include "tool/HeldSignals.h"
#include "tool/advice.h"
#include "tool/backup/Journal.h"
#include "tool/preview/DiffPrinter.h"
#include "tool/run.h"
#include "tool/standard_output.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"
#include "util/sys/time.h"

#include <algorithm>
#include <ctime>
#include <iostream>
#include <optional>
#include <set>
#include <sys/stat.h>

namespace Quil {

namespace {

constexpr const char* LIST = "list";
constexpr const char* ALL = "all";

constexpr int GIVEN_BACK = 0;
constexpr int NOTHING = 1;
constexpr int FAILED = -1;

stringEx TimeText(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[64];
    return {text, static_cast<unsigned int>(
                      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local))};
}

int List(const CBackupFolder& folder) {
    const std::vector<stringEx> runs = folder.GetRuns();
    for (auto name = runs.rbegin(); name != runs.rend(); ++name) {
        const BACKUP_RUN run = folder.Read(*name);
        stringEx line(run.name);
        line.append("  ").append(TimeText(run.time)).append("  ");
        line.append_ulong(run.entries.size(), 10);
        line.append(run.entries.size() == 1 ? " file  " : " files  ");
        PrintText(line.append(run.folder).append("  ").append(run.command).append("\n"));
    }
    return runs.empty() ? NOTHING : GIVEN_BACK;
}

/// A run by its name; without one the newest that has touched anything.
std::optional<BACKUP_RUN> Find(const CBackupFolder& folder, const stringEx& wanted) {
    const std::vector<stringEx> runs = folder.GetRuns();
    for (auto name = runs.rbegin(); name != runs.rend(); ++name) {
        if (wanted.empty() || *name == wanted) {
            BACKUP_RUN run = folder.Read(*name);
            if (!wanted.empty() || !run.entries.empty()) {
                return run;
            }
        }
    }
    return std::nullopt;
}

int RefuseUnknown(const CBackupFolder& folder, const stringEx& name) {
    std::cerr << "[FATAL ERROR] there is no run " << name << " in " << folder.GetPath()
              << "; --undo=list shows all\n";
    return FAILED;
}

int Forget(const CBackupFolder& folder, const stringEx& wanted) {
    const std::vector<stringEx> runs = folder.GetRuns();
    if (wanted != ALL && std::ranges::find(runs, wanted) == runs.end()) {
        return RefuseUnknown(folder, wanted);
    }
    int status = runs.empty() ? NOTHING : GIVEN_BACK;
    for (const stringEx& name : runs) {
        if ((wanted == ALL || wanted == name) && !folder.Forget(name)) {
            std::cerr << "[ERROR] the run still goes on: " << name << "\n";
            status = FAILED;
        }
    }
    return status;
}

/// Gives back the files of one run, in a run that can be undone itself.
class CUndo {
public:
    CUndo(const Run& run, const CBackupFolder& folder, BACKUP_RUN told)
        : __run(run), __folder(folder), __told(std::move(told)) {}

    int Run() {
        // Of a file that was changed more than once the first content is the old one, and the
        // last is what was left.
        std::set<stringEx> seen;
        for (const BACKUP_ENTRY& entry : __told.entries) {
            if (seen.insert(entry.path).second) {
                __GiveBack(entry);
            }
        }
        return __hasFailed ? FAILED : __count != 0 ? GIVEN_BACK : NOTHING;
    }

    unsigned long GetCount() const { return __count; }
    /// Whether files were left alone that somebody has changed.
    bool IsWaiting() const { return __isWaiting; }

private:
    void __GiveBack(const BACKUP_ENTRY& entry) {
        try {
            struct stat state = {};
            CSysFile target;
            target.Open(entry.path, CSysFile::ACCESS_BOTH, 0, 0, 0, 0);
            target.GetStatus(state);
            const CONTENT_HASH now = HashFile(entry.path);
            const CONTENT_HASH old = HashFile(__folder.CopyOf(__told, entry));
            if (now == old) {
                return;
            }
            if (!__run.forces && !__IsAsLeft(entry.path, now)) {
                __hasFailed = true;
                std::cerr << "[ERROR] left alone, somebody has changed it since the run: "
                          << entry.path << "\n";
                __isWaiting = true;
                return;
            }
            if (__run.show != SHOW::NOTHING) {
                PrintText(ShownPath(entry.path).append("\n"));
                ++__count;
                return;
            }
            const CHeldSignals untilDone;
            const std::uint64_t number = __run.journal->Keep(entry.path, state);
            __Write(entry, target);
            __run.journal->Complete(number, entry.path);
            ++__count;
        } catch (const qlExp& cause) {
            __hasFailed = true;
            std::cerr << "[ERROR] can't give back: " << entry.path << "\n@ " << cause.GetErrString()
                      << "\n";
        }
    }

    /// Whether the run left the file so. One that it was still changing may be anything.
    bool __IsAsLeft(const stringEx& path, const CONTENT_HASH& now) const {
        const auto last =
            std::find_if(__told.entries.rbegin(), __told.entries.rend(),
                         [&](const BACKUP_ENTRY& entry) { return entry.path == path; });
        return !last->left || *last->left == now;
    }

    void __Write(const BACKUP_ENTRY& entry, CSysFile& target) const {
        CSysFile copy;
        copy.Open(__folder.CopyOf(__told, entry), CSysFile::ACCESS_READ, 0, 0, 0, 0);
        target.ReserveRoom(copy.GetSize());
        target.SeekBegin(0);
        target.CopyRest(copy);
        target.ResizeToCurrentPos();
        target.Flush();
        CDir::SetAttributes(entry.path, entry.mode);
        const CTime modified(entry.modified);
        target.SetTime(nullptr, nullptr, &modified);
    }

    const Quil::Run& __run;
    const CBackupFolder& __folder;
    const BACKUP_RUN __told;
    unsigned long __count = 0;
    bool __hasFailed = false;
    bool __isWaiting = false;
};

} // namespace

int Undo(Run& run) {
    const CBackupFolder folder(run.backupFolder);
    if (!run.forget.empty()) {
        return Forget(folder, run.forget);
    }
    if (run.undo == LIST) {
        return List(folder);
    }
    const std::optional<BACKUP_RUN> told = Find(folder, run.undo);
    if (!told && run.undo.empty()) {
        std::cerr << "[FATAL ERROR] no run with --backup is known in " << folder.GetPath()
                  << "; if it kept its files elsewhere, say --backup=DIR as well\n";
        return FAILED;
    }
    if (!told) {
        return RefuseUnknown(folder, run.undo);
    }
    run.journal->Spare(told->name);
    CUndo undo(run, folder, *told);
    const int status = undo.Run();
    if (undo.IsWaiting()) {
        Advise(run,
               "with -force they are given back all the same, and their present contents kept");
    }
    if (run.isWatched) {
        std::cerr << undo.GetCount() << (undo.GetCount() == 1 ? " file" : " files")
                  << (run.show == SHOW::NOTHING ? " given back" : " would be given back")
                  << " as before run " << told->name << "\n";
    }
    return status;
}

} // namespace Quil

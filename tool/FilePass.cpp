#include "tool/FilePass.h"

#include "tool/FileLocks.h"
#include "tool/Progress.h"
#include "tool/backup/Journal.h"
#include "tool/losses.h"
#include "tool/preview/Preview.h"
#include "tool/standard_output.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <optional>
#include <sys/stat.h>

namespace Quil {

namespace {

/// The end of a pipe reads as this byte.
constexpr std::string_view END_OF_PIPE = "\xFF";

bool IsSame(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

void Tell(FILE_RESULT& result, const char* trouble, const qlExp& cause) {
    result.trouble = trouble;
    result.cause = cause.GetErrString();
}

void TellWriteFailure(FILE_RESULT& result, const qlExp& cause) {
    result.hasFailedToWrite = true;
    Tell(result, "can't write to file: ", cause);
}

/// Whether text in the charset holds NUL bytes as a matter of course.
bool HasWideUnits(const CHARSET& charset) {
    constexpr const char* BEGINNINGS[] = {"UTF-16", "UTF16", "UTF-32",    "UTF32",
                                          "UCS",    "CSUCS", "ISO-10646", "UNICODE"};
    return charset.isWide || std::ranges::any_of(BEGINNINGS, [&](const char* begin) {
               return charset.name.begin_with_no_case(begin);
           });
}

/// All of the wide stream; the read that meets its end is kept like the others, but for a filter.
wstringEx ReadWideInput(bool isFilter) {
    wstringEx text;
    do {
        text.push_back(static_cast<wchar_t>(std::wcin.get()));
    } while (std::wcin.good());
    if (isFilter) {
        text.erase(text.length() - 1, 1);
    }
    return text;
}

/// A file as it was opened must be as it was read, or what was found in it means nothing.
void RefuseOther(const struct stat& now, const struct stat& before, const stringEx& path) {
    if (now.st_dev != before.st_dev || now.st_ino != before.st_ino ||
        now.st_size != before.st_size || !IsSame(now.st_mtim, before.st_mtim)) {
        stringEx message("another program has changed the file meanwhile\n  file path  = ");
        throw sysfileExp(EBUSY, message.append(path));
    }
}

} // namespace

CFilePass::CFilePass(const Run& run)
    : __run(run), __ways(run), __way(&__ways.GetUsual()), __road(__way->road.get()) {}

CFilePass::~CFilePass() = default;

FILE_RESULT CFilePass::PassFile(const stringEx& path, CFileLocks* locks) {
    FILE_RESULT result;
    __holdsSignals = locks == nullptr;
    __Note(result, [&] {
        if (__run.fifos.count(path) != 0) {
            __PassDevice(path, result);
            return;
        }
        const std::uint64_t changes = locks != nullptr ? locks->GetChanges() : 0;
        CSysFile file;
        __Open(file, path);
        struct stat state = {};
        file.GetStatus(state);
        if (!S_ISREG(state.st_mode)) {
            __PassDevice(path, result);
        } else if (locks != nullptr) {
            __PassLocked(path, file, state, result, *locks, changes);
        } else {
            __PassRegular(path, file, state, result);
        }
    });
    return result;
}

/// Files of one folder come together, and the way to it is long.
void CFilePass::__Open(CSysFile& file, const stringEx& path) {
    const stringEx folder = path.substr_static(0, path.rfind('/') + 1);
    if (folder.empty() || folder != __folderPath) {
        __folder.Close();
        __folderPath.assign(folder.data(), folder.length());
    } else if (!__folder.IsOpen()) {
        __folder.OpenRaw(folder, CSysFile::ACCESS_READ, O_PATH | O_DIRECTORY, 0, 0, 0);
    }
    if (__folder.IsOpen()) {
        file.OpenIn(__folder, path, O_NONBLOCK);
    } else {
        file.Open(path, CSysFile::ACCESS_READ, O_NONBLOCK, 0, 0, 0);
    }
}

/// Another thread may have changed the file until it is this one's.
void CFilePass::__PassLocked(const stringEx& path, CSysFile& file, struct stat& state,
                             FILE_RESULT& result, CFileLocks& locks, std::uint64_t changes) {
    const FILE_ID id(state.st_dev, state.st_ino);
    FILE_RESULT ofFile;
    const bool mayBeOther = locks.Lock(id, changes);
    __Note(ofFile, [&] {
        if (mayBeOther) {
            file.GetStatus(state);
        }
        __PassRegular(path, file, state, ofFile);
    });
    locks.Unlock(id, std::move(ofFile));
    result.file = id;
}

/// Puts failures into the result: those of reading as such.
template <class Pass>
void CFilePass::__Note(FILE_RESULT& result, Pass pass) {
    try {
        pass();
    } catch (const sysfileExp& cause) {
        Tell(result, "failed reading file: ", cause);
    } catch (const dirExp& cause) {
        Tell(result, "failed reading file: ", cause);
    } catch (...) {
        result.failure = std::current_exception();
    }
}

void CFilePass::__PassRegular(const stringEx& path, CSysFile& file, const struct stat& state,
                              FILE_RESULT& result) {
    const auto size = static_cast<std::uint64_t>(state.st_size);
    if (size == 0 || __rest == ANSWER::REST_NOT) {
        return;
    }
    __source.StartFile(file, size);
    if (__run.excludeBinary && !__run.detects && __IsBinary()) {
        return;
    }
    if (!__Take(__ways.Choose(__source, true, result))) {
        return;
    }
    if (__road->WantsAll() && size > byteEx::max_size()) {
        CDir::ReadFile(path, __all); // which says that it is too large
    }
    if (__TextRun().isStrict && !__CheckLosses(size, result)) {
        return;
    }
    if (__run.toStdout) {
        __Print(size, false, result);
        return;
    }
    std::uint64_t place = 0;
    if (!__Look(size, place)) {
        return;
    }
    if (__run.asks) {
        place = 0; // of the road that is chosen then
    }
    if (__run.show != SHOW::NOTHING) {
        __Show(path, size, result);
    } else if (!__run.asks || __Ask(path, size)) {
        __Change(path, state, place, result);
    }
}

/// Makes the way that of the present input; false if there is none.
bool CFilePass::__Take(WAY* way) {
    if (way != nullptr) {
        __way = way;
        __road = way->road.get();
    }
    return way != nullptr;
}

/// Whether the file that has just been opened holds what no text does that isn't wide.
bool CFilePass::__IsBinary() {
    constexpr std::size_t LOOKED_AT = 8192;
    if (HasWideUnits(__run.in)) {
        return false;
    }
    const BLOCK block = __source.Next();
    const bool isBinary =
        std::memchr(block.data, '\0', std::min(block.length, LOOKED_AT)) != nullptr;
    __source.Restart(0);
    return isBinary;
}

/// Whether nothing of the file gets lost; else says what does.
bool CFilePass::__CheckLosses(std::uint64_t size, FILE_RESULT& result) {
    CMeasureSink measure;
    __RunRoad({TASK::RESULT::FILE, size}, measure, nullptr);
    LOSSES losses = __road->GetLosses();
    if (losses.undecoded.count != 0) {
        losses.undecoded.line = 1 + __CountLines(losses.undecoded.place);
    }
    result.cause = DescribeLosses(__TextRun(), losses);
    result.hasLoss = !result.cause.empty();
    result.trouble = result.hasLoss ? "can't convert without loss: " : nullptr;
    __source.Restart(0);
    return result.cause.empty();
}

/// The line ends in the file up to a place.
std::uint64_t CFilePass::__CountLines(std::uint64_t place) {
    std::uint64_t lines = 0;
    __source.Restart(0);
    for (std::uint64_t done = 0; done < place;) {
        const BLOCK block = __source.Next();
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(block.length, place - done));
        lines += static_cast<std::uint64_t>(std::count(block.data, block.data + count, '\n'));
        __source.Take(count);
        done += count;
    }
    return lines;
}

/// What isn't a regular file has no size to go by, and no content to be changed in place.
void CFilePass::__PassDevice(const stringEx& path, FILE_RESULT& result) {
    if (__run.show != SHOW::NOTHING || __run.asks) {
        return; // what is read of it, nobody gets again
    }
    CDir::ReadFile(path, __all);
    if (__all.empty()) {
        return;
    }
    const BLOCK block{reinterpret_cast<char*>(__all.ref()), __all.length(), true};
    COutputSink output;
    CBytesSink bytes;
    if (!__Take(__ways.Choose({block.data, block.length}, result))) {
        return;
    }
    __road->Start({__run.toStdout ? TASK::RESULT::OUTPUT : TASK::RESULT::FILE, block.length});
    __road->Take(block, __run.toStdout ? static_cast<ISink&>(output) : bytes);
    output.Flush(false);
    __Count(result);
    result.hasChanged = __run.toStdout;
    if (__run.toStdout || !__HasFound()) {
        return;
    }
    try {
        const std::string& all = bytes.GetBytes();
        CDir::WriteFile(path, stringEx(all.data(), static_cast<unsigned int>(all.size())), false,
                        false);
        result.hasChanged = true;
    } catch (const qlExp& cause) {
        TellWriteFailure(result, cause);
    }
}

FILE_RESULT CFilePass::PassPipe() {
    FILE_RESULT result;
    if (__run.in.isWide) {
        const wstringEx text = ReadWideInput(__run.isFilter);
        __all = static_cast<byteEx>(text);
        COutputSink output;
        __road->Start({TASK::RESULT::OUTPUT, __all.length()});
        __road->Take({reinterpret_cast<char*>(__all.ref()), __all.length(), true}, output);
        output.Flush(false);
    } else {
        const bool hasEnd = !__run.isFilter && !__run.isStrict && !__run.keepsBytes &&
                            __run.mark == MARK::BY_SWITCH;
        __source.StartPipe(hasEnd ? END_OF_PIPE : std::string_view());
        if (!__Take(__ways.Choose(__source, false, result))) {
            result.endsRun = result.trouble != nullptr;
            return result;
        }
        __Print(0, true, result);
    }
    __Count(result);
    result.hasChanged = true;
    return result;
}

/// Prints the result, with no delay if somebody may wait for it.
void CFilePass::__Print(std::uint64_t size, bool isAwaited, FILE_RESULT& result) {
    COutputSink output;
    __road->Start({TASK::RESULT::OUTPUT, size});
    for (bool isLast = false; !isLast;) {
        const BLOCK block = __NextBlock();
        isLast = block.isLast;
        __source.Take(__road->Take(block, output));
        if (__TextRun().isStrict) {
            result.cause = DescribeLosses(__TextRun(), __road->GetLosses());
        }
        if (!result.cause.empty()) {
            result.trouble = "can't convert without loss: ";
            result.hasLoss = result.endsRun = true;
            return;
        }
        if (isAwaited) {
            output.Flush(true);
        }
    }
    output.Flush(false);
    __Count(result);
    result.hasChanged = true;
}

/// Takes over what the road has found.
void CFilePass::__Count(FILE_RESULT& result) const {
    result.count = __road->GetCount();
    if (__run.wantsRuleReport) {
        __road->AddRuleCounts(result.matches);
    }
}

/// Whether the file is to be written, as far as the road came.
bool CFilePass::__HasFound() const {
    return __road->GetCount() != 0 || (__run.findFunc == FIND::ANY && __road->HasText());
}

/// Looks whether there is anything to change; `place` becomes one with nothing to change in front.
bool CFilePass::__Look(std::uint64_t size, std::uint64_t& place) {
    CNoSink none;
    __road->Start({TASK::RESULT::NONE, size});
    for (bool isLast = false; !isLast && !__HasFound();) {
        const BLOCK block = __NextBlock();
        isLast = block.isLast;
        place = __road->CanResume() && !__road->HasChanged() ? __source.GetPlace() : place;
        __source.Take(__road->Take(block, none));
    }
    return __HasFound();
}

/// Tells who looks on that bytes were lost, and how they could have been kept.
void CFilePass::__Warn(std::uint64_t place, FILE_RESULT& result) {
    LOSSES losses = __run.isWatched ? __road->GetLosses() : LOSSES();
    losses.undecoded.place += place;
    result.warning = DescribeLosses(__TextRun(), losses);
    if (!result.warning.empty()) {
        result.warning.append(losses.undecoded.count != 0 && CanKeepBytes(__TextRun())
                                  ? "; --keep-bytes keeps them"
                                  : "; --strict leaves such files alone");
    }
}

void CFilePass::__Change(const stringEx& path, const struct stat& state, std::uint64_t place,
                         FILE_RESULT& result) {
    std::optional<std::uint64_t> kept;
    try {
        CSysFile target;
        target.Open(path, CSysFile::ACCESS_WRITE, 0, 0, 0, 0);
        struct stat now = {};
        target.GetStatus(now);
        RefuseOther(now, state, path);
        if (__run.journal != nullptr) {
            kept = __run.journal->Keep(path, state);
        }
        __Rewrite(target, static_cast<std::uint64_t>(state.st_size), place, result);
        result.hasChanged = true;
        __Warn(place, result);
    } catch (const qlExp& cause) {
        TellWriteFailure(result, cause);
    }
    if (kept) {
        __run.journal->Complete(*kept, path);
    }
    __Count(result);
}

/// What a change of the file would be, up to the failure that it would meet.
void CFilePass::__Show(const stringEx& path, std::uint64_t size, FILE_RESULT& result) {
    CNoSink none;
    if (__run.show == SHOW::DIFFS) {
        __ShowDiff(path, size);
    } else {
        __RunRoad({TASK::RESULT::FILE, size, 0, true}, none, nullptr);
    }
    __Count(result);
    if (__run.show != SHOW::DIFFS) {
        PrintName(__run, path, result.count);
    }
    try {
        CSysFile target;
        target.Open(path, CSysFile::ACCESS_WRITE, 0, 0, 0, 0);
        result.hasChanged = true;
    } catch (const qlExp& cause) {
        TellWriteFailure(result, cause);
    }
}

void CFilePass::__ShowDiff(const stringEx& path, std::uint64_t size) {
    if (__run.findFunc == FIND::ANY && !__run.hasReplace) {
        __ShowConversion(path, size);
        return;
    }
    __way->preview->StartFile(path);
    __RunRoad({TASK::RESULT::FILE, size, 0, true}, *__way->preview, nullptr);
    __way->preview->FinishFile();
}

/// Whether somebody wants the file changed. The road is then one that makes those changes.
bool CFilePass::__Ask(const stringEx& path, std::uint64_t size) {
    if (__rest == ANSWER::ALL) {
        return true;
    }
    __ShowDiff(path, size);
    const unsigned long matches = __road->GetCount();
    const bool canSplit = __run.byMatch && matches > 1 && __way == &__ways.GetUsual();
    const ANSWER answer =
        CDialog().Ask(std::string("Change ") + ShownPath(path).c_str() + "?", canSplit);
    if (answer == ANSWER::SPLIT) {
        return __AskEach(path, size, matches);
    }
    if (answer == ANSWER::ALL) {
        __rest = ANSWER::ALL;
    } else if (answer == ANSWER::REST_NOT || answer == ANSWER::QUIT) {
        __rest = ANSWER::REST_NOT;
    }
    return answer == ANSWER::YES || answer == ANSWER::ALL;
}

/// The same match by match.
bool CFilePass::__AskEach(const stringEx& path, std::uint64_t size, unsigned long matches) {
    if (__byMatch == nullptr) {
        __byMatch = ChooseRoad(*__run.byMatch);
    }
    __road = __byMatch.get();
    std::vector<bool> wanted(matches, false);
    for (std::size_t i = 0; i < matches; ++i) {
        __run.matchChoice->ShowOnly(i);
        __ShowDiff(path, size);
        const std::string question =
            "Replace match " + std::to_string(i + 1) + " of " + std::to_string(matches) + "?";
        const ANSWER answer = CDialog().Ask(question, false);
        if (answer == ANSWER::QUIT) {
            __rest = ANSWER::REST_NOT;
            return false;
        }
        if (answer == ANSWER::ALL) {
            std::fill(wanted.begin() + static_cast<std::ptrdiff_t>(i), wanted.end(), true);
        }
        if (answer == ANSWER::ALL || answer == ANSWER::REST_NOT) {
            break;
        }
        wanted[i] = answer == ANSWER::YES;
    }
    const bool isAnyWanted = std::find(wanted.begin(), wanted.end(), true) != wanted.end();
    __run.matchChoice->Take(std::move(wanted));
    return isAnyWanted;
}

/// A diff of all lines would say nothing.
void CFilePass::__ShowConversion(const stringEx& path, std::uint64_t size) {
    CCharacterSink count;
    __RunRoad({TASK::RESULT::FILE, size, 0, true}, count, nullptr);
    LOSSES losses = __road->GetLosses();
    if (losses.undecoded.count != 0) {
        losses.undecoded.line = 1 + __CountLines(losses.undecoded.place);
    }
    const std::uint64_t characters =
        losses.characters != 0 ? losses.characters : count.GetCharacters();
    stringEx line = ShownPath(path);
    line.append(": ")
        .append(__TextRun().in.name)
        .append(" to ")
        .append(__TextRun().out.name)
        .append(", ");
    line.append_ulong(characters, 10);
    line.append(characters == 1 ? " character, " : " characters, ");
    const stringEx lost = DescribeLosses(__TextRun(), losses);
    PrintText(line.append(lost.empty() ? stringEx("nothing lost") : lost).append("\n"));
}

void CFilePass::__Rewrite(CSysFile& target, std::uint64_t size, std::uint64_t place,
                          FILE_RESULT& result) {
    using ROOM = CInPlaceWriter::ROOM;
    const TASK task{TASK::RESULT::FILE, size, place, true};
    const std::uint64_t most = place + __road->GetMostBytes(size - place);
    CInPlaceWriter writer(target, size);
    CFileSink sink(writer, [&] {
        if (__holdsSignals) {
            result.untilTold = std::make_unique<CHeldSignals>();
        }
    });
    try {
        try {
            writer.Start(place, __road->KeepsPlaces() ? ROOM::SAME_SIZE : ROOM::AT_MOST, most);
            __RunRoad(task, sink, &writer);
        } catch (const CInPlaceWriter::SIZE_NEEDED&) {
            CMeasureSink measure;
            __RunRoad(task, measure, nullptr);
            writer.Start(place, ROOM::EXACT, place + measure.GetSize());
            __RunRoad(task, sink, &writer);
        }
    } catch (const std::bad_alloc&) {
        writer.Abandon();
    }
    writer.Finish();
}

/// One way along the road. The file must not be left half done without a word if it can't be read.
void CFilePass::__RunRoad(const TASK& task, ISink& sink, CInPlaceWriter* writer) {
    __source.Restart(task.place);
    __road->Start(task);
    for (bool isLast = false; !isLast;) {
        const BLOCK block = __Next(writer);
        isLast = block.isLast;
        __source.Take(__road->Take(block, sink));
    }
}

BLOCK CFilePass::__NextBlock() {
    const BLOCK block = __source.Next();
    __run.progress->Add(block.length);
    if (__holdsSignals) {
        __run.progress->Update();
    }
    return block;
}

BLOCK CFilePass::__Next(CInPlaceWriter* writer) {
    try {
        return __NextBlock();
    } catch (const sysfileExp& cause) {
        if (writer != nullptr) {
            writer->Abandon(cause);
        }
        throw;
    }
}

} // namespace Quil

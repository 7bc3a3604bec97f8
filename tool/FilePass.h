// What is done with one input: found out first whether there is anything to change, and only then
// changed.
//
// The first pass keeps nothing of the text. The second one begins where the first change is, and
// writes the result over the file as it goes.
#pragma once

#include "tool/BlockSource.h"
#include "tool/WayChoice.h"
#include "tool/file_result.h"
#include "tool/preview/Dialog.h"
#include "tool/road/road.h"
#include "tool/sink.h"
#include "util/text/byteEx.h"

#include <memory>

struct stat;

namespace Quil {

class CFileLocks;

/// Passes over inputs, one after the other, in memory of its own. The run must stay as it is
/// meanwhile. For one thread.
class CFilePass {
public:
    explicit CFilePass(const Run& run);
    ~CFilePass();

    /// A file of the list. Whatever fails is told of in the result. Where other threads pass over
    /// files of the run, `locks` is common to all.
    FILE_RESULT PassFile(const stringEx& path, CFileLocks* locks = nullptr);
    /// Standard input, to standard output.
    FILE_RESULT PassPipe();

private:
    void __Open(CSysFile& file, const stringEx& path);
    void __PassLocked(const stringEx& path, CSysFile& file, struct stat& state, FILE_RESULT& result,
                      CFileLocks& locks, std::uint64_t changes);
    template <class Pass>
    static void __Note(FILE_RESULT& result, Pass pass);
    void __PassRegular(const stringEx& path, CSysFile& file, const struct stat& state,
                       FILE_RESULT& result);
    bool __Take(WAY* way);
    bool __IsBinary();
    bool __CheckLosses(std::uint64_t size, FILE_RESULT& result);
    std::uint64_t __CountLines(std::uint64_t place);
    const Run& __TextRun() const { return __way->run; }
    void __ShowConversion(const stringEx& path, std::uint64_t size);
    void __PassDevice(const stringEx& path, FILE_RESULT& result);
    void __Print(std::uint64_t size, bool isAwaited, FILE_RESULT& result);
    void __Count(FILE_RESULT& result) const;
    bool __HasFound() const;
    bool __Look(std::uint64_t size, std::uint64_t& place);
    void __Change(const stringEx& path, const struct stat& state, std::uint64_t place,
                  FILE_RESULT& result);
    void __Warn(std::uint64_t place, FILE_RESULT& result);
    void __ShowDiff(const stringEx& path, std::uint64_t size);
    bool __Ask(const stringEx& path, std::uint64_t size);
    bool __AskEach(const stringEx& path, std::uint64_t size, unsigned long matches);
    void __Show(const stringEx& path, std::uint64_t size, FILE_RESULT& result);
    void __Rewrite(CSysFile& target, std::uint64_t size, std::uint64_t place, FILE_RESULT& result);
    void __RunRoad(const TASK& task, ISink& sink, CInPlaceWriter* writer);
    BLOCK __NextBlock();
    BLOCK __Next(CInPlaceWriter* writer);

    const Run& __run;
    CWayChoice __ways;
    WAY* __way;                       ///< that of the present input
    IRoad* __road;                    ///< its road, or the next one
    std::unique_ptr<IRoad> __byMatch; ///< on which matches may be left out; null: not needed yet
    ANSWER __rest = ANSWER::YES;      ///< what is to become of the files that come, unless YES
    CBlockSource __source;
    bool __holdsSignals = true; ///< by itself, while a file is changed
    stringEx __folderPath;      ///< of the last file
    CSysFile __folder;          ///< if the last two files are in it
    byteEx __all;               ///< an input that doesn't come by blocks
};

} // namespace Quil

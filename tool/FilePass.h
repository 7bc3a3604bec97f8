// What is done with one input: found out first whether there is anything to change, and only then
// changed.
//
// The first pass keeps nothing of the text. The second one begins where the first change is, and
// writes the result over the file as it goes.
#pragma once

#include "tool/BlockSource.h"
#include "tool/HeldSignals.h"
#include "tool/road/road.h"
#include "tool/sink.h"
#include "util/text/byteEx.h"

#include <memory>

struct stat;

namespace Quil {

/// What came of an input. What is to be printed of it is printed by who adds the inputs up.
struct FILE_RESULT {
    unsigned long count = 0; ///< replacements
    bool hasChanged = false; ///< the file was rewritten, or the result printed
    bool hasFailedToWrite = false;
    stringEx error; ///< the whole message, or nothing
    /// Signals that end the run wait until this is reported, if the file was touched.
    std::unique_ptr<CHeldSignals> untilReported{};
};

/// Passes over inputs, one after the other, in memory of its own. The run must stay as it is
/// meanwhile. For one thread.
class CFilePass {
public:
    explicit CFilePass(const Run& run) : __run(run), __road(ChooseRoad(run)) {}

    /// A file of the list. One that can't be read or written is told of in the result; any other
    /// failure is the exception of what failed.
    FILE_RESULT PassFile(const stringEx& path);
    /// Standard input, to standard output.
    FILE_RESULT PassPipe();

private:
    void __PassRegular(const stringEx& path, CSysFile& file, const struct stat& state,
                       FILE_RESULT& result);
    void __PassDevice(const stringEx& path, FILE_RESULT& result);
    void __Print(std::uint64_t size, bool isAwaited, FILE_RESULT& result);
    bool __HasFound() const;
    bool __Look(std::uint64_t size, std::uint64_t& place);
    void __Change(const stringEx& path, const struct stat& state, std::uint64_t place,
                  FILE_RESULT& result);
    void __Rewrite(CSysFile& target, std::uint64_t size, std::uint64_t place);
    void __RunRoad(const TASK& task, ISink& sink, CInPlaceWriter* writer);
    BLOCK __Next(CInPlaceWriter* writer);

    const Run& __run;
    std::unique_ptr<IRoad> __road;
    CBlockSource __source;
    byteEx __all; ///< an input that doesn't come by blocks
};

} // namespace Quil

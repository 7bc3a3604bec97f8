// Which way an input takes: that of its charset, which the run names or the input shows.
//
// Where the run is to find charsets out, it is one run for each that comes: the same switches, with
// another input's charset, and so another road.
#pragma once

#include "tool/BlockSource.h"
#include "tool/file_result.h"
#include "tool/road/road.h"
#include "util/conv/TextDetect.h"

#include <map>
#include <memory>
#include <optional>

namespace Quil {

class CPreview;

/// A road, the run that it serves, and what shows its changes if diffs are wanted.
struct WAY {
    const Run& run;
    std::unique_ptr<IRoad> road;
    std::unique_ptr<CPreview> preview;

    explicit WAY(const Run& run);
    ~WAY();
};

/// The ways of a run's inputs, made when they are first taken. The run stays as long as this. For
/// one thread.
class CWayChoice {
public:
    explicit CWayChoice(const Run& run);

    /// The way of inputs that needn't be looked at.
    WAY& GetUsual() { return *__usual; }

    /// That of the input that the source has just begun, which stands at its beginning again then.
    /// Null if the input is to be left alone; the result says why, unless there is no need.
    WAY* Choose(CBlockSource& source, bool isFile, FILE_RESULT& result);
    /// The same for an input that is there as a whole.
    WAY* Choose(std::string_view whole, FILE_RESULT& result);

private:
    WAY* __ChooseFor(const TEXT_FINDING& found, FILE_RESULT& result);
    bool __IsBigEndian(CBlockSource& source) const;

    const Run& __run;
    std::unique_ptr<WAY> __usual;
    std::unique_ptr<WAY> __bigEndian; ///< null where there is but one order of bytes
    std::optional<TTextDetect> __detect;
    std::map<stringEx, std::unique_ptr<WAY>> __found; ///< by charset; null: left alone
    std::vector<std::shared_ptr<const Run>> __runs;   ///< of those
};

/// Looks at the beginning of the source's input, which stands there again then: at a megabyte from
/// the first byte on that isn't ASCII, as far as the input can be read twice.
TEXT_FINDING FindCharset(TTextDetect& detect, CBlockSource& source, bool isFile);

/// "gb18030 by 56 of 100, or big5 by 30": for who is to decide.
stringEx DescribeFinding(const TEXT_FINDING& found);

} // namespace Quil

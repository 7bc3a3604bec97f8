// Unified diffs on standard output: in the files' own bytes, so that patch takes them; where
// somebody looks at them in the terminal's charset, and in colour if that is wanted.
#pragma once

#include "tool/preview/LineDiff.h"
#include "tool/run.h"

namespace Quil {

/// How paths are shown: from the working directory on, if they lie in it.
stringEx ShownPath(const stringEx& path);

/// Prints one file's hunks after the other's. For the main thread.
class CDiffPrinter {
public:
    /// @param run  whose charsets the texts are in; stays as long as this
    explicit CDiffPrinter(const Run& run);
    ~CDiffPrinter() noexcept = default;
    CDiffPrinter(const CDiffPrinter&) = delete;
    CDiffPrinter& operator=(const CDiffPrinter&) = delete;

    void StartFile(const stringEx& path);
    void Print(const DIFF_HUNK& hunk);

private:
    void __PrintHeader();
    void __PrintLine(const DIFF_LINE& line, const DIFF_LINE* other);
    std::string __Shown(const DIFF_LINE& line) const;

    const Run& __run;
    bool __isShown; ///< somebody looks at it
    bool __hasColor;
    CTextConvHandle __terminal; ///< to the terminal's charset
    stringEx __path;
    bool __hasHeader = false;
};

} // namespace Quil

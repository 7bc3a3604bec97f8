// What a run shows instead of changing a file: its diff, or only its name, or name and number.
#pragma once

#include "tool/preview/DiffPrinter.h"
#include "tool/preview/LineDiff.h"
#include "tool/road/road.h"

namespace Quil {

/// Shows one file after the other. For the main thread.
class CPreview final : public ISink {
public:
    explicit CPreview(const Run& run);

    /// Begins with a file, whose result comes by the calls below.
    void StartFile(const stringEx& path) { __printer.StartFile(path); }
    void Keep(std::string_view bytes) override { __diff.Same(bytes); }
    void Replace(std::string_view old, std::string_view bytes) override {
        __diff.Differ(old, bytes);
    }
    void FinishFile() { __diff.Finish(); }

private:
    CDiffPrinter __printer;
    CLineDiff __diff;
};

/// Prints the name of a file that would change, and with it, if the run wants that, the number of
/// replacements.
void PrintName(const Run& run, const stringEx& path, unsigned long count);

} // namespace Quil

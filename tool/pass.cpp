// The inputs one after the other, and what their results add up to.
#include "tool/pass.h"

#include "tool/FilePass.h"
#include "tool/standard_output.h"

#include <iostream>

namespace Quil {

namespace {

void ReportFile(const stringEx& path, unsigned long replCount) {
    stringEx line("\n## ");
    line.append_ulong(replCount, 10);
    line.append(" replacements in file: ").append(path).append("\n");
    PrintReport(line);
}

/// Adds up and reports what came of an input. After an error the run ends only if it was asked to.
PASS Add(Run& run, const stringEx& path, const FILE_RESULT& result) {
    run.foundAny = run.foundAny || result.count != 0;
    run.failedToWrite = run.failedToWrite || result.hasFailedToWrite;
    if (!result.error.empty()) {
        std::cerr << result.error;
        return run.errStop ? PASS::STOP : PASS::DONE;
    }
    if (result.hasChanged) {
        run.changedFile = true;
        run.totalCount += result.count;
        if (run.showFileCount && result.count != 0 && !run.stdioMode && !run.toStdout) {
            ReportFile(path, result.count);
        }
    }
    return PASS::DONE;
}

} // namespace

PASS PassOverInputs(Run& run) {
    CFilePass pass(run);
    if (run.stdioMode) {
        return Add(run, stEMPTY, pass.PassPipe());
    }
    for (const stringEx& path : run.fileList) {
        if (Add(run, path, pass.PassFile(path)) == PASS::STOP) {
            return PASS::STOP;
        }
    }
    return PASS::DONE;
}

} // namespace Quil

// The inputs one after the other, and what their results add up to.
#include "tool/pass.h"

#include "tool/FilePass.h"
#include "tool/ParallelPass.h"
#include "tool/Progress.h"
#include "tool/advice.h"
#include "tool/standard_output.h"
#include "util/text/RuleSearch.h"

#include <iostream>
#include <unistd.h>

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
    if (result.failure) {
        std::rethrow_exception(result.failure);
    }
    if (result.trouble != nullptr || !result.warning.empty() ||
        (result.hasChanged && run.showFileCount)) {
        run.progress->Hide();
    }
    for (const auto& [rule, count] : result.matches) {
        run.ruleCounts->Add(rule, count);
    }
    run.foundAny = run.foundAny || result.count != 0;
    run.failedToWrite = run.failedToWrite || result.hasFailedToWrite;
    run.hasLoss = run.hasLoss || result.hasLoss;
    run.isInDoubt = run.isInDoubt || result.isInDoubt;
    if (result.trouble != nullptr) {
        std::cerr << "[ERROR] " << result.trouble << path << "\n@ " << result.cause << "\n";
        run.hasPassedOver = run.hasPassedOver || !result.hasFailedToWrite;
        return run.errStop || result.endsRun ? PASS::STOP : PASS::DONE;
    }
    if (!result.warning.empty()) {
        std::cerr << "[WARNING] " << (path.empty() ? stringEx("standard input") : path) << ": "
                  << result.warning << "\n";
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

/// A line on the terminal must not come between other ones there.
bool WantsProgress(const Run& run) {
    const bool prints = run.stdioMode || run.toStdout || run.show != SHOW::NOTHING || run.asks;
    return run.wantsProgress && run.isWatched && (!prints || ::isatty(STDOUT_FILENO) == 0) &&
           !run.asks;
}

PASS PassInTurn(Run& run) {
    CFilePass pass(run);
    for (const stringEx& path : run.fileList) {
        run.progress->Begin(path);
        if (Add(run, path, pass.PassFile(path)) == PASS::STOP) {
            return PASS::STOP;
        }
    }
    return PASS::DONE;
}

PASS PassAtOnce(Run& run) {
    CParallelPass pass(run);
    for (const stringEx& path : run.fileList) {
        run.progress->Begin(path);
        const std::optional<FILE_RESULT> result = pass.Next();
        if (!result) {
            break;
        }
        Add(run, path, *result);
    }
    return PASS::DONE;
}

} // namespace

PASS PassOverInputs(Run& run) {
    CProgress progress(WantsProgress(run), run.fileList.size());
    run.progress = &progress;
    if (run.stdioMode) {
        return Add(run, stEMPTY, CFilePass(run).PassPipe());
    }
    // Where the first error is to end the run, or all goes to one output, there is one order.
    const bool isInTurn = run.jobs == 1 || run.errStop || run.toStdout ||
                          run.show != SHOW::NOTHING || run.asks || run.fileList.size() == 1;
    const PASS outcome = isInTurn ? PassInTurn(run) : PassAtOnce(run);
    if (run.isInDoubt) {
        Advise(run, "--report shows what each file may be in; --from-code=NAME says it, "
                    "--confidence=N takes less");
    }
    if (run.hasLoss) {
        Advise(run, "--from-code says what a text is really in; -force converts all the same, with "
                    "\"?\" for what is lost");
    }
    return outcome;
}

} // namespace Quil

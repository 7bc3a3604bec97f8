// Reading the inputs and writing the results; what lies between is the road's.
#include "tool/pass.h"

#include "tool/HeldSignals.h"
#include "tool/road/road.h"
#include "tool/standard_output.h"
#include "util/file/dir.h"
#include "util/sys/errhdl.h"

#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <unistd.h>

namespace Quil {

namespace {

/// All of descriptor 0, and behind it the one element that the end of a character stream reads as.
void ReadNarrowInput(byteEx& raw) {
    constexpr unsigned int BLOCK = 1024 * 1024;
    // A pipe that holds a whole block wakes both its ends less often. Other inputs refuse.
    fcntl(STDIN_FILENO, F_SETPIPE_SZ, BLOCK);
    for (;;) {
        if (raw.length() > byteEx::max_size() - BLOCK) {
            throw std::bad_alloc();
        }
        raw._grow(raw.length() + BLOCK);
        const ssize_t got = read(STDIN_FILENO, raw.ref() + raw.length(), BLOCK);
        if (got > 0) {
            raw.set_size(raw.length() + static_cast<unsigned int>(got));
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    raw.push_back(static_cast<unsigned char>(std::char_traits<char>::eof()));
}

/// All of the wide stream; the read that meets its end is kept like the others.
void ReadWideInput(byteEx& raw) {
    wstringEx text;
    do {
        text.push_back(static_cast<wchar_t>(std::wcin.get()));
    } while (std::wcin.good());
    raw = static_cast<byteEx>(text);
}

/// Says which file failed and why. The run ends there only if it was asked to.
PASS ReportFileFailure(const Run& run, const char* what, const stringEx& path, const qlExp& cause) {
    std::cerr << "[ERROR] " << what << path << "\n@ " << cause.GetErrString() << "\n";
    return run.errStop ? PASS::STOP : PASS::DONE;
}

void ReportFile(const stringEx& path, unsigned long replCount) {
    stringEx line("\n## ");
    line.append_ulong(replCount, 10);
    line.append(" replacements in file: ").append(path).append("\n");
    PrintReport(line);
}

/// Writes the result over the file, if there is one, and reports it.
PASS RewriteFile(Run& run, IRoad& road, const stringEx& path, unsigned long replCount) {
    if (replCount == 0 && run.findFunc != FIND::ANY) {
        return PASS::DONE;
    }
    const byteEx& bytes = road.Encode();
    const CHeldSignals untilWritten;
    try {
        CDir::WriteFile(path, bytes, false, false);
    } catch (qlExp& cause) {
        run.failedToWrite = true;
        return ReportFileFailure(run, "can't write to file: ", path, cause);
    }
    run.changedFile = true;
    run.totalCount += replCount;
    if (run.showFileCount && replCount != 0) {
        ReportFile(path, replCount);
    }
    return PASS::DONE;
}

/// One input: a file of the list, or standard input for a null path. `raw` lends its block.
PASS Pass(Run& run, IRoad& road, const stringEx* path, byteEx& raw) {
    raw.clear();
    if (path == nullptr) {
        run.in.isWide ? ReadWideInput(raw) : ReadNarrowInput(raw);
    } else {
        try {
            CDir::ReadFile(*path, raw);
        } catch (qlExp& cause) {
            return ReportFileFailure(run, "failed reading file: ", *path, cause);
        }
    }
    if (run.findFunc == FIND::NONE) {
        std::cerr << "[FATAL ERROR] unknown func!" << std::endl;
        return PASS::STOP;
    }
    const std::optional<unsigned long> replCount = road.Replace(raw);
    if (!replCount) {
        return PASS::DONE;
    }
    run.foundAny = run.foundAny || *replCount != 0;
    if (path == nullptr || run.toStdout) {
        road.Print();
        run.totalCount += *replCount;
        return PASS::DONE;
    }
    return RewriteFile(run, road, *path, *replCount);
}

} // namespace

PASS PassOverInputs(Run& run) {
    const std::unique_ptr<IRoad> road = ChooseRoad(run);
    byteEx raw;
    if (run.stdioMode) {
        return Pass(run, *road, nullptr, raw);
    }
    for (const stringEx& path : run.fileList) {
        if (Pass(run, *road, &path, raw) == PASS::STOP) {
            return PASS::STOP;
        }
    }
    return PASS::DONE;
}

} // namespace Quil

// What --report prints of files instead of changing them: what charset each is in, and how sure
// that is. A table for people; fields ended by NUL, or JSON, for programs.
#pragma once

#include "tool/BlockSource.h"
#include "tool/run.h"
#include "util/conv/TextDetect.h"

namespace Quil {

/// Reports one input after the other. For the main thread.
class CCharsetReport {
public:
    /// @param run  whose files it will be, and what it wants to be read of them; stays
    explicit CCharsetReport(const Run& run);

    /// Reports all inputs of the run. False if some couldn't be read, after saying so.
    bool PrintAll();

private:
    bool __PrintFile(const stringEx& path);
    TEXT_FINDING __Find(bool isFile);
    void __ReadOn(TEXT_FINDING& found);
    void __Print(const stringEx& path, const TEXT_FINDING& found);
    void __PrintHead() const;

    const Run& __run;
    TTextDetect __detect;
    CBlockSource __source;
    unsigned int __width = 0; ///< of the column of paths
};

} // namespace Quil

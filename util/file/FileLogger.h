// A logger that writes to a file of the system.
#pragma once

#include "util/base/visibility.h"
#include "util/sys/errhdl.h"
#include "util/sys/log.h"
#include "util/sys/time.h"

namespace QUIL_PUBLIC Quil {

/// Writes to a `File`, such as `CSysFile`, in the layout of the stream logger. It holds a copy,
/// which shares the position. What the file throws, the log drops.
template <class File>
class CFileLogger : public ILogger {
public:
    explicit CFileLogger(const File& file) : __file(file) {}

    void OnLogMsg(const CTime& time, CLog::LEVEL level, const stringEx& module,
                  const stringEx& message) override {
        __Write(IMPL::LogRecordHead(time, level, module));
        __Write(message);
        __Write(stringEx("\n\n"));
    }

    void Flush() override { __file.Flush(); }

private:
    /// One write may take less than it is given.
    void __Write(const stringEx& text) {
        for (unsigned int done = 0; done < text.length();) {
            const unsigned int written = __file.Write(text.data() + done, text.length() - done);
            if (written == 0) {
                throw logExp(0, "CFileLogger::OnLogMsg - failed write file");
            }
            done += written;
        }
    }

    File __file;
};

} // namespace Quil

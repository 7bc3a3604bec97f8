// How far a long run is, in one line at the bottom of the terminal.
//
// Nobody wants to see it of a short run or in a log, so it comes after a second, on a terminal
// only, and leaves nothing behind. There is no thread behind it: whoever does some work says so.
#pragma once

#include "util/text/stringEx.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace Quil {

/// The line of one run. For the main thread but for Add, which is for all.
class CProgress {
public:
    /// @param isWanted  whether there is to be one at all
    CProgress(bool isWanted, std::size_t files) : __isWanted(isWanted), __files(files) {}
    ~CProgress() { Hide(); }
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    /// So many bytes more were read.
    void Add(std::uint64_t bytes) { __bytes.fetch_add(bytes, std::memory_order_relaxed); }
    /// A file's turn has come.
    void Begin(const stringEx& path);
    /// Shows the line, if it is time.
    void Update();
    /// Takes the line away, since something is going to be printed.
    void Hide();

private:
    using CLOCK = std::chrono::steady_clock;

    void __Show(double seconds);

    bool __isWanted;
    std::size_t __files;
    std::size_t __begun = 0;
    std::atomic<std::uint64_t> __bytes{0};
    stringEx __path;
    CLOCK::time_point __start = CLOCK::now();
    CLOCK::time_point __shown = __start; ///< when it was shown last
    bool __isThere = false;
};

} // namespace Quil

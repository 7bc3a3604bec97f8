// New content for a file that has some, written in place so that a failure costs as little as it
// can.
//
// What is longer than the old content is written first, behind its end: as long as that can fail
// for want of room, cutting the file back makes it whole again. Only then the old bytes are
// overwritten, from the front, which needs no room; and what the old content had more is cut off
// last. Writing over pages that the file has is also several times faster than to empty it and fill
// it anew.
#pragma once

#include "util/file/sysfile.h"
#include "util/sys/errhdl.h"

#include <cstdint>

namespace Quil::IMPL {

/// Writes all bytes, in as many calls as it takes: one may stop short when the device fills up, and
/// the next one says why. `written` follows the count, for whoever catches the failure.
void WriteAll(CSysFile& file, const void* data, std::uint64_t size, std::uint64_t& written);

/// One such change of a file that is open for writing. Failures throw `sysfileExp` with the number
/// and text of their cause and a last detail line, "  file state = ", that says what the file holds
/// now. What isn't a regular file can be appended to; it has no size to be given, so new content in
/// place of the old is refused before anything is written. For one thread; the file is the
/// caller's.
class CFileRewrite {
public:
    explicit CFileRewrite(CSysFile& file);

    /// Makes the `size` bytes the file's content.
    void Overwrite(const void* data, std::uint64_t size);
    /// Puts the `size` bytes behind the file's content.
    void Append(const void* data, std::uint64_t size);
    /// Waits, if asked to, until the content has reached the device, and closes the file: some
    /// devices tell of their errors only here.
    void Finish(bool flush);

private:
    void __RefuseDevice();
    void __Reserve(std::uint64_t size);
    void __WriteBehind(const unsigned char* bytes, std::uint64_t size);
    void __WriteFront(const unsigned char* bytes, std::uint64_t size, std::uint64_t newSize);
    [[noreturn]] void __CutBack(const sysfileExp& cause);

    CSysFile& __file;
    const std::uint64_t __oldSize;
    std::uint64_t __written = 0; ///< bytes of the present stretch
};

} // namespace Quil::IMPL

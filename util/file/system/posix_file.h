// The system calls on descriptors that more than one class here makes, each with its failure in
// words. They take and give plain descriptors; ownership is the caller's business.
//
// `Exp` is the exception class of the caller's area: `sysfileExp` or `fmppExp`.

#pragma once

#include "util/text/stringEx.h"

#include <cstdint>

namespace Quil::IMPL {

/// Opens `path`, which is in the system's form. The words are those of `CSysFile::Open`. With a
/// `folder`, the descriptor of the one that the path names, only its last component is looked up.
template <class Exp>
int PosixOpenFile(const stringEx& path, unsigned long access, unsigned long mode,
                  unsigned long permissions, unsigned long options, int folder = -1);

/// Throws for a FIFO what reading its size would throw. Opening one already harms: the program at
/// its other end takes it for a reader or a writer, and loses its data or its life when it goes.
void PosixRefuseFifo(const stringEx& path);

/// A second descriptor for the same open file, closed in programs started from this one.
template <class Exp>
int PosixDuplicateFile(int descriptor);

template <class Exp>
void PosixCloseFile(int descriptor);

/// Moves the position of the descriptor by `whence` and answers the new one, in bytes.
std::int64_t PosixSeekFile(int descriptor, std::int64_t offset, int whence);

/// Sets a record lock of type F_RDLCK or F_WRLCK, or takes one off by F_UNLCK. Without `wait` the
/// answer is false when another process holds the range.
bool PosixLockFile(int descriptor, std::int64_t from, std::int64_t length, short type, bool wait);

} // namespace Quil::IMPL

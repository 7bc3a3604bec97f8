// A copy that can stand for the file that it is made from: with its mode and times, and whole or
// not there at all.
#pragma once

#include "util/text/stringEx.h"

namespace Quil::IMPL {

/// Copies the file to a path that must be free, with mode, times and, where the process may give it
/// away, owner. At no moment does the copy show anybody what the file doesn't. Throws `dirExp` or
/// `sysfileExp`, and then leaves nothing at `to`. `flush` waits for the device.
void CopyFileAsItIs(const stringEx& from, const stringEx& to, bool flush);

} // namespace Quil::IMPL

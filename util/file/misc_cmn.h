// What a text file ends its lines with.

#pragma once

#include "util/base/visibility.h"
#include "util/file/data_object.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace QUIL_PUBLIC Quil {

/// The first line end in the next `limit` bytes of a text: "\n", "\r\n" or "\r", or nothing when no
/// line ends there. The position is put back.
stringEx DetectTxtFileEL(const TSeekableSource& source, unsigned int limit);

/// The same in a text of 4-byte characters, `limit` in characters, which are in the machine's byte
/// order or, with `swapped`, in the other one.
wstringEx DetectWTxtFileEL(const TSeekableSource& source, unsigned int limit, bool swapped);

} // namespace Quil

// The buffer of bytes: `basic_buffer` without a terminator.
//
// Bytes have no use for a tail, so no operation reserves room for one or writes one. From that
// follows what differs from text: any prefix can be shared, since no terminator would be wrong
// behind it; cutting the end off changes the length alone; clearing a shared buffer lets go of its
// block.
#pragma once

#include "util/base/visibility.h"
#include "util/text/basic_buffer.h"

namespace QUIL_PUBLIC Quil {

using byte_buffer = basic_buffer<unsigned char>;

} // namespace Quil

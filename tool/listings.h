// The two listings of the encoding catalogue, and the gate that refuses a conversion outside it.
#pragma once

#include "util/text/stringEx.h"

namespace Quil {

/// Every accepted encoding with its code page and description.
stringEx EncodingListing();

/// Group by group, which conversions are held to lose nothing.
stringEx ConversionListing();

/// Whether the catalogue holds a conversion between the two named encodings to lose nothing. Says
/// why on standard output when it does not.
bool PassCompatibilityGate(const stringEx& from, const stringEx& to);

} // namespace Quil

// Charsets by the names that the world gives them: what --from-code and --to-code understand.
//
// The converters know many names, and some programs know others, or mean another table by one. So
// a list of the usual ones comes first; whatever it lacks is asked of the converters as it stands.
#pragma once

#include "tool/run.h"

namespace Quil {

/// What a name stands for. `isBigEndian` is for the forms of Unicode whose name tells no order of
/// bytes. False, after saying so with names that are near, for one that nobody knows.
bool FindCharset(const char* option, const stringEx& name, bool isBigEndian, CHARSET& charset);

/// Whether the name tells no order of bytes, and a text's mark has to.
bool HasOrderByMark(const stringEx& name);

/// The name by which people know a charset that the converters know by this one.
stringEx ShownCharset(const stringEx& name);

/// The name by which the converters know it; empty if they don't.
stringEx KnownCharset(const stringEx& name);

/// Whether two are one charset.
bool IsSameCharset(const CHARSET& a, const CHARSET& b);

/// All names that are known here, a charset a line.
stringEx CharsetListing();

} // namespace Quil

// What the tool prints when it is asked for help, or when its command line says too little.
#pragma once

namespace Quil {

/// The whole usage text, from its opening empty line to its closing one, terminated. The number in
/// its head is part of the text, which doesn't change; `--version` has the program's.
extern const char USAGE_TEXT[];

} // namespace Quil

// What the tool prints when it is asked for help, or when its command line says too little.
#pragma once

/// The command's version; a macro for use within texts.
#define TSUB_VERSION "2.3.6.1213"

namespace Quil {

/// The whole usage text, from its opening empty line to its closing one, terminated.
extern const char USAGE_TEXT[];

} // namespace Quil

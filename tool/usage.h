// What the tool prints when it is asked for help, or when its command line says too little.
#pragma once

namespace Quil {

/// The whole usage text, from its opening empty line to its closing one, terminated.
extern const char USAGE_TEXT[];

} // namespace Quil

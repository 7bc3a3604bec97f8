#include "util/base/version.h"

namespace Quil {

const char* Version() noexcept {
    return QUIL_VERSION; // from CMakeLists.txt, its one place
}

} // namespace Quil

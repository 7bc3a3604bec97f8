// Reads the machine's description from the system's configuration values.
#include "util/sys/platinfo.h"

#include <unistd.h>

namespace Quil {

CPlatInfo::CPlatInfo() {
    const long onLine = sysconf(_SC_NPROCESSORS_ONLN);
    __processorCount = onLine > 0 ? static_cast<unsigned int>(onLine) : 1;
}

const CPlatInfo& CPlatInfo::Get() {
    static const CPlatInfo info;
    return info;
}

} // namespace Quil

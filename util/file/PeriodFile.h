// CPeriodFile: a file of which a new one is begun each period.

#pragma once

#include "util/base/visibility.h"
#include "util/file/sysfile.h"

namespace QUIL_PUBLIC Quil {

/// A file with the name that its series goes by. When a new one begins is up to its user, who opens
/// it anew; as a file it is a CSysFile.
class CPeriodFile : public CSysFile {
public:
    CPeriodFile() = default;
    explicit CPeriodFile(const CSysFile& file) : CSysFile(file), __seriesName(file.GetFileName()) {}
    CPeriodFile(const CSysFile& file, const stringEx& seriesName)
        : CSysFile(file), __seriesName(seriesName) {}

    const stringEx& GetSeriesName() const { return __seriesName; }

private:
    stringEx __seriesName;
};

} // namespace Quil

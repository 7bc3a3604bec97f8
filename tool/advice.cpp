#include "tool/advice.h"

#include "tool/run.h"
#include "util/sys/errhdl.h"

#include <iostream>

namespace Quil {

void Advise(const Run& run, const stringEx& advice) {
    if (run.isWatched) {
        std::cerr << "@ " << advice << "\n";
    }
}

void ThrowAdvised(const Run& run, const qlExp& error, const stringEx& advice) {
    stringEx text = error.GetErrString();
    if (run.isWatched) {
        text.append("\n@ ").append(advice);
    }
    throw qlExp(error.GetErrCode(), text);
}

} // namespace Quil

#include "tool/sink.h"

#include "tool/standard_output.h"

namespace Quil {

void COutputSink::Keep(std::string_view bytes) {
    if (__held.size() + bytes.size() >= sm_together) {
        PrintText(__held);
        __held.clear();
        if (bytes.size() >= sm_together / 2) {
            PrintText(bytes);
            return;
        }
    }
    __held.append(bytes);
}

void COutputSink::Flush(bool isAwaited) {
    PrintText(__held);
    __held.clear();
    if (isAwaited) {
        FinishPrinting();
    }
}

} // namespace Quil

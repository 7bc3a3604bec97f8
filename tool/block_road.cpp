#include "tool/block_road.h"

#include <iostream>

namespace Quil {

namespace {

const char* AsText(const byteEx& bytes) {
    return static_cast<const char*>(static_cast<const void*>(bytes.data()));
}

} // namespace

bool CBlockRoad::CanServe(const Run& run) {
    return run.findFunc == FIND::any && !run.hasReplace && !run.inWide && !run.outWide &&
           CanGoByBlocks(*run.inConv) && CanGoByBlocks(*run.outConv);
}

CBlockRoad::CBlockRoad(const Run& run)
    : __run(run), __decoder(*run.inConv), __encoder(*run.outConv) {}

/// Decodes the first block, which tells whether there is a text at all.
std::optional<unsigned long> CBlockRoad::Replace(byteEx& raw) {
    __raw.swap(raw);
    __decoder.Start(__window, AsText(__raw), __raw.length());
    __decoder.Fill();
    if (__window.Length() == 0) {
        return std::nullopt;
    }
    if (*__window.Data() == __run.constants.wsUniSign[0]) {
        __window.Drop(1);
    }
    return 0;
}

/// Encodes what is in the window and all that is still to be decoded; `afterBlock` is called
/// between blocks and at the end.
template <class AfterBlock>
void CBlockRoad::__Convert(AfterBlock afterBlock) {
    std::size_t encoded = 0; // what of the input is in the result
    for (;;) {
        const std::size_t decoded = __decoder.GetPos();
        const bool isEnd = __decoder.IsAtEnd();
        __encoder.Encode(__window, isEnd, encoded, __decoder.GetLength());
        afterBlock();
        if (isEnd) {
            break;
        }
        encoded = decoded;
        __decoder.Fill();
    }
}

const byteEx& CBlockRoad::Encode() {
    __bytes = byteEx();
    __encoder.Start(__raw.length());
    if (__run.MarksUtf8()) {
        __encoder.PutBytes(AsText(__run.constants.btUtf8Sign), __run.constants.btUtf8Sign.length());
    }
    __Convert([] {});
    __bytes = static_cast<byteEx>(__encoder.Finish());
    return __bytes;
}

void CBlockRoad::Print() {
    __encoder.Start(__raw.length());
    __Convert([this] {
        std::cout << __encoder.Finish();
        __encoder.Restart();
    });
}

} // namespace Quil

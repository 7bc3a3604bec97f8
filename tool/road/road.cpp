#include "tool/road/road.h"

#include "tool/road/BlockRoad.h"
#include "tool/road/PlainRoad.h"
#include "tool/road/Utf8Road.h"

namespace Quil {

std::unique_ptr<IRoad> ChooseRoad(Run& run) {
    // What is only converted, and a literal, needs no more of the text at a time than a block;
    // expressions need it whole, and the raw wide forms pass no converter.
    std::unique_ptr<IRoad> general;
    if (CBlockRoad::CanServe(run)) {
        general = std::make_unique<CBlockRoad>(run);
    } else {
        general = std::make_unique<CPlainRoad>(run);
    }
    // In UTF-8 no character's bytes begin inside another's, so a literal that is found on the bytes
    // of a valid text is one that would be found on its characters, and what is decoded and not
    // changed encodes to the bytes that it came from.
    if (CUtf8Road::CanServe(run)) {
        return std::make_unique<CUtf8Road>(run, std::move(general));
    }
    return general;
}

} // namespace Quil

// One warning stands here: it is the user's to heed, and must not end his build.

#include "util/conv/TextConv.h"
#include "util/text/stringEx.h"

int main() {
    const int unused = 0;
    const Quil::CTextConvHandle conv = Quil::GainBestUTF8Conv();
    return conv->MBtoWC(Quil::stringEx("quil")).length() == 4 ? 0 : 1;
}

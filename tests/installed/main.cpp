// Uses a little of each part, so that what is missing in a library shows at once.
#include "util/base/version.h"
#include "util/conv/TextConv.h"
#include "util/file/dir.h"
#include "util/store/ISXFWriter.h"
#include "util/sys/errhdl.h"
#include "util/text/wstringEx.h"

#include <iostream>

int main() {
    Quil::wstringEx text = Quil::GainBestUTF8Conv()->MBtoWC(Quil::stringEx("a quill"));
    text.find_replace(L"quill", L"pen", 0, true);
    Quil::stringEx content;
    try {
        Quil::CDir::ReadFile("/nowhere/at all", content);
    } catch (const Quil::qlExp& expected) {
        std::cout << Quil::Version() << "\n";
        return text == L"a pen" ? 0 : 1;
    }
    return 1;
}

// Takes a text in one charset and gives it in others.

#include "util/conv/TextConv.h"
#include "util/sys/errhdl.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <iomanip>
#include <iostream>

using namespace Quil;

namespace {

void PrintBytes(const char* charset, const stringEx& bytes) {
    std::cout << std::setw(10) << std::left << charset << std::hex << std::uppercase;
    for (const char byte : bytes) {
        std::cout << " " << static_cast<unsigned int>(static_cast<unsigned char>(byte));
    }
    std::cout << std::dec << "\n";
}

} // namespace

int main() {
    try {
        // Whatever came in, from here on it is characters.
        const CTextConvHandle gbk = GainBestConvFor(0, "GBK");
        wstringEx text = gbk->MBtoWC("\xD1\xD5\xC9\xAB\xB1\xED: red, green");
        std::cout << text.length() << " characters\n";

        // Texts share what they hold until one of them changes.
        const wstringEx before = text;
        text.find_replace(L"green", L"r\u00F8d");
        std::cout << GainBestUTF8Conv()->WCtoMB(before) << "\n"
                  << GainBestUTF8Conv()->WCtoMB(text) << "\n";

        for (const char* const charset : {"GBK", "Shift_JIS", "UTF-8"}) {
            PrintBytes(charset, GainBestConvFor(0, charset)->WCtoMB(text.substr(0, 3)));
            if (!TTextConv::CouldConv("UTF-8", charset, nullptr)) {
                std::cout << "           may lack characters, each is \"?\" then\n";
            }
        }
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}

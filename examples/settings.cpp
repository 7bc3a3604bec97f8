// Keeps settings in a file, and reads and writes them as INI and CSV.

#include "util/store/Csv.h"
#include "util/store/FakeRegistry.h"
#include "util/sys/errhdl.h"

#include <iostream>

using namespace Quil;

int main() {
    try {
        CFakeRegistry settings;
        settings.ImportIni("; a comment\n"
                           "[window]\n"
                           "title = Notes\n"
                           "width = dword:800\n");
        settings.Set("window/recent/first", stringEx("a \"quoted\" name"));
        settings.Save("settings"); // the old file or the new one, whatever happens

        CFakeRegistry again;
        again.Load("settings");
        std::cout << again.Get("window/title", stringEx("none")) << " "
                  << again.GetNumber("window/width", 640) << " "
                  << again.GetNumber("window/height", 480) << "\n";

        CFakeRegistry::KEY_COOKIE cookie;
        stringEx name;
        while (again.EnumKey(cookie, "window", name)) {
            std::cout << "a key: " << name << "\n";
        }
        std::cout << again.ExportIni() << "\n" << again.ExportCsv().Format({';', '"', false});
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}

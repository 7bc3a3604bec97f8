#include "tool/locale_choice.h"

#include <clocale>
#include <cstdlib>
#include <cstring>

namespace Quil {

namespace {

constexpr char UTF8_LOCALE[] = "C.UTF-8";

/// Whether the environment's locale for characters, which is installed and taken, has a charset.
bool NamesCharset() {
    const char* const name = std::setlocale(LC_CTYPE, "");
    return name != nullptr && std::strcmp(name, "C") != 0 && std::strcmp(name, "POSIX") != 0;
}

/// LC_ALL, where it is set, hides the variable for characters alone.
const char* DecidingVariable() {
    const char* const all = std::getenv("LC_ALL");
    return all != nullptr && *all != '\0' ? "LC_ALL" : "LC_CTYPE";
}

} // namespace

void TakeLocale() {
    if (!NamesCharset()) {
        setenv(DecidingVariable(), UTF8_LOCALE, 1);
    }
    // One category that isn't installed refuses all of them; characters are to keep theirs then.
    if (std::setlocale(LC_ALL, "") == nullptr) {
        std::setlocale(LC_CTYPE, "");
    }
}

} // namespace Quil

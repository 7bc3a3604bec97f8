#include "tool/locale_choice.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

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
    // Nothing else of the locale shows in what the run does, and each category is a file to find.
    for (const int category : {LC_CTYPE, LC_MESSAGES}) {
        std::setlocale(category, "");
    }
}

} // namespace Quil

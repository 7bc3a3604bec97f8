#include "tool/Progress.h"

#include "tool/preview/DiffPrinter.h"

#include <cstdio>
#include <cwchar>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Quil {

namespace {

constexpr std::chrono::seconds PATIENCE(1);
constexpr std::chrono::milliseconds INTERVAL(100);
constexpr std::size_t USUAL_WIDTH = 80;

std::size_t TerminalWidth() {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isKnown ? size.ws_col : USUAL_WIDTH;
}

/// As much of a text in the locale's charset as has room in so many columns.
std::string CutTo(std::size_t columns, const std::string& text) {
    std::string cut;
    std::mbstate_t state{};
    for (std::size_t at = 0, used = 0; at < text.size();) {
        wchar_t wide = 0;
        const std::size_t length = std::mbrtowc(&wide, text.data() + at, text.size() - at, &state);
        const bool isGood = length != 0 && length <= text.size() - at && ::wcwidth(wide) >= 0;
        used += isGood ? static_cast<std::size_t>(::wcwidth(wide)) : 1;
        if (used > columns) {
            break;
        }
        cut += isGood ? text.substr(at, length) : "?";
        at += isGood ? length : 1;
        state = isGood ? state : std::mbstate_t{};
    }
    return cut;
}

std::string Amount(double bytes) {
    constexpr const char* UNITS[] = {"B", "KB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    constexpr double STEP = 1000;
    while (bytes >= STEP && unit + 1 < std::size(UNITS)) {
        bytes /= STEP;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, UNITS[unit]);
    return text;
}

} // namespace

void CProgress::Begin(const stringEx& path) {
    if (__isWanted) {
        ++__begun;
        __path = path;
        Update();
    }
}

void CProgress::Update() {
    if (!__isWanted) {
        return;
    }
    const auto now = CLOCK::now();
    if (now - __start >= PATIENCE && now - __shown >= INTERVAL) {
        __shown = now;
        __Show(std::chrono::duration<double>(now - __start).count());
    }
}

void CProgress::__Show(double seconds) {
    const auto bytes = static_cast<double>(__bytes.load(std::memory_order_relaxed));
    std::string line;
    if (__files != 0) {
        line = std::to_string(__begun == 0 ? 0 : __begun - 1) + " of " + std::to_string(__files) +
               (__files == 1 ? " file, " : " files, ");
    }
    line += Amount(bytes) + ", " + Amount(bytes / seconds) + "/s";
    if (!__path.empty()) {
        line += std::string("  ") + ShownPath(__path).c_str();
    }
    line = "\r" + CutTo(TerminalWidth() - 1, line) + "\x1B[K";
    __isThere = ::write(STDERR_FILENO, line.data(), line.size()) > 0;
}

void CProgress::Hide() {
    constexpr std::string_view ERASE = "\r\x1B[K";
    if (__isThere) {
        __isThere = ::write(STDERR_FILENO, ERASE.data(), ERASE.size()) < 0;
    }
}

} // namespace Quil

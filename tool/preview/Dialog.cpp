#include "tool/preview/Dialog.h"

#include "tool/standard_output.h"

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace Quil {

namespace {

using FILE_HANDLE = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

FILE_HANDLE OpenTerminal() {
    return {std::fopen("/dev/tty", "r+"), &std::fclose};
}

constexpr const char* HELP = "y: yes, this one\n"
                             "n: no, not this one\n"
                             "a: this one and all the rest\n"
                             "d: neither this one nor the rest\n"
                             "q: quit; what is done stays done\n";
constexpr const char* SPLIT_HELP = "s: ask for each match of this file\n";

} // namespace

bool CDialog::IsPossible() {
    return ::isatty(STDOUT_FILENO) != 0 && OpenTerminal() != nullptr;
}

ANSWER CDialog::Ask(const std::string& question, bool canSplit) const {
    const FILE_HANDLE terminal = OpenTerminal();
    FinishPrinting();
    while (terminal != nullptr) {
        std::fprintf(terminal.get(), "%s [y,n,a,d,q%s,?] ", question.c_str(), canSplit ? ",s" : "");
        std::fflush(terminal.get());
        char line[64];
        if (std::fgets(line, sizeof line, terminal.get()) == nullptr) {
            break;
        }
        switch (line[0]) {
        case 'y':
            return ANSWER::YES;
        case 'n':
            return ANSWER::NO;
        case 'a':
            return ANSWER::ALL;
        case 'd':
            return ANSWER::REST_NOT;
        case 'q':
            return ANSWER::QUIT;
        case 's':
            if (canSplit) {
                return ANSWER::SPLIT;
            }
            [[fallthrough]];
        default:
            std::fprintf(terminal.get(), "%s%s", HELP, canSplit ? SPLIT_HELP : "");
        }
    }
    return ANSWER::QUIT;
}

} // namespace Quil

// Asks somebody at the terminal which changes are to be made.
#pragma once

#include "tool/run.h"

#include <string>
#include <vector>

namespace Quil {

/// The matches of a file that somebody wants replaced; or, for a look at it, a single one.
class CMatchChoice final : public IChoice {
public:
    bool Wants(unsigned long match) const override {
        return __shown == NONE ? match < __wanted.size() && __wanted[match] : match == __shown;
    }
    void ShowOnly(unsigned long match) { __shown = match; }
    void Take(std::vector<bool> wanted) {
        __wanted = std::move(wanted);
        __shown = NONE;
    }

private:
    static constexpr unsigned long NONE = ~0UL;

    std::vector<bool> __wanted;
    unsigned long __shown = NONE;
};

enum class ANSWER { YES, NO, ALL, REST_NOT, QUIT, SPLIT };

/// One such terminal. For the main thread.
class CDialog {
public:
    /// Whether there is a terminal to ask on, and one that shows what it is about.
    static bool IsPossible();

    /// Asks until the answer is one that is offered. The end of the input is QUIT.
    ANSWER Ask(const std::string& question, bool canSplit) const;
};

} // namespace Quil

// The notes that scans leave for later scans of the same text.
#include "regex/match/runmemo.h"

namespace Quil::IMPL::engine {

void CRunMemo::reset() {
    if (!__on) {
        return;
    }
    __on = false;
    __interval = FIRSTINTERVAL;
    __ends.clear();
    __walked.clear();
}

void CRunMemo::follow(std::uint32_t generation) {
    if (generation == __generation) {
        return;
    }
    __generation = generation;
    __ends.clear();
    __walked.clear();
}

bool CRunMemo::recall(std::uint64_t place, std::uint32_t state, std::uint64_t& end) {
    const note here{place, state};
    if (const auto found = __ends.find(key(here)); found != __ends.end()) {
        end = found->second;
        return true;
    }
    if (__walked.size() == MOSTNOTES) {
        thinout();
    }
    __walked.push_back(here);
    return false;
}

void CRunMemo::settle(std::uint64_t end) {
    if (__ends.size() + __walked.size() > MOSTNOTES) {
        __ends.clear(); // mostly notes on places that the search has left behind
    }
    for (const note& n : __walked) {
        __ends.emplace(key(n), end != NONE && end <= n.place ? end : NONE);
    }
    __walked.clear();
}

/// One scan alone fills the memo: keep every other checkpoint, here and from now on.
void CRunMemo::thinout() {
    __interval *= 2;
    __ends.clear();
    std::erase_if(__walked, [this](const note& n) { return n.place % __interval != 0; });
}

} // namespace Quil::IMPL::engine

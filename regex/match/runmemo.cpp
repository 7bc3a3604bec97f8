// The notes that scans leave for later scans of the same text.
#include "regex/match/runmemo.h"

namespace Quil::IMPL::engine {

void CRunMemo::reset() {
    if (!on_)
        return;
    on_ = false;
    interval_ = FIRSTINTERVAL;
    ends_.clear();
    walked_.clear();
}

void CRunMemo::follow(std::uint32_t generation) {
    if (generation == generation_)
        return;
    generation_ = generation;
    ends_.clear();
    walked_.clear();
}

bool CRunMemo::recall(std::uint64_t place, std::uint32_t state, std::uint64_t& end) {
    const note here{place, state};
    if (const auto found = ends_.find(key(here)); found != ends_.end()) {
        end = found->second;
        return true;
    }
    if (walked_.size() == MOSTNOTES)
        thinout();
    walked_.push_back(here);
    return false;
}

void CRunMemo::settle(std::uint64_t end) {
    if (ends_.size() + walked_.size() > MOSTNOTES)
        ends_.clear(); // mostly notes on places that the search has left behind
    for (const note& n : walked_)
        ends_.emplace(key(n), end != NONE && end <= n.place ? end : NONE);
    walked_.clear();
}

/// One scan alone fills the memo: keep every other checkpoint, here and from now on.
void CRunMemo::thinout() {
    interval_ *= 2;
    ends_.clear();
    std::erase_if(walked_, [this](const note& n) { return n.place % interval_ != 0; });
}

} // namespace Quil::IMPL::engine

// Reading begins and ends off the marks.
#include "regex/runs.h"

#include <bit>

namespace Quil::IMPL::engine {

namespace {

constexpr auto BLOCK = static_cast<std::ptrdiff_t>(MARKEDCHARS);

} // namespace

template <class Chr>
void TRuns<Chr>::set(const color* colors, const colorset& set, const TCellSet<Chr>& cells) {
    colors_ = colors;
    set_ = set;
    exact_ = cells.boxes(MOSTWORDS + 1).size() <= MOSTWORDS;
    search_.set({{cells.boxes(MOSTWORDS)}}, 1, 0);
}

template <class Chr>
void TRuns<Chr>::mark(const Chr* block, const Chr* stop) {
    block_ = block;
    if (exact_ && stop - block >= BLOCK) {
        marks_ = search_.mark(block);
        return;
    }
    marks_ = 0;
    for (std::ptrdiff_t i = 0; i < BLOCK && i < stop - block; ++i)
        marks_ |= std::uint64_t{holds(block[i])} << i;
}

template <class Chr>
const Chr* TRuns<Chr>::next(const Chr* from, const Chr* stop, const Chr*& end) {
    std::uint64_t rest = 0;
    if (block_ != nullptr && from >= block_ && from - block_ < BLOCK)
        rest = marks_ >> (from - block_);
    else
        block_ = nullptr;
    while (rest == 0) {
        // Runs may be far apart: the search for one goes faster than marking.
        from = search_.find(block_ ? behind(stop) : from, stop, stop);
        if (from == stop) {
            block_ = nullptr;
            return nullptr;
        }
        mark(from, stop);
        rest = marks_;
    }
    const Chr* const begin = from + std::countr_zero(rest);
    std::uint64_t others = ~marks_ >> (begin - block_);
    for (end = begin; others == 0; others = ~marks_) {
        if ((end = behind(stop)) == stop)
            return begin;
        mark(end, stop);
    }
    end += std::countr_zero(others);
    return begin;
}

template class TRuns<char>;
template class TRuns<wchar_t>;
template class TRuns<unsigned char>;

} // namespace Quil::IMPL::engine

// The greedy walk over diagonals: after d steps, how far one can be on each diagonal of the table
// of both lists, going along equal lines for nothing. The rows are kept, so that the way can be
// walked back.
#include "tool/preview/edit_script.h"

#include <algorithm>

namespace Quil {

namespace {

constexpr std::ptrdiff_t MOST_STEPS = 512;

/// A place in the table: lines of the old and of the new list that are dealt with.
struct PLACE {
    std::ptrdiff_t old;
    std::ptrdiff_t changed;
};

class CWalk {
public:
    CWalk(const std::vector<std::string_view>& old, const std::vector<std::string_view>& changed)
        : __old(old), __new(changed) {}

    /// The places from the end of the way back to its begin: of each step that after it, and, if
    /// equal lines follow, that behind them.
    std::vector<PLACE> Run() {
        std::ptrdiff_t diagonal = 0;
        for (std::ptrdiff_t steps = 0; steps <= MOST_STEPS; ++steps) {
            if (__Step(steps, diagonal)) {
                break;
            }
        }
        return __WalkBack(diagonal);
    }

private:
    static constexpr std::ptrdiff_t NOWHERE = -1;
    using ROW = std::vector<std::ptrdiff_t>; // by diagonal, the old lines that are dealt with

    static std::ptrdiff_t At(const ROW& row, std::ptrdiff_t diagonal) {
        const auto middle = static_cast<std::ptrdiff_t>(row.size() / 2);
        return row[static_cast<std::size_t>(middle + diagonal)];
    }

    /// Whether the step onto the diagonal puts a line in. Else it leaves one out.
    static bool IsPutIn(const ROW& last, std::ptrdiff_t steps, std::ptrdiff_t diagonal) {
        return diagonal == -steps ||
               (diagonal != steps && At(last, diagonal - 1) < At(last, diagonal + 1));
    }

    /// How far one is by that step; NOWHERE if there is none.
    static std::ptrdiff_t Enter(const ROW& last, std::ptrdiff_t steps, std::ptrdiff_t diagonal) {
        if (IsPutIn(last, steps, diagonal)) {
            return At(last, diagonal + 1);
        }
        const std::ptrdiff_t from = At(last, diagonal - 1);
        return from == NOWHERE ? NOWHERE : from + 1;
    }

    std::ptrdiff_t __AlongEqual(std::ptrdiff_t o, std::ptrdiff_t diagonal) const {
        const auto oldSize = static_cast<std::ptrdiff_t>(__old.size());
        const auto newSize = static_cast<std::ptrdiff_t>(__new.size());
        while (o < oldSize && o - diagonal < newSize && o - diagonal >= 0 &&
               __old[static_cast<std::size_t>(o)] ==
                   __new[static_cast<std::size_t>(o - diagonal)]) {
            ++o;
        }
        return o;
    }

    /// One more step on all diagonals. True at the end of both lists; `best` is the diagonal there,
    /// or that on which most is dealt with.
    bool __Step(std::ptrdiff_t steps, std::ptrdiff_t& best) {
        const auto oldSize = static_cast<std::ptrdiff_t>(__old.size());
        const auto newSize = static_cast<std::ptrdiff_t>(__new.size());
        ROW row(static_cast<std::size_t>(2 * steps + 3), NOWHERE);
        const std::ptrdiff_t middle = steps + 1;
        std::ptrdiff_t most = -1;
        for (std::ptrdiff_t diagonal = -steps; diagonal <= steps; diagonal += 2) {
            const std::ptrdiff_t entered = steps == 0 ? 0 : Enter(__rows.back(), steps, diagonal);
            if (entered < 0 || entered > oldSize || entered - diagonal > newSize ||
                entered < diagonal) {
                continue;
            }
            const std::ptrdiff_t o = __AlongEqual(entered, diagonal);
            row[static_cast<std::size_t>(middle + diagonal)] = o;
            if (2 * o - diagonal > most) {
                most = 2 * o - diagonal;
                best = diagonal;
            }
        }
        __rows.push_back(std::move(row));
        return most == oldSize + newSize || most < 0;
    }

    std::vector<PLACE> __WalkBack(std::ptrdiff_t diagonal) const {
        std::vector<PLACE> places;
        for (auto steps = static_cast<std::ptrdiff_t>(__rows.size()) - 1; steps >= 0; --steps) {
            const std::ptrdiff_t o = At(__rows[static_cast<std::size_t>(steps)], diagonal);
            const ROW* const last =
                steps > 0 ? &__rows[static_cast<std::size_t>(steps) - 1] : nullptr;
            const std::ptrdiff_t entered = last != nullptr ? Enter(*last, steps, diagonal) : 0;
            places.push_back({o, o - diagonal});
            if (entered != o) {
                places.push_back({entered, entered - diagonal});
            }
            if (last != nullptr) {
                diagonal += IsPutIn(*last, steps, diagonal) ? 1 : -1;
            }
        }
        return places;
    }

    const std::vector<std::string_view>& __old;
    const std::vector<std::string_view>& __new;
    std::vector<ROW> __rows;
};

} // namespace

std::vector<EDIT> FindEditScript(const std::vector<std::string_view>& old,
                                 const std::vector<std::string_view>& changed, bool isAll) {
    std::vector<EDIT> edits;
    std::vector<PLACE> places = CWalk(old, changed).Run();
    PLACE at{0, 0};
    EDIT edit{0, 0, 0, 0};
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        const std::ptrdiff_t left = place->old - at.old;
        const std::ptrdiff_t added = place->changed - at.changed;
        at = *place;
        if (left > 0 && left == added) { // equal lines
            edits.push_back(edit);
            edit = {static_cast<std::size_t>(at.old), 0, static_cast<std::size_t>(at.changed), 0};
        } else {
            edit.oldCount += static_cast<std::size_t>(left);
            edit.newCount += static_cast<std::size_t>(added);
        }
    }
    const bool isThere = at.old == static_cast<std::ptrdiff_t>(old.size()) &&
                         at.changed == static_cast<std::ptrdiff_t>(changed.size());
    if (isAll && isThere) {
        edits.push_back(edit);
    } else if (!edits.empty()) {
        edits.push_back({edit.old, 0, edit.changed, 0});
    }
    return edits;
}

} // namespace Quil

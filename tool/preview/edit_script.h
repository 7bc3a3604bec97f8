// The shortest way to make one list of lines of another by leaving out and putting in.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Quil {

/// From the old line `old` on so many are left out, and from the new line `changed` on so many put
/// in. An edit that does neither only says how far the lists are alike.
struct EDIT {
    std::size_t old;
    std::size_t oldCount;
    std::size_t changed;
    std::size_t newCount;
};

/// The edits in their order, up to where the lists last meet: what lies behind that may be the
/// begin of something else. With `isAll` the lists are complete, and so are the edits. Where too
/// much differs it is the way that comes farthest by so many steps; empty if the lists don't meet.
std::vector<EDIT> FindEditScript(const std::vector<std::string_view>& old,
                                 const std::vector<std::string_view>& changed, bool isAll);

} // namespace Quil

#include "tool/option/nearest.h"

#include <algorithm>

namespace Quil {

namespace {

constexpr unsigned int LONGEST = 64; ///< nobody mistypes more

/// The number of steps from one word to the other, by rows of a table: for each prefix of `a` how
/// far it is from every prefix of `b`.
unsigned int Distance(const stringEx& a, const stringEx& b) {
    std::vector<unsigned int> older(b.length() + 1);
    std::vector<unsigned int> last(b.length() + 1);
    std::vector<unsigned int> row(b.length() + 1);
    for (unsigned int k = 0; k <= b.length(); ++k) {
        last[k] = k;
    }
    for (unsigned int i = 1; i <= a.length(); ++i) {
        row[0] = i;
        for (unsigned int k = 1; k <= b.length(); ++k) {
            const unsigned int changed = last[k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1);
            row[k] = std::min({last[k] + 1, row[k - 1] + 1, changed});
            if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1]) {
                row[k] = std::min(row[k], older[k - 2] + 1);
            }
        }
        older.swap(last);
        last.swap(row);
    }
    return last[b.length()];
}

stringEx Lower(const stringEx& text) {
    stringEx lower(text.c_str(), text.length());
    lower.make_lower(0, stringEx::npos);
    return lower;
}

} // namespace

stringEx FindNearest(const stringEx& typed, const std::vector<stringEx>& names) {
    const stringEx wanted = Lower(typed.substr(0, LONGEST));
    stringEx nearest;
    unsigned int least = wanted.length() / 3 + 1;
    for (const stringEx& name : names) {
        const unsigned int distance = Distance(wanted, Lower(name));
        if (distance < least || (distance == least && nearest.empty())) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

} // namespace Quil

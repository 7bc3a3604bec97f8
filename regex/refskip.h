// Leaping over beginnings at which a back reference can't hold. Where a group and the reference to
// it stand at fixed distances from a match's begin, two runs of the text have to be alike there,
// and they are compared many beginnings at a time, before any automaton looks at the text.
#pragma once

#include "regex/nodes.h"

namespace Quil::IMPL::engine {

/// What one back reference asks of the text, by distances from a match's begin. Value type; the
/// compiled form is borrowed while it is made only.
template <class Chr>
class TReferenceSkip {
    using pattern = typename chrtraits<Chr>::pattern;

public:
    /// Looks for a back reference that every match must meet, at a fixed place of it.
    explicit TReferenceSkip(const guts<pattern>& g);

    /// There is none: every beginning must be tried.
    bool empty() const { return length_ == 0; }
    /// The first begin of [begin, stop] at which the reference may hold, or null. True of it is
    /// only that the first characters are alike.
    const Chr* find(const Chr* begin, const Chr* stop) const;

private:
    /// Characters of a reference that are compared: more would seldom tell more.
    static constexpr std::ptrdiff_t ENOUGH = 2;

    void take(std::ptrdiff_t group, std::ptrdiff_t reference, std::ptrdiff_t length);
    bool holds(const Chr* begin) const;
    const Chr* findexact(const Chr* begin, const Chr* last) const;

    std::ptrdiff_t group_ = 0;     // where the group begins
    std::ptrdiff_t reference_ = 0; // where its text must stand again
    std::ptrdiff_t length_ = 0;    // so many characters of it, at most ENOUGH
    bool anycase_ = false;
};

extern template class TReferenceSkip<char>;
extern template class TReferenceSkip<wchar_t>;
extern template class TReferenceSkip<unsigned char>;

} // namespace Quil::IMPL::engine

// Leaping over beginnings at which a back reference can't hold. Where a group and the reference to
// it lie is often told by a match's begin alone: they stand at fixed distances from it, or what is
// between ends at the first of certain characters. Then the text says whether the two are alike
// before any automaton looks at it; with fixed distances, for many beginnings at a time.
#pragma once

#include "regex/filter/hinge.h"
#include "regex/match/nodes.h"

#include <array>
#include <vector>

namespace Quil::IMPL::engine {

/// What one back reference asks of the text. Borrows the environment; the compiled form is borrowed
/// while it is made only.
template <class Chr>
class TReferenceSkip {
    using pattern = typename chrtraits<Chr>::pattern;

public:
    /// Looks for a back reference that every match must meet, at a place that its begin tells.
    TReferenceSkip(const guts<pattern>& g, const scanenv<Chr>& env);

    /// There is none: every beginning must be tried.
    bool empty() const { return __fixed.length == 0 && !__walks; }
    /// The text is another one, or ends somewhere else.
    void newtext();
    /// The first begin of [begin, stop] at which the reference may hold, or null.
    const Chr* find(const Chr* begin, const Chr* stop);

private:
    /// Characters of a reference at a fixed distance that are compared: more seldom tell more.
    static constexpr std::ptrdiff_t ENOUGH = 2;
    static constexpr std::size_t MOSTPLACES = 8;
    static constexpr std::size_t UNKNOWN = MOSTPLACES;

    /// A reference at a fixed distance from its group.
    struct fixedreference {
        std::ptrdiff_t group = 0;     // where the group begins
        std::ptrdiff_t reference = 0; // where its text must stand again
        std::ptrdiff_t length = 0;    // so many characters of it, at most ENOUGH
    };
    /// How a place of the match follows from an earlier one.
    struct step {
        std::size_t from = 0;
        std::ptrdiff_t distance = 0; // the least, if there is a hinge
        CHinge hinge;
        const Chr* lookedfrom = nullptr; // the last answer: between here and ...
        const Chr* found = nullptr;      // ... there, it is still that
    };
    /// A node that each match passes, and the places where it begins and ends.
    struct part {
        const subre* node;
        std::size_t begin;
        std::size_t end;
    };
    struct span {
        std::size_t begin = UNKNOWN;
        std::size_t end = UNKNOWN;
    };

    void lookforfixed(const guts<pattern>& g);
    void lookforwalk(const guts<pattern>& g);
    void lookforshared();
    std::size_t meet(const subre& node, std::size_t begin);
    bool alike(const Chr* a, const Chr* b, std::ptrdiff_t length) const;
    const Chr* findexact(const Chr* begin, const Chr* last) const;
    const Chr* follow(step& how, const Chr* from, const Chr* stop) const;
    bool holds(const Chr* begin, const Chr* stop);
    const Chr* passunlike(const Chr* begin, const Chr* stop) const;

    const scanenv<Chr>& __env;
    const bool __anycase;
    fixedreference __fixed;
    std::vector<step> __steps; // the one at i gives place i + 1; place 0 is the begin
    span __group;
    std::size_t __reference = UNKNOWN;
    bool __walks = false; // by the steps, as nothing is fixed
    /// The step with the one hinge, and how far behind the begin it starts and the group begins.
    struct {
        std::size_t hinge = 0;
        std::ptrdiff_t lead = 0;
        std::ptrdiff_t from = 0;
    } __shared;
    bool __shares = false;                         // most places are those of the next begin too
    std::array<const Chr*, MOSTPLACES> __places{}; // of the last begin
};

extern template class TReferenceSkip<char>;
extern template class TReferenceSkip<wchar_t>;
extern template class TReferenceSkip<unsigned char>;

} // namespace Quil::IMPL::engine

// What earlier scans of the same text came to, so that scans that meet don't walk the same way
// twice. Two scans of one DFA that are in the same state at the same place end alike. A search that
// looks far ahead from place after place (`a(b.*c)?` where no c follows, `(?=.*b)`) would look at
// the text's rest each time; with a note at every few characters the second scan ends where it
// meets the first, and the whole run over the text stays linear.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace Quil::IMPL::engine {

/// Ends of scans by (place, state) at checkpoints. Places are counted back from the text's stop, as
/// searches that follow each other begin at different places of one text. Bounded: when it is full,
/// the checkpoints are thinned out.
class CRunMemo {
public:
    static constexpr std::uint64_t NONE = ~std::uint64_t{0};
    /// A scan that goes further than this beyond what it found turns the memo on.
    static constexpr std::ptrdiff_t WASTE = 64;

    bool on() const { return __on; }
    void turnon() { __on = true; }
    /// For a new text, or another meaning of its end. Off again.
    void reset();
    /// Forgets the notes, as `generation` says that state numbers have changed.
    void follow(std::uint32_t generation);

    std::uint64_t interval() const { return __interval; }
    /// At a checkpoint of a scan: true if an earlier scan was here, with where it ended in `end`
    /// (NONE for no end at or behind this place). Else the place is noted for `settle`.
    bool recall(std::uint64_t place, std::uint32_t state, std::uint64_t& end);
    /// The scan is over and found `end`, or NONE: enters it for every place noted on the way.
    void settle(std::uint64_t end);

private:
    static constexpr std::uint64_t FIRSTINTERVAL = 16;
    static constexpr std::size_t MOSTNOTES = std::size_t{1} << 18;

    struct note {
        std::uint64_t place;
        std::uint32_t state;
    };
    // A text has fewer than 2^31 characters, so the two don't overlap.
    static std::uint64_t key(const note& n) { return n.place << 32 | n.state; }
    void thinout();

    std::unordered_map<std::uint64_t, std::uint64_t> __ends;
    std::vector<note> __walked;
    std::uint64_t __interval = FIRSTINTERVAL;
    std::uint32_t __generation = 0;
    bool __on = false;
};

} // namespace Quil::IMPL::engine

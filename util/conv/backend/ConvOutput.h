// The growing end of a conversion's destination: converters write into the string's own block,
// which is grown by what the rest of the text is expected to need.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

namespace Quil::IMPL {

/// Fills a string (stringEx or wstringEx) from a source of known size. Between two growths the free
/// room behind what is written is the caller's. Large blocks grow without moving their pages, so
/// the estimate need not be generous: it follows the density of what has been converted so far.
///
/// The string's length is not kept up to date meanwhile; Finish sets it. When a conversion is left
/// by an exception the string is empty.
template <class String>
class CConvOutput {
public:
    using ELEMENT = typename String::value_type;

    /// Empties `dst`, whose block is used again if nobody else holds it. A view is let go: its
    /// memory isn't the string's to write on.
    explicit CConvOutput(String& dst) : __dst(dst) {
        if (__dst.is_static()) {
            __dst = String();
        }
        __dst.clear();
    }
    CConvOutput(const CConvOutput&) = delete;
    CConvOutput& operator=(const CConvOutput&) = delete;

    ~CConvOutput() {
        if (!__finished && __dst.capacity() != 0) {
            __dst._eofonly(0);
        }
    }

    /// Free room for at least `room` elements; `done` and `total` tell how far the source is read,
    /// in units of its own. Answers where to write. Throws std::bad_alloc.
    ELEMENT* Reserve(std::size_t room, std::size_t done, std::size_t total) {
        if (GetRoom() < room) {
            __Grow(room, done, total);
        }
        return &__dst.front() + __written;
    }

    /// The elements that can be written now; one is always kept for the terminator.
    std::size_t GetRoom() const {
        const std::size_t capacity = __dst.capacity();
        return capacity > __written ? capacity - __written - 1 : 0;
    }

    /// True when there isn't room any more for what a step may write. This output grows.
    static constexpr bool IsFull() { return false; }

    /// Tells that `count` elements were written.
    void Advance(std::size_t count) { __written += count; }

    /// Appends one element; there must be room.
    void Append(ELEMENT element) { (&__dst.front())[__written++] = element; }

    /// Makes what is written the string's content.
    void Finish() {
        if (__written != 0) {
            __dst._eofonly(static_cast<unsigned int>(__written));
        }
        __finished = true;
    }

    /// Begins anew at the string's start, in the block that it has.
    void Restart() {
        __dst.clear();
        __written = 0;
        __finished = false;
    }

private:
    void __Grow(std::size_t room, std::size_t done, std::size_t total) {
        const std::uint64_t limit = String::max_size();
        const std::uint64_t needed = __written + std::uint64_t{room} + 1;
        if (needed > limit) {
            throw std::bad_alloc();
        }
        // Without a sample an element a unit, for a start; with one, its density and a little on
        // top.
        const double rest = done == 0
                                ? static_cast<double>(std::min(total, sm_firstSample))
                                : static_cast<double>(total - done) * sm_slack *
                                      static_cast<double>(__written) / static_cast<double>(done);
        const double expected =
            std::min(static_cast<double>(needed) + rest, static_cast<double>(limit));
        __ReserveUpTo(static_cast<unsigned int>(needed), static_cast<unsigned int>(expected));
    }

    /// The estimate, or only what is needed when there isn't memory for the estimate.
    void __ReserveUpTo(unsigned int needed, unsigned int expected) {
        // What is written must survive the growth, whatever the string thinks its length is.
        __dst.set_length(static_cast<unsigned int>(__written));
        try {
            __dst.reserve(expected);
        } catch (const std::bad_alloc&) {
            __dst.reserve(needed);
        }
    }

    static constexpr double sm_slack = 1.02;
    static constexpr std::size_t sm_firstSample = std::size_t{1} << 20;

    String& __dst;
    std::size_t __written = 0;
    bool __finished = false;
};

} // namespace Quil::IMPL

// What a fuzz target makes its case from: bytes, which a fuzzer changes and a replay reads from a
// file.
//
// Small choices come from the front, texts behind them, so that a changed byte changes little else.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Quil::FUZZ {

/// Ends the process, as a fuzzer expects it of a fault that it found.
inline void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "doesn't hold: %s\n", what);
        std::abort();
    }
}

/// Takes values from the front of the input. When it has ended all are 0, or empty.
class CFuzzInput {
public:
    CFuzzInput(const std::uint8_t* bytes, std::size_t size) : __next(bytes), __end(bytes + size) {}

    bool IsAtEnd() const { return __next == __end; }
    unsigned int Byte() { return IsAtEnd() ? 0 : *__next++; }
    bool Flag() { return (Byte() & 1) != 0; }
    /// A number below `limit`, which is 256 at most.
    unsigned int Below(unsigned int limit) { return Byte() % limit; }
    std::uint64_t Number() {
        std::uint64_t number = 0;
        for (unsigned int count = Below(9); count != 0; --count) {
            number = number << 8 | Byte();
        }
        return number;
    }
    template <class T, std::size_t SIZE>
    const T& OneOf(const T (&choices)[SIZE]) {
        return choices[Below(SIZE)];
    }
    /// A text of up to `most` bytes; 255 at most.
    std::string Text(unsigned int most) {
        const auto rest = static_cast<std::size_t>(__end - __next);
        const std::size_t length = std::min<std::size_t>(Below(most + 1), rest > 0 ? rest - 1 : 0);
        const std::string text(reinterpret_cast<const char*>(__next), length);
        __next += length;
        return text;
    }
    /// All that is left.
    std::string Rest() {
        const std::string text(__next, __end);
        __next = __end;
        return text;
    }

private:
    const std::uint8_t* __next;
    const std::uint8_t* __end;
};

} // namespace Quil::FUZZ

/// What each target is: it has to be repeatable, and to end the process for what is wrong.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

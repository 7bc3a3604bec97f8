// The engine's ways against each other: every match of a text with all its groups, by the plain
// scans and with all short cuts, on the three kinds of text.
#pragma once

#include "tests/regex/engine.h"

#include <algorithm>
#include <initializer_list>
#include <random>
#include <sys/mman.h>

namespace test {

/// Room for texts with nothing before it, and nothing behind it, that could be read. For the whole
/// of the program.
template <class Chr>
class guardedroom {
public:
    guardedroom() {
        char* const all = static_cast<char*>(
            mmap(nullptr, 3 * SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(all, SIZE, PROT_NONE);
        mprotect(all + 2 * SIZE, SIZE, PROT_NONE);
        __begin = reinterpret_cast<Chr*>(all + SIZE);
    }
    /// A copy of the text at one of the room's two ends.
    const Chr* put(const std::basic_string<Chr>& text, bool atend) {
        Chr* const at = atend ? __begin + SIZE / sizeof(Chr) - text.size() : __begin;
        std::copy(text.begin(), text.end(), at);
        return at;
    }

private:
    static constexpr std::size_t SIZE = std::size_t{1} << 20; // bytes, whole pages
    Chr* __begin;
};

/// Every match of a text, one after the other as a replace-all finds them. Nothing around the text
/// can be read.
template <class Chr>
std::string sweep(Quil::TRegexContext<Chr>& context, const std::basic_string<Chr>& text,
                  std::size_t slots) {
    static guardedroom<Chr> room;
    static bool atend = false;
    atend = !atend;
    context.settext(room.put(text, atend), text.size());
    std::vector<Quil::regmatch_t> m(slots);
    std::string all;
    for (std::size_t from = 0; from <= text.size();) {
        const bool within = from > 0 && text[from - 1] != Chr('\n');
        if (context.exec(from, slots, m.data(), within ? Quil::REG_NOTBOL : 0) != Quil::REG_OKAY) {
            break;
        }
        all += std::to_string(from) + ": " + print(m) + "\n";
        from += static_cast<std::size_t>(m[0].rm_eo) + (m[0].rm_so == m[0].rm_eo ? 1 : 0);
    }
    return all;
}

/// Compares the ways on one text; says whether there was a match at all.
bool comparesweeps(const std::wstring& pattern, int flags, const std::wstring& text);

/// Compares the ways on textures of each alphabet, of lengths up to `most` by steps of 1 to `step`,
/// with and without regard to case and line feeds; and again with as many dots as `around` says
/// before each, and behind it. Answers how many texts had a match.
std::size_t sweeptextures(std::initializer_list<const wchar_t*> patterns,
                          std::initializer_list<const wchar_t*> alphabets, std::size_t most,
                          std::size_t step, std::size_t around = 0);

/// A text in which runs are often alike.
std::wstring texture(std::mt19937& seed, std::size_t length, const std::wstring& alphabet);

} // namespace test

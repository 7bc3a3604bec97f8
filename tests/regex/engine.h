// The two engines under one face, for tests that run on both.
#pragma once

#include "regex/regcontext.h"
#include "regex/regex.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

// The test framework includes the C library's matcher, whose macros take the engine's names.
#undef REG_EXTENDED
#undef REG_ICASE
#undef REG_NEWLINE
#undef REG_NOSUB
#undef REG_NOTBOL
#undef REG_NOTEOL
#undef REG_STARTEND

namespace Quil {

inline bool operator==(const regmatch_t& a, const regmatch_t& b) {
    return a.rm_so == b.rm_so && a.rm_eo == b.rm_eo;
}

} // namespace Quil

namespace test {

template <class Chr>
struct engine;

template <>
struct engine<char> {
    static constexpr auto comp = Quil::sre_comp;
    static constexpr auto exec = Quil::sre_exec;
    static constexpr auto free = Quil::sregfree;
};

template <>
struct engine<wchar_t> {
    static constexpr auto comp = Quil::wre_comp;
    static constexpr auto exec = Quil::wre_exec;
    static constexpr auto free = Quil::wregfree;
};

template <class Chr>
std::basic_string<Chr> widen(const std::string& s) {
    return std::basic_string<Chr>(s.begin(), s.end());
}

inline std::string narrow(const std::wstring& s) {
    std::string out;
    for (const wchar_t c : s) {
        out += c < 128 ? static_cast<char>(c) : '?';
    }
    return out;
}

inline std::wstring times(std::size_t count, const std::wstring& text) {
    std::wstring all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// A compiled expression with its owner.
template <class Chr>
class expression {
public:
    expression(const std::basic_string<Chr>& pattern, int flags)
        : __error(engine<Chr>::comp(&__re, pattern.data(), pattern.size(), flags)) {}
    ~expression() {
        if (__error == Quil::REG_OKAY) {
            engine<Chr>::free(&__re);
        }
    }
    expression(const expression&) = delete;
    expression& operator=(const expression&) = delete;

    int error() const { return __error; }
    Quil::regex_t* handle() { return &__re; }
    /// Spans of the match and `slots` groups in all, or as many as there are; empty for no match.
    std::vector<Quil::regmatch_t> exec(const std::basic_string<Chr>& text, int flags,
                                       std::size_t slots = 0) {
        std::vector<Quil::regmatch_t> m(slots ? slots : __re.re_nsub + 1);
        const int code =
            engine<Chr>::exec(&__re, text.data(), text.size(), nullptr, m.size(), m.data(), flags);
        return code == Quil::REG_OKAY ? m : std::vector<Quil::regmatch_t>{};
    }

private:
    Quil::regex_t __re{};
    int __error;
};

/// The same by a context, from a place of the text on.
template <class Chr>
std::vector<Quil::regmatch_t> exec(Quil::TRegexContext<Chr>& context,
                                   const std::basic_string<Chr>& text, std::size_t from,
                                   std::size_t slots, int flags) {
    std::vector<Quil::regmatch_t> m(slots);
    context.settext(text.data(), text.size());
    const int code = context.exec(from, slots, m.data(), flags);
    return code == Quil::REG_OKAY ? m : std::vector<Quil::regmatch_t>{};
}

/// "0-3 1-2 -": spans, and "-" for a group that took no part.
inline std::string print(const std::vector<Quil::regmatch_t>& matches) {
    std::string s;
    for (const auto& m : matches) {
        s += s.empty() ? "" : " ";
        s += m.rm_so == -1 ? "-" : std::to_string(m.rm_so) + "-" + std::to_string(m.rm_eo);
    }
    return s;
}

} // namespace test

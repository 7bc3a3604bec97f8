// Sweeps of one text by every way.
#include "tests/regex/sweep.h"

namespace test {

namespace {

template <class Chr>
std::basic_string<Chr> converted(const std::wstring& text) {
    std::basic_string<Chr> out;
    for (const wchar_t c : text) {
        out += static_cast<Chr>(c);
    }
    return out;
}

} // namespace

bool comparesweeps(const std::wstring& pattern, int flags, const std::wstring& text) {
    expression<wchar_t> e(pattern, flags);
    if (e.error() != Quil::REG_OKAY) {
        return false;
    }
    const std::size_t slots = e.handle()->re_nsub + 1;
    Quil::TRegexContext<wchar_t> plain(e.handle()), fast(e.handle());
    plain.setfastroads(false);
    const std::string expected = sweep(plain, text, slots);
    const std::string name = narrow(pattern) + " on '" + narrow(text) + "'";
    EXPECT_EQ(sweep(fast, text, slots), expected) << name;

    const wchar_t most = text.empty() ? L'\0' : *std::max_element(text.begin(), text.end());
    if (most < 256) {
        Quil::TRegexContext<unsigned char> bytes(e.handle());
        EXPECT_EQ(sweep(bytes, converted<unsigned char>(text), slots), expected) << name;
    }
    // The narrow engine reads some expressions otherwise.
    expression<char> narrowed(converted<char>(pattern), flags);
    if (most < 256 && narrowed.error() == Quil::REG_OKAY) {
        Quil::TRegexContext<char> plainchars(narrowed.handle()), chars(narrowed.handle());
        plainchars.setfastroads(false);
        const auto subject = converted<char>(text);
        EXPECT_EQ(sweep(chars, subject, slots), sweep(plainchars, subject, slots)) << name;
    }
    return !expected.empty();
}

std::size_t sweeptextures(std::initializer_list<const wchar_t*> patterns,
                          std::initializer_list<const wchar_t*> alphabets, std::size_t most,
                          std::size_t step, std::size_t around) {
    using namespace Quil;
    const std::wstring tail(around, L'.');
    std::mt19937 seed(12);
    std::size_t found = 0;
    for (const wchar_t* const pattern : patterns) {
        for (const int flags :
             {REG_ADVANCED, REG_ADVANCED | REG_ICASE, REG_ADVANCED | REG_NEWLINE}) {
            for (const wchar_t* const alphabet : alphabets) {
                for (std::size_t length = 0; length < most; length += 1 + seed() % step) {
                    const std::wstring text = texture(seed, length, alphabet);
                    found += comparesweeps(pattern, flags, text) ? 1 : 0;
                    if (around != 0) {
                        comparesweeps(pattern, flags, text + tail);
                        comparesweeps(pattern, flags, tail + text);
                    }
                }
            }
        }
    }
    return found;
}

std::wstring texture(std::mt19937& seed, std::size_t length, const std::wstring& alphabet) {
    std::wstring text;
    while (text.size() < length) {
        if (text.size() > 4 && seed() % 3 == 0) {
            text += text.substr(text.size() - 1 - seed() % 4, 1 + seed() % 4);
        } else {
            text += alphabet[seed() % alphabet.size()];
        }
    }
    text.resize(length);
    return text;
}

} // namespace test

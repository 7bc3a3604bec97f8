// The blockwise validation of UTF-8 against a decoder that re-encodes what it decoded.
#include "util/conv/Utf8Validation.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace Quil;

namespace {

/// The shortest form of a character.
std::string Encoded(unsigned int c) {
    const auto rest = [c](unsigned int shift) {
        return static_cast<char>(0x80U | (c >> shift & 0x3FU));
    };
    if (c < 0x80)
        return {static_cast<char>(c)};
    if (c < 0x800)
        return {static_cast<char>(0xC0U | c >> 6), rest(0)};
    if (c < 0x10000)
        return {static_cast<char>(0xE0U | c >> 12), rest(6), rest(0)};
    return {static_cast<char>(0xF0U | c >> 18), rest(12), rest(6), rest(0)};
}

/// Takes as many bytes as the first one asks for and compares with what they should have been.
std::size_t PlainLength(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        unsigned int c = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length && at + i < text.size(); ++i)
            c = c << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
        const bool isCharacter = c < 0x110000 && (c < 0xD800 || c > 0xDFFF);
        if (!isCharacter || text.compare(at, length, Encoded(c)) != 0)
            break;
        at += length;
    }
    return at;
}

TEST(Utf8Validation, AgreesWithAPlainDecoder) {
    std::mt19937 random(5);
    const unsigned int edges[] = {0x7F,   0x80,   0x7FF,  0x800,   0xD7FF,
                                  0xE000, 0xFFFF, 0x4E2D, 0x10000, 0x10FFFF};
    const unsigned char odd[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1,
                                 0xC2, 0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        const unsigned int foreign = random() % 4; // of four characters, outside ASCII
        for (auto n = random() % 120; n != 0; --n)
            text += random() % 4 < foreign ? Encoded(edges[random() % std::size(edges)]) : "a";
        if (round % 4 != 0 && !text.empty())
            text[random() % text.size()] = static_cast<char>(odd[random() % std::size(odd)]);
        if (round % 5 == 0)
            text.resize(random() % (text.size() + 1));
        ASSERT_EQ(IMPL::ValidUtf8Length(text.data(), text.size()), PlainLength(text))
            << testing::PrintToString(text);
        std::size_t ascii = 0;
        while (ascii < text.size() && static_cast<unsigned char>(text[ascii]) < 0x80)
            ++ascii;
        ASSERT_EQ(IMPL::AsciiLength(text.data(), text.size()), ascii);
    }
}

} // namespace

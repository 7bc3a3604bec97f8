// The two roads of the UTF-8 converter, its own and the library's, against each other.

#include "util/conv/TextLibIConv.h"
#include "util/conv/codec/utf8_runs.h"
#include "util/conv/utf8_codec.h"
#include "util/conv/utf8_validation.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace Quil;

namespace {

/// A generator of 32-bit values.
using RANDOM =
    std::mersenne_twister_engine<std::uint32_t, 32, 624, 397, 31, 0x9908b0df, 11, 0xffffffff, 7,
                                 0x9d2c5680, 15, 0xefc60000, 18, 1812433253>;

/// The converter by its own road and by the library's.
class CRoads {
public:
    CRoads() { __library.UseLibraryOnly(); }

    void ExpectSameDecoding(const std::string& text) const {
        const stringEx narrow(text.data(), static_cast<unsigned int>(text.size()));
        const wstringEx wide = __own.MBtoWC(narrow);
        ASSERT_TRUE(wide == __library.MBtoWC(narrow)) << testing::PrintToString(text);
    }

    void ExpectSameEncoding(const std::wstring& text) const {
        const wstringEx wide(text.data(), static_cast<unsigned int>(text.size()));
        const stringEx narrow = __own.WCtoMB(wide);
        ASSERT_TRUE(narrow == __library.WCtoMB(wide)) << testing::PrintToString(text);
    }

private:
    CTextLibIConv __own{stringEx("UTF-8")};
    CTextLibIConv __library{stringEx("UTF-8")};
};

/// A code point of the ranges between which sequences change their length or their standing.
std::uint32_t RandomCode(RANDOM& random) {
    static constexpr std::uint32_t edges[] = {
        0,        0x7F,      0x80,      0x7FF,      0x800,      0xD7FF,    0xD800,
        0xDFFF,   0xE000,    0xFFFF,    0x10000,    0x10FFFF,   0x110000,  0x1FFFFF,
        0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    switch (random() % 8) {
    case 0:
        return edges[random() % std::size(edges)];
    case 1:
        return 0x80 + random() % 0x800;
    case 2:
    case 3:
        return 0x4E00 + random() % 0x5000;
    case 4:
        return 0x1F000 + random() % 0x1000;
    default:
        return ' ' + random() % 0x5F;
    }
}

/// Runs of one kind of character, as texts have them.
std::wstring RandomText(std::size_t length, RANDOM& random) {
    std::wstring text;
    while (text.size() < length) {
        const std::uint32_t code = RandomCode(random);
        for (std::size_t run = 1 + random() % 24; run > 0; --run) {
            text += static_cast<wchar_t>(code);
        }
    }
    return text;
}

/// The bytes of a code by the scheme of one to six bytes, whether or not it is allowed.
void AppendSequence(std::string& text, std::uint32_t code, unsigned int length) {
    static constexpr unsigned int leads[] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    for (unsigned int i = 0; i < length; ++i) {
        const std::uint32_t bits = code >> 6 * (length - 1 - i);
        text += static_cast<char>(i == 0 ? leads[length] | bits : 0x80 | (bits & 0x3F));
    }
}

/// The length of a code's shortest sequence, or of a longer one where there is none.
unsigned int NaturalLength(std::uint32_t code) {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : code < 0x200000 ? 4 : 6;
}

std::string RandomBytes(std::size_t length, RANDOM& random) {
    std::string text;
    while (text.size() < length) {
        const std::uint32_t code = RandomCode(random) & 0x7FFFFFFF;
        const unsigned int natural = NaturalLength(code);
        const bool overlong = random() % 40 == 0;
        for (std::size_t run = 1 + random() % 24; run > 0; --run) {
            AppendSequence(text, code, overlong && natural < 6 ? natural + 1 : natural);
        }
    }
    for (std::size_t spoils = random() % 4; spoils > 0; --spoils) {
        text[random() % text.size()] = static_cast<char>(random());
    }
    text.resize(text.size() - random() % std::min<std::size_t>(4, text.size()));
    return text;
}

TEST(Utf8Roads, DecodeEveryBeginningOfASequenceAlike) {
    const CRoads roads;
    // every lead with every second byte, and third ones at the edges
    for (unsigned int lead = 0x80; lead < 0x100; ++lead) {
        std::string text;
        for (unsigned int second = 0; second < 0x100; ++second) {
            for (const char third : {'a', '\x7F', '\x80', '\x90', '\xBF', '\xC0', '\xFF'}) {
                text += static_cast<char>(lead);
                text += static_cast<char>(second);
                text += third;
                text += '\x80';
            }
        }
        roads.ExpectSameDecoding(text);
    }
}

/// The bytes that both the decoder and the validation take for valid.
std::size_t ValidLength(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    const std::size_t read =
        IMPL::DecodeUtf8(wide.data(), wide.size(), text.data(), text.size()).read;
    EXPECT_EQ(IMPL::ValidUtf8Length(text.data(), text.size()), read)
        << testing::PrintToString(text);
    return read;
}

/// Takes as many bytes as the first one asks for and compares with what they should have been.
std::size_t PlainLength(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const unsigned int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length && at + i < text.size(); ++i) {
            code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
        }
        std::string shortest;
        AppendSequence(shortest, code, NaturalLength(code));
        const bool isCharacter = code < 0x110000 && (code < 0xD800 || code > 0xDFFF);
        if (!isCharacter || text.compare(at, length, shortest) != 0) {
            break;
        }
        at += length;
    }
    return at;
}

TEST(Utf8Roads, ValidateAsAPlainDecoder) {
    RANDOM random(5);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = RandomBytes(1 + random() % 120, random);
        ASSERT_EQ(ValidLength(text), PlainLength(text)) << testing::PrintToString(text);
        std::size_t ascii = 0;
        while (ascii < text.size() && static_cast<unsigned char>(text[ascii]) < 0x80) {
            ++ascii;
        }
        ASSERT_EQ(IMPL::AsciiLength(text.data(), text.size()), ascii);
    }
}

// In front of a run of ASCII that the next vector begins.
TEST(Utf8Roads, ValidateWhatABlocksEndCuts) {
    for (const std::string cut :
         {"\xF0\x90\x80", "\xF4\x8F", "\xE4\xB8", "\xC3", "\xED\x9F", "\xF0"}) {
        for (std::size_t before = 0; before < 140; ++before) {
            const std::string text = std::string(before, 'a') + cut + std::string(130, 'a');
            ASSERT_EQ(ValidLength(text), before);
        }
    }
}

TEST(Utf8Roads, ConvertAlikeWithVectorsAndWithout) {
    const CRoads roads;
    RANDOM random(9);
    constexpr std::size_t count = 40;
    for (const bool useVectors : {true, false}) {
        IMPL::UseVectorRuns(useVectors);
        for (std::size_t pos = 0; pos < count; ++pos) {
            for (const std::uint32_t code :
                 {0x20U, 0x7FU, 0x7FFU, 0x800U, 0xD7FFU, 0xD800U, 0xDFFFU, 0xE000U, 0xFFFFU,
                  0x10000U, 0x110000U, 0x4E00U + 0x10000U, 0x80004E00U, 0xFFFFFFFFU}) {
                std::wstring text(count, L'\u4E2D');
                text[pos] = static_cast<wchar_t>(code);
                roads.ExpectSameEncoding(text);
            }
            for (std::size_t byte = 3 * pos; byte < 3 * pos + 3; ++byte) {
                std::string text;
                for (std::size_t i = 0; i < count; ++i) {
                    text += "\xED\x9F\xBF"; // the last one before the surrogates
                }
                for (unsigned int value = 0x20; value < 0x100; value += 0x10) {
                    text[byte] = static_cast<char>(value | (random() & 0xF));
                    roads.ExpectSameDecoding(text);
                    ValidLength(text);
                }
                EXPECT_EQ(ValidLength(text.substr(0, byte)), 3 * pos);
            }
        }
        for (int round = 0; round < 3000; ++round) {
            roads.ExpectSameDecoding(RandomBytes(1 + random() % 300, random));
            roads.ExpectSameEncoding(RandomText(1 + random() % 200, random));
        }
        for (int round = 0; round < 4; ++round) {
            roads.ExpectSameDecoding(RandomBytes(400000, random));
            roads.ExpectSameEncoding(RandomText(200000, random));
        }
    }
    IMPL::UseVectorRuns(true);
}

} // namespace

// Conversion by blocks, and by the codecs that blocks go through, against conversion at once by the
// library alone: all charsets, hostile bytes, and the ends of blocks everywhere in a sequence.

#include "tests/conv/texts.h"
#include "util/conv/TextLibIConv.h"
#include "util/conv/block_conversion.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <random>
#include <string>

using namespace Quil;
using namespace Quil::TEST;

namespace {

// Beside the charsets of the catalogue: byte orders and marks, shift states, characters that are
// held back, longer sequences, EBCDIC.
constexpr const char* moreNames[] = {
    "UTF16LE",    "UTF16BE",      "UTF16",          "UTF-32",        "UTF-32BE",   "UCS-4",
    "UNICODE",    "EUC-JISX0213", "SHIFT_JISX0213", "TSCII",         "CP1258",     "TCVN5712-1",
    "ISO_6937",   "T.61-8BIT",    "IBM037",         "IBM930",        "IBM1390",    "CP932",
    "CP950",      "INIS",         "ANSI_X3.110",    "ISO-2022-JP-3", "ISO-IR-193", "UTF8",
    "UTF-7-IMAP", "GBBIG5",       "EUC-JP-MS",      "IBM1047"};

std::vector<std::string> KnownNames() {
    std::vector<std::string> names;
    const auto add = [&names](const char* name) {
        const iconv_t known = iconv_open(name, "WCHAR_T");
        if (known != reinterpret_cast<iconv_t>(-1)) {
            iconv_close(known);
            names.emplace_back(name);
        }
    };
    TTextConv::ENC_COOKIE cookie;
    stringEx name;
    TTextConv::ENCINFO info;
    while (TTextConv::EnumEncoding(cookie, name, info)) {
        add(name.c_str());
    }
    for (const char* const more : moreNames) {
        add(more);
    }
    return names;
}

/// Runs of characters of many scripts, some that are none, and those that encoders drop or hold.
std::wstring RandomText(std::size_t length, std::mt19937& random) {
    const std::uint32_t ranges[][2] = {{0x20, 0x60},    {0x20, 0x60},     {0xA0, 0x60},
                                       {0x300, 0x180},  {0x1EA0, 0x60},   {0x3040, 0xC0},
                                       {0x4E00, 0x200}, {0x4E00, 0x5000}, {0xAC00, 0x2000},
                                       {0, 0x10000},    {0x1F000, 0x600}, {0xE0000, 0x80}};
    std::wstring text;
    while (text.size() < length) {
        const auto& range = ranges[random() % std::size(ranges)];
        for (auto run = random() % 30; run != 0; --run) {
            text += static_cast<wchar_t>(range[0] + random() % range[1]);
        }
        if (random() % 16 == 0) {
            text += random() % 2 == 0 ? L'\n' : static_cast<wchar_t>(random());
        }
    }
    return text;
}

stringEx Spoilt(const stringEx& text, std::mt19937& random) {
    stringEx spoilt(text.c_str(), text.length());
    for (unsigned int i = 0; i < text.length() / 300; ++i) {
        spoilt.at(static_cast<unsigned int>(random() % text.length())) =
            static_cast<char>(random());
    }
    if (!spoilt.empty()) {
        spoilt.erase(spoilt.length() - static_cast<unsigned int>(random() % 3));
    }
    return spoilt;
}

/// Decodes by a window of `size` characters, from blocks of `piece` bytes, and joins the windows.
std::wstring DecodeByBlocks(CBlockDecoder& decoder, const stringEx& text, std::size_t size,
                            std::size_t piece) {
    CWideWindow window(size);
    std::wstring all;
    decoder.Start(window, text.length());
    for (std::size_t begin = 0, end = 0; end < text.length();) {
        end = std::min<std::size_t>(end + piece, text.length());
        for (std::size_t read = 1; read != 0 && begin < end;) {
            read = decoder.Fill(text.data() + begin, end - begin, end == text.length());
            begin += read;
            all.append(window.Data(), window.Length());
            window.Clear();
        }
    }
    return all;
}

stringEx EncodeByBlocks(CBlockEncoder& encoder, const std::wstring& text) {
    CWideWindow window;
    stringEx all;
    encoder.Start(text.size());
    for (std::size_t pos = 0; pos != text.size();) {
        pos += window.Put(text.data() + pos, text.size() - pos);
        all += encoder.Encode(window, pos == text.size());
    }
    return all;
}

TEST(BlockConversion, GivesWhatAConversionAtOnceGives) {
    std::mt19937 random(31);
    const std::vector<std::string> names = KnownNames();
    EXPECT_GT(names.size(), 70U);
    for (const std::string& name : names) {
        const CTextLibIConv conv{stringEx(name.c_str())};
        CBlockDecoder decoder(conv);
        CBlockEncoder encoder(conv);
        CTextLibIConv library{stringEx(name.c_str())};
        library.UseLibraryOnly();
        for (unsigned int round = 0; round < 4; ++round) {
            // Each round shifts the text against the blocks.
            const std::wstring text =
                std::wstring(round, L'a') + RandomText(round == 0 ? 20 : 80000, random);
            const stringEx narrow = library.WCtoMB(Wide(text));
            ASSERT_TRUE(EncodeByBlocks(encoder, text) == narrow) << name << " round " << round;
            for (const stringEx& bytes : {narrow, Spoilt(narrow, random)}) {
                const wstringEx wide = library.MBtoWC(bytes);
                const std::size_t size = round % 2 == 0 ? CWideWindow::sm_usualSize : 200;
                // How the library judges a spoilt escape may depend on how much of it it sees.
                const bool isTrue = round == 3 && bytes == narrow;
                const std::size_t piece = isTrue ? 1 : 5000 + random() % 5000;
                ASSERT_TRUE(Wide(DecodeByBlocks(decoder, bytes, size, piece)) == wide)
                    << name << " round " << round;
            }
        }
    }
}

TEST(BlockConversion, EndsBlocksAtEveryPosition) {
    std::mt19937 random(32);
    for (const char* const name :
         {"UTF-8", "GBK", "GB18030", "EUC-TW", "SHIFT_JIS", "UTF-16LE", "UTF-7", "ISO-2022-JP",
          "ISO-2022-KR", "BIG5-HKSCS", "TCVN", "UHC"}) {
        const CTextLibIConv conv{stringEx(name)};
        CBlockDecoder decoder(conv);
        CTextLibIConv library{stringEx(name)};
        library.UseLibraryOnly();
        const stringEx bytes = Spoilt(library.WCtoMB(Wide(RandomText(700, random))), random);
        const wstringEx wide = library.MBtoWC(bytes);
        for (std::size_t size = 64; size < 400; ++size) {
            ASSERT_TRUE(Wide(DecodeByBlocks(decoder, bytes, size, size - 63)) == wide)
                << name << ' ' << size;
        }
    }
}

bool IsSame(const LOSS& loss, const LOSS& other) {
    return loss.count == other.count && loss.place == other.place && loss.element == other.element;
}

// Each character, byte and pair, in texts so long that they go by tables; what is lost is told.
TEST(BlockConversion, ConvertsAtOnceAsTheLibraryDoes) {
    std::mt19937 random(99);
    std::string pairs;
    for (unsigned int pair = 0; pair < 0x10000; ++pair) {
        pairs += {static_cast<char>(pair >> 8), static_cast<char>(pair)};
    }
    pairs += '\x81'; // and the text ends in a lead byte
    std::wstring all;
    for (wchar_t c = 0; c < 0x20000; ++c) {
        all += c;
    }
    while (all.size() < 530000) {
        all += RandomText(2000, random) + std::wstring(random() % 40, L'x');
    }
    const wstringEx wide = Wide(all);
    for (const std::string& name : KnownNames()) {
        const CTextLibIConv conv{stringEx(name.c_str())};
        CTextLibIConv library{stringEx(name.c_str())};
        library.UseLibraryOnly();
        stringEx narrow, encoded;
        wstringEx expected, decoded;
        const LOSS unencoded = EncodeWhole(library, narrow, wide);
        EXPECT_TRUE(IsSame(EncodeWhole(conv, encoded, wide), unencoded)) << "encoding " << name;
        EXPECT_TRUE(encoded == narrow) << "encoding " << name;
        const stringEx bytes = Spoilt(narrow, random) + Bytes(pairs);
        const LOSS undecoded = DecodeWhole(library, expected, bytes);
        EXPECT_TRUE(IsSame(DecodeWhole(conv, decoded, bytes), undecoded)) << "decoding " << name;
        EXPECT_TRUE(decoded == expected) << "decoding " << name;
    }
}

/// A conversion by iconv's own descriptors in small blocks: the slow way, to check
/// by.
template <class Target, class Source>
std::basic_string<Target> BySmallBlocks(const char* to, const char* from,
                                        const std::basic_string<Source>& src) {
    constexpr std::size_t block = sizeof(Target) == 1 ? 512 : 256;
    constexpr auto failure = static_cast<std::size_t>(-1);
    const iconv_t descriptor = iconv_open(to, from);
    std::basic_string<Target> result;
    char* in = reinterpret_cast<char*>(const_cast<Source*>(src.data()));
    std::size_t inLeft = src.size() * sizeof(Source);
    while (inLeft > 0) {
        Target room[block];
        char* out = reinterpret_cast<char*>(room);
        std::size_t outLeft = sizeof room;
        const std::size_t status = iconv(descriptor, &in, &inLeft, &out, &outLeft);
        const std::size_t made = block - outLeft / sizeof(Target);
        result.append(room, made);
        if (status == failure && made == 0) {
            result += static_cast<Target>('?');
            if (inLeft <= sizeof(Source)) {
                break;
            }
            in += sizeof(Source);
            inLeft -= sizeof(Source);
        }
    }
    iconv_close(descriptor);
    return result;
}

TEST(BlockConversion, ConvertsLongTextsAsSmallBlocksDo) {
    std::mt19937 random(20260101);
    const std::wstring wide = RandomText(70000, random);
    for (const std::string& name : KnownNames()) {
        const CTextLibIConv conv{stringEx(name.c_str())};
        const std::string narrow = BySmallBlocks<char>(name.c_str(), "WCHAR_T", wide);
        EXPECT_TRUE(Str(conv.WCtoMB(Wide(wide))) == narrow) << "encoding " << name;
        const std::string spoilt = Str(Spoilt(Bytes(narrow), random));
        EXPECT_TRUE(Str(conv.MBtoWC(Bytes(spoilt))) ==
                    BySmallBlocks<wchar_t>("WCHAR_T", name.c_str(), spoilt))
            << "decoding " << name;
    }
}

// Each half of a pair beside each other one, and at the end.
TEST(BlockConversion, TakesHalvesOfPairsAsTheLibraryDoes) {
    constexpr std::uint32_t UNITS[] = {0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 'a'};
    for (const bool isBig : {false, true}) {
        const stringEx name(isBig ? "UTF-16BE" : "UTF-16LE");
        const CTextLibIConv conv{name};
        CTextLibIConv library{name};
        library.UseLibraryOnly();
        for (std::size_t i = 0; i < 7 * 7 * 7; ++i) {
            std::string bytes;
            for (const std::uint32_t unit : {UNITS[i % 7], UNITS[i / 7 % 7], UNITS[i / 49]}) {
                const char halves[] = {static_cast<char>(unit >> 8), static_cast<char>(unit)};
                bytes += {halves[isBig ? 0 : 1], halves[isBig ? 1 : 0]};
            }
            EXPECT_TRUE(conv.MBtoWC(Bytes(bytes)) == library.MBtoWC(Bytes(bytes)))
                << testing::PrintToString(bytes);
        }
    }
}

// Marks and shifts, spoilt and whole, in front of a text that has none.
TEST(BlockConversion, NoTextShowsInTheNext) {
    const std::string befores[] = {{"\xFE\xFF\0a", 4},
                                   {"\0\0\xFE\xFF\0\0\0a", 8},
                                   {"\xFF\xFE\0\0", 4},
                                   "\x1B$)C\x0E",
                                   "\x1B$B\x30",
                                   "+AG",
                                   "~{",
                                   "\x0E\xFF"};
    const std::string text("a\0\0\0b\0\0\0", 8);
    for (const std::string& name : KnownNames()) {
        const CTextLibIConv conv{stringEx(name.c_str())};
        const wstringEx expected = CTextLibIConv(stringEx(name.c_str())).MBtoWC(Bytes(text));
        CBlockDecoder decoder(conv);
        for (const std::string& before : befores) {
            conv.MBtoWC(Bytes(before));
            EXPECT_TRUE(conv.MBtoWC(Bytes(text)) == expected) << name;
            DecodeByBlocks(decoder, Bytes(before), CWideWindow::sm_usualSize, 5);
            EXPECT_TRUE(Wide(DecodeByBlocks(decoder, Bytes(text), 200, 3)) == expected) << name;
        }
    }
}

TEST(BlockConversion, IsForConvertersOverTheLibrary) {
    EXPECT_TRUE(CanGoByBlocks(CTextLibIConv(stringEx("GBK"))));
    EXPECT_FALSE(CanGoByBlocks(TTextConv()));
}

} // namespace

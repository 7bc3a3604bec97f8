// The stages of a pass, each by itself: read, decode, scan, match, build, encode, write. Rates are
// in bytes of the narrow text a second, so that the stages of one text can be set side by side.
#include "util/base/StopWatch.h"
#include "util/conv/TextConv.h"
#include "util/file/dir.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <benchmark/benchmark.h>
#include <clocale>
#include <cstdlib>
#include <random>

namespace {

using namespace Quil;

constexpr unsigned int TEXT_SIZE = 8 * 1000 * 1000;

/// Prose-like text in UTF-8: lower-case words, numbers now and then, some eighty characters a line.
/// `foreign` of a thousand words are Chinese.
stringEx MakeText(unsigned int foreign) {
    std::mt19937 random(20261124);
    stringEx text;
    text.reserve(TEXT_SIZE + 100);
    for (unsigned int column = 0; text.length() < TEXT_SIZE;) {
        const unsigned int before = text.length();
        const auto dice = static_cast<unsigned int>(random() % 1000);
        if (dice < foreign) {
            for (unsigned int i = 0; i < 4; ++i) {
                const auto c = static_cast<unsigned int>(0x4E00 + random() % 0x5000);
                text.push_back(static_cast<char>(0xE0 | c >> 12));
                text.push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
                text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
            }
        } else if (dice < foreign + 20) {
            text << (random() % 10000);
        } else if (dice == 999) {
            text << "wheelbarrow";
        } else {
            for (unsigned int length = 2 + random() % 8; length != 0; --length) {
                text.push_back(static_cast<char>('a' + random() % 26));
            }
        }
        column += text.length() - before + 1;
        text.push_back(column > 80 ? '\n' : ' ');
        column = column > 80 ? 0 : column;
    }
    return text;
}

const stringEx& Text(const benchmark::State& state) {
    static const stringEx english = MakeText(0);
    static const stringEx chinese = MakeText(900);
    return state.range(0) == 0 ? english : chinese;
}

wstringEx Wide(const benchmark::State& state) {
    return GainBestUTF8Conv()->MBtoWC(Text(state));
}

void Count(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Text(state).length()));
}

/// Does it again and again, and takes the time of that alone.
template <class Deed>
void Measure(benchmark::State& state, Deed deed) {
    CStopWatch watch;
    for (auto _ : state) {
        watch.Restart();
        deed();
        state.SetIterationTime(watch.GetSeconds());
    }
}

void Decode(benchmark::State& state) {
    const auto converter = GainBestUTF8Conv();
    wstringEx wide;
    Measure(state, [&] { converter->MBtoWC(wide, Text(state)); });
    Count(state);
}
BENCHMARK(Decode)->Arg(0)->Arg(1)->UseManualTime();

void DecodeGbk(benchmark::State& state) {
    const auto converter = GainBestConvFor(0, "GBK");
    const stringEx narrow = converter->WCtoMB(Wide(state));
    wstringEx wide;
    Measure(state, [&] { converter->MBtoWC(wide, narrow); });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(narrow.length()));
}
BENCHMARK(DecodeGbk)->Arg(1)->UseManualTime();

void Encode(benchmark::State& state) {
    const auto converter = GainBestUTF8Conv();
    const wstringEx wide = Wide(state);
    stringEx narrow;
    Measure(state, [&] { converter->WCtoMB(narrow, wide); });
    Count(state);
}
BENCHMARK(Encode)->Arg(0)->Arg(1)->UseManualTime();

void ScanForWhatIsNotThere(benchmark::State& state) {
    const wstringEx wide = Wide(state);
    Measure(state, [&] { benchmark::DoNotOptimize(wide.find(L"Quetzalcoatl", 0)); });
    Count(state);
}
BENCHMARK(ScanForWhatIsNotThere)->Arg(0)->Arg(1)->UseManualTime();

void BuildLiteral(benchmark::State& state) {
    const wstringEx wide = Wide(state);
    const wstringEx find = state.range(1) == 0 ? L"wheelbarrow" : L"e";
    wstringEx result;
    Measure(state, [&] { benchmark::DoNotOptimize(wide.find_replace_to(result, find, L"EE", 0)); });
    Count(state);
}
BENCHMARK(BuildLiteral)->Args({0, 0})->Args({0, 1})->UseManualTime();

void MatchExpression(benchmark::State& state) {
    static const wchar_t* const patterns[] = {L"[0-9]+", L"[a-z]+", L"^.*wheelbarrow.*$",
                                              L"(wheelbarrow|needle|banana|zenith)",
                                              L"([a-z]+) ([0-9]+)"};
    const wstringEx wide = Wide(state);
    const auto compiled = wstringEx::regex_comp(patterns[state.range(1)], false, true, true, true);
    wstringEx result;
    Measure(state, [&] {
        benchmark::DoNotOptimize(wide.regex_find_replace_all_with_comp_to(
            result, compiled, L"<\\0>", false, false, true));
    });
    Count(state);
}
BENCHMARK(MatchExpression)->ArgsProduct({{0}, {0, 1, 2, 3, 4}})->UseManualTime();

/// A file in memory, gone at the end.
stringEx ScratchFile() {
    return "/dev/shm/tsub-micro-bench";
}

void ReadFile(benchmark::State& state) {
    CDir::WriteFile(ScratchFile(), Text(state), false, false);
    Measure(state, [&] {
        byteEx bytes;
        CDir::ReadFile(ScratchFile(), bytes);
        benchmark::DoNotOptimize(bytes.c_str());
    });
    CDir::RemoveFile(ScratchFile());
    Count(state);
}
BENCHMARK(ReadFile)->Arg(0)->UseManualTime();

void WriteFile(benchmark::State& state) {
    Measure(state, [&] { CDir::WriteFile(ScratchFile(), Text(state), false, false); });
    CDir::RemoveFile(ScratchFile());
    Count(state);
}
BENCHMARK(WriteFile)->Arg(0)->UseManualTime();

} // namespace

int main(int argc, char** argv) {
    setlocale(LC_ALL, "");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}

// Finds out what charset texts are in that came from anywhere, and decodes them.

#include "util/conv/TextDetect.h"
#include "util/sys/errhdl.h"

#include <iomanip>
#include <iostream>

using namespace Quil;

namespace {

/// A text as somebody elsewhere wrote it.
stringEx Written(const char* text, const char* charset) {
    return GainBestConvFor(0, charset)->WCtoMB(GainBestUTF8Conv()->MBtoWC(text));
}

void Tell(TTextDetect& detect, const stringEx& bytes) {
    const TEXT_FINDING found = detect.Detect({bytes.data(), bytes.length()}, true);
    if (found.kind != TEXT_FINDING::TEXT || found.confidence < 70) {
        std::cout << "nobody can tell\n";
        return;
    }
    const wstringEx text = GainBestConvFor(0, found.charset)->MBtoWC(bytes);
    std::cout << std::setw(10) << std::left << found.charset << std::setw(4) << found.confidence
              << GainBestUTF8Conv()->WCtoMB(text) << "\n";
}

} // namespace

int main() {
    try {
        TTextDetect detect({"GB18030", "BIG5", "CP932", "EUC-JP", "CP1251", "KOI8-R", "CP1252"});
        Tell(detect, Written("今天天气很好，我们一起去公园散步吧。", "GBK"));
        Tell(detect, Written("今日はいい天気なので、公園を散歩しましょう。", "Shift_JIS"));
        Tell(detect, Written("Сегодня хорошая погода, пойдём гулять в парк.", "KOI8-R"));
        Tell(detect,
             Written("Heute ist schönes Wetter: wir können draußen spazieren gehen.", "CP1252"));
        Tell(detect, Written("Il fait beau, allons au café", "UTF-8"));
        Tell(detect, "\xFE\xFA\xF1");
        return 0;
    } catch (const qlExp& failure) {
        std::cerr << failure.GetErrString() << "\n";
        return 1;
    }
}

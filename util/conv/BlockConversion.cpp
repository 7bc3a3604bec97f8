#include "util/conv/BlockConversion.h"

#include <algorithm>
#include <cstring>

namespace Quil {

void CWideWindow::Drop(std::size_t count) {
    __length -= count;
    if (__length != 0 && count != 0) {
        std::memmove(__characters.get(), __characters.get() + count, __length * sizeof(wchar_t));
    }
}

std::size_t CWideWindow::Put(const wchar_t* characters, std::size_t count) {
    const std::size_t taken = std::min(count, GetRoom());
    std::copy_n(characters, taken, __characters.get() + __length);
    __length += taken;
    return taken;
}

bool CanGoByBlocks(const TTextConv& converter) {
    const auto* const byIconv = dynamic_cast<const CTextLibIConv*>(&converter);
    return byIconv != nullptr && !byIconv->__WayToWide(0).mayDrop;
}

const CTextLibIConv& CLazyClone::Get() {
    if (__clone == nullptr) {
        __clone.reset(__original.Clone());
    }
    return static_cast<const CTextLibIConv&>(*__clone);
}

CBlockDecoder::CBlockDecoder(const TTextConv& converter) : __converter(converter) {}

void CBlockDecoder::Start(CWideWindow& window, const char* text, std::size_t length) {
    __window = &window;
    window.Clear();
    __way = __converter.Get().__WayToWide(length);
    __stepper.emplace(__way->convert, __way->descriptor, text, length, window);
}

void CBlockDecoder::Fill() {
    IMPL::RunWay(*__way, *__stepper, *__window, 1);
}

CBlockEncoder::CBlockEncoder(const TTextConv& converter) : __converter(converter) {}

void CBlockEncoder::Start(std::size_t length) {
    __stepper.reset();
    __output.emplace(__result);
    __way = __converter.Get().__WayFromWide(length);
    __stepper.emplace(__way->convert, __way->descriptor, nullptr, 0, *__output);
}

void CBlockEncoder::PutBytes(const char* bytes, std::size_t count) {
    std::copy_n(bytes, count, __output->Reserve(count, 0, 0));
    __output->Advance(count);
}

void CBlockEncoder::Encode(CWideWindow& window, bool isEnd, std::size_t done, std::size_t total) {
    __output->SetProgress(done, total);
    __stepper->Rebase(window.Data(), window.Length());
    IMPL::RunWay(*__way, *__stepper, *__output, isEnd ? 1 : __way->GetLeastSource());
    window.Drop(__stepper->GetPos());
}

const stringEx& CBlockEncoder::Finish() {
    __output->Finish();
    return __result;
}

} // namespace Quil

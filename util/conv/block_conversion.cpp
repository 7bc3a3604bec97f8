#include "util/conv/block_conversion.h"

#include "util/conv/backend/IconvWays.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace Quil {

namespace {

/// A converter like another one, made when it is first needed.
class CLazyClone {
public:
    explicit CLazyClone(const TTextConv& original) : __original(original) {}

    /// The clone's ways.
    IMPL::IBlockWays& GetWays() {
        if (__clone == nullptr) {
            __clone.reset(__original.Clone());
        }
        return *__clone->GetBlockWays();
    }

private:
    const TTextConv& __original;
    std::unique_ptr<const TTextConv> __clone;
};

/// A string that grows by the progress of the whole text, of which a window is but a part.
class CProgressOutput : public IMPL::CConvOutput<stringEx> {
public:
    using IMPL::CConvOutput<stringEx>::CConvOutput;

    void SetProgress(std::size_t done, std::size_t total) {
        __done = done;
        __total = total;
    }
    char* Reserve(std::size_t room, std::size_t /*done*/, std::size_t /*total*/) {
        return IMPL::CConvOutput<stringEx>::Reserve(room, __done, __total);
    }

private:
    std::size_t __done = 0;
    std::size_t __total = 0;
};

} // namespace

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
    return converter.GetBlockWays() != nullptr;
}

struct CBlockDecoder::STATE {
    CLazyClone converter;
    CWideWindow* window = nullptr;
    std::optional<IMPL::DECODING_WAY> way{};
    std::optional<IMPL::CIconvStepper<char, CWideWindow>> stepper{};
};

CBlockDecoder::CBlockDecoder(const TTextConv& converter)
    : __state(new STATE{CLazyClone(converter)}) {}

CBlockDecoder::~CBlockDecoder() = default;

void CBlockDecoder::Start(CWideWindow& window, const char* text, std::size_t length) {
    __state->window = &window;
    window.Clear();
    const IMPL::DECODING_WAY& way =
        __state->way.emplace(__state->converter.GetWays().ToWide(length));
    __state->stepper.emplace(way.convert, way.descriptor, text, length, window);
}

void CBlockDecoder::Fill() {
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->window, 1);
}

bool CBlockDecoder::IsAtEnd() const {
    return __state->stepper->IsAtEnd();
}

std::size_t CBlockDecoder::GetPos() const {
    return __state->stepper->GetPos();
}

std::size_t CBlockDecoder::GetLength() const {
    return __state->stepper->GetLength();
}

struct CBlockEncoder::STATE {
    CLazyClone converter;
    std::optional<IMPL::ENCODING_WAY> way{};
    stringEx result{};
    std::optional<CProgressOutput> output{}; ///< to the string above
    std::optional<IMPL::CIconvStepper<wchar_t, CProgressOutput>> stepper{};
};

CBlockEncoder::CBlockEncoder(const TTextConv& converter)
    : __state(new STATE{CLazyClone(converter)}) {}

CBlockEncoder::~CBlockEncoder() = default;

void CBlockEncoder::Start(std::size_t length) {
    __state->stepper.reset();
    CProgressOutput& output = __state->output.emplace(__state->result);
    const IMPL::ENCODING_WAY& way =
        __state->way.emplace(__state->converter.GetWays().FromWide(length));
    __state->stepper.emplace(way.convert, way.descriptor, nullptr, 0, output);
}

void CBlockEncoder::PutBytes(const char* bytes, std::size_t count) {
    std::copy_n(bytes, count, __state->output->Reserve(count, 0, 0));
    __state->output->Advance(count);
}

void CBlockEncoder::Encode(CWideWindow& window, bool isEnd, std::size_t done, std::size_t total) {
    __state->output->SetProgress(done, total);
    __state->stepper->Rebase(window.Data(), window.Length());
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->output,
                 isEnd ? 1 : __state->way->GetLeastSource());
    window.Drop(__state->stepper->GetPos());
}

const stringEx& CBlockEncoder::Finish() {
    __state->output->Finish();
    return __state->result;
}

void CBlockEncoder::Restart() {
    __state->output->Restart();
}

} // namespace Quil

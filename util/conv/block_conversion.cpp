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

} // namespace

void CWideWindow::Drop(std::size_t count) {
    __length -= count;
    if (__length != 0 && count != 0) {
        std::memmove(__characters.get(), __characters.get() + count, __length * sizeof(wchar_t));
    }
}

void CWideWindow::Grow() {
    auto larger = std::make_unique_for_overwrite<wchar_t[]>(2 * __size);
    std::copy_n(__characters.get(), __length, larger.get());
    __characters = std::move(larger);
    __size *= 2;
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
    bool maySwitch = false; ///< The text may get a codec on its way.
    std::optional<IMPL::DECODING_WAY> way{};
    std::optional<IMPL::CIconvStepper<char, CWideWindow>> stepper{};
};

CBlockDecoder::CBlockDecoder(const TTextConv& converter)
    : __state(new STATE{CLazyClone(converter)}) {}

CBlockDecoder::~CBlockDecoder() = default;

void CBlockDecoder::Start(CWideWindow& window, std::size_t length) {
    __state->window = &window;
    window.Clear();
    IMPL::IBlockWays& ways = __state->converter.GetWays();
    const IMPL::DECODING_WAY& way = __state->way.emplace(ways.ToWide(length));
    __state->maySwitch = length == sm_unknownLength && ways.IsStateless();
    __state->stepper.emplace(way.convert, way.descriptor, nullptr, 0, window);
}

std::size_t CBlockDecoder::Fill(const char* bytes, std::size_t length, bool isLast) {
    if (__state->maySwitch && __state->way->codec == nullptr) {
        __state->way->codec = __state->converter.GetWays().ToWide(length).codec;
    }
    __state->stepper->Rebase(bytes, length, isLast);
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->window, 1);
    return __state->stepper->GetPos();
}

struct CBlockEncoder::STATE {
    using OUTPUT = IMPL::CConvOutput<stringEx>;

    CLazyClone converter;
    std::optional<IMPL::ENCODING_WAY> way{};
    bool maySwitch = false; ///< As above.
    std::size_t least = 0;  ///< Characters for a step.
    stringEx result{};
    std::optional<OUTPUT> output{}; ///< to the string above
    std::optional<IMPL::CIconvStepper<wchar_t, OUTPUT>> stepper{};
};

CBlockEncoder::CBlockEncoder(const TTextConv& converter)
    : __state(new STATE{CLazyClone(converter)}) {}

CBlockEncoder::~CBlockEncoder() = default;

void CBlockEncoder::Start(std::size_t length) {
    __state->stepper.reset();
    STATE::OUTPUT& output = __state->output.emplace(__state->result);
    IMPL::IBlockWays& ways = __state->converter.GetWays();
    const IMPL::ENCODING_WAY& way = __state->way.emplace(ways.FromWide(length));
    const bool isStateless = ways.IsStateless();
    __state->least = isStateless ? 1 : way.pieces.source;
    __state->maySwitch = length == sm_unknownLength && isStateless;
    __state->stepper.emplace(way.convert, way.descriptor, nullptr, 0, output);
}

const stringEx& CBlockEncoder::Encode(CWideWindow& window, bool isLast) {
    if (__state->maySwitch && __state->way->codec == nullptr) {
        __state->way->codec = __state->converter.GetWays().FromWide(window.Length()).codec;
    }
    __state->output->Restart();
    __state->stepper->Rebase(window.Data(), window.Length(), true);
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->output, isLast ? 1 : __state->least);
    window.Drop(__state->stepper->GetPos());
    __state->output->Finish();
    return __state->result;
}

std::size_t CBlockEncoder::GetMostBytes() const {
    constexpr std::size_t WITH_ESCAPES = 8;
    return __state->way->codec != nullptr ? IMPL::LONGEST_CHARACTER : WITH_ESCAPES;
}

} // namespace Quil

#include "util/conv/block_conversion.h"

#include "util/base/unicode_units.h"
#include "util/conv/backend/IconvWays.h"
#include "util/conv/utf8_validation.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace Quil {

namespace {

bool IsUnicode(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    return code < IMPL::UNICODE_END && !IMPL::IsSurrogate(code);
}

std::uint64_t CountLineEnds(const wchar_t* characters, std::size_t count) {
    return static_cast<std::uint64_t>(std::count(characters, characters + count, L'\n'));
}

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

bool IsStateless(const TTextConv& converter) {
    return converter.GetBlockWays()->IsStateless();
}

/// Valid UTF-8 needs no library, which may not even be looked for yet.
LOSS DecodeWhole(const TTextConv& converter, wstringEx& dst, const stringEx& src) {
    const bool isPlain =
        converter.IsUtf8() && IMPL::ValidUtf8Length(src.data(), src.length()) == src.length();
    if (IMPL::IBlockWays* const ways = isPlain ? nullptr : converter.GetBlockWays()) {
        return IMPL::ConvertWhole(ways->ToWide(src.length()), dst, src.data(), src.length());
    }
    converter.MBtoWC(dst, src);
    return {};
}

LOSS EncodeWhole(const TTextConv& converter, stringEx& dst, const wstringEx& src) {
    const bool isPlain =
        converter.IsUtf8() && std::all_of(src.data(), src.data() + src.length(), IsUnicode);
    if (IMPL::IBlockWays* const ways = isPlain ? nullptr : converter.GetBlockWays()) {
        LOSS loss = IMPL::ConvertWhole(ways->FromWide(src.length()), dst, src.data(), src.length());
        if (loss.count != 0) {
            loss.line = 1 + CountLineEnds(src.data(), loss.place);
        }
        return loss;
    }
    converter.WCtoMB(dst, src);
    return {};
}

struct CBlockDecoder::STATE {
    CLazyClone converter;
    UNFIT unfit;
    std::uint64_t characters = 0;
    CWideWindow* window = nullptr;
    bool maySwitch = false; ///< The text may get a codec on its way.
    std::optional<IMPL::DECODING_WAY> way{};
    std::optional<IMPL::CIconvStepper<char, CWideWindow>> stepper{};
};

CBlockDecoder::CBlockDecoder(const TTextConv& converter, UNFIT unfit)
    : __state(new STATE{CLazyClone(converter), unfit}) {}

CBlockDecoder::~CBlockDecoder() = default;

void CBlockDecoder::Start(CWideWindow& window, std::size_t length) {
    __state->window = &window;
    window.Clear();
    IMPL::IBlockWays& ways = __state->converter.GetWays();
    const IMPL::DECODING_WAY& way = __state->way.emplace(ways.ToWide(length));
    __state->maySwitch = length == sm_unknownLength && ways.IsStateless();
    __state->stepper.emplace(way.convert, way.descriptor, nullptr, 0, window);
    __state->characters = 0;
    if (__state->unfit == UNFIT::KEEP) {
        __state->stepper->KeepBytes();
    }
}

LOSS CBlockDecoder::GetLoss() const {
    return __state->stepper->GetLoss();
}

std::uint64_t CBlockDecoder::GetCharacters() const {
    return __state->characters;
}

std::size_t CBlockDecoder::Fill(const char* bytes, std::size_t length, bool isLast) {
    if (__state->maySwitch && __state->way->codec == nullptr) {
        __state->way->codec = __state->converter.GetWays().ToWide(length).codec;
    }
    const std::size_t before = __state->window->Length();
    __state->stepper->Rebase(bytes, length, isLast);
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->window, 1);
    __state->characters += __state->window->Length() - before;
    return __state->stepper->GetPos();
}

struct CBlockEncoder::STATE {
    using OUTPUT = IMPL::CConvOutput<stringEx>;

    CLazyClone converter;
    UNFIT unfit;
    std::uint64_t done = 0;  ///< characters
    std::uint64_t lines = 0; ///< ended in them, as far as nothing was lost
    std::optional<IMPL::ENCODING_WAY> way{};
    bool maySwitch = false; ///< As above.
    std::size_t least = 0;  ///< Characters for a step.
    stringEx result{};
    std::optional<OUTPUT> output{}; ///< to the string above
    std::optional<IMPL::CIconvStepper<wchar_t, OUTPUT>> stepper{};
};

CBlockEncoder::CBlockEncoder(const TTextConv& converter, UNFIT unfit)
    : __state(new STATE{CLazyClone(converter), unfit}) {}

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
    __state->done = __state->lines = 0;
    if (__state->unfit == UNFIT::KEEP) {
        __state->stepper->KeepBytes();
    }
}

LOSS CBlockEncoder::GetLoss() const {
    LOSS loss = __state->stepper->GetLoss();
    loss.line = __state->unfit == UNFIT::TELL_LINE ? __state->lines + 1 : 0;
    return loss;
}

const stringEx& CBlockEncoder::Encode(CWideWindow& window, bool isLast) {
    if (__state->maySwitch && __state->way->codec == nullptr) {
        __state->way->codec = __state->converter.GetWays().FromWide(window.Length()).codec;
    }
    __state->output->Restart();
    __state->stepper->Rebase(window.Data(), window.Length(), true);
    const bool wasWhole = __state->stepper->GetLoss().count == 0;
    IMPL::RunWay(*__state->way, *__state->stepper, *__state->output, isLast ? 1 : __state->least);
    const std::size_t read = __state->stepper->GetPos();
    if (__state->unfit == UNFIT::TELL_LINE && wasWhole) {
        const LOSS& loss = __state->stepper->GetLoss();
        const std::size_t upTo =
            loss.count == 0 ? read : static_cast<std::size_t>(loss.place - __state->done);
        __state->lines += CountLineEnds(window.Data(), upTo);
    }
    __state->done += read;
    window.Drop(__state->stepper->GetPos());
    __state->output->Finish();
    return __state->result;
}

std::size_t CBlockEncoder::GetMostBytes() const {
    constexpr std::size_t WITH_ESCAPES = 8;
    return __state->way->codec != nullptr ? IMPL::LONGEST_CHARACTER : WITH_ESCAPES;
}

} // namespace Quil

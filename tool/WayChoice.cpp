#include "tool/WayChoice.h"

#include "tool/charset_choice.h"
#include "tool/charset_names.h"
#include "tool/preview/Preview.h"

#include <algorithm>

namespace Quil {

namespace {

constexpr std::size_t LONGEST_MARK = 4;
constexpr std::size_t LOOKED_AT = std::size_t{1} << 20;

/// Whether a conversion would give the file back as it is.
bool IsInPlaceAlready(const Run& run) {
    return run.findFunc == FIND::ANY && !run.hasReplace && run.mark != MARK::YES &&
           run.mark != MARK::NO && IsSameCharset(run.in, run.out);
}

} // namespace

WAY::WAY(const Run& served)
    : run(served), road(ChooseRoad(served)),
      preview(served.show == SHOW::DIFFS || served.asks ? std::make_unique<CPreview>(served)
                                                        : nullptr) {}

WAY::~WAY() = default;

CWayChoice::CWayChoice(const Run& run)
    : __run(run), __usual(std::make_unique<WAY>(run)),
      __bigEndian(run.bigEndian ? std::make_unique<WAY>(*run.bigEndian) : nullptr) {
    if (run.detects) {
        __detect.emplace(run.candidates);
    }
}

WAY* CWayChoice::Choose(CBlockSource& source, bool isFile, FILE_RESULT& result) {
    if (__detect) {
        return __ChooseFor(FindCharset(*__detect, source, isFile), result);
    }
    return __bigEndian && __IsBigEndian(source) ? __bigEndian.get() : __usual.get();
}

WAY* CWayChoice::Choose(std::string_view whole, FILE_RESULT& result) {
    return __detect ? __ChooseFor(__detect->Detect(whole, true), result) : __usual.get();
}

bool CWayChoice::__IsBigEndian(CBlockSource& source) const {
    BLOCK block = source.Next();
    while (block.length < LONGEST_MARK && !block.isLast) {
        block = source.Next();
    }
    const std::string_view text(block.data, block.length);
    const stringEx& mark = __run.bigEndian->in.mark;
    source.Restart(0);
    return text.starts_with(std::string_view(mark.data(), mark.length()));
}

WAY* CWayChoice::__ChooseFor(const TEXT_FINDING& found, FILE_RESULT& result) {
    if (found.kind == TEXT_FINDING::EMPTY ||
        (found.kind == TEXT_FINDING::BINARY && __run.excludeBinary)) {
        return nullptr;
    }
    if (found.kind != TEXT_FINDING::TEXT || found.confidence < __run.confidence) {
        result.trouble = "can't tell the charset of file: ";
        result.cause = DescribeFinding(found);
        result.isInDoubt = true;
        return nullptr;
    }
    const auto known = __found.find(found.charset);
    if (known != __found.end()) {
        return known->second.get();
    }
    std::shared_ptr<const Run> run = MakeRunFor(__run, found.charset);
    std::unique_ptr<WAY>& way = __found[found.charset];
    if (!IsInPlaceAlready(*run)) {
        way = std::make_unique<WAY>(*run);
        __runs.push_back(std::move(run));
    }
    return way.get();
}

TEXT_FINDING FindCharset(TTextDetect& detect, CBlockSource& source, bool isFile) {
    for (std::uint64_t place = 0;;) {
        BLOCK block = source.Next();
        while (block.length < LOOKED_AT && !block.isLast) {
            block = source.Next();
        }
        const std::size_t length = std::min(block.length, LOOKED_AT);
        const bool isWhole = block.isLast && length == block.length;
        TEXT_FINDING found = detect.Detect({block.data, length}, isWhole);
        if (!isFile || isWhole || found.charset != "ASCII") {
            if (found.undecoded) {
                *found.undecoded += place;
            }
            source.Restart(0);
            return found;
        }
        place += length;
        source.Take(length);
    }
}

stringEx DescribeFinding(const TEXT_FINDING& found) {
    if (found.kind != TEXT_FINDING::TEXT) {
        return stringEx(found.kind == TEXT_FINDING::EMPTY    ? "it is empty"
                        : found.kind == TEXT_FINDING::BINARY ? "it is binary"
                                                             : "none of the candidates reads it");
    }
    stringEx text = ShownCharset(found.charset);
    if (found.undecoded) {
        text.append(" up to offset ");
        text.append_ulong(*found.undecoded, 10);
        return text.append(", from where it doesn't decode");
    }
    text.append(" by ");
    text.append_ulong(found.confidence, 10);
    text.append(" of 100");
    if (!found.second.empty()) {
        text.append(", or ").append(ShownCharset(found.second)).append(" by ");
        text.append_ulong(found.secondConfidence, 10);
    }
    return text;
}

} // namespace Quil

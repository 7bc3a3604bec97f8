#include "tool/road/WideRoad.h"

namespace Quil {

bool CWideRoad::CanServe(const Run& run) {
    return GoesByBlocks(run.in) && GoesByBlocks(run.out);
}

CWideRoad::CWideRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search)
    : TCharacterRoad(run, std::move(search), UNFIT::REPLACE),
      __encoder(*run.out.converter, run.isStrict ? UNFIT::TELL_LINE : UNFIT::REPLACE) {}

void CWideRoad::Start(const TASK& task) {
    TCharacterRoad::Start(task);
    __encoder.Start(static_cast<std::size_t>(task.size));
    __result.Clear();
}

void CWideRoad::_BeginText(bool hasMark) {
    if (_GivesMark(hasMark)) {
        _sink->Replace({}, _run.GetMark());
    }
}

void CWideRoad::Keep(text_ref<wchar_t> text) {
    if (!_IsWanted()) {
        return;
    }
    for (std::size_t done = 0; done < text.length;) {
        done += __result.Put(text.data + done, text.length - done);
        if (done < text.length) {
            __Encode(false);
        }
    }
}

void CWideRoad::__Encode(bool isLast) {
    if (_IsWanted()) {
        const stringEx& bytes = __encoder.Encode(__result, isLast);
        _sink->Replace(__untold, {bytes.data(), bytes.length()});
    }
    __untold = {};
}

/// A character is one byte at least.
std::uint64_t CWideRoad::GetMostBytes(std::uint64_t size) const {
    constexpr std::uint64_t MARK = 4;
    return _GetMost(size) * __encoder.GetMostBytes() + MARK;
}

} // namespace Quil

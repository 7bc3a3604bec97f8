#include "tool/road/WideRoad.h"

#include <algorithm>

namespace Quil {

namespace {

bool GoesByBlocks(const CHARSET& charset) {
    return !charset.isWide && CanGoByBlocks(*charset.converter);
}

/// Most of the window is always for new characters.
std::size_t WindowSizeFor(const Run& run) {
    return std::max(CWideWindow::sm_usualSize, std::size_t{4} * run.findText.length());
}

} // namespace

bool CWideRoad::CanServe(const Run& run) {
    return GoesByBlocks(run.in) && GoesByBlocks(run.out);
}

CWideRoad::CWideRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search)
    : __run(run), __search(std::move(search)), __decoder(*run.in.converter),
      __encoder(*run.out.converter, run.isStrict ? UNFIT::TELL_LINE : UNFIT::REPLACE),
      __window(WindowSizeFor(run)) {}

void CWideRoad::Start(const TASK& task) {
    __task = task;
    __hasText = task.place != 0;
    __search->Start(task.size, task.place, task.isAgain);
    __decoder.Start(__window, static_cast<std::size_t>(task.size));
    __encoder.Start(static_cast<std::size_t>(task.size));
    __result.Clear();
}

std::size_t CWideRoad::Take(const BLOCK& block, ISink& sink) {
    __sink = &sink;
    std::size_t taken = 0;
    for (;;) {
        const std::size_t read =
            __decoder.Fill(block.data + taken, block.length - taken, block.isLast);
        __untold = {block.data + taken, read};
        taken += read;
        const bool isEnd = taken == block.length && block.isLast;
        const bool isSearched = __Search(isEnd);
        __Encode(isEnd);
        if (taken == block.length) {
            return taken;
        }
        if (!isSearched) {
            __window.Grow();
        } else if (read == 0 && __window.HasRoom()) {
            return taken; // the end cuts a sequence
        }
    }
}

/// False if the search wants more in the window before it decides on anything.
bool CWideRoad::__Search(bool isLast) {
    if (__window.Length() == 0) {
        return true;
    }
    if (!__hasText) {
        __BeginText();
    }
    const auto length = static_cast<unsigned int>(__window.Length());
    const std::size_t taken = __search->Take({__window.Data(), length}, isLast, *this);
    __window.Drop(taken);
    return taken != 0 || __window.HasRoom();
}

void CWideRoad::__BeginText() {
    __hasText = true;
    const bool hasMark = *__window.Data() == __run.constants.wsUniSign[0];
    __window.Drop(hasMark ? 1 : 0);
    if (__task.result != TASK::RESULT::NONE &&
        __run.WritesMark(hasMark, __task.result == TASK::RESULT::FILE)) {
        __sink->Replace({}, __run.GetMark());
    }
}

void CWideRoad::Keep(text_ref<wchar_t> text) {
    if (__task.result == TASK::RESULT::NONE) {
        return;
    }
    for (std::size_t done = 0; done < text.length;) {
        done += __result.Put(text.data + done, text.length - done);
        if (done < text.length) {
            __Encode(false);
        }
    }
}

void CWideRoad::Replace(text_ref<wchar_t> /*old*/, text_ref<wchar_t> text) {
    Keep(text);
}

void CWideRoad::__Encode(bool isLast) {
    if (__task.result != TASK::RESULT::NONE) {
        const stringEx& bytes = __encoder.Encode(__result, isLast);
        __sink->Replace(__untold, {bytes.data(), bytes.length()});
    }
    __untold = {};
}

/// A character is one byte at least.
std::uint64_t CWideRoad::GetMostBytes(std::uint64_t size) const {
    constexpr std::uint64_t MARK = 4;
    return __search->GetMost(size) * __encoder.GetMostBytes() + MARK;
}

} // namespace Quil

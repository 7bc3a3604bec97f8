#include "tool/road/CharacterRoad.h"

#include "tool/rules/RuleList.h"

#include <algorithm>

namespace Quil {

namespace {

/// Most of the window is always for new characters.
std::size_t WindowSizeFor(const Run& run) {
    const unsigned int longest = run.rules ? run.rules->set.GetLongest() : run.findText.length();
    return std::max(CWideWindow::sm_usualSize, std::size_t{4} * longest);
}

} // namespace

bool GoesByBlocks(const CHARSET& charset) {
    return !charset.isWide && CanGoByBlocks(*charset.converter);
}

TCharacterRoad::TCharacterRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search,
                               UNFIT unfit)
    : _run(run), __search(std::move(search)), __decoder(*run.in.converter, unfit),
      __window(WindowSizeFor(run)) {}

void TCharacterRoad::Start(const TASK& task) {
    _task = task;
    __hasText = task.place != 0;
    __search->Start(task.size, task.place, task.isAgain);
    __decoder.Start(__window, static_cast<std::size_t>(task.size));
}

std::size_t TCharacterRoad::Take(const BLOCK& block, ISink& sink) {
    _sink = &sink;
    std::size_t taken = 0;
    for (;;) {
        const std::size_t read =
            __decoder.Fill(block.data + taken, block.length - taken, block.isLast);
        _Read({block.data + taken, read});
        taken += read;
        const bool isEnd = taken == block.length && block.isLast;
        const bool isSearched = __Search(isEnd);
        _FinishRound(isEnd);
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
bool TCharacterRoad::__Search(bool isLast) {
    if (__window.Length() == 0) {
        return true;
    }
    if (!__hasText) {
        __hasText = true;
        const bool hasMark = *__window.Data() == _run.constants.wsUniSign[0];
        __window.Drop(hasMark ? 1 : 0);
        _BeginText(hasMark);
    }
    const auto length = static_cast<unsigned int>(__window.Length());
    const std::size_t taken = __search->Take({__window.Data(), length}, isLast, *this);
    __window.Drop(taken);
    return taken != 0 || __window.HasRoom();
}

} // namespace Quil

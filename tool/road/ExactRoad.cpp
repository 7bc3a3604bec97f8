#include "tool/road/ExactRoad.h"

#include <algorithm>

namespace Quil {

namespace {

/// Characters that are encoded at a time to be measured.
constexpr std::size_t PART = 4096;

bool GoesByBlocks(const CHARSET& charset) {
    return !charset.isWide && CanGoByBlocks(*charset.converter);
}

} // namespace

bool CExactRoad::CanServe(const Run& run) {
    return run.in.name.equal_no_case(run.out.name) && GoesByBlocks(run.in) &&
           IsStateless(*run.in.converter);
}

CExactRoad::CExactRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search)
    : __run(run), __search(std::move(search)), __decoder(*run.in.converter, UNFIT::KEEP),
      __reader(*run.in.converter, UNFIT::KEEP), __encoder(*run.in.converter, UNFIT::KEEP),
      __window(std::max(CWideWindow::sm_usualSize, std::size_t{4} * run.findText.length())) {}

void CExactRoad::Start(const TASK& task) {
    __task = task;
    __hasText = task.place != 0;
    __search->Start(task.size, task.place, task.isAgain);
    __decoder.Start(__window, static_cast<std::size_t>(task.size));
    __encoder.Start(static_cast<std::size_t>(task.size));
    __part.Clear();
    __source.clear();
    __sourceBegin = 0;
    __declined = __place = 0;
}

std::size_t CExactRoad::Take(const BLOCK& block, ISink& sink) {
    __sink = &sink;
    std::size_t taken = 0;
    for (;;) {
        const std::size_t read =
            __decoder.Fill(block.data + taken, block.length - taken, block.isLast);
        __source.erase(0, __sourceBegin);
        __sourceBegin = 0;
        __source.append(block.data + taken, read);
        taken += read;
        const bool isSearched = __Search(taken == block.length && block.isLast);
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
bool CExactRoad::__Search(bool isLast) {
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

/// A mark stays unless it is unwanted, and isn't part of the text.
void CExactRoad::__BeginText() {
    __hasText = true;
    if (*__window.Data() == __run.constants.wsUniSign[0]) {
        if (__run.mark != MARK::NO) {
            Keep({__window.Data(), 1});
        } else if (__task.result != TASK::RESULT::NONE) {
            __sink->Replace(__TakeSource(__Measure({__window.Data(), 1})), {});
        }
        __window.Drop(1);
    } else if (__task.result != TASK::RESULT::NONE &&
               __run.WritesMark(false, __task.result == TASK::RESULT::FILE)) {
        __sink->Replace({}, __run.GetMark());
    }
}

void CExactRoad::Keep(text_ref<wchar_t> text) {
    if (__task.result != TASK::RESULT::NONE) {
        __sink->Keep(__TakeSource(__Measure(text)));
    }
}

void CExactRoad::Replace(text_ref<wchar_t> old, text_ref<wchar_t> text) {
    if (__run.choice != nullptr && !__run.choice->Wants(__place++)) {
        ++__declined;
        Keep(old);
        return;
    }
    if (__task.result != TASK::RESULT::NONE) {
        const std::size_t length = __Measure(old);
        const stringEx& bytes = __Encode(text);
        __sink->Replace(__TakeSource(length), {bytes.data(), bytes.length()});
    }
}

std::string_view CExactRoad::__TakeSource(std::size_t count) {
    const std::string_view bytes = std::string_view(__source).substr(__sourceBegin, count);
    __sourceBegin += count;
    return bytes;
}

/// The number of bytes that the next characters of the text have.
std::size_t CExactRoad::__Measure(text_ref<wchar_t> text) {
    const std::string_view source = std::string_view(__source).substr(__sourceBegin);
    std::size_t bytes = 0;
    for (std::size_t done = 0; done < text.length;) {
        const auto measure = [&](std::size_t count) {
            const stringEx& part = __Encode({text.data + done, static_cast<unsigned int>(count)});
            const bool isSame =
                source.substr(bytes).starts_with(std::string_view(part.data(), part.length()));
            bytes += isSame ? part.length() : 0;
            done += isSame ? count : 0;
            return isSame;
        };
        const std::size_t count = std::min(PART, text.length - done);
        if (measure(count)) {
            continue;
        }
        for (const std::size_t end = done + count; done < end;) {
            if (!measure(1)) {
                bytes += __MeasureByReading(__sourceBegin + bytes);
                ++done;
            }
        }
    }
    return bytes;
}

/// The number of bytes of the character that begins at a place of the source.
std::size_t CExactRoad::__MeasureByReading(std::size_t begin) {
    const std::string_view source = std::string_view(__source).substr(begin);
    __reader.Start(__read, 1);
    for (std::size_t length = 1; length < source.size(); ++length) {
        if (const std::size_t read = __reader.Fill(source.data(), length, false); read != 0) {
            return read;
        }
    }
    return source.size();
}

const stringEx& CExactRoad::__Encode(text_ref<wchar_t> text) {
    __encoded.clear();
    for (std::size_t done = 0; done < text.length;) {
        done += __part.Put(text.data + done, text.length - done);
        const stringEx& bytes = __encoder.Encode(__part, true);
        if (done == text.length && __encoded.empty()) {
            return bytes;
        }
        __encoded.append(bytes);
    }
    return __encoded;
}

std::uint64_t CExactRoad::GetMostBytes(std::uint64_t size) const {
    constexpr std::uint64_t MARK = 4;
    return __search->GetMost(size) * __encoder.GetMostBytes() + MARK;
}

LOSSES CExactRoad::GetLosses() const {
    return {{}, __encoder.GetLoss(), __decoder.GetCharacters()};
}

} // namespace Quil

#include "tool/road/ExactRoad.h"

#include <algorithm>

namespace Quil {

namespace {

/// Characters that are encoded at a time to be measured.
constexpr std::size_t PART = 4096;

} // namespace

bool CExactRoad::CanServe(const Run& run) {
    return run.in.name.equal_no_case(run.out.name) && GoesByBlocks(run.in) &&
           IsStateless(*run.in.converter);
}

CExactRoad::CExactRoad(const Run& run, std::unique_ptr<ISearch<wchar_t>> search)
    : TCharacterRoad(run, std::move(search), UNFIT::KEEP), __reader(*run.in.converter, UNFIT::KEEP),
      __encoder(*run.in.converter, UNFIT::KEEP) {}

void CExactRoad::Start(const TASK& task) {
    TCharacterRoad::Start(task);
    __encoder.Start(static_cast<std::size_t>(task.size));
    __part.Clear();
    __source.clear();
    __sourceBegin = 0;
    __declined = __place = 0;
}

void CExactRoad::_Read(std::string_view bytes) {
    if (!_IsWanted()) {
        return; // nothing of it will be told
    }
    __source.erase(0, __sourceBegin);
    __sourceBegin = 0;
    __source.append(bytes);
}

/// A mark stays unless it is unwanted.
void CExactRoad::_BeginText(bool hasMark) {
    const text_ref<wchar_t> mark = _run.constants.wsUniSign;
    if (hasMark && _run.mark != MARK::NO) {
        Keep(mark);
    } else if (hasMark && _IsWanted()) {
        _sink->Replace(__TakeSource(__Measure(mark)), {});
    } else if (!hasMark && _GivesMark(false)) {
        _sink->Replace({}, _run.GetMark());
    }
}

void CExactRoad::Keep(text_ref<wchar_t> text) {
    if (_IsWanted()) {
        _sink->Keep(__TakeSource(__Measure(text)));
    }
}

void CExactRoad::Replace(text_ref<wchar_t> old, text_ref<wchar_t> text) {
    if (_run.choice != nullptr && !_run.choice->Wants(__place++)) {
        ++__declined;
        Keep(old);
        return;
    }
    if (_IsWanted()) {
        const std::size_t length = __Measure(old);
        const stringEx& bytes = __Encode(text);
        _sink->Replace(__TakeSource(length), {bytes.data(), bytes.length()});
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
    return _GetMost(size) * __encoder.GetMostBytes() + MARK;
}

} // namespace Quil

#include "tool/road/BlockRoad.h"

#include "tool/standard_output.h"
#include "util/text/text_search.h"

#include <algorithm>

namespace Quil {

namespace {

const char* AsText(const byteEx& bytes) {
    return static_cast<const char*>(static_cast<const void*>(bytes.data()));
}

bool GoesByBlocks(const CHARSET& charset) {
    return !charset.isWide && CanGoByBlocks(*charset.converter);
}

/// A window for texts in which a literal is looked for: most of it is always for new characters.
std::size_t WindowSizeFor(const Run& run) {
    return std::max(CWideWindow::sm_usualSize, std::size_t{4} * run.findText.length());
}

} // namespace

bool CBlockRoad::CanServe(const Run& run) {
    const bool isServed = run.findFunc == FIND::ANY ? !run.hasReplace
                                                    : (run.findFunc == FIND::LITERAL ||
                                                       run.findFunc == FIND::LITERAL_NO_CASE) &&
                                                          !run.findText.empty();
    return isServed && GoesByBlocks(run.in) && GoesByBlocks(run.out);
}

CBlockRoad::CBlockRoad(const Run& run)
    : __run(run), __decoder(*run.in.converter), __encoder(*run.out.converter),
      __window(WindowSizeFor(run)) {}

/// Decodes the first block without the byte-order mark. False if there is no text at all.
bool CBlockRoad::__Begin() {
    __decoder.Start(__window, AsText(__raw), __raw.length());
    __decoder.Fill();
    __state = STATE::BEGUN;
    __taken = 0;
    __consumed.Begin();
    if (__window.Length() == 0) {
        return false;
    }
    if (*__window.Data() == __run.constants.wsUniSign[0]) {
        __window.Drop(1);
    }
    return true;
}

std::optional<unsigned long> CBlockRoad::Replace(byteEx& raw) {
    __raw.swap(raw);
    if (!__Begin()) {
        return std::nullopt;
    }
    switch (__run.findFunc) {
    case FIND::LITERAL:
        return __Replace<IMPL::plain_fold>();
    case FIND::LITERAL_NO_CASE:
        return __Replace<IMPL::lower_fold<wstringEx>>();
    default:
        return 0;
    }
}

/// Looks first whether there is a match at all: without one nothing needs to be encoded.
template <class Fold>
unsigned long CBlockRoad::__Replace() {
    IMPL::text_search<wchar_t, Fold> search(__run.findText.data(), __run.findText.length(),
                                            __raw.length());
    if (!__IsFound(search)) {
        return 0;
    }
    __Begin();
    __StartResult(true);
    __replaced.Clear();
    unsigned long count = 0;
    for (;;) {
        const std::size_t decoded = __decoder.GetPos();
        const bool isEnd = __decoder.IsAtEnd();
        count += __ReplaceBlock(search);
        if (isEnd) {
            break;
        }
        __Advance(decoded);
        __decoder.Fill();
    }
    __encoder.Encode(__replaced, true, __taken, __decoder.GetLength());
    __state = STATE::REPLACED;
    return count;
}

template <class Search>
bool CBlockRoad::__IsFound(Search& search) {
    const std::size_t overlap = search.length() - 1;
    for (;;) {
        const auto length = static_cast<unsigned int>(__window.Length());
        if (search.find(__window.Data(), length, 0) != Search::npos) {
            return true;
        }
        if (__decoder.IsAtEnd()) {
            return false;
        }
        __state = STATE::PASSED;
        __window.Drop(length - std::min<std::size_t>(length, overlap));
        __decoder.Fill();
    }
}

/// Takes all of the window but what may be the beginning of a match.
template <class Search>
unsigned long CBlockRoad::__ReplaceBlock(Search& search) {
    const wchar_t* const text = __window.Data();
    const auto length = static_cast<unsigned int>(__window.Length());
    unsigned long count = 0;
    unsigned int done = 0;
    for (;;) {
        const unsigned int match = search.find(text, length, done);
        if (match == Search::npos) {
            break;
        }
        __Put(text + done, match - done);
        __Put(__run.replaceText.data(), __run.replaceText.length());
        done = match + search.length();
        ++count;
    }
    const unsigned int kept =
        __decoder.IsAtEnd() ? 0 : std::min(length - done, search.length() - 1);
    __Put(text + done, length - kept - done);
    __window.Drop(length - kept);
    return count;
}

void CBlockRoad::__Put(const wchar_t* characters, std::size_t count) {
    for (;;) {
        const std::size_t taken = __replaced.Put(characters, count);
        if (taken == count) {
            return;
        }
        characters += taken;
        count -= taken;
        __encoder.Encode(__replaced, false, __taken, __decoder.GetLength());
    }
}

/// What is decoded up to here is in the result, and this part of the input isn't read again.
void CBlockRoad::__Advance(std::size_t decoded) {
    __taken = decoded;
    __consumed.Advance(__taken);
}

void CBlockRoad::__StartResult(bool withSign) {
    __bytes = byteEx(); // so that the encoder has its block to itself
    __encoder.Start(__raw.length());
    if (withSign && __run.MarksUtf8()) {
        __encoder.PutBytes(AsText(__run.constants.btUtf8Sign), __run.constants.btUtf8Sign.length());
    }
}

/// Encodes the text as it is. `afterBlock` is called between blocks and at the end.
template <class AfterBlock>
void CBlockRoad::__Convert(AfterBlock afterBlock) {
    if (__state != STATE::BEGUN) {
        __Begin();
    }
    __state = STATE::PASSED;
    for (;;) {
        const std::size_t decoded = __decoder.GetPos();
        const bool isEnd = __decoder.IsAtEnd();
        __encoder.Encode(__window, isEnd, __taken, __decoder.GetLength());
        afterBlock();
        if (isEnd) {
            break;
        }
        __Advance(decoded);
        __decoder.Fill();
    }
}

const byteEx& CBlockRoad::Encode() {
    if (__state != STATE::REPLACED) {
        __StartResult(true);
        __Convert([] {});
    }
    __bytes = static_cast<byteEx>(__encoder.Finish());
    return __bytes;
}

/// What is printed has no byte-order mark.
void CBlockRoad::Print() {
    if (__state == STATE::REPLACED) {
        const stringEx& result = __encoder.Finish();
        const unsigned int sign = __run.MarksUtf8() ? __run.constants.btUtf8Sign.length() : 0;
        PrintText(result.substr_static(sign));
        return;
    }
    __StartResult(false);
    __Convert([this] {
        PrintText(__encoder.Finish());
        __encoder.Restart();
    });
}

} // namespace Quil

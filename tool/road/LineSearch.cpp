#include "tool/road/LineSearch.h"

#include "util/conv/utf8_codec.h"
#include "util/conv/utf8_validation.h"

#include <cstring>
#include <cwchar>

namespace Quil {

namespace {

constexpr unsigned int LINES_TOGETHER = 64 * 1024;

const char* Characters(const unsigned char* bytes) {
    return reinterpret_cast<const char*>(bytes);
}

unsigned int BehindLastLine(text_ref<unsigned char> text) {
    const void* const at = memrchr(text.data, '\n', text.length);
    return at == nullptr
               ? 0
               : static_cast<unsigned int>(static_cast<const unsigned char*>(at) - text.data) + 1;
}

const void* FindLineEnd(const unsigned char* from, std::size_t count) {
    return std::memchr(from, '\n', count);
}

const void* FindLineEnd(const wchar_t* from, std::size_t count) {
    return std::wmemchr(from, L'\n', count);
}

unsigned int BehindLastLine(text_ref<wchar_t> text) {
    unsigned int end = text.length;
    while (end > 0 && text.data[end - 1] != L'\n') {
        --end;
    }
    return end;
}

/// The end of the lines at the front of a text that are searched together; 0 if it has no whole
/// one.
template <class T>
unsigned int EndOfLines(text_ref<T> text, bool isLast) {
    if (text.length <= LINES_TOGETHER) {
        return isLast ? text.length : BehindLastLine(text);
    }
    if (const unsigned int end = BehindLastLine({text.data, LINES_TOGETHER}); end != 0) {
        return end;
    }
    const auto* const at = static_cast<const T*>(
        FindLineEnd(text.data + LINES_TOGETHER, text.length - LINES_TOGETHER));
    return at != nullptr ? static_cast<unsigned int>(at - text.data) + 1 : isLast ? text.length : 0;
}

} // namespace

template <class T>
CLineSearch<T>::CLineSearch(const wstringEx::regex_handle& expression, const wstringEx& replacement,
                            const stringEx& replacementBytes, CRegexReplacer::FORM form)
    : __replacer(expression, replacement, replacementBytes, form),
      __mostForOne(sizeof(T) == 1 ? replacementBytes.length() : replacement.length()) {
    for (unsigned int i = 0; i < replacement.length(); ++i) {
        __mostForOne += replacement[i] == L'\\' ? 1 : 0;
    }
}

template <class T>
void CLineSearch<T>::Start(std::uint64_t /*size*/, std::uint64_t place, bool isAgain) {
    this->_count = 0;
    __place = place;
    if (!isAgain) {
        __last.count = 0;
    }
}

template <class T>
std::size_t CLineSearch<T>::Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) {
    unsigned int begin = 0;
    while (begin < text.length) {
        const unsigned int length = EndOfLines<T>({text.data + begin, text.length - begin}, isLast);
        if (length == 0) {
            break;
        }
        const text_ref<T> block(text.data + begin, length);
        if (const unsigned int matches = __Find(block); matches != 0) {
            this->_count += matches;
            pieces.Replace(block, __GetResult());
        } else {
            pieces.Keep(block);
        }
        begin += length;
        __place += length;
    }
    return begin;
}

/// The last block of a first pass is the first one with a match, and often the text's only one.
template <class T>
unsigned int CLineSearch<T>::__Find(text_ref<T> block) {
    if (__last.count == 0 || __last.place != __place || __last.length != block.length) {
        __last = {__place, block.length, __Replace(block)};
    }
    return __last.count;
}

template <>
unsigned int CLineSearch<wchar_t>::__Replace(text_ref<wchar_t> block) {
    return __replacer.Replace(__result, block);
}

template <>
text_ref<wchar_t> CLineSearch<wchar_t>::__GetResult() {
    return __result;
}

template <>
unsigned int CLineSearch<unsigned char>::__Replace(text_ref<unsigned char> block) {
    const char* const characters = Characters(block.data);
    __isDecoded = IMPL::AsciiLength(characters, block.length) != block.length;
    if (!__isDecoded) {
        return __replacer.Replace(__result, block);
    }
    __wide._alloc_if_need(std::uint64_t{block.length} + 1);
    const IMPL::CODEC_STEP step =
        IMPL::DecodeUtf8(__wide.ref(), block.length, characters, block.length);
    __wide._eofonly(static_cast<unsigned int>(step.written));
    return __replacer.Replace(__wideResult, __wide);
}

template <>
text_ref<unsigned char> CLineSearch<unsigned char>::__GetResult() {
    if (!__isDecoded) {
        return __result;
    }
    const std::uint64_t room = (std::uint64_t{__wideResult.length()} + 1) * IMPL::UTF8_MAX_SEQUENCE;
    __encoded._alloc_if_need(room);
    const IMPL::CODEC_STEP step =
        IMPL::EncodeUtf8(__encoded.ref(), room, __wideResult.data(), __wideResult.length());
    return {reinterpret_cast<const unsigned char*>(__encoded.data()),
            static_cast<unsigned int>(step.written)};
}

template class CLineSearch<unsigned char>;
template class CLineSearch<wchar_t>;

} // namespace Quil

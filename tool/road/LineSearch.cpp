#include "tool/road/LineSearch.h"

#include "util/conv/loss.h"
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

/// Decodes UTF-8 and keeps what isn't any, byte by byte. Answers the number of characters, for all
/// of which there must be room.
unsigned int DecodeKeeping(wchar_t* to, std::string_view bytes) {
    std::size_t written = 0;
    for (std::size_t read = 0; read < bytes.size(); ++read) {
        const IMPL::CODEC_STEP step = IMPL::DecodeUtf8(to + written, bytes.size() - written,
                                                       bytes.data() + read, bytes.size() - read);
        written += step.written;
        read += step.read;
        if (read < bytes.size()) {
            to[written++] = KeptByte(bytes[read]);
        }
    }
    return static_cast<unsigned int>(written);
}

/// The same the other way round.
unsigned int EncodeKept(char* to, std::uint64_t room, const wstringEx& text) {
    std::size_t written = 0;
    for (unsigned int read = 0; read < text.length(); ++read) {
        const IMPL::CODEC_STEP step = IMPL::EncodeUtf8(to + written, room - written,
                                                       text.data() + read, text.length() - read);
        written += step.written;
        read += static_cast<unsigned int>(step.read);
        if (read < text.length()) {
            to[written++] = IsKeptByte(text[read]) ? ByteOfKept(text[read]) : '?';
        }
    }
    return static_cast<unsigned int>(written);
}

} // namespace

template <class T>
CLineSearch<T>::CLineSearch(std::unique_ptr<ITextReplacer> replacer, bool isLocal, double growth,
                            PIECES told)
    : __replacer(std::move(replacer)), __isLocal(isLocal), __growth(growth), __told(told) {}

template <class T>
void CLineSearch<T>::Start(std::uint64_t /*size*/, std::uint64_t place, bool isAgain) {
    this->_count = 0;
    __place = place;
    __replacer->StartText();
    if (!isAgain || __replacer->GetRuleCounts() != nullptr) {
        __last.count = 0;
    }
}

template <class T>
std::size_t CLineSearch<T>::Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) {
    unsigned int begin = 0;
    while (begin < text.length) {
        const unsigned int length =
            __isLocal ? EndOfLines<T>({text.data + begin, text.length - begin}, isLast)
            : isLast  ? text.length
                      : 0;
        if (length == 0) {
            break;
        }
        const text_ref<T> block(text.data + begin, length);
        if (const unsigned int matches = __Find(block); matches != 0) {
            this->_count += matches;
            if (__told == PIECES::MATCHES) {
                __Tell(block, pieces);
            } else {
                pieces.Replace(block, __GetResult());
            }
        } else {
            pieces.Keep(block);
        }
        begin += length;
        __place += length;
    }
    return begin;
}

template <class T>
void CLineSearch<T>::__Tell(text_ref<T> block, IPieces<T>& pieces) {
    const text_ref<T> result = __GetResult();
    unsigned int told = 0;
    for (const REPLACED_MATCH& match : __matches) {
        if (match.begin != told) {
            pieces.Keep({block.data + told, match.begin - told});
        }
        pieces.Replace({block.data + match.begin, match.length},
                       {result.data + match.newBegin, match.newLength});
        told = match.begin + match.length;
    }
    if (told != block.length) {
        pieces.Keep({block.data + told, block.length - told});
    }
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
    return __replacer->Replace(__result, block, __told == PIECES::MATCHES ? &__matches : nullptr);
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
        return __replacer->Replace(__result, block, nullptr);
    }
    __wide._alloc_if_need(std::uint64_t{block.length} + 1);
    __wide._eofonly(DecodeKeeping(__wide.ref(), {characters, block.length}));
    return __replacer->Replace(__wideResult, __wide, nullptr);
}

template <>
text_ref<unsigned char> CLineSearch<unsigned char>::__GetResult() {
    if (!__isDecoded) {
        return __result;
    }
    const std::uint64_t room = (std::uint64_t{__wideResult.length()} + 1) * IMPL::UTF8_MAX_SEQUENCE;
    __encoded._alloc_if_need(room);
    return {reinterpret_cast<const unsigned char*>(__encoded.data()),
            EncodeKept(__encoded.ref(), room, __wideResult)};
}

template class CLineSearch<unsigned char>;
template class CLineSearch<wchar_t>;

} // namespace Quil

#include "tool/road/LineBlocks.h"

#include "tool/road/ConsumedInput.h"
#include "util/conv/utf8_codec.h"
#include "util/conv/utf8_validation.h"
#include "util/text/text_build.h"

#include <cstring>
#include <optional>

namespace Quil {

namespace {

constexpr unsigned int BLOCK = 64 * 1024;

const char* Characters(const unsigned char* bytes) {
    return static_cast<const char*>(static_cast<const void*>(bytes));
}

/// The end of the block that begins at `begin`: behind the last line feed in reach, or the next
/// one.
unsigned int EndOfBlock(const byteEx& text, unsigned int begin) {
    const unsigned int left = text.length() - begin;
    if (left <= BLOCK) {
        return text.length();
    }
    const unsigned char* const start = text.data() + begin;
    const void* at = memrchr(start, '\n', BLOCK);
    if (at == nullptr) {
        at = std::memchr(start + BLOCK, '\n', left - BLOCK);
    }
    return at == nullptr
               ? text.length()
               : begin + static_cast<unsigned int>(static_cast<const unsigned char*>(at) - start) +
                     1;
}

} // namespace

unsigned long CLineBlocks::Replace(byteEx& to, byteEx& text) {
    to.clear();
    CConsumedInput consumed(text);
    std::optional<IMPL::text_writer<unsigned char>> out;
    unsigned int copied = 0;
    unsigned long count = 0;
    for (unsigned int begin = 0; begin < text.length();) {
        const unsigned int end = EndOfBlock(text, begin);
        const unsigned int matches = __ReplaceBlock({text.data() + begin, end - begin});
        if (matches != 0) {
            if (count == 0) {
                to.reserve(text.length());
                out.emplace(to);
            }
            out->put({text.data() + copied, begin - copied});
            out->put(__isDecoded ? __Encode() : text_ref<unsigned char>(__result));
            copied = end;
            consumed.Advance(copied);
            count += matches;
        }
        begin = end;
    }
    if (count != 0) {
        out->put({text.data() + copied, text.length() - copied});
        out->finish();
    }
    return count;
}

unsigned int CLineBlocks::__ReplaceBlock(text_ref<unsigned char> block) {
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

text_ref<unsigned char> CLineBlocks::__Encode() {
    const std::uint64_t room = (std::uint64_t{__wideResult.length()} + 1) * IMPL::UTF8_MAX_SEQUENCE;
    __encoded._alloc_if_need(room);
    const IMPL::CODEC_STEP step =
        IMPL::EncodeUtf8(__encoded.ref(), room, __wideResult.data(), __wideResult.length());
    return {reinterpret_cast<const unsigned char*>(__encoded.data()),
            static_cast<unsigned int>(step.written)};
}

} // namespace Quil

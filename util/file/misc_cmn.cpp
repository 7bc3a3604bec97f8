// Detection of line ends.

#include "util/file/misc_cmn.h"

#include <cstring>

namespace Quil {

namespace {

constexpr unsigned int BLOCK = 4096;

/// Runs `look` on the source and puts the position back.
template <class Look>
auto LookAhead(const TSeekableSource& source, Look look) {
    const CLongLongNative position = source.GetCurrentPos();
    auto result = look();
    source.SeekBegin(position);
    return result;
}

/// Bytes of the source one by one, read a block at a time.
class CByteReader {
public:
    CByteReader(const TSeekableSource& source, std::uint64_t limit)
        : __source(source), __left(limit) {}

    /// False at the end or the limit.
    bool Next(unsigned char& byte) {
        if (__position == __count) {
            const auto size = static_cast<unsigned int>(__left < BLOCK ? __left : BLOCK);
            __count = size > 0 ? __source.Read(__block, size) : 0;
            __left -= __count;
            __position = 0;
            if (__count == 0) {
                return false;
            }
        }
        byte = __block[__position++];
        return true;
    }

private:
    const TSeekableSource& __source;
    std::uint64_t __left;
    unsigned char __block[BLOCK] = {};
    unsigned int __position = 0;
    unsigned int __count = 0;
};

/// `next` gives the characters in turn and false behind the last one.
template <class S, class T, class Next>
S FirstLineEnd(Next next) {
    T c = 0;
    while (next(c)) {
        if (c == '\n') {
            return S(1, c);
        }
        if (c == '\r') {
            S end(1, c);
            if (next(c) && c == '\n') {
                end += c;
            }
            return end;
        }
    }
    return S();
}

} // namespace

stringEx DetectTxtFileEL(const TSeekableSource& source, unsigned int limit) {
    CByteReader reader(source, limit);
    const auto next = [&](char& c) {
        unsigned char byte = 0;
        const bool has = reader.Next(byte);
        c = static_cast<char>(byte);
        return has;
    };
    return LookAhead(source, [&] { return FirstLineEnd<stringEx, char>(next); });
}

wstringEx DetectWTxtFileEL(const TSeekableSource& source, unsigned int limit, bool swapped) {
    CByteReader reader(source, std::uint64_t{limit} * sizeof(wchar_t));
    const auto next = [&](wchar_t& c) {
        unsigned char bytes[sizeof(wchar_t)] = {};
        for (unsigned int i = 0; i < sizeof bytes; ++i) {
            if (!reader.Next(bytes[swapped ? sizeof bytes - 1 - i : i])) {
                return false;
            }
        }
        std::memcpy(&c, bytes, sizeof c);
        return true;
    };
    return LookAhead(source, [&] { return FirstLineEnd<wstringEx, wchar_t>(next); });
}

} // namespace Quil

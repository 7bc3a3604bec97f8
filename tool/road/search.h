// What is looked for in a text that comes by blocks: literals, or nothing, or all of it.
//
// What complicates it: a match may lie across the end of a block. So what may be the beginning of
// one waits for the next block, and only that: what a person types into a pipe should come out as
// soon as it is decided on.
#pragma once

#include "util/text/basic_buffer.h"
#include "util/text/match_replace.h"
#include "util/text/text_build.h"

#include <cstdint>
#include <optional>

namespace Quil {

class CRuleCounts;

/// What becomes of a text, told from its front on.
template <class T>
class IPieces {
public:
    virtual ~IPieces() = default;

    virtual void Keep(text_ref<T> text) = 0;
    virtual void Replace(text_ref<T> old, text_ref<T> text) = 0;
};

/// How closely the pieces are told: matches near each other together, or each by itself.
enum class PIECES { BLOCKS, MATCHES };

/// A search in texts of elements `T`, one after the other. For one thread.
template <class T>
class ISearch {
public:
    virtual ~ISearch() = default;

    /// Begins with a text of about `size` elements, at a place of it. If it `isAgain`, it is the
    /// one of the last start, and what was found in it there still holds.
    virtual void Start(std::uint64_t size, std::uint64_t place, bool isAgain) = 0;

    /// Takes elements from the front of the text: all of the last block, else those that are
    /// decided on. Answers how many.
    virtual std::size_t Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) = 0;

    /// Elements that the result of so many has at most.
    virtual std::uint64_t GetMost(std::uint64_t size) const { return size; }
    /// Whether every replacement is as long as what it replaces.
    virtual bool KeepsPlaces() const { return false; }

    unsigned long GetCount() const { return _count; }
    /// How often each rule was met since the start; null for who has no rules.
    virtual const CRuleCounts* GetRuleCounts() const { return nullptr; }

protected:
    unsigned long _count = 0; ///< replacements since the start
};

/// Looks for nothing: the text goes as it is.
template <class T>
class CNoSearch final : public ISearch<T> {
public:
    void Start(std::uint64_t /*size*/, std::uint64_t /*place*/, bool /*isAgain*/) override {}
    std::size_t Take(text_ref<T> text, bool /*isLast*/, IPieces<T>& pieces) override {
        pieces.Keep(text);
        return text.length;
    }
    bool KeepsPlaces() const override { return true; }
};

/// Replaces a text as a whole. What goes on in the middle finds it replaced.
template <class T>
class CWholeSearch final : public ISearch<T> {
public:
    explicit CWholeSearch(basic_buffer<T> replacement) : __replacement(std::move(replacement)) {}

    void Start(std::uint64_t /*size*/, std::uint64_t place, bool /*isAgain*/) override {
        this->_count = 0;
        __isReplaced = place != 0;
    }
    std::size_t Take(text_ref<T> text, bool /*isLast*/, IPieces<T>& pieces) override {
        pieces.Replace(text, {__replacement.data(), __isReplaced ? 0 : __replacement.length()});
        this->_count += __isReplaced ? 0 : 1;
        __isReplaced = true;
        return text.length;
    }
    std::uint64_t GetMost(std::uint64_t /*size*/) const override { return __replacement.length(); }

private:
    basic_buffer<T> __replacement;
    bool __isReplaced = false;
};

/// Tells matches as pieces: those near each other as one, if they may be, since a word for each
/// would cost more than the rest.
template <class T>
class CTeller {
public:
    /// @param room for the replacements of a piece; is written on
    CTeller(text_ref<T> text, PIECES told, IPieces<T>& pieces, basic_buffer<T>& room)
        : __text(text), __told(told), __pieces(pieces), __room(room) {}

    /// The next match, of so many elements; `put` gives a writer its replacement.
    template <class Put>
    void Tell(unsigned int match, unsigned int length, Put put) {
        if (__told == PIECES::MATCHES || match - __done > sm_near ||
            __done - __begin > sm_together) {
            Flush();
        }
        if (__done == __begin) {
            if (match != __begin) {
                __pieces.Keep({__text.data + __begin, match - __begin});
                __begin = __done = match;
            }
            __writer.emplace(__room);
        }
        __writer->put_part({__text.data + __done, match - __done}, __text.data + __text.length);
        put(*__writer);
        __done = match + length;
    }
    /// Tells what is held back.
    void Flush() {
        if (__done != __begin) {
            __writer->finish();
            __pieces.Replace({__text.data + __begin, __done - __begin}, __room);
            __begin = __done;
        }
    }
    /// The rest up to here stays.
    void Finish(unsigned int end) {
        Flush();
        if (end != __done) {
            __pieces.Keep({__text.data + __done, end - __done});
        }
    }
    /// Behind the last match.
    unsigned int GetDone() const { return __done; }

private:
    /// Matches with no more elements than these between them are told of together.
    static constexpr unsigned int sm_near = 64;
    static constexpr unsigned int sm_together = 16 * 1024;

    text_ref<T> __text;
    PIECES __told;
    IPieces<T>& __pieces;
    basic_buffer<T>& __room;
    std::optional<IMPL::text_writer<T>> __writer;
    unsigned int __begin = 0; ///< of what is held back
    unsigned int __done = 0;  ///< behind the last match
};

/// Looks for a literal.
template <class T, class Fold>
class CLiteralSearch final : public ISearch<T> {
public:
    CLiteralSearch(basic_buffer<T> find, basic_buffer<T> replacement, PIECES told = PIECES::BLOCKS)
        : __find(std::move(find)), __replacement(std::move(replacement)), __told(told) {}

    void Start(std::uint64_t size, std::uint64_t place, bool isAgain) override;
    std::size_t Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) override;
    std::uint64_t GetMost(std::uint64_t size) const override {
        const std::uint64_t find = __find.length();
        const std::uint64_t replacement = __replacement.length();
        return replacement <= find ? size : size + size / find * (replacement - find);
    }
    bool KeepsPlaces() const override { return __find.length() == __replacement.length(); }

private:
    /// Texts from which on a search prepares itself better.
    static constexpr std::uint64_t sm_long = std::uint64_t{64} << 10;

    basic_buffer<T> __find;
    basic_buffer<T> __replacement;
    PIECES __told;
    std::optional<IMPL::text_search<T, Fold>> __search;
    bool __isForLong = false;
    basic_buffer<T> __together;
};

template <class T, class Fold>
void CLiteralSearch<T, Fold>::Start(std::uint64_t size, std::uint64_t /*place*/, bool /*isAgain*/) {
    this->_count = 0;
    const bool isLong = size >= sm_long;
    if (__search && (__isForLong || !isLong)) {
        __search->restart();
        return;
    }
    __isForLong = isLong;
    __search.emplace(__find.data(), __find.length(),
                     static_cast<unsigned int>(isLong ? sm_long : 0));
}

template <class T, class Fold>
std::size_t CLiteralSearch<T, Fold>::Take(text_ref<T> text, bool isLast, IPieces<T>& pieces) {
    CTeller<T> teller(text, __told, pieces, __together);
    __search->each(text.data, text.length, 0, [&](unsigned int match) {
        ++this->_count;
        teller.Tell(match, __search->length(), [this](auto& writer) { writer.put(__replacement); });
        return true;
    });
    const unsigned int done = teller.GetDone();
    const unsigned int open = isLast ? 0 : __search->open_end(text.data + done, text.length - done);
    teller.Finish(text.length - open);
    return text.length - open;
}

} // namespace Quil

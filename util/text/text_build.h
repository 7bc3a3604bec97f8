// What the operations share that build one string from others: arguments that may look into the
// string being changed, and appending without ceremony.
#pragma once

#include "util/text/string/string_face.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Quil::IMPL {

/// Copies elements, also to where they overlap. Short copies are too many, where matches are dense,
/// to call a function for each: they load both ends of the stretch before they store either.
template <class T>
inline void move_elements(T* to, const T* from, std::size_t n) {
    const auto bothEnds = [&]<class Word>(std::type_identity<Word>) {
        Word head;
        Word tail;
        const auto behind = n * sizeof(T) - sizeof(Word);
        std::memcpy(&head, from, sizeof head);
        std::memcpy(&tail, reinterpret_cast<const char*>(from) + behind, sizeof tail);
        std::memcpy(to, &head, sizeof head);
        std::memcpy(reinterpret_cast<char*>(to) + behind, &tail, sizeof tail);
    };
    const std::size_t bytes = n * sizeof(T);
    if (bytes > 32) {
        if (to != from) {
            std::memmove(to, from, bytes);
        }
    } else if (bytes >= 16) {
        bothEnds(std::type_identity<std::array<std::uint64_t, 2>>());
    } else if (bytes >= 8) {
        bothEnds(std::type_identity<std::uint64_t>());
    } else if (bytes >= 4) {
        bothEnds(std::type_identity<std::uint32_t>());
    } else if (n != 0) {
        const T first = from[0];
        const T middle = from[n / 2];
        const T last = from[n - 1];
        to[0] = first;
        to[n / 2] = middle;
        to[n - 1] = last;
    }
}

/// An argument during a change of another buffer: a copy of it where that change could reach its
/// elements, else the argument itself.
template <class T>
class kept_argument {
public:
    kept_argument(const basic_buffer<T>& changed, const basic_buffer<T>& argument)
        : __text(argument) {
        // The change of a shared block is made on a copy, and the argument keeps the old one.
        const bool keepsBlock =
            &argument != &changed && !argument.is_static() && !changed.is_static();
        if (!keepsBlock && changed._reaches(argument.data(), argument.length() * sizeof(T))) {
            __copy = basic_buffer<T>(argument.data(), argument.length());
            __text = __copy;
            __isCopied = true;
        }
    }
    kept_argument(const kept_argument&) = delete;
    kept_argument& operator=(const kept_argument&) = delete;

    text_ref<T> text() const noexcept { return __text; }
    bool is_copied() const noexcept { return __isCopied; }
    const basic_buffer<T>& copied() const noexcept { return __copy; }

private:
    basic_buffer<T> __copy;
    text_ref<T> __text;
    bool __isCopied = false;
};

/// Fills a buffer from its start, without the terminator and the length being written each time:
/// `finish` does that. What is put must not look into the buffer.
template <class T>
class text_writer {
public:
    explicit text_writer(basic_buffer<T>& to) : __to(to) { __Look(); }

    void put(text_ref<T> text) {
        if (text.length > __room) {
            if (__used > 0) {
                finish();
            }
            __to._grow(std::uint64_t{__used} + text.length + basic_buffer<T>::sm_tail);
            __Look();
        }
        move_elements(__elements + __used, text.data, text.length);
        __used += text.length;
        __room -= text.length;
    }
    /// The same for a text that is part of one which ends at `end`: a short one is copied with what
    /// stands behind it, which what is put next writes over. So no branch depends on its length,
    /// where lengths follow each other at random.
    void put_part(text_ref<T> text, const T* end) {
        constexpr unsigned int SHORT = 32;
        if (text.length <= SHORT && __room >= SHORT && end - text.data >= std::ptrdiff_t{SHORT}) {
            std::memcpy(__elements + __used, text.data, SHORT * sizeof(T));
            __used += text.length;
            __room -= text.length;
        } else {
            put(text);
        }
    }
    void finish() {
        if (__elements != nullptr) {
            __to._eofonly(__used);
        }
    }

    unsigned int length() const noexcept { return __used; }
    /// The element put last. Not before there is one.
    T last() const noexcept { return __elements[__used - 1]; }

private:
    void __Look() noexcept {
        constexpr unsigned int TAIL = basic_buffer<T>::sm_tail;
        __elements = __to.ref();
        __room = __to.capacity() >= __used + TAIL ? __to.capacity() - __used - TAIL : 0;
    }

    basic_buffer<T>& __to;
    T* __elements = nullptr;
    unsigned int __used = 0;
    unsigned int __room = 0;
};

} // namespace Quil::IMPL

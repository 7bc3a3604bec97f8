// Iterators over a buffer's elements: an element pointer in a class of its own, so that a position
// can't be mistaken for an iterator when an operation takes both.
#pragma once

#include "util/base/visibility.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <type_traits>

namespace QUIL_PUBLIC Quil {

/// A random-access iterator that is a thin wrapper over a `T*`. `T` is const for the constant form.
/// Valid as long as the block it points into.
template <class T>
class ptr_iterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using iterator_concept = std::contiguous_iterator_tag;
    using value_type = std::remove_cv_t<T>;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    constexpr ptr_iterator() noexcept = default;
    constexpr explicit ptr_iterator(T* element) noexcept : __element(element) {}
    /// The constant form of a writing iterator.
    template <class U>
    requires(std::same_as<const U, T> &&
             !std::is_const_v<U>) constexpr ptr_iterator(const ptr_iterator<U>& other) noexcept
        : __element(other.base()) {}

    /// The address of the element.
    constexpr T* base() const noexcept { return __element; }

    constexpr T& operator*() const noexcept { return *__element; }
    constexpr T* operator->() const noexcept { return __element; }
    constexpr T& operator[](difference_type n) const noexcept { return __element[n]; }

    constexpr ptr_iterator& operator++() noexcept { return ++__element, *this; }
    constexpr ptr_iterator& operator--() noexcept { return --__element, *this; }
    constexpr ptr_iterator operator++(int) noexcept { return ptr_iterator(__element++); }
    constexpr ptr_iterator operator--(int) noexcept { return ptr_iterator(__element--); }
    constexpr ptr_iterator& operator+=(difference_type n) noexcept { return __element += n, *this; }
    constexpr ptr_iterator& operator-=(difference_type n) noexcept { return __element -= n, *this; }

    friend constexpr ptr_iterator operator+(ptr_iterator it, difference_type n) noexcept {
        return ptr_iterator(it.__element + n);
    }
    friend constexpr ptr_iterator operator+(difference_type n, ptr_iterator it) noexcept {
        return ptr_iterator(it.__element + n);
    }
    friend constexpr ptr_iterator operator-(ptr_iterator it, difference_type n) noexcept {
        return ptr_iterator(it.__element - n);
    }
    friend constexpr difference_type operator-(ptr_iterator a, ptr_iterator b) noexcept {
        return a.__element - b.__element;
    }
    friend constexpr bool operator==(ptr_iterator, ptr_iterator) noexcept = default;
    friend constexpr auto operator<=>(ptr_iterator, ptr_iterator) noexcept = default;

private:
    T* __element = nullptr;
};

/// The same pointer run backwards. It holds the address of the very element that it stands on, so
/// the reverse end is the address before the first element.
template <class T>
class ptr_reverse_iterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = std::remove_cv_t<T>;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    constexpr ptr_reverse_iterator() noexcept = default;
    constexpr explicit ptr_reverse_iterator(T* element) noexcept : __element(element) {}
    template <class U>
    requires(std::same_as<const U, T> && !std::is_const_v<U>) constexpr ptr_reverse_iterator(
        const ptr_reverse_iterator<U>& other) noexcept
        : __element(other.base()) {}

    /// The address of the element that the iterator stands on.
    constexpr T* base() const noexcept { return __element; }

    constexpr T& operator*() const noexcept { return *__element; }
    constexpr T* operator->() const noexcept { return __element; }
    constexpr T& operator[](difference_type n) const noexcept { return *(__element - n); }

    constexpr ptr_reverse_iterator& operator++() noexcept { return --__element, *this; }
    constexpr ptr_reverse_iterator& operator--() noexcept { return ++__element, *this; }
    constexpr ptr_reverse_iterator operator++(int) noexcept {
        return ptr_reverse_iterator(__element--);
    }
    constexpr ptr_reverse_iterator operator--(int) noexcept {
        return ptr_reverse_iterator(__element++);
    }
    constexpr ptr_reverse_iterator& operator+=(difference_type n) noexcept {
        return __element -= n, *this;
    }
    constexpr ptr_reverse_iterator& operator-=(difference_type n) noexcept {
        return __element += n, *this;
    }

    friend constexpr ptr_reverse_iterator operator+(ptr_reverse_iterator it,
                                                    difference_type n) noexcept {
        return ptr_reverse_iterator(it.__element - n);
    }
    friend constexpr ptr_reverse_iterator operator+(difference_type n,
                                                    ptr_reverse_iterator it) noexcept {
        return ptr_reverse_iterator(it.__element - n);
    }
    friend constexpr ptr_reverse_iterator operator-(ptr_reverse_iterator it,
                                                    difference_type n) noexcept {
        return ptr_reverse_iterator(it.__element + n);
    }
    friend constexpr difference_type operator-(ptr_reverse_iterator a,
                                               ptr_reverse_iterator b) noexcept {
        return b.__element - a.__element;
    }
    friend constexpr bool operator==(ptr_reverse_iterator, ptr_reverse_iterator) noexcept = default;
    friend constexpr auto operator<=>(ptr_reverse_iterator a, ptr_reverse_iterator b) noexcept {
        return b.__element <=> a.__element;
    }

private:
    T* __element = nullptr;
};

/// What the operations on ranges take as an end of one: a pointer to elements of type `T`, or an
/// iterator over them, constant or not.
template <class It, class T>
concept BufferRangeEnd = std::same_as<It, T*> || std::same_as<It, const T*> ||
    std::same_as<It, ptr_iterator<T>> || std::same_as<It, ptr_iterator<const T>>;

} // namespace Quil

// Whether this is a build with one of the compiler's sanitizers, which bring handlers of their own.
#pragma once

#if !defined(__has_feature)
#define __has_feature(feature) 0 // g++ has no such question and defines a macro a sanitizer
#endif

#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define QUIL_ADDRESS_SANITIZED 1
#else
#define QUIL_ADDRESS_SANITIZED 0
#endif

#if QUIL_ADDRESS_SANITIZED || defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer) ||   \
    __has_feature(memory_sanitizer)
#define QUIL_SANITIZED 1
#else
#define QUIL_SANITIZED 0
#endif

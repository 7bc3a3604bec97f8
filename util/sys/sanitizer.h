// Whether this is a build with one of the compiler's sanitizers, which bring handlers of their own.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUIL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ||                         \
    __has_feature(memory_sanitizer)
#define QUIL_SANITIZED 1
#endif
#endif

#ifndef QUIL_SANITIZED
#define QUIL_SANITIZED 0
#endif

// Plain loops in the widest vectors that the processor has. Private to the library.
#pragma once

// Before a function: it is compiled several times, and the loader chooses at the start of the
// program. Left out for sanitizers: the choice is made before their runtime is there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BRISVANE_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define BRISVANE_IS_SANITIZED 1
#endif
#endif

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(BRISVANE_IS_SANITIZED)
#define BRISVANE_WIDEST_VECTORS __attribute__((target_clones("default", "avx2", "arch=x86-64-v4")))
#else
#define BRISVANE_WIDEST_VECTORS
#endif

/*
 * sanitizers.h: what a test needs to know of the sanitizer it runs under.
 */
#ifndef MVTEST_SANITIZERS_H
#define MVTEST_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define MVTEST_SANITIZER_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define MVTEST_SANITIZER_ALLOCATOR 1
#endif
#endif

namespace mvtest {

/* Whether the C library's own allocator serves the program. Address and
 * thread sanitizers bring their own, which keep freed memory aside (to
 * catch uses after free) or shadow every byte, and keep no statistics of
 * the C library's kind: resident sizes and heap figures then say nothing of
 * what the program itself holds. */
#if defined(MVTEST_SANITIZER_ALLOCATOR)
constexpr bool kNativeAllocator = false;
#else
constexpr bool kNativeAllocator = true;
#endif

} // namespace mvtest

#endif

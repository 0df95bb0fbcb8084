/*
 * sanitizers.h: what a test needs to know of the sanitizer it runs under.
 */
#ifndef MVTEST_SANITIZERS_H
#define MVTEST_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__)
#define MVTEST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MVTEST_ADDRESS_SANITIZER 1
#endif
#endif

namespace mvtest {

/* Whether the C library's own allocator serves the program. AddressSanitizer
 * brings its own, which keeps freed memory aside (its quarantine, 256 MB
 * unless told otherwise) to catch uses after free and keeps no statistics
 * of the C library's kind: resident sizes and heap figures then say nothing
 * of what the program itself holds. */
#if defined(MVTEST_ADDRESS_SANITIZER)
constexpr bool kNativeAllocator = false;
#else
constexpr bool kNativeAllocator = true;
#endif

} // namespace mvtest

#endif

/*
 * freememory.cpp: free memory given back: the large records' kept blocks,
 * and the heap through the C library's malloc_trim, where its allocator is
 * the one in use. A sanitizer's allocator stands in for it, and trimming
 * arenas it never set up crashes.
 */
#include <MVShared/FreeMemory.h>

#include <DravoPlus/DravoPlus.h>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define MV_NATIVE_MALLOC 1
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#undef MV_NATIVE_MALLOC
#endif
#endif
#endif

#if defined(MV_NATIVE_MALLOC)
#include <malloc.h>
#endif

bool Morvane::returnFreeMemory()
{
    DravoPlus::ReleaseSpareRecordMemory();
#if defined(MV_NATIVE_MALLOC)
    malloc_trim(0);
    return true;
#else
    return false;
#endif
}

/*
 * FreeMemory.h: giving memory the process no longer uses back to the system.
 *
 * The C library's allocator keeps what a program frees for its next
 * allocations. After a burst (a plant's flood of changes, a large display
 * read and closed) that can be hundreds of megabytes that the station's
 * resident size goes on showing. Change event receivers give it back by
 * themselves once a burst is over; a program may do the same after work of
 * its own.
 */
#ifndef MVSHARED_FREEMEMORY_H
#define MVSHARED_FREEMEMORY_H

#include <MVShared/MVSharedGlobal.h>

namespace Morvane {

/* Returns the memory kept for large records (see
 * DravoPlus::ReleaseSpareRecordMemory) and the free memory of every
 * allocator arena that can be returned to the system; true when the arenas
 * could be trimmed. False where the C library's allocator is not the one in
 * use (another C library, or a sanitizer's allocator standing in for it):
 * the arenas are left alone there. */
MVSHARED_EXPORT bool returnFreeMemory();

} // namespace Morvane

#endif

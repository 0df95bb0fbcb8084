/*
 * largeblocks.h: the memory of large records, kept apart from the heap.
 *
 * A text point's record is some 15 KB, nearly all of it zero padding, and a
 * plant's burst makes tens of thousands of them on every thread that writes,
 * takes or decodes changes. Were they made on the heap, the small records a
 * program keeps from the same burst (each point's latest change, each
 * point's stored record) would land between them, and every page those
 * small records sit on would stay resident after the burst: a station would
 * never shrink back to its size before it. Large records therefore get
 * blocks of whole pages of their own, mapped from the system; a few
 * megabytes of freed blocks are kept for the next record, so that a burst
 * reuses them instead of asking the system for each one, and the rest goes
 * back at once. releaseSpareLargeBlocks() gives back the kept ones too.
 */
#ifndef DRAVOPLUS_LARGEBLOCKS_H
#define DRAVOPLUS_LARGEBLOCKS_H

#include <cstddef>

namespace dravo {

/* Records from this size on are mostly padding: their contents are made in
 * blocks of their own, and they wait in the embedded server's boxes without
 * their zero tail. Status and analog records are under a kilobyte. */
constexpr std::size_t kLargeRecord = 4096;

/* The most bytes of freed blocks kept for reuse. */
constexpr std::size_t kSpareLargeBlockBytes = 16u * 1024u * 1024u;

/* A block of at least bytes, its length (whole pages) in length; null when
 * the system has no more mappings to give, and the caller uses the heap. */
void* takeLargeBlock(std::size_t bytes, std::size_t& length);
/* Gives back a block from takeLargeBlock with its length. */
void giveBackLargeBlock(void* block, std::size_t length);
/* Returns the kept freed blocks to the system; the bytes returned. */
std::size_t releaseSpareLargeBlocks();

/* Bytes of blocks held by records, and of freed blocks kept for reuse. */
std::size_t largeBlockBytesInUse();
std::size_t spareLargeBlockBytes();

} // namespace dravo

#endif

/*
 * BoundedUncompress.h: inflating compressed bytes that come from other
 * processes (change packets, the data a driver appends to its reply) without
 * letting their sender decide how much memory this process takes.
 *
 * The bytes are in qCompress's form: the uncompressed length as a 4-byte
 * big-endian number, then a zlib stream. qUncompress trusts both parts: it
 * allocates the claimed length (up to 2 GB) before reading anything, and
 * when the stream inflates to more than its claim it keeps doubling its
 * buffer until the stream ends, so a reply of 1 MB can take a gigabyte.
 */
#ifndef MVSHARED_BOUNDEDUNCOMPRESS_H
#define MVSHARED_BOUNDEDUNCOMPRESS_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QByteArray>

namespace Morvane {

/* The inflated bytes of data (size bytes in qCompress's form), or an empty
 * QByteArray when they are not such data or claim more than limit bytes.
 * The claim is checked before anything is allocated; the output grows in
 * steps as the stream produces it, never beyond the claim, and a stream
 * that goes on past its claim is refused. A stream ending short of its
 * claim gives what it holds, as qUncompress does. Bytes after the end of
 * the zlib stream are ignored. */
MVSHARED_EXPORT QByteArray boundedUncompress(const char* data, int size, int limit);

} // namespace Morvane

#endif

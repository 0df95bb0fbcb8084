/*
 * compressedbytes.h: compressed bytes in qCompress's form (a 4-byte
 * big-endian length, then a zlib stream) as a hostile or careless sender
 * makes them: streams that inflate to a gigabyte from a megabyte, and
 * lengths in front that say something else than the stream holds; and the
 * memory (peak and present) by which the tests that read them check their
 * bound.
 */
#ifndef MVTEST_COMPRESSEDBYTES_H
#define MVTEST_COMPRESSEDBYTES_H

#include <QtCore/QByteArray>

namespace mvtest {

/* qCompress's form of head followed by megabytes MiB of zero bytes: a valid
 * zlib stream with its checksum, whose length in front is the true one
 * (or 0xFFFFFFFF when that does not fit). One compressed MiB is repeated,
 * so a stream inflating to a gigabyte takes about a megabyte and a moment
 * to make. */
QByteArray compressedZeros(int megabytes, const QByteArray& head = QByteArray());

/* The same for head followed by block repeated times times (block not
 * empty): a body of any repeating pattern, say a packet's items over and
 * over, that really inflates to its full length. A block of one MiB
 * compresses about a thousandfold. */
QByteArray compressedRepeats(const QByteArray& block, int times, const QByteArray& head = QByteArray());

/* The same bytes with another length in front. */
QByteArray withClaim(const QByteArray& compressed, quint32 claim);

/* The process's peak resident memory so far, in KiB. */
long peakResidentKb();

/* The process's resident memory now (VmRSS), in KiB; -1 when it cannot be
 * read. */
long residentKb();

} // namespace mvtest

#endif

/*
 * compressedbytes.cpp: building zlib streams far larger inflated than
 * compressed. After a full flush a deflate stream restarts at a byte
 * boundary with nothing to refer back to, so the compressed form of one
 * block (a MiB of zeros, a run of packet items) can be repeated as often
 * as wanted; an empty final block and the Adler-32 of the whole (combined,
 * never computed over the gigabyte) end the stream.
 */
#include "compressedbytes.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

#include <sys/resource.h>
#include <zlib.h>

namespace mvtest {

namespace {

constexpr int kMiB = 1 << 20;
/* An empty final block with fixed codes, on a byte boundary. */
const char kFinalBlock[] = { 0x03, 0x00 };

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

/* Deflates input and flushes the block fully (byte-aligned, no history). */
QByteArray deflateFlushed(z_stream& stream, const QByteArray& input)
{
    QByteArray out(int(deflateBound(&stream, uLong(input.size()))) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.constData()));
    stream.avail_in = uInt(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    deflate(&stream, Z_FULL_FLUSH);
    out.resize(out.size() - int(stream.avail_out));
    return out;
}

} // namespace

QByteArray compressedZeros(int megabytes, const QByteArray& head)
{
    return compressedRepeats(QByteArray(kMiB, '\0'), megabytes, head);
}

QByteArray compressedRepeats(const QByteArray& block, int times, const QByteArray& head)
{
    z_stream stream{};
    deflateInit(&stream, Z_BEST_COMPRESSION);
    // The zlib header comes with the first output.
    QByteArray body = deflateFlushed(stream, head);
    const QByteArray once = deflateFlushed(stream, block);
    deflateEnd(&stream);

    const uLong blockSum = adler32(1, reinterpret_cast<const Bytef*>(block.constData()), uInt(block.size()));
    uLong sum = adler32(1, reinterpret_cast<const Bytef*>(head.constData()), uInt(head.size()));
    body.reserve(body.size() + once.size() * times + 6);
    for (int i = 0; i < times; ++i) {
        body += once;
        sum = adler32_combine(sum, blockSum, block.size());
    }
    body.append(kFinalBlock, sizeof kFinalBlock);
    body += bigEndian32(quint32(sum));

    const qint64 length = qint64(head.size()) + qint64(times) * block.size();
    return bigEndian32(length > 0xFFFFFFFFll ? 0xFFFFFFFFu : quint32(length)) + body;
}

QByteArray withClaim(const QByteArray& compressed, quint32 claim)
{
    return bigEndian32(claim) + compressed.mid(4);
}

long peakResidentKb()
{
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

long residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

} // namespace mvtest

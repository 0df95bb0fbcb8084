/*
 * boundeduncompress.cpp: qCompress's form inflated with libdeflate, so that
 * the claimed length is checked before any allocation and inflation stops at
 * the room it is given instead of following the stream wherever it goes.
 *
 * libdeflate inflates a whole stream into a buffer in one call, checking its
 * Adler-32 as zlib does, in a fraction of zlib's time: an operator station
 * inflates every change packet the server task sends, and with zlib the
 * inflation and its checksum were half of what a packet cost it.
 */
#include <MVShared/BoundedUncompress.h>

#include <QtCore/QtEndian>

#include <libdeflate.h>

#include <algorithm>
#include <memory>

namespace {

/* The length in front of the zlib stream. */
constexpr int kClaimBytes = 4;
/* The first output buffer; it doubles from there up to the claim, so a
 * stream that claims much and holds little costs at most this much more
 * than it holds. A burst's change packet fits at once. */
constexpr int kFirstStep = 1024 * 1024;

struct DecompressorFree {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

/* A decompressor holds no stream between calls: one per thread, made once. */
libdeflate_decompressor* decompressor()
{
    thread_local const std::unique_ptr<libdeflate_decompressor, DecompressorFree> own(
        libdeflate_alloc_decompressor());
    return own.get();
}

} // namespace

QByteArray Morvane::boundedUncompress(const char* data, int size, int limit)
{
    if (!data || size <= kClaimBytes)
        return QByteArray();
    const quint32 claim = qFromBigEndian<quint32>(data);
    if (claim == 0 || limit <= 0 || claim > static_cast<quint32>(limit))
        return QByteArray();
    libdeflate_decompressor* const inflater = decompressor();
    if (!inflater)
        return QByteArray();

    /* A stream that does not fit the room is inflated again into twice the
     * room, up to its claim: a stream near its claim costs at most about
     * twice one inflation, and what it may take stays bounded by the claim. */
    const int claimed = static_cast<int>(claim);
    QByteArray out;
    int room = std::min(claimed, kFirstStep);
    for (;;) {
        out.resize(room);
        std::size_t produced = 0;
        const libdeflate_result result =
            libdeflate_zlib_decompress(inflater, data + kClaimBytes, static_cast<std::size_t>(size - kClaimBytes),
                                       out.data(), static_cast<std::size_t>(room), &produced);
        if (result == LIBDEFLATE_SUCCESS) {
            out.resize(static_cast<int>(produced));
            return out;
        }
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE || room == claimed)
            return QByteArray();
        room = static_cast<int>(std::min<qint64>(claimed, qint64(room) * 2));
    }
}

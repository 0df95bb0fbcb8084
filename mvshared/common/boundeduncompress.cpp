/*
 * boundeduncompress.cpp: qCompress's form inflated with zlib directly, so
 * that the claimed length is checked before any allocation and inflation
 * stops at that length instead of following the stream wherever it goes.
 */
#include <MVShared/BoundedUncompress.h>

#include <QtCore/QtEndian>

#include <zlib.h>

#include <algorithm>

namespace {

/* The length in front of the zlib stream. */
constexpr int kClaimBytes = 4;
/* The first output buffer; it doubles from there up to the claim, so a
 * stream that claims much and holds little costs at most this much more
 * than it holds. A burst's change packet fits at once, without the copies
 * of growing. */
constexpr int kFirstStep = 1024 * 1024;

/* Ends the zlib stream however the inflation leaves. */
class Inflater
{
public:
    Inflater(const char* data, int size)
    {
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
        m_stream.avail_in = static_cast<uInt>(size);
        m_ready = inflateInit(&m_stream) == Z_OK;
    }
    ~Inflater()
    {
        if (m_ready)
            inflateEnd(&m_stream);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    bool ready() const { return m_ready; }

    /* Inflates into room bytes at out; returns zlib's result and adds the
     * bytes written to produced. */
    int inflateInto(char* out, int room, int& produced)
    {
        m_stream.next_out = reinterpret_cast<Bytef*>(out);
        m_stream.avail_out = static_cast<uInt>(room);
        const int result = inflate(&m_stream, Z_NO_FLUSH);
        produced += room - static_cast<int>(m_stream.avail_out);
        return result;
    }

private:
    z_stream m_stream{};
    bool m_ready = false;
};

/* Whether the stream ends without producing another byte: a stream whose
 * output already fills its claim may still hold its end marker and
 * checksum, but not one byte more. */
bool endsWithoutMore(Inflater& inflater)
{
    char spare = 0;
    int more = 0;
    int result = Z_OK;
    while (result == Z_OK && more == 0)
        result = inflater.inflateInto(&spare, 1, more);
    return result == Z_STREAM_END && more == 0;
}

} // namespace

QByteArray Morvane::boundedUncompress(const char* data, int size, int limit)
{
    if (!data || size <= kClaimBytes)
        return QByteArray();
    const quint32 claim = qFromBigEndian<quint32>(data);
    if (claim == 0 || limit <= 0 || claim > static_cast<quint32>(limit))
        return QByteArray();
    Inflater inflater(data + kClaimBytes, size - kClaimBytes);
    if (!inflater.ready())
        return QByteArray();

    const int claimed = static_cast<int>(claim);
    QByteArray out;
    int produced = 0;
    for (;;) {
        if (produced == out.size()) {
            if (produced == claimed) {
                if (!endsWithoutMore(inflater))
                    return QByteArray();
                break;
            }
            const qint64 doubled = std::max<qint64>(kFirstStep, qint64(out.size()) * 2);
            out.resize(static_cast<int>(std::min<qint64>(claimed, doubled)));
        }
        const int result = inflater.inflateInto(out.data() + produced, out.size() - produced, produced);
        if (result == Z_STREAM_END)
            break;
        if (result != Z_OK)
            return QByteArray();
    }
    out.resize(produced);
    return out;
}

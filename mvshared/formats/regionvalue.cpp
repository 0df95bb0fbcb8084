/*
 * regionvalue.cpp: reading a region property value.
 *
 * A region travels as a byte array of records that Qt replays: a list of
 * rectangles (what Qt's writer writes since Qt 2.0), or the older records
 * (a rectangle, an ellipse, a polygon, a translation, and unions,
 * intersections, differences and exclusive unions of two nested byte
 * arrays, which Qt 1 streams nest one level deeper for each rectangle).
 * Qt's own replay trusts the records: it unites a list's rectangles one by
 * one (quadratic: half a megabyte of scattered rectangles takes many
 * seconds), reserves a polygon's points by their count, copies every
 * nested operand out of the level above and recurses without bound. So the
 * records are replayed here to the region Qt makes of them (nested
 * operands in Qt's default stream version and big-endian, as Qt reads
 * them; records cut short as Qt reads them), with every count checked
 * against the record's bytes, nested operands read in place, nesting
 * bounded (256 levels), and a list's rectangles united pairwise.
 *
 * Ellipses and polygons are scan-converted line by line, so one spanning
 * two billion lines would take minutes; Qt's writer never writes them, and
 * their bounds are held to what a display can show.
 */
#include "propertyblock.h"

#include <QtCore/QVector>
#include <QtGui/QPolygon>
#include <QtGui/QRegion>

#include <cstdlib>

namespace MorvaneFormats {

namespace {

/* Qt's region records. */
constexpr qint32 SetRect = 1;
constexpr qint32 SetEllipse = 2;
constexpr qint32 SetPolygonAlternate = 3;
constexpr qint32 SetPolygonWinding = 4;
constexpr qint32 Translate = 5;
constexpr qint32 Unite = 6;
constexpr qint32 Intersect = 7;
constexpr qint32 Subtract = 8;
constexpr qint32 ExclusiveOr = 9;
constexpr qint32 Rects = 10;

constexpr int MaxRegionNesting = 256;
/* The largest extent of an ellipse or polygon: far beyond any screen. */
constexpr int MaxShapeExtent = 1 << 16;
constexpr quint32 NullLength = 0xffffffffu;

/* Unites rectangles pairwise, so that each union joins regions of about
 * the same size. */
QRegion uniteAll(const QVector<QRect>& rects, int from, int to)
{
    if (to - from == 1)
        return QRegion(rects.at(from));
    const int middle = from + (to - from) / 2;
    return uniteAll(rects, from, middle).united(uniteAll(rects, middle, to));
}

/* Extents in 64 bits: the corners are anything a stream says. */
bool reasonableShape(const QRect& bounds)
{
    const qint64 width = qint64(bounds.right()) - bounds.left() + 1;
    const qint64 height = qint64(bounds.bottom()) - bounds.top() + 1;
    return std::abs(width) <= MaxShapeExtent && std::abs(height) <= MaxShapeExtent;
}

/* Replays records as Qt does, including what Qt makes of records cut
 * short: fields past the end read as zero, and the replay ends there. What
 * would cost unbounded time, memory or stack is refused. */
class Replay
{
public:
    /* version 0: Qt's default version, as Qt reads nested operands. */
    Replay(const QByteArray& records, int version, QDataStream::ByteOrder order)
        : m_records(records)
        , m_stream(m_records)
    {
        if (version != 0)
            m_stream.setVersion(version);
        m_stream.setByteOrder(order);
    }

    bool run(QRegion& region, int depth)
    {
        if (depth > MaxRegionNesting)
            return false;
        QRegion result;
        while (!m_stream.atEnd()) {
            qint32 record = 0;
            m_stream >> record;
            if (!replayRecord(record, result, depth))
                return false;
        }
        region = result;
        return true;
    }

private:
    qint64 left() const { return m_records.size() - m_stream.device()->pos(); }
    qint64 pointBytes() const { return m_stream.version() == 1 ? 4 : 8; }
    qint64 rectBytes() const { return 2 * pointBytes(); }
    /* Steps to the end, as Qt's reader of a list cut short does. */
    void skipRest() { m_stream.skipRawData(int(left())); }

    bool replayRecord(qint32 record, QRegion& result, int depth)
    {
        switch (record) {
        case SetRect:
        case SetEllipse: {
            QRect rect;
            m_stream >> rect;
            if (record == SetEllipse && !reasonableShape(rect))
                return false;
            result = QRegion(rect, record == SetRect ? QRegion::Rectangle : QRegion::Ellipse);
            return true;
        }
        case SetPolygonAlternate:
        case SetPolygonWinding: {
            const QPolygon polygon = readPolygon();
            if (!reasonableShape(polygon.boundingRect()))
                return false;
            result = QRegion(polygon, record == SetPolygonWinding ? Qt::WindingFill : Qt::OddEvenFill);
            return true;
        }
        case Translate: {
            QPoint offset;
            m_stream >> offset;
            result.translate(offset);
            return true;
        }
        case Unite:
        case Intersect:
        case Subtract:
        case ExclusiveOr:
            return combine(record, result, depth);
        case Rects:
            return uniteRects(result);
        default:
            // Qt steps over a record it does not know, number only.
            return true;
        }
    }

    /* A polygon that does not fit the record's bytes reads as empty. */
    QPolygon readPolygon()
    {
        quint32 count = 0;
        m_stream >> count;
        QPolygon polygon;
        if (qint64(count) * pointBytes() > left()) {
            skipRest();
            return polygon;
        }
        for (quint32 i = 0; i < count; ++i) {
            QPoint point;
            m_stream >> point;
            polygon.append(point);
        }
        return polygon;
    }

    /* A nested operand, read in place from the bytes of this level; one
     * that does not fit them reads as empty. */
    bool operand(QRegion& region, int depth)
    {
        quint32 length = 0;
        m_stream >> length;
        if (length == NullLength || m_stream.status() != QDataStream::Ok)
            return true;
        if (qint64(length) > left()) {
            skipRest();
            return true;
        }
        const qint64 at = m_stream.device()->pos();
        const QByteArray bytes = QByteArray::fromRawData(m_records.constData() + at, int(length));
        m_stream.skipRawData(int(length));
        return Replay(bytes, 0, QDataStream::BigEndian).run(region, depth + 1);
    }

    bool combine(qint32 record, QRegion& result, int depth)
    {
        QRegion first;
        QRegion second;
        if (!operand(first, depth) || !operand(second, depth))
            return false;
        switch (record) {
        case Unite: result = first.united(second); break;
        case Intersect: result = first.intersected(second); break;
        case Subtract: result = first.subtracted(second); break;
        default: result = first.xored(second); break;
        }
        return true;
    }

    /* A list claiming more rectangles than its bytes hold is refused: Qt
     * would unite the rectangles it claims one by one, for as long as the
     * count says. */
    bool uniteRects(QRegion& result)
    {
        quint32 count = 0;
        m_stream >> count;
        if (qint64(count) * rectBytes() > left())
            return false;
        QVector<QRect> rects;
        for (quint32 i = 0; i < count; ++i) {
            QRect rect;
            m_stream >> rect;
            rects.append(rect);
        }
        if (!rects.isEmpty())
            result = result.united(uniteAll(rects, 0, rects.size()));
        return true;
    }

    const QByteArray m_records;
    QDataStream m_stream;
};

} // namespace

void readRegion(QDataStream& stream, QRegion& region)
{
    QByteArray records;
    stream >> records;
    if (!readable(stream))
        return;
    if (!Replay(records, stream.version(), stream.byteOrder()).run(region, 0))
        refuseCorruptData(stream);
}

} // namespace MorvaneFormats

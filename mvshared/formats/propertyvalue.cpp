/*
 * propertyvalue.cpp: reading one property value (a QVariant in Qt's own
 * QDataStream encoding) from a stream that may be corrupt.
 *
 * Why not simply `stream >> variant`: Qt 5.15's QVariant reader trusts what
 * the bytes say. Its list-like containers (QVariantList, QStringList,
 * QByteArrayList, QPolygon, QPolygonF) reserve room for the element count
 * before reading a single element, so a count of two billion makes Qt throw
 * std::bad_alloc (or take gigabytes for a smaller count); a QVariant holding
 * a QVariant, or a list of lists, nests Qt's reader without bound until the
 * stack overflows. So the value header and these containers are read here,
 * element by element with Qt's own element readers, stopping at the first
 * failure and refusing to nest deeper than MaxValueNesting. Every other type
 * is handed to Qt's reader for that type, which takes only what the stream
 * holds, except these:
 *  - drawing values (fonts, pens, brushes, images, pixmaps, bitmaps,
 *    cursors, palettes, icons) carry counts and pictures of their own that
 *    Qt trusts; they are walked first through a bounded look-ahead
 *    (valuescan.cpp), and Qt's reader gets only the bytes that passed;
 *  - a region's records are replayed here (regionvalue.cpp), since Qt's
 *    replay of hostile records takes unbounded time, memory and stack;
 *  - a text format holds a map of QVariants that Qt would read with its own
 *    QVariant reader, so its type and properties are read here and the
 *    format is built from them;
 *  - an easing curve carries the address of its custom function, which Qt
 *    would take from the stream; its fields are read here and the curve is
 *    built from them (a custom curve's function means nothing outside the
 *    process that wrote it, so it arrives as a linear curve).
 *
 * Streams of Qt 3 and older number the types by a table of their own, and
 * Qt 4 streams number some differently again; both are mapped as Qt does.
 *
 * Types registered by the application are read by the stream operators
 * the application registered for them.
 *
 * Pixmaps, bitmaps and cursors belong to the window system, and Qt makes
 * them only in a process with a QGuiApplication. Anywhere else it aborts
 * the process when one is made or read (only a plain pixmap read under a
 * QCoreApplication is dropped with a warning instead), and so it does for
 * icons, and for brushes, pens and palettes whose texture travels as a
 * pixmap (streams older than Qt 5.5). A report tool or a server task reads
 * the same documents without a GUI, so there pixmaps and bitmaps are read
 * as the images they travel as, and cursors, icons and such brushes, pens
 * and palettes as the bytes of their encoding (see ScadaActionStream.h);
 * Qt's readers never see them.
 *
 * From a valid stream the result is the QVariant Qt itself would read in a
 * GUI process, null flag included (custom easing curves aside), so a
 * document read and written again comes out as it would through Qt's own
 * reader.
 */
#include "propertyblock.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QEasingCurve>
#include <QtCore/QHash>
#include <QtCore/QMultiHash>
#include <QtCore/QMultiMap>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtGui/QGuiApplication>
#include <QtGui/QPolygon>
#include <QtGui/QPolygonF>
#include <QtGui/QRegion>
#include <QtGui/QTextFormat>

namespace MorvaneFormats {

namespace {

/* How the payload of a value of some type is read. */
enum class Framing {
    QtReader,      // Qt's reader for the type; it takes only what is there
    NestedVariant, // a QVariant inside the QVariant
    List,          // quint32 count, then the elements
    Map,           // quint32 count, then key/value pairs
    Scanned,       // Qt's reader, on the bytes the walk checked
    TextFormat,    // built here from its type and properties
    EasingCurve,   // built here from its fields
    Region         // replayed here from its records
};

Framing typeFraming(int typeId, int streamVersion)
{
    switch (typeId) {
    case QMetaType::QVariant:
        return Framing::NestedVariant;
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
    case QMetaType::QByteArrayList:
    case QMetaType::QPolygon:
    case QMetaType::QPolygonF:
        return Framing::List;
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return Framing::Map;
    case QMetaType::QTextFormat:
        return Framing::TextFormat;
    case QMetaType::QEasingCurve:
        return Framing::EasingCurve;
    case QMetaType::QRegion:
        return Framing::Region;
    default:
        return needsScan(typeId, streamVersion) ? Framing::Scanned : Framing::QtReader;
    }
}

/* The value header as Qt writes it: the type id (numbered differently by
 * Qt 4 streams), a null flag from Qt 4.2 on, and the type's name for types
 * registered by applications. */
struct ValueHeader {
    int typeId = QMetaType::UnknownType;
    bool isNull = false;
    /* A Qt 3 number beyond the table: the value ends at its number. */
    bool endsAtNumber = false;
};

/* Qt 4 numbered its extended core types from 128, QSizePolicy 75 and the
 * types that followed it one higher than Qt 5 does. */
int typeIdFromQt4(quint32 wireId)
{
    if (wireId == 127)
        return QMetaType::User;
    if (wireId >= 128)
        return int(wireId - 97);
    if (wireId == 75)
        return QMetaType::QSizePolicy;
    if (wireId > 75 && wireId <= 86)
        return int(wireId - 1);
    return int(wireId);
}

/* Qt 3 and older streams number the types by this table (0 where the type
 * no longer exists); Qt reads a number beyond it as an invalid value and
 * nothing more. */
const int Qt3TypeIds[] = {
    QMetaType::UnknownType, QMetaType::QVariantMap, QMetaType::QVariantList, QMetaType::QString,
    QMetaType::QStringList, QMetaType::QFont, QMetaType::QPixmap, QMetaType::QBrush,
    QMetaType::QRect, QMetaType::QSize, QMetaType::QColor, QMetaType::QPalette,
    QMetaType::UnknownType, QMetaType::QIcon, QMetaType::QPoint, QMetaType::QImage,
    QMetaType::Int, QMetaType::UInt, QMetaType::Bool, QMetaType::Double,
    QMetaType::UnknownType, QMetaType::QPolygon, QMetaType::QRegion, QMetaType::QBitmap,
    QMetaType::QCursor, QMetaType::QSizePolicy, QMetaType::QDate, QMetaType::QTime,
    QMetaType::QDateTime, QMetaType::QByteArray, QMetaType::QBitArray, QMetaType::QKeySequence,
    QMetaType::QPen, QMetaType::LongLong, QMetaType::ULongLong, QMetaType::QEasingCurve,
};
constexpr quint32 Qt3TypeCount = sizeof(Qt3TypeIds) / sizeof(Qt3TypeIds[0]);

int userTypeByName(QDataStream& stream)
{
    QByteArray name;
    stream >> name;
    const int typeId = QMetaType::type(name.constData());
    if (readable(stream) && typeId == QMetaType::UnknownType)
        refuseCorruptData(stream);
    return typeId;
}

ValueHeader readHeader(QDataStream& stream)
{
    ValueHeader header;
    quint32 wireId = 0;
    stream >> wireId;
    if (stream.version() < QDataStream::Qt_4_0) {
        header.endsAtNumber = wireId >= Qt3TypeCount;
        header.typeId = header.endsAtNumber ? int(QMetaType::UnknownType) : Qt3TypeIds[wireId];
        return header;
    }
    header.typeId = stream.version() < QDataStream::Qt_5_0 ? typeIdFromQt4(wireId) : int(wireId);
    if (stream.version() >= QDataStream::Qt_4_2) {
        qint8 isNull = 0;
        readFields(stream, isNull);
        header.isNull = isNull != 0;
    }
    if (readable(stream) && header.typeId == QMetaType::User)
        header.typeId = userTypeByName(stream);
    return header;
}

template <typename Element>
void readElement(QDataStream& stream, Element& element, int)
{
    stream >> element;
}

void readElement(QDataStream& stream, QVariant& element, int depth)
{
    readPropertyValue(stream, element, depth + 1);
}

/* Grows the list as elements arrive; the count only bounds the loop. */
template <typename ListType>
void readList(QDataStream& stream, ListType& list, int depth)
{
    quint32 count = 0;
    stream >> count;
    for (quint32 i = 0; i < count && readable(stream); ++i) {
        typename ListType::value_type element;
        readElement(stream, element, depth);
        if (readable(stream))
            list.append(element);
    }
}

/* Keys arrive in reverse order and are inserted as Qt does, as a multi-map,
 * so a later duplicate shadows an earlier one exactly as in Qt's reader. */
template <typename MultiMapType, typename MapType>
void readMap(QDataStream& stream, MapType& map, int depth)
{
    quint32 count = 0;
    stream >> count;
    for (quint32 i = 0; i < count && readable(stream); ++i) {
        QString key;
        stream >> key;
        if (!readable(stream))
            return;
        QVariant element;
        readElement(stream, element, depth);
        if (readable(stream))
            static_cast<MultiMapType&>(map).insert(key, element);
    }
}

template <typename ListType>
void readListPayload(QDataStream& stream, void* payload, int depth)
{
    readList(stream, *static_cast<ListType*>(payload), depth);
}

void readListValue(QDataStream& stream, int typeId, void* payload, int depth)
{
    switch (typeId) {
    case QMetaType::QVariantList:
        return readListPayload<QVariantList>(stream, payload, depth);
    case QMetaType::QStringList:
        return readListPayload<QStringList>(stream, payload, depth);
    case QMetaType::QByteArrayList:
        return readListPayload<QByteArrayList>(stream, payload, depth);
    case QMetaType::QPolygon:
        return readListPayload<QPolygon>(stream, payload, depth);
    default:
        return readListPayload<QPolygonF>(stream, payload, depth);
    }
}

void readMapValue(QDataStream& stream, int typeId, void* payload, int depth)
{
    if (typeId == QMetaType::QVariantMap)
        readMap<QMultiMap<QString, QVariant>>(stream, *static_cast<QVariantMap*>(payload), depth);
    else
        readMap<QMultiHash<QString, QVariant>>(stream, *static_cast<QVariantHash*>(payload), depth);
}

/* Refuses a value the walk did not pass: as cut short when it needs bytes
 * that have not come, as corrupt otherwise. */
void refuseScanned(QDataStream& stream, const DrawingValueScan& scan)
{
    if (scan.shortOfData)
        stream.setStatus(QDataStream::ReadPastEnd);
    else
        refuseCorruptData(stream);
}

/* Consumes the bytes a walk looked at. */
bool consume(QDataStream& stream, const QByteArray& bytes)
{
    if (stream.device()->skip(bytes.size()) == bytes.size())
        return true;
    stream.setStatus(QDataStream::ReadPastEnd);
    return false;
}

/* Qt's reader on the checked bytes of a drawing value; it must take them
 * all, as a valid value does. */
void readScanned(QDataStream& stream, int typeId, void* payload)
{
    const DrawingValueScan scan = scanDrawingValue(stream, typeId);
    if (!scan.plausible)
        return refuseScanned(stream, scan);
    if (!consume(stream, scan.bytes))
        return;
    QDataStream value(scan.bytes);
    value.setVersion(stream.version());
    value.setByteOrder(stream.byteOrder());
    value.setFloatingPointPrecision(stream.floatingPointPrecision());
    if (!QMetaType::load(value, typeId, payload) || value.status() != QDataStream::Ok || !value.atEnd())
        refuseCorruptData(stream);
}

/* A text format: its type, then a map of property ids to values (a count,
 * then id/value pairs), each value read as any other here. */
void readTextFormat(QDataStream& stream, void* payload, int depth)
{
    qint32 formatType = 0;
    quint32 count = 0;
    readFields(stream, formatType, count);
    QTextFormat format(formatType);
    for (quint32 i = 0; i < count && readable(stream); ++i) {
        qint32 property = 0;
        readFields(stream, property);
        QVariant value;
        readPropertyValue(stream, value, depth + 1);
        if (readable(stream))
            format.setProperty(property, value);
    }
    if (readable(stream))
        *static_cast<QTextFormat*>(payload) = format;
}

/* One point of a TCB spline: the point, then tension, continuity, bias. */
struct TcbPoint {
    QPointF point;
    double tension = 0;
    double continuity = 0;
    double bias = 0;
};

void readPoint(QDataStream& stream, QPointF& point)
{
    readFields(stream, point);
}

void readPoint(QDataStream& stream, TcbPoint& point)
{
    readFields(stream, point.point, point.tension, point.continuity, point.bias);
}

/* The spline points of an easing curve (Qt 5.13 streams on), grown as they
 * arrive. */
template <typename Point>
QVector<Point> readPoints(QDataStream& stream)
{
    quint32 count = 0;
    readFields(stream, count);
    QVector<Point> points;
    for (quint32 i = 0; i < count && readable(stream); ++i) {
        Point point;
        readPoint(stream, point);
        if (readable(stream))
            points.append(point);
    }
    return points;
}

/* An easing curve: its type (one byte), the writer's function address,
 * whether parameters follow, then period, amplitude and overshoot and, from
 * Qt 5.13 on, the points of its Bezier and TCB splines. */
void readEasingCurve(QDataStream& stream, void* payload)
{
    quint8 type = 0;
    quint64 functionAddress = 0;
    bool hasParameters = false;
    readFields(stream, type, functionAddress, hasParameters);
    if (readable(stream) && type >= QEasingCurve::NCurveTypes)
        return refuseCorruptData(stream);
    QEasingCurve curve(type == QEasingCurve::Custom ? QEasingCurve::Linear : QEasingCurve::Type(type));
    if (hasParameters) {
        double period = 0;
        double amplitude = 0;
        double overshoot = 0;
        readFields(stream, period, amplitude, overshoot);
        curve.setPeriod(period);
        curve.setAmplitude(amplitude);
        curve.setOvershoot(overshoot);
        if (stream.version() >= QDataStream::Qt_5_13) {
            const QVector<QPointF> bezier = readPoints<QPointF>(stream);
            const QVector<TcbPoint> tcb = readPoints<TcbPoint>(stream);
            if (readable(stream) && bezier.size() % 3 != 0)
                return refuseCorruptData(stream);
            for (int i = 0; i + 2 < bezier.size(); i += 3)
                curve.addCubicBezierSegment(bezier.at(i), bezier.at(i + 1), bezier.at(i + 2));
            for (const TcbPoint& point : tcb)
                curve.addTCBSegment(point.point, point.tension, point.continuity, point.bias);
        }
    }
    if (readable(stream))
        *static_cast<QEasingCurve*>(payload) = curve;
}

void readPayload(QDataStream& stream, int typeId, void* payload, int depth)
{
    switch (typeFraming(typeId, stream.version())) {
    case Framing::NestedVariant:
        return readElement(stream, *static_cast<QVariant*>(payload), depth);
    case Framing::List:
        return readListValue(stream, typeId, payload, depth);
    case Framing::Map:
        return readMapValue(stream, typeId, payload, depth);
    case Framing::Scanned:
        return readScanned(stream, typeId, payload);
    case Framing::TextFormat:
        return readTextFormat(stream, payload, depth);
    case Framing::EasingCurve:
        return readEasingCurve(stream, payload);
    case Framing::Region:
        return readRegion(stream, *static_cast<QRegion*>(payload));
    case Framing::QtReader:
        break;
    }
    if (!QMetaType::load(stream, typeId, payload))
        refuseCorruptData(stream);
}

/* ---- Without a GUI ------------------------------------------------------- */

bool guiPresent()
{
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
}

/* QVariant keeps 30 bits of a type id and makes the type they name. */
constexpr int HeldTypeIdMask = (1 << 30) - 1;

/* In a process without a GUI: a pixmap or bitmap is turned into the image
 * it travels as (the header now says so); a cursor or an icon, or a brush,
 * pen or palette whose texture travels as a pixmap, is read here as its
 * encoded bytes. True when the value has been read here (or refused). */
bool readWithoutGui(QDataStream& stream, ValueHeader& header, QVariant& value)
{
    const int heldType = header.typeId & HeldTypeIdMask;
    switch (heldType) {
    case QMetaType::QPixmap:
    case QMetaType::QBitmap:
        header.typeId = QMetaType::QImage;
        return false;
    case QMetaType::QCursor:
    case QMetaType::QIcon:
    case QMetaType::QBrush:
    case QMetaType::QPen:
    case QMetaType::QPalette: {
        if (!needsScan(heldType, stream.version()))
            return false;
        const DrawingValueScan scan = scanDrawingValue(stream, heldType);
        if (!scan.plausible) {
            refuseScanned(stream, scan);
            return true;
        }
        if (heldType != QMetaType::QCursor && heldType != QMetaType::QIcon && !scan.pixmapTexture)
            return false;
        if (consume(stream, scan.bytes))
            value = scan.bytes;
        return true;
    }
    default:
        return false;
    }
}

void skipQt4InvalidPayload(QDataStream& stream)
{
    QString unused;
    stream >> unused;
}

/* A variant of the type with the null flag the writer had: QVariant(Type)
 * makes a null one, QVariant(typeId, nullptr) a non-null default. */
QVariant emptyValue(const ValueHeader& header)
{
    if (header.isNull)
        return QVariant(QVariant::Type(header.typeId));
    return QVariant(header.typeId, nullptr);
}

} // namespace

void readPropertyValue(QDataStream& stream, QVariant& value, int depth)
{
    value = QVariant();
    if (!readable(stream))
        return;
    if (depth > MaxValueNesting)
        return refuseCorruptData(stream);
    ValueHeader header = readHeader(stream);
    if (!readable(stream) || header.endsAtNumber)
        return;
    if (!guiPresent() && readWithoutGui(stream, header, value))
        return;
    value = emptyValue(header);
    if (!value.isValid()) {
        // An invalid value, or a type this process does not know: Qt reads
        // it as an invalid QVariant, after the empty string Qt 4 wrote.
        value = QVariant();
        if (stream.version() < QDataStream::Qt_5_0)
            skipQt4InvalidPayload(stream);
        return;
    }
    // QVariant keeps 30 bits of the type id; like Qt's reader, go on with
    // the type the value really got, not with the id from the stream.
    readPayload(stream, value.userType(), value.data(), depth);
}

} // namespace MorvaneFormats

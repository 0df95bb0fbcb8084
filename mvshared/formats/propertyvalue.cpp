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
 * holds, except drawing values: fonts, pens, brushes, images, regions and
 * cursors carry counts of their own that Qt trusts, and are scanned first
 * (valuescan.cpp); palettes, text formats, easing curves and icons cannot
 * be checked that way (see typeFraming) and are refused as corrupt data
 * rather than read unchecked.
 *
 * Streams in the layouts of Qt 3 and older numbered the types by a table of
 * their own; the product never wrote such documents, and values found in
 * them are refused as corrupt data rather than read by an unguarded path.
 *
 * Types registered by the application are read by the stream operators
 * the application registered for them.
 *
 * Pixmaps, bitmaps and cursors belong to the window system, and Qt makes
 * them only in a process with a QGuiApplication. Anywhere else it aborts
 * the process when one is made or read (only a plain pixmap read under a
 * QCoreApplication is dropped with a warning instead), and so it does for
 * brushes and pens whose texture travels as a pixmap (streams older than
 * Qt 5.5). A report tool or a server task reads the same documents without
 * a GUI, so there pixmaps and bitmaps are read as the images they travel
 * as, and cursors and such brushes and pens as the bytes of their encoding
 * (see ScadaActionStream.h); Qt's readers never see them.
 *
 * From a valid stream the result is the QVariant Qt itself would read in a
 * GUI process, null flag included, so a document read and written again
 * comes out as it would through Qt's own reader.
 */
#include "propertyblock.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QHash>
#include <QtCore/QMultiHash>
#include <QtCore/QMultiMap>
#include <QtCore/QStringList>
#include <QtGui/QGuiApplication>
#include <QtGui/QPolygon>
#include <QtGui/QPolygonF>

#include <limits>

namespace MorvaneFormats {

namespace {

/* How the payload of a value of some type is read. */
enum class Framing {
    QtReader,      // Qt's reader for the type; it takes only what is there
    NestedVariant, // a QVariant inside the QVariant
    List,          // quint32 count, then the elements
    Map,           // quint32 count, then key/value pairs
    Scanned,       // Qt's reader, once the value's counts have been checked
    Refused        // no reader may be trusted with it
};

Framing typeFraming(int typeId)
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
    case QMetaType::QPalette:    // dozens of brushes, by a version's role table
    case QMetaType::QTextFormat: // its properties go through Qt's QVariant reader
    case QMetaType::QEasingCurve:// Qt reads a function address from the stream
    case QMetaType::QIcon:       // laid out by icon-engine plugins
        return Framing::Refused;
    default:
        return needsScan(typeId) ? Framing::Scanned : Framing::QtReader;
    }
}

/* The value header as Qt writes it: the type id (numbered differently by
 * Qt 4 streams), a null flag from Qt 4.2 on, and the type's name for types
 * registered by applications. */
struct ValueHeader {
    int typeId = QMetaType::UnknownType;
    bool isNull = false;
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

void readPayload(QDataStream& stream, int typeId, void* payload, int depth)
{
    switch (typeFraming(typeId)) {
    case Framing::NestedVariant:
        return readElement(stream, *static_cast<QVariant*>(payload), depth);
    case Framing::List:
        return readListValue(stream, typeId, payload, depth);
    case Framing::Map:
        return readMapValue(stream, typeId, payload, depth);
    case Framing::Refused:
        return refuseCorruptData(stream);
    case Framing::Scanned:
        if (!scanDrawingValue(stream, typeId).plausible)
            return refuseCorruptData(stream);
        break;
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

/* The value's bytes as they stand on the stream. */
QVariant encodedBytes(QDataStream& stream, qint64 size)
{
    if (size > std::numeric_limits<int>::max()) {
        refuseCorruptData(stream);
        return QVariant();
    }
    QByteArray bytes(int(size), Qt::Uninitialized);
    if (stream.readRawData(bytes.data(), int(size)) != int(size)) {
        refuseCorruptData(stream);
        return QVariant();
    }
    return bytes;
}

/* In a process without a GUI: a pixmap or bitmap is turned into the image
 * it travels as (the header now says so); a cursor, or a brush or pen whose
 * texture travels as a pixmap, is read here as its encoded bytes. True when
 * the value has been read here (or refused). */
bool readWithoutGui(QDataStream& stream, ValueHeader& header, QVariant& value)
{
    const int heldType = header.typeId & HeldTypeIdMask;
    switch (heldType) {
    case QMetaType::QPixmap:
    case QMetaType::QBitmap:
        header.typeId = QMetaType::QImage;
        return false;
    case QMetaType::QCursor:
    case QMetaType::QBrush:
    case QMetaType::QPen: {
        const DrawingValueScan scan = scanDrawingValue(stream, heldType);
        if (!scan.plausible) {
            refuseCorruptData(stream);
            return true;
        }
        if (heldType != QMetaType::QCursor && !scan.pixmapTexture)
            return false;
        value = encodedBytes(stream, scan.bytes);
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
    if (depth > MaxValueNesting || stream.version() < QDataStream::Qt_4_0)
        return refuseCorruptData(stream);
    ValueHeader header = readHeader(stream);
    if (!readable(stream))
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

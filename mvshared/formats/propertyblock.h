/*
 * propertyblock.h (internal): the dynamic property block shared by the item,
 * action and named-stream records, and the guards every reader of the
 * formats applies to data from outside.
 *
 * A property block is a qint32 count followed by that many key/value pairs
 * in ascending key order. Items write their keys as Latin-1 byte arrays, the
 * other records as QStrings; one writer and one reader serve all three.
 *
 * Documents arrive from files and from other processes, so every reader
 * treats the bytes as untrusted: loops stop at the first failed read, a
 * count is never used to allocate ahead of the data, and nesting is bounded
 * (see readPropertyValue for what Qt's own QVariant reader would do).
 */
#ifndef MVSHARED_FORMATS_PROPERTYBLOCK_H
#define MVSHARED_FORMATS_PROPERTYBLOCK_H

#include <QtCore/QDataStream>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

class QRegion;

namespace MorvaneFormats {

typedef QMap<QString, QVariant> PropertyMap;

/* How a record writes the keys of its property block. */
enum class PropertyKeyForm { Latin1Bytes, Text };

/* Items nest a few levels in real displays (groups in groups, a dozen at
 * most); a stream nesting them more than 256 deep is refused as corrupt.
 * The limit keeps the recursive reader far from the end of the thread's
 * stack. */
constexpr int MaxItemNesting = 256;
/* Property values hold lists and maps of a few levels at most. */
constexpr int MaxValueNesting = 64;

inline bool readable(const QDataStream& stream)
{
    return stream.status() == QDataStream::Ok;
}

/* Marks the stream as holding corrupt data (a no-op once it has failed). */
inline void refuseCorruptData(QDataStream& stream)
{
    stream.setStatus(QDataStream::ReadCorruptData);
}

/* Reads the fields in order, each only while the stream is still good: once
 * a read has failed, later bytes are no longer where the layout says, and a
 * record keeps only what was read before the failure. */
template <typename... Fields>
void readFields(QDataStream& stream, Fields&... fields)
{
    ((readable(stream) ? void(stream >> fields) : void()), ...);
}

void writePropertyBlock(QDataStream& stream, const PropertyMap& properties, PropertyKeyForm form);
/* Adds the entries read to the map; an entry is kept only when its key and
 * value were read whole. A count of zero or less reads nothing. */
void readPropertyBlock(QDataStream& stream, PropertyMap& properties, PropertyKeyForm form);

/* Reads one QVariant in Qt's own encoding, with bounded nesting and without
 * trusting the counts of container values. */
void readPropertyValue(QDataStream& stream, QVariant& value, int depth = 0);

/* Reads a QRegion's records and replays them with bounded cost (see
 * regionvalue.cpp). */
void readRegion(QDataStream& stream, QRegion& region);

/* Drawing values whose Qt readers trust counts inside their own layout,
 * nest without bound or decode pictures, in streams of this version. */
bool needsScan(int typeId, int streamVersion);

/* What the walk over a drawing value found. */
struct DrawingValueScan {
    /* False when the value cannot be valid. */
    bool plausible = false;
    /* Whether it needs bytes that have not come: it may yet be valid once
     * they arrive, so the stream's status is ReadPastEnd, as Qt's readers
     * make it for data cut short (and a transaction on the stream rolls
     * back), rather than ReadCorruptData. */
    bool shortOfData = false;
    /* The value's bytes as they stand on the stream, not yet consumed. */
    QByteArray bytes;
    /* Whether it (a brush, a pen's brush or a palette's) carries a texture
     * that travels as a pixmap, as in streams older than Qt 5.5: Qt's
     * reader makes a pixmap of it. */
    bool pixmapTexture = false;
};
/* Walks such a value through a bounded look-ahead on the stream's device
 * (random-access or sequential) and checks its counts against the bytes
 * that can still come; nothing is consumed. */
DrawingValueScan scanDrawingValue(QDataStream& stream, int typeId);

} // namespace MorvaneFormats

#endif

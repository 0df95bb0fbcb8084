/*
 * valuescan.cpp: checking the encoding of a drawing value (font, pen,
 * brush, image, region, cursor) before Qt's reader for the type sees it.
 *
 * Qt 5.15's readers of these types trust counts inside their own layouts:
 * a font's family list, a pen's dash pattern and a gradient's stops are
 * reserved by their count before any element is read (a count of two
 * billion crashes the process), a region loops over its rectangle count
 * whatever the data holds (many seconds for a few bytes), and an image is
 * decoded to the size its header claims. Worse, these readers go on after
 * a failed field, so a string Qt refuses or an image that does not decode
 * makes them take a later count from the wrong bytes. A valid stream never
 * claims more than it holds, so the scan walks the value over the stream's
 * device (allocating nothing but a texture it decodes), checks every such
 * count against the bytes really left, and rewinds the device. Only a
 * value that passes is handed to Qt.
 *
 * Scanning needs to know the bytes left and to rewind, so it needs a
 * random-access device; drawing values on sequential devices are refused.
 *
 * The walk also tells how many bytes the value takes and whether a brush
 * texture in it travels as a pixmap (streams older than Qt 5.5), which a
 * process without a GUI must not let Qt read.
 */
#include "propertyblock.h"

#include <QtCore/QIODevice>
#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtGui/QTransform>

namespace MorvaneFormats {

namespace {

/* Streams from Qt 5.5 on carry a brush's texture as an image, older ones
 * as a pixmap. */
constexpr int FirstTextureImageVersion = QDataStream::Qt_5_5;
/* Qt's brush styles and gradient kinds as they travel. */
constexpr quint8 TexturePatternStyle = 24;
constexpr quint8 FirstGradientStyle = 15;
constexpr quint8 LastGradientStyle = 17;
constexpr int LinearGradientType = 0;
constexpr int RadialGradientType = 1;
/* Qt's cursor shape of a cursor made of bitmaps. */
constexpr qint16 BitmapCursorShape = 24;
/* Qt's region record holding a list of rectangles. */
constexpr qint32 RegionRectsRecord = 10;
constexpr quint32 RectBytes = 16;
constexpr quint32 NullLength = 0xffffffffu;

/* Images: no drawing value in a display is larger than this once decoded,
 * and deflate packs at most 1032 bytes of pixels into one compressed byte. */
constexpr qint64 MaxDecodedImageBytes = qint64(256) << 20;
constexpr qint64 MaxDeflateRatio = 1032;
constexpr qint64 DeflateSlack = 4096;

/* A walk over the value's bytes with the caller's stream settings. */
class Scan
{
public:
    explicit Scan(const QDataStream& original)
        : device(original.device())
        , stream(original.device())
    {
        stream.setVersion(original.version());
        stream.setByteOrder(original.byteOrder());
        stream.setFloatingPointPrecision(original.floatingPointPrecision());
    }

    bool good() const { return stream.status() == QDataStream::Ok; }
    int version() const { return stream.version(); }
    qint64 left() const { return device->size() - device->pos(); }

    template <typename T>
    T read()
    {
        T value{};
        if (good())
            stream >> value;
        return value;
    }

    /* Steps over bytes that are really there. */
    bool skip(qint64 bytes)
    {
        if (!good() || bytes < 0 || bytes > left())
            return false;
        return device->seek(device->pos() + bytes);
    }

    /* A QString: a length (null marker allowed) and its UTF-16 bytes. Qt's
     * string reader refuses an odd length without consuming the bytes, and
     * the reader of the enclosing value then goes on reading its next
     * fields from the middle of the string. */
    bool skipString()
    {
        const quint32 length = read<quint32>();
        return good() && (length == NullLength || (length % 2 == 0 && skip(length)));
    }

    /* A count of elements that each take at least minBytes. */
    bool plausibleCount(quint32 count, qint64 minBytes) const
    {
        return good() && qint64(count) * minBytes <= left();
    }

    QIODevice* device;
    QDataStream stream;
    /* Whether a brush texture in the value travels as a pixmap. */
    bool pixmapTexture = false;
};

bool scanColor(Scan& scan)
{
    scan.read<QColor>();
    return scan.good();
}

bool scanStringList(Scan& scan)
{
    const quint32 count = scan.read<quint32>();
    if (!scan.plausibleCount(count, 4))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        if (!scan.skipString())
            return false;
    }
    return true;
}

bool scanFont(Scan& scan)
{
    const int v = scan.version();
    if (!scan.skipString() || (v >= QDataStream::Qt_5_4 && !scan.skipString()))
        return false;
    scan.read<double>();             // point size
    scan.read<qint32>();             // pixel size
    scan.read<quint8>();             // style hint
    if (v >= QDataStream::Qt_5_4)    // style strategy
        scan.read<quint16>();
    else
        scan.read<quint8>();
    scan.read<quint8>();             // reserved
    scan.read<quint8>();             // weight
    scan.read<quint8>();             // flags
    if (v >= QDataStream::Qt_4_3)
        scan.read<quint16>();        // stretch
    if (v >= QDataStream::Qt_4_4)
        scan.read<quint8>();         // more flags
    if (v >= QDataStream::Qt_4_5) {
        scan.read<qint32>();         // letter spacing
        scan.read<qint32>();         // word spacing
    }
    if (v >= QDataStream::Qt_5_4)
        scan.read<quint8>();         // hinting
    if (v >= QDataStream::Qt_5_6)
        scan.read<quint8>();         // capitalization
    if (v >= QDataStream::Qt_5_13)
        return scanStringList(scan); // families
    return scan.good();
}

/* PNG as Qt writes images: the signature, then chunks up to IEND. */
const char PngSignature[] = "\x89PNG\r\n\x1a\n";

struct PngFacts {
    qint64 width = 0;
    qint64 height = 0;
    int bitDepth = 0;
    int colorType = 0;
    qint64 compressedBytes = 0;
};

quint32 bigEndian32(const QByteArray& bytes, int at)
{
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData() + at);
    return quint32(b[0]) << 24 | quint32(b[1]) << 16 | quint32(b[2]) << 8 | quint32(b[3]);
}

int pngChannels(int colorType)
{
    switch (colorType) {
    case 2: return 3;
    case 4: return 2;
    case 6: return 4;
    default: return 1;
    }
}

/* Reads the chunk heads through the device (chunk bodies are stepped over)
 * and collects what bounds the decoded size. */
bool walkPngChunks(Scan& scan, PngFacts& facts)
{
    for (;;) {
        const QByteArray head = scan.device->read(8);
        if (head.size() != 8)
            return false;
        const quint32 length = bigEndian32(head, 0);
        const QByteArray type = head.mid(4, 4);
        if (type == "IHDR") {
            const QByteArray header = scan.device->read(13);
            if (length != 13 || header.size() != 13)
                return false;
            facts.width = bigEndian32(header, 0);
            facts.height = bigEndian32(header, 4);
            facts.bitDepth = uchar(header.at(8));
            facts.colorType = uchar(header.at(9));
        } else if (!scan.skip(length)) {
            return false;
        }
        if (type == "IDAT")
            facts.compressedBytes += length;
        if (!scan.skip(4))           // CRC
            return false;
        if (type == "IEND")
            return true;
    }
}

/* Qt decodes to at most 8 bytes a pixel; the rows as compressed (a filter
 * byte and the packed samples) must be inflatable from the data present. */
bool plausiblePng(const PngFacts& facts)
{
    if (facts.width < 1 || facts.height < 1 || facts.bitDepth < 1 || facts.bitDepth > 16)
        return false;
    const qint64 decodedPixelBytes = facts.bitDepth > 8 ? 8 : 4;
    if (facts.width > MaxDecodedImageBytes / decodedPixelBytes / facts.height)
        return false;
    const qint64 rawBytes =
        facts.height * (1 + (facts.width * pngChannels(facts.colorType) * facts.bitDepth + 7) / 8);
    return rawBytes <= MaxDeflateRatio * facts.compressedBytes + DeflateSlack;
}

/* Decodes the PNG between start and the device's position. */
bool decodes(Scan& scan, qint64 start)
{
    const qint64 end = scan.device->pos();
    if (!scan.device->seek(start))
        return false;
    const QByteArray png = scan.device->read(end - start);
    return !QImage::fromData(png, "PNG").isNull() && scan.device->pos() == end;
}

/* Whether an image must be decoded to know where the value goes on. */
enum class ImageCheck { Layout, Decode };

/* QImage, QPixmap and QBitmap: a marker (0 for a null image), then PNG. An
 * image that fails to decode leaves the stream wherever the decoder
 * stopped; where Qt's reader reads a list after it, the image is decoded
 * here first. */
bool scanImage(Scan& scan, ImageCheck check = ImageCheck::Layout)
{
    if (scan.read<qint32>() == 0)
        return scan.good();
    const qint64 start = scan.device->pos();
    if (!scan.good() || scan.device->read(8) != QByteArray(PngSignature, 8))
        return false;
    PngFacts facts;
    return walkPngChunks(scan, facts) && plausiblePng(facts)
        && (check == ImageCheck::Layout || decodes(scan, start));
}

bool scanGradient(Scan& scan)
{
    const int v = scan.version();
    const int type = scan.read<qint32>();
    if (v >= QDataStream::Qt_4_3) {
        scan.read<qint32>();         // spread
        scan.read<qint32>();         // coordinate mode
    }
    if (v >= QDataStream::Qt_4_5)
        scan.read<qint32>();         // interpolation mode
    const quint32 stops = scan.read<quint32>();
    if (!scan.plausibleCount(stops, 4 + 11))
        return false;
    for (quint32 i = 0; i < stops && scan.good(); ++i) {
        scan.read<double>();
        scanColor(scan);
    }
    scan.read<QPointF>();
    if (type == LinearGradientType) {
        scan.read<QPointF>();
    } else if (type == RadialGradientType) {
        scan.read<QPointF>();
        scan.read<double>();
    } else {
        scan.read<double>();
    }
    return scan.good();
}

bool scanBrush(Scan& scan, ImageCheck textureCheck = ImageCheck::Layout)
{
    const quint8 style = scan.read<quint8>();
    if (!scanColor(scan))
        return false;
    if (style == TexturePatternStyle) {
        if (!scanImage(scan, textureCheck)) // pixmap or image, both travel as images
            return false;
        if (scan.version() < FirstTextureImageVersion)
            scan.pixmapTexture = true;
    } else if (style >= FirstGradientStyle && style <= LastGradientStyle) {
        if (!scanGradient(scan))
            return false;
    }
    if (scan.version() >= QDataStream::Qt_4_3)
        scan.read<QTransform>();
    return scan.good();
}

bool scanPen(Scan& scan)
{
    const int v = scan.version();
    if (v >= QDataStream::Qt_4_3) {
        scan.read<quint16>();        // style, cap and join
        scan.read<bool>();           // cosmetic
    } else {
        scan.read<quint8>();
    }
    scan.read<double>();             // width
    if (!scanBrush(scan, ImageCheck::Decode)) // the dash pattern follows
        return false;
    scan.read<double>();             // miter limit
    const quint32 dashes = scan.read<quint32>();
    if (!scan.plausibleCount(dashes, 4))
        return false;
    for (quint32 i = 0; i < dashes && scan.good(); ++i)
        scan.read<double>();
    if (v >= QDataStream::Qt_4_3)
        scan.read<double>();         // dash offset
    if (v >= QDataStream::Qt_5_0)
        scan.read<bool>();           // default width
    return scan.good();
}

/* Qt writes a region as one record of rectangles inside a byte array. */
bool scanRegion(Scan& scan)
{
    const quint32 length = scan.read<quint32>();
    if (!scan.good() || length == NullLength || length == 0)
        return scan.good();
    if (qint64(length) > scan.left() || length < 8)
        return false;
    if (scan.read<qint32>() != RegionRectsRecord)
        return false;
    const quint32 rects = scan.read<quint32>();
    return scan.good() && qint64(rects) * RectBytes + 8 == qint64(length);
}

bool scanCursor(Scan& scan)
{
    if (scan.read<qint16>() != BitmapCursorShape)
        return scan.good();
    const bool isPixmap = scan.read<bool>();
    if (!scanImage(scan) || (!isPixmap && !scanImage(scan)))
        return false;
    scan.read<QPoint>();             // hot spot
    return scan.good();
}

bool scanValue(Scan& scan, int typeId)
{
    switch (typeId) {
    case QMetaType::QFont:
        return scanFont(scan);
    case QMetaType::QPen:
        return scanPen(scan);
    case QMetaType::QBrush:
        return scanBrush(scan);
    case QMetaType::QImage:
    case QMetaType::QPixmap:
    case QMetaType::QBitmap:
        return scanImage(scan);
    case QMetaType::QRegion:
        return scanRegion(scan);
    case QMetaType::QCursor:
        return scanCursor(scan);
    default:
        return false;
    }
}

} // namespace

bool needsScan(int typeId)
{
    switch (typeId) {
    case QMetaType::QFont:
    case QMetaType::QPen:
    case QMetaType::QBrush:
    case QMetaType::QImage:
    case QMetaType::QPixmap:
    case QMetaType::QBitmap:
    case QMetaType::QRegion:
    case QMetaType::QCursor:
        return true;
    default:
        return false;
    }
}

DrawingValueScan scanDrawingValue(QDataStream& stream, int typeId)
{
    DrawingValueScan result;
    QIODevice* device = stream.device();
    if (!device || device->isSequential())
        return result;
    const qint64 start = device->pos();
    Scan scan(stream);
    const bool plausible = scanValue(scan, typeId);
    result.bytes = device->pos() - start;
    result.pixmapTexture = scan.pixmapTexture;
    result.plausible = device->seek(start) && plausible;
    return result;
}

} // namespace MorvaneFormats

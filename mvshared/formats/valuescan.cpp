/*
 * valuescan.cpp: walking the encoding of a drawing value (font, pen, brush,
 * image, pixmap, bitmap, cursor, palette, icon) before Qt's reader for the
 * type sees it.
 *
 * Qt 5.15's readers of these types trust counts inside their own layouts:
 * a font's family list, a pen's dash pattern and a gradient's stops are
 * reserved by their count before any element is read (a count of two
 * billion crashes the process), an icon decodes as many pictures as its
 * count says, and an image is decoded to the size its header claims.
 * Worse, these readers go on after a failed field, so a string Qt refuses
 * or an image that does not decode makes them take a later count from the
 * wrong bytes. A valid stream never claims more than it holds, so the walk
 * follows the value's layout for the stream's version, checks every such
 * count against the bytes that can still come, decodes every picture that
 * other fields follow, and tells how many bytes the value takes. Only those
 * bytes, once they pass, are handed to Qt's reader.
 *
 * The walk looks ahead without consuming: it peeks at the device, growing
 * its window as the layout asks for more (see Scan), so it serves files,
 * buffers and sequential devices alike.
 *
 * The walk also tells whether a brush texture in the value travels as a
 * pixmap (streams older than Qt 5.5), which a process without a GUI must
 * not let Qt read.
 */
#include "propertyblock.h"

#include <QtCore/QBuffer>
#include <QtCore/QIODevice>
#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtGui/QTransform>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace MorvaneFormats {

namespace {

/* Streams from Qt 5.5 on carry a brush's texture as an image, older ones
 * as a pixmap. */
constexpr int FirstTextureImageVersion = QDataStream::Qt_5_5;
/* The stream version (Qt 3.1) from which an image starts with a null
 * marker; Qt 1 streams carry images as BMP, all later ones as PNG. */
constexpr int FirstImageMarkerVersion = 5;
constexpr int BmpImageVersion = 1;
/* Qt's brush styles and gradient kinds as they travel. */
constexpr quint8 TexturePatternStyle = 24;
constexpr quint8 FirstGradientStyle = 15;
constexpr quint8 LastGradientStyle = 17;
constexpr int LinearGradientType = 0;
constexpr int RadialGradientType = 1;
/* Qt's cursor shape of a cursor made of bitmaps. */
constexpr qint16 BitmapCursorShape = 24;
constexpr quint32 NullLength = 0xffffffffu;
/* The colour groups of a palette, and the roles each carries by version:
 * Qt 1 streams carry seven colours, later ones a brush for each role the
 * writer's Qt knew. */
constexpr int PaletteGroups = 3;
constexpr int Qt1PaletteColours = 7;

int paletteRoles(int version)
{
    if (version <= QDataStream::Qt_2_1)
        return 14;
    if (version <= QDataStream::Qt_4_3)
        return 17;
    if (version <= QDataStream::Qt_5_11)
        return 20;
    return 21;
}

/* Images: no drawing value in a display is larger than this once decoded,
 * and deflate packs at most 1032 bytes of pixels into one compressed byte. */
constexpr qint64 MaxDecodedImageBytes = qint64(256) << 20;
constexpr qint64 MaxDeflateRatio = 1032;
constexpr qint64 DeflateSlack = 4096;

/* The look-ahead grows by at least this much at a time. */
constexpr qint64 MinWindowGrowth = 4096;

/* A walk over the value's bytes, read through a window peeked from the
 * stream's device, with the caller's stream settings.
 *
 * The window never asks a device for more than the value's layout needs
 * unless the bytes are already there: a file's remaining bytes, or what a
 * pipe or socket has delivered into its buffer. Beyond that, on a
 * sequential device, it grows by at most doubling toward exactly the bytes
 * the next field needs, so what it holds is never more than twice what
 * really arrived, and a blocking pipe is never asked for bytes Qt's own
 * reader would not have read. */
class Scan
{
public:
    explicit Scan(const QDataStream& original)
        : device(original.device())
    {
        buffer.setBuffer(&window);
        buffer.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        stream.setDevice(&buffer);
        stream.setVersion(original.version());
        stream.setByteOrder(original.byteOrder());
        stream.setFloatingPointPrecision(original.floatingPointPrecision());
    }

    bool good() const { return stream.status() == QDataStream::Ok; }
    int version() const { return stream.version(); }
    qint64 pos() const { return buffer.pos(); }

    /* Makes the window hold the value's first `end` bytes, if they come;
     * notes when they have not (yet) come. */
    bool ensure(qint64 end)
    {
        if (end <= window.size())
            return true;
        if (end > std::numeric_limits<int>::max() || !grow(end)) {
            shortOfData = true;
            return false;
        }
        return true;
    }

    /* Reads a field of fixed size. */
    template <typename T>
    T read()
    {
        T value{};
        if (good()) {
            ensure(pos() + fieldBytes(value));
            stream >> value;
        }
        return value;
    }

    /* Steps over bytes that are really there. */
    bool skip(qint64 bytes)
    {
        if (!good() || bytes < 0 || !ensure(pos() + bytes))
            return false;
        return buffer.seek(pos() + bytes);
    }

    /* Whether the data ends here. */
    bool atEnd() { return good() && pos() + 1 > window.size() && !grow(pos() + 1); }

    QByteArray bytes(qint64 from, qint64 to) const { return window.mid(int(from), int(to - from)); }

    /* A QString (a Latin-1 byte array in Qt 1 streams): a length (null
     * marker allowed) and its bytes. Qt's string reader refuses an odd
     * length without consuming the bytes, and the reader of the enclosing
     * value then goes on reading its next fields from the middle of the
     * string. */
    bool skipString()
    {
        const quint32 length = read<quint32>();
        if (version() == 1)
            return good() && (length == NullLength || skip(length));
        return good() && (length == NullLength || (length % 2 == 0 && skip(length)));
    }

    /* A string whose bytes the walk has already stepped over from start. */
    QString stringAt(qint64 start)
    {
        QString text;
        const qint64 end = pos();
        if (buffer.seek(start))
            stream >> text;
        buffer.seek(end);
        return text;
    }

    /* A count of elements that each take at least minBytes. */
    bool plausibleCount(quint32 count, qint64 minBytes)
    {
        return good() && ensure(pos() + qint64(count) * minBytes);
    }

    QIODevice* device;
    QByteArray window;
    QBuffer buffer;
    QDataStream stream;
    /* Whether a brush texture in the value travels as a pixmap. */
    bool pixmapTexture = false;
    /* Whether the value needs bytes that have not come. */
    bool shortOfData = false;

private:
    bool grow(qint64 end)
    {
        const qint64 grown = std::max({ end, qint64(window.size()) * 2, MinWindowGrowth });
        if (!device->isSequential()) {
            const qint64 limit = device->size() - device->pos();
            if (end > limit)
                return false;
            window = device->peek(std::min({ limit, grown, qint64(std::numeric_limits<int>::max()) }));
            return window.size() >= end;
        }
        const qint64 delivered = device->bytesAvailable();
        if (end <= delivered) {
            window = device->peek(std::min(delivered, grown));
            return window.size() >= end;
        }
        while (window.size() < end) {
            const qint64 wanted = std::min(end, std::max(qint64(window.size()) * 2, MinWindowGrowth));
            window = device->peek(wanted);
            if (window.size() < wanted)
                return false;
        }
        return true;
    }

    /* The bytes of each fixed-size field as the stream's version and
     * floating-point precision lay it out; streams before Qt 4.6 always
     * carry doubles. */
    qint64 doubleBytes() const
    {
        return version() >= QDataStream::Qt_4_6
                && stream.floatingPointPrecision() == QDataStream::SinglePrecision
            ? 4
            : 8;
    }
    template <typename Integer>
    qint64 fieldBytes(const Integer&) const
    {
        static_assert(std::is_integral<Integer>::value, "a field of fixed size");
        return sizeof(Integer);
    }
    qint64 fieldBytes(const double&) const { return doubleBytes(); }
    qint64 fieldBytes(const QColor&) const { return version() < QDataStream::Qt_4_0 ? 4 : 11; }
    qint64 fieldBytes(const QPoint&) const { return version() == 1 ? 4 : 8; }
    qint64 fieldBytes(const QSize&) const { return version() == 1 ? 4 : 8; }
    qint64 fieldBytes(const QPointF&) const { return 2 * doubleBytes(); }
    qint64 fieldBytes(const QTransform&) const { return 9 * doubleBytes(); }
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

/* Fonts of Qt 4 streams on; older layouts hold no count and Qt reads them
 * straight from the stream (see needsScan). */
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

struct PictureFacts {
    qint64 width = 0;
    qint64 height = 0;
    int bitDepth = 0;
    int channels = 1;
    qint64 compressedBytes = 0;
};

quint32 bigEndian32(const QByteArray& bytes, int at)
{
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData() + at);
    return quint32(b[0]) << 24 | quint32(b[1]) << 16 | quint32(b[2]) << 8 | quint32(b[3]);
}

quint32 littleEndian32(const QByteArray& bytes, int at)
{
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData() + at);
    return quint32(b[3]) << 24 | quint32(b[2]) << 16 | quint32(b[1]) << 8 | quint32(b[0]);
}

quint16 littleEndian16(const QByteArray& bytes, int at)
{
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData() + at);
    return quint16(b[1] << 8 | b[0]);
}

/* Reads bytes at the walk's position, or an empty array past the data. */
QByteArray take(Scan& scan, int count)
{
    const qint64 at = scan.pos();
    if (!scan.skip(count))
        return QByteArray();
    return scan.bytes(at, at + count);
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

/* Reads the chunk heads (chunk bodies are stepped over) and collects what
 * bounds the decoded size. */
bool walkPngChunks(Scan& scan, PictureFacts& facts)
{
    for (;;) {
        const QByteArray head = take(scan, 8);
        if (head.size() != 8)
            return false;
        const quint32 length = bigEndian32(head, 0);
        const QByteArray type = head.mid(4, 4);
        if (type == "IHDR") {
            const QByteArray header = take(scan, 13);
            if (length != 13 || header.size() != 13)
                return false;
            facts.width = bigEndian32(header, 0);
            facts.height = bigEndian32(header, 4);
            facts.bitDepth = uchar(header.at(8));
            facts.channels = pngChannels(uchar(header.at(9)));
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

/* Qt decodes to at most 8 bytes a pixel. */
bool plausibleSize(const PictureFacts& facts)
{
    if (facts.width < 1 || facts.height < 1 || facts.bitDepth < 1 || facts.bitDepth > 32)
        return false;
    const qint64 decodedPixelBytes = facts.bitDepth > 8 ? 8 : 4;
    return facts.width <= MaxDecodedImageBytes / decodedPixelBytes / facts.height;
}

/* The rows as compressed (a filter byte and the packed samples) must be
 * inflatable from the data present. */
bool plausiblePng(const PictureFacts& facts)
{
    if (!plausibleSize(facts) || facts.bitDepth > 16)
        return false;
    const qint64 rawBytes = facts.height * (1 + (facts.width * facts.channels * facts.bitDepth + 7) / 8);
    return rawBytes <= MaxDeflateRatio * facts.compressedBytes + DeflateSlack;
}

bool scanPng(Scan& scan)
{
    PictureFacts facts;
    return take(scan, 8) == QByteArray(PngSignature, 8) && walkPngChunks(scan, facts) && plausiblePng(facts);
}

/* BMP as Qt 1 streams carry images: a file header, a Windows info header,
 * a colour table up to the pixel offset, then uncompressed rows padded to
 * four bytes; Qt's writer writes no other kind. */
constexpr int BmpFileHeaderBytes = 14;
constexpr quint32 BmpInfoHeaderBytes = 40;
constexpr quint32 BmpUncompressed = 0;

bool scanBmp(Scan& scan)
{
    const QByteArray head = take(scan, BmpFileHeaderBytes + int(BmpInfoHeaderBytes));
    if (head.size() != BmpFileHeaderBytes + int(BmpInfoHeaderBytes) || !head.startsWith("BM"))
        return false;
    const quint32 pixelOffset = littleEndian32(head, 10);
    PictureFacts facts;
    facts.width = qint32(littleEndian32(head, 18));
    facts.height = std::abs(qint64(qint32(littleEndian32(head, 22))));
    facts.bitDepth = littleEndian16(head, 28);
    if (littleEndian32(head, 14) != BmpInfoHeaderBytes || littleEndian32(head, 30) != BmpUncompressed
        || !plausibleSize(facts) || pixelOffset < quint32(head.size()))
        return false;
    const qint64 rowBytes = (facts.width * facts.bitDepth + 31) / 32 * 4;
    return scan.skip(qint64(pixelOffset) - head.size() + facts.height * rowBytes);
}

/* Decodes the picture between start and the walk's position. */
bool decodes(Scan& scan, qint64 start)
{
    const QByteArray picture = scan.bytes(start, scan.pos());
    return !QImage::fromData(picture, scan.version() == BmpImageVersion ? "BMP" : "PNG").isNull();
}

/* Whether a picture must be decoded to know where the value goes on. */
enum class ImageCheck { Layout, Decode };

/* QImage, QPixmap and QBitmap: a marker (0 for a null image) from Qt 3.1
 * streams on, then the picture. A picture that fails to decode leaves Qt's
 * stream wherever the decoder stopped; where Qt's reader reads further
 * fields after it, the picture is decoded here first. */
bool scanImage(Scan& scan, ImageCheck check = ImageCheck::Layout)
{
    if (scan.version() >= FirstImageMarkerVersion && scan.read<qint32>() == 0)
        return scan.good();
    const qint64 start = scan.pos();
    if (!scan.good())
        return false;
    // Before the marker, Qt's writer writes nothing at all for a null
    // picture, and Qt's reader makes a null picture of the end of the data.
    if (scan.version() < FirstImageMarkerVersion && check == ImageCheck::Layout && scan.atEnd())
        return true;
    const bool laidOut = scan.version() == BmpImageVersion ? scanBmp(scan) : scanPng(scan);
    return laidOut && (check == ImageCheck::Layout || decodes(scan, start));
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
    if (!scan.plausibleCount(stops, 4 + 4))
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

/* A brush, as Qt's reader takes it: the gradient whatever the version. */
bool scanBrush(Scan& scan)
{
    const quint8 style = scan.read<quint8>();
    if (!scanColor(scan))
        return false;
    if (style == TexturePatternStyle) {
        // Pixmap or image, both travel as images; other fields may follow.
        if (!scanImage(scan, ImageCheck::Decode))
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

/* Pens of Qt 4 streams on; older ones are a style, a width and a colour. */
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
    if (!scanBrush(scan))
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

bool scanCursor(Scan& scan)
{
    if (scan.read<qint16>() != BitmapCursorShape)
        return scan.good();
    const bool isPixmap = scan.version() >= QDataStream::Qt_4_0 && scan.read<bool>();
    if (!scanImage(scan, ImageCheck::Decode) || (!isPixmap && !scanImage(scan, ImageCheck::Decode)))
        return false;
    scan.read<QPoint>();             // hot spot
    return scan.good();
}

bool scanPalette(Scan& scan)
{
    if (scan.version() == 1) {
        for (int i = 0; i < PaletteGroups * Qt1PaletteColours; ++i) {
            if (!scanColor(scan))
                return false;
        }
        return true;
    }
    const int brushes = PaletteGroups * paletteRoles(scan.version());
    for (int i = 0; i < brushes; ++i) {
        if (!scanBrush(scan))
            return false;
    }
    return true;
}

/* Icons: before Qt 4.2 a single pixmap; Qt 4.2 streams a list of pixmaps
 * with their file names, sizes, modes and states; later ones name the icon
 * engine first, and only the engines built into Qt have a layout known
 * here (the pixmap engine writes the same list, the theme engine a name). */
const char PixmapIconEngine[] = "QPixmapIconEngine";
const char ThemeIconEngine[] = "QIconLoaderEngine";
constexpr qint64 MinIconEntryBytes = 4 + 4 + 8 + 4 + 4;

bool scanIconEntries(Scan& scan)
{
    const quint32 entries = scan.read<quint32>();
    if (!scan.plausibleCount(entries, MinIconEntryBytes))
        return false;
    for (quint32 i = 0; i < entries; ++i) {
        if (!scanImage(scan, ImageCheck::Decode) || !scan.skipString())
            return false;
        scan.read<QSize>();
        scan.read<quint32>();        // mode
        scan.read<quint32>();        // state
        if (!scan.good())
            return false;
    }
    return true;
}

QString readString(Scan& scan)
{
    const qint64 start = scan.pos();
    return scan.skipString() ? scan.stringAt(start) : QString();
}

bool scanIcon(Scan& scan)
{
    if (scan.version() < QDataStream::Qt_4_2)
        return scanImage(scan);
    if (scan.version() == QDataStream::Qt_4_2)
        return scanIconEntries(scan);
    const QString engine = readString(scan);
    if (!scan.good())
        return false;
    if (engine.isEmpty())
        return true;
    if (engine == QLatin1String(PixmapIconEngine))
        return scanIconEntries(scan);
    if (engine == QLatin1String(ThemeIconEngine))
        return scan.skipString();
    return false;
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
    case QMetaType::QCursor:
        return scanCursor(scan);
    case QMetaType::QPalette:
        return scanPalette(scan);
    case QMetaType::QIcon:
        return scanIcon(scan);
    default:
        return false;
    }
}

} // namespace

bool needsScan(int typeId, int streamVersion)
{
    switch (typeId) {
    case QMetaType::QFont:
    case QMetaType::QPen:
        return streamVersion >= QDataStream::Qt_4_0;
    case QMetaType::QBrush:
    case QMetaType::QImage:
    case QMetaType::QPixmap:
    case QMetaType::QBitmap:
    case QMetaType::QCursor:
    case QMetaType::QPalette:
    case QMetaType::QIcon:
        return true;
    default:
        return false;
    }
}

DrawingValueScan scanDrawingValue(QDataStream& stream, int typeId)
{
    DrawingValueScan result;
    QIODevice* device = stream.device();
    if (!device)
        return result;
    Scan scan(stream);
    result.plausible = scanValue(scan, typeId) && scan.good();
    result.shortOfData = scan.shortOfData;
    result.bytes = scan.bytes(0, scan.pos());
    result.pixmapTexture = scan.pixmapTexture;
    return result;
}

} // namespace MorvaneFormats

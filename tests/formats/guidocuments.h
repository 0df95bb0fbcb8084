/*
 * guidocuments.h: the documents a display editor (a GUI process) writes with
 * pixmaps, bitmaps, cursors, textured brushes and pens, fonts and images
 * among an item's properties, with an icon or a palette in a named stream,
 * and with a value of every type Qt streams. They are checked in under
 * documents/: guidocuments_test.cpp checks in a GUI process that each file
 * is what such a process writes and reads back, and withoutgui/ reads them
 * in processes without a GUI. What they hold is stated here once for both.
 */
#ifndef MVSHARED_TESTS_FORMATS_GUIDOCUMENTS_H
#define MVSHARED_TESTS_FORMATS_GUIDOCUMENTS_H

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QFile>
#include <QtCore/QPoint>
#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtGui/QImage>

namespace guidocuments {

/* An item tree, or a named stream holding one icon or one palette, or the
 * document holding every value type Qt streams (everytype.h). */
enum class Content { Item, Icon, Palette, EveryType };

struct Document {
    const char* file;
    Content content;
    int streamVersion;
    QDataStream::ByteOrder byteOrder;
};

/* The item tree in the stream layout of today and in that of Qt 4.8, where
 * brush textures still travel as pixmaps. */
const Document ItemQt515{ "item-drawing-qt515-be", Content::Item, QDataStream::Qt_5_15, QDataStream::BigEndian };
const Document ItemQt48{ "item-drawing-qt48-le", Content::Item, QDataStream::Qt_4_8, QDataStream::LittleEndian };
const Document IconQt515{ "named-icon-qt515-be", Content::Icon, QDataStream::Qt_5_15, QDataStream::BigEndian };
const Document PaletteQt515{ "named-palette-qt515-be", Content::Palette, QDataStream::Qt_5_15,
                             QDataStream::BigEndian };
/* The every-type document in the layouts of Qt 1.0, 3.3, 4.8 and today. */
const Document EveryTypeQt10{ "everytype-qt10-be", Content::EveryType, QDataStream::Qt_1_0, QDataStream::BigEndian };
const Document EveryTypeQt33{ "everytype-qt33-le", Content::EveryType, QDataStream::Qt_3_3,
                              QDataStream::LittleEndian };
const Document EveryTypeQt48{ "everytype-qt48-be", Content::EveryType, QDataStream::Qt_4_8, QDataStream::BigEndian };
const Document EveryTypeQt515{ "everytype-qt515-le", Content::EveryType, QDataStream::Qt_5_15,
                               QDataStream::LittleEndian };
const Document* const EveryTypeDocuments[] = { &EveryTypeQt10, &EveryTypeQt33, &EveryTypeQt48, &EveryTypeQt515 };

inline QString pathOf(const Document& document)
{
    return QStringLiteral(MV_FORMATS_DOCUMENTS "/%1").arg(QLatin1String(document.file));
}

inline QByteArray bytesOf(const Document& document)
{
    QFile file(pathOf(document));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/* The picture of the pixmaps, the image, the brush and pen textures and
 * the pixmap cursor: opaque, so that it travels without rounding. */
inline QImage picture()
{
    QImage image(6, 4, QImage::Format_RGB32);
    image.fill(QColor(Qt::blue));
    image.setPixel(1, 1, qRgb(200, 30, 60));
    return image;
}

/* The bitmap and cursor mask as they look: white, one black pixel at
 * (1, 1). Eight pixels wide, so that no padding bits travel. */
inline QImage bitmapPicture()
{
    QImage image(8, 4, QImage::Format_Mono);
    image.setColorTable({ qRgb(255, 255, 255), qRgb(0, 0, 0) });
    image.fill(0);
    image.setPixel(1, 1, 1);
    return image;
}

/* Compares pictures by their colours, whatever the format they came in. */
inline bool samePicture(const QImage& a, const QImage& b)
{
    return a.convertToFormat(QImage::Format_RGB32) == b.convertToFormat(QImage::Format_RGB32);
}

const QPoint BitmapCursorHotSpot(1, 1);
const QPoint PixmapCursorHotSpot(2, 2);
const char* const Caption = "Pump hall";
const char* const FontFamily = "Sans";
constexpr int FontPointSize = 11;
constexpr double PenWidth = 2.5;
constexpr int LastValue = 42;

} // namespace guidocuments

#endif

/*
 * withoutgui_test.cpp: documents that a GUI process wrote (guidocuments.h),
 * read in a process without a QGuiApplication. Qt would abort such a
 * process on a pixmap, a bitmap or a cursor; the readers must not let it,
 * and the rest of each document must read as it does anywhere: pixmaps and
 * bitmaps arrive as the images they travel as, cursors and brushes and pens
 * with a pixmap texture as the bytes of their encoding, which are checked
 * here field by field.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include "guidocuments.h"
#include "streambytes.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSize>
#include <QtCore/QVector>
#include <QtGui/QBrush>
#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>
#include <QtGui/QPen>
#include <QtGui/QTransform>

#include <gtest/gtest.h>

#include <ostream>

using namespace guidocuments;

namespace guidocuments {

/* Test names and messages show a document by its file. */
void PrintTo(const Document& document, std::ostream* os)
{
    *os << document.file;
}

} // namespace guidocuments

namespace {

/* Qt's cursor shape of a cursor made of bitmaps, and its texture brush style. */
constexpr qint16 BitmapCursorShape = Qt::BitmapCursor;
constexpr quint8 TextureStyle = Qt::TexturePattern;

StreamSetup setupOf(const Document& document)
{
    return { document.streamVersion, document.byteOrder };
}

struct ReadItem {
    MorvaneStreamItem item;
    QDataStream::Status status = QDataStream::Ok;
    bool atEnd = false;
};

ReadItem readItem(const Document& document)
{
    ReadItem read;
    read.status = readBytes(bytesOf(document), setupOf(document), [&](QDataStream& s) {
        s >> read.item;
        read.atEnd = s.atEnd();
    });
    return read;
}

/* A cursor as QCursor's stream operator writes it. */
struct CursorFields {
    qint16 shape = 0;
    bool isPixmap = false;
    QImage pixmap;
    QImage mask;
    QPoint hotSpot;
    bool whole = false;
};

CursorFields cursorOf(const QVariant& value, const Document& document)
{
    EXPECT_EQ(value.userType(), QMetaType::QByteArray) << document.file;
    CursorFields cursor;
    readBytes(value.toByteArray(), setupOf(document), [&](QDataStream& s) {
        s >> cursor.shape;
        if (cursor.shape == BitmapCursorShape) {
            s >> cursor.isPixmap >> cursor.pixmap;
            if (!cursor.isPixmap)
                s >> cursor.mask;
            s >> cursor.hotSpot;
        }
        cursor.whole = s.status() == QDataStream::Ok && s.atEnd();
    });
    return cursor;
}

/* A brush as QBrush's stream operator writes a texture brush (Qt 4.3 on). */
struct BrushFields {
    quint8 style = 0;
    QColor color;
    QImage texture;
    QTransform transform;
};

void readBrush(QDataStream& s, BrushFields& brush)
{
    s >> brush.style >> brush.color >> brush.texture >> brush.transform;
}

class ItemWithoutGui : public ::testing::TestWithParam<Document>
{
protected:
    QVariant property(const char* name) const { return m_read.item.property(QString::fromLatin1(name)); }

    void SetUp() override { m_read = readItem(GetParam()); }

    ReadItem m_read;
};

} // namespace

TEST(WithoutGui, ProcessHasNoGuiApplication)
{
    EXPECT_EQ(qobject_cast<QGuiApplication*>(QCoreApplication::instance()), nullptr);
}

TEST_P(ItemWithoutGui, ReadsToItsEndWithEverythingAfterTheDrawingValues)
{
    EXPECT_EQ(m_read.status, QDataStream::Ok);
    EXPECT_TRUE(m_read.atEnd);
    const MorvaneStreamItem& item = m_read.item;
    EXPECT_EQ(item.className(), QStringLiteral("Panel"));
    EXPECT_EQ(item.widgetName(), QStringLiteral("hall"));
    EXPECT_TRUE(item.isWidget());
    EXPECT_EQ(item.dynamicPropertyNames().size(), 11);
    EXPECT_EQ(property("caption"), QVariant(QString::fromLatin1(Caption)));
    EXPECT_EQ(property("zLast"), QVariant(LastValue));
    ASSERT_EQ(item.childItems.size(), 1);
    EXPECT_EQ(item.childItems[0]->className(), QStringLiteral("Label"));
    EXPECT_EQ(item.childItems[0]->property(QStringLiteral("text")), QVariant(QStringLiteral("P1")));
    ASSERT_EQ(item.auxiliaryItems.size(), 1);
    EXPECT_EQ(item.auxiliaryItems[0]->className(), QStringLiteral("Marker"));
    ASSERT_EQ(item.tagActions.size(), 1);
    EXPECT_EQ(item.tagActions[0]->text, QStringLiteral("Alarm"));
    EXPECT_EQ(item.tagActions[0]->getProperty(QStringLiteral("text")), QVariant(QStringLiteral("after")));
    ASSERT_EQ(item.eventActions.size(), 1);
    EXPECT_EQ(item.eventActions[0]->trigger(), 3);
    EXPECT_EQ(item.eventActions[0]->getProperty(QStringLiteral("script")), QVariant(QStringLiteral("open()")));
}

TEST_P(ItemWithoutGui, PixmapsAndBitmapsArriveAsTheImagesTheyTravelAs)
{
    const QVariant background = property("background");
    ASSERT_EQ(background.userType(), QMetaType::QImage);
    EXPECT_TRUE(samePicture(background.value<QImage>(), picture()));
    const QVariant mask = property("mask");
    ASSERT_EQ(mask.userType(), QMetaType::QImage);
    EXPECT_EQ(mask.value<QImage>().depth(), 1);
    EXPECT_TRUE(samePicture(mask.value<QImage>(), bitmapPicture()));
    ASSERT_EQ(m_read.item.childItems.size(), 1);
    const QVariant icon = m_read.item.childItems[0]->property(QStringLiteral("icon"));
    ASSERT_EQ(icon.userType(), QMetaType::QImage);
    EXPECT_TRUE(samePicture(icon.value<QImage>(), picture()));
    ASSERT_EQ(m_read.item.tagActions.size(), 1);
    const QVariant tagPixmap = m_read.item.tagActions[0]->getProperty(QStringLiteral("pixmap"));
    ASSERT_EQ(tagPixmap.userType(), QMetaType::QImage);
    EXPECT_TRUE(samePicture(tagPixmap.value<QImage>(), picture()));
}

TEST_P(ItemWithoutGui, CursorsArriveAsTheBytesOfTheirEncoding)
{
    const Document& document = GetParam();
    const CursorFields bitmapCursor = cursorOf(property("bitmapCursor"), document);
    EXPECT_TRUE(bitmapCursor.whole);
    EXPECT_EQ(bitmapCursor.shape, BitmapCursorShape);
    EXPECT_FALSE(bitmapCursor.isPixmap);
    EXPECT_TRUE(samePicture(bitmapCursor.pixmap, bitmapPicture()));
    EXPECT_TRUE(samePicture(bitmapCursor.mask, bitmapPicture()));
    EXPECT_EQ(bitmapCursor.hotSpot, BitmapCursorHotSpot);

    const CursorFields pixmapCursor = cursorOf(property("pixmapCursor"), document);
    EXPECT_TRUE(pixmapCursor.whole);
    EXPECT_EQ(pixmapCursor.shape, BitmapCursorShape);
    EXPECT_TRUE(pixmapCursor.isPixmap);
    EXPECT_TRUE(samePicture(pixmapCursor.pixmap, picture()));
    EXPECT_EQ(pixmapCursor.hotSpot, PixmapCursorHotSpot);

    const CursorFields waitCursor = cursorOf(property("waitCursor"), document);
    EXPECT_TRUE(waitCursor.whole);
    EXPECT_EQ(waitCursor.shape, Qt::WaitCursor);

    ASSERT_EQ(m_read.item.eventActions.size(), 1);
    const CursorFields handCursor =
        cursorOf(m_read.item.eventActions[0]->getProperty(QStringLiteral("cursor")), document);
    EXPECT_TRUE(handCursor.whole);
    EXPECT_EQ(handCursor.shape, Qt::PointingHandCursor);
}

TEST_P(ItemWithoutGui, FontsAndImagesReadAsInAGuiProcess)
{
    const QVariant font = property("font");
    ASSERT_EQ(font.userType(), QMetaType::QFont);
    EXPECT_EQ(font.value<QFont>().family(), QString::fromLatin1(FontFamily));
    EXPECT_EQ(font.value<QFont>().pointSize(), FontPointSize);
    const QVariant image = property("image");
    ASSERT_EQ(image.userType(), QMetaType::QImage);
    EXPECT_TRUE(samePicture(image.value<QImage>(), picture()));
}

INSTANTIATE_TEST_SUITE_P(GuiDocuments, ItemWithoutGui, ::testing::Values(ItemQt515, ItemQt48),
                         [](const ::testing::TestParamInfo<Document>& info) {
                             return info.param.streamVersion == QDataStream::Qt_5_15 ? "Qt515" : "Qt48";
                         });

TEST(WithoutGui, TexturesTravellingAsImagesAreReadAsBrushesAndPens)
{
    const ReadItem read = readItem(ItemQt515);
    const QVariant brush = read.item.property(QStringLiteral("brush"));
    ASSERT_EQ(brush.userType(), QMetaType::QBrush);
    EXPECT_EQ(brush.value<QBrush>().style(), Qt::TexturePattern);
    EXPECT_TRUE(samePicture(brush.value<QBrush>().textureImage(), picture()));
    const QVariant pen = read.item.property(QStringLiteral("pen"));
    ASSERT_EQ(pen.userType(), QMetaType::QPen);
    EXPECT_EQ(pen.value<QPen>().widthF(), PenWidth);
    EXPECT_TRUE(samePicture(pen.value<QPen>().brush().textureImage(), picture()));
}

TEST(WithoutGui, TexturesTravellingAsPixmapsKeepTheirBrushAndPenAsBytes)
{
    const ReadItem read = readItem(ItemQt48);
    const QVariant brush = read.item.property(QStringLiteral("brush"));
    ASSERT_EQ(brush.userType(), QMetaType::QByteArray);
    BrushFields brushFields;
    EXPECT_EQ(readBytes(brush.toByteArray(), setupOf(ItemQt48),
                        [&](QDataStream& s) {
                            readBrush(s, brushFields);
                            EXPECT_TRUE(s.atEnd());
                        }),
              QDataStream::Ok);
    EXPECT_EQ(brushFields.style, TextureStyle);
    EXPECT_TRUE(samePicture(brushFields.texture, picture()));

    // A pen of Qt 4.8: style bits, cosmetic flag, width, brush, miter limit,
    // dash pattern, dash offset.
    const QVariant pen = read.item.property(QStringLiteral("pen"));
    ASSERT_EQ(pen.userType(), QMetaType::QByteArray);
    double width = 0;
    BrushFields penBrush;
    EXPECT_EQ(readBytes(pen.toByteArray(), setupOf(ItemQt48),
                        [&](QDataStream& s) {
                            quint16 styleBits = 0;
                            bool cosmetic = false;
                            double miterLimit = 0;
                            QVector<double> dashes;
                            double dashOffset = 0;
                            s >> styleBits >> cosmetic >> width;
                            readBrush(s, penBrush);
                            s >> miterLimit >> dashes >> dashOffset;
                            EXPECT_TRUE(s.atEnd());
                        }),
              QDataStream::Ok);
    EXPECT_EQ(width, PenWidth);
    EXPECT_EQ(penBrush.style, TextureStyle);
    EXPECT_TRUE(samePicture(penBrush.texture, picture()));
}

// Every cut through a pixmap, a cursor or a texture lands on a path of the
// reader without a GUI; none may abort, and each shows in the status.
TEST(WithoutGui, EveryTruncationOfTheDocumentsFailsWithoutAborting)
{
    for (const Document* document : { &ItemQt515, &ItemQt48 }) {
        const QByteArray bytes = bytesOf(*document);
        ASSERT_FALSE(bytes.isEmpty()) << document->file;
        int failed = 0;
        for (int size = 0; size < bytes.size(); ++size) {
            MorvaneStreamItem item;
            if (readBytes(bytes.left(size), setupOf(*document), [&](QDataStream& s) { s >> item; })
                != QDataStream::Ok)
                ++failed;
        }
        EXPECT_EQ(failed, bytes.size()) << document->file;
    }
}

TEST(WithoutGui, IconsArriveAsTheBytesOfTheirEncodingAndPalettesAsPalettes)
{
    ScadaNamedStream icon;
    EXPECT_EQ(readBytes(bytesOf(IconQt515), setupOf(IconQt515), [&](QDataStream& s) {
                  icon.fromStream(s);
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    const QVariant iconBytes = icon.getProperty(QStringLiteral("value"));
    ASSERT_EQ(iconBytes.userType(), QMetaType::QByteArray);
    // The pixmap engine's name, its one entry: the picture, no file name,
    // the size, mode and state.
    readBytes(iconBytes.toByteArray(), setupOf(IconQt515), [&](QDataStream& s) {
        QString engine;
        qint32 entries = 0;
        QImage entry;
        QString fileName;
        QSize size;
        quint32 mode = 0;
        quint32 state = 0;
        s >> engine >> entries >> entry >> fileName >> size >> mode >> state;
        EXPECT_EQ(engine, QStringLiteral("QPixmapIconEngine"));
        EXPECT_EQ(entries, 1);
        EXPECT_TRUE(samePicture(entry, picture()));
        EXPECT_EQ(size, picture().size());
        EXPECT_EQ(s.status(), QDataStream::Ok);
        EXPECT_TRUE(s.atEnd());
    });

    // Today's palettes carry no pixmap; they read as anywhere else.
    ScadaNamedStream palette;
    EXPECT_EQ(readBytes(bytesOf(PaletteQt515), setupOf(PaletteQt515), [&](QDataStream& s) {
                  palette.fromStream(s);
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    const QVariant read = palette.getProperty(QStringLiteral("value"));
    ASSERT_EQ(read.userType(), QMetaType::QPalette);
    EXPECT_EQ(read.value<QPalette>().color(QPalette::Window), QColor(Qt::darkCyan));
}

// Every type Qt streams, in the layouts of Qt 1.0 to today: the documents
// read to their ends, siblings and actions after the values included, and
// what Qt would make a pixmap of arrives as an image or as bytes.
TEST(WithoutGui, EveryTypeDocumentsReadWhole)
{
    for (const Document* document : EveryTypeDocuments) {
        const ReadItem read = readItem(*document);
        EXPECT_EQ(read.status, QDataStream::Ok) << document->file;
        EXPECT_TRUE(read.atEnd) << document->file;
        const MorvaneStreamItem& item = read.item;
        EXPECT_EQ(item.property(QStringLiteral("last")), QVariant(QStringLiteral("end"))) << document->file;
        ASSERT_EQ(item.childItems.size(), 2) << document->file;
        EXPECT_EQ(item.childItems[1]->className(), QStringLiteral("Sibling")) << document->file;
        EXPECT_EQ(item.childItems[1]->property(QStringLiteral("n")), QVariant(42)) << document->file;
        const MorvaneStreamItem& values = *item.childItems[0];
        ASSERT_EQ(values.tagActions.size(), 2) << document->file;
        ASSERT_EQ(values.eventActions.size(), 1) << document->file;
        EXPECT_EQ(values.tagActions[1]->text, QStringLiteral("after")) << document->file;
        EXPECT_EQ(values.tagActions[0]->properties.size(), values.properties.size()) << document->file;
        EXPECT_EQ(values.eventActions[0]->properties.size(), values.properties.size()) << document->file;
        EXPECT_GE(values.properties.size(), 70) << document->file;
        const auto typeOf = [&](const char* name) { return values.property(QString::fromLatin1(name)).userType(); };
        for (const char* picture : { "QPixmap", "QBitmap", "QImage" })
            EXPECT_EQ(typeOf(picture), QMetaType::QImage) << document->file << " " << picture;
        for (const char* encoded : { "QCursor", "QIcon" })
            EXPECT_EQ(typeOf(encoded), QMetaType::QByteArray) << document->file << " " << encoded;
        EXPECT_EQ(typeOf("QFont"), QMetaType::QFont) << document->file;
        EXPECT_EQ(typeOf("QRegion"), QMetaType::QRegion) << document->file;
        EXPECT_EQ(typeOf("QPalette"), QMetaType::QPalette) << document->file;
    }
}

/*
 * guidocuments_test.cpp: the checked-in documents of guidocuments.h are what
 * a GUI process writes, and such a process reads them back with their
 * pixmaps, bitmaps and cursors. A file that differs from what is written
 * here is written afresh beside the build (see the failure message), to be
 * checked in when the change is meant.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include "everytype.h"
#include "guidocuments.h"
#include "streambytes.h"

#include <QtCore/QDir>
#include <QtGui/QBitmap>
#include <QtGui/QBrush>
#include <QtGui/QCursor>
#include <QtGui/QFont>
#include <QtGui/QIcon>
#include <QtGui/QPalette>
#include <QtGui/QPen>
#include <QtGui/QPixmap>

#include <gtest/gtest.h>

using namespace guidocuments;

namespace {

StreamSetup setupOf(const Document& document)
{
    return { document.streamVersion, document.byteOrder };
}

QPixmap picturePixmap()
{
    return QPixmap::fromImage(picture());
}

QBitmap bitmap()
{
    return QBitmap::fromImage(bitmapPicture());
}

MorvaneStreamItem itemDocument()
{
    MorvaneStreamItem item;
    item.className(QStringLiteral("Panel"));
    item.setWidgetName(QStringLiteral("hall"));
    item.setWidget(true);
    item.setProperty(QStringLiteral("background"), picturePixmap());
    item.setProperty(QStringLiteral("bitmapCursor"),
                     QCursor(bitmap(), bitmap(), BitmapCursorHotSpot.x(), BitmapCursorHotSpot.y()));
    item.setProperty(QStringLiteral("brush"), QBrush(picturePixmap()));
    item.setProperty(QStringLiteral("caption"), QString::fromLatin1(Caption));
    item.setProperty(QStringLiteral("font"), QFont(QString::fromLatin1(FontFamily), FontPointSize));
    item.setProperty(QStringLiteral("image"), picture());
    item.setProperty(QStringLiteral("mask"), QVariant::fromValue(bitmap()));
    item.setProperty(QStringLiteral("pen"), QPen(QBrush(picturePixmap()), PenWidth));
    item.setProperty(QStringLiteral("pixmapCursor"),
                     QCursor(picturePixmap(), PixmapCursorHotSpot.x(), PixmapCursorHotSpot.y()));
    item.setProperty(QStringLiteral("waitCursor"), QCursor(Qt::WaitCursor));
    item.setProperty(QStringLiteral("zLast"), LastValue);

    MorvaneStreamItemPtr label(new MorvaneStreamItem);
    label->className(QStringLiteral("Label"));
    label->setProperty(QStringLiteral("icon"), picturePixmap());
    label->setProperty(QStringLiteral("text"), QStringLiteral("P1"));
    item.childItems.append(label);
    MorvaneStreamItemPtr marker(new MorvaneStreamItem);
    marker->className(QStringLiteral("Marker"));
    item.auxiliaryItems.append(marker);

    ScadaTagActionStreamPtr tag(new ScadaTagActionStream);
    tag->actionType = 1;
    tag->text = QStringLiteral("Alarm");
    tag->setProperty(QStringLiteral("pixmap"), picturePixmap());
    tag->setProperty(QStringLiteral("text"), QStringLiteral("after"));
    item.tagActions.append(tag);
    ScadaEventActionStreamPtr event(new ScadaEventActionStream);
    event->actionType = 2;
    event->setTrigger(3);
    event->setProperty(QStringLiteral("cursor"), QCursor(Qt::PointingHandCursor));
    event->setProperty(QStringLiteral("script"), QStringLiteral("open()"));
    item.eventActions.append(event);
    return item;
}

QByteArray namedDocument(const Document& document, const QVariant& value)
{
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("value"), value);
    return bytesOf(setupOf(document), [&](QDataStream& s) { named.toStream(s); });
}

/* What a GUI process writes for the document. */
QByteArray written(const Document& document)
{
    switch (document.content) {
    case Content::Icon:
        return namedDocument(document, QIcon(picturePixmap()));
    case Content::Palette:
        return namedDocument(document, QPalette(Qt::darkCyan));
    case Content::EveryType: {
        const MorvaneStreamItem item = everytype::documentWith(everytype::streamableTypes());
        return bytesOf(setupOf(document), [&](QDataStream& s) { s << item; });
    }
    case Content::Item:
        break;
    }
    const MorvaneStreamItem item = itemDocument();
    return bytesOf(setupOf(document), [&](QDataStream& s) { s << item; });
}

/* Where a differing document is written afresh. */
QString freshPath(const Document& document)
{
    QDir().mkpath(QStringLiteral(MV_FORMATS_FRESH_DOCUMENTS));
    return QStringLiteral(MV_FORMATS_FRESH_DOCUMENTS "/%1").arg(QLatin1String(document.file));
}

MorvaneStreamItem readItem(const Document& document, QDataStream::Status* status)
{
    MorvaneStreamItem item;
    *status = readBytes(bytesOf(document), setupOf(document), [&](QDataStream& s) {
        s >> item;
        EXPECT_TRUE(s.atEnd()) << document.file;
    });
    return item;
}

} // namespace

TEST(GuiDocuments, CheckedInDocumentsAreWhatAGuiProcessWrites)
{
    for (const Document* document : { &ItemQt515, &ItemQt48, &IconQt515, &PaletteQt515 }) {
        const QByteArray fresh = written(*document);
        const bool same = bytesOf(*document) == fresh;
        EXPECT_TRUE(same) << document->file;
        if (!same) {
            QFile file(freshPath(*document));
            if (file.open(QIODevice::WriteOnly))
                file.write(fresh);
            ADD_FAILURE() << "written afresh to " << file.fileName().toStdString();
        }
    }
}

TEST(GuiDocuments, AGuiProcessReadsTheDrawingValuesOfTheItemBack)
{
    for (const Document* document : { &ItemQt515, &ItemQt48 }) {
        QDataStream::Status status = QDataStream::Ok;
        const MorvaneStreamItem item = readItem(*document, &status);
        EXPECT_EQ(status, QDataStream::Ok) << document->file;
        const auto value = [&](const char* name) { return item.property(QString::fromLatin1(name)); };
        EXPECT_EQ(value("background").userType(), QMetaType::QPixmap) << document->file;
        EXPECT_TRUE(samePicture(value("background").value<QPixmap>().toImage(), picture()));
        EXPECT_TRUE(samePicture(value("mask").value<QPixmap>().toImage(), bitmapPicture()));
        const QCursor bitmapCursor = value("bitmapCursor").value<QCursor>();
        EXPECT_EQ(bitmapCursor.shape(), Qt::BitmapCursor);
        EXPECT_EQ(bitmapCursor.hotSpot(), BitmapCursorHotSpot);
        const QCursor pixmapCursor = value("pixmapCursor").value<QCursor>();
        EXPECT_TRUE(samePicture(pixmapCursor.pixmap().toImage(), picture()));
        EXPECT_EQ(pixmapCursor.hotSpot(), PixmapCursorHotSpot);
        EXPECT_EQ(value("waitCursor").value<QCursor>().shape(), Qt::WaitCursor);
        EXPECT_TRUE(samePicture(value("brush").value<QBrush>().textureImage(), picture()));
        EXPECT_EQ(value("pen").value<QPen>().widthF(), PenWidth);
        EXPECT_EQ(value("zLast"), QVariant(LastValue));
        ASSERT_EQ(item.childItems.size(), 1);
        EXPECT_EQ(item.childItems[0]->property(QStringLiteral("icon")).userType(), QMetaType::QPixmap);
        ASSERT_EQ(item.eventActions.size(), 1);
        EXPECT_EQ(item.eventActions[0]->getProperty(QStringLiteral("cursor")).value<QCursor>().shape(),
                  Qt::PointingHandCursor);
    }
}

TEST(GuiDocuments, AGuiProcessReadsIconsAndPalettesBack)
{
    QDataStream::Status status = QDataStream::Ok;
    ScadaNamedStream icon;
    status = readBytes(bytesOf(IconQt515), setupOf(IconQt515), [&](QDataStream& s) {
        icon.fromStream(s);
        EXPECT_TRUE(s.atEnd());
    });
    EXPECT_EQ(status, QDataStream::Ok);
    const QIcon readIcon = icon.getProperty(QStringLiteral("value")).value<QIcon>();
    EXPECT_TRUE(samePicture(readIcon.pixmap(picture().size()).toImage(), picture()));

    ScadaNamedStream palette;
    status = readBytes(bytesOf(PaletteQt515), setupOf(PaletteQt515), [&](QDataStream& s) {
        palette.fromStream(s);
        EXPECT_TRUE(s.atEnd());
    });
    EXPECT_EQ(status, QDataStream::Ok);
    EXPECT_EQ(palette.getProperty(QStringLiteral("value")), QVariant(QPalette(Qt::darkCyan)));
}

TEST(GuiDocuments, EveryTypeDocumentsReadAsWhatAGuiProcessWritesToday)
{
    for (const Document* document : EveryTypeDocuments) {
        QDataStream::Status status = QDataStream::Ok;
        const MorvaneStreamItem checkedIn = readItem(*document, &status);
        EXPECT_EQ(status, QDataStream::Ok) << document->file;
        MorvaneStreamItem fresh;
        readBytes(written(*document), setupOf(*document), [&](QDataStream& s) { s >> fresh; });
        ASSERT_EQ(checkedIn.childItems.size(), 2) << document->file;
        ASSERT_EQ(fresh.childItems.size(), 2) << document->file;
        const MorvaneStreamItem& values = *checkedIn.childItems[0];
        const MorvaneStreamItem& freshValues = *fresh.childItems[0];
        EXPECT_EQ(values.dynamicPropertyNames(), freshValues.dynamicPropertyNames()) << document->file;
        for (const QString& name : freshValues.dynamicPropertyNames())
            EXPECT_TRUE(everytype::sameValue(values.property(name), freshValues.property(name)))
                << document->file << " " << name.toStdString();
        ASSERT_EQ(values.tagActions.size(), 2) << document->file;
        EXPECT_EQ(values.tagActions[0]->properties.size(), freshValues.tagActions[0]->properties.size());
        EXPECT_EQ(checkedIn.childItems[1]->property(QStringLiteral("n")), QVariant(42)) << document->file;
    }
}

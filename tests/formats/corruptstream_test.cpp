/*
 * corruptstream_test.cpp: reading truncated, random and hostile streams.
 *
 * Item streams come from files and other processes. Whatever the bytes, a
 * read must end in bounded time and memory, the stream's status must tell
 * that something was wrong, and the record must hold what was read before
 * the failure. Valid values of every kind, in every stream version the
 * product reads, must still come back byte for byte.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include "streambytes.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QRandomGenerator>
#include <QtGui/QBitmap>
#include <QtGui/QBrush>
#include <QtGui/QCursor>
#include <QtCore/QEasingCurve>
#include <QtGui/QFont>
#include <QtGui/QIcon>
#include <QtGui/QImage>
#include <QtGui/QKeySequence>
#include <QtGui/QPalette>
#include <QtGui/QPen>
#include <QtGui/QPixmap>
#include <QtGui/QPolygon>
#include <QtGui/QRegion>
#include <QtGui/QTextFormat>

#include <sys/resource.h>
#include <zlib.h>

#include <gtest/gtest.h>

namespace {

constexpr quint32 TwoBillion = 2000000000u;
/* What a guarded read may cost at most, however large the counts. */
constexpr long MaxGrowthKb = 64 * 1024;
constexpr qint64 MaxMilliseconds = 2000;

long peakRssKb()
{
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/* Runs a read and checks that it failed within the time and memory bounds. */
template <typename Read>
void expectBoundedFailure(const QByteArray& bytes, Read&& read, const StreamSetup& setup = defaultSetup())
{
    const long peakBefore = peakRssKb();
    QElapsedTimer clock;
    clock.start();
    EXPECT_NE(readBytes(bytes, setup, read), QDataStream::Ok);
    EXPECT_LT(clock.elapsed(), MaxMilliseconds);
    EXPECT_LT(peakRssKb() - peakBefore, MaxGrowthKb);
}

void writeItemHead(QDataStream& s, const QString& className)
{
    s << className << QString() << QString() << false << QString();
}

/* An item with nothing below it, as the writer lays it out. */
void writeLeaf(QDataStream& s, const QString& className)
{
    writeItemHead(s, className);
    s << qint32(0) << qint32(0) << QTransform() << QByteArray() << qint32(0) << qint32(0) << qint32(0);
}

/* An item stream whose first property value is the given bytes. */
QByteArray itemWithRawValue(const std::function<void(QDataStream&)>& writeValue)
{
    return bytesOf(defaultSetup(), [&](QDataStream& s) {
        writeItemHead(s, QStringLiteral("Item"));
        s << qint32(0) << qint32(0) << QTransform() << QByteArray() << qint32(1) << QByteArray("key");
        writeValue(s);
        s << qint32(0) << qint32(0);
    });
}

MorvaneStreamItem sampleItem()
{
    MorvaneStreamItem root;
    root.className(QStringLiteral("Root"));
    root.setProperty(QStringLiteral("list"), QVariantList{ 1, QStringLiteral("x"), QVariantMap{ { "k", 2.5 } } });
    root.setProperty(QStringLiteral("pen"), QPen(Qt::red));
    QPalette palette;
    palette.setColor(QPalette::Window, Qt::darkCyan);
    root.setProperty(QStringLiteral("palette"), palette);
    QTextCharFormat format;
    format.setFontPointSize(12);
    format.setProperty(QTextFormat::UserProperty, QVariantList{ 1, QStringLiteral("x") });
    root.setProperty(QStringLiteral("format"), QTextFormat(format));
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.1, 0.2), QPointF(0.3, 0.4), QPointF(1, 1));
    root.setProperty(QStringLiteral("curve"), curve);
    QImage picture(4, 4, QImage::Format_RGB32);
    picture.fill(Qt::red);
    root.setProperty(QStringLiteral("icon"), QIcon(QPixmap::fromImage(picture)));
    MorvaneStreamItemPtr child(new MorvaneStreamItem);
    child->className(QStringLiteral("Child"));
    child->setProperty(QStringLiteral("n"), 1);
    root.childItems.append(child);
    root.auxiliaryItems.append(MorvaneStreamItemPtr(new MorvaneStreamItem));
    ScadaTagActionStreamPtr tag(new ScadaTagActionStream);
    tag->text = QStringLiteral("t");
    tag->setProperty(QStringLiteral("p"), QStringList{ QStringLiteral("a") });
    root.tagActions.append(tag);
    ScadaEventActionStreamPtr event(new ScadaEventActionStream);
    event->setProperty(QStringLiteral("q"), QByteArray("b"));
    root.eventActions.append(event);
    return root;
}

/* Writes a value with Qt into a named stream and reads it back through the
 * guarded reader: the stream must be read to its end and the value must be
 * the one Qt's own reader makes of the same bytes (compared by writing both
 * again, since pixmaps and cursors have no equality). */
void expectValueReadAsQtReadsIt(const QVariant& value, const StreamSetup& setup,
                                QDataStream::FloatingPointPrecision precision, const char* name)
{
    const auto write = [&](const QVariant& v) {
        return bytesOf(setup, [&](QDataStream& s) {
            s.setFloatingPointPrecision(precision);
            ScadaNamedStream named;
            named.setProperty(QStringLiteral("v"), v);
            named.toStream(s);
        });
    };
    const QByteArray bytes = write(value);
    bool wholeByQt = false;
    QVariant byQt;
    readBytes(bytes, setup, [&](QDataStream& s) {
        s.setFloatingPointPrecision(precision);
        qint32 count = 0;
        QString key;
        s >> count >> key >> byQt;
        wholeByQt = s.status() == QDataStream::Ok && s.atEnd();
    });
    // Where Qt's own writer writes what its reader cannot read (a null
    // picture inside a value before Qt 3.1 streams is no bytes at all),
    // there is nothing to compare with.
    if (!wholeByQt)
        return;
    ScadaNamedStream back;
    const QDataStream::Status status = readBytes(bytes, setup, [&](QDataStream& s) {
        s.setFloatingPointPrecision(precision);
        back.fromStream(s);
        EXPECT_TRUE(s.atEnd()) << name << " version " << setup.version;
    });
    EXPECT_EQ(status, QDataStream::Ok) << name << " version " << setup.version;
    EXPECT_EQ(write(back.getProperty(QStringLiteral("v"))).toHex().toStdString(),
              write(byQt).toHex().toStdString())
        << name << " version " << setup.version;
}

QImage sampleImage()
{
    QImage image(6, 4, QImage::Format_ARGB32);
    image.fill(Qt::blue);
    image.setPixel(1, 1, qRgba(1, 2, 3, 4));
    return image;
}

QList<QPair<const char*, QVariant>> drawingAndContainerValues()
{
    QPen dashed(Qt::green, 2.5);
    dashed.setDashPattern({ 1, 2, 3, 4 });
    QLinearGradient linear(0, 0, 1, 1);
    linear.setColorAt(0, Qt::red);
    linear.setColorAt(1, Qt::blue);
    QRadialGradient radial(1, 2, 3, 4, 5);
    radial.setColorAt(0.5, Qt::yellow);
    QConicalGradient conical(1, 2, 30);
    conical.setColorAt(0, Qt::black);
    QPen gradientPen(QBrush(linear), 1);
    QFont font(QStringLiteral("Sans"), 11, QFont::Bold);
    font.setFamilies({ QStringLiteral("Sans"), QStringLiteral("Serif") });
    const QPixmap pixmap = QPixmap::fromImage(sampleImage());
    // Eight pixels wide: a narrower bitmap leaves unset padding bits in its
    // rows, which Qt then writes out as they happen to be.
    QImage mono(8, 4, QImage::Format_Mono);
    mono.fill(0);
    mono.setPixel(1, 1, 1);
    const QBitmap bitmap = QBitmap::fromImage(mono);
    QRegion region(QRect(0, 0, 2, 2));
    region += QRect(5, 5, 3, 3);
    QPalette palette;
    palette.setColor(QPalette::Window, Qt::darkCyan);
    palette.setBrush(QPalette::Base, QBrush(linear));
    palette.setBrush(QPalette::Button, QBrush(pixmap));
    QTextCharFormat charFormat;
    charFormat.setFontPointSize(12);
    charFormat.setForeground(QBrush(Qt::darkBlue));
    charFormat.setProperty(QTextFormat::UserProperty, QVariantList{ 1, QStringLiteral("x") });
    QTextTableFormat tableFormat;
    tableFormat.setColumnWidthConstraints({ QTextLength(QTextLength::FixedLength, 20) });
    tableFormat.setCellPadding(3);
    QTextBlockFormat blockFormat;
    blockFormat.setAlignment(Qt::AlignRight);
    blockFormat.setIndent(2);
    QTextListFormat listFormat;
    listFormat.setStyle(QTextListFormat::ListDecimal);
    listFormat.setNumberSuffix(QStringLiteral(")"));
    QTextFrameFormat frameFormat;
    frameFormat.setBorder(1.5);
    frameFormat.setBorderBrush(QBrush(gradientPen.brush()));
    QTextImageFormat imageFormat;
    imageFormat.setName(QStringLiteral("pump.png"));
    imageFormat.setWidth(32);
    QEasingCurve bounce(QEasingCurve::OutBounce);
    bounce.setAmplitude(0.7);
    QEasingCurve bezier(QEasingCurve::BezierSpline);
    bezier.addCubicBezierSegment(QPointF(0.1, 0.2), QPointF(0.3, 0.4), QPointF(1, 1));
    QEasingCurve tcb(QEasingCurve::TCBSpline);
    tcb.addTCBSegment(QPointF(0.5, 0.6), 0.1, 0.2, 0.3);
    QIcon icon(pixmap);
    icon.addPixmap(QPixmap::fromImage(sampleImage().scaled(12, 8)), QIcon::Disabled, QIcon::On);
    return {
        { "palette", palette },
        { "char format", QTextFormat(charFormat) },
        { "table format", QTextFormat(tableFormat) },
        { "block format", QTextFormat(blockFormat) },
        { "list format", QTextFormat(listFormat) },
        { "frame format", QTextFormat(frameFormat) },
        { "image format", QTextFormat(imageFormat) },
        { "easing curve", bounce },
        { "bezier curve", bezier },
        { "tcb curve", tcb },
        { "icon", icon },
        { "theme icon", QIcon::fromTheme(QStringLiteral("document-open")) },
        { "null icon", QIcon() },
        { "key sequence", QKeySequence(QStringLiteral("Ctrl+A, Ctrl+B")) },
        { "font", font },
        { "pen", dashed },
        { "gradient pen", gradientPen },
        { "solid brush", QBrush(Qt::red, Qt::Dense3Pattern) },
        { "linear brush", QBrush(linear) },
        { "radial brush", QBrush(radial) },
        { "conical brush", QBrush(conical) },
        { "pixmap brush", QBrush(pixmap) },
        { "image brush", QBrush(sampleImage()) },
        { "image", sampleImage() },
        { "null image", QImage() },
        { "pixmap", pixmap },
        { "bitmap", QVariant::fromValue(bitmap) },
        { "region", region },
        { "empty region", QRegion() },
        { "bitmap cursor", QCursor(bitmap, bitmap, 1, 1) },
        // Eight pixels wide too: streams before Qt 4.0 carry the cursor as
        // the bitmaps Qt makes of the pixmap.
        { "pixmap cursor", QCursor(QPixmap::fromImage(sampleImage().scaled(8, 4)), 2, 2) },
        { "shape cursor", QCursor(Qt::WaitCursor) },
        { "polygon", QPolygon(QVector<QPoint>{ QPoint(1, 2), QPoint(3, 4) }) },
        { "polygonf", QPolygonF(QVector<QPointF>{ QPointF(1.5, 2), QPointF(3, 4.5) }) },
        { "variant list", QVariantList{ 1, QStringLiteral("x"), QVariantList{ 2.5 } } },
        { "string list", QStringList{ QStringLiteral("a"), QString() } },
        { "byte array list", QVariant::fromValue(QByteArrayList{ "a", QByteArray() }) },
        { "variant map", QVariantMap{ { "a", 1 }, { "b", QVariantMap{ { "c", true } } } } },
        { "variant hash", QVariantHash{ { "a", 1 } } },
        { "nested variant", QVariant::fromValue(QVariant(7)) },
        { "null int", QVariant(QVariant::Int) },
        { "invalid", QVariant() },
        { "colour", QColor(1, 2, 3, 4) },
        { "rect", QRectF(1, 2, 3, 4) },
        { "date time", QDateTime(QDate(2024, 2, 29), QTime(1, 2, 3)) },
    };
}

/* A valid item stream and the offset right after its first child. */
struct SampleStream {
    QByteArray bytes;
    int afterFirstChild = 0;
};

SampleStream sampleStreamWithChildOffset()
{
    SampleStream sample;
    sample.bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        writeItemHead(s, QStringLiteral("Root"));
        s << qint32(2);
        writeLeaf(s, QStringLiteral("First"));
    });
    sample.afterFirstChild = sample.bytes.size();
    sample.bytes += bytesOf(defaultSetup(), [](QDataStream& s) {
        writeLeaf(s, QStringLiteral("Second"));
        s << qint32(0) << QTransform() << QByteArray("xyz") << qint32(1) << QByteArray("k")
          << QVariant(QStringLiteral("value")) << qint32(0) << qint32(0);
    });
    return sample;
}

/* A device that hands its bytes out once, front to back, as a pipe or a
 * socket does: it can neither tell its size nor seek. */
class PipeDevice : public QIODevice
{
public:
    explicit PipeDevice(const QByteArray& bytes)
        : m_bytes(bytes)
    {
        open(QIODevice::ReadOnly);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_bytes.size() + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const int n = int(qMin<qint64>(maxSize, m_bytes.size()));
        if (n > 0)   // a reader may ask for nothing, with no buffer
            memcpy(data, m_bytes.constData(), size_t(n));
        m_bytes.remove(0, n);
        return n;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_bytes;
};

} // namespace

TEST(CorruptStream, EveryPrefixOfAValidItemStreamFailsWithoutCrashing)
{
    for (const StreamSetup& setup : { defaultSetup(), StreamSetup{ QDataStream::Qt_1_0, QDataStream::LittleEndian },
                                      StreamSetup{ QDataStream::Qt_4_2, QDataStream::BigEndian } }) {
        const QByteArray bytes = bytesOf(setup, [](QDataStream& s) { s << sampleItem(); });
        for (int cut = 0; cut < bytes.size(); ++cut) {
            MorvaneStreamItem item;
            EXPECT_NE(readBytes(bytes.left(cut), setup, [&](QDataStream& s) { s >> item; }), QDataStream::Ok)
                << "version " << setup.version << " cut at " << cut;
        }
        MorvaneStreamItem whole;
        EXPECT_EQ(readBytes(bytes, setup, [&](QDataStream& s) { s >> whole; }), QDataStream::Ok)
            << "version " << setup.version;
    }
}

TEST(CorruptStream, CutRightAfterTheFirstChildKeepsTheHeadAndThatChild)
{
    const SampleStream sample = sampleStreamWithChildOffset();
    MorvaneStreamItem item;
    EXPECT_EQ(readBytes(sample.bytes.left(sample.afterFirstChild), defaultSetup(),
                        [&](QDataStream& s) { s >> item; }),
              QDataStream::ReadPastEnd);
    EXPECT_EQ(item.className(), QStringLiteral("Root"));
    ASSERT_EQ(item.childItems.size(), 2);
    EXPECT_EQ(item.childItems[0]->className(), QStringLiteral("First"));
    // The second child was started when the stream ran out; it holds nothing.
    EXPECT_TRUE(item.childItems[1]->className().isEmpty());
    EXPECT_TRUE(item.auxiliaryItems.isEmpty());
    EXPECT_TRUE(item.extraData.isNull());
}

TEST(CorruptStream, CutInsideAPropertyValueKeepsEverythingBeforeIt)
{
    const SampleStream sample = sampleStreamWithChildOffset();
    MorvaneStreamItem item;
    EXPECT_NE(readBytes(sample.bytes.left(sample.bytes.size() - 12), defaultSetup(),
                        [&](QDataStream& s) { s >> item; }),
              QDataStream::Ok);
    ASSERT_EQ(item.childItems.size(), 2);
    EXPECT_EQ(item.childItems[1]->className(), QStringLiteral("Second"));
    EXPECT_EQ(item.extraData, QByteArray("xyz"));
    EXPECT_TRUE(item.properties.isEmpty());
}

TEST(CorruptStream, ThousandsOfRandomByteStringsNeverCrash)
{
    QRandomGenerator random(20261122);
    const QByteArray valid = bytesOf(defaultSetup(), [](QDataStream& s) { s << sampleItem(); });
    const long peakBefore = peakRssKb();
    QElapsedTimer clock;
    clock.start();
    for (int round = 0; round < 3000; ++round) {
        QByteArray bytes = round % 2 ? valid : QByteArray(int(random.bounded(600)), '\0');
        for (int i = 0; i < bytes.size(); ++i) {
            if (round % 2 == 0 || random.bounded(40) == 0)
                bytes[i] = char(random.bounded(256));
        }
        MorvaneStreamItem item;
        item.setVersion(int(random.bounded(1000)));
        readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; });
        ScadaTagActionStream tag;
        readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> tag; });
        ScadaNamedStream named;
        readBytes(bytes, defaultSetup(), [&](QDataStream& s) { named.fromStream(s); });
    }
    EXPECT_LT(clock.elapsed(), 60000);
    EXPECT_LT(peakRssKb() - peakBefore, MaxGrowthKb);
}

TEST(CorruptStream, TwoBillionChildItemsFailWithBoundedCost)
{
    MorvaneStreamItem item;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) {
                             writeItemHead(s, QStringLiteral("Root"));
                             s << TwoBillion;
                         }),
                         [&](QDataStream& s) { s >> item; });
    EXPECT_EQ(item.className(), QStringLiteral("Root"));
    EXPECT_LE(item.childItems.size(), 1);
}

TEST(CorruptStream, TwoBillionAuxiliaryItemsFailWithBoundedCost)
{
    MorvaneStreamItem item;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) {
                             writeItemHead(s, QStringLiteral("Root"));
                             s << qint32(0) << TwoBillion;
                             writeLeaf(s, QStringLiteral("Aux"));
                         }),
                         [&](QDataStream& s) { s >> item; });
    ASSERT_GE(item.auxiliaryItems.size(), 1);
    EXPECT_EQ(item.auxiliaryItems[0]->className(), QStringLiteral("Aux"));
    EXPECT_LE(item.auxiliaryItems.size(), 2);
}

TEST(CorruptStream, TwoBillionPropertiesFailWithBoundedCost)
{
    MorvaneStreamItem item;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) {
                             writeItemHead(s, QStringLiteral("Root"));
                             s << qint32(0) << qint32(0) << QTransform() << QByteArray() << TwoBillion
                               << QByteArray("a") << QVariant(1);
                         }),
                         [&](QDataStream& s) { s >> item; });
    EXPECT_EQ(item.property(QStringLiteral("a")), QVariant(1));
    EXPECT_EQ(item.properties.size(), 1);
}

TEST(CorruptStream, TwoBillionTagActionsFailWithBoundedCost)
{
    MorvaneStreamItem item;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) {
                             writeItemHead(s, QStringLiteral("Root"));
                             s << qint32(0) << qint32(0) << QTransform() << QByteArray() << qint32(0)
                               << TwoBillion;
                         }),
                         [&](QDataStream& s) { s >> item; });
    EXPECT_LE(item.tagActions.size(), 1);
}

TEST(CorruptStream, TwoBillionEventActionsFailWithBoundedCost)
{
    MorvaneStreamItem item;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) {
                             writeItemHead(s, QStringLiteral("Root"));
                             s << qint32(0) << qint32(0) << QTransform() << QByteArray() << qint32(0)
                               << qint32(0) << TwoBillion;
                         }),
                         [&](QDataStream& s) { s >> item; });
    EXPECT_LE(item.eventActions.size(), 1);
}

TEST(CorruptStream, TwoBillionPropertiesOfActionsAndNamedStreamsFailWithBoundedCost)
{
    const QByteArray tagBytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(1) << QByteArray() << QString() << TwoBillion;
    });
    ScadaTagActionStream tag;
    expectBoundedFailure(tagBytes, [&](QDataStream& s) { s >> tag; });
    const QByteArray eventBytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(1) << qint32(2) << QByteArray() << TwoBillion;
    });
    ScadaEventActionStream event;
    expectBoundedFailure(eventBytes, [&](QDataStream& s) { s >> event; });
    ScadaNamedStream named;
    expectBoundedFailure(bytesOf(defaultSetup(), [](QDataStream& s) { s << TwoBillion; }),
                         [&](QDataStream& s) { named.fromStream(s); });
}

TEST(CorruptStream, TwoBillionElementsInsideContainerValuesFailWithBoundedCost)
{
    // Qt's own reader reserves room for the count first and dies on these.
    for (const int type : { int(QMetaType::QVariantList), int(QMetaType::QStringList),
                            int(QMetaType::QByteArrayList), int(QMetaType::QVariantMap),
                            int(QMetaType::QVariantHash), int(QMetaType::QPolygon),
                            int(QMetaType::QPolygonF) }) {
        MorvaneStreamItem item;
        expectBoundedFailure(itemWithRawValue([&](QDataStream& s) { s << quint32(type) << qint8(0) << TwoBillion; }),
                             [&](QDataStream& s) { s >> item; });
        EXPECT_TRUE(item.properties.isEmpty()) << QMetaType::typeName(type);
    }
}

// A value holding a count, and that count's value as Qt writes it.
struct CountedValue {
    const char* name;
    QVariant value;
    quint32 count;
};

// Each value is written by Qt, then its inner count (its last occurrence)
// is overwritten by two billion: the item fails at bounded cost, whole and
// cut short right after the count, and keeps no property.
void expectTwoBillionCountsFail(const QList<CountedValue>& cases)
{
    for (const CountedValue& c : cases) {
        QByteArray value = bytesOf(defaultSetup(), [&](QDataStream& s) { s << c.value; });
        const QByteArray countBytes = bytesOf(defaultSetup(), [&](QDataStream& s) { s << c.count; });
        const int at = value.lastIndexOf(countBytes);
        ASSERT_GT(at, 4) << c.name;
        value.replace(at, 4, bytesOf(defaultSetup(), [](QDataStream& s) { s << TwoBillion; }));
        for (const bool truncated : { false, true }) {
            const QByteArray raw = truncated ? value.left(at + 4) : value;
            MorvaneStreamItem item;
            expectBoundedFailure(itemWithRawValue([&](QDataStream& s) { s.writeRawData(raw.constData(), raw.size()); }),
                                 [&](QDataStream& s) { s >> item; });
            EXPECT_TRUE(item.properties.isEmpty()) << c.name;
        }
    }
}

TEST(CorruptStream, TwoBillionCountsInsideDrawingValuesFailWithBoundedCost)
{
    // Each value is written by Qt, then its inner count is overwritten.
    QPen pen(Qt::red);
    pen.setDashPattern({ 1, 2, 3, 4 });
    QLinearGradient gradient(0, 0, 1, 1);
    gradient.setColorAt(0, Qt::red);
    gradient.setColorAt(1, Qt::blue);
    QFont font(QStringLiteral("Sans"));
    font.setFamilies({ QStringLiteral("Sans") });
    QRegion region(QRect(0, 0, 2, 2));
    region += QRect(5, 5, 3, 3);
    const QList<CountedValue> cases{ { "pen dashes", pen, 4 }, { "gradient stops", QBrush(gradient), 2 },
                             { "font families", font, 1 }, { "region rectangles", region, 2 } };
    expectTwoBillionCountsFail(cases);
}

TEST(CorruptStream, ImageClaimingHugeDimensionsIsRefused)
{
    QByteArray value = bytesOf(defaultSetup(), [](QDataStream& s) { s << QVariant(sampleImage()); });
    const int ihdr = value.indexOf("IHDR");
    ASSERT_GT(ihdr, 0);
    // 30000 x 30000 pixels would take 3.6 GB once decoded; the header's
    // checksum is made right so that only the size gives it away.
    value.replace(ihdr + 4, 8, QByteArray::fromHex("0000753000007530"));
    const QByteArray header = value.mid(ihdr, 17);
    const quint32 crc = quint32(crc32(0, reinterpret_cast<const Bytef*>(header.constData()), uInt(header.size())));
    value.replace(ihdr + 17, 4, bytesOf({ QDataStream::Qt_5_15, QDataStream::BigEndian }, [&](QDataStream& s) { s << crc; }));
    MorvaneStreamItem item;
    const QByteArray bytes = itemWithRawValue([&](QDataStream& s) { s.writeRawData(value.constData(), value.size()); });
    expectBoundedFailure(bytes, [&](QDataStream& s) { s >> item; });
    // Refused before decoding; Qt's decoder would end in ReadPastEnd.
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }), QDataStream::ReadCorruptData);
    EXPECT_TRUE(item.properties.isEmpty());
}

TEST(CorruptStream, ItemsNestedBeyondAnyRealDisplayAreCorruptData)
{
    const auto nested = [](int depth) {
        return bytesOf(defaultSetup(), [&](QDataStream& s) {
            for (int i = 0; i < depth; ++i) {
                writeItemHead(s, QStringLiteral("Level"));
                s << qint32(1);
            }
            writeLeaf(s, QStringLiteral("Leaf"));
            for (int i = 0; i < depth; ++i)
                s << qint32(0) << QTransform() << QByteArray() << qint32(0) << qint32(0) << qint32(0);
        });
    };
    MorvaneStreamItem deep;
    EXPECT_EQ(readBytes(nested(200), defaultSetup(), [&](QDataStream& s) { s >> deep; }), QDataStream::Ok);
    MorvaneStreamItem tooDeep;
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(readBytes(nested(100000), defaultSetup(), [&](QDataStream& s) { s >> tooDeep; }),
              QDataStream::ReadCorruptData);
    EXPECT_LT(clock.elapsed(), MaxMilliseconds * 5);
    EXPECT_EQ(tooDeep.childItems.size(), 1);
}

TEST(CorruptStream, ValuesNestedBeyondAnyRealPropertyAreCorruptData)
{
    const auto nestedVariants = [](int depth) {
        return itemWithRawValue([&](QDataStream& s) {
            for (int i = 0; i < depth; ++i)
                s << quint32(QMetaType::QVariant) << qint8(0);
            s << QVariant(1);
        });
    };
    const auto nestedLists = [](int depth) {
        return itemWithRawValue([&](QDataStream& s) {
            for (int i = 0; i < depth; ++i)
                s << quint32(QMetaType::QVariantList) << qint8(0) << quint32(1);
            s << QVariant(1);
        });
    };
    MorvaneStreamItem shallow;
    EXPECT_EQ(readBytes(nestedLists(30), defaultSetup(), [&](QDataStream& s) { s >> shallow; }), QDataStream::Ok);
    EXPECT_TRUE(shallow.existProperty(QStringLiteral("key")));
    for (const QByteArray& bytes : { nestedVariants(1000000), nestedLists(100000) }) {
        MorvaneStreamItem item;
        EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }),
                  QDataStream::ReadCorruptData);
        EXPECT_TRUE(item.properties.isEmpty());
    }
}

TEST(CorruptStream, DrawingAndContainerValuesOfEveryStreamVersionReadAsQtReadsThem)
{
    const QList<int> versions{ QDataStream::Qt_1_0, QDataStream::Qt_2_0, QDataStream::Qt_2_1,
                               QDataStream::Qt_3_0, QDataStream::Qt_3_1, QDataStream::Qt_3_3,
                               QDataStream::Qt_4_0, QDataStream::Qt_4_2, QDataStream::Qt_4_3,
                               QDataStream::Qt_4_4, QDataStream::Qt_4_5, QDataStream::Qt_4_6,
                               QDataStream::Qt_5_0, QDataStream::Qt_5_1, QDataStream::Qt_5_2,
                               QDataStream::Qt_5_4, QDataStream::Qt_5_6, QDataStream::Qt_5_12,
                               QDataStream::Qt_5_13, QDataStream::Qt_5_15 };
    for (const auto& value : drawingAndContainerValues()) {
        for (const int version : versions) {
            for (const auto order : { QDataStream::BigEndian, QDataStream::LittleEndian }) {
                for (const auto precision : { QDataStream::DoublePrecision, QDataStream::SinglePrecision })
                    expectValueReadAsQtReadsIt(value.second, { version, order }, precision, value.first);
            }
        }
    }
}

TEST(CorruptStream, TwoBillionCountsInsidePalettesTextFormatsCurvesAndIconsFailWithBoundedCost)
{
    // Each value is written by Qt, then its inner count is overwritten.
    QLinearGradient gradient(0, 0, 1, 1);
    gradient.setColorAt(0, Qt::red);
    gradient.setColorAt(0.5, Qt::green);
    gradient.setColorAt(1, Qt::blue);
    QPalette palette;
    palette.setBrush(QPalette::ToolTipText, QBrush(gradient));
    QTextCharFormat format;
    format.setFontPointSize(12);
    format.setFontWeight(QFont::Bold);
    format.setFontItalic(true);
    QEasingCurve bezier(QEasingCurve::BezierSpline);
    bezier.addCubicBezierSegment(QPointF(0.1, 0.2), QPointF(0.3, 0.4), QPointF(1, 1));
    QIcon icon(QPixmap::fromImage(sampleImage()));
    icon.addPixmap(QPixmap::fromImage(sampleImage().scaled(12, 8)), QIcon::Disabled);
    const QList<CountedValue> cases{ { "palette gradient stops", palette, 3 },
                             { "text format properties", QTextFormat(format), 3 },
                             { "easing curve points", bezier, 3 },
                             { "icon entries", icon, 2 } };
    expectTwoBillionCountsFail(cases);
}

TEST(CorruptStream, TextFormatsNestingValuesBeyondAnyRealPropertyAreCorruptData)
{
    // A text format holds QVariants; Qt's own reader would nest without bound.
    const QByteArray bytes = itemWithRawValue([](QDataStream& s) {
        for (int i = 0; i < 100000; ++i)
            s << quint32(QMetaType::QTextFormat) << qint8(0) << qint32(QTextFormat::CharFormat) << quint32(1)
              << qint32(QTextFormat::UserProperty);
        s << QVariant(1);
    });
    MorvaneStreamItem item;
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }), QDataStream::ReadCorruptData);
    EXPECT_LT(clock.elapsed(), MaxMilliseconds);
    EXPECT_TRUE(item.properties.isEmpty());
}

TEST(CorruptStream, EasingCurveFunctionAddressesFromTheStreamAreNeverCalled)
{
    // A custom curve carries its writer's function address, meaningless
    // here: the curve arrives linear, whatever address the bytes name.
    const QByteArray bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(1) << QStringLiteral("curve") << quint32(QMetaType::QEasingCurve) << qint8(0)
          << quint8(QEasingCurve::Custom) << quint64(0xdeadbeefu) << false;
    });
    ScadaNamedStream named;
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { named.fromStream(s); }), QDataStream::Ok);
    const QEasingCurve curve = named.getProperty(QStringLiteral("curve")).value<QEasingCurve>();
    EXPECT_EQ(curve.type(), QEasingCurve::Linear);
    EXPECT_DOUBLE_EQ(curve.valueForProgress(0.25), 0.25);
    const QByteArray unknownType = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(1) << QStringLiteral("curve") << quint32(QMetaType::QEasingCurve) << qint8(0) << quint8(200)
          << quint64(0) << false;
    });
    EXPECT_EQ(readBytes(unknownType, defaultSetup(), [&](QDataStream& s) { ScadaNamedStream().fromStream(s); }),
              QDataStream::ReadCorruptData);
}

TEST(CorruptStream, RegionsOfQt1NestingBeyondAnyRealRegionAreCorruptData)
{
    // Qt 1 streams nest a region one union deeper for each rectangle.
    const StreamSetup qt1{ QDataStream::Qt_1_0, QDataStream::BigEndian };
    QRegion many;
    for (int i = 0; i < 100; ++i)
        many += QRect(i * 4, i * 3, 2, 2);
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("r"), many);
    ScadaNamedStream back;
    EXPECT_EQ(readBytes(bytesOf(qt1, [&](QDataStream& s) { named.toStream(s); }), qt1,
                        [&](QDataStream& s) { back.fromStream(s); }),
              QDataStream::Ok);
    QVariant byQt;
    readBytes(bytesOf(qt1, [&](QDataStream& s) { s << QVariant(many); }), qt1, [&](QDataStream& s) { s >> byQt; });
    EXPECT_EQ(back.getProperty(QStringLiteral("r")), byQt);
    const int depth = 100000;
    const QByteArray deep = bytesOf(qt1, [&](QDataStream& s) {
        s << qint32(1) << QStringLiteral("r") << quint32(22);
        for (int i = 0; i < depth; ++i)
            s << quint32(4 + (depth - i) * 8 + 16 * 2) << qint32(6);
        s << quint32(12) << qint32(1) << qint16(0) << qint16(0) << qint16(1) << qint16(1);
    });
    expectBoundedFailure(deep, [&](QDataStream& s) { ScadaNamedStream().fromStream(s); }, qt1);

    // Within the nesting limit, every level holding a large operand: read
    // in place, without a copy for each level.
    const int levels = 200;
    const int rects = 10000;
    const QByteArray wide = bytesOf(qt1, [&](QDataStream& s) {
        s << qint32(1) << QStringLiteral("r") << quint32(22);
        const quint32 innermost = quint32(rects * 20);
        s << quint32(innermost + levels * 32);
        for (int i = 0; i < levels; ++i)
            s << qint32(6) << quint32(innermost + (levels - 1 - i) * 32);
        // Nested operands are read in Qt's default version, big-endian.
        for (int i = 0; i < rects; ++i)
            s << qint32(1) << qint16(0) << qint16(0) << qint16(0) << qint16(0) << qint16(0) << qint16(1)
              << qint16(0) << qint16(1);
        for (int i = 0; i < levels; ++i)
            s << quint32(20) << qint32(1) << qint32(i) << qint32(0) << qint32(i) << qint32(0);
    });
    const long peakBefore = peakRssKb();
    QElapsedTimer clock;
    clock.start();
    ScadaNamedStream wideRead;
    EXPECT_EQ(readBytes(wide, qt1, [&](QDataStream& s) { wideRead.fromStream(s); }), QDataStream::Ok);
    EXPECT_LT(clock.elapsed(), MaxMilliseconds);
    EXPECT_LT(peakRssKb() - peakBefore, MaxGrowthKb);
    QRegion expected(0, 0, 2, 2);
    for (int i = 0; i < levels; ++i)
        expected += QRect(i, 0, 1, 1);
    EXPECT_EQ(wideRead.getProperty(QStringLiteral("r")), QVariant(expected));
}

TEST(CorruptStream, RegionsOfManyScatteredRectanglesReadPromptly)
{
    // Qt unites a region's rectangles one by one, which takes seconds for
    // half a megabyte of them; they are read as the same region.
    const auto scattered = [](int count) {
        QVector<QRect> rects;
        quint32 x = 12345;
        for (int i = 0; i < count; ++i) {
            x = x * 1103515245u + 12345u;
            rects.append(QRect(int((x >> 8) % 100000), int((x >> 3) % 100000), 3, 3));
        }
        return rects;
    };
    const auto regionBytes = [](const QVector<QRect>& rects) {
        const QByteArray records = bytesOf(defaultSetup(), [&](QDataStream& s) {
            s << qint32(10) << quint32(rects.size());
            for (const QRect& rect : rects)
                s << rect;
        });
        return bytesOf(defaultSetup(), [&](QDataStream& s) {
            s << qint32(1) << QStringLiteral("r") << quint32(QMetaType::QRegion) << qint8(0) << records;
        });
    };
    const QVector<QRect> few = scattered(500);
    QRegion byQt;
    readBytes(regionBytes(few), defaultSetup(), [&](QDataStream& s) {
        qint32 count = 0;
        QString key;
        QVariant value;
        s >> count >> key >> value;
        byQt = value.value<QRegion>();
    });
    ScadaNamedStream fewRead;
    EXPECT_EQ(readBytes(regionBytes(few), defaultSetup(), [&](QDataStream& s) { fewRead.fromStream(s); }),
              QDataStream::Ok);
    EXPECT_EQ(fewRead.getProperty(QStringLiteral("r")).value<QRegion>(), byQt);

    const QVector<QRect> many = scattered(32000);
    QElapsedTimer clock;
    clock.start();
    ScadaNamedStream manyRead;
    EXPECT_EQ(readBytes(regionBytes(many), defaultSetup(), [&](QDataStream& s) { manyRead.fromStream(s); }),
              QDataStream::Ok);
    EXPECT_LT(clock.elapsed(), MaxMilliseconds);
    const QRegion region = manyRead.getProperty(QStringLiteral("r")).value<QRegion>();
    for (const QRect& rect : { many.first(), many.at(16000), many.last() })
        EXPECT_TRUE(region.contains(rect));
}

TEST(CorruptStream, RegionEllipsesAndPolygonsBeyondAnyScreenAreCorruptData)
{
    // Qt scan-converts them line by line: two billion lines take minutes.
    const auto regionBytes = [](const std::function<void(QDataStream&)>& record) {
        const QByteArray records = bytesOf(defaultSetup(), record);
        return bytesOf(defaultSetup(), [&](QDataStream& s) {
            s << qint32(1) << QStringLiteral("r") << quint32(QMetaType::QRegion) << qint8(0) << records;
        });
    };
    const QByteArray ellipse = regionBytes([](QDataStream& s) { s << qint32(2) << QRect(0, -1000000000, 10, 2000000000); });
    const QByteArray polygon = regionBytes([](QDataStream& s) {
        s << qint32(4) << QPolygon(QVector<QPoint>{ QPoint(0, -1000000000), QPoint(5, 1000000000), QPoint(9, 0) });
    });
    // Corners whose distance does not fit an int.
    const QByteArray farApart = regionBytes([](QDataStream& s) {
        s << qint32(2) << QRect(QPoint(-2113929216, 0), QPoint(603979776, 10));
    });
    for (const QByteArray& bytes : { ellipse, polygon, farApart })
        expectBoundedFailure(bytes, [&](QDataStream& s) { ScadaNamedStream().fromStream(s); });
    const QByteArray small = regionBytes([](QDataStream& s) { s << qint32(2) << QRect(0, 0, 10, 20); });
    ScadaNamedStream read;
    EXPECT_EQ(readBytes(small, defaultSetup(), [&](QDataStream& s) { read.fromStream(s); }), QDataStream::Ok);
    EXPECT_EQ(read.getProperty(QStringLiteral("r")), QVariant(QRegion(QRect(0, 0, 10, 20), QRegion::Ellipse)));
}

TEST(CorruptStream, DrawingValuesOnSequentialDevicesReadAsFromBuffers)
{
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("font"), QFont(QStringLiteral("Sans")));
    named.setProperty(QStringLiteral("pen"), QPen(QBrush(sampleImage()), 2));
    named.setProperty(QStringLiteral("list"), QVariantList{ 1, 2 });
    const QByteArray bytes = bytesOf(defaultSetup(), [&](QDataStream& s) { named.toStream(s); });

    bool atEnd = false;
    const auto readSequential = [&](const QByteArray& bytes, ScadaNamedStream& into) {
        PipeDevice pipe(bytes);
        QDataStream stream(&pipe);
        configure(stream, defaultSetup());
        into.fromStream(stream);
        atEnd = stream.atEnd();
        return stream.status();
    };
    ScadaNamedStream back;
    EXPECT_EQ(readSequential(bytes, back), QDataStream::Ok);
    EXPECT_TRUE(atEnd);
    EXPECT_EQ(back.getProperty(QStringLiteral("font")), named.getProperty(QStringLiteral("font")));
    // A texture has no equality of its own: the pen is compared as written.
    const auto penBytes = [](const ScadaNamedStream& from) {
        return bytesOf(defaultSetup(), [&](QDataStream& s) { s << from.getProperty(QStringLiteral("pen")); });
    };
    EXPECT_EQ(penBytes(back), penBytes(named));
    EXPECT_EQ(back.getProperty(QStringLiteral("list")), QVariant(QVariantList{ 1, 2 }));
    // Every cut fails on a pipe too, and a count beyond what has arrived
    // costs nothing.
    for (int cut = 0; cut < bytes.size(); ++cut) {
        ScadaNamedStream part;
        EXPECT_NE(readSequential(bytes.left(cut), part), QDataStream::Ok) << "cut at " << cut;
    }
}

TEST(CorruptStream, PropertyValuesInQt3StreamLayoutsReadAsQtReadsThem)
{
    const StreamSetup qt3{ QDataStream::Qt_3_3, QDataStream::BigEndian };
    // 16 is an int in Qt 3's numbering; 200 is beyond it: Qt reads an
    // invalid value and nothing after the number.
    const QByteArray bytes = bytesOf(qt3, [](QDataStream& s) {
        s << qint32(2) << QStringLiteral("a") << quint32(16) << qint32(5) << QStringLiteral("b") << quint32(200);
    });
    ScadaNamedStream named;
    EXPECT_EQ(readBytes(bytes, qt3, [&](QDataStream& s) {
                  named.fromStream(s);
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    EXPECT_EQ(named.getProperty(QStringLiteral("a")), QVariant(5));
    EXPECT_TRUE(named.properties.contains(QStringLiteral("b")));
    EXPECT_FALSE(named.getProperty(QStringLiteral("b")).isValid());
}

TEST(CorruptStream, UnknownUserTypeNamesAreCorruptData)
{
    const QByteArray bytes = itemWithRawValue([](QDataStream& s) {
        s << quint32(QMetaType::User) << qint8(0) << QByteArray("NoSuchType");
    });
    MorvaneStreamItem item;
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) { s >> item; }), QDataStream::ReadCorruptData);
    EXPECT_TRUE(item.properties.isEmpty());
}

TEST(CorruptStream, TypeIdsBeyondThirtyBitsAreReadAsTheTypeQtKeeps)
{
    // QVariant keeps 30 bits of a type id: Qt reads 0x40000042 as a brush.
    const QByteArray bytes = bytesOf(defaultSetup(), [](QDataStream& s) {
        s << qint32(1) << QStringLiteral("k") << quint32(0x40000000u | QMetaType::QBrush) << qint8(0)
          << QBrush(Qt::red);
    });
    QVariant byQt;
    readBytes(bytes, defaultSetup(), [&](QDataStream& s) {
        qint32 count = 0;
        QString key;
        s >> count >> key >> byQt;
    });
    ScadaNamedStream named;
    EXPECT_EQ(readBytes(bytes, defaultSetup(), [&](QDataStream& s) {
                  named.fromStream(s);
                  EXPECT_TRUE(s.atEnd());
              }),
              QDataStream::Ok);
    EXPECT_EQ(byQt.userType(), int(QMetaType::QBrush));
    EXPECT_EQ(named.getProperty(QStringLiteral("k")), byQt);
}

TEST(CorruptStream, FontWithAnOddFamilyLengthIsRefusedBeforeQtMisreadsItsFamilies)
{
    // Qt refuses the odd string without consuming it and then reads the
    // family list from the middle of the font.
    QFont font(QStringLiteral("Sans"));
    font.setFamilies({ QStringLiteral("Sans") });
    QByteArray value = bytesOf(defaultSetup(), [&](QDataStream& s) { s << QVariant(font); });
    const QByteArray familyLength = bytesOf(defaultSetup(), [](QDataStream& s) { s << quint32(8); });
    const int at = value.indexOf(familyLength);
    ASSERT_GT(at, 4);
    value.replace(at, 4, bytesOf(defaultSetup(), [](QDataStream& s) { s << quint32(7); }));
    value += bytesOf(defaultSetup(), [](QDataStream& s) { s << quint32(0xffffffffu) << quint32(0xfffffff0u); });
    MorvaneStreamItem item;
    expectBoundedFailure(itemWithRawValue([&](QDataStream& s) { s.writeRawData(value.constData(), value.size()); }),
                         [&](QDataStream& s) { s >> item; });
    EXPECT_TRUE(item.properties.isEmpty());
}

TEST(CorruptStream, PenWhoseTextureDoesNotDecodeIsRefusedBeforeQtReadsItsDashes)
{
    // A texture that fails to decode leaves Qt's pen reader somewhere in the
    // image, from where it would take a dash count.
    QImage texture(8, 8, QImage::Format_ARGB32);
    texture.fill(Qt::red);
    QPen pen(QBrush(texture), 2);
    pen.setDashPattern({ 1, 2 });
    QByteArray value = bytesOf(defaultSetup(), [&](QDataStream& s) { s << QVariant(pen); });
    const int idat = value.indexOf("IDAT");
    ASSERT_GT(idat, 0);
    value[idat + 6] = char(value[idat + 6] ^ 0x5a);
    ScadaNamedStream named;
    const QByteArray bytes = bytesOf(defaultSetup(), [&](QDataStream& s) {
        s << qint32(1) << QStringLiteral("pen");
        s.writeRawData(value.constData(), value.size());
    });
    expectBoundedFailure(bytes, [&](QDataStream& s) { named.fromStream(s); });
    EXPECT_TRUE(named.properties.isEmpty());
}

/*
 * everytype_test.cpp: a property of every type Qt can stream, written by the
 * records' writers, reads back through the records' readers: from a
 * QBuffer, from a file and from a sequential device (a local socket), in
 * the stream versions of Qt 1.0 to Qt 5.15 and in both byte orders.
 *
 * The types are not picked by hand: every type id Qt knows, built-in and
 * registered, whose QMetaType::save works on a sample value, takes part.
 * A value reads back as Qt's own reader makes it of the same bytes (Qt's
 * older layouts drop what they cannot carry, such as types Qt 3 lacked);
 * where Qt keeps the value whole, it reads back equal to the value written.
 * Types without a meaningful == (icons, pixmaps, cursors...) are compared
 * by the bytes they write again.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include "streambytes.h"

#include <QtCore/QBitArray>
#include <QtCore/QBuffer>
#include <QtCore/QCoreApplication>
#include <QtCore/QCborArray>
#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QDateTime>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEasingCurve>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLine>
#include <QtCore/QLocale>
#include <QtCore/QRegExp>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryFile>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtGui/QBitmap>
#include <QtGui/QBrush>
#include <QtGui/QColorSpace>
#include <QtGui/QCursor>
#include <QtGui/QFont>
#include <QtGui/QIcon>
#include <QtGui/QImage>
#include <QtGui/QKeySequence>
#include <QtGui/QMatrix>
#include <QtGui/QMatrix4x4>
#include <QtGui/QPalette>
#include <QtGui/QPen>
#include <QtGui/QPixmap>
#include <QtGui/QPolygon>
#include <QtGui/QQuaternion>
#include <QtGui/QRegion>
#include <QtGui/QTextFormat>
#include <QtGui/QTransform>
#include <QtGui/QVector2D>
#include <QtGui/QVector3D>
#include <QtGui/QVector4D>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>
#include <QtWidgets/QSizePolicy>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

QImage samplePicture()
{
    QImage image(6, 4, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    image.setPixel(1, 1, qRgb(200, 30, 60));
    return image;
}

QBitmap sampleBitmap()
{
    QImage mono(8, 4, QImage::Format_Mono);
    mono.fill(0);
    mono.setPixel(1, 1, 1);
    return QBitmap::fromImage(mono);
}

/* A value of the type that differs from its default where the type allows;
 * an invalid QVariant where only a default can be made. */
QVariant sampleValue(int typeId)
{
    switch (typeId) {
    case QMetaType::Bool: return true;
    case QMetaType::Int: return -7;
    case QMetaType::UInt: return 7u;
    case QMetaType::LongLong: return qlonglong(-1099511627776LL);
    case QMetaType::ULongLong: return qulonglong(1) << 40;
    case QMetaType::Double: return 2.5;
    case QMetaType::Float: return QVariant::fromValue(1.5f);
    case QMetaType::Long: return QVariant::fromValue(-70000L);
    case QMetaType::ULong: return QVariant::fromValue(70000UL);
    case QMetaType::Short: return QVariant::fromValue(short(-3));
    case QMetaType::UShort: return QVariant::fromValue(ushort(3));
    case QMetaType::Char: return QVariant::fromValue(char('c'));
    case QMetaType::SChar: return QVariant::fromValue(static_cast<signed char>(-4));
    case QMetaType::UChar: return QVariant::fromValue(uchar(4));
    case QMetaType::QChar: return QChar(0x263a);
    case QMetaType::QString: return QStringLiteral("Pump hall \u00e9");
    case QMetaType::QByteArray: return QByteArray("valve\0open", 10);
    case QMetaType::QBitArray: return QBitArray(11, true);
    case QMetaType::QStringList: return QStringList{ QStringLiteral("a"), QString() };
    case QMetaType::QByteArrayList: return QVariant::fromValue(QByteArrayList{ "a", QByteArray() });
    case QMetaType::QVariantList: return QVariantList{ 1, QStringLiteral("x"), QVariantList{ 2.5 } };
    case QMetaType::QVariantMap: return QVariantMap{ { "a", 1 }, { "b", QVariantMap{ { "c", true } } } };
    case QMetaType::QVariantHash: return QVariantHash{ { "a", 1 }, { "b", QStringLiteral("y") } };
    case QMetaType::QVariant: return QVariant::fromValue(QVariant(7));
    case QMetaType::QDate: return QDate(2024, 2, 29);
    case QMetaType::QTime: return QTime(13, 14, 15, 160);
    case QMetaType::QDateTime: return QDateTime(QDate(2024, 2, 29), QTime(1, 2, 3), Qt::UTC);
    case QMetaType::QUrl: return QUrl(QStringLiteral("https://plant.example/hall?x=1"));
    case QMetaType::QLocale: return QLocale(QLocale::German, QLocale::Austria);
    case QMetaType::QRect: return QRect(1, 2, 3, 4);
    case QMetaType::QRectF: return QRectF(1.5, 2, 3, 4);
    case QMetaType::QSize: return QSize(5, 6);
    case QMetaType::QSizeF: return QSizeF(5.5, 6);
    case QMetaType::QLine: return QLine(1, 2, 3, 4);
    case QMetaType::QLineF: return QLineF(1.5, 2, 3, 4);
    case QMetaType::QPoint: return QPoint(7, -8);
    case QMetaType::QPointF: return QPointF(7.5, -8);
    case QMetaType::QRegExp: return QRegExp(QStringLiteral("p[0-9]+"), Qt::CaseInsensitive);
    case QMetaType::QRegularExpression:
        return QRegularExpression(QStringLiteral("p[0-9]+"), QRegularExpression::CaseInsensitiveOption);
    case QMetaType::QUuid: return QUuid(QStringLiteral("{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"));
    case QMetaType::QJsonValue: return QJsonValue(QStringLiteral("v"));
    case QMetaType::QJsonObject: return QJsonObject{ { "a", 1 }, { "b", QJsonArray{ true } } };
    case QMetaType::QJsonArray: return QJsonArray{ 1, QStringLiteral("x") };
    case QMetaType::QJsonDocument: return QJsonDocument(QJsonObject{ { "a", 1 } });
    case QMetaType::QCborSimpleType: return QVariant::fromValue(QCborSimpleType(42));
    case QMetaType::QCborValue: return QVariant::fromValue(QCborValue(QStringLiteral("c")));
    case QMetaType::QCborArray: return QVariant::fromValue(QCborArray{ 1, QStringLiteral("x") });
    case QMetaType::QCborMap: return QVariant::fromValue(QCborMap{ { 1, QStringLiteral("one") } });
    case QMetaType::QEasingCurve: {
        QEasingCurve curve(QEasingCurve::OutElastic);
        curve.setAmplitude(1.5);
        curve.setPeriod(0.4);
        return curve;
    }
    case QMetaType::QFont: {
        QFont font(QStringLiteral("Sans"), 11, QFont::Bold);
        font.setFamilies({ QStringLiteral("Sans"), QStringLiteral("Serif") });
        return font;
    }
    case QMetaType::QPixmap: return QPixmap::fromImage(samplePicture());
    case QMetaType::QBitmap: return QVariant::fromValue(sampleBitmap());
    case QMetaType::QImage: return samplePicture();
    case QMetaType::QBrush: return QBrush(Qt::red, Qt::Dense3Pattern);
    case QMetaType::QColor: return QColor(1, 2, 3, 4);
    case QMetaType::QPalette: {
        QPalette palette;
        palette.setColor(QPalette::Window, Qt::darkCyan);
        palette.setBrush(QPalette::Disabled, QPalette::Text, QBrush(Qt::red, Qt::Dense5Pattern));
        return palette;
    }
    case QMetaType::QIcon: return QIcon(QPixmap::fromImage(samplePicture()));
    case QMetaType::QPolygon: return QPolygon(QVector<QPoint>{ QPoint(1, 2), QPoint(3, 4) });
    case QMetaType::QPolygonF: return QPolygonF(QVector<QPointF>{ QPointF(1.5, 2), QPointF(3, 4.5) });
    case QMetaType::QRegion: return QRegion(QRect(0, 0, 2, 2)) + QRect(5, 5, 3, 3);
    case QMetaType::QCursor: return QCursor(sampleBitmap(), sampleBitmap(), 1, 1);
    case QMetaType::QKeySequence: return QKeySequence(QStringLiteral("Ctrl+A, Ctrl+B"));
    case QMetaType::QPen: {
        QPen pen(Qt::green, 2.5);
        pen.setDashPattern({ 1, 2, 3, 4 });
        return pen;
    }
    case QMetaType::QTextLength: return QTextLength(QTextLength::PercentageLength, 40);
    case QMetaType::QTextFormat: {
        QTextCharFormat format;
        format.setFontWeight(QFont::Bold);
        format.setForeground(QBrush(Qt::darkBlue));
        format.setFontFamily(QStringLiteral("Sans"));
        format.setToolTip(QStringLiteral("tip"));
        return QTextFormat(format);
    }
    case QMetaType::QMatrix: return QMatrix(1, 2, 3, 4, 5, 6);
    case QMetaType::QTransform: return QTransform(1, 2, 3, 4, 5, 6);
    case QMetaType::QMatrix4x4: return QMatrix4x4(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    case QMetaType::QVector2D: return QVector2D(1, 2);
    case QMetaType::QVector3D: return QVector3D(1, 2, 3);
    case QMetaType::QVector4D: return QVector4D(1, 2, 3, 4);
    case QMetaType::QQuaternion: return QQuaternion(1, 2, 3, 4);
    case QMetaType::QSizePolicy:
        return QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed, QSizePolicy::PushButton);
    case QMetaType::QColorSpace: return QColorSpace(QColorSpace::SRgb);
    default: return QVariant(typeId, nullptr);
    }
}

/* The types Qt streams: built-in ones up to User and the registered ones
 * after it, each kept when Qt's save works on its sample value. */
std::vector<int> streamableTypes()
{
    std::vector<int> types;
    for (int typeId = 1; typeId < QMetaType::User || QMetaType::isRegistered(typeId); ++typeId) {
        if (!QMetaType::isRegistered(typeId))
            continue;
        const QVariant value = sampleValue(typeId);
        if (!value.isValid() || value.userType() != typeId)
            continue;
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        if (QMetaType::save(stream, typeId, value.constData()))
            types.push_back(typeId);
    }
    return types;
}

const int Versions[] = { QDataStream::Qt_1_0, QDataStream::Qt_3_3, QDataStream::Qt_4_0,
                         QDataStream::Qt_4_8, QDataStream::Qt_5_0, QDataStream::Qt_5_15 };
const QDataStream::ByteOrder ByteOrders[] = { QDataStream::BigEndian, QDataStream::LittleEndian };

/* How the reader gets the bytes. */
enum class Device { Buffer, File, LocalSocket };
const Device Devices[] = { Device::Buffer, Device::File, Device::LocalSocket };

const char* nameOf(Device device)
{
    switch (device) {
    case Device::Buffer: return "buffer";
    case Device::File: return "file";
    case Device::LocalSocket: return "local socket";
    }
    return "";
}

/* A connected pair of local sockets; the bytes written on one end are read
 * on the other, which is sequential and cannot seek. */
class SocketPair
{
public:
    SocketPair()
    {
        m_server.setSocketOptions(QLocalServer::UserAccessOption);
        const QString name = QStringLiteral("mv-everytype-%1-%2")
                                 .arg(QCoreApplication::applicationPid())
                                 .arg(QUuid::createUuid().toString(QUuid::Id128));
        if (!m_server.listen(name))
            return;
        m_reader.connectToServer(name);
        if (m_reader.waitForConnected(5000) && m_server.waitForNewConnection(5000))
            m_writer = m_server.nextPendingConnection();
    }

    /* Sends the bytes and waits (bounded) until all of them have arrived. */
    QIODevice* carry(const QByteArray& bytes)
    {
        if (!m_writer)
            return nullptr;
        m_writer->write(bytes);
        QDeadlineTimer deadline(10000);
        while (m_reader.bytesAvailable() < bytes.size() && !deadline.hasExpired()) {
            m_writer->waitForBytesWritten(10);
            m_reader.waitForReadyRead(10);
        }
        return m_reader.bytesAvailable() == bytes.size() ? &m_reader : nullptr;
    }

private:
    QLocalServer m_server;
    QLocalSocket m_reader;
    QLocalSocket* m_writer = nullptr;
};

/* Runs read(stream) on the bytes carried by the device. */
QDataStream::Status readThrough(Device device, const QByteArray& bytes, const StreamSetup& setup,
                                const std::function<void(QDataStream&)>& read)
{
    std::unique_ptr<QIODevice> owned;
    std::unique_ptr<SocketPair> sockets;
    QIODevice* io = nullptr;
    switch (device) {
    case Device::Buffer: {
        auto* buffer = new QBuffer;
        buffer->setData(bytes);
        buffer->open(QIODevice::ReadOnly);
        owned.reset(buffer);
        io = buffer;
        break;
    }
    case Device::File: {
        auto* file = new QTemporaryFile;
        owned.reset(file);
        if (!file->open() || file->write(bytes) != bytes.size() || !file->seek(0))
            return QDataStream::ReadCorruptData;
        io = file;
        break;
    }
    case Device::LocalSocket:
        sockets.reset(new SocketPair);
        io = sockets->carry(bytes);
        break;
    }
    EXPECT_NE(io, nullptr) << nameOf(device);
    if (!io)
        return QDataStream::ReadCorruptData;
    QDataStream stream(io);
    configure(stream, setup);
    read(stream);
    EXPECT_TRUE(stream.atEnd()) << nameOf(device);
    return stream.status();
}

QByteArray serialised(const QVariant& value, const StreamSetup& setup)
{
    return bytesOf(setup, [&](QDataStream& s) { s << value; });
}

/* What Qt's own reader makes of a value written at the setup. */
QVariant readByQt(const QVariant& value, const StreamSetup& setup)
{
    QVariant read;
    readBytes(serialised(value, setup), setup, [&](QDataStream& s) { s >> read; });
    return read;
}

/* Whether == tells values of the type apart: Qt's own round trip of the
 * sample in today's layout compares equal to it. */
bool comparable(const QVariant& value)
{
    return readByQt(value, { QDataStream::Qt_5_15, QDataStream::BigEndian }) == value;
}

bool isPicture(const QVariant& value)
{
    return value.userType() == QMetaType::QImage || value.userType() == QMetaType::QPixmap
        || value.userType() == QMetaType::QBitmap;
}

QImage pictureOf(const QVariant& value)
{
    return value.value<QImage>().convertToFormat(QImage::Format_ARGB32);
}

std::string describe(int typeId, const StreamSetup& setup, Device device)
{
    return std::string(QMetaType::typeName(typeId)) + " version " + std::to_string(setup.version)
        + (setup.byteOrder == QDataStream::BigEndian ? " big-endian " : " little-endian ") + nameOf(device);
}

/* Expects `read` to be what Qt reads of `value` at the setup and, where Qt
 * keeps the value whole there, the value itself. */
void expectReadBack(const QVariant& read, const QVariant& value, const StreamSetup& setup, const std::string& what)
{
    const QVariant byQt = readByQt(value, setup);
    if (isPicture(value)) {
        // Qt 1 streams carry pictures as BMP, whose row padding Qt leaves
        // unset: the pixels are compared.
        EXPECT_EQ(read.userType(), byQt.userType()) << what;
        EXPECT_EQ(pictureOf(read), pictureOf(byQt)) << what;
    } else if (comparable(value)) {
        EXPECT_EQ(read, byQt) << what;
        if (byQt == value) {
            EXPECT_EQ(read, value) << what;
        }
    } else {
        EXPECT_EQ(serialised(read, setup).toHex().toStdString(), serialised(byQt, setup).toHex().toStdString())
            << what;
    }
}

class EveryType : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { s_types = streamableTypes(); }
    static std::vector<int> s_types;
};

std::vector<int> EveryType::s_types;

/* The item a document holds: one child with every value, followed by a
 * sibling and by actions that carry the values too. */
MorvaneStreamItem documentWith(const std::vector<int>& types)
{
    MorvaneStreamItem root;
    root.className(QStringLiteral("Panel"));
    MorvaneStreamItemPtr values(new MorvaneStreamItem);
    values->className(QStringLiteral("Values"));
    ScadaTagActionStreamPtr tag(new ScadaTagActionStream);
    tag->text = QStringLiteral("tag");
    ScadaEventActionStreamPtr event(new ScadaEventActionStream);
    for (const int typeId : types) {
        const QString key = QString::fromLatin1(QMetaType::typeName(typeId));
        values->setProperty(key, sampleValue(typeId));
        tag->setProperty(key, sampleValue(typeId));
        event->setProperty(key, sampleValue(typeId));
    }
    ScadaTagActionStreamPtr after(new ScadaTagActionStream);
    after->text = QStringLiteral("after");
    values->tagActions = { tag, after };
    values->eventActions = { event };
    MorvaneStreamItemPtr sibling(new MorvaneStreamItem);
    sibling->className(QStringLiteral("Sibling"));
    sibling->setProperty(QStringLiteral("n"), 42);
    root.childItems = { values, sibling };
    root.setProperty(QStringLiteral("last"), QStringLiteral("end"));
    return root;
}

} // namespace

TEST_F(EveryType, TheEnumerationCoversEveryKindOfValue)
{
    // The types the readers handle with their own code are all among them.
    for (const int typeId : { int(QMetaType::QPalette), int(QMetaType::QTextFormat), int(QMetaType::QEasingCurve),
                              int(QMetaType::QIcon), int(QMetaType::QFont), int(QMetaType::QPen),
                              int(QMetaType::QBrush), int(QMetaType::QImage), int(QMetaType::QPixmap),
                              int(QMetaType::QBitmap), int(QMetaType::QRegion), int(QMetaType::QCursor),
                              int(QMetaType::QVariantList), int(QMetaType::QVariantMap),
                              int(QMetaType::QColorSpace), int(QMetaType::QCborMap) })
        EXPECT_NE(std::find(s_types.begin(), s_types.end(), typeId), s_types.end()) << QMetaType::typeName(typeId);
    EXPECT_GE(s_types.size(), 70u);
}

TEST_F(EveryType, APropertyOfEveryTypeReadsBackThroughEveryDevice)
{
    for (const int version : Versions) {
        for (const auto order : ByteOrders) {
            const StreamSetup setup{ version, order };
            for (const int typeId : s_types) {
                const QVariant value = sampleValue(typeId);
                ScadaNamedStream named;
                named.setProperty(QStringLiteral("v"), value);
                const QByteArray bytes = bytesOf(setup, [&](QDataStream& s) { named.toStream(s); });
                for (const Device device : Devices) {
                    const std::string what = describe(typeId, setup, device);
                    ScadaNamedStream back;
                    EXPECT_EQ(readThrough(device, bytes, setup, [&](QDataStream& s) { back.fromStream(s); }),
                              QDataStream::Ok)
                        << what;
                    ASSERT_EQ(back.properties.size(), 1) << what;
                    expectReadBack(back.getProperty(QStringLiteral("v")), value, setup, what);
                }
            }
        }
    }
}

TEST_F(EveryType, TodaysLayoutKeepsEveryValueWhole)
{
    const StreamSetup setup{ QDataStream::Qt_5_15, QDataStream::LittleEndian };
    for (const int typeId : s_types) {
        const QVariant value = sampleValue(typeId);
        ScadaNamedStream named;
        named.setProperty(QStringLiteral("v"), value);
        const QByteArray bytes = bytesOf(setup, [&](QDataStream& s) { named.toStream(s); });
        ScadaNamedStream back;
        ASSERT_EQ(readBytes(bytes, setup, [&](QDataStream& s) { back.fromStream(s); }), QDataStream::Ok)
            << QMetaType::typeName(typeId);
        const QVariant read = back.getProperty(QStringLiteral("v"));
        EXPECT_EQ(read.userType(), typeId) << QMetaType::typeName(typeId);
        EXPECT_EQ(serialised(read, setup).toHex().toStdString(), serialised(value, setup).toHex().toStdString())
            << QMetaType::typeName(typeId);
    }
}

TEST_F(EveryType, ADocumentHoldingEveryTypeReadsBackWhole)
{
    const MorvaneStreamItem document = documentWith(s_types);
    for (const int version : Versions) {
        for (const auto order : ByteOrders) {
            const StreamSetup setup{ version, order };
            const QByteArray bytes = bytesOf(setup, [&](QDataStream& s) { s << document; });
            for (const Device device : Devices) {
                const std::string what = "document version " + std::to_string(version) + " " + nameOf(device);
                MorvaneStreamItem back;
                EXPECT_EQ(readThrough(device, bytes, setup, [&](QDataStream& s) { s >> back; }), QDataStream::Ok)
                    << what;
                EXPECT_EQ(back.property(QStringLiteral("last")), QVariant(QStringLiteral("end"))) << what;
                ASSERT_EQ(back.childItems.size(), 2) << what;
                const MorvaneStreamItem& values = *back.childItems[0];
                EXPECT_EQ(back.childItems[1]->className(), QStringLiteral("Sibling")) << what;
                EXPECT_EQ(back.childItems[1]->property(QStringLiteral("n")), QVariant(42)) << what;
                ASSERT_EQ(values.tagActions.size(), 2) << what;
                ASSERT_EQ(values.eventActions.size(), 1) << what;
                EXPECT_EQ(values.tagActions[1]->text, QStringLiteral("after")) << what;
                EXPECT_EQ(values.properties.size(), int(s_types.size())) << what;
                for (const int typeId : s_types) {
                    const QString key = QString::fromLatin1(QMetaType::typeName(typeId));
                    const std::string valueWhat = what + " " + QMetaType::typeName(typeId);
                    expectReadBack(values.property(key), sampleValue(typeId), setup, valueWhat);
                    expectReadBack(values.tagActions[0]->getProperty(key), sampleValue(typeId), setup, valueWhat);
                    expectReadBack(values.eventActions[0]->getProperty(key), sampleValue(typeId), setup,
                                   valueWhat);
                }
            }
        }
    }
}

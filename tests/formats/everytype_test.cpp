/*
 * everytype_test.cpp: a property of every type Qt can stream, written by the
 * records' writers, reads back through the records' readers: from a
 * QBuffer, from a file and from sequential devices (a local socket, and a
 * pipe read as a file, as stdin is), in the stream versions of Qt 1.0 to
 * Qt 5.15 and in both byte orders.
 *
 * The types are not picked by hand: every type id Qt knows, built-in and
 * registered, whose QMetaType::save works on a sample value, takes part.
 * A value reads back as Qt's own reader makes it of the same bytes (Qt's
 * older layouts drop what they cannot carry, such as types Qt 3 lacked);
 * where Qt keeps the value whole, it reads back equal to the value written.
 * Types without a meaningful == (icons, cursors...) are compared by the
 * bytes they write again, pictures by their pixels.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include "everytype.h"
#include "streambytes.h"

#include <QtCore/QBuffer>
#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryFile>
#include <QtCore/QUuid>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <thread>

#include <unistd.h>

using namespace everytype;

namespace {

const int Versions[] = { QDataStream::Qt_1_0, QDataStream::Qt_3_3, QDataStream::Qt_4_0,
                         QDataStream::Qt_4_8, QDataStream::Qt_5_0, QDataStream::Qt_5_15 };
const QDataStream::ByteOrder ByteOrders[] = { QDataStream::BigEndian, QDataStream::LittleEndian };

/* How the reader gets the bytes: a local socket delivers them into its
 * buffer and never blocks; a pipe read as a file (as stdin is) blocks until
 * the bytes asked for arrive or the writer closes it. */
enum class Device { Buffer, File, LocalSocket, Pipe };
const Device Devices[] = { Device::Buffer, Device::File, Device::LocalSocket, Device::Pipe };

const char* nameOf(Device device)
{
    switch (device) {
    case Device::Buffer: return "buffer";
    case Device::File: return "file";
    case Device::LocalSocket: return "local socket";
    case Device::Pipe: return "pipe";
    }
    return "";
}

/* The read end of a pipe, as a sequential QFile, fed by a thread that
 * writes the bytes in small pieces and then closes its end. */
class PipeFeed
{
public:
    explicit PipeFeed(const QByteArray& bytes)
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        m_file.open(fds[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
        m_writer = std::thread([bytes, fd = fds[1]] {
            for (int at = 0; at < bytes.size();) {
                const ssize_t n = ::write(fd, bytes.constData() + at, size_t(std::min(bytes.size() - at, 1000)));
                if (n <= 0)
                    break;
                at += int(n);
            }
            ::close(fd);
        });
    }
    /* Drains what the reader left, so that the writer finishes and closes
     * its end before this one closes (no write to a pipe without reader). */
    ~PipeFeed()
    {
        if (m_file.isOpen()) {
            while (!m_file.read(4096).isEmpty()) {
            }
            m_file.close();
        }
        if (m_writer.joinable())
            m_writer.join();
    }
    QIODevice* device() { return m_file.isOpen() ? &m_file : nullptr; }

private:
    QFile m_file;
    std::thread m_writer;
};

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
    QIODevice* carry(const QByteArray& bytes) { return deliver(bytes, bytes.size()); }

    /* Sends more bytes and waits (bounded) until the reading end holds
     * `held` bytes. */
    QIODevice* deliver(const QByteArray& bytes, qint64 held)
    {
        if (!m_writer)
            return nullptr;
        m_writer->write(bytes);
        QDeadlineTimer deadline(10000);
        while (m_reader.bytesAvailable() < held && !deadline.hasExpired()) {
            m_writer->waitForBytesWritten(10);
            m_reader.waitForReadyRead(10);
        }
        return m_reader.bytesAvailable() == held ? &m_reader : nullptr;
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
    std::unique_ptr<PipeFeed> pipe;
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
    case Device::Pipe:
        pipe.reset(new PipeFeed(bytes));
        io = pipe->device();
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
        EXPECT_TRUE(sameValue(read, byQt)) << what;
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
        // A hash writes its entries in an order of its own: compared by ==.
        if (comparable(value))
            EXPECT_EQ(read, value) << QMetaType::typeName(typeId);
        else
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

TEST_F(EveryType, ADocumentArrivingInPiecesIsReadInATransactionOnceWhole)
{
    // A value cut short by bytes that have not come yet leaves the stream
    // in ReadPastEnd, so a transaction rolls back and waits for the rest.
    const StreamSetup setup{ QDataStream::Qt_5_15, QDataStream::BigEndian };
    const QByteArray bytes = bytesOf(setup, [&](QDataStream& s) { s << documentWith(s_types); });
    SocketPair sockets;
    const int pieces = 4;
    QIODevice* device = nullptr;
    int sent = 0;
    for (int piece = 1; piece <= pieces; ++piece) {
        const int upTo = bytes.size() * piece / pieces;
        device = sockets.deliver(bytes.mid(sent, upTo - sent), upTo);
        ASSERT_NE(device, nullptr);
        sent = upTo;
        QDataStream stream(device);
        configure(stream, setup);
        stream.startTransaction();
        MorvaneStreamItem item;
        stream >> item;
        if (piece < pieces) {
            EXPECT_FALSE(stream.commitTransaction()) << "piece " << piece;
            EXPECT_EQ(device->bytesAvailable(), upTo) << "piece " << piece;
            continue;
        }
        EXPECT_TRUE(stream.commitTransaction());
        EXPECT_TRUE(stream.atEnd());
        ASSERT_EQ(item.childItems.size(), 2);
        EXPECT_EQ(item.childItems[0]->properties.size(), int(s_types.size()));
        EXPECT_EQ(item.childItems[1]->className(), QStringLiteral("Sibling"));
    }
}

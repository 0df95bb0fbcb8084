/*
 * streamitem_fuzz.cpp: the libFuzzer entry point for the stream records.
 *
 * Input layout: two bytes of document version (big-endian, so the paths of
 * old documents such as 261, 847 and 863 are reached), one byte choosing
 * the QDataStream version (Qt 1.0 to Qt 5.15), byte order and
 * floating-point precision, then the stream. The same bytes are read as an item, a tag action, an event
 * action and a named stream. Drawing values need a QGuiApplication, as in
 * the display applications that read these streams; it runs offscreen.
 */
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include <QtGui/QBitmap>
#include <QtGui/QCursor>
#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtGui/QIcon>
#include <QtGui/QImage>
#include <QtGui/QKeySequence>
#include <QtGui/QPalette>
#include <QtGui/QPen>
#include <QtGui/QPixmap>
#include <QtGui/QRegion>
#include <QtGui/QTextFormat>

#include <cstdint>
#include <cstdlib>

namespace {

const int StreamVersions[] = { QDataStream::Qt_4_0, QDataStream::Qt_4_2, QDataStream::Qt_4_3,
                               QDataStream::Qt_4_4, QDataStream::Qt_4_5, QDataStream::Qt_4_6,
                               QDataStream::Qt_5_0, QDataStream::Qt_5_2, QDataStream::Qt_5_4,
                               QDataStream::Qt_5_6, QDataStream::Qt_5_12, QDataStream::Qt_5_13,
                               QDataStream::Qt_5_15, QDataStream::Qt_3_3, QDataStream::Qt_1_0,
                               QDataStream::Qt_2_1 };
constexpr size_t HeaderBytes = 3;

struct FuzzInput {
    int documentVersion;
    int streamVersion;
    QDataStream::ByteOrder byteOrder;
    QDataStream::FloatingPointPrecision precision;
    QByteArray stream;
};

FuzzInput decode(const uint8_t* data, size_t size)
{
    const uint8_t setup = data[2];
    return { data[0] << 8 | data[1], StreamVersions[setup & 0x0f],
             setup & 0x10 ? QDataStream::LittleEndian : QDataStream::BigEndian,
             setup & 0x20 ? QDataStream::SinglePrecision : QDataStream::DoublePrecision,
             QByteArray::fromRawData(reinterpret_cast<const char*>(data + HeaderBytes), int(size - HeaderBytes)) };
}

template <typename Read>
void readWith(const FuzzInput& input, Read&& read)
{
    QDataStream stream(input.stream);
    stream.setVersion(input.streamVersion);
    stream.setByteOrder(input.byteOrder);
    stream.setFloatingPointPrecision(input.precision);
    read(stream);
}

void quietMessages(QtMsgType, const QMessageLogContext&, const QString&) {}

/* Qt sets up screens, fonts and image plugins the first time they are
 * used and keeps them for the life of the process; doing that once here
 * keeps the leak checker from blaming the first input that needs them. */
void warmUpDrawingValues()
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(Qt::red);
    const QPixmap pixmap = QPixmap::fromImage(image);
    const QBitmap bitmap = QBitmap::fromImage(image.convertToFormat(QImage::Format_Mono));
    ScadaNamedStream named;
    named.setProperty(QStringLiteral("font"), QFont(QStringLiteral("Sans")));
    named.setProperty(QStringLiteral("pen"), QPen(QBrush(pixmap), 2));
    named.setProperty(QStringLiteral("image"), image);
    named.setProperty(QStringLiteral("bitmap"), QVariant::fromValue(bitmap));
    named.setProperty(QStringLiteral("cursor"), QCursor(pixmap));
    named.setProperty(QStringLiteral("region"), QRegion(0, 0, 2, 2));
    named.setProperty(QStringLiteral("palette"), QPalette(Qt::red));
    named.setProperty(QStringLiteral("icon"), QIcon(pixmap));
    named.setProperty(QStringLiteral("format"), QTextFormat(QTextCharFormat()));
    named.setProperty(QStringLiteral("keys"), QKeySequence(QStringLiteral("Ctrl+A")));
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    named.toStream(out);
    QDataStream in(bytes);
    ScadaNamedStream back;
    back.fromStream(in);
}

} // namespace

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
/* Fontconfig keeps a few blocks to the end of the process on purpose. */
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}
#endif
#endif

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(quietMessages);
    // Kept for the life of the process and never torn down: the offscreen
    // platform does not free its screens on exit.
    static QGuiApplication* app = new QGuiApplication(*argc, *argv);
    Q_UNUSED(app);
    warmUpDrawingValues();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < HeaderBytes)
        return 0;
    const FuzzInput input = decode(data, size);
    readWith(input, [&](QDataStream& s) {
        MorvaneStreamItem item;
        item.setVersion(input.documentVersion);
        s >> item;
    });
    readWith(input, [&](QDataStream& s) {
        ScadaTagActionStream tag;
        tag.setVersion(input.documentVersion);
        s >> tag;
    });
    readWith(input, [&](QDataStream& s) {
        ScadaEventActionStream event;
        event.setVersion(input.documentVersion);
        s >> event;
    });
    readWith(input, [](QDataStream& s) {
        ScadaNamedStream named;
        named.fromStream(s);
    });
    return 0;
}

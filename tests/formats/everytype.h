/*
 * everytype.h: a sample value of every type Qt streams, and the list of
 * those types, and a document holding them all, for the tests of the
 * stream records and the seeds of their fuzzer. A sample differs from its type's default where the type allows.
 */
#ifndef MVSHARED_TESTS_FORMATS_EVERYTYPE_H
#define MVSHARED_TESTS_FORMATS_EVERYTYPE_H

#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/ScadaActionStream.h>

#include <QtCore/QBitArray>
#include <QtCore/QCborArray>
#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QDateTime>
#include <QtCore/QEasingCurve>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLine>
#include <QtCore/QRegExp>
#include <QtCore/QRegularExpression>
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
#include <QtWidgets/QSizePolicy>

#include <vector>

namespace everytype {

inline QImage samplePicture()
{
    QImage image(6, 4, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    image.setPixel(1, 1, qRgb(200, 30, 60));
    return image;
}

inline QBitmap sampleBitmap()
{
    QImage mono(8, 4, QImage::Format_Mono);
    mono.fill(0);
    mono.setPixel(1, 1, 1);
    return QBitmap::fromImage(mono);
}

/* A value of the type that differs from its default where the type allows;
 * an invalid QVariant where only a default can be made. */
inline QVariant sampleValue(int typeId)
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

inline bool isPicture(const QVariant& value)
{
    return value.userType() == QMetaType::QImage || value.userType() == QMetaType::QPixmap
        || value.userType() == QMetaType::QBitmap;
}

/* Whether two values read from documents are the same: pictures by their
 * pixels, hashes (which write their entries in an order of their own) by
 * ==, everything else by the bytes it writes in today's layout. */
inline bool sameValue(const QVariant& a, const QVariant& b)
{
    if (a.userType() != b.userType())
        return false;
    if (isPicture(a))
        return a.value<QImage>().convertToFormat(QImage::Format_ARGB32)
            == b.value<QImage>().convertToFormat(QImage::Format_ARGB32);
    if (a.userType() == QMetaType::QVariantHash)
        return a == b;
    QByteArray aBytes;
    QByteArray bBytes;
    QDataStream aStream(&aBytes, QIODevice::WriteOnly);
    QDataStream bStream(&bBytes, QIODevice::WriteOnly);
    aStream << a;
    bStream << b;
    return aBytes == bBytes;
}

/* The types Qt streams: built-in ones up to User and the registered ones
 * after it, each kept when Qt's save works on its sample value. */
inline std::vector<int> streamableTypes()
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

/* The item a document holds: one child with every value, followed by a
 * sibling and by actions that carry the values too. */
inline MorvaneStreamItem documentWith(const std::vector<int>& types)
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

} // namespace everytype

#endif

/*
 * pointappearance.cpp: the colours, badges and texts of quality and tags.
 */
#include "pointappearance.h"

#include <MVShared/MorvaneTypes.h>

#include <QtCore/QVector>
#include <QtGui/QPainter>
#include <QtGui/QPixmap>

namespace {

constexpr int kBadge = 14;

struct Badge {
    quint32 bit;
    QChar letter;
    QRgb colour;
};

const Badge kTagBadges[] = {
    {Morvane::ControlInhibitTag, QLatin1Char('I'), qRgb(0xc6, 0x28, 0x28)},
    {Morvane::OutOfServiceTag, QLatin1Char('S'), qRgb(0x61, 0x61, 0x61)},
    {Morvane::MaintenanceTag, QLatin1Char('M'), qRgb(0xef, 0x6c, 0x00)},
};

/* Row colours: light enough for black text. */
const QRgb kBadQualityRow = qRgb(0xf4, 0xc4, 0xf4);
const QRgb kReplacedRow = qRgb(0xc8, 0xe2, 0xff);
const QRgb kOutOfServiceRow = qRgb(0xdc, 0xdc, 0xdc);
/* Quality badges. */
const QRgb kBadQualityBadge = qRgb(0xaa, 0x00, 0xaa);
const QRgb kReplacedBadge = qRgb(0x15, 0x65, 0xc0);

void paintBadge(QPainter& painter, int x, QChar letter, QRgb colour)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(colour));
    painter.drawEllipse(x, 0, kBadge - 1, kBadge - 1);
    painter.setPen(Qt::white);
    QFont font = painter.font();
    font.setPixelSize(kBadge - 4);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(x, 0, kBadge, kBadge), Qt::AlignCenter, QString(letter));
}

QIcon badges(const QVector<QPair<QChar, QRgb>>& list)
{
    if (list.isEmpty())
        return QIcon();
    QPixmap pixmap(kBadge * list.size() + 2 * (list.size() - 1), kBadge);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < list.size(); ++i)
        paintBadge(painter, i * (kBadge + 2), list[i].first, list[i].second);
    painter.end();
    return QIcon(pixmap);
}

} // namespace

namespace PointAppearance {

bool isBadQuality(int quality)
{
    return (quality & ~static_cast<int>(Morvane::ManuallyReplacedQuality)) != 0;
}

bool isReplaced(int quality)
{
    return (quality & Morvane::ManuallyReplacedQuality) != 0;
}

QColor rowColour(int quality, quint32 tags)
{
    if (isBadQuality(quality))
        return QColor(kBadQualityRow);
    if (isReplaced(quality))
        return QColor(kReplacedRow);
    if (tags & Morvane::OutOfServiceTag)
        return QColor(kOutOfServiceRow);
    return QColor();
}

QIcon qualityIcon(int quality)
{
    QVector<QPair<QChar, QRgb>> list;
    if (isBadQuality(quality))
        list.append({QLatin1Char('!'), kBadQualityBadge});
    if (isReplaced(quality))
        list.append({QLatin1Char('R'), kReplacedBadge});
    return badges(list);
}

QIcon tagIcon(quint32 tags)
{
    QVector<QPair<QChar, QRgb>> list;
    for (const Badge& b : kTagBadges)
        if (tags & b.bit)
            list.append({b.letter, b.colour});
    return badges(list);
}

QColor badQualityColour()
{
    return QColor(kBadQualityRow);
}

QColor replacedColour()
{
    return QColor(kReplacedRow);
}

QColor outOfServiceColour()
{
    return QColor(kOutOfServiceRow);
}

} // namespace PointAppearance

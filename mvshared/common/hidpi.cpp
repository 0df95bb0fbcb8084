/*
 * hidpi.cpp: layout values and pixmap files scaled by the logical DPI
 * (declared in HiDPI.h).
 */
#include <MVShared/HiDPI.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QDesktopWidget>
#include <QtWidgets/QWidget>

#include <cmath>

namespace {

/* The DPI the product's layouts were drawn for. */
const double kDesignDpi = 96.0;

/* The pixmap file of each factor drawn for; any other factor takes the
 * largest set. */
const struct {
    double factor;
    const char* suffix;
} kPixmapSuffixes[] = {
    {1.0, "_1x.png"},
    {1.25, "_1.25x.png"},
    {1.5, "_1.5x.png"},
    {1.75, "_1.75x.png"},
};
const char kLargestPixmapSuffix[] = "_2x.png";

/* Nearest integer, halves away from zero (2.5 gives 3, -2.5 gives -3) in
 * every Qt version; Qt 5's qRound would take -2.5 to -2. */
int roundedScaled(int value, double factor)
{
    return static_cast<int>(std::round(value * factor));
}

} // namespace

HiDPI::HiDPI() = default;
HiDPI::HiDPI(const HiDPI&) = default;
HiDPI::~HiDPI() = default;
HiDPI& HiDPI::operator=(const HiDPI&) = default;

double HiDPI::dpiScaleFactor(QWidget* widget)
{
    if (widget)
        return widget->logicalDpiX() / kDesignDpi;
    /* Only a QApplication has a desktop widget; a console or core process
     * keeps the layouts as drawn. */
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return 1.0;
    return QApplication::desktop()->logicalDpiX() / kDesignDpi;
}

QMargins HiDPI::dpiScaled(const QMargins& margins, QWidget* widget)
{
    const double factor = dpiScaleFactor(widget);
    return QMargins(roundedScaled(margins.left(), factor), roundedScaled(margins.top(), factor),
                    roundedScaled(margins.right(), factor), roundedScaled(margins.bottom(), factor));
}

QPointF HiDPI::dpiScaled(const QPointF& point, QWidget* widget)
{
    const double factor = dpiScaleFactor(widget);
    return QPointF(point.x() * factor, point.y() * factor);
}

QRect HiDPI::dpiScaled(const QRect& rect, QWidget* widget)
{
    const double factor = dpiScaleFactor(widget);
    QRect scaled;
    scaled.setLeft(roundedScaled(rect.left(), factor));
    scaled.setTop(roundedScaled(rect.top(), factor));
    scaled.setRight(roundedScaled(rect.right(), factor));
    scaled.setBottom(roundedScaled(rect.bottom(), factor));
    return scaled;
}

QSize HiDPI::dpiScaled(const QSize& size, QWidget* widget)
{
    const double factor = dpiScaleFactor(widget);
    return QSize(roundedScaled(size.width(), factor), roundedScaled(size.height(), factor));
}

int HiDPI::dpiScaled(int value, QWidget* widget)
{
    return static_cast<int>(std::floor(value * dpiScaleFactor(widget)));
}

int HiDPI::dpiScaledRound(int value, QWidget* widget)
{
    return roundedScaled(value, dpiScaleFactor(widget));
}

QString HiDPI::dpiScaledPixmapString(const QString& base, QWidget* widget)
{
    const double factor = dpiScaleFactor(widget);
    for (const auto& entry : kPixmapSuffixes) {
        if (factor == entry.factor)
            return base + QLatin1String(entry.suffix);
    }
    return base + QLatin1String(kLargestPixmapSuffix);
}

QPixmap HiDPI::dpiScaledPixmap(const QString& base, QWidget* widget)
{
    return QPixmap(dpiScaledPixmapString(base, widget));
}

QPixmap HiDPI::dpiScaledPixmapStringFromSize(const QString& base, int size, QWidget* widget)
{
    const int pixels = static_cast<int>(size * dpiScaleFactor(widget));
    return QPixmap(base + QStringLiteral("_%1.png").arg(pixels));
}

QPixmap HiDPI::dpiScaledPixmapFromSize(const QString& base, int size, QWidget* widget)
{
    return dpiScaledPixmapStringFromSize(base, size, widget);
}

QPixmap HiDPI::dpiScaledPixmapOrigin(const QString& base, QWidget* widget)
{
    Q_UNUSED(widget)
    return QPixmap(base + QLatin1String(".png"));
}

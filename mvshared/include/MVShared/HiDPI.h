/*
 * HiDPI.h: layout values and pixmap files scaled by the screen's logical
 * DPI, so that the product's hand-sized windows and icons keep their look on
 * high-density screens. The factor is the logical horizontal DPI divided by
 * 96: of the widget given, else of the desktop, and 1.0 in a process
 * without a QApplication.
 *
 * Pixmap files follow the naming "<base>_1x.png", "<base>_1.25x.png", ...
 * and "<base>_<pixels>.png". All operations run on the user-interface thread.
 */
#ifndef MVSHARED_HIDPI_H
#define MVSHARED_HIDPI_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QMargins>
#include <QtCore/QPointF>
#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtGui/QPixmap>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

class MVSHARED_EXPORT HiDPI
{
public:
    /* The class has no state; these exist and do nothing. */
    HiDPI();
    HiDPI(const HiDPI& other);
    ~HiDPI();
    HiDPI& operator=(const HiDPI& other);

    /* Every widget argument may be null (the desktop's DPI is used). */
    static double dpiScaleFactor(QWidget* widget = nullptr);

    /* Each side scaled and rounded to nearest (halves away from zero). */
    static QMargins dpiScaled(const QMargins& margins, QWidget* widget = nullptr);
    /* Scaled, not rounded. */
    static QPointF dpiScaled(const QPointF& point, QWidget* widget = nullptr);
    /* Left, top, right and bottom each scaled and rounded. */
    static QRect dpiScaled(const QRect& rect, QWidget* widget = nullptr);
    /* Width and height scaled and rounded. */
    static QSize dpiScaled(const QSize& size, QWidget* widget = nullptr);
    /* Scaled and rounded down (floor), unlike dpiScaledRound: 7 at 1.25
     * gives 8, -7 gives -9. Existing layouts were sized with each of the
     * two as it is. */
    static int dpiScaled(int value, QWidget* widget = nullptr);
    /* Scaled and rounded to nearest: 7 at 1.25 gives 9. */
    static int dpiScaledRound(int value, QWidget* widget = nullptr);

    /* base + "_1x.png", "_1.25x.png", "_1.5x.png" or "_1.75x.png" for exactly
     * those factors, "_2x.png" for any other (1.1, 3.0 and below 1.0 too). */
    static QString dpiScaledPixmapString(const QString& base, QWidget* widget = nullptr);
    /* The pixmap of dpiScaledPixmapString; null when the file is missing. */
    static QPixmap dpiScaledPixmap(const QString& base, QWidget* widget = nullptr);
    /* The pixmap base + "_<n>.png", n the integer part of size times the
     * factor. Returns the pixmap, not its name, whatever the name says. */
    static QPixmap dpiScaledPixmapStringFromSize(const QString& base, int size, QWidget* widget = nullptr);
    /* The same pixmap. */
    static QPixmap dpiScaledPixmapFromSize(const QString& base, int size, QWidget* widget = nullptr);
    /* The pixmap base + ".png", whatever the factor. */
    static QPixmap dpiScaledPixmapOrigin(const QString& base, QWidget* widget = nullptr);
};

#endif

/*
 * pixmapfiles.cpp: square PNG files for the pixmap and icon tests.
 */
#include "pixmapfiles.h"

#include <QtGui/QColor>
#include <QtGui/QImage>

bool mvtest::PixmapFiles::write(const QString& name, int side) const
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(QColor(40, 120, 200));
    return image.save(path(name), "PNG");
}

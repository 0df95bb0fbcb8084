/*
 * pointappearance.h: how a point's quality and tags look in the console, so
 * that the state of a point is seen at a glance: one table of colours, icons
 * and texts, read by every view that shows points.
 *
 * Quality: 0 is good; bit 4 marks a value replaced by hand; any other bit is
 * bad quality (the field's value is not to be trusted). Tags: control
 * inhibit, out of service and maintenance each have a badge.
 */
#ifndef MVCONSOLE_POINTAPPEARANCE_H
#define MVCONSOLE_POINTAPPEARANCE_H

#include <QtCore/QString>
#include <QtGui/QColor>
#include <QtGui/QIcon>

namespace PointAppearance {

bool isBadQuality(int quality);
bool isReplaced(int quality);

/* The row's background: bad quality, else a replaced value, else out of
 * service; an invalid colour for a point that needs no attention. */
QColor rowColour(int quality, quint32 tags);
/* The badge of the quality (null for good quality) and of the tags (null
 * for none), drawn as small coloured discs with a letter. */
QIcon qualityIcon(int quality);
QIcon tagIcon(quint32 tags);

/* The colours, for tests and legends. */
QColor badQualityColour();
QColor replacedColour();
QColor outOfServiceColour();

} // namespace PointAppearance

#endif

/*
 * AppIcons.h: the application icon built from numbered image files, so that
 * every window of the product shows a sharp icon at each size the desktop
 * asks for. Files are named "<base>_<pixels>.png".
 */
#ifndef MVSHARED_APPICONS_H
#define MVSHARED_APPICONS_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>
#include <QtGui/QIcon>

namespace Morvane {

/* An icon of the files base_<s>.png that exist, for s = size, 1.25 size,
 * 1.5 size, 1.75 size and 2 size (integer parts); missing ones are skipped,
 * so with none the icon is null. */
MVSHARED_EXPORT QIcon getAppIconSet(const QString& base, int size);
/* Makes getAppIconSet(base, 16) the icon of every window of the
 * application. Needs a QApplication. */
MVSHARED_EXPORT void setWindowIcon(const QString& base);

} // namespace Morvane

#endif

/*
 * ScriptEventNames.h: the event names by which display scripts bind to
 * widget events. Every module that binds scripts uses these constants, so a
 * script written for one widget kind reads the same everywhere; each text is
 * the constant's own name.
 */
#ifndef MVSHARED_SCRIPTEVENTNAMES_H
#define MVSHARED_SCRIPTEVENTNAMES_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>

namespace Morvane {

MVSHARED_EXPORT extern const QString onClick;
MVSHARED_EXPORT extern const QString onCurrentIndexChanged;
MVSHARED_EXPORT extern const QString onDataLoaded;
MVSHARED_EXPORT extern const QString onDateChanged;
MVSHARED_EXPORT extern const QString onDoubleClick;
MVSHARED_EXPORT extern const QString onGraphClicked;
MVSHARED_EXPORT extern const QString onItemClicked;
MVSHARED_EXPORT extern const QString onItemDoubleClicked;
MVSHARED_EXPORT extern const QString onLoad;
MVSHARED_EXPORT extern const QString onLogon;
MVSHARED_EXPORT extern const QString onLogout;
MVSHARED_EXPORT extern const QString onMouseEnter;
MVSHARED_EXPORT extern const QString onMouseLeave;
MVSHARED_EXPORT extern const QString onPointValueChanged;
MVSHARED_EXPORT extern const QString onReturnPressed;
MVSHARED_EXPORT extern const QString onRowDataRequest;
MVSHARED_EXPORT extern const QString onTextChanged;
MVSHARED_EXPORT extern const QString onXIndexSelected;
MVSHARED_EXPORT extern const QString onZoomLevelChanged;

} // namespace Morvane

#endif

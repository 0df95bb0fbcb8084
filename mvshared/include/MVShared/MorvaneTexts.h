/*
 * MorvaneTexts.h: display texts of the codes the runtime server, the drivers
 * and the process manager report. Every text is an English source text that
 * passes through the application's translator under the context "Morvane";
 * translation files are keyed on these exact texts, so they are kept as they
 * stand, misspellings included.
 */
#ifndef MVSHARED_MORVANETEXTS_H
#define MVSHARED_MORVANETEXTS_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>

#include <QtCore/QString>

namespace Morvane {

MVSHARED_EXPORT QString driverErrorString(DriverErrorResult code);
MVSHARED_EXPORT QString operationResultString(int code);
MVSHARED_EXPORT QString rtuControlCodeString(int code);
MVSHARED_EXPORT QString controlResultString(int code);
MVSHARED_EXPORT QString activateDriverResultString(int code);
MVSHARED_EXPORT QString activeChennelString(int code);
MVSHARED_EXPORT QString analogAlarmString(int code);
MVSHARED_EXPORT QString originString(int code);
MVSHARED_EXPORT QString otherStatusString(int code);
MVSHARED_EXPORT QString processStateString(int code);
MVSHARED_EXPORT QString scanModeString(int code);
MVSHARED_EXPORT QString dayString(int day);
MVSHARED_EXPORT QString systemString();
MVSHARED_EXPORT QString logDataKindString(DataKindType kind);

} // namespace Morvane

#endif

/*
 * JsonEventMessage.h: JSON texts published to every application, whatever
 * its domain. Unlike the runtime interface's notifications these need no
 * ScadaRuntimeInterface: any part of a process that is connected to the
 * middleware may publish one.
 */
#ifndef MVSHARED_JSONEVENTMESSAGE_H
#define MVSHARED_JSONEVENTMESSAGE_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>

namespace Morvane {

/* Sends the text, UTF-8 encoded, as an untyped payload under event 20009
 * with no domain. The middleware's result: 0 on success, its error code
 * otherwise (for instance when it is not connected). */
MVSHARED_EXPORT int publishJsonEventMessage(const QString& json);

} // namespace Morvane

#endif

/*
 * RemoteSystemResult.h: what a remote command to a field driver came to.
 *
 * Every command of ScadaRuntimeInterface returns one by value: refused here,
 * lost in the middleware, sent without confirmation, or answered by the
 * driver with its own code and text.
 */
#ifndef MVSHARED_REMOTESYSTEMRESULT_H
#define MVSHARED_REMOTESYSTEMRESULT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/qglobal.h>

namespace Morvane {

struct RemoteSystemResult {
    /* 0 the driver answered (code: its "failwhy", 0 success); 1 the
     * middleware failed (code: its error number, 3001 when it is not there);
     * 2 refused because the point or its RTU is tagged control-inhibit
     * (code 2222); 3 sent without waiting for a confirmation (code 0). */
    qint32 kind = 0;
    qint32 code = 0;
    /* The display text of code; empty for kind 3. */
    QString message;
    /* Not filled by the commands. */
    QString detail;
    /* Generic device commands only: the driver's answer, uncompressed (at
     * most LargestDeviceCmdData bytes). */
    QByteArray data;
};

/* The most a generic device command's answer may inflate to: 16 MB. The
 * answer is something a field device keeps (a settings file, an event or
 * disturbance record, a memory dump), which such devices hold in a few MB
 * at most, fetched over the field link within the command's 60 s wait.
 * Appended data that claims more, or inflates to more than it claims, is
 * not taken: data stays empty, as for bytes that do not inflate. */
constexpr int LargestDeviceCmdData = 16 * 1024 * 1024;

} // namespace Morvane

#endif

/*
 * RemoteSystemResult.h: what a remote command to a field driver came to.
 *
 * Every command of ScadaRuntimeInterface returns one by value: refused here,
 * lost in the middleware, sent without confirmation, or answered by the
 * driver with its own code and text. The asynchronous forms hand the same
 * result over through a RemoteCommandReply, where a command may also end
 * cancelled.
 */
#ifndef MVSHARED_REMOTESYSTEMRESULT_H
#define MVSHARED_REMOTESYSTEMRESULT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/qglobal.h>

namespace Morvane {

/* What a RemoteSystemResult's kind says happened to the command. */
enum RemoteResultKind : qint32 {
    DriverAnswered = 0,     /* code: the driver's "failwhy", 0 success */
    MiddlewareFailed = 1,   /* code: the middleware's error number, 3001 when it is not there */
    ControlInhibited = 2,   /* the point or its RTU is tagged control-inhibit (code 2222) */
    SentUnconfirmed = 3,    /* sent without waiting for a confirmation (code 0) */
    CommandCancelled = 4    /* asynchronous commands only: the caller cancelled, or the
                               interface was destroyed, before the outcome was known
                               (code 0); see RemoteCommandReply */
};

struct RemoteSystemResult {
    /* A RemoteResultKind. */
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

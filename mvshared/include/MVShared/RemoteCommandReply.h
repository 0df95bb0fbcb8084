/*
 * RemoteCommandReply.h: a remote command on its way, as the asynchronous
 * forms of ScadaRuntimeInterface's commands hand it back.
 *
 * controlAoAsync(), integrityPollAsync() and the others return at once with
 * a reply; the command runs on one of the interface's command threads and the
 * reply tells the caller how it goes, through signals delivered by the event
 * loop of the thread that made the call (which therefore needs one, like a
 * GUI thread):
 *
 *     RemoteCommandReply* reply = runtime->controlAoAsync(id, 7, 4, 42.5, false);
 *     connect(reply, &RemoteCommandReply::finished, this, [reply] {
 *         show(reply->result());
 *         reply->deleteLater();
 *     });
 *
 * The result is the very RemoteSystemResult the blocking form returns for the
 * same command and plant (same waits, codes and texts), or, when the command
 * is cancelled first, kind CommandCancelled (4), code 0 and the text
 * "Command cancelled".
 *
 * Ownership: the caller owns the reply and deletes it, preferably with
 * deleteLater() from the finished() slot. Deleting it earlier cancels the
 * command, and no signal follows. A reply may outlive the interface that made
 * it: destroying the interface cancels its commands still in flight and their
 * replies finish with the cancelled result.
 *
 * Cancelling: cancel() ends the command at once with the cancelled result. A
 * command still Queued is then never sent. One already Sending or
 * AwaitingReply may have reached the driver, which may still carry it out;
 * its packet is released, so the driver's answer is dropped by the middleware
 * and the worker waiting for it is freed.
 *
 * Threads: make, cancel and delete a reply on the thread that made the call.
 * state(), isFinished() and result() tell the truth at the moment they are
 * asked (a worker may have just finished); the signals follow through the
 * event loop, finished() exactly once per command whose reply is not deleted
 * first.
 */
#ifndef MVSHARED_REMOTECOMMANDREPLY_H
#define MVSHARED_REMOTECOMMANDREPLY_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/RemoteSystemResult.h>

#include <QtCore/QObject>

#include <memory>

class RemoteCommandTicket;
class ScadaRuntimeInterfacePrivate;

class MVSHARED_EXPORT RemoteCommandReply : public QObject
{
    Q_OBJECT

public:
    enum State {
        Queued,         /* waiting for a free command thread; nothing sent yet */
        Sending,        /* checks (control-inhibit) and the send */
        AwaitingReply,  /* sent; the driver's answer is awaited for replyWait() seconds */
        Finished        /* result() holds the outcome */
    };
    Q_ENUM(State)

    ~RemoteCommandReply() override;

    State state() const;
    bool isFinished() const;
    /* The outcome; meaningful once isFinished(). */
    Morvane::RemoteSystemResult result() const;
    /* The command's wait for the driver's answer in the product's seconds
     * (15, 30 or 60, scaled by the middleware's wait scale); 0 until the
     * command is AwaitingReply. */
    int replyWait() const;

public slots:
    /* Ends the command with the cancelled result; nothing once finished. */
    void cancel();

signals:
    void stateChanged(RemoteCommandReply::State state);
    void finished();

private:
    friend class ScadaRuntimeInterfacePrivate;
    friend class RemoteCommandTicket;

    RemoteCommandReply();
    void deliverState(State state);

    std::shared_ptr<RemoteCommandTicket> d;
};

#endif

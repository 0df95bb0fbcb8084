/*
 * remotecommandticket_p.h (internal): what an asynchronous remote command's
 * worker and its caller share.
 *
 * The worker (a command thread of the interface) runs the same command code
 * as the blocking forms, handing it the ticket; the caller holds it through
 * its RemoteCommandReply. Either side may end first: the caller cancels or
 * deletes the reply, the interface is destroyed, or the worker finishes. The
 * ticket decides once, under its lock, how the command ended, and it alone
 * posts to the reply, under the same lock, so that a reply being deleted on
 * its own thread is never posted to after it is gone (posted calls still
 * pending die with it).
 *
 * No middleware call is made while the lock is held: the packet handle a
 * cancel releases is taken out under the lock and released after.
 */
#ifndef MVSHARED_RUNTIME_REMOTECOMMANDTICKET_P_H
#define MVSHARED_RUNTIME_REMOTECOMMANDTICKET_P_H

#include <MVShared/RemoteCommandReply.h>
#include <MVShared/RemoteSystemResult.h>

#include <DravoPlus/DravoPlus.h>

#include <mutex>

class RemoteCommandTicket
{
public:
    using State = RemoteCommandReply::State;

    explicit RemoteCommandTicket(RemoteCommandReply* reply);

    /* ---- The worker's side ---- */

    /* The command leaves the queue: false when it was cancelled there (it
     * is then not run at all), else the state becomes Sending. */
    bool start();
    /* The packet went out and its reply is awaited for seconds on handle.
     * A command cancelled while it was sending has its packet released here
     * at once, which ends the wait that follows. */
    void awaiting(DravoHandle handle, int seconds);
    /* The command's outcome; dropped when the command was cancelled. */
    void finish(const Morvane::RemoteSystemResult& result);

    /* ---- The caller's side (and the interface's, when destroyed) ---- */

    /* Ends the command with the cancelled result, and releases its packet
     * when one is out. Nothing when it has finished. */
    void cancel();
    /* The reply is being deleted: the command is cancelled and nothing more
     * is posted to it. */
    void detach();

    State state() const;
    Morvane::RemoteSystemResult result() const;
    int replyWait() const;

private:
    /* Under m_mutex: the command ends with result, and the reply hears of it. */
    void endLocked(const Morvane::RemoteSystemResult& result);
    void postStateLocked(State state);

    mutable std::mutex m_mutex;
    RemoteCommandReply* m_reply;
    State m_state = RemoteCommandReply::Queued;
    DravoHandle m_handle = 0;
    int m_replyWait = 0;
    Morvane::RemoteSystemResult m_result;
};

#endif

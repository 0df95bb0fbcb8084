/*
 * remotecommandreply.cpp: the reply an asynchronous remote command hands its
 * caller, and the ticket that the command's worker and the caller share.
 */
#include "remotecommandticket_p.h"

#include <QtCore/QMetaObject>
#include <QtCore/QMetaType>

/* ---- RemoteCommandTicket ------------------------------------------------- */

RemoteCommandTicket::RemoteCommandTicket(RemoteCommandReply* reply)
    : m_reply(reply)
{
}

bool RemoteCommandTicket::start()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state != RemoteCommandReply::Queued)
        return false;
    m_state = RemoteCommandReply::Sending;
    postStateLocked(m_state);
    return true;
}

void RemoteCommandTicket::awaiting(DravoHandle handle, int seconds)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state != RemoteCommandReply::Finished) {
            m_handle = handle;
            m_replyWait = seconds;
            m_state = RemoteCommandReply::AwaitingReply;
            postStateLocked(m_state);
            return;
        }
    }
    DravoPlus::DisConnect(handle);
}

void RemoteCommandTicket::finish(const Morvane::RemoteSystemResult& result)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state != RemoteCommandReply::Finished)
        endLocked(result);
}

void RemoteCommandTicket::cancel()
{
    DravoHandle handle = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state == RemoteCommandReply::Finished)
            return;
        Morvane::RemoteSystemResult cancelled;
        cancelled.kind = Morvane::CommandCancelled;
        cancelled.code = 0;
        cancelled.message = RemoteCommandReply::tr("Command cancelled");
        handle = m_handle;
        endLocked(cancelled);
    }
    /* The driver's answer to a released packet is dropped, and the worker
     * waiting for it wakes to find the packet gone. */
    if (handle != 0)
        DravoPlus::DisConnect(handle);
}

void RemoteCommandTicket::detach()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_reply = nullptr;
    }
    cancel();
}

RemoteCommandTicket::State RemoteCommandTicket::state() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_state;
}

Morvane::RemoteSystemResult RemoteCommandTicket::result() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_result;
}

int RemoteCommandTicket::replyWait() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_replyWait;
}

void RemoteCommandTicket::endLocked(const Morvane::RemoteSystemResult& result)
{
    m_result = result;
    m_state = RemoteCommandReply::Finished;
    m_handle = 0;
    postStateLocked(m_state);
}

/* Posted under the lock that detach() takes before the reply is gone: the
 * reply exists while the call is posted, and a call still pending when it is
 * deleted is discarded with it. */
void RemoteCommandTicket::postStateLocked(State state)
{
    if (!m_reply)
        return;
    RemoteCommandReply* reply = m_reply;
    QMetaObject::invokeMethod(reply, [reply, state] { reply->deliverState(state); }, Qt::QueuedConnection);
}

/* ---- RemoteCommandReply -------------------------------------------------- */

RemoteCommandReply::RemoteCommandReply()
    : d(std::make_shared<RemoteCommandTicket>(this))
{
    qRegisterMetaType<RemoteCommandReply::State>();
}

RemoteCommandReply::~RemoteCommandReply()
{
    d->detach();
}

RemoteCommandReply::State RemoteCommandReply::state() const
{
    return d->state();
}

bool RemoteCommandReply::isFinished() const
{
    return d->state() == Finished;
}

Morvane::RemoteSystemResult RemoteCommandReply::result() const
{
    return d->result();
}

int RemoteCommandReply::replyWait() const
{
    return d->replyWait();
}

void RemoteCommandReply::cancel()
{
    d->cancel();
}

void RemoteCommandReply::deliverState(State state)
{
    emit stateChanged(state);
    if (state == Finished)
        emit finished();
}

/*
 * commandthreads.cpp: the threads that run the runtime interface's
 * asynchronous remote commands.
 *
 * The middleware waits for a driver's reply by blocking the waiting thread,
 * and one thread cannot wait on several packets, so every command in flight
 * holds a thread until its answer comes or its wait ends. The threads are a
 * bounded pool: a burst of commands queues behind the limit instead of
 * starting a thread each, and the queue is worked off as drivers answer.
 * A command only starts its wait once it is sent, so a queued one still gets
 * its full wait.
 */
#include "remotecommandticket_p.h"
#include "scadaruntimeinterface_p.h"

#include <QtCore/QRunnable>

#include <vector>

namespace {

/* Enough for the commands of one station in flight at once (an operator's,
 * a few scripted polls); a larger burst waits in the queue. */
constexpr int kDefaultCommandThreads = 8;
/* An idle command thread ends after this long. */
constexpr int kIdleThreadMs = 30000;

} // namespace

void ScadaRuntimeInterfacePrivate::initCommandThreads()
{
    commandThreads.setMaxThreadCount(kDefaultCommandThreads);
    commandThreads.setExpiryTimeout(kIdleThreadMs);
}

RemoteCommandReply* ScadaRuntimeInterfacePrivate::startCommand(Command command)
{
    auto* reply = new RemoteCommandReply;
    std::shared_ptr<RemoteCommandTicket> ticket = reply->d;
    {
        std::lock_guard<std::mutex> lock(commandsLock);
        commandsInFlight.insert(ticket);
    }
    commandThreads.start(QRunnable::create([this, ticket, command] {
        if (!commandsClosing.load() && ticket->start())
            ticket->finish(command(ticket.get()));
        std::lock_guard<std::mutex> lock(commandsLock);
        commandsInFlight.erase(ticket);
    }));
    return reply;
}

/* Cancelling releases the packets whose replies are awaited, so the threads
 * waiting for them return at once. Queued commands, which a freed thread
 * takes up even before their own cancel, see the closing flag and return
 * unsent. */
void ScadaRuntimeInterfacePrivate::endCommands()
{
    commandsClosing.store(true);
    std::vector<std::shared_ptr<RemoteCommandTicket>> inFlight;
    {
        std::lock_guard<std::mutex> lock(commandsLock);
        inFlight.assign(commandsInFlight.begin(), commandsInFlight.end());
    }
    for (const auto& ticket : inFlight)
        ticket->cancel();
    commandThreads.waitForDone();
}

int ScadaRuntimeInterface::maxConcurrentCommands() const
{
    return d->commandThreads.maxThreadCount();
}

void ScadaRuntimeInterface::setMaxConcurrentCommands(int count)
{
    d->commandThreads.setMaxThreadCount(qMax(1, count));
}

/*
 * scadaruntimeinterface_p.h: the runtime interface's middleware status
 * listener. It follows the connection for its owner and keeps the heartbeat
 * entry that failed, so that every later connect notification enters it
 * again.
 *
 * The listener runs on the middleware's notification thread while the
 * application's threads read the state and the active server and enter
 * heartbeats. stateLock guards what both sides touch: the owner's state and
 * active-server cache, and the alive values here. No middleware call is made
 * while it is held, except the owner's activeServer() asking for the server
 * name, which only reads the middleware's current address.
 *
 * It also keeps the command threads of the asynchronous remote commands and
 * the tickets of the commands in flight, so that the owner's destruction can
 * cancel them and wait for its threads.
 */
#ifndef MVSHARED_SCADARUNTIMEINTERFACE_P_H
#define MVSHARED_SCADARUNTIMEINTERFACE_P_H

#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QString>
#include <QtCore/QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>

class RemoteCommandTicket;

class ScadaRuntimeInterfacePrivate : public DravoStatusListenerBase
{
public:
    explicit ScadaRuntimeInterfacePrivate(ScadaRuntimeInterface* owner);
    ~ScadaRuntimeInterfacePrivate() override;

    void onMidConnected() override;
    void onMidDisconnected() override;

    /* The task's heartbeat record with its display name and location; the
     * caller puts "oid" (by its own rule) and "pid" after them. */
    static DravoData heartbeatRecord(const QString& displayName);

    ScadaRuntimeInterface* q;
    QString aliveTaskName;
    QString aliveDisplayName;
    char aliveOid;
    int alivePid;
    bool aliveRegistered;
    /* A standard mutex: the thread sanitizer sees its locking, which it
     * cannot see inside the distribution's Qt. */
    std::mutex stateLock;

    /* Queues the command on a command thread and returns its reply, made on
     * the calling thread. */
    using Command = std::function<Morvane::RemoteSystemResult(RemoteCommandTicket*)>;
    void initCommandThreads();
    RemoteCommandReply* startCommand(Command command);
    /* Cancels every command in flight and waits for the command threads. */
    void endCommands();

    QThreadPool commandThreads;
    /* Set when the owner is being destroyed: queued commands are not run. */
    std::atomic<bool> commandsClosing{false};
    std::mutex commandsLock;
    std::set<std::shared_ptr<RemoteCommandTicket>> commandsInFlight;
};

#endif

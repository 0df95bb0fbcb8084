/*
 * scadaruntimeinterface.cpp: the runtime interface's connection, server and
 * heartbeat side: construction, the status listener, the active server, the
 * server addresses and the task's heartbeat.
 */
#include "scadaruntimeinterface_p.h"

#include "middlewaretext_p.h"

#include <QtNetwork/QHostInfo>

using MorvaneRuntime::putUtf16;

/* ---- ScadaRuntimeInterfacePrivate ---------------------------------------- */

ScadaRuntimeInterfacePrivate::ScadaRuntimeInterfacePrivate(ScadaRuntimeInterface* owner)
    : q(owner), aliveOid(0), alivePid(0), aliveRegistered(true)
{
    initCommandThreads();
}

ScadaRuntimeInterfacePrivate::~ScadaRuntimeInterfacePrivate() = default;

DravoData ScadaRuntimeInterfacePrivate::heartbeatRecord(const QString& displayName)
{
    DravoData record("TASK_USER_DATA", 0);
    putUtf16(record, "displayname", displayName);
    putUtf16(record, "location", QHostInfo::localHostName());
    return record;
}

/* A heartbeat entry that failed is entered again on every connect, with the
 * values stored at the failure (the initial empty ones if none failed). Here
 * the oid byte goes in unsigned; startAliveTask puts it sign-extended. Both
 * forms reach the server and are kept so. */
void ScadaRuntimeInterfacePrivate::onMidConnected()
{
    QString taskName;
    QString displayName;
    char oid = 0;
    int pid = 0;
    {
        std::lock_guard<std::mutex> lock(stateLock);
        taskName = aliveTaskName;
        displayName = aliveDisplayName;
        oid = aliveOid;
        pid = alivePid;
    }
    DravoData record = heartbeatRecord(displayName);
    record.PutValue("oid", static_cast<unsigned char>(oid));
    record.PutValue("pid", pid);
    const bool entered = DravoPlus::ContendHeartBit(taskName.toUtf8().constData(), record, nullptr, nullptr) == 0;
    const QString server = QString::fromUtf8(DravoPlus::activeServer(nullptr));
    {
        std::lock_guard<std::mutex> lock(stateLock);
        /* A startAliveTask that failed meanwhile stored another entry, which
         * this retry did not enter. */
        if (entered && aliveTaskName == taskName)
            aliveRegistered = true;
        q->state = Morvane::MWConnected;
        q->activeServerName = server;
    }
    emit q->serverStateChanged();
}

void ScadaRuntimeInterfacePrivate::onMidDisconnected()
{
    {
        std::lock_guard<std::mutex> lock(stateLock);
        q->state = Morvane::MWDisconnected;
        q->activeServerName = QString();
    }
    emit q->serverStateChanged();
}

/* ---- ScadaRuntimeInterface ----------------------------------------------- */

ScadaRuntimeInterface::ScadaRuntimeInterface(QString domainName, QObject* parent)
    : QObject(parent),
      state(Morvane::MWConnected),
      domain(std::move(domainName)),
      offlineSupport(false),
      d(new ScadaRuntimeInterfacePrivate(this)),
      analogNameTemplate(QStringLiteral("ANALOG%1")),
      statusNameTemplate(QStringLiteral("STATUS%1")),
      textNameTemplate(QStringLiteral("TEXT%1")),
      nameCacheLock(QReadWriteLock::NonRecursive)
{
}

ScadaRuntimeInterface::~ScadaRuntimeInterface()
{
    d->endCommands();
    DravoPlus::RemoveListener(*d);
    delete d;
}

void ScadaRuntimeInterface::connectMid()
{
    DravoPlus::InstallListener(*d);
    DravoPlus::ConnectMid(nullptr);
}

void ScadaRuntimeInterface::disConnectMid()
{
    DravoPlus::DisConnectMid(nullptr);
    DravoPlus::RemoveListener(*d);
}

void ScadaRuntimeInterface::installSlot()
{
    DravoPlus::InstallListener(*d);
}

void ScadaRuntimeInterface::prepareClose()
{
    DravoPlus::RemoveListener(*d);
}

Morvane::MWStatus ScadaRuntimeInterface::serverState()
{
    const Morvane::MWStatus polled =
        DravoPlus::IsConnect(nullptr) == 0 ? Morvane::MWConnected : Morvane::MWDisconnected;
    std::lock_guard<std::mutex> lock(d->stateLock);
    state = polled;
    return state;
}

/* "Invaild" is the product's own spelling; once stored it is kept until a
 * connect or disconnect notification replaces it. The listener replaces the
 * cache on its own thread at any time, so callers get a reference to their
 * thread's copy of it, never to the cache itself. The cache is checked and
 * filled under one hold of the lock, so that a notification cannot fall
 * between the two and be overwritten by an older answer. */
const QString& ScadaRuntimeInterface::activeServer()
{
    thread_local QString answer;
    std::lock_guard<std::mutex> lock(d->stateLock);
    if (activeServerName.isEmpty()) {
        if (const char* server = DravoPlus::activeServer(nullptr))
            activeServerName = QString::fromUtf8(server);
        else
            activeServerName = tr("Invaild");
    }
    answer = activeServerName;
    return answer;
}

QStringList ScadaRuntimeInterface::serverCandidate()
{
    ObjectNames names;
    DravoPlus::GetServerAddress(nullptr, names);
    QStringList candidates;
    for (int i = 0; i < names.count; ++i)
        candidates.append(QString::fromLatin1(names.names[i]));
    DravoPlus::DeatoryNameSeq(names);
    return candidates;
}

void ScadaRuntimeInterface::updateServerSetting(const QString& first, const QString& second)
{
    DravoPlus::DisConnectMid(nullptr);
    DravoPlus::RemoveListener(*d);
    DravoPlus::updateServerSetting(nullptr, first.toLatin1().constData(), second.toLatin1().constData());
}

void ScadaRuntimeInterface::setDomain(const QString& value)
{
    domain = value;
}

const QString& ScadaRuntimeInterface::currentDomain()
{
    return domain;
}

bool ScadaRuntimeInterface::isOfflineSupport()
{
    return offlineSupport;
}

void ScadaRuntimeInterface::setOfflineSupport(bool on)
{
    offlineSupport = on;
}

int ScadaRuntimeInterface::startAliveTask(const QString& taskName, const QString& displayName, char oid, int pid)
{
    DravoData record = ScadaRuntimeInterfacePrivate::heartbeatRecord(displayName);
    record.PutValue("oid", static_cast<int>(static_cast<signed char>(oid)));
    record.PutValue("pid", pid);
    if (DravoPlus::ContendHeartBit(taskName.toUtf8().constData(), record, nullptr, nullptr) == 0)
        return 0;
    std::lock_guard<std::mutex> lock(d->stateLock);
    d->aliveTaskName = taskName;
    d->aliveDisplayName = displayName;
    d->aliveOid = oid;
    d->alivePid = pid;
    d->aliveRegistered = false;
    return -1;
}

ScadaRuntimeInterfacePrivate* ScadaRuntimeInterface::d_func()
{
    return d;
}

const ScadaRuntimeInterfacePrivate* ScadaRuntimeInterface::d_func() const
{
    return d;
}

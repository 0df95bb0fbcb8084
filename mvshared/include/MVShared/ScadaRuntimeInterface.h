/*
 * ScadaRuntimeInterface.h: the client facade to the SCADA runtime server.
 *
 * One object per application and domain. It follows the middleware
 * connection through its status listener (serverStateChanged), knows the
 * active server, enters the task's heartbeat, reads status, analog and text
 * points, remote units, stations and channels, and resolves point, channel
 * and device names to ids (point names through a cache that lives as long
 * as the object).
 *
 * Results are the middleware's codes (0 success), or -1 where a call says
 * so; nothing throws. Calls may come from several threads; the name cache
 * is guarded by its own lock, the reads rely on the middleware. Do not
 * destroy the object while another thread is inside a call.
 */
#ifndef MVSHARED_SCADARUNTIMEINTERFACE_H
#define MVSHARED_SCADARUNTIMEINTERFACE_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QReadWriteLock>
#include <QtCore/QString>
#include <QtCore/QStringList>

class ScadaRuntimeInterfacePrivate;

class MVSHARED_EXPORT ScadaRuntimeInterface : public QObject
{
    Q_OBJECT

public:
    explicit ScadaRuntimeInterface(QString domain, QObject* parent = nullptr);
    ~ScadaRuntimeInterface() override;

    /* ---- Connection, server and heartbeat ---- */

    /* Installs the status listener and connects. */
    void connectMid();
    /* Drops the connection, then removes the listener. */
    void disConnectMid();
    /* Installs the listener only, for a connection made elsewhere in the process. */
    void installSlot();
    /* Removes the listener, so no status callback reaches a closing object. */
    void prepareClose();
    /* Asks the middleware; stores and returns the state without a signal. */
    Morvane::MWStatus serverState();
    /* The active server's name; "Invaild" (translated) when the middleware
     * knows none, kept until a connection notification changes it. */
    const QString& activeServer();
    /* The configured server addresses. */
    QStringList serverCandidate();
    /* Disconnects, removes the listener and stores the two addresses; call
     * connectMid() afterwards. */
    void updateServerSetting(const QString& first, const QString& second);
    void setDomain(const QString& domain);
    const QString& currentDomain();
    bool isOfflineSupport();
    void setOfflineSupport(bool on);
    /* Enters the task's heartbeat: 0, or -1 when another task holds it (the
     * entry is then retried on every later connect notification). */
    int startAliveTask(const QString& taskName, const QString& displayName, char oid, int pid);

    ScadaRuntimeInterfacePrivate* d_func();
    const ScadaRuntimeInterfacePrivate* d_func() const;

    /* ---- Point reads ---- */

    int GetAnalogPoint(int id, DravoData& out);
    int GetStatusPoint(int id, DravoData& out);
    int GetTextPoint(int id, DravoData& out);
    int GetRemoteUnitData(int id, DravoData& out);
    int GetStationData(int id, DravoData& out);
    int GetChennelData(int id, DravoData& out);
    int allChennelData(DravoDataList& out);
    /* Reads the analog, status or text record the id's range selects. */
    int GetPoint(int id, DravoData& out);
    /* Resolves the name first; -1 when it gives no id. */
    int GetPoint(const QString& name, DravoData& out);
    /* One middleware request for every id; 0 for an empty list. */
    int GetPoints(const QList<int>& ids, DravoDataList& out);

    /* ---- Name resolution ---- */

    /* The point's id; 0 when the server does not know it; -1 when not connected. */
    int pointIdWithName(const QString& name);
    /* Every name found, with one middleware request. */
    QMap<QString, int> pointIdsWithName(const QList<QString>& names);
    /* The id, or -1. */
    int channelIdWithName(const QString& name);
    int deviceIdWithName(const QString& name);
    static QMap<QString, int> channelIdsWithName(const QList<QString>& names);
    static QMap<QString, int> deviceIdsWithName(const QList<QString>& names);

signals:
    void serverStateChanged();
    /* Declared for receivers that connect to it; never emitted. */
    void serverConnectionChanged();

private:
    friend class ScadaRuntimeInterfacePrivate;

    int readRecord(const QString& name, DravoData& out, const char* domain = nullptr);

    Morvane::MWStatus state;
    QString domain;
    QString activeServerName;
    bool offlineSupport;
    ScadaRuntimeInterfacePrivate* d;
    QString analogNameTemplate;
    QString statusNameTemplate;
    QString textNameTemplate;
    QMap<QString, int> nameCache;
    QReadWriteLock nameCacheLock;
};

#endif

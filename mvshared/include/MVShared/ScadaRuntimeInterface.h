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
 * is guarded by its own lock, the reads rely on the middleware. The state
 * and the active server may be asked for from any thread while the
 * middleware's notification thread updates them. Do not destroy the object
 * while another thread is inside a call; asynchronous commands still in
 * flight are cancelled by the destruction (see below).
 */
#ifndef MVSHARED_SCADARUNTIMEINTERFACE_H
#define MVSHARED_SCADARUNTIMEINTERFACE_H

#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MorvaneTypes.h>
#include <MVShared/RemoteCommandReply.h>
#include <MVShared/RemoteSystemResult.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QPair>
#include <QtCore/QReadWriteLock>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

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
     * knows none, kept until a connection notification changes it. The
     * reference is to the calling thread's own copy: it stays valid and
     * unchanged until the same thread calls activeServer() again (on any
     * interface). Copy it to keep it longer. */
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

    /* ---- Remote commands ----
     *
     * Each call sends one REMOTE_COMMAND2 packet to "Driver<driver>" and
     * blocks until the driver's CMD_RESPONSE arrives or the wait ends (30 s
     * for set-points and status writes, 15 s for RTU commands, 60 s for
     * generic device commands). Set-points and status writes are refused
     * here, unsent, when the point or its RTU carries the control-inhibit
     * tag or cannot be read. The channel id travels in the envelope's
     * "commid". Every outcome is in the result; see RemoteSystemResult. */

    Morvane::RemoteSystemResult controlAo(int pointId, int driver, int channelId, double value, bool isUnConfirmed);
    /* A sequence of set-points of one device, in list order. */
    Morvane::RemoteSystemResult controlAos(const QList<QPair<int, double>>& values, int driver, int channelId, int device);
    /* Any RtuControlCode, passed through; the polls below fix the code. */
    Morvane::RemoteSystemResult controlRtu(int rtuId, int driver, int channelId, Morvane::RtuControlCode code);
    Morvane::RemoteSystemResult integrityPoll(int rtuId, int driver, int channelId);
    Morvane::RemoteSystemResult statusPoll(int rtuId, int driver, int channelId);
    Morvane::RemoteSystemResult analogPoll(int rtuId, int driver, int channelId);
    Morvane::RemoteSystemResult restartDevice(int rtuId, int driver, int channelId);
    Morvane::RemoteSystemResult eventPoll(int rtuId, int driver, int channelId);
    Morvane::RemoteSystemResult timeSync(int rtuId, int driver, int channelId);
    /* A free-form command; the driver's answer bytes come back in data. */
    Morvane::RemoteSystemResult deviceCmd(int pointId, int driver, int channelId, const QString& par1, const QByteArray& par2);
    /* Sends the envelope the caller built (with "isUnConfirmed" put into
     * it). The channel id is not used: the envelope carries what it needs. */
    Morvane::RemoteSystemResult writeStatusPoint(int pointId, int driver, int channelId, DravoData& envelope, bool isUnConfirmed);

    /* ---- Remote commands that do not block ----
     *
     * The same commands, for callers that must not wait (a GUI thread): each
     * returns at once with a RemoteCommandReply that the caller owns, and the
     * command runs on one of this object's command threads. The reply's
     * finished() signal comes through the calling thread's event loop; its
     * result() is what the blocking form returns for the same command, or the
     * cancelled result after cancel(). See RemoteCommandReply.h.
     *
     * The command threads are a pool of at most maxConcurrentCommands()
     * threads (8 unless set). The middleware's reply wait blocks its thread,
     * so each command in flight holds one thread until its driver answers or
     * its wait ends; commands beyond the limit queue, unsent, and are sent as
     * threads come free, each then waiting its full time. Idle threads end
     * after half a minute.
     *
     * Destroying this object cancels its commands in flight (their replies
     * finish cancelled, their packets are released) and waits for its command
     * threads; a thread inside a read or send returns within that middleware
     * call's own bound, a thread inside a reply wait at once (within a
     * quarter of a second on Redis). */

    RemoteCommandReply* controlAoAsync(int pointId, int driver, int channelId, double value, bool isUnConfirmed);
    RemoteCommandReply* controlAosAsync(const QList<QPair<int, double>>& values, int driver, int channelId, int device);
    RemoteCommandReply* controlRtuAsync(int rtuId, int driver, int channelId, Morvane::RtuControlCode code);
    RemoteCommandReply* integrityPollAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* statusPollAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* analogPollAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* restartDeviceAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* eventPollAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* timeSyncAsync(int rtuId, int driver, int channelId);
    RemoteCommandReply* deviceCmdAsync(int pointId, int driver, int channelId, const QString& par1, const QByteArray& par2);
    /* Sends a copy of the envelope (with "isUnConfirmed" put into the copy);
     * the caller's envelope is not changed. */
    RemoteCommandReply* writeStatusPointAsync(int pointId, int driver, int channelId, const DravoData& envelope, bool isUnConfirmed);

    /* The most command threads that run asynchronous commands at once (at
     * least 1); commands beyond it queue. */
    int maxConcurrentCommands() const;
    void setMaxConcurrentCommands(int count);

    /* ---- Change notifications and session messages ----
     *
     * Fire-and-forget: each call posts one "NOTIFY_MESSAGE" (event 20004,
     * this object's domain) to every application of the domain, or several
     * where it says so. Nothing comes back; a message the middleware cannot
     * take is lost. Names are the ones the receivers have always known,
     * misspellings included. */

    /* Shared data changed (the id, where given, names the changed object;
     * without one the whole table of that kind changed). */
    void statusDataChanged(int id);
    void analogDataChanged(int id);
    void needRtuStatusDataUpdate(int id);
    void needRtuAnalogDataUpdate(int id);
    void needRtuScanDataUpdate(int id);
    void remoteUnitDataChanged(int id);
    void commLinkDataChanged(int id);
    void stationDataChanged(int id);
    void userAccountChanged(int id);
    void userRightChanged(int id);
    void analogUnitChanged(int id);
    void stateNameChanged(int id);
    void alarmPriorityDataChanged(int id);
    void userStateConvetorChanged(int id);
    void calculationChanged(int id);
    void driverManagerDataChanged(int id);
    void histDataSetChanged(int id);
    void aorChanged(int id);
    void aorGroupChanged(int id);
    void needStatusDataUpdate();
    void needCommlinkDataUpdate();
    void needRtuDataUpdate();
    void needAllDataUpdate();
    void analogUnitChanged();
    void stateNameChanged();
    void alarmPriorityDataChanged();
    void userStateConvetorChanged();
    void needReportSchedulerUpdate();
    void vServerChanged(int id);
    void vStatusDataChanged(int id);
    void vAnalogDataChanged(int id);
    void histDataGroupChanged(int id);
    void scheduleChanged();
    void dailyModelChanged();
    void needEventScriptUpdate();
    void needSimpleScheduleUpdate();
    void regionChanged();
    void munjanaraChanged();
    void simpleCalculationChanged(int id);

    /* A data point, or every point of a kind, must be read again. */
    void needRtuDatapointUpdate(int id);
    void needCommlinkDatapointUpdate(int id);
    void needStatusDatapointUpdate(int id);
    void needAnalogDatapointUpdate(int id);
    void needAllRtuDatapointUpdate();
    void needAllCommlinkDatapointUpdate();
    void needAllStatusDatapointUpdate();
    void needAllAnalogDatapointUpdate();

    /* A point's statistics were reset; an analog point's limits changed. */
    void statusDataPointReseted(int id);
    void analogDataPointReseted(int id);
    void analogLimitChanged(int id);

    /* The runtime server came back after a restart. */
    void serverRestarted();
    /* Alarms acknowledged by a user; sent in messages of at most 40 ids,
     * none for an empty list. */
    void sendAlarmAcked(const QString& ackedBy, const QList<int>& alarmIds);
    /* A user logged on or off at a station. The station id travels with the
     * length of the user name: cut when longer, zero filled when shorter. */
    void userLogOnOffed(const QString& user, char state, const QString& eqid);
    void needReportCreate(int reportId, const QString& prefix);
    /* Open or close a canvas, or run a script, in an operator session. */
    void openSessionCanvas(const QString& canvas, const QStringList& arguments, int session);
    void closeSessionCanvas(const QString& canvas, int session);
    void runSessionScript(const QString& name, int session, const QString& script);
    /* Changed system options, one message per ten options; none for an
     * empty list. */
    void systemOptionChanged(const QList<QPair<QString, QString>>& options);
    /* Any record under any event number, without a domain; the middleware's
     * result. */
    int sendEvent(int eventId, const DravoData& data);

    /* ---- Point writes and statistics resets ----
     *
     * Partial updates of the live database: only the fields a call names are
     * written. Results are 0, the read error of the point, or the first
     * failing field put or store; the release-style calls
     * (manualReplaceRelease, removeTagToPoint) return 0 once their fields are
     * put. The writes choose the record name by 200001..2999999 "ANALOG",
     * below 200000 "STATUS", anything else "TEXT" (one off from the reads). */

    /* Replaces the point's value by hand (quality 4); status and analog
     * points publish their change event when the value changed and ask the
     * other stations to refresh the point. A store the middleware refuses is
     * logged as a warning with the point and the middleware's text. */
    int manualReplace(int id, QVariant value);
    /* Clears the manual replacement bit of the point's quality. */
    int manualReplaceRelease(int id);
    int applyTagToPoint(int id, Morvane::Tagging tag);
    int removeTagToPoint(int id, Morvane::Tagging tag);
    /* The RTU status refresh is asked for even when the store fails. */
    int applyTagToRemoteUnit(int id, Morvane::Tagging tag);
    int removeTagToRemoteUnit(int id, Morvane::Tagging tag);
    /* Stores the caller's fields under "ANALOG", "STATUS" or "TEXT" and the
     * id, under the name the write ranges choose, or under the record's own
     * data name. */
    int putPartialAnalogUpdate(int id, DravoPartialData& data);
    int putPartialStatusUpdate(int id, DravoPartialData& data);
    int putPartialBinaryUpdate(int id, DravoPartialData& data);
    int putPartialUpdate(int id, DravoPartialData& data);
    int putPartialUpdate(DravoPartialData& data);
    /* Program writes, good quality and stamped now; no event, no refresh. */
    int setAnalogPoint(int id, double value);
    int setStatusValue(int id, qint8 state);

    /* Sets the statistics (and value, tags, limit and quality where the
     * record has them) of every object of the set back to zero, in one
     * middleware batch; the batch call's result. */
    int resetAnalogData(const QSet<int>& ids);
    int resetStatusData(const QSet<int>& ids);
    int resetCommData(QSet<int> ids);
    int resetRtuData(QSet<int> ids);

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

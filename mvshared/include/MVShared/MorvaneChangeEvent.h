/*
 * MorvaneChangeEvent.h: the receiver of the runtime server's point changes.
 *
 * One thread per object owns one event box on the middleware and takes the
 * changes out of it batch by batch. The same class plays two roles, chosen
 * before the thread starts:
 *
 *   client mode (operator applications, the default): the box hears the
 *     compressed change packets (event kind 0x98765); every packet is unpacked
 *     and its changes reach the application as Qt signals, usually queued to
 *     the GUI thread;
 *   server mode (a server task, after setServerMode): the box hears the raw
 *     changes the runtime publishes after each write (event kind 0x7E7F7C);
 *     every batch is packed into one compressed packet for all client-mode
 *     receivers of the system, and handed to the Boost.Signals2 slots of the
 *     task on the receiving thread.
 *
 * Configure (setServerMode, then init) before start(); stop with
 * prepareShutDown/shutDown or by destroying the object.
 *
 * A receiver never misses changes silently: whenever changes may have been
 * lost on the way (its box overflowed, the box had to be made again, the
 * connection dropped, the runtime server changed) it emits changesLost. With
 * setResyncOnLoss(true) it then also reads the current records of the points
 * it has delivered and delivers them like changes, so that the displays (in
 * server mode: every operator application) converge without anybody acting.
 */
#ifndef MVSHARED_MORVANECHANGEEVENT_H
#define MVSHARED_MORVANECHANGEEVENT_H

#include <MVShared/MVSharedGlobal.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QAtomicInt>
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QThread>

#include <boost/signals2/connection.hpp>
#include <boost/signals2/signal.hpp>

#include <atomic>
#include <memory>
#include <set>
#include <string>

class ChangePacket;
class ReceiverLog;

/* The latest change of each point of a batch, by point id. */
typedef QMap<int, DravoData> mapEvent;

/* Records travel by value through queued connections and QVariant; the lists
 * and maps of them are known to Qt's meta-type system through their
 * element type. */
Q_DECLARE_METATYPE(DravoData)

class MVSHARED_EXPORT MorvaneChangeEvent : public QThread
{
    Q_OBJECT

public:
    /* What the status, analog and text slots of a server task are given: the
     * raw point records of one batch, in arrival order. */
    typedef boost::signals2::signal<void(const QList<DravoData>&)> ChangeSignal;

    /* How changes may have been lost (see changesLost). */
    enum LossReason {
        BoxOverflow,      /* the event box was full and dropped its oldest records */
        BoxRecreated,     /* the event box was gone (an outage, a server without it) and was made again */
        ConnectionLost,   /* the connection to the runtime server dropped */
        ServerChanged,    /* another runtime server took over (a failover) */
        PacketRefused,    /* client mode: a packet did not decompress, or would have made more
                             changes than one packet may (see the README's limits) */
        BoxDamaged,       /* the event box's record on the server was damaged (by hand, by
                             another program); the box was removed and made again */
        ReceiveFailed     /* a receive failed for another reason than the connection (which
                             is ConnectionLost); the receiver tries again */
    };
    Q_ENUM(LossReason)

    /* Does not start the thread and does not touch the middleware. */
    explicit MorvaneChangeEvent(QObject* parent = nullptr);
    /* Stops the thread and waits for it (see shutDown). */
    ~MorvaneChangeEvent() override;

    /* Makes this a server task's receiver of raw changes, with a box name of
     * its own. Only before start(). */
    void setServerMode();
    bool isServerMode() const;

    /* Creates the event box from the calling thread, once. Optional: the
     * receiving loop creates a missing box itself. */
    void init();

    /* How many records the event box holds before it drops the oldest
     * (50000 unless set). Takes effect for a box made afterwards: set it
     * before init() and start(). */
    void setBoxCapacity(int capacity);
    int boxCapacity() const;

    /* Off by default. When on, every loss is followed, once the box has been
     * emptied (or two seconds at the latest), by a resynchronisation: the
     * current records of every point delivered since it was turned on are
     * read from the runtime server (in batches of 500) and handled like a
     * batch of changes: in client mode emitted through the signals below, in
     * server mode packed and published to every operator application and
     * handed to the task's slots. May be set from any thread. */
    void setResyncOnLoss(bool on);
    bool resyncOnLoss() const;

    /* Client mode: how many packets were refused since the object was made
     * (see PacketRefused). May be read from any thread. */
    quint64 packetsRefused() const;
    /* How many receives, box connections and packet publications failed
     * since the object was made, for any reason but "nothing arrived". May
     * be read from any thread.
     *
     * A receiver whose losses somebody wants to hear of (changesLost is
     * connected, or resync is on) also logs each failure and each refused
     * packet, each kind at most once per ten seconds with the number held
     * back, and in server mode sends a packet the server could not take
     * again until it is taken; a receiver nobody asks about losses logs
     * nothing and sends each packet once, as it always did. */
    quint64 receiveFailures() const;

    /* Asks the thread to stop and returns at once; it ends within one receive
     * wait plus one second. */
    void prepareShutDown();
    /* Asks the thread to stop and waits until it has ended; afterwards the
     * object may be started again. */
    void shutDown();

    /* Server mode: the task's slots, called on the receiving thread with each
     * batch's raw records of that kind (only when there are some), status
     * first, then analog, then text. May be connected at any time, from any
     * thread. */
    boost::signals2::connection connectAnalog(const ChangeSignal::slot_type& slot);
    boost::signals2::connection connectStatus(const ChangeSignal::slot_type& slot);
    boost::signals2::connection connectText(const ChangeSignal::slot_type& slot);

    /* The batch handler, called on the receiving thread for every batch the
     * box gives. Client mode: unpacks the packets and emits the signals below.
     * Server mode: packs the raw changes into one packet, publishes it under
     * the packed change kind and calls the task's slots; the batch's records
     * may be moved out of the list on the way (the loop releases it
     * afterwards anyway). */
    void compressData(DravoDataList& list);

    /* The compact form a change of a status, analog or text point travels in
     * ("CHANGED_STATUS", "CHANGED_ANALOG", "CHANGED_TEXT"); remote unit and
     * channel records are taken over unchanged; any other record leaves
     * target untouched. */
    void makeItToChangedEvent(DravoData* source, DravoData& target);

public Q_SLOTS:
    /* Stops the thread, moves to a fresh event box (named with the server
     * prefix in either mode) and starts again. The old box is left behind. */
    void reload();

Q_SIGNALS:
    /* Client mode, once per received packet, each only when it has content,
     * in the order dataChanged, statusChanged, statusChangedMap, analogChanged,
     * analogChangedMap, textChanged, textChangedMap, nonPointdataChanged. The
     * lists hold every change in arrival order; the maps the latest change of
     * each point. */
    void analogChangedMap(const mapEvent& changes);
    void statusChangedMap(const mapEvent& changes);
    void textChangedMap(const mapEvent& changes);
    /* Status and text changes (not analog ones), the latest of each point, in
     * ascending point id. */
    void dataChanged(const QList<DravoData>& changes);
    void analogChanged(const QList<DravoData>& changes);
    void statusChanged(const QList<DravoData>& changes);
    void textChanged(const QList<DravoData>& changes);
    /* Remote unit and channel records, grouped by type name and ordered by id
     * within each. */
    void nonPointdataChanged(const QList<DravoData>& changes);
    /* Changes may have been lost: count is how many records the box
     * dropped for BoxOverflow (packets in client mode, raw changes in server
     * mode), the packets refused for PacketRefused (they give no changes,
     * and the receiver goes on with the next), -1 (unknown) for the other
     * reasons. Emitted on a middleware
     * thread or the receiving thread, as the loss is noticed. */
    void changesLost(int count, MorvaneChangeEvent::LossReason reason);

protected:
    /* The receiving loop: connect to the box (creating it when missing),
     * receive and handle batches until asked to stop; retries a failed
     * connection once a second. */
    void run() override;

    /* 1 while a stop has been asked for and the loop has not yet honoured
     * it; 0 otherwise. */
    int stopRequest() const;

private:
    class LossWatch;

    void stopAndWait();
    QByteArray boxNameBytes() const;
    int boxKind() const;
    void createBox(const QByteArray& name) const;
    int receiveWhileConnected(unsigned int port);
    int receiveBatch(unsigned int port, DravoDataList& list);
    void returnMemoryAfterBursts(bool received);
    void recoverFrom(int result);
    void replaceDamagedBox(bool report);
    void deliverToApplication(const DravoDataList& packets);
    void publishAndDeliverToTask(DravoDataList& changes);
    void publishPacket(const ChangePacket& packet);
    /* Losses and resynchronisation (changeloss.cpp). */
    /* Somebody listens to changesLost or wants losses healed. */
    bool lossesWanted() const;
    /* Logs trouble of a kind, at most once per ten seconds, when losses
     * are wanted. */
    void warn(const QString& kind, const QString& text);
    void watchLossesIfWanted();
    void stopWatchingLosses();
    void reportLoss(int count, LossReason reason);
    void noteDelivered(const DravoData& change);
    void resyncIfDue(bool boxDrained);
    bool resync();

    QString m_boxName;
    QAtomicInt m_stopRequest;
    bool m_serverMode = false;
    bool m_boxCreated = false;
    int m_boxCapacity;
    /* The box was connected once: if it is missing later, it was lost. */
    bool m_hadBox = false;
    /* The last failure of the box since something was received (receiving
     * thread only): the same trouble is not reported twice. */
    int m_lastFailure = DRAVO_OK;
    /* Batches received since memory was last given back (receiving thread
     * only). */
    int m_batchesSinceTrim = 0;
    /* The last receive of a server task brought changes (receiving thread
     * only). */
    bool m_streaming = false;
    std::unique_ptr<LossWatch> m_lossWatch;
    std::unique_ptr<ReceiverLog> m_log;
    std::atomic<quint64> m_packetsRefused{0};
    std::atomic<quint64> m_receiveFailures{0};
    std::atomic<bool> m_resyncOnLoss{false};
    std::atomic<bool> m_resyncPending{false};
    std::atomic<long long> m_resyncDueAtMs{0};
    /* Record names of the points delivered while resync is on (receiving
     * thread only). */
    std::set<std::string> m_delivered;
    ChangeSignal m_analogSignal;
    ChangeSignal m_statusSignal;
    ChangeSignal m_textSignal;
};

#endif

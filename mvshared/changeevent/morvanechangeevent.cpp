/*
 * morvanechangeevent.cpp: the life of a change event receiver: its event box,
 * its receiving loop, and how it is started, moved to a new box and stopped.
 *
 * The loop never gives up: a runtime server that is away is asked again once
 * a second, a box that is missing (first start, a new name after reload, a
 * server that came back without it) is created on the spot, and an empty wait
 * goes straight into the next one. What a batch turns into lives in
 * changedispatch.cpp; how losses are noticed and healed, in changeloss.cpp.
 */
#include <MVShared/MorvaneChangeEvent.h>

#include "changepacket.h"
#include "losswatch.h"

#include <QtCore/QUuid>

namespace {

/* Box names: a prefix by role and a fresh braced UUID. */
const QString kClientBoxPrefix = QStringLiteral("CHANGE_EVENT_MESSAGE_L:");
const QString kServerBoxPrefix = QStringLiteral("CHANGE_EVENT_MESSAGE:");

constexpr int kBoxCapacity = 50000;
/* How long a receive waits for the first record (the middleware's seconds). */
constexpr int kReceiveWaitSeconds = 1;
/* A client takes one packet at a time (each is a whole batch already); a
 * server task takes up to 500 raw changes into one packet. */
constexpr int kPacketsPerReceive = 1;
constexpr int kRawChangesPerReceive = 500;
/* A server task's packet holds one receive's raw changes; it must never be
 * one that operator applications refuse. */
static_assert(kRawChangesPerReceive <= ChangePacket::kMostChanges
                  && static_cast<qint64>(kRawChangesPerReceive) * ChangePacket::kLargestChangeRecord <= ChangePacket::kMostChangeBytes,
              "a server task's packets stay within what a packet may hold");
/* The pause before the connection is made again, and before the loop ends. */
constexpr unsigned long kRetryPauseMs = 1000;
/* How often a stop request is made again while waiting for the thread. */
constexpr unsigned long kStopRepeatMs = 50;

QString newBoxName(const QString& prefix)
{
    return prefix + QUuid::createUuid().toString();
}

/* Qt needs the records, their lists and the per-point maps by name to carry
 * them through queued connections and QVariant; registering again is
 * harmless, but once is enough. */
void registerChangeTypes()
{
    static const bool registered = [] {
        qRegisterMetaType<mapEvent>("mapEvent");
        qRegisterMetaType<DravoData>("DravoData");
        qRegisterMetaType<QList<DravoData>>("QList<DravoData>");
        qRegisterMetaType<MorvaneChangeEvent::LossReason>("MorvaneChangeEvent::LossReason");
        return true;
    }();
    Q_UNUSED(registered);
}

} // namespace

MorvaneChangeEvent::MorvaneChangeEvent(QObject* parent)
    : QThread(parent)
    , m_boxName(newBoxName(kClientBoxPrefix))
    , m_stopRequest(0)
    , m_boxCapacity(kBoxCapacity)
{
    registerChangeTypes();
}

MorvaneChangeEvent::~MorvaneChangeEvent()
{
    shutDown();
}

void MorvaneChangeEvent::setServerMode()
{
    m_serverMode = true;
    m_boxName = newBoxName(kServerBoxPrefix);
}

bool MorvaneChangeEvent::isServerMode() const
{
    return m_serverMode;
}

void MorvaneChangeEvent::setBoxCapacity(int capacity)
{
    m_boxCapacity = capacity;
}

int MorvaneChangeEvent::boxCapacity() const
{
    return m_boxCapacity;
}

void MorvaneChangeEvent::init()
{
    if (m_boxCreated)
        return;
    createBox(boxNameBytes());
    m_boxCreated = true;
}

/* The new box takes the server prefix whatever the mode: the product has
 * always named a reloaded box so, and it is kept that way. */
void MorvaneChangeEvent::reload()
{
    stopAndWait();
    m_boxName = newBoxName(kServerBoxPrefix);
    m_hadBox = false;
    start(QThread::InheritPriority);
}

void MorvaneChangeEvent::prepareShutDown()
{
    m_stopRequest.storeRelaxed(1);
}

void MorvaneChangeEvent::shutDown()
{
    stopAndWait();
    m_stopRequest.storeRelaxed(0);
}

/* A thread started a moment ago may not yet have begun its loop, which
 * clears the stop request first thing; a request made before that would be
 * lost and the wait would never end. So the request is made again until the
 * thread has ended. Asked from the receiving thread itself (a directly
 * connected slot), there is nothing to wait for: the loop ends after the
 * handler returns. */
void MorvaneChangeEvent::stopAndWait()
{
    if (QThread::currentThread() == this) {
        m_stopRequest.storeRelaxed(1);
        return;
    }
    do
        m_stopRequest.storeRelaxed(1);
    while (!wait(kStopRepeatMs));
}

int MorvaneChangeEvent::stopRequest() const
{
    return m_stopRequest.loadRelaxed();
}

/* ---- The receiving loop ---------------------------------------------------- */

void MorvaneChangeEvent::run()
{
    m_stopRequest.storeRelaxed(0);
    const QByteArray name = boxNameBytes();
    for (;;) {
        watchLossesIfWanted();
        unsigned int port = 0;
        const int result = DravoPlus::ConnectPortForRecv(name.constData(), port, nullptr, nullptr);
        if (result == DRAVO_OK) {
            m_hadBox = true;
            receiveWhileConnected(port);
        } else if (result == DRAVO_NOT_FOUND) {
            if (m_hadBox)
                reportLoss(-1, BoxRecreated);
            createBox(name);
        } else {
            QThread::msleep(kRetryPauseMs);
        }
        if (m_stopRequest.loadRelaxed() != 0) {
            m_stopRequest.storeRelaxed(0);
            stopWatchingLosses();
            return;
        }
    }
}

/* Hands batch after batch to the handler until a stop is asked for or the
 * box fails; either way it pauses before the caller connects again or ends.
 * An empty wait is not a failure. */
void MorvaneChangeEvent::receiveWhileConnected(unsigned int port)
{
    while (m_stopRequest.loadRelaxed() == 0) {
        DravoDataList list;
        const int result = receiveBatch(port, list);
        if (result == DRAVO_OK)
            compressData(list);
        DravoPlus::DestoryDravoDataList(list);
        if (result != DRAVO_OK && result != DRAVO_TIMEOUT)
            break;
        watchLossesIfWanted();
        resyncIfDue(result == DRAVO_TIMEOUT);
    }
    QThread::msleep(kRetryPauseMs);
}

int MorvaneChangeEvent::receiveBatch(unsigned int port, DravoDataList& list) const
{
    if (m_serverMode)
        return DravoPlus::ReceiveUndefinedEventN(port, list, kRawChangesPerReceive, kReceiveWaitSeconds, nullptr,
                                                 nullptr);
    return DravoPlus::ReceiveEventN(port, list, nullptr, kPacketsPerReceive, kReceiveWaitSeconds, nullptr, nullptr);
}

/* ---- The event box ------------------------------------------------------------ */

QByteArray MorvaneChangeEvent::boxNameBytes() const
{
    return m_boxName.toLatin1();
}

/* A server task hears the raw changes of the runtime, a client the packets
 * that server tasks make of them. */
int MorvaneChangeEvent::boxKind() const
{
    return m_serverMode ? DRAVO_EVENT_RAW_CHANGE : DRAVO_EVENT_CHANGE_PACKET;
}

/* The box lives as long as this process's connection: nobody resumes a
 * receiver's box, so it is not kept. Failures show on the next connect. */
void MorvaneChangeEvent::createBox(const QByteArray& name) const
{
    DravoPlus::CreateEventBox(name.constData(), boxKind(), m_boxCapacity, nullptr, nullptr);
    DravoPlus::SetPersistent(name.constData(), false, nullptr, nullptr);
}

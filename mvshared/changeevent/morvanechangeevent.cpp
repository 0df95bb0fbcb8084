/*
 * morvanechangeevent.cpp: the life of a change event receiver: its event box,
 * its receiving loop, and how it is started, moved to a new box and stopped.
 *
 * The loop never gives up: a runtime server that is away is asked again once
 * a second, a box that is missing (first start, a new name after reload, a
 * server that came back without it) is created on the spot, a box damaged on
 * the server is removed and made again, and an empty wait goes straight into
 * the next one. Every failure is counted (and logged, for a receiver whose
 * losses are wanted). What a batch turns into lives in changedispatch.cpp;
 * how losses are noticed and healed, in changeloss.cpp.
 */
#include <MVShared/MorvaneChangeEvent.h>

#include <MVShared/FreeMemory.h>

#include "changepacket.h"
#include "losswatch.h"
#include "receiverlog.h"

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
/* While changes stream in, a server task that took less than a packet's
 * worth waits a little for more before packing, a millisecond at a time
 * until the packet is full, a wait brings nothing or eight have passed:
 * every packet costs each operator station's box a take, so that thirty
 * stations would pay thirty takes for a packet holding one writer's poll as
 * for a full one. A change that comes after a quiet moment goes out at
 * once. */
constexpr unsigned long kGatherMicroseconds = 1000;
constexpr int kGatherRounds = 8;
/* A server task's packet holds one receive's raw changes; it must never be
 * one that operator applications refuse. */
static_assert(kRawChangesPerReceive <= ChangePacket::kMostChanges
                  && static_cast<qint64>(kRawChangesPerReceive) * ChangePacket::kLargestChangeRecord <= ChangePacket::kMostChangeBytes,
              "a server task's packets stay within what a packet may hold");
/* The pause before the connection is made again, and before the loop ends. */
constexpr unsigned long kRetryPauseMs = 1000;
/* Batches received before the memory they took is given back, once the
 * box runs empty: a burst, not the trickle of a quiet plant. */
constexpr int kBatchesBeforeTrim = 50;
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
    , m_log(std::make_unique<ReceiverLog>())
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

quint64 MorvaneChangeEvent::packetsRefused() const
{
    return m_packetsRefused.load();
}

quint64 MorvaneChangeEvent::receiveFailures() const
{
    return m_receiveFailures.load();
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
            recoverFrom(receiveWhileConnected(port));
            QThread::msleep(kRetryPauseMs);
        } else if (result == DRAVO_NOT_FOUND) {
            if (m_hadBox)
                reportLoss(-1, BoxRecreated);
            createBox(name);
        } else {
            recoverFrom(result);
            QThread::msleep(kRetryPauseMs);
        }
        if (m_stopRequest.loadRelaxed() != 0) {
            m_stopRequest.storeRelaxed(0);
            stopWatchingLosses();
            return;
        }
    }
}

/* Hands batch after batch to the handler until a stop is asked for (giving
 * DRAVO_OK) or the box fails (giving the failure); the loop pauses a second
 * either way. An empty wait is not a failure. */
int MorvaneChangeEvent::receiveWhileConnected(unsigned int port)
{
    while (m_stopRequest.loadRelaxed() == 0) {
        DravoDataList list;
        const int result = receiveBatch(port, list);
        if (result == DRAVO_OK)
            compressData(list);
        DravoPlus::DestoryDravoDataList(list);
        if (result != DRAVO_OK && result != DRAVO_TIMEOUT)
            return result;
        m_lastFailure = DRAVO_OK;
        returnMemoryAfterBursts(result == DRAVO_OK);
        watchLossesIfWanted();
        resyncIfDue(result == DRAVO_TIMEOUT);
    }
    return DRAVO_OK;
}

/* A burst leaves the memory its records took free but kept by the
 * allocator, hundreds of megabytes after a plant's burst of text changes:
 * once the box has run empty after many batches, it is given back to the
 * system, so that a station's resident size returns to where it was. */
void MorvaneChangeEvent::returnMemoryAfterBursts(bool received)
{
    if (received) {
        ++m_batchesSinceTrim;
        return;
    }
    if (m_batchesSinceTrim < kBatchesBeforeTrim)
        return;
    m_batchesSinceTrim = 0;
    Morvane::returnFreeMemory();
}

int MorvaneChangeEvent::receiveBatch(unsigned int port, DravoDataList& list)
{
    if (!m_serverMode)
        return DravoPlus::ReceiveEventN(port, list, nullptr, kPacketsPerReceive, kReceiveWaitSeconds, nullptr, nullptr);
    const int result = DravoPlus::ReceiveUndefinedEventN(port, list, kRawChangesPerReceive, kReceiveWaitSeconds,
                                                         nullptr, nullptr);
    const bool streaming = m_streaming;
    m_streaming = result == DRAVO_OK;
    if (result != DRAVO_OK || !streaming || list.size() >= kRawChangesPerReceive)
        return result;
    /* What each wait brought joins the packet, until it is full or a wait
     * brought nothing; a failure to take is met again by the next receive. */
    for (int round = 0; round < kGatherRounds && list.size() < kRawChangesPerReceive; ++round) {
        QThread::usleep(kGatherMicroseconds);
        DravoDataList more;
        if (DravoPlus::ReceiveUndefinedEventN(port, more, kRawChangesPerReceive - list.size(), 0, nullptr, nullptr)
                != DRAVO_OK
            || more.size() == 0)
            break;
        for (int i = 0; i < more.size(); ++i)
            list.append(std::move(more[i]));
    }
    return result;
}

/* What a failed box connection or receive leads to, before the loop's pause
 * of a second and its next connect. A box that is gone is made again by
 * that connect (and reported there); a box whose record on the server is
 * damaged could never be received from again, so it is removed, to be made
 * again under its name; anything else (the server away, a refusal) is
 * simply tried again. Every failure is counted; for a receiver whose
 * losses somebody wants to hear of (see lossesWanted), each is also logged
 * and reported, unless it is the one met last (until something is received
 * again). A dropped connection is reported by the middleware's own news of
 * it (LossWatch). */
void MorvaneChangeEvent::recoverFrom(int result)
{
    if (result == DRAVO_OK)
        return;
    m_receiveFailures.fetch_add(1);
    const bool again = result == m_lastFailure;
    m_lastFailure = result;
    if (result == DRAVO_NOT_FOUND) {
        warn(QStringLiteral("gone"),
             QStringLiteral("Change event box %1 is gone from the runtime server; making it again").arg(m_boxName));
    } else if (result == DRAVO_MALFORMED) {
        replaceDamagedBox(!again);
    } else {
        warn(QStringLiteral("failed %1").arg(result),
             QStringLiteral("Change event box %1 cannot be received from: %2 %3; trying again")
                 .arg(m_boxName)
                 .arg(result)
                 .arg(QString::fromUtf16(DravoPlus::GetErrorString(result))));
        if (!again && result != DRAVO_NOT_CONNECTED)
            reportLoss(-1, ReceiveFailed);
    }
}

/* What was queued in a damaged box cannot be reached: the loss is reported
 * and the box removed, for the loop to make anew under its name (without
 * reporting that again). */
void MorvaneChangeEvent::replaceDamagedBox(bool report)
{
    const QByteArray name = boxNameBytes();
    DravoEventBoxInfo info;
    QString damage = QStringLiteral("unreadable");
    if (DravoPlus::GetEventBoxInfo(name.constData(), info, nullptr) == DRAVO_OK && !info.damage.empty())
        damage = QString::fromStdString(info.damage);
    warn(QStringLiteral("damaged"),
         QStringLiteral("Change event box %1 is damaged on the runtime server (%2); removing it and making it again")
             .arg(m_boxName, damage));
    if (report)
        reportLoss(-1, BoxDamaged);
    if (DravoPlus::DeleteEventBox(name.constData(), nullptr, nullptr) == DRAVO_OK)
        m_hadBox = false;
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

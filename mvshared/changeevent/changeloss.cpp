/*
 * changeloss.cpp: a change event receiver never misses changes silently.
 *
 * Changes can be lost on the way to a receiver in four ways: its event box
 * overflows (the middleware drops the oldest records and says how many), the
 * box disappears (an outage or a new server removes it; changes published
 * before the loop makes it again reach nobody), the connection drops, or
 * another runtime server takes over. The first three the middleware reports
 * to a listener (LossWatch); a box that has to be made again the receiving
 * loop notices itself. Each is announced as changesLost.
 *
 * The cure, when asked for, is an image: the current records of the points
 * this receiver has delivered are read back and handled like a batch of
 * changes. It is taken once the box has run empty, so that what was queued
 * before the loss is not delivered after the image, or after two seconds at
 * the latest, so that a receiver that never runs empty still converges.
 */
#include <MVShared/MorvaneChangeEvent.h>

#include "changepacket.h"
#include "losswatch.h"
#include "receiverlog.h"

#include <QtCore/QDateTime>
#include <QtCore/QMetaMethod>

#include <algorithm>
#include <vector>

namespace {

/* Records read and handled at a time: the size of a server task's batch, so
 * that an image packs into packets like any other batch. */
constexpr std::size_t kResyncBatch = 500;
static_assert(kResyncBatch <= static_cast<std::size_t>(ChangePacket::kMostChanges)
                  && static_cast<qint64>(kResyncBatch) * ChangePacket::kLargestChangeRecord <= ChangePacket::kMostChangeBytes,
              "an image's packets stay within what a packet may hold");
/* How long an image may wait for the box to run empty. */
constexpr long long kResyncLatestMs = 2000;

long long nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace

/* ---- Hearing of losses ------------------------------------------------------- */

MorvaneChangeEvent::LossWatch::LossWatch(MorvaneChangeEvent& receiver, std::string box, std::string server)
    : m_receiver(receiver)
    , m_box(std::move(box))
    , m_server(std::move(server))
{
}

void MorvaneChangeEvent::LossWatch::onMidDisconnected()
{
    m_receiver.reportLoss(-1, ConnectionLost);
}

/* A server going away ("") is the disconnect; a different one coming is a
 * failover, whose changes in between may not have reached the new server. */
void MorvaneChangeEvent::LossWatch::onActiveServerChanged(const char* address)
{
    const std::string server = address ? address : "";
    if (server.empty())
        return;
    if (!m_server.empty() && server != m_server)
        m_receiver.reportLoss(-1, ServerChanged);
    m_server = server;
}

void MorvaneChangeEvent::LossWatch::onEventBoxOverflow(const char* box, int dropped)
{
    if (box && m_box == box)
        m_receiver.reportLoss(dropped, BoxOverflow);
}

bool MorvaneChangeEvent::lossesWanted() const
{
    return m_resyncOnLoss.load() || isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::changesLost));
}

/* The log is the operator's: trouble is written there for a receiver whose
 * losses matter to its program, and a receiver nobody asks about losses
 * writes nothing, as it always did. */
void MorvaneChangeEvent::warn(const QString& kind, const QString& text)
{
    if (lossesWanted())
        m_log->warn(kind, text);
}

/* The watch is a listener of the loop's client, from the moment somebody
 * listens for losses or wants them healed until the loop ends; a receiver
 * nobody asks about losses costs the middleware nothing more. */
void MorvaneChangeEvent::watchLossesIfWanted()
{
    if (m_lossWatch || !lossesWanted())
        return;
    const char* server = DravoPlus::activeServer(nullptr);
    m_lossWatch = std::make_unique<LossWatch>(*this, boxNameBytes().toStdString(), server ? server : "");
    DravoPlus::InstallListener(*m_lossWatch);
}

void MorvaneChangeEvent::stopWatchingLosses()
{
    if (!m_lossWatch)
        return;
    DravoPlus::RemoveListener(*m_lossWatch);
    m_lossWatch.reset();
}

void MorvaneChangeEvent::reportLoss(int count, LossReason reason)
{
    if (m_resyncOnLoss.load()) {
        long long expected = 0;
        m_resyncDueAtMs.compare_exchange_strong(expected, nowMs() + kResyncLatestMs);
        m_resyncPending.store(true);
    }
    Q_EMIT changesLost(count, reason);
}

/* ---- Healing ------------------------------------------------------------------ */

void MorvaneChangeEvent::setResyncOnLoss(bool on)
{
    m_resyncOnLoss.store(on);
}

bool MorvaneChangeEvent::resyncOnLoss() const
{
    return m_resyncOnLoss.load();
}

/* Changes read back from a packet carry no record name; the point's record
 * is named by its published type and id, as the runtime names it. */
void MorvaneChangeEvent::noteDelivered(const DravoData& change)
{
    if (*change.GetDataName()) {
        m_delivered.insert(change.GetDataName());
        return;
    }
    if (const char* type = ChangePacket::publishedTypeOf(change.GetTypeName()))
        m_delivered.insert(type + std::to_string(change.GetSignedIntValue("pid")));
}

void MorvaneChangeEvent::resyncIfDue(bool boxDrained)
{
    if (!m_resyncPending.load())
        return;
    if (!boxDrained && nowMs() < m_resyncDueAtMs.load())
        return;
    m_resyncPending.store(false);
    m_resyncDueAtMs.store(0);
    if (!resync()) {
        /* The server did not answer: the next round tries again. */
        long long expected = 0;
        m_resyncDueAtMs.compare_exchange_strong(expected, nowMs() + kResyncLatestMs);
        m_resyncPending.store(true);
    }
}

/* The image goes the way of a received batch: a server task packs and
 * publishes it for every operator application and hands it to its slots; an
 * operator application unpacks it and emits it, through the very packet code
 * a server task's batch takes. */
bool MorvaneChangeEvent::resync()
{
    const std::vector<std::string> names(m_delivered.begin(), m_delivered.end());
    for (std::size_t first = 0; first < names.size(); first += kResyncBatch) {
        const std::size_t last = std::min(names.size(), first + kResyncBatch);
        const std::vector<std::string> batch(names.begin() + static_cast<long>(first),
                                             names.begin() + static_cast<long>(last));
        DravoDataList records;
        if (DravoPlus::GetDataPointN(batch, records, nullptr, nullptr) != DRAVO_OK)
            return false;
        if (records.isEmpty())
            continue;
        if (m_serverMode) {
            publishAndDeliverToTask(records);
            continue;
        }
        ChangePacket packet;
        for (const DravoData& record : records)
            packet.append(record);
        if (packet.isEmpty())
            continue;
        DravoDataList packets;
        packets.append(packet.toRecord());
        deliverToApplication(packets);
    }
    return true;
}

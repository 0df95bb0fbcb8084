/*
 * changedispatch.cpp: what a change event receiver does with each batch it
 * receives, on its receiving thread.
 *
 * An operator application (client mode) gets the packets of the server task:
 * their changes are sorted by kind and point, and handed on as Qt signals,
 * each list and map once per packet. A server task (server mode) gets the raw
 * changes of the runtime: it packs them into one packet for all operator
 * applications and hands them to its own Boost.Signals2 slots.
 */
#include <MVShared/MorvaneChangeEvent.h>

#include "changepacket.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QString>
#include <QtCore/QThread>

#include <utility>

namespace {

/* A burst's records are copied into several lists and maps; the lists hold
 * them in place and a copy shares the record's bytes. */
static_assert(!QTypeInfo<DravoData>::isLarge && !QTypeInfo<DravoData>::isStatic,
              "QList holds records in place");

/* Appends change to list by moving it (QList has no appending move);
 * change is left empty. */
void appendTaken(QList<DravoData>& list, DravoData& change)
{
    list.append(DravoData());
    list.last() = std::move(change);
}

/* The signals of client mode that somebody listens to when a batch comes:
 * the lists and maps nobody would get are not made. */
struct WantedSignals {
    bool points = true;
    bool statusList = true;
    bool statusMap = true;
    bool analogList = true;
    bool analogMap = true;
    bool textList = true;
    bool textMap = true;
    bool nonPoints = true;
};

/* The changes of one received list in client mode. The lists keep every
 * change in arrival order; the maps keep the latest change of each point.
 * Each is kept only when its signal is wanted (the merged point data needs
 * the status and text maps); the counts are kept either way. */
class ClientBatch
{
public:
    explicit ClientBatch(const WantedSignals& wanted);

    /* Takes change, of that kind: its list takes it over, its map shares
     * it, each when kept. */
    void add(DravoData& change, ChangePacket::Kind kind);

    /* The latest status or text change of each point, by ascending id: the
     * displays' "data" (analog values have their own signals). */
    QList<DravoData> pointList() const;
    /* Remote unit and channel records, by type name, then id. */
    QList<DravoData> nonPointList() const;

    const WantedSignals wanted;
    int statusCount = 0;
    int analogCount = 0;
    int textCount = 0;
    QList<DravoData> statusList;
    QList<DravoData> analogList;
    QList<DravoData> textList;
    mapEvent statusMap;
    mapEvent analogMap;
    mapEvent textMap;
    QMap<QString, mapEvent> nonPoints;

private:
    void keep(QList<DravoData>& list, bool inList, mapEvent& map, bool inMap, int id, DravoData& change);

    const bool m_keepStatusMap;
    const bool m_keepTextMap;
    /* A point id that came both as a status and as a text change (which
     * the runtime never sends) is listed as the kind that came last. */
    QMap<int, ChangePacket::Kind> m_lastOfBoth;
};

ClientBatch::ClientBatch(const WantedSignals& wanted)
    : wanted(wanted), m_keepStatusMap(wanted.statusMap || wanted.points), m_keepTextMap(wanted.textMap || wanted.points)
{
}

void ClientBatch::keep(QList<DravoData>& list, bool inList, mapEvent& map, bool inMap, int id, DravoData& change)
{
    if (inMap)
        map.insert(id, change);
    if (inList)
        appendTaken(list, change);
}

void ClientBatch::add(DravoData& change, ChangePacket::Kind kind)
{
    const int id = ChangePacket::pointIdOf(change, kind);
    switch (kind) {
    case ChangePacket::Analog:
        ++analogCount;
        keep(analogList, wanted.analogList, analogMap, wanted.analogMap, id, change);
        break;
    case ChangePacket::Status:
        ++statusCount;
        if (wanted.points && !textMap.isEmpty() && textMap.contains(id))
            m_lastOfBoth.insert(id, kind);
        keep(statusList, wanted.statusList, statusMap, m_keepStatusMap, id, change);
        break;
    case ChangePacket::Text:
        ++textCount;
        if (wanted.points && !statusMap.isEmpty() && statusMap.contains(id))
            m_lastOfBoth.insert(id, kind);
        keep(textList, wanted.textList, textMap, m_keepTextMap, id, change);
        break;
    default:
        if (wanted.nonPoints)
            nonPoints[QString::fromLatin1(change.GetTypeName())][id] = std::move(change);
        break;
    }
}

/* Both maps are in id order already: merged, not sorted again. */
QList<DravoData> ClientBatch::pointList() const
{
    QList<DravoData> list;
    list.reserve(statusMap.size() + textMap.size());
    auto status = statusMap.cbegin();
    auto text = textMap.cbegin();
    while (status != statusMap.cend() || text != textMap.cend()) {
        if (text == textMap.cend() || (status != statusMap.cend() && status.key() < text.key())) {
            list.append(*status++);
        } else if (status == statusMap.cend() || text.key() < status.key()) {
            list.append(*text++);
        } else {
            list.append(m_lastOfBoth.value(status.key()) == ChangePacket::Text ? *text : *status);
            ++status;
            ++text;
        }
    }
    return list;
}

QList<DravoData> ClientBatch::nonPointList() const
{
    QList<DravoData> list;
    for (const mapEvent& ofType : nonPoints) {
        for (const DravoData& change : ofType)
            list.append(change);
    }
    return list;
}

/* Failures of a send that another attempt can mend: the server away or
 * changing, a password being changed. */
bool worthRetrying(int result)
{
    switch (result) {
    case DRAVO_NOT_CONNECTED:
    case DRAVO_UNREACHABLE:
    case DRAVO_READ_ONLY:
    case DRAVO_AUTH_FAILED:
    case DRAVO_TIMEOUT:
        return true;
    default:
        return false;
    }
}

/* Between attempts to publish a packet the server did not take. */
constexpr unsigned long kPublishRetryPauseMs = 100;

} // namespace

/* One compressed event per batch, to every operator application. For a
 * task whose losses somebody wants to hear of, a packet the server could
 * not take is sent again until it is taken or the task is stopped: the raw
 * changes in it have left the task's box and reach the operator
 * applications no other way. Any other task, and any refusal, leaves the
 * result as it is (logged for the former). */
void MorvaneChangeEvent::publishPacket(const ChangePacket& packet)
{
    DravoData record = packet.toRecord();
    DravoData* records[] = {&record};
    for (;;) {
        const int result = DravoPlus::SendEventN(DRAVO_EVENT_CHANGE_PACKET, records, 1, 1, nullptr, nullptr);
        if (result == DRAVO_OK)
            return;
        m_receiveFailures.fetch_add(1);
        const bool retry = worthRetrying(result) && lossesWanted() && m_stopRequest.loadRelaxed() == 0;
        warn(QStringLiteral("publish %1").arg(result),
             QStringLiteral("Change packet not published by %1: %2 %3; %4")
                 .arg(m_boxName)
                 .arg(result)
                 .arg(QString::fromUtf16(DravoPlus::GetErrorString(result)),
                      retry ? QStringLiteral("trying again")
                            : QStringLiteral("its changes do not reach the operator applications")));
        if (!retry)
            return;
        QThread::msleep(kPublishRetryPauseMs);
    }
}

void MorvaneChangeEvent::compressData(DravoDataList& list)
{
    if (m_serverMode)
        publishAndDeliverToTask(list);
    else
        deliverToApplication(list);
}

/* ---- Operator applications ----------------------------------------------------- */

/* Signals go out once per received list, after its last packet, in the order
 * the displays expect: the merged point data first, then by kind. */
void MorvaneChangeEvent::deliverToApplication(const DravoDataList& packets)
{
    WantedSignals wanted;
    wanted.points = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::dataChanged));
    wanted.statusList = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::statusChanged));
    wanted.statusMap = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::statusChangedMap));
    wanted.analogList = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::analogChanged));
    wanted.analogMap = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::analogChangedMap));
    wanted.textList = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::textChanged));
    wanted.textMap = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::textChangedMap));
    wanted.nonPoints = isSignalConnected(QMetaMethod::fromSignal(&MorvaneChangeEvent::nonPointdataChanged));
    ClientBatch batch(wanted);
    const bool tracking = m_resyncOnLoss.load(std::memory_order_relaxed);
    const auto take = [this, tracking, &batch](DravoData& change, ChangePacket::Kind kind) {
        if (tracking)
            noteDelivered(change);
        batch.add(change, kind);
    };
    for (const DravoData& packet : packets) {
        if (!ChangePacket::readEach(packet, take)) {
            m_packetsRefused.fetch_add(1);
            warn(QStringLiteral("refused"),
                 QStringLiteral("Change packet of %1 bytes refused by %2: it does not decompress, or it would "
                                "make more than %3 changes or %4 MB of them; its changes are lost")
                     .arg(packet.GetBufferSize())
                     .arg(m_boxName)
                     .arg(ChangePacket::kMostChanges)
                     .arg(ChangePacket::kMostChangeBytes / (1024 * 1024)));
            reportLoss(1, PacketRefused);
        }
    }
    if (wanted.points && (batch.statusCount > 0 || batch.textCount > 0))
        Q_EMIT dataChanged(batch.pointList());
    if (batch.statusCount > 0) {
        if (wanted.statusList)
            Q_EMIT statusChanged(batch.statusList);
        if (wanted.statusMap)
            Q_EMIT statusChangedMap(batch.statusMap);
    }
    if (batch.analogCount > 0) {
        if (wanted.analogList)
            Q_EMIT analogChanged(batch.analogList);
        if (wanted.analogMap)
            Q_EMIT analogChangedMap(batch.analogMap);
    }
    if (batch.textCount > 0) {
        if (wanted.textList)
            Q_EMIT textChanged(batch.textList);
        if (wanted.textMap)
            Q_EMIT textChangedMap(batch.textMap);
    }
    if (!batch.nonPoints.isEmpty())
        Q_EMIT nonPointdataChanged(batch.nonPointList());
}

/* ---- Server tasks ------------------------------------------------------------------ */

/* The task's slots get the raw point records as they came, after the packet
 * is out; remote unit and channel records only travel in the packet. */
void MorvaneChangeEvent::publishAndDeliverToTask(DravoDataList& changes)
{
    ChangePacket packet;
    packet.expect(changes.size());
    /* Lists only for the kinds a slot is connected to. */
    QList<DravoData> status;
    QList<DravoData> analog;
    QList<DravoData> text;
    QList<DravoData>* const listOf[] = {m_statusSignal.empty() ? nullptr : &status,
                                        m_analogSignal.empty() ? nullptr : &analog,
                                        m_textSignal.empty() ? nullptr : &text};
    for (QList<DravoData>* list : listOf) {
        if (list)
            list->reserve(changes.size());
    }
    const bool tracking = m_resyncOnLoss.load(std::memory_order_relaxed);
    for (DravoData& change : changes) {
        if (tracking)
            noteDelivered(change);
        QList<DravoData>* list = nullptr;
        switch (packet.append(change)) {
        case ChangePacket::Status:
            list = listOf[0];
            break;
        case ChangePacket::Analog:
            list = listOf[1];
            break;
        case ChangePacket::Text:
            list = listOf[2];
            break;
        default:
            break;
        }
        if (list)
            appendTaken(*list, change);
    }
    if (!packet.isEmpty())
        publishPacket(packet);
    if (!status.isEmpty())
        m_statusSignal(status);
    if (!analog.isEmpty())
        m_analogSignal(analog);
    if (!text.isEmpty())
        m_textSignal(text);
}

boost::signals2::connection MorvaneChangeEvent::connectAnalog(const ChangeSignal::slot_type& slot)
{
    return m_analogSignal.connect(slot);
}

boost::signals2::connection MorvaneChangeEvent::connectStatus(const ChangeSignal::slot_type& slot)
{
    return m_statusSignal.connect(slot);
}

boost::signals2::connection MorvaneChangeEvent::connectText(const ChangeSignal::slot_type& slot)
{
    return m_textSignal.connect(slot);
}

void MorvaneChangeEvent::makeItToChangedEvent(DravoData* source, DravoData& target)
{
    if (source)
        ChangePacket::toChangedEvent(*source, target);
}

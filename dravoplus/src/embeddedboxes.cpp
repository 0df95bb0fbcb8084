/*
 * embeddedboxes.cpp: events and event boxes of the runtime server inside this
 * process.
 *
 * A box is a bounded queue subscribed to one event kind. Boxes are indexed by
 * kind so that sending an event costs only the boxes that want it, whatever
 * the size of the plant. Each box owns a port number, fixed for its life, that
 * receivers use; a box that goes away takes its port with it, and whoever
 * still waits on it is woken to hear that it is gone.
 */
#include "embeddedstate.h"

#include <algorithm>
#include <limits>

namespace dravo {
namespace embedded {

namespace {

/* A box with a domain hears only its domain and the events sent to all. */
bool domainMatches(const Box& box, const std::string& eventDomain)
{
    return box.domain.empty() || eventDomain.empty() || box.domain == eventDomain;
}

int clampToInt(std::uint64_t value)
{
    return static_cast<int>(std::min<std::uint64_t>(value, std::numeric_limits<int>::max()));
}

} // namespace

/* ---- Sending -------------------------------------------------------------- */

/* The source of an event is not kept: no box or reader asks for it. */
int EmbeddedBackend::sendEvents(int kind, const std::vector<const DravoData*>& records,
                                const std::string& /*source*/, const std::string& domain)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.deliverLocked(kind, records, domain);
    return DRAVO_OK;
}

/* Every subscribed box gets every record, in order; the owner of a box that
 * overflowed hears once per send how many it lost. */
void EmbeddedServer::deliverLocked(int kind, const std::vector<const DravoData*>& records,
                                   const std::string& domain)
{
    const auto subscribers = m_boxesByKind.find(kind);
    if (subscribers == m_boxesByKind.end() || subscribers->second.empty())
        return;
    /* Each record is made ready to wait once, however many boxes keep it. */
    std::vector<WaitingRecord> waiting;
    waiting.reserve(records.size());
    for (const DravoData* record : records)
        if (record)
            waiting.emplace_back(*record);
    for (const BoxPtr& box : subscribers->second) {
        if (!domainMatches(*box, domain))
            continue;
        std::uint64_t dropped = 0;
        for (const WaitingRecord& record : waiting)
            dropped += enqueueLocked(*box, record);
        if (box->waiters > 0)
            box->cv.notify_all();
        if (dropped > 0)
            reportOverflowLocked(*box, dropped);
    }
}

/* Returns how many of the oldest records made room for this one. */
std::uint64_t EmbeddedServer::enqueueLocked(Box& box, const WaitingRecord& record)
{
    box.queue.push_back(record);
    std::uint64_t dropped = 0;
    while (box.queue.size() > static_cast<std::size_t>(box.capacity)) {
        box.queue.pop_front();
        ++dropped;
    }
    box.dropped += dropped;
    return dropped;
}

void EmbeddedServer::reportOverflowLocked(const Box& box, std::uint64_t dropped)
{
    if (BackendSink* sink = audibleSinkLocked(box.owner))
        sink->boxOverflow(box.name, clampToInt(dropped));
}

/* ---- Boxes ---------------------------------------------------------------- */

int EmbeddedBackend::createBox(const std::string& name, int kind, int capacity, const std::string& domain)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    if (name.empty() || capacity < 1)
        return DRAVO_BAD_ARGUMENT;
    if (m_server.m_boxes.count(name) != 0)
        return DRAVO_OK;
    auto box = std::make_shared<Box>();
    box->name = name;
    box->kind = kind;
    box->capacity = capacity;
    box->domain = domain;
    box->owner = m_client;
    box->port = m_server.newPortLocked();
    m_server.m_boxes.emplace(name, box);
    m_server.m_boxesByKind[kind].push_back(box);
    m_server.m_ports.emplace(box->port, box);
    return DRAVO_OK;
}

/* A box made transient while its owner is away would have nobody left to
 * remove it, so it goes at once. */
int EmbeddedBackend::setPersistent(const std::string& name, bool persistent)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_boxes.find(name);
    if (it == m_server.m_boxes.end())
        return DRAVO_NOT_FOUND;
    const BoxPtr box = it->second;
    box->persistent = persistent;
    if (!persistent && !m_server.connectedLocked(box->owner))
        m_server.removeBoxLocked(box);
    return DRAVO_OK;
}

int EmbeddedBackend::deleteBox(const std::string& name)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_boxes.find(name);
    if (it == m_server.m_boxes.end())
        return DRAVO_NOT_FOUND;
    m_server.removeBoxLocked(BoxPtr(it->second));
    return DRAVO_OK;
}

int EmbeddedBackend::connectPort(const std::string& name, unsigned int& port)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_boxes.find(name);
    if (it == m_server.m_boxes.end())
        return DRAVO_NOT_FOUND;
    port = it->second->port;
    return DRAVO_OK;
}

int EmbeddedBackend::boxInfo(const std::string& name, DravoEventBoxInfo& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_boxes.find(name);
    if (it == m_server.m_boxes.end())
        return DRAVO_NOT_FOUND;
    out = EmbeddedServer::describe(*it->second);
    return DRAVO_OK;
}

int EmbeddedBackend::listBoxes(std::vector<DravoEventBoxInfo>& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    out.clear();
    for (const auto& [name, box] : m_server.m_boxes)
        out.push_back(EmbeddedServer::describe(*box));
    return DRAVO_OK;
}

DravoEventBoxInfo EmbeddedServer::describe(const Box& box)
{
    DravoEventBoxInfo info;
    info.name = box.name;
    info.kind = box.kind;
    info.capacity = box.capacity;
    info.queued = static_cast<int>(box.queue.size());
    info.dropped = box.dropped;
    info.persistent = box.persistent;
    info.domain = box.domain;
    return info;
}

/* Takes the box out of every index; its waiters wake up and find it gone. */
void EmbeddedServer::removeBoxLocked(const BoxPtr& box)
{
    m_boxes.erase(box->name);
    m_ports.erase(box->port);
    auto subscribers = m_boxesByKind.find(box->kind);
    if (subscribers != m_boxesByKind.end()) {
        auto& list = subscribers->second;
        list.erase(std::remove(list.begin(), list.end(), box), list.end());
        if (list.empty())
            m_boxesByKind.erase(subscribers);
    }
    box->removed = true;
    box->queue.clear();
    box->cv.notify_all();
}

void EmbeddedServer::removeClientBoxesLocked(ClientKey client)
{
    std::vector<BoxPtr> leaving;
    for (const auto& [name, box] : m_boxes)
        if (box->owner == client && !box->persistent)
            leaving.push_back(box);
    for (const BoxPtr& box : leaving)
        removeBoxLocked(box);
}

void EmbeddedServer::removeTransientBoxesLocked()
{
    std::vector<BoxPtr> leaving;
    for (const auto& [name, box] : m_boxes)
        if (!box->persistent)
            leaving.push_back(box);
    for (const BoxPtr& box : leaving)
        removeBoxLocked(box);
}

/* Never 0 (a caller's "no port") and never one a living box holds. */
unsigned int EmbeddedServer::newPortLocked()
{
    do
        ++m_lastPort;
    while (m_lastPort == 0 || m_ports.count(m_lastPort) != 0);
    return m_lastPort;
}

/* ---- Receiving ------------------------------------------------------------ */

int EmbeddedBackend::receive(unsigned int port, DravoDataList& out, const std::string& typeFilter, int maxRecords,
                             long waitMs)
{
    const Clock::time_point deadline = deadlineAfter(waitMs);
    std::unique_lock<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    if (maxRecords < 1)
        return DRAVO_BAD_ARGUMENT;
    const auto it = m_server.m_ports.find(port);
    if (it == m_server.m_ports.end())
        return DRAVO_NOT_FOUND;
    const BoxPtr box = it->second;
    out.clear();
    WaiterCount waiting(box->waiters);
    for (;;) {
        if (!m_server.connectedLocked(m_client))
            return DRAVO_NOT_CONNECTED;
        if (box->removed)
            return DRAVO_NOT_FOUND;
        if (EmbeddedServer::takeRecords(*box, out, typeFilter, maxRecords))
            return DRAVO_OK;
        if (Clock::now() >= deadline)
            return DRAVO_TIMEOUT;
        box->cv.wait_until(lock, deadline);
    }
}

/* Records of other types than the filter are taken and dropped: the reader
 * asked not to see them, and leaving them would block the queue. */
bool EmbeddedServer::takeRecords(Box& box, DravoDataList& out, const std::string& typeFilter, int maxRecords)
{
    while (!box.queue.empty() && out.size() < maxRecords) {
        WaitingRecord record = std::move(box.queue.front());
        box.queue.pop_front();
        if (typeFilter.empty() || typeFilter == record.typeName())
            out.append(record.take());
    }
    return !out.isEmpty();
}

} // namespace embedded
} // namespace dravo

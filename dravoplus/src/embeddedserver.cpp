/*
 * embeddedserver.cpp: the runtime server that lives inside this process, and
 * the backend through which each client of the process reaches it.
 *
 * Here are the clients and their connections, the simulated outage, the point
 * database and the heartbeat entries; event boxes are in embeddedboxes.cpp
 * and packets in embeddedpackets.cpp. An outage behaves like a network
 * failure between the clients and a server that keeps running: records,
 * persistent boxes and heartbeat entries survive it, everything that belongs
 * to a connection (transient boxes, packet receivers, blocked calls) does not.
 */
#include "embeddedserver.h"
#include "embeddedstate.h"
#include "partialwrite.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>

namespace dravo {
namespace embedded {

namespace {

const char* const kServerName = "embedded";

} // namespace

Clock::time_point deadlineAfter(long waitMs)
{
    /* Ten years: far beyond any wait, far below the clock's range. */
    constexpr long kLongestWaitMs = 10L * 365 * 24 * 3600 * 1000;
    const long ms = std::clamp(waitMs, 0L, kLongestWaitMs);
    return Clock::now() + std::chrono::milliseconds(ms);
}

/* Never destroyed: clients freed by static destructors and middleware
 * threads still running at exit must never meet a dead server. */
EmbeddedServer& EmbeddedServer::instance()
{
    static EmbeddedServer* const server = new EmbeddedServer();
    return *server;
}

EmbeddedServer::EmbeddedServer()
{
    ensureMarkerLocked(makeMarkerRecord());
}

/* ---- Clients and connection --------------------------------------------- */

ClientKey EmbeddedServer::addClient(const std::string& name, BackendSink& sink)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const ClientKey key = ++m_lastClient;
    ClientState& state = m_clients[key];
    state.name = name;
    state.sink = &sink;
    return key;
}

/* The backend is going away: its client leaves like a disconnect, but its
 * sink may already be half destroyed with its owner, so it hears nothing. */
void EmbeddedServer::removeClient(ClientKey client)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    ClientState* state = clientLocked(client);
    if (!state)
        return;
    bringDownLocked(client, *state, false);
    m_clients.erase(client);
}

int EmbeddedBackend::connect()
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    ClientState* state = m_server.clientLocked(m_client);
    if (!state)
        return DRAVO_NOT_CONNECTED;
    state->wantsConnection = true;
    state->silent = false;
    if (!m_server.m_online)
        return DRAVO_NOT_CONNECTED;
    if (!state->connected)
        m_server.bringUpLocked(*state);
    return DRAVO_OK;
}

int EmbeddedBackend::disconnect()
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    ClientState* state = m_server.clientLocked(m_client);
    if (!state)
        return DRAVO_OK;
    state->wantsConnection = false;
    m_server.bringDownLocked(m_client, *state, true);
    return DRAVO_OK;
}

void EmbeddedBackend::abandon()
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    ClientState* state = m_server.clientLocked(m_client);
    if (!state)
        return;
    state->wantsConnection = false;
    m_server.bringDownLocked(m_client, *state, false);
    state->silent = true;
}

bool EmbeddedBackend::isConnected() const
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    return m_server.connectedLocked(m_client);
}

void EmbeddedServer::setOnline(bool online)
{
    /* Built before locking: making a record may load the dictionary. */
    DravoData marker = online ? makeMarkerRecord() : DravoData();
    std::lock_guard<std::mutex> lock(m_mutex);
    if (online == m_online)
        return;
    m_online = online;
    if (online) {
        ensureMarkerLocked(std::move(marker));
        for (auto& [key, state] : m_clients)
            if (state.wantsConnection && !state.connected)
                bringUpLocked(state);
        return;
    }
    for (auto& [key, state] : m_clients)
        bringDownLocked(key, state, true);
    /* Owners are all gone now; what they left must not outlive the outage. */
    removeTransientBoxesLocked();
    wakeAllWaitersLocked();
}

bool EmbeddedServer::online()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_online;
}

bool EmbeddedServer::connectedLocked(ClientKey client) const
{
    const auto it = m_clients.find(client);
    return it != m_clients.end() && it->second.connected;
}

ClientState* EmbeddedServer::clientLocked(ClientKey client)
{
    const auto it = m_clients.find(client);
    return it == m_clients.end() ? nullptr : &it->second;
}

/* The sink of a client that still exists and may still hear news. */
BackendSink* EmbeddedServer::audibleSinkLocked(ClientKey client)
{
    ClientState* state = clientLocked(client);
    return state && !state->silent ? state->sink : nullptr;
}

void EmbeddedServer::bringUpLocked(ClientState& state)
{
    state.connected = true;
    state.sink->connectionUp();
    state.sink->activeServerChanged(kServerName);
}

/* Ends a client's connection: what belongs to the connection goes, what
 * belongs to the task (persistent boxes, heartbeat entries) stays, and the
 * task's heartbeat leases start running out. */
void EmbeddedServer::bringDownLocked(ClientKey client, ClientState& state, bool notify)
{
    if (!state.connected)
        return;
    state.connected = false;
    if (notify && !state.silent) {
        state.sink->connectionDown();
        state.sink->activeServerChanged("");
    }
    releaseClientLocked(client);
}

void EmbeddedServer::releaseClientLocked(ClientKey client)
{
    removeClientBoxesLocked(client);
    dropReceiversLocked(client);
    startLeasesLocked(client);
    /* The client's own blocked calls must return now, wherever they wait. */
    wakeAllWaitersLocked();
}

void EmbeddedServer::wakeAllWaitersLocked()
{
    for (auto& [name, box] : m_boxes)
        if (box->waiters > 0)
            box->cv.notify_all();
    for (auto& [name, target] : m_targets)
        if (target->waiters > 0)
            target->cv.notify_all();
    for (auto& [handle, packet] : m_packets)
        if (packet->waiters > 0)
            packet->cv.notify_all();
}

void EmbeddedServer::ensureMarkerLocked(DravoData marker)
{
    if (m_records.count(kMarkerRecordName) == 0)
        storeRecordLocked(std::move(marker));
}

/* ---- Heartbeats ----------------------------------------------------------- */

bool EmbeddedServer::heartbeatLiveLocked(const HeartbeatEntry& entry, Clock::time_point now) const
{
    return connectedLocked(entry.holder) || now < entry.leaseUntil;
}

/* A holder that lost its connection keeps its entries for one lease, so a
 * short outage does not hand the task to the standby. */
void EmbeddedServer::startLeasesLocked(ClientKey client)
{
    const Clock::time_point until = Clock::now() + std::chrono::milliseconds(scaledMs(kHeartbeatLeaseSeconds));
    for (auto& [task, entry] : m_heartbeats)
        if (entry.holder == client)
            entry.leaseUntil = until;
}

int EmbeddedBackend::contendHeartbeat(const std::string& task, const DravoData& record)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    auto it = m_server.m_heartbeats.find(task);
    if (it != m_server.m_heartbeats.end() && it->second.holder != m_client) {
        if (m_server.heartbeatLiveLocked(it->second, Clock::now()))
            return DRAVO_HEARTBEAT_HELD;
        if (BackendSink* previous = m_server.audibleSinkLocked(it->second.holder))
            previous->heartbeatLost(task);
    }
    HeartbeatEntry& entry = m_server.m_heartbeats[task];
    entry.holder = m_client;
    entry.holderName = m_server.m_clients[m_client].name;
    entry.record = record;
    return DRAVO_OK;
}

int EmbeddedBackend::listHeartbeats(std::vector<DravoHeartbeatInfo>& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    out.clear();
    const Clock::time_point now = Clock::now();
    for (const auto& [task, entry] : m_server.m_heartbeats) {
        DravoHeartbeatInfo info;
        info.task = task;
        info.holder = entry.holderName;
        info.live = m_server.heartbeatLiveLocked(entry, now);
        info.record = entry.record;
        out.push_back(std::move(info));
    }
    return DRAVO_OK;
}

/* ---- Point database ------------------------------------------------------- */

void EmbeddedServer::storeRecordLocked(DravoData record)
{
    const std::string name = record.GetDataName();
    auto it = m_records.find(name);
    if (it != m_records.end()) {
        unindexRecordLocked(name, it->second);
        m_recordsByType[record.GetTypeName()].insert(name);
        it->second = std::move(record);
        return;
    }
    m_recordsByType[record.GetTypeName()].insert(name);
    m_records.emplace(name, std::move(record));
}

void EmbeddedServer::unindexRecordLocked(const std::string& name, const DravoData& record)
{
    auto it = m_recordsByType.find(record.GetTypeName());
    if (it == m_recordsByType.end())
        return;
    it->second.erase(name);
    if (it->second.empty())
        m_recordsByType.erase(it);
}

int EmbeddedBackend::getRecord(const std::string& name, DravoData& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_records.find(name);
    if (it == m_server.m_records.end())
        return DRAVO_NOT_FOUND;
    out = it->second;
    return DRAVO_OK;
}

int EmbeddedBackend::getRecords(const std::vector<std::string>& names, DravoDataList& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    out.clear();
    for (const std::string& name : names) {
        const auto it = m_server.m_records.find(name);
        if (it == m_server.m_records.end())
            continue;
        out.append(it->second);
        out.records().back().SetFullName(name.c_str());
    }
    return DRAVO_OK;
}

int EmbeddedBackend::getRecordsByType(const std::string& type, DravoDataList& out)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    out.clear();
    const auto names = m_server.m_recordsByType.find(type);
    if (names == m_server.m_recordsByType.end())
        return DRAVO_OK;
    for (const std::string& name : names->second)
        out.append(m_server.m_records.at(name));
    return DRAVO_OK;
}

int EmbeddedBackend::putRecords(const std::vector<DravoData>& records)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    for (const DravoData& record : records)
        if (!record.IsGood() || !*record.GetTypeName() || !*record.GetDataName())
            return DRAVO_BAD_ARGUMENT;
    for (const DravoData& record : records)
        m_server.storeRecordLocked(record);
    return DRAVO_OK;
}

int EmbeddedBackend::deleteRecord(const std::string& name)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto it = m_server.m_records.find(name);
    if (it == m_server.m_records.end())
        return DRAVO_NOT_FOUND;
    m_server.unindexRecordLocked(name, it->second);
    m_server.m_records.erase(it);
    return DRAVO_OK;
}

namespace {

/* A point record keeps its place in memory when a write changes only its
 * value: the new bytes are copied into it rather than the record being
 * replaced by the write's copy, which goes out with the change alone. Every
 * stored record then stays where the plant's load put it, and a burst
 * leaves none of them on pages it took, which the process could then never
 * give back. A stored record that a reader still holds is copied first, so
 * the reader keeps what it read. */
bool overwriteInPlace(DravoData& stored, const DravoData& result)
{
    if (stored.recordType() != result.recordType() || stored.GetBufferSize() != result.GetBufferSize() ||
        !stored.variableFields().empty() || !result.variableFields().empty() ||
        std::strcmp(stored.GetDataName(), result.GetDataName()) != 0)
        return false;
    return stored.SetRawValue(result.GetRawValue(), result.GetBufferSize()) == DRAVO_OK;
}

} // namespace

/* The batch is applied to copies of the stored records; only when every
 * entry fits are the copies stored, and with publish each entry's result goes
 * out as a raw change under the same lock, so no reader ever sees a write
 * without its event or an event without its write. */
int EmbeddedBackend::putPartials(const std::vector<std::string>& names,
                                 const std::vector<const DravoPartialData*>& partials, bool publish)
{
    if (const int rc = checkBatch(names, partials))
        return rc;
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    const auto& records = m_server.m_records;
    AppliedBatch batch;
    const int rc = applyBatch(names, partials,
                              [&records](const std::string& name, DravoData& out) {
                                  const auto stored = records.find(name);
                                  if (stored == records.end())
                                      return static_cast<int>(DRAVO_NOT_FOUND);
                                  out = stored->second;
                                  return static_cast<int>(DRAVO_OK);
                              },
                              batch);
    if (rc != DRAVO_OK)
        return rc;

    for (const auto& [name, index] : batch.latest) {
        DravoData& stored = m_server.m_records[name];
        DravoData& result = batch.results[index];
        if (!overwriteInPlace(stored, result))
            stored = publish ? result : std::move(result);
    }
    if (publish) {
        std::vector<const DravoData*> events;
        events.reserve(batch.results.size());
        for (const DravoData& record : batch.results)
            events.push_back(&record);
        m_server.deliverLocked(DRAVO_EVENT_RAW_CHANGE, events, std::string());
    }
    return DRAVO_OK;
}

/* ---- The backend of one client -------------------------------------------- */

EmbeddedBackend::EmbeddedBackend(const std::string& clientId, BackendSink& sink)
    : m_server(EmbeddedServer::instance()), m_client(m_server.addClient(clientId, sink))
{
}

EmbeddedBackend::~EmbeddedBackend()
{
    m_server.removeClient(m_client);
}

std::string EmbeddedBackend::activeServer() const
{
    return isConnected() ? kServerName : "";
}

} // namespace embedded

std::unique_ptr<Backend> makeEmbeddedBackend(const std::string& clientId, BackendSink& sink)
{
    return std::make_unique<embedded::EmbeddedBackend>(clientId, sink);
}

void setEmbeddedServerOnline(bool online)
{
    embedded::EmbeddedServer::instance().setOnline(online);
}

bool embeddedServerOnline()
{
    return embedded::EmbeddedServer::instance().online();
}

} // namespace dravo

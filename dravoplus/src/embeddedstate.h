/*
 * embeddedstate.h: what the runtime server inside this process keeps, shared
 * by the files that implement it:
 *   embeddedserver.cpp   clients, connection and outage, point database,
 *                        heartbeats;
 *   embeddedboxes.cpp    events and event boxes;
 *   embeddedpackets.cpp  request/reply packets.
 *
 * All of it is guarded by one mutex. A blocking call waits on the condition
 * variable of the one thing it waits for (a box, a packet target, a handle),
 * so that a delivery wakes only the callers interested in it; what ends every
 * wait at once (a client going away, the outage) wakes all of them. Each of
 * those things counts its waiters so that the hot path of a scan burst (a
 * published write per changed point) skips the notify when nobody listens.
 */
#ifndef DRAVOPLUS_EMBEDDEDSTATE_H
#define DRAVOPLUS_EMBEDDEDSTATE_H

#include "backend.h"
#include "timing.h"
#include "waitingrecord.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace dravo {
namespace embedded {

/* A client's identity inside the server: never reused, so that an owner or
 * holder that went away can never be mistaken for a newer client. */
using ClientKey = std::uint64_t;

struct ClientState {
    std::string name;                /* shown as heartbeat holder */
    BackendSink* sink = nullptr;
    bool wantsConnection = false;    /* connect() called and not disconnect() */
    bool connected = false;
    bool silent = false;             /* abandoned: hears nothing any more */
};

struct Box {
    std::string name;
    int kind = 0;
    int capacity = 1;
    std::string domain;
    bool persistent = false;
    ClientKey owner = 0;
    unsigned int port = 0;
    std::deque<WaitingRecord> queue;
    std::uint64_t dropped = 0;
    bool removed = false;            /* waiters still holding it must leave */
    int waiters = 0;
    std::condition_variable cv;
};
using BoxPtr = std::shared_ptr<Box>;

using ExpiryIndex = std::multimap<Clock::time_point, DravoHandle>;

/* One request and, later, its reply, alive from the send until it is
 * released or expires. */
struct Packet {
    std::string target;
    DravoData request;
    bool requestTaken = false;
    std::optional<DravoData> reply;
    Clock::time_point expires;
    ExpiryIndex::iterator expiryEntry;
    bool gone = false;               /* released or expired while someone waited */
    int waiters = 0;
    std::condition_variable cv;
};
using PacketPtr = std::shared_ptr<Packet>;

struct PacketTarget {
    ClientKey receiver = 0;          /* 0: nobody serves it; else a connected client */
    /* Handles only grow, so the set's first element is the oldest request. */
    std::set<DravoHandle> queue;
    int waiters = 0;
    std::condition_variable cv;
};
using TargetPtr = std::shared_ptr<PacketTarget>;

struct HeartbeatEntry {
    ClientKey holder = 0;
    std::string holderName;
    DravoData record;
    /* Meaningful only while the holder is not connected. */
    Clock::time_point leaseUntil;
};

/* Counts a blocked caller for the duration of its wait. */
class WaiterCount
{
public:
    explicit WaiterCount(int& count) : m_count(count) { ++m_count; }
    ~WaiterCount() { --m_count; }
    WaiterCount(const WaiterCount&) = delete;
    WaiterCount& operator=(const WaiterCount&) = delete;

private:
    int& m_count;
};

/* The end of a wait of waitMs from now; negative waits do not wait, and
 * absurdly long ones are cut where the clock cannot overflow. */
Clock::time_point deadlineAfter(long waitMs);

/* The server's state, shared by every client of the process, and the steps
 * that work on it. Its calls are made by the clients' EmbeddedBackends. */
class EmbeddedServer
{
public:
    static EmbeddedServer& instance();

    /* Clients and the outage (embeddedserver.cpp). */
    ClientKey addClient(const std::string& name, BackendSink& sink);
    void removeClient(ClientKey client);
    void setOnline(bool online);
    bool online();

private:
    friend class EmbeddedBackend;
    EmbeddedServer();

    /* Everything named ...Locked expects m_mutex to be held. */

    /* Clients (embeddedserver.cpp). */
    bool connectedLocked(ClientKey client) const;
    ClientState* clientLocked(ClientKey client);
    BackendSink* audibleSinkLocked(ClientKey client);
    void bringUpLocked(ClientState& state);
    void bringDownLocked(ClientKey client, ClientState& state, bool notify);
    void releaseClientLocked(ClientKey client);
    void wakeAllWaitersLocked();
    void ensureMarkerLocked(DravoData marker);

    /* Point database (embeddedserver.cpp). */
    void storeRecordLocked(DravoData record);
    void unindexRecordLocked(const std::string& name, const DravoData& record);

    /* Heartbeats (embeddedserver.cpp). */
    bool heartbeatLiveLocked(const HeartbeatEntry& entry, Clock::time_point now) const;
    void startLeasesLocked(ClientKey client);

    /* Boxes (embeddedboxes.cpp). */
    void deliverLocked(int kind, const std::vector<const DravoData*>& records,
                       const std::string& domain);
    std::uint64_t enqueueLocked(Box& box, const WaitingRecord& record);
    void reportOverflowLocked(const Box& box, std::uint64_t dropped);
    void removeBoxLocked(const BoxPtr& box);
    void removeClientBoxesLocked(ClientKey client);
    void removeTransientBoxesLocked();
    unsigned int newPortLocked();
    static bool takeRecords(Box& box, DravoDataList& out, const std::string& typeFilter,
                            int maxRecords);
    static DravoEventBoxInfo describe(const Box& box);

    /* Packets (embeddedpackets.cpp). */
    void purgeExpiredLocked(Clock::time_point now);
    void forgetPacketLocked(DravoHandle handle);
    void dropReceiversLocked(ClientKey client);
    void dropTargetIfIdleLocked(const std::string& target);
    bool takeRequestLocked(PacketTarget& target, DravoData& request, DravoHandle& handle);

    std::mutex m_mutex;
    bool m_online = true;

    ClientKey m_lastClient = 0;
    std::unordered_map<ClientKey, ClientState> m_clients;

    std::unordered_map<std::string, DravoData> m_records;
    std::unordered_map<std::string, std::set<std::string>> m_recordsByType;

    std::map<std::string, BoxPtr> m_boxes;
    std::unordered_map<int, std::vector<BoxPtr>> m_boxesByKind;
    std::unordered_map<unsigned int, BoxPtr> m_ports;
    unsigned int m_lastPort = 0;

    std::unordered_map<DravoHandle, PacketPtr> m_packets;
    ExpiryIndex m_expiries;
    std::unordered_map<std::string, TargetPtr> m_targets;
    DravoHandle m_lastHandle = 0;

    std::map<std::string, HeartbeatEntry> m_heartbeats;
};

/* One client's connection to the embedded server: every call of the Backend
 * interface, made as that client. The calls live beside the state they work
 * on: connection, heartbeats and records in embeddedserver.cpp, events and
 * boxes in embeddedboxes.cpp, packets in embeddedpackets.cpp. */
class EmbeddedBackend final : public Backend
{
public:
    EmbeddedBackend(const std::string& clientId, BackendSink& sink);
    ~EmbeddedBackend() override;
    EmbeddedBackend(const EmbeddedBackend&) = delete;
    EmbeddedBackend& operator=(const EmbeddedBackend&) = delete;

    int connect() override;
    int disconnect() override;
    bool isConnected() const override;
    std::string activeServer() const override;
    void abandon() override;

    int contendHeartbeat(const std::string& task, const DravoData& record) override;
    int listHeartbeats(std::vector<DravoHeartbeatInfo>& out) override;

    int getRecord(const std::string& name, DravoData& out) override;
    int getRecords(const std::vector<std::string>& names, DravoDataList& out) override;
    int getRecordsByType(const std::string& type, DravoDataList& out) override;
    int putRecords(const std::vector<DravoData>& records) override;
    int deleteRecord(const std::string& name) override;
    int putPartials(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials,
                    bool publish) override;

    int sendEvents(int kind, const std::vector<const DravoData*>& records, const std::string& source,
                   const std::string& domain) override;
    int createBox(const std::string& name, int kind, int capacity, const std::string& domain) override;
    int setPersistent(const std::string& name, bool persistent) override;
    int deleteBox(const std::string& name) override;
    int connectPort(const std::string& name, unsigned int& port) override;
    int receive(unsigned int port, DravoDataList& out, const std::string& typeFilter, int maxRecords,
                long waitMs) override;
    int boxInfo(const std::string& name, DravoEventBoxInfo& out) override;
    int listBoxes(std::vector<DravoEventBoxInfo>& out) override;

    int sendPacket(const std::string& target, const DravoData& request, int mode, long expiryMs,
                   DravoHandle& handle) override;
    int waitReply(DravoHandle handle, DravoData& reply, long waitMs) override;
    int releaseHandle(DravoHandle handle) override;
    int registerReceiver(const std::string& target) override;
    int unregisterReceiver(const std::string& target) override;
    int receivePacket(const std::string& target, DravoData& request, DravoHandle& handle, long waitMs) override;
    int replyPacket(DravoHandle handle, const DravoData& reply) override;

private:
    EmbeddedServer& m_server;
    const ClientKey m_client;
};

} // namespace embedded
} // namespace dravo

#endif

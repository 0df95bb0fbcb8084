/*
 * redisbackend.h: the runtime server kept in Redis, as one client sees it.
 *
 * The state of the runtime server (point database, event boxes, packets,
 * heartbeat entries) lives in Redis and is shared by every client of every
 * process that reaches the same server; see redisscripts.cpp for its keys.
 * A RedisBackend is one client's view of it, split by family like the
 * embedded server:
 *   redisbackend.cpp     connection, monitoring and moving to the standby;
 *   redisrecords.cpp     the point database and partial writes;
 *   redisboxes.cpp       events and event boxes;
 *   redispackets.cpp     request/reply packets;
 *   redisheartbeats.cpp  heartbeat entries.
 *
 * Calls take a connection of their own from the client's pool for their
 * duration, so a blocked receive never stalls another thread. One monitor
 * thread per client renews what the client holds (its presence, heartbeat
 * leases, packet targets), collects news meant for it (box overflows, lost
 * heartbeats) and notices when the server stops answering; it then moves to
 * whichever configured server is a writable primary.
 */
#ifndef DRAVOPLUS_REDISBACKEND_H
#define DRAVOPLUS_REDISBACKEND_H

#include "backend.h"
#include "redisconnection.h"
#include "redisscripts.h"
#include "timing.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace dravo {

/* Whether a setting selects a Redis server (its first address is redis://). */
bool isRedisSetting(const std::vector<std::string>& addresses);
/* A backend for one client; DRAVO_CONFIG_ERROR when an address is malformed. */
int makeRedisBackend(const std::vector<std::string>& addresses, const std::string& clientId,
                     BackendSink& sink, std::unique_ptr<Backend>& out);

namespace redis {

/* How long a connection attempt or an ordinary reply may take: the connect
 * timeout at the wait scale, but never below a floor, so that a loopback
 * server that is merely busy is not taken for dead at a small scale. */
long connectTimeoutMs();
/* A heartbeat lease at the wait scale (at least a millisecond). */
long leaseMs();
/* How long a client's presence and its packet targets outlive its last
 * renewal: a lease, but never below the connect timeout's floor. */
long presenceMs();
/* How long a client's transient boxes outlive its last renewal. */
long boxGraceMs();
/* The end of a wait of waitMs from now (negative waits do not wait). */
Clock::time_point deadlineIn(long waitMs);
/* What is left of a wait, in milliseconds (never negative). */
long msUntil(Clock::time_point deadline);
/* A record from its stored or sent form. */
int decodeRecord(const redisReply* form, DravoData& out);

/* What a box's taken list last handed this client: how many records, once
 * the client knows they reached it (-1: it cannot tell), and whether that
 * was all the list held, so that the list is empty once they are
 * acknowledged. */
struct Arrival {
    long records = -1;
    bool whole = false;
};

/* Where a transaction's raw changes go, as Script::Targets found it: each
 * healthy box of the kind with the settings it was found healthy with, and
 * the damaged ones, which get nothing. */
struct DeliveryBox {
    std::string name;
    std::string queue;
    Command settings;        /* as stored: kind, capacity, domain, owner, port, persistent, dropped */
    long long capacity = 0;
};
struct Deliveries {
    bool known = false;
    std::vector<DeliveryBox> boxes;
    std::vector<std::string> damaged;
};

class RedisBackend final : public Backend
{
public:
    RedisBackend(std::string clientId, std::vector<ConfiguredServer> servers, BackendSink& sink);
    ~RedisBackend() override;
    RedisBackend(const RedisBackend&) = delete;
    RedisBackend& operator=(const RedisBackend&) = delete;

    /* Connection (redisbackend.cpp). */
    int connect() override;
    int disconnect() override;
    bool isConnected() const override;
    std::string activeServer() const override;
    void abandon() override;

    /* Heartbeats (redisheartbeats.cpp). */
    int contendHeartbeat(const std::string& task, const DravoData& record) override;
    int listHeartbeats(std::vector<DravoHeartbeatInfo>& out) override;

    /* Point database (redisrecords.cpp). */
    int getRecord(const std::string& name, DravoData& out) override;
    int getRecords(const std::vector<std::string>& names, DravoDataList& out) override;
    int getRecordsByType(const std::string& type, DravoDataList& out) override;
    int putRecords(const std::vector<DravoData>& records) override;
    int deleteRecord(const std::string& name) override;
    int putPartials(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials,
                    bool publish) override;

    /* Events and boxes (redisboxes.cpp). */
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

    /* Packets (redispackets.cpp). */
    int sendPacket(const std::string& target, const DravoData& request, int mode, long expiryMs,
                   DravoHandle& handle) override;
    int waitReply(DravoHandle handle, DravoData& reply, long waitMs) override;
    int releaseHandle(DravoHandle handle) override;
    int registerReceiver(const std::string& target) override;
    int unregisterReceiver(const std::string& target) override;
    int receivePacket(const std::string& target, DravoData& request, DravoHandle& handle, long waitMs) override;
    int replyPacket(DravoHandle handle, const DravoData& reply) override;

private:
    /* Runs work on a pooled connection of the active server. A connection
     * that fails under it means the server is gone: the monitor is told,
     * and the call returns DRAVO_NOT_CONNECTED. */
    template <typename Work>
    int exchange(Work work)
    {
        if (!m_connected)
            return DRAVO_NOT_CONNECTED;
        PooledConnection connection(m_pool);
        if (!connection) {
            wakeMonitor();
            return DRAVO_NOT_CONNECTED;
        }
        const int rc = work(*connection);
        if (connection->broken()) {
            wakeMonitor();
            return DRAVO_NOT_CONNECTED;
        }
        return rc;
    }
    /* A partial write by reading, applying here and writing back in one
     * transaction (redisrecords.cpp). */
    int applyAndWrite(RedisConnection& connection, const std::vector<std::string>& names,
                      const std::vector<const DravoPartialData*>& partials, bool publish,
                      const std::vector<std::string>& unique, const Command& keys);
    int writeOnce(RedisConnection& connection, const std::vector<std::string>& names,
                  const std::vector<const DravoPartialData*>& partials, bool publish,
                  const std::vector<std::string>& unique, const Command& keys);
    /* The boxes a transaction last delivered to without a script, when all
     * were healthy; forgotten when they change. */
    Deliveries knownDeliveries();
    void setKnownDeliveries(Deliveries deliveries);
    void settleTrimmed(RedisConnection& connection, Deliveries deliveries, const std::string& count,
                       const redisReply* exec);
    /* DRAVO_OK when this client's Redis user may run transactions, or the
     * refusal; asked of the server once per connection to it. */
    int transactionsAllowed(RedisConnection& connection);
    /* The result of a script whose reply is a plain status. */
    static int scriptResult(const Reply& reply);

    /* Connection and monitoring (redisbackend.cpp). */
    int connectOnce();
    int openPrimary(std::size_t& index, const RedisAddress*& address, std::unique_ptr<RedisConnection>& connection);
    /* The address kept where it stays put while the client lives (the pool
     * serves it by pointer), once per distinct address. */
    const RedisAddress* keep(const RedisAddress& address);
    /* Whether the sentinels of the active server, if it has them, now name
     * another primary; asked at most once a second. */
    bool primaryMoved();
    int join(RedisConnection& connection);
    void bringUp(std::size_t index, const RedisAddress* address, std::unique_ptr<RedisConnection> connection);
    void bringDown(bool notify);
    void leave();
    void startMonitor();
    void stopMonitor();
    void wakeMonitor();
    void monitor();
    bool tick();
    Command holdings(const Command& head);
    void takeNews(const redisReply* news);
    void forgetLost(const redisReply* lost);

    /* What the monitor keeps alive for this client. */
    void holdTask(const std::string& task);
    void serveTarget(const std::string& target, bool serving);

    const std::string m_id;
    const std::vector<ConfiguredServer> m_servers;
    BackendSink& m_sink;

    /* connect, disconnect and abandon one at a time. */
    std::mutex m_lifecycle;
    /* A renewal round (its snapshot of what this client holds and its
     * script) and the release of a target never interleave: a round that
     * took its snapshot before the release would otherwise renew the
     * released target back into existence. */
    std::mutex m_renewal;

    mutable std::mutex m_mutex;          /* guards what follows */
    std::condition_variable m_wake;
    bool m_wanted = false;               /* connect() called and not disconnect() */
    bool m_stop = false;                 /* the monitor must end */
    bool m_woken = false;
    std::size_t m_active = 0;            /* index into m_servers while connected */
    const RedisAddress* m_activeAddress = nullptr;   /* the server connected to, while connected */
    std::list<RedisAddress> m_kept;      /* see keep() */
    std::set<std::string> m_tasks;       /* heartbeat entries this client holds */
    std::set<std::string> m_targets;     /* packet targets this client serves */
    std::map<unsigned int, Arrival> m_arrived;  /* ports whose last take reached its caller: told with
                                                   the next take or the farewell */

    std::atomic<bool> m_connected{false};
    /* transactionsAllowed()'s answer for the server connected to: -1 not yet
     * asked, else DRAVO_OK or the refusal. */
    std::atomic<int> m_transactions{-1};
    std::mutex m_deliveriesMutex;        /* guards what follows */
    Deliveries m_deliveries;             /* see knownDeliveries() */
    ConnectionPool m_pool;
    std::unique_ptr<RedisConnection> m_monitorConnection;   /* the monitor's own */
    std::thread m_monitor;
    std::chrono::steady_clock::time_point m_sentinelsAsked;   /* the monitor's own */
};

} // namespace redis
} // namespace dravo

#endif

/*
 * redisbackend.cpp: a client's connection to the runtime server kept in
 * Redis: connecting, monitoring, leaving, and moving to the standby.
 *
 * With two addresses the client works with whichever server is the writable
 * primary (ROLE says master). The monitor thread runs one tick script on its
 * own connection every fifth of a heartbeat lease: the tick renews the
 * client's presence, its heartbeat leases and the packet targets it serves,
 * and brings the news queued for it. A tick that fails twice in a row means
 * the server is gone: the listeners hear onMidDisconnected, and the monitor
 * keeps looking for a primary among the addresses until one answers, then
 * reports onMidConnected and the new active server. Blocked calls of the
 * client are interrupted when its server goes, so that none waits for a dead
 * server.
 */
#include "redisbackend.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

namespace dravo {

namespace redis {

namespace {

/* See connectTimeoutMs(): below a second a busy loopback server would look
 * dead; leases and presence are never shorter either. */
constexpr long kShortestTimeoutMs = 1000;
constexpr long kShortestTickMs = 5;
constexpr long kLongestTickMs = 1000;
/* How often a client connected through sentinels asks them whether the
 * primary is still the one it talks to. */
constexpr std::chrono::milliseconds kSentinelsAskedEvery{1000};
/* Between attempts to find a primary again. */
constexpr long kShortestRetryMs = 100;

/* Of two failures, the one that tells the operator more. */
int worse(int a, int b)
{
    static const int kOrder[] = {DRAVO_AUTH_FAILED, DRAVO_CONFIG_ERROR, DRAVO_READ_ONLY, DRAVO_UNREACHABLE};
    for (int code : kOrder)
        if (a == code || b == code)
            return code;
    return a != DRAVO_OK ? a : b;
}

long tickMs()
{
    return std::clamp(leaseMs() / 5, kShortestTickMs, kLongestTickMs);
}

/* A server that is down or not yet primary is asked again soon; one that
 * refuses this client's login or database is not hammered with it. */
long retryPauseMs(int failure)
{
    const bool refused = failure == DRAVO_AUTH_FAILED || failure == DRAVO_CONFIG_ERROR || failure == DRAVO_NOT_PERMITTED;
    return refused ? connectTimeoutMs() : kShortestRetryMs;
}

} // namespace

long connectTimeoutMs()
{
    return std::max(scaledMs(kConnectTimeoutSeconds), kShortestTimeoutMs);
}

long leaseMs()
{
    return std::max(scaledMs(kHeartbeatLeaseSeconds), 1L);
}

long presenceMs()
{
    return std::max(scaledMs(kHeartbeatLeaseSeconds), kShortestTimeoutMs);
}

long boxGraceMs()
{
    return std::max(scaledMs(kBoxGraceSeconds), presenceMs());
}

Clock::time_point deadlineIn(long waitMs)
{
    return Clock::now() + std::chrono::milliseconds(std::max(waitMs, 0L));
}

long msUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<long>(left) : 0;
}

int decodeRecord(const redisReply* reply, DravoData& out)
{
    const std::string_view form = bytes(reply);
    return DravoPlus::DeserializeRecord(form.data(), form.size(), out);
}

RedisBackend::RedisBackend(std::string clientId, std::vector<ConfiguredServer> servers, BackendSink& sink)
    : m_id(std::move(clientId)), m_servers(std::move(servers)), m_sink(sink)
{
}

/* A backend that goes away while connected leaves like a disconnect, but its
 * sink may be half destroyed with its owner, so nobody hears of it. */
RedisBackend::~RedisBackend()
{
    std::lock_guard<std::mutex> life(m_lifecycle);
    stopMonitor();
    if (m_connected)
        leave();
    bringDown(false);
}

int RedisBackend::scriptResult(const Reply& reply)
{
    if (!reply)
        return DRAVO_NOT_CONNECTED;
    return isError(reply.get()) ? errorCode(reply.get()) : DRAVO_OK;
}

/* ---- Connecting and leaving ------------------------------------------------- */

int RedisBackend::connect()
{
    std::lock_guard<std::mutex> life(m_lifecycle);
    stopMonitor();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = true;
    }
    const int rc = m_connected ? DRAVO_OK : connectOnce();
    startMonitor();
    return rc;
}

int RedisBackend::disconnect()
{
    std::lock_guard<std::mutex> life(m_lifecycle);
    stopMonitor();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = false;
    }
    if (m_connected)
        leave();
    bringDown(m_connected);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.clear();
    m_targets.clear();
    m_arrived.clear();
    return DRAVO_OK;
}

/* The death of the client: no farewell, so its boxes, leases and targets
 * run out on the server as a crashed process's would. */
void RedisBackend::abandon()
{
    std::lock_guard<std::mutex> life(m_lifecycle);
    stopMonitor();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = false;
        m_tasks.clear();
        m_targets.clear();
        m_arrived.clear();
    }
    bringDown(false);
}

bool RedisBackend::isConnected() const
{
    return m_connected;
}

std::string RedisBackend::activeServer() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_connected && m_activeAddress ? m_activeAddress->display() : std::string();
}

int RedisBackend::connectOnce()
{
    std::size_t index = 0;
    const RedisAddress* address = nullptr;
    std::unique_ptr<RedisConnection> connection;
    const int rc = openPrimary(index, address, connection);
    if (rc != DRAVO_OK)
        return rc;
    if (const int rc = join(*connection))
        return rc;
    bringUp(index, address, std::move(connection));
    return DRAVO_OK;
}

/* The first configured server that answers as a writable primary; for
 * sentinels, the primary they name now. Sentinels that know no primary of
 * the configured name are a configuration error. */
int RedisBackend::openPrimary(std::size_t& index, const RedisAddress*& address,
                              std::unique_ptr<RedisConnection>& connection)
{
    int failure = DRAVO_OK;
    for (std::size_t i = 0; i < m_servers.size(); ++i) {
        RedisAddress named = m_servers[i].address;
        if (m_servers[i].sentinels) {
            if (const int rc = askSentinels(*m_servers[i].sentinels, connectTimeoutMs(), named)) {
                failure = worse(failure, rc == DRAVO_NOT_FOUND ? DRAVO_CONFIG_ERROR : rc);
                continue;
            }
        }
        auto candidate = std::make_unique<RedisConnection>();
        int rc = candidate->open(named, connectTimeoutMs());
        if (rc == DRAVO_OK && !candidate->isPrimary())
            rc = candidate->broken() ? DRAVO_UNREACHABLE : DRAVO_READ_ONLY;
        if (rc == DRAVO_OK) {
            index = i;
            address = keep(named);
            connection = std::move(candidate);
            return DRAVO_OK;
        }
        failure = worse(failure, rc);
    }
    return failure == DRAVO_OK ? DRAVO_UNREACHABLE : failure;
}

const RedisAddress* RedisBackend::keep(const RedisAddress& address)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const RedisAddress& kept : m_kept) {
        if (kept.host == address.host && kept.port == address.port && kept.database == address.database
            && kept.user == address.user && kept.password == address.password)
            return &kept;
    }
    m_kept.push_back(address);
    return &m_kept.back();
}

/* Announces the client and makes sure the server has its marker; clears
 * away transient boxes of clients that died. A user whose role lacks what
 * joining takes is refused with DRAVO_NOT_PERMITTED. */
int RedisBackend::join(RedisConnection& connection)
{
    const DravoData marker = makeMarkerRecord();
    const Reply reply = runScript(connection, Script::Join,
                                  {m_id, std::to_string(boxGraceMs()), marker.GetDataName(), marker.GetTypeName(),
                                   DravoPlus::SerializeRecord(marker)});
    if (!reply)
        return connection.broken() ? DRAVO_UNREACHABLE : DRAVO_SERVER_ERROR;
    return isError(reply.get()) ? errorCode(reply.get()) : DRAVO_OK;
}

void RedisBackend::bringUp(std::size_t index, const RedisAddress* address, std::unique_ptr<RedisConnection> connection)
{
    std::string shown;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_active = index;
        m_activeAddress = address;
        shown = address->display();
        m_monitorConnection = std::move(connection);
        m_pool.serve(address, connectTimeoutMs());
        m_transactions = -1;
        m_connected = true;
    }
    setKnownDeliveries(Deliveries());
    m_sink.connectionUp();
    m_sink.activeServerChanged(shown);
}

void RedisBackend::bringDown(bool notify)
{
    const bool was = m_connected.exchange(false);
    m_pool.serve(nullptr, 0);
    m_monitorConnection.reset();
    if (was && notify) {
        m_sink.connectionDown();
        m_sink.activeServerChanged("");
    }
}

/* The farewell: what this client's receivers were last handed has reached
 * them, transient boxes go, served targets are free at once, and heartbeat
 * leases start running out. */
void RedisBackend::leave()
{
    if (!m_monitorConnection || m_monitorConnection->broken())
        return;
    std::map<unsigned int, Arrival> arrived;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        arrived = m_arrived;
    }
    for (const auto& [port, last] : arrived)
        if (last.records > 0)
            m_monitorConnection->command({"LTRIM", takenKey(std::to_string(port)), std::to_string(last.records), "-1"});
    runScript(*m_monitorConnection, Script::Leave, holdings({m_id, std::to_string(leaseMs())}));
}

/* ---- The monitor ----------------------------------------------------------------- */

void RedisBackend::startMonitor()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = false;
    }
    m_monitor = std::thread([this] { monitor(); });
}

void RedisBackend::stopMonitor()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    if (m_monitor.joinable())
        m_monitor.join();
}

void RedisBackend::wakeMonitor()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_woken = true;
    }
    m_wake.notify_all();
}

void RedisBackend::monitor()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        lock.unlock();
        if (m_connected && !tick())
            bringDown(true);
        long pause = tickMs();
        if (!m_connected)
            pause = std::max(pause, retryPauseMs(connectOnce()));
        lock.lock();
        m_wake.wait_for(lock, std::chrono::milliseconds(pause), [this] { return m_stop || m_woken; });
        m_woken = false;
    }
}

/* One round of renewals and news; false when the server is gone or no
 * longer a primary. An I/O failure is given one fresh connection first. */
bool RedisBackend::tick()
{
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!m_monitorConnection || m_monitorConnection->broken()) {
            auto fresh = std::make_unique<RedisConnection>();
            if (fresh->open(*m_activeAddress, connectTimeoutMs()) != DRAVO_OK)
                continue;
            if (!fresh->isPrimary())
                return false;
            m_monitorConnection = std::move(fresh);
        }
        std::unique_lock<std::mutex> renewal(m_renewal);
        const Reply reply = runScript(*m_monitorConnection, Script::Tick,
                                      holdings({m_id, std::to_string(boxGraceMs()), std::to_string(presenceMs()),
                                                std::to_string(leaseMs())}));
        renewal.unlock();
        if (!reply)
            continue;
        /* A server busy with another client's long script is there; the
         * renewals and news wait for the next round. */
        if (isBusy(reply.get()))
            return true;
        if (isError(reply.get()))
            return false;
        takeNews(at(reply.get(), 0));
        forgetLost(at(reply.get(), 1));
        return !primaryMoved();
    }
    return false;
}

/* A primary cut off from the others may still take writes while the
 * sentinels promote another; what it takes then is lost when it comes back
 * as a replica, so the client moves as soon as the sentinels say. */
bool RedisBackend::primaryMoved()
{
    const std::shared_ptr<const SentinelGroup>& sentinels = m_servers[m_active].sentinels;
    const auto now = std::chrono::steady_clock::now();
    if (!sentinels || now - m_sentinelsAsked < kSentinelsAskedEvery)
        return false;
    m_sentinelsAsked = now;
    RedisAddress named;
    if (askSentinels(*sentinels, tickMs(), named) != DRAVO_OK)
        return false;
    return named.host != m_activeAddress->host || named.port != m_activeAddress->port;
}

/* head, then the count of held tasks, the tasks and the served targets. */
Command RedisBackend::holdings(const Command& head)
{
    Command args = head;
    std::lock_guard<std::mutex> lock(m_mutex);
    args.push_back(std::to_string(m_tasks.size()));
    args.insert(args.end(), m_tasks.begin(), m_tasks.end());
    args.insert(args.end(), m_targets.begin(), m_targets.end());
    return args;
}

/* "O<n>:<box>": n records of a box dropped; "H:<task>": a heartbeat entry
 * taken over by another task. */
void RedisBackend::takeNews(const redisReply* news)
{
    for (std::size_t i = 0; i < size(news); ++i) {
        const std::string item = text(at(news, i));
        const auto colon = item.find(':');
        if (item.empty() || colon == std::string::npos)
            continue;
        const std::string subject = item.substr(colon + 1);
        if (item[0] == 'O') {
            const long long dropped = std::strtoll(item.c_str() + 1, nullptr, 10);
            m_sink.boxOverflow(subject, static_cast<int>(std::clamp(dropped, 0LL, 2147483647LL)));
        } else if (item[0] == 'H') {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_tasks.erase(subject);
            }
            m_sink.heartbeatLost(subject);
        }
    }
}

/* Entries and targets another client holds now are no longer renewed. */
void RedisBackend::forgetLost(const redisReply* lost)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (std::size_t i = 0; i < size(lost); ++i) {
        const std::string item = text(at(lost, i));
        if (item.size() < 2)
            continue;
        if (item[0] == 'H')
            m_tasks.erase(item.substr(2));
        else
            m_targets.erase(item.substr(2));
    }
}

void RedisBackend::holdTask(const std::string& task)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.insert(task);
}

void RedisBackend::serveTarget(const std::string& target, bool serving)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (serving)
        m_targets.insert(target);
    else
        m_targets.erase(target);
}

} // namespace redis

bool isRedisSetting(const std::vector<std::string>& addresses)
{
    return !addresses.empty()
        && (redis::isRedisAddress(addresses.front()) || redis::isSentinelAddress(addresses.front()));
}

int makeRedisBackend(const std::vector<std::string>& addresses, const std::string& clientId, BackendSink& sink,
                     std::unique_ptr<Backend>& out)
{
    std::vector<redis::ConfiguredServer> servers;
    for (const std::string& text : addresses) {
        redis::ConfiguredServer server;
        if (!redis::parseServer(text, server))
            return DRAVO_CONFIG_ERROR;
        servers.push_back(std::move(server));
    }
    if (servers.empty())
        return DRAVO_CONFIG_ERROR;
    out = std::make_unique<redis::RedisBackend>(clientId, std::move(servers), sink);
    return DRAVO_OK;
}

} // namespace dravo

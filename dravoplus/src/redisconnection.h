/*
 * redisconnection.h: the wire to a Redis server, for the Redis backend.
 *
 * RedisAddress is one "redis://[user:password@]host:port[/db]" setting.
 * RedisConnection is one authenticated connection to it on which commands
 * and pipelines run, each bounded by a reply timeout; ConnectionPool hands
 * connections of the active server to the threads of one client, so that
 * a blocked receive holds a connection of its own and never stalls another
 * thread's call. Everything here is blocking and synchronous: a connection
 * is used by one thread at a time, and the only thing another thread may do
 * to it is interrupt() it.
 */
#ifndef DRAVOPLUS_REDISCONNECTION_H
#define DRAVOPLUS_REDISCONNECTION_H

#include "autotest.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

struct redisContext;
struct redisReply;

namespace dravo {
namespace redis {

struct RedisAddress {
    std::string host;
    int port = 6379;
    int database = 0;
    std::string user;        /* "" : the default user */
    std::string password;    /* "" : no AUTH */

    /* The address as shown to operators: without user and password. */
    DRAVO_AUTOTEST_EXPORT std::string display() const;
};

/* Parses one address; false when it is not a well-formed redis:// address. */
DRAVO_AUTOTEST_EXPORT bool parseAddress(const std::string& text, RedisAddress& out);
bool isRedisAddress(const std::string& text);

/* Sentinels that watch a primary and its replicas under one name and know
 * which server is the primary now:
 * "redis-sentinel://[user:password@]host:port[,host:port...]/<name>[/db]".
 * The user, password and database are the data servers'; a sentinel's port
 * defaults to 26379. */
struct SentinelGroup {
    std::vector<RedisAddress> sentinels;
    std::string name;
    RedisAddress node;   /* user, password and database of the servers they name */
};

DRAVO_AUTOTEST_EXPORT bool parseSentinelAddress(const std::string& text, SentinelGroup& out);
bool isSentinelAddress(const std::string& text);

/* One server of the setting: an address, or the sentinels that name it. */
struct ConfiguredServer {
    RedisAddress address;                 /* unused when sentinels name the server */
    std::shared_ptr<const SentinelGroup> sentinels;
};

/* Parses a redis:// or a redis-sentinel:// address. */
bool parseServer(const std::string& text, ConfiguredServer& out);

struct ReplyDeleter {
    void operator()(redisReply* reply) const;
};
using Reply = std::unique_ptr<redisReply, ReplyDeleter>;
using Command = std::vector<std::string>;
/* A command whose arguments live elsewhere meanwhile: a batch's records are
 * not copied into every command that carries them. */
using Arguments = std::vector<std::string_view>;

/* Reading replies. */
bool isError(const redisReply* reply);
bool isNil(const redisReply* reply);
std::string text(const redisReply* reply);        /* string and status replies; "" otherwise */
std::string_view bytes(const redisReply* reply);  /* the same, where the reply lies */
long long integer(const redisReply* reply);       /* integer replies, numeric strings; 0 otherwise */
std::size_t size(const redisReply* reply);        /* elements of an array reply */
const redisReply* at(const redisReply* reply, std::size_t index);
/* The result code of an error reply (DRAVO_READ_ONLY, DRAVO_AUTH_FAILED, ...). */
DRAVO_AUTOTEST_EXPORT int errorCode(const redisReply* reply);
bool isNoScript(const redisReply* reply);
/* The server is running another client's script past its busy threshold
 * and answers nothing else until the script ends. */
bool isBusy(const redisReply* reply);
/* A blocking command's timeout: seconds with decimals. */
std::string blockingTimeout(long ms);

class RedisConnection
{
public:
    RedisConnection() = default;
    ~RedisConnection();
    RedisConnection(const RedisConnection&) = delete;
    RedisConnection& operator=(const RedisConnection&) = delete;

    /* Connects within timeoutMs, authenticates and selects the database.
     * 0, DRAVO_UNREACHABLE, DRAVO_AUTH_FAILED or DRAVO_CONFIG_ERROR (no such
     * database). Replies are then awaited for timeoutMs. */
    int open(const RedisAddress& address, long timeoutMs);
    /* Connects to a sentinel, which knows neither users nor databases:
     * 0 or DRAVO_UNREACHABLE. */
    int openSentinel(const RedisAddress& address, long timeoutMs);
    void close();
    bool isOpen() const { return m_context != nullptr; }
    /* An I/O failure or a timeout left the connection unusable. */
    bool broken() const;

    /* Null on an I/O failure (the connection is then broken). */
    Reply command(const Command& args);
    /* The command head followed by tail's arguments, which are not copied
     * on the way (a script's arguments may be tens of megabytes). */
    Reply command(const Command& head, const Command& tail);
    /* A command that blocks on the server for up to waitMs (its timeout
     * argument given as blockingTimeout(waitMs)); its reply is awaited that
     * much longer than others. */
    Reply blockingCommand(const Command& args, long waitMs);
    /* The same for a pipeline whose last command blocks. */
    std::vector<Reply> blockingPipeline(const std::vector<Command>& commands, long waitMs);
    /* Every reply in order, or none at all on an I/O failure. */
    std::vector<Reply> pipeline(const std::vector<Command>& commands);
    /* The same, the arguments read where they lie. */
    std::vector<Reply> pipelineInPlace(const std::vector<Arguments>& commands);

    /* How long the next replies are awaited (a blocking command waits this
     * long beyond its own timeout). */
    void setReplyTimeout(long ms);
    long replyTimeout() const { return m_replyTimeoutMs; }

    /* Whether the server takes writes (ROLE says master). */
    bool isPrimary();

    /* From another thread: makes a call blocked on this connection return
     * with an I/O failure. */
    void interrupt();

private:
    /* The connection alone, replies awaited for timeoutMs. */
    int connect(const RedisAddress& address, long timeoutMs);
    void format(const Command& head, const Command& tail);
    void format(const Command& command);
    void format(const Arguments& arguments);
    /* Sends the commands in one piece and reads their replies. */
    template <typename Commands>
    std::vector<Reply> roundTrip(const Commands& commands);
    void flush();
    /* The next count replies in order, or none on an I/O failure. */
    std::vector<Reply> replies(std::size_t count);

    /* Output buffers above this are let go after use. */
    static constexpr std::size_t kKeptOutput = 1 << 20;

    redisContext* m_context = nullptr;
    std::string m_out;
    long m_replyTimeoutMs = 0;
    bool m_failed = false;
};

/* The primary the group's sentinels name now, with the group's user,
 * password and database: the first sentinel that answers decides. 0,
 * DRAVO_NOT_FOUND (a sentinel answers but knows no primary of that name) or
 * DRAVO_UNREACHABLE (none answers). */
int askSentinels(const SentinelGroup& group, long timeoutMs, RedisAddress& primary);

/* The connections of one client to its active server. */
class ConnectionPool
{
public:
    ConnectionPool() = default;
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /* Serves the given server from now on; null serves none. Idle
     * connections of the former server are closed, and calls still running
     * on them are interrupted. */
    void serve(const RedisAddress* address, long timeoutMs);

    /* A connection for one call, opened when none is idle; null when the
     * pool serves no server or the server cannot be reached. */
    std::unique_ptr<RedisConnection> acquire();
    /* Gives a connection back (a broken one, or one of a former server, is
     * closed). */
    void release(std::unique_ptr<RedisConnection> connection);

private:
    std::mutex m_mutex;
    std::unique_ptr<RedisAddress> m_address;
    long m_timeoutMs = 0;
    unsigned m_serial = 0;   /* counts serve() calls */
    std::vector<std::unique_ptr<RedisConnection>> m_idle;
    /* Connections out on calls; the stale ones belong to a former server
     * and are closed when they come back. */
    std::set<RedisConnection*> m_busy;
    std::set<RedisConnection*> m_stale;
};

/* A pooled connection held for the duration of one call. */
class PooledConnection
{
public:
    explicit PooledConnection(ConnectionPool& pool) : m_pool(pool), m_connection(pool.acquire()) {}
    ~PooledConnection() { m_pool.release(std::move(m_connection)); }
    PooledConnection(const PooledConnection&) = delete;
    PooledConnection& operator=(const PooledConnection&) = delete;

    explicit operator bool() const { return m_connection != nullptr; }
    RedisConnection& operator*() const { return *m_connection; }
    RedisConnection* operator->() const { return m_connection.get(); }

private:
    ConnectionPool& m_pool;
    std::unique_ptr<RedisConnection> m_connection;
};

} // namespace redis
} // namespace dravo

#endif

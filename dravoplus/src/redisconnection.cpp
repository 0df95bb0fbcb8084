/*
 * redisconnection.cpp: addresses, connections and the connection pool of the
 * Redis backend (see redisconnection.h).
 *
 * hiredis is used in its blocking form: every connection carries a socket
 * timeout, so that no reply is awaited longer than the connect timeout (or,
 * for a blocking command, its own wait plus that), and a server that stops
 * answering shows as an I/O failure rather than a hang.
 */
#include "redisconnection.h"

#include <DravoPlus/DravoPlus.h>

#include <hiredis/hiredis.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/time.h>

namespace dravo {
namespace redis {

namespace {

const char* const kScheme = "redis://";
const char* const kSentinelScheme = "redis-sentinel://";
constexpr int kSentinelPort = 26379;
/* How Redis 7 words the refusal of a command a script ran for a user whose
 * role does not allow it ("... can't run this command ..." or "... can't
 * access at least one of the keys ..."). */
const char* const kScriptRefused = "The user executing the script can't";
/* Idle connections kept per client; more are opened when threads need them. */
constexpr std::size_t kMaxIdle = 8;

timeval toTimeval(long ms)
{
    ms = std::max(ms, 1L);
    timeval tv;
    tv.tv_sec = ms / 1000;
    tv.tv_usec = (ms % 1000) * 1000;
    return tv;
}

bool parseNumber(const std::string& digits, long max, int& out)
{
    if (digits.empty() || digits.size() > 9
        || !std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c) != 0; }))
        return false;
    const long value = std::strtol(digits.c_str(), nullptr, 10);
    if (value > max)
        return false;
    out = static_cast<int>(value);
    return true;
}

bool startsWith(const std::string& s, const char* prefix)
{
    return s.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

/* "user:password" or ":password" or "password" before the '@'. */
void parseCredentials(const std::string& userInfo, RedisAddress& out)
{
    const auto colon = userInfo.find(':');
    if (colon == std::string::npos) {
        out.password = userInfo;
        return;
    }
    out.user = userInfo.substr(0, colon);
    out.password = userInfo.substr(colon + 1);
}

/* "host:port", "host" or "[v6 address]:port". */
bool parseHostPort(const std::string& hostPort, RedisAddress& out)
{
    std::string host = hostPort;
    std::string port;
    if (startsWith(hostPort, "[")) {
        const auto close = hostPort.find(']');
        if (close == std::string::npos)
            return false;
        host = hostPort.substr(1, close - 1);
        if (close + 1 < hostPort.size()) {
            if (hostPort[close + 1] != ':')
                return false;
            port = hostPort.substr(close + 2);
        }
    } else if (const auto colon = hostPort.rfind(':'); colon != std::string::npos) {
        host = hostPort.substr(0, colon);
        port = hostPort.substr(colon + 1);
    }
    if (host.empty())
        return false;
    out.host = host;
    return port.empty() || (parseNumber(port, 65535, out.port) && out.port > 0);
}

} // namespace

/* ---- Addresses ------------------------------------------------------------- */

std::string RedisAddress::display() const
{
    const bool v6 = host.find(':') != std::string::npos;
    std::string shown = std::string(kScheme) + (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
    if (database != 0)
        shown += "/" + std::to_string(database);
    return shown;
}

bool isRedisAddress(const std::string& text)
{
    return startsWith(text, kScheme);
}

bool parseAddress(const std::string& text, RedisAddress& out)
{
    if (!isRedisAddress(text))
        return false;
    RedisAddress address;
    std::string rest = text.substr(std::char_traits<char>::length(kScheme));
    if (const auto slash = rest.find('/'); slash != std::string::npos) {
        const std::string db = rest.substr(slash + 1);
        if (!db.empty() && !parseNumber(db, 1 << 20, address.database))
            return false;
        rest.erase(slash);
    }
    /* The last '@' ends the credentials: a password may hold '@' itself. */
    if (const auto at = rest.rfind('@'); at != std::string::npos) {
        parseCredentials(rest.substr(0, at), address);
        rest.erase(0, at + 1);
    }
    if (!parseHostPort(rest, address))
        return false;
    out = std::move(address);
    return true;
}

bool isSentinelAddress(const std::string& text)
{
    return startsWith(text, kSentinelScheme);
}

bool parseSentinelAddress(const std::string& text, SentinelGroup& out)
{
    if (!isSentinelAddress(text))
        return false;
    SentinelGroup group;
    std::string rest = text.substr(std::char_traits<char>::length(kSentinelScheme));
    /* The last '@' ends the credentials: a password may hold '@' itself. */
    if (const auto at = rest.rfind('@'); at != std::string::npos) {
        parseCredentials(rest.substr(0, at), group.node);
        rest.erase(0, at + 1);
    }
    const auto slash = rest.find('/');
    if (slash == std::string::npos)
        return false;
    std::string path = rest.substr(slash + 1);
    rest.erase(slash);
    if (const auto db = path.find('/'); db != std::string::npos) {
        if (!parseNumber(path.substr(db + 1), 1 << 20, group.node.database))
            return false;
        path.erase(db);
    }
    if (path.empty())
        return false;
    group.name = path;
    std::size_t from = 0;
    for (;;) {
        const auto comma = rest.find(',', from);
        RedisAddress sentinel;
        sentinel.port = kSentinelPort;
        if (!parseHostPort(rest.substr(from, comma == std::string::npos ? std::string::npos : comma - from), sentinel))
            return false;
        group.sentinels.push_back(std::move(sentinel));
        if (comma == std::string::npos)
            break;
        from = comma + 1;
    }
    out = std::move(group);
    return true;
}

bool parseServer(const std::string& text, ConfiguredServer& out)
{
    ConfiguredServer server;
    if (isSentinelAddress(text)) {
        auto group = std::make_shared<SentinelGroup>();
        if (!parseSentinelAddress(text, *group))
            return false;
        server.sentinels = std::move(group);
    } else if (!parseAddress(text, server.address)) {
        return false;
    }
    out = std::move(server);
    return true;
}

int askSentinels(const SentinelGroup& group, long timeoutMs, RedisAddress& primary)
{
    int failure = DRAVO_UNREACHABLE;
    for (const RedisAddress& sentinel : group.sentinels) {
        RedisConnection connection;
        if (connection.openSentinel(sentinel, timeoutMs) != DRAVO_OK)
            continue;
        const Reply reply = connection.command({"SENTINEL", "get-master-addr-by-name", group.name});
        if (reply && (isNil(reply.get()) || isError(reply.get())))
            failure = DRAVO_NOT_FOUND;
        RedisAddress named = group.node;
        named.host = text(at(reply.get(), 0));   /* as the sentinel has it: an IPv6 address bare */
        if (size(reply.get()) != 2 || named.host.empty() || !parseNumber(text(at(reply.get(), 1)), 65535, named.port)
            || named.port == 0)
            continue;
        primary = std::move(named);
        return DRAVO_OK;
    }
    return failure;
}

/* ---- Replies ----------------------------------------------------------------- */

void ReplyDeleter::operator()(redisReply* reply) const
{
    if (reply)
        freeReplyObject(reply);
}

bool isError(const redisReply* reply)
{
    return !reply || reply->type == REDIS_REPLY_ERROR;
}

bool isNil(const redisReply* reply)
{
    return reply && reply->type == REDIS_REPLY_NIL;
}

std::string_view bytes(const redisReply* reply)
{
    if (!reply || (reply->type != REDIS_REPLY_STRING && reply->type != REDIS_REPLY_STATUS
                   && reply->type != REDIS_REPLY_ERROR))
        return std::string_view();
    return std::string_view(reply->str, reply->len);
}

std::string text(const redisReply* reply)
{
    return std::string(bytes(reply));
}

long long integer(const redisReply* reply)
{
    if (!reply)
        return 0;
    if (reply->type == REDIS_REPLY_INTEGER)
        return reply->integer;
    if (reply->type == REDIS_REPLY_STRING)
        return std::strtoll(text(reply).c_str(), nullptr, 10);
    return 0;
}

std::size_t size(const redisReply* reply)
{
    return reply && reply->type == REDIS_REPLY_ARRAY ? reply->elements : 0;
}

const redisReply* at(const redisReply* reply, std::size_t index)
{
    return index < size(reply) ? reply->element[index] : nullptr;
}

int errorCode(const redisReply* reply)
{
    const std::string message = text(reply);
    if (startsWith(message, "READONLY"))
        return DRAVO_READ_ONLY;
    /* A server reading its data back after a restart answers nothing else
     * until it is done: not there yet, as far as a client can tell. */
    if (startsWith(message, "LOADING"))
        return DRAVO_UNREACHABLE;
    if (startsWith(message, "NOAUTH") || startsWith(message, "WRONGPASS"))
        return DRAVO_AUTH_FAILED;
    /* The user's role refused a command, or a command of a script (a
     * script asks first where a refusal half-way would keep some writes;
     * redisscripts.cpp). */
    if (startsWith(message, "NOPERM") || message.find(kScriptRefused) != std::string::npos)
        return DRAVO_NOT_PERMITTED;
    /* A key of the wrong type, met by a command or refused by a script
     * before it wrote anything (redisscripts.cpp): damaged data. */
    if (startsWith(message, "DAMAGED") || startsWith(message, "WRONGTYPE"))
        return DRAVO_MALFORMED;
    return DRAVO_SERVER_ERROR;
}

bool isBusy(const redisReply* reply)
{
    return reply && reply->type == REDIS_REPLY_ERROR && startsWith(text(reply), "BUSY");
}

bool isNoScript(const redisReply* reply)
{
    return reply && reply->type == REDIS_REPLY_ERROR && startsWith(text(reply), "NOSCRIPT");
}

std::string blockingTimeout(long ms)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%ld.%03ld", ms / 1000, ms % 1000);
    return buffer;
}

/* ---- One connection ---------------------------------------------------------- */

RedisConnection::~RedisConnection()
{
    close();
}

void RedisConnection::close()
{
    if (m_context)
        redisFree(m_context);
    m_context = nullptr;
    m_failed = false;
}

bool RedisConnection::broken() const
{
    return !m_context || m_failed || m_context->err != 0;
}

int RedisConnection::connect(const RedisAddress& address, long timeoutMs)
{
    close();
    m_context = redisConnectWithTimeout(address.host.c_str(), address.port, toTimeval(timeoutMs));
    if (!m_context || m_context->err) {
        close();
        return DRAVO_UNREACHABLE;
    }
    setReplyTimeout(timeoutMs);
    return DRAVO_OK;
}

int RedisConnection::openSentinel(const RedisAddress& address, long timeoutMs)
{
    return connect(address, timeoutMs);
}

int RedisConnection::open(const RedisAddress& address, long timeoutMs)
{
    if (const int rc = connect(address, timeoutMs))
        return rc;
    if (!address.password.empty()) {
        Command auth{"AUTH"};
        if (!address.user.empty())
            auth.push_back(address.user);
        auth.push_back(address.password);
        const Reply reply = command(auth);
        if (!reply || isError(reply.get())) {
            const int rc = reply ? DRAVO_AUTH_FAILED : DRAVO_UNREACHABLE;
            close();
            return rc;
        }
    }
    /* SELECT also proves that the server takes this client at all (a
     * server with a password answers NOAUTH to anybody without one). */
    const Reply selected = command({"SELECT", std::to_string(address.database)});
    if (!selected || isError(selected.get())) {
        const int refusal = selected ? errorCode(selected.get()) : DRAVO_OK;
        const bool refused = refusal == DRAVO_AUTH_FAILED || refusal == DRAVO_NOT_PERMITTED;
        const int rc = !selected ? DRAVO_UNREACHABLE : refused ? DRAVO_AUTH_FAILED : DRAVO_CONFIG_ERROR;
        close();
        return rc;
    }
    return DRAVO_OK;
}

void RedisConnection::setReplyTimeout(long ms)
{
    if (!m_context || ms == m_replyTimeoutMs)
        return;
    if (redisSetTimeout(m_context, toTimeval(ms)) == REDIS_OK)
        m_replyTimeoutMs = ms;
    else
        m_failed = true;
}

namespace {

/* A decimal number's digits, for the lengths in the protocol's headers. */
std::size_t digits(std::size_t n)
{
    std::size_t count = 1;
    while (n >= 10) {
        n /= 10;
        ++count;
    }
    return count;
}

/* "<marker><n>\r\n" */
void header(std::string& out, char marker, std::size_t n)
{
    char text[24];
    const std::to_chars_result written = std::to_chars(text, text + sizeof text, n);
    out += marker;
    out.append(text, written.ptr);
    out += "\r\n";
}

/* What a command's arguments take in the protocol's form. */
template <typename Arguments>
std::size_t formattedSize(const Arguments& arguments)
{
    std::size_t size = 0;
    for (const auto& a : arguments)
        size += 5 + digits(a.size()) + a.size();
    return size;
}

template <typename Arguments>
void appendArguments(std::string& out, const Arguments& arguments)
{
    for (const auto& a : arguments) {
        header(out, '$', a.size());
        out.append(a.data(), a.size());
        out += "\r\n";
    }
}

} // namespace

/* The command in the protocol's form, added to what the next write sends.
 * Made here in one buffer sized in advance: hiredis grows its own a piece
 * at a time, and a field driver's poll of a hundred records would be
 * copied over several times on the way. */
void RedisConnection::format(const Command& head, const Command& tail)
{
    const std::size_t argc = head.size() + tail.size();
    m_out.reserve(m_out.size() + 3 + digits(argc) + formattedSize(head) + formattedSize(tail));
    header(m_out, '*', argc);
    appendArguments(m_out, head);
    appendArguments(m_out, tail);
}

void RedisConnection::format(const Command& command)
{
    format(command, Command());
}

void RedisConnection::format(const Arguments& arguments)
{
    m_out.reserve(m_out.size() + 3 + digits(arguments.size()) + formattedSize(arguments));
    header(m_out, '*', arguments.size());
    appendArguments(m_out, arguments);
}

/* Hands what format() made to the connection's output, in one piece. */
void RedisConnection::flush()
{
    if (redisAppendFormattedCommand(m_context, m_out.data(), m_out.size()) != REDIS_OK)
        m_failed = true;
    m_out.clear();
    /* A pipeline of tens of megabytes leaves no buffer that size behind. */
    if (m_out.capacity() > kKeptOutput)
        std::string().swap(m_out);
}

std::vector<Reply> RedisConnection::replies(std::size_t count)
{
    std::vector<Reply> replies;
    replies.reserve(count);
    for (std::size_t i = 0; i < count && !m_failed; ++i) {
        void* reply = nullptr;
        if (redisGetReply(m_context, &reply) != REDIS_OK || !reply) {
            m_failed = true;
            break;
        }
        replies.emplace_back(static_cast<redisReply*>(reply));
    }
    if (m_failed)
        replies.clear();
    return replies;
}

Reply RedisConnection::command(const Command& args)
{
    return command(args, Command());
}

Reply RedisConnection::command(const Command& head, const Command& tail)
{
    if (broken())
        return Reply();
    format(head, tail);
    flush();
    std::vector<Reply> one = replies(1);
    return one.empty() ? Reply() : std::move(one.front());
}

template <typename Commands>
std::vector<Reply> RedisConnection::roundTrip(const Commands& commands)
{
    if (broken())
        return std::vector<Reply>();
    for (const auto& arguments : commands)
        format(arguments);
    flush();
    return replies(commands.size());
}

std::vector<Reply> RedisConnection::pipeline(const std::vector<Command>& commands)
{
    return roundTrip(commands);
}

Reply RedisConnection::blockingCommand(const Command& args, long waitMs)
{
    std::vector<Reply> one = blockingPipeline({args}, waitMs);
    return one.empty() ? Reply() : std::move(one.front());
}

std::vector<Reply> RedisConnection::pipelineInPlace(const std::vector<Arguments>& commands)
{
    return roundTrip(commands);
}

std::vector<Reply> RedisConnection::blockingPipeline(const std::vector<Command>& commands, long waitMs)
{
    const long normal = m_replyTimeoutMs;
    setReplyTimeout(waitMs + normal);
    std::vector<Reply> replies = pipeline(commands);
    setReplyTimeout(normal);
    return replies;
}

bool RedisConnection::isPrimary()
{
    const Reply role = command({"ROLE"});
    return text(at(role.get(), 0)) == "master";
}

/* Only the reading side is shut: a blocked read ends at once, and a write
 * the interrupted thread makes before it notices (the next command of a
 * loop) still goes out instead of raising SIGPIPE in the process. */
void RedisConnection::interrupt()
{
    if (m_context && m_context->fd >= 0)
        ::shutdown(m_context->fd, SHUT_RD);
}

/* ---- The pool ------------------------------------------------------------------ */

ConnectionPool::~ConnectionPool()
{
    serve(nullptr, 0);
}

void ConnectionPool::serve(const RedisAddress* address, long timeoutMs)
{
    std::vector<std::unique_ptr<RedisConnection>> closing;
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_serial;
    m_address = address ? std::make_unique<RedisAddress>(*address) : nullptr;
    m_timeoutMs = timeoutMs;
    closing.swap(m_idle);
    for (RedisConnection* busy : m_busy) {
        busy->interrupt();
        m_stale.insert(busy);
    }
}

std::unique_ptr<RedisConnection> ConnectionPool::acquire()
{
    RedisAddress address;
    long timeoutMs = 0;
    unsigned serial = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_address)
            return nullptr;
        if (!m_idle.empty()) {
            std::unique_ptr<RedisConnection> connection = std::move(m_idle.back());
            m_idle.pop_back();
            m_busy.insert(connection.get());
            return connection;
        }
        address = *m_address;
        timeoutMs = m_timeoutMs;
        serial = m_serial;
    }
    auto connection = std::make_unique<RedisConnection>();
    if (connection->open(address, timeoutMs) != DRAVO_OK)
        return nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (serial != m_serial)
        return nullptr;
    m_busy.insert(connection.get());
    return connection;
}

void ConnectionPool::release(std::unique_ptr<RedisConnection> connection)
{
    if (!connection)
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_busy.erase(connection.get());
    const bool stale = m_stale.erase(connection.get()) > 0;
    if (stale || connection->broken() || !m_address || m_idle.size() >= kMaxIdle)
        return;
    connection->setReplyTimeout(m_timeoutMs);
    m_idle.push_back(std::move(connection));
}

} // namespace redis
} // namespace dravo

/*
 * redisserver.cpp: starting, probing and stopping a test's own redis-server.
 */
#include "redisserver.h"

#include "childprocess.h"

#include <hiredis/hiredis.h>

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace mvtest {

namespace {

using namespace std::chrono_literals;

/* How long a server may take to start answering, or to stop. */
constexpr auto kStartLimit = 10s;
constexpr auto kStopLimit = 5s;
constexpr int kStartAttempts = 5;
/* Names the shared server to the test's child processes. */
const char* const kSharedVariable = "MVTEST_REDIS_SERVER";
/* The user a server with an ACL file gives the test's own connections. */
const char* const kTestUser = "mvtest-admin";
const char* const kAclCopy = "/users.acl";

std::vector<std::string> serverArguments(const RedisServerOptions& options, int port, const std::string& directory)
{
    std::vector<std::string> args{"redis-server", "--port", std::to_string(port), "--bind", "127.0.0.1",
                                  "--save", "", "--dir", directory, "--daemonize", "no", "--loglevel", "warning"};
    if (options.durable)
        args.insert(args.end(), {"--appendonly", "yes", "--appendfsync", "always"});
    else
        args.insert(args.end(), {"--appendonly", "no"});
    if (!options.tlsDirectory.empty()) {
        const std::string& tls = options.tlsDirectory;
        args[2] = "0";
        args.insert(args.end(), {"--tls-port", std::to_string(port), "--tls-cert-file", tls + "/server.crt",
                                 "--tls-key-file", tls + "/server.key", "--tls-ca-cert-file", tls + "/ca.crt",
                                 "--tls-auth-clients", "no"});
    }
    if (!options.password.empty())
        args.insert(args.end(), {"--requirepass", options.password});
    if (!options.aclUser.empty())
        args.insert(args.end(), {"--user", options.aclUser, "on", ">" + options.aclPassword, "~*", "&*", "+@all"});
    if (!options.aclFile.empty())
        args.insert(args.end(), {"--aclfile", directory + kAclCopy});
    if (options.replicaOfPort > 0)
        args.insert(args.end(), {"--replicaof", "127.0.0.1", std::to_string(options.replicaOfPort)});
    return args;
}

/* A sentinel reads its configuration from a file, and rewrites it as it
 * learns the primary's replicas and the other sentinels: in its own
 * directory. */
std::vector<std::string> sentinelArguments(const RedisServerOptions& options, int port, const std::string& directory)
{
    const std::string conf = directory + "/sentinel.conf";
    std::ofstream out(conf, std::ios::trunc);
    const std::string& name = options.sentinelName;
    out << "port " << port << "\nbind 127.0.0.1\ndir " << directory << "\n"
        << "sentinel monitor " << name << " 127.0.0.1 " << options.sentinelOfPort << " " << options.sentinelQuorum
        << "\nsentinel down-after-milliseconds " << name << " " << options.sentinelDownAfterMs
        << "\nsentinel failover-timeout " << name << " 10000\n";
    return {"redis-sentinel", conf, "--daemonize", "no", "--loglevel", "warning"};
}

std::string replyText(const redisReply* reply)
{
    if (!reply)
        return std::string();
    switch (reply->type) {
    case REDIS_REPLY_STRING:
    case REDIS_REPLY_STATUS:
        return std::string(reply->str, reply->len);
    case REDIS_REPLY_ERROR:
        return "-" + std::string(reply->str, reply->len);
    case REDIS_REPLY_INTEGER:
        return std::to_string(reply->integer);
    case REDIS_REPLY_ARRAY: {
        std::string lines;
        for (std::size_t i = 0; i < reply->elements; ++i)
            lines += (i ? "\n" : "") + replyText(reply->element[i]);
        return lines;
    }
    default:
        return "(nil)";
    }
}

struct ContextFree {
    void operator()(redisContext* c) const { redisFree(c); }
};
struct ReplyFree {
    void operator()(redisReply* r) const { freeReplyObject(r); }
};

std::unique_ptr<redisReply, ReplyFree> run(redisContext* context, const std::vector<std::string>& args)
{
    std::vector<const char*> argv;
    std::vector<std::size_t> lengths;
    for (const std::string& a : args) {
        argv.push_back(a.data());
        lengths.push_back(a.size());
    }
    return std::unique_ptr<redisReply, ReplyFree>(static_cast<redisReply*>(
        redisCommandArgv(context, static_cast<int>(argv.size()), argv.data(), lengths.data())));
}

} // namespace

namespace {

/* The lowest port the system hands out to outgoing connections. */
int lowestEphemeralPort()
{
    std::ifstream in("/proc/sys/net/ipv4/ip_local_port_range");
    int low = 0;
    return in >> low ? low : 0;
}

/* Whether the port can be bound on loopback now; 0 asks the system for any
 * free one. The port bound, or 0. */
int bindLoopback(int port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return 0;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    socklen_t length = sizeof address;
    int bound = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
        && ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        bound = ntohs(address.sin_port);
    ::close(fd);
    return bound;
}

} // namespace

/* Below the range of outgoing connections' ports where there is room: a
 * server a test stops and starts again on its port must not find it taken
 * by a client's connection (a client retrying towards it can even connect
 * to itself on that very port). */
int freeLoopbackPort()
{
    constexpr int kLowest = 10000;
    const int ceiling = lowestEphemeralPort();
    if (ceiling > kLowest + 1000) {
        std::random_device random;
        std::uniform_int_distribution<int> pick(kLowest, ceiling - 1);
        for (int attempt = 0; attempt < 50; ++attempt)
            if (const int port = bindLoopback(pick(random)))
                return port;
    }
    return bindLoopback(0);
}

RedisServer::RedisServer(const RedisServerOptions& options)
    : m_options(options), m_tls(!options.tlsDirectory.empty()), m_password(options.password),
      m_directory(makeTemporaryDirectory("mvtest-redis"))
{
    if (m_directory.empty()) {
        m_error = "cannot make a temporary directory";
        return;
    }
    if (!options.aclFile.empty() && !writeAclFile(options))
        return;
    /* Another process may take the free port first: try a few. */
    for (int attempt = 0; attempt < kStartAttempts && !isRunning(); ++attempt)
        start(options, freeLoopbackPort());
}

RedisServer::~RedisServer()
{
    stop();
    if (m_directory.empty())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

/* The ACL file as given, each named user with its password, and the test's
 * own user (whose password only this object knows) at the end. */
bool RedisServer::writeAclFile(const RedisServerOptions& options)
{
    std::ifstream in(options.aclFile);
    if (!in) {
        m_error = "cannot read the ACL file " + options.aclFile;
        return false;
    }
    std::ofstream out(m_directory + kAclCopy);
    for (std::string line; std::getline(in, line);) {
        for (const auto& [user, password] : options.aclPasswords)
            if (line.rfind("user " + user + " ", 0) == 0)
                line += " >" + password;
        out << line << '\n';
    }
    m_user = kTestUser;
    m_password = std::string(kTestUser) + "-" + std::to_string(::getpid()) + "-" + std::to_string(std::rand());
    out << "user " << m_user << " on >" << m_password << " ~* &* +@all\n";
    if (!out) {
        m_error = "cannot write the server's ACL file";
        return false;
    }
    return true;
}
std::string RedisServer::address() const
{
    return "redis://127.0.0.1:" + std::to_string(m_port);
}

bool RedisServer::start(const RedisServerOptions& options, int port)
{
    if (port <= 0) {
        m_error = "no free loopback port";
        return false;
    }
    const std::string log = m_directory + "/redis.log";
    const pid_t pid = startChild(options.sentinelOfPort > 0 ? sentinelArguments(options, port, m_directory)
                                                            : serverArguments(options, port, m_directory),
                                 log, m_error);
    if (pid < 0)
        return false;
    m_pid = pid;
    m_port = port;
    if (waitUntilAnswering()) {
        m_error.clear();
        return true;
    }
    reap(SIGKILL);
    m_error = "redis-server on port " + std::to_string(port) + " did not answer: " + fileText(log);
    return false;
}

/* Any answer to PING counts, a refusal for want of a password too; a TLS
 * server, which a plain connection cannot talk to, is ready once its port
 * takes connections. */
bool RedisServer::waitUntilAnswering()
{
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (childEnded(m_pid)) {
            m_pid = -1;
            return false;
        }
        if (m_tls && loopbackPortAccepts(m_port))
            return true;
        std::unique_ptr<redisContext, ContextFree> context(
            m_tls ? nullptr : redisConnectWithTimeout("127.0.0.1", m_port, timeval{0, 200000}));
        if (context && !context->err) {
            redisSetTimeout(context.get(), timeval{1, 0});
            const auto reply = run(context.get(), {"PING"});
            if (reply)
                return true;
        }
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

std::string RedisServer::command(const std::vector<std::string>& args) const
{
    return commands({args});
}

std::string RedisServer::commands(const std::vector<std::vector<std::string>>& list) const
{
    if (!isRunning() || m_tls)
        return std::string();
    std::unique_ptr<redisContext, ContextFree> context(redisConnectWithTimeout("127.0.0.1", m_port, timeval{2, 0}));
    if (!context || context->err)
        return std::string();
    redisSetTimeout(context.get(), timeval{10, 0});
    const std::vector<std::string> auth = m_user.empty() ? std::vector<std::string>{"AUTH", m_password}
                                                         : std::vector<std::string>{"AUTH", m_user, m_password};
    if (!m_password.empty() && !run(context.get(), auth))
        return std::string();
    std::string last;
    for (const std::vector<std::string>& args : list) {
        const auto reply = run(context.get(), args);
        if (!reply)
            return std::string();
        last = replyText(reply.get());
    }
    return last;
}

void RedisServer::kill()
{
    reap(SIGKILL);
}

void RedisServer::stop()
{
    reap(SIGTERM);
}

bool RedisServer::restart()
{
    if (isRunning())
        return true;
    return m_port > 0 && start(m_options, m_port);
}

/* Signals the server and waits for it (a server deaf to SIGTERM gets
 * SIGKILL once the stop limit has passed). */
void RedisServer::reap(int signal)
{
    stopChild(m_pid, signal, kStopLimit);
}

/* A build without TLS does not know the directive; one with it refuses the
 * missing certificate. Either way the server ends at once. */
bool redisServerHasTls()
{
    const std::string directory = makeTemporaryDirectory("mvtest-redis-tls");
    if (directory.empty())
        return false;
    const std::string log = directory + "/probe.log";
    runChild({"redis-server", "--port", "0", "--tls-port", std::to_string(freeLoopbackPort()), "--bind", "127.0.0.1",
              "--tls-cert-file", directory + "/none.crt", "--tls-key-file", directory + "/none.key", "--save", ""},
             log, kStartLimit);
    const std::string text = fileText(log);
    std::remove(log.c_str());
    ::rmdir(directory.c_str());
    return text.find("Bad directive") == std::string::npos;
}

std::string sharedRedisAddress()
{
    if (const char* inherited = std::getenv(kSharedVariable); inherited && *inherited)
        return inherited;
    /* Made once, stopped by the static's destructor at exit, which only the
     * process that started it runs: a forked child ends without it. */
    struct Shared {
        std::unique_ptr<RedisServer> server = std::make_unique<RedisServer>();
        pid_t owner = ::getpid();
        ~Shared()
        {
            if (::getpid() != owner)
                static_cast<void>(server.release());
        }
    };
    static Shared shared;
    if (!shared.server->isRunning()) {
        std::fprintf(stderr, "%s\n", shared.server->error().c_str());
        return std::string();
    }
    const std::string address = shared.server->address();
    ::setenv(kSharedVariable, address.c_str(), 1);
    return address;
}

} // namespace mvtest

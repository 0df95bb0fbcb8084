/*
 * redisserver.cpp: starting, probing and stopping a test's own redis-server.
 */
#include "redisserver.h"

#include <hiredis/hiredis.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <netinet/in.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
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

std::string makeDirectory()
{
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/mvtest-redis-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    return ::mkdtemp(buffer.data()) ? std::string(buffer.data()) : std::string();
}

std::vector<std::string> serverArguments(const RedisServerOptions& options, int port, const std::string& directory)
{
    std::vector<std::string> args{"redis-server", "--port", std::to_string(port), "--bind", "127.0.0.1",
                                  "--save", "", "--dir", directory, "--daemonize", "no", "--loglevel", "warning"};
    if (options.durable)
        args.insert(args.end(), {"--appendonly", "yes", "--appendfsync", "always"});
    else
        args.insert(args.end(), {"--appendonly", "no"});
    if (!options.password.empty())
        args.insert(args.end(), {"--requirepass", options.password});
    if (!options.aclUser.empty())
        args.insert(args.end(), {"--user", options.aclUser, "on", ">" + options.aclPassword, "~*", "&*", "+@all"});
    if (options.replicaOfPort > 0)
        args.insert(args.end(), {"--replicaof", "127.0.0.1", std::to_string(options.replicaOfPort)});
    return args;
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

int freeLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0)
        return 0;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
        && ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

RedisServer::RedisServer(const RedisServerOptions& options)
    : m_options(options), m_password(options.password), m_directory(makeDirectory())
{
    if (m_directory.empty()) {
        m_error = "cannot make a temporary directory";
        return;
    }
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
    const std::vector<std::string> args = serverArguments(options, port, m_directory);
    const std::string log = m_directory + "/redis.log";
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        m_error = std::string("fork: ") + std::strerror(errno);
        return false;
    }
    if (pid == 0) {
        /* The server must not outlive a test process that dies. */
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
        const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (out >= 0) {
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
        }
        std::vector<char*> argv;
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execvp("redis-server", argv.data());
        ::_exit(127);
    }
    m_pid = pid;
    m_port = port;
    if (waitUntilAnswering()) {
        m_error.clear();
        return true;
    }
    reap(SIGKILL);
    std::ifstream in(log);
    std::stringstream text;
    text << in.rdbuf();
    m_error = "redis-server on port " + std::to_string(port) + " did not answer: " + text.str();
    return false;
}

/* Any answer to PING counts, a refusal for want of a password too. */
bool RedisServer::waitUntilAnswering()
{
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            return false;
        }
        std::unique_ptr<redisContext, ContextFree> context(
            redisConnectWithTimeout("127.0.0.1", m_port, timeval{0, 200000}));
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
    if (!isRunning())
        return std::string();
    std::unique_ptr<redisContext, ContextFree> context(redisConnectWithTimeout("127.0.0.1", m_port, timeval{2, 0}));
    if (!context || context->err)
        return std::string();
    redisSetTimeout(context.get(), timeval{10, 0});
    if (!m_password.empty() && !run(context.get(), {"AUTH", m_password}))
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
    if (m_pid <= 0)
        return;
    ::kill(m_pid, signal);
    const auto deadline = std::chrono::steady_clock::now() + kStopLimit;
    int status = 0;
    while (::waitpid(m_pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(5ms);
    }
    m_pid = -1;
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

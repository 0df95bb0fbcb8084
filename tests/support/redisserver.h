/*
 * redisserver.h: a real redis-server for a test, started and stopped by it.
 *
 * The server listens on a free loopback port, keeps nothing on disk unless
 * asked to (no snapshots, no append-only file; its working directory is a
 * temporary one removed with it) and is stopped by its process id when the
 * object goes away, so a test never touches a Redis it did not start. Should the test
 * process die first, the server is told to end with it.
 */
#ifndef MVTEST_REDISSERVER_H
#define MVTEST_REDISSERVER_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace mvtest {

struct RedisServerOptions {
    std::string password;       /* --requirepass: the default user's password */
    std::string aclUser;        /* a further user with every right ... */
    std::string aclPassword;    /* ... and this password */
    int replicaOfPort = 0;      /* a replica of the loopback server on this port */
    bool durable = false;       /* an append-only file written through on every write
                                   (appendfsync always): what a write was acknowledged
                                   for survives a crash */
};

class RedisServer
{
public:
    explicit RedisServer(const RedisServerOptions& options = RedisServerOptions());
    ~RedisServer();
    RedisServer(const RedisServer&) = delete;
    RedisServer& operator=(const RedisServer&) = delete;

    /* Started and answering. */
    bool isRunning() const { return m_pid > 0; }
    /* Why it did not start ("" when it did). */
    const std::string& error() const { return m_error; }
    int port() const { return m_port; }
    pid_t pid() const { return m_pid; }
    /* "redis://127.0.0.1:<port>". */
    std::string address() const;

    /* One command on a fresh connection (authenticated with the default
     * user's password, on database 0); the reply as text: strings, status
     * and numbers as they are, nil as "(nil)", errors as "-<message>",
     * arrays as their elements one per line. "" when the server does not
     * answer. */
    std::string command(const std::vector<std::string>& args) const;
    /* Several commands on one connection, in order; the last reply as
     * command() gives it ("" when one fails to arrive). */
    std::string commands(const std::vector<std::vector<std::string>>& list) const;

    /* The crash of the server: SIGKILL now. */
    void kill();
    /* An orderly stop: SIGTERM, then SIGKILL if it does not end in time. */
    void stop();
    /* After kill() or stop(): the server again, on the same port, with the
     * same options and working directory (a durable one reads its
     * append-only file back). False, with error(), when it does not answer. */
    bool restart();

private:
    bool start(const RedisServerOptions& options, int port);
    bool waitUntilAnswering();
    void reap(int signal);

    RedisServerOptions m_options;
    pid_t m_pid = -1;
    int m_port = 0;
    std::string m_password;
    std::string m_directory;
    std::string m_error;
};

/* A free loopback port at the moment of asking. */
int freeLoopbackPort();

/* The one server a test process shares among its tests: started on first
 * use, stopped at exit. A child process of the test (a death test) uses its
 * parent's server, named in the environment. "" when none could be
 * started. */
std::string sharedRedisAddress();

} // namespace mvtest

#endif

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
#include <utility>
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
    /* The users of an ACL file (--aclfile): the server reads a copy in its
     * own directory in which each user named here gets its password, and
     * to which a user for the test's own command() calls is added. */
    std::string aclFile;
    std::vector<std::pair<std::string, std::string>> aclPasswords;
    /* A directory holding ca.crt, server.crt and server.key: the server then
     * speaks TLS only, on port(), and command() cannot reach it. */
    std::string tlsDirectory;
    /* A sentinel rather than a server: it watches the primary on this
     * loopback port under sentinelName and takes sentinelQuorum sentinels
     * to agree that the primary is down after sentinelDownAfterMs. */
    int sentinelOfPort = 0;
    std::string sentinelName = "plant";
    int sentinelQuorum = 2;
    int sentinelDownAfterMs = 500;
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
     * user's password, or as the test's own user of an ACL file, on
     * database 0); the reply as text: strings, status
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
    bool writeAclFile(const RedisServerOptions& options);
    bool waitUntilAnswering();
    void reap(int signal);

    RedisServerOptions m_options;
    pid_t m_pid = -1;
    int m_port = 0;
    bool m_tls = false;
    std::string m_user;         /* "" : the default user */
    std::string m_password;
    std::string m_directory;
    std::string m_error;
};

/* Whether this machine's redis-server was built with TLS (it knows
 * --tls-port). */
bool redisServerHasTls();

/* A free loopback port at the moment of asking, below the ports outgoing
 * connections are given where there is room. */
int freeLoopbackPort();

/* The one server a test process shares among its tests: started on first
 * use, stopped at exit. A child process of the test (a death test) uses its
 * parent's server, named in the environment. "" when none could be
 * started. */
std::string sharedRedisAddress();

} // namespace mvtest

#endif

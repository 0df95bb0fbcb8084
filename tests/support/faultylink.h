/*
 * faultylink.h: a loopback relay between a test's clients and a server that
 * can lose a reply on purpose.
 *
 * Every connection made to the relay's port is carried to the server's port
 * byte for byte. Once armed, the first stretch of bytes from the server that
 * holds a given text is thrown away and its connection closed on both sides:
 * the server did the work, its answer never arrived, as when a server or
 * the network goes down at just that moment. The relay listens on loopback
 * only and its thread ends with the object.
 */
#ifndef MVTEST_FAULTYLINK_H
#define MVTEST_FAULTYLINK_H

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace mvtest {

class FaultyLink
{
public:
    explicit FaultyLink(int serverPort);
    ~FaultyLink();
    FaultyLink(const FaultyLink&) = delete;
    FaultyLink& operator=(const FaultyLink&) = delete;

    /* Listening, with its port. */
    bool isRunning() const { return m_listener >= 0; }
    int port() const { return m_port; }
    /* "redis://127.0.0.1:<port>". */
    std::string address() const;

    /* The next reply holding text is lost with its connection. */
    void loseReplyHolding(const std::string& text);
    /* Replies lost so far. */
    int lost() const { return m_lost.load(); }

private:
    void run();
    /* Whether the fresh last bytes of what the server sent on a connection
     * go on to the client (false: they are lost, with the connection). */
    bool passes(const std::string& seen, std::size_t fresh);

    const int m_serverPort;
    int m_listener = -1;
    int m_port = 0;
    int m_wake[2] = {-1, -1};
    std::mutex m_mutex;
    std::string m_needle;   /* guarded by m_mutex; empty when not armed */
    std::atomic<int> m_lost{0};
    std::thread m_thread;
};

} // namespace mvtest

#endif

/*
 * tlstunnel.h: encryption in transit for a test, the way a station runs it:
 * a throwaway certificate authority and server certificate made with
 * openssl, and a stunnel client that forwards a plain loopback port to a
 * server's TLS port, checking the server's certificate on the way.
 *
 * Everything lives in a temporary directory removed with its object; the
 * tunnel listens on loopback only and is stopped by its process id.
 */
#ifndef MVTEST_TLSTUNNEL_H
#define MVTEST_TLSTUNNEL_H

#include <string>
#include <sys/types.h>

namespace mvtest {

/* ca.crt, server.crt and server.key (the server's for 127.0.0.1 and
 * localhost, signed by the CA) in directory(). */
class TestCertificates
{
public:
    TestCertificates();
    ~TestCertificates();
    TestCertificates(const TestCertificates&) = delete;
    TestCertificates& operator=(const TestCertificates&) = delete;

    bool isReady() const { return m_error.empty(); }
    const std::string& error() const { return m_error; }
    const std::string& directory() const { return m_directory; }
    std::string caFile() const { return m_directory + "/ca.crt"; }

private:
    bool make();

    std::string m_directory;
    std::string m_error;
};

/* A stunnel client from port() (plain, loopback) to the TLS port of a
 * loopback server whose certificate the CA signed. */
class TlsTunnel
{
public:
    TlsTunnel(int tlsPort, std::string caFile);
    ~TlsTunnel();
    TlsTunnel(const TlsTunnel&) = delete;
    TlsTunnel& operator=(const TlsTunnel&) = delete;

    /* Starts the tunnel (on the port it had before, once it has one) and
     * waits until it takes connections; false, and why in error(), when it
     * does not within the start limit. */
    bool start();
    /* Stops it: SIGTERM, SIGKILL if it does not end in time. */
    void stop();

    bool isRunning() const { return m_pid > 0; }
    const std::string& error() const { return m_error; }
    int port() const { return m_port; }
    /* "redis://<credentials>@127.0.0.1:<port>", credentials being
     * "user:password" ("" for none). */
    std::string address(const std::string& credentials = std::string()) const;

private:
    bool startOn(int port);

    const int m_tlsPort;
    const std::string m_caFile;
    std::string m_directory;
    pid_t m_pid = -1;
    int m_port = 0;
    std::string m_error;
};

} // namespace mvtest

#endif

/*
 * tlstunnel.cpp: test certificates made with openssl, and the stunnel
 * client process.
 */
#include "tlstunnel.h"

#include "childprocess.h"
#include "redisserver.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <thread>
#include <unistd.h>
#include <vector>

namespace mvtest {

namespace {

using namespace std::chrono_literals;

constexpr auto kOpensslLimit = 30s;
constexpr auto kStartLimit = 10s;
constexpr auto kStopLimit = 5s;
constexpr int kStartAttempts = 5;

const char* const kCertificateFiles[] = {"ca.key", "ca.crt", "ca.srl", "server.key", "server.csr", "server.crt",
                                         "server.ext", "openssl.log"};
const char* const kTunnelFiles[] = {"stunnel.conf", "stunnel.log"};

void removeDirectory(const std::string& directory, const char* const* files, std::size_t count)
{
    if (directory.empty())
        return;
    for (std::size_t i = 0; i < count; ++i)
        std::remove((directory + "/" + files[i]).c_str());
    ::rmdir(directory.c_str());
}

} // namespace

/* ---- Certificates ------------------------------------------------------------ */

TestCertificates::TestCertificates() : m_directory(makeTemporaryDirectory("mvtest-tls"))
{
    if (m_directory.empty())
        m_error = "cannot make a temporary directory";
    else
        make();
}

TestCertificates::~TestCertificates()
{
    removeDirectory(m_directory, kCertificateFiles, std::size(kCertificateFiles));
}

/* An EC key pair per party (quick to make), valid for a day. */
bool TestCertificates::make()
{
    const std::string d = m_directory + "/";
    const std::string log = d + "openssl.log";
    {
        std::ofstream ext(d + "server.ext");
        ext << "subjectAltName = IP:127.0.0.1, DNS:localhost\n";
    }
    const std::vector<std::vector<std::string>> steps = {
        {"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
         "-keyout", d + "ca.key", "-out", d + "ca.crt", "-days", "1", "-subj", "/CN=mvtest certificate authority"},
        {"openssl", "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
         d + "server.key", "-out", d + "server.csr", "-subj", "/CN=localhost"},
        {"openssl", "x509", "-req", "-in", d + "server.csr", "-CA", d + "ca.crt", "-CAkey", d + "ca.key",
         "-CAcreateserial", "-out", d + "server.crt", "-days", "1", "-extfile", d + "server.ext"},
    };
    for (const auto& step : steps) {
        if (runChild(step, log, kOpensslLimit) != 0) {
            m_error = "openssl " + step[1] + " failed: " + fileText(log);
            return false;
        }
    }
    return true;
}

/* ---- The tunnel ---------------------------------------------------------------- */

TlsTunnel::TlsTunnel(int tlsPort, std::string caFile)
    : m_tlsPort(tlsPort), m_caFile(std::move(caFile)), m_directory(makeTemporaryDirectory("mvtest-stunnel"))
{
    if (m_directory.empty())
        m_error = "cannot make a temporary directory";
}

TlsTunnel::~TlsTunnel()
{
    stop();
    removeDirectory(m_directory, kTunnelFiles, std::size(kTunnelFiles));
}

std::string TlsTunnel::address(const std::string& credentials) const
{
    return "redis://" + (credentials.empty() ? std::string() : credentials + "@") + "127.0.0.1:"
         + std::to_string(m_port);
}

bool TlsTunnel::start()
{
    if (m_directory.empty() || isRunning())
        return isRunning();
    if (m_port > 0)
        return startOn(m_port);
    /* Another process may take the free port first: try a few. */
    for (int attempt = 0; attempt < kStartAttempts; ++attempt)
        if (startOn(freeLoopbackPort()))
            return true;
    return false;
}

/* In the foreground, so that it stays this process's child; no pid file. */
bool TlsTunnel::startOn(int port)
{
    const std::string conf = m_directory + "/stunnel.conf";
    const std::string log = m_directory + "/stunnel.log";
    {
        std::ofstream out(conf);
        out << "foreground = yes\n"
               "pid =\n"
               "debug = warning\n"
               "[redis]\n"
               "client = yes\n"
               "accept = 127.0.0.1:" << port << "\n"
               "connect = 127.0.0.1:" << m_tlsPort << "\n"
               "CAfile = " << m_caFile << "\n"
               "verifyChain = yes\n"
               "checkIP = 127.0.0.1\n";
    }
    m_pid = startChild({"stunnel", conf}, log, m_error);
    if (m_pid < 0)
        return false;
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (childEnded(m_pid)) {
            m_pid = -1;
            m_error = "stunnel ended: " + fileText(log);
            return false;
        }
        if (loopbackPortAccepts(port)) {
            m_port = port;
            m_error.clear();
            return true;
        }
        std::this_thread::sleep_for(20ms);
    }
    stopChild(m_pid, SIGKILL, kStopLimit);
    m_error = "stunnel did not take connections on port " + std::to_string(port) + ": " + fileText(log);
    return false;
}

void TlsTunnel::stop()
{
    stopChild(m_pid, SIGTERM, kStopLimit);
}

} // namespace mvtest

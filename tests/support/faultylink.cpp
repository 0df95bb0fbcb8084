#include "faultylink.h"

#include <algorithm>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace mvtest {

namespace {

// How much of a connection's last bytes is kept to find a text that a
// read split in two.
constexpr std::size_t kTail = 4096;

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// Writes all of data (both ends are blocking sockets); false when the peer
// is gone.
bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

int connectTo(int port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const sockaddr_in address = loopback(port);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

struct Link {
    int client;
    int server;
    std::string tail;   // the server's last bytes on this connection
};

} // namespace

FaultyLink::FaultyLink(int serverPort) : m_serverPort(serverPort)
{
    if (::pipe2(m_wake, O_CLOEXEC) != 0)
        return;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 64) != 0 || ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    m_listener = fd;
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

FaultyLink::~FaultyLink()
{
    if (m_thread.joinable()) {
        const char stop = 's';
        (void)!::write(m_wake[1], &stop, 1);
        m_thread.join();
    }
    for (int fd : {m_listener, m_wake[0], m_wake[1]})
        if (fd >= 0)
            ::close(fd);
}

std::string FaultyLink::address() const
{
    return "redis://127.0.0.1:" + std::to_string(m_port);
}

void FaultyLink::loseReplyHolding(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_needle = text;
}

bool FaultyLink::passes(const std::string& seen, std::size_t fresh)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_needle.empty())
        return true;
    // Only the fresh bytes, and text that ends in them, count.
    const std::size_t overlap = std::min(seen.size() - fresh, m_needle.size() - 1);
    if (seen.find(m_needle, seen.size() - fresh - overlap) == std::string::npos)
        return true;
    m_needle.clear();
    ++m_lost;
    return false;
}

void FaultyLink::run()
{
    std::vector<Link> links;
    std::vector<char> buffer(64 * 1024);
    const auto drop = [&](std::size_t i) {
        ::close(links[i].client);
        ::close(links[i].server);
        links.erase(links.begin() + static_cast<std::ptrdiff_t>(i));
    };
    for (;;) {
        std::vector<pollfd> watched{{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const Link& link : links) {
            watched.push_back({link.client, POLLIN, 0});
            watched.push_back({link.server, POLLIN, 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0)
            continue;
        if (watched[0].revents != 0)
            break;
        // Links are handled from the last, so that dropping one leaves the
        // positions of those still to be handled as they were.
        for (std::size_t i = links.size(); i-- > 0;) {
            const short fromClient = watched[2 + 2 * i].revents;
            const short fromServer = watched[3 + 2 * i].revents;
            bool open = true;
            if (fromClient != 0) {
                const ssize_t n = ::recv(links[i].client, buffer.data(), buffer.size(), 0);
                open = n > 0 && writeAll(links[i].server, buffer.data(), static_cast<std::size_t>(n));
            }
            if (open && fromServer != 0) {
                const ssize_t n = ::recv(links[i].server, buffer.data(), buffer.size(), 0);
                if (n > 0) {
                    std::string& tail = links[i].tail;
                    tail.append(buffer.data(), static_cast<std::size_t>(n));
                    open = passes(tail, static_cast<std::size_t>(n)) && writeAll(links[i].client, buffer.data(), static_cast<std::size_t>(n));
                    if (tail.size() > kTail)
                        tail.erase(0, tail.size() - kTail);
                } else {
                    open = false;
                }
            }
            if (!open)
                drop(i);
        }
        if (watched[1].revents != 0) {
            const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client >= 0) {
                const int server = connectTo(m_serverPort);
                if (server >= 0)
                    links.push_back({client, server, std::string()});
                else
                    ::close(client);
            }
        }
    }
    for (std::size_t i = links.size(); i-- > 0;)
        drop(i);
}

} // namespace mvtest

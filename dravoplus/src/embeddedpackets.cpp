/*
 * embeddedpackets.cpp: request/reply packets of the runtime server inside this
 * process.
 *
 * A sender queues a request for a named target (a driver such as "Driver7")
 * and gets a handle; the one client registered as the target's receiver takes
 * the requests oldest first and answers each on its handle; the sender waits
 * for that answer. A handle lives until it is released or its expiry passes,
 * so a sender that forgets it, or a driver that never answers, leaks nothing:
 * every packet operation first purges the handles whose time is up, together
 * with their unanswered requests and untaken replies.
 */
#include "embeddedstate.h"

#include <algorithm>
#include <chrono>

namespace dravo {
namespace embedded {

/* ---- Expiry and bookkeeping ----------------------------------------------- */

void EmbeddedServer::purgeExpiredLocked(Clock::time_point now)
{
    while (!m_expiries.empty() && m_expiries.begin()->first <= now)
        forgetPacketLocked(m_expiries.begin()->second);
}

/* Drops the handle and whatever it still carries; its waiters wake to find
 * it gone. */
void EmbeddedServer::forgetPacketLocked(DravoHandle handle)
{
    const auto it = m_packets.find(handle);
    if (it == m_packets.end())
        return;
    const PacketPtr packet = it->second;
    m_packets.erase(it);
    m_expiries.erase(packet->expiryEntry);
    if (!packet->requestTaken) {
        const auto target = m_targets.find(packet->target);
        if (target != m_targets.end())
            target->second->queue.erase(handle);
        dropTargetIfIdleLocked(packet->target);
    }
    packet->gone = true;
    packet->request = DravoData();
    packet->reply.reset();
    if (packet->waiters > 0)
        packet->cv.notify_all();
}

/* A target nobody serves and nobody sent anything to need not be kept. */
void EmbeddedServer::dropTargetIfIdleLocked(const std::string& target)
{
    const auto it = m_targets.find(target);
    if (it != m_targets.end() && it->second->receiver == 0 && it->second->queue.empty())
        m_targets.erase(it);
}

/* The client's registrations end with its connection; requests already
 * queued wait for the next receiver while their handles live. */
void EmbeddedServer::dropReceiversLocked(ClientKey client)
{
    std::vector<std::string> released;
    for (auto& [name, target] : m_targets) {
        if (target->receiver != client)
            continue;
        target->receiver = 0;
        if (target->waiters > 0)
            target->cv.notify_all();
        released.push_back(name);
    }
    for (const std::string& name : released)
        dropTargetIfIdleLocked(name);
}

bool EmbeddedServer::takeRequestLocked(PacketTarget& target, DravoData& request, DravoHandle& handle)
{
    while (!target.queue.empty()) {
        const DravoHandle oldest = *target.queue.begin();
        target.queue.erase(target.queue.begin());
        const auto it = m_packets.find(oldest);
        if (it == m_packets.end())
            continue;
        Packet& packet = *it->second;
        packet.requestTaken = true;
        request = std::move(packet.request);
        packet.request = DravoData();
        handle = oldest;
        return true;
    }
    return false;
}

/* ---- The sending side ----------------------------------------------------- */

int EmbeddedBackend::sendPacket(const std::string& target, const DravoData& request, int mode, long expiryMs,
                                DravoHandle& handle)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    if (target.empty())
        return DRAVO_BAD_ARGUMENT;
    const Clock::time_point now = Clock::now();
    m_server.purgeExpiredLocked(now);
    auto it = m_server.m_targets.find(target);
    const bool served = it != m_server.m_targets.end() && it->second->receiver != 0;
    if ((mode & DRAVO_PACKET_PRESENT) && !served)
        return DRAVO_NO_RECEIVER;
    if (it == m_server.m_targets.end())
        it = m_server.m_targets.emplace(target, std::make_shared<PacketTarget>()).first;

    handle = ++m_server.m_lastHandle;
    auto packet = std::make_shared<Packet>();
    packet->target = target;
    packet->request = request;
    packet->expires = now + std::chrono::milliseconds(std::max(expiryMs, 0L));
    packet->expiryEntry = m_server.m_expiries.emplace(packet->expires, handle);
    m_server.m_packets.emplace(handle, std::move(packet));

    PacketTarget& queue = *it->second;
    queue.queue.insert(handle);
    if (queue.waiters > 0)
        queue.cv.notify_all();
    return DRAVO_OK;
}

/* A handle that expires during the wait is gone like a released one. */
int EmbeddedBackend::waitReply(DravoHandle handle, DravoData& reply, long waitMs)
{
    const Clock::time_point deadline = deadlineAfter(waitMs);
    std::unique_lock<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.purgeExpiredLocked(Clock::now());
    const auto it = m_server.m_packets.find(handle);
    if (it == m_server.m_packets.end())
        return DRAVO_BAD_HANDLE;
    const PacketPtr packet = it->second;
    WaiterCount waiting(packet->waiters);
    for (;;) {
        if (!m_server.connectedLocked(m_client))
            return DRAVO_NOT_CONNECTED;
        if (packet->gone)
            return DRAVO_BAD_HANDLE;
        if (packet->reply) {
            reply = std::move(*packet->reply);
            packet->reply.reset();
            return DRAVO_OK;
        }
        const Clock::time_point now = Clock::now();
        if (now >= packet->expires) {
            m_server.purgeExpiredLocked(now);
            continue;
        }
        if (now >= deadline)
            return DRAVO_TIMEOUT;
        packet->cv.wait_until(lock, std::min(deadline, packet->expires));
    }
}

int EmbeddedBackend::releaseHandle(DravoHandle handle)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.purgeExpiredLocked(Clock::now());
    if (m_server.m_packets.count(handle) == 0)
        return DRAVO_BAD_HANDLE;
    m_server.forgetPacketLocked(handle);
    return DRAVO_OK;
}

/* ---- The receiving side --------------------------------------------------- */

int EmbeddedBackend::registerReceiver(const std::string& target)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    if (target.empty())
        return DRAVO_BAD_ARGUMENT;
    m_server.purgeExpiredLocked(Clock::now());
    TargetPtr& slot = m_server.m_targets[target];
    if (!slot)
        slot = std::make_shared<PacketTarget>();
    if (slot->receiver != 0 && slot->receiver != m_client)
        return DRAVO_TARGET_TAKEN;
    slot->receiver = m_client;
    return DRAVO_OK;
}

/* Unregistering a target this client does not serve has nothing to undo. */
int EmbeddedBackend::unregisterReceiver(const std::string& target)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.purgeExpiredLocked(Clock::now());
    const auto it = m_server.m_targets.find(target);
    if (it == m_server.m_targets.end() || it->second->receiver != m_client)
        return DRAVO_OK;
    it->second->receiver = 0;
    if (it->second->waiters > 0)
        it->second->cv.notify_all();
    m_server.dropTargetIfIdleLocked(target);
    return DRAVO_OK;
}

int EmbeddedBackend::receivePacket(const std::string& target, DravoData& request, DravoHandle& handle,
                                   long waitMs)
{
    const Clock::time_point deadline = deadlineAfter(waitMs);
    std::unique_lock<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.purgeExpiredLocked(Clock::now());
    const auto it = m_server.m_targets.find(target);
    if (it == m_server.m_targets.end() || it->second->receiver != m_client)
        return DRAVO_BAD_ARGUMENT;
    const TargetPtr served = it->second;
    WaiterCount waiting(served->waiters);
    for (;;) {
        if (!m_server.connectedLocked(m_client))
            return DRAVO_NOT_CONNECTED;
        if (served->receiver != m_client)
            return DRAVO_BAD_ARGUMENT;
        const Clock::time_point now = Clock::now();
        m_server.purgeExpiredLocked(now);
        if (m_server.takeRequestLocked(*served, request, handle))
            return DRAVO_OK;
        if (now >= deadline)
            return DRAVO_TIMEOUT;
        served->cv.wait_until(lock, deadline);
    }
}

/* An answer to a handle that is gone is dropped: its sender stopped
 * waiting long ago. */
int EmbeddedBackend::replyPacket(DravoHandle handle, const DravoData& reply)
{
    std::lock_guard<std::mutex> lock(m_server.m_mutex);
    if (!m_server.connectedLocked(m_client))
        return DRAVO_NOT_CONNECTED;
    m_server.purgeExpiredLocked(Clock::now());
    const auto it = m_server.m_packets.find(handle);
    if (it == m_server.m_packets.end())
        return DRAVO_BAD_HANDLE;
    Packet& packet = *it->second;
    packet.reply = reply;
    if (packet.waiters > 0)
        packet.cv.notify_all();
    return DRAVO_OK;
}

} // namespace embedded
} // namespace dravo

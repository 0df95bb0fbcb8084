/*
 * redispackets.cpp: request/reply packets of the runtime server kept in Redis.
 *
 * A request is a hash under its handle, with the handle's expiry, and its
 * handle waits in the target's list; the receiver serving a target is a key
 * holding its client id, renewed by its monitor and gone soon after it dies,
 * so that a sender asking for a present receiver learns at once that the
 * driver is not running (DRAVO_NO_RECEIVER). The reply goes to a list of its
 * own that expires with the handle; the sender blocks on it with its own
 * connection.
 */
#include "redisbackend.h"

#include <algorithm>
#include <chrono>

namespace dravo {
namespace redis {

namespace {

/* The longest a reply wait blocks before it looks whether its handle was
 * released meanwhile; real milliseconds, not scaled. */
constexpr long kReleaseCheckMs = 250;

} // namespace

/* ---- The sending side -------------------------------------------------------- */

int RedisBackend::sendPacket(const std::string& target, const DravoData& request, int mode, long expiryMs,
                             DravoHandle& handle)
{
    if (target.empty())
        return m_connected ? DRAVO_BAD_ARGUMENT : DRAVO_NOT_CONNECTED;
    const std::string present = (mode & DRAVO_PACKET_PRESENT) ? "1" : "0";
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::SendPacket,
                                      {target, DravoPlus::SerializeRecord(request), present,
                                       std::to_string(std::max(expiryMs, 1L))});
        if (const int rc = scriptResult(reply))
            return rc;
        if (integer(reply.get()) <= 0)
            return DRAVO_NO_RECEIVER;
        handle = static_cast<DravoHandle>(integer(reply.get()));
        return DRAVO_OK;
    });
}

/* A handle that expires during the wait is gone like a released one. The
 * release of a handle by another thread or client pushes nothing to its
 * reply list (the roles that may release a handle may not write replies), so
 * the wait blocks in slices and looks at the handle between them: a released
 * handle ends the wait within one slice, as it does at once on the embedded
 * server. */
int RedisBackend::waitReply(DravoHandle handle, DravoData& reply, long waitMs)
{
    const Clock::time_point deadline = deadlineIn(waitMs);
    const std::string id = std::to_string(handle);
    return exchange([&](RedisConnection& connection) -> int {
        for (;;) {
            const Reply taken = runScript(connection, Script::TakeReply, {id});
            if (const int rc = scriptResult(taken))
                return rc;
            const long long state = integer(at(taken.get(), 0));
            if (state < 0)
                return DRAVO_BAD_HANDLE;
            if (state == 1)
                return decodeRecord(at(taken.get(), 1), reply);
            const long left = msUntil(deadline);
            if (left <= 0)
                return DRAVO_TIMEOUT;
            /* Wake when the handle runs out, to report it gone. */
            const long life = std::max(static_cast<long>(integer(at(taken.get(), 1))), 1L);
            const long block = std::min({left, life, kReleaseCheckMs});
            const Reply popped = connection.blockingCommand({"BLPOP", replyKey(id), blockingTimeout(block)}, block);
            if (!popped)
                return DRAVO_NOT_CONNECTED;
            if (size(popped.get()) == 2)
                return decodeRecord(at(popped.get(), 1), reply);
        }
    });
}

int RedisBackend::releaseHandle(DravoHandle handle)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::Release, {std::to_string(handle)});
        if (const int rc = scriptResult(reply))
            return rc;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_BAD_HANDLE;
    });
}

/* ---- The receiving side ------------------------------------------------------ */

int RedisBackend::registerReceiver(const std::string& target)
{
    if (target.empty())
        return m_connected ? DRAVO_BAD_ARGUMENT : DRAVO_NOT_CONNECTED;
    const int rc = exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::Register, {target, m_id, std::to_string(presenceMs())});
        if (const int failed = scriptResult(reply))
            return failed;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_TARGET_TAKEN;
    });
    if (rc == DRAVO_OK)
        serveTarget(target, true);
    return rc;
}

/* Unregistering a target this client does not serve has nothing to undo. */
int RedisBackend::unregisterReceiver(const std::string& target)
{
    std::lock_guard<std::mutex> renewal(m_renewal);
    const int rc = exchange([&](RedisConnection& connection) -> int {
        return scriptResult(runScript(connection, Script::Unregister, {target, m_id}));
    });
    if (rc == DRAVO_OK)
        serveTarget(target, false);
    return rc;
}

/* A wait for a request takes it in the round trip it wakes in: BLMOVE of
 * the target's queue onto itself (head to head) returns once a handle is
 * there and leaves it in place, and the take script that follows in the
 * same pipeline pops it, skipping handles that expired while they waited. */
int RedisBackend::receivePacket(const std::string& target, DravoData& request, DravoHandle& handle, long waitMs)
{
    const Clock::time_point deadline = deadlineIn(waitMs);
    const Command take{target, m_id};
    return exchange([&](RedisConnection& connection) -> int {
        Reply next = runScript(connection, Script::NextRequest, take);
        Reply wait;
        for (;;) {
            if (const int rc = scriptResult(next))
                return rc;
            if (integer(next.get()) == -1)
                return DRAVO_BAD_ARGUMENT;   /* this client does not serve the target */
            if (size(next.get()) == 2) {
                handle = static_cast<DravoHandle>(integer(at(next.get(), 0)));
                return decodeRecord(at(next.get(), 1), request);
            }
            if (wait && isError(wait.get()))
                return errorCode(wait.get());   /* the wait is refused: it would not block again */
            const long left = msUntil(deadline);
            if (left <= 0)
                return DRAVO_TIMEOUT;
            const std::string queue = packetQueueKey(target);
            std::vector<Reply> waited = connection.blockingPipeline(
                {{"BLMOVE", queue, queue, "LEFT", "LEFT", blockingTimeout(left)}, scriptCommand(Script::NextRequest, take)},
                left);
            if (waited.size() != 2 || !waited[0] || !waited[1])
                return DRAVO_NOT_CONNECTED;
            wait = std::move(waited[0]);
            next = isNoScript(waited[1].get()) ? runScript(connection, Script::NextRequest, take) : std::move(waited[1]);
        }
    });
}

/* An answer to a handle that is gone is refused: its sender stopped
 * waiting long ago. */
int RedisBackend::replyPacket(DravoHandle handle, const DravoData& reply)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply put = runScript(connection, Script::PutReply,
                                    {std::to_string(handle), DravoPlus::SerializeRecord(reply)});
        if (const int rc = scriptResult(put))
            return rc;
        return integer(put.get()) == 1 ? DRAVO_OK : DRAVO_BAD_HANDLE;
    });
}

} // namespace redis
} // namespace dravo

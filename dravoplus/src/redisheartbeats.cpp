/*
 * redisheartbeats.cpp: heartbeat entries of the runtime server kept in Redis.
 *
 * An entry's lease is a key holding its holder's client id, set only when
 * absent (or already the caller's) and given the lease as expiry; the
 * holder's monitor renews it while the holder is connected. When the holder
 * disconnects or dies the renewals stop, the key runs out one lease later,
 * and a standby may take the entry; the former holder then finds the news
 * "H:<task>" in its notices and its listeners hear onHeartbeatLost. Beside
 * the lease, a hash keeps the holder's name and the record for the
 * supervision listing, which outlives the lease.
 */
#include "redisbackend.h"

#include <algorithm>

namespace dravo {
namespace redis {

int RedisBackend::contendHeartbeat(const std::string& task, const DravoData& record)
{
    const int rc = exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::Contend,
                                      {task, m_id, m_id, DravoPlus::SerializeRecord(record), std::to_string(leaseMs())});
        if (const int failed = scriptResult(reply))
            return failed;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_HEARTBEAT_HELD;
    });
    if (rc == DRAVO_OK)
        holdTask(task);
    return rc;
}

/* Entries in task order, live while their lease runs. */
int RedisBackend::listHeartbeats(std::vector<DravoHeartbeatInfo>& out)
{
    out.clear();
    const int rc = exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::ListHeartbeats, {});
        if (const int failed = scriptResult(reply))
            return failed;
        for (std::size_t i = 0; i < size(reply.get()); ++i) {
            const redisReply* entry = at(reply.get(), i);
            DravoHeartbeatInfo info;
            info.task = text(at(entry, 0));
            info.holder = text(at(entry, 1));
            decodeRecord(at(entry, 2), info.record);
            info.live = integer(at(entry, 3)) == 1;
            out.push_back(std::move(info));
        }
        return DRAVO_OK;
    });
    std::sort(out.begin(), out.end(),
              [](const DravoHeartbeatInfo& a, const DravoHeartbeatInfo& b) { return a.task < b.task; });
    return rc;
}

} // namespace redis
} // namespace dravo

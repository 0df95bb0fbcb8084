/*
 * redisboxes.cpp: events and event boxes of the runtime server kept in Redis.
 *
 * A box is a hash with its settings and a list holding its queue; a set per
 * event kind names the boxes subscribed to it. Sending is one script that
 * appends the records to every subscribed box whose domain fits, trims each
 * box to its capacity and tells the owner what was dropped: fan-out, order
 * and overflow are decided on the server in one step, whichever process
 * sends. A box whose record on the server is damaged is skipped there and
 * reported in its description (redisscripts.cpp); its receiver is refused
 * (DRAVO_MALFORMED) on its next connect, or by the receive that finds it
 * (within one wait), so that it never waits long on a box nobody sends to.
 * Receiving takes what is queued in one step and, when nothing is, blocks
 * on the box's list on the caller's own connection until something comes,
 * the first record moving into the taken list as the wait ends.
 *
 * Nothing queued is lost with a reply: a take keeps what it hands out in the
 * box's taken list on the server, and the receiver's next take either says
 * how much of it arrived (the reply was read) or asks for it again (the
 * connection broke under the take, or this process is new to the port). A
 * farewell says so too, so an orderly successor on a persistent box sees
 * nothing twice; the successor of a crashed receiver gets its last batch
 * again.
 */
#include "redisbackend.h"

#include <algorithm>
#include <chrono>
#include <climits>

namespace dravo {
namespace redis {

namespace {

DravoEventBoxInfo describe(const redisReply* box)
{
    DravoEventBoxInfo info;
    info.name = text(at(box, 0));
    info.kind = static_cast<int>(integer(at(box, 1)));
    info.capacity = static_cast<int>(integer(at(box, 2)));
    info.queued = static_cast<int>(integer(at(box, 3)));
    info.dropped = static_cast<std::uint64_t>(integer(at(box, 4)));
    info.persistent = integer(at(box, 5)) != 0;
    info.domain = text(at(box, 6));
    info.skipped = static_cast<std::uint64_t>(integer(at(box, 7)));
    info.damage = text(at(box, 8));
    return info;
}

enum class Taken { Some, None, BoxGone };

/* Appends the record of an item if it passes the filter (records of other
 * types are taken and dropped, as the reader asked not to see them); false
 * for the empty item, the mark a removed box leaves for its waiting
 * receivers. */
bool takeItem(const redisReply* item, DravoDataList& out, const std::string& typeFilter)
{
    if (bytes(item).empty())
        return false;
    DravoData record;
    if (decodeRecord(item, record) == DRAVO_OK && (typeFilter.empty() || typeFilter == record.GetTypeName()))
        out.append(std::move(record));
    return true;
}

/* The same for each of items. */
Taken takeItems(const redisReply* items, DravoDataList& out, const std::string& typeFilter)
{
    for (std::size_t i = 0; i < size(items); ++i) {
        if (!takeItem(at(items, i), out, typeFilter))
            return Taken::BoxGone;
    }
    return out.isEmpty() ? Taken::None : Taken::Some;
}

int takenResult(Taken taken)
{
    return taken == Taken::BoxGone ? DRAVO_NOT_FOUND : DRAVO_OK;
}

/* A take by the script, which checks the box first: up to count records
 * into out, arrival updated. */
int scriptTake(RedisConnection& connection, const std::string& port, int count, Arrival& arrival, DravoDataList& out,
               const std::string& typeFilter, Taken& taken)
{
    const auto [reply, items] = runScriptThen(
        connection, Script::Take,
        {port, std::to_string(count), arrival.records < 0 ? "again" : std::to_string(arrival.records)},
        {"LRANGE", takenKey(port), "0", std::to_string(count - 1)});
    arrival = Arrival();
    if (!reply || isError(reply.get()))
        return reply ? errorCode(reply.get()) : DRAVO_NOT_CONNECTED;
    if (integer(reply.get()) == -1)
        return DRAVO_NOT_FOUND;
    if (isError(items.get()))
        return errorCode(items.get());
    arrival.records = static_cast<long>(size(items.get()));
    arrival.whole = arrival.records >= integer(reply.get());
    taken = takeItems(items.get(), out, typeFilter);
    return DRAVO_OK;
}

/* Takes up to maxRecords at once; blocks until deadline while none come.
 * arrival: what the port's taken list last handed this client; on return,
 * the same for this call.
 *
 * When that was all the list held and reached the client, and the queue is
 * likely drained (the take was not full, or one record is all the reader
 * takes), a wait acknowledges it and blocks on the queue in one round trip:
 * LTRIM of the taken list, then BLMOVE of the queue's head into it. The
 * record that ends the wait is handed out alone, kept in the taken list
 * like any other until the next receive says it arrived; an operator
 * station, which takes one packet at a time, so gets each packet from the
 * server once, with no script. Otherwise, and after a wait that ended with
 * nothing, the script takes: it checks the box, so that a box damaged on
 * the server is found within one wait. */
int receiveOn(RedisConnection& connection, const std::string& port, DravoDataList& out,
              const std::string& typeFilter, int maxRecords, Arrival& arrival, Clock::time_point deadline)
{
    for (;;) {
        const long left = msUntil(deadline);
        const bool drained = maxRecords == 1 || arrival.records < maxRecords;
        if (arrival.records >= 0 && arrival.whole && drained && left > 0) {
            const std::string taken = takenKey(port);
            const std::vector<Reply> waited = connection.blockingPipeline(
                {{"LTRIM", taken, std::to_string(arrival.records), "-1"},
                 {"BLMOVE", queueKey(port), taken, "LEFT", "RIGHT", blockingTimeout(left)}},
                left);
            arrival = Arrival();
            if (waited.size() != 2)
                return DRAVO_NOT_CONNECTED;
            for (const Reply& reply : waited)
                if (isError(reply.get()))
                    return errorCode(reply.get());
            if (!isNil(waited[1].get())) {
                arrival = Arrival{1, true};
                if (!takeItem(waited[1].get(), out, typeFilter)) {
                    // The mark of a removed box, whose taken list went with it.
                    connection.command({"DEL", taken});
                    return DRAVO_NOT_FOUND;
                }
                if (!out.isEmpty())
                    return DRAVO_OK;
                continue;
            }
            arrival = Arrival{0, true};
        }
        Taken taken = Taken::None;
        if (const int rc = scriptTake(connection, port, maxRecords, arrival, out, typeFilter, taken))
            return rc;
        if (taken != Taken::None)
            return takenResult(taken);
        if (msUntil(deadline) <= 0)
            return DRAVO_TIMEOUT;
    }
}

} // namespace

/* The source of an event is not kept: no box or reader asks for it. */
int RedisBackend::sendEvents(int kind, const std::vector<const DravoData*>& records, const std::string& /*source*/,
                             const std::string& domain)
{
    Command args{std::to_string(kind), domain};
    for (const DravoData* record : records)
        if (record)
            args.push_back(DravoPlus::SerializeRecord(*record));
    return exchange([&](RedisConnection& connection) -> int {
        return scriptResult(runScript(connection, Script::Send, args));
    });
}

int RedisBackend::createBox(const std::string& name, int kind, int capacity, const std::string& domain)
{
    if (!m_connected)
        return DRAVO_NOT_CONNECTED;
    if (name.empty() || capacity < 1)
        return DRAVO_BAD_ARGUMENT;
    return exchange([&](RedisConnection& connection) -> int {
        return scriptResult(runScript(connection, Script::CreateBox,
                                      {name, std::to_string(kind), std::to_string(capacity), domain, m_id}));
    });
}

/* A box made transient while its owner is away would have nobody left to
 * remove it, so it goes at once. */
int RedisBackend::setPersistent(const std::string& name, bool persistent)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::SetPersistent, {name, persistent ? "1" : "0"});
        if (const int rc = scriptResult(reply))
            return rc;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_NOT_FOUND;
    });
}

int RedisBackend::deleteBox(const std::string& name)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::DeleteBox, {name});
        if (const int rc = scriptResult(reply))
            return rc;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_NOT_FOUND;
    });
}

/* A box whose record is damaged is refused (DRAVO_MALFORMED): its receiver
 * could wait on it for ever and hear nothing. */
int RedisBackend::connectPort(const std::string& name, unsigned int& port)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::Connect, {name});
        if (const int rc = scriptResult(reply))
            return rc;
        const long long number = integer(reply.get());
        if (number <= 0 || number > UINT_MAX)
            return DRAVO_NOT_FOUND;
        port = static_cast<unsigned int>(number);
        return DRAVO_OK;
    });
}

int RedisBackend::receive(unsigned int port, DravoDataList& out, const std::string& typeFilter, int maxRecords,
                          long waitMs)
{
    const Clock::time_point deadline = deadlineIn(waitMs);
    if (!m_connected)
        return DRAVO_NOT_CONNECTED;
    if (maxRecords < 1)
        return DRAVO_BAD_ARGUMENT;
    out.clear();
    Arrival arrived;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto known = m_arrived.find(port);
        if (known != m_arrived.end())
            arrived = known->second;
    }
    const int rc = exchange([&](RedisConnection& connection) -> int {
        return receiveOn(connection, std::to_string(port), out, typeFilter, maxRecords, arrived, deadline);
    });
    // Only a take whose answer was read here is known to have arrived.
    std::lock_guard<std::mutex> lock(m_mutex);
    if (rc == DRAVO_OK || rc == DRAVO_TIMEOUT)
        m_arrived[port] = arrived;
    else
        m_arrived.erase(port);
    return rc;
}

int RedisBackend::boxInfo(const std::string& name, DravoEventBoxInfo& out)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::BoxInfo, {name});
        if (const int rc = scriptResult(reply))
            return rc;
        if (size(reply.get()) == 0)
            return DRAVO_NOT_FOUND;
        out = describe(reply.get());
        return DRAVO_OK;
    });
}

int RedisBackend::listBoxes(std::vector<DravoEventBoxInfo>& out)
{
    out.clear();
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::ListBoxes, {});
        if (const int rc = scriptResult(reply))
            return rc;
        for (std::size_t i = 0; i < size(reply.get()); ++i)
            out.push_back(describe(at(reply.get(), i)));
        return DRAVO_OK;
    });
}

} // namespace redis
} // namespace dravo

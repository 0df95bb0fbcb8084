/*
 * redisrecords.cpp: the point database of the runtime server kept in Redis.
 *
 * A record is a string key holding its transport form; a sorted set per type
 * lists the records of each type in name order. Batch reads are one MGET,
 * whatever the count.
 *
 * A partial write is atomic with the publication of its raw changes, and all
 * or nothing, by the rules of partialwrite.h. It goes one of two ways:
 *
 *   a transaction   the stored records are read under WATCH, the batch is
 *                   applied here with the same rules as the embedded server,
 *                   and the results, their raw changes pushed to the boxes
 *                   of raw changes and each box trimmed to its capacity run
 *                   as one MULTI/EXEC; if a record or the boxes of the kind
 *                   changed in between, nothing is written and the write
 *                   starts again. Records never pass through a script this
 *                   way: Redis's Lua hashes every string it makes, byte by
 *                   byte, and that was most of what a field driver's poll
 *                   cost the server. It is two round trips; where the boxes
 *                   are is known from the last write (see writeOnce).
 *   a patch script  for a batch whose every partial names the type of the
 *                   record it goes to: the fields are encoded here, where the
 *                   dictionary is, into the bytes each puts at its offset
 *                   (patchScriptArguments), and the script patches the stored
 *                   records, stores them and delivers the changes in one
 *                   round trip. Small batches go this way, and so does every
 *                   batch of a client whose Redis user may not run
 *                   transactions.
 *
 * Either way no reader ever sees a value without its change event queued,
 * nor an event without its value.
 */
#include "redisbackend.h"

#include "partialwrite.h"

#include <algorithm>
#include <unordered_map>

namespace dravo {
namespace redis {

namespace {

/* Attempts of a partial write that keeps meeting concurrent writers. */
constexpr int kWriteAttempts = 100;
/* writeOnce(): nothing was written, the batch must be read again. */
constexpr int kTryAgain = -1;
/* Batches that touch this many records go through a transaction: below it
 * the patch script's one round trip is quicker than two. */
constexpr std::size_t kTransactionRecords = 16;
/* ...and no more than this many: WATCH compares each key it is given with
 * every key the connection already watches, so its cost grows with the
 * square of the count, and above this it would cost the server more than
 * the script. */
constexpr std::size_t kMaxTransactionRecords = 512;

/* The unique names of a batch, and their keys. */
void uniqueKeys(const std::vector<std::string>& names, std::vector<std::string>& unique, Command& keys)
{
    std::unordered_map<std::string, bool> seen;
    for (const std::string& name : names) {
        if (seen.emplace(name, true).second) {
            unique.push_back(name);
            keys.push_back(recordKey(name));
        }
    }
}

/* The settings Script::Targets gives with each box, and where the capacity,
 * the port and the dropped count are among them. */
constexpr std::size_t kTargetSettings = 7;
constexpr std::size_t kCapacitySetting = 1;
constexpr std::size_t kPortSetting = 4;
constexpr std::size_t kDroppedSetting = 6;
const Command kSettingNames{"kind", "capacity", "domain", "owner", "port", "persistent", "dropped"};

/* Why a stored record read as nil: a missing key, or one that holds no
 * string (MGET reads both as nil). */
int missingOrDamaged(RedisConnection& connection, const std::string& key)
{
    const Reply type = connection.command({"TYPE", key});
    if (!type || isError(type.get()))
        return type ? errorCode(type.get()) : DRAVO_NOT_CONNECTED;
    return text(type.get()) == "none" ? DRAVO_NOT_FOUND : DRAVO_MALFORMED;
}

} // namespace

int RedisBackend::getRecord(const std::string& name, DravoData& out)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = connection.command({"GET", recordKey(name)});
        if (!reply || isError(reply.get()))
            return reply ? errorCode(reply.get()) : DRAVO_NOT_CONNECTED;
        if (isNil(reply.get()))
            return static_cast<int>(DRAVO_NOT_FOUND);
        return decodeRecord(reply.get(), out);
    });
}

/* A damaged record is left out like a missing one: one bad record must not
 * blind a display to all the others. */
int RedisBackend::getRecords(const std::vector<std::string>& names, DravoDataList& out)
{
    out.clear();
    if (names.empty())
        return m_connected ? DRAVO_OK : DRAVO_NOT_CONNECTED;
    return exchange([&](RedisConnection& connection) -> int {
        Command args{"MGET"};
        for (const std::string& name : names)
            args.push_back(recordKey(name));
        const Reply reply = connection.command(args);
        if (!reply || isError(reply.get()))
            return reply ? errorCode(reply.get()) : DRAVO_NOT_CONNECTED;
        for (std::size_t i = 0; i < size(reply.get()) && i < names.size(); ++i) {
            DravoData record;
            if (isNil(at(reply.get(), i)) || decodeRecord(at(reply.get(), i), record) != DRAVO_OK)
                continue;
            record.SetFullName(names[i].c_str());
            out.append(std::move(record));
        }
        return static_cast<int>(DRAVO_OK);
    });
}

int RedisBackend::getRecordsByType(const std::string& type, DravoDataList& out)
{
    out.clear();
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::ByType, {type});
        if (const int rc = scriptResult(reply))
            return rc;
        for (std::size_t i = 0; i < size(reply.get()); ++i) {
            DravoData record;
            if (decodeRecord(at(reply.get(), i), record) == DRAVO_OK)
                out.append(std::move(record));
        }
        return static_cast<int>(DRAVO_OK);
    });
}

int RedisBackend::putRecords(const std::vector<DravoData>& records)
{
    if (!m_connected)
        return DRAVO_NOT_CONNECTED;
    Command args;
    args.reserve(records.size() * 3);
    for (const DravoData& record : records) {
        if (!record.IsGood() || !*record.GetTypeName() || !*record.GetDataName())
            return DRAVO_BAD_ARGUMENT;
        args.push_back(record.GetDataName());
        args.push_back(record.GetTypeName());
        args.push_back(DravoPlus::SerializeRecord(record));
    }
    if (args.empty())
        return DRAVO_OK;
    return exchange([&](RedisConnection& connection) -> int { return scriptResult(runScript(connection, Script::Store, args)); });
}

int RedisBackend::deleteRecord(const std::string& name)
{
    return exchange([&](RedisConnection& connection) -> int {
        const Reply reply = runScript(connection, Script::Delete, {name});
        if (const int rc = scriptResult(reply))
            return rc;
        return integer(reply.get()) == 1 ? DRAVO_OK : DRAVO_NOT_FOUND;
    });
}

int RedisBackend::putPartials(const std::vector<std::string>& names,
                              const std::vector<const DravoPartialData*>& partials, bool publish)
{
    if (const int rc = checkBatch(names, partials))
        return rc;
    if (!m_connected)
        return DRAVO_NOT_CONNECTED;
    if (names.empty())
        return DRAVO_OK;
    std::vector<std::string> unique;
    Command keys;
    uniqueKeys(names, unique, keys);
    const bool large = unique.size() >= kTransactionRecords && unique.size() <= kMaxTransactionRecords;
    return exchange([&](RedisConnection& connection) -> int {
        /* The refusal of a user who may not run transactions, or the write. */
        const auto inTransaction = [&]() -> int {
            const int allowed = transactionsAllowed(connection);
            return allowed == DRAVO_OK ? applyAndWrite(connection, names, partials, publish, unique, keys) : allowed;
        };
        if (large && transactionsAllowed(connection) == DRAVO_OK)
            return applyAndWrite(connection, names, partials, publish, unique, keys);
        Command patches;
        if (!patchScriptArguments(names, partials, publish, patches))
            return inTransaction();
        const Reply reply = runScript(connection, Script::Patch, patches);
        if (const int rc = scriptResult(reply))
            return rc;
        if (size(reply.get()) == 0)
            return DRAVO_SERVER_ERROR;
        const long long outcome = integer(at(reply.get(), 0));
        if (outcome == 0)
            return DRAVO_OK;
        if (outcome == 1)
            return DRAVO_NOT_FOUND;
        if (outcome == 3)
            return DRAVO_MALFORMED;
        return inTransaction();
    });
}

/* Asked with an empty transaction, which changes nothing. A user that may
 * open a transaction but not run it would leave the connection in one: it
 * is closed, and the call fails as if it had been lost. */
int RedisBackend::transactionsAllowed(RedisConnection& connection)
{
    const int known = m_transactions;
    if (known != -1)
        return known;
    const std::vector<Reply> replies = connection.pipeline({{"MULTI"}, {"EXEC"}});
    if (replies.size() != 2)
        return DRAVO_NOT_CONNECTED;
    int answer = DRAVO_OK;
    if (isError(replies[0].get())) {
        answer = errorCode(replies[0].get());
    } else if (isError(replies[1].get())) {
        answer = errorCode(replies[1].get());
        connection.close();
    }
    m_transactions = answer;
    return answer;
}

/* Until the batch is written without a concurrent writer in between. */
int RedisBackend::applyAndWrite(RedisConnection& connection, const std::vector<std::string>& names,
                                const std::vector<const DravoPartialData*>& partials, bool publish,
                                const std::vector<std::string>& unique, const Command& keys)
{
    for (int attempt = 0; attempt < kWriteAttempts; ++attempt) {
        const int rc = writeOnce(connection, names, partials, publish, unique, keys);
        if (rc != kTryAgain)
            return rc;
    }
    return DRAVO_SERVER_ERROR;
}

Deliveries RedisBackend::knownDeliveries()
{
    std::lock_guard<std::mutex> lock(m_deliveriesMutex);
    return m_deliveries;
}

void RedisBackend::setKnownDeliveries(Deliveries deliveries)
{
    std::lock_guard<std::mutex> lock(m_deliveriesMutex);
    m_deliveries = std::move(deliveries);
}

/* After a transaction whose pushes each box's trim followed (their
 * replies in exec after the MSET's): a box whose queue was damaged
 * meanwhile got nothing, and Settle counts what it missed; a box that went
 * over its capacity dropped its oldest at once, and what it dropped is
 * counted now. The known deliveries follow the boxes' dropped counts. */
void RedisBackend::settleTrimmed(RedisConnection& connection, Deliveries deliveries, const std::string& count,
                                 const redisReply* exec)
{
    bool intact = true;
    for (std::size_t b = 0; b < deliveries.boxes.size(); ++b) {
        DeliveryBox& box = deliveries.boxes[b];
        const redisReply* pushed = at(exec, 1 + 2 * b);
        if (isError(pushed)) {
            intact = false;
            runScript(connection, Script::Settle, {count, "1", box.name});
        } else if (integer(pushed) > box.capacity) {
            const Reply dropped =
                runScript(connection, Script::Dropped, {box.name, std::to_string(integer(pushed) - box.capacity)});
            box.settings[kDroppedSetting] = std::to_string(integer(dropped.get()));
        }
    }
    setKnownDeliveries(intact ? std::move(deliveries) : Deliveries());
}

namespace {

/* Script::Targets' reply. */
Deliveries readTargets(const redisReply* reply)
{
    Deliveries out;
    const redisReply* targets = at(reply, 0);
    const redisReply* damaged = at(reply, 1);
    for (std::size_t i = 0; i + 2 + kTargetSettings <= size(targets); i += 2 + kTargetSettings) {
        DeliveryBox box;
        box.name = text(at(targets, i));
        box.queue = text(at(targets, i + 1));
        for (std::size_t k = 0; k < kTargetSettings; ++k)
            box.settings.push_back(text(at(targets, i + 2 + k)));
        box.capacity = integer(at(targets, i + 2 + kCapacitySetting));
        out.boxes.push_back(std::move(box));
    }
    for (std::size_t i = 0; i < size(damaged); ++i)
        out.damaged.push_back(text(at(damaged, i)));
    out.known = true;
    return out;
}

/* The reads that tell whether the boxes of raw changes are still as known:
 * the kind's index, and each box's settings and the types of its lists. */
void askDeliveries(const Deliveries& known, std::vector<Command>& commands)
{
    commands.push_back({"SMEMBERS", kindKey(DRAVO_EVENT_RAW_CHANGE)});
    for (const DeliveryBox& box : known.boxes) {
        Command settings{"HMGET", boxKey(box.name)};
        settings.insert(settings.end(), kSettingNames.begin(), kSettingNames.end());
        commands.push_back(std::move(settings));
        commands.push_back({"TYPE", box.queue});
        commands.push_back({"TYPE", takenKey(box.settings[kPortSetting])});
    }
}

/* A list's key that holds a list or nothing yet. */
bool listOrNothing(const redisReply* type)
{
    const std::string t = text(type);
    return t == "list" || t == "none";
}

/* Whether the replies to askDeliveries(), from first on, show the boxes
 * unchanged: the same names in the index, the same settings, lists where
 * the lists go. Anything else, healthy or not, is left to Script::Targets
 * to judge. */
bool sameDeliveries(const Deliveries& known, const std::vector<Reply>& replies, std::size_t first)
{
    const redisReply* members = replies[first].get();
    std::vector<std::string> indexed;
    for (std::size_t i = 0; i < size(members); ++i)
        indexed.push_back(text(at(members, i)));
    std::vector<std::string> names;
    for (const DeliveryBox& box : known.boxes)
        names.push_back(box.name);
    std::sort(indexed.begin(), indexed.end());
    std::sort(names.begin(), names.end());
    if (indexed != names)
        return false;
    std::size_t r = first + 1;
    for (const DeliveryBox& box : known.boxes) {
        const redisReply* settings = replies[r].get();
        if (size(settings) != kTargetSettings)
            return false;
        for (std::size_t k = 0; k < kTargetSettings; ++k)
            if (isNil(at(settings, k)) || text(at(settings, k)) != box.settings[k])
                return false;
        if (!listOrNothing(replies[r + 1].get()) || !listOrNothing(replies[r + 2].get()))
            return false;
        r += 3;
    }
    return true;
}

} // namespace

/* One attempt. The first round trip watches the records (and the index of
 * the boxes of raw changes, so that a box made or removed meanwhile makes
 * the attempt start again), reads them and finds where the changes go; the
 * second writes and delivers.
 *
 * Where they go is asked of Script::Targets, which judges each box, and
 * Script::Settle then holds the boxes to their capacities. Both cost the
 * server more than the rest of the write, and the boxes of raw changes
 * hardly ever change: so once Targets found them all healthy, a write
 * rather reads their settings under WATCH and, when nothing changed,
 * pushes and trims each box to its capacity itself; what a box dropped is
 * then counted right after, by Script::Dropped. */
int RedisBackend::writeOnce(RedisConnection& connection, const std::vector<std::string>& names,
                            const std::vector<const DravoPartialData*>& partials, bool publish,
                            const std::vector<std::string>& unique, const Command& keys)
{
    const Deliveries known = publish ? knownDeliveries() : Deliveries();
    const bool quick = publish && known.known;
    if (publish && !quick && !(knowScript(connection, Script::Targets) && knowScript(connection, Script::Settle)))
        return connection.broken() ? DRAVO_NOT_CONNECTED : DRAVO_SERVER_ERROR;
    /* The commands' arguments refer to these, and to keys and the forms
     * written below, which all outlive the round trips. */
    std::vector<Command> owned;
    owned.reserve(3 + 3 * known.boxes.size());
    const auto view = [&owned](Command command) {
        owned.push_back(std::move(command));
        return Arguments(owned.back().begin(), owned.back().end());
    };
    const std::string kind = std::to_string(DRAVO_EVENT_RAW_CHANGE);
    const std::string kindIndex = kindKey(DRAVO_EVENT_RAW_CHANGE);
    Command boxKeys;
    for (const DeliveryBox& box : known.boxes)
        boxKeys.push_back(boxKey(box.name));
    Arguments watch{"WATCH"};
    watch.insert(watch.end(), keys.begin(), keys.end());
    if (publish)
        watch.push_back(kindIndex);
    watch.insert(watch.end(), boxKeys.begin(), boxKeys.end());
    Arguments read{"MGET"};
    read.insert(read.end(), keys.begin(), keys.end());
    std::vector<Arguments> first;
    first.push_back(std::move(watch));
    first.push_back(std::move(read));
    if (quick) {
        std::vector<Command> asked;
        askDeliveries(known, asked);
        for (Command& command : asked)
            first.push_back(view(std::move(command)));
    } else if (publish) {
        first.push_back(view(scriptCommand(Script::Targets, {kind, ""})));
    }
    const std::vector<Reply> stored = connection.pipelineInPlace(first);
    if (stored.size() != first.size())
        return DRAVO_NOT_CONNECTED;
    const auto giveUp = [&connection](int rc) {
        connection.command({"UNWATCH"});
        return rc;
    };
    for (const Reply& reply : stored) {
        if (isNoScript(reply.get()))
            return giveUp(loadScript(connection, Script::Targets) ? kTryAgain : DRAVO_SERVER_ERROR);
        if (isError(reply.get()))
            return giveUp(errorCode(reply.get()));
    }
    Deliveries deliveries = known;
    if (quick && !sameDeliveries(known, stored, 2)) {
        setKnownDeliveries(Deliveries());
        return giveUp(kTryAgain);
    }
    if (publish && !quick) {
        deliveries = readTargets(stored[2].get());
        setKnownDeliveries(deliveries.damaged.empty() ? deliveries : Deliveries());
    }

    /* Where each record is among unique, keys and the forms read. */
    std::unordered_map<std::string_view, std::size_t> place;
    for (std::size_t i = 0; i < unique.size(); ++i)
        place.emplace(unique[i], i);
    const auto storedRecord = [&](const std::string& name, DravoData& out) {
        const redisReply* form = at(stored[1].get(), place.at(name));
        if (isNil(form))
            return missingOrDamaged(connection, recordKey(name));
        return decodeRecord(form, out) == DRAVO_OK ? static_cast<int>(DRAVO_OK) : static_cast<int>(DRAVO_MALFORMED);
    };
    AppliedBatch batch;
    if (const int rc = applyBatch(names, partials, storedRecord, batch))
        return giveUp(rc);

    /* Each result's form: the latest of each record is stored, and every
     * one is published when the write publishes. */
    std::vector<std::string> written(batch.results.size());
    for (std::size_t i = 0; i < batch.results.size(); ++i)
        written[i] = DravoPlus::SerializeRecord(batch.results[i]);
    Arguments store{"MSET"};
    store.reserve(1 + 2 * batch.latest.size());
    for (const auto& [name, index] : batch.latest) {
        store.push_back(keys[place.at(name)]);
        store.push_back(written[index]);
    }
    std::vector<Arguments> second{{"MULTI"}, std::move(store)};
    /* With every box healthy, each is held to its capacity by a trim after
     * its push; with damaged ones, Settle also counts what they missed. */
    const bool trim = publish && deliveries.damaged.empty();
    const std::string count = std::to_string(written.size());
    Command settle;
    if (publish) {
        for (const DeliveryBox& box : deliveries.boxes) {
            Arguments push{"RPUSH", box.queue};
            push.insert(push.end(), written.begin(), written.end());
            second.push_back(std::move(push));
            if (trim)
                second.push_back(view({"LTRIM", box.queue, std::to_string(-box.capacity), "-1"}));
        }
    }
    if (publish && !trim) {
        settle = {count, std::to_string(deliveries.boxes.size())};
        for (const DeliveryBox& box : deliveries.boxes)
            settle.push_back(box.name);
        settle.insert(settle.end(), deliveries.damaged.begin(), deliveries.damaged.end());
        second.push_back(view(scriptCommand(Script::Settle, settle)));
    }
    second.push_back({"EXEC"});
    const std::vector<Reply> done = connection.pipelineInPlace(second);
    if (done.size() != second.size())
        return DRAVO_NOT_CONNECTED;
    const redisReply* exec = done.back().get();
    if (isNil(exec))
        return kTryAgain;
    if (isError(exec)) {
        /* A command refused as it was queued (its user may not run it):
         * the server ran none of them. */
        for (std::size_t i = 1; i + 1 < done.size(); ++i)
            if (isError(done[i].get()))
                return errorCode(done[i].get());
        return errorCode(exec);
    }
    if (trim) {
        settleTrimmed(connection, deliveries, count, exec);
        return DRAVO_OK;
    }
    /* The script cache emptied since the first round trip: the boxes are
     * held to their capacities right after instead. A push to a box damaged
     * meanwhile failed alone; Settle counts what it missed. */
    if (!settle.empty() && isNoScript(at(exec, size(exec) - 1)))
        runScript(connection, Script::Settle, settle);
    return DRAVO_OK;
}

} // namespace redis
} // namespace dravo

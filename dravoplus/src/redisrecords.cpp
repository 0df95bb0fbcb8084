/*
 * redisrecords.cpp: the point database of the runtime server kept in Redis.
 *
 * A record is a string key holding its transport form; a sorted set per type
 * lists the records of each type in name order. Batch reads are one MGET,
 * whatever the count.
 *
 * A partial write is atomic with the publication of its raw changes, and all
 * or nothing, by the rules of partialwrite.h. Its usual form (every partial
 * names the type of the record it goes to) is one script call: the fields
 * are encoded on this side, where the dictionary is, into the bytes each puts
 * at its offset (patchScriptArguments), and the script patches the stored
 * records, stores them and delivers the changes in one step. Any other batch
 * (a partial of another type than its record's, whose fields must then be
 * found by name in the record's own type) reads the stored records under
 * WATCH, applies the batch with the same rules as the embedded server, and
 * writes the results with their changes in one transaction; if a record
 * changed in between, nothing is written and the write starts again. Either
 * way no reader ever sees a value without its change event queued, nor an
 * event without its value.
 */
#include "redisbackend.h"

#include "partialwrite.h"

#include <unordered_map>

namespace dravo {
namespace redis {

namespace {

/* Attempts of a partial write that keeps meeting concurrent writers. */
constexpr int kWriteAttempts = 100;
/* writeOnce(): nothing was written, the batch must be read again. */
constexpr int kTryAgain = -1;

/* Count, kind, (name, form) per written record, then each published form. */
Command writeArguments(const AppliedBatch& batch, bool publish)
{
    Command args{std::to_string(batch.latest.size()), std::to_string(DRAVO_EVENT_RAW_CHANGE)};
    for (const auto& [name, index] : batch.latest) {
        args.push_back(name);
        args.push_back(DravoPlus::SerializeRecord(batch.results[index]));
    }
    if (publish)
        for (const DravoData& record : batch.results)
            args.push_back(DravoPlus::SerializeRecord(record));
    return args;
}

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
    Command patches;
    const bool patchable = patchScriptArguments(names, partials, publish, patches);
    return exchange([&](RedisConnection& connection) -> int {
        if (patchable) {
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
        }
        return applyAndWrite(connection, names, partials, publish);
    });
}

/* One attempt: read under WATCH, apply, write in a transaction. A record
 * that changed meanwhile (or a script the server had to learn) gives
 * kTryAgain. */
int RedisBackend::applyAndWrite(RedisConnection& connection, const std::vector<std::string>& names,
                                const std::vector<const DravoPartialData*>& partials, bool publish)
{
    std::vector<std::string> unique;
    Command keys;
    uniqueKeys(names, unique, keys);
    for (int attempt = 0; attempt < kWriteAttempts; ++attempt) {
        const int rc = writeOnce(connection, names, partials, publish, unique, keys);
        if (rc != kTryAgain)
            return rc;
    }
    return DRAVO_SERVER_ERROR;
}

int RedisBackend::writeOnce(RedisConnection& connection, const std::vector<std::string>& names,
                            const std::vector<const DravoPartialData*>& partials, bool publish,
                            const std::vector<std::string>& unique, const Command& keys)
{
    Command watch{"WATCH"};
    watch.insert(watch.end(), keys.begin(), keys.end());
    Command read{"MGET"};
    read.insert(read.end(), keys.begin(), keys.end());
    const std::vector<Reply> stored = connection.pipeline({watch, read});
    if (stored.size() != 2)
        return DRAVO_NOT_CONNECTED;
    if (isError(stored[1].get()))
        return errorCode(stored[1].get());

    std::unordered_map<std::string, const redisReply*> forms;
    for (std::size_t i = 0; i < unique.size(); ++i)
        forms[unique[i]] = at(stored[1].get(), i);
    const auto storedRecord = [&forms](const std::string& name, DravoData& out) {
        const redisReply* form = forms.at(name);
        if (isNil(form))
            return static_cast<int>(DRAVO_NOT_FOUND);
        return decodeRecord(form, out) == DRAVO_OK ? static_cast<int>(DRAVO_OK) : static_cast<int>(DRAVO_MALFORMED);
    };
    AppliedBatch batch;
    if (const int rc = applyBatch(names, partials, storedRecord, batch)) {
        connection.command({"UNWATCH"});
        return rc;
    }

    const std::vector<Reply> done =
        connection.pipeline({{"MULTI"}, scriptCommand(Script::Write, writeArguments(batch, publish)), {"EXEC"}});
    if (done.size() != 3)
        return DRAVO_NOT_CONNECTED;
    const redisReply* exec = done[2].get();
    if (isNil(exec))
        return kTryAgain;
    if (isError(exec))
        return errorCode(exec);
    if (isNoScript(at(exec, 0)))
        return loadScript(connection, Script::Write) ? kTryAgain : DRAVO_SERVER_ERROR;
    return isError(at(exec, 0)) ? errorCode(at(exec, 0)) : DRAVO_OK;
}

} // namespace redis
} // namespace dravo

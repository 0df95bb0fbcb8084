/*
 * redisscripts.h: the server-side scripts of the Redis backend.
 *
 * Whatever must happen at once on the server (a box made with its port and
 * index entries, an event delivered to every box of its kind with the
 * overflow counted, a partial write with its raw changes, a heartbeat entry
 * taken from a dead holder) is one Lua script, so that no other client ever
 * sees half of it. Every key lives under "dravo:"; the layout is described in
 * redisscripts.cpp, where the scripts are, with how they treat data that
 * has been damaged on the server.
 */
#ifndef DRAVOPLUS_REDISSCRIPTS_H
#define DRAVOPLUS_REDISSCRIPTS_H

#include "autotest.h"
#include "redisconnection.h"

#include <DravoPlus/DravoData.h>

#include <string>
#include <utility>
#include <vector>

namespace dravo {
namespace redis {

enum class Script {
    Join,            /* me, boxGraceMs, marker name, type, form */
    Leave,           /* me, leaseMs, task count, tasks..., targets... */
    Tick,            /* me, boxGraceMs, presenceMs, leaseMs, task count, tasks..., targets... */
    Store,           /* (name, type, form)... */
    Delete,          /* name -> 1 | 0 */
    ByType,          /* type -> forms in name order */
    Patch,           /* 0|1 (publish), kind, count, then per entry: name, type, field
                        count, (offset, bytes)... -> {0} | {1, entry} (no record) |
                        {2, entry} (stored type differs: apply here instead) |
                        {3, entry} (the record's key holds no string) */
    Send,            /* kind, domain, forms... */
    Targets,         /* kind, domain -> {{name, queue key, kTargetFields settings}..., {damaged box names...}} */
    Settle,          /* count, n, n box names given count records each, damaged box names... */
    Dropped,         /* box name, count dropped over its capacity -> its dropped count | -1 (no box) */
    CreateBox,       /* name, kind, capacity, domain, owner -> port | 0 (exists) */
    SetPersistent,   /* name, 0|1 -> 1 | 0 (no box) */
    DeleteBox,       /* name -> 1 | 0 */
    Connect,         /* name -> port | 0 (no box); a damaged box is refused */
    Take,            /* port, max, arrived | "again" -> the length of the taken list, which holds what
                        is handed out (read up to max with LRANGE right after) | -1 (no box); a
                        damaged box is refused */
    BoxInfo,         /* name -> description | nil */
    ListBoxes,       /* -> descriptions in name order */
    Contend,         /* task, me, holder name, record form, leaseMs -> 1 | 0 (held) */
    ListHeartbeats,  /* -> {task, holder name, record form, live}... */
    SendPacket,      /* target, request form, 0|1 (receiver required), lifeMs -> handle | 0 */
    NextRequest,     /* target, me -> {handle, form} | {} | -1 (not the receiver) */
    TakeReply,       /* handle -> {1, form} | {0, msLeft} | {-1} (gone) */
    PutReply,        /* handle, form -> 1 | 0 (gone) */
    Release,         /* handle -> 1 | 0 */
    Register,        /* target, me, presenceMs -> 1 | 0 (taken) */
    Unregister       /* target, me */
};

/* Key names the client side uses directly. */
DRAVO_AUTOTEST_EXPORT std::string recordKey(const std::string& name);
std::string queueKey(const std::string& port);
std::string kindKey(int kind);
std::string boxKey(const std::string& name);
std::string takenKey(const std::string& port);
std::string packetQueueKey(const std::string& target);
std::string replyKey(const std::string& handle);

/* Runs a script (loading it into the server's script cache when the server
 * does not know it yet); null on an I/O failure. */
Reply runScript(RedisConnection& connection, Script script, const Command& args);
/* Runs a script and, in the same round trip, the command then (which reads
 * what the script left, so that it reaches the client without passing
 * through the script); both replies, or nulls on an I/O failure. */
std::pair<Reply, Reply> runScriptThen(RedisConnection& connection, Script script, const Command& args,
                                      const Command& then);
/* The command that runs a script, for a transaction; the script must be
 * loaded (see loadScript). */
Command scriptCommand(Script script, const Command& args);
/* Loads the script into the server's cache; false on failure. */
bool loadScript(RedisConnection& connection, Script script);
/* Loads the script unless its digest is known already, so that
 * scriptCommand() sends the digest rather than the whole text. */
bool knowScript(RedisConnection& connection, Script script);
/* The text of a script as the server runs it (the shared functions first). */
DRAVO_AUTOTEST_EXPORT std::string scriptSource(Script script);

/* The arguments of Script::Patch for a batch (names[i] <- partials[i]): each
 * partial's fields as the bytes they put at their offsets in a record of the
 * partial's own type. False when some partial cannot go that way; the batch
 * must then be applied by the backend itself. */
DRAVO_AUTOTEST_EXPORT bool patchScriptArguments(const std::vector<std::string>& names,
                                                const std::vector<const DravoPartialData*>& partials,
                                                bool publish, Command& args);

} // namespace redis
} // namespace dravo

#endif

/*
 * redisscripts.cpp: the Lua scripts of the Redis backend and how they run.
 *
 * Key layout (all under "dravo:"):
 *   rec:<name>        a record in its transport form (recordcodec.cpp)
 *   typeof            hash: record name -> type name
 *   type:<type>       sorted set (all scores 0, so name order) of record names
 *   boxes             sorted set of box names
 *   box:<name>        hash: kind, capacity, domain, owner, port, persistent, dropped
 *   skipped           hash: box name -> records not delivered to the box while
 *                     its record was damaged
 *   kind:<kind>       set of the boxes subscribed to an event kind
 *   port:<port>       the name of the box that owns a port
 *   q:<port>          list: a box's queue, oldest first; an empty element
 *                     tells a waiting receiver that the box is gone
 *   taken:<port>      list: what takes from a box handed out, kept until
 *                     its receiver says it arrived (with its next take or
 *                     its farewell) and handed out again when the receiver
 *                     cannot tell whether the reply reached it
 *   lastport, lasthandle   counters
 *   alive:<client>    present while the client is connected (renewed by it),
 *                     and for a grace period after it lost touch: its
 *                     transient boxes stay until this is gone
 *   notices:<client>  list of news for a client: "O<n>:<box>" (n records of
 *                     its box dropped), "H:<task>" (heartbeat taken over)
 *   hb:<task>         the heartbeat lease: the holder's id, with an expiry
 *   hbinfo:<task>     hash: holder, name, record;  hbtasks: set of tasks
 *   rx:<target>       the receiver serving a packet target, with an expiry
 *   pq:<target>       list of handles of requests waiting for the target
 *   pkt:<handle>      hash: target, request, taken; expires with the handle
 *   reply:<handle>    list holding the reply; expires with the handle
 *
 * A box's queue is keyed by its port rather than its name, so that a box
 * made again under an old name never meets what a receiver of the old one
 * left behind.
 */
#include "redisscripts.h"

#include "dictionary.h"
#include "partialwrite.h"

#include <array>
#include <mutex>

namespace dravo {
namespace redis {

namespace {

const char* const kPrefix = "dravo:";

/* Functions every script may use.
 *
 * Whatever lies under these keys may have been damaged (a hand edit,
 * another program, an older version), and a script that fails half-way
 * keeps every write it made before the failure: the server rolls nothing
 * back. So no command that could fail on stored data runs after a script's
 * first write. Each script checks the types of the keys it uses and the
 * fields it reads first; a damaged key that is the subject of the call
 * refuses the call before anything is written ("DAMAGED ...", which the
 * client gives as DRAVO_MALFORMED), and a damaged box among the subscribers
 * of a kind is skipped, never a reason to fail a write or a send: what it
 * missed is counted for it in "skipped", and ListEventBoxes and
 * GetEventBoxInfo show the count and what is wrong with the box. */
const char* const kLibrary = R"lua(
local P = 'dravo:'
local NOTICE_LIFE = 600000
local SKIPPED = P .. 'skipped'

local function keyType(key)
  return redis.call('TYPE', key)['ok']
end

-- The key is absent or holds the given type.
local function fits(key, kind)
  local t = keyType(key)
  return t == 'none' or t == kind
end

local function refuse(what)
  error({err = 'DAMAGED ' .. what})
end

-- Refuses the call unless every key fits its type: {key, type, ...}.
local function requireFit(list)
  for i = 1, #list, 2 do
    if not fits(list[i], list[i + 1]) then refuse(list[i] .. ' is not a ' .. list[i + 1]) end
  end
end

local function isCount(value)
  return type(value) == 'string' and #value <= 15 and string.match(value, '^%d+$') ~= nil
end

-- A counter for INCR that holds no count is started again (DEL): the
-- loops that draw from it skip the numbers still in use.
local function usableCounter(key)
  local t = keyType(key)
  if t == 'none' then return true end
  if t ~= 'string' then return false end
  local value = redis.call('GET', key)
  return #value <= 18 and string.match(value, '^%d+$') ~= nil
end

-- The client id a key holds (a lease, the receiver of a target); a key of
-- another type holds nobody, and SET takes it over.
local function holderOf(key)
  if keyType(key) ~= 'string' then return false end
  return redis.call('GET', key)
end

-- A news list that is no list holds nothing its client could read, and
-- makes way for the news.
local function notice(client, news)
  local key = P .. 'notices:' .. client
  if not fits(key, 'list') then redis.call('DEL', key) end
  redis.call('RPUSH', key, news)
  redis.call('PEXPIRE', key, NOTICE_LIFE)
end

-- What the caller's Redis user may do (its role, see deploy/redis/users.acl):
-- a script runs every command with the rights of the user that called it,
-- and a refusal half-way would keep the writes made before it. So a script
-- whose writes a role may only partly make asks first.
local function permitted(command, key, ...)
  return redis.acl_check_cmd(command, key, ...) and true or false
end

local function refuseUnpermitted(what)
  error({err = 'NOPERM ' .. what})
end

-- Whether the caller may store a record with its indexes.
local function mayStoreRecord(name, rtype)
  return permitted('SET', P .. 'rec:' .. name, '') and permitted('HSET', P .. 'typeof', name, rtype)
     and permitted('ZADD', P .. 'type:' .. rtype, '0', name)
end

-- Whether the caller may remove a box (a viewer may not, not even its own).
local function mayRemoveBox(name)
  return permitted('DEL', P .. 'box:' .. name)
end

local function pushAll(key, items, first, last)
  for i = first, last, 1000 do
    redis.call('RPUSH', key, unpack(items, i, math.min(i + 999, last)))
  end
end

-- A box's settings, checked: nil when there is no such box; false and what
-- is wrong when its record is damaged.
local function readBox(name)
  local key = P .. 'box:' .. name
  local t = keyType(key)
  if t == 'none' then return nil end
  if t ~= 'hash' then return false, 'its record is not a hash' end
  local v = redis.call('HMGET', key, 'kind', 'capacity', 'domain', 'owner', 'port', 'persistent', 'dropped')
  if not (v[1] and #v[1] <= 11 and string.match(v[1], '^%-?%d+$')) then return false, 'its kind is not a number' end
  if not (isCount(v[2]) and tonumber(v[2]) >= 1) then return false, 'its capacity is not a positive number' end
  if not v[3] then return false, 'its domain is missing' end
  if not v[4] or v[4] == '' then return false, 'its owner is missing' end
  if not (isCount(v[5]) and tonumber(v[5]) >= 1) then return false, 'its port is not a positive number' end
  if v[6] ~= '0' and v[6] ~= '1' then return false, 'its persistent flag is not 0 or 1' end
  if not isCount(v[7]) then return false, 'its dropped count is not a number' end
  local queue = P .. 'q:' .. v[5]
  if not fits(queue, 'list') then return false, 'its queue is not a list' end
  local taken = P .. 'taken:' .. v[5]
  if not fits(taken, 'list') then return false, 'what it handed out is not a list' end
  return {name = name, key = key, kind = v[1], capacity = tonumber(v[2]), domain = v[3], owner = v[4],
          port = v[5], persistent = v[6], dropped = v[7], queue = queue, taken = taken, fields = v}
end

-- Records a damaged box missed, per box name.
local function skippedCount(name)
  if keyType(SKIPPED) ~= 'hash' then return 0 end
  local count = redis.call('HGET', SKIPPED, name)
  return isCount(count) and tonumber(count) or 0
end

-- A tally that is no hash is started again.
local function countSkipped(name, n)
  local before = skippedCount(name)
  if not fits(SKIPPED, 'hash') then redis.call('DEL', SKIPPED) end
  redis.call('HSET', SKIPPED, name, before + n)
end

local function forgetSkipped(name)
  if keyType(SKIPPED) == 'hash' then redis.call('HDEL', SKIPPED, name) end
end

-- The boxes of a kind whose domain fits, checked, and the names of the
-- damaged ones among its subscribers. A kind index that is no set names no
-- box.
local function deliveryTargets(kind, domain)
  local boxes, damaged = {}, {}
  local subscribed = P .. 'kind:' .. kind
  if keyType(subscribed) ~= 'set' then return boxes, damaged end
  for _, name in ipairs(redis.call('SMEMBERS', subscribed)) do
    local box = readBox(name)
    if box == false then
      damaged[#damaged + 1] = name
    elseif box and (box.domain == '' or domain == '' or box.domain == domain) then
      boxes[#boxes + 1] = box
    end
  end
  return boxes, damaged
end

-- What a box dropped over its capacity is counted, and its owner told;
-- gives the box's count since it was made.
local function countDropped(box, excess)
  local dropped = redis.call('HINCRBY', box.key, 'dropped', excess)
  notice(box.owner, 'O' .. excess .. ':' .. box.name)
  return dropped
end

-- A box that has just been given records: over its capacity it drops its
-- oldest, counts them and tells its owner.
local function settle(box)
  local excess = redis.call('LLEN', box.queue) - box.capacity
  if excess > 0 then
    redis.call('LTRIM', box.queue, excess, -1)
    countDropped(box, excess)
  end
end

-- Every box of the kind whose domain fits gets items[first..]. Every box is
-- checked before the first is written to; a damaged one is skipped and
-- what it missed is counted for it.
local function deliver(kind, domain, items, first)
  local last = #items
  if last < first then return end
  local boxes, damaged = deliveryTargets(kind, domain)
  for _, box in ipairs(boxes) do
    pushAll(box.queue, items, first, last)
    settle(box)
  end
  for _, name in ipairs(damaged) do countSkipped(name, last - first + 1) end
end

-- A box goes with its port, its queue (leaving the mark that tells a
-- waiting receiver) and its index entries; a damaged box goes too, with
-- whatever of it can be found, so that an operator can clear it away.
local function removeBox(name)
  local key = P .. 'box:' .. name
  local t = keyType(key)
  if t == 'none' then return 0 end
  if not mayRemoveBox(name) then refuseUnpermitted('removing box ' .. name) end
  local kind, port = false, false
  if t == 'hash' then
    local b = redis.call('HMGET', key, 'kind', 'port')
    kind, port = b[1], b[2]
  end
  local subscribed = kind and P .. 'kind:' .. kind
  local unsubscribe = subscribed and keyType(subscribed) == 'set'
  local unlist = keyType(P .. 'boxes') == 'zset'
  redis.call('DEL', key)
  if unsubscribe then redis.call('SREM', subscribed, name) end
  if unlist then redis.call('ZREM', P .. 'boxes', name) end
  forgetSkipped(name)
  if isCount(port) then
    local queue = P .. 'q:' .. port
    redis.call('DEL', P .. 'port:' .. port, queue, P .. 'taken:' .. port)
    redis.call('RPUSH', queue, '')
    redis.call('PEXPIRE', queue, 60000)
  end
  return 1
end

-- Transient boxes of owners that are gone (or, with owner given, of that
-- owner only). A damaged box is left alone, since neither its owner nor its
-- persistence can be told; ListEventBoxes shows it, DeleteEventBox removes it.
-- So are boxes the caller may not remove: the next client that may clears
-- them away once their owner is gone.
local function removeTransientBoxes(owner)
  if keyType(P .. 'boxes') ~= 'zset' then return end
  for _, name in ipairs(redis.call('ZRANGE', P .. 'boxes', 0, -1)) do
    local box = readBox(name)
    if box and box.persistent == '0' and mayRemoveBox(name) then
      if (owner and box.owner == owner) or (not owner and redis.call('EXISTS', P .. 'alive:' .. box.owner) == 0) then
        removeBox(name)
      end
    end
  end
end

-- {name, kind, capacity, queued, dropped, persistent, domain, skipped,
-- damage}; false for no box. A damaged box is described by its name, what
-- it missed and what is wrong with it.
local function describeBox(name)
  local box, damage = readBox(name)
  if box == nil then return false end
  local skipped = skippedCount(name)
  if not box then return {name, 0, 0, 0, 0, 0, '', skipped, damage} end
  return {name, box.kind, box.capacity, redis.call('LLEN', box.queue), box.dropped, box.persistent, box.domain,
          skipped, ''}
end

-- Records go to the server in commands of this many.
local RECORDS_PER_COMMAND = 1000

-- The records given as name, type, form triples in args[first .. last],
-- checked before anything is written: refused when the caller may not
-- store one of them or an index it touches is damaged. Gives what
-- storeRecords writes: each name once (with its last triple, as if stored
-- one after the other), in the order first given, and its stored type.
local function checkRecords(args, first, last)
  local typeOf = P .. 'typeof'
  requireFit({typeOf, 'hash'})
  local fitting = {}
  local function requireIndex(rtype)
    if not fitting[rtype] then
      requireFit({P .. 'type:' .. rtype, 'zset'})
      fitting[rtype] = true
    end
  end
  local plan = {args = args, names = {}, at = {}, previous = {}}
  for i = first, last, 3 do
    local name, rtype = args[i], args[i + 1]
    if not mayStoreRecord(name, rtype) then refuseUnpermitted('storing record ' .. name) end
    requireIndex(rtype)
    if not plan.at[name] then plan.names[#plan.names + 1] = name end
    plan.at[name] = i
  end
  local names = plan.names
  for i = 1, #names, RECORDS_PER_COMMAND do
    local j = math.min(i + RECORDS_PER_COMMAND - 1, #names)
    local types = redis.call('HMGET', typeOf, unpack(names, i, j))
    for k = 1, j - i + 1 do
      local previous = types[k]
      if previous then
        requireIndex(previous)
        plan.previous[names[i + k - 1]] = previous
      end
    end
  end
  return plan
end

-- The list of key in lists, made when missing.
local function listOf(lists, key)
  local list = lists[key]
  if not list then
    list = {}
    lists[key] = list
  end
  return list
end

-- Runs command with key and the list's values, a slice at a time.
local function inSlices(command, key, list, width)
  local step = RECORDS_PER_COMMAND * width
  for i = 1, #list, step do
    redis.call(command, key, unpack(list, i, math.min(i + step - 1, #list)))
  end
end

-- Stores what checkRecords accepted: each record, its type in typeof, its
-- name in its type's index and out of the index of a type it had before.
local function storeRecords(plan)
  local args = plan.args
  local forms, types, members, stale = {}, {}, {}, {}
  for _, name in ipairs(plan.names) do
    local i = plan.at[name]
    local rtype, previous = args[i + 1], plan.previous[name]
    forms[#forms + 1] = P .. 'rec:' .. name
    forms[#forms + 1] = args[i + 2]
    types[#types + 1] = name
    types[#types + 1] = rtype
    local index = listOf(members, P .. 'type:' .. rtype)
    index[#index + 1] = 0
    index[#index + 1] = name
    if previous and previous ~= rtype then
      local old = listOf(stale, P .. 'type:' .. previous)
      old[#old + 1] = name
    end
  end
  for i = 1, #forms, 2 * RECORDS_PER_COMMAND do
    redis.call('MSET', unpack(forms, i, math.min(i + 2 * RECORDS_PER_COMMAND - 1, #forms)))
  end
  inSlices('HSET', P .. 'typeof', types, 2)
  for index, names in pairs(stale) do inSlices('ZREM', index, names, 1) end
  for index, list in pairs(members) do inSlices('ZADD', index, list, 2) end
end

-- A record's transport form (recordcodec.cpp): "DRV1", u16 type length,
-- type, u16 name length, name, u32 raw length, raw value, ... Gives the type,
-- the position of the raw value's first byte and its length; nothing for a
-- form cut short.
local function rawPart(form)
  if #form < 14 or string.sub(form, 1, 4) ~= 'DRV1' then return nil end
  local typeLength = string.byte(form, 5) + 256 * string.byte(form, 6)
  local at = 7 + typeLength
  if #form < at + 5 then return nil end
  local nameLength = string.byte(form, at) + 256 * string.byte(form, at + 1)
  at = at + 2 + nameLength
  if #form < at + 3 then return nil end
  local b1, b2, b3, b4 = string.byte(form, at, at + 3)
  local rawLength = b1 + 256 * b2 + 65536 * b3 + 16777216 * b4
  if #form < at + 3 + rawLength then return nil end
  return string.sub(form, 7, 6 + typeLength), at + 4, rawLength
end

-- A packet that is no hash is as good as gone.
local function takeRequest(handle)
  local packet = P .. 'pkt:' .. handle
  if keyType(packet) ~= 'hash' then return false end
  local request = redis.call('HGET', packet, 'request')
  if not request then return false end
  redis.call('HSET', packet, 'taken', '1')
  redis.call('HDEL', packet, 'request')
  return request
end
)lua";

struct ScriptSource {
    Script script;
    const char* body;
};

const ScriptSource kScripts[] = {
    {Script::Join, R"lua(
-- A client whose role may not store records leaves the marker to one that may.
local marker = redis.call('EXISTS', P .. 'rec:' .. ARGV[3]) == 0 and mayStoreRecord(ARGV[3], ARGV[4])
  and checkRecords(ARGV, 3, 5)
redis.call('SET', P .. 'alive:' .. ARGV[1], '1', 'PX', ARGV[2])
if marker then storeRecords(marker) end
removeTransientBoxes(nil)
return 1
)lua"},
    {Script::Leave, R"lua(
local me = ARGV[1]
removeTransientBoxes(me)
local n = tonumber(ARGV[3])
for i = 4, 3 + n do
  local key = P .. 'hb:' .. ARGV[i]
  if holderOf(key) == me then redis.call('PEXPIRE', key, ARGV[2]) end
end
for i = 4 + n, #ARGV do
  local key = P .. 'rx:' .. ARGV[i]
  if holderOf(key) == me then redis.call('DEL', key) end
end
redis.call('DEL', P .. 'alive:' .. me)
return 1
)lua"},
    {Script::Tick, R"lua(
local me = ARGV[1]
local newsKey = P .. 'notices:' .. me
local readable = fits(newsKey, 'list')
redis.call('SET', P .. 'alive:' .. me, '1', 'PX', ARGV[2])
local function keep(key, ms)
  local holder = holderOf(key)
  if holder == me then redis.call('PEXPIRE', key, ms) return true end
  if not holder then redis.call('SET', key, me, 'PX', ms) return true end
  return false
end
local lost = {}
local n = tonumber(ARGV[5])
for i = 6, 5 + n do
  if not keep(P .. 'hb:' .. ARGV[i], ARGV[4]) then lost[#lost + 1] = 'H:' .. ARGV[i] end
end
for i = 6 + n, #ARGV do
  if not keep(P .. 'rx:' .. ARGV[i], ARGV[3]) then lost[#lost + 1] = 'R:' .. ARGV[i] end
end
local news = {}
if readable then
  news = redis.call('LPOP', newsKey, 1000) or {}
else
  redis.call('DEL', newsKey)
end
return {news, lost}
)lua"},
    {Script::Store, R"lua(
storeRecords(checkRecords(ARGV, 1, #ARGV))
return 1
)lua"},
    {Script::Delete, R"lua(
local name = ARGV[1]
if redis.call('EXISTS', P .. 'rec:' .. name) == 0 then return 0 end
requireFit({P .. 'typeof', 'hash'})
local rtype = redis.call('HGET', P .. 'typeof', name)
if rtype then requireFit({P .. 'type:' .. rtype, 'zset'}) end
if rtype then redis.call('ZREM', P .. 'type:' .. rtype, name) end
redis.call('HDEL', P .. 'typeof', name)
redis.call('DEL', P .. 'rec:' .. name)
return 1
)lua"},
    {Script::ByType, R"lua(
local index = P .. 'type:' .. ARGV[1]
requireFit({index, 'zset'})
local names = redis.call('ZRANGE', index, 0, -1)
local out = {}
for i = 1, #names, 1000 do
  local keys = {}
  for j = i, math.min(i + 999, #names) do keys[#keys + 1] = P .. 'rec:' .. names[j] end
  for _, form in ipairs(redis.call('MGET', unpack(keys))) do
    if form then out[#out + 1] = form end
  end
end
return out
)lua"},
    {Script::Patch, R"lua(
-- Every record the batch touches is read in one call per thousand (a key
-- that holds no string reads as nil there and is told apart below), and
-- written back the same way once every patch applied.
local count = tonumber(ARGV[3])
local names, keys, seen = {}, {}, {}
local i = 4
for _ = 1, count do
  local name = ARGV[i]
  if not seen[name] then
    seen[name] = true
    names[#names + 1] = name
    keys[#keys + 1] = P .. 'rec:' .. name
  end
  i = i + 3 + 2 * tonumber(ARGV[i + 2])
end
local current = {}
for first = 1, #keys, 1000 do
  local values = redis.call('MGET', unpack(keys, first, math.min(first + 999, #keys)))
  for k = 1, #values do current[names[first + k - 1]] = values[k] end
end
local forms, results = {}, {}
i = 4
for entry = 1, count do
  local name, rtype, fields = ARGV[i], ARGV[i + 1], tonumber(ARGV[i + 2])
  i = i + 3
  local form = forms[name] or current[name]
  if not form then
    if keyType(P .. 'rec:' .. name) == 'none' then return {1, entry} end
    return {3, entry}
  end
  local stored, start, length = rawPart(form)
  if stored ~= rtype then return {2, entry} end
  -- The patches come in offset order without overlaps, so the new form is
  -- joined once from the pieces between them: Lua hashes every string it
  -- makes, byte by byte, and cutting and joining the whole record once per
  -- field cost more than everything else here.
  local pieces, from = {}, 1
  for _ = 1, fields do
    local offset, bytes = tonumber(ARGV[i]), ARGV[i + 1]
    i = i + 2
    local at = start + offset
    if offset + #bytes > length or at < from then return {2, entry} end
    pieces[#pieces + 1] = string.sub(form, from, at - 1)
    pieces[#pieces + 1] = bytes
    from = at + #bytes
  end
  pieces[#pieces + 1] = string.sub(form, from)
  form = table.concat(pieces)
  forms[name] = form
  results[#results + 1] = form
end
local writes = {}
for k, name in ipairs(names) do
  writes[#writes + 1] = keys[k]
  writes[#writes + 1] = forms[name]
end
for first = 1, #writes, 2000 do
  redis.call('MSET', unpack(writes, first, math.min(first + 1999, #writes)))
end
if ARGV[1] == '1' then deliver(ARGV[2], '', results, 1) end
return {0}
)lua"},
    {Script::Send, R"lua(
deliver(ARGV[1], ARGV[2], ARGV, 3)
return 1
)lua"},
    {Script::Targets, R"lua(
-- Where a delivery that the client makes itself goes (a transaction's
-- pushes, see Settle): the name and queue of each box with the settings
-- it was found healthy with (kind, capacity, domain, owner, port,
-- persistent, dropped, as stored), then the names of the damaged ones,
-- which get nothing.
local boxes, damaged = deliveryTargets(ARGV[1], ARGV[2])
local targets = {}
for _, box in ipairs(boxes) do
  targets[#targets + 1] = box.name
  targets[#targets + 1] = box.queue
  for _, field in ipairs(box.fields) do targets[#targets + 1] = field end
end
return {targets, damaged}
)lua"},
    {Script::Settle, R"lua(
-- After a transaction pushed count records to each box Targets named: each
-- is held to its capacity as if deliver had given it them, and a box
-- damaged meanwhile, like one damaged before, has what it missed counted.
local count, healthy = tonumber(ARGV[1]), tonumber(ARGV[2])
for i = 3, 2 + healthy do
  local box = readBox(ARGV[i])
  if box then settle(box) elseif box == false then countSkipped(ARGV[i], count) end
end
for i = 3 + healthy, #ARGV do countSkipped(ARGV[i], count) end
return 1
)lua"},
    {Script::Dropped, R"lua(
-- A transaction held a box to its capacity itself (LTRIM after its push):
-- what the box dropped is counted and its owner told, as settle does.
-- Gives the box's dropped count now, or -1 when it is gone or damaged.
local box = readBox(ARGV[1])
if not box then return -1 end
return countDropped(box, tonumber(ARGV[2]))
)lua"},
    {Script::CreateBox, R"lua(
local key = P .. 'box:' .. ARGV[1]
if redis.call('EXISTS', key) == 1 then return 0 end
local subscribed = P .. 'kind:' .. ARGV[2]
requireFit({subscribed, 'set', P .. 'boxes', 'zset'})
local counter = P .. 'lastport'
if not usableCounter(counter) then redis.call('DEL', counter) end
local port
repeat
  port = redis.call('INCR', counter) % 4294967296
until port ~= 0 and redis.call('EXISTS', P .. 'port:' .. port) == 0
redis.call('HSET', key, 'kind', ARGV[2], 'capacity', ARGV[3], 'domain', ARGV[4], 'owner', ARGV[5],
           'port', port, 'persistent', '0', 'dropped', '0')
redis.call('SET', P .. 'port:' .. port, ARGV[1])
redis.call('DEL', P .. 'q:' .. port, P .. 'taken:' .. port)
redis.call('SADD', subscribed, ARGV[1])
redis.call('ZADD', P .. 'boxes', 0, ARGV[1])
forgetSkipped(ARGV[1])
return port
)lua"},
    {Script::SetPersistent, R"lua(
local box, damage = readBox(ARGV[1])
if box == nil then return 0 end
if not box then refuse('box ' .. ARGV[1] .. ': ' .. damage) end
redis.call('HSET', box.key, 'persistent', ARGV[2])
if ARGV[2] == '0' and redis.call('EXISTS', P .. 'alive:' .. box.owner) == 0 then removeBox(ARGV[1]) end
return 1
)lua"},
    {Script::DeleteBox, R"lua(
return removeBox(ARGV[1])
)lua"},
    {Script::Connect, R"lua(
local box, damage = readBox(ARGV[1])
if box == nil then return 0 end
if not box then refuse('box ' .. ARGV[1] .. ': ' .. damage) end
if holderOf(P .. 'port:' .. box.port) ~= ARGV[1] then refuse('box ' .. ARGV[1] .. ': its port is not its own') end
return tonumber(box.port)
)lua"},
    {Script::Take, R"lua(
-- ARGV: port, count, and how many of the last batch handed out from the port
-- reached the receiver ('again' when it cannot tell: a new process, or a
-- reply lost with its connection). What is handed out stays in the box's
-- taken list until the receiver says it arrived; what is still there is
-- handed out again, oldest first, before anything new.
local port, count, arrived = ARGV[1], tonumber(ARGV[2]), tonumber(ARGV[3])
local portKey = P .. 'port:' .. port
local name = holderOf(portKey)
if not name then
  redis.call('DEL', P .. 'taken:' .. port)
  return -1
end
local box, damage = readBox(name)
if box == nil then
  redis.call('DEL', portKey)
  redis.call('DEL', P .. 'q:' .. port, P .. 'taken:' .. port)
  return -1
end
if not box then refuse('box ' .. name .. ': ' .. damage) end
if box.port ~= port then refuse('box ' .. name .. ': its port is not its own') end
if arrived then redis.call('LTRIM', box.taken, arrived, -1) end
-- What is handed out is what the taken list holds once this has run: the
-- client reads it in the same pipeline (LRANGE), so that the records go
-- from the list to the client without becoming Lua strings, which Redis
-- hashes byte by byte. Unacknowledged records are still there; otherwise
-- up to count new ones move over from the queue.
local held = redis.call('LLEN', box.taken)
if held > 0 then return held end
-- A queue that holds no more than count becomes the taken list whole: a
-- server task's take is most often all that came since its last one, and
-- the copy SORT makes of every record was most of what the take cost.
local queued = redis.call('LLEN', box.queue)
if queued == 0 then return 0 end
if queued <= count and permitted('RENAME', box.queue, box.taken) then
  redis.call('RENAME', box.queue, box.taken)
elseif permitted('SORT', box.queue, 'BY', 'nosort', 'LIMIT', '0', ARGV[2], 'STORE', box.taken)
   and permitted('LTRIM', box.queue, ARGV[2], '-1') then
  redis.call('SORT', box.queue, 'BY', 'nosort', 'LIMIT', 0, count, 'STORE', box.taken)
  redis.call('LTRIM', box.queue, count, -1)
elseif permitted('RPUSH', box.taken, '') then
  -- a server whose users predate the above
  local items = redis.call('LPOP', box.queue, count)
  if items then pushAll(box.taken, items, 1, #items) end
else
  for _ = 1, count do
    if not redis.call('LMOVE', box.queue, box.taken, 'LEFT', 'RIGHT') then break end
  end
end
return redis.call('LLEN', box.taken)
)lua"},
    {Script::BoxInfo, R"lua(
return describeBox(ARGV[1])
)lua"},
    {Script::ListBoxes, R"lua(
requireFit({P .. 'boxes', 'zset'})
local out = {}
for _, name in ipairs(redis.call('ZRANGE', P .. 'boxes', 0, -1)) do
  local box = describeBox(name)
  if box then out[#out + 1] = box end
end
return out
)lua"},
    {Script::Contend, R"lua(
local task, me = ARGV[1], ARGV[2]
local key = P .. 'hb:' .. task
local holder = holderOf(key)
if holder and holder ~= me then return 0 end
requireFit({P .. 'hbtasks', 'set'})
local info = P .. 'hbinfo:' .. task
local previous = keyType(info) == 'hash' and redis.call('HGET', info, 'holder')
if not fits(info, 'hash') then redis.call('DEL', info) end
redis.call('SET', key, me, 'PX', ARGV[5])
redis.call('HSET', info, 'holder', me, 'name', ARGV[3], 'record', ARGV[4])
redis.call('SADD', P .. 'hbtasks', task)
if previous and previous ~= me then notice(previous, 'H:' .. task) end
return 1
)lua"},
    {Script::ListHeartbeats, R"lua(
requireFit({P .. 'hbtasks', 'set'})
local out = {}
for _, task in ipairs(redis.call('SMEMBERS', P .. 'hbtasks')) do
  local info = P .. 'hbinfo:' .. task
  local entry = {false, false}
  if keyType(info) == 'hash' then entry = redis.call('HMGET', info, 'name', 'record') end
  out[#out + 1] = {task, entry[1] or '', entry[2] or '', redis.call('EXISTS', P .. 'hb:' .. task)}
end
return out
)lua"},
    {Script::SendPacket, R"lua(
if ARGV[3] == '1' and redis.call('EXISTS', P .. 'rx:' .. ARGV[1]) == 0 then return 0 end
local queue = P .. 'pq:' .. ARGV[1]
requireFit({queue, 'list'})
local counter = P .. 'lasthandle'
if not usableCounter(counter) then redis.call('DEL', counter) end
local handle
repeat
  handle = redis.call('INCR', counter)
until redis.call('EXISTS', P .. 'pkt:' .. handle, P .. 'reply:' .. handle) == 0
local packet = P .. 'pkt:' .. handle
redis.call('HSET', packet, 'target', ARGV[1], 'request', ARGV[2], 'taken', '0')
redis.call('PEXPIRE', packet, ARGV[4])
redis.call('RPUSH', queue, handle)
if redis.call('PTTL', queue) < tonumber(ARGV[4]) then redis.call('PEXPIRE', queue, ARGV[4]) end
return handle
)lua"},
    {Script::NextRequest, R"lua(
if holderOf(P .. 'rx:' .. ARGV[1]) ~= ARGV[2] then return -1 end
local queue = P .. 'pq:' .. ARGV[1]
requireFit({queue, 'list'})
while true do
  local handle = redis.call('LPOP', queue)
  if not handle then return {} end
  local request = takeRequest(handle)
  if request then return {handle, request} end
end
)lua"},
    {Script::TakeReply, R"lua(
local left = redis.call('PTTL', P .. 'pkt:' .. ARGV[1])
if left == -2 then return {-1} end
local key = P .. 'reply:' .. ARGV[1]
requireFit({key, 'list'})
local reply = redis.call('LPOP', key)
if reply then return {1, reply} end
return {0, left}
)lua"},
    {Script::PutReply, R"lua(
local left = redis.call('PTTL', P .. 'pkt:' .. ARGV[1])
if left == -2 then return 0 end
local key = P .. 'reply:' .. ARGV[1]
requireFit({key, 'list'})
redis.call('RPUSH', key, ARGV[2])
if left > 0 then redis.call('PEXPIRE', key, left) end
return 1
)lua"},
    {Script::Release, R"lua(
local packet = P .. 'pkt:' .. ARGV[1]
local t = keyType(packet)
if t == 'none' then return 0 end
if t == 'hash' then
  local b = redis.call('HMGET', packet, 'target', 'taken')
  local queue = b[1] and P .. 'pq:' .. b[1]
  if queue and b[2] ~= '1' and keyType(queue) == 'list' then redis.call('LREM', queue, 1, ARGV[1]) end
end
redis.call('DEL', packet, P .. 'reply:' .. ARGV[1])
return 1
)lua"},
    {Script::Register, R"lua(
local key = P .. 'rx:' .. ARGV[1]
local holder = holderOf(key)
if holder and holder ~= ARGV[2] then return 0 end
redis.call('SET', key, ARGV[2], 'PX', ARGV[3])
return 1
)lua"},
    {Script::Unregister, R"lua(
local key = P .. 'rx:' .. ARGV[1]
if holderOf(key) == ARGV[2] then redis.call('DEL', key) end
return 1
)lua"},
};

constexpr std::size_t kScriptCount = sizeof kScripts / sizeof kScripts[0];

/* The digests the server gave for each script, learnt on first use; the
 * same on every server, since a digest is a function of the text. */
struct Digests {
    std::mutex mutex;
    std::array<std::string, kScriptCount> sha;
};

Digests& digests()
{
    static Digests* const d = new Digests; // used by middleware threads until exit
    return *d;
}

std::size_t indexOf(Script script)
{
    for (std::size_t i = 0; i < kScriptCount; ++i)
        if (kScripts[i].script == script)
            return i;
    return 0;
}


std::string knownDigest(Script script)
{
    Digests& d = digests();
    std::lock_guard<std::mutex> lock(d.mutex);
    return d.sha[indexOf(script)];
}

/* Appends the fields of a partial as (offset, bytes) for a record of the
 * partial's own type; false when one does not encode (the general path then
 * decides what that means for the stored record). */
bool appendPatches(const DravoPartialData& partial, Command& args)
{
    const DravoRecordType* type = dravo::findType(partial.GetTypeName());
    std::vector<FieldPatch> patches;
    if (!type || fieldPatches(partial, *type, patches) != DRAVO_OK)
        return false;
    std::vector<FieldPatch> spans = disjointPatches(patches);
    args.push_back(partial.GetTypeName());
    args.push_back(std::to_string(spans.size()));
    for (FieldPatch& patch : spans) {
        args.push_back(std::to_string(patch.offset));
        args.push_back(std::move(patch.bytes));
    }
    return true;
}

} // namespace

std::string scriptSource(Script script)
{
    return std::string(kLibrary) + kScripts[indexOf(script)].body;
}

bool patchScriptArguments(const std::vector<std::string>& names, const std::vector<const DravoPartialData*>& partials,
                          bool publish, Command& args)
{
    args = {publish ? "1" : "0", std::to_string(DRAVO_EVENT_RAW_CHANGE), std::to_string(names.size())};
    for (std::size_t i = 0; i < names.size(); ++i) {
        args.push_back(names[i]);
        if (!appendPatches(*partials[i], args))
            return false;
    }
    return true;
}


std::string recordKey(const std::string& name)
{
    return kPrefix + std::string("rec:") + name;
}

std::string queueKey(const std::string& port)
{
    return kPrefix + std::string("q:") + port;
}

std::string kindKey(int kind)
{
    return kPrefix + std::string("kind:") + std::to_string(kind);
}

std::string boxKey(const std::string& name)
{
    return kPrefix + std::string("box:") + name;
}

std::string takenKey(const std::string& port)
{
    return kPrefix + std::string("taken:") + port;
}

std::string packetQueueKey(const std::string& target)
{
    return kPrefix + std::string("pq:") + target;
}

std::string replyKey(const std::string& handle)
{
    return kPrefix + std::string("reply:") + handle;
}

namespace {

/* SCRIPT LOAD's reply; the digest is learnt when it gives one. */
Reply load(RedisConnection& connection, Script script)
{
    Reply reply = connection.command({"SCRIPT", "LOAD", scriptSource(script)});
    const std::string sha = text(reply.get());
    if (reply && !isError(reply.get()) && !sha.empty()) {
        Digests& d = digests();
        std::lock_guard<std::mutex> lock(d.mutex);
        d.sha[indexOf(script)] = sha;
    }
    return reply;
}

bool loaded(const Reply& reply)
{
    return reply && !isError(reply.get());
}

/* After a NOSCRIPT reply: loads the script, true when it is loaded and the
 * call is to be made again. A server that forgot its scripts may meanwhile
 * have become busy with another client's long one: the caller is then
 * told that, as of any call the server could not take now (reply becomes
 * the BUSY), not that the script is missing. */
bool reloaded(RedisConnection& connection, Script script, Reply& reply)
{
    Reply reload = load(connection, script);
    if (loaded(reload))
        return true;
    if (isBusy(reload.get()))
        reply = std::move(reload);
    return false;
}

} // namespace

bool loadScript(RedisConnection& connection, Script script)
{
    return loaded(load(connection, script));
}

bool knowScript(RedisConnection& connection, Script script)
{
    return !knownDigest(script).empty() || loadScript(connection, script);
}

/* EVALSHA (or EVAL while the digest is unknown), the script and no keys:
 * what precedes a script's arguments. */
Command scriptHead(Script script)
{
    const std::string sha = knownDigest(script);
    if (sha.empty())
        return {"EVAL", scriptSource(script), "0"};
    return {"EVALSHA", sha, "0"};
}

Command scriptCommand(Script script, const Command& args)
{
    Command command = scriptHead(script);
    command.insert(command.end(), args.begin(), args.end());
    return command;
}

Reply runScript(RedisConnection& connection, Script script, const Command& args)
{
    if (knownDigest(script).empty() && !loadScript(connection, script))
        return connection.broken() ? Reply() : connection.command(scriptHead(script), args);
    Reply reply = connection.command(scriptHead(script), args);
    if (isNoScript(reply.get()) && reloaded(connection, script, reply))
        reply = connection.command(scriptHead(script), args);
    return reply;
}

std::pair<Reply, Reply> runScriptThen(RedisConnection& connection, Script script, const Command& args,
                                      const Command& then)
{
    knowScript(connection, script);
    for (int attempt = 0;; ++attempt) {
        std::vector<Reply> replies = connection.pipeline({scriptCommand(script, args), then});
        if (replies.size() != 2 || !replies[0] || !replies[1])
            return {};
        if (attempt == 0 && isNoScript(replies[0].get()) && reloaded(connection, script, replies[0]))
            continue;
        return {std::move(replies[0]), std::move(replies[1])};
    }
}

} // namespace redis
} // namespace dravo

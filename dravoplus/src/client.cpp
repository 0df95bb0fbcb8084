/*
 * client.cpp: the public calls of DravoPlus.h.
 *
 * Each call checks its arguments, picks the calling thread's client (the
 * process's own, or one chosen with UseClient), hands the work to that
 * client's backend, and records itself when the recorder is on. A client
 * gets its backend at ConnectMid, from the server-address setting; the
 * backend reports what happens on the server to the client, which queues it
 * for the listeners (notifier.cpp).
 */
#include "backend.h"
#include "clientstate.h"
#include "partialwrite.h"
#include "dictionary.h"
#include "embeddedserver.h"
#include "redisbackend.h"
#include "timing.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <unistd.h>

using dravo::Backend;

struct DravoClient final : public dravo::BackendSink {
    explicit DravoClient(std::string clientId) : id(std::move(clientId)) {}

    std::shared_ptr<Backend> currentBackend()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return backend;
    }

    void connectionUp() override { post([](DravoStatusListenerBase& l) { l.onMidConnected(); }); }
    void connectionDown() override { post([](DravoStatusListenerBase& l) { l.onMidDisconnected(); }); }
    void activeServerChanged(const std::string& address) override
    {
        post([address](DravoStatusListenerBase& l) { l.onActiveServerChanged(address.c_str()); });
    }
    void boxOverflow(const std::string& box, int dropped) override
    {
        post([box, dropped](DravoStatusListenerBase& l) { l.onEventBoxOverflow(box.c_str(), dropped); });
    }
    void heartbeatLost(const std::string& task) override
    {
        post([task](DravoStatusListenerBase& l) { l.onHeartbeatLost(task.c_str()); });
    }

    void post(std::function<void(DravoStatusListenerBase&)> call) { dravo::postNotification(this, std::move(call)); }

    const std::string id;
    std::mutex mutex;
    std::shared_ptr<Backend> backend; /* shared: a call in flight keeps a replaced backend alive */
    std::vector<std::string> addresses;
};

namespace {

std::string hostName()
{
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        return "localhost";
    return name;
}

std::string newClientId()
{
    static std::atomic<int> counter{0};
    return hostName() + ":" + std::to_string(getpid()) + ":" + std::to_string(counter.fetch_add(1));
}

DravoClient& processClient()
{
    static DravoClient* c = new DravoClient(newClientId()); // lives until exit: listeners may run late
    return *c;
}

thread_local DravoClient* t_client = nullptr;

DravoClient& currentClient()
{
    return t_client ? *t_client : processClient();
}

/* The backend for a server-address setting. Each backend kind adds its
 * address form here. */
int makeBackend(const std::vector<std::string>& addresses, DravoClient& client, std::shared_ptr<Backend>& out)
{
    if (dravo::isEmbeddedSetting(addresses)) {
        out = dravo::makeEmbeddedBackend(client.id, client);
        return DRAVO_OK;
    }
    if (dravo::isRedisSetting(addresses)) {
        std::unique_ptr<Backend> backend;
        const int rc = dravo::makeRedisBackend(addresses, client.id, client, backend);
        out = std::move(backend);
        return rc;
    }
    return DRAVO_CONFIG_ERROR;
}

template <typename Work>
int withBackend(Work work)
{
    std::shared_ptr<Backend> backend = currentClient().currentBackend();
    if (!backend)
        return DRAVO_NOT_CONNECTED;
    return work(*backend);
}

/* ---- recording ---- */

std::optional<std::string> arg(const char* s)
{
    return s ? std::optional<std::string>(s) : std::nullopt;
}

std::optional<std::string> arg(long long v)
{
    return std::to_string(v);
}

/* A call as the recorder keeps it (its result is filled in by recorded()). */
DravoRecordedCall called(const char* operation, std::vector<std::optional<std::string>> args,
                         std::vector<std::string> names = {}, std::vector<DravoData> records = {},
                         std::vector<DravoPartialData> partials = {})
{
    DravoRecordedCall call;
    call.operation = operation;
    call.args = std::move(args);
    call.names = std::move(names);
    call.records = std::move(records);
    call.partials = std::move(partials);
    return call;
}

/* Every public call ends here: it returns the call's result and, while the
 * recorder is on, records the call that describe() builds (only then, so an
 * unrecorded call pays nothing for it). */
template <typename Describe>
int recorded(int result, Describe describe)
{
    if (dravo::recording()) {
        DravoRecordedCall call = describe();
        call.result = result;
        dravo::recordCall(std::move(call));
    }
    return result;
}

bool dictionaryMissing()
{
    return dravo::dictionary().types.empty() && !dravo::dictionaryError().empty();
}

/* The nameless payload of an untyped event or reply. */
DravoData untyped(const DravoData& record)
{
    DravoData payload;
    payload.SetRawValue(record.GetRawValue(), record.GetBufferSize());
    return payload;
}

int putPartials(const char* operation, const std::vector<DravoPartialData>& partials, bool publish,
                const char* server, const char* domain)
{
    std::vector<std::string> names;
    std::vector<const DravoPartialData*> pointers;
    for (const DravoPartialData& p : partials) {
        names.push_back(p.GetDataName());
        pointers.push_back(&p);
    }
    int rc = dravo::checkBatch(names, pointers);
    if (rc == DRAVO_OK)
        rc = withBackend([&](Backend& b) { return b.putPartials(names, pointers, publish); });
    return recorded(rc, [&] { return called(operation, {arg(server), arg(domain)}, names, {}, partials); });
}

} // namespace

/* ---- Connection, servers and listeners ---------------------------------- */

int DravoPlus::ConnectMid(const char* server)
{
    DravoClient& client = currentClient();
    int rc = DRAVO_OK;
    std::shared_ptr<Backend> backend;
    if (dictionaryMissing()) {
        rc = DRAVO_DICTIONARY_ERROR;
    } else {
        const std::vector<std::string> addresses = dravo::serverAddresses(nullptr);
        std::shared_ptr<Backend> replaced;
        {
            std::lock_guard<std::mutex> lock(client.mutex);
            if (!client.backend || client.addresses != addresses) {
                replaced = std::move(client.backend);
                rc = makeBackend(addresses, client, client.backend);
                client.addresses = addresses;
            }
            backend = client.backend;
        }
        if (replaced)
            replaced->disconnect();
        if (backend)
            rc = backend->connect();
    }
    return recorded(rc, [&] { return called("ConnectMid", {arg(server)}); });
}

int DravoPlus::DisConnectMid(const char* server)
{
    std::shared_ptr<Backend> backend = currentClient().currentBackend();
    const int rc = backend ? backend->disconnect() : DRAVO_OK;
    return recorded(rc, [&] { return called("DisConnectMid", {arg(server)}); });
}

int DravoPlus::IsConnect(const char* server)
{
    std::shared_ptr<Backend> backend = currentClient().currentBackend();
    const int rc = backend && backend->isConnected() ? DRAVO_OK : DRAVO_NOT_CONNECTED;
    return recorded(rc, [&] { return called("IsConnect", {arg(server)}); });
}

int DravoPlus::InstallListener(DravoStatusListenerBase& listener)
{
    dravo::installListener(&currentClient(), &listener);
    return recorded(DRAVO_OK, [&] { return called("InstallListener", {}); });
}

int DravoPlus::RemoveListener(DravoStatusListenerBase& listener)
{
    dravo::removeListener(&currentClient(), &listener);
    return recorded(DRAVO_OK, [&] { return called("RemoveListener", {}); });
}

const char* DravoPlus::activeServer(const char* server)
{
    thread_local std::string address;
    std::shared_ptr<Backend> backend = currentClient().currentBackend();
    address = backend && backend->isConnected() ? backend->activeServer() : std::string();
    const char* result = address.empty() ? nullptr : address.c_str();
    recorded(result ? DRAVO_OK : DRAVO_NOT_CONNECTED, [&] { return called("activeServer", {arg(server)}); });
    return result;
}

/* ---- Heartbeats ---------------------------------------------------------- */

int DravoPlus::ContendHeartBit(const char* task, const DravoData& record, const char* server, const char* domain)
{
    const int rc = !task || !*task ? DRAVO_BAD_ARGUMENT
                                   : withBackend([&](Backend& b) { return b.contendHeartbeat(task, record); });
    return recorded(rc, [&] { return called("ContendHeartBit", {arg(task), arg(server), arg(domain)}, {}, {record}); });
}

int DravoPlus::ListHeartbeats(std::vector<DravoHeartbeatInfo>& out, const char* server)
{
    out.clear();
    const int rc = withBackend([&](Backend& b) { return b.listHeartbeats(out); });
    return recorded(rc, [&] { return called("ListHeartbeats", {arg(server)}); });
}

/* ---- Point database ------------------------------------------------------ */

int DravoPlus::GetDataPoint(const char* name, DravoData& out, const char* server, const char* domain)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.getRecord(name, out); });
    return recorded(rc, [&] { return called("GetDataPoint", {arg(name), arg(server), arg(domain)}); });
}

int DravoPlus::GetDataPointN(const std::vector<std::string>& names, DravoDataList& out, const char* server,
                             const char* domain)
{
    out.clear();
    const int rc = withBackend([&](Backend& b) { return b.getRecords(names, out); });
    return recorded(rc, [&] { return called("GetDataPointN", {arg(static_cast<long long>(names.size())), arg(server), arg(domain)}, names); });
}

int DravoPlus::GetDataPointByTypeName(const char* type, DravoDataList& out, const char* server, const char* domain)
{
    out.clear();
    int rc = DRAVO_BAD_ARGUMENT;
    if (type)
        rc = dravo::findType(type) ? withBackend([&](Backend& b) { return b.getRecordsByType(type, out); }) : DRAVO_NOT_FOUND;
    return recorded(rc, [&] { return called("GetDataPointByTypeName", {arg(type), arg(server), arg(domain)}); });
}

int DravoPlus::PutDataPoint(const DravoData& record, const char* server, const char* domain)
{
    return PutDataPoints({record}, server, domain);
}

int DravoPlus::PutDataPoints(const std::vector<DravoData>& records, const char* server, const char* domain)
{
    const int rc = withBackend([&](Backend& b) { return b.putRecords(records); });
    return recorded(rc, [&] {
        std::vector<std::string> names;
        for (const DravoData& r : records)
            names.push_back(r.GetDataName());
        return called("PutDataPoints", {arg(static_cast<long long>(records.size())), arg(server), arg(domain)}, names);
    });
}

int DravoPlus::DeleteDataPoint(const char* name, const char* server, const char* domain)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.deleteRecord(name); });
    return recorded(rc, [&] { return called("DeleteDataPoint", {arg(name), arg(server), arg(domain)}); });
}

int DravoPlus::PutPartialDataPoint(const char* name, const DravoPartialData& partial, const char* server,
                                   const char* domain)
{
    const std::string target = name ? name : partial.GetDataName();
    int rc = DRAVO_BAD_ARGUMENT;
    if (!target.empty())
        rc = withBackend([&](Backend& b) { return b.putPartials({target}, {&partial}, true); });
    return recorded(rc, [&] { return called("PutPartialDataPoint", {arg(name), arg(server), arg(domain)}, {target}, {}, {partial}); });
}

int DravoPlus::PutPartialDataPoints(const std::vector<DravoPartialData>& partials, const char* server,
                                    const char* domain)
{
    return putPartials("PutPartialDataPoints", partials, true, server, domain);
}

int DravoPlus::PutPartialDataPointsWithNoPublish(const std::vector<DravoPartialData>& partials, const char* server,
                                                 const char* domain)
{
    return putPartials("PutPartialDataPointsWithNoPublish", partials, false, server, domain);
}

/* ---- Events and event boxes ---------------------------------------------- */

int DravoPlus::SendEvent(int kind, const DravoData& record, const char* source, const char* domain)
{
    const int rc = withBackend([&](Backend& b) { return b.sendEvents(kind, {&record}, source ? source : "", domain ? domain : ""); });
    return recorded(rc, [&] { return called("SendEvent", {arg(kind), arg(source), arg(domain)}, {}, {record}); });
}

int DravoPlus::SendEventN(int kind, DravoData* const* records, int count, int flags, const char* source,
                          const char* domain)
{
    std::vector<const DravoData*> list;
    int rc = count < 0 || (!records && count > 0) ? DRAVO_BAD_ARGUMENT : DRAVO_OK;
    for (int i = 0; rc == DRAVO_OK && i < count; ++i) {
        if (!records[i])
            rc = DRAVO_BAD_ARGUMENT;
        list.push_back(records[i]);
    }
    if (rc == DRAVO_OK && !list.empty())
        rc = withBackend([&](Backend& b) { return b.sendEvents(kind, list, source ? source : "", domain ? domain : ""); });
    return recorded(rc, [&] {
        std::vector<DravoData> sent;
        for (const DravoData* r : list)
            if (r)
                sent.push_back(*r);
        return called("SendEventN", {arg(kind), arg(count), arg(flags), arg(source), arg(domain)}, {}, sent);
    });
}

int DravoPlus::SendUndefinedEvent(int kind, const DravoData& record, const char* source, const char* domain)
{
    const DravoData payload = untyped(record);
    const int rc = withBackend([&](Backend& b) { return b.sendEvents(kind, {&payload}, source ? source : "", domain ? domain : ""); });
    return recorded(rc, [&] { return called("SendUndefinedEvent", {arg(kind), arg(source), arg(domain)}, {}, {payload}); });
}

int DravoPlus::SendEvent(const char* eventName, const DravoData& record, int flags)
{
    const int kind = GetEventKind(eventName);
    const int rc = kind == 0 ? DRAVO_NOT_FOUND : withBackend([&](Backend& b) { return b.sendEvents(kind, {&record}, "", ""); });
    return recorded(rc, [&] { return called("SendEventNamed", {arg(eventName), arg(flags)}, {}, {record}); });
}

int DravoPlus::CreateEventBox(const char* name, int kind, int capacity, const char* server, const char* domain)
{
    const int rc = !name || !*name ? DRAVO_BAD_ARGUMENT
                                   : withBackend([&](Backend& b) { return b.createBox(name, kind, capacity, domain ? domain : ""); });
    return recorded(rc, [&] { return called("CreateEventBox", {arg(name), arg(kind), arg(capacity), arg(server), arg(domain)}); });
}

int DravoPlus::SetPersistent(const char* name, bool persistent, const char* server, const char* domain)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.setPersistent(name, persistent); });
    return recorded(rc, [&] { return called("SetPersistent", {arg(name), arg(persistent ? 1 : 0), arg(server), arg(domain)}); });
}

int DravoPlus::DeleteEventBox(const char* name, const char* server, const char* domain)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.deleteBox(name); });
    return recorded(rc, [&] { return called("DeleteEventBox", {arg(name), arg(server), arg(domain)}); });
}

int DravoPlus::ConnectPortForRecv(const char* name, unsigned int& port, const char* server, const char* domain)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.connectPort(name, port); });
    return recorded(rc, [&] { return called("ConnectPortForRecv", {arg(name), arg(server), arg(domain)}); });
}

int DravoPlus::ReceiveEventN(unsigned int port, DravoDataList& list, const char* typeFilter, int maxRecords,
                             int waitSeconds, const char* server, const char* domain)
{
    list.clear();
    const long waitMs = dravo::scaledMs(waitSeconds);
    const int rc = withBackend([&](Backend& b) { return b.receive(port, list, typeFilter ? typeFilter : "", maxRecords, waitMs); });
    return recorded(rc, [&] { return called("ReceiveEventN", {arg(port), arg(typeFilter), arg(maxRecords), arg(waitSeconds), arg(server), arg(domain)}); });
}

int DravoPlus::ReceiveUndefinedEventN(unsigned int port, DravoDataList& list, int maxRecords, int waitSeconds,
                                      const char* server, const char* domain)
{
    list.clear();
    const long waitMs = dravo::scaledMs(waitSeconds);
    const int rc = withBackend([&](Backend& b) { return b.receive(port, list, "", maxRecords, waitMs); });
    return recorded(rc, [&] { return called("ReceiveUndefinedEventN", {arg(port), arg(maxRecords), arg(waitSeconds), arg(server), arg(domain)}); });
}

int DravoPlus::GetEventBoxInfo(const char* name, DravoEventBoxInfo& out, const char* server)
{
    const int rc = !name ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.boxInfo(name, out); });
    return recorded(rc, [&] { return called("GetEventBoxInfo", {arg(name), arg(server)}); });
}

int DravoPlus::ListEventBoxes(std::vector<DravoEventBoxInfo>& out, const char* server)
{
    out.clear();
    const int rc = withBackend([&](Backend& b) { return b.listBoxes(out); });
    return recorded(rc, [&] { return called("ListEventBoxes", {arg(server)}); });
}

/* ---- Packets ------------------------------------------------------------- */

int DravoPlus::SendPacket(const char* target, const DravoData& request, DravoHandle& handle, int mode)
{
    handle = 0;
    const long life = dravo::scaledMs(dravo::kPacketHandleLifeSeconds);
    const int rc = !target || !*target ? DRAVO_BAD_ARGUMENT
                                       : withBackend([&](Backend& b) { return b.sendPacket(target, request, mode, life, handle); });
    return recorded(rc, [&] { return called("SendPacket", {arg(target), arg(mode)}, {}, {request}); });
}

int DravoPlus::WaitReply(DravoHandle handle, DravoData& reply, int seconds)
{
    const long waitMs = dravo::scaledMs(seconds);
    int rc = withBackend([&](Backend& b) { return b.waitReply(handle, reply, waitMs); });
    if (rc == DRAVO_OK && std::string(reply.GetTypeName()) != "CMD_RESPONSE")
        rc = reply.CastType("CMD_RESPONSE");
    return recorded(rc, [&] { return called("WaitReply", {arg(static_cast<long long>(handle)), arg(seconds)}); });
}

int DravoPlus::WaitUndefinedReply(DravoHandle handle, DravoData& reply, int seconds)
{
    const long waitMs = dravo::scaledMs(seconds);
    const int rc = withBackend([&](Backend& b) { return b.waitReply(handle, reply, waitMs); });
    if (rc == DRAVO_OK)
        reply = untyped(reply);
    return recorded(rc, [&] { return called("WaitUndefinedReply", {arg(static_cast<long long>(handle)), arg(seconds)}); });
}

int DravoPlus::DisConnect(DravoHandle handle)
{
    const int rc = withBackend([&](Backend& b) { return b.releaseHandle(handle); });
    return recorded(rc, [&] { return called("DisConnect", {arg(static_cast<long long>(handle))}); });
}

int DravoPlus::RegisterPacketReceiver(const char* target)
{
    const int rc = !target || !*target ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.registerReceiver(target); });
    return recorded(rc, [&] { return called("RegisterPacketReceiver", {arg(target)}); });
}

int DravoPlus::UnregisterPacketReceiver(const char* target)
{
    const int rc = !target ? DRAVO_BAD_ARGUMENT : withBackend([&](Backend& b) { return b.unregisterReceiver(target); });
    return recorded(rc, [&] { return called("UnregisterPacketReceiver", {arg(target)}); });
}

int DravoPlus::ReceivePacket(const char* target, DravoData& request, DravoHandle& handle, int seconds)
{
    handle = 0;
    const long waitMs = dravo::scaledMs(seconds);
    const int rc = !target ? DRAVO_BAD_ARGUMENT
                           : withBackend([&](Backend& b) { return b.receivePacket(target, request, handle, waitMs); });
    return recorded(rc, [&] { return called("ReceivePacket", {arg(target), arg(seconds)}); });
}

int DravoPlus::ReplyPacket(DravoHandle handle, const DravoData& reply)
{
    const int rc = withBackend([&](Backend& b) { return b.replyPacket(handle, reply); });
    return recorded(rc, [&] { return called("ReplyPacket", {arg(static_cast<long long>(handle))}, {}, {reply}); });
}

/* ---- Clients ------------------------------------------------------------- */

DravoClient* DravoPlus::NewClient()
{
    return new DravoClient(newClientId());
}

void DravoPlus::UseClient(DravoClient* client)
{
    t_client = client;
}

void DravoPlus::FreeClient(DravoClient* client)
{
    if (!client || client == &processClient())
        return;
    std::shared_ptr<Backend> backend;
    {
        std::lock_guard<std::mutex> lock(client->mutex);
        backend = std::move(client->backend);
    }
    if (backend)
        backend->abandon();
    backend.reset();
    dravo::forgetClient(client);
    if (t_client == client)
        t_client = nullptr;
    delete client;
}

int DravoPlus::SetEmbeddedServerOnline(bool online)
{
    if (!dravo::isEmbeddedSetting(dravo::serverAddresses(nullptr)))
        return DRAVO_BAD_ARGUMENT;
    dravo::setEmbeddedServerOnline(online);
    return DRAVO_OK;
}

/*
 * redisbench.cpp: what the Redis backend costs against Redis itself.
 *
 *   batch read      GetDataPointN of 10,000 names, with the commands the
 *                   server processed per call counted (round trips);
 *                   baseline: the same 10,000 records read one GetDataPoint
 *                   at a time;
 *   batch writes    the batched writer of the change stream alone, its
 *                   changes kept in one box nobody reads;
 *   change stream   publishing partial writes, 100 changes a call (or one
 *                   a call; or 100 a call from four writers at once, as
 *                   four field drivers write), until each of four (or 32) operator
 *                   applications has every change on its signals;
 *                   baselines: the same changes PUBLISHed straight to as
 *                   many Redis subscribers, 100 commands a pipeline (or one
 *                   a round trip), with no point database, boxes or packing;
 *   command         a command packet to a driver and its reply, median and
 *                   99th percentile; baseline: one GetDataPoint round trip.
 *
 * They run against the server that --servers names; the Redis baselines and
 * the counting of server commands need a redis:// server and are skipped
 * otherwise.
 */
#include "benchcontext.h"

#include <MVShared/MorvaneChangeEvent.h>

#include <DravoPlus/DravoPlusTesting.h>
#include <MVPlant/Vocabulary.h>

#include <benchmark/benchmark.h>
#include <hiredis/hiredis.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kNames = 10000;
constexpr int kStreamChanges = 20000;
constexpr int kStreamClients = 4;
constexpr int kManyClients = 32;
/* Field drivers writing at once in the row that has several. */
constexpr int kStreamWriters = 4;
/* Changes per call of the batched writers, and PUBLISHes per pipeline. */
constexpr int kStreamBatch = 100;
constexpr int kCommands = 2000;
const char* const kDriverTarget = "mvbench-driver";
/* The record of the sample plant's first status point. */
const std::string kFirstStatusRecord = "STATUS" + std::to_string(MVPlant::kStatusFirst);

/* ---- A side connection to the Redis server, for counting and baselines ---- */

struct ContextFree {
    void operator()(redisContext* c) const { redisFree(c); }
};
struct ReplyFree {
    void operator()(redisReply* r) const { freeReplyObject(r); }
};
using Context = std::unique_ptr<redisContext, ContextFree>;
using Reply = std::unique_ptr<redisReply, ReplyFree>;

Reply run(redisContext* c, const std::vector<std::string>& args)
{
    std::vector<const char*> argv;
    std::vector<std::size_t> lengths;
    for (const std::string& a : args) {
        argv.push_back(a.data());
        lengths.push_back(a.size());
    }
    return Reply(static_cast<redisReply*>(redisCommandArgv(c, static_cast<int>(argv.size()), argv.data(), lengths.data())));
}

/* A connection to the server the middleware uses, when that is Redis. */
Context connectSide()
{
    const char* servers = std::getenv("DRAVO_SERVERS");
    static const std::regex address(R"(redis://(?:([^:@]*):?([^@]*)@)?([^:/,]+):(\d+)(?:/(\d+))?.*)");
    std::cmatch m;
    if (!servers || !std::regex_match(servers, m, address))
        return nullptr;
    Context c(redisConnectWithTimeout(m[3].str().c_str(), std::stoi(m[4].str()), timeval{5, 0}));
    if (!c || c->err)
        return nullptr;
    if (m[2].length() > 0) {
        std::vector<std::string> auth{"AUTH"};
        if (m[1].length() > 0)
            auth.push_back(m[1].str());
        auth.push_back(m[2].str());
        run(c.get(), auth);
    }
    if (m[5].length() > 0)
        run(c.get(), {"SELECT", m[5].str()});
    return c;
}

/* Commands the server has processed so far (the asking included). */
long long commandsProcessed(redisContext* c)
{
    const Reply info = run(c, {"INFO", "stats"});
    if (!info || info->type != REDIS_REPLY_STRING)
        return 0;
    const std::string text(info->str, info->len);
    const auto at = text.find("total_commands_processed:");
    return at == std::string::npos ? 0 : std::atoll(text.c_str() + at + 25);
}

/* ---- Batch read ---------------------------------------------------------- */

/* 10,000 names of records that exist, the plant's own cycled through. */
std::vector<std::string> tenThousandNames()
{
    mvbench::ensurePlant();
    std::vector<std::string> plant;
    for (const char* type : {"STATUS", "ANALOG", "TEXT", "REMOTEUNIT", "COMMLINK", "STATION"}) {
        DravoDataList list;
        DravoPlus::GetDataPointByTypeName(type, list, nullptr, nullptr);
        for (const DravoData& record : list)
            plant.push_back(record.GetDataName());
    }
    std::vector<std::string> names;
    for (int i = 0; i < kNames && !plant.empty(); ++i)
        names.push_back(plant[static_cast<std::size_t>(i) % plant.size()]);
    return names;
}

/* Server commands per iteration, when the server is Redis. */
class RoundTrips
{
public:
    RoundTrips() : m_side(connectSide()), m_before(m_side ? commandsProcessed(m_side.get()) : 0) {}
    void report(benchmark::State& state) const
    {
        if (!m_side || state.iterations() == 0)
            return;
        /* Each INFO is a command of its own. */
        const long long spent = commandsProcessed(m_side.get()) - m_before - 1;
        state.counters["round_trips"] = static_cast<double>(spent) / static_cast<double>(state.iterations());
    }

private:
    Context m_side;
    long long m_before;
};

void BM_GetDataPointN10000(benchmark::State& state)
{
    const std::vector<std::string> names = tenThousandNames();
    RoundTrips trips;
    for (auto _ : state) {
        DravoDataList list;
        if (DravoPlus::GetDataPointN(names, list, nullptr, nullptr) != DRAVO_OK || list.size() != kNames)
            state.SkipWithError("the batch read failed");
    }
    trips.report(state);
    state.SetItemsProcessed(state.iterations() * kNames);
}

void BM_GetDataPointNBaseline_OneByOne(benchmark::State& state)
{
    const std::vector<std::string> names = tenThousandNames();
    RoundTrips trips;
    for (auto _ : state) {
        for (const std::string& name : names) {
            DravoData record;
            if (DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr) != DRAVO_OK)
                state.SkipWithError("a read failed");
        }
    }
    trips.report(state);
    state.SetItemsProcessed(state.iterations() * kNames);
}

/* ---- Change stream --------------------------------------------------------- */

void reportStreamRate(benchmark::State& state)
{
    state.counters["changes/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kStreamChanges,
                                                     benchmark::Counter::kIsRate);
}

using Counters = std::vector<std::unique_ptr<std::atomic<long>>>;

Counters zeroCounters(int count)
{
    Counters counters;
    for (int i = 0; i < count; ++i)
        counters.push_back(std::make_unique<std::atomic<long>>(0));
    return counters;
}

bool allReached(const Counters& counters, long target)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    for (const auto& counter : counters) {
        while (counter->load() < target) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    return true;
}

/* Every receiver counted exactly the changes sent: none lost, none twice. */
void checkAllCounted(benchmark::State& state, const Counters& counters, const char* what)
{
    const long sent = static_cast<long>(state.iterations()) * kStreamChanges;
    for (const auto& counter : counters) {
        if (counter->load() != sent) {
            state.SkipWithError(what);
            return;
        }
    }
}

/* How a row's writer puts one iteration's changes. */
using StreamWriter = bool (*)(int round);

bool writeOneByOne(int round)
{
    return mvbench::writeStatusChanges(kStreamChanges, round);
}

bool writeInBatches(int round)
{
    return mvbench::writeStatusChangeBatches(kStreamChanges, kStreamBatch, round);
}

/* The stream's changes shared by several writers writing batches at once;
 * each starts a batch further on among the points, so that at any moment
 * they write to different records, as drivers of different remote units
 * do. */
bool writeInParallelBatches(int round)
{
    const int share = kStreamChanges / kStreamWriters;
    std::vector<std::future<bool>> writers;
    for (int w = 0; w < kStreamWriters; ++w) {
        writers.push_back(std::async(std::launch::async, [=] {
            return mvbench::writeStatusChangeBatches(share, kStreamBatch, round, w * (share + kStreamBatch));
        }));
    }
    bool written = true;
    for (auto& writer : writers)
        written = writer.get() && written;
    return written;
}

/* The stream's changes written by write until each of the operator
 * applications has every one of them on its signals. */
void streamToApplications(benchmark::State& state, int applications, StreamWriter write)
{
    mvbench::ensurePlant();
    const mvbench::NewBoxes boxes;
    MorvaneChangeEvent server;
    server.setServerMode();
    server.init();
    std::vector<std::unique_ptr<MorvaneChangeEvent>> clients;
    const Counters delivered = zeroCounters(applications);
    for (const auto& counter : delivered) {
        clients.push_back(std::make_unique<MorvaneChangeEvent>());
        std::atomic<long>* count = counter.get();
        QObject::connect(clients.back().get(), &MorvaneChangeEvent::statusChanged, clients.back().get(),
                         [count](const QList<DravoData>& changes) { *count += changes.size(); },
                         Qt::DirectConnection);
        clients.back()->init();
    }
    server.start();
    for (const auto& client : clients)
        client->start();
    int round = 0;
    long target = 0;
    for (auto _ : state) {
        target += kStreamChanges;
        const auto start = std::chrono::steady_clock::now();
        if (!write(round++))
            state.SkipWithError("a write failed");
        else if (!allReached(delivered, target))
            state.SkipWithError("changes were lost");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    /* Each receiver ends its loop after a pause: all are asked at once, so
     * that they pause together rather than one after another. */
    server.prepareShutDown();
    for (const auto& client : clients)
        client->prepareShutDown();
    server.shutDown();
    for (const auto& client : clients)
        client->shutDown();
    if (!state.error_occurred())
        checkAllCounted(state, delivered, "an application did not get every change exactly once");
    reportStreamRate(state);
}

/* The batched writer with nobody receiving: one box of raw changes, made
 * afresh for each iteration and removed after it, takes what it publishes.
 * Where the stream's writer spends its time, apart from the receivers
 * that share the machine with it. */
void BM_BatchWritesAlone(benchmark::State& state)
{
    mvbench::ensurePlant();
    const char* box = "mvbench-writes";
    int round = 0;
    for (auto _ : state) {
        unsigned int port = 0;
        if (DravoPlus::CreateEventBox(box, DRAVO_EVENT_RAW_CHANGE, kStreamChanges, nullptr, nullptr) != DRAVO_OK
            || DravoPlus::ConnectPortForRecv(box, port, nullptr, nullptr) != DRAVO_OK) {
            state.SkipWithError("cannot make the box of raw changes");
            break;
        }
        const auto start = std::chrono::steady_clock::now();
        const bool written = writeInBatches(round++);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        DravoEventBoxInfo info;
        const bool kept = DravoPlus::GetEventBoxInfo(box, info, nullptr) == DRAVO_OK && info.queued == kStreamChanges;
        DravoPlus::DeleteEventBox(box, nullptr, nullptr);
        if (!written || !kept) {
            state.SkipWithError(written ? "the box did not get every change" : "a write failed");
            break;
        }
    }
    reportStreamRate(state);
}

void BM_ChangeStreamFourClients(benchmark::State& state)
{
    streamToApplications(state, kStreamClients, writeInBatches);
}

void BM_ChangeStreamFourClientsSingleWrites(benchmark::State& state)
{
    streamToApplications(state, kStreamClients, writeOneByOne);
}

void BM_ChangeStreamFourClientsFourWriters(benchmark::State& state)
{
    streamToApplications(state, kStreamClients, writeInParallelBatches);
}

void BM_ChangeStreamManyClients(benchmark::State& state)
{
    streamToApplications(state, kManyClients, writeInBatches);
}

/* Subscribers to a channel on connections of their own, each counting the
 * messages it gets until "stop" comes (or nothing has come for a while). */
class Subscribers
{
public:
    Subscribers(const std::string& channel, int count) : m_received(zeroCounters(count))
    {
        for (const auto& counter : m_received) {
            std::atomic<long>* received = counter.get();
            m_threads.emplace_back([this, received, channel] { listen(channel, *received); });
        }
    }
    ~Subscribers()
    {
        for (std::thread& t : m_threads)
            t.join();
    }
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    /* Whether every subscriber is listening (waits a few seconds at most). */
    bool listening() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (m_settled.load() < static_cast<int>(m_threads.size())) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return m_listening.load() == static_cast<int>(m_threads.size());
    }
    const Counters& received() const { return m_received; }

private:
    void listen(const std::string& channel, std::atomic<long>& received)
    {
        Context c = connectSide();
        const Reply confirmation = c ? run(c.get(), {"SUBSCRIBE", channel}) : nullptr;
        if (confirmation && confirmation->type == REDIS_REPLY_ARRAY)
            ++m_listening;
        ++m_settled;
        if (!confirmation || confirmation->type != REDIS_REPLY_ARRAY)
            return;
        redisSetTimeout(c.get(), timeval{5, 0});
        for (;;) {
            void* raw = nullptr;
            if (redisGetReply(c.get(), &raw) != REDIS_OK || !raw)
                return;
            const Reply message(static_cast<redisReply*>(raw));
            if (message->type == REDIS_REPLY_ARRAY && message->elements == 3
                && std::string(message->element[2]->str, message->element[2]->len) == "stop")
                return;
            ++received;
        }
    }

    Counters m_received;
    std::atomic<int> m_listening{0};
    std::atomic<int> m_settled{0};
    std::vector<std::thread> m_threads;
};

/* Whether one PUBLISH reached every subscriber. */
bool publishedToAll(const Reply& reply, int subscribers)
{
    return reply && reply->type == REDIS_REPLY_INTEGER && reply->integer == subscribers;
}

/* The stream's changes, each as a whole status record, PUBLISHed to a channel
 * that the subscribers read: one command per round trip, or pipeline of them
 * sent together before their replies are read. */
void publishStream(benchmark::State& state, int subscribers, int pipeline)
{
    Context publisher = connectSide();
    if (!publisher) {
        state.SkipWithError("needs --servers redis://...");
        return;
    }
    const std::string channel = "mvbench-changes";
    const std::string stop = "stop";
    Subscribers readers(channel, subscribers);
    if (!readers.listening()) {
        run(publisher.get(), {"PUBLISH", channel, stop});
        state.SkipWithError("a subscriber could not subscribe");
        return;
    }
    DravoData change("STATUS", kFirstStatusRecord.c_str());
    const std::string body = DravoPlus::SerializeRecord(change);
    const char* argv[] = {"PUBLISH", channel.data(), body.data()};
    const std::size_t lengths[] = {7, channel.size(), body.size()};
    long target = 0;
    for (auto _ : state) {
        target += kStreamChanges;
        const auto start = std::chrono::steady_clock::now();
        bool published = true;
        for (int i = 0; published && i < kStreamChanges; i += pipeline) {
            const int commands = std::min(pipeline, kStreamChanges - i);
            for (int j = 0; j < commands; ++j)
                redisAppendCommandArgv(publisher.get(), 3, argv, lengths);
            for (int j = 0; j < commands; ++j) {
                void* raw = nullptr;
                published = redisGetReply(publisher.get(), &raw) == REDIS_OK
                            && publishedToAll(Reply(static_cast<redisReply*>(raw)), subscribers) && published;
            }
        }
        if (!published)
            state.SkipWithError("a PUBLISH did not reach every subscriber");
        else if (!allReached(readers.received(), target))
            state.SkipWithError("messages were lost");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    run(publisher.get(), {"PUBLISH", channel, stop});
    if (!state.error_occurred())
        checkAllCounted(state, readers.received(), "a subscriber did not get every message exactly once");
    reportStreamRate(state);
}

void BM_ChangeStreamBaseline_PubSub(benchmark::State& state)
{
    publishStream(state, kStreamClients, 1);
}

void BM_ChangeStreamBaseline_PubSubPipelined(benchmark::State& state)
{
    publishStream(state, kStreamClients, kStreamBatch);
}

void BM_ChangeStreamBaseline_PubSubPipelined32(benchmark::State& state)
{
    publishStream(state, kManyClients, kStreamBatch);
}

/* ---- Command round trip ------------------------------------------------------ */

double percentile(std::vector<double> samples, double fraction)
{
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const auto at = static_cast<std::size_t>(fraction * static_cast<double>(samples.size() - 1));
    return samples[at];
}

void reportLatency(benchmark::State& state, const std::vector<double>& us)
{
    state.counters["median_us"] = percentile(us, 0.5);
    state.counters["p99_us"] = percentile(us, 0.99);
}

/* A driver task of its own that answers every command at once. */
class EchoDriver
{
public:
    EchoDriver() : m_client(DravoPlus::NewClient())
    {
        DravoPlus::UseClient(m_client);
        DravoPlus::ConnectMid(nullptr);
        m_ready = DravoPlus::RegisterPacketReceiver(kDriverTarget) == DRAVO_OK;
        DravoPlus::UseClient(nullptr);
        m_thread = std::thread([this] { serve(); });
    }
    ~EchoDriver()
    {
        m_stop = true;
        m_thread.join();
        DravoPlus::UseClient(m_client);
        DravoPlus::UnregisterPacketReceiver(kDriverTarget);
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::UseClient(nullptr);
        DravoPlus::FreeClient(m_client);
    }
    EchoDriver(const EchoDriver&) = delete;
    EchoDriver& operator=(const EchoDriver&) = delete;
    bool ready() const { return m_ready; }

private:
    void serve()
    {
        DravoPlus::UseClient(m_client);
        DravoData reply("CMD_RESPONSE");
        while (!m_stop) {
            DravoData request;
            DravoHandle handle = 0;
            if (DravoPlus::ReceivePacket(kDriverTarget, request, handle, 1) == DRAVO_OK)
                DravoPlus::ReplyPacket(handle, reply);
        }
        DravoPlus::UseClient(nullptr);
    }

    DravoClient* m_client;
    bool m_ready = false;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

void BM_CommandRoundTrip(benchmark::State& state)
{
    mvbench::ensurePlant();
    EchoDriver driver;
    if (!driver.ready()) {
        state.SkipWithError("cannot serve the driver target");
        return;
    }
    DravoData request("REMOTE_COMMAND2");
    request.PutValue("cmdCode", 1);
    std::vector<double> us;
    for (auto _ : state) {
        for (int i = 0; i < kCommands; ++i) {
            const auto start = std::chrono::steady_clock::now();
            DravoHandle handle = 0;
            DravoData reply;
            if (DravoPlus::SendPacket(kDriverTarget, request, handle, 3) != DRAVO_OK
                || DravoPlus::WaitReply(handle, reply, 15) != DRAVO_OK) {
                state.SkipWithError("a command got no reply");
                break;
            }
            DravoPlus::DisConnect(handle);
            us.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        }
    }
    reportLatency(state, us);
    state.SetItemsProcessed(state.iterations() * kCommands);
}

void BM_CommandBaseline_OneRead(benchmark::State& state)
{
    mvbench::ensurePlant();
    std::vector<double> us;
    for (auto _ : state) {
        for (int i = 0; i < kCommands; ++i) {
            const auto start = std::chrono::steady_clock::now();
            DravoData record;
            DravoPlus::GetDataPoint(kFirstStatusRecord.c_str(), record, nullptr, nullptr);
            us.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        }
    }
    reportLatency(state, us);
    state.SetItemsProcessed(state.iterations() * kCommands);
}

const bool registered = [] {
    mvbench::pairWithBaseline("BM_GetDataPointN10000", "BM_GetDataPointNBaseline_OneByOne",
                              "10000 records in one batch read / read one at a time");
    mvbench::pairWithBaseline("BM_ChangeStreamFourClients", "BM_ChangeStreamBaseline_PubSubPipelined",
                              "20000 changes in writes of 100 to four operators / 100 PUBLISHes a pipeline");
    mvbench::pairWithBaseline("BM_ChangeStreamFourClientsFourWriters", "BM_ChangeStreamBaseline_PubSubPipelined",
                              "20000 changes in writes of 100 by four writers to four operators / 100 PUBLISHes a pipeline");
    mvbench::pairWithBaseline("BM_ChangeStreamFourClientsSingleWrites", "BM_ChangeStreamBaseline_PubSub",
                              "20000 single writes to four operators / one PUBLISH a round trip");
    mvbench::pairWithBaseline("BM_ChangeStreamManyClients", "BM_ChangeStreamBaseline_PubSubPipelined32",
                              "20000 changes in writes of 100 to 32 operators / pipelined to 32 subscribers");
    mvbench::pairWithBaseline("BM_CommandRoundTrip", "BM_CommandBaseline_OneRead",
                              "2000 commands answered by a driver / 2000 single reads");
    return true;
}();

} // namespace

BENCHMARK(BM_GetDataPointNBaseline_OneByOne)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetDataPointN10000)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamBaseline_PubSub)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamFourClientsSingleWrites)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamBaseline_PubSubPipelined)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamFourClients)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BatchWritesAlone)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamFourClientsFourWriters)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamBaseline_PubSubPipelined32)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeStreamManyClients)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CommandBaseline_OneRead)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CommandRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);

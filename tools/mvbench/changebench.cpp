/*
 * changebench.cpp: the cost of distributing point changes.
 *
 *   packing     a server task packs a batch of 500 status changes into one
 *               change packet and publishes it; baseline: qCompress of the
 *               same packet body alone;
 *   unpacking   an operator application unpacks that packet and dispatches
 *               its changes to signals; baseline: qUncompress alone;
 *   end to end  changes written with publishing partial writes until every
 *               one has reached an operator application's signals, through
 *               a server-mode and a client-mode receiver; baseline: the same
 *               writes read raw by one event box, with no packing at all.
 *
 * They run on the embedded server whatever --servers says: they measure
 * what this program does with changes, the same in a run against Redis.
 */
#include "benchcontext.h"

#include <MVShared/MorvaneChangeEvent.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QByteArray>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int kBatch = 500;
constexpr int kEndToEndChanges = 20000;
constexpr int kPacketKind = 0x98765;
constexpr int kRawChangeKind = 0x7E7F7C;

/* The first status records of the sample plant, on the server the process
 * is on (the calling row put it there). */
std::vector<DravoData> statusBatch()
{
    DravoDataList all;
    DravoPlus::GetDataPointByTypeName("STATUS", all, nullptr, nullptr);
    std::vector<DravoData> batch;
    for (int i = 0; i < kBatch && i < all.size(); ++i)
        batch.push_back(all[i]);
    return batch;
}

DravoDataList asList(const std::vector<DravoData>& records)
{
    DravoDataList list;
    for (const DravoData& r : records)
        list.append(r);
    return list;
}

/* The packet a server task publishes for the batch, caught by a box. */
const DravoData& packetOfBatch()
{
    static DravoData packet = [] {
        mvbench::ensureEmbeddedPlant();
        const char* box = "mvbench-packets";
        DravoPlus::CreateEventBox(box, kPacketKind, 4, nullptr, nullptr);
        unsigned int port = 0;
        DravoPlus::ConnectPortForRecv(box, port, nullptr, nullptr);
        MorvaneChangeEvent server;
        server.setServerMode();
        DravoDataList list = asList(statusBatch());
        server.compressData(list);
        DravoDataList received;
        if (DravoPlus::ReceiveEventN(port, received, nullptr, 1, 5, nullptr, nullptr) != DRAVO_OK || received.isEmpty()) {
            std::fprintf(stderr, "mvbench: the packed batch was not published\n");
            std::exit(1);
        }
        DravoPlus::DeleteEventBox(box, nullptr, nullptr);
        return received[0];
    }();
    return packet;
}

QByteArray packetBytes()
{
    const DravoData& packet = packetOfBatch();
    return QByteArray(packet.GetRawValue(), packet.GetBufferSize());
}

void BM_PackStatusBatch(benchmark::State& state)
{
    mvbench::ensureEmbeddedPlant();
    const std::vector<DravoData> batch = statusBatch();
    MorvaneChangeEvent server;
    server.setServerMode();
    for (auto _ : state) {
        state.PauseTiming();
        DravoDataList list = asList(batch);
        state.ResumeTiming();
        server.compressData(list);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_PackBaseline_qCompress(benchmark::State& state)
{
    const QByteArray body = qUncompress(packetBytes());
    for (auto _ : state)
        benchmark::DoNotOptimize(qCompress(body, -1));
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_UnpackDispatchStatusBatch(benchmark::State& state)
{
    const DravoData packet = packetOfBatch();
    MorvaneChangeEvent client;
    std::atomic<long> delivered{0};
    QObject::connect(&client, &MorvaneChangeEvent::statusChanged, &client,
                     [&delivered](const QList<DravoData>& changes) { delivered += changes.size(); },
                     Qt::DirectConnection);
    for (auto _ : state) {
        DravoDataList list;
        list.append(packet);
        client.compressData(list);
    }
    if (delivered.load() != state.iterations() * kBatch)
        state.SkipWithError("not every change was dispatched");
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_UnpackBaseline_qUncompress(benchmark::State& state)
{
    const QByteArray packet = packetBytes();
    for (auto _ : state)
        benchmark::DoNotOptimize(qUncompress(packet));
    state.SetItemsProcessed(state.iterations() * kBatch);
}

/* The i-th of a run of changes that flip the state of the batch's points, as
 * a field scan burst would (round makes each run's values differ from the
 * last's). */
DravoPartialData statusChange(int i, int round)
{
    static const std::vector<DravoData> points = statusBatch();
    const auto size = static_cast<int>(points.size());
    DravoPartialData change("STATUS", points[static_cast<std::size_t>(i % size)].GetDataName());
    change.PutValue("lastvalue", static_cast<std::int8_t>((i / size + round) % 2));
    return change;
}

} // namespace

bool mvbench::writeStatusChanges(int count, int round)
{
    for (int i = 0; i < count; ++i) {
        if (DravoPlus::PutPartialDataPoint(nullptr, statusChange(i, round), nullptr, nullptr) != DRAVO_OK)
            return false;
    }
    return true;
}

/* The same changes in calls of batch partials each, as a server task that
 * polls a whole remote unit writes them. */
bool mvbench::writeStatusChangeBatches(int count, int batch, int round, int first)
{
    bool written = batch > 0;
    std::vector<DravoPartialData> partials;
    for (int i = 0; written && i < count; i += batch) {
        partials.clear();
        for (int j = i; j < count && j < i + batch; ++j)
            partials.push_back(statusChange(first + j, round));
        written = DravoPlus::PutPartialDataPoints(partials, nullptr, nullptr) == DRAVO_OK;
    }
    return written;
}

namespace {

bool waitFor(const std::atomic<long>& counter, long target)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (counter.load() < target) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

void reportRate(benchmark::State& state)
{
    state.counters["changes/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kEndToEndChanges, benchmark::Counter::kIsRate);
}

void BM_EndToEndBaseline_RawBox(benchmark::State& state)
{
    mvbench::ensureEmbeddedPlant();
    const char* box = "mvbench-raw";
    DravoPlus::CreateEventBox(box, kRawChangeKind, 50000, nullptr, nullptr);
    unsigned int port = 0;
    DravoPlus::ConnectPortForRecv(box, port, nullptr, nullptr);
    std::atomic<long> received{0};
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop.load()) {
            DravoDataList list;
            if (DravoPlus::ReceiveUndefinedEventN(port, list, kBatch, 1, nullptr, nullptr) == DRAVO_OK)
                received += list.size();
        }
    });
    int round = 0;
    for (auto _ : state) {
        const long target = received.load() + kEndToEndChanges;
        const auto start = std::chrono::steady_clock::now();
        if (!mvbench::writeStatusChanges(kEndToEndChanges, round++))
            state.SkipWithError("a write failed");
        else if (!waitFor(received, target))
            state.SkipWithError("changes were lost");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    stop = true;
    reader.join();
    DravoPlus::DeleteEventBox(box, nullptr, nullptr);
    reportRate(state);
}

void BM_EndToEndChangeDistribution(benchmark::State& state)
{
    mvbench::ensureEmbeddedPlant();
    const mvbench::NewBoxes boxes;
    MorvaneChangeEvent server;
    server.setServerMode();
    server.init();
    MorvaneChangeEvent client;
    client.init();
    std::atomic<long> delivered{0};
    QObject::connect(&client, &MorvaneChangeEvent::statusChanged, &client,
                     [&delivered](const QList<DravoData>& changes) { delivered += changes.size(); },
                     Qt::DirectConnection);
    server.start();
    client.start();
    int round = 0;
    for (auto _ : state) {
        const long target = delivered.load() + kEndToEndChanges;
        const auto start = std::chrono::steady_clock::now();
        if (!mvbench::writeStatusChanges(kEndToEndChanges, round++))
            state.SkipWithError("a write failed");
        else if (!waitFor(delivered, target))
            state.SkipWithError("changes were lost");
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    server.shutDown();
    client.shutDown();
    reportRate(state);
}

const bool registered = [] {
    mvbench::pairWithBaseline("BM_PackStatusBatch", "BM_PackBaseline_qCompress",
                              "packing 500 status changes / compressing their body alone");
    mvbench::pairWithBaseline("BM_UnpackDispatchStatusBatch", "BM_UnpackBaseline_qUncompress",
                              "unpacking and dispatching 500 changes / decompressing alone");
    mvbench::pairWithBaseline("BM_EndToEndChangeDistribution", "BM_EndToEndBaseline_RawBox",
                              "20000 changes to an operator's signals / read raw from one box");
    return true;
}();

} // namespace

BENCHMARK(BM_PackBaseline_qCompress)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PackStatusBatch)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UnpackBaseline_qUncompress)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_UnpackDispatchStatusBatch)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EndToEndBaseline_RawBox)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EndToEndChangeDistribution)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

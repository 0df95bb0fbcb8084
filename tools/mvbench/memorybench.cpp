/*
 * memorybench.cpp: what a burst of changes costs in resident memory.
 *
 *   burst   100,000 changes written at once by a writer (status, analog and
 *           text points in the proportion 4:4:2); a server task packs them,
 *           and an idle operator application's receiver delivers every one
 *           through queued connections to a consumer on a thread of its own,
 *           as a GUI thread gets them (the consumer keeps the latest record
 *           of each point, as a display does).
 *
 * Before the burst every point changes once, so that the consumer holds the
 * latest record of each point when idle is measured, as a station that
 * shows the plant does; free memory that warm-up left is given back first.
 *
 * Counters, in MB of the process's resident memory (VmRSS): rss_idle_mb
 * before the burst, rss_peak_mb the highest sampled during it, rss_after_mb
 * once everything is delivered and has settled, rss_mb the peak above idle;
 * anon_idle_mb and anon_after_mb, the part of idle and after that is not
 * mapped from files (RssAnon: the code a first burst pages in is left out);
 * and changes, the number delivered, which must be the whole burst.
 *
 * What the figures are made of: heap_idle_mb and heap_after_mb, the bytes
 * the allocator has handed out and not got back (all arenas), before and
 * after; rss_trimmed_mb, the resident memory once the allocator has given
 * its free pages back to the system (malloc_trim), so that rss_after_mb
 * minus it is memory freed but kept by the allocator. Where the burst waits
 * at its worst: raw_queued_peak records in the server task's box,
 * packets_queued_peak packets in the application's box,
 * consumer_backlog_peak changes emitted to the consumer and not yet taken.
 *
 * Both event boxes hold the whole burst, so no change is dropped however far
 * the receivers fall behind. On the embedded server the server's boxes live
 * in this process and count too; with --servers=redis://... they live in
 * the Redis server.
 */
#include "benchcontext.h"

#include <MVShared/FreeMemory.h>
#include <MVShared/MorvaneChangeEvent.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QObject>
#include <QtCore/QThread>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr long kBurst = 100000;
/* How long everything still queued is given to drain before "after". */
constexpr auto kSettle = std::chrono::seconds(2);
constexpr auto kDeliveryLimit = std::chrono::seconds(300);
constexpr int kPacketKind = 0x98765;
constexpr int kRawChangeKind = 0x7E7F7C;

/* What the allocator has handed out and not got back, all arenas, in MB. */
double heapInUseMb()
{
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / (1024.0 * 1024.0);
}

/* The highest of each figure while the burst runs: resident memory (every
 * 5 ms), the records waiting in the server task's box and in the operator
 * application's box (every 50 ms), and the changes emitted to the consumer
 * that it has not yet taken (backlog(), every 5 ms). */
class BurstSampler
{
public:
    BurstSampler(const mvbench::NewBoxes& boxes, std::function<long()> backlog)
        : m_boxes(boxes)
        , m_backlog(std::move(backlog))
        , m_thread([this] { sample(); })
    {
    }
    ~BurstSampler() { stop(); }
    void stop()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }

    double peakMb = 0;
    long rawQueued = 0;
    long packetsQueued = 0;
    long consumerBacklog = 0;

private:
    void sample()
    {
        for (int round = 0; !m_stop.load(); ++round) {
            peakMb = std::max(peakMb, mvbench::residentMb());
            consumerBacklog = std::max(consumerBacklog, m_backlog());
            if (round % 10 == 0) {
                rawQueued = std::max(rawQueued, m_boxes.queued(kRawChangeKind));
                packetsQueued = std::max(packetsQueued, m_boxes.queued(kPacketKind));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    const mvbench::NewBoxes& m_boxes;
    std::function<long()> m_backlog;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

/* The points the burst writes, status, analog and text, by record name. */
struct BurstPoints {
    std::vector<std::string> status;
    std::vector<std::string> analog;
    std::vector<std::string> text;
};

BurstPoints burstPoints()
{
    mvbench::ensurePlant();
    BurstPoints points;
    const std::pair<const char*, std::vector<std::string>*> kinds[] = {
        {"STATUS", &points.status}, {"ANALOG", &points.analog}, {"TEXT", &points.text}};
    for (const auto& [type, names] : kinds) {
        DravoDataList all;
        DravoPlus::GetDataPointByTypeName(type, all, nullptr, nullptr);
        for (const DravoData& record : all)
            names->push_back(record.GetDataName());
    }
    return points;
}

/* The sequence-th change of the burst: four in ten status, four analog, two
 * text, each kind cycling through its points. */
bool writeChange(const BurstPoints& points, long sequence)
{
    const long slot = sequence % 10;
    const std::vector<std::string>& names = slot < 4 ? points.status : slot < 8 ? points.analog : points.text;
    const char* type = slot < 4 ? "STATUS" : slot < 8 ? "ANALOG" : "TEXT";
    DravoPartialData change(type, names[static_cast<std::size_t>(sequence / 10) % names.size()].c_str());
    const auto stamp = static_cast<std::uint32_t>(sequence);
    change.PutValue("changedTime", stamp);
    if (slot < 4) {
        change.PutValue("lastvalue", static_cast<std::int8_t>(stamp & 1));
    } else if (slot < 8) {
        change.PutValue("lastvalue", stamp * 0.25);
    } else {
        const std::string text = "burst text " + std::to_string(stamp);
        change.PutValue("lastvalue", text.data(), static_cast<int>(text.size()));
    }
    return DravoPlus::PutPartialDataPoint(nullptr, change, nullptr, nullptr) == DRAVO_OK;
}

/* The sequence-th change of the warm-up, which changes every point once:
 * first the status points, then the analog ones, then the text ones. */
bool writeFirstChange(const BurstPoints& points, long sequence)
{
    const auto status = static_cast<long>(points.status.size());
    const auto analog = static_cast<long>(points.analog.size());
    if (sequence < status)
        return writeChange(points, sequence * 10);
    if (sequence < status + analog)
        return writeChange(points, (sequence - status) * 10 + 4);
    return writeChange(points, (sequence - status - analog) * 10 + 8);
}

/* The application's side: a consumer object on a thread of its own, fed by
 * queued connections; it counts the changes of the list signals and keeps
 * the latest record of each point from the maps. What the receiver emits is
 * counted as well, on the receiving thread, so that the difference is what
 * waits in the consumer's event queue. */
class Consumer
{
public:
    explicit Consumer(MorvaneChangeEvent* receiver)
    {
        m_context.moveToThread(&m_thread);
        const auto queued = Qt::QueuedConnection;
        for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                            &MorvaneChangeEvent::textChanged}) {
            QObject::connect(receiver, signal, &m_context,
                             [this](const QList<DravoData>& changes) { delivered += changes.size(); }, queued);
            QObject::connect(receiver, signal, &m_context,
                             [this](const QList<DravoData>& changes) { emitted += changes.size(); },
                             Qt::DirectConnection);
        }
        for (auto signal : {&MorvaneChangeEvent::statusChangedMap, &MorvaneChangeEvent::analogChangedMap,
                            &MorvaneChangeEvent::textChangedMap}) {
            QObject::connect(receiver, signal, &m_context, [this](const mapEvent& changes) { keepLatest(changes); },
                             queued);
        }
        m_thread.start();
    }
    ~Consumer()
    {
        m_thread.quit();
        m_thread.wait();
    }

    std::atomic<long> emitted{0};
    std::atomic<long> delivered{0};

private:
    void keepLatest(const mapEvent& changes)
    {
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            m_latest[it.key()] = it.value();
    }

    QThread m_thread;
    QObject m_context;
    std::map<int, DravoData> m_latest;
};

void BM_Burst100kMemory(benchmark::State& state)
{
    const BurstPoints points = burstPoints();
    if (points.status.empty() || points.analog.empty() || points.text.empty()) {
        state.SkipWithError("the plant lacks status, analog or text points");
        return;
    }
    for (auto _ : state) {
        const mvbench::NewBoxes boxes;
        MorvaneChangeEvent server;
        server.setServerMode();
        server.setBoxCapacity(static_cast<int>(kBurst));
        server.init();
        MorvaneChangeEvent receiver;
        receiver.setBoxCapacity(static_cast<int>(kBurst));
        receiver.init();
        Consumer consumer(&receiver);
        server.start();
        receiver.start();
        std::this_thread::sleep_for(kSettle);
        /* A station shows every point before a burst comes: one change of
         * each point gives the consumer the records it keeps, so that idle
         * and after both hold them and the difference is what the burst
         * left behind. */
        const long warmUp = static_cast<long>(points.status.size() + points.analog.size() + points.text.size());
        long failed = 0;
        for (long sequence = 0; sequence < warmUp; ++sequence)
            failed += writeFirstChange(points, sequence) ? 0 : 1;
        const auto warmUpDeadline = std::chrono::steady_clock::now() + kDeliveryLimit;
        while (consumer.delivered.load() < warmUp && std::chrono::steady_clock::now() < warmUpDeadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(kSettle);
        Morvane::returnFreeMemory();
        consumer.delivered = 0;
        consumer.emitted = 0;

        const double idleMb = mvbench::residentMb();
        const double anonIdleMb = mvbench::residentMb("RssAnon");
        const double heapIdleMb = heapInUseMb();
        BurstSampler sampler(boxes, [&consumer] { return consumer.emitted.load() - consumer.delivered.load(); });
        const auto start = std::chrono::steady_clock::now();
        for (long sequence = 0; sequence < kBurst; ++sequence)
            failed += writeChange(points, sequence) ? 0 : 1;
        const auto deadline = start + kDeliveryLimit;
        while (consumer.delivered.load() < kBurst && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        std::this_thread::sleep_for(kSettle);
        sampler.stop();
        const double peakMb = std::max(sampler.peakMb, mvbench::residentMb());
        const double afterMb = mvbench::residentMb();
        const double anonAfterMb = mvbench::residentMb("RssAnon");
        const double heapAfterMb = heapInUseMb();
        Morvane::returnFreeMemory();
        const double trimmedMb = mvbench::residentMb();

        server.shutDown();
        receiver.shutDown();
        state.counters["rss_idle_mb"] = idleMb;
        state.counters["anon_idle_mb"] = anonIdleMb;
        state.counters["anon_after_mb"] = anonAfterMb;
        state.counters["rss_peak_mb"] = peakMb;
        state.counters["rss_after_mb"] = afterMb;
        state.counters["rss_mb"] = peakMb - idleMb;
        state.counters["heap_idle_mb"] = heapIdleMb;
        state.counters["heap_after_mb"] = heapAfterMb;
        state.counters["rss_trimmed_mb"] = trimmedMb;
        state.counters["raw_queued_peak"] = static_cast<double>(sampler.rawQueued);
        state.counters["packets_queued_peak"] = static_cast<double>(sampler.packetsQueued);
        state.counters["consumer_backlog_peak"] = static_cast<double>(sampler.consumerBacklog);
        state.counters["changes"] = static_cast<double>(consumer.delivered.load());
        if (failed > 0)
            state.SkipWithError("writes of the burst failed");
        else if (consumer.delivered.load() != kBurst)
            state.SkipWithError("not every change of the burst was delivered");
    }
}

} // namespace

BENCHMARK(BM_Burst100kMemory)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// endtoend_test.cpp: the road of point changes through the runtime server
// with the sample plant, on each backend (the embedded server, and a
// redis-server the test process starts): a writer publishes partial writes,
// one server task packs the raw changes, two operator applications receive
// the packets and hand the changes to the test thread through queued
// connections, as a GUI thread gets them.
//
// Pacing: event boxes hold 50000 records and drop the oldest beyond that, so
// the writer, which is faster than the receivers on a small machine, keeps at
// most kMaxInFlight changes written but not yet delivered to the slower
// application. No change may be lost that way, and the test checks that no
// box dropped any.
#include "changeeventfixture.h"

#include <atomic>
#include <cstdio>
#include <map>
#include <thread>

namespace changeeventtest {
namespace {

constexpr long kMaxInFlight = 10000;
constexpr std::chrono::milliseconds kDeliveryLimit = 55s;
// Through a Redis server every change crosses process boundaries four times
// (write, concentrator, two applications): allowed more on a busy machine.
constexpr std::chrono::milliseconds kRedisDeliveryLimit = 150s;

// Where the writer's changes go: status, analog and text points of the plant
// in the proportion 4:4:2.
struct PointSpread {
    const char* type;
    int firstId;
    int count;
};
constexpr PointSpread kStatusPoints{"STATUS", 100001, 200};
constexpr PointSpread kAnalogPoints{"ANALOG", 200001, 200};
constexpr PointSpread kTextPoints{"TEXT", 3000001, 50};

const PointSpread& spreadFor(long sequence)
{
    const long slot = sequence % 10;
    return slot < 4 ? kStatusPoints : slot < 8 ? kAnalogPoints : kTextPoints;
}

std::string textValue(std::uint32_t sequence)
{
    return "text value " + std::to_string(sequence);
}

// What one operator application received on the test thread.
class ApplicationSide
{
public:
    explicit ApplicationSide(MorvaneChangeEvent* receiver)
    {
        const auto queued = Qt::QueuedConnection;
        for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                            &MorvaneChangeEvent::textChanged}) {
            QObject::connect(receiver, signal, &m_context, [this](const QList<DravoData>& l) { count(l); }, queued);
        }
        for (auto signal : {&MorvaneChangeEvent::statusChangedMap, &MorvaneChangeEvent::analogChangedMap,
                            &MorvaneChangeEvent::textChangedMap}) {
            QObject::connect(receiver, signal, &m_context, [this](const mapEvent& m) { keepLatest(m); }, queued);
        }
        QObject::connect(receiver, &MorvaneChangeEvent::dataChanged, &m_context,
                         [this](const QList<DravoData>& l) { checkData(l); }, queued);
    }

    void reset()
    {
        changesById.clear();
        latestById.clear();
        delivered.store(0);
    }

    std::map<int, long> changesById;
    std::map<int, DravoData> latestById;
    std::atomic<long> delivered{0};
    long analogInData = 0;
    long wrongThread = 0;

private:
    void count(const QList<DravoData>& changes)
    {
        noteThread();
        for (const DravoData& change : changes)
            ++changesById[change.GetSignedIntValue("pid")];
        delivered.fetch_add(changes.size());
    }
    void keepLatest(const mapEvent& changes)
    {
        noteThread();
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            latestById[it.key()] = it.value();
    }
    void checkData(const QList<DravoData>& changes)
    {
        for (const DravoData& change : changes)
            analogInData += std::string(change.GetTypeName()) == "CHANGED_ANALOG" ? 1 : 0;
    }
    void noteThread()
    {
        if (QThread::currentThread() != m_context.thread())
            ++wrongThread;
    }

    QObject m_context;
};

// Writes publishing partial changes from its own thread, keeping what it
// wrote: the count and the last sequence number of each point.
class ChangeWriter
{
public:
    explicit ChangeWriter(std::vector<ApplicationSide*> applications)
        : m_applications(std::move(applications))
    {
    }
    ~ChangeWriter() { finish(); }

    void start(long first, long count)
    {
        m_thread = std::thread([this, first, count] { write(first, count); });
    }
    void finish()
    {
        m_abort.store(true);
        if (m_thread.joinable())
            m_thread.join();
    }
    std::map<int, long> written;
    std::map<int, std::uint32_t> lastSequence;
    std::atomic<long> failures{0};

private:
    void write(long first, long count)
    {
        for (long sequence = first; sequence < first + count && !m_abort.load(); ++sequence) {
            paceToSlowestApplication();
            const PointSpread& spread = spreadFor(sequence);
            const int id = spread.firstId + static_cast<int>((sequence / 10) % spread.count);
            const auto stamp = static_cast<std::uint32_t>(sequence);
            const std::string name = spread.type + std::to_string(id);
            if (DravoPlus::PutPartialDataPoint(name.c_str(), partialFor(spread, stamp), nullptr, nullptr) != DRAVO_OK) {
                ++failures;
                continue;
            }
            ++written[id];
            lastSequence[id] = stamp;
            m_written.fetch_add(1);
        }
    }

    static DravoPartialData partialFor(const PointSpread& spread, std::uint32_t stamp)
    {
        DravoPartialData partial(spread.type);
        partial.PutValue("changedTime", stamp);
        if (&spread == &kStatusPoints) {
            partial.PutValue("lastvalue", static_cast<std::int8_t>(stamp & 1));
        } else if (&spread == &kAnalogPoints) {
            partial.PutValue("lastvalue", stamp * 0.25);
        } else {
            const std::string text = textValue(stamp);
            partial.PutValue("lastvalue", text.data(), static_cast<int>(text.size()));
        }
        return partial;
    }

    void paceToSlowestApplication()
    {
        while (!m_abort.load() && m_written.load() - slowestDelivery() > kMaxInFlight)
            std::this_thread::sleep_for(1ms);
    }

    long slowestDelivery() const
    {
        long slowest = m_written.load();
        for (const ApplicationSide* application : m_applications)
            slowest = std::min(slowest, application->delivered.load());
        return slowest;
    }

    std::vector<ApplicationSide*> m_applications;
    std::thread m_thread;
    std::atomic<bool> m_abort{false};
    std::atomic<long> m_written{0};
};

class EndToEndTest : public BackendChangeEventTest
{
protected:
    // One server task and two operator applications, boxes made, running.
    void startReceivers()
    {
        m_server = newReceiver(true);
        m_clients = {newReceiver(), newReceiver()};
        for (MorvaneChangeEvent* client : m_clients)
            m_applications.push_back(std::make_unique<ApplicationSide>(client));
        for (MorvaneChangeEvent* receiver : {m_server, m_clients[0], m_clients[1]}) {
            receiver->init();
            receiver->start();
        }
    }

    std::vector<ApplicationSide*> applications() const
    {
        std::vector<ApplicationSide*> all;
        for (const auto& application : m_applications)
            all.push_back(application.get());
        return all;
    }

    bool waitForDelivery(long expected)
    {
        return waitUntil(
            [this, expected] {
                for (const auto& application : m_applications) {
                    if (application->delivered.load() < expected)
                        return false;
                }
                return true;
            },
            onRedis() ? kRedisDeliveryLimit : kDeliveryLimit);
    }

    // Every change written reached each application once, and the maps hold
    // the last value written to each point.
    void expectEverythingDelivered(const ChangeWriter& writer)
    {
        for (const auto& application : m_applications) {
            settle(50ms);   // anything still queued would show as a surplus
            EXPECT_EQ(application->changesById, writer.written);
            EXPECT_EQ(application->analogInData, 0) << "analog changes stay out of dataChanged";
            EXPECT_EQ(application->wrongThread, 0) << "queued signals arrive on the test thread";
            long wrongLatest = 0;
            for (const auto& [id, stamp] : writer.lastSequence) {
                const auto latest = application->latestById.find(id);
                if (latest == application->latestById.end() || !holdsValue(latest->second, id, stamp))
                    ++wrongLatest;
            }
            EXPECT_EQ(wrongLatest, 0) << "points whose map record is not the last value written";
        }
    }

    static bool holdsValue(const DravoData& change, int id, std::uint32_t stamp)
    {
        if (change.GetUnSignedIntValue("changedTime") != stamp)
            return false;
        if (id >= kTextPoints.firstId) {
            std::string text;
            change.GetValue("lastvalue", text);
            return text.compare(0, textValue(stamp).size(), textValue(stamp)) == 0;
        }
        if (id >= kAnalogPoints.firstId)
            return change.GetDoubleValue("lastvalue") == stamp * 0.25;
        return change.GetSignedIntValue("lastvalue") == static_cast<int>(stamp & 1);
    }

    static void expectNoBoxDropped()
    {
        for (int kind : {kRawChangeKind, kPacketKind}) {
            for (const DravoEventBoxInfo& box : boxesOfKind(kind))
                EXPECT_EQ(box.dropped, 0u) << box.name;
        }
    }

    // Stops all three the way an application does; how long it took.
    std::chrono::milliseconds shutDownAll()
    {
        const auto asked = Clock::now();
        for (MorvaneChangeEvent* receiver : {m_server, m_clients[0], m_clients[1]})
            receiver->prepareShutDown();
        for (MorvaneChangeEvent* receiver : {m_server, m_clients[0], m_clients[1]})
            receiver->shutDown();
        return elapsedSince(asked);
    }

    static void report(const char* what, std::chrono::milliseconds took)
    {
        std::printf("[ timing   ] %s: %lld ms\n", what, static_cast<long long>(took.count()));
        ::testing::Test::RecordProperty(what, static_cast<int>(took.count()));
    }

    MorvaneChangeEvent* m_server = nullptr;
    std::vector<MorvaneChangeEvent*> m_clients;
    std::vector<std::unique_ptr<ApplicationSide>> m_applications;
};

TEST_P(EndToEndTest, HundredThousandChangesReachEveryOperatorApplication)
{
    constexpr long kChanges = 100000;
    startReceivers();
    ChangeWriter writer(applications());
    const auto started = Clock::now();
    writer.start(0, kChanges);
    const bool delivered = waitForDelivery(kChanges);
    writer.finish();
    report("delivery_ms", elapsedSince(started));
    ASSERT_TRUE(delivered) << "delivered " << m_applications[0]->delivered.load() << " and "
                           << m_applications[1]->delivered.load() << " of " << kChanges;

    EXPECT_EQ(writer.failures.load(), 0);
    expectEverythingDelivered(writer);
    expectNoBoxDropped();

    const auto took = shutDownAll();
    report("shutdown_ms", took);
    EXPECT_LE(took, kReceiveWait + kRetryPause + kSlack);
}

TEST_P(EndToEndTest, ServerOutageIsSurvivedAndLaterChangesAllArrive)
{
    if (onRedis())
        GTEST_SKIP() << "only the embedded server can be taken down from inside the process";
    constexpr long kChangesPerPhase = 10000;
    startReceivers();
    ChangeWriter before(applications());
    before.start(0, kChangesPerPhase);
    ASSERT_TRUE(waitForDelivery(kChangesPerPhase));
    before.finish();
    expectEverythingDelivered(before);

    // The outage: every box goes with the server; writes fail meanwhile.
    startRecording();
    ASSERT_EQ(DravoPlus::SetEmbeddedServerOnline(false), DRAVO_OK);
    DravoPartialData partial("ANALOG");
    partial.PutValue("lastvalue", 1.5);
    EXPECT_EQ(DravoPlus::PutPartialDataPoint("ANALOG200001", partial, nullptr, nullptr), DRAVO_NOT_CONNECTED);
    settle(1500ms);
    CallLog outage;
    outage.collect();
    const auto backAt = Clock::now();
    ASSERT_EQ(DravoPlus::SetEmbeddedServerOnline(true), DRAVO_OK);

    // Each loop tries again once a second and makes its box anew.
    const auto boxesBack = [] {
        return boxesOfKind(kRawChangeKind).size() == 1 && boxesOfKind(kPacketKind).size() == 2;
    };
    ASSERT_TRUE(waitUntil(boxesBack, 5s));
    report("boxes_back_ms", elapsedSince(backAt));
    DravoPlus::SetCallRecording(false);
    std::map<std::string, int> attempts;
    for (const DravoRecordedCall& call : outage.of("ConnectPortForRecv")) {
        EXPECT_EQ(call.result, DRAVO_NOT_CONNECTED);
        ++attempts[argText(call, 0)];
    }
    EXPECT_EQ(attempts.size(), 3u) << "every receiver kept trying";
    for (const auto& [box, count] : attempts)
        EXPECT_LE(count, 3) << box << " was asked more than once a second";

    for (const auto& application : m_applications)
        application->reset();
    ChangeWriter after(applications());
    after.start(kChangesPerPhase, kChangesPerPhase);
    const bool delivered = waitForDelivery(kChangesPerPhase);
    after.finish();
    ASSERT_TRUE(delivered) << "delivered " << m_applications[0]->delivered.load() << " and "
                           << m_applications[1]->delivered.load() << " of " << kChangesPerPhase;
    EXPECT_EQ(after.failures.load(), 0);
    expectEverythingDelivered(after);
    expectNoBoxDropped();

    const auto took = shutDownAll();
    report("shutdown_ms", took);
    EXPECT_LE(took, kReceiveWait + kRetryPause + kSlack);
}

INSTANTIATE_TEST_SUITE_P(Backends, EndToEndTest, ::testing::Values(std::string("embedded"), std::string("redis")),
                         backendTestName);

} // namespace
} // namespace changeeventtest

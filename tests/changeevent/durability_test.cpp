// durability_test.cpp: a runtime server that keeps its data on disk loses no
// change whose write it acknowledged when it goes away for a while. The
// server (Redis with an append-only file written through on every write)
// crashes and comes back, or refuses every login for a while, in the middle
// of a stream of point writes; every acknowledged change still reaches the
// server task that packs it and every operator application, and the
// receivers' boxes outlive the fault.
#include "changeeventfixture.h"

#include "redisserver.h"

#include <QtCore/QObject>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace changeeventtest {
namespace {

const std::vector<int> kPoints{100001, 100002, 100003, 100004, 100005};
// The stream: this many acknowledged writes, the fault after the first
// kFaultAfter of them, lasting kFaultLength.
constexpr std::size_t kChanges = 5000;
constexpr std::size_t kFaultAfter = 2000;
constexpr auto kFaultLength = 11s;
// Time for every change to arrive once the stream has ended.
constexpr auto kDrainPatience = 60s;

const char kFirstPassword[] = "first-secret";
const char kSecondPassword[] = "second-secret";

// The changedTime stamps a receiver has seen, and how often it was told of
// a loss of each kind.
class Seen
{
public:
    void add(const QList<DravoData>& changes)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const DravoData& change : changes)
            m_stamps.insert(change.GetUnSignedIntValue("changedTime"));
    }
    void lost(MorvaneChangeEvent::LossReason reason)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_losses[reason];
    }
    std::set<std::uint32_t> stamps() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_stamps;
    }
    int losses(MorvaneChangeEvent::LossReason reason) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_losses.find(reason);
        return it == m_losses.end() ? 0 : it->second;
    }
    bool holdsAll(const std::vector<std::uint32_t>& stamps) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (std::uint32_t stamp : stamps)
            if (m_stamps.count(stamp) == 0)
                return false;
        return true;
    }

private:
    mutable std::mutex m_mutex;
    std::set<std::uint32_t> m_stamps;
    std::map<MorvaneChangeEvent::LossReason, int> m_losses;
};

// Another process on the same server: a client of its own, connected on
// making and gone (with a farewell) on destruction.
class OtherProcess
{
public:
    OtherProcess() : m_client(DravoPlus::NewClient()) { connected(); }
    ~OtherProcess()
    {
        act([] { return DravoPlus::DisConnectMid(nullptr); });
        DravoPlus::FreeClient(m_client);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // Connects unless connected (a server reading its data back after a
    // restart turns clients away for a moment); whether it is.
    bool connected() const
    {
        return act([] {
            return DravoPlus::IsConnect(nullptr) == DRAVO_OK ? DRAVO_OK : DravoPlus::ConnectMid(nullptr);
        }) == DRAVO_OK;
    }
    // Runs fn on the calling thread as this process.
    int act(const std::function<int()>& fn) const
    {
        DravoPlus::UseClient(m_client);
        const int rc = fn();
        DravoPlus::UseClient(nullptr);
        return rc;
    }

private:
    DravoClient* m_client;
};

// The field's writer, a process of its own: writes the status points one
// after another, each write a new changedTime stamp, until kChanges writes
// were acknowledged; a refused write is tried again with the next stamp.
// Every stamp tried and every stamp acknowledged are kept.
class Writer
{
public:
    void start()
    {
        m_thread = std::thread([this] {
            const OtherProcess process;
            process.act([this] {
                run();
                return DRAVO_OK;
            });
        });
    }
    ~Writer() { finish(); }
    void finish()
    {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    std::size_t acknowledgedCount() const { return m_count.load(); }
    bool done() const { return m_done.load(); }
    std::vector<std::uint32_t> acknowledged() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_acknowledged;
    }
    std::uint32_t lastTried() const { return m_lastTried.load(); }

private:
    void run()
    {
        for (std::uint32_t stamp = 1; !m_stop && m_count < kChanges; ++stamp) {
            const int id = kPoints[stamp % kPoints.size()];
            DravoPartialData partial("STATUS");
            partial.PutValue("changedTime", stamp);
            m_lastTried = stamp;
            const int rc =
                DravoPlus::PutPartialDataPoint(("STATUS" + std::to_string(id)).c_str(), partial, nullptr, nullptr);
            if (rc == DRAVO_OK) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_acknowledged.push_back(stamp);
                ++m_count;
                std::this_thread::sleep_for(1ms);
            } else {
                std::this_thread::sleep_for(20ms);
            }
        }
        m_done = true;
    }

    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_done{false};
    std::atomic<std::size_t> m_count{0};
    std::atomic<std::uint32_t> m_lastTried{0};
    mutable std::mutex m_mutex;
    std::vector<std::uint32_t> m_acknowledged;
};

class DurabilityRedisTest : public ChangeEventTest
{
protected:
    void SetUp() override
    {
        mvtest::RedisServerOptions options;
        options.durable = true;
        options.password = kFirstPassword;
        m_server = std::make_unique<mvtest::RedisServer>(options);
        ASSERT_TRUE(m_server->isRunning()) << m_server->error();
        ASSERT_EQ(useServer("redis://:" + std::string(kFirstPassword) + "@127.0.0.1:" + std::to_string(m_server->port())),
                  DRAVO_OK);
        ChangeEventTest::SetUp();
        // The product's own waits: its boxes' grace period and its leases
        // as they are in a plant, not shortened for a test.
        DravoPlus::SetWaitScale(1.0);
        loadPlant();
    }

    void TearDown() override
    {
        ChangeEventTest::TearDown();
        DravoPlus::DisConnectMid(nullptr);
        m_server.reset();
    }

    // A server task packing the raw changes and two operator applications,
    // started and each with its box before the stream begins.
    void startReceivers()
    {
        ProbedChangeEvent* task = newReceiver(true);
        task->connectStatus([this](const QList<DravoData>& changes) { m_packed.add(changes); });
        follow(task, m_packed);
        for (Seen* application : {&m_first, &m_second}) {
            ProbedChangeEvent* receiver = newReceiver();
            QObject::connect(
                receiver, &MorvaneChangeEvent::statusChanged, &m_context,
                [application](const QList<DravoData>& changes) { application->add(changes); }, Qt::DirectConnection);
            follow(receiver, *application);
        }
        for (ProbedChangeEvent* receiver : m_started) {
            receiver->init();
            receiver->start();
        }
        ASSERT_TRUE(waitUntil([] {
            std::vector<DravoEventBoxInfo> boxes;
            return DravoPlus::ListEventBoxes(boxes, nullptr) == DRAVO_OK && boxes.size() >= 3;
        }));
    }

    // Streams the writes with fault() in the middle, then checks that every
    // acknowledged change reached every receiver.
    void streamThrough(const std::function<void()>& fault)
    {
        ASSERT_NO_FATAL_FAILURE(startReceivers());
        Writer writer;
        writer.start();
        ASSERT_TRUE(waitUntil([&] { return writer.acknowledgedCount() >= kFaultAfter; }, 60s));
        // The fault comes in the middle of the stream: writes, takes and
        // sends are under way as the server goes.
        fault();
        // A process that starts as the server comes back (a console, say)
        // clears away the boxes of clients it takes for dead: the
        // receivers' must not be among them.
        const OtherProcess newcomer;
        EXPECT_TRUE(waitUntil([&] { return newcomer.connected(); }, 20s)) << "the newcomer never got in";
        ASSERT_TRUE(waitUntil([&] { return writer.done(); }, 120s))
            << "acknowledged " << writer.acknowledgedCount() << " of " << kChanges;
        writer.finish();
        const std::vector<std::uint32_t> acknowledged = writer.acknowledged();
        ASSERT_EQ(acknowledged.size(), kChanges);

        for (const auto& [who, seen] : std::vector<std::pair<const char*, Seen*>>{
                 {"server task", &m_packed}, {"first application", &m_first}, {"second application", &m_second}}) {
            SCOPED_TRACE(who);
            EXPECT_TRUE(waitUntil([&] { return seen->holdsAll(acknowledged); }, kDrainPatience));
            const std::set<std::uint32_t> stamps = seen->stamps();
            std::size_t missing = 0;
            for (std::uint32_t stamp : acknowledged)
                missing += stamps.count(stamp) == 0 ? 1 : 0;
            EXPECT_EQ(missing, 0u) << "acknowledged changes that never arrived";
            ASSERT_FALSE(stamps.empty());
            EXPECT_LE(*stamps.rbegin(), writer.lastTried()) << "a change nobody wrote";
            EXPECT_EQ(seen->losses(MorvaneChangeEvent::BoxRecreated), 0) << "the box outlived the fault";
            EXPECT_EQ(seen->losses(MorvaneChangeEvent::BoxDamaged), 0);
        }
        // What the task packed is what the applications received: a change
        // that landed though its write was not acknowledged travels too.
        settle(500ms);
        EXPECT_EQ(m_first.stamps(), m_packed.stamps());
        EXPECT_EQ(m_second.stamps(), m_packed.stamps());
    }

    std::unique_ptr<mvtest::RedisServer> m_server;
    Seen m_packed;
    Seen m_first;
    Seen m_second;

private:
    void follow(ProbedChangeEvent* receiver, Seen& seen)
    {
        QObject::connect(
            receiver, &MorvaneChangeEvent::changesLost, &m_context,
            [&seen](int, MorvaneChangeEvent::LossReason reason) { seen.lost(reason); }, Qt::DirectConnection);
        m_started.push_back(receiver);
    }

    QObject m_context;
    std::vector<ProbedChangeEvent*> m_started;
};

TEST_F(DurabilityRedisTest, CrashAndRestartFromTheAppendOnlyFileLosesNoAcknowledgedChange)
{
    streamThrough([&] {
        m_server->kill();
        std::this_thread::sleep_for(kFaultLength);
        ASSERT_TRUE(m_server->restart()) << m_server->error();
    });
    EXPECT_GE(m_packed.losses(MorvaneChangeEvent::ConnectionLost), 1) << "the crash was announced";
}

TEST_F(DurabilityRedisTest, LoginsRefusedForAWhileLoseNoAcknowledgedChange)
{
    streamThrough([&] {
        // The password is changed and every client thrown out: none can
        // log in again until it is changed back.
        const std::string thrownOut = m_server->commands(
            {{"CONFIG", "SET", "requirepass", kSecondPassword}, {"CLIENT", "KILL", "TYPE", "normal", "SKIPME", "yes"}});
        ASSERT_NE(thrownOut, "") << "the server did not take the new password";
        std::this_thread::sleep_for(kFaultLength);
        ASSERT_EQ(m_server->commands({{"AUTH", kSecondPassword}, {"CONFIG", "SET", "requirepass", kFirstPassword}}),
                  "OK");
    });
}

} // namespace
} // namespace changeeventtest

// changeloss_test.cpp: a receiver never misses changes silently. Its box
// overflowing, its box being made again after an outage and its connection
// dropping are announced through changesLost, with the count the middleware
// gives; with resync on, the receiver then delivers the database's current
// records of the points it has delivered, so that the application's maps end
// equal to the point database. On the embedded server and on Redis.
#include "changeeventfixture.h"

#include "redisserver.h"

#include <QtCore/QObject>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

namespace changeeventtest {
namespace {

// The status points the packets of these tests speak of.
const std::vector<int> kPoints{100001, 100002, 100003, 100004, 100005};

// What a receiver announced through changesLost, in order.
class LossLog
{
public:
    explicit LossLog(MorvaneChangeEvent* receiver)
    {
        QObject::connect(
            receiver, &MorvaneChangeEvent::changesLost, &m_context,
            [this](int count, MorvaneChangeEvent::LossReason reason) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_losses.emplace_back(count, reason);
            },
            Qt::DirectConnection);
    }

    // The counts announced for a reason, summed; the number of announcements.
    int total(MorvaneChangeEvent::LossReason reason) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        int sum = 0;
        for (const auto& [count, why] : m_losses)
            sum += why == reason ? count : 0;
        return sum;
    }
    int times(MorvaneChangeEvent::LossReason reason) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        int n = 0;
        for (const auto& loss : m_losses)
            n += loss.second == reason ? 1 : 0;
        return n;
    }

private:
    QObject m_context;
    mutable std::mutex m_mutex;
    std::vector<std::pair<int, MorvaneChangeEvent::LossReason>> m_losses;
};

// Holds the receiving thread inside its first status delivery until
// released, and keeps the latest status change of each point it delivers.
class StatusSide
{
public:
    explicit StatusSide(MorvaneChangeEvent* receiver)
    {
        QObject::connect(
            receiver, &MorvaneChangeEvent::statusChangedMap, &m_context,
            [this](const mapEvent& changes) { deliver(changes); }, Qt::DirectConnection);
    }
    ~StatusSide() { release(); }

    void holdFirstDelivery() { m_hold = true; }
    bool waitUntilHeld() { return waitUntil([this] { return m_held.load(); }); }
    void release()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hold = false;
        m_released.notify_all();
    }
    // The latest change of the point as raw bytes ("" before any).
    std::string latest(int id) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_latest.find(id);
        return it == m_latest.end() ? std::string() : it->second;
    }

private:
    void deliver(const mapEvent& changes)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            m_latest[it.key()] = rawBytes(it.value());
        m_held = m_hold;
        m_released.wait_for(lock, kPatience, [this] { return !m_hold; });
    }

    QObject m_context;
    mutable std::mutex m_mutex;
    std::condition_variable m_released;
    bool m_hold = false;
    std::atomic<bool> m_held{false};
    std::map<int, std::string> m_latest;
};

// Runs its action when it goes out of scope. Declared after a test's own
// listeners with an action that destroys the receivers, it stops the
// receiving threads before those listeners go away, whichever way the test
// ends.
class StopFirst
{
public:
    explicit StopFirst(std::function<void()> action) : m_action(std::move(action)) {}
    ~StopFirst() { m_action(); }
    StopFirst(const StopFirst&) = delete;
    StopFirst& operator=(const StopFirst&) = delete;

private:
    std::function<void()> m_action;
};

// A packet of status changes of kPoints whose bytes differ from the
// database's (and from one seed to the next).
DravoData statusPacket(unsigned seed)
{
    QList<QByteArray> items;
    for (int id : kPoints)
        items.append(packetItem(0, patternedChange("CHANGED_STATUS", id, seed + static_cast<unsigned>(id))));
    return packetOf(items);
}

void sendPacket(const DravoData& packet)
{
    DravoData copy = packet;
    DravoData* records[] = {&copy};
    ASSERT_EQ(DravoPlus::SendEventN(kPacketKind, records, 1, 1, nullptr, nullptr), DRAVO_OK);
}

// The changed-event form of the point's record in the database now.
std::string databaseImage(MorvaneChangeEvent* receiver, int id)
{
    DravoData record;
    if (DravoPlus::GetDataPoint(("STATUS" + std::to_string(id)).c_str(), record, nullptr, nullptr) != DRAVO_OK)
        return "(no record)";
    DravoData change;
    receiver->makeItToChangedEvent(&record, change);
    return rawBytes(change);
}

bool showsDatabase(MorvaneChangeEvent* receiver, const StatusSide& side, const std::vector<int>& points = kPoints)
{
    for (int id : points)
        if (side.latest(id) != databaseImage(receiver, id))
            return false;
    return true;
}

// A client-mode receiver with resync on, with its listeners.
class HealingReceiver
{
public:
    explicit HealingReceiver(ProbedChangeEvent* receiver) : m_receiver(receiver), losses(receiver), side(receiver)
    {
        receiver->setResyncOnLoss(true);
    }

    // Starts the receiver and has it deliver a packet whose values differ
    // from the database's.
    void startShowingAStalePacket()
    {
        m_receiver->init();
        m_receiver->start();
        sendPacket(statusPacket(7));
        ASSERT_TRUE(waitUntil([&] { return !side.latest(kPoints.back()).empty(); }));
        ASSERT_FALSE(showsDatabase(m_receiver, side)) << "the packet's values differ from the database";
    }

private:
    ProbedChangeEvent* m_receiver;

public:
    LossLog losses;
    StatusSide side;
};

class ChangeLossTest : public BackendChangeEventTest
{
protected:
    // A client-mode receiver with a box of two packets, held in its first
    // delivery while ten more packets arrive: eight are dropped.
    void overflowTheBox(MorvaneChangeEvent* receiver, StatusSide& side)
    {
        receiver->setBoxCapacity(2);
        side.holdFirstDelivery();
        receiver->init();
        receiver->start();
        sendPacket(statusPacket(1));
        ASSERT_TRUE(side.waitUntilHeld());
        for (unsigned seed = 2; seed <= 11; ++seed)
            sendPacket(statusPacket(seed * 100));
        side.release();
    }
};

TEST_P(ChangeLossTest, OverflowIsAnnouncedWithTheNumberOfPacketsDropped)
{
    ProbedChangeEvent* receiver = newReceiver();
    LossLog losses(receiver);
    StatusSide side(receiver);
    const StopFirst stop([&] { destroyReceiver(receiver); });
    startRecording();
    overflowTheBox(receiver, side);

    EXPECT_TRUE(waitUntil([&] { return losses.total(MorvaneChangeEvent::BoxOverflow) >= 8; }))
        << "announced " << losses.total(MorvaneChangeEvent::BoxOverflow);
    settle(200ms);
    EXPECT_EQ(losses.total(MorvaneChangeEvent::BoxOverflow), 8);
    EXPECT_EQ(receiver->boxCapacity(), 2);
    const std::vector<DravoEventBoxInfo> boxes = boxesOfKind(kPacketKind);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].capacity, 2);
    EXPECT_EQ(boxes[0].dropped, 8u);

    CallLog log;
    log.collect();
    EXPECT_EQ(log.count("GetDataPointN"), 0) << "without resync nothing is read back";
}

TEST_P(ChangeLossTest, ResyncAfterOverflowLeavesTheDatabaseImageInTheMaps)
{
    ProbedChangeEvent* receiver = newReceiver();
    receiver->setResyncOnLoss(true);
    EXPECT_TRUE(receiver->resyncOnLoss());
    LossLog losses(receiver);
    StatusSide side(receiver);
    const StopFirst stop([&] { destroyReceiver(receiver); });
    overflowTheBox(receiver, side);

    EXPECT_TRUE(waitUntil([&] { return losses.total(MorvaneChangeEvent::BoxOverflow) >= 8; }));
    EXPECT_TRUE(waitUntil([&] { return showsDatabase(receiver, side); }))
        << "every delivered point's map record is the database's";
    for (int id : kPoints)
        EXPECT_EQ(side.latest(id), databaseImage(receiver, id)) << id;
}

TEST_P(ChangeLossTest, ReceiverNobodyAsksAboutLossesInstallsNoListener)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    receiver->start();
    CallLog log;
    ASSERT_TRUE(log.collectUntil([](const CallLog& l) { return l.count("ReceiveEventN") > 2; }));
    EXPECT_EQ(log.count("InstallListener"), 0);

    ProbedChangeEvent* watched = newReceiver();
    LossLog losses(watched);
    const StopFirst stop([&] { destroyReceiver(watched); });
    watched->start();
    EXPECT_TRUE(log.collectUntil([](const CallLog& l) { return l.count("InstallListener") == 1; }));
}

TEST_P(ChangeLossTest, OutageIsAnnouncedAndHealedByAnImageOfTheDatabase)
{
    if (onRedis())
        GTEST_SKIP() << "only the embedded server can be taken down from inside the process";
    ProbedChangeEvent* receiver = newReceiver();
    HealingReceiver healing(receiver);
    LossLog& losses = healing.losses;
    StatusSide& side = healing.side;
    const StopFirst stop([&] { destroyReceiver(receiver); });
    ASSERT_NO_FATAL_FAILURE(healing.startShowingAStalePacket());

    ASSERT_EQ(DravoPlus::SetEmbeddedServerOnline(false), DRAVO_OK);
    EXPECT_TRUE(waitUntil([&] { return losses.times(MorvaneChangeEvent::ConnectionLost) >= 1; }));
    ASSERT_EQ(DravoPlus::SetEmbeddedServerOnline(true), DRAVO_OK);
    // Written while the receiver has no box yet: its change reaches nobody.
    DravoPartialData partial("STATUS");
    partial.PutValue("changedTime", 424242u);
    ASSERT_EQ(DravoPlus::PutPartialDataPoint("STATUS100003", partial, nullptr, nullptr), DRAVO_OK);

    EXPECT_TRUE(waitUntil([&] { return losses.times(MorvaneChangeEvent::BoxRecreated) >= 1; }));
    EXPECT_EQ(losses.total(MorvaneChangeEvent::ConnectionLost), -losses.times(MorvaneChangeEvent::ConnectionLost))
        << "a dropped connection cannot say how much it lost";
    EXPECT_EQ(losses.times(MorvaneChangeEvent::ServerChanged), 0) << "the same server came back";
    EXPECT_TRUE(waitUntil([&] { return showsDatabase(receiver, side); }));
    DravoData change;
    DravoData record;
    ASSERT_EQ(DravoPlus::GetDataPoint("STATUS100003", record, nullptr, nullptr), DRAVO_OK);
    receiver->makeItToChangedEvent(&record, change);
    EXPECT_EQ(side.latest(100003), rawBytes(change));
    EXPECT_EQ(record.GetUnSignedIntValue("changedTime"), 424242u);
}

TEST_P(ChangeLossTest, ServerTaskThatOverflowedPublishesAnImageToOperatorApplications)
{
    // The server task's box holds two raw changes; it is held in its first
    // batch while the points are written again and again.
    ProbedChangeEvent* task = newReceiver(true);
    task->setBoxCapacity(2);
    task->setResyncOnLoss(true);
    LossLog losses(task);
    // Shared with the slot, which the task may still call after this body.
    struct Gate {
        std::mutex mutex;
        std::condition_variable released;
        bool hold = true;
        std::atomic<bool> held{false};
    };
    const auto gate = std::make_shared<Gate>();
    task->connectStatus([gate](const QList<DravoData>&) {
        std::unique_lock<std::mutex> lock(gate->mutex);
        gate->held = gate->hold;
        gate->released.wait_for(lock, kPatience, [&] { return !gate->hold; });
    });
    ProbedChangeEvent* application = newReceiver();
    StatusSide side(application);
    const StopFirst stop([&] {
        destroyReceiver(task);
        destroyReceiver(application);
    });
    for (MorvaneChangeEvent* receiver : std::vector<MorvaneChangeEvent*>{task, application}) {
        receiver->init();
        receiver->start();
    }

    const auto write = [](int id, std::uint32_t stamp) {
        DravoPartialData partial("STATUS");
        partial.PutValue("changedTime", stamp);
        return DravoPlus::PutPartialDataPoint(("STATUS" + std::to_string(id)).c_str(), partial, nullptr, nullptr);
    };
    ASSERT_EQ(write(kPoints.front(), 1), DRAVO_OK);
    ASSERT_TRUE(waitUntil([&] { return gate->held.load(); }));
    for (std::uint32_t round = 2; round <= 5; ++round)
        for (int id : kPoints)
            ASSERT_EQ(write(id, round), DRAVO_OK);
    {
        std::lock_guard<std::mutex> lock(gate->mutex);
        gate->hold = false;
        gate->released.notify_all();
    }

    // The task delivered the first write and the last two (its box kept
    // those); the first point's last writes were dropped, and only the image
    // brings them to the application.
    EXPECT_TRUE(waitUntil([&] { return losses.total(MorvaneChangeEvent::BoxOverflow) > 0; }));
    const std::vector<int> delivered{kPoints[0], kPoints[3], kPoints[4]};
    EXPECT_TRUE(waitUntil([&] { return showsDatabase(application, side, delivered); }))
        << "the application's maps end equal to the database";
    DravoData record;
    ASSERT_EQ(DravoPlus::GetDataPoint("STATUS100001", record, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(record.GetUnSignedIntValue("changedTime"), 5u);
}

// ---- Packets that would cost more than a packet may ------------------------------

// One packet of count items of the tag, each carrying body bytes only (a
// text item of one byte becomes a whole text record when read).
DravoData bombPacket(int tag, int count, int itemBytes)
{
    QList<QByteArray> items;
    items.reserve(count);
    const QByteArray item = packetItem(tag, QByteArray(itemBytes, '\x01'));
    for (int i = 0; i < count; ++i)
        items.append(item);
    return packetOf(items);
}

using PacketLimitTest = ChangeEventTest;

TEST_F(PacketLimitTest, PacketsOverTheLimitsAreRefusedAnnouncedAndTheNextIsDelivered)
{
    ProbedChangeEvent* client = newReceiver();
    LossLog losses(client);
    EmissionLog emissions(client);
    struct Bomb {
        const char* what;
        DravoData packet;
    };
    const std::vector<Bomb> bombs{
        {"400000 one-byte text items (a 2 MB body)", bombPacket(2, 400000, 1)},
        {"4600 text items (68 MB of text records)", bombPacket(2, 4600, 1)},
        {"5001 status items", bombPacket(0, 5001, 1)},
        {"5001 analog items", bombPacket(1, 5001, 1)},
        {"a body claiming 1 GB", namelessRecord(QByteArray("\x40\x00\x00\x00garbage", 11))},
    };
    for (const Bomb& bomb : bombs) {
        SCOPED_TRACE(bomb.what);
        const int before = losses.times(MorvaneChangeEvent::PacketRefused);
        DravoDataList list = listOf({bomb.packet});
        client->compressData(list);
        EXPECT_EQ(losses.times(MorvaneChangeEvent::PacketRefused), before + 1);
        EXPECT_EQ(losses.total(MorvaneChangeEvent::PacketRefused), before + 1) << "one packet each";
    }
    EXPECT_TRUE(emissions.emissions().empty()) << "a refused packet gives no change";

    // At the limit a packet is read; and the receiver goes on with the next.
    DravoDataList atLimit = listOf({bombPacket(0, 5000, 1)});
    client->compressData(atLimit);
    const Emission* status = emissions.find("statusChanged");
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->records.size(), 5000u);
    EXPECT_EQ(losses.times(MorvaneChangeEvent::PacketRefused), static_cast<int>(bombs.size()));
}

// A primary and its replica; the process uses both addresses, the primary
// first.
class ChangeLossFailoverRedisTest : public ChangeEventTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_primary.isRunning()) << m_primary.error();
        mvtest::RedisServerOptions options;
        options.replicaOfPort = m_primary.port();
        m_replica = std::make_unique<mvtest::RedisServer>(options);
        ASSERT_TRUE(m_replica->isRunning()) << m_replica->error();
        ASSERT_TRUE(waitUntil([&] { return m_replica->command({"ROLE"}).find("connected") != std::string::npos; }));
        ASSERT_EQ(useServer(m_primary.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::updateServerSetting(nullptr, m_primary.address().c_str(), m_replica->address().c_str()),
                  DRAVO_OK);
        ChangeEventTest::SetUp();
    }

    mvtest::RedisServer m_primary;
    std::unique_ptr<mvtest::RedisServer> m_replica;
};

TEST_F(ChangeLossFailoverRedisTest, FailoverIsAnnouncedAsALostConnectionAndAChangedServer)
{
    ProbedChangeEvent* receiver = newReceiver();
    LossLog losses(receiver);
    const StopFirst stop([&] { destroyReceiver(receiver); });
    receiver->start();
    ASSERT_TRUE(waitUntil([] { return boxesOfKind(kPacketKind).size() == 1; }));

    m_primary.kill();
    ASSERT_EQ(m_replica->command({"REPLICAOF", "NO", "ONE"}), "OK");
    EXPECT_TRUE(waitUntil([&] { return losses.times(MorvaneChangeEvent::ServerChanged) >= 1; }));
    EXPECT_GE(losses.times(MorvaneChangeEvent::ConnectionLost), 1);
    EXPECT_EQ(losses.total(MorvaneChangeEvent::ServerChanged), -losses.times(MorvaneChangeEvent::ServerChanged))
        << "nobody can say what a failover lost";
    const char* active = DravoPlus::activeServer(nullptr);
    ASSERT_NE(active, nullptr);
    EXPECT_EQ(std::string(active), m_replica->address());
}

TEST_F(ChangeLossFailoverRedisTest, FailoverIsHealedByAnImageFromTheNewServer)
{
    loadPlant();
    ASSERT_TRUE(waitUntil([&] {
        return m_replica->command({"EXISTS", "dravo:rec:STATUS" + std::to_string(kPoints.back())}) == "1";
    })) << "the plant did not reach the replica";
    ProbedChangeEvent* receiver = newReceiver();
    HealingReceiver healing(receiver);
    LossLog& losses = healing.losses;
    StatusSide& side = healing.side;
    const StopFirst stop([&] { destroyReceiver(receiver); });
    ASSERT_NO_FATAL_FAILURE(healing.startShowingAStalePacket());

    m_primary.kill();
    ASSERT_EQ(m_replica->command({"REPLICAOF", "NO", "ONE"}), "OK");
    EXPECT_TRUE(waitUntil([&] { return losses.times(MorvaneChangeEvent::ServerChanged) >= 1; }));
    EXPECT_TRUE(waitUntil([&] { return showsDatabase(receiver, side); }))
        << "every delivered point's map record is the new server's";
}

// A server keeping an append-only file, crashed and started again.
class ChangeLossRestartRedisTest : public ChangeEventTest
{
protected:
    void SetUp() override
    {
        mvtest::RedisServerOptions options;
        options.durable = true;
        m_server = std::make_unique<mvtest::RedisServer>(options);
        ASSERT_TRUE(m_server->isRunning()) << m_server->error();
        ASSERT_EQ(useServer(m_server->address()), DRAVO_OK);
        ChangeEventTest::SetUp();
        loadPlant();
    }

    std::unique_ptr<mvtest::RedisServer> m_server;
};

TEST_F(ChangeLossRestartRedisTest, RestartIsAnnouncedAndHealedByAnImageOfTheDatabase)
{
    ProbedChangeEvent* receiver = newReceiver();
    HealingReceiver healing(receiver);
    LossLog& losses = healing.losses;
    StatusSide& side = healing.side;
    const StopFirst stop([&] { destroyReceiver(receiver); });
    ASSERT_NO_FATAL_FAILURE(healing.startShowingAStalePacket());

    m_server->kill();
    EXPECT_TRUE(waitUntil([&] { return losses.times(MorvaneChangeEvent::ConnectionLost) >= 1; }));
    ASSERT_TRUE(m_server->restart()) << m_server->error();
    EXPECT_TRUE(waitUntil([&] { return showsDatabase(receiver, side); }))
        << "every delivered point's map record is the database's";
    EXPECT_EQ(losses.times(MorvaneChangeEvent::ServerChanged), 0) << "the same server came back";
}

// ---- A box damaged on the server ------------------------------------------------------

// A client-mode receiver on a server of the test's own, whose keys the test
// damages by hand as another program could.
class DamagedBoxRedisTest : public ChangeEventTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.isRunning()) << m_server.error();
        ASSERT_EQ(useServer(m_server.address()), DRAVO_OK);
        ChangeEventTest::SetUp();
    }

    // Starts the receiver, its deliveries followed and (when listening) its
    // losses, and waits until it delivers. The fixture stops it before the
    // followers go.
    void startDelivering(bool listening = true)
    {
        m_receiver = newReceiver();
        if (listening)
            m_losses = std::make_unique<LossLog>(m_receiver);
        m_side = std::make_unique<StatusSide>(m_receiver);
        m_receiver->init();
        m_receiver->start();
        ASSERT_TRUE(waitUntil([] { return boxesOfKind(kPacketKind).size() == 1; }));
        m_box = boxesOfKind(kPacketKind)[0].name;
        ASSERT_TRUE(deliversAgain(10));
    }

    std::string boxKey() const { return "dravo:box:" + m_box; }
    int losses(MorvaneChangeEvent::LossReason reason) const { return m_losses ? m_losses->times(reason) : 0; }

    // Sends packets until the receiver shows the one sent last: a receiver
    // that has made its box again may miss those sent before.
    bool deliversAgain(unsigned seed) const
    {
        const int id = kPoints.front();
        const std::string expected = rawBytes(patternedChange("CHANGED_STATUS", id, seed + static_cast<unsigned>(id)));
        return waitUntil([&] {
            DravoData packet = statusPacket(seed);
            DravoData* records[] = {&packet};
            DravoPlus::SendEventN(kPacketKind, records, 1, 1, nullptr, nullptr);
            return waitUntil([&] { return m_side->latest(id) == expected; }, 300ms);
        });
    }

    mvtest::RedisServer m_server;
    ProbedChangeEvent* m_receiver = nullptr;
    std::unique_ptr<LossLog> m_losses;
    std::unique_ptr<StatusSide> m_side;
    std::string m_box;
};

TEST_F(DamagedBoxRedisTest, BoxWhosePortIsDamagedIsReportedAndMadeAgain)
{
    ASSERT_NO_FATAL_FAILURE(startDelivering());
    ASSERT_EQ(m_server.command({"HSET", boxKey(), "port", "abc"}), "0");
    EXPECT_TRUE(waitUntil([&] { return losses(MorvaneChangeEvent::BoxDamaged) >= 1; }))
        << "the damage went unannounced";
    EXPECT_GE(m_receiver->receiveFailures(), 1u);
    EXPECT_TRUE(deliversAgain(20)) << "the receiver did not resume";
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo(m_box.c_str(), info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.damage, "") << "the box was made again whole, under its name";
    EXPECT_EQ(losses(MorvaneChangeEvent::BoxDamaged), 1) << "one damage, one announcement";
    EXPECT_EQ(losses(MorvaneChangeEvent::BoxRecreated), 0) << "making it again is part of the same loss";
}

TEST_F(DamagedBoxRedisTest, BoxWhoseRecordWasDeletedIsReportedAndMadeAgain)
{
    ASSERT_NO_FATAL_FAILURE(startDelivering());
    ASSERT_EQ(m_server.command({"DEL", boxKey()}), "1");
    EXPECT_TRUE(waitUntil([&] { return losses(MorvaneChangeEvent::BoxRecreated) >= 1; }))
        << "the lost box went unannounced";
    EXPECT_TRUE(deliversAgain(20)) << "the receiver did not resume";
    DravoEventBoxInfo info;
    EXPECT_EQ(DravoPlus::GetEventBoxInfo(m_box.c_str(), info, nullptr), DRAVO_OK);
}

TEST_F(DamagedBoxRedisTest, BoxWhoseQueueHoldsAnotherTypeIsReportedAndMadeAgain)
{
    ASSERT_NO_FATAL_FAILURE(startDelivering());
    const std::string port = m_server.command({"HGET", boxKey(), "port"});
    ASSERT_FALSE(port.empty());
    ASSERT_EQ(m_server.commands({{"DEL", "dravo:q:" + port}, {"SET", "dravo:q:" + port, "not a queue"}}), "OK");
    EXPECT_TRUE(waitUntil([&] { return losses(MorvaneChangeEvent::BoxDamaged) >= 1; }))
        << "the damage went unannounced";
    EXPECT_TRUE(deliversAgain(20)) << "the receiver did not resume";
    EXPECT_NE(m_server.command({"HGET", boxKey(), "port"}), port) << "a new box, with a new queue";
}

TEST_F(DamagedBoxRedisTest, ReceiverOfADamagedBoxGoesOnWithoutAnybodyListening)
{
    // Nobody connected to changesLost: the receiver recovers all the same,
    // and counts what failed.
    ASSERT_NO_FATAL_FAILURE(startDelivering(false));
    ASSERT_EQ(m_server.command({"HSET", boxKey(), "capacity", "-5"}), "0");
    EXPECT_TRUE(deliversAgain(20)) << "the receiver did not resume";
    EXPECT_GE(m_receiver->receiveFailures(), 1u);
    EXPECT_EQ(m_receiver->packetsRefused(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Backends, ChangeLossTest, ::testing::Values(std::string("embedded"), std::string("redis")),
                         backendTestName);

} // namespace
} // namespace changeeventtest

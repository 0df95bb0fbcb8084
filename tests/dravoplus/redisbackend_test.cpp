// redisbackend_test.cpp: what only the Redis backend does: logging in with a
// password or as an ACL user, databases, refusing clearly and in time, moving
// to the standby when the primary dies, keeping blocked receives from
// stalling other threads, and loading a plant that other processes share.
//
// Each test starts the redis-servers it needs on loopback ports of their own
// and stops them again; the conformance suite covers everything the Redis
// backend shares with the embedded one.
#include "middlewarefixture.h"
#include "redisconnection.h"
#include "redisscripts.h"

#include "faultylink.h"
#include "isolatedsettings.h"
#include "redisserver.h"

#include <MVPlant/Plant.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <future>
#include <map>
#include <set>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using conformance::RecordingListener;
using conformance::waitUntil;

// The connect timeout never goes below a second at any wait scale (see the
// backend); a refusal must come within it, and this much more is allowed
// for a loaded machine.
constexpr auto kConnectTimeout = 1000ms;
constexpr auto kSlack = 1500ms;

long long elapsedMs(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since).count();
}

std::u16string errorText(int code)
{
    return DravoPlus::GetErrorString(code);
}

// The calls of a server command so far (its own and those scripts made),
// from the server's statistics.
long long commandCalls(const mvtest::RedisServer& server, const std::string& command)
{
    const std::string stats = server.command({"INFO", "commandstats"});
    const std::string key = "cmdstat_" + command + ":calls=";
    const auto at = stats.find(key);
    return at == std::string::npos ? 0 : std::atoll(stats.c_str() + at + key.size());
}

DravoData statusChange(int pid)
{
    DravoData record("STATUS_CHANGE");
    record.PutValue("pid", pid);
    return record;
}

// A listener that keeps the order of what it hears.
class OrderListener : public DravoStatusListenerBase
{
public:
    OrderListener() { DravoPlus::InstallListener(*this); }
    ~OrderListener() override { DravoPlus::RemoveListener(*this); }
    OrderListener(const OrderListener&) = delete;
    OrderListener& operator=(const OrderListener&) = delete;

    void onMidConnected() override { add("up"); }
    void onMidDisconnected() override { add("down"); }
    void onActiveServerChanged(const char* address) override { add(std::string("server ") + address); }

    std::vector<std::string> heard() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_heard;
    }
    // Whether "down" was heard and "up" after it.
    bool heardDownThenUp() const
    {
        const std::vector<std::string> all = heard();
        const auto down = std::find(all.begin(), all.end(), "down");
        return down != all.end() && std::find(down, all.end(), "up") != all.end();
    }

private:
    void add(const std::string& what)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_heard.push_back(what);
    }
    mutable std::mutex m_mutex;
    std::vector<std::string> m_heard;
};

// A loopback port that takes connections and never says a word.
class SilentServer
{
public:
    SilentServer()
    {
        m_fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (m_fd >= 0 && ::bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
            && ::listen(m_fd, 16) == 0 && ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
            m_port = ntohs(address.sin_port);
    }
    ~SilentServer()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    int port() const { return m_port; }

private:
    int m_fd = -1;
    int m_port = 0;
};

// Each test chooses its servers; the process is on its own setting file.
class RedisBackendTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(mvtest::useIsolatedSettings("dravo-redis-settings").empty());
        ObjectNames names;
        DravoPlus::GetServerAddress(nullptr, names);
        for (int i = 0; i < names.count; ++i)
            m_previous[i < 2 ? i : 1] = names.names[i];
        DravoPlus::DeatoryNameSeq(names);
        DravoPlus::SetWaitScale(conformance::kTestWaitScale);
    }
    // The process goes back to the setting it had: other suites of the
    // binary may run after this one in the same process.
    void TearDown() override
    {
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::updateServerSetting(nullptr, m_previous[0].c_str(), m_previous[1].c_str());
        DravoPlus::SetWaitScale(1.0);
    }

    static int useServers(const std::string& first, const std::string& second = std::string())
    {
        return DravoPlus::updateServerSetting(nullptr, first.c_str(), second.c_str());
    }

    // ConnectMid, timed.
    static int timedConnect(long long& ms)
    {
        const auto start = std::chrono::steady_clock::now();
        const int rc = DravoPlus::ConnectMid(nullptr);
        ms = elapsedMs(start);
        return rc;
    }

private:
    std::string m_previous[2];
};

std::string withCredentials(const mvtest::RedisServer& server, const std::string& credentials, const std::string& db = "")
{
    return "redis://" + credentials + "@127.0.0.1:" + std::to_string(server.port()) + db;
}

// ---- Refusals ------------------------------------------------------------------

TEST_F(RedisBackendTest, WrongPasswordIsRefusedWithAuthFailedAndItsTextWithinTheConnectTimeout)
{
    mvtest::RedisServerOptions options;
    options.password = "s3cret";
    mvtest::RedisServer server(options);
    ASSERT_TRUE(server.isRunning()) << server.error();

    ASSERT_EQ(useServers(withCredentials(server, ":wrong")), DRAVO_OK);
    long long ms = 0;
    EXPECT_EQ(timedConnect(ms), DRAVO_AUTH_FAILED);
    EXPECT_LE(ms, (kConnectTimeout + kSlack).count());
    EXPECT_EQ(errorText(DRAVO_AUTH_FAILED), u"The runtime server refused the user or password");
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_NOT_CONNECTED);
    DravoData out;
    EXPECT_EQ(DravoPlus::GetDataPoint(":marker", out, nullptr, nullptr), DRAVO_NOT_CONNECTED);

    // No password at all is refused the same way.
    DravoPlus::DisConnectMid(nullptr);
    ASSERT_EQ(useServers(server.address()), DRAVO_OK);
    EXPECT_EQ(timedConnect(ms), DRAVO_AUTH_FAILED);

    // The right one is taken.
    DravoPlus::DisConnectMid(nullptr);
    ASSERT_EQ(useServers(withCredentials(server, ":s3cret")), DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(DravoPlus::GetDataPoint(":marker", out, nullptr, nullptr), DRAVO_OK);
}

// The connections a server has taken so far (the asking one included).
long long connectionsReceived(const mvtest::RedisServer& server)
{
    const std::string info = server.command({"INFO", "stats"});
    const auto at = info.find("total_connections_received:");
    return at == std::string::npos ? -1 : std::atoll(info.c_str() + at + 27);
}

TEST_F(RedisBackendTest, RefusedLoginIsTriedAgainOnlyOnceAConnectTimeout)
{
    mvtest::RedisServerOptions options;
    options.password = "s3cret";
    mvtest::RedisServer server(options);
    ASSERT_TRUE(server.isRunning()) << server.error();
    ASSERT_EQ(useServers(withCredentials(server, ":wrong")), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_AUTH_FAILED);

    // The client keeps trying in the background, but not more than once a
    // connect timeout (a second here): over three seconds, at most four of
    // its connections and the test's own two.
    const long long before = connectionsReceived(server);
    std::this_thread::sleep_for(3s);
    const long long after = connectionsReceived(server);
    ASSERT_GE(before, 0);
    EXPECT_LE(after - before, 4 + 1);
    EXPECT_GE(after - before, 1 + 1) << "the client gave up trying";
}

TEST_F(RedisBackendTest, UnreachableServerIsReportedWithItsTextWithinTheConnectTimeout)
{
    // A loopback port nobody listens on refuses at once.
    const int port = mvtest::freeLoopbackPort();
    ASSERT_GT(port, 0);
    ASSERT_EQ(useServers("redis://127.0.0.1:" + std::to_string(port)), DRAVO_OK);
    long long ms = 0;
    EXPECT_EQ(timedConnect(ms), DRAVO_UNREACHABLE);
    EXPECT_LE(ms, (kConnectTimeout + kSlack).count());
    EXPECT_EQ(errorText(DRAVO_UNREACHABLE), u"The runtime server did not answer");
    EXPECT_EQ(DravoPlus::activeServer(nullptr), nullptr);
    DravoPlus::DisConnectMid(nullptr);

}

TEST_F(RedisBackendTest, ServerThatNeverAnswersIsGivenUpAfterTheConnectTimeout)
{
    // A socket that takes connections (the kernel does) but never answers.
    SilentServer silent;
    ASSERT_GT(silent.port(), 0);
    ASSERT_EQ(useServers("redis://127.0.0.1:" + std::to_string(silent.port())), DRAVO_OK);
    long long ms = 0;
    EXPECT_EQ(timedConnect(ms), DRAVO_UNREACHABLE);
    EXPECT_GE(ms, kConnectTimeout.count() - 50) << "gave up before the connect timeout";
    EXPECT_LE(ms, (kConnectTimeout + kSlack).count());
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_NOT_CONNECTED);
}

TEST_F(RedisBackendTest, MalformedRedisAddressIsAConfigurationError)
{
    for (const char* address : {"redis://", "redis://host:notaport", "redis://host:70000", "redis://host:1/db"}) {
        SCOPED_TRACE(address);
        ASSERT_EQ(useServers(address), DRAVO_OK);
        EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_CONFIG_ERROR);
        EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_NOT_CONNECTED);
    }
}

// ---- Users and databases ---------------------------------------------------------

TEST_F(RedisBackendTest, AclUserLogsInWithItsOwnPassword)
{
    mvtest::RedisServerOptions options;
    options.aclUser = "station7";
    options.aclPassword = "op-pass";
    mvtest::RedisServer server(options);
    ASSERT_TRUE(server.isRunning()) << server.error();

    ASSERT_EQ(useServers(withCredentials(server, "station7:op-pass")), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    DravoData status("STATUS", "STATUS100001");
    status.PutValue("pid", 100001);
    ASSERT_EQ(DravoPlus::PutDataPoint(status, nullptr, nullptr), DRAVO_OK);
    DravoData out;
    ASSERT_EQ(DravoPlus::GetDataPoint("STATUS100001", out, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(out.GetSignedIntValue("pid"), 100001);
    EXPECT_EQ(server.command({"ACL", "WHOAMI"}), "default");   // the test's own connection

    DravoPlus::DisConnectMid(nullptr);
    ASSERT_EQ(useServers(withCredentials(server, "station7:other-pass")), DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_AUTH_FAILED);
}

TEST_F(RedisBackendTest, DatabaseNumberKeepsRecordsApartFromOtherDatabases)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address + "/3"), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(std::string(DravoPlus::activeServer(nullptr)), address + "/3");
    DravoData analog("ANALOG", "ANALOG200001");
    analog.PutValue("pid", 200001);
    ASSERT_EQ(DravoPlus::PutDataPoint(analog, nullptr, nullptr), DRAVO_OK);
    DravoData out;
    ASSERT_EQ(DravoPlus::GetDataPoint("ANALOG200001", out, nullptr, nullptr), DRAVO_OK);

    // A client of database 0 of the same server does not see it.
    ASSERT_EQ(useServers(address), DRAVO_OK);
    conformance::ScopedClient other;
    ASSERT_EQ(other.connectResult(), DRAVO_OK);
    EXPECT_EQ(other.run([&] { return DravoPlus::GetDataPoint("ANALOG200001", out, nullptr, nullptr); }),
              DRAVO_NOT_FOUND);

    // A database the server does not have is a configuration error.
    DravoPlus::DisConnectMid(nullptr);
    ASSERT_EQ(useServers(address + "/999"), DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_CONFIG_ERROR);
}

// ---- Threads -------------------------------------------------------------------

TEST_F(RedisBackendTest, BlockingReceiveOnOneThreadDoesNotStallAnotherThreadsReads)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    DravoData status("STATUS", "STATUS100002");
    ASSERT_EQ(DravoPlus::PutDataPoint(status, nullptr, nullptr), DRAVO_OK);
    const int kind = 0x400000 + static_cast<int>(::getpid() % 1000);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("BlockedBox", kind, 10, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("BlockedBox", port, nullptr, nullptr), DRAVO_OK);

    // 2000 s at the test's scale: 20 s of real time, far beyond the reads.
    auto blocked = std::async(std::launch::async, [port] {
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(port, list, nullptr, 10, 2000, nullptr, nullptr);
        return rc == DRAVO_OK && list.size() == 1 ? list[0].GetSignedIntValue("pid") : -rc;
    });
    std::this_thread::sleep_for(100ms);

    const auto start = std::chrono::steady_clock::now();
    int failures = 0;
    for (int i = 0; i < 200; ++i) {
        DravoData out;
        if (DravoPlus::GetDataPoint("STATUS100002", out, nullptr, nullptr) != DRAVO_OK)
            ++failures;
    }
    EXPECT_EQ(failures, 0);
    EXPECT_LT(elapsedMs(start), 5000) << "the reads waited for the blocked receive";
    EXPECT_EQ(blocked.wait_for(0ms), std::future_status::timeout) << "the receive did not stay blocked";

    ASSERT_EQ(DravoPlus::SendEvent(kind, statusChange(77), "test", nullptr), DRAVO_OK);
    ASSERT_EQ(blocked.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(blocked.get(), 77);
}

TEST_F(RedisBackendTest, DisconnectEndsACallBlockedOnTheServer)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("Waiting", 0x4FFFFF, 10, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Waiting", port, nullptr, nullptr), DRAVO_OK);
    auto blocked = std::async(std::launch::async, [port] {
        DravoDataList list;
        return DravoPlus::ReceiveEventN(port, list, nullptr, 10, 6000, nullptr, nullptr);
    });
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(blocked.wait_for(5s), std::future_status::ready) << "the blocked receive did not return";
    EXPECT_NE(blocked.get(), DRAVO_OK);
}

// ---- Receiving ------------------------------------------------------------------------

// A box of its own kind on a server of its own, and its receiver, whose
// first take has reached it.
class RedisReceiveTest : public RedisBackendTest
{
protected:
    static constexpr int kKind = 0x450000;

    void SetUp() override
    {
        RedisBackendTest::SetUp();
        ASSERT_TRUE(m_server.isRunning()) << m_server.error();
        ASSERT_EQ(useServers(m_server.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::CreateEventBox("Station", kKind, 100, nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("Station", m_port, nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::SendEvent(kKind, statusChange(100), "test", nullptr), DRAVO_OK);
        ASSERT_EQ(receiveOne(2000), 100);
    }

    // The pid of the one record a receive gave; -1 when it failed.
    int receiveOne(int waitMs) const
    {
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(m_port, list, nullptr, 1, waitMs, nullptr, nullptr);
        return rc != DRAVO_OK ? -1 : list.size() != 1 ? -2 : list[0].GetSignedIntValue("pid");
    }

    std::string takenKey() const { return "dravo:taken:" + std::to_string(m_port); }

    mvtest::RedisServer m_server;
    unsigned int m_port = 0;
};

// An operator station takes one packet at a time. Once its last take
// reached it, each receive acknowledges it and waits in one round trip that
// brings the next record: no take script, no second read of the record.
TEST_F(RedisReceiveTest, AReceiverTakingOneRecordAtATimeGetsEachInOneRoundTripWithNoScript)
{
    const long long reads = commandCalls(m_server, "lrange");
    const long long sorts = commandCalls(m_server, "sort");
    const long long waits = commandCalls(m_server, "blmove");
    for (int pid = 1; pid <= 5; ++pid) {
        ASSERT_EQ(DravoPlus::SendEvent(kKind, statusChange(pid), "test", nullptr), DRAVO_OK);
        EXPECT_EQ(receiveOne(2000), pid);
    }
    EXPECT_EQ(commandCalls(m_server, "lrange"), reads) << "a take read the taken list";
    EXPECT_EQ(commandCalls(m_server, "sort"), sorts) << "a take script moved records";
    EXPECT_EQ(commandCalls(m_server, "blmove"), waits + 5);
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Station", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.queued, 0);
    EXPECT_EQ(m_server.command({"LLEN", takenKey()}), "1")
        << "the last record stays handed out until the next receive says it arrived";
}

// A server task takes all that came since its last take, most of the time:
// a queue that holds no more than a take asks for becomes the taken list
// whole (RENAME), with no copy of its records; a longer one gives the
// oldest it asks for, the rest waiting in order.
TEST_F(RedisReceiveTest, ATakeOfAQueueNoLongerThanItAsksForMovesItWholeAndALongerOneItsOldest)
{
    const auto takeUpTo = [this](int count, std::vector<int>& pids) {
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(m_port, list, nullptr, count, 0, nullptr, nullptr);
        for (const DravoData& record : list)
            pids.push_back(record.GetSignedIntValue("pid"));
        return rc;
    };
    const auto sendPids = [](int first, int last) {
        for (int pid = first; pid <= last; ++pid)
            ASSERT_EQ(DravoPlus::SendEvent(kKind, statusChange(pid), "test", nullptr), DRAVO_OK);
    };
    sendPids(1, 30);
    const long long renames = commandCalls(m_server, "rename");
    const long long sorts = commandCalls(m_server, "sort");
    std::vector<int> pids;
    ASSERT_EQ(takeUpTo(50, pids), DRAVO_OK);
    EXPECT_EQ(pids.size(), 30u);
    EXPECT_EQ(commandCalls(m_server, "rename"), renames + 1);
    EXPECT_EQ(commandCalls(m_server, "sort"), sorts) << "no record was copied";
    EXPECT_EQ(m_server.command({"EXISTS", "dravo:q:" + std::to_string(m_port)}), "0");

    sendPids(31, 90);
    ASSERT_EQ(takeUpTo(50, pids), DRAVO_OK);
    EXPECT_EQ(pids.size(), 80u);
    EXPECT_EQ(commandCalls(m_server, "sort"), sorts + 1) << "sixty queued, fifty asked for";
    ASSERT_EQ(takeUpTo(50, pids), DRAVO_OK);
    EXPECT_EQ(commandCalls(m_server, "rename"), renames + 2);
    std::vector<int> expected(90);
    for (int i = 0; i < 90; ++i)
        expected[static_cast<std::size_t>(i)] = i + 1;
    EXPECT_EQ(pids, expected);
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Station", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.queued, 0);
}

// A box removed while its receiver waits in that round trip: the wait ends
// with DRAVO_NOT_FOUND at once, and the mark that ended it leaves nothing
// of the box behind.
TEST_F(RedisReceiveTest, ABoxRemovedWhileItsReceiverWaitsEndsTheWaitAndLeavesNothingBehind)
{
    const auto asked = std::chrono::steady_clock::now();
    auto waiting = std::async(std::launch::async, [this] {
        DravoDataList list;
        return DravoPlus::ReceiveEventN(m_port, list, nullptr, 1, 10000, nullptr, nullptr);
    });
    std::this_thread::sleep_for(200ms);
    ASSERT_EQ(DravoPlus::DeleteEventBox("Station", nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(waiting.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(waiting.get(), DRAVO_NOT_FOUND);
    EXPECT_LT(elapsedMs(asked), 5000);
    EXPECT_EQ(m_server.command({"EXISTS", takenKey()}), "0");
}

// ---- Damaged data on the server ------------------------------------------------------

// Whatever another program leaves under the middleware's keys is refused or
// skipped, never followed: a damaged record reads as DRAVO_MALFORMED, a batch
// read leaves it out, and a damaged event in a box's queue is passed over.
TEST_F(RedisBackendTest, DamagedDataOnTheServerIsRefusedOrSkippedNeverFollowed)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    ASSERT_EQ(useServers(server.address()), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    DravoData good("STATUS", "STATUS100003");
    good.PutValue("pid", 100003);
    ASSERT_EQ(DravoPlus::PutDataPoint(good, nullptr, nullptr), DRAVO_OK);
    DravoData victim("STATUS", "STATUS100004");
    ASSERT_EQ(DravoPlus::PutDataPoint(victim, nullptr, nullptr), DRAVO_OK);
    std::string wire = DravoPlus::SerializeRecord(victim);
    wire.resize(wire.size() / 2);   // cut in the middle of its raw value
    ASSERT_EQ(server.command({"SET", "dravo:rec:STATUS100004", wire}), "OK");

    DravoData out;
    EXPECT_EQ(DravoPlus::GetDataPoint("STATUS100004", out, nullptr, nullptr), DRAVO_MALFORMED);
    DravoDataList list;
    ASSERT_EQ(DravoPlus::GetDataPointN({"STATUS100004", "STATUS100003"}, list, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(list.size(), 1);
    EXPECT_STREQ(list[0].GetDataName(), "STATUS100003");
    DravoPartialData partial("STATUS", "STATUS100004");
    partial.PutValue("quality", 1);
    EXPECT_NE(DravoPlus::PutPartialDataPoint(nullptr, partial, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(server.command({"GET", "dravo:rec:STATUS100004"}), wire) << "the damaged record was left as it was";

    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("Damaged", 0x430000, 10, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Damaged", port, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(server.command({"RPUSH", "dravo:q:" + std::to_string(port), "not a record"}), "1");
    ASSERT_EQ(DravoPlus::SendEvent(0x430000, statusChange(5), "test", nullptr), DRAVO_OK);
    std::vector<int> pids;
    for (const DravoData& record : conformance::receiveRecords(port, 1))
        pids.push_back(record.GetSignedIntValue("pid"));
    EXPECT_EQ(pids, std::vector<int>{5});
}

// A box record damaged on the server (a hand edit, another program) must not
// make a publishing write fail half-way: the server keeps whatever a script
// wrote before it failed, so the record would be stored and some boxes
// served although the caller heard of a failure. The damaged boxes are
// skipped and reported; every healthy box gets every change.
class RedisDamagedBoxesTest : public RedisBackendTest
{
protected:
    void SetUp() override
    {
        RedisBackendTest::SetUp();
        ASSERT_TRUE(m_server.isRunning()) << m_server.error();
        ASSERT_EQ(useServers(m_server.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        for (int pid : {100011, 100012}) {
            DravoData point("STATUS", ("STATUS" + std::to_string(pid)).c_str());
            point.PutValue("pid", pid);
            ASSERT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_OK);
        }
        for (const char* box : {"Healthy1", "Healthy2", "BadCapacity", "BadPort", "BadOwner", "BadQueue", "Unreadable"})
            ASSERT_EQ(DravoPlus::CreateEventBox(box, DRAVO_EVENT_RAW_CHANGE, 100, nullptr, nullptr), DRAVO_OK) << box;
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("Healthy1", m_healthy[0], nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("Healthy2", m_healthy[1], nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("BadQueue", m_badQueuePort, nullptr, nullptr), DRAVO_OK);

        damage({"HSET", "dravo:box:BadCapacity", "capacity", "lots"}, "0");
        damage({"HSET", "dravo:box:BadPort", "port", "12abc"}, "0");
        // Without an owner nobody could be told of an overflow, which a
        // capacity of one brings about with the first batch of two.
        damage({"HSET", "dravo:box:BadOwner", "capacity", "1"}, "0");
        damage({"HDEL", "dravo:box:BadOwner", "owner"}, "1");
        damage({"SET", "dravo:q:" + std::to_string(m_badQueuePort), "not a list"}, "OK");
        damage({"DEL", "dravo:box:Unreadable"}, "1");
        damage({"SET", "dravo:box:Unreadable", "not a hash"}, "OK");
    }

    void damage(const std::vector<std::string>& command, const std::string& reply)
    {
        ASSERT_EQ(m_server.command(command), reply) << command[0] << " " << command[1];
    }

    // Two publishing partial writes in one batch.
    static int writeQualities(int first, int second)
    {
        DravoPartialData a("STATUS", "STATUS100011");
        a.PutValue("quality", first);
        DravoPartialData b("STATUS", "STATUS100012");
        b.PutValue("quality", second);
        return DravoPlus::PutPartialDataPoints({a, b}, nullptr, nullptr);
    }

    static int storedQuality(const char* name)
    {
        DravoData out;
        return DravoPlus::GetDataPoint(name, out, nullptr, nullptr) == DRAVO_OK ? out.GetSignedIntValue("quality") : -1;
    }

    mvtest::RedisServer m_server;
    unsigned int m_healthy[2] = {0, 0};
    unsigned int m_badQueuePort = 0;
};

TEST_F(RedisDamagedBoxesTest, PublishingWriteAndSendSucceedAndEveryHealthyBoxGetsItsChanges)
{
    EXPECT_EQ(writeQualities(7, 8), DRAVO_OK);
    EXPECT_EQ(storedQuality("STATUS100011"), 7);
    EXPECT_EQ(storedQuality("STATUS100012"), 8);
    EXPECT_EQ(DravoPlus::SendEvent(DRAVO_EVENT_RAW_CHANGE, statusChange(5), "test", nullptr), DRAVO_OK);

    for (unsigned int port : m_healthy) {
        const std::vector<DravoData> changes = conformance::receiveRecords(port, 3);
        ASSERT_EQ(changes.size(), 3u) << "port " << port;
        EXPECT_EQ(changes[0].GetSignedIntValue("quality"), 7);
        EXPECT_EQ(changes[1].GetSignedIntValue("quality"), 8);
        EXPECT_EQ(changes[2].GetSignedIntValue("pid"), 5);
    }
}

// A batch large enough to go through a transaction is delivered by pushes
// the client makes to the boxes the server names: the damaged ones are
// skipped and counted all the same.
TEST_F(RedisDamagedBoxesTest, ALargeBatchSkipsTheDamagedBoxesAndEveryHealthyBoxGetsItsChanges)
{
    constexpr int kPoints = 20;
    std::vector<DravoPartialData> batch;
    for (int i = 0; i < kPoints; ++i) {
        const std::string name = "STATUS" + std::to_string(100301 + i);
        DravoData point("STATUS", name.c_str());
        ASSERT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_OK);
        batch.emplace_back("STATUS", name.c_str());
        batch.back().PutValue("quality", i);
    }
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr), DRAVO_OK);

    for (unsigned int port : m_healthy) {
        std::vector<int> qualities;
        for (const DravoData& change : conformance::receiveRecords(port, kPoints))
            qualities.push_back(change.GetSignedIntValue("quality"));
        ASSERT_EQ(qualities.size(), static_cast<std::size_t>(kPoints)) << "port " << port;
        for (int i = 0; i < kPoints; ++i)
            EXPECT_EQ(qualities[static_cast<std::size_t>(i)], i);
    }
    for (const char* name : {"BadCapacity", "BadPort", "BadOwner", "BadQueue", "Unreadable"}) {
        DravoEventBoxInfo info;
        ASSERT_EQ(DravoPlus::GetEventBoxInfo(name, info, nullptr), DRAVO_OK) << name;
        EXPECT_FALSE(info.damage.empty()) << name;
        EXPECT_EQ(info.skipped, static_cast<std::uint64_t>(kPoints)) << name;
    }
}

TEST_F(RedisDamagedBoxesTest, DamagedBoxesAreReportedByTheBoxListAndTheirInfo)
{
    ASSERT_EQ(writeQualities(7, 8), DRAVO_OK);
    ASSERT_EQ(DravoPlus::SendEvent(DRAVO_EVENT_RAW_CHANGE, statusChange(5), "test", nullptr), DRAVO_OK);

    std::vector<DravoEventBoxInfo> boxes;
    ASSERT_EQ(DravoPlus::ListEventBoxes(boxes, nullptr), DRAVO_OK);
    std::map<std::string, DravoEventBoxInfo> byName;
    for (const DravoEventBoxInfo& box : boxes)
        byName[box.name] = box;
    ASSERT_EQ(byName.size(), 7u) << "a box whose record does not read is listed all the same";
    for (const char* healthy : {"Healthy1", "Healthy2"}) {
        EXPECT_TRUE(byName[healthy].damage.empty()) << healthy << ": " << byName[healthy].damage;
        EXPECT_EQ(byName[healthy].skipped, 0u) << healthy;
        EXPECT_EQ(byName[healthy].queued, 3) << healthy;
    }
    const std::map<std::string, std::string> whatIsWrong = {{"BadCapacity", "capacity"}, {"BadPort", "port"},
                                                            {"BadOwner", "owner"}, {"BadQueue", "queue"},
                                                            {"Unreadable", "record"}};
    for (const auto& [name, word] : whatIsWrong) {
        const DravoEventBoxInfo& listed = byName[name];
        EXPECT_NE(listed.damage.find(word), std::string::npos) << name << ": " << listed.damage;
        EXPECT_EQ(listed.skipped, 3u) << name << " missed both changes and the event";
        DravoEventBoxInfo info;
        ASSERT_EQ(DravoPlus::GetEventBoxInfo(name.c_str(), info, nullptr), DRAVO_OK) << name;
        EXPECT_EQ(info.damage, listed.damage);
        EXPECT_EQ(info.skipped, 3u);
    }

    // The reader of the damaged queue is refused, not handed what it holds.
    DravoDataList list;
    EXPECT_EQ(DravoPlus::ReceiveEventN(m_badQueuePort, list, nullptr, 10, 0, nullptr, nullptr), DRAVO_MALFORMED);
}

TEST_F(RedisDamagedBoxesTest, DamagedBoxIsClearedAwayAndMadeAgain)
{
    ASSERT_EQ(writeQualities(1, 2), DRAVO_OK);
    for (const char* name : {"BadCapacity", "BadPort", "BadOwner", "BadQueue", "Unreadable"}) {
        EXPECT_EQ(DravoPlus::DeleteEventBox(name, nullptr, nullptr), DRAVO_OK) << name;
        DravoEventBoxInfo info;
        EXPECT_EQ(DravoPlus::GetEventBoxInfo(name, info, nullptr), DRAVO_NOT_FOUND) << name;
    }
    ASSERT_EQ(DravoPlus::CreateEventBox("Unreadable", DRAVO_EVENT_RAW_CHANGE, 10, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Unreadable", port, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(writeQualities(3, 4), DRAVO_OK);
    const std::vector<DravoData> changes = conformance::receiveRecords(port, 2);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[1].GetSignedIntValue("quality"), 4);
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Unreadable", info, nullptr), DRAVO_OK);
    EXPECT_TRUE(info.damage.empty()) << info.damage;
    EXPECT_EQ(info.skipped, 0u) << "the new box starts with no tally";
}

// A field driver's poll is a batch of many partial writes; from sixteen
// records on it is read under WATCH, applied here and written with its raw
// changes in one MULTI/EXEC, so that the records never pass through a
// script. It must do exactly what the patch script does for a small batch.
class RedisTransactionWriteTest : public RedisBackendTest
{
protected:
    static constexpr int kPoints = 20;

    void SetUp() override
    {
        RedisBackendTest::SetUp();
        ASSERT_TRUE(m_server.isRunning()) << m_server.error();
        ASSERT_EQ(useServers(m_server.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        for (int i = 0; i < kPoints; ++i) {
            m_names.push_back("STATUS" + std::to_string(100101 + i));
            DravoData point("STATUS", m_names.back().c_str());
            point.PutValue("pid", 100101 + i);
            ASSERT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_OK);
        }
        ASSERT_EQ(DravoPlus::CreateEventBox("Raw", DRAVO_EVENT_RAW_CHANGE, 5000, nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("Raw", m_port, nullptr, nullptr), DRAVO_OK);
    }

    // One partial a point, its quality first + the point's place.
    std::vector<DravoPartialData> qualities(int first) const
    {
        std::vector<DravoPartialData> batch;
        for (int i = 0; i < kPoints; ++i) {
            batch.emplace_back("STATUS", m_names[static_cast<std::size_t>(i)].c_str());
            batch.back().PutValue("quality", first + i);
        }
        return batch;
    }

    DravoData stored(int i) const
    {
        DravoData out;
        EXPECT_EQ(DravoPlus::GetDataPoint(m_names[static_cast<std::size_t>(i)].c_str(), out, nullptr, nullptr), DRAVO_OK);
        return out;
    }

    long long calls(const std::string& command) const { return commandCalls(m_server, command); }

    int queued(const char* box) const
    {
        DravoEventBoxInfo info;
        return DravoPlus::GetEventBoxInfo(box, info, nullptr) == DRAVO_OK ? info.queued : -1;
    }

    mvtest::RedisServer m_server;
    std::vector<std::string> m_names;
    unsigned int m_port = 0;
};

TEST_F(RedisTransactionWriteTest, ALargeBatchIsOneTransactionWithEveryChangePublishedInOrder)
{
    std::vector<DravoPartialData> batch = qualities(10);
    // A second entry for the first point builds on the first one.
    batch.emplace_back("STATUS", m_names[0].c_str());
    batch.back().PutValue("changeCount", 7);
    // The client asks once whether its user may run transactions.
    ASSERT_EQ(DravoPlus::PutPartialDataPointsWithNoPublish(qualities(0), nullptr, nullptr), DRAVO_OK);
    const long long execs = calls("exec");
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(calls("exec"), execs + 1) << "one transaction";

    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(stored(i).GetSignedIntValue("quality"), 10 + i) << m_names[static_cast<std::size_t>(i)];
    EXPECT_EQ(stored(0).GetSignedIntValue("changeCount"), 7);
    const std::vector<DravoData> changes = conformance::receiveRecords(m_port, kPoints + 1);
    ASSERT_EQ(changes.size(), static_cast<std::size_t>(kPoints + 1));
    for (int i = 0; i < kPoints; ++i) {
        EXPECT_EQ(changes[static_cast<std::size_t>(i)].GetDataName(), m_names[static_cast<std::size_t>(i)]);
        EXPECT_EQ(changes[static_cast<std::size_t>(i)].GetSignedIntValue("quality"), 10 + i);
        EXPECT_EQ(changes[static_cast<std::size_t>(i)].GetSignedIntValue("changeCount"), 0);
    }
    EXPECT_EQ(changes.back().GetDataName(), m_names[0]);
    EXPECT_EQ(changes.back().GetSignedIntValue("quality"), 10) << "the later entry holds the earlier one's field";
    EXPECT_EQ(changes.back().GetSignedIntValue("changeCount"), 7);
}

TEST_F(RedisTransactionWriteTest, ALargeBatchWithNoPublishWritesEveryRecordAndQueuesNothing)
{
    ASSERT_EQ(DravoPlus::PutPartialDataPointsWithNoPublish(qualities(30), nullptr, nullptr), DRAVO_OK);
    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(stored(i).GetSignedIntValue("quality"), 30 + i);
    EXPECT_EQ(queued("Raw"), 0);
}

TEST_F(RedisTransactionWriteTest, ALargeBatchWithAMissingRecordWritesAndPublishesNothing)
{
    std::vector<DravoPartialData> batch = qualities(40);
    batch.emplace_back("STATUS", "STATUS100199");
    batch.back().PutValue("quality", 1);
    EXPECT_EQ(DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr), DRAVO_NOT_FOUND);
    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(stored(i).GetSignedIntValue("quality"), 0);
    EXPECT_EQ(queued("Raw"), 0);
}

TEST_F(RedisTransactionWriteTest, ALargeBatchMeetingARecordKeyThatHoldsNoStringIsRefusedAsDamaged)
{
    ASSERT_EQ(m_server.command({"DEL", "dravo:rec:" + m_names[5]}), "1");
    ASSERT_EQ(m_server.command({"HSET", "dravo:rec:" + m_names[5], "a", "b"}), "1");
    EXPECT_EQ(DravoPlus::PutPartialDataPoints(qualities(50), nullptr, nullptr), DRAVO_MALFORMED);
    EXPECT_EQ(stored(0).GetSignedIntValue("quality"), 0);
    EXPECT_EQ(m_server.command({"TYPE", "dravo:rec:" + m_names[5]}), "hash") << "the damaged key was left as it was";
    EXPECT_EQ(queued("Raw"), 0);
}

TEST_F(RedisTransactionWriteTest, ALargeBatchOverABoxCapacityKeepsTheNewestAndCountsTheDropped)
{
    ASSERT_EQ(DravoPlus::CreateEventBox("Small", DRAVO_EVENT_RAW_CHANGE, 5, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Small", port, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(60), nullptr, nullptr), DRAVO_OK);

    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Small", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.queued, 5);
    EXPECT_EQ(info.dropped, static_cast<std::uint64_t>(kPoints - 5));
    std::vector<int> kept;
    for (const DravoData& change : conformance::receiveRecords(port, 5))
        kept.push_back(change.GetSignedIntValue("quality"));
    EXPECT_EQ(kept, (std::vector<int>{75, 76, 77, 78, 79}));
    EXPECT_EQ(queued("Raw"), kPoints) << "a larger box kept everything";
}

// A server restarted without its script cache (or told SCRIPT FLUSH) between
// two writes: the transaction's scripts are loaded again, and the boxes are
// held to their capacities all the same.
TEST_F(RedisTransactionWriteTest, ALargeBatchAfterTheServerForgotItsScriptsIsWrittenAndTheBoxesHeldToCapacity)
{
    ASSERT_EQ(DravoPlus::CreateEventBox("Small", DRAVO_EVENT_RAW_CHANGE, 5, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(100), nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(m_server.command({"SCRIPT", "FLUSH"}), "OK");
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(200), nullptr, nullptr), DRAVO_OK);

    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(stored(i).GetSignedIntValue("quality"), 200 + i);
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Small", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.queued, 5);
    EXPECT_EQ(info.dropped, static_cast<std::uint64_t>(2 * kPoints - 5));
    EXPECT_EQ(queued("Raw"), 2 * kPoints);
}

// Two drivers writing different fields of the same records at once: each
// write is applied to the record as the other left it, so that no field
// ever goes back to an older value, in the store or in the changes.
TEST_F(RedisTransactionWriteTest, ConcurrentLargeBatchesOnTheSameRecordsLoseNoWrite)
{
    constexpr int kRounds = 25;
    const auto writeRounds = [this](const char* field) {
        int failures = 0;
        for (int round = 1; round <= kRounds; ++round) {
            std::vector<DravoPartialData> batch;
            for (const std::string& name : m_names) {
                batch.emplace_back("STATUS", name.c_str());
                batch.back().PutValue(field, round);
            }
            failures += DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr) != DRAVO_OK;
        }
        return failures;
    };
    auto qualityWriter = std::async(std::launch::async, writeRounds, "quality");
    auto countWriter = std::async(std::launch::async, writeRounds, "changeCount");
    ASSERT_EQ(qualityWriter.get(), 0);
    ASSERT_EQ(countWriter.get(), 0);

    for (int i = 0; i < kPoints; ++i) {
        EXPECT_EQ(stored(i).GetSignedIntValue("quality"), kRounds);
        EXPECT_EQ(stored(i).GetSignedIntValue("changeCount"), kRounds);
    }
    const std::vector<DravoData> changes = conformance::receiveRecords(m_port, 2 * kRounds * kPoints);
    ASSERT_EQ(changes.size(), static_cast<std::size_t>(2 * kRounds * kPoints));
    std::map<std::string, std::pair<int, int>> latest;
    for (const DravoData& change : changes) {
        auto& [quality, count] = latest[change.GetDataName()];
        EXPECT_GE(change.GetSignedIntValue("quality"), quality) << change.GetDataName();
        EXPECT_GE(change.GetSignedIntValue("changeCount"), count) << change.GetDataName();
        quality = change.GetSignedIntValue("quality");
        count = change.GetSignedIntValue("changeCount");
    }
}

// The boxes of raw changes hardly ever change: once a transaction found them
// all healthy, a later one reads their settings under WATCH instead of
// asking a script where its changes go, and holds each box to its capacity
// itself. The server is made to forget its scripts after the first write:
// had a later one asked, the script would be back in its cache.
TEST_F(RedisTransactionWriteTest, LaterLargeBatchesFindTheBoxesWithoutAScriptAndEveryChangeArrives)
{
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(0), nullptr, nullptr), DRAVO_OK);
    const std::string targets =
        m_server.command({"SCRIPT", "LOAD", dravo::redis::scriptSource(dravo::redis::Script::Targets)});
    ASSERT_EQ(targets.size(), 40u);
    ASSERT_EQ(m_server.command({"SCRIPT", "FLUSH"}), "OK");
    for (int round = 1; round <= 3; ++round)
        ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(100 * round), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(m_server.command({"SCRIPT", "EXISTS", targets}), "0") << "no later write asked where to deliver";

    const std::vector<DravoData> changes = conformance::receiveRecords(m_port, 4 * kPoints);
    ASSERT_EQ(changes.size(), static_cast<std::size_t>(4 * kPoints));
    for (int round = 0; round <= 3; ++round) {
        for (int i = 0; i < kPoints; ++i) {
            const DravoData& change = changes[static_cast<std::size_t>(round * kPoints + i)];
            EXPECT_EQ(change.GetDataName(), m_names[static_cast<std::size_t>(i)]);
            EXPECT_EQ(change.GetSignedIntValue("quality"), 100 * round + i);
        }
    }
    EXPECT_EQ(queued("Raw"), 0);
}

TEST_F(RedisTransactionWriteTest, ABoxMadeBetweenLargeBatchesGetsTheChangesOfTheNextOnly)
{
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(0), nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::CreateEventBox("Late", DRAVO_EVENT_RAW_CHANGE, 100, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Late", port, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(100), nullptr, nullptr), DRAVO_OK);

    const std::vector<DravoData> late = conformance::receiveRecords(port, kPoints);
    ASSERT_EQ(late.size(), static_cast<std::size_t>(kPoints));
    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(late[static_cast<std::size_t>(i)].GetSignedIntValue("quality"), 100 + i);
    EXPECT_EQ(queued("Late"), 0);
    EXPECT_EQ(queued("Raw"), 2 * kPoints);

    // And a box removed in between gets nothing more, while the others do.
    ASSERT_EQ(DravoPlus::DeleteEventBox("Late", nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(200), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(queued("Raw"), 3 * kPoints);
    EXPECT_EQ(m_server.command({"LLEN", "dravo:q:" + std::to_string(port)}), "1") << "only the mark of its removal";
}

// Damage by hand between two writes (a box's settings, a queue that is no
// list any more) is noticed by the next write: the damaged box is skipped
// and what it missed counted, every healthy box gets its changes.
TEST_F(RedisTransactionWriteTest, ABoxDamagedBetweenLargeBatchesIsSkippedAndWhatItMissedCounted)
{
    unsigned int ports[2] = {0, 0};
    for (const char* box : {"Settings", "Queue"})
        ASSERT_EQ(DravoPlus::CreateEventBox(box, DRAVO_EVENT_RAW_CHANGE, 100, nullptr, nullptr), DRAVO_OK) << box;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Settings", ports[0], nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Queue", ports[1], nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(0), nullptr, nullptr), DRAVO_OK);

    ASSERT_EQ(m_server.command({"HSET", "dravo:box:Settings", "capacity", "lots"}), "0");
    const std::string queue = "dravo:q:" + std::to_string(ports[1]);
    ASSERT_EQ(m_server.command({"DEL", queue}), "1");
    ASSERT_EQ(m_server.command({"SET", queue, "not a list"}), "OK");
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(100), nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(200), nullptr, nullptr), DRAVO_OK);

    for (const char* box : {"Settings", "Queue"}) {
        DravoEventBoxInfo info;
        ASSERT_EQ(DravoPlus::GetEventBoxInfo(box, info, nullptr), DRAVO_OK) << box;
        EXPECT_FALSE(info.damage.empty()) << box;
        EXPECT_EQ(info.skipped, static_cast<std::uint64_t>(2 * kPoints)) << box << " missed the two later writes";
    }
    EXPECT_EQ(m_server.command({"GET", queue}), "not a list") << "nothing was pushed to the damaged queue";
    EXPECT_EQ(queued("Raw"), 3 * kPoints);

    // Mended, the box is written to again.
    ASSERT_EQ(m_server.command({"HSET", "dravo:box:Settings", "capacity", "100"}), "0");
    ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(300), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(queued("Settings"), 2 * kPoints);
}

// A box that stays full (its reader stalled) write after write: each write
// drops the oldest at once, and every drop is counted and told to the owner.
TEST_F(RedisTransactionWriteTest, ABoxOverItsCapacityWriteAfterWriteCountsEveryDropAndTellsItsOwner)
{
    RecordingListener listener;
    ASSERT_EQ(DravoPlus::CreateEventBox("Small", DRAVO_EVENT_RAW_CHANGE, 5, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Small", port, nullptr, nullptr), DRAVO_OK);
    constexpr int kWrites = 4;
    for (int round = 0; round < kWrites; ++round)
        ASSERT_EQ(DravoPlus::PutPartialDataPoints(qualities(100 * round), nullptr, nullptr), DRAVO_OK);

    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("Small", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.queued, 5);
    EXPECT_EQ(info.dropped, static_cast<std::uint64_t>(kWrites * kPoints - 5));
    EXPECT_TRUE(info.damage.empty()) << info.damage;
    std::vector<int> kept;
    for (const DravoData& change : conformance::receiveRecords(port, 5))
        kept.push_back(change.GetSignedIntValue("quality"));
    EXPECT_EQ(kept, (std::vector<int>{315, 316, 317, 318, 319}));
    EXPECT_TRUE(conformance::waitUntil([&] { return listener.droppedFor("Small") >= kWrites * kPoints - 5; }))
        << "overflow notifications counted " << listener.droppedFor("Small") << " dropped records";
    EXPECT_EQ(listener.droppedFor("Small"), kWrites * kPoints - 5);
    EXPECT_EQ(queued("Raw"), kWrites * kPoints);
}

// Any other key of the middleware found holding the wrong type refuses the
// call before anything is written; counters and news lists, which the
// middleware can start again without losing anything readable, are.
TEST_F(RedisBackendTest, DamagedKeysRefuseACallBeforeItWritesOrAreStartedAgain)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    ASSERT_EQ(useServers(server.address()), DRAVO_OK);
    OrderListener listener;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);

    // A type index that is no sorted set: the record is not stored at all.
    ASSERT_EQ(server.command({"SET", "dravo:type:STATUS", "not a sorted set"}), "OK");
    DravoData point("STATUS", "STATUS100021");
    EXPECT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_MALFORMED);
    EXPECT_EQ(server.command({"EXISTS", "dravo:rec:STATUS100021"}), "0");
    EXPECT_EQ(server.command({"HEXISTS", "dravo:typeof", "STATUS100021"}), "0");

    // A record key that holds no string is damaged, not missing.
    ASSERT_EQ(server.command({"HSET", "dravo:rec:STATUS100022", "a", "b"}), "1");
    DravoPartialData partial("STATUS", "STATUS100022");
    partial.PutValue("quality", 1);
    EXPECT_EQ(DravoPlus::PutPartialDataPoint(nullptr, partial, nullptr, nullptr), DRAVO_MALFORMED);
    DravoData out;
    EXPECT_EQ(DravoPlus::GetDataPoint("STATUS100022", out, nullptr, nullptr), DRAVO_MALFORMED);

    // A port counter that holds no number is started again.
    ASSERT_EQ(server.command({"SET", "dravo:lastport", "many"}), "OK");
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("AfterDamage", 0x440000, 10, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("AfterDamage", port, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::SendEvent(0x440000, statusChange(9), "test", nullptr), DRAVO_OK);
    EXPECT_EQ(conformance::pidsOf(conformance::receiveRecords(port, 1)), std::vector<int>{9});

    // A news list that is no list does not cost the client its connection.
    const std::string alive = server.command({"KEYS", "dravo:alive:*"});
    ASSERT_EQ(alive.find('\n'), std::string::npos) << "one client: " << alive;
    ASSERT_EQ(alive.rfind("dravo:alive:", 0), 0u) << alive;
    ASSERT_EQ(server.command({"SET", "dravo:notices:" + alive.substr(12), "not a list"}), "OK");
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    const std::vector<std::string> heard = listener.heard();
    EXPECT_EQ(std::find(heard.begin(), heard.end(), "down"), heard.end()) << "the client thought the server gone";
}

// Another client's long script keeps the server answering BUSY to all
// others until it ends: the server is there, and a client that meets BUSY in
// its renewal rounds does not take it for gone.
// Connects to the server, keeps it busy with another client's endless
// script through many renewal rounds, then ends that script: the client
// must have taken the server for there all along.
void expectBusyServerKept(mvtest::RedisServer& server)
{
    ASSERT_EQ(server.command({"CONFIG", "SET", "busy-reply-threshold", "50"}), "OK");
    ASSERT_EQ(DravoPlus::updateServerSetting(nullptr, server.address().c_str(), ""), DRAVO_OK);
    OrderListener listener;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);

    std::thread script([&server] { server.command({"EVAL", "while true do end", "0"}); });
    bool busy = false;
    for (int i = 0; i < 500 && !busy; ++i) {
        busy = server.command({"PING"}).rfind("-BUSY", 0) == 0;
        if (!busy)
            std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(busy) << "the script did not keep the server busy";
    std::this_thread::sleep_for(1500ms);   // many renewal rounds
    const std::string killed = server.command({"SCRIPT", "KILL"});
    script.join();
    ASSERT_EQ(killed, "OK");

    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    const std::vector<std::string> heard = listener.heard();
    EXPECT_EQ(std::find(heard.begin(), heard.end(), "down"), heard.end()) << "the client took the server for gone";
    DravoData marker;
    EXPECT_EQ(DravoPlus::GetDataPoint(":marker", marker, nullptr, nullptr), DRAVO_OK);
}

TEST_F(RedisBackendTest, ServerBusyWithAnotherClientsLongScriptIsNotTakenForGone)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    expectBusyServerKept(server);
}

// A client that knows its scripts from an earlier server meets one that
// does not (a restart, a replica promoted) just as another client's long
// script makes it busy: the reload it tries is answered BUSY like anything
// else then, and the server is not taken for gone.
TEST_F(RedisBackendTest, BusyServerThatHasNotSeenTheClientsScriptsIsNotTakenForGone)
{
    {
        mvtest::RedisServer earlier;
        ASSERT_TRUE(earlier.isRunning()) << earlier.error();
        ASSERT_EQ(useServers(earlier.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        std::this_thread::sleep_for(100ms);   // renewal rounds: every script the monitor runs is known
        DravoPlus::DisConnectMid(nullptr);
    }
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    expectBusyServerKept(server);
}

// ---- Request packets ----------------------------------------------------------------

// A driver waiting for a command takes it in the round trip it wakes in: the
// wait leaves the request's handle in the target's queue and the take script
// in the same pipeline pops it, instead of a BLPOP and a second round trip.
TEST_F(RedisBackendTest, ADriverWaitingForACommandTakesItInTheRoundTripItWakesIn)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    ASSERT_EQ(useServers(server.address()), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    conformance::ScopedClient driver;
    ASSERT_EQ(driver.connectResult(), DRAVO_OK);
    ASSERT_EQ(driver.run([] { return DravoPlus::RegisterPacketReceiver("Driver7"); }), DRAVO_OK);

    for (int code = 1; code <= 3; ++code) {
        SCOPED_TRACE(code);
        const long long blpops = commandCalls(server, "blpop");
        const long long waits = commandCalls(server, "blmove");
        int received = -1;
        DravoHandle driverHandle = 0;
        auto waiting = std::async(std::launch::async, [&] {
            return driver.run([&] {
                DravoData request;
                const int rc = DravoPlus::ReceivePacket("Driver7", request, driverHandle, 500);   // 5 s, scaled
                received = request.GetSignedIntValue("cmdCode");
                return rc == DRAVO_OK ? DravoPlus::ReplyPacket(driverHandle, DravoData("CMD_RESPONSE")) : rc;
            });
        });
        std::this_thread::sleep_for(200ms);   // the driver is blocked in its wait by now
        DravoData request("REMOTE_COMMAND2");
        request.PutValue("cmdCode", code);
        DravoHandle handle = 0;
        ASSERT_EQ(DravoPlus::SendPacket("Driver7", request, handle, 100), DRAVO_OK);
        ASSERT_EQ(waiting.wait_for(5s), std::future_status::ready);
        EXPECT_EQ(waiting.get(), DRAVO_OK);
        EXPECT_EQ(received, code);
        EXPECT_EQ(driverHandle, handle);
        DravoData reply;
        EXPECT_EQ(DravoPlus::WaitReply(handle, reply, 100), DRAVO_OK);
        EXPECT_STREQ(reply.GetTypeName(), "CMD_RESPONSE");
        DravoPlus::DisConnect(handle);
        // The reply was there before the sender asked for it: no wait of its.
        EXPECT_EQ(commandCalls(server, "blmove"), waits + 1) << "the driver's wait";
        EXPECT_EQ(commandCalls(server, "blpop"), blpops) << "a wait that took the handle out of the queue";
        EXPECT_EQ(server.command({"LLEN", "dravo:pq:Driver7"}), "0") << "the handle left the queue with its request";
    }
}

// ---- Clients that die ------------------------------------------------------------

TEST_F(RedisBackendTest, DeadDriversTargetAnswersNoReceiverOnceItsPresenceRunsOut)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    conformance::ScopedClient driver;
    ASSERT_EQ(driver.connectResult(), DRAVO_OK);
    ASSERT_EQ(driver.run([] { return DravoPlus::RegisterPacketReceiver("Driver9"); }), DRAVO_OK);
    DravoData request("REMOTE_COMMAND2");
    DravoHandle handle = 0;
    ASSERT_EQ(DravoPlus::SendPacket("Driver9", request, handle, 3), DRAVO_OK);
    DravoPlus::DisConnect(handle);

    // The driver's process dies without a word; its presence runs out after
    // a lease (never below a second) and the target is free again.
    driver.die();
    const auto death = std::chrono::steady_clock::now();
    int rc = DRAVO_OK;
    EXPECT_TRUE(waitUntil([&] {
        rc = DravoPlus::SendPacket("Driver9", request, handle, 3);
        if (rc == DRAVO_OK)
            DravoPlus::DisConnect(handle);
        return rc == DRAVO_NO_RECEIVER;
    }, 10s)) << "last result " << rc;
    EXPECT_GE(elapsedMs(death), 500) << "the presence ran out long before its time";
    EXPECT_EQ(DravoPlus::RegisterPacketReceiver("Driver9"), DRAVO_OK);
}

TEST_F(RedisBackendTest, DeadClientsTransientBoxIsRemovedWhenTheNextClientJoins)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    {
        conformance::ScopedClient doomed;
        ASSERT_EQ(doomed.connectResult(), DRAVO_OK);
        ASSERT_EQ(doomed.run([] { return DravoPlus::CreateEventBox("Orphan", 0x420000, 10, nullptr, nullptr); }),
                  DRAVO_OK);
        ASSERT_EQ(doomed.run([] { return DravoPlus::CreateEventBox("Kept", 0x420000, 10, nullptr, nullptr); }),
                  DRAVO_OK);
        ASSERT_EQ(doomed.run([] { return DravoPlus::SetPersistent("Kept", true, nullptr, nullptr); }), DRAVO_OK);
        doomed.die();
    }
    DravoEventBoxInfo info;
    EXPECT_EQ(DravoPlus::GetEventBoxInfo("Orphan", info, nullptr), DRAVO_OK) << "its owner may only be late";

    // Once the dead client's presence has run out, the next client to join
    // clears its transient box away; the persistent one stays.
    EXPECT_TRUE(waitUntil([&] {
        conformance::ScopedClient next;
        return DravoPlus::GetEventBoxInfo("Orphan", info, nullptr) == DRAVO_NOT_FOUND;
    }, 10s));
    EXPECT_EQ(DravoPlus::GetEventBoxInfo("Kept", info, nullptr), DRAVO_OK);
    EXPECT_TRUE(info.persistent);
}

// ---- Moving to the standby --------------------------------------------------------

TEST_F(RedisBackendTest, FailoverToPromotedReplicaKeepsServiceAndPersistentBoxContents)
{
    mvtest::RedisServer primary;
    ASSERT_TRUE(primary.isRunning()) << primary.error();
    mvtest::RedisServerOptions replicaOptions;
    replicaOptions.replicaOfPort = primary.port();
    mvtest::RedisServer replica(replicaOptions);
    ASSERT_TRUE(replica.isRunning()) << replica.error();
    ASSERT_TRUE(waitUntil([&] { return replica.command({"ROLE"}).find("connected") != std::string::npos; }, 20s))
        << replica.command({"ROLE"});

    ASSERT_EQ(useServers(primary.address(), replica.address()), DRAVO_OK);
    OrderListener listener;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_NE(DravoPlus::activeServer(nullptr), nullptr);
    EXPECT_EQ(std::string(DravoPlus::activeServer(nullptr)), primary.address());

    const int kind = 0x410000;
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("Survivor", kind, 1000000, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::SetPersistent("Survivor", true, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Survivor", port, nullptr, nullptr), DRAVO_OK);

    // A stream of events, sent on while the servers change under it.
    std::atomic<bool> stop{false};
    std::atomic<int> lastSent{0};
    std::thread sender([&] {
        for (int pid = 1; !stop; ++pid) {
            while (!stop && DravoPlus::SendEvent(kind, statusChange(pid), "test", nullptr) != DRAVO_OK)
                std::this_thread::sleep_for(5ms);
            if (!stop)
                lastSent = pid;
        }
    });
    struct Join {
        std::atomic<bool>& stop;
        std::thread& thread;
        ~Join()
        {
            stop = true;
            if (thread.joinable())
                thread.join();
        }
    } joinSender{stop, sender};

    ASSERT_TRUE(waitUntil([&] { return lastSent >= 200; }, 20s));
    // Everything sent before the fence is on the replica once WAIT says so.
    const int fenced = lastSent;
    ASSERT_EQ(primary.commands({{"SET", "mvtest:fence", "1"}, {"WAIT", "1", "5000"}}), "1");
    primary.kill();
    EXPECT_EQ(replica.command({"REPLICAOF", "NO", "ONE"}), "OK");

    EXPECT_TRUE(waitUntil([&] { return listener.heardDownThenUp(); }, 20s));
    EXPECT_TRUE(waitUntil([&] {
        const char* active = DravoPlus::activeServer(nullptr);
        return active && std::string(active) == replica.address();
    }, 20s));
    const std::vector<std::string> heard = listener.heard();
    EXPECT_NE(std::find(heard.begin(), heard.end(), "server " + replica.address()), heard.end());

    // Work goes on against the former replica.
    const int atMove = lastSent;
    EXPECT_TRUE(waitUntil([&] { return lastSent >= atMove + 100; }, 20s));
    stop = true;
    sender.join();
    DravoData out;
    EXPECT_EQ(DravoPlus::GetDataPoint(":marker", out, nullptr, nullptr), DRAVO_OK);

    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Survivor", port, nullptr, nullptr), DRAVO_OK);
    std::set<int> received;
    for (const DravoData& record : conformance::drainRecords(port))
        received.insert(record.GetSignedIntValue("pid"));
    int missing = 0;
    for (int pid = 1; pid <= fenced; ++pid)
        missing += received.count(pid) == 0 ? 1 : 0;
    EXPECT_EQ(missing, 0) << "of " << fenced << " events the replica had received";
    EXPECT_GT(received.count(lastSent.load()), 0u) << "events sent after the move arrive too";
}

// ---- Plants shared by processes ------------------------------------------------------

TEST_F(RedisBackendTest, LoadPlantWritesThePlantThatOtherClientsRead)
{
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty());
    ASSERT_EQ(useServers(address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(MV_SAMPLE_PLANT, &summary, &error), DRAVO_OK) << error;
    EXPECT_GT(summary.statusPoints, 0);
    EXPECT_GT(summary.records, summary.statusPoints);

    // Another client (another operator station) resolves and reads a point.
    conformance::ScopedClient station;
    ASSERT_EQ(station.connectResult(), DRAVO_OK);
    DravoData index;
    ASSERT_EQ(station.run([&] {
        return DravoPlus::GetDataPoint("KestrelHill.33kV.Feeder01.CB.Position", index, nullptr, nullptr);
    }), DRAVO_OK);
    std::int32_t id = 0;
    std::memcpy(&id, index.GetRawValue(), sizeof id);
    EXPECT_GT(id, 100000);
    DravoData point;
    ASSERT_EQ(station.run([&] {
        return DravoPlus::GetDataPoint(("STATUS" + std::to_string(id)).c_str(), point, nullptr, nullptr);
    }), DRAVO_OK);
    EXPECT_EQ(point.GetSignedIntValue("pid"), id);
    DravoDataList stations;
    ASSERT_EQ(station.run([&] { return DravoPlus::GetDataPointByTypeName("STATION", stations, nullptr, nullptr); }),
              DRAVO_OK);
    EXPECT_EQ(stations.size(), summary.stations);
}

// ---- Nothing handed out is lost with its reply ------------------------------------

// Records named stem-1 .. stem-count, sent to a kind in one go.
int sendNamed(int kind, const std::string& stem, int count)
{
    std::vector<DravoData> records;
    for (int i = 1; i <= count; ++i) {
        records.emplace_back("STATUS_CHANGE", (stem + "-" + std::to_string(i)).c_str());
        records.back().PutValue("pid", i);
    }
    std::vector<DravoData*> pointers;
    for (DravoData& record : records)
        pointers.push_back(&record);
    return DravoPlus::SendEventN(kind, pointers.data(), static_cast<int>(pointers.size()), 0, "test", nullptr);
}

// Receives from a port, at most maxRecords a time, until nothing has come
// for a while; the names of what came, in order. A receive that fails (its
// connection went) is simply made again, as a receiving task would.
std::vector<std::string> namesReceived(unsigned int port, int maxRecords)
{
    std::vector<std::string> names;
    const auto limit = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < limit) {
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(port, list, nullptr, maxRecords, 100, nullptr, nullptr);
        if (rc == DRAVO_TIMEOUT)
            break;
        if (rc != DRAVO_OK) {
            std::this_thread::sleep_for(50ms);
            continue;
        }
        for (int i = 0; i < list.size(); ++i)
            names.emplace_back(list[i].GetDataName());
    }
    return names;
}

std::vector<std::string> namesOf(const std::string& stem, int first, int last)
{
    std::vector<std::string> names;
    for (int i = first; i <= last; ++i)
        names.push_back(stem + "-" + std::to_string(i));
    return names;
}

// Another process on the box "Taker": it connects to it and takes one batch
// of at most maxRecords; the names it took.
std::vector<std::string> takeOnceAs(const conformance::ScopedClient& process, int maxRecords)
{
    std::vector<std::string> names;
    process.run([&] {
        unsigned int port = 0;
        int rc = DravoPlus::ConnectPortForRecv("Taker", port, nullptr, nullptr);
        DravoDataList list;
        if (rc == DRAVO_OK)
            rc = DravoPlus::ReceiveEventN(port, list, nullptr, maxRecords, 100, nullptr, nullptr);
        for (int i = 0; i < list.size(); ++i)
            names.emplace_back(list[i].GetDataName());
        return rc;
    });
    return names;
}

class RedisLostReplyTest : public RedisBackendTest
{
protected:
    void SetUp() override
    {
        RedisBackendTest::SetUp();
        ASSERT_TRUE(m_server.isRunning()) << m_server.error();
        ASSERT_TRUE(m_link.isRunning());
        ASSERT_EQ(useServers(m_link.address()), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::CreateEventBox("Taker", kKind, 100, nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectPortForRecv("Taker", m_port, nullptr, nullptr), DRAVO_OK);
    }

    // A receive of at most maxRecords waiting up to waitMs on the box, and
    // count records named after stem sent once it waits (or before it took):
    // what the receive gave.
    int receiveWhileSending(const char* stem, int count, int maxRecords, int waitMs)
    {
        auto waiting = std::async(std::launch::async, [&] {
            DravoDataList list;
            return DravoPlus::ReceiveEventN(m_port, list, nullptr, maxRecords, waitMs, nullptr, nullptr);
        });
        std::this_thread::sleep_for(200ms);
        EXPECT_EQ(sendNamed(kKind, stem, count), DRAVO_OK);
        if (waiting.wait_for(20s) != std::future_status::ready) {
            ADD_FAILURE() << "the receive did not return";
            return DRAVO_OK;
        }
        return waiting.get();
    }

    static constexpr int kKind = 0x430000;
    mvtest::RedisServer m_server;
    mvtest::FaultyLink m_link{m_server.port()};
    unsigned int m_port = 0;
};

TEST_F(RedisLostReplyTest, BatchWhoseReplyIsLostIsHandedOutAgainInOrderAndNothingTwice)
{
    ASSERT_EQ(sendNamed(kKind, "Lost", 4), DRAVO_OK);
    m_link.loseReplyHolding("Lost-2");
    DravoDataList list;
    EXPECT_NE(DravoPlus::ReceiveEventN(m_port, list, nullptr, 3, 100, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(m_link.lost(), 1);
    // Taken again one at a time: what the lost batch held beyond one goes
    // back ahead of what was queued after it.
    EXPECT_EQ(namesReceived(m_port, 1), namesOf("Lost", 1, 4));
}

TEST_F(RedisLostReplyTest, WaitWhoseReplyIsLostTakesNothing)
{
    m_link.loseReplyHolding("Waited-1");
    // Sent once the receiver waits, or before it took: either answer is
    // the one lost.
    EXPECT_NE(receiveWhileSending("Waited", 2, 10, 1000), DRAVO_OK);
    ASSERT_EQ(m_link.lost(), 1);
    EXPECT_EQ(namesReceived(m_port, 10), namesOf("Waited", 1, 2));
}

// A receiver whose last take reached it waits and takes in one round trip;
// the reply of that wait lost, the record that ended it is handed out again,
// ahead of what came after it, and nothing twice.
TEST_F(RedisLostReplyTest, RecordThatEndedAWaitWhoseReplyIsLostIsHandedOutAgainOnce)
{
    ASSERT_EQ(sendNamed(kKind, "Warm", 1), DRAVO_OK);
    ASSERT_EQ(namesReceived(m_port, 1), namesOf("Warm", 1, 1));
    m_link.loseReplyHolding("Woken-1");
    EXPECT_NE(receiveWhileSending("Woken", 3, 1, 5000), DRAVO_OK);
    ASSERT_EQ(m_link.lost(), 1);
    EXPECT_EQ(namesReceived(m_port, 1), namesOf("Woken", 1, 3));
}

TEST_F(RedisLostReplyTest, OrderlySuccessorOnAPersistentBoxSeesNothingTwice)
{
    ASSERT_EQ(DravoPlus::SetPersistent("Taker", true, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(sendNamed(kKind, "Kept", 3), DRAVO_OK);
    {
        conformance::ScopedClient first;
        ASSERT_EQ(first.connectResult(), DRAVO_OK);
        EXPECT_EQ(takeOnceAs(first, 2), namesOf("Kept", 1, 2));
    }
    EXPECT_EQ(namesReceived(m_port, 10), namesOf("Kept", 3, 3));
}

TEST_F(RedisLostReplyTest, CrashedReceiversLastBatchGoesToItsSuccessor)
{
    ASSERT_EQ(DravoPlus::SetPersistent("Taker", true, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(sendNamed(kKind, "Crash", 3), DRAVO_OK);
    {
        conformance::ScopedClient doomed;
        ASSERT_EQ(doomed.connectResult(), DRAVO_OK);
        EXPECT_EQ(takeOnceAs(doomed, 2), namesOf("Crash", 1, 2));
        // Gone before it could tell whether it handled them.
        doomed.die();
    }
    // This process is new to the port: what the dead one took last comes
    // again, then the rest.
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Taker", m_port, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(namesReceived(m_port, 10), namesOf("Crash", 1, 3));
}

// ---- Sentinels ---------------------------------------------------------------------

TEST(SentinelAddressTest, SentinelsNameDatabaseAndCredentialsAreRead)
{
    dravo::redis::SentinelGroup group;
    ASSERT_TRUE(dravo::redis::parseSentinelAddress(
        "redis-sentinel://station:s3cr@t@10.0.0.1:26380,[fd00::2],sentinel3.plant:5000/plant/3", group));
    ASSERT_EQ(group.sentinels.size(), 3u);
    EXPECT_EQ(group.sentinels[0].host, "10.0.0.1");
    EXPECT_EQ(group.sentinels[0].port, 26380);
    EXPECT_EQ(group.sentinels[1].host, "fd00::2");
    EXPECT_EQ(group.sentinels[1].port, 26379) << "a sentinel's own port unless given";
    EXPECT_EQ(group.sentinels[2].host, "sentinel3.plant");
    EXPECT_EQ(group.sentinels[2].port, 5000);
    EXPECT_EQ(group.name, "plant");
    EXPECT_EQ(group.node.user, "station");
    EXPECT_EQ(group.node.password, "s3cr@t");
    EXPECT_EQ(group.node.database, 3);

    ASSERT_TRUE(dravo::redis::parseSentinelAddress("redis-sentinel://127.0.0.1/plant", group));
    EXPECT_EQ(group.sentinels.size(), 1u);
    EXPECT_EQ(group.node.database, 0);
    EXPECT_TRUE(group.node.password.empty());
}

TEST(SentinelAddressTest, MalformedSentinelAddressesAreRefused)
{
    dravo::redis::SentinelGroup group;
    for (const char* bad : {"redis-sentinel://127.0.0.1:26379", "redis-sentinel://127.0.0.1:26379/",
                            "redis-sentinel://127.0.0.1:26379,/plant", "redis-sentinel://:26379/plant",
                            "redis-sentinel://127.0.0.1:0/plant", "redis-sentinel://127.0.0.1:99999/plant",
                            "redis-sentinel://127.0.0.1/plant/x", "redis-sentinel://[::1/plant",
                            "redis://127.0.0.1:26379/plant"})
        EXPECT_FALSE(dravo::redis::parseSentinelAddress(bad, group)) << bad;
}

TEST_F(RedisBackendTest, MalformedSentinelSettingIsAConfigurationError)
{
    ASSERT_EQ(useServers("redis-sentinel://127.0.0.1:26379"), DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_CONFIG_ERROR);
}

TEST_F(RedisBackendTest, SentinelsThatAreNotThereAreUnreachableAndOnesThatKnowNoSuchPrimaryAConfigurationError)
{
    SilentServer silent;   // takes the connection, answers nothing
    const int nobody = mvtest::freeLoopbackPort();
    ASSERT_EQ(useServers("redis-sentinel://127.0.0.1:" + std::to_string(nobody) + ",127.0.0.1:" +
                         std::to_string(silent.port()) + "/plant"),
              DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_UNREACHABLE);
    DravoPlus::DisConnectMid(nullptr);

    mvtest::RedisServer primary;
    ASSERT_TRUE(primary.isRunning()) << primary.error();
    mvtest::RedisServerOptions watching;
    watching.sentinelOfPort = primary.port();
    watching.sentinelQuorum = 1;
    mvtest::RedisServer sentinel(watching);
    ASSERT_TRUE(sentinel.isRunning()) << sentinel.error();
    ASSERT_EQ(useServers("redis-sentinel://127.0.0.1:" + std::to_string(sentinel.port()) + "/elsewhere"), DRAVO_OK);
    EXPECT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_CONFIG_ERROR);
}

DravoData statusPoint(const char* name, int pid)
{
    DravoData point("STATUS", name);
    point.PutValue("pid", pid);
    return point;
}

// A primary, its replica and three sentinels that have found the replica
// and each other.
struct SentinelledPair {
    SentinelledPair()
    {
        mvtest::RedisServerOptions replicating;
        replicating.replicaOfPort = primary.port();
        replica = std::make_unique<mvtest::RedisServer>(replicating);
        mvtest::RedisServerOptions watching;
        watching.sentinelOfPort = primary.port();
        address = "redis-sentinel://";
        for (int i = 0; i < 3; ++i) {
            sentinels.push_back(std::make_unique<mvtest::RedisServer>(watching));
            address += (i ? ",127.0.0.1:" : "127.0.0.1:") + std::to_string(sentinels.back()->port());
        }
        address += "/plant";
    }
    std::string ready() const
    {
        if (!primary.isRunning())
            return primary.error();
        if (!replica->isRunning())
            return replica->error();
        for (const auto& sentinel : sentinels)
            if (!sentinel->isRunning())
                return sentinel->error();
        const bool found = waitUntil(
            [&] {
                for (const auto& sentinel : sentinels) {
                    if (sentinel->command({"SENTINEL", "replicas", "plant"}).find(std::to_string(replica->port())) ==
                            std::string::npos ||
                        sentinel->command({"SENTINEL", "sentinels", "plant"}).find("127.0.0.1") == std::string::npos)
                        return false;
                }
                return true;
            },
            30s);
        return found ? std::string() : "the sentinels did not find the replica and each other";
    }
    static std::string plainAddress(const mvtest::RedisServer& server)
    {
        return "redis://127.0.0.1:" + std::to_string(server.port());
    }

    mvtest::RedisServer primary;
    std::unique_ptr<mvtest::RedisServer> replica;
    std::vector<std::unique_ptr<mvtest::RedisServer>> sentinels;
    std::string address;
};

// The server this client is connected to ("" when none).
std::string activeNow()
{
    const char* active = DravoPlus::activeServer(nullptr);
    return active ? active : "";
}

long long msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// The client finds the primary through the sentinels; when the primary dies
// the sentinels promote the replica, and the client follows: listeners hear
// the server go and come back as the replica, and what was written before
// (and replicated) is there.
TEST_F(RedisBackendTest, ClientFindsThePrimaryThroughSentinelsAndFollowsAFailover)
{
    SentinelledPair pair;
    ASSERT_EQ(pair.ready(), "");
    ASSERT_EQ(useServers(pair.address), DRAVO_OK);
    OrderListener listener;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(activeNow(), SentinelledPair::plainAddress(pair.primary));
    ASSERT_EQ(DravoPlus::PutDataPoint(statusPoint("STATUS100031", 31), nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(pair.primary.command({"WAIT", "1", "5000"}), "1") << "the write did not reach the replica";

    const auto killed = std::chrono::steady_clock::now();
    pair.primary.kill();
    ASSERT_TRUE(waitUntil([&] { return listener.heardDownThenUp(); }, 60s)) << "the client did not follow";
    std::printf("[          ] the client followed the promoted replica %lld ms after the primary died\n",
                msSince(killed));
    const std::string replicaAddress = SentinelledPair::plainAddress(*pair.replica);
    EXPECT_EQ(activeNow(), replicaAddress);
    const std::vector<std::string> heard = listener.heard();
    EXPECT_NE(std::find(heard.begin(), heard.end(), "server " + replicaAddress), heard.end());

    DravoData before;
    ASSERT_EQ(DravoPlus::GetDataPoint("STATUS100031", before, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(before.GetSignedIntValue("pid"), 31);
    EXPECT_EQ(DravoPlus::PutDataPoint(statusPoint("STATUS100032", 32), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(pair.replica->command({"EXISTS", "dravo:rec:STATUS100032"}), "1");
}

// The primary dies in the middle of a stream into a persistent box. What it
// had passed to its replica is all delivered from the promoted replica, in
// order and once, and the stream goes on there.
TEST_F(RedisBackendTest, PersistentBoxLosesNothingReplicatedWhenThePrimaryDiesMidStream)
{
    SentinelledPair pair;
    ASSERT_EQ(pair.ready(), "");
    ASSERT_EQ(useServers(pair.address), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    constexpr int kKind = 0x450000;
    ASSERT_EQ(DravoPlus::CreateEventBox("Stream", kKind, 10000, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::SetPersistent("Stream", true, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("Stream", port, nullptr, nullptr), DRAVO_OK);

    constexpr int kSends = 40;
    constexpr int kDiesAfter = 20;
    std::chrono::steady_clock::time_point killed;
    long long outageMs = 0;
    for (int i = 1; i <= kSends; ++i) {
        DravoData record("STATUS_CHANGE", ("Mid-" + std::to_string(i)).c_str());
        record.PutValue("pid", i);
        const bool afterDeath = i > kDiesAfter;
        int rc = DravoPlus::SendEvent(kKind, record, "test", nullptr);
        // The calls between the death and the client's move fail; the stream
        // sends again, as a task that must not lose a change does.
        while (rc != DRAVO_OK && afterDeath && msSince(killed) < 60000) {
            std::this_thread::sleep_for(20ms);
            rc = DravoPlus::SendEvent(kKind, record, "test", nullptr);
        }
        ASSERT_EQ(rc, DRAVO_OK) << "send " << i;
        if (i == kDiesAfter + 1)
            outageMs = msSince(killed);
        if (i == kDiesAfter) {
            ASSERT_EQ(pair.primary.command({"WAIT", "1", "5000"}), "1") << "the stream did not reach the replica";
            killed = std::chrono::steady_clock::now();
            pair.primary.kill();
        }
    }
    std::printf("[          ] the stream went on %lld ms after the primary died\n", outageMs);
    EXPECT_EQ(activeNow(), SentinelledPair::plainAddress(*pair.replica));
    EXPECT_EQ(namesReceived(port, 100), namesOf("Mid", 1, kSends));
}

// An operator's switch-over: the sentinels make the replica the primary
// while the old one lives on as a replica. The client moves to the new
// primary and writes there.
TEST_F(RedisBackendTest, SwitchOverByTheSentinelsMovesTheClientToTheNewPrimary)
{
    SentinelledPair pair;
    ASSERT_EQ(pair.ready(), "");
    ASSERT_EQ(useServers(pair.address), DRAVO_OK);
    OrderListener listener;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(activeNow(), SentinelledPair::plainAddress(pair.primary));

    const auto asked = std::chrono::steady_clock::now();
    ASSERT_EQ(pair.sentinels.front()->command({"SENTINEL", "FAILOVER", "plant"}), "OK");
    const std::string replicaAddress = SentinelledPair::plainAddress(*pair.replica);
    ASSERT_TRUE(waitUntil([&] { return activeNow() == replicaAddress; }, 60s))
        << "the client stayed on " << activeNow();
    std::printf("[          ] the client moved %lld ms after the switch-over was asked for\n", msSince(asked));
    EXPECT_TRUE(listener.heardDownThenUp());
    EXPECT_EQ(DravoPlus::PutDataPoint(statusPoint("STATUS100033", 33), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(pair.replica->command({"EXISTS", "dravo:rec:STATUS100033"}), "1");
}

} // namespace

// redisroles_test.cpp: the roles of deploy/redis/users.acl on a real
// redis-server that reads that file: runtime server tasks do everything,
// operator stations read, keep their own boxes, send commands and
// notifications and write manual values and tags, viewers read and receive
// only. A refusal comes with its own code and text and changes nothing on
// the server; a wrong password gets no data.
//
// Each client of a test logs in as its own Redis user: the server setting is
// changed before each client connects, and a client keeps the address it
// connected with.
#include "middlewarefixture.h"

#include "isolatedsettings.h"
#include "redisserver.h"

#include <algorithm>
#include <memory>
#include <sstream>

namespace {

using conformance::ScopedClient;

constexpr int kNotifyKind = DRAVO_EVENT_NOTIFY;
const char* const kPoint = "ANALOG300001";
const char* const kDriver = "Driver9";

const std::vector<std::pair<std::string, std::string>> kPasswords = {
    {"dravo-runtime", "runtime-secret"}, {"dravo-operator", "operator-secret"}, {"dravo-viewer", "viewer-secret"}};

DravoData analog(int pid, double value)
{
    DravoData record("ANALOG", kPoint);
    record.PutValue("pid", pid);
    record.PutValue("lastvalue", value);
    return record;
}

double lastValue(const DravoData& record)
{
    double value = -1.0;
    record.GetValue("lastvalue", value);
    return value;
}

double storedValue(const char* name)
{
    DravoData out;
    return DravoPlus::GetDataPoint(name, out, nullptr, nullptr) == DRAVO_OK ? lastValue(out) : -1.0;
}

// Every key under the prefix with its type and serialised value, in name
// order: equal before and after a refused call when nothing changed.
std::string serverData(const mvtest::RedisServer& server)
{
    std::istringstream keys(server.command({"KEYS", "dravo:*"}));
    std::vector<std::string> names;
    for (std::string key; std::getline(keys, key);)
        if (key.rfind("dravo:alive:", 0) != 0)   // presence is renewed all along
            names.push_back(key);
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string& key : names)
        all += key + " " + server.command({"TYPE", key}) + " " + server.command({"DUMP", key}) + "\n";
    return all;
}

std::u16string textOf(int code)
{
    return DravoPlus::GetErrorString(code);
}

// The process's own client is a runtime server task; operators and viewers
// are further clients, each logged in as its role's user.
class RedisRolesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(mvtest::useIsolatedSettings("dravo-roles-settings").empty());
        DravoPlus::SetWaitScale(conformance::kTestWaitScale);
        mvtest::RedisServerOptions options;
        options.aclFile = MV_REDIS_ACL_FILE;
        options.aclPasswords = kPasswords;
        m_server = std::make_unique<mvtest::RedisServer>(options);
        ASSERT_TRUE(m_server->isRunning()) << m_server->error();
        ASSERT_EQ(useUser("dravo-runtime", "runtime-secret"), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::PutDataPoint(analog(300001, 1.5), nullptr, nullptr), DRAVO_OK);
    }
    void TearDown() override
    {
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::updateServerSetting(nullptr, "", "");
        DravoPlus::SetWaitScale(1.0);
    }

    int useUser(const std::string& user, const std::string& password)
    {
        const std::string address = "redis://" + user + ":" + password + "@127.0.0.1:" + std::to_string(m_server->port());
        return DravoPlus::updateServerSetting(nullptr, address.c_str(), "");
    }
    // A further client logged in as the user.
    std::unique_ptr<ScopedClient> clientAs(const std::string& user, const std::string& password)
    {
        useUser(user, password);
        return std::make_unique<ScopedClient>();
    }

    std::unique_ptr<mvtest::RedisServer> m_server;
};

// ---- Viewers ---------------------------------------------------------------------

TEST_F(RedisRolesTest, ViewerReadsRecordsAndReceivesChangesInItsOwnBox)
{
    const auto viewer = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(viewer->connectResult(), DRAVO_OK);

    EXPECT_EQ(viewer->run([] { return storedValue(kPoint) == 1.5 ? 0 : 1; }), 0);
    EXPECT_EQ(viewer->run([] {
        DravoDataList list;
        const int rc = DravoPlus::GetDataPointN({kPoint, "ANALOG999999"}, list, nullptr, nullptr);
        return rc == DRAVO_OK && list.count() == 1 ? 0 : 1;
    }), 0);
    EXPECT_EQ(viewer->run([] {
        DravoDataList list;
        const int rc = DravoPlus::GetDataPointByTypeName("ANALOG", list, nullptr, nullptr);
        return rc == DRAVO_OK && list.count() == 1 ? 0 : 1;
    }), 0);

    unsigned int port = 0;
    ASSERT_EQ(viewer->run([&] {
        int rc = DravoPlus::CreateEventBox("wall-display", DRAVO_EVENT_RAW_CHANGE, 100, nullptr, nullptr);
        if (rc == DRAVO_OK)
            rc = DravoPlus::SetPersistent("wall-display", false, nullptr, nullptr);
        return rc != DRAVO_OK ? rc : DravoPlus::ConnectPortForRecv("wall-display", port, nullptr, nullptr);
    }), DRAVO_OK);

    // A manual value written by a runtime task reaches the viewer's box.
    DravoPartialData manual("ANALOG");
    manual.PutValue("lastvalue", 42.25);
    ASSERT_EQ(DravoPlus::PutPartialDataPoint(kPoint, manual, nullptr, nullptr), DRAVO_OK);
    DravoDataList received;
    ASSERT_EQ(viewer->run([&] { return DravoPlus::ReceiveUndefinedEventN(port, received, 10, 500, nullptr, nullptr); }),
              DRAVO_OK);
    ASSERT_EQ(received.count(), 1);
    DravoData change = received[0];
    change.CastType("ANALOG");
    EXPECT_EQ(lastValue(change), 42.25);

    // The box is the viewer's: listed with its kind, and kept by the server
    // while the viewer is connected.
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("wall-display", info, nullptr), DRAVO_OK);
    EXPECT_EQ(info.kind, DRAVO_EVENT_RAW_CHANGE);
}

TEST_F(RedisRolesTest, ViewersWritesSendsAndBoxRemovalsAreRefusedAndChangeNothing)
{
    // What a viewer must not touch: a runtime task's box, a served target.
    ASSERT_EQ(DravoPlus::CreateEventBox("alarm-list", kNotifyKind, 100, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::RegisterPacketReceiver(kDriver), DRAVO_OK);
    const auto viewer = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(viewer->connectResult(), DRAVO_OK);
    ASSERT_EQ(viewer->run([] { return DravoPlus::CreateEventBox("wall-display", kNotifyKind, 100, nullptr, nullptr); }),
              DRAVO_OK);
    const std::string before = serverData(*m_server);
    ASSERT_NE(before.find("dravo:box:alarm-list"), std::string::npos) << before;

    DravoPartialData manual("ANALOG", kPoint);
    manual.PutValue("lastvalue", 99.0);
    EXPECT_EQ(viewer->run([&] { return DravoPlus::PutPartialDataPoint(kPoint, manual, nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([&] { return DravoPlus::PutPartialDataPointsWithNoPublish({manual}, nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([] { return DravoPlus::PutDataPoint(analog(300001, 7.0), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([] { return DravoPlus::DeleteDataPoint(kPoint, nullptr, nullptr); }), DRAVO_NOT_PERMITTED);

    DravoData command("REMOTE_COMMAND2");
    command.PutValue("cmdCode", 2);
    EXPECT_EQ(viewer->run([&] {
        DravoHandle handle = 0;
        return DravoPlus::SendPacket(kDriver, command, handle, 3);
    }), DRAVO_NOT_PERMITTED);
    DravoData notice("NOTIFY_MESSAGE");
    notice.PutValue("cmdCode", 5);
    EXPECT_EQ(viewer->run([&] { return DravoPlus::SendEvent(kNotifyKind, notice, nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);

    EXPECT_EQ(viewer->run([] { return DravoPlus::DeleteEventBox("alarm-list", nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([] { return DravoPlus::DeleteEventBox("wall-display", nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED) << "a viewer removes no box, its own neither";
    EXPECT_EQ(viewer->run([] { return DravoPlus::ContendHeartBit("WallTask", DravoData("TASK_USER_DATA"), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([] { return DravoPlus::RegisterPacketReceiver("Driver10"); }), DRAVO_NOT_PERMITTED);

    EXPECT_EQ(textOf(DRAVO_NOT_PERMITTED), u"The runtime server user's role does not allow this request");
    EXPECT_EQ(serverData(*m_server), before);
    EXPECT_EQ(storedValue(kPoint), 1.5);
    EXPECT_EQ(viewer->run([] { return DravoPlus::IsConnect(nullptr); }), DRAVO_OK) << "a refusal is no disconnect";
}

TEST_F(RedisRolesTest, ViewerPutsNothingIntoAnyBoxYetWhatItTookIsHandedOutAgainAfterItsCrash)
{
    ASSERT_EQ(DravoPlus::CreateEventBox("alarm-list", kNotifyKind, 100, nullptr, nullptr), DRAVO_OK);
    unsigned int port = 0;
    {
        const auto doomed = clientAs("dravo-viewer", "viewer-secret");
        ASSERT_EQ(doomed->connectResult(), DRAVO_OK);
        ASSERT_EQ(doomed->run([&] {
            const int rc = DravoPlus::CreateEventBox("wall-display", kNotifyKind, 100, nullptr, nullptr);
            return rc == DRAVO_OK ? DravoPlus::SetPersistent("wall-display", true, nullptr, nullptr) : rc;
        }), DRAVO_OK);
        ASSERT_EQ(doomed->run([&] { return DravoPlus::ConnectPortForRecv("wall-display", port, nullptr, nullptr); }),
                  DRAVO_OK);
        for (int code = 1; code <= 3; ++code) {
            DravoData notice("NOTIFY_MESSAGE");
            notice.PutValue("cmdCode", code);
            ASSERT_EQ(DravoPlus::SendEvent(kNotifyKind, notice, nullptr, nullptr), DRAVO_OK);
        }
        DravoDataList taken;
        ASSERT_EQ(doomed->run([&] { return DravoPlus::ReceiveEventN(port, taken, nullptr, 2, 100, nullptr, nullptr); }),
                  DRAVO_OK);
        EXPECT_EQ(taken.size(), 2);
        doomed->die();
    }

    // Nothing goes into a box's queue or what it handed out but through the
    // server's own scripts, and a viewer may run none that would.
    const std::string port1 = std::to_string(port);
    for (const std::vector<std::string>& put :
         {std::vector<std::string>{"RPUSH", "dravo:q:" + port1, "forged"}, {"LPUSH", "dravo:q:" + port1, "forged"},
          {"RPUSH", "dravo:taken:" + port1, "forged"}, {"LPUSH", "dravo:taken:" + port1, "forged"}}) {
        SCOPED_TRACE(put[0] + " " + put[1]);
        const std::string refused = m_server->commands({{"AUTH", "dravo-viewer", "viewer-secret"}, put});
        EXPECT_EQ(refused.rfind("-NOPERM", 0), 0u) << refused;
    }

    // The next viewer on the box gets what the dead one took, then the rest.
    const auto next = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(next->connectResult(), DRAVO_OK);
    std::vector<int> codes;
    ASSERT_EQ(next->run([&] {
        int rc = DravoPlus::ConnectPortForRecv("wall-display", port, nullptr, nullptr);
        while (rc == DRAVO_OK) {
            DravoDataList list;
            rc = DravoPlus::ReceiveEventN(port, list, nullptr, 10, 50, nullptr, nullptr);
            for (int i = 0; i < list.size(); ++i)
                codes.push_back(static_cast<int>(list[i].GetSignedIntValue("cmdCode")));
        }
        return rc;
    }), DRAVO_TIMEOUT);
    EXPECT_EQ(codes, (std::vector<int>{1, 2, 3}));
}

TEST_F(RedisRolesTest, ViewersBoxesGoOnceItsPresenceLapsesWhenAClientThatMayRemoveThemJoins)
{
    const auto viewer = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(viewer->connectResult(), DRAVO_OK);
    ASSERT_EQ(viewer->run([] { return DravoPlus::CreateEventBox("wall-display", kNotifyKind, 10, nullptr, nullptr); }),
              DRAVO_OK);
    // A viewer leaving on purpose cannot remove its box itself ...
    viewer->run([] { return DravoPlus::DisConnectMid(nullptr); });
    DravoEventBoxInfo info;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("wall-display", info, nullptr), DRAVO_OK);

    // ... nor does another viewer joining meanwhile (its join still works).
    const auto second = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(second->connectResult(), DRAVO_OK);
    ASSERT_EQ(DravoPlus::GetEventBoxInfo("wall-display", info, nullptr), DRAVO_OK);

    // The next operator or runtime task to join clears it away.
    const auto op = clientAs("dravo-operator", "operator-secret");
    ASSERT_EQ(op->connectResult(), DRAVO_OK);
    EXPECT_EQ(DravoPlus::GetEventBoxInfo("wall-display", info, nullptr), DRAVO_NOT_FOUND);
}

// ---- Operators -------------------------------------------------------------------

// A batch of partial writes large enough to go through a transaction meets
// the roles as a small one does: refused to a viewer with nothing changed,
// written and published for an operator.
TEST_F(RedisRolesTest, LargeBatchesAreRefusedToViewersAndWrittenAndPublishedForOperators)
{
    constexpr int kPoints = 20;
    std::vector<std::string> names;
    for (int i = 0; i < kPoints; ++i) {
        names.push_back("ANALOG" + std::to_string(300101 + i));
        DravoData point("ANALOG", names.back().c_str());
        point.PutValue("pid", 300101 + i);
        ASSERT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_OK);
    }
    unsigned int port = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("trend-feed", DRAVO_EVENT_RAW_CHANGE, 100, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("trend-feed", port, nullptr, nullptr), DRAVO_OK);
    const auto manualValues = [&names](double base) {
        std::vector<DravoPartialData> batch;
        for (std::size_t i = 0; i < names.size(); ++i) {
            batch.emplace_back("ANALOG", names[i].c_str());
            batch.back().PutValue("lastvalue", base + static_cast<double>(i));
        }
        return batch;
    };

    const auto viewer = clientAs("dravo-viewer", "viewer-secret");
    ASSERT_EQ(viewer->connectResult(), DRAVO_OK);
    const std::string before = serverData(*m_server);
    EXPECT_EQ(viewer->run([&] { return DravoPlus::PutPartialDataPoints(manualValues(10.0), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(viewer->run([&] { return DravoPlus::PutPartialDataPointsWithNoPublish(manualValues(10.0), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(serverData(*m_server), before);

    const auto op = clientAs("dravo-operator", "operator-secret");
    ASSERT_EQ(op->connectResult(), DRAVO_OK);
    EXPECT_EQ(op->run([&] { return DravoPlus::PutPartialDataPoints(manualValues(20.0), nullptr, nullptr); }), DRAVO_OK);
    for (int i = 0; i < kPoints; ++i)
        EXPECT_EQ(storedValue(names[static_cast<std::size_t>(i)].c_str()), 20.0 + i);
    DravoDataList received;
    ASSERT_EQ(DravoPlus::ReceiveUndefinedEventN(port, received, 100, 5, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(received.count(), kPoints);
    for (int i = 0; i < kPoints; ++i) {
        DravoData change = received[i];
        change.CastType("ANALOG");
        EXPECT_EQ(lastValue(change), 20.0 + i);
    }
}

TEST_F(RedisRolesTest, OperatorWritesManualValuesAndTagsSendsCommandsAndNotificationsAndKeepsItsBoxes)
{
    unsigned int alarms = 0;
    ASSERT_EQ(DravoPlus::CreateEventBox("alarm-list", kNotifyKind, 100, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::ConnectPortForRecv("alarm-list", alarms, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(DravoPlus::RegisterPacketReceiver(kDriver), DRAVO_OK);
    const auto op = clientAs("dravo-operator", "operator-secret");
    ASSERT_EQ(op->connectResult(), DRAVO_OK);

    // A manual value and a tag, published.
    DravoPartialData manual("ANALOG");
    manual.PutValue("lastvalue", 12.5);
    manual.PutValue("tag", 4u);
    EXPECT_EQ(op->run([&] { return DravoPlus::PutPartialDataPoint(kPoint, manual, nullptr, nullptr); }), DRAVO_OK);
    DravoData stored;
    ASSERT_EQ(DravoPlus::GetDataPoint(kPoint, stored, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(lastValue(stored), 12.5);
    EXPECT_EQ(stored.GetUnSignedIntValue("tag"), 4u);

    // A notification reaches the runtime task's box.
    DravoData notice("NOTIFY_MESSAGE");
    notice.PutValue("cmdCode", 5);
    EXPECT_EQ(op->run([&] { return DravoPlus::SendEvent(kNotifyKind, notice, nullptr, nullptr); }), DRAVO_OK);
    DravoDataList heard;
    ASSERT_EQ(DravoPlus::ReceiveEventN(alarms, heard, nullptr, 10, 500, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(heard.count(), 1);

    // A command goes to the driver and its reply comes back.
    DravoData command("REMOTE_COMMAND2");
    command.PutValue("cmdCode", 2);
    DravoHandle handle = 0;
    ASSERT_EQ(op->run([&] { return DravoPlus::SendPacket(kDriver, command, handle, 3); }), DRAVO_OK);
    DravoData request;
    DravoHandle served = 0;
    ASSERT_EQ(DravoPlus::ReceivePacket(kDriver, request, served, 500), DRAVO_OK);
    EXPECT_EQ(served, handle);
    // The operator cannot answer a command in a driver's place.
    DravoData answer("CMD_RESPONSE");
    EXPECT_EQ(op->run([&] { return DravoPlus::ReplyPacket(handle, answer); }), DRAVO_NOT_PERMITTED);
    answer.PutValue("failwhy", 0);
    ASSERT_EQ(DravoPlus::ReplyPacket(served, answer), DRAVO_OK);
    DravoData reply;
    EXPECT_EQ(op->run([&] { return DravoPlus::WaitReply(handle, reply, 500); }), DRAVO_OK);
    EXPECT_EQ(op->run([&] { return DravoPlus::DisConnect(handle); }), DRAVO_OK);

    // Its own box: made, received from and removed.
    EXPECT_EQ(op->run([] {
        unsigned int port = 0;
        int rc = DravoPlus::CreateEventBox("console-7", kNotifyKind, 100, nullptr, nullptr);
        if (rc == DRAVO_OK)
            rc = DravoPlus::ConnectPortForRecv("console-7", port, nullptr, nullptr);
        DravoDataList list;
        if (rc == DRAVO_OK)
            rc = DravoPlus::ReceiveEventN(port, list, nullptr, 10, 1, nullptr, nullptr);
        return rc == DRAVO_TIMEOUT ? DravoPlus::DeleteEventBox("console-7", nullptr, nullptr) : -1;
    }), DRAVO_OK);
}

TEST_F(RedisRolesTest, OperatorCannotRewriteOrDeleteRecordsHoldHeartbeatsOrServeTargets)
{
    const auto op = clientAs("dravo-operator", "operator-secret");
    ASSERT_EQ(op->connectResult(), DRAVO_OK);
    const std::string before = serverData(*m_server);

    EXPECT_EQ(op->run([] { return DravoPlus::PutDataPoint(analog(300001, 3.0), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    DravoData fresh("ANALOG", "ANALOG300002");
    fresh.PutValue("pid", 300002);
    EXPECT_EQ(op->run([&] { return DravoPlus::PutDataPoints({fresh}, nullptr, nullptr); }), DRAVO_NOT_PERMITTED);
    EXPECT_EQ(op->run([] { return DravoPlus::DeleteDataPoint(kPoint, nullptr, nullptr); }), DRAVO_NOT_PERMITTED);
    EXPECT_EQ(op->run([] { return DravoPlus::ContendHeartBit("ScadaServer", DravoData("TASK_USER_DATA"), nullptr, nullptr); }),
              DRAVO_NOT_PERMITTED);
    EXPECT_EQ(op->run([] { return DravoPlus::RegisterPacketReceiver(kDriver); }), DRAVO_NOT_PERMITTED);

    EXPECT_EQ(serverData(*m_server), before);
    DravoData out;
    EXPECT_EQ(DravoPlus::GetDataPoint("ANALOG300002", out, nullptr, nullptr), DRAVO_NOT_FOUND);
    EXPECT_EQ(storedValue(kPoint), 1.5);
}

// ---- Logging in ------------------------------------------------------------------

TEST_F(RedisRolesTest, WrongPasswordOrNoUserIsRefusedWithAuthFailedAndGetsNoData)
{
    for (const auto& [user, password] : {std::pair<std::string, std::string>{"dravo-viewer", "runtime-secret"},
                                         {"dravo-operator", "wrong"}, {"default", "anything"}, {"", ""}}) {
        SCOPED_TRACE(user);
        if (user.empty())
            DravoPlus::updateServerSetting(nullptr, ("redis://127.0.0.1:" + std::to_string(m_server->port())).c_str(), "");
        else
            useUser(user, password);
        ScopedClient client;
        EXPECT_EQ(client.connectResult(), DRAVO_AUTH_FAILED);
        EXPECT_EQ(client.run([] {
            DravoData out;
            return DravoPlus::GetDataPoint(kPoint, out, nullptr, nullptr);
        }), DRAVO_NOT_CONNECTED);
    }
    EXPECT_EQ(textOf(DRAVO_AUTH_FAILED), u"The runtime server refused the user or password");
}

TEST_F(RedisRolesTest, ShippedRolesHoldNoPasswordSoNobodyLogsInUntilTheSiteGivesThem)
{
    mvtest::RedisServerOptions options;
    options.aclFile = MV_REDIS_ACL_FILE;
    mvtest::RedisServer shipped(options);
    ASSERT_TRUE(shipped.isRunning()) << shipped.error();
    for (const char* user : {"dravo-runtime", "dravo-operator", "dravo-viewer"}) {
        for (const char* guess : {"", "dravo", "password"}) {
            SCOPED_TRACE(std::string(user) + " / " + guess);
            const std::string address = "redis://" + std::string(user) + ":" + guess + "@127.0.0.1:"
                                      + std::to_string(shipped.port());
            DravoPlus::updateServerSetting(nullptr, address.c_str(), "");
            ScopedClient client;
            EXPECT_EQ(client.connectResult(), DRAVO_AUTH_FAILED);
        }
    }
}

} // namespace

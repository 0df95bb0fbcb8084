// multiprocess_test.cpp: a plant shared by processes through one Redis
// server, as a site runs it: mvsim serves the plant (records, concentrator,
// simulated drivers, a moving field), two operator stations count every
// change that reaches their applications, and a third station sends
// set-point commands that the simulated driver answers (and whose writes
// join the change stream).
//
// The stations are this test binary run again in a role (--role=count,
// --role=command), so that each is a process of its own.
#include "redisserver.h"

#include <MVShared/MorvaneChangeEvent.h>

#include <DravoPlus/DravoPlus.h>

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr int kPacketKind = 0x98765;
constexpr int kCommands = 20;
constexpr int kServeSeconds = 4;
constexpr int kFieldRate = 300;

/* ---- The roles ------------------------------------------------------------ */

/* An operator station: counts the changes its application gets until its
 * standard input closes, then prints "changes <n>". */
int countChanges()
{
    if (DravoPlus::ConnectMid(nullptr) != DRAVO_OK)
        return 3;
    MorvaneChangeEvent receiver;
    std::atomic<long> changes{0};
    for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                        &MorvaneChangeEvent::textChanged}) {
        QObject::connect(&receiver, signal, &receiver, [&changes](const QList<DravoData>& l) { changes += l.size(); },
                         Qt::DirectConnection);
    }
    receiver.init();
    receiver.start();
    std::printf("ready\n");
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) {
    }
    receiver.prepareShutDown();
    receiver.shutDown();
    std::printf("changes %ld\n", changes.load());
    DravoPlus::DisConnectMid(nullptr);
    return 0;
}

/* A station that sends set-points to Driver1; prints "answered <n>". */
int sendCommands()
{
    if (DravoPlus::ConnectMid(nullptr) != DRAVO_OK)
        return 3;
    int answered = 0;
    for (int i = 0; i < kCommands; ++i) {
        DravoData setPoint("REMOTE_AO_COMMAND");
        setPoint.PutValue("pid", 200001);
        setPoint.PutValue("value", 10.0 + i);
        DravoData request("REMOTE_COMMAND2");
        request.PutValue("cmdCode", 2);
        request.PutValue("param", setPoint);
        DravoHandle handle = 0;
        DravoData reply;
        if (DravoPlus::SendPacket("Driver1", request, handle, 3) == DRAVO_OK
            && DravoPlus::WaitReply(handle, reply, 15) == DRAVO_OK && reply.GetShortValue("failwhy") == 0)
            ++answered;
        DravoPlus::DisConnect(handle);
    }
    std::printf("answered %d\n", answered);
    DravoPlus::DisConnectMid(nullptr);
    return 0;
}

/* ---- The test ------------------------------------------------------------------ */

class Station
{
public:
    Station(const QProcessEnvironment& env, const QString& program, const QStringList& arguments)
    {
        m_process.setProcessEnvironment(env);
        m_process.start(program, arguments);
    }
    ~Station()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;

    /* Reads output until it holds text; false when the process ended or the
     * limit passed first. */
    bool waitFor(const QString& text, std::chrono::milliseconds limit)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!m_out.contains(text)) {
            if (std::chrono::steady_clock::now() >= deadline || m_process.state() == QProcess::NotRunning)
                return m_out.contains(text);
            m_process.waitForReadyRead(100);
            m_out += QString::fromUtf8(m_process.readAllStandardOutput());
        }
        return true;
    }
    /* Closes its input and waits for its end; its exit code (-1: none). */
    int finish(std::chrono::milliseconds limit)
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(static_cast<int>(limit.count())))
            return -1;
        m_out += QString::fromUtf8(m_process.readAllStandardOutput());
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    /* The number after label in its output (-1 when absent). */
    long long number(const QString& label) const
    {
        const QRegularExpressionMatch m =
            QRegularExpression(QRegularExpression::escape(label) + QStringLiteral("\\s+(\\d+)")).match(m_out);
        return m.hasMatch() ? m.captured(1).toLongLong() : -1;
    }
    QString output() { return m_out + QString::fromUtf8(m_process.readAllStandardError()); }

private:
    QProcess m_process;
    QString m_out;
};

int packetBoxes()
{
    std::vector<DravoEventBoxInfo> boxes;
    DravoPlus::ListEventBoxes(boxes, nullptr);
    int count = 0;
    for (const DravoEventBoxInfo& box : boxes)
        count += box.kind == kPacketKind ? 1 : 0;
    return count;
}

TEST(MultiProcessRedisTest, TwoStationsCountEveryChangeServedByMvsimWhileAThirdSendsCommands)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DRAVO_SETTINGS"), dir.filePath(QStringLiteral("servers.conf")));
    env.insert(QStringLiteral("DRAVO_SERVERS"), QString::fromStdString(server.address()));
    env.remove(QStringLiteral("DRAVO_WAIT_SCALE"));
    const QString self = QCoreApplication::applicationFilePath();

    Station first(env, self, {QStringLiteral("--role=count")});
    Station second(env, self, {QStringLiteral("--role=count")});
    ASSERT_TRUE(first.waitFor(QStringLiteral("ready"), 30s)) << first.output().toStdString();
    ASSERT_TRUE(second.waitFor(QStringLiteral("ready"), 30s)) << second.output().toStdString();
    // Both stations' boxes are on the server before the first change.
    ::setenv("DRAVO_SERVERS", server.address().c_str(), 1);
    ::setenv("DRAVO_SETTINGS", dir.filePath(QStringLiteral("test.conf")).toUtf8().constData(), 1);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (packetBoxes() < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(20ms);
    ASSERT_GE(packetBoxes(), 2);

    Station mvsim(env, QStringLiteral(MVSIM_PATH),
                  {QStringLiteral("--serve"), QString::number(kServeSeconds), QStringLiteral("--rate"),
                   QString::number(kFieldRate), QStringLiteral("--servers"), QString::fromStdString(server.address())});
    ASSERT_TRUE(mvsim.waitFor(QStringLiteral("Serving"), 60s)) << mvsim.output().toStdString();
    Station commands(env, self, {QStringLiteral("--role=command")});
    ASSERT_EQ(commands.finish(60s), 0) << commands.output().toStdString();
    EXPECT_EQ(commands.number(QStringLiteral("answered")), kCommands) << commands.output().toStdString();

    ASSERT_EQ(mvsim.finish(120s), 0) << mvsim.output().toStdString();
    const long long packed = mvsim.number(QStringLiteral("Changes packed"));
    EXPECT_GT(mvsim.number(QStringLiteral("Changes written")), kFieldRate) << mvsim.output().toStdString();
    EXPECT_EQ(mvsim.number(QStringLiteral("Write failures")), 0);
    EXPECT_GE(mvsim.number(QStringLiteral("Commands answered")), kCommands);
    EXPECT_GT(packed, kFieldRate);

    std::this_thread::sleep_for(2s);   // the last packets reach the stations
    ASSERT_EQ(first.finish(30s), 0) << first.output().toStdString();
    ASSERT_EQ(second.finish(30s), 0) << second.output().toStdString();
    EXPECT_EQ(first.number(QStringLiteral("changes")), packed) << first.output().toStdString();
    EXPECT_EQ(second.number(QStringLiteral("changes")), packed) << second.output().toStdString();
    DravoPlus::DisConnectMid(nullptr);
}

// The same plant with each process logged in as its role's user of the
// shipped ACL file: mvsim a runtime server task, the counting station a
// viewer (a wall display), the commanding station an operator.
TEST(MultiProcessRedisTest, ViewerCountsEveryChangeAndOperatorsCommandsAreAnsweredUnderTheShippedRoles)
{
    mvtest::RedisServerOptions options;
    options.aclFile = MV_REDIS_ACL_FILE;
    options.aclPasswords = {{"dravo-runtime", "runtime-secret"}, {"dravo-operator", "operator-secret"},
                            {"dravo-viewer", "viewer-secret"}};
    mvtest::RedisServer server(options);
    ASSERT_TRUE(server.isRunning()) << server.error();
    const auto as = [&server](const char* credentials) {
        return QStringLiteral("redis://%1@127.0.0.1:%2").arg(QLatin1String(credentials)).arg(server.port());
    };
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DRAVO_SETTINGS"), dir.filePath(QStringLiteral("servers.conf")));
    env.remove(QStringLiteral("DRAVO_WAIT_SCALE"));
    const auto roleEnvironment = [&](const char* credentials) {
        QProcessEnvironment e = env;
        e.insert(QStringLiteral("DRAVO_SERVERS"), as(credentials));
        return e;
    };
    const QString self = QCoreApplication::applicationFilePath();

    Station wall(roleEnvironment("dravo-viewer:viewer-secret"), self, {QStringLiteral("--role=count")});
    ASSERT_TRUE(wall.waitFor(QStringLiteral("ready"), 30s)) << wall.output().toStdString();
    ::setenv("DRAVO_SERVERS", as("dravo-viewer:viewer-secret").toUtf8().constData(), 1);
    ::setenv("DRAVO_SETTINGS", dir.filePath(QStringLiteral("test.conf")).toUtf8().constData(), 1);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (packetBoxes() < 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(20ms);
    ASSERT_GE(packetBoxes(), 1);

    const QString runtime = as("dravo-runtime:runtime-secret");
    Station mvsim(roleEnvironment("dravo-runtime:runtime-secret"), QStringLiteral(MVSIM_PATH),
                  {QStringLiteral("--serve"), QString::number(kServeSeconds), QStringLiteral("--rate"),
                   QString::number(kFieldRate), QStringLiteral("--servers"), runtime});
    ASSERT_TRUE(mvsim.waitFor(QStringLiteral("Serving"), 60s)) << mvsim.output().toStdString();
    Station commands(roleEnvironment("dravo-operator:operator-secret"), self, {QStringLiteral("--role=command")});
    ASSERT_EQ(commands.finish(60s), 0) << commands.output().toStdString();
    EXPECT_EQ(commands.number(QStringLiteral("answered")), kCommands) << commands.output().toStdString();

    ASSERT_EQ(mvsim.finish(120s), 0) << mvsim.output().toStdString();
    const long long packed = mvsim.number(QStringLiteral("Changes packed"));
    EXPECT_EQ(mvsim.number(QStringLiteral("Write failures")), 0);
    EXPECT_GT(packed, kFieldRate);
    std::this_thread::sleep_for(2s);   // the last packets reach the station
    ASSERT_EQ(wall.finish(30s), 0) << wall.output().toStdString();
    EXPECT_EQ(wall.number(QStringLiteral("changes")), packed) << wall.output().toStdString();
    DravoPlus::DisConnectMid(nullptr);
    ::unsetenv("DRAVO_SERVERS");
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.contains(QStringLiteral("--role=count")))
        return countChanges();
    if (arguments.contains(QStringLiteral("--role=command")))
        return sendCommands();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// redistls_test.cpp: encryption in transit as a site deploys it. The
// redis-server speaks TLS only (no plain port) with a certificate of a
// throwaway authority, and a stunnel client beside each station forwards a
// plain loopback port to it, checking the server's certificate. Each
// process logs in as its role's user of the shipped ACL file.
//
// A DravoPlus client in this process, mvsim serving the sample plant and the
// dravo inspector all work through the tunnel; when the tunnel process is
// restarted mid-run, clients reconnect by themselves and go on, and every
// write they were told succeeded is on the server.
#include "isolatedsettings.h"
#include "redisserver.h"
#include "tlstunnel.h"
#include "toolprocess.h"

#include <DravoPlus/DravoPlus.h>

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

const std::vector<std::pair<std::string, std::string>> kPasswords = {
    {"dravo-runtime", "runtime-secret"}, {"dravo-operator", "operator-secret"}, {"dravo-viewer", "viewer-secret"}};
const char* const kRuntime = "dravo-runtime:runtime-secret";
const char* const kViewer = "dravo-viewer:viewer-secret";
const QString kBreakerRecord = QStringLiteral("STATUS100091");

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return done();
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

// What the client's listeners heard, in order.
class ConnectionListener : public DravoStatusListenerBase
{
public:
    ConnectionListener() { DravoPlus::InstallListener(*this); }
    ~ConnectionListener() override { DravoPlus::RemoveListener(*this); }
    ConnectionListener(const ConnectionListener&) = delete;
    ConnectionListener& operator=(const ConnectionListener&) = delete;

    void onMidConnected() override { ++connected; }
    void onMidDisconnected() override { ++disconnected; }

    std::atomic<int> connected{0};
    std::atomic<int> disconnected{0};
};

class RedisTlsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!mvtest::redisServerHasTls())
            GTEST_SKIP() << "this redis-server was built without TLS (it does not know --tls-port)";
        ASSERT_TRUE(m_certificates.isReady()) << m_certificates.error();
        mvtest::RedisServerOptions options;
        options.tlsDirectory = m_certificates.directory();
        options.aclFile = MV_REDIS_ACL_FILE;
        options.aclPasswords = kPasswords;
        m_server = std::make_unique<mvtest::RedisServer>(options);
        ASSERT_TRUE(m_server->isRunning()) << m_server->error();
        m_tunnel = std::make_unique<mvtest::TlsTunnel>(m_server->port(), m_certificates.caFile());
        ASSERT_TRUE(m_tunnel->start()) << m_tunnel->error();
        ASSERT_TRUE(m_settings.isValid());
        ASSERT_FALSE(mvtest::useIsolatedSettings("dravo-tls-settings").empty());
        DravoPlus::SetWaitScale(0.01);
    }
    void TearDown() override
    {
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::updateServerSetting(nullptr, "", "");
        DravoPlus::SetWaitScale(1.0);
    }

    // This process's client, through the tunnel or straight at an address.
    static int connectTo(const std::string& address)
    {
        DravoPlus::DisConnectMid(nullptr);
        DravoPlus::updateServerSetting(nullptr, address.c_str(), "");
        return DravoPlus::ConnectMid(nullptr);
    }

    QProcessEnvironment toolEnvironment(const char* credentials) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DRAVO_SETTINGS"), m_settings.filePath(QStringLiteral("tools.conf")));
        env.insert(QStringLiteral("DRAVO_SERVERS"), QString::fromStdString(m_tunnel->address(credentials)));
        env.remove(QStringLiteral("DRAVO_WAIT_SCALE"));
        return env;
    }

    // Stops the tunnel, leaves it down a while, and starts it again on its port.
    void restartTunnel()
    {
        m_tunnel->stop();
        std::this_thread::sleep_for(500ms);
        ASSERT_TRUE(m_tunnel->start()) << m_tunnel->error();
    }

    mvtest::TestCertificates m_certificates;
    std::unique_ptr<mvtest::RedisServer> m_server;
    std::unique_ptr<mvtest::TlsTunnel> m_tunnel;
    QTemporaryDir m_settings;
};

TEST_F(RedisTlsTest, ServerTakesNoPlainConnectionsButTheTunnelCarriesAClient)
{
    EXPECT_EQ(connectTo("redis://" + std::string(kRuntime) + "@127.0.0.1:" + std::to_string(m_server->port())),
              DRAVO_UNREACHABLE);
    ASSERT_EQ(connectTo(m_tunnel->address(kRuntime)), DRAVO_OK);
    DravoData record("ANALOG", "ANALOG400000");
    record.PutValue("pid", 400000);
    ASSERT_EQ(DravoPlus::PutDataPoint(record, nullptr, nullptr), DRAVO_OK);
    DravoData out;
    ASSERT_EQ(DravoPlus::GetDataPoint("ANALOG400000", out, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(out.GetSignedIntValue("pid"), 400000);
}

TEST_F(RedisTlsTest, ClientReconnectsByItselfWhenTheTunnelRestartsAndKeepsEveryAcknowledgedWrite)
{
    ConnectionListener listener;
    ASSERT_EQ(connectTo(m_tunnel->address(kRuntime)), DRAVO_OK);

    // A writer stores one record per write, and keeps the ones it was told
    // were stored, until it has 50 more after the tunnel came back.
    std::mutex mutex;
    std::vector<std::string> acknowledged;
    std::atomic<int> refused{0};
    std::atomic<int> afterRestart{-1};
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            const std::string name = "ANALOG" + std::to_string(500000 + i);
            DravoData record("ANALOG", name.c_str());
            record.PutValue("pid", 500000 + i);
            if (DravoPlus::PutDataPoint(record, nullptr, nullptr) == DRAVO_OK) {
                std::lock_guard<std::mutex> lock(mutex);
                acknowledged.push_back(name);
                if (afterRestart >= 0)
                    ++afterRestart;
            } else {
                ++refused;
            }
            std::this_thread::sleep_for(5ms);
        }
    });
    const auto count = [&] {
        std::lock_guard<std::mutex> lock(mutex);
        return acknowledged.size();
    };
    ASSERT_TRUE(waitUntil([&] { return count() >= 50; }, 30s));
    restartTunnel();
    afterRestart = 0;
    const bool wentOn = waitUntil([&] { return afterRestart >= 50; }, 60s);
    stop = true;
    writer.join();
    ASSERT_TRUE(wentOn) << "writes did not go on after the tunnel came back; " << refused << " refused";

    EXPECT_GE(listener.disconnected, 1) << "the outage went unnoticed";
    EXPECT_GE(listener.connected, 1);
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    DravoDataList stored;
    ASSERT_EQ(DravoPlus::GetDataPointN(acknowledged, stored, nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(static_cast<std::size_t>(stored.count()), acknowledged.size()) << "acknowledged writes were lost";
}

TEST_F(RedisTlsTest, MvsimServesThePlantAndDravoReadsItThroughTunnelsThatRestart)
{
    QProcess mvsim;
    mvsim.setProcessEnvironment(toolEnvironment(kRuntime));
    mvsim.start(QStringLiteral(MVSIM_PATH),
                {QStringLiteral("--serve"), QStringLiteral("8"), QStringLiteral("--rate"), QStringLiteral("50"),
                 QStringLiteral("--servers"), QString::fromStdString(m_tunnel->address(kRuntime))});
    ASSERT_TRUE(mvsim.waitForStarted(30000));
    QByteArray out;
    for (int i = 0; i < 600 && !out.contains("Serving"); ++i) {
        mvsim.waitForReadyRead(100);
        out += mvsim.readAllStandardOutput();
    }
    ASSERT_TRUE(out.contains("Serving")) << out.toStdString() << mvsim.readAllStandardError().toStdString();

    const auto readBreaker = [&] {
        return mvtest::runTool(QStringLiteral(DRAVO_PATH), {QStringLiteral("get"), kBreakerRecord},
                               toolEnvironment(kViewer));
    };
    const mvtest::ToolRun first = readBreaker();
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_TRUE(first.out.contains(QRegularExpression(
        QStringLiteral("^  fullname\\s+= \"KestrelHill.33kV.Feeder01.CB.Position\"$"),
        QRegularExpression::MultilineOption)))
        << first.out.toStdString();
    // A viewer is refused a write, with the code and its text.
    const mvtest::ToolRun put = mvtest::runTool(QStringLiteral(DRAVO_PATH),
                                                {QStringLiteral("put"), kBreakerRecord, QStringLiteral("quality=4")},
                                                toolEnvironment(kViewer));
    EXPECT_EQ(put.exitCode, 1);
    EXPECT_TRUE((put.out + put.err).contains(
        QStringLiteral("(error) 2019 The runtime server user's role does not allow this request")))
        << put.out.toStdString() << put.err.toStdString();

    restartTunnel();
    const mvtest::ToolRun second = readBreaker();
    EXPECT_EQ(second.exitCode, 0) << second.err.toStdString();

    ASSERT_TRUE(mvsim.waitForFinished(120000));
    out += mvsim.readAllStandardOutput();
    EXPECT_EQ(mvsim.exitCode(), 0) << out.toStdString() << mvsim.readAllStandardError().toStdString();
    // The field went on writing after the restart (50 a second for 8 s, the
    // restart after 2 or 3 of them), and every write it was told succeeded
    // reached the change concentrator.
    const QString summary = QString::fromUtf8(out);
    const auto counter = [&summary](const char* label) {
        const QRegularExpressionMatch m =
            QRegularExpression(QString::fromLatin1(label) + QStringLiteral("\\s+(\\d+)")).match(summary);
        return m.hasMatch() ? m.captured(1).toLongLong() : -1;
    };
    EXPECT_GE(counter("Changes written"), 200) << summary.toStdString();
    EXPECT_EQ(counter("Changes packed"), counter("Changes written")) << summary.toStdString();
    // The concentrator heard of the dropped connection.
    EXPECT_GE(counter("Losses reported"), 1) << summary.toStdString();
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

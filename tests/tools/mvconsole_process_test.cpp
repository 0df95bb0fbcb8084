// mvconsole_process_test.cpp: the console as operators start it, in a
// process of its own: with a plant simulated inside it, and against an mvsim
// in another process through a redis-server the test starts. The console
// quits by itself (--quit-after) after saving a screenshot and printing the
// rows of its table and the changes it received.
#include "redisserver.h"
#include "toolprocess.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kBreaker = QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position");

class ConsoleProcessTest : public ::testing::Test
{
protected:
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DRAVO_SETTINGS"), m_dir.filePath(QStringLiteral("servers.conf")));
        env.remove(QStringLiteral("DRAVO_SERVERS"));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        return env;
    }

    mvtest::ToolRun console(const QStringList& arguments)
    {
        return mvtest::runTool(QStringLiteral(MVCONSOLE_PATH), arguments, environment());
    }

    static long long changesReceived(const QString& out)
    {
        const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^(\\d+) changes received$"),
                                                             QRegularExpression::MultilineOption).match(out);
        return m.hasMatch() ? m.captured(1).toLongLong() : -1;
    }

    QTemporaryDir m_dir;
};

TEST_F(ConsoleProcessTest, WithASimulatedPlantItShowsTheWatchedPointAndSavesAScreenshot)
{
    const QString shot = m_dir.filePath(QStringLiteral("console.png"));
    const mvtest::ToolRun run = console({QStringLiteral("--simulate"), QStringLiteral("--rate"), QStringLiteral("1000"),
                                         QStringLiteral("--watch"), kBreaker, QStringLiteral("--screenshot"), shot,
                                         QStringLiteral("--quit-after"), QStringLiteral("3000")});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("Status ") + kBreaker + QStringLiteral(" = "))) << run.out.toStdString();
    EXPECT_GT(changesReceived(run.out), 0) << run.out.toStdString();
    EXPECT_GT(QFileInfo(shot).size(), 10000);
}

TEST_F(ConsoleProcessTest, AgainstAnMvsimInAnotherProcessOverRedisChangesArrive)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    const QString address = QString::fromStdString(server.address());
    QProcess mvsim;
    mvsim.setProcessEnvironment(environment());
    mvsim.start(QStringLiteral(MVSIM_PATH), {QStringLiteral("--serve"), QStringLiteral("30"), QStringLiteral("--rate"),
                                             QStringLiteral("1000"), QStringLiteral("--servers"), address});
    ASSERT_TRUE(mvsim.waitForStarted(30000));
    QByteArray served;
    for (int i = 0; i < 300 && !served.contains("Serving"); ++i) {
        mvsim.waitForReadyRead(100);
        served += mvsim.readAllStandardOutput();
    }
    ASSERT_TRUE(served.contains("Serving")) << served.toStdString() << mvsim.readAllStandardError().toStdString();

    const mvtest::ToolRun run = console({QStringLiteral("--servers"), address, QStringLiteral("--watch"), kBreaker,
                                         QStringLiteral("--quit-after"), QStringLiteral("4000")});
    mvsim.terminate();
    if (!mvsim.waitForFinished(10000))
        mvsim.kill();
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("Status ") + kBreaker + QStringLiteral(" = "))) << run.out.toStdString();
    EXPECT_GT(changesReceived(run.out), 0) << run.out.toStdString();
}

TEST_F(ConsoleProcessTest, AWrongCommandLineExits2)
{
    mvtest::ToolRun run = console({QStringLiteral("--no-such-option")});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(QStringLiteral("--simulate"))) << run.err.toStdString();
    run = console({QStringLiteral("--simulate"), QStringLiteral("--rate"), QStringLiteral("fast")});
    EXPECT_EQ(run.exitCode, 2);
}

TEST_F(ConsoleProcessTest, ASimulationThatCannotStartExits1WithTheReason)
{
    const mvtest::ToolRun run = console({QStringLiteral("--simulate"), QStringLiteral("--plant"),
                                         m_dir.filePath(QStringLiteral("missing.json"))});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(QStringLiteral("the simulation did not start"))) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains(QStringLiteral("missing.json")));
}

} // namespace

int main(int argc, char* argv[])
{
    // QProcess wants an application object.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

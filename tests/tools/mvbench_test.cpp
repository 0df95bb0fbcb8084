// mvbench_test.cpp: mvbench against a Redis server the test starts: the
// batch read of 10,000 names costs about one server command where reading
// them one by one costs 10,000, and a command round trip reports its median
// and 99th percentile beside its baseline.
#include "redisserver.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <utility>

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

Outcome mvbench(const QStringList& arguments)
{
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DRAVO_SETTINGS"), dir.filePath(QStringLiteral("servers.conf")));
    env.remove(QStringLiteral("DRAVO_WAIT_SCALE"));
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(MVBENCH_PATH), arguments);
    Outcome run;
    if (!process.waitForStarted(30000) || !process.waitForFinished(240000))
        process.kill();
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

// A counter's row of the summary: "  <counter>  <measured>  <baseline> ...";
// {-1, -1} when absent.
std::pair<double, double> summaryRow(const QString& out, const QString& counter)
{
    const QRegularExpression row(QStringLiteral("^\\s+%1\\s+([0-9.]+)\\s+([0-9.]+)").arg(counter),
                                 QRegularExpression::MultilineOption);
    const QRegularExpressionMatch m = row.match(out);
    if (!m.hasMatch())
        return {-1, -1};
    return {m.captured(1).toDouble(), m.captured(2).toDouble()};
}

TEST(MvbenchRedisTest, BatchReadIsOneRoundTripAndCommandsReportTheirPercentiles)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    const Outcome run = mvbench({QStringLiteral("--servers=") + QString::fromStdString(server.address()),
                                 QStringLiteral("--benchmark_filter=GetDataPointN|Command"),
                                 QStringLiteral("--benchmark_color=false")});
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();

    const auto [batch, oneByOne] = summaryRow(run.out, QStringLiteral("round_trips"));
    EXPECT_GE(batch, 1) << run.out.toStdString();
    EXPECT_LT(batch, 5) << "the batch read is one round trip, whatever the count";
    EXPECT_GE(oneByOne, 10000) << run.out.toStdString();
    EXPECT_GT(summaryRow(run.out, QStringLiteral("median_us")).first, 0) << run.out.toStdString();
    EXPECT_GT(summaryRow(run.out, QStringLiteral("p99_us")).first, 0) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("10000 records in one batch read / read one at a time")));
    EXPECT_TRUE(run.out.contains(QStringLiteral("2000 commands answered by a driver / 2000 single reads")));
}

} // namespace

int main(int argc, char* argv[])
{
    // QProcess wants an application object.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// mvbench_test.cpp: mvbench against a Redis server the test starts: the
// batch read of 10,000 names costs about one server command where reading
// them one by one costs 10,000, and a command round trip reports its median
// and 99th percentile beside its baseline, and the batched change streams
// to four and to 32 applications deliver every change to every receiver.
// The burst of 100,000 changes, on the embedded server and on Redis,
// delivers every change, reports the process's memory around it and leaves
// no event box behind.
#include "redisserver.h"
#include "sanitizers.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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

// The run of one benchmark as Google Benchmark writes it in JSON: its name
// (the function's, before "/iterations:..."), error and counters; empty when
// the file holds no such run.
QJsonObject benchmarkRun(const QString& jsonFile, const QString& name)
{
    QFile file(jsonFile);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonArray runs = QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("benchmarks")).toArray();
    for (const QJsonValue& run : runs) {
        if (run.toObject().value(QStringLiteral("run_name")).toString().section(QLatin1Char('/'), 0, 0) == name)
            return run.toObject();
    }
    return {};
}

// A batched change stream row and its pipelined pub/sub baseline, on a Redis
// server of their own: both run their iterations, count every change at
// every receiver (a loss or a duplicate is an error of the row) and report
// their rate, and the summary pairs them under meaning.
void runStreamPair(const QString& measured, const QString& baseline, const QString& meaning)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    QTemporaryDir dir;
    const QString json = dir.filePath(QStringLiteral("streams.json"));
    const Outcome run = mvbench({QStringLiteral("--servers=") + QString::fromStdString(server.address()),
                                 QStringLiteral("--benchmark_filter=^(%1|%2)/").arg(measured, baseline),
                                 QStringLiteral("--benchmark_out_format=json"), QStringLiteral("--benchmark_out=") + json,
                                 QStringLiteral("--benchmark_color=false")});
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    for (const QString& name : {measured, baseline}) {
        const QJsonObject row = benchmarkRun(json, name);
        ASSERT_FALSE(row.isEmpty()) << name.toStdString() << run.out.toStdString();
        EXPECT_FALSE(row.value(QStringLiteral("error_occurred")).toBool())
            << name.toStdString() << ": " << row.value(QStringLiteral("error_message")).toString().toStdString();
        EXPECT_EQ(row.value(QStringLiteral("iterations")).toDouble(), 3.0) << name.toStdString();
        EXPECT_GT(row.value(QStringLiteral("changes/s")).toDouble(), 0) << name.toStdString();
    }
    const auto [rate, baselineRate] = summaryRow(run.out, QStringLiteral("changes/s"));
    EXPECT_GT(rate, 0) << run.out.toStdString();
    EXPECT_GT(baselineRate, 0) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(meaning)) << run.out.toStdString();
    EXPECT_EQ(server.command({"ZCARD", "dravo:boxes"}), "0") << "the receivers' boxes are deleted after the row";
}

TEST(MvbenchRedisTest, BatchedChangeStreamReachesFourApplications)
{
    runStreamPair(QStringLiteral("BM_ChangeStreamFourClients"), QStringLiteral("BM_ChangeStreamBaseline_PubSubPipelined"),
                  QStringLiteral("20000 changes in writes of 100 to four operators / 100 PUBLISHes a pipeline"));
}

TEST(MvbenchRedisTest, BatchedChangeStreamReachesThirtyTwoApplications)
{
    runStreamPair(QStringLiteral("BM_ChangeStreamManyClients"), QStringLiteral("BM_ChangeStreamBaseline_PubSubPipelined32"),
                  QStringLiteral("20000 changes in writes of 100 to 32 operators / pipelined to 32 subscribers"));
}

// The burst row on the server named: every change arrives, and the memory
// figures are those of one process (idle, its peak at least as high, the
// growth their difference).
QJsonObject runBurst(const QString& servers)
{
    QTemporaryDir dir;
    const QString json = dir.filePath(QStringLiteral("burst.json"));
    const Outcome run = mvbench({QStringLiteral("--servers=") + servers,
                                 QStringLiteral("--benchmark_filter=BM_Burst100kMemory"),
                                 QStringLiteral("--benchmark_out_format=json"), QStringLiteral("--benchmark_out=") + json,
                                 QStringLiteral("--benchmark_color=false")});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject burst = benchmarkRun(json, QStringLiteral("BM_Burst100kMemory"));
    EXPECT_FALSE(burst.isEmpty()) << run.out.toStdString();
    EXPECT_FALSE(burst.value(QStringLiteral("error_occurred")).toBool())
        << burst.value(QStringLiteral("error_message")).toString().toStdString();
    EXPECT_EQ(burst.value(QStringLiteral("changes")).toDouble(), 100000.0);
    const double idle = burst.value(QStringLiteral("rss_idle_mb")).toDouble();
    const double peak = burst.value(QStringLiteral("rss_peak_mb")).toDouble();
    EXPECT_GT(idle, 0);
    EXPECT_GE(peak, idle);
    EXPECT_GE(peak, burst.value(QStringLiteral("rss_after_mb")).toDouble());
    EXPECT_DOUBLE_EQ(burst.value(QStringLiteral("rss_mb")).toDouble(), peak - idle);
    if (mvtest::kNativeAllocator) {
        EXPECT_GT(burst.value(QStringLiteral("heap_after_mb")).toDouble(), 0) << "the C library's heap figures";
    }
    EXPECT_GT(burst.value(QStringLiteral("rss_trimmed_mb")).toDouble(), 0);
    for (const char* backlog : {"raw_queued_peak", "packets_queued_peak", "consumer_backlog_peak"})
        EXPECT_TRUE(burst.contains(QLatin1String(backlog))) << backlog;
    return burst;
}

TEST(MvbenchTest, BurstDeliversEveryChangeAndReportsTheMemoryAroundIt)
{
    const QJsonObject burst = runBurst(QStringLiteral("embedded"));
    // The server task's box lives in this process: the burst waits there.
    EXPECT_GT(burst.value(QStringLiteral("raw_queued_peak")).toDouble(), 0);
}

TEST(MvbenchRedisTest, BurstDeliversEveryChangeAndLeavesNoEventBoxBehind)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    runBurst(QString::fromStdString(server.address()));
    EXPECT_EQ(server.command({"ZCARD", "dravo:boxes"}), "0") << "the receivers' boxes are deleted after the row";
}

} // namespace

int main(int argc, char* argv[])
{
    // QProcess wants an application object.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

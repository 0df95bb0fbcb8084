// mvbench_test.cpp: mvbench against a Redis server the test starts: the
// rows of the change distribution's own work stay on the embedded server, the
// batch read of 10,000 names costs about one server command where reading
// them one by one costs 10,000, and a command round trip reports its median
// and 99th percentile beside its baseline, and the batched change streams
// to four and to 32 applications deliver every change to every receiver.
// The burst of 100,000 changes, on the embedded server and on Redis,
// delivers every change, reports the process's memory around it and leaves
// no event box behind. The plant-scale rows, at sizes capped by
// MVBENCH_PLANT_MAX_POINTS, report their counters and leave the server
// holding the sample plant alone; a cap that is no plant size ends the run
// before anything is measured.
#include "redisserver.h"
#include "sanitizers.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QPair>
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

Outcome mvbench(const QStringList& arguments, const QList<QPair<QString, QString>>& variables = {})
{
    QTemporaryDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : variables)
        env.insert(name, value);
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
// (the function's with its arguments, before "/iterations:...",
// "/min_time:..." or "/manual_time"), error and counters; empty when the
// file holds no such run.
QJsonObject benchmarkRun(const QString& jsonFile, const QString& name)
{
    QFile file(jsonFile);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonArray runs = QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("benchmarks")).toArray();
    static const QRegularExpression options(QStringLiteral("/(iterations:|min_time:|manual_time|real_time).*$"));
    for (const QJsonValue& run : runs) {
        if (run.toObject().value(QStringLiteral("run_name")).toString().remove(options) == name)
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
    // The anonymous part of resident memory is part of it.
    EXPECT_GT(burst.value(QStringLiteral("anon_idle_mb")).toDouble(), 0);
    EXPECT_LE(burst.value(QStringLiteral("anon_idle_mb")).toDouble(), idle);
    EXPECT_GT(burst.value(QStringLiteral("anon_after_mb")).toDouble(), 0);
    EXPECT_LE(burst.value(QStringLiteral("anon_after_mb")).toDouble(), burst.value(QStringLiteral("rss_after_mb")).toDouble());
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

// The rows of the change distribution's own work (packing, unpacking, the
// embedded stream) measure the embedded server in a run against Redis too,
// and the Redis rows after them find the process back on Redis.
TEST(MvbenchRedisTest, TheDistributionsOwnRowsStayOnTheEmbeddedServerInARunAgainstRedis)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    QTemporaryDir dir;
    const QString json = dir.filePath(QStringLiteral("own.json"));
    const QString ownRows = QStringLiteral("PackStatusBatch|UnpackDispatchStatusBatch|EndToEndChangeDistribution");
    const auto run = [&](const QString& filter) {
        return mvbench({QStringLiteral("--servers=") + QString::fromStdString(server.address()),
                        QStringLiteral("--benchmark_filter=") + filter, QStringLiteral("--benchmark_min_time=0.01"),
                        QStringLiteral("--benchmark_out_format=json"), QStringLiteral("--benchmark_out=") + json,
                        QStringLiteral("--benchmark_color=false")});
    };
    const auto expectMeasured = [&](const QString& name, const Outcome& outcome) {
        const QJsonObject row = benchmarkRun(json, name);
        ASSERT_FALSE(row.isEmpty()) << name.toStdString() << outcome.out.toStdString();
        EXPECT_FALSE(row.value(QStringLiteral("error_occurred")).toBool())
            << name.toStdString() << ": " << row.value(QStringLiteral("error_message")).toString().toStdString();
    };

    const Outcome own = run(QStringLiteral("^BM_(%1)").arg(ownRows));
    ASSERT_EQ(own.exitCode, 0) << own.out.toStdString() << own.err.toStdString();
    for (const QString& name : ownRows.split(QLatin1Char('|')))
        expectMeasured(QStringLiteral("BM_") + name, own);
    EXPECT_EQ(server.command({"DBSIZE"}), "0") << "nothing of those rows reached Redis";

    const Outcome both = run(QStringLiteral("^BM_(%1|GetDataPointN10000)").arg(ownRows));
    ASSERT_EQ(both.exitCode, 0) << both.out.toStdString() << both.err.toStdString();
    expectMeasured(QStringLiteral("BM_GetDataPointN10000"), both);
    expectMeasured(QStringLiteral("BM_EndToEndChangeDistribution"), both);
    EXPECT_EQ(server.command({"ZCARD", "dravo:type:ANALOG"}), "1500") << "the batch read ran on Redis, with the sample plant";
}

// The plant rows with every plant capped at 20,000 points: loads of 10,000
// and 20,000 points compared per point, the batch read and the name cache
// on the 20,000-point plant. suffix is "Redis" on a Redis server.
void runPlantRows(const QString& servers, const QString& suffix)
{
    QTemporaryDir dir;
    const QString json = dir.filePath(QStringLiteral("plant.json"));
    const Outcome run = mvbench({QStringLiteral("--servers=") + servers,
                                 QStringLiteral("--benchmark_filter=BM_LoadPlant|GetDataPointN100k|PointNameCache"),
                                 QStringLiteral("--benchmark_min_time=0.01"),
                                 QStringLiteral("--benchmark_out_format=json"), QStringLiteral("--benchmark_out=") + json,
                                 QStringLiteral("--benchmark_color=false")},
                                {{QStringLiteral("MVBENCH_PLANT_MAX_POINTS"), QStringLiteral("20000")}});
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();

    const auto row = [&](const QString& name) {
        const QJsonObject found = benchmarkRun(json, name);
        EXPECT_FALSE(found.isEmpty()) << name.toStdString() << "\n" << run.out.toStdString();
        EXPECT_FALSE(found.value(QStringLiteral("error_occurred")).toBool())
            << name.toStdString() << ": " << found.value(QStringLiteral("error_message")).toString().toStdString();
        return found;
    };
    for (const int points : {10000, 20000}) {
        const QJsonObject load = row(QStringLiteral("BM_LoadPlant%1/%2").arg(suffix).arg(points));
        EXPECT_EQ(load.value(QStringLiteral("points")).toDouble(), points);
        EXPECT_GT(load.value(QStringLiteral("us_per_point")).toDouble(), 0);
        EXPECT_GT(load.value(QStringLiteral("rss_mb")).toDouble(), 0);
        EXPECT_GT(load.value(QStringLiteral("rss_before_mb")).toDouble(), 0);
    }
    const QJsonObject read = row(QStringLiteral("BM_GetDataPointN100k") + suffix);
    EXPECT_EQ(read.value(QStringLiteral("names")).toDouble(), 20000.0);
    EXPECT_GT(read.value(QStringLiteral("rss_mb")).toDouble(), 0);
    EXPECT_GT(row(QStringLiteral("BM_PointNameCacheHit100k") + suffix).value(QStringLiteral("cached_names")).toDouble(),
              0);
    EXPECT_GT(row(QStringLiteral("BM_PointNameCacheMiss100k") + suffix).value(QStringLiteral("real_time")).toDouble(),
              0);
    EXPECT_TRUE(run.out.contains(QStringLiteral("load per point, 20000 / 10000 points"))) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("a point name resolved before (cache) / a new one (server)")));
}

TEST(MvbenchTest, AMaximumPlantSizeThatIsNoNumberEndsTheRunWithAReason)
{
    for (const char* cap : {"many", "0", "1000001"}) {
        const Outcome run = mvbench({QStringLiteral("--benchmark_filter=BM_LoadPlant")},
                                    {{QStringLiteral("MVBENCH_PLANT_MAX_POINTS"), QLatin1String(cap)}});
        EXPECT_EQ(run.exitCode, 2) << cap;
        EXPECT_TRUE(run.err.contains(QStringLiteral("MVBENCH_PLANT_MAX_POINTS must be a whole number from 1 to "
                                                    "1000000, not '%1'").arg(QLatin1String(cap))))
            << run.err.toStdString();
        EXPECT_FALSE(run.out.contains(QStringLiteral("BM_LoadPlant"))) << "nothing is measured";
    }
}

TEST(MvbenchTest, PlantRowsReportLoadCostPerPointMemoryAndNameCache)
{
    runPlantRows(QStringLiteral("embedded"), QString());
}

TEST(MvbenchRedisTest, PlantRowsReportLoadCostPerPointAndLeaveTheSamplePlantAlone)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    runPlantRows(QString::fromStdString(server.address()), QStringLiteral("Redis"));
    // The sample plant's 1500 analog points and 4014 names, nothing generated.
    EXPECT_EQ(server.command({"ZCARD", "dravo:type:ANALOG"}), "1500");
    EXPECT_EQ(server.command({"ZCARD", "dravo:type:NAMEINDEX"}), "4014");
}

} // namespace

int main(int argc, char* argv[])
{
    // QProcess wants an application object.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// plantgen_test.cpp: the plant generator and its command line.
//
// A generated plant of a few thousand points loads into the embedded server
// with the counts its shape gives and is found by its names; reading the
// file back gives exactly the plant that was generated; the same number of
// points gives the same bytes; the largest plant keeps every id in its
// kind's range and fits the plant reader's file size. plantgen runs as a
// process: it writes a plant file that loads, and a bad command line or an
// unwritable file gets a clear message and a non-zero exit.
#include "isolatedsettings.h"
#include "plantgenerator.h"
#include "plantwriter.h"
#include "redisserver.h"

#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr int kPoints = 3000;

std::string readAll(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

// Generates the plant of that many points and writes it into the folder.
std::string writeGenerated(const QTemporaryDir& dir, int points, const char* name)
{
    MVPlant::Plant plant;
    std::string error;
    const std::string path = dir.filePath(QString::fromLatin1(name)).toStdString();
    EXPECT_TRUE(plantgen::generatePlant(points, plant, &error)) << error;
    EXPECT_TRUE(plantgen::writePlantFile(plant, path, &error)) << error;
    return path;
}

MVPlant::Plant generated(int points)
{
    MVPlant::Plant plant;
    std::string error;
    EXPECT_TRUE(plantgen::generatePlant(points, plant, &error)) << error;
    return plant;
}

// ---- Field by field comparison of two plants --------------------------------

void expectSamePoint(const MVPlant::Point& a, const MVPlant::Point& b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.rtuId, b.rtuId) << a.name;
    EXPECT_EQ(a.stationId, b.stationId) << a.name;
    EXPECT_EQ(a.channelId, b.channelId) << a.name;
    EXPECT_EQ(a.address, b.address) << a.name;
    EXPECT_EQ(a.description, b.description) << a.name;
    EXPECT_EQ(a.tag, b.tag) << a.name;
    EXPECT_EQ(a.quality, b.quality) << a.name;
    EXPECT_EQ(a.scanEnable, b.scanEnable) << a.name;
    EXPECT_EQ(a.alarmEnable, b.alarmEnable) << a.name;
}

void expectSame(const MVPlant::StatusPoint& a, const MVPlant::StatusPoint& b)
{
    expectSamePoint(a, b);
    EXPECT_EQ(a.state, b.state) << a.name;
    EXPECT_EQ(a.normalState, b.normalState) << a.name;
    EXPECT_EQ(a.alarmPriority, b.alarmPriority) << a.name;
}

void expectSame(const MVPlant::AnalogPoint& a, const MVPlant::AnalogPoint& b)
{
    expectSamePoint(a, b);
    EXPECT_EQ(a.value, b.value) << a.name;
    EXPECT_EQ(a.unit, b.unit) << a.name;
    EXPECT_EQ(a.lowLowLimit, b.lowLowLimit) << a.name;
    EXPECT_EQ(a.lowLimit, b.lowLimit) << a.name;
    EXPECT_EQ(a.highLimit, b.highLimit) << a.name;
    EXPECT_EQ(a.highHighLimit, b.highHighLimit) << a.name;
    EXPECT_EQ(a.rangeLow, b.rangeLow) << a.name;
    EXPECT_EQ(a.rangeHigh, b.rangeHigh) << a.name;
    EXPECT_EQ(a.deadband, b.deadband) << a.name;
    EXPECT_EQ(a.rocLimit, b.rocLimit) << a.name;
}

void expectSame(const MVPlant::TextPoint& a, const MVPlant::TextPoint& b)
{
    expectSamePoint(a, b);
    EXPECT_EQ(a.value, b.value) << a.name;
    EXPECT_EQ(a.dataFormat, b.dataFormat) << a.name;
}

void expectSame(const MVPlant::Station& a, const MVPlant::Station& b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.description, b.description);
    EXPECT_EQ(a.tag, b.tag);
}

void expectSame(const MVPlant::Channel& a, const MVPlant::Channel& b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.stationId, b.stationId);
    EXPECT_EQ(a.driverId, b.driverId);
    EXPECT_EQ(a.protocol, b.protocol);
    EXPECT_EQ(a.primaryAddress, b.primaryAddress);
    EXPECT_EQ(a.secondaryAddress, b.secondaryAddress);
    EXPECT_EQ(a.description, b.description);
}

void expectSame(const MVPlant::RemoteUnit& a, const MVPlant::RemoteUnit& b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.channelId, b.channelId);
    EXPECT_EQ(a.stationId, b.stationId);
    EXPECT_EQ(a.address, b.address);
    EXPECT_EQ(a.tag, b.tag);
    EXPECT_EQ(a.quality, b.quality);
    EXPECT_EQ(a.scanEnable, b.scanEnable);
    EXPECT_EQ(a.description, b.description);
}

template <typename T>
void expectSameList(const std::vector<T>& read, const std::vector<T>& made, const char* what)
{
    ASSERT_EQ(read.size(), made.size()) << what;
    for (std::size_t i = 0; i < read.size(); ++i)
        expectSame(read[i], made[i]);
}

// ---- The generator -------------------------------------------------------------

class PlantGeneratorTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { mvtest::useIsolatedSettings("plantgen_test"); }

    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }
    void TearDown() override { DravoPlus::DisConnectMid(nullptr); }

    QTemporaryDir m_dir;
};

TEST_F(PlantGeneratorTest, ShapeHasATenthStatusATwentiethTextAndTheRestAnalog)
{
    const plantgen::PlantShape shape = plantgen::shapeOf(kPoints);
    EXPECT_EQ(shape.statusPoints, 300);
    EXPECT_EQ(shape.textPoints, 150);
    EXPECT_EQ(shape.analogPoints, 2550);
    EXPECT_EQ(shape.remoteUnits, 12);   // 250 points each
    EXPECT_EQ(shape.channels, 3);       // 4 RTUs each
    EXPECT_EQ(shape.stations, 1);       // 16 RTUs each
}

TEST_F(PlantGeneratorTest, GeneratedPlantLoadsWithTheExpectedCountsAndIsFoundByName)
{
    const std::string path = writeGenerated(m_dir, kPoints, "plant.json");
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(path.c_str(), &summary, &error), DRAVO_OK) << error;
    EXPECT_EQ(summary.stations, 1);
    EXPECT_EQ(summary.channels, 3);
    EXPECT_EQ(summary.remoteUnits, 12);
    EXPECT_EQ(summary.statusPoints, 300);
    EXPECT_EQ(summary.analogPoints, 2550);
    EXPECT_EQ(summary.textPoints, 150);
    // Every object and its name-index record, and ":marker".
    EXPECT_EQ(summary.records, 2 * (1 + 3 + 12 + kPoints) + 1);

    const MVPlant::Plant plant = generated(kPoints);
    const MVPlant::AnalogPoint& last = plant.analogPoints.back();
    DravoData index;
    ASSERT_EQ(DravoPlus::GetDataPoint(last.name.c_str(), index, nullptr, nullptr), DRAVO_OK) << last.name;
    std::int32_t id = 0;
    index.GetValue("id", id);
    EXPECT_EQ(id, last.id);
    DravoData record;
    ASSERT_EQ(DravoPlus::GetDataPoint(("ANALOG" + std::to_string(last.id)).c_str(), record, nullptr, nullptr),
              DRAVO_OK);
    double value = 0;
    record.GetValue("lastvalue", value);
    EXPECT_EQ(value, last.value);
    EXPECT_GT(value, 0.0) << "measured values come from the point's id, not zero";
}

// A plant far larger than one write goes to a Redis server batch by batch,
// in the order the records are made (text points and the marker last). A
// batch the server refuses part-way stops the load there, and the error
// says how much of the plant was written.
TEST_F(PlantGeneratorTest, LargePlantGoesToRedisInBatchesAndARefusalPartWaySaysHowMuchWasWritten)
{
    mvtest::RedisServer server;
    ASSERT_TRUE(server.isRunning()) << server.error();
    ASSERT_EQ(DravoPlus::updateServerSetting(nullptr, server.address().c_str(), ""), DRAVO_OK);
    struct EmbeddedAgain {
        ~EmbeddedAgain()
        {
            DravoPlus::DisConnectMid(nullptr);
            DravoPlus::updateServerSetting(nullptr, "embedded", "");
        }
    } embeddedAgain;
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);

    constexpr int kLargePoints = 12000;   // over 24,000 records: three writes
    const std::string path = writeGenerated(m_dir, kLargePoints, "large.json");
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(path.c_str(), &summary, &error), DRAVO_OK) << error;
    const plantgen::PlantShape shape = plantgen::shapeOf(kLargePoints);
    const int records = summary.records;
    EXPECT_EQ(records, 2 * (shape.stations + shape.channels + shape.remoteUnits + kLargePoints) + 1);
    ASSERT_GT(records, 20000);
    EXPECT_EQ(server.command({"HLEN", "dravo:typeof"}), std::to_string(records));
    EXPECT_EQ(server.command({"ZCARD", "dravo:type:TEXT"}), std::to_string(summary.textPoints));

    // The text points' list damaged: the write holding them is refused.
    ASSERT_EQ(server.command({"DEL", "dravo:type:TEXT"}), "1");
    ASSERT_EQ(server.command({"SET", "dravo:type:TEXT", "not a list"}), "OK");
    ASSERT_EQ(server.command({"DEL", "dravo:rec::marker"}), "1");
    EXPECT_EQ(MVPlant::LoadPlant(path.c_str(), &summary, &error), DRAVO_MALFORMED);
    EXPECT_NE(error.find("the plant was written only in part, 20000 of " + std::to_string(records) + " records"),
              std::string::npos)
        << error;
    EXPECT_EQ(summary.records, 0);
    EXPECT_EQ(server.command({"EXISTS", "dravo:rec::marker"}), "0") << "the marker comes only with the whole plant";
}

TEST_F(PlantGeneratorTest, ReadingTheFileBackGivesTheGeneratedPlant)
{
    const std::string path = writeGenerated(m_dir, kPoints, "plant.json");
    MVPlant::Plant read;
    std::string error;
    ASSERT_EQ(MVPlant::ReadPlant(path.c_str(), read, &error), DRAVO_OK) << error;
    const MVPlant::Plant made = generated(kPoints);
    EXPECT_EQ(read.name, made.name);
    EXPECT_EQ(read.description, made.description);
    expectSameList(read.stations, made.stations, "stations");
    expectSameList(read.channels, made.channels, "channels");
    expectSameList(read.remoteUnits, made.remoteUnits, "remote units");
    expectSameList(read.statusPoints, made.statusPoints, "status points");
    expectSameList(read.analogPoints, made.analogPoints, "analog points");
    expectSameList(read.textPoints, made.textPoints, "text points");
}

TEST_F(PlantGeneratorTest, PointsVaryWithinTheirRtuAndNamesAreUnique)
{
    const MVPlant::Plant plant = generated(kPoints);
    std::set<std::string> names;
    std::set<double> values;
    std::set<std::string> units;
    for (const auto& p : plant.statusPoints)
        names.insert(p.name);
    for (const auto& p : plant.analogPoints) {
        names.insert(p.name);
        values.insert(p.value);
        units.insert(p.unit);
    }
    for (const auto& p : plant.textPoints)
        names.insert(p.name);
    EXPECT_EQ(names.size(), static_cast<std::size_t>(kPoints));
    EXPECT_GT(values.size(), 2000u);
    EXPECT_EQ(units.size(), 8u);
    EXPECT_EQ(plant.statusPoints.front().name, "Station0001.RTU01.Bay001.CB.Position");
    EXPECT_EQ(plant.remoteUnits.back().name, "Station0001-RTU12");
    EXPECT_EQ(plant.channels.front().name, "Station0001-IEC104-A");
}

TEST_F(PlantGeneratorTest, SameNumberOfPointsGivesTheSameBytes)
{
    const std::string first = readAll(writeGenerated(m_dir, kPoints, "first.json"));
    const std::string second = readAll(writeGenerated(m_dir, kPoints, "second.json"));
    const std::string other = readAll(writeGenerated(m_dir, kPoints + 1, "other.json"));
    ASSERT_FALSE(first.empty());
    EXPECT_TRUE(first == second) << "two files of " << kPoints << " points differ";
    EXPECT_FALSE(first == other);
}

TEST_F(PlantGeneratorTest, LargestPlantKeepsItsIdsInRangeAndFitsTheReader)
{
    const MVPlant::Plant plant = generated(plantgen::kMaxPoints);
    ASSERT_EQ(plant.statusPoints.size(), 100000u);
    EXPECT_EQ(plant.statusPoints.back().id, MVPlant::kStatusLast);
    EXPECT_TRUE(MVPlant::isAnalogId(plant.analogPoints.back().id));
    EXPECT_TRUE(MVPlant::isTextId(plant.textPoints.front().id));
    EXPECT_LE(plant.remoteUnits.back().id, 32767) << "a point keeps its RTU in 16 bits";

    std::string error;
    const std::string path = m_dir.filePath(QStringLiteral("million.json")).toStdString();
    ASSERT_TRUE(plantgen::writePlantFile(plant, path, &error)) << error;
    // The plant reader refuses files over 256 MiB.
    EXPECT_LT(std::filesystem::file_size(path), 256u * 1024u * 1024u);
}

TEST_F(PlantGeneratorTest, NumbersOutsideTheRangeAreRefusedWithAReason)
{
    for (int points : {0, -5, plantgen::kMaxPoints + 1}) {
        MVPlant::Plant plant;
        std::string error;
        EXPECT_FALSE(plantgen::generatePlant(points, plant, &error)) << points;
        EXPECT_NE(error.find("1 to 1000000 points"), std::string::npos) << error;
        EXPECT_TRUE(plant.statusPoints.empty() && plant.stations.empty());
    }
}

TEST_F(PlantGeneratorTest, UnwritableFileAndNonFiniteNumbersAreRefusedWithAReason)
{
    const MVPlant::Plant plant = generated(10);
    std::string error;
    EXPECT_FALSE(plantgen::writePlantFile(plant, m_dir.filePath(QStringLiteral("no/such/dir.json")).toStdString(),
                                          &error));
    EXPECT_NE(error.find("cannot write the file"), std::string::npos) << error;

    MVPlant::Plant broken = plant;
    broken.analogPoints.front().highLimit = std::numeric_limits<float>::infinity();
    const std::string path = m_dir.filePath(QStringLiteral("broken.json")).toStdString();
    EXPECT_FALSE(plantgen::writePlantFile(broken, path, &error));
    EXPECT_NE(error.find("'highLimit' is not a finite number"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(path)) << "no half-written plant file is left";
}

// ---- The command line ----------------------------------------------------------

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

Outcome plantgenRun(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(PLANTGEN_PATH), arguments);
    Outcome run;
    if (!process.waitForStarted(30000) || !process.waitForFinished(120000))
        process.kill();
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

TEST(PlantgenCommandTest, WritesAPlantFileThatReads)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("plant.json"));
    const Outcome run = plantgenRun({QStringLiteral("--points"), QStringLiteral("2000"), QStringLiteral("-o"), path});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("2000 points (200 status, 1700 analog, 100 text) on 8 RTUs")))
        << run.out.toStdString();
    MVPlant::Plant plant;
    std::string error;
    ASSERT_EQ(MVPlant::ReadPlant(path.toStdString().c_str(), plant, &error), DRAVO_OK) << error;
    EXPECT_EQ(plant.statusPoints.size() + plant.analogPoints.size() + plant.textPoints.size(), 2000u);
}

TEST(PlantgenCommandTest, BadCommandLinesGetAMessageAndExitCodeTwo)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("plant.json"));
    const struct {
        QStringList arguments;
        const char* message;
    } cases[] = {
        {{}, "give the number of points with --points"},
        {{QStringLiteral("--points"), QStringLiteral("100")}, "give the file to write with -o"},
        {{QStringLiteral("--points"), QStringLiteral("many"), QStringLiteral("-o"), path},
         "--points must be a whole number from 1 to 1000000, not 'many'"},
        {{QStringLiteral("--points"), QStringLiteral("0"), QStringLiteral("-o"), path},
         "--points must be a whole number from 1 to 1000000, not '0'"},
        {{QStringLiteral("--points"), QStringLiteral("1000001"), QStringLiteral("-o"), path},
         "--points must be a whole number from 1 to 1000000, not '1000001'"},
        {{QStringLiteral("--points=10"), QStringLiteral("-o"), path, QStringLiteral("extra")},
         "unexpected argument 'extra'"},
        {{QStringLiteral("--stations"), QStringLiteral("3")}, "Unknown option 'stations'"},
        {{QStringLiteral("--points")}, "Missing value after '--points'"},
    };
    for (const auto& c : cases) {
        const Outcome run = plantgenRun(c.arguments);
        EXPECT_EQ(run.exitCode, 2) << c.arguments.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(QLatin1String(c.message))) << run.err.toStdString();
        EXPECT_TRUE(run.err.contains(QStringLiteral("Usage:"))) << run.err.toStdString();
    }
    EXPECT_FALSE(QFile::exists(path)) << "nothing is written for a bad command line";
}

TEST(PlantgenCommandTest, AnUnwritableFileGetsAMessageAndExitCodeOne)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("missing/plant.json"));
    const Outcome run = plantgenRun({QStringLiteral("--points"), QStringLiteral("10"), QStringLiteral("-o"), path});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(path + QStringLiteral(": cannot write the file: No such file or directory")))
        << run.err.toStdString();
}

} // namespace

int main(int argc, char* argv[])
{
    // QProcess wants an application object.
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

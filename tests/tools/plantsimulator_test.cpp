// plantsimulator_test.cpp: the plant played in software, in this process on
// the embedded runtime server: the sample plant loaded and read back, a
// driver per driver number answering controls, a field that moves at the set
// rate with every change reaching an operator application, and points
// replaced by hand left alone by the field.
#include "plantsimulator.h"
#include "simulatedfielddriver.h"
#include "eventwait.h"
#include "isolatedsettings.h"

#include <MVShared/MorvaneChangeEvent.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>

namespace {

const QString kPlant = QStringLiteral(MV_SAMPLE_PLANT);

// Results come through queued connections: waits keep the event loop turning.
bool waitUntil(const std::function<bool()>& done)
{
    return mvtest::waitUntil(done, std::chrono::seconds(20));
}

double lastValue(const char* name)
{
    DravoData record;
    EXPECT_EQ(DravoPlus::GetDataPoint(name, record, nullptr, nullptr), DRAVO_OK) << name;
    return record.GetDoubleValue("lastvalue");
}

class PlantSimulatorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mvtest::useIsolatedSettings("plantsim-test-settings");
        DravoPlus::SetWaitScale(0.01);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    }

    void TearDown() override { DravoPlus::DisConnectMid(nullptr); }

    static PlantSimulator::Settings sample(int rate)
    {
        PlantSimulator::Settings settings;
        settings.plantPath = kPlant;
        settings.changesPerSecond = rate;
        return settings;
    }

    // Starts the simulator and finds the sample plant's pump speed set-point
    // with the driver and channel that serve it.
    static void startWithPumpSetpoint(PlantSimulator& simulator, const PlantPoint*& setpoint, int& driver,
                                      int& channel)
    {
        QString error;
        ASSERT_TRUE(simulator.start(&error)) << error.toStdString();
        setpoint = simulator.plant().findPoint(QStringLiteral("Millbrook.PumpHall.Pump1.SpeedSetpoint"));
        ASSERT_NE(setpoint, nullptr);
        ASSERT_TRUE(simulator.plant().route(setpoint->rtuId, driver, channel));
    }
};

TEST_F(PlantSimulatorTest, StartLoadsThePlantAndReadsItBack)
{
    PlantSimulator simulator(sample(0));
    QString error;
    ASSERT_TRUE(simulator.start(&error)) << error.toStdString();
    const PlantIndex& plant = simulator.plant();
    EXPECT_EQ(plant.status.size(), 2000);
    EXPECT_EQ(plant.analog.size(), 1500);
    EXPECT_EQ(plant.text.size(), 500);
    EXPECT_EQ(plant.remoteUnits.size(), 8);
    EXPECT_EQ(plant.channels.size(), 4);
    const PlantPoint* breaker = plant.findPoint(QStringLiteral("KestrelHill.33kV.Feeder01.CB.Position"));
    ASSERT_NE(breaker, nullptr);
    EXPECT_EQ(breaker->id, 100091);
    int driver = 0;
    int channel = 0;
    ASSERT_TRUE(plant.route(breaker->rtuId, driver, channel));
    EXPECT_GE(driver, 1);
    EXPECT_LE(driver, 4);
}

TEST_F(PlantSimulatorTest, EveryDriverNumberOfThePlantIsServed)
{
    PlantSimulator simulator(sample(0));
    QString error;
    ASSERT_TRUE(simulator.start(&error)) << error.toStdString();
    for (int number = 1; number <= 4; ++number) {
        ASSERT_NE(simulator.driver(number), nullptr) << number;
        EXPECT_TRUE(simulator.driver(number)->isRunning());
        EXPECT_EQ(simulator.driver(number)->target(), QStringLiteral("Driver%1").arg(number));
    }
    EXPECT_EQ(simulator.driver(5), nullptr);
}

TEST_F(PlantSimulatorTest, AControlIsAnsweredByTheSimulatedDriver)
{
    PlantSimulator simulator(sample(0));
    const PlantPoint* setpoint = nullptr;
    int driver = 0;
    int channel = 0;
    ASSERT_NO_FATAL_FAILURE(startWithPumpSetpoint(simulator, setpoint, driver, channel));

    ScadaRuntimeInterface runtime(QString{});
    runtime.installSlot();
    const Morvane::RemoteSystemResult result = runtime.controlAo(setpoint->id, driver, channel, 42.5, false);
    runtime.prepareClose();
    EXPECT_EQ(result.kind, 0);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(simulator.counters().commandsAnswered, 1);
    EXPECT_DOUBLE_EQ(lastValue(("ANALOG" + std::to_string(setpoint->id)).c_str()), 42.5);
}

// "cnt" is the caller's word; the entries are what the request carries. A
// sequence claiming 2147483647 entries with one inside is answered at once
// with that one entry applied, and the driver goes on to the next control.
TEST_F(PlantSimulatorTest, ASequenceClaimingMoreEntriesThanItCarriesIsAnsweredAtOnce)
{
    PlantSimulator simulator(sample(0));
    const PlantPoint* setpoint = nullptr;
    int driver = 0;
    int channel = 0;
    ASSERT_NO_FATAL_FAILURE(startWithPumpSetpoint(simulator, setpoint, driver, channel));

    DravoData entry("ANALOG_ID_VALUE");
    entry.PutValue("pid", static_cast<std::int32_t>(setpoint->id));
    entry.PutValue("value", 17.25);
    DravoData param("REMOTE_AO_SEQUENCE_COMMAND");
    param.PutValue("cnt", std::numeric_limits<std::int32_t>::max());
    param.PutValue("device", std::int32_t{0});
    param.PutValue("values[0]", entry);
    DravoData envelope("REMOTE_COMMAND2");
    envelope.PutValue("cmdCode", std::int32_t{3});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channel));

    QElapsedTimer timer;
    timer.start();
    DravoHandle handle = 0;
    const std::string target = "Driver" + std::to_string(driver);
    ASSERT_EQ(DravoPlus::SendPacket(target.c_str(), envelope, handle, DRAVO_PACKET_REPLY | DRAVO_PACKET_PRESENT),
              DRAVO_OK);
    DravoData reply;
    EXPECT_EQ(DravoPlus::WaitReply(handle, reply, 200), DRAVO_OK);
    DravoPlus::DisConnect(handle);
    EXPECT_LT(timer.elapsed(), 2000);
    EXPECT_DOUBLE_EQ(lastValue(("ANALOG" + std::to_string(setpoint->id)).c_str()), 17.25);

    ScadaRuntimeInterface runtime(QString{});
    runtime.installSlot();
    const Morvane::RemoteSystemResult next = runtime.controlAo(setpoint->id, driver, channel, 42.5, false);
    runtime.prepareClose();
    EXPECT_EQ(next.kind, 0);
    EXPECT_EQ(next.code, 0);
    EXPECT_EQ(simulator.counters().commandsAnswered, 2);
    EXPECT_DOUBLE_EQ(lastValue(("ANALOG" + std::to_string(setpoint->id)).c_str()), 42.5);
}

TEST_F(PlantSimulatorTest, FieldChangesReachAnOperatorApplicationAtTheSetRate)
{
    PlantSimulator simulator(sample(2000));
    MorvaneChangeEvent receiver;
    std::atomic<long> received{0};
    QObject context;
    for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                        &MorvaneChangeEvent::textChanged})
        QObject::connect(&receiver, signal, &context, [&](const QList<DravoData>& l) { received += l.size(); },
                         Qt::QueuedConnection);
    receiver.init();
    receiver.start();
    QString error;
    ASSERT_TRUE(simulator.start(&error)) << error.toStdString();

    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(waitUntil([&] { return simulator.counters().changesWritten >= 3000; }));
    const double seconds = timer.elapsed() / 1000.0;
    simulator.setChangesPerSecond(0);
    const long long written = simulator.counters().changesWritten;
    // About 2000 a second: a loaded machine may fall behind, never ahead.
    EXPECT_GE(seconds, 1.2) << "the field ran ahead of its rate";
    EXPECT_TRUE(waitUntil([&] { return received.load() >= simulator.counters().changesWritten; }))
        << received.load() << " of " << simulator.counters().changesWritten;
    EXPECT_EQ(simulator.counters().writeFailures, 0);
    EXPECT_GE(simulator.counters().changesPacked, written);
    receiver.shutDown();
}

TEST_F(PlantSimulatorTest, APointReplacedByHandIsLeftAloneByTheField)
{
    PlantSimulator simulator(sample(4000));
    QString error;
    ASSERT_TRUE(simulator.start(&error)) << error.toStdString();
    const int id = simulator.plant().analog.first().id;
    const std::string name = "ANALOG" + std::to_string(id);

    ScadaRuntimeInterface runtime(QString{});
    runtime.installSlot();
    ASSERT_EQ(runtime.manualReplace(id, QVariant(123.5)), 0);
    ASSERT_TRUE(waitUntil([&] { return simulator.isHeld(id); }));
    const long long before = simulator.counters().changesWritten;
    ASSERT_TRUE(waitUntil([&] { return simulator.counters().changesWritten >= before + 8000; }));
    EXPECT_DOUBLE_EQ(lastValue(name.c_str()), 123.5);
    EXPECT_EQ(simulator.counters().pointsHeld, 1);

    ASSERT_EQ(runtime.manualReplaceRelease(id), 0);
    EXPECT_TRUE(waitUntil([&] { return !simulator.isHeld(id); }));
    runtime.prepareClose();
}

TEST_F(PlantSimulatorTest, StopEndsTheFieldTheDriversAndTheConcentratorPromptly)
{
    PlantSimulator simulator(sample(1000));
    QString error;
    ASSERT_TRUE(simulator.start(&error)) << error.toStdString();
    ASSERT_TRUE(waitUntil([&] { return simulator.counters().changesWritten > 100; }));
    QElapsedTimer timer;
    timer.start();
    simulator.stop();
    EXPECT_LT(timer.elapsed(), 3000);
    EXPECT_FALSE(simulator.isRunning());
    const long long written = simulator.counters().changesWritten;
    QThread::msleep(200);
    EXPECT_EQ(simulator.counters().changesWritten, written);
    // The driver numbers are free again for another simulator.
    SimulatedFieldDriver driver(1);
    EXPECT_EQ(driver.start(), DRAVO_OK);
    driver.stop();
}

TEST_F(PlantSimulatorTest, WithoutAPlantOnTheServerStartFailsAndSaysSo)
{
    DravoDataList loaded;
    DravoPlus::GetDataPointByTypeName("STATUS", loaded, nullptr, nullptr);
    if (!loaded.isEmpty())
        GTEST_SKIP() << "an earlier test of this process loaded a plant into the embedded server";
    PlantSimulator::Settings settings;
    PlantSimulator simulator(settings);
    QString error;
    EXPECT_FALSE(simulator.start(&error));
    EXPECT_EQ(error, QStringLiteral("the runtime server holds no plant"));
    EXPECT_FALSE(simulator.isRunning());
}

TEST_F(PlantSimulatorTest, ABadPlantFileFailsWithTheReason)
{
    PlantSimulator::Settings settings;
    settings.plantPath = QStringLiteral("/nonexistent/plant.json");
    PlantSimulator simulator(settings);
    QString error;
    EXPECT_FALSE(simulator.start(&error));
    EXPECT_TRUE(error.contains(QStringLiteral("/nonexistent/plant.json"))) << error.toStdString();
    EXPECT_TRUE(error.contains(QStringLiteral("code 2012"))) << error.toStdString();
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// plantreader_test.cpp: reading a plant file into its structure (ReadPlant).
//
// The sample plant reads with its counts and every object's fields as the
// file gives them (absent members at their defaults, a point's station and
// channel those of its RTU); reading reaches no server. A bad file gives the
// loader's error (the path, the object, the problem) and an empty structure.
#include <DravoPlus/DravoPlusTesting.h>
#include <MVPlant/Plant.h>

#include "plantfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using planttest::writePlant;

const std::string kSamplePlant = MV_SAMPLE_PLANT;

class PlantReaderTest : public ::testing::Test
{
protected:
    // Plant files go to the tests' folder; the process uses the embedded
    // server whatever the developer's own settings say.
    static void SetUpTestSuite() { planttest::plantFolder(); }

    static MVPlant::Plant readSample()
    {
        MVPlant::Plant plant;
        std::string error;
        EXPECT_EQ(MVPlant::ReadPlant(kSamplePlant.c_str(), plant, &error), DRAVO_OK) << error;
        EXPECT_TRUE(error.empty()) << error;
        return plant;
    }

    static bool isEmpty(const MVPlant::Plant& plant)
    {
        return plant.name.empty() && plant.description.empty() && plant.stations.empty() && plant.channels.empty()
            && plant.remoteUnits.empty() && plant.statusPoints.empty() && plant.analogPoints.empty()
            && plant.textPoints.empty();
    }

    // A structure with something in it, to see that a failed read empties it.
    static MVPlant::Plant stalePlant()
    {
        MVPlant::Plant plant;
        plant.name = "stale";
        plant.stations.push_back(MVPlant::Station{7, "Old", "", 0});
        plant.statusPoints.emplace_back();
        return plant;
    }

};


TEST_F(PlantReaderTest, SamplePlantReadsWithItsCounts)
{
    const MVPlant::Plant plant = readSample();
    EXPECT_EQ(plant.name, "Kestrel Valley");
    EXPECT_EQ(plant.description.rfind("Sample plant of two stations", 0), 0u) << plant.description;
    EXPECT_EQ(plant.stations.size(), 2u);
    EXPECT_EQ(plant.channels.size(), 4u);
    EXPECT_EQ(plant.remoteUnits.size(), 8u);
    EXPECT_EQ(plant.statusPoints.size(), 2000u);
    EXPECT_EQ(plant.analogPoints.size(), 1500u);
    EXPECT_EQ(plant.textPoints.size(), 500u);
}

TEST_F(PlantReaderTest, ObjectsKeepTheFilesOrder)
{
    const MVPlant::Plant plant = readSample();
    ASSERT_EQ(plant.statusPoints.size(), 2000u);
    EXPECT_EQ(plant.statusPoints.front().id, 100001);
    EXPECT_EQ(plant.statusPoints.back().id, 102000);
    EXPECT_EQ(plant.analogPoints.back().id, 201500);
    EXPECT_EQ(plant.textPoints.back().id, 3000500);
    EXPECT_EQ(plant.remoteUnits.back().name, "Millbrook-PLC-Dosing");
}

TEST_F(PlantReaderTest, StationChannelAndRemoteUnitHoldTheFilesFields)
{
    const MVPlant::Plant plant = readSample();
    ASSERT_EQ(plant.stations.size(), 2u);
    const MVPlant::Station& station = plant.stations[0];
    EXPECT_EQ(station.id, 1);
    EXPECT_EQ(station.name, "KestrelHill");
    EXPECT_EQ(station.description, "Kestrel Hill 132/33 kV substation");
    EXPECT_EQ(station.tag, 0u);

    ASSERT_EQ(plant.channels.size(), 4u);
    const MVPlant::Channel& channel = plant.channels[3];
    EXPECT_EQ(channel.id, 4);
    EXPECT_EQ(channel.name, "Millbrook-ModbusTCP");
    EXPECT_EQ(channel.stationId, 2);
    EXPECT_EQ(channel.driverId, 4);
    EXPECT_EQ(channel.protocol, "ModbusTCP");
    EXPECT_EQ(channel.primaryAddress, "10.30.1.40:502");
    EXPECT_EQ(channel.secondaryAddress, "");
    EXPECT_EQ(channel.description, "Reservoir RTU and dosing PLC");

    ASSERT_EQ(plant.remoteUnits.size(), 8u);
    const MVPlant::RemoteUnit& rtu = plant.remoteUnits[6];
    EXPECT_EQ(rtu.id, 7);
    EXPECT_EQ(rtu.name, "Millbrook-RTU-Reservoir");
    EXPECT_EQ(rtu.channelId, 4);
    EXPECT_EQ(rtu.stationId, 2);
    EXPECT_EQ(rtu.address, 1);
    EXPECT_EQ(rtu.tag, 1u);
    EXPECT_EQ(rtu.quality, 0);
    EXPECT_TRUE(rtu.scanEnable);
}

TEST_F(PlantReaderTest, PointsHoldTheFilesFieldsAndTheirRtusStationAndChannel)
{
    const MVPlant::Plant plant = readSample();
    ASSERT_FALSE(plant.statusPoints.empty());
    const MVPlant::StatusPoint& breaker = plant.statusPoints[0];
    EXPECT_EQ(breaker.id, 100001);
    EXPECT_EQ(breaker.name, "KestrelHill.132kV.Line1.CB.Position");
    EXPECT_EQ(breaker.rtuId, 1);
    EXPECT_EQ(breaker.stationId, 1);
    EXPECT_EQ(breaker.channelId, 1);
    EXPECT_EQ(breaker.address, 1001);
    EXPECT_EQ(breaker.state, 1);
    EXPECT_EQ(breaker.normalState, 1);
    EXPECT_EQ(breaker.alarmPriority, 1);
    EXPECT_EQ(breaker.tag, 0u);
    EXPECT_TRUE(breaker.scanEnable);
    EXPECT_TRUE(breaker.alarmEnable);
    EXPECT_EQ(breaker.description, "Ravensworth 132 kV line circuit breaker closed");

    ASSERT_FALSE(plant.analogPoints.empty());
    const MVPlant::AnalogPoint& power = plant.analogPoints[0];
    EXPECT_EQ(power.id, 200001);
    EXPECT_EQ(power.name, "KestrelHill.132kV.Line1.P");
    EXPECT_DOUBLE_EQ(power.value, 34.624);
    EXPECT_EQ(power.unit, "MW");
    EXPECT_FLOAT_EQ(power.lowLowLimit, -130.0f);
    EXPECT_FLOAT_EQ(power.lowLimit, -110.0f);
    EXPECT_FLOAT_EQ(power.highLimit, 110.0f);
    EXPECT_FLOAT_EQ(power.highHighLimit, 130.0f);
    EXPECT_FLOAT_EQ(power.rangeLow, -150.0f);
    EXPECT_FLOAT_EQ(power.rangeHigh, 150.0f);
    EXPECT_FLOAT_EQ(power.deadband, 0.5f);
    EXPECT_FLOAT_EQ(power.rocLimit, 0.0f);

    ASSERT_FALSE(plant.textPoints.empty());
    const MVPlant::TextPoint& model = plant.textPoints[0];
    EXPECT_EQ(model.id, 3000001);
    EXPECT_EQ(model.name, "KestrelHill.132kV.Line1.Relay.Model");
    EXPECT_EQ(model.value, "Line distance relay DZ-7");
    EXPECT_EQ(model.dataFormat, 0);
    EXPECT_EQ(model.address, 8001);
}

TEST_F(PlantReaderTest, TaggedPointOfAnotherRtuTakesThatRtusStationAndChannel)
{
    const MVPlant::Plant plant = readSample();
    const MVPlant::StatusPoint* feeder = nullptr;
    for (const MVPlant::StatusPoint& p : plant.statusPoints) {
        if (p.name == "KestrelHill.33kV.Feeder07.CB.Position")
            feeder = &p;
    }
    ASSERT_NE(feeder, nullptr);
    EXPECT_EQ(feeder->id, 100265);
    EXPECT_EQ(feeder->rtuId, 2);
    EXPECT_EQ(feeder->stationId, 1);
    EXPECT_EQ(feeder->channelId, 1);
    EXPECT_EQ(feeder->tag, 1u);
}

TEST_F(PlantReaderTest, AbsentMembersTakeTheirDefaultsAndAnRtuMayNameItsOwnStation)
{
    const std::string path = writePlant("defaults.json", R"({
      "plant": "Defaults",
      "stations": [{"id": 1, "name": "A"}, {"id": 2, "name": "B"}],
      "channels": [{"id": 3, "name": "A-Link", "station": 1, "driver": 9}],
      "remoteUnits": [{"id": 5, "name": "B-RTU", "channel": 3, "station": 2, "address": 0}],
      "points": {"analog": [{"id": 200001, "name": "B.P", "rtu": 5}]}
    })");
    MVPlant::Plant plant;
    std::string error;
    ASSERT_EQ(MVPlant::ReadPlant(path.c_str(), plant, &error), DRAVO_OK) << error;
    EXPECT_TRUE(plant.description.empty());
    ASSERT_EQ(plant.remoteUnits.size(), 1u);
    EXPECT_EQ(plant.remoteUnits[0].stationId, 2);
    EXPECT_TRUE(plant.remoteUnits[0].scanEnable);
    EXPECT_TRUE(plant.statusPoints.empty());
    EXPECT_TRUE(plant.textPoints.empty());
    ASSERT_EQ(plant.analogPoints.size(), 1u);
    const MVPlant::AnalogPoint& p = plant.analogPoints[0];
    EXPECT_EQ(p.stationId, 2);
    EXPECT_EQ(p.channelId, 3);
    EXPECT_EQ(p.address, 0);
    EXPECT_EQ(p.quality, 0);
    EXPECT_TRUE(p.scanEnable);
    EXPECT_TRUE(p.alarmEnable);
    EXPECT_DOUBLE_EQ(p.value, 0.0);
    EXPECT_TRUE(p.unit.empty());
}

TEST_F(PlantReaderTest, BadFileGivesTheErrorAndAnEmptyStructure)
{
    const std::string path = writePlant("bad-rtu.json", R"({
      "plant": "Bad",
      "stations": [{"id": 1, "name": "A"}],
      "channels": [{"id": 3, "name": "A-Link", "station": 1, "driver": 9}],
      "remoteUnits": [{"id": 5, "name": "A-RTU", "channel": 4, "address": 0}],
      "points": {}
    })");
    MVPlant::Plant plant = stalePlant();
    std::string error;
    EXPECT_EQ(MVPlant::ReadPlant(path.c_str(), plant, &error), DRAVO_CONFIG_ERROR);
    EXPECT_EQ(error, path + ": remote unit 'A-RTU' (remoteUnits[0]): refers to unknown channel 4");
    EXPECT_TRUE(isEmpty(plant));
}

TEST_F(PlantReaderTest, MalformedJsonGivesItsPositionAndAnEmptyStructure)
{
    const std::string path = writePlant("broken.json", "{\n  \"plant\": \"X\",,\n}");
    MVPlant::Plant plant = stalePlant();
    std::string error;
    EXPECT_EQ(MVPlant::ReadPlant(path.c_str(), plant, &error), DRAVO_CONFIG_ERROR);
    EXPECT_EQ(error.rfind(path + ": line 2 column ", 0), 0u) << error;
    EXPECT_NE(error.find("parse error"), std::string::npos) << error;
    EXPECT_TRUE(isEmpty(plant));
}

TEST_F(PlantReaderTest, MissingFileAndNoPathGiveTheirErrors)
{
    MVPlant::Plant plant = stalePlant();
    std::string error;
    const std::string missing = (planttest::plantFolder() / "no-such-plant.json").string();
    EXPECT_EQ(MVPlant::ReadPlant(missing.c_str(), plant, &error), DRAVO_CONFIG_ERROR);
    EXPECT_EQ(error.rfind(missing + ": cannot open the file", 0), 0u) << error;
    EXPECT_TRUE(isEmpty(plant));

    plant = stalePlant();
    EXPECT_EQ(MVPlant::ReadPlant(nullptr, plant, &error), DRAVO_BAD_ARGUMENT);
    EXPECT_EQ(error, "(no path): no plant file given");
    EXPECT_TRUE(isEmpty(plant));
}

TEST_F(PlantReaderTest, ReadingWritesNothingToTheServer)
{
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    DravoPlus::SetCallRecording(true);
    DravoPlus::TakeRecordedCalls();
    const MVPlant::Plant plant = readSample();
    DravoPlus::SetCallRecording(false);
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls("PutDataPoints").empty());
    EXPECT_EQ(plant.statusPoints.size(), 2000u);
    for (const char* name : {"STATION1", "STATUS100001", "KestrelHill.132kV.Line1.CB.Position"}) {
        DravoData record;
        EXPECT_EQ(DravoPlus::GetDataPoint(name, record, nullptr, nullptr), DRAVO_NOT_FOUND) << name;
    }
    DravoPlus::DisConnectMid(nullptr);
}

} // namespace

// plant_test.cpp: loading plant files into the point database (LoadPlant).
//
// The sample plant must load with its known counts and read back by name the
// way operator clients find points; every record written must be reachable
// through its name-index record. A bad plant file (malformed JSON, a missing
// or mistyped member, an id out of its kind's range, duplicates, dangling
// references, empty files, directories, binary garbage) must be refused with
// DRAVO_CONFIG_ERROR and a message that names the file and the problem, and
// must leave the point database exactly as it was.
#include <DravoPlus/DravoPlusTesting.h>
#include <MVPlant/Plant.h>

#include "plantfolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using planttest::writePlant;

#ifdef MV_SAMPLE_PLANT
const std::string kSamplePlant = MV_SAMPLE_PLANT;
#else
// tests/plant/plant_test.cpp -> examples/plant.json
const std::string kSamplePlant =
    (fs::path(__FILE__).parent_path().parent_path().parent_path() / "examples" / "plant.json").string();
#endif

// Every record type a plant load writes.
const char* const kPlantTypes[] = {"STATION", "COMMLINK", "REMOTEUNIT", "STATUS", "ANALOG", "TEXT", "NAMEINDEX", "MARKER"};

// A small plant that uses every member of the format once.
const char* const kSmallPlant = R"({
  "plant": "Test bench",
  "description": "two RTUs on one channel",
  "stations": [
    {"id": 1, "name": "Bench", "description": "test bench station", "tag": 4},
    {"id": 2, "name": "Annex"}
  ],
  "channels": [
    {"id": 3, "name": "Bench-Link", "station": 1, "driver": 7, "protocol": "IEC104",
     "primaryAddress": "127.0.0.1:2404", "secondaryAddress": "127.0.0.2:2404", "description": "bench link",
     "comment": "not loaded"}
  ],
  "remoteUnits": [
    {"id": 5, "name": "Bench-RTU1", "channel": 3, "address": 17, "tag": 1, "quality": 2, "description": "first"},
    {"id": 6, "name": "Bench-RTU2", "channel": 3, "station": 2, "address": 18, "scanEnable": false}
  ],
  "points": {
    "status": [
      {"id": 100001, "name": "Bench.Breaker", "rtu": 5, "address": 1001, "state": 1, "normalState": 1,
       "alarmPriority": 2, "description": "bench breaker closed", "tag": 1, "quality": 4,
       "scanEnable": true, "alarmEnable": false}
    ],
    "analog": [
      {"id": 200001, "name": "Bench.Feeder.P", "rtu": 6, "address": 4001, "value": 12.5, "unit": "MW",
       "lowLowLimit": -5, "lowLimit": 0, "highLimit": 50, "highHighLimit": 60, "rangeLow": -100,
       "rangeHigh": 100, "deadband": 0.25, "rocLimit": 3, "description": "feeder active power"}
    ],
    "text": [
      {"id": 3000001, "name": "Bench.RTU1.Firmware", "rtu": 5, "value": "v2.1", "dataFormat": 3},
      {"id": 3000002, "name": "Bench.RTU1.Note", "rtu": 5}
    ]
  }
})";

// The small plant with one piece of text replaced.
std::string smallPlantWith(const std::string& from, const std::string& to)
{
    std::string text = kSmallPlant;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << "the small plant holds no '" << from << "'";
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

std::string fixedText(const DravoData& record, const char* field)
{
    std::string value;
    record.GetValue(field, value);
    return value;
}

class PlantLoadTest : public ::testing::Test
{
protected:
    // Plant files go to the tests' folder; the process uses the embedded
    // server whatever the developer's own settings say.
    static void SetUpTestSuite() { planttest::plantFolder(); }

    void SetUp() override { ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK); }

    void TearDown() override
    {
        DravoPlus::SetCallRecording(false);
        DravoPlus::TakeRecordedCalls();
        DravoPlus::DisConnectMid(nullptr);
    }

    // Records of every type a plant load writes, by data name, with their raw bytes.
    static std::map<std::string, std::string> snapshot()
    {
        std::map<std::string, std::string> all;
        for (const char* type : kPlantTypes) {
            DravoDataList list;
            EXPECT_EQ(DravoPlus::GetDataPointByTypeName(type, list, nullptr, nullptr), DRAVO_OK) << type;
            for (const DravoData& r : list)
                all[r.GetDataName()] = std::string(r.GetRawValue(), static_cast<std::size_t>(r.GetBufferSize()));
        }
        return all;
    }

    // Loads a file that must be refused: DRAVO_CONFIG_ERROR, a message that
    // starts with the path and holds every expected piece, nothing written.
    static void expectRefused(const std::string& path, const std::vector<std::string>& pieces,
                              int expectedCode = DRAVO_CONFIG_ERROR)
    {
        const std::map<std::string, std::string> before = snapshot();
        MVPlant::PlantSummary summary;
        summary.records = -1;
        std::string error;
        DravoPlus::SetCallRecording(true);
        DravoPlus::TakeRecordedCalls();
        EXPECT_EQ(MVPlant::LoadPlant(path.c_str(), &summary, &error), expectedCode) << error;
        DravoPlus::SetCallRecording(false);
        EXPECT_TRUE(DravoPlus::TakeRecordedCalls("PutDataPoints").empty()) << "a refused plant was written";
        EXPECT_EQ(error.rfind(path + ": ", 0), 0u) << error;
        for (const std::string& piece : pieces)
            EXPECT_NE(error.find(piece), std::string::npos) << "'" << piece << "' not in: " << error;
        EXPECT_EQ(summary.records, 0);
        EXPECT_EQ(summary.statusPoints, 0);
        EXPECT_TRUE(snapshot() == before) << "a refused plant changed the point database";
    }

    static void expectRefusedText(const std::string& name, const std::string& content,
                                  const std::vector<std::string>& pieces)
    {
        expectRefused(writePlant(name, content), pieces);
    }

    static DravoData readRecord(const std::string& name)
    {
        DravoData record;
        EXPECT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
        return record;
    }

    // Resolves a name the way operator clients do: the name-index record's raw
    // value begins with the id as a native 32-bit integer.
    static std::int32_t idByName(const std::string& key, std::int32_t expectedObjectType)
    {
        const DravoData index = readRecord(key);
        EXPECT_STREQ(index.GetTypeName(), "NAMEINDEX");
        EXPECT_GE(index.GetBufferSize(), 8);
        std::int32_t id = 0;
        if (index.GetBufferSize() >= 4)
            std::memcpy(&id, index.GetRawValue(), sizeof id);
        EXPECT_EQ(index.GetSignedIntValue("objectType"), expectedObjectType) << key;
        return id;
    }

};


// ---- The sample plant ---------------------------------------------------------

TEST_F(PlantLoadTest, SamplePlantLoadsWithItsCounts)
{
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), &summary, &error), DRAVO_OK) << error;
    EXPECT_TRUE(error.empty());
    EXPECT_EQ(summary.stations, 2);
    EXPECT_EQ(summary.channels, 4);
    EXPECT_EQ(summary.remoteUnits, 8);
    EXPECT_EQ(summary.statusPoints, 2000);
    EXPECT_EQ(summary.analogPoints, 1500);
    EXPECT_EQ(summary.textPoints, 500);
    // Each object's record and its name-index record, and ":marker".
    EXPECT_EQ(summary.records, 2 * (2 + 4 + 8 + 2000 + 1500 + 500) + 1);
}

TEST_F(PlantLoadTest, SamplePointsReadBackByName)
{
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), nullptr, &error), DRAVO_OK) << error;

    // A breaker under a permit to work: control-inhibit tagged.
    const std::string breakerName = "KestrelHill.33kV.Feeder07.CB.Position";
    const std::int32_t breakerId = idByName(breakerName, 0);
    EXPECT_GE(breakerId, 100001);
    EXPECT_LE(breakerId, 200000);
    const DravoData breaker = readRecord("STATUS" + std::to_string(breakerId));
    EXPECT_EQ(breaker.GetSignedIntValue("pid"), breakerId);
    EXPECT_EQ(fixedText(breaker, "fullname"), breakerName);
    EXPECT_EQ(breaker.GetUnSignedIntValue("tag") & 1u, 1u);
    EXPECT_EQ(breaker.GetShortValue("rtuId"), 2);
    EXPECT_EQ(breaker.GetSignedIntValue("stationId"), 1);
    EXPECT_EQ(breaker.GetSignedIntValue("commId"), 1);
    EXPECT_EQ(breaker.GetSignedIntValue("lastvalue"), 1);

    const std::string setpointName = "KestrelHill.TX1.AVR.VoltageSetpoint";
    const std::int32_t setpointId = idByName(setpointName, 1);
    const DravoData setpoint = readRecord("ANALOG" + std::to_string(setpointId));
    EXPECT_EQ(setpoint.GetSignedIntValue("pid"), setpointId);
    EXPECT_EQ(fixedText(setpoint, "fullname"), setpointName);
    EXPECT_DOUBLE_EQ(setpoint.GetDoubleValue("lastvalue"), 33.0);
    EXPECT_EQ(fixedText(setpoint, "unit"), "kV");
    EXPECT_EQ(setpoint.GetUnSignedIntValue("tag") & 1u, 1u);

    const std::int32_t nameplateId = idByName("KestrelHill.TX1.Nameplate", 5);
    const DravoData nameplate = readRecord("TEXT" + std::to_string(nameplateId));
    const std::string text = fixedText(nameplate, "lastvalue");
    EXPECT_EQ(nameplate.GetUnSignedIntValue("bytesize"), std::strlen(text.c_str()));
    EXPECT_EQ(std::string(text.c_str()).rfind("90 MVA", 0), 0u) << text;

    // The RTU whose every point is control inhibited.
    const std::int32_t rtuId = idByName("@R::Millbrook-RTU-Reservoir", 2);
    EXPECT_EQ(rtuId, 7);
    const DravoData rtu = readRecord("REMOTEUNIT7");
    EXPECT_EQ(rtu.GetUnSignedIntValue("tag") & 1u, 1u);
    EXPECT_EQ(rtu.GetSignedIntValue("stationId"), 2);
    EXPECT_EQ(rtu.GetSignedIntValue("commId"), 4);
    EXPECT_EQ(fixedText(rtu, "fullname"), "Millbrook-RTU-Reservoir");

    EXPECT_EQ(idByName("@C::Millbrook-ModbusTCP", 3), 4);
    const DravoData channel = readRecord("COMMLINK4");
    EXPECT_EQ(channel.GetSignedIntValue("driverId"), 4);
    EXPECT_EQ(fixedText(channel, "protocol"), "ModbusTCP");
    EXPECT_EQ(fixedText(channel, "primaryAddress"), "10.30.1.40:502");

    EXPECT_EQ(idByName("@::KestrelHill", 7), 1);
}

TEST_F(PlantLoadTest, EveryRecordWrittenHasItsNameIndexRecord)
{
    DravoPlus::SetCallRecording(true);
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), &summary, &error), DRAVO_OK) << error;
    DravoPlus::SetCallRecording(false);
    const std::vector<DravoRecordedCall> writes = DravoPlus::TakeRecordedCalls("PutDataPoints");
    ASSERT_EQ(writes.size(), 1u) << "the plant must go out in one batch";
    const std::set<std::string> written(writes[0].names.begin(), writes[0].names.end());
    EXPECT_EQ(written.size(), static_cast<std::size_t>(summary.records));

    struct Kind {
        const char* type;
        const char* indexPrefix;
        std::int32_t objectType;
        int expected;
    };
    const Kind kinds[] = {{"STATION", "@::", 7, summary.stations},
                          {"COMMLINK", "@C::", 3, summary.channels},
                          {"REMOTEUNIT", "@R::", 2, summary.remoteUnits},
                          {"STATUS", "", 0, summary.statusPoints},
                          {"ANALOG", "", 1, summary.analogPoints},
                          {"TEXT", "", 5, summary.textPoints}};
    int objects = 0;
    for (const Kind& kind : kinds) {
        DravoDataList records;
        ASSERT_EQ(DravoPlus::GetDataPointByTypeName(kind.type, records, nullptr, nullptr), DRAVO_OK);
        std::vector<std::string> keys;
        std::vector<std::int32_t> ids;
        for (const DravoData& r : records) {
            if (!written.count(r.GetDataName()))
                continue;   // a record of another test on the shared server
            keys.push_back(kind.indexPrefix + fixedText(r, "fullname"));
            ids.push_back(r.GetSignedIntValue("pid"));
            EXPECT_EQ(r.GetDataName(), kind.type + std::to_string(ids.back()));
        }
        EXPECT_EQ(static_cast<int>(keys.size()), kind.expected) << kind.type;
        objects += static_cast<int>(keys.size());

        DravoDataList index;
        ASSERT_EQ(DravoPlus::GetDataPointN(keys, index, nullptr, nullptr), DRAVO_OK);
        ASSERT_EQ(index.size(), static_cast<int>(keys.size())) << kind.type << ": name-index records missing";
        for (int i = 0; i < index.size(); ++i) {
            EXPECT_TRUE(written.count(keys[static_cast<std::size_t>(i)])) << keys[static_cast<std::size_t>(i)];
            EXPECT_STREQ(index[i].GetTypeName(), "NAMEINDEX");
            EXPECT_EQ(index[i].GetSignedIntValue("id"), ids[static_cast<std::size_t>(i)]);
            EXPECT_EQ(index[i].GetSignedIntValue("objectType"), kind.objectType);
        }
    }
    EXPECT_EQ(2 * objects + 1, summary.records);

    ASSERT_TRUE(written.count(":marker"));
    const DravoData marker = readRecord(":marker");
    EXPECT_EQ(marker.GetSignedIntValue("version"), 1);
    const std::int64_t now = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_LE(std::llabs(now - static_cast<std::int64_t>(marker.GetUnSignedIntValue("loadTime"))), 60);
}

TEST_F(PlantLoadTest, LoadingTheSamePlantAgainReplacesItsRecords)
{
    MVPlant::PlantSummary first;
    MVPlant::PlantSummary second;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), &first, &error), DRAVO_OK) << error;
    const std::size_t count = snapshot().size();
    ASSERT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), &second, &error), DRAVO_OK) << error;
    EXPECT_EQ(second.records, first.records);
    EXPECT_EQ(snapshot().size(), count);
}

// ---- Every member reaches its field --------------------------------------------

TEST_F(PlantLoadTest, SmallPlantFillsEveryField)
{
    const std::string path = writePlant("small.json", kSmallPlant);
    MVPlant::PlantSummary summary;
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(path.c_str(), &summary, &error), DRAVO_OK) << error;
    EXPECT_EQ(summary.stations, 2);
    EXPECT_EQ(summary.channels, 1);
    EXPECT_EQ(summary.remoteUnits, 2);
    EXPECT_EQ(summary.statusPoints, 1);
    EXPECT_EQ(summary.analogPoints, 1);
    EXPECT_EQ(summary.textPoints, 2);
    EXPECT_EQ(summary.records, 2 * 9 + 1);

    const DravoData station = readRecord("STATION1");
    EXPECT_EQ(station.GetSignedIntValue("pid"), 1);
    EXPECT_EQ(station.GetUnSignedIntValue("tag"), 4u);
    EXPECT_EQ(fixedText(station, "fullname"), "Bench");
    EXPECT_EQ(fixedText(station, "description"), "test bench station");

    const DravoData channel = readRecord("COMMLINK3");
    EXPECT_EQ(channel.GetSignedIntValue("stationId"), 1);
    EXPECT_EQ(channel.GetSignedIntValue("driverId"), 7);
    EXPECT_EQ(fixedText(channel, "protocol"), "IEC104");
    EXPECT_EQ(fixedText(channel, "primaryAddress"), "127.0.0.1:2404");
    EXPECT_EQ(fixedText(channel, "secondaryAddress"), "127.0.0.2:2404");
    EXPECT_EQ(fixedText(channel, "fullname"), "Bench-Link");
    EXPECT_EQ(fixedText(channel, "description"), "bench link");

    const DravoData rtu1 = readRecord("REMOTEUNIT5");
    EXPECT_EQ(rtu1.GetSignedIntValue("stationId"), 1);   // the channel's station
    EXPECT_EQ(rtu1.GetSignedIntValue("commId"), 3);
    EXPECT_EQ(rtu1.GetSignedIntValue("address"), 17);
    EXPECT_EQ(rtu1.GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(rtu1.GetSignedIntValue("quality"), 2);
    EXPECT_EQ(rtu1.GetSignedIntValue("scanEnable"), 1);
    EXPECT_EQ(fixedText(rtu1, "fullname"), "Bench-RTU1");
    const DravoData rtu2 = readRecord("REMOTEUNIT6");
    EXPECT_EQ(rtu2.GetSignedIntValue("stationId"), 2);   // its own station
    EXPECT_EQ(rtu2.GetSignedIntValue("scanEnable"), 0);

    const DravoData status = readRecord("STATUS100001");
    EXPECT_EQ(status.GetSignedIntValue("pid"), 100001);
    EXPECT_EQ(status.GetShortValue("rtuId"), 5);
    EXPECT_EQ(status.GetSignedIntValue("stationId"), 1);
    EXPECT_EQ(status.GetSignedIntValue("commId"), 3);
    EXPECT_EQ(status.GetSignedIntValue("address"), 1001);
    EXPECT_EQ(status.GetSignedIntValue("lastvalue"), 1);
    EXPECT_EQ(status.GetSignedIntValue("normalState"), 1);
    EXPECT_EQ(status.GetSignedIntValue("alarmPriority"), 2);
    EXPECT_EQ(status.GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(status.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(status.GetSignedIntValue("scanEnable"), 1);
    EXPECT_EQ(status.GetSignedIntValue("alarmEnable"), 0);
    EXPECT_EQ(fixedText(status, "fullname"), "Bench.Breaker");
    EXPECT_EQ(fixedText(status, "description"), "bench breaker closed");
    EXPECT_NE(status.GetUnSignedIntValue("scanTime"), 0u);
    EXPECT_EQ(status.GetUnSignedIntValue("changedTime"), status.GetUnSignedIntValue("scanTime"));

    const DravoData analog = readRecord("ANALOG200001");
    EXPECT_EQ(analog.GetShortValue("rtuId"), 6);
    EXPECT_EQ(analog.GetSignedIntValue("stationId"), 2);   // through its RTU
    EXPECT_EQ(analog.GetSignedIntValue("commId"), 3);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("lastvalue"), 12.5);
    EXPECT_EQ(fixedText(analog, "unit"), "MW");
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("lowLowLimit"), -5.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("lowLimit"), 0.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("highLimit"), 50.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("highHighLimit"), 60.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("rangeLow"), -100.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("rangeHigh"), 100.0);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("deadband"), 0.25);
    EXPECT_DOUBLE_EQ(analog.GetDoubleValue("rocLimit"), 3.0);
    EXPECT_EQ(fixedText(analog, "description"), "feeder active power");

    const DravoData firmware = readRecord("TEXT3000001");
    EXPECT_EQ(firmware.GetUnSignedIntValue("bytesize"), 4u);
    EXPECT_EQ(firmware.GetUnSignedIntValue("dataFormat"), 3u);
    EXPECT_EQ(std::string(fixedText(firmware, "lastvalue").c_str()), "v2.1");
    const DravoData note = readRecord("TEXT3000002");
    EXPECT_EQ(note.GetUnSignedIntValue("bytesize"), 0u);

    EXPECT_EQ(idByName("Bench.Feeder.P", 1), 200001);
    EXPECT_EQ(idByName("Bench.RTU1.Note", 5), 3000002);
    EXPECT_EQ(idByName("@R::Bench-RTU2", 2), 6);
    EXPECT_EQ(idByName("@C::Bench-Link", 3), 3);
    EXPECT_EQ(idByName("@::Annex", 7), 2);
}

TEST_F(PlantLoadTest, TextValueMayFillTheWholeTextField)
{
    const std::string body(14800, 'x');
    const std::string path = writePlant("fulltext.json", smallPlantWith("\"value\": \"v2.1\"", "\"value\": \"" + body + "\""));
    std::string error;
    ASSERT_EQ(MVPlant::LoadPlant(path.c_str(), nullptr, &error), DRAVO_OK) << error;
    const DravoData text = readRecord("TEXT3000001");
    EXPECT_EQ(text.GetUnSignedIntValue("bytesize"), 14800u);
    EXPECT_EQ(fixedText(text, "lastvalue"), body);
}

// ---- Refused files -------------------------------------------------------------

TEST_F(PlantLoadTest, MalformedJsonIsRefusedWithLineAndColumn)
{
    expectRefusedText("malformed.json", "{\n  \"plant\": \"x\"\n  \"stations\": []\n}\n",
                      {"line 3 column 3", "parse error", "Missing a comma"});
}

TEST_F(PlantLoadTest, MissingMemberIsRefused)
{
    expectRefusedText("missing.json", smallPlantWith("\"rtu\": 6, ", ""),
                      {"analog point 'Bench.Feeder.P' (points.analog[0])", "missing required member 'rtu'"});
    expectRefusedText("missing-top.json", smallPlantWith("\"plant\": \"Test bench\",", ""),
                      {"top level", "missing required member 'plant'"});
}

TEST_F(PlantLoadTest, WrongMemberTypeIsRefused)
{
    expectRefusedText("wrongtype.json", smallPlantWith("\"id\": 100001", "\"id\": \"100001\""),
                      {"status point 'Bench.Breaker' (points.status[0])", "member 'id' must be an integer, not a string"});
    expectRefusedText("wrongtype-array.json",
                      R"({"plant": "x", "stations": {}, "channels": [], "remoteUnits": [], "points": {}})",
                      {"top level: member 'stations' must be an array, not an object"});
    expectRefusedText("wrongtype-points.json",
                      R"({"plant": "x", "stations": [], "channels": [], "remoteUnits": [], "points": []})",
                      {"points: must be an object, not an array"});
    expectRefusedText("wrongtype-kind.json",
                      R"({"plant": "x", "stations": [], "channels": [], "remoteUnits": [], "points": {"text": {}}})",
                      {"points: member 'text' must be an array, not an object"});
    expectRefusedText("wrongtype-item.json",
                      R"({"plant": "x", "stations": [7], "channels": [], "remoteUnits": [], "points": {}})",
                      {"stations[0]: must be an object, not a number"});
    expectRefusedText("wrongtype-bool.json", smallPlantWith("\"scanEnable\": false", "\"scanEnable\": 0"),
                      {"remote unit 'Bench-RTU2' (remoteUnits[1])", "member 'scanEnable' must be true or false, not a number"});
    expectRefusedText("wrongtype-text.json", smallPlantWith("\"unit\": \"MW\"", "\"unit\": 5"),
                      {"member 'unit' must be a string, not a number"});
    expectRefusedText("top-array.json", "[1, 2, 3]", {"top level: must be an object, not an array"});
}

TEST_F(PlantLoadTest, IdOutsideItsKindsRangeIsRefused)
{
    expectRefusedText("range-analog.json", smallPlantWith("\"id\": 200001", "\"id\": 150000"),
                      {"analog point 'Bench.Feeder.P' (points.analog[0]): id 150000 is outside the analog range "
                       "200001..3000000"});
    expectRefusedText("range-status.json", smallPlantWith("\"id\": 100001", "\"id\": 100000"),
                      {"id 100000 is outside the status range 100001..200000"});
    expectRefusedText("range-text.json", smallPlantWith("\"id\": 3000001", "\"id\": 3000000"),
                      {"id 3000000 is outside the text range"});
    expectRefusedText("range-huge.json", smallPlantWith("\"id\": 3000001", "\"id\": 99999999999999999999"),
                      {"text point 'Bench.RTU1.Firmware'", "is outside the text range"});
    expectRefusedText("range-fraction.json", smallPlantWith("\"id\": 3000001", "\"id\": 3000001.5"),
                      {"id 3000001.5 is not a whole number"});
    expectRefusedText("range-rtu.json", smallPlantWith("\"id\": 6, ", "\"id\": 40000, "),
                      {"remote unit 'Bench-RTU2'", "id 40000 is outside 1..32767"});
    expectRefusedText("range-state.json", smallPlantWith("\"state\": 1", "\"state\": 9"),
                      {"state 9 is outside 0..3"});
    expectRefusedText("range-tag.json", smallPlantWith("\"tag\": 4", "\"tag\": -1"),
                      {"station 'Bench'", "tag -1 is outside 0..4294967295"});
}

TEST_F(PlantLoadTest, HugeNumbersAreRefused)
{
    expectRefusedText("huge-double.json", smallPlantWith("\"value\": 12.5", "\"value\": 1e400"),
                      {"parse error", "Number too big"});
    expectRefusedText("huge-float.json", smallPlantWith("\"highLimit\": 50", "\"highLimit\": 1e39"),
                      {"highLimit 1e+39 does not fit a 32-bit float"});
}

TEST_F(PlantLoadTest, DuplicateIdIsRefused)
{
    expectRefusedText("dup-id.json", smallPlantWith("\"id\": 3000002", "\"id\": 3000001"),
                      {"text point 'Bench.RTU1.Note' (points.text[1])", "duplicate id 3000001",
                       "already used by points.text[0]"});
    expectRefusedText("dup-rtu-id.json", smallPlantWith("\"id\": 6, ", "\"id\": 5, "),
                      {"remote unit 'Bench-RTU2'", "duplicate id 5"});
}

TEST_F(PlantLoadTest, DuplicateNameIsRefused)
{
    // Point names share one index whatever their kind.
    expectRefusedText("dup-name.json", smallPlantWith("\"Bench.RTU1.Note\"", "\"Bench.Breaker\""),
                      {"text point 'Bench.Breaker' (points.text[1])", "duplicate name 'Bench.Breaker'",
                       "already used by points.status[0]"});
    expectRefusedText("dup-station.json", smallPlantWith("\"Annex\"", "\"Bench\""),
                      {"duplicate name 'Bench'"});
}

TEST_F(PlantLoadTest, UnknownReferenceIsRefused)
{
    expectRefusedText("unknown-rtu.json", smallPlantWith("\"rtu\": 6", "\"rtu\": 9"),
                      {"analog point 'Bench.Feeder.P' (points.analog[0]): refers to unknown remote unit 9"});
    expectRefusedText("unknown-channel.json", smallPlantWith("\"channel\": 3, \"station\": 2", "\"channel\": 4, \"station\": 2"),
                      {"remote unit 'Bench-RTU2' (remoteUnits[1]): refers to unknown channel 4"});
    expectRefusedText("unknown-station.json", smallPlantWith("\"station\": 1, \"driver\"", "\"station\": 8, \"driver\""),
                      {"channel 'Bench-Link' (channels[0]): refers to unknown station 8"});
}

TEST_F(PlantLoadTest, OverlongTextsAreRefused)
{
    expectRefusedText("long-name.json", smallPlantWith("\"Bench.Breaker\"", "\"" + std::string(256, 'N') + "\""),
                      {"points.status[0]", "name longer than 255 bytes (256)"});
    expectRefusedText("long-desc.json",
                      smallPlantWith("\"description\": \"bench link\"", "\"description\": \"" + std::string(44, 'd') + "\""),
                      {"channel 'Bench-Link'", "description longer than 43 bytes"});
    expectRefusedText("long-text.json", smallPlantWith("\"value\": \"v2.1\"", "\"value\": \"" + std::string(14801, 'x') + "\""),
                      {"text point 'Bench.RTU1.Firmware'", "value longer than 14800 bytes"});
}

TEST_F(PlantLoadTest, MisspeltOrRepeatedMembersAreRefused)
{
    expectRefusedText("misspelt.json", smallPlantWith("\"normalState\"", "\"normalstate\""),
                      {"status point 'Bench.Breaker'", "unknown member 'normalstate'"});
    expectRefusedText("repeated.json", smallPlantWith("\"address\": 17,", "\"address\": 17, \"address\": 18,"),
                      {"remote unit 'Bench-RTU1'", "member 'address' appears twice"});
}

TEST_F(PlantLoadTest, InconsistentLimitsAreRefused)
{
    expectRefusedText("limits.json", smallPlantWith("\"highHighLimit\": 60", "\"highHighLimit\": 40"),
                      {"analog point 'Bench.Feeder.P'", "highHighLimit 40 is below highLimit 50"});
    expectRefusedText("range.json", smallPlantWith("\"rangeHigh\": 100", "\"rangeHigh\": -200"),
                      {"rangeHigh -200 is below rangeLow -100"});
}

TEST_F(PlantLoadTest, NamesThatWouldClashWithOtherRecordsAreRefused)
{
    expectRefusedText("name-prefix.json", smallPlantWith("\"Bench.Breaker\"", "\"@C::Bench-Link\""),
                      {"must not begin with '@' or ':'"});
    expectRefusedText("name-marker.json", smallPlantWith("\"Bench.Breaker\"", "\":marker\""),
                      {"must not begin with '@' or ':'"});
    expectRefusedText("name-dataname.json", smallPlantWith("\"Bench.Breaker\"", "\"ANALOG200001\""),
                      {"'ANALOG200001' has the form of a record's data name"});
    expectRefusedText("name-empty.json", smallPlantWith("\"Bench.Breaker\"", "\"\""), {"name is empty"});
    expectRefusedText("name-control.json", smallPlantWith("\"Bench.Breaker\"", "\"Bench\\u0001Breaker\""),
                      {"name holds a control character"});
    expectRefusedText("name-nul.json", smallPlantWith("\"Bench.Breaker\"", "\"Bench\\u0000Breaker\""),
                      {"name holds a control character"});
}

TEST_F(PlantLoadTest, EmptyFileIsRefused)
{
    expectRefusedText("empty.json", "", {"the file is empty"});
    expectRefusedText("blank.json", " \n\t\r\n", {"the file is empty"});
}

TEST_F(PlantLoadTest, NonexistentFileIsRefused)
{
    expectRefused((planttest::plantFolder() / "no-such-plant.json").string(), {"cannot open the file"});
}

TEST_F(PlantLoadTest, DirectoryIsRefused)
{
    expectRefused(planttest::plantFolder().string(), {"is a directory"});
}

TEST_F(PlantLoadTest, RandomBytesAreRefused)
{
    std::mt19937 random(4711);
    for (int round = 0; round < 20; ++round) {
        std::string bytes(1 + random() % 4096, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random() & 0xFF);
        SCOPED_TRACE("round " + std::to_string(round));
        expectRefusedText("random.bin", bytes, {"line "});
    }
}

TEST_F(PlantLoadTest, BinaryGarbageAndBadEncodingAreRefused)
{
    expectRefusedText("nul.json", std::string("{\"plant\": \"x\"}\0garbage", 23), {"line 1 column 15", "NUL byte"});
    expectRefusedText("latin1.json", smallPlantWith("\"Bench\"", "\"B\xE9nch\""), {"parse error", "Invalid encoding"});
    expectRefusedText("nested.json", std::string(200000, '['), {"parse error"});
}

TEST_F(PlantLoadTest, NullPathIsABadArgument)
{
    std::string error;
    EXPECT_EQ(MVPlant::LoadPlant(nullptr, nullptr, &error), DRAVO_BAD_ARGUMENT);
    EXPECT_FALSE(error.empty());
}

TEST_F(PlantLoadTest, EveryDamagedVersionOfAPlantIsLoadedWholeOrNotAtAll)
{
    // Cut the small plant at many lengths and flip bytes at random: each try
    // either loads in one batch (the damage left a valid plant) or is refused
    // without any write.
    const std::string plant = kSmallPlant;
    std::vector<std::string> damaged;
    for (std::size_t n = 0; n < plant.size(); n += 7)
        damaged.push_back(plant.substr(0, n));
    std::mt19937 random(815);
    for (int i = 0; i < 150; ++i) {
        std::string s = plant;
        for (int flips = 1 + static_cast<int>(random() % 3); flips > 0; --flips)
            s[random() % s.size()] = static_cast<char>(random() & 0xFF);
        damaged.push_back(s);
    }
    DravoPlus::SetCallRecording(true);
    int refused = 0;
    for (std::size_t i = 0; i < damaged.size(); ++i) {
        const std::string path = writePlant("damaged.json", damaged[i]);
        DravoPlus::TakeRecordedCalls();
        std::string error;
        const int rc = MVPlant::LoadPlant(path.c_str(), nullptr, &error);
        const std::size_t writes = DravoPlus::TakeRecordedCalls("PutDataPoints").size();
        if (rc == DRAVO_OK) {
            EXPECT_EQ(writes, 1u) << "try " << i;
            continue;
        }
        ++refused;
        ASSERT_EQ(rc, DRAVO_CONFIG_ERROR) << "try " << i << ": " << error;
        ASSERT_EQ(error.rfind(path + ": ", 0), 0u) << error;
        ASSERT_EQ(writes, 0u) << "try " << i << " was refused but wrote: " << error;
    }
    EXPECT_GT(refused, static_cast<int>(damaged.size()) / 2);
}

// ---- The server side -----------------------------------------------------------

TEST_F(PlantLoadTest, NotConnectedGivesTheMiddlewaresCode)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    std::string error;
    EXPECT_EQ(MVPlant::LoadPlant(kSamplePlant.c_str(), nullptr, &error), DRAVO_NOT_CONNECTED);
    EXPECT_EQ(error.rfind(kSamplePlant + ": ", 0), 0u) << error;
    EXPECT_NE(error.find("could not be written"), std::string::npos) << error;

    // A bad file is still reported as the file's fault.
    const std::string bad = writePlant("bad-offline.json", "{");
    EXPECT_EQ(MVPlant::LoadPlant(bad.c_str(), nullptr, &error), DRAVO_CONFIG_ERROR);
}

} // namespace

// plantrecords_test.cpp: the records a plant writes (PlantRecords).
//
// Every object gives its record and then its name-index record, in the order
// stations, channels, remote units, status, analog and text points, and
// ":marker" comes last; the load time stamps the records. Two objects whose
// records would share a data name give an error naming the object, and no
// records.
#include <DravoPlus/DravoPlus.h>
#include <MVPlant/Plant.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

const std::string kSamplePlant = MV_SAMPLE_PLANT;
constexpr std::uint32_t kLoadTime = 1700000000u;

std::string fixedText(const DravoData& record, const char* field)
{
    std::string value;
    record.GetValue(field, value);
    return value;
}

const DravoData* findRecord(const std::vector<DravoData>& records, const std::string& name)
{
    for (const DravoData& r : records) {
        if (name == r.GetDataName())
            return &r;
    }
    return nullptr;
}

std::vector<DravoData> sampleRecords()
{
    MVPlant::Plant plant;
    std::string error;
    EXPECT_EQ(MVPlant::ReadPlant(kSamplePlant.c_str(), plant, &error), DRAVO_OK) << error;
    std::vector<DravoData> records;
    EXPECT_EQ(MVPlant::PlantRecords(plant, kLoadTime, records, &error), DRAVO_OK) << error;
    EXPECT_TRUE(error.empty()) << error;
    return records;
}

TEST(PlantRecordsTest, SamplePlantGivesARecordAndANameIndexPerObjectAndTheMarker)
{
    const std::vector<DravoData> records = sampleRecords();
    ASSERT_EQ(records.size(), 2u * (2 + 4 + 8 + 2000 + 1500 + 500) + 1);
    EXPECT_STREQ(records[0].GetDataName(), "STATION1");
    EXPECT_STREQ(records[0].GetTypeName(), "STATION");
    EXPECT_STREQ(records[1].GetDataName(), "@::KestrelHill");
    EXPECT_STREQ(records[1].GetTypeName(), "NAMEINDEX");
    EXPECT_STREQ(records[4].GetDataName(), "COMMLINK1");
    EXPECT_STREQ(records[5].GetDataName(), "@C::KestrelHill-IEC104-A");
    EXPECT_STREQ(records[12].GetDataName(), "REMOTEUNIT1");
    EXPECT_STREQ(records[13].GetDataName(), "@R::KestrelHill-RTU-132kV");
    EXPECT_STREQ(records[28].GetDataName(), "STATUS100001");
    EXPECT_STREQ(records[29].GetDataName(), "KestrelHill.132kV.Line1.CB.Position");
    EXPECT_STREQ(records.back().GetDataName(), ":marker");
    EXPECT_EQ(records.back().GetUnSignedIntValue("loadTime"), kLoadTime);
}

TEST(PlantRecordsTest, PointRecordsCarryTheFilesFieldsAndTheLoadTime)
{
    const std::vector<DravoData> records = sampleRecords();
    const DravoData* feeder = findRecord(records, "STATUS100265");
    ASSERT_NE(feeder, nullptr);
    EXPECT_EQ(fixedText(*feeder, "fullname"), "KestrelHill.33kV.Feeder07.CB.Position");
    EXPECT_EQ(feeder->GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(feeder->GetShortValue("rtuId"), 2);
    EXPECT_EQ(feeder->GetSignedIntValue("stationId"), 1);
    EXPECT_EQ(feeder->GetSignedIntValue("commId"), 1);
    EXPECT_EQ(feeder->GetUnSignedIntValue("scanTime"), kLoadTime);

    const DravoData* index = findRecord(records, "KestrelHill.33kV.Feeder07.CB.Position");
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(index->GetSignedIntValue("id"), 100265);
    EXPECT_EQ(index->GetSignedIntValue("objectType"), MVPlant::kStatusObject);

    const DravoData* rtuIndex = findRecord(records, "@R::Millbrook-RTU-Reservoir");
    ASSERT_NE(rtuIndex, nullptr);
    EXPECT_EQ(rtuIndex->GetSignedIntValue("id"), 7);
    EXPECT_EQ(rtuIndex->GetSignedIntValue("objectType"), MVPlant::kRemoteUnitObject);

    const DravoData* text = findRecord(records, "TEXT3000001");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->GetUnSignedIntValue("bytesize"), std::string("Line distance relay DZ-7").size());
}

TEST(PlantRecordsTest, TwoRecordsUnderOneNameGiveAnErrorAndNoRecords)
{
    MVPlant::Plant plant;
    plant.name = "Twins";
    MVPlant::StatusPoint first;
    first.id = 100001;
    first.name = "First";
    MVPlant::StatusPoint second = first;
    second.name = "Second";
    plant.statusPoints = {first, second};
    std::vector<DravoData> records;
    std::string error;
    EXPECT_EQ(MVPlant::PlantRecords(plant, kLoadTime, records, &error), DRAVO_CONFIG_ERROR);
    EXPECT_EQ(error, "status point 'Second': a second record would be stored under 'STATUS100001'");
    EXPECT_TRUE(records.empty());
}

} // namespace

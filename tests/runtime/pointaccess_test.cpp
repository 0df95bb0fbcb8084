// pointaccess_test.cpp: the read side of the runtime interface against the
// embedded server with the sample plant: telling point kinds apart by id,
// reading status, analog and text points, remote units, stations and
// channels, and resolving point, channel and device names to ids through the
// interface's name cache.
//
// The record names the interface asks for, and whether it asks at all, are
// read from the middleware's call recorder; the expected ids come from the
// plant's own name-index records.
#include "runtimefixture.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/PointIds.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace runtimetest {
namespace {

using Morvane::PointTypeSet;
using Morvane::ScadaObjectType;

// Points of the sample plant, one of each kind and the untagged twins the
// operator scenarios use.
const char* const kStatusName = "KestrelHill.33kV.Feeder01.CB.Position";
const char* const kAnalogName = "KestrelHill.132kV.Line1.P";
const char* const kTextName = "KestrelHill.132kV.Line1.Relay.Model";
const char* const kChannelName = "KestrelHill-IEC104-A";
const char* const kSecondChannelName = "Millbrook-DNP3";
const char* const kDeviceName = "KestrelHill-RTU-132kV";
const char* const kSecondDeviceName = "Millbrook-RTU-Reservoir";
const char* const kStationIndex = "@::KestrelHill";

QString q(const std::string& text)
{
    return QString::fromStdString(text);
}

// The names of the records read with GetDataPoint, in order.
std::vector<std::string> readNames(const std::vector<DravoRecordedCall>& calls)
{
    std::vector<std::string> names;
    for (const DravoRecordedCall& call : callsOf(calls, "GetDataPoint"))
        names.push_back(argText(call, 0));
    return names;
}

bool contains(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

// ---- Telling points apart by id ---------------------------------------------

TEST(PointIds, IsStatusPointCoversExactly100001To200000)
{
    EXPECT_FALSE(Morvane::isStatusPoint(INT_MIN));
    EXPECT_FALSE(Morvane::isStatusPoint(-1));
    EXPECT_FALSE(Morvane::isStatusPoint(0));
    EXPECT_FALSE(Morvane::isStatusPoint(100000));
    EXPECT_TRUE(Morvane::isStatusPoint(100001));
    EXPECT_TRUE(Morvane::isStatusPoint(150000));
    EXPECT_TRUE(Morvane::isStatusPoint(200000));
    EXPECT_FALSE(Morvane::isStatusPoint(200001));
    EXPECT_FALSE(Morvane::isStatusPoint(3000000));
    EXPECT_FALSE(Morvane::isStatusPoint(3000001));
}

TEST(PointIds, IsAnalogPointPointCoversExactly200001To3000000)
{
    EXPECT_FALSE(Morvane::isAnalogPointPoint(-200001));
    EXPECT_FALSE(Morvane::isAnalogPointPoint(0));
    EXPECT_FALSE(Morvane::isAnalogPointPoint(100000));
    EXPECT_FALSE(Morvane::isAnalogPointPoint(100001));
    EXPECT_FALSE(Morvane::isAnalogPointPoint(200000));
    EXPECT_TRUE(Morvane::isAnalogPointPoint(200001));
    EXPECT_TRUE(Morvane::isAnalogPointPoint(3000000));
    EXPECT_FALSE(Morvane::isAnalogPointPoint(3000001));
}

TEST(PointIds, IsTextPointPointCoversEverythingAbove3000000)
{
    EXPECT_FALSE(Morvane::isTextPointPoint(-3000001));
    EXPECT_FALSE(Morvane::isTextPointPoint(0));
    EXPECT_FALSE(Morvane::isTextPointPoint(100000));
    EXPECT_FALSE(Morvane::isTextPointPoint(200001));
    EXPECT_FALSE(Morvane::isTextPointPoint(3000000));
    EXPECT_TRUE(Morvane::isTextPointPoint(3000001));
    EXPECT_TRUE(Morvane::isTextPointPoint(INT_MAX));
}

TEST(PointIds, PointTypeByIdAtEveryBound)
{
    EXPECT_EQ(Morvane::pointTypeById(INT_MIN), Morvane::NoPointType);
    EXPECT_EQ(Morvane::pointTypeById(-1), Morvane::NoPointType);
    EXPECT_EQ(Morvane::pointTypeById(0), Morvane::NoPointType);
    EXPECT_EQ(Morvane::pointTypeById(100000), Morvane::NoPointType);
    EXPECT_EQ(Morvane::pointTypeById(100001), Morvane::StatusPointType);
    // Classified as status although the reads take 200000 as analog.
    EXPECT_EQ(Morvane::pointTypeById(200000), Morvane::StatusPointType);
    EXPECT_EQ(Morvane::pointTypeById(200001), Morvane::AnalogPointType);
    EXPECT_EQ(Morvane::pointTypeById(3000000), Morvane::AnalogPointType);
    EXPECT_EQ(Morvane::pointTypeById(3000001), Morvane::TextPointType);
    EXPECT_EQ(Morvane::pointTypeById(INT_MAX), Morvane::TextPointType);
    EXPECT_EQ(static_cast<int>(Morvane::pointTypeById(100000)), -1);
    EXPECT_EQ(static_cast<int>(Morvane::pointTypeById(200000)), 0);
}

TEST(PointIds, PointObjectTypeByIdAtEveryBound)
{
    EXPECT_EQ(Morvane::pointObjectTypeById(INT_MIN), Morvane::InvalidObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(-1), Morvane::InvalidObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(0), Morvane::InvalidObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(100000), Morvane::InvalidObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(100001), Morvane::StatusPointObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(200000), Morvane::StatusPointObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(200001), Morvane::AnalogPointObject);
    // Classified as analog although the reads take 3000000 as text.
    EXPECT_EQ(Morvane::pointObjectTypeById(3000000), Morvane::AnalogPointObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(3000001), Morvane::TextPointObject);
    EXPECT_EQ(Morvane::pointObjectTypeById(INT_MAX), Morvane::TextPointObject);
    EXPECT_EQ(static_cast<int>(Morvane::pointObjectTypeById(3000000)), 1);
    EXPECT_EQ(static_cast<int>(Morvane::pointObjectTypeById(3000001)), 5);
}

TEST(PointIds, IsPointObjectTypeCountsZeroOneFiveAndSix)
{
    const std::set<int> points{0, 1, 5, 6};
    for (int type = -1; type <= 8; ++type) {
        EXPECT_EQ(Morvane::isPointObjectType(static_cast<ScadaObjectType>(type)), points.count(type) == 1)
            << "object type " << type;
    }
}

TEST(PointIds, PointTypeSetIsACopyableValue)
{
    PointTypeSet set;
    set.analogPoints << 200001;
    set.statusPoints << 100001 << 100002;
    set.textPoints << 3000001;
    PointTypeSet copy = set;
    set.statusPoints.clear();
    EXPECT_EQ(copy.analogPoints, QList<int>{200001});
    EXPECT_EQ(copy.statusPoints, (QList<int>{100001, 100002}));
    EXPECT_EQ(copy.textPoints, QList<int>{3000001});
}

// ---- Reads by id ------------------------------------------------------------

using PointAccessTest = RuntimeTest;

TEST_F(PointAccessTest, GetAnalogPointReadsAnalogRecordOfTheId)
{
    const int id = plantId(kAnalogName);
    ASSERT_GT(id, 200000);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetAnalogPoint(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "ANALOG");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    const std::vector<DravoRecordedCall> reads = takeCalls("GetDataPoint");
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(argText(reads[0], 0), "ANALOG" + std::to_string(id));
    EXPECT_EQ(argText(reads[0], 1), "<null>");
    EXPECT_EQ(argText(reads[0], 2), "<null>");
}

TEST_F(PointAccessTest, GetStatusPointReadsStatusRecordOfTheId)
{
    const int id = plantId(kStatusName);
    ASSERT_GT(id, 100000);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetStatusPoint(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "STATUS");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    EXPECT_EQ(readNames(takeCalls()), std::vector<std::string>{"STATUS" + std::to_string(id)});
}

TEST_F(PointAccessTest, GetTextPointReadsTextRecordOfTheId)
{
    const int id = plantId(kTextName);
    ASSERT_GT(id, 3000000);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetTextPoint(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "TEXT");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    EXPECT_EQ(readNames(takeCalls()), std::vector<std::string>{"TEXT" + std::to_string(id)});
}

TEST_F(PointAccessTest, GetRemoteUnitDataReadsRemoteUnitRecordOfTheId)
{
    const int id = plantId(std::string("@R::") + kDeviceName);
    ASSERT_GT(id, 0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetRemoteUnitData(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "REMOTEUNIT");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    const std::vector<DravoRecordedCall> reads = takeCalls("GetDataPoint");
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(argText(reads[0], 0), "REMOTEUNIT" + std::to_string(id));
    EXPECT_EQ(argText(reads[0], 2), "<null>");
}

TEST_F(PointAccessTest, GetStationDataReadsStationRecordOfTheId)
{
    const int id = plantId(kStationIndex);
    ASSERT_GT(id, 0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetStationData(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "STATION");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    const std::vector<DravoRecordedCall> reads = takeCalls("GetDataPoint");
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(argText(reads[0], 0), "STATION" + std::to_string(id));
    EXPECT_EQ(argText(reads[0], 2), "<null>");
}

TEST_F(PointAccessTest, GetChennelDataReadsChannelRecordWithEmptyDomain)
{
    const int id = plantId(std::string("@C::") + kChannelName);
    ASSERT_GT(id, 0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetChennelData(id, record), DRAVO_OK);
    EXPECT_STREQ(record.GetTypeName(), "COMMLINK");
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    const std::vector<DravoRecordedCall> reads = takeCalls("GetDataPoint");
    ASSERT_EQ(reads.size(), 1u);
    EXPECT_EQ(argText(reads[0], 0), "COMMLINK" + std::to_string(id));
    EXPECT_EQ(argText(reads[0], 1), "<null>");
    ASSERT_EQ(reads[0].args.size(), 3u);
    ASSERT_TRUE(reads[0].args[2].has_value()) << "the channel read passed a null domain";
    EXPECT_EQ(*reads[0].args[2], "");
}

TEST_F(PointAccessTest, ChannelReadPassesEmptyDomainWhereAnalogReadPassesNull)
{
    const int analogId = plantId(kAnalogName);
    const int channelId = plantId(std::string("@C::") + kChannelName);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData analog;
    DravoData channel;
    EXPECT_EQ(rt->GetAnalogPoint(analogId, analog), DRAVO_OK);
    EXPECT_EQ(rt->GetChennelData(channelId, channel), DRAVO_OK);
    const std::vector<DravoRecordedCall> reads = takeCalls("GetDataPoint");
    ASSERT_EQ(reads.size(), 2u);
    ASSERT_EQ(reads[0].args.size(), 3u);
    ASSERT_EQ(reads[1].args.size(), 3u);
    EXPECT_EQ(reads[0].args[2], std::nullopt);
    EXPECT_EQ(reads[1].args[2], std::optional<std::string>(""));
}

TEST_F(PointAccessTest, ReadsPassMiddlewareCodesThroughUnchanged)
{
    ScadaRuntimeInterface* rt = newRuntime();
    DravoData record;
    EXPECT_EQ(rt->GetAnalogPoint(2999999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetStatusPoint(199999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetTextPoint(3999999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetRemoteUnitData(9999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetStationData(9999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetChennelData(9999, record), DRAVO_NOT_FOUND);

    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->GetStatusPoint(plantId(kStatusName), record), DRAVO_NOT_CONNECTED);
    EXPECT_EQ(rt->GetPoint(200001, record), DRAVO_NOT_CONNECTED);
}

TEST_F(PointAccessTest, AllChennelDataReturnsEveryChannelWithEmptyDomain)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoDataList channels;
    EXPECT_EQ(rt->allChennelData(channels), DRAVO_OK);
    ASSERT_EQ(channels.size(), 4);
    std::set<int> ids;
    for (const DravoData& channel : channels) {
        EXPECT_STREQ(channel.GetTypeName(), "COMMLINK");
        ids.insert(channel.GetSignedIntValue("pid"));
    }
    EXPECT_EQ(ids, (std::set<int>{plantId(std::string("@C::") + kChannelName), plantId("@C::KestrelHill-IEC104-B"),
                                  plantId(std::string("@C::") + kSecondChannelName), plantId("@C::Millbrook-ModbusTCP")}));
    const std::vector<DravoRecordedCall> calls = takeCalls("GetDataPointByTypeName");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(argText(calls[0], 0), "COMMLINK");
    EXPECT_EQ(argText(calls[0], 1), "<null>");
    ASSERT_EQ(calls[0].args.size(), 3u);
    EXPECT_EQ(calls[0].args[2], std::optional<std::string>(""));
    DravoPlus::DestoryDravoDataList(channels);
}

// ---- Routing by id ----------------------------------------------------------

TEST_F(PointAccessTest, GetPointByIdReadsTheRecordOfEachKind)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const struct {
        const char* name;
        const char* type;
    } points[] = {{kStatusName, "STATUS"}, {kAnalogName, "ANALOG"}, {kTextName, "TEXT"}};
    for (const auto& point : points) {
        const int id = plantId(point.name);
        DravoData record;
        EXPECT_EQ(rt->GetPoint(id, record), DRAVO_OK) << point.name;
        EXPECT_STREQ(record.GetTypeName(), point.type) << point.name;
        EXPECT_EQ(record.GetSignedIntValue("pid"), id) << point.name;
    }
}

TEST_F(PointAccessTest, GetPoint200000ReadsTheAnalogRecord)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    // The plant has no point 200000: the middleware's answer comes back.
    EXPECT_EQ(rt->GetPoint(200000, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(readNames(takeCalls()), std::vector<std::string>{"ANALOG200000"});
    EXPECT_EQ(Morvane::pointTypeById(200000), Morvane::StatusPointType);
}

TEST_F(PointAccessTest, GetPoint3000000ReadsTheTextRecord)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(3000000, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(readNames(takeCalls()), std::vector<std::string>{"TEXT3000000"});
    EXPECT_EQ(Morvane::pointObjectTypeById(3000000), Morvane::AnalogPointObject);
}

TEST_F(PointAccessTest, GetPointRoutesOneBelowEachReadBound)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(199999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetPoint(2999999, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(readNames(takeCalls()), (std::vector<std::string>{"STATUS199999", "ANALOG2999999"}));
}

TEST_F(PointAccessTest, GetPointReadsIdsBelowEveryRangeAsStatusRecords)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(100000, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetPoint(0, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->GetPoint(-7, record), DRAVO_NOT_FOUND);
    EXPECT_EQ(readNames(takeCalls()), (std::vector<std::string>{"STATUS100000", "STATUS0", "STATUS-7"}));
}

// ---- Reads by name ----------------------------------------------------------

TEST_F(PointAccessTest, GetPointByNameResolvesThenReadsThePoint)
{
    const int id = plantId(kAnalogName);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(QString::fromLatin1(kAnalogName), record), DRAVO_OK);
    EXPECT_EQ(record.GetSignedIntValue("pid"), id);
    EXPECT_EQ(readNames(takeCalls()), (std::vector<std::string>{kAnalogName, "ANALOG" + std::to_string(id)}));
}

TEST_F(PointAccessTest, GetPointByUnknownNameReturnsMinusOneWithoutReading)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(QStringLiteral("KestrelHill.NoSuch.Point"), record), -1);
    for (const std::string& name : readNames(takeCalls())) {
        EXPECT_TRUE(name == "KestrelHill.NoSuch.Point" || name == ":marker") << "read " << name;
    }
}

TEST_F(PointAccessTest, GetPointByNameWhileDisconnectedReturnsMinusOne)
{
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    startRecording();
    DravoData record;
    EXPECT_EQ(rt->GetPoint(QString::fromLatin1(kStatusName), record), -1);
    EXPECT_TRUE(readNames(takeCalls()).empty());
}

// ---- Reads of many points -----------------------------------------------------

TEST_F(PointAccessTest, GetPointsWithEmptyListReturnsZeroAndSendsNothing)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoDataList records;
    EXPECT_EQ(rt->GetPoints(QList<int>(), records), 0);
    EXPECT_TRUE(records.isEmpty());
    EXPECT_TRUE(takeCalls().empty());
}

TEST_F(PointAccessTest, GetPointsSendsOneRequestWithRecordNamesInOrder)
{
    const int status = plantId(kStatusName);
    const int analog = plantId(kAnalogName);
    const int text = plantId(kTextName);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    DravoDataList records;
    const QList<int> ids{analog, status, text, 200000, 3000000, 199999, 2999999};
    EXPECT_EQ(rt->GetPoints(ids, records), DRAVO_OK);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> requests = callsOf(calls, "GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names,
              (std::vector<std::string>{"ANALOG" + std::to_string(analog), "STATUS" + std::to_string(status),
                                        "TEXT" + std::to_string(text), "ANALOG200000", "TEXT3000000",
                                        "STATUS199999", "ANALOG2999999"}));
    EXPECT_EQ(argText(requests[0], 1), "<null>");
    EXPECT_EQ(argText(requests[0], 2), "<null>");
    EXPECT_TRUE(callsOf(calls, "GetDataPoint").empty());

    // The records that exist, in the middleware's order.
    ASSERT_EQ(records.size(), 3);
    EXPECT_EQ(records[0].GetSignedIntValue("pid"), analog);
    EXPECT_EQ(records[1].GetSignedIntValue("pid"), status);
    EXPECT_EQ(records[2].GetSignedIntValue("pid"), text);
}

// ---- Point names ------------------------------------------------------------

TEST_F(PointAccessTest, PointIdWithNameResolvesKnownNameAndCachesIt)
{
    const int id = plantId(kStatusName);
    ASSERT_GT(id, 0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kStatusName)), id);
    const std::vector<DravoRecordedCall> first = takeCalls("GetDataPoint");
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(argText(first[0], 0), kStatusName);
    EXPECT_EQ(argText(first[0], 2), "<null>");

    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kStatusName)), id);
    EXPECT_TRUE(takeCalls().empty()) << "the second lookup went to the middleware";
}

TEST_F(PointAccessTest, PointIdWithNameSendsTheNameAsUtf8)
{
    const std::string name = "Millbrook.Überlaufbecken.Füllstand";
    ASSERT_EQ(putNameIndex(name, 201499), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->pointIdWithName(QString::fromUtf8(name.c_str())), 201499);
    EXPECT_EQ(readNames(takeCalls()), std::vector<std::string>{name});
    DravoPlus::DeleteDataPoint(name.c_str(), nullptr, nullptr);
}

TEST_F(PointAccessTest, UnknownNameOnLiveServerIsCachedAsZero)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("KestrelHill.NoSuch.Breaker")), 0);
    const std::vector<DravoRecordedCall> first = takeCalls("GetDataPoint");
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(argText(first[0], 0), "KestrelHill.NoSuch.Breaker");
    EXPECT_EQ(first[0].result, DRAVO_NOT_FOUND);
    EXPECT_EQ(argText(first[1], 0), ":marker");
    EXPECT_EQ(argText(first[1], 2), "<null>");
    EXPECT_EQ(first[1].result, DRAVO_OK);

    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("KestrelHill.NoSuch.Breaker")), 0);
    EXPECT_TRUE(takeCalls().empty()) << "the cached 0 was not used";
}

TEST_F(PointAccessTest, UnknownNameIsAskedAgainWhileMarkerIsMissing)
{
    ASSERT_EQ(DravoPlus::DeleteDataPoint(":marker", nullptr, nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("Millbrook.NoSuch.Pump")), 0);
    EXPECT_EQ(readNames(takeCalls()), (std::vector<std::string>{"Millbrook.NoSuch.Pump", ":marker"}));

    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("Millbrook.NoSuch.Pump")), 0);
    EXPECT_TRUE(contains(readNames(takeCalls()), "Millbrook.NoSuch.Pump")) << "0 was cached without the probe";
    EXPECT_EQ(ensureMarker(), DRAVO_OK);
}

TEST_F(PointAccessTest, PointIdWithNameWhileDisconnectedReturnsMinusOneAndCachesNothing)
{
    const int id = plantId(kTextName);
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    startRecording();
    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kTextName)), -1);
    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("KestrelHill.NoSuch.Relay")), -1);
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_TRUE(readNames(calls).empty());
    EXPECT_FALSE(callsOf(calls, "IsConnect").empty());

    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kTextName)), id);
    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("KestrelHill.NoSuch.Relay")), 0);
    const std::vector<std::string> asked = readNames(takeCalls());
    EXPECT_TRUE(contains(asked, kTextName));
    EXPECT_TRUE(contains(asked, "KestrelHill.NoSuch.Relay"));
}

TEST_F(PointAccessTest, CachedNamesResolveWhileDisconnected)
{
    const int id = plantId(kAnalogName);
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->pointIdWithName(QString::fromLatin1(kAnalogName)), id);
    ASSERT_EQ(rt->pointIdWithName(QStringLiteral("Millbrook.NoSuch.Flow")), 0);
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kAnalogName)), id);
    EXPECT_EQ(rt->pointIdWithName(QStringLiteral("Millbrook.NoSuch.Flow")), 0);
}

TEST_F(PointAccessTest, CachedIdOutlivesItsNameRecord)
{
    const std::string name = "KestrelHill.Test.RenamedPoint";
    ASSERT_EQ(putNameIndex(name, 200077), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->pointIdWithName(q(name)), 200077);
    ASSERT_EQ(DravoPlus::DeleteDataPoint(name.c_str(), nullptr, nullptr), DRAVO_OK);
    EXPECT_EQ(rt->pointIdWithName(q(name)), 200077);
    // A fresh interface asks the server.
    EXPECT_EQ(newRuntime()->pointIdWithName(q(name)), 0);
}

TEST_F(PointAccessTest, PointIdsWithNameResolvesKnownNamesAndLeavesUnknownOut)
{
    const QMap<QString, int> expected{{QString::fromLatin1(kStatusName), plantId(kStatusName)},
                                      {QString::fromLatin1(kAnalogName), plantId(kAnalogName)},
                                      {QString::fromLatin1(kTextName), plantId(kTextName)}};
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    const QMap<QString, int> ids = rt->pointIdsWithName(
        {QString::fromLatin1(kStatusName), QStringLiteral("Nowhere.Point"), QString::fromLatin1(kAnalogName),
         QString::fromLatin1(kTextName)});
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(ids, expected);
    const std::vector<DravoRecordedCall> requests = callsOf(calls, "GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names,
              (std::vector<std::string>{kStatusName, "Nowhere.Point", kAnalogName, kTextName}));
    EXPECT_EQ(argText(requests[0], 1), "<null>");
    EXPECT_EQ(argText(requests[0], 2), "<null>");
    // No connection check and no single reads.
    EXPECT_TRUE(callsOf(calls, "IsConnect").empty());
    EXPECT_TRUE(callsOf(calls, "GetDataPoint").empty());
}

TEST_F(PointAccessTest, PointIdsWithNameCachesKnownNamesOnly)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const QList<QString> names{QString::fromLatin1(kStatusName), QStringLiteral("Nowhere.Breaker"),
                               QString::fromLatin1(kAnalogName)};
    rt->pointIdsWithName(names);
    startRecording();
    const QMap<QString, int> again = rt->pointIdsWithName(names);
    EXPECT_EQ(again.size(), 2);
    EXPECT_FALSE(again.contains(QStringLiteral("Nowhere.Breaker")));
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names, std::vector<std::string>{"Nowhere.Breaker"});

    // The single lookup finds the batch's names in the cache.
    EXPECT_EQ(rt->pointIdWithName(QString::fromLatin1(kAnalogName)), again.value(QString::fromLatin1(kAnalogName)));
    EXPECT_TRUE(takeCalls("GetDataPoint").empty());
    EXPECT_EQ(again.value(QString::fromLatin1(kAnalogName)), plantId(kAnalogName));
}

TEST_F(PointAccessTest, PointIdsWithNameWithEveryNameCachedStillSendsOneEmptyRequest)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const QList<QString> names{QString::fromLatin1(kStatusName), QString::fromLatin1(kTextName)};
    ASSERT_EQ(rt->pointIdsWithName(names).size(), 2);
    startRecording();
    const QMap<QString, int> again = rt->pointIdsWithName(names);
    EXPECT_EQ(again.value(QString::fromLatin1(kStatusName)), plantId(kStatusName));
    EXPECT_EQ(again.value(QString::fromLatin1(kTextName)), plantId(kTextName));
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].names.empty());
    EXPECT_EQ(argText(requests[0], 0), "0");
}

TEST_F(PointAccessTest, PointIdsWithNameGivesCachedZeroOfUnknownName)
{
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->pointIdWithName(QStringLiteral("Nowhere.Valve")), 0);
    const QMap<QString, int> ids = rt->pointIdsWithName({QStringLiteral("Nowhere.Valve")});
    ASSERT_TRUE(ids.contains(QStringLiteral("Nowhere.Valve")));
    EXPECT_EQ(ids.value(QStringLiteral("Nowhere.Valve")), 0);
}

TEST_F(PointAccessTest, PointIdsWithNameResolvesTenThousandNamesInOneRequest)
{
    std::map<std::string, int> known;
    for (const char* type : {"STATUS", "ANALOG", "TEXT"}) {
        for (const auto& [name, id] : plantPoints(type))
            known[name] = id;
    }
    ASSERT_EQ(known.size(), 4000u) << "the sample plant changed";
    QList<QString> names;
    for (const auto& entry : known)
        names << q(entry.first);
    for (int i = 0; names.size() < 10000; ++i)
        names << QStringLiteral("Nowhere.Point%1").arg(i);

    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    const QMap<QString, int> ids = rt->pointIdsWithName(names);
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names.size(), 10000u);
    ASSERT_EQ(ids.size(), 4000);
    int mismatches = 0;
    for (auto it = ids.cbegin(); it != ids.cend(); ++it) {
        const auto expected = known.find(it.key().toStdString());
        if (expected == known.end() || expected->second != it.value())
            ++mismatches;
    }
    EXPECT_EQ(mismatches, 0);

    // Known names are cached now, unknown ones are asked for again.
    EXPECT_EQ(rt->pointIdsWithName(names).size(), 4000);
    const std::vector<DravoRecordedCall> second = takeCalls("GetDataPointN");
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].names.size(), 6000u);
}

// ---- Channel and device names -----------------------------------------------

TEST_F(PointAccessTest, ChannelIdWithNameGivesTheChannelId)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->channelIdWithName(QString::fromLatin1(kChannelName)), plantId(std::string("@C::") + kChannelName));
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names, std::vector<std::string>{std::string("@C::") + kChannelName});
}

TEST_F(PointAccessTest, ChannelIdWithUnknownNameIsMinusOne)
{
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_EQ(rt->channelIdWithName(QStringLiteral("Millbrook-Radio")), -1);
    // A device name is no channel name.
    EXPECT_EQ(rt->channelIdWithName(QString::fromLatin1(kDeviceName)), -1);
}

TEST_F(PointAccessTest, DeviceIdWithNameGivesTheDeviceId)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->deviceIdWithName(QString::fromLatin1(kSecondDeviceName)),
              plantId(std::string("@R::") + kSecondDeviceName));
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names, std::vector<std::string>{std::string("@R::") + kSecondDeviceName});
}

TEST_F(PointAccessTest, DeviceIdWithUnknownNameIsMinusOne)
{
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_EQ(rt->deviceIdWithName(QStringLiteral("Millbrook-RTU-Nowhere")), -1);
    EXPECT_EQ(rt->deviceIdWithName(QString::fromLatin1(kChannelName)), -1);
}

TEST_F(PointAccessTest, ChannelIdsWithNameRemovesThePrefixAndLeavesUnknownOut)
{
    startRecording();
    const QMap<QString, int> ids = ScadaRuntimeInterface::channelIdsWithName(
        {QString::fromLatin1(kSecondChannelName), QStringLiteral("Millbrook-Radio"), QString::fromLatin1(kChannelName)});
    const QMap<QString, int> expected{
        {QString::fromLatin1(kChannelName), plantId(std::string("@C::") + kChannelName)},
        {QString::fromLatin1(kSecondChannelName), plantId(std::string("@C::") + kSecondChannelName)}};
    EXPECT_EQ(ids, expected);
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names, (std::vector<std::string>{std::string("@C::") + kSecondChannelName,
                                                           "@C::Millbrook-Radio", std::string("@C::") + kChannelName}));
    EXPECT_EQ(argText(requests[0], 2), "<null>");

    // Nothing is cached: the same names are asked for again.
    ScadaRuntimeInterface::channelIdsWithName({QString::fromLatin1(kChannelName)});
    EXPECT_EQ(takeCalls("GetDataPointN").size(), 1u);
}

TEST_F(PointAccessTest, DeviceIdsWithNameRemovesThePrefixAndLeavesUnknownOut)
{
    startRecording();
    const QMap<QString, int> ids = ScadaRuntimeInterface::deviceIdsWithName(
        {QString::fromLatin1(kDeviceName), QString::fromLatin1(kSecondDeviceName), QStringLiteral("Nowhere-RTU")});
    const QMap<QString, int> expected{
        {QString::fromLatin1(kDeviceName), plantId(std::string("@R::") + kDeviceName)},
        {QString::fromLatin1(kSecondDeviceName), plantId(std::string("@R::") + kSecondDeviceName)}};
    EXPECT_EQ(ids, expected);
    const std::vector<DravoRecordedCall> requests = takeCalls("GetDataPointN");
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].names, (std::vector<std::string>{std::string("@R::") + kDeviceName,
                                                           std::string("@R::") + kSecondDeviceName, "@R::Nowhere-RTU"}));
}

TEST_F(PointAccessTest, PrefixIsRemovedWhereverItOccursInTheName)
{
    // A device whose own name carries the prefix again.
    const std::string stored = "@R::Bay@R::7";
    ASSERT_EQ(putNameIndex(stored, 57), DRAVO_OK);
    const QMap<QString, int> ids = ScadaRuntimeInterface::deviceIdsWithName({QStringLiteral("Bay@R::7")});
    EXPECT_EQ(ids, (QMap<QString, int>{{QStringLiteral("Bay7"), 57}}));
    // ... so the single lookup finds no entry under the name it was given.
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_EQ(rt->deviceIdWithName(QStringLiteral("Bay@R::7")), 0);
    DravoPlus::DeleteDataPoint(stored.c_str(), nullptr, nullptr);
}

// ---- Point sets ---------------------------------------------------------------

TEST_F(PointAccessTest, BuildPointSetSortsIdsByKindInAscendingNameOrder)
{
    // Plant names in no particular order, several of each kind.
    std::vector<std::string> names;
    for (const char* type : {"TEXT", "STATUS", "ANALOG"}) {
        const auto points = plantPoints(type);
        ASSERT_GE(points.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i)
            names.push_back(points[points.size() - 1 - i * 7].first);
    }
    std::map<std::string, int> ids;
    for (const std::string& name : names)
        ids[name] = plantId(name);

    QList<QString> request;
    for (const std::string& name : names)
        request << q(name);
    ScadaRuntimeInterface* rt = newRuntime();
    const PointTypeSet set = Morvane::buildPointSet(rt, request);

    // Expected: ids in ascending order of their names, as Qt orders them.
    QList<QString> sorted = request;
    std::sort(sorted.begin(), sorted.end());
    PointTypeSet expected;
    for (const QString& name : sorted) {
        const int id = ids[name.toStdString()];
        if (Morvane::isStatusPoint(id))
            expected.statusPoints << id;
        else if (Morvane::isAnalogPointPoint(id))
            expected.analogPoints << id;
        else
            expected.textPoints << id;
    }
    EXPECT_EQ(set.statusPoints.size(), 3);
    EXPECT_EQ(set.analogPoints.size(), 3);
    EXPECT_EQ(set.textPoints.size(), 3);
    EXPECT_EQ(set.statusPoints, expected.statusPoints);
    EXPECT_EQ(set.analogPoints, expected.analogPoints);
    EXPECT_EQ(set.textPoints, expected.textPoints);
}

TEST_F(PointAccessTest, BuildPointSetDropsNamesResolvingToZeroOrUnknown)
{
    ScadaRuntimeInterface* rt = newRuntime();
    // Cached as 0 by the single lookup, so the batch gives it as 0.
    ASSERT_EQ(rt->pointIdWithName(QStringLiteral("Nowhere.Zero")), 0);
    const PointTypeSet set = Morvane::buildPointSet(
        rt, {QStringLiteral("Nowhere.Zero"), QStringLiteral("Nowhere.Unknown"), QString::fromLatin1(kStatusName)});
    EXPECT_EQ(set.statusPoints, QList<int>{plantId(kStatusName)});
    EXPECT_TRUE(set.analogPoints.isEmpty());
    EXPECT_TRUE(set.textPoints.isEmpty());

    const PointTypeSet none = Morvane::buildPointSet(rt, {QStringLiteral("Nowhere.Zero"), QStringLiteral("Nowhere.Unknown")});
    EXPECT_TRUE(none.statusPoints.isEmpty());
    EXPECT_TRUE(none.analogPoints.isEmpty());
    EXPECT_TRUE(none.textPoints.isEmpty());
}

TEST_F(PointAccessTest, BuildPointSetSortsByTheClassifierBounds)
{
    // Name records of ids at every bound; a channel's index resolves to a
    // small id that is no point.
    const std::vector<std::pair<std::string, int>> bounds{
        {"Bound.A.100000", 100000}, {"Bound.B.100001", 100001},   {"Bound.C.200000", 200000},
        {"Bound.D.200001", 200001}, {"Bound.E.3000000", 3000000}, {"Bound.F.3000001", 3000001}};
    QList<QString> names;
    for (const auto& [name, id] : bounds) {
        ASSERT_EQ(putNameIndex(name, id), DRAVO_OK);
        names << q(name);
    }
    names << QString::fromLatin1("@C::") + QString::fromLatin1(kChannelName);
    ScadaRuntimeInterface* rt = newRuntime();
    const PointTypeSet set = Morvane::buildPointSet(rt, names);
    EXPECT_EQ(set.statusPoints, (QList<int>{100001, 200000}));
    EXPECT_EQ(set.analogPoints, (QList<int>{200001, 3000000}));
    EXPECT_EQ(set.textPoints, QList<int>{3000001});
    for (const auto& bound : bounds)
        DravoPlus::DeleteDataPoint(bound.first.c_str(), nullptr, nullptr);
}

// ---- Several threads on one interface ---------------------------------------

TEST_F(PointAccessTest, ConcurrentNameResolutionGivesTheMiddlewaresIds)
{
    // Overlapping names: part of each kind of the plant, and unknown ones.
    std::vector<std::pair<QString, int>> pool;
    for (const char* type : {"STATUS", "ANALOG", "TEXT"}) {
        const auto points = plantPoints(type);
        for (std::size_t i = 0; i < points.size() && i < 150; ++i)
            pool.emplace_back(q(points[i].first), points[i].second);
    }
    for (int i = 0; i < 50; ++i)
        pool.emplace_back(QStringLiteral("Nowhere.Concurrent%1").arg(i), 0);
    ASSERT_EQ(pool.size(), 500u);

    ScadaRuntimeInterface* rt = newRuntime();
    constexpr int kThreads = 8;
    constexpr int kLookups = 2000;
    constexpr int kBatch = 10;
    std::atomic<int> ready{0};
    std::atomic<int> wrong{0};
    std::atomic<int> done{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ++ready;
            while (ready.load() < kThreads)
                std::this_thread::yield();
            for (int k = 0; k < kLookups; ++k) {
                const std::size_t at = static_cast<std::size_t>(k * 7 + t * 31) % pool.size();
                if (k % 10 == t % 10) {
                    QList<QString> batch;
                    for (int b = 0; b < kBatch; ++b)
                        batch << pool[(at + static_cast<std::size_t>(b)) % pool.size()].first;
                    const QMap<QString, int> ids = rt->pointIdsWithName(batch);
                    for (int b = 0; b < kBatch; ++b) {
                        const auto& [name, id] = pool[(at + static_cast<std::size_t>(b)) % pool.size()];
                        // An unknown name is absent, or 0 when a single lookup cached it.
                        const bool ok = id == 0 ? ids.value(name, 0) == 0 : ids.value(name, -2) == id;
                        if (!ok)
                            ++wrong;
                    }
                } else if (rt->pointIdWithName(pool[at].first) != pool[at].second) {
                    ++wrong;
                }
                ++done;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(done.load(), kThreads * kLookups);
    EXPECT_EQ(wrong.load(), 0);

    // What the threads left in the cache agrees with the server.
    int stale = 0;
    for (const auto& [name, id] : pool) {
        if (rt->pointIdWithName(name) != id)
            ++stale;
    }
    EXPECT_EQ(stale, 0);
}

} // namespace
} // namespace runtimetest

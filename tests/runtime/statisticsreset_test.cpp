// statisticsreset_test.cpp: the statistics resets of the runtime interface
// (analog and status points, communication links, RTUs), against the
// embedded server with the sample plant.
//
// The batch calls are counted and their records decoded through the
// middleware's call recorder; resets of real plant objects are read back
// from the server. Records a test resets are put back when it ends.
#include "runtimefixture.h"

#include <MVShared/ScadaRuntimeInterface.h>

#include <QtCore/QDateTime>
#include <QtCore/QSet>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace runtimetest {
namespace {

// The field names every record must carry, in order, time stamp first.
const std::vector<std::string> kAnalogFields = {
    "changedTime", "savingTime", "lastvalue", "tag", "limit", "quality", "isDirty",
    "timeNow", "timeMax", "timeMaxTime", "timeMin", "timeMinTime", "timeAvg", "timeDelta", "timeAcc",
    "dayNow", "dayMax", "dayMaxTime", "dayMin", "dayMinTime", "dayAvg", "dayDelta", "dayAcc",
    "monthNow", "monthMax", "monthMaxTime", "monthMin", "monthMinTime", "monthAvg", "monthDelta", "monthAcc",
    "totalNow", "totalMax", "totalMaxTime", "totalMin", "totalMinTime", "totalAvg", "totalDelta", "totalAcc",
    "weekNow", "weekMax", "weekMaxTime", "weekMin", "weekMinTime", "weekAvg", "weekDelta", "weekAcc",
    "yearNow", "yearMax", "yearMaxTime", "yearMin", "yearMinTime", "yearAvg", "yearDelta", "yearAcc"};

const std::vector<std::string> kStatusFields = {
    "changedTime", "savingTime", "tag", "limit", "quality", "lastvalue", "isDirty",
    "onTime", "offTime", "totalOnDuration", "totalOffDuration", "todayOnDuration", "todayOffDuration",
    "monthOnDuration", "monthOffDuration", "todayOnCount", "todayOffCount", "totalOnCount", "totalOffCount",
    "monthOnCount", "monthOffCount", "timeOnDuration", "timeOffDuration", "timeOnCount", "timeOffCount",
    "yearOnDuration", "yearOffDuration", "yearOnCount", "yearOffCount"};

const std::vector<std::string> kCommFields = {
    "updateTime", "commsavingTime", "todayFailDuration", "todayFailCount", "totalFailDuration",
    "totalFailCount", "status", "goodTime", "badTime"};

const std::vector<std::string> kRtuFields = {
    "updateTime", "commsavingTime", "goodTime", "badTime", "totalCommRatio", "totalFailDuration",
    "totalSuccessPolls", "totalNoResponseTimes", "totalFails", "totalPollings", "todayCommRatio",
    "todayFailDuration", "todaySuccessPolls", "todayNoResponseTimes", "todayFails", "totayPollings",
    "tag", "limit", "quality", "status"};

std::vector<std::string> fieldNames(const DravoPartialData& partial)
{
    std::vector<std::string> names;
    for (const DravoPartialData::Field& field : partial.fields())
        names.push_back(field.name);
    return names;
}

const DravoPartialData::Field* findField(const DravoPartialData& partial, const std::string& name)
{
    for (const DravoPartialData::Field& field : partial.fields()) {
        if (field.name == name)
            return &field;
    }
    return nullptr;
}

// A field's value as the 32-bit integer it was put as.
std::int32_t int32Of(const DravoPartialData::Field& field)
{
    std::int32_t value = 0;
    if (field.bytes.size() == sizeof value)
        std::memcpy(&value, field.bytes.data(), sizeof value);
    return value;
}

std::uint32_t secondsNow()
{
    return static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());
}

QSet<int> idRange(int first, int count)
{
    QSet<int> ids;
    for (int i = 0; i < count; ++i)
        ids.insert(first + i);
    return ids;
}

class StatisticsResetTest : public RuntimeTest
{
protected:
    void TearDown() override
    {
        DravoPlus::SetCallRecording(false);
        // Newest first, so that the first copy kept of a record wins.
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it)
            DravoPlus::PutDataPoint(*it, nullptr, nullptr);
        m_saved.clear();
        RuntimeTest::TearDown();
    }

    void keep(const std::string& name)
    {
        DravoData record;
        ASSERT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
        m_saved.push_back(record);
    }

    DravoData stored(const std::string& name)
    {
        DravoData record;
        EXPECT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
        return record;
    }

    // The single batch call of one reset: its operation, its records'
    // names, types and fields, every value but the time stamp 0 (isDirty 1
    // where listed), the time stamp within the call.
    void checkBatch(const std::vector<DravoRecordedCall>& calls, const char* operation, const char* type,
                    const std::vector<std::string>& fields, const QSet<int>& ids,
                    std::uint32_t before, std::uint32_t after)
    {
        ASSERT_EQ(calls.size(), 1u) << "one middleware call per reset";
        const DravoRecordedCall& call = calls[0];
        EXPECT_EQ(call.operation, operation);
        ASSERT_EQ(call.partials.size(), static_cast<std::size_t>(ids.size()));
        QSet<int> seen;
        for (const DravoPartialData& partial : call.partials) {
            EXPECT_STREQ(partial.GetTypeName(), type);
            const std::string name = partial.GetDataName();
            ASSERT_EQ(name.rfind(type, 0), 0u) << name;
            const int id = std::stoi(name.substr(std::strlen(type)));
            EXPECT_EQ(name, type + std::to_string(id));
            seen.insert(id);
            EXPECT_EQ(fieldNames(partial), fields) << name;
            for (std::size_t i = 1; i < partial.fields().size(); ++i) {
                const DravoPartialData::Field& field = partial.fields()[i];
                EXPECT_EQ(int32Of(field), field.name == "isDirty" ? 1 : 0) << name << " " << field.name;
            }
            const DravoPartialData::Field* stamp = findField(partial, fields.front());
            ASSERT_NE(stamp, nullptr);
            std::uint32_t seconds = 0;
            ASSERT_EQ(stamp->bytes.size(), sizeof seconds);
            std::memcpy(&seconds, stamp->bytes.data(), sizeof seconds);
            EXPECT_GE(seconds, before);
            EXPECT_LE(seconds, after);
        }
        EXPECT_EQ(seen, ids);
    }

private:
    std::vector<DravoData> m_saved;
};

// ---- One batch per reset -----------------------------------------------------------

TEST_F(StatisticsResetTest, AnalogResetIsOnePublishedBatchFor1_2And500Ids)
{
    ScadaRuntimeInterface* rt = newRuntime();
    for (const int count : {1, 2, 500}) {
        const QSet<int> ids = idRange(200001, count);
        for (const int id : ids)
            keep("ANALOG" + std::to_string(id));
        startRecording();
        const std::uint32_t before = secondsNow();
        EXPECT_EQ(rt->resetAnalogData(ids), 0) << count;
        const std::uint32_t after = secondsNow();
        checkBatch(takeCalls(), "PutPartialDataPoints", "ANALOG", kAnalogFields, ids, before, after);
    }
}

TEST_F(StatisticsResetTest, StatusResetIsOnePublishedBatchFor1_2And500Ids)
{
    ScadaRuntimeInterface* rt = newRuntime();
    for (const int count : {1, 2, 500}) {
        const QSet<int> ids = idRange(100001, count);
        for (const int id : ids)
            keep("STATUS" + std::to_string(id));
        startRecording();
        const std::uint32_t before = secondsNow();
        EXPECT_EQ(rt->resetStatusData(ids), 0) << count;
        const std::uint32_t after = secondsNow();
        checkBatch(takeCalls(), "PutPartialDataPoints", "STATUS", kStatusFields, ids, before, after);
    }
}

TEST_F(StatisticsResetTest, CommResetIsOneUnpublishedBatchFor1_2And500Ids)
{
    for (int id = 1; id <= 4; ++id)
        keep("COMMLINK" + std::to_string(id));
    ScadaRuntimeInterface* rt = newRuntime();
    for (const int count : {1, 2, 500}) {
        const QSet<int> ids = idRange(1, count);
        startRecording();
        const std::uint32_t before = secondsNow();
        const int rc = rt->resetCommData(ids);
        const std::uint32_t after = secondsNow();
        const std::vector<DravoRecordedCall> calls = takeCalls();
        checkBatch(calls, "PutPartialDataPointsWithNoPublish", "COMMLINK", kCommFields, ids, before, after);
        // The plant has four links: a batch naming more is refused whole.
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(rc, calls[0].result);
        EXPECT_EQ(rc, count <= 4 ? 0 : DRAVO_NOT_FOUND) << count;
    }
}

TEST_F(StatisticsResetTest, RtuResetIsOneUnpublishedBatchFor1_2And500Ids)
{
    for (int id = 1; id <= 8; ++id)
        keep("REMOTEUNIT" + std::to_string(id));
    ScadaRuntimeInterface* rt = newRuntime();
    for (const int count : {1, 2, 500}) {
        const QSet<int> ids = idRange(1, count);
        startRecording();
        const std::uint32_t before = secondsNow();
        const int rc = rt->resetRtuData(ids);
        const std::uint32_t after = secondsNow();
        const std::vector<DravoRecordedCall> calls = takeCalls();
        checkBatch(calls, "PutPartialDataPointsWithNoPublish", "REMOTEUNIT", kRtuFields, ids, before, after);
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(rc, calls[0].result);
        EXPECT_EQ(rc, count <= 8 ? 0 : DRAVO_NOT_FOUND) << count;
    }
}

// ---- Names and fields ----------------------------------------------------------------

TEST_F(StatisticsResetTest, AnalogResetOfATextRangeIdIsStillNamedAnalog)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    const int rc = rt->resetAnalogData({3000001});
    const std::vector<DravoRecordedCall> calls = takeCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "PutPartialDataPoints");
    ASSERT_EQ(calls[0].partials.size(), 1u);
    EXPECT_STREQ(calls[0].partials[0].GetDataName(), "ANALOG3000001");
    EXPECT_STREQ(calls[0].partials[0].GetTypeName(), "ANALOG");
    EXPECT_EQ(calls[0].names, (std::vector<std::string>{"ANALOG3000001"}));
    // No such analog record: the batch call's refusal comes back.
    EXPECT_EQ(rc, DRAVO_NOT_FOUND);
    EXPECT_EQ(rc, calls[0].result);
}

TEST_F(StatisticsResetTest, TwoRtusGoInOneUnpublishedBatchWithTotayPollingsZero)
{
    keep("REMOTEUNIT3");
    keep("REMOTEUNIT4");
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->resetRtuData({3, 4}), 0);
    const std::vector<DravoRecordedCall> calls = takeCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].operation, "PutPartialDataPointsWithNoPublish");
    ASSERT_EQ(calls[0].partials.size(), 2u);
    for (const DravoPartialData& partial : calls[0].partials) {
        const DravoPartialData::Field* polls = findField(partial, "totayPollings");
        ASSERT_NE(polls, nullptr);
        EXPECT_EQ(int32Of(*polls), 0);
        EXPECT_EQ(findField(partial, "todayPollings"), nullptr);
        EXPECT_EQ(findField(partial, "isDirty"), nullptr);
    }
}

TEST_F(StatisticsResetTest, EmptySetsSendAnEmptyBatchAndReturnItsResult)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    const int analog = rt->resetAnalogData({});
    const int status = rt->resetStatusData({});
    const int comm = rt->resetCommData({});
    const int rtu = rt->resetRtuData({});
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(operationsOf(calls),
              (std::vector<std::string>{"PutPartialDataPoints", "PutPartialDataPoints",
                                        "PutPartialDataPointsWithNoPublish", "PutPartialDataPointsWithNoPublish"}));
    ASSERT_EQ(calls.size(), 4u);
    for (const DravoRecordedCall& call : calls)
        EXPECT_TRUE(call.partials.empty());
    EXPECT_EQ(analog, calls[0].result);
    EXPECT_EQ(status, calls[1].result);
    EXPECT_EQ(comm, calls[2].result);
    EXPECT_EQ(rtu, calls[3].result);
}

TEST_F(StatisticsResetTest, EveryRecordCarriesTheTimeItWasBuilt)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const QSet<int> ids = idRange(200001, 500);
    for (const int id : ids)
        keep("ANALOG" + std::to_string(id));
    startRecording();
    const std::uint32_t before = secondsNow();
    rt->resetAnalogData(ids);
    const std::uint32_t after = secondsNow();
    const std::vector<DravoRecordedCall> calls = takeCalls();
    ASSERT_EQ(calls.size(), 1u);
    // Stamped one by one while the batch was built: never before the call,
    // never after it, and never running backwards along the batch.
    std::uint32_t previous = before;
    for (const DravoPartialData& partial : calls[0].partials) {
        const DravoPartialData::Field& stamp = partial.fields().front();
        EXPECT_EQ(stamp.name, "changedTime");
        std::uint32_t seconds = 0;
        ASSERT_EQ(stamp.bytes.size(), sizeof seconds);
        std::memcpy(&seconds, stamp.bytes.data(), sizeof seconds);
        EXPECT_GE(seconds, previous);
        EXPECT_LE(seconds, after);
        previous = seconds;
    }
}

TEST_F(StatisticsResetTest, NothingElseIsSent)
{
    keep("STATUS100001");
    keep("ANALOG200001");
    keep("COMMLINK1");
    keep("REMOTEUNIT1");
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->resetStatusData({100001}), 0);
    EXPECT_EQ(rt->resetAnalogData({200001}), 0);
    EXPECT_EQ(rt->resetCommData({1}), 0);
    EXPECT_EQ(rt->resetRtuData({1}), 0);
    // No refresh notification and no change event: the batch calls only.
    EXPECT_EQ(operationsOf(takeCalls()),
              (std::vector<std::string>{"PutPartialDataPoints", "PutPartialDataPoints",
                                        "PutPartialDataPointsWithNoPublish", "PutPartialDataPointsWithNoPublish"}));
}

// ---- Read back from the server ----------------------------------------------------------

TEST_F(StatisticsResetTest, ResetPlantPointsReadBackCleared)
{
    keep("ANALOG200001");
    keep("STATUS100001");
    ScadaRuntimeInterface* rt = newRuntime();
    // Values, tags and state to clear.
    ASSERT_EQ(rt->manualReplace(200001, QVariant(77.0)), 0);
    ASSERT_EQ(rt->applyTagToPoint(200001, Morvane::ControlInhibitTag), 0);
    ASSERT_EQ(rt->manualReplace(100001, QVariant(1)), 0);
    ASSERT_EQ(rt->applyTagToPoint(100001, Morvane::ControlInhibitTag), 0);
    DravoPartialData analogStats("ANALOG");
    analogStats.PutValue("dayMax", 99.5f);
    analogStats.PutValue("yearAcc", 12.0f);
    analogStats.PutValue("limit", std::int32_t{2});
    ASSERT_EQ(rt->putPartialAnalogUpdate(200001, analogStats), 0);
    DravoPartialData statusStats("STATUS");
    statusStats.PutValue("totalOnCount", std::int32_t{17});
    statusStats.PutValue("yearOffDuration", std::uint32_t{3600});
    ASSERT_EQ(rt->putPartialStatusUpdate(100001, statusStats), 0);

    const std::uint32_t before = secondsNow();
    EXPECT_EQ(rt->resetAnalogData({200001}), 0);
    EXPECT_EQ(rt->resetStatusData({100001}), 0);

    const DravoData analog = stored("ANALOG200001");
    for (std::size_t i = 1; i < kAnalogFields.size(); ++i) {
        const char* field = kAnalogFields[i].c_str();
        EXPECT_EQ(analog.GetDoubleValue(field), kAnalogFields[i] == "isDirty" ? 1.0 : 0.0) << field;
    }
    EXPECT_GE(analog.GetUnSignedIntValue("changedTime"), before);
    EXPECT_EQ(analog.GetDoubleValue("lastvalue"), 0.0);
    EXPECT_EQ(analog.GetUnSignedIntValue("tag"), 0u);
    EXPECT_EQ(analog.GetSignedIntValue("quality"), 0);

    const DravoData status = stored("STATUS100001");
    for (std::size_t i = 1; i < kStatusFields.size(); ++i) {
        const char* field = kStatusFields[i].c_str();
        EXPECT_EQ(status.GetDoubleValue(field), kStatusFields[i] == "isDirty" ? 1.0 : 0.0) << field;
    }
    EXPECT_GE(status.GetUnSignedIntValue("changedTime"), before);
    EXPECT_EQ(status.GetSignedIntValue("lastvalue"), 0);
    EXPECT_EQ(status.GetUnSignedIntValue("tag"), 0u);
    EXPECT_EQ(status.GetSignedIntValue("quality"), 0);
}

TEST_F(StatisticsResetTest, ResetLinksAndRtusReadBackCleared)
{
    keep("COMMLINK2");
    keep("REMOTEUNIT5");
    ScadaRuntimeInterface* rt = newRuntime();
    DravoData link = stored("COMMLINK2");
    link.PutValue("totalFailCount", std::int32_t{5});
    link.PutValue("goodTime", std::int32_t{300});
    ASSERT_EQ(DravoPlus::PutDataPoint(link, nullptr, nullptr), DRAVO_OK);
    ASSERT_EQ(rt->applyTagToRemoteUnit(5, Morvane::ControlInhibitTag), 0);
    DravoData rtu = stored("REMOTEUNIT5");
    rtu.PutValue("totayPollings", std::int32_t{40});
    rtu.PutValue("totalFails", std::int32_t{3});
    ASSERT_EQ(DravoPlus::PutDataPoint(rtu, nullptr, nullptr), DRAVO_OK);

    const std::uint32_t before = secondsNow();
    EXPECT_EQ(rt->resetCommData({2}), 0);
    EXPECT_EQ(rt->resetRtuData({5}), 0);

    const DravoData linkAfter = stored("COMMLINK2");
    for (std::size_t i = 1; i < kCommFields.size(); ++i)
        EXPECT_EQ(linkAfter.GetSignedIntValue(kCommFields[i].c_str()), 0) << kCommFields[i];
    EXPECT_GE(linkAfter.GetUnSignedIntValue("updateTime"), before);

    const DravoData rtuAfter = stored("REMOTEUNIT5");
    for (std::size_t i = 1; i < kRtuFields.size(); ++i)
        EXPECT_EQ(rtuAfter.GetSignedIntValue(kRtuFields[i].c_str()), 0) << kRtuFields[i];
    // The control-inhibit tag goes with the statistics.
    EXPECT_EQ(rtuAfter.GetUnSignedIntValue("tag"), 0u);
    EXPECT_GE(rtuAfter.GetUnSignedIntValue("updateTime"), before);
}

} // namespace
} // namespace runtimetest

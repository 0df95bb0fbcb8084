// pointwrites_test.cpp: manual replacement and its release, tags on points
// and RTUs, the partial updates and the program writes of the runtime
// interface, against the embedded server with the sample plant.
//
// Every write is read back from the server field by field; the change
// events are taken from event boxes of the named events' kinds, and the
// refresh requests from the recorder's "NOTIFY_MESSAGE" sends. Records a test
// changes are put back when it ends.
#include "runtimefixture.h"

#include <MVShared/ScadaRuntimeInterface.h>

#include <QsLog/QsLog.h>
#include <QsLog/QsLogDest.h>

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace runtimetest {
namespace {

// Plant points whose sample values the tests start from.
constexpr int kOpenStatus = 100003;     // state 0
constexpr int kClosedStatus = 100001;   // state 1
constexpr int kAnalog = 200001;         // 34.624
constexpr double kAnalogValue = 34.624;
constexpr int kTextPoint = 3000001;     // dataFormat 0
constexpr int kRtu = 2;

// A box of the kind a named event goes out under, in no domain; deleted
// with the object.
class NamedEventBox
{
public:
    explicit NamedEventBox(const char* eventName)
        : m_name("pointwritestest." + std::to_string(++s_counter))
    {
        m_kind = DravoPlus::GetEventKind(eventName);
        m_createResult = DravoPlus::CreateEventBox(m_name.c_str(), m_kind, 1000, nullptr, nullptr);
        if (m_createResult == DRAVO_OK)
            m_connectResult = DravoPlus::ConnectPortForRecv(m_name.c_str(), m_port, nullptr, nullptr);
    }
    ~NamedEventBox() { DravoPlus::DeleteEventBox(m_name.c_str(), nullptr, nullptr); }
    NamedEventBox(const NamedEventBox&) = delete;
    NamedEventBox& operator=(const NamedEventBox&) = delete;

    bool ready() const { return m_kind != 0 && m_createResult == DRAVO_OK && m_connectResult == DRAVO_OK; }

    // Every record queued so far (sends are queued before they return).
    std::vector<DravoData> take()
    {
        std::vector<DravoData> taken;
        for (;;) {
            DravoDataList list;
            if (DravoPlus::ReceiveEventN(m_port, list, nullptr, 1000, 5, nullptr, nullptr) != DRAVO_OK)
                break;
            for (const DravoData& record : list)
                taken.push_back(record);
        }
        return taken;
    }

private:
    static int s_counter;
    std::string m_name;
    int m_kind = 0;
    unsigned int m_port = 0;
    int m_createResult = -1;
    int m_connectResult = -1;
};

int NamedEventBox::s_counter = 0;

// One refresh request as the recorder saw it: command code, target, id.
using Refresh = std::tuple<int, int, int>;

std::vector<Refresh> refreshesOf(const std::vector<DravoRecordedCall>& calls)
{
    std::vector<Refresh> refreshes;
    for (const DravoRecordedCall& call : callsOf(calls, "SendEvent")) {
        if (argText(call, 0) != "20004" || call.records.empty())
            continue;
        const DravoData& message = call.records.front();
        DravoData param;
        message.GetValue("param", param);
        refreshes.emplace_back(message.GetSignedIntValue("cmdCode"), param.GetSignedIntValue("target"),
                               param.GetSignedIntValue("pid"));
    }
    return refreshes;
}

std::vector<std::string> partialFieldNames(const DravoPartialData& partial)
{
    std::vector<std::string> names;
    for (const DravoPartialData::Field& field : partial.fields())
        names.push_back(field.name);
    return names;
}

DravoData stored(const std::string& name)
{
    DravoData record;
    EXPECT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
    return record;
}

std::string text(const DravoData& record, const char* field)
{
    std::string value;
    record.GetValue(field, value);
    return value;
}

// Keeps every message the logger hands it, with its level.
class LogJournal : public QsLogging::Destination
{
public:
    struct Line {
        QString message;
        QsLogging::Level level;
    };

    void write(const QString& message, QsLogging::Level level) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back({message, level});
    }
    bool isValid() override { return true; }

    std::vector<Line> lines()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }

private:
    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

// A journal attached to the process's logger for one scope; the logger
// passes warnings meanwhile, whatever its level was.
class AttachedJournal
{
public:
    AttachedJournal()
        : m_journal(QSharedPointer<LogJournal>::create()),
          m_levelBefore(QsLogging::Logger::instance().loggingLevel())
    {
        QsLogging::Logger::instance().setLoggingLevel(QsLogging::WarnLevel);
        QsLogging::Logger::instance().addDestination(m_journal);
    }
    ~AttachedJournal()
    {
        QsLogging::Logger::instance().removeDestination(m_journal);
        QsLogging::Logger::instance().setLoggingLevel(m_levelBefore);
    }
    AttachedJournal(const AttachedJournal&) = delete;
    AttachedJournal& operator=(const AttachedJournal&) = delete;

    std::vector<LogJournal::Line> lines() { return m_journal->lines(); }

private:
    QSharedPointer<LogJournal> m_journal;
    QsLogging::Level m_levelBefore;
};

bool nearNow(std::int64_t milliseconds)
{
    return std::llabs(QDateTime::currentMSecsSinceEpoch() - milliseconds) < 10000;
}

class PointWritesTest : public RuntimeTest
{
protected:
    void TearDown() override
    {
        DravoPlus::SetCallRecording(false);
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            if (it->second)
                DravoPlus::PutDataPoint(it->first, nullptr, nullptr);
            else
                DravoPlus::DeleteDataPoint(it->first.GetDataName(), nullptr, nullptr);
        }
        m_saved.clear();
        RuntimeTest::TearDown();
    }

    // The record is put back (or removed, if it did not exist) at the end.
    void keep(const std::string& name)
    {
        DravoData record;
        const bool existed = DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr) == DRAVO_OK;
        if (!existed)
            record.SetFullName(name.c_str());
        m_saved.emplace_back(record, existed);
    }

    // An analog record stored under name, for the write range quirks.
    void putAnalogRecord(const std::string& name, int pid, double value)
    {
        keep(name);
        DravoData record("ANALOG", name.c_str());
        record.PutValue("pid", static_cast<std::int32_t>(pid));
        record.PutValue("lastvalue", value);
        ASSERT_EQ(DravoPlus::PutDataPoint(record, nullptr, nullptr), DRAVO_OK);
    }

    void setFields(ScadaRuntimeInterface* rt, int id, const char* type,
                   const std::vector<std::pair<const char*, std::int32_t>>& fields)
    {
        DravoPartialData partial(type);
        for (const auto& field : fields)
            ASSERT_EQ(partial.PutValue(field.first, field.second), DRAVO_OK) << field.first;
        ASSERT_EQ(rt->putPartialUpdate(id, partial), DRAVO_OK);
    }

    void setTextFormat(ScadaRuntimeInterface* rt, int id, std::uint8_t format)
    {
        DravoPartialData partial("TEXT");
        ASSERT_EQ(partial.PutValue("dataFormat", format), DRAVO_OK);
        ASSERT_EQ(rt->putPartialBinaryUpdate(id, partial), DRAVO_OK);
    }

private:
    std::vector<std::pair<DravoData, bool>> m_saved;
};

// ---- Manual replacement of status points ---------------------------------------

TEST_F(PointWritesTest, ManualReplaceStatusStoresStateAndPublishesChange)
{
    keep("STATUS100003");
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("STATUS_CHANGE");
    ASSERT_TRUE(box.ready());
    const std::uint32_t tagBefore = stored("STATUS100003").GetUnSignedIntValue("tag");
    startRecording();

    EXPECT_EQ(rt->manualReplace(kOpenStatus, QVariant(1)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("STATUS100003");
    EXPECT_EQ(point.GetSignedIntValue("lastvalue"), 1);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);
    EXPECT_EQ(point.GetUnSignedIntValue("tag"), tagBefore);

    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "STATUS100003");
    ASSERT_EQ(puts[0].partials.size(), 1u);
    EXPECT_STREQ(puts[0].partials[0].GetTypeName(), "STATUS");
    // No change time travels: the server stamps its own.
    EXPECT_EQ(partialFieldNames(puts[0].partials[0]),
              (std::vector<std::string>{"lastvalue", "isDirty", "quality", "limit"}));

    const auto named = callsOf(calls, "SendEventNamed");
    ASSERT_EQ(named.size(), 1u);
    EXPECT_EQ(argText(named[0], 0), "STATUS_CHANGE");
    EXPECT_EQ(argText(named[0], 1), "1");

    const std::vector<DravoData> events = box.take();
    ASSERT_EQ(events.size(), 1u);
    const DravoData& event = events[0];
    EXPECT_STREQ(event.GetTypeName(), "STATUS_CHANGE");
    EXPECT_EQ(event.GetSignedIntValue("pid"), kOpenStatus);
    EXPECT_EQ(event.GetSignedIntValue("oid"), 0);
    EXPECT_EQ(event.GetSignedIntValue("oldvalue"), 0);
    EXPECT_EQ(event.GetSignedIntValue("newvalue"), 1);
    EXPECT_EQ(event.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(event.GetSignedIntValue("soe"), 0);
    std::int64_t timestamp = 0;
    EXPECT_EQ(event.GetValue("timestamp", timestamp), DRAVO_OK);
    EXPECT_TRUE(nearNow(timestamp)) << timestamp;

    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 2, kOpenStatus}}));
}

TEST_F(PointWritesTest, ManualReplaceStatusWithSameValueStoresButPublishesNothing)
{
    keep("STATUS100001");
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("STATUS_CHANGE");
    ASSERT_TRUE(box.ready());
    startRecording();

    EXPECT_EQ(rt->manualReplace(kClosedStatus, QVariant(1)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(callsOf(calls, "PutPartialDataPoint").size(), 1u);
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(box.take().empty());
    const DravoData point = stored("STATUS100001");
    EXPECT_EQ(point.GetSignedIntValue("lastvalue"), 1);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);
    // The refresh is asked for all the same.
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 2, kClosedStatus}}));
}

TEST_F(PointWritesTest, ManualReplaceStatusWith300StoresState44)
{
    keep("STATUS100003");
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("STATUS_CHANGE");
    ASSERT_TRUE(box.ready());

    EXPECT_EQ(rt->manualReplace(kOpenStatus, QVariant(300)), 0);

    EXPECT_EQ(stored("STATUS100003").GetSignedIntValue("lastvalue"), 44);
    const std::vector<DravoData> events = box.take();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].GetSignedIntValue("oldvalue"), 0);
    EXPECT_EQ(events[0].GetSignedIntValue("newvalue"), 44);
}

TEST_F(PointWritesTest, ManualReplaceOfUnknownPointReturnsReadError)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->manualReplace(150000, QVariant(1)), DRAVO_NOT_FOUND);
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_TRUE(callsOf(calls, "PutPartialDataPoint").empty());
    EXPECT_TRUE(refreshesOf(calls).empty());
}

TEST_F(PointWritesTest, ManualReplaceOfAnotherRecordTypeIsTreatedAsStatusFromState0)
{
    // A record of another type under a status name takes no value.
    keep("STATUS150001");
    DravoData odd("REMOTEUNIT", "STATUS150001");
    odd.PutValue("quality", std::int32_t{1});
    ASSERT_EQ(DravoPlus::PutDataPoint(odd, nullptr, nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("STATUS_CHANGE");
    ASSERT_TRUE(box.ready());
    startRecording();

    EXPECT_EQ(rt->manualReplace(150001, QVariant(5)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_STREQ(puts[0].partials.at(0).GetTypeName(), "REMOTEUNIT");
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)), (std::vector<std::string>{"quality", "limit"}));
    EXPECT_EQ(stored("STATUS150001").GetSignedIntValue("quality"), 4);
    const std::vector<DravoData> events = box.take();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].GetSignedIntValue("oldvalue"), 0);
    EXPECT_EQ(events[0].GetSignedIntValue("newvalue"), 5);
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 2, 150001}}));
}

// ---- Manual replacement of analog points ---------------------------------------

TEST_F(PointWritesTest, ManualReplaceAnalogStoresValueAndPublishesChange)
{
    keep("ANALOG200001");
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("ANALOG_CHANGE");
    ASSERT_TRUE(box.ready());
    startRecording();

    EXPECT_EQ(rt->manualReplace(kAnalog, QVariant(50.5)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("ANALOG200001");
    EXPECT_DOUBLE_EQ(point.GetDoubleValue("lastvalue"), 50.5);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);

    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "ANALOG200001");
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"lastvalue", "isDirty", "quality", "limit"}));

    const auto named = callsOf(calls, "SendEventNamed");
    ASSERT_EQ(named.size(), 1u);
    EXPECT_EQ(argText(named[0], 0), "ANALOG_CHANGE");
    EXPECT_EQ(argText(named[0], 1), "1");

    const std::vector<DravoData> events = box.take();
    ASSERT_EQ(events.size(), 1u);
    const DravoData& event = events[0];
    EXPECT_STREQ(event.GetTypeName(), "ANALOG_CHANGE");
    EXPECT_EQ(event.GetSignedIntValue("pid"), kAnalog);
    EXPECT_DOUBLE_EQ(event.GetDoubleValue("oldvalue"), kAnalogValue);
    EXPECT_DOUBLE_EQ(event.GetDoubleValue("newvalue"), 50.5);
    EXPECT_EQ(event.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(event.GetSignedIntValue("soe"), 0);
    EXPECT_EQ(event.GetSignedIntValue("isabnormal"), 0);
    std::int64_t timestamp = 0;
    EXPECT_EQ(event.GetValue("timestamp", timestamp), DRAVO_OK);
    EXPECT_TRUE(nearNow(timestamp)) << timestamp;
    EXPECT_EQ(event.GetSignedIntValue("low_high_lowlow_highhigh"), 5);
    EXPECT_EQ(event.GetSignedIntValue("flag"), 2);

    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 3, kAnalog}}));
}

TEST_F(PointWritesTest, ManualReplaceAnalogWithSameValuePublishesNothing)
{
    keep("ANALOG200001");
    ScadaRuntimeInterface* rt = newRuntime();
    NamedEventBox box("ANALOG_CHANGE");
    ASSERT_TRUE(box.ready());
    startRecording();

    EXPECT_EQ(rt->manualReplace(kAnalog, QVariant(kAnalogValue)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(box.take().empty());
    EXPECT_EQ(stored("ANALOG200001").GetSignedIntValue("quality"), 4);
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 3, kAnalog}}));
}

TEST_F(PointWritesTest, ManualReplaceOfAnalog200000StoresUnderText200000)
{
    putAnalogRecord("ANALOG200000", 200000, 1.0);
    // What takes the write: a record of the analog type under the text name.
    putAnalogRecord("TEXT200000", 200000, 2.0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->manualReplace(200000, QVariant(7.0)), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const auto reads = callsOf(calls, "GetDataPoint");
    ASSERT_FALSE(reads.empty());
    EXPECT_EQ(argText(reads[0], 0), "ANALOG200000");
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "TEXT200000");
    EXPECT_DOUBLE_EQ(stored("TEXT200000").GetDoubleValue("lastvalue"), 7.0);
    EXPECT_EQ(stored("TEXT200000").GetSignedIntValue("quality"), 4);
    EXPECT_DOUBLE_EQ(stored("ANALOG200000").GetDoubleValue("lastvalue"), 1.0);
    EXPECT_EQ(stored("ANALOG200000").GetSignedIntValue("quality"), 0);
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 3, 200000}}));
}

TEST_F(PointWritesTest, ManualReplaceOf200000WithoutTextRecordReturnsStoreError)
{
    putAnalogRecord("ANALOG200000", 200000, 1.0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->manualReplace(200000, QVariant(7.0)), DRAVO_NOT_FOUND);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(callsOf(calls, "PutPartialDataPoint").size(), 1u);
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(refreshesOf(calls).empty());
}

TEST_F(PointWritesTest, ManualReplaceStoreFailureIsLoggedWithThePointAndTheMiddlewaresText)
{
    putAnalogRecord("ANALOG200000", 200000, 1.0);
    ScadaRuntimeInterface* rt = newRuntime();
    AttachedJournal journal;

    EXPECT_EQ(rt->manualReplace(200000, QVariant(7.0)), DRAVO_NOT_FOUND);

    const std::vector<LogJournal::Line> lines = journal.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, QsLogging::WarnLevel);
    const QString reason =
        QString::fromUtf16(reinterpret_cast<const ushort*>(DravoPlus::GetErrorString(DRAVO_NOT_FOUND)));
    EXPECT_EQ(lines[0].message, QStringLiteral("Manual replacement of point 200000 was not stored: ") + reason);
}

TEST_F(PointWritesTest, StoredManualReplacementLogsNothing)
{
    keep("STATUS100003");
    ScadaRuntimeInterface* rt = newRuntime();
    AttachedJournal journal;

    EXPECT_EQ(rt->manualReplace(kOpenStatus, QVariant(1)), 0);

    EXPECT_TRUE(journal.lines().empty());
}

// ---- Manual replacement of text points -----------------------------------------

TEST_F(PointWritesTest, ManualReplaceTextWritesBytesAndSizeWithoutEventOrRefresh)
{
    keep("TEXT3000001");
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->manualReplace(kTextPoint, QVariant(QByteArray("Relay XR-9"))), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("TEXT3000001");
    EXPECT_EQ(text(point, "lastvalue").substr(0, 11), std::string("Relay XR-9") + '\0');
    EXPECT_EQ(point.GetUnSignedIntValue("bytesize"), 10u);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "TEXT3000001");
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"lastvalue", "bytesize", "isDirty", "quality", "limit"}));
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(refreshesOf(calls).empty());
}

TEST_F(PointWritesTest, ManualReplaceTextWritesValueInFormats0To3)
{
    keep("TEXT3000002");
    ScadaRuntimeInterface* rt = newRuntime();
    for (std::uint8_t format = 0; format <= 3; ++format) {
        setTextFormat(rt, 3000002, format);
        const QByteArray value = QByteArray("format ") + QByteArray::number(format);
        EXPECT_EQ(rt->manualReplace(3000002, QVariant(value)), 0) << int(format);
        const DravoData point = stored("TEXT3000002");
        EXPECT_EQ(point.GetUnSignedIntValue("dataFormat"), format);
        EXPECT_EQ(text(point, "lastvalue").substr(0, 8), value.toStdString()) << int(format);
        EXPECT_EQ(point.GetUnSignedIntValue("bytesize"), 8u) << int(format);
        EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    }
}

TEST_F(PointWritesTest, ManualReplaceTextInHigherFormatLeavesValueOut)
{
    keep("TEXT3000002");
    ScadaRuntimeInterface* rt = newRuntime();
    setTextFormat(rt, 3000002, 4);
    const DravoData before = stored("TEXT3000002");
    startRecording();

    EXPECT_EQ(rt->manualReplace(3000002, QVariant(QByteArray("not written"))), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("TEXT3000002");
    EXPECT_EQ(text(point, "lastvalue"), text(before, "lastvalue"));
    EXPECT_EQ(point.GetUnSignedIntValue("bytesize"), before.GetUnSignedIntValue("bytesize"));
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"isDirty", "quality", "limit"}));
}

// ---- Release ---------------------------------------------------------------------

TEST_F(PointWritesTest, ManualReplaceReleaseClearsOnlyTheManualBit)
{
    keep("STATUS100005");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, 100005, "STATUS", {{"quality", 4 | 1 | 16}, {"limit", 2}});
    startRecording();

    EXPECT_EQ(rt->manualReplaceRelease(100005), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("STATUS100005");
    EXPECT_EQ(point.GetSignedIntValue("quality"), 1 | 16);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 2);
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)), (std::vector<std::string>{"quality", "isDirty"}));
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 2, 100005}}));
}

TEST_F(PointWritesTest, ManualReplaceReleaseAfterReplacementGivesGoodQuality)
{
    keep("ANALOG200001");
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->manualReplace(kAnalog, QVariant(12.0)), 0);
    startRecording();

    EXPECT_EQ(rt->manualReplaceRelease(kAnalog), 0);

    const DravoData point = stored("ANALOG200001");
    EXPECT_EQ(point.GetSignedIntValue("quality"), 0);
    EXPECT_DOUBLE_EQ(point.GetDoubleValue("lastvalue"), 12.0);
    EXPECT_EQ(refreshesOf(takeCalls()), (std::vector<Refresh>{Refresh{3, 3, kAnalog}}));
}

TEST_F(PointWritesTest, ManualReplaceReleaseOfTextPointAsksForAnalogRefresh)
{
    keep("TEXT3000001");
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->manualReplace(kTextPoint, QVariant(QByteArray("x"))), 0);
    startRecording();

    EXPECT_EQ(rt->manualReplaceRelease(kTextPoint), 0);

    EXPECT_EQ(stored("TEXT3000001").GetSignedIntValue("quality"), 0);
    EXPECT_EQ(refreshesOf(takeCalls()), (std::vector<Refresh>{Refresh{3, 3, kTextPoint}}));
}

TEST_F(PointWritesTest, ManualReplaceReleaseReturnsZeroWhenTheStoreFails)
{
    putAnalogRecord("ANALOG200000", 200000, 1.0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->manualReplaceRelease(200000), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "TEXT200000");
    EXPECT_EQ(puts[0].result, DRAVO_NOT_FOUND);
    EXPECT_TRUE(refreshesOf(calls).empty());
}

// ---- Point tags ---------------------------------------------------------------------

TEST_F(PointWritesTest, ApplyTagWithBit8ClearsQualityAndLimit)
{
    keep("ANALOG200002");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, 200002, "ANALOG", {{"quality", 4}, {"limit", 2}, {"tag", 0}});
    startRecording();

    EXPECT_EQ(rt->applyTagToPoint(200002, Morvane::MaintenanceTag), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("ANALOG200002");
    EXPECT_EQ(point.GetUnSignedIntValue("tag"), 8u);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 0);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 0);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"tag", "isDirty", "quality", "limit"}));
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 3, 200002}}));
}

TEST_F(PointWritesTest, ApplyTagWithBit1KeepsQualityAndLimit)
{
    keep("ANALOG200002");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, 200002, "ANALOG", {{"quality", 4}, {"limit", 2}, {"tag", 0}});
    startRecording();

    EXPECT_EQ(rt->applyTagToPoint(200002, Morvane::ControlInhibitTag), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("ANALOG200002");
    EXPECT_EQ(point.GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 2);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(partialFieldNames(callsOf(calls, "PutPartialDataPoint").at(0).partials.at(0)),
              (std::vector<std::string>{"tag", "isDirty"}));
}

TEST_F(PointWritesTest, TagsOnATextPointAskForDifferentRefreshes)
{
    keep("TEXT3000003");
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->applyTagToPoint(3000003, Morvane::ControlInhibitTag), 0);
    EXPECT_EQ(stored("TEXT3000003").GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(refreshesOf(takeCalls()), (std::vector<Refresh>{Refresh{3, 2, 3000003}}));

    EXPECT_EQ(rt->removeTagToPoint(3000003, Morvane::ControlInhibitTag), 0);
    EXPECT_EQ(stored("TEXT3000003").GetUnSignedIntValue("tag"), 0u);
    EXPECT_EQ(refreshesOf(takeCalls()), (std::vector<Refresh>{Refresh{3, 3, 3000003}}));
}

TEST_F(PointWritesTest, RemoveTagKeepsOtherBitsQualityAndLimit)
{
    keep("STATUS100006");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, 100006, "STATUS", {{"tag", 1 | 4}, {"quality", 4}, {"limit", 3}});
    startRecording();

    EXPECT_EQ(rt->removeTagToPoint(100006, Morvane::OutOfServiceTag), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("STATUS100006");
    EXPECT_EQ(point.GetUnSignedIntValue("tag"), 1u);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 4);
    EXPECT_EQ(point.GetSignedIntValue("limit"), 3);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(partialFieldNames(callsOf(calls, "PutPartialDataPoint").at(0).partials.at(0)),
              (std::vector<std::string>{"tag", "isDirty"}));
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{3, 2, 100006}}));
}

TEST_F(PointWritesTest, TagStoreFailureIsReturnedByApplyButNotByRemove)
{
    putAnalogRecord("ANALOG200000", 200000, 1.0);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->applyTagToPoint(200000, Morvane::ControlInhibitTag), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->removeTagToPoint(200000, Morvane::ControlInhibitTag), 0);

    const std::vector<DravoRecordedCall> calls = takeCalls();
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 2u);
    EXPECT_EQ(argText(puts[0], 0), "TEXT200000");
    EXPECT_EQ(argText(puts[1], 0), "TEXT200000");
    EXPECT_TRUE(refreshesOf(calls).empty());
}

// ---- RTU tags -------------------------------------------------------------------------

TEST_F(PointWritesTest, TagsOnARemoteUnitAreStoredUnderItsNameAndRefreshed)
{
    keep("REMOTEUNIT2");
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();

    EXPECT_EQ(rt->applyTagToRemoteUnit(kRtu, Morvane::ControlInhibitTag), 0);

    std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(stored("REMOTEUNIT2").GetUnSignedIntValue("tag"), 1u);
    auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "REMOTEUNIT2");
    EXPECT_STREQ(puts[0].partials.at(0).GetTypeName(), "REMOTEUNIT");
    EXPECT_STREQ(puts[0].partials.at(0).GetDataName(), "REMOTEUNIT2");
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)), (std::vector<std::string>{"tag"}));
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{0, 2, kRtu}}));

    EXPECT_EQ(rt->applyTagToRemoteUnit(kRtu, Morvane::MaintenanceTag), 0);
    EXPECT_EQ(stored("REMOTEUNIT2").GetUnSignedIntValue("tag"), 9u);
    EXPECT_EQ(rt->removeTagToRemoteUnit(kRtu, Morvane::ControlInhibitTag), 0);
    EXPECT_EQ(stored("REMOTEUNIT2").GetUnSignedIntValue("tag"), 8u);
    calls = takeCalls();
    EXPECT_EQ(refreshesOf(calls), (std::vector<Refresh>{Refresh{0, 2, kRtu}, Refresh{0, 2, kRtu}}));
}

// The store can only fail after a good read when the record goes away in
// between: another task removes and restores an RTU record over and over
// until one call reads it and then cannot store it. That call must still
// have asked for the refresh.
TEST_F(PointWritesTest, ApplyTagToRemoteUnitAsksForRefreshEvenWhenTheStoreFails)
{
    keep("REMOTEUNIT77");
    DravoData rtuRecord("REMOTEUNIT", "REMOTEUNIT77");
    rtuRecord.PutValue("pid", std::int32_t{77});
    ASSERT_EQ(DravoPlus::PutDataPoint(rtuRecord, nullptr, nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();

    std::atomic<bool> stop{false};
    std::thread churn([&stop, &rtuRecord] {
        while (!stop.load()) {
            DravoPlus::DeleteDataPoint("REMOTEUNIT77", nullptr, nullptr);
            DravoPlus::PutDataPoint(rtuRecord, nullptr, nullptr);
        }
    });
    startRecording();
    bool storeFailed = false;
    bool refreshed = false;
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!storeFailed && std::chrono::steady_clock::now() < deadline) {
        const int rc = rt->applyTagToRemoteUnit(77, Morvane::ControlInhibitTag);
        const std::vector<DravoRecordedCall> calls = takeCalls();
        const auto reads = callsOf(calls, "GetDataPoint");
        const auto puts = callsOf(calls, "PutPartialDataPoint");
        if (reads.size() == 1 && reads[0].result == DRAVO_OK && puts.size() == 1 && puts[0].result != DRAVO_OK) {
            storeFailed = true;
            EXPECT_EQ(rc, puts[0].result);
            refreshed = refreshesOf(calls) == std::vector<Refresh>{Refresh{0, 2, 77}};
        }
    }
    stop.store(true);
    churn.join();
    DravoPlus::SetCallRecording(false);
    ASSERT_TRUE(storeFailed) << "no call met a vanished record";
    EXPECT_TRUE(refreshed);
}

TEST_F(PointWritesTest, TagOnAnUnknownRemoteUnitReturnsReadError)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->applyTagToRemoteUnit(9999, Morvane::ControlInhibitTag), DRAVO_NOT_FOUND);
    EXPECT_EQ(rt->removeTagToRemoteUnit(9999, Morvane::ControlInhibitTag), DRAVO_NOT_FOUND);
    EXPECT_TRUE(callsOf(takeCalls(), "PutPartialDataPoint").empty());
}

// ---- Partial updates ----------------------------------------------------------------

TEST_F(PointWritesTest, PartialUpdatesGoUnderTheirNames)
{
    ScadaRuntimeInterface* rt = newRuntime();
    DravoPartialData partial("ANALOG");
    ASSERT_EQ(partial.PutValue("isDirty", std::int32_t{0}), DRAVO_OK);
    startRecording();

    rt->putPartialAnalogUpdate(7, partial);
    rt->putPartialStatusUpdate(7, partial);
    rt->putPartialBinaryUpdate(7, partial);
    rt->putPartialUpdate(200001, partial);
    rt->putPartialUpdate(2999999, partial);
    rt->putPartialUpdate(199999, partial);
    rt->putPartialUpdate(200000, partial);
    rt->putPartialUpdate(3000000, partial);

    std::vector<std::string> names;
    for (const DravoRecordedCall& call : callsOf(takeCalls(), "PutPartialDataPoint"))
        names.push_back(argText(call, 0));
    EXPECT_EQ(names, (std::vector<std::string>{"ANALOG7", "STATUS7", "TEXT7", "ANALOG200001", "ANALOG2999999",
                                                "STATUS199999", "TEXT200000", "TEXT3000000"}));
}

TEST_F(PointWritesTest, PartialUpdateWithoutIdUsesTheRecordsOwnName)
{
    keep("ANALOG200003");
    ScadaRuntimeInterface* rt = newRuntime();
    DravoPartialData partial("ANALOG");
    partial.SetFullName("ANALOG200003");
    ASSERT_EQ(partial.PutValue("limit", std::int32_t{3}), DRAVO_OK);
    startRecording();

    EXPECT_EQ(rt->putPartialUpdate(partial), 0);

    const auto puts = callsOf(takeCalls(), "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(puts[0].names, (std::vector<std::string>{"ANALOG200003"}));
    EXPECT_EQ(stored("ANALOG200003").GetSignedIntValue("limit"), 3);
}

// ---- Program writes ------------------------------------------------------------------

TEST_F(PointWritesTest, SetAnalogPointWritesGoodValueStampedNow)
{
    keep("ANALOG200001");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, kAnalog, "ANALOG", {{"quality", 4}});
    startRecording();
    const std::uint32_t before = static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());

    EXPECT_EQ(rt->setAnalogPoint(kAnalog, 88.25), 0);

    const std::uint32_t after = static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("ANALOG200001");
    EXPECT_DOUBLE_EQ(point.GetDoubleValue("lastvalue"), 88.25);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 0);
    EXPECT_GE(point.GetUnSignedIntValue("scanTime"), before);
    EXPECT_LE(point.GetUnSignedIntValue("scanTime"), after);
    EXPECT_EQ(point.GetUnSignedIntValue("changedTime"), point.GetUnSignedIntValue("scanTime"));
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"lastvalue", "isDirty", "quality", "scanTime", "changedTime"}));
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(refreshesOf(calls).empty());
}

TEST_F(PointWritesTest, SetAnalogPointUsesTheAnalogNameWhateverTheRange)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->setAnalogPoint(100001, 1.0), DRAVO_NOT_FOUND);
    const auto puts = callsOf(takeCalls(), "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "ANALOG100001");
}

TEST_F(PointWritesTest, SetStatusValueWritesGoodStateStampedNow)
{
    keep("STATUS100003");
    ScadaRuntimeInterface* rt = newRuntime();
    setFields(rt, kOpenStatus, "STATUS", {{"quality", 4}});
    startRecording();
    const std::uint32_t before = static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());

    EXPECT_EQ(rt->setStatusValue(kOpenStatus, -2), 0);

    const std::uint32_t after = static_cast<std::uint32_t>(QDateTime::currentSecsSinceEpoch());
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const DravoData point = stored("STATUS100003");
    EXPECT_EQ(point.GetSignedIntValue("lastvalue"), -2);
    EXPECT_EQ(point.GetSignedIntValue("isDirty"), 1);
    EXPECT_EQ(point.GetSignedIntValue("quality"), 0);
    EXPECT_GE(point.GetUnSignedIntValue("changedTime"), before);
    EXPECT_LE(point.GetUnSignedIntValue("changedTime"), after);
    const auto puts = callsOf(calls, "PutPartialDataPoint");
    ASSERT_EQ(puts.size(), 1u);
    EXPECT_EQ(argText(puts[0], 0), "STATUS100003");
    EXPECT_EQ(partialFieldNames(puts[0].partials.at(0)),
              (std::vector<std::string>{"lastvalue", "isDirty", "scanTime", "changedTime", "quality"}));
    EXPECT_TRUE(callsOf(calls, "SendEventNamed").empty());
    EXPECT_TRUE(refreshesOf(calls).empty());
}

} // namespace
} // namespace runtimetest

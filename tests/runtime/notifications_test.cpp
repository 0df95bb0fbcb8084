// notifications_test.cpp: the change notifications and session messages of
// the runtime interface, as another application of the domain receives them.
//
// Every message is taken from a real event box of the embedded server,
// subscribed to the notification event (20004) or to the JSON event (20009),
// and decoded field by field: the command code, the body's record type and
// fields in the order they were put, and the QDataStream payloads of the
// alarm acknowledgements and the session messages. The expected command codes
// and targets are written out below, independently of the library's table.
#include "runtimefixture.h"

#include <MVShared/JsonEventMessage.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace runtimetest {
namespace {

const int kNotifyEvent = 20004;
const int kJsonEvent = 20009;
const QString kOtherDomain = QStringLiteral("HeronMarsh");

// ---- An event box of another application ------------------------------------

// A box of its own name, subscribed to one event kind within a domain (empty:
// every domain), deleted when the test is done with it.
class EventBox
{
public:
    EventBox(int kind, const QString& domain)
        : m_name(uniqueName()),
          m_domain(domain.toStdString())
    {
        m_createResult = DravoPlus::CreateEventBox(m_name.c_str(), kind, 1000, nullptr, m_domain.c_str());
        if (m_createResult == DRAVO_OK)
            m_connectResult = DravoPlus::ConnectPortForRecv(m_name.c_str(), m_port, nullptr, m_domain.c_str());
    }
    ~EventBox() { DravoPlus::DeleteEventBox(m_name.c_str(), nullptr, m_domain.c_str()); }
    EventBox(const EventBox&) = delete;
    EventBox& operator=(const EventBox&) = delete;

    bool ready() const { return m_createResult == DRAVO_OK && m_connectResult == DRAVO_OK; }

    // Every typed record queued so far (sends are queued before they return).
    std::vector<DravoData> takeRecords() { return take(false); }
    // Every payload queued so far, typed or not.
    std::vector<DravoData> takePayloads() { return take(true); }

private:
    static std::string uniqueName()
    {
        static int counter = 0;
        return "notifytest." + std::to_string(++counter);
    }

    std::vector<DravoData> take(bool untyped)
    {
        std::vector<DravoData> taken;
        for (;;) {
            DravoDataList list;
            const int rc = untyped
                ? DravoPlus::ReceiveUndefinedEventN(m_port, list, 1000, 5, nullptr, m_domain.c_str())
                : DravoPlus::ReceiveEventN(m_port, list, nullptr, 1000, 5, nullptr, m_domain.c_str());
            if (rc != DRAVO_OK)
                break;
            for (const DravoData& record : list)
                taken.push_back(record);
        }
        return taken;
    }

    std::string m_name;
    std::string m_domain;
    unsigned int m_port = 0;
    int m_createResult = -1;
    int m_connectResult = -1;
};

// ---- Decoding -----------------------------------------------------------------

std::vector<std::string> fieldNames(const DravoData& record)
{
    return record.VariableFieldNames();
}

DravoData paramRecord(const DravoData& message)
{
    DravoData param;
    EXPECT_EQ(message.GetValue("param", param), DRAVO_OK) << "no record in \"param\"";
    return param;
}

QString utf16Field(const DravoData& record, const char* field)
{
    std::u16string text;
    EXPECT_EQ(record.GetValue(field, text), DRAVO_OK) << field;
    return QString::fromUtf16(text.data(), static_cast<int>(text.size()));
}

QByteArray bytesField(const DravoData& record, const char* field)
{
    std::string bytes;
    EXPECT_EQ(record.GetValue(field, bytes), DRAVO_OK) << field;
    return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
}

// The raw bytes of the nameless record a session message carries.
QByteArray sessionPayload(const DravoData& message)
{
    const DravoData param = paramRecord(message);
    EXPECT_STREQ(param.GetTypeName(), "");
    return QByteArray(param.GetRawValue(), param.GetBufferSize());
}

QList<qint32> alarmIdsOf(const DravoData& acked)
{
    const QByteArray bytes = bytesField(acked, "alarmIds");
    QDataStream stream(bytes);
    quint32 count = 0;
    stream >> count;
    QList<qint32> ids;
    for (quint32 i = 0; i < count; ++i) {
        qint32 id = 0;
        stream >> id;
        ids.append(id);
    }
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd()) << "bytes after the last alarm id";
    return ids;
}

QList<qint32> idRange(int first, int count)
{
    QList<qint32> ids;
    for (int i = 0; i < count; ++i)
        ids.append(first + i);
    return ids;
}

class NotificationsTest : public RuntimeTest
{
protected:
    void SetUp() override
    {
        RuntimeTest::SetUp();
        DravoPlus::SetWaitScale(kWaitScale);
        rt = newRuntime(kTestDomain);
    }

    ScadaRuntimeInterface* rt = nullptr;
};

// ---- The data-change family -----------------------------------------------------

struct DataChangeCase {
    const char* operation;
    int cmdCode;
    int target;
    bool withId;
    std::function<void(ScadaRuntimeInterface&, int)> send;
};

using RT = ScadaRuntimeInterface;

const std::vector<DataChangeCase>& dataChangeCases()
{
    static const std::vector<DataChangeCase> cases = {
        {"statusDataChanged(int)", 0, 0, true, [](RT& r, int id) { r.statusDataChanged(id); }},
        {"analogDataChanged(int)", 0, 1, true, [](RT& r, int id) { r.analogDataChanged(id); }},
        {"needRtuStatusDataUpdate(int)", 0, 2, true, [](RT& r, int id) { r.needRtuStatusDataUpdate(id); }},
        {"needRtuAnalogDataUpdate(int)", 0, 3, true, [](RT& r, int id) { r.needRtuAnalogDataUpdate(id); }},
        {"needRtuScanDataUpdate(int)", 0, 4, true, [](RT& r, int id) { r.needRtuScanDataUpdate(id); }},
        {"remoteUnitDataChanged(int)", 0, 5, true, [](RT& r, int id) { r.remoteUnitDataChanged(id); }},
        {"commLinkDataChanged(int)", 0, 6, true, [](RT& r, int id) { r.commLinkDataChanged(id); }},
        {"stationDataChanged(int)", 0, 7, true, [](RT& r, int id) { r.stationDataChanged(id); }},
        {"userAccountChanged(int)", 0, 8, true, [](RT& r, int id) { r.userAccountChanged(id); }},
        {"userRightChanged(int)", 0, 9, true, [](RT& r, int id) { r.userRightChanged(id); }},
        {"analogUnitChanged(int)", 0, 10, true, [](RT& r, int id) { r.analogUnitChanged(id); }},
        {"stateNameChanged(int)", 0, 11, true, [](RT& r, int id) { r.stateNameChanged(id); }},
        {"alarmPriorityDataChanged(int)", 0, 12, true, [](RT& r, int id) { r.alarmPriorityDataChanged(id); }},
        {"userStateConvetorChanged(int)", 0, 13, true, [](RT& r, int id) { r.userStateConvetorChanged(id); }},
        {"calculationChanged(int)", 0, 14, true, [](RT& r, int id) { r.calculationChanged(id); }},
        {"driverManagerDataChanged(int)", 0, 15, true, [](RT& r, int id) { r.driverManagerDataChanged(id); }},
        {"histDataSetChanged(int)", 0, 16, true, [](RT& r, int id) { r.histDataSetChanged(id); }},
        {"aorChanged(int)", 0, 17, true, [](RT& r, int id) { r.aorChanged(id); }},
        {"aorGroupChanged(int)", 0, 18, true, [](RT& r, int id) { r.aorGroupChanged(id); }},
        {"needStatusDataUpdate()", 0, 19, false, [](RT& r, int) { r.needStatusDataUpdate(); }},
        {"needCommlinkDataUpdate()", 0, 22, false, [](RT& r, int) { r.needCommlinkDataUpdate(); }},
        {"needRtuDataUpdate()", 0, 23, false, [](RT& r, int) { r.needRtuDataUpdate(); }},
        {"needAllDataUpdate()", 0, 24, false, [](RT& r, int) { r.needAllDataUpdate(); }},
        {"analogUnitChanged()", 0, 25, false, [](RT& r, int) { r.analogUnitChanged(); }},
        {"stateNameChanged()", 0, 26, false, [](RT& r, int) { r.stateNameChanged(); }},
        {"alarmPriorityDataChanged()", 0, 27, false, [](RT& r, int) { r.alarmPriorityDataChanged(); }},
        {"userStateConvetorChanged()", 0, 28, false, [](RT& r, int) { r.userStateConvetorChanged(); }},
        {"needReportSchedulerUpdate()", 0, 29, false, [](RT& r, int) { r.needReportSchedulerUpdate(); }},
        {"vServerChanged(int)", 0, 30, true, [](RT& r, int id) { r.vServerChanged(id); }},
        {"vStatusDataChanged(int)", 0, 31, true, [](RT& r, int id) { r.vStatusDataChanged(id); }},
        {"vAnalogDataChanged(int)", 0, 32, true, [](RT& r, int id) { r.vAnalogDataChanged(id); }},
        {"histDataGroupChanged(int)", 0, 33, true, [](RT& r, int id) { r.histDataGroupChanged(id); }},
        {"scheduleChanged()", 0, 34, false, [](RT& r, int) { r.scheduleChanged(); }},
        {"dailyModelChanged()", 0, 35, false, [](RT& r, int) { r.dailyModelChanged(); }},
        {"needEventScriptUpdate()", 0, 36, false, [](RT& r, int) { r.needEventScriptUpdate(); }},
        {"needSimpleScheduleUpdate()", 0, 37, false, [](RT& r, int) { r.needSimpleScheduleUpdate(); }},
        {"regionChanged()", 0, 39, false, [](RT& r, int) { r.regionChanged(); }},
        {"munjanaraChanged()", 0, 40, false, [](RT& r, int) { r.munjanaraChanged(); }},
        {"simpleCalculationChanged(int)", 0, 41, true, [](RT& r, int id) { r.simpleCalculationChanged(id); }},
        {"needRtuDatapointUpdate(int)", 3, 0, true, [](RT& r, int id) { r.needRtuDatapointUpdate(id); }},
        {"needCommlinkDatapointUpdate(int)", 3, 1, true, [](RT& r, int id) { r.needCommlinkDatapointUpdate(id); }},
        {"needStatusDatapointUpdate(int)", 3, 2, true, [](RT& r, int id) { r.needStatusDatapointUpdate(id); }},
        {"needAnalogDatapointUpdate(int)", 3, 3, true, [](RT& r, int id) { r.needAnalogDatapointUpdate(id); }},
        {"needAllRtuDatapointUpdate()", 3, 4, false, [](RT& r, int) { r.needAllRtuDatapointUpdate(); }},
        {"needAllCommlinkDatapointUpdate()", 3, 5, false, [](RT& r, int) { r.needAllCommlinkDatapointUpdate(); }},
        {"needAllStatusDatapointUpdate()", 3, 6, false, [](RT& r, int) { r.needAllStatusDatapointUpdate(); }},
        {"needAllAnalogDatapointUpdate()", 3, 7, false, [](RT& r, int) { r.needAllAnalogDatapointUpdate(); }},
        {"statusDataPointReseted(int)", 8, 2, true, [](RT& r, int id) { r.statusDataPointReseted(id); }},
        {"analogDataPointReseted(int)", 8, 3, true, [](RT& r, int id) { r.analogDataPointReseted(id); }},
        {"analogLimitChanged(int)", 9, 1, true, [](RT& r, int id) { r.analogLimitChanged(id); }},
    };
    return cases;
}

// Checks one received data-change message against its row.
void expectDataChange(const DataChangeCase& row, const DravoData& message, int id)
{
    SCOPED_TRACE(row.operation);
    EXPECT_STREQ(message.GetTypeName(), "NOTIFY_MESSAGE");
    EXPECT_EQ(fieldNames(message), (std::vector<std::string>{"cmdCode", "param"}));
    EXPECT_EQ(message.GetSignedIntValue("cmdCode"), row.cmdCode);
    const DravoData change = paramRecord(message);
    EXPECT_STREQ(change.GetTypeName(), "DATA_CHANGE_MESSAGE");
    EXPECT_EQ(change.GetSignedIntValue("target"), row.target);
    EXPECT_EQ(change.HasField("pid"), row.withId);
    if (row.withId) {
        EXPECT_EQ(fieldNames(change), (std::vector<std::string>{"target", "pid"}));
        EXPECT_EQ(change.GetSignedIntValue("pid"), id);
    } else {
        EXPECT_EQ(fieldNames(change), (std::vector<std::string>{"target"}));
    }
}

TEST_F(NotificationsTest, TheDataChangeFamilyHasFiftyOperationsWithDistinctCodeAndTarget)
{
    const auto& cases = dataChangeCases();
    EXPECT_EQ(cases.size(), 50u);
    std::set<std::pair<int, int>> routes;
    for (const DataChangeCase& row : cases)
        routes.insert({row.cmdCode, row.target});
    EXPECT_EQ(routes.size(), cases.size());
}

TEST_F(NotificationsTest, EveryDataChangeOperationSendsItsCodeTargetAndIdPresence)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    int id = 100001;
    for (const DataChangeCase& row : dataChangeCases()) {
        row.send(*rt, id);
        const std::vector<DravoData> messages = box.takeRecords();
        ASSERT_EQ(messages.size(), 1u) << row.operation;
        expectDataChange(row, messages.front(), id);
        id += 7;
    }
}

TEST_F(NotificationsTest, AnIdOfZeroOrBelowIsStillSentAsPid)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    for (int id : {0, -1, -250000}) {
        rt->statusDataChanged(id);
        rt->analogLimitChanged(id);
        const std::vector<DravoData> messages = box.takeRecords();
        ASSERT_EQ(messages.size(), 2u);
        for (const DravoData& message : messages) {
            const DravoData change = paramRecord(message);
            ASSERT_TRUE(change.HasField("pid"));
            EXPECT_EQ(change.GetSignedIntValue("pid"), id);
        }
    }
}

TEST_F(NotificationsTest, OverloadsWithAndWithoutIdUseDifferentTargets)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->analogUnitChanged(12);
    rt->analogUnitChanged();
    const std::vector<DravoData> messages = box.takeRecords();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(paramRecord(messages[0]).GetSignedIntValue("target"), 10);
    EXPECT_TRUE(paramRecord(messages[0]).HasField("pid"));
    EXPECT_EQ(paramRecord(messages[1]).GetSignedIntValue("target"), 25);
    EXPECT_FALSE(paramRecord(messages[1]).HasField("pid"));
}

// ---- Domain ---------------------------------------------------------------------

TEST_F(NotificationsTest, NotificationsReachOnlyTheInterfacesDomain)
{
    EventBox ours(kNotifyEvent, kTestDomain);
    EventBox theirs(kNotifyEvent, kOtherDomain);
    ASSERT_TRUE(ours.ready());
    ASSERT_TRUE(theirs.ready());
    rt->stationDataChanged(3);
    rt->serverRestarted();
    EXPECT_EQ(ours.takeRecords().size(), 2u);
    EXPECT_TRUE(theirs.takeRecords().empty());
}

TEST_F(NotificationsTest, SetDomainRedirectsEveryLaterNotification)
{
    EventBox ours(kNotifyEvent, kTestDomain);
    EventBox theirs(kNotifyEvent, kOtherDomain);
    ASSERT_TRUE(ours.ready());
    ASSERT_TRUE(theirs.ready());
    rt->setDomain(kOtherDomain);
    rt->stationDataChanged(3);
    rt->sendAlarmAcked(QStringLiteral("op"), {1, 2});
    rt->needReportCreate(4, QStringLiteral("Shift"));
    EXPECT_TRUE(ours.takeRecords().empty());
    const std::vector<DravoData> messages = theirs.takeRecords();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), 0);
    EXPECT_EQ(messages[1].GetSignedIntValue("cmdCode"), 1);
    EXPECT_EQ(messages[2].GetSignedIntValue("cmdCode"), 5);
}

// ---- Server restart --------------------------------------------------------------

TEST_F(NotificationsTest, ServerRestartedSendsCodeTwoWithoutParam)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->serverRestarted();
    const std::vector<DravoData> messages = box.takeRecords();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), 2);
    EXPECT_FALSE(messages[0].HasField("param"));
    EXPECT_EQ(fieldNames(messages[0]), (std::vector<std::string>{"cmdCode"}));
}

// ---- Alarm acknowledgement ------------------------------------------------------

// The messages of one acknowledgement: the user in each, the id batches.
QList<QList<qint32>> ackedBatches(const std::vector<DravoData>& messages, const QString& user)
{
    QList<QList<qint32>> batches;
    for (const DravoData& message : messages) {
        EXPECT_EQ(message.GetSignedIntValue("cmdCode"), 1);
        const DravoData acked = paramRecord(message);
        EXPECT_STREQ(acked.GetTypeName(), "ACKED_DATA_MESSAGE");
        EXPECT_EQ(fieldNames(acked), (std::vector<std::string>{"ackedBy", "alarmIds"}));
        EXPECT_EQ(utf16Field(acked, "ackedBy"), user);
        batches.append(alarmIdsOf(acked));
    }
    return batches;
}

TEST_F(NotificationsTest, FortyAlarmIdsGoInOneMessage)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    const QString user = QStringLiteral("Schichtführer");
    rt->sendAlarmAcked(user, idRange(5000, 40));
    const auto batches = ackedBatches(box.takeRecords(), user);
    ASSERT_EQ(batches.size(), 1);
    EXPECT_EQ(batches[0], idRange(5000, 40));
}

TEST_F(NotificationsTest, FortyOneAlarmIdsGoInFortyAndOne)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->sendAlarmAcked(QStringLiteral("op1"), idRange(-20, 41));
    const auto batches = ackedBatches(box.takeRecords(), QStringLiteral("op1"));
    ASSERT_EQ(batches.size(), 2);
    EXPECT_EQ(batches[0], idRange(-20, 40));
    EXPECT_EQ(batches[1], idRange(20, 1));
}

TEST_F(NotificationsTest, EightyAlarmIdsGoInTwoFullMessages)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->sendAlarmAcked(QStringLiteral("op1"), idRange(1, 80));
    const auto batches = ackedBatches(box.takeRecords(), QStringLiteral("op1"));
    ASSERT_EQ(batches.size(), 2);
    EXPECT_EQ(batches[0], idRange(1, 40));
    EXPECT_EQ(batches[1], idRange(41, 40));
}

TEST_F(NotificationsTest, NoAlarmIdsSendNothing)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->sendAlarmAcked(QStringLiteral("op1"), {});
    EXPECT_TRUE(box.takeRecords().empty());
}

TEST_F(NotificationsTest, AlarmIdStreamIsBigEndianCountThenIds)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->sendAlarmAcked(QStringLiteral("op1"), {0x01020304, -2});
    const std::vector<DravoData> messages = box.takeRecords();
    ASSERT_EQ(messages.size(), 1u);
    const QByteArray expected = QByteArray::fromHex("00000002" "01020304" "fffffffe");
    EXPECT_EQ(bytesField(paramRecord(messages[0]), "alarmIds"), expected);
}

// ---- User log-on and log-off -------------------------------------------------------

DravoData logOnOffOf(EventBox& box)
{
    const std::vector<DravoData> messages = box.takeRecords();
    EXPECT_EQ(messages.size(), 1u);
    if (messages.empty())
        return DravoData();
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), 4);
    const DravoData logOnOff = paramRecord(messages[0]);
    EXPECT_STREQ(logOnOff.GetTypeName(), "USER_LOGONOFF_MESSAGE");
    EXPECT_EQ(fieldNames(logOnOff), (std::vector<std::string>{"user", "state", "eqid"}));
    return logOnOff;
}

TEST_F(NotificationsTest, LogOnCarriesUserStateAndEqid)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->userLogOnOffed(QStringLiteral("operator"), 1, QStringLiteral("WS-04-A1"));
    const DravoData logOnOff = logOnOffOf(box);
    EXPECT_EQ(utf16Field(logOnOff, "user"), QStringLiteral("operator"));
    EXPECT_EQ(logOnOff.GetSignedIntValue("state"), 1);
    EXPECT_EQ(utf16Field(logOnOff, "eqid"), QStringLiteral("WS-04-A1"));
}

TEST_F(NotificationsTest, EqidLongerThanTheUserNameArrivesCut)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->userLogOnOffed(QStringLiteral("anna"), 0, QStringLiteral("CONTROLROOM-7"));
    EXPECT_EQ(utf16Field(logOnOffOf(box), "eqid"), QStringLiteral("CONT"));
}

TEST_F(NotificationsTest, EqidShorterThanTheUserNameIsZeroFilledToItsLength)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->userLogOnOffed(QStringLiteral("operator"), 0, QStringLiteral("WS2"));
    const QString eqid = utf16Field(logOnOffOf(box), "eqid");
    EXPECT_EQ(eqid.size(), 8);
    EXPECT_EQ(eqid, QStringLiteral("WS2") + QString(5, QChar(0)));
}

TEST_F(NotificationsTest, EmptyUserNameSendsAnEmptyEqid)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->userLogOnOffed(QString(), 1, QStringLiteral("WS2"));
    EXPECT_TRUE(utf16Field(logOnOffOf(box), "eqid").isEmpty());
}

TEST_F(NotificationsTest, LogOnStateIsSignExtended)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    const std::vector<std::pair<char, int>> states = {
        {static_cast<char>(-1), -1}, {static_cast<char>(-128), -128}, {static_cast<char>(127), 127}, {0, 0}};
    for (const auto& [state, expected] : states) {
        rt->userLogOnOffed(QStringLiteral("op"), state, QStringLiteral("ws"));
        EXPECT_EQ(logOnOffOf(box).GetSignedIntValue("state"), expected);
    }
}

// ---- Report creation ---------------------------------------------------------------

TEST_F(NotificationsTest, ReportCreationCarriesPrefixThenReportId)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->needReportCreate(17, QStringLiteral("DailyEnergy"));
    const std::vector<DravoData> messages = box.takeRecords();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), 5);
    const DravoData report = paramRecord(messages[0]);
    EXPECT_STREQ(report.GetTypeName(), "REPORT_CREATION_MESSAGE");
    EXPECT_EQ(fieldNames(report), (std::vector<std::string>{"prefix", "reportid"}));
    EXPECT_EQ(utf16Field(report, "prefix"), QStringLiteral("DailyEnergy"));
    EXPECT_EQ(report.GetSignedIntValue("reportid"), 17);
}

// ---- Session messages --------------------------------------------------------------

// The one session message in the box, checked for its code, as a version 12
// (Qt 4.6) read stream over its bytes.
QByteArray sessionBytes(EventBox& box, int cmdCode)
{
    const std::vector<DravoData> messages = box.takeRecords();
    EXPECT_EQ(messages.size(), 1u);
    if (messages.empty())
        return QByteArray();
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), cmdCode);
    EXPECT_EQ(fieldNames(messages[0]), (std::vector<std::string>{"cmdCode", "param"}));
    return sessionPayload(messages[0]);
}

TEST_F(NotificationsTest, OpenSessionCanvasWritesSessionBeforeTheArguments)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->openSessionCanvas(QStringLiteral("Übersicht/Feeder 3"), {QStringLiteral("bay=4"), QStringLiteral("zoom")}, 6);
    const QByteArray bytes = sessionBytes(box, 7);
    QDataStream stream(bytes);
    stream.setVersion(12);
    QString canvas;
    qint32 session = 0;
    quint32 count = 0;
    QString first;
    QString second;
    stream >> canvas >> session >> count >> first >> second;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(canvas, QStringLiteral("Übersicht/Feeder 3"));
    EXPECT_EQ(session, 6);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(first, QStringLiteral("bay=4"));
    EXPECT_EQ(second, QStringLiteral("zoom"));
}

TEST_F(NotificationsTest, OpenSessionCanvasWithoutArgumentsWritesCountZero)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->openSessionCanvas(QStringLiteral("Main"), {}, -1);
    const QByteArray bytes = sessionBytes(box, 7);
    QDataStream stream(bytes);
    stream.setVersion(12);
    QString canvas;
    qint32 session = 0;
    quint32 count = 99;
    stream >> canvas >> session >> count;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(canvas, QStringLiteral("Main"));
    EXPECT_EQ(session, -1);
    EXPECT_EQ(count, 0u);
    // "Main": 4-byte length 8 and 8 bytes of UTF-16, then session and count.
    EXPECT_EQ(bytes.size(), 4 + 8 + 4 + 4);
}

TEST_F(NotificationsTest, CloseSessionCanvasWritesCanvasAndSession)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->closeSessionCanvas(QStringLiteral("Alarms"), 2);
    const QByteArray bytes = sessionBytes(box, 10);
    QDataStream stream(bytes);
    stream.setVersion(12);
    QString canvas;
    qint32 session = 0;
    stream >> canvas >> session;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(canvas, QStringLiteral("Alarms"));
    EXPECT_EQ(session, 2);
}

TEST_F(NotificationsTest, RunSessionScriptSendsTheScriptCompressed)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    const QString script = QStringLiteral("for bay in range(4):\n    open('Bay %1' % bay)  # Zähler\n").repeated(20);
    rt->runSessionScript(QStringLiteral("openBays"), 3, script);
    const QByteArray bytes = sessionBytes(box, 11);
    QDataStream stream(bytes);
    stream.setVersion(12);
    QString name;
    qint32 session = 0;
    QByteArray compressed;
    stream >> name >> session >> compressed;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
    EXPECT_EQ(name, QStringLiteral("openBays"));
    EXPECT_EQ(session, 3);
    EXPECT_LT(compressed.size(), script.toUtf8().size());
    EXPECT_EQ(QString::fromUtf8(qUncompress(compressed)), script);
}

// ---- System options ------------------------------------------------------------------

QList<QPair<QString, QString>> numberedOptions(int count)
{
    QList<QPair<QString, QString>> options;
    for (int i = 0; i < count; ++i)
        options.append({QStringLiteral("Option%1").arg(i), QStringLiteral("Wert %1 °C").arg(i)});
    return options;
}

// The JSON text other stations expect for a run of options.
QString optionsText(const QList<QPair<QString, QString>>& options, int from, int count)
{
    QStringList objects;
    for (int i = from; i < from + count; ++i)
        objects << QStringLiteral("{\"key\":\"%1\",\"value\":\"%2\"}").arg(options[i].first, options[i].second);
    return QStringLiteral("[%1]").arg(objects.join(QLatin1Char(',')));
}

TEST_F(NotificationsTest, SystemOptionsGoTenToAMessageAsUtf8Text)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    const auto options = numberedOptions(23);
    rt->systemOptionChanged(options);
    const std::vector<DravoData> messages = box.takeRecords();
    ASSERT_EQ(messages.size(), 3u);
    const int counts[] = {10, 10, 3};
    int from = 0;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(messages[i].GetSignedIntValue("cmdCode"), 12);
        ASSERT_EQ(messages[i].variableFields().size(), 2u);
        const DravoData::VariableField& param = messages[i].variableFields()[1];
        EXPECT_EQ(param.name, "param");
        EXPECT_EQ(param.kind, DravoKindText);
        EXPECT_EQ(QString::fromUtf8(bytesField(messages[i], "param")), optionsText(options, from, counts[i]));
        from += counts[i];
    }
}

TEST_F(NotificationsTest, NoSystemOptionsSendNothing)
{
    EventBox box(kNotifyEvent, kTestDomain);
    ASSERT_TRUE(box.ready());
    rt->systemOptionChanged({});
    EXPECT_TRUE(box.takeRecords().empty());
}

// ---- Any event, JSON texts -------------------------------------------------------------

TEST_F(NotificationsTest, SendEventPostsWithoutDomainAndReturnsTheResult)
{
    EventBox theirs(kNotifyEvent, kOtherDomain);
    ASSERT_TRUE(theirs.ready());
    DravoData message("NOTIFY_MESSAGE", nullptr);
    message.PutValue("cmdCode", std::int32_t{77});
    EXPECT_EQ(rt->sendEvent(kNotifyEvent, message), DRAVO_OK);
    const std::vector<DravoData> messages = theirs.takeRecords();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].GetSignedIntValue("cmdCode"), 77);
}

TEST_F(NotificationsTest, SendEventReturnsTheMiddlewaresErrorWhenOffline)
{
    DravoData message("NOTIFY_MESSAGE", nullptr);
    message.PutValue("cmdCode", std::int32_t{1});
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    EXPECT_EQ(rt->sendEvent(kNotifyEvent, message), DRAVO_NOT_CONNECTED);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
}

TEST_F(NotificationsTest, JsonTextGoesUntypedUnderItsOwnEventToEveryDomain)
{
    EventBox json(kJsonEvent, kOtherDomain);
    EventBox notify(kNotifyEvent, QString());
    ASSERT_TRUE(json.ready());
    ASSERT_TRUE(notify.ready());
    const QString text = QStringLiteral("{\"station\":\"Nordwerk\",\"temp\":\"21 °C\"}");
    EXPECT_EQ(Morvane::publishJsonEventMessage(text), 0);
    const std::vector<DravoData> payloads = json.takePayloads();
    ASSERT_EQ(payloads.size(), 1u);
    EXPECT_STREQ(payloads[0].GetTypeName(), "");
    EXPECT_EQ(QByteArray(payloads[0].GetRawValue(), payloads[0].GetBufferSize()), text.toUtf8());
    EXPECT_TRUE(notify.takePayloads().empty());
}

TEST_F(NotificationsTest, JsonTextFailsWithACodeWhenOffline)
{
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    EXPECT_NE(Morvane::publishJsonEventMessage(QStringLiteral("{}")), 0);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
}

} // namespace
} // namespace runtimetest

// remotecommands_test.cpp: the runtime interface's remote commands against
// the software field driver over the real middleware: the control-inhibit
// check, the envelopes the driver receives, the send modes and waits, the
// driver's answers (success, its own codes and texts, appended data), what
// happens when the driver is absent or stays silent, and what is taken of
// appended data that a client answering for a free driver number forged.
//
// The sample plant tags KestrelHill.132kV.Line2.CB.Position,
// KestrelHill.TX1.AVR.VoltageSetpoint and every point of the RTU
// Millbrook-RTU-Reservoir (id 7); Millbrook.PumpHall.Pump1.SpeedSetpoint
// and KestrelHill.33kV.Feeder01.CB.Position are free to control. Points a
// test changes are put back as they were.
#include "runtimefixture.h"

#if __has_include(<simulatedfielddriver.h>)

#include <simulatedfielddriver.h>

#include <MVShared/MorvaneTexts.h>
#include <MVShared/MorvaneTypes.h>
#include <MVShared/RemoteSystemResult.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <compressedbytes.h>

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace runtimetest {
namespace {

using Morvane::RemoteSystemResult;
using Answer = SimulatedFieldDriver::Answer;

const char* kFreeAnalog = "Millbrook.PumpHall.Pump1.SpeedSetpoint";
const char* kTaggedAnalog = "KestrelHill.TX1.AVR.VoltageSetpoint";
const char* kFreeStatus = "KestrelHill.33kV.Feeder01.CB.Position";
const char* kTaggedStatus = "KestrelHill.132kV.Line2.CB.Position";
// Untagged itself; its RTU (Millbrook-RTU-Reservoir) carries the tag.
const char* kStatusOfTaggedRtu = "Millbrook.Reservoir.R1.InletValve.Open";

constexpr int kDriver = 7;
// No driver ever serves this number.
constexpr int kAbsentDriver = 97;
constexpr int kChannel = 4;

QString middlewareText(int code)
{
    return QString::fromUtf16(reinterpret_cast<const ushort*>(DravoPlus::GetErrorString(code)));
}

std::string recordNameOf(const char* prefix, int id)
{
    return std::string(prefix) + std::to_string(id);
}

class RemoteCommandsTest : public RuntimeTest
{
protected:
    void SetUp() override
    {
        RuntimeTest::SetUp();
        rt = newRuntime();
        freeAnalog = plantId(kFreeAnalog);
        taggedAnalog = plantId(kTaggedAnalog);
        freeStatus = plantId(kFreeStatus);
        taggedStatus = plantId(kTaggedStatus);
        statusOfTaggedRtu = plantId(kStatusOfTaggedRtu);
        ASSERT_GT(freeAnalog, 0);
        ASSERT_GT(taggedAnalog, 0);
        ASSERT_GT(freeStatus, 0);
        ASSERT_GT(taggedStatus, 0);
        ASSERT_GT(statusOfTaggedRtu, 0);
    }

    void TearDown() override
    {
        if (driver)
            driver->stop();
        driver.reset();
        DravoPlus::SetCallRecording(false);
        // An outage a test left behind ends before anything is put back.
        DravoPlus::SetEmbeddedServerOnline(true);
        waitUntil([] { return DravoPlus::IsConnect(nullptr) == DRAVO_OK; }, 2s);
        for (auto it = saved.rbegin(); it != saved.rend(); ++it)
            EXPECT_EQ(DravoPlus::PutDataPoint(*it, nullptr, nullptr), DRAVO_OK);
        for (const std::string& name : created)
            DravoPlus::DeleteDataPoint(name.c_str(), nullptr, nullptr);
        RuntimeTest::TearDown();
    }

    // The driver of the given number, serving.
    SimulatedFieldDriver& startDriver(int number = kDriver)
    {
        driver = std::make_unique<SimulatedFieldDriver>(number);
        EXPECT_EQ(driver->start(), DRAVO_OK);
        return *driver;
    }

    // Keeps a record to be put back after the test.
    DravoData keep(const std::string& name)
    {
        DravoData record;
        EXPECT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
        record.SetFullName(name.c_str());
        saved.push_back(record);
        return record;
    }

    static double storedAnalog(int id)
    {
        DravoData record;
        DravoPlus::GetDataPoint(recordNameOf("ANALOG", id).c_str(), record, nullptr, nullptr);
        return record.GetDoubleValue("lastvalue");
    }

    // An envelope as a caller of writeStatusPoint builds it.
    static DravoData statusEnvelope(int pid, int state) { return runtimetest::statusEnvelope(pid, state, kChannel); }

    static std::vector<DravoRecordedCall> sends() { return takeCalls("SendPacket"); }

    ScadaRuntimeInterface* rt = nullptr;
    std::unique_ptr<SimulatedFieldDriver> driver;
    std::vector<DravoData> saved;
    std::vector<std::string> created;
    int freeAnalog = 0;
    int taggedAnalog = 0;
    int freeStatus = 0;
    int taggedStatus = 0;
    int statusOfTaggedRtu = 0;
};

void expectResult(const RemoteSystemResult& result, int kind, int code, const QString& message)
{
    EXPECT_EQ(result.kind, kind);
    EXPECT_EQ(result.code, code);
    EXPECT_EQ(result.message, message);
    EXPECT_TRUE(result.detail.isEmpty());
}

// ---- Control-inhibit check --------------------------------------------------

TEST_F(RemoteCommandsTest, TaggedAnalogPointIsRefusedAndNothingIsSent)
{
    startDriver();
    startRecording();
    expectResult(rt->controlAo(taggedAnalog, kDriver, kChannel, 11.0, false), 2, 2222,
                 QStringLiteral("Control Inhabit tagged"));
    EXPECT_TRUE(sends().empty());
    EXPECT_EQ(driver->commandsReceived(), 0);
}

TEST_F(RemoteCommandsTest, TaggedStatusPointWriteIsRefusedAndNothingIsSent)
{
    startDriver();
    startRecording();
    DravoData envelope = statusEnvelope(taggedStatus, 0);
    expectResult(rt->writeStatusPoint(taggedStatus, kDriver, kChannel, envelope, false), 2, 2222,
                 QStringLiteral("Control Inhabit tagged"));
    EXPECT_TRUE(sends().empty());
}

TEST_F(RemoteCommandsTest, PointOfTaggedRtuIsRefused)
{
    startDriver();
    startRecording();
    DravoData envelope = statusEnvelope(statusOfTaggedRtu, 0);
    expectResult(rt->writeStatusPoint(statusOfTaggedRtu, kDriver, kChannel, envelope, true), 2, 2222,
                 QStringLiteral("Control Inhabit tagged"));
    EXPECT_TRUE(sends().empty());
}

TEST_F(RemoteCommandsTest, SequenceWithThirdPointTaggedNamesItAndSendsNothing)
{
    startDriver();
    const int second = plantId("Millbrook.PumpHall.Pump2.SpeedSetpoint");
    ASSERT_GT(second, 0);
    startRecording();
    const QList<QPair<int, double>> values{{freeAnalog, 1.0}, {second, 2.0}, {taggedAnalog, 3.0}, {freeAnalog, 4.0}};
    expectResult(rt->controlAos(values, kDriver, kChannel, 1), 2, 2222,
                 QStringLiteral("%1 is control inhabit tagged").arg(QString::fromLatin1(kTaggedAnalog)));
    EXPECT_TRUE(sends().empty());
    EXPECT_EQ(driver->commandsReceived(), 0);
}

TEST_F(RemoteCommandsTest, SequenceWithUnreadablePointNamesNobody)
{
    startRecording();
    const QList<QPair<int, double>> values{{freeAnalog, 1.0}, {2999998, 2.0}};
    expectResult(rt->controlAos(values, kDriver, kChannel, 1), 2, 2222,
                 QStringLiteral(" is control inhabit tagged"));
    EXPECT_TRUE(sends().empty());
}

TEST_F(RemoteCommandsTest, PointWhoseRtuCannotBeReadIsRefused)
{
    constexpr int kOrphan = 2999990;
    const std::string name = recordNameOf("ANALOG", kOrphan);
    DravoData orphan("ANALOG", name.c_str());
    orphan.PutValue("pid", std::int32_t{kOrphan});
    orphan.PutValue("rtuId", std::int16_t{999});
    orphan.PutValue("fullname", "Test.Orphan.Setpoint");
    ASSERT_EQ(DravoPlus::PutDataPoint(orphan, nullptr, nullptr), DRAVO_OK);
    created.push_back(name);

    startDriver();
    startRecording();
    expectResult(rt->controlAo(kOrphan, kDriver, kChannel, 5.0, false), 2, 2222,
                 QStringLiteral("Control Inhabit tagged"));
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> reads = callsOf(calls, "GetDataPoint");
    ASSERT_EQ(reads.size(), 2u);
    EXPECT_EQ(argText(reads[0], 0), name);
    EXPECT_EQ(argText(reads[1], 0), "REMOTEUNIT999");
    EXPECT_NE(reads[1].result, DRAVO_OK);
    EXPECT_TRUE(callsOf(calls, "SendPacket").empty());
}

TEST_F(RemoteCommandsTest, InhibitCheckReadsPointByIdRange)
{
    const std::vector<std::pair<int, std::string>> cases{
        {199999, "STATUS199999"}, {200000, "ANALOG200000"}, {2999999, "ANALOG2999999"}, {3000000, "TEXT3000000"}};
    for (const auto& c : cases) {
        startRecording();
        expectResult(rt->controlAo(c.first, kDriver, kChannel, 1.0, false), 2, 2222,
                     QStringLiteral("Control Inhabit tagged"));
        const std::vector<DravoRecordedCall> calls = takeCalls();
        const std::vector<DravoRecordedCall> reads = callsOf(calls, "GetDataPoint");
        ASSERT_EQ(reads.size(), 1u) << c.first;
        EXPECT_EQ(argText(reads[0], 0), c.second);
        EXPECT_TRUE(callsOf(calls, "SendPacket").empty());
    }
}

// ---- Single set-point -------------------------------------------------------

TEST_F(RemoteCommandsTest, ConfirmedControlAoChangesTheStoredValue)
{
    keep(recordNameOf("ANALOG", freeAnalog));
    const double before = storedAnalog(freeAnalog);
    const double wanted = before + 12.5;
    startDriver();
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, wanted, false), 0, 0,
                 QStringLiteral("Invaild ErrorCode"));
    EXPECT_DOUBLE_EQ(storedAnalog(freeAnalog), wanted);
    EXPECT_EQ(driver->commandsAnswered(), 1);
}

TEST_F(RemoteCommandsTest, UnconfirmedControlAoReportsSentEvenWhenSendFails)
{
    startRecording();
    expectResult(rt->controlAo(freeAnalog, kAbsentDriver, kChannel, 1.0, true), 3, 0, QString());
    const std::vector<DravoRecordedCall> sent = sends();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].result, DRAVO_NO_RECEIVER);
}

TEST_F(RemoteCommandsTest, UnconfirmedControlAoWaitsForNothing)
{
    keep(recordNameOf("ANALOG", freeAnalog));
    startDriver();
    startRecording();
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, true), 3, 0, QString());
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_TRUE(callsOf(calls, "WaitReply").empty());
    EXPECT_EQ(callsOf(calls, "SendPacket").size(), 1u);
    ASSERT_TRUE(waitUntil([this] { return driver->commandsReceived() == 1; }));
    EXPECT_EQ(driver->lastCommand().isUnConfirmed, 1);
}

// A middleware whose dictionary lacks the command envelope cannot build one:
// the record is not good, as on a station where the middleware is not
// installed, and the controls say the middleware is dead.
TEST_F(RemoteCommandsTest, ControlsWithoutTheEnvelopeTypeSayMiddlewareIsDead)
{
    const std::string product = DravoPlus::DictionaryPath();
    QFile in(QString::fromStdString(product));
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    QJsonObject dictionary = QJsonDocument::fromJson(in.readAll()).object();
    QJsonArray types;
    for (const QJsonValue& type : dictionary.value(QStringLiteral("types")).toArray())
        if (type.toObject().value(QStringLiteral("name")).toString() != QLatin1String("REMOTE_COMMAND2"))
            types.append(type);
    dictionary.insert(QStringLiteral("types"), types);
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("dictionary.json"));
    QFile out(path);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(QJsonDocument(dictionary).toJson());
    out.close();

    startDriver();
    std::string error;
    ASSERT_EQ(DravoPlus::LoadDictionary(path.toUtf8().constData(), &error), DRAVO_OK) << error;
    const RemoteSystemResult ao = rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false);
    const RemoteSystemResult aos = rt->controlAos({qMakePair(freeAnalog, 1.0)}, kDriver, kChannel, 1);
    const RemoteSystemResult rtu = rt->integrityPoll(1, kDriver, kChannel);
    ASSERT_EQ(DravoPlus::LoadDictionary(product.c_str(), &error), DRAVO_OK) << error;

    const QString dead = QStringLiteral("Middleware is dead");
    expectResult(ao, 1, 3001, dead);
    expectResult(aos, 1, 3001, dead);
    expectResult(rtu, 1, 3001, dead);
    EXPECT_EQ(driver->commandsReceived(), 0);
}

TEST_F(RemoteCommandsTest, ControlAoWithoutDriverGivesMiddlewareText)
{
    expectResult(rt->controlAo(freeAnalog, kAbsentDriver, kChannel, 1.0, false), 1, DRAVO_NO_RECEIVER,
                 middlewareText(DRAVO_NO_RECEIVER));
}

TEST_F(RemoteCommandsTest, UndefinedErrorCarriesTheDriversMessage)
{
    Answer answer;
    answer.failwhy = 10010;
    answer.failMessage = QStringLiteral("Breaker mechanism spring not charged");
    startDriver().answerForPoint(freeAnalog, answer);
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false), 0, 10010,
                 QStringLiteral("Breaker mechanism spring not charged"));
}

TEST_F(RemoteCommandsTest, ValueNotChangedReplyGivesItsText)
{
    keep(recordNameOf("ANALOG", freeAnalog));
    const double before = storedAnalog(freeAnalog);
    Answer answer;
    answer.failwhy = 10012;
    startDriver().answerForPoint(freeAnalog, answer);
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, before + 3.0, false), 0, 10012,
                 QStringLiteral("Control Executed. But Value is not changed"));
    EXPECT_DOUBLE_EQ(storedAnalog(freeAnalog), before);
}

TEST_F(RemoteCommandsTest, OtherDriverCodesGiveTheirTexts)
{
    Answer answer;
    answer.failwhy = 10003;
    answer.failMessage = QStringLiteral("ignored");
    startDriver().answerForCommand(2, answer);
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false), 0, 10003,
                 QStringLiteral("No Response"));
}

TEST_F(RemoteCommandsTest, ControlAoSendsModeThreeAndWaitsThirtySeconds)
{
    keep(recordNameOf("ANALOG", freeAnalog));
    startDriver();
    startRecording();
    rt->controlAo(freeAnalog, kDriver, kChannel, 2.0, false);
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> sent = callsOf(calls, "SendPacket");
    const std::vector<DravoRecordedCall> waits = callsOf(calls, "WaitReply");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(argText(sent[0], 0), "Driver7");
    EXPECT_EQ(argText(sent[0], 1), "3");
    ASSERT_EQ(waits.size(), 1u);
    EXPECT_EQ(argText(waits[0], 1), "30");
    EXPECT_EQ(callsOf(calls, "DisConnect").size(), 1u);
    EXPECT_TRUE(callsOf(calls, "WaitUndefinedReply").empty());
}

TEST_F(RemoteCommandsTest, ControlAoEnvelopeAsTheDriverReceivesIt)
{
    keep(recordNameOf("ANALOG", freeAnalog));
    startDriver();
    rt->controlAo(freeAnalog, kDriver, 3, 42.25, false);
    const SimulatedFieldDriver::Received got = driver->lastCommand();
    EXPECT_EQ(got.envelope.GetTypeName(), std::string("REMOTE_COMMAND2"));
    EXPECT_EQ(got.envelope.VariableFieldNames(),
              (std::vector<std::string>{"isUnConfirmed", "cmdCode", "param", "commid"}));
    EXPECT_EQ(got.cmdCode, 2);
    EXPECT_EQ(got.commid, 3);
    EXPECT_EQ(got.isUnConfirmed, 0);
    EXPECT_EQ(got.param.GetTypeName(), std::string("REMOTE_AO_COMMAND"));
    EXPECT_EQ(got.param.VariableFieldNames(), (std::vector<std::string>{"pid", "value"}));
    EXPECT_EQ(got.param.GetSignedIntValue("pid"), freeAnalog);
    EXPECT_DOUBLE_EQ(got.param.GetDoubleValue("value"), 42.25);
}

TEST_F(RemoteCommandsTest, ControlAoTimesOutWhenDriverIsSilent)
{
    Answer answer;
    answer.silent = true;
    answer.apply = false;
    startDriver().setDefaultAnswer(answer);
    startRecording();
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false), 1, DRAVO_TIMEOUT,
                 middlewareText(DRAVO_TIMEOUT));
    // A failed wait leaves the handle to expire.
    EXPECT_TRUE(takeCalls("DisConnect").empty());
}

// ---- Set-point sequence -----------------------------------------------------

TEST_F(RemoteCommandsTest, SequenceAppliesEveryEntryInOneBatch)
{
    const int second = plantId("Millbrook.PumpHall.Pump2.SpeedSetpoint");
    ASSERT_GT(second, 0);
    keep(recordNameOf("ANALOG", freeAnalog));
    keep(recordNameOf("ANALOG", second));
    startDriver();
    startRecording();
    expectResult(rt->controlAos({{freeAnalog, 31.5}, {second, 32.5}}, kDriver, kChannel, 9), 0, 0,
                 QStringLiteral("Invaild ErrorCode"));
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> sent = callsOf(calls, "SendPacket");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(argText(sent[0], 1), "1");
    const std::vector<DravoRecordedCall> waits = callsOf(calls, "WaitReply");
    ASSERT_EQ(waits.size(), 1u);
    EXPECT_EQ(argText(waits[0], 1), "30");
    EXPECT_EQ(callsOf(calls, "PutPartialDataPoints").size(), 1u);
    EXPECT_DOUBLE_EQ(storedAnalog(freeAnalog), 31.5);
    EXPECT_DOUBLE_EQ(storedAnalog(second), 32.5);

    const SimulatedFieldDriver::Received got = driver->lastCommand();
    EXPECT_EQ(got.envelope.VariableFieldNames(), (std::vector<std::string>{"cmdCode", "param", "commid"}));
    EXPECT_EQ(got.cmdCode, 3);
    EXPECT_EQ(got.isUnConfirmed, -1);
    EXPECT_EQ(got.param.VariableFieldNames(),
              (std::vector<std::string>{"cnt", "device", "values[0]", "values[1]"}));
    EXPECT_EQ(got.param.GetSignedIntValue("cnt"), 2);
    EXPECT_EQ(got.param.GetSignedIntValue("device"), 9);
    DravoData entry;
    ASSERT_EQ(got.param.GetValue("values[1]", entry), DRAVO_OK);
    EXPECT_EQ(entry.GetTypeName(), std::string("ANALOG_ID_VALUE"));
    EXPECT_EQ(entry.GetSignedIntValue("pid"), second);
    EXPECT_DOUBLE_EQ(entry.GetDoubleValue("value"), 32.5);
}

TEST_F(RemoteCommandsTest, EmptySequenceSendsCountZero)
{
    startDriver();
    expectResult(rt->controlAos({}, kDriver, kChannel, 2), 0, 0, QStringLiteral("Invaild ErrorCode"));
    const SimulatedFieldDriver::Received got = driver->lastCommand();
    EXPECT_EQ(got.param.GetSignedIntValue("cnt"), 0);
    EXPECT_EQ(got.param.VariableFieldNames(), (std::vector<std::string>{"cnt", "device"}));
}

TEST_F(RemoteCommandsTest, SequenceTimesOutWhenDriverIsSilent)
{
    Answer answer;
    answer.silent = true;
    answer.apply = false;
    startDriver().answerForPoint(freeAnalog, answer);
    expectResult(rt->controlAos({{freeAnalog, 1.0}}, kDriver, kChannel, 1), 1, DRAVO_TIMEOUT,
                 middlewareText(DRAVO_TIMEOUT));
}

// ---- RTU commands and polls -------------------------------------------------

TEST_F(RemoteCommandsTest, PollsCarryTheirCodesAndWaitFifteenSeconds)
{
    constexpr int kRtu = 3;
    keep(recordNameOf("REMOTEUNIT", kRtu));
    startDriver();
    using Poll = RemoteSystemResult (ScadaRuntimeInterface::*)(int, int, int);
    const std::vector<std::pair<Poll, int>> polls{
        {&ScadaRuntimeInterface::integrityPoll, 0}, {&ScadaRuntimeInterface::statusPoll, 1},
        {&ScadaRuntimeInterface::analogPoll, 2},    {&ScadaRuntimeInterface::restartDevice, 3},
        {&ScadaRuntimeInterface::eventPoll, 4},     {&ScadaRuntimeInterface::timeSync, 5}};
    for (const auto& poll : polls) {
        startRecording();
        expectResult((rt->*poll.first)(kRtu, kDriver, kChannel), 0, 0, QStringLiteral("Invaild ErrorCode"));
        const std::vector<DravoRecordedCall> calls = takeCalls();
        const std::vector<DravoRecordedCall> sent = callsOf(calls, "SendPacket");
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(argText(sent[0], 1), "3");
        const std::vector<DravoRecordedCall> waits = callsOf(calls, "WaitUndefinedReply");
        ASSERT_EQ(waits.size(), 1u);
        EXPECT_EQ(argText(waits[0], 1), "15");
        EXPECT_TRUE(callsOf(calls, "WaitReply").empty());
        EXPECT_EQ(callsOf(calls, "DisConnect").size(), 1u);
        const SimulatedFieldDriver::Received got = driver->lastCommand();
        EXPECT_EQ(got.cmdCode, 0);
        EXPECT_EQ(got.envelope.VariableFieldNames(), (std::vector<std::string>{"cmdCode", "param", "commid"}));
        EXPECT_EQ(got.param.GetTypeName(), std::string("REMOTE_RTU_COMMAND"));
        EXPECT_EQ(got.param.VariableFieldNames(), (std::vector<std::string>{"pid", "cmd"}));
        EXPECT_EQ(got.param.GetSignedIntValue("pid"), kRtu);
        EXPECT_EQ(got.param.GetSignedIntValue("cmd"), poll.second);
    }
    EXPECT_EQ(driver->commandsAnswered(), 6);
}

TEST_F(RemoteCommandsTest, RtuCommandPassesAnyCodeAndDeactivates)
{
    constexpr int kRtu = 3;
    keep(recordNameOf("REMOTEUNIT", kRtu));
    startDriver();
    expectResult(rt->controlRtu(kRtu, kDriver, kChannel, Morvane::DeactivateRtu), 0, 0,
                 QStringLiteral("Invaild ErrorCode"));
    EXPECT_EQ(driver->lastCommand().param.GetSignedIntValue("cmd"), 8);
    DravoData rtu;
    ASSERT_EQ(rt->GetRemoteUnitData(kRtu, rtu), DRAVO_OK);
    EXPECT_EQ(rtu.GetUnSignedIntValue("scanEnable"), 0u);
}

TEST_F(RemoteCommandsTest, RtuCommandIsNotCheckedForTags)
{
    constexpr int kTaggedRtu = 7;
    keep(recordNameOf("REMOTEUNIT", kTaggedRtu));
    startDriver();
    expectResult(rt->integrityPoll(kTaggedRtu, kDriver, kChannel), 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_EQ(driver->commandsReceived(), 1);
}

TEST_F(RemoteCommandsTest, PollTimesOutWhenDriverIsSilent)
{
    Answer answer;
    answer.silent = true;
    startDriver().answerForCommand(0, answer);
    keep(recordNameOf("REMOTEUNIT", 3));
    expectResult(rt->integrityPoll(3, kDriver, kChannel), 1, DRAVO_TIMEOUT, middlewareText(DRAVO_TIMEOUT));
}

TEST_F(RemoteCommandsTest, PollWithoutDriverGivesMiddlewareText)
{
    expectResult(rt->statusPoll(3, kAbsentDriver, kChannel), 1, DRAVO_NO_RECEIVER,
                 middlewareText(DRAVO_NO_RECEIVER));
}

// ---- Generic device commands ------------------------------------------------

TEST_F(RemoteCommandsTest, DeviceCmdWithAddSizeZeroGivesEmptyData)
{
    startDriver();
    startRecording();
    const RemoteSystemResult result =
        rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray("\x01\x02", 2));
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_TRUE(result.data.isEmpty());
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> sent = callsOf(calls, "SendPacket");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(argText(sent[0], 1), "3");
    const std::vector<DravoRecordedCall> waits = callsOf(calls, "WaitUndefinedReply");
    ASSERT_EQ(waits.size(), 1u);
    EXPECT_EQ(argText(waits[0], 1), "60");
    EXPECT_EQ(callsOf(calls, "DisConnect").size(), 1u);

    const SimulatedFieldDriver::Received got = driver->lastCommand();
    EXPECT_EQ(got.cmdCode, 6);
    EXPECT_EQ(got.commid, kChannel);
    EXPECT_EQ(got.envelope.VariableFieldNames(), (std::vector<std::string>{"cmdCode", "param", "commid"}));
    EXPECT_EQ(got.param.VariableFieldNames(), (std::vector<std::string>{"pid", "par1", "sizeBuffer", "par2"}));
    std::string par1;
    std::string par2;
    got.param.GetValue("par1", par1);
    got.param.GetValue("par2", par2);
    EXPECT_EQ(par1, "READ");
    EXPECT_EQ(got.param.GetSignedIntValue("sizeBuffer"), 2);
    EXPECT_EQ(par2, std::string("\x01\x02", 2));
}

TEST_F(RemoteCommandsTest, DeviceCmdWithAddSizeGivesTheDecompressedBytes)
{
    QByteArray answerBytes;
    for (int i = 0; i < 3000; ++i)
        answerBytes.append(static_cast<char>(i % 251));
    Answer answer;
    answer.data = answerBytes;
    startDriver().answerForPoint(freeStatus, answer);
    const RemoteSystemResult result = rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("DUMP"), QByteArray());
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_EQ(result.data, answerBytes);
}

TEST_F(RemoteCommandsTest, DeviceCmdUndefinedErrorKeepsTheHandle)
{
    Answer answer;
    answer.failwhy = 10010;
    answer.failMessage = QStringLiteral("Relay busy");
    answer.data = QByteArray("ignored");
    startDriver().answerForCommand(6, answer);
    startRecording();
    const RemoteSystemResult result = rt->deviceCmd(freeStatus, kDriver, kChannel, QString(), QByteArray());
    expectResult(result, 0, 10010, QStringLiteral("Relay busy"));
    EXPECT_TRUE(result.data.isEmpty());
    EXPECT_TRUE(takeCalls("DisConnect").empty());
}

TEST_F(RemoteCommandsTest, DeviceCmdWithoutDriverSaysDriverIsOffline)
{
    expectResult(rt->deviceCmd(freeStatus, kAbsentDriver, kChannel, QStringLiteral("READ"), QByteArray()), 1,
                 DRAVO_NO_RECEIVER, QStringLiteral("Driver is offline"));
}

TEST_F(RemoteCommandsTest, DeviceCmdTimesOutWhenDriverIsSilent)
{
    Answer answer;
    answer.silent = true;
    startDriver().setDefaultAnswer(answer);
    expectResult(rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray()), 1,
                 DRAVO_TIMEOUT, middlewareText(DRAVO_TIMEOUT));
}

// ---- Generic device commands: how much the driver's data may take ---------

// Any client of the shared server may serve a driver number that no driver
// serves, and put whatever bytes it likes behind its reply. This one
// answers one generic command with success and the given bytes appended.
class ForgedDriver
{
public:
    ForgedDriver(int number, QByteArray appended)
        : m_target(QStringLiteral("Driver%1").arg(number).toStdString())
        , m_appended(std::move(appended))
    {
    }

    ~ForgedDriver()
    {
        if (m_thread.joinable())
            m_thread.join();
        DravoPlus::UnregisterPacketReceiver(m_target.c_str());
    }

    ForgedDriver(const ForgedDriver&) = delete;
    ForgedDriver& operator=(const ForgedDriver&) = delete;

    int start()
    {
        const int rc = DravoPlus::RegisterPacketReceiver(m_target.c_str());
        if (rc == DRAVO_OK)
            m_thread = std::thread([this] { answerOne(); });
        return rc;
    }

private:
    void answerOne()
    {
        DravoData request;
        DravoHandle handle = 0;
        if (DravoPlus::ReceivePacket(m_target.c_str(), request, handle, 10) != DRAVO_OK)
            return;
        DravoData reply("CMD_RESPONSE");
        reply.PutValue("failwhy", std::int16_t{0});
        reply.PutValue("addSize", static_cast<std::int32_t>(m_appended.size()));
        QByteArray raw(reply.GetRawValue(), reply.GetBufferSize());
        raw.append(m_appended);
        reply.SetRawValue(raw.constData(), raw.size());
        DravoPlus::ReplyPacket(handle, reply);
    }

    std::string m_target;
    QByteArray m_appended;
    std::thread m_thread;
};

// Served by no driver of the sample plant.
constexpr int kForgedDriver = 41;
constexpr int kMiB = 1024 * 1024;
constexpr qint64 kPromptMs = 2000;
constexpr long kMaxGrowthKb = 64 * 1024;

// A generic command answered by a forged driver with these bytes behind its
// reply; checks that the command came back promptly and took little memory.
RemoteSystemResult deviceCmdAnsweredWith(ScadaRuntimeInterface* rt, int pointId, const QByteArray& appended)
{
    ForgedDriver forged(kForgedDriver, appended);
    EXPECT_EQ(forged.start(), DRAVO_OK);
    const long peakBefore = mvtest::peakResidentKb();
    QElapsedTimer clock;
    clock.start();
    const RemoteSystemResult result =
        rt->deviceCmd(pointId, kForgedDriver, kChannel, QStringLiteral("DUMP"), QByteArray());
    EXPECT_LT(clock.elapsed(), kPromptMs);
    EXPECT_LT(mvtest::peakResidentKb() - peakBefore, kMaxGrowthKb);
    return result;
}

TEST_F(RemoteCommandsTest, DeviceCmdDataClaimingTwoGigabytesIsNotTaken)
{
    const QByteArray appended = mvtest::withClaim(qCompress(QByteArray("relay settings")), 2000000000u);
    const RemoteSystemResult result = deviceCmdAnsweredWith(rt, freeStatus, appended);
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_TRUE(result.data.isEmpty());
}

TEST_F(RemoteCommandsTest, DeviceCmdDataOfOneMegabyteInflatingToAGigabyteIsNotTaken)
{
    const QByteArray gigabyte = mvtest::compressedZeros(1024);
    ASSERT_LT(gigabyte.size(), 2 * kMiB);
    const RemoteSystemResult result = deviceCmdAnsweredWith(rt, freeStatus, gigabyte);
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_TRUE(result.data.isEmpty());
}

TEST_F(RemoteCommandsTest, DeviceCmdDataInflatingPastWhatItClaimsIsNotTaken)
{
    const QByteArray understated = mvtest::withClaim(mvtest::compressedZeros(1024), 4096);
    const RemoteSystemResult result = deviceCmdAnsweredWith(rt, freeStatus, understated);
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_TRUE(result.data.isEmpty());
}

TEST_F(RemoteCommandsTest, DeviceCmdDataJustUnderTheLimitComesWhole)
{
    QByteArray answerBytes(Morvane::LargestDeviceCmdData - 1, '\0');
    for (int i = 0; i < answerBytes.size(); i += 4096)
        answerBytes[i] = static_cast<char>(1 + i / 4096 % 251);
    Answer answer;
    answer.data = answerBytes;
    startDriver().answerForPoint(freeStatus, answer);
    QElapsedTimer clock;
    clock.start();
    const RemoteSystemResult result = rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("DUMP"), QByteArray());
    EXPECT_LT(clock.elapsed(), kPromptMs);
    expectResult(result, 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_EQ(result.data, answerBytes);
}

// ---- Status writes ----------------------------------------------------------

TEST_F(RemoteCommandsTest, ConfirmedStatusWriteIsAppliedAndAnswered)
{
    keep(recordNameOf("STATUS", freeStatus));
    startDriver();
    startRecording();
    DravoData envelope = statusEnvelope(freeStatus, 0);
    expectResult(rt->writeStatusPoint(freeStatus, kDriver, 99, envelope, false), 0, 0,
                 QStringLiteral("Invaild ErrorCode"));
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<DravoRecordedCall> sent = callsOf(calls, "SendPacket");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(argText(sent[0], 0), "Driver7");
    EXPECT_EQ(argText(sent[0], 1), "3");
    const std::vector<DravoRecordedCall> waits = callsOf(calls, "WaitReply");
    ASSERT_EQ(waits.size(), 1u);
    EXPECT_EQ(argText(waits[0], 1), "30");

    const SimulatedFieldDriver::Received got = driver->lastCommand();
    EXPECT_EQ(got.cmdCode, 1);
    EXPECT_EQ(got.isUnConfirmed, 0);
    // The channel id argument is not used: the caller's envelope stands.
    EXPECT_EQ(got.commid, kChannel);
    DravoData status;
    ASSERT_EQ(rt->GetStatusPoint(freeStatus, status), DRAVO_OK);
    EXPECT_EQ(status.GetSignedIntValue("lastvalue"), 0);
}

TEST_F(RemoteCommandsTest, UnconfirmedStatusWriteFailsWhenSendFails)
{
    DravoData envelope = statusEnvelope(freeStatus, 1);
    expectResult(rt->writeStatusPoint(freeStatus, kAbsentDriver, kChannel, envelope, true), 1, DRAVO_NO_RECEIVER,
                 middlewareText(DRAVO_NO_RECEIVER));
}

TEST_F(RemoteCommandsTest, UnconfirmedStatusWriteReportsSentWhenSendSucceeds)
{
    keep(recordNameOf("STATUS", freeStatus));
    startDriver();
    startRecording();
    DravoData envelope = statusEnvelope(freeStatus, 1);
    expectResult(rt->writeStatusPoint(freeStatus, kDriver, kChannel, envelope, true), 3, 0, QString());
    EXPECT_TRUE(takeCalls("WaitReply").empty());
    ASSERT_TRUE(waitUntil([this] { return driver->commandsReceived() == 1; }));
    EXPECT_EQ(driver->lastCommand().isUnConfirmed, 1);
}

TEST_F(RemoteCommandsTest, StatusWriteTimesOutWhenDriverIsSilent)
{
    Answer answer;
    answer.silent = true;
    answer.apply = false;
    startDriver().setDefaultAnswer(answer);
    DravoData envelope = statusEnvelope(freeStatus, 1);
    expectResult(rt->writeStatusPoint(freeStatus, kDriver, kChannel, envelope, false), 1, DRAVO_TIMEOUT,
                 middlewareText(DRAVO_TIMEOUT));
}

// ---- Packet handles after a failed wait -------------------------------------

// Every command leaves the handle of a wait that ended without a reply to
// expire in the middleware: none of them releases it on that path, RTU
// commands and polls included. Every answered wait releases it once.
TEST_F(RemoteCommandsTest, FailedWaitsLeaveTheHandleToExpireInEveryCommand)
{
    constexpr int kRtu = 3;
    keep(recordNameOf("REMOTEUNIT", kRtu));
    keep(recordNameOf("ANALOG", freeAnalog));
    Answer answer;
    answer.silent = true;
    answer.apply = false;
    startDriver().setDefaultAnswer(answer);
    const QString timeout = middlewareText(DRAVO_TIMEOUT);

    startRecording();
    expectResult(rt->controlRtu(kRtu, kDriver, kChannel, Morvane::IntegrityPoll), 1, DRAVO_TIMEOUT, timeout);
    expectResult(rt->timeSync(kRtu, kDriver, kChannel), 1, DRAVO_TIMEOUT, timeout);
    expectResult(rt->controlAos({{freeAnalog, 1.0}}, kDriver, kChannel, 1), 1, DRAVO_TIMEOUT, timeout);
    expectResult(rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray()), 1,
                 DRAVO_TIMEOUT, timeout);
    DravoData envelope = statusEnvelope(freeStatus, 1);
    expectResult(rt->writeStatusPoint(freeStatus, kDriver, kChannel, envelope, false), 1, DRAVO_TIMEOUT,
                 timeout);
    const std::vector<DravoRecordedCall> calls = takeCalls();
    EXPECT_EQ(callsOf(calls, "SendPacket").size(), 5u);
    EXPECT_EQ(callsOf(calls, "WaitUndefinedReply").size() + callsOf(calls, "WaitReply").size(), 5u);
    EXPECT_TRUE(callsOf(calls, "DisConnect").empty());
    EXPECT_EQ(driver->commandsReceived(), 5);

    // The same driver answering again: each wait ends with a reply and its
    // handle is released.
    driver->setDefaultAnswer(Answer());
    startRecording();
    expectResult(rt->controlRtu(kRtu, kDriver, kChannel, Morvane::IntegrityPoll), 0, 0,
                 QStringLiteral("Invaild ErrorCode"));
    expectResult(rt->controlAos({{freeAnalog, 1.0}}, kDriver, kChannel, 1), 0, 0, QStringLiteral("Invaild ErrorCode"));
    EXPECT_EQ(callsOf(takeCalls(), "DisConnect").size(), 2u);
}

// ---- Middleware outage -----------------------------------------------------

TEST_F(RemoteCommandsTest, OutageFailsPollsInTheMiddlewareAndRefusesControls)
{
    startDriver();
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(waitUntil([] { return DravoPlus::IsConnect(nullptr) != DRAVO_OK; }));
    expectResult(rt->integrityPoll(3, kDriver, kChannel), 1, DRAVO_NOT_CONNECTED,
                 middlewareText(DRAVO_NOT_CONNECTED));
    // A point that cannot be read is never controlled.
    expectResult(rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false), 2, 2222,
                 QStringLiteral("Control Inhabit tagged"));
    EXPECT_EQ(driver->commandsReceived(), 0);
}

// ---- Driver target ----------------------------------------------------------

TEST_F(RemoteCommandsTest, TargetIsDriverAndTheNumber)
{
    startRecording();
    rt->deviceCmd(freeStatus, 7, kChannel, QString(), QByteArray());
    rt->deviceCmd(freeStatus, 123, kChannel, QString(), QByteArray());
    const std::vector<DravoRecordedCall> sent = sends();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(argText(sent[0], 0), "Driver7");
    EXPECT_EQ(argText(sent[1], 0), "Driver123");
}

} // namespace
} // namespace runtimetest

#endif // __has_include(<simulatedfielddriver.h>)

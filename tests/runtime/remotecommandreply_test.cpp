// remotecommandreply_test.cpp: the remote commands that do not block, against
// the software field driver over the real middleware: each asynchronous form
// ends with the very result of its blocking form (answers, refusals, an
// absent driver, timeouts), the call returns while the driver has not
// answered, cancelling ends a command at once and the driver's later answer
// changes nothing, a hundred commands in flight are all answered with their
// own answers, and destroying the interface with commands in flight cancels
// them instead of waiting them out.
//
// Points and tags as in remotecommands_test.cpp: the sample plant tags
// KestrelHill.TX1.AVR.VoltageSetpoint and KestrelHill.132kV.Line2.CB.Position;
// Millbrook.PumpHall.Pump1.SpeedSetpoint and
// KestrelHill.33kV.Feeder01.CB.Position are free to control.
#include "runtimefixture.h"

#if __has_include(<simulatedfielddriver.h>)

#include <simulatedfielddriver.h>

#include <MVShared/MorvaneTypes.h>
#include <MVShared/RemoteCommandReply.h>
#include <MVShared/RemoteSystemResult.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <MVPlant/Plant.h>

#include <redisserver.h>

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Morvane {

// Readable failure messages for results (found by argument lookup).
void PrintTo(const RemoteSystemResult& r, std::ostream* os)
{
    *os << "{kind " << r.kind << ", code " << r.code << ", message \"" << r.message.toStdString() << "\", detail \""
        << r.detail.toStdString() << "\", data " << r.data.size() << " bytes}";
}

bool operator==(const RemoteSystemResult& a, const RemoteSystemResult& b)
{
    return a.kind == b.kind && a.code == b.code && a.message == b.message && a.detail == b.detail && a.data == b.data;
}

} // namespace Morvane

namespace runtimetest {
namespace {

using Morvane::RemoteSystemResult;
using Answer = SimulatedFieldDriver::Answer;
using Reply = std::unique_ptr<RemoteCommandReply>;

const char* kFreeAnalog = "Millbrook.PumpHall.Pump1.SpeedSetpoint";
const char* kTaggedAnalog = "KestrelHill.TX1.AVR.VoltageSetpoint";
const char* kFreeStatus = "KestrelHill.33kV.Feeder01.CB.Position";
const char* kTaggedStatus = "KestrelHill.132kV.Line2.CB.Position";

constexpr int kDriver = 7;
constexpr int kAbsentDriver = 97;
constexpr int kChannel = 4;
constexpr int kRtu = 3;

// Product seconds in real time: answers and timeouts within a second or
// two; waits long enough (30 s and more) that only a cancel ends them.
constexpr double kShortWaits = 0.02;
constexpr double kRealWaits = 1.0;

const QString kCancelledText = QStringLiteral("Command cancelled");

// Follows one reply on the test thread: its states in order, its finished
// signals, and the thread they came on.
class ReplyWatch
{
public:
    explicit ReplyWatch(RemoteCommandReply* reply)
        : m_reply(reply), m_finished(reply, &RemoteCommandReply::finished)
    {
        QObject::connect(reply, &RemoteCommandReply::stateChanged, reply, [this](RemoteCommandReply::State state) {
            states.push_back(state);
            threads.push_back(QThread::currentThread());
        });
    }

    int finishedCount() const { return m_finished.count(); }
    bool waitFinished() { return waitUntil([this] { return m_finished.count() > 0; }); }
    bool waitState(RemoteCommandReply::State state)
    {
        return waitUntil([this, state] { return std::find(states.begin(), states.end(), state) != states.end(); });
    }

    std::vector<RemoteCommandReply::State> states;
    std::vector<QThread*> threads;

private:
    RemoteCommandReply* m_reply;
    QSignalSpy m_finished;
};

class RemoteCommandReplyTest : public RuntimeTest
{
protected:
    void SetUp() override
    {
        RuntimeTest::SetUp();
        SetUpOnTheServerInUse();
    }

    // The interface, the plant's points and what the test may change, on
    // the server the process is connected to.
    void SetUpOnTheServerInUse()
    {
        rt = newRuntime();
        freeAnalog = plantId(kFreeAnalog);
        taggedAnalog = plantId(kTaggedAnalog);
        freeStatus = plantId(kFreeStatus);
        taggedStatus = plantId(kTaggedStatus);
        ASSERT_GT(freeAnalog, 0);
        ASSERT_GT(taggedAnalog, 0);
        ASSERT_GT(freeStatus, 0);
        ASSERT_GT(taggedStatus, 0);
        for (const std::string& name : {"ANALOG" + std::to_string(freeAnalog), "STATUS" + std::to_string(freeStatus),
                                        "REMOTEUNIT" + std::to_string(kRtu)})
            keep(name);
    }

    void TearDown() override
    {
        watches.clear();
        replies.clear();
        for (auto& running : drivers)
            running->stop();
        drivers.clear();
        DravoPlus::SetCallRecording(false);
        for (const DravoData& record : saved)
            EXPECT_EQ(DravoPlus::PutDataPoint(record, nullptr, nullptr), DRAVO_OK);
        RuntimeTest::TearDown();
    }

    void keep(const std::string& name)
    {
        DravoData record;
        ASSERT_EQ(DravoPlus::GetDataPoint(name.c_str(), record, nullptr, nullptr), DRAVO_OK) << name;
        record.SetFullName(name.c_str());
        saved.push_back(record);
    }

    SimulatedFieldDriver& startDriver(int number = kDriver)
    {
        drivers.push_back(std::make_unique<SimulatedFieldDriver>(number));
        EXPECT_EQ(drivers.back()->start(), DRAVO_OK);
        return *drivers.back();
    }

    // Keeps the reply for the test, watched from the start; the fixture
    // deletes what is left.
    RemoteCommandReply* hold(RemoteCommandReply* reply)
    {
        replies.emplace_back(reply);
        watches[reply] = std::make_unique<ReplyWatch>(reply);
        return reply;
    }

    ReplyWatch& watchOf(RemoteCommandReply* reply) { return *watches.at(reply); }

    void expectDestructionCancelsCommandsInFlight(int count, bool withSetPoints, qint64 limitMs);

    // The result a held reply finished with, once its finished() came.
    RemoteSystemResult awaitResult(RemoteCommandReply* reply)
    {
        EXPECT_TRUE(watchOf(reply).waitFinished()) << "no finished() within the patience";
        EXPECT_TRUE(reply->isFinished());
        return reply->result();
    }

    // An envelope as a caller of writeStatusPoint builds it.
    static DravoData statusEnvelope(int pid, int state) { return runtimetest::statusEnvelope(pid, state, kChannel); }

    ScadaRuntimeInterface* rt = nullptr;
    std::vector<std::unique_ptr<SimulatedFieldDriver>> drivers;
    std::map<RemoteCommandReply*, std::unique_ptr<ReplyWatch>> watches;
    std::vector<Reply> replies;
    std::vector<DravoData> saved;
    int freeAnalog = 0;
    int taggedAnalog = 0;
    int freeStatus = 0;
    int taggedStatus = 0;
};

void expectCancelled(const RemoteSystemResult& result)
{
    EXPECT_EQ(result.kind, Morvane::CommandCancelled);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, kCancelledText);
    EXPECT_TRUE(result.detail.isEmpty());
    EXPECT_TRUE(result.data.isEmpty());
}

// A silent driver, and count commands started on an interface of their own
// (integrity polls, every other one a set-point when withSetPoints): the
// interface is destroyed with them in flight within limitMs, each reply
// finishes cancelled, once, and the queued ones are never sent.
void RemoteCommandReplyTest::expectDestructionCancelsCommandsInFlight(int count, bool withSetPoints, qint64 limitMs)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(silent);

    ScadaRuntimeInterface* doomed = newRuntime();
    std::vector<RemoteCommandReply*> started;
    for (int i = 0; i < count; ++i)
        started.push_back(hold(i % 2 || !withSetPoints ? doomed->integrityPollAsync(kRtu, kDriver, kChannel)
                                                       : doomed->controlAoAsync(freeAnalog, kDriver, kChannel, i, false)));
    ASSERT_TRUE(waitUntil([&] { return driver.commandsReceived() == doomed->maxConcurrentCommands(); }));

    QElapsedTimer clock;
    clock.start();
    destroyRuntime(doomed);
    EXPECT_LT(clock.elapsed(), limitMs);
    for (RemoteCommandReply* reply : started) {
        EXPECT_TRUE(reply->isFinished());
        expectCancelled(reply->result());
    }
    ASSERT_TRUE(waitUntil([&] {
        return std::all_of(started.begin(), started.end(),
                           [this](RemoteCommandReply* r) { return watchOf(r).finishedCount() == 1; });
    }));
    settle();
    EXPECT_EQ(driver.commandsReceived(), 8);
}

// ---- The same results as the blocking forms ---------------------------------

struct Case {
    const char* what;
    std::function<RemoteSystemResult()> blocking;
    std::function<RemoteCommandReply*()> async;
};

TEST_F(RemoteCommandReplyTest, EveryAsyncFormEndsWithTheBlockingFormsResult)
{
    DravoPlus::SetWaitScale(kShortWaits);
    SimulatedFieldDriver& driver = startDriver();
    const int unchanged = plantId("Millbrook.PumpHall.Pump2.SpeedSetpoint");
    ASSERT_GT(unchanged, 0);
    keep("ANALOG" + std::to_string(unchanged));
    Answer notChanged;
    notChanged.failwhy = 10012;
    driver.answerForPoint(unchanged, notChanged);
    Answer withData;
    withData.data = QByteArray("relay settings, group 1");
    driver.answerForPoint(freeStatus, withData);

    const QList<QPair<int, double>> sequence{{freeAnalog, 1.0}, {unchanged, 2.0}};
    const QList<QPair<int, double>> taggedSequence{{freeAnalog, 1.0}, {unchanged, 2.0}, {taggedAnalog, 3.0}};
    const DravoData envelope = statusEnvelope(freeStatus, 1);
    const DravoData taggedEnvelope = statusEnvelope(taggedStatus, 1);
    std::vector<Case> cases{
        {"set-point answered",
         [&] { return rt->controlAo(freeAnalog, kDriver, kChannel, 17.5, false); },
         [&] { return rt->controlAoAsync(freeAnalog, kDriver, kChannel, 17.5, false); }},
        {"set-point with the driver's own code",
         [&] { return rt->controlAo(unchanged, kDriver, kChannel, 5.0, false); },
         [&] { return rt->controlAoAsync(unchanged, kDriver, kChannel, 5.0, false); }},
        {"set-point refused for its tag",
         [&] { return rt->controlAo(taggedAnalog, kDriver, kChannel, 5.0, false); },
         [&] { return rt->controlAoAsync(taggedAnalog, kDriver, kChannel, 5.0, false); }},
        {"unconfirmed set-point",
         [&] { return rt->controlAo(freeAnalog, kDriver, kChannel, 18.0, true); },
         [&] { return rt->controlAoAsync(freeAnalog, kDriver, kChannel, 18.0, true); }},
        {"set-point to a driver that is not running",
         [&] { return rt->controlAo(freeAnalog, kAbsentDriver, kChannel, 1.0, false); },
         [&] { return rt->controlAoAsync(freeAnalog, kAbsentDriver, kChannel, 1.0, false); }},
        {"sequence answered",
         [&] { return rt->controlAos(sequence, kDriver, kChannel, 2); },
         [&] { return rt->controlAosAsync(sequence, kDriver, kChannel, 2); }},
        {"sequence naming its tagged point",
         [&] { return rt->controlAos(taggedSequence, kDriver, kChannel, 2); },
         [&] { return rt->controlAosAsync(taggedSequence, kDriver, kChannel, 2); }},
        {"RTU command", [&] { return rt->controlRtu(kRtu, kDriver, kChannel, Morvane::CounterPoll); },
         [&] { return rt->controlRtuAsync(kRtu, kDriver, kChannel, Morvane::CounterPoll); }},
        {"integrity poll", [&] { return rt->integrityPoll(kRtu, kDriver, kChannel); },
         [&] { return rt->integrityPollAsync(kRtu, kDriver, kChannel); }},
        {"status poll", [&] { return rt->statusPoll(kRtu, kDriver, kChannel); },
         [&] { return rt->statusPollAsync(kRtu, kDriver, kChannel); }},
        {"analog poll", [&] { return rt->analogPoll(kRtu, kDriver, kChannel); },
         [&] { return rt->analogPollAsync(kRtu, kDriver, kChannel); }},
        {"device restart", [&] { return rt->restartDevice(kRtu, kDriver, kChannel); },
         [&] { return rt->restartDeviceAsync(kRtu, kDriver, kChannel); }},
        {"event poll", [&] { return rt->eventPoll(kRtu, kDriver, kChannel); },
         [&] { return rt->eventPollAsync(kRtu, kDriver, kChannel); }},
        {"time synchronisation", [&] { return rt->timeSync(kRtu, kDriver, kChannel); },
         [&] { return rt->timeSyncAsync(kRtu, kDriver, kChannel); }},
        {"poll of a driver that is not running", [&] { return rt->integrityPoll(kRtu, kAbsentDriver, kChannel); },
         [&] { return rt->integrityPollAsync(kRtu, kAbsentDriver, kChannel); }},
        {"device command with appended data",
         [&] { return rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray("x", 1)); },
         [&] { return rt->deviceCmdAsync(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray("x", 1)); }},
        {"device command, driver offline",
         [&] { return rt->deviceCmd(freeStatus, kAbsentDriver, kChannel, QStringLiteral("READ"), QByteArray()); },
         [&] { return rt->deviceCmdAsync(freeStatus, kAbsentDriver, kChannel, QStringLiteral("READ"), QByteArray()); }},
        {"status write answered",
         [&] { DravoData e = envelope; return rt->writeStatusPoint(freeStatus, kDriver, kChannel, e, false); },
         [&] { return rt->writeStatusPointAsync(freeStatus, kDriver, kChannel, envelope, false); }},
        {"status write refused for its tag",
         [&] { DravoData e = taggedEnvelope; return rt->writeStatusPoint(taggedStatus, kDriver, kChannel, e, false); },
         [&] { return rt->writeStatusPointAsync(taggedStatus, kDriver, kChannel, taggedEnvelope, false); }},
        {"unconfirmed status write",
         [&] { DravoData e = envelope; return rt->writeStatusPoint(freeStatus, kDriver, kChannel, e, true); },
         [&] { return rt->writeStatusPointAsync(freeStatus, kDriver, kChannel, envelope, true); }},
        {"unconfirmed status write, driver not running",
         [&] { DravoData e = envelope; return rt->writeStatusPoint(freeStatus, kAbsentDriver, kChannel, e, true); },
         [&] { return rt->writeStatusPointAsync(freeStatus, kAbsentDriver, kChannel, envelope, true); }},
    };

    std::vector<RemoteSystemResult> results;
    for (const Case& c : cases) {
        results.push_back(c.blocking());
        RemoteCommandReply* reply = hold(c.async());
        EXPECT_EQ(awaitResult(reply), results.back()) << c.what;
    }
    // The cases saw the outcomes they are named for.
    EXPECT_EQ(results[0].kind, Morvane::DriverAnswered);
    EXPECT_EQ(results[1].message, QStringLiteral("Control Executed. But Value is not changed"));
    EXPECT_EQ(results[2].kind, Morvane::ControlInhibited);
    EXPECT_EQ(results[3].kind, Morvane::SentUnconfirmed);
    EXPECT_EQ(results[4].code, DRAVO_NO_RECEIVER);
    EXPECT_EQ(results[6].message, QStringLiteral("%1 is control inhabit tagged").arg(QLatin1String(kTaggedAnalog)));
    EXPECT_EQ(results[14].kind, Morvane::MiddlewareFailed);
    EXPECT_EQ(results[15].data, withData.data);
    EXPECT_EQ(results[16].message, QStringLiteral("Driver is offline"));
    EXPECT_EQ(results[18].kind, Morvane::ControlInhibited);
    EXPECT_EQ(results[20].code, DRAVO_NO_RECEIVER);
}

TEST_F(RemoteCommandReplyTest, TimeoutsEndWithTheBlockingFormsResult)
{
    DravoPlus::SetWaitScale(kShortWaits);
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    startDriver().setDefaultAnswer(silent);
    const DravoData envelope = statusEnvelope(freeStatus, 1);

    std::vector<Case> cases{
        {"set-point", [&] { return rt->controlAo(freeAnalog, kDriver, kChannel, 1.0, false); },
         [&] { return rt->controlAoAsync(freeAnalog, kDriver, kChannel, 1.0, false); }},
        {"sequence", [&] { return rt->controlAos({{freeAnalog, 1.0}}, kDriver, kChannel, 1); },
         [&] { return rt->controlAosAsync({{freeAnalog, 1.0}}, kDriver, kChannel, 1); }},
        {"poll", [&] { return rt->integrityPoll(kRtu, kDriver, kChannel); },
         [&] { return rt->integrityPollAsync(kRtu, kDriver, kChannel); }},
        {"device command",
         [&] { return rt->deviceCmd(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray()); },
         [&] { return rt->deviceCmdAsync(freeStatus, kDriver, kChannel, QStringLiteral("READ"), QByteArray()); }},
        {"status write",
         [&] { DravoData e = envelope; return rt->writeStatusPoint(freeStatus, kDriver, kChannel, e, false); },
         [&] { return rt->writeStatusPointAsync(freeStatus, kDriver, kChannel, envelope, false); }},
    };
    // The asynchronous ones wait side by side while the blocking ones run.
    std::vector<RemoteCommandReply*> started;
    for (const Case& c : cases)
        started.push_back(hold(c.async()));
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const RemoteSystemResult blocking = cases[i].blocking();
        EXPECT_EQ(blocking.kind, Morvane::MiddlewareFailed) << cases[i].what;
        EXPECT_EQ(blocking.code, DRAVO_TIMEOUT) << cases[i].what;
        EXPECT_EQ(awaitResult(started[i]), blocking) << cases[i].what;
    }
}

// ---- Not blocking the caller ------------------------------------------------

TEST_F(RemoteCommandReplyTest, CallReturnsWhileTheDriverHasNotAnswered)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(silent);

    RemoteCommandReply* reply = hold(rt->controlAoAsync(freeAnalog, kDriver, kChannel, 3.0, false));
    // A blocking call would only have come back with the 30 s timeout.
    EXPECT_FALSE(reply->isFinished());
    ReplyWatch& watch = watchOf(reply);
    ASSERT_TRUE(waitUntil([&] { return driver.commandsReceived() == 1; }));
    ASSERT_TRUE(watch.waitState(RemoteCommandReply::AwaitingReply));
    EXPECT_EQ(reply->state(), RemoteCommandReply::AwaitingReply);
    EXPECT_EQ(reply->replyWait(), 30);
    EXPECT_FALSE(reply->isFinished());
    EXPECT_EQ(watch.finishedCount(), 0);
    reply->cancel();
}

TEST_F(RemoteCommandReplyTest, DelayedAnswerComesThroughTheStatesOnTheCallingThread)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer slow;
    slow.delayMs = 200;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(slow);

    RemoteCommandReply* reply = hold(rt->integrityPollAsync(kRtu, kDriver, kChannel));
    ReplyWatch& watch = watchOf(reply);
    ASSERT_TRUE(watch.waitFinished());
    EXPECT_EQ(reply->result(), rt->integrityPoll(kRtu, kDriver, kChannel));
    EXPECT_EQ(reply->result().kind, Morvane::DriverAnswered);
    EXPECT_EQ(reply->result().code, 0);
    const std::vector<RemoteCommandReply::State> expected{RemoteCommandReply::Sending,
                                                          RemoteCommandReply::AwaitingReply,
                                                          RemoteCommandReply::Finished};
    EXPECT_EQ(watch.states, expected);
    for (QThread* thread : watch.threads)
        EXPECT_EQ(thread, QThread::currentThread());
    settle();
    EXPECT_EQ(watch.finishedCount(), 1);
    EXPECT_EQ(driver.commandsAnswered(), 2);
}

// ---- Cancelling -------------------------------------------------------------

TEST_F(RemoteCommandReplyTest, CancelEndsTheWaitAndTheLateAnswerIsIgnored)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer slow;
    slow.delayMs = 300;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(slow);
    rt->setMaxConcurrentCommands(1);
    startRecording();

    RemoteCommandReply* reply = hold(rt->controlAoAsync(freeAnalog, kDriver, kChannel, 9.0, false));
    ReplyWatch& watch = watchOf(reply);
    ASSERT_TRUE(watch.waitState(RemoteCommandReply::AwaitingReply));
    // Cancelled once the driver has taken the command and works on it.
    ASSERT_TRUE(waitUntil([&] { return driver.commandsReceived() == 1; }));
    reply->cancel();
    // The outcome is known at once; finished() follows through the event loop.
    EXPECT_TRUE(reply->isFinished());
    expectCancelled(reply->result());
    ASSERT_TRUE(watch.waitFinished());
    reply->cancel();

    const std::vector<DravoRecordedCall> released = takeCalls("DisConnect");
    ASSERT_EQ(released.size(), 1u);

    // The one command thread is free again for the next command. The driver
    // serves in order: by the poll's answer it has answered the released
    // packet too, and the middleware refused that answer.
    RemoteCommandReply* next = hold(rt->integrityPollAsync(kRtu, kDriver, kChannel));
    const RemoteSystemResult answered = awaitResult(next);
    EXPECT_EQ(answered.kind, Morvane::DriverAnswered);
    EXPECT_EQ(answered.code, 0);
    EXPECT_EQ(driver.commandsReceived(), 2);
    EXPECT_EQ(driver.commandsAnswered(), 1);
    settle();
    expectCancelled(reply->result());
    EXPECT_EQ(watch.finishedCount(), 1);
    EXPECT_EQ(watch.states.back(), RemoteCommandReply::Finished);
}

TEST_F(RemoteCommandReplyTest, CommandCancelledInTheQueueIsNeverSent)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(silent);
    driver.answerForCommand(0, Answer());   // RTU commands are answered
    rt->setMaxConcurrentCommands(1);

    RemoteCommandReply* first = hold(rt->controlAoAsync(freeAnalog, kDriver, kChannel, 1.0, false));
    ReplyWatch& firstWatch = watchOf(first);
    ASSERT_TRUE(firstWatch.waitState(RemoteCommandReply::AwaitingReply));
    ASSERT_TRUE(waitUntil([&] { return driver.commandsReceived() == 1; }));
    RemoteCommandReply* queued = hold(rt->controlAoAsync(freeAnalog, kDriver, kChannel, 2.0, false));
    EXPECT_EQ(queued->state(), RemoteCommandReply::Queued);
    queued->cancel();
    expectCancelled(queued->result());
    first->cancel();
    expectCancelled(first->result());

    // The one thread takes the queue in order: the poll after the cancelled
    // command is answered, and the cancelled one never reached the driver.
    RemoteCommandReply* poll = hold(rt->integrityPollAsync(kRtu, kDriver, kChannel));
    EXPECT_EQ(awaitResult(poll).kind, Morvane::DriverAnswered);
    EXPECT_EQ(driver.commandsReceived(), 2);
    EXPECT_EQ(driver.lastCommand().cmdCode, 0);
}

TEST_F(RemoteCommandReplyTest, DeletingTheReplyCancelsTheCommandWithoutASignal)
{
    DravoPlus::SetWaitScale(kRealWaits);
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    SimulatedFieldDriver& driver = startDriver();
    driver.setDefaultAnswer(silent);
    driver.answerForCommand(0, Answer());
    rt->setMaxConcurrentCommands(1);

    auto* reply = rt->controlAoAsync(freeAnalog, kDriver, kChannel, 1.0, false);
    int finishedSeen = 0;
    QObject::connect(reply, &RemoteCommandReply::finished, [&finishedSeen] { ++finishedSeen; });
    {
        ReplyWatch watch(reply);
        ASSERT_TRUE(watch.waitState(RemoteCommandReply::AwaitingReply));
    }
    delete reply;
    settle();
    EXPECT_EQ(finishedSeen, 0);

    // The silent driver would have held the one thread for 30 s; the
    // release freed it for the poll.
    RemoteCommandReply* poll = hold(rt->integrityPollAsync(kRtu, kDriver, kChannel));
    EXPECT_EQ(awaitResult(poll).kind, Morvane::DriverAnswered);
}

// ---- Many commands ----------------------------------------------------------

TEST_F(RemoteCommandReplyTest, HundredConcurrentCommandsAreAllAnsweredWithTheirOwnAnswers)
{
    DravoPlus::SetWaitScale(0.2);
    const std::vector<int> numbers{kDriver, 41, 42, 43};
    for (int number : numbers)
        startDriver(number);
    EXPECT_EQ(rt->maxConcurrentCommands(), 8);

    constexpr int kCommands = 100;
    constexpr int kFirstId = 950000;
    std::vector<RemoteCommandReply*> started;
    for (int i = 0; i < kCommands; ++i) {
        Answer answer;
        answer.delayMs = 2;
        answer.data = QByteArray("answer of ") + QByteArray::number(kFirstId + i);
        drivers[i % numbers.size()]->answerForPoint(kFirstId + i, answer);
    }
    for (int i = 0; i < kCommands; ++i)
        started.push_back(hold(rt->deviceCmdAsync(kFirstId + i, numbers[i % numbers.size()], kChannel,
                                                  QStringLiteral("READ"), QByteArray::number(i))));
    ASSERT_TRUE(waitUntil([&] {
        return std::all_of(started.begin(), started.end(), [](RemoteCommandReply* r) { return r->isFinished(); });
    }, std::chrono::seconds(60)));
    for (int i = 0; i < kCommands; ++i) {
        const RemoteSystemResult result = started[i]->result();
        EXPECT_EQ(result.kind, Morvane::DriverAnswered) << i;
        EXPECT_EQ(result.code, 0) << i;
        EXPECT_EQ(result.data, QByteArray("answer of ") + QByteArray::number(kFirstId + i)) << i;
    }
    for (const auto& running : drivers)
        EXPECT_EQ(running->commandsAnswered(), kCommands / static_cast<int>(numbers.size()));
}

TEST_F(RemoteCommandReplyTest, CommandThreadLimitIsAtLeastOne)
{
    rt->setMaxConcurrentCommands(3);
    EXPECT_EQ(rt->maxConcurrentCommands(), 3);
    rt->setMaxConcurrentCommands(0);
    EXPECT_EQ(rt->maxConcurrentCommands(), 1);
    rt->setMaxConcurrentCommands(-5);
    EXPECT_EQ(rt->maxConcurrentCommands(), 1);
}

// ---- Destroying the interface -----------------------------------------------

TEST_F(RemoteCommandReplyTest, DestroyingTheInterfaceCancelsCommandsInFlight)
{
    // Each wait lasts 15 or 30 s here; the destruction does not sit them out.
    expectDestructionCancelsCommandsInFlight(20, true, 15000);
}

// ---- On the Redis backend ---------------------------------------------------

// The same commands through a redis-server of the test process: the
// asynchronous forms end as the blocking ones do, and a cancel or the
// interface's destruction frees the command threads without sitting out the
// drivers' waits (the reply wait there notices the released packet).
class RemoteCommandReplyRedisTest : public RemoteCommandReplyTest
{
protected:
    void SetUp() override
    {
        const std::string address = mvtest::sharedRedisAddress();
        ASSERT_FALSE(address.empty()) << "cannot start redis-server";
        RuntimeTest::SetUp();
        // Unscaled: the connect and reply timeouts of a Redis client scale
        // too, and a busy machine needs the whole of them.
        DravoPlus::SetWaitScale(kRealWaits);
        DravoPlus::DisConnectMid(nullptr);
        ASSERT_EQ(changeServerSetting(address.c_str(), nullptr), DRAVO_OK);
        ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
        // The connection comes up on the middleware's own time.
        ASSERT_TRUE(waitUntil([] { return DravoPlus::IsConnect(nullptr) == DRAVO_OK; }));
        static bool plantLoaded = false;
        if (!plantLoaded) {
            std::string error;
            ASSERT_EQ(MVPlant::LoadPlant(MV_SAMPLE_PLANT, nullptr, &error), DRAVO_OK) << error;
            plantLoaded = true;
        }
        RemoteCommandReplyTest::SetUpOnTheServerInUse();
    }
};

TEST_F(RemoteCommandReplyRedisTest, AsyncFormsEndAsTheBlockingOnesAndCancelFreesTheThread)
{
    DravoPlus::SetWaitScale(kRealWaits);
    SimulatedFieldDriver& driver = startDriver();
    Answer silent;
    silent.silent = true;
    silent.apply = false;
    driver.answerForPoint(freeStatus, silent);
    rt->setMaxConcurrentCommands(1);

    const RemoteSystemResult answered = rt->controlAo(freeAnalog, kDriver, kChannel, 21.0, false);
    EXPECT_EQ(answered.kind, Morvane::DriverAnswered);
    EXPECT_EQ(awaitResult(hold(rt->controlAoAsync(freeAnalog, kDriver, kChannel, 21.0, false))), answered);
    const RemoteSystemResult refused = rt->controlAo(taggedAnalog, kDriver, kChannel, 1.0, false);
    EXPECT_EQ(refused.kind, Morvane::ControlInhibited);
    EXPECT_EQ(awaitResult(hold(rt->controlAoAsync(taggedAnalog, kDriver, kChannel, 1.0, false))), refused);
    const RemoteSystemResult offline = rt->deviceCmd(freeStatus, kAbsentDriver, kChannel, QString(), QByteArray());
    EXPECT_EQ(offline.code, DRAVO_NO_RECEIVER);
    EXPECT_EQ(awaitResult(hold(rt->deviceCmdAsync(freeStatus, kAbsentDriver, kChannel, QString(), QByteArray()))),
              offline);

    // A device command the driver never answers would hold the one thread
    // for 60 s; cancelled, it lets the poll behind it through.
    RemoteCommandReply* stuck = hold(rt->deviceCmdAsync(freeStatus, kDriver, kChannel, QString(), QByteArray()));
    ASSERT_TRUE(watchOf(stuck).waitState(RemoteCommandReply::AwaitingReply));
    RemoteCommandReply* poll = hold(rt->integrityPollAsync(kRtu, kDriver, kChannel));
    stuck->cancel();
    expectCancelled(stuck->result());
    const RemoteSystemResult polled = awaitResult(poll);
    EXPECT_EQ(polled.kind, Morvane::DriverAnswered);
    EXPECT_EQ(polled.code, 0);
}

TEST_F(RemoteCommandReplyRedisTest, DestroyingTheInterfaceCancelsCommandsInFlight)
{
    // Each wait lasts 15 s here; the destruction does not sit them out.
    expectDestructionCancelsCommandsInFlight(12, false, 10000);
}

} // namespace
} // namespace runtimetest

#endif // __has_include(<simulatedfielddriver.h>)

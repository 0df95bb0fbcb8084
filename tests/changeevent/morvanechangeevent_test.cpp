// morvanechangeevent_test.cpp: the receiver's life: its event box, its
// receiving loop as the middleware sees it (every call and argument, through
// the middleware's call recorder), and how it is started, moved to a new box
// and stopped.
#include "changeeventfixture.h"

#include <QtCore/QMetaType>
#include <QtCore/QVariant>

#include <atomic>
#include <map>
#include <optional>
#include <thread>

namespace changeeventtest {
namespace {

using ReceiverTest = ChangeEventTest;

// Starts the receiver and collects the middleware calls until its first
// receive.
CallLog startAndCollectFirstReceive(MorvaneChangeEvent* receiver, const char* receiveOperation)
{
    CallLog log;
    receiver->start();
    log.collectUntil([receiveOperation](const CallLog& l) { return l.count(receiveOperation) > 0; });
    return log;
}

std::vector<DravoRecordedCall> callsUpTo(const CallLog& log, const char* lastOperation)
{
    std::vector<DravoRecordedCall> calls;
    for (const DravoRecordedCall& call : log.calls()) {
        calls.push_back(call);
        if (call.operation == lastOperation)
            break;
    }
    return calls;
}

// The first start of a receiver whose box does not exist yet: the connect
// says 2001, the loop creates the box (kind by role, 50000, not persistent)
// and connects again at once.
void expectFirstStartCreatesBox(MorvaneChangeEvent* receiver, const char* prefix, int kind,
                                const char* receiveOperation)
{
    const auto started = Clock::now();
    const CallLog log = startAndCollectFirstReceive(receiver, receiveOperation);
    const auto firstReceiveAfter = elapsedSince(started);

    const std::vector<DravoRecordedCall> calls = callsUpTo(log, receiveOperation);
    ASSERT_EQ(calls.size(), 5u);
    const std::string name = argText(calls[0], 0);
    EXPECT_TRUE(isBoxName(name, prefix)) << name;

    EXPECT_EQ(calls[0].operation, "ConnectPortForRecv");
    EXPECT_EQ(calls[0].result, DRAVO_NOT_FOUND);
    EXPECT_EQ(argText(calls[0], 1), "<null>");
    EXPECT_EQ(argText(calls[0], 2), "<null>");

    EXPECT_EQ(calls[1].operation, "CreateEventBox");
    const std::vector<std::optional<std::string>> createArgs{name, std::to_string(kind), "50000", std::nullopt,
                                                             std::nullopt};
    EXPECT_EQ(calls[1].args, createArgs);

    EXPECT_EQ(calls[2].operation, "SetPersistent");
    EXPECT_EQ(calls[2].args, (std::vector<std::optional<std::string>>{name, "0", std::nullopt, std::nullopt}));

    EXPECT_EQ(calls[3].operation, "ConnectPortForRecv");
    EXPECT_EQ(argText(calls[3], 0), name);
    EXPECT_EQ(calls[3].result, DRAVO_OK);

    EXPECT_EQ(calls[4].operation, receiveOperation);
    // No pause between the creation and the second connect.
    EXPECT_LT(firstReceiveAfter, kRetryPause - 100ms);

    DravoEventBoxInfo box;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo(name.c_str(), box, nullptr), DRAVO_OK);
    EXPECT_EQ(box.kind, kind);
    EXPECT_EQ(box.capacity, 50000);
    EXPECT_FALSE(box.persistent);
}

// The receives of an idle box go one after the other without a pause: at
// 10 ms a wait, half a second holds dozens of them.
void expectIdleReceivesWithoutPause(const char* receiveOperation, const std::vector<std::string>& countAndWait)
{
    CallLog log;
    log.collectUntil([receiveOperation](const CallLog& l) { return l.count(receiveOperation) > 0; });
    log.clear();
    settle(500ms);
    log.collect();

    const std::vector<DravoRecordedCall> receives = log.of(receiveOperation);
    EXPECT_GE(receives.size(), 10u) << "an empty wait must lead straight into the next one";
    EXPECT_EQ(log.count("ConnectPortForRecv"), 0) << "an empty wait is no reason to connect again";
    ASSERT_FALSE(receives.empty());
    const std::string port = argText(receives.front(), 0);
    EXPECT_NE(port, "0");
    for (const DravoRecordedCall& call : receives) {
        EXPECT_EQ(call.result, DRAVO_TIMEOUT);
        std::vector<std::string> args;
        for (std::size_t i = 0; i < call.args.size(); ++i)
            args.push_back(argText(call, i));
        std::vector<std::string> expected{port};
        if (std::string(receiveOperation) == "ReceiveEventN")
            expected.push_back("<null>");   // no type filter
        expected.insert(expected.end(), countAndWait.begin(), countAndWait.end());
        expected.insert(expected.end(), {"<null>", "<null>"});
        EXPECT_EQ(args, expected);
    }
}

TEST_F(ReceiverTest, ConstructionTouchesNoMiddlewareAndStartsInClientMode)
{
    startRecording();
    ProbedChangeEvent* receiver = newReceiver();
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls().empty());
    EXPECT_FALSE(receiver->isServerMode());
    EXPECT_FALSE(receiver->isRunning());
    EXPECT_EQ(receiver->stopRequest(), 0);

    receiver->setServerMode();
    EXPECT_TRUE(receiver->isServerMode());
    EXPECT_FALSE(receiver->isRunning());
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls().empty());
}

TEST_F(ReceiverTest, RegistersTheChangeTypesForQueuedConnections)
{
    newReceiver();
    const int mapId = QMetaType::type("mapEvent");
    const int recordId = QMetaType::type("DravoData");
    const int listId = QMetaType::type("QList<DravoData>");
    EXPECT_EQ(mapId, qMetaTypeId<mapEvent>());
    EXPECT_EQ(recordId, qMetaTypeId<DravoData>());
    EXPECT_EQ(listId, qMetaTypeId<QList<DravoData>>());
    const int associative = qMetaTypeId<QtMetaTypePrivate::QAssociativeIterableImpl>();
    const int sequential = qMetaTypeId<QtMetaTypePrivate::QSequentialIterableImpl>();
    EXPECT_TRUE(QMetaType::hasRegisteredConverterFunction(mapId, associative));
    EXPECT_TRUE(QMetaType::hasRegisteredConverterFunction(listId, sequential));

    mapEvent changes;
    changes.insert(100001, DravoData("CHANGED_STATUS"));
    const QVariant asVariant = QVariant::fromValue(changes);
    EXPECT_TRUE(asVariant.canConvert<QVariantHash>());
    EXPECT_EQ(asVariant.value<QAssociativeIterable>().size(), 1);

    // A second receiver registers nothing new.
    newReceiver();
    EXPECT_EQ(QMetaType::type("mapEvent"), mapId);
}

TEST_F(ReceiverTest, InitCalledTwiceCreatesTheClientBoxOnce)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    receiver->init();
    receiver->init();
    CallLog log;
    log.collect();

    ASSERT_EQ(log.calls().size(), 2u);
    const std::string name = argText(log.calls()[0], 0);
    EXPECT_TRUE(isBoxName(name, kClientPrefix)) << name;
    EXPECT_EQ(log.calls()[0].operation, "CreateEventBox");
    EXPECT_EQ(log.calls()[0].args,
              (std::vector<std::optional<std::string>>{name, "624485", "50000", std::nullopt, std::nullopt}));
    EXPECT_EQ(log.calls()[1].operation, "SetPersistent");
    EXPECT_EQ(log.calls()[1].args, (std::vector<std::optional<std::string>>{name, "0", std::nullopt, std::nullopt}));

    DravoEventBoxInfo box;
    ASSERT_EQ(DravoPlus::GetEventBoxInfo(name.c_str(), box, nullptr), DRAVO_OK);
    EXPECT_EQ(box.kind, kPacketKind);
    EXPECT_EQ(box.capacity, 50000);
    EXPECT_FALSE(box.persistent);
    EXPECT_FALSE(receiver->isRunning());
}

TEST_F(ReceiverTest, InitInServerModeCreatesABoxForRawChanges)
{
    ProbedChangeEvent* receiver = newReceiver(true);
    startRecording();
    receiver->init();
    const std::vector<DravoRecordedCall> creates = DravoPlus::TakeRecordedCalls("CreateEventBox");
    ASSERT_EQ(creates.size(), 1u);
    EXPECT_TRUE(isBoxName(argText(creates[0], 0), kServerPrefix)) << argText(creates[0], 0);
    EXPECT_EQ(argText(creates[0], 1), "8290172");
    EXPECT_EQ(argText(creates[0], 2), "50000");
}

TEST_F(ReceiverTest, FirstStartCreatesTheMissingBoxAndConnectsWithoutDelay)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    expectFirstStartCreatesBox(receiver, kClientPrefix, kPacketKind, "ReceiveEventN");
}

TEST_F(ReceiverTest, FirstStartInServerModeCreatesABoxForRawChanges)
{
    ProbedChangeEvent* receiver = newReceiver(true);
    startRecording();
    expectFirstStartCreatesBox(receiver, kServerPrefix, kRawChangeKind, "ReceiveUndefinedEventN");
}

TEST_F(ReceiverTest, AfterInitTheLoopConnectsAtOnce)
{
    ProbedChangeEvent* receiver = newReceiver();
    receiver->init();
    startRecording();
    const CallLog log = startAndCollectFirstReceive(receiver, "ReceiveEventN");
    const std::vector<DravoRecordedCall> calls = callsUpTo(log, "ReceiveEventN");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].operation, "ConnectPortForRecv");
    EXPECT_EQ(calls[0].result, DRAVO_OK);
    EXPECT_EQ(log.count("CreateEventBox"), 0);
}

TEST_F(ReceiverTest, IdleClientReceivesOnePacketAtATimeWithoutPausing)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    receiver->start();
    expectIdleReceivesWithoutPause("ReceiveEventN", {"1", "1"});
}

TEST_F(ReceiverTest, IdleServerReceivesUpTo500RawChangesWithoutPausing)
{
    ProbedChangeEvent* receiver = newReceiver(true);
    startRecording();
    receiver->start();
    expectIdleReceivesWithoutPause("ReceiveUndefinedEventN", {"500", "1"});
}

TEST_F(ReceiverTest, UnreachableMiddlewareIsAskedOncePerSecond)
{
    ProbedChangeEvent* receiver = newReceiver();
    ASSERT_EQ(DravoPlus::SetEmbeddedServerOnline(false), DRAVO_OK);
    startRecording();
    receiver->start();
    settle(2500ms);
    CallLog log;
    log.collect();

    // Attempts at about 0, 1000 and 2000 ms, and nothing else.
    const std::vector<DravoRecordedCall> connects = log.of("ConnectPortForRecv");
    EXPECT_GE(connects.size(), 2u);
    EXPECT_LE(connects.size(), 4u);
    EXPECT_EQ(log.calls().size(), connects.size());
    for (const DravoRecordedCall& call : connects)
        EXPECT_EQ(call.result, DRAVO_NOT_CONNECTED);
}

TEST_F(ReceiverTest, PrepareShutDownThenShutDownEndsWithinOneWaitAndOneSecond)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    startAndCollectFirstReceive(receiver, "ReceiveEventN");

    const auto asked = Clock::now();
    receiver->prepareShutDown();
    EXPECT_LT(elapsedSince(asked), 50ms) << "prepareShutDown returns at once";
    EXPECT_EQ(receiver->stopRequest(), 1);
    receiver->shutDown();
    const auto took = elapsedSince(asked);

    EXPECT_TRUE(receiver->isFinished());
    EXPECT_EQ(receiver->stopRequest(), 0);
    EXPECT_LE(took, kReceiveWait + kRetryPause + kSlack);
    // The loop pauses a second before it leaves.
    EXPECT_GE(took, kRetryPause - 10ms);
}

TEST_F(ReceiverTest, ShutDownAllowsAStartAgainOnTheSameBox)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    const std::string name = firstBoxName(startAndCollectFirstReceive(receiver, "ReceiveEventN"));
    receiver->shutDown();
    EXPECT_EQ(receiver->stopRequest(), 0);
    DravoPlus::TakeRecordedCalls();

    const CallLog log = startAndCollectFirstReceive(receiver, "ReceiveEventN");
    const std::vector<DravoRecordedCall> calls = callsUpTo(log, "ReceiveEventN");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(argText(calls[0], 0), name);
    EXPECT_EQ(calls[0].result, DRAVO_OK);
}

// Deliberately kept: a reloaded receiver takes the server prefix even in
// client mode, while it keeps listening to packets.
TEST_F(ReceiverTest, ReloadInClientModeMovesToAServerPrefixedBoxOfTheSameKind)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    const std::string oldName = firstBoxName(startAndCollectFirstReceive(receiver, "ReceiveEventN"));
    ASSERT_TRUE(isBoxName(oldName, kClientPrefix)) << oldName;
    DravoPlus::TakeRecordedCalls();

    receiver->reload();
    EXPECT_TRUE(receiver->isRunning());
    // The old thread has ended when reload returns; the new one connects to
    // its new box, finds it missing and makes it.
    CallLog log;
    ASSERT_TRUE(log.collectUntil([](const CallLog& l) {
        bool created = false;
        for (const DravoRecordedCall& call : l.calls()) {
            created = created || call.operation == "CreateEventBox";
            if (created && call.operation == "ReceiveEventN")
                return true;
        }
        return false;
    }));
    const std::vector<DravoRecordedCall> creates = log.of("CreateEventBox");
    ASSERT_EQ(creates.size(), 1u);
    const std::string newName = argText(creates[0], 0);
    EXPECT_TRUE(isBoxName(newName, kServerPrefix)) << newName;
    EXPECT_NE(newName, oldName);
    EXPECT_EQ(argText(creates[0], 1), "624485");
    EXPECT_FALSE(receiver->isServerMode());
    for (const DravoRecordedCall& call : log.of("ConnectPortForRecv"))
        EXPECT_EQ(argText(call, 0), newName);
    const std::vector<DravoRecordedCall> receives = log.of("ReceiveEventN");
    ASSERT_FALSE(receives.empty());
    EXPECT_EQ(argText(receives.back(), 2), "1");
    EXPECT_EQ(argText(receives.back(), 3), "1");
    // The old box is left behind.
    DravoEventBoxInfo old;
    EXPECT_EQ(DravoPlus::GetEventBoxInfo(oldName.c_str(), old, nullptr), DRAVO_OK);
}

TEST_F(ReceiverTest, AReceiveFailureDropsTheConnectionForASecondAndRecreatesTheBox)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    const std::string name = firstBoxName(startAndCollectFirstReceive(receiver, "ReceiveEventN"));
    DravoPlus::TakeRecordedCalls();

    const auto removed = Clock::now();
    ASSERT_EQ(DravoPlus::DeleteEventBox(name.c_str(), nullptr, nullptr), DRAVO_OK);
    CallLog log;
    ASSERT_TRUE(log.collectUntil([](const CallLog& l) {
        const auto receives = l.of("ReceiveEventN");
        return !receives.empty() && receives.back().result == DRAVO_TIMEOUT && l.count("CreateEventBox") > 0;
    }));
    EXPECT_GE(elapsedSince(removed), kRetryPause - 10ms) << "a failed receive pauses a second";

    // From the failed receive on: a second's pause, then the box is made
    // again and receiving goes on.
    std::vector<std::string> sequence;
    for (const DravoRecordedCall& call : log.calls()) {
        const bool failedReceive = call.operation == "ReceiveEventN" && call.result == DRAVO_NOT_FOUND;
        if (sequence.empty() && !failedReceive)
            continue;
        sequence.push_back(call.operation + ":" + std::to_string(call.result));
        if (call.operation == "ReceiveEventN" && call.result == DRAVO_TIMEOUT)
            break;
    }
    EXPECT_EQ(sequence, (std::vector<std::string>{"ReceiveEventN:2001", "ConnectPortForRecv:2001", "CreateEventBox:0",
                                                  "SetPersistent:0", "ConnectPortForRecv:0", "ReceiveEventN:2000"}));
    for (const DravoRecordedCall& call : log.of("CreateEventBox"))
        EXPECT_EQ(argText(call, 0), name) << "the box comes back under its own name";
}

// A stop asked for before a just-started thread has begun its loop is not
// lost: the loop clears the request when it begins, so it is asked again.
TEST_F(ReceiverTest, ShutDownRightAfterStartIsNotLost)
{
    ProbedChangeEvent* receiver = newReceiver();
    receiver->init();
    for (int round = 0; round < 3; ++round) {
        const auto started = Clock::now();
        receiver->start();
        receiver->shutDown();
        EXPECT_TRUE(receiver->isFinished());
        EXPECT_EQ(receiver->stopRequest(), 0);
        EXPECT_LE(elapsedSince(started), kReceiveWait + kRetryPause + kSlack) << "round " << round;
    }
}

TEST_F(ReceiverTest, DestructionStopsARunningThread)
{
    ProbedChangeEvent* receiver = newReceiver();
    startRecording();
    startAndCollectFirstReceive(receiver, "ReceiveEventN");
    const auto asked = Clock::now();
    destroyReceiver(receiver);
    EXPECT_LE(elapsedSince(asked), kReceiveWait + kRetryPause + kSlack);
    DravoPlus::TakeRecordedCalls();
    settle(50ms);
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls().empty()) << "no call after the receiver is gone";
}

// A server task that keeps receiving changes waits a little after a take
// that did not fill a packet, so that a stream of small writes goes out in
// fewer, fuller packets (each costs every operator station a take), with
// every change in its order.
TEST_F(ReceiverTest, ServerTaskGathersAStreamOfSmallWritesIntoFewerPackets)
{
    constexpr int kWrites = 60;
    const std::vector<std::string> names{"STATUS100901", "STATUS100902"};
    for (const std::string& name : names) {
        DravoData point("STATUS", name.c_str());
        point.PutValue("pid", std::stoi(name.substr(6)));
        ASSERT_EQ(DravoPlus::PutDataPoint(point, nullptr, nullptr), DRAVO_OK);
    }
    ProbedChangeEvent* server = newReceiver(true);
    ProbedChangeEvent* client = newReceiver();
    std::atomic<int> packets{0};
    std::atomic<int> changes{0};
    std::atomic<int> outOfOrder{0};
    std::map<int, int> latest;   // by point id; the client's thread only
    QObject::connect(client, &MorvaneChangeEvent::statusChanged, client, [&](const QList<DravoData>& list) {
        for (const DravoData& change : list) {
            const auto [at, first] = latest.emplace(change.GetSignedIntValue("pid"), -1);
            outOfOrder += change.GetSignedIntValue("quality") != at->second + 1;
            at->second = change.GetSignedIntValue("quality");
        }
        changes += list.size();
        ++packets;
    }, Qt::DirectConnection);
    server->start();
    client->start();
    settle(200ms);

    for (int write = 0; write < kWrites; ++write) {
        std::vector<DravoPartialData> batch;
        for (const std::string& name : names) {
            batch.emplace_back("STATUS", name.c_str());
            batch.back().PutValue("quality", write);
        }
        ASSERT_EQ(DravoPlus::PutPartialDataPoints(batch, nullptr, nullptr), DRAVO_OK);
        std::this_thread::sleep_for(100us);
    }
    ASSERT_TRUE(waitUntil([&] { return changes.load() == kWrites * static_cast<int>(names.size()); }))
        << changes.load() << " changes arrived";
    EXPECT_EQ(outOfOrder.load(), 0);
    EXPECT_LE(packets.load(), kWrites / 2) << "a packet for nearly every write";
}

} // namespace
} // namespace changeeventtest

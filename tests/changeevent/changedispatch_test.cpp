// changedispatch_test.cpp: what a receiver hands on for each batch: the Qt
// signals of an operator application (which, in which order, with which
// records) and the Boost.Signals2 slots of a server task.
#include "changeeventfixture.h"

#include <QtTest/QSignalSpy>

#include <stdexcept>

namespace changeeventtest {
namespace {

using DispatchTest = ChangeEventTest;

// A changed-event record as a packet carries it, with its point id.
DravoData changed(const char* type, int id, unsigned seed = 1)
{
    return patternedChange(type, id, seed);
}

int tagOf(const DravoData& change)
{
    const std::string type = change.GetTypeName();
    if (type == "CHANGED_STATUS")
        return 0;
    if (type == "CHANGED_ANALOG")
        return 1;
    if (type == "CHANGED_TEXT")
        return 2;
    return type == "REMOTEUNIT" ? 4 : 5;
}

DravoData packetOfChanges(const std::vector<DravoData>& changes)
{
    QList<QByteArray> items;
    for (const DravoData& change : changes)
        items.append(packetItem(tagOf(change), change));
    return packetOf(items);
}

// The emissions of a client-mode receiver for one received list of packets.
std::vector<Emission> dispatch(MorvaneChangeEvent* client, std::vector<DravoData> packets)
{
    DravoDataList list = listOf(std::move(packets));
    EmissionLog log(client);
    client->compressData(list);
    return log.emissions();
}

std::vector<std::string> namesOf(const std::vector<Emission>& emissions)
{
    std::vector<std::string> names;
    for (const Emission& e : emissions)
        names.push_back(e.signal);
    return names;
}

const Emission& emissionOf(const std::vector<Emission>& emissions, const std::string& signal)
{
    static const Emission none;
    for (const Emission& e : emissions) {
        if (e.signal == signal)
            return e;
    }
    ADD_FAILURE() << signal << " was not emitted";
    return none;
}

// ---- Operator applications -------------------------------------------------------------

TEST_F(DispatchTest, ClientSignalsComeInTheirOrderOncePerBatch)
{
    MorvaneChangeEvent* client = newReceiver();
    const std::vector<Emission> emissions = dispatch(
        client, {packetOfChanges({changed("REMOTEUNIT", 3), changed("CHANGED_TEXT", 3000001),
                                  changed("CHANGED_ANALOG", 200001), changed("CHANGED_STATUS", 100001)})});
    EXPECT_EQ(namesOf(emissions),
              (std::vector<std::string>{"dataChanged", "statusChanged", "statusChangedMap", "analogChanged",
                                        "analogChangedMap", "textChanged", "textChangedMap", "nonPointdataChanged"}));
}

TEST_F(DispatchTest, SignalsGoOutOnceForAllPacketsOfAReceivedList)
{
    MorvaneChangeEvent* client = newReceiver();
    const std::vector<Emission> emissions =
        dispatch(client, {packetOfChanges({changed("CHANGED_STATUS", 100002, 1)}),
                          packetOfChanges({changed("CHANGED_STATUS", 100001, 2), changed("CHANGED_ANALOG", 200001)})});
    EXPECT_EQ(namesOf(emissions), (std::vector<std::string>{"dataChanged", "statusChanged", "statusChangedMap",
                                                            "analogChanged", "analogChangedMap"}));
    EXPECT_EQ(pidsOf(emissionOf(emissions, "statusChanged").records), (std::vector<int>{100002, 100001}));
    EXPECT_EQ(emissionOf(emissions, "statusChangedMap").ids, (std::vector<int>{100001, 100002}));
}

TEST_F(DispatchTest, PointChangingTwiceIsListedTwiceButMappedOnce)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData first = changed("CHANGED_ANALOG", 200005, 1);
    const DravoData second = changed("CHANGED_ANALOG", 200005, 2);
    const DravoData other = changed("CHANGED_ANALOG", 200001, 3);
    const std::vector<Emission> emissions = dispatch(client, {packetOfChanges({first, other, second})});

    const Emission& list = emissionOf(emissions, "analogChanged");
    ASSERT_EQ(list.records.size(), 3u);
    EXPECT_EQ(rawBytes(list.records[0]), rawBytes(first));
    EXPECT_EQ(rawBytes(list.records[1]), rawBytes(other));
    EXPECT_EQ(rawBytes(list.records[2]), rawBytes(second));

    const Emission& map = emissionOf(emissions, "analogChangedMap");
    EXPECT_EQ(map.ids, (std::vector<int>{200001, 200005}));
    ASSERT_EQ(map.records.size(), 2u);
    EXPECT_EQ(rawBytes(map.records[1]), rawBytes(second));
}

TEST_F(DispatchTest, AnalogOnlyBatchDoesNotEmitDataChanged)
{
    MorvaneChangeEvent* client = newReceiver();
    QSignalSpy data(client, &MorvaneChangeEvent::dataChanged);
    QSignalSpy analog(client, &MorvaneChangeEvent::analogChanged);
    QSignalSpy analogMap(client, &MorvaneChangeEvent::analogChangedMap);
    const std::vector<Emission> emissions =
        dispatch(client, {packetOfChanges({changed("CHANGED_ANALOG", 200001), changed("CHANGED_ANALOG", 200002)})});
    EXPECT_EQ(namesOf(emissions), (std::vector<std::string>{"analogChanged", "analogChangedMap"}));
    // The spies see the records through QVariant, as queued receivers do.
    ASSERT_EQ(analog.count(), 1);
    EXPECT_EQ(analog.at(0).at(0).value<QList<DravoData>>().size(), 2);
    ASSERT_EQ(analogMap.count(), 1);
    EXPECT_EQ(analogMap.at(0).at(0).value<mapEvent>().keys(), (QList<int>{200001, 200002}));
    EXPECT_EQ(data.count(), 0);
}

TEST_F(DispatchTest, StatusAndTextMergeIntoDataChangedByPointIdLaterWins)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData status = changed("CHANGED_STATUS", 100009, 1);
    const DravoData text = changed("CHANGED_TEXT", 3000001, 2);
    const DravoData sharedStatus = changed("CHANGED_STATUS", 3000005, 3);
    const DravoData sharedText = changed("CHANGED_TEXT", 3000005, 4);   // same id, later: wins
    const DravoData lowStatus = changed("CHANGED_STATUS", 100002, 5);
    const DravoData analog = changed("CHANGED_ANALOG", 100003, 6);      // never in dataChanged
    const std::vector<Emission> emissions =
        dispatch(client, {packetOfChanges({status, text, sharedStatus, analog, sharedText, lowStatus})});

    ASSERT_FALSE(emissions.empty());
    const Emission& data = emissions.front();
    ASSERT_EQ(data.signal, "dataChanged");
    EXPECT_EQ(pidsOf(data.records), (std::vector<int>{100002, 100009, 3000001, 3000005}));
    ASSERT_EQ(data.records.size(), 4u);
    EXPECT_EQ(rawBytes(data.records[0]), rawBytes(lowStatus));
    EXPECT_EQ(rawBytes(data.records[1]), rawBytes(status));
    EXPECT_EQ(rawBytes(data.records[2]), rawBytes(text));
    EXPECT_STREQ(data.records[3].GetTypeName(), "CHANGED_TEXT");
    EXPECT_EQ(rawBytes(data.records[3]), rawBytes(sharedText));

    // Each kind keeps its own record of the shared id.
    EXPECT_EQ(pidsOf(emissionOf(emissions, "statusChanged").records), (std::vector<int>{100009, 3000005, 100002}));
    EXPECT_EQ(emissionOf(emissions, "textChangedMap").ids, (std::vector<int>{3000001, 3000005}));
}

TEST_F(DispatchTest, LaterStatusWinsOverAnEarlierTextOfTheSameId)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData text = changed("CHANGED_TEXT", 3000005, 1);
    const DravoData status = changed("CHANGED_STATUS", 3000005, 2);
    const std::vector<Emission> emissions = dispatch(client, {packetOfChanges({text, status})});
    const Emission& data = emissionOf(emissions, "dataChanged");
    ASSERT_EQ(data.records.size(), 1u);
    EXPECT_STREQ(data.records[0].GetTypeName(), "CHANGED_STATUS");
    EXPECT_EQ(rawBytes(data.records[0]), rawBytes(status));
}

// A receiver makes only the lists and maps somebody listens to; each signal
// that has a listener gets what it would get with every signal listened to.
TEST_F(DispatchTest, DataChangedAloneStillGetsTheLatestOfEachPointMerged)
{
    MorvaneChangeEvent* client = newReceiver();
    QSignalSpy data(client, &MorvaneChangeEvent::dataChanged);
    const DravoData text = changed("CHANGED_TEXT", 3000005, 1);
    const DravoData status = changed("CHANGED_STATUS", 100002, 2);
    const DravoData laterText = changed("CHANGED_TEXT", 3000005, 3);
    const DravoData sharedStatus = changed("CHANGED_STATUS", 3000007, 4);
    const DravoData sharedText = changed("CHANGED_TEXT", 3000007, 5);   // same id, later: wins
    DravoDataList list = listOf({packetOfChanges({text, status, sharedStatus, laterText, sharedText})});
    client->compressData(list);

    ASSERT_EQ(data.count(), 1);
    const auto records = data.at(0).at(0).value<QList<DravoData>>();
    ASSERT_EQ(records.size(), 3);
    EXPECT_EQ(rawBytes(records[0]), rawBytes(status));
    EXPECT_EQ(rawBytes(records[1]), rawBytes(laterText));
    EXPECT_STREQ(records[2].GetTypeName(), "CHANGED_TEXT");
    EXPECT_EQ(rawBytes(records[2]), rawBytes(sharedText));
}

TEST_F(DispatchTest, EachListenedSignalGetsItsWholeContentWhateverElseIsListenedTo)
{
    MorvaneChangeEvent* client = newReceiver();
    QSignalSpy statusMap(client, &MorvaneChangeEvent::statusChangedMap);
    QSignalSpy analog(client, &MorvaneChangeEvent::analogChanged);
    QSignalSpy textMap(client, &MorvaneChangeEvent::textChangedMap);
    QSignalSpy nonPoints(client, &MorvaneChangeEvent::nonPointdataChanged);
    const DravoData firstStatus = changed("CHANGED_STATUS", 100004, 1);
    const DravoData analogA = changed("CHANGED_ANALOG", 200002, 2);
    const DravoData laterStatus = changed("CHANGED_STATUS", 100004, 3);
    const DravoData analogB = changed("CHANGED_ANALOG", 200001, 4);
    const DravoData otherStatus = changed("CHANGED_STATUS", 100001, 5);
    const DravoData unit = changed("REMOTEUNIT", 7, 6);
    DravoDataList list = listOf({packetOfChanges({firstStatus, analogA, laterStatus}),
                                 packetOfChanges({analogB, otherStatus, unit})});
    client->compressData(list);

    ASSERT_EQ(statusMap.count(), 1);
    const auto map = statusMap.at(0).at(0).value<mapEvent>();
    EXPECT_EQ(map.keys(), (QList<int>{100001, 100004}));
    EXPECT_EQ(rawBytes(map.value(100004)), rawBytes(laterStatus));
    ASSERT_EQ(analog.count(), 1);
    const auto analogs = analog.at(0).at(0).value<QList<DravoData>>();
    ASSERT_EQ(analogs.size(), 2);
    EXPECT_EQ(rawBytes(analogs[0]), rawBytes(analogA));
    EXPECT_EQ(rawBytes(analogs[1]), rawBytes(analogB));
    EXPECT_EQ(textMap.count(), 0) << "a batch without text changes";
    ASSERT_EQ(nonPoints.count(), 1);
    const auto units = nonPoints.at(0).at(0).value<QList<DravoData>>();
    ASSERT_EQ(units.size(), 1);
    EXPECT_EQ(rawBytes(units[0]), rawBytes(unit));
}

TEST_F(DispatchTest, RemoteUnitOnlyBatchEmitsOnlyNonPointData)
{
    MorvaneChangeEvent* client = newReceiver();
    const std::vector<Emission> emissions =
        dispatch(client, {packetOfChanges({changed("REMOTEUNIT", 4), changed("REMOTEUNIT", 2)})});
    EXPECT_EQ(namesOf(emissions), (std::vector<std::string>{"nonPointdataChanged"}));
    EXPECT_EQ(pidsOf(emissions.front().records), (std::vector<int>{2, 4}));
}

TEST_F(DispatchTest, NonPointDataIsGroupedByTypeNameThenId)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData laterUnit4 = changed("REMOTEUNIT", 4, 9);
    const std::vector<Emission> emissions =
        dispatch(client, {packetOfChanges({changed("REMOTEUNIT", 4, 1), changed("COMMLINK", 3),
                                           changed("REMOTEUNIT", 1), changed("COMMLINK", 1), laterUnit4})});
    const Emission& nonPoint = emissionOf(emissions, "nonPointdataChanged");
    EXPECT_EQ(typesOf(nonPoint.records),
              (std::vector<std::string>{"COMMLINK", "COMMLINK", "REMOTEUNIT", "REMOTEUNIT"}));
    EXPECT_EQ(pidsOf(nonPoint.records), (std::vector<int>{1, 3, 1, 4}));
    EXPECT_EQ(rawBytes(nonPoint.records[3]), rawBytes(laterUnit4));
}

TEST_F(DispatchTest, PacketThatDoesNotDecompressAddsNothingAndTheBatchGoesOn)
{
    MorvaneChangeEvent* client = newReceiver();
    EXPECT_TRUE(dispatch(client, {namelessRecord(QByteArray())}).empty());
    EXPECT_TRUE(dispatch(client, {namelessRecord(QByteArray("\x00\x00\x01\x00garbage", 11))}).empty());

    const std::vector<Emission> emissions =
        dispatch(client, {namelessRecord(QByteArray("not compressed")),
                          packetOfChanges({changed("CHANGED_TEXT", 3000002)})});
    EXPECT_EQ(namesOf(emissions), (std::vector<std::string>{"dataChanged", "textChanged", "textChangedMap"}));
}

TEST_F(DispatchTest, ClientModeCallsNoTaskSlot)
{
    MorvaneChangeEvent* client = newReceiver();
    int calls = 0;
    client->connectStatus([&calls](const QList<DravoData>&) { ++calls; });
    client->connectAnalog([&calls](const QList<DravoData>&) { ++calls; });
    client->connectText([&calls](const QList<DravoData>&) { ++calls; });
    startRecording();
    dispatch(client, {packetOfChanges({changed("CHANGED_STATUS", 100001), changed("CHANGED_ANALOG", 200001),
                                       changed("CHANGED_TEXT", 3000001)})});
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls().empty()) << "a client publishes nothing";
}

// ---- Server tasks --------------------------------------------------------------------------

// Follows the task's three slots: which were called, in order, with what.
struct SlotLog {
    std::vector<std::string> calls;
    std::vector<std::vector<DravoData>> records;

    void connectTo(MorvaneChangeEvent* server)
    {
        server->connectStatus([this](const QList<DravoData>& l) { add("status", l); });
        server->connectAnalog([this](const QList<DravoData>& l) { add("analog", l); });
        server->connectText([this](const QList<DravoData>& l) { add("text", l); });
    }
    void add(const char* slot, const QList<DravoData>& list)
    {
        calls.push_back(slot);
        records.emplace_back(list.begin(), list.end());
    }
};

TEST_F(DispatchTest, ServerSlotsAreCalledStatusAnalogTextWithTheRawRecords)
{
    MorvaneChangeEvent* server = newReceiver(true);
    SlotLog taskSlots;
    taskSlots.connectTo(server);
    QSignalSpy data(server, &MorvaneChangeEvent::dataChanged);
    const std::vector<DravoData> raw{changed("TEXT", 3000001, 1), changed("ANALOG", 200002, 2),
                                     changed("STATUS", 100001, 3), changed("ANALOG", 200001, 4),
                                     changed("REMOTEUNIT", 2, 5)};
    DravoDataList batch = listOf(raw);
    ASSERT_EQ(publishedPackets(server, batch).size(), 1u);

    ASSERT_EQ(taskSlots.calls, (std::vector<std::string>{"status", "analog", "text"}));
    ASSERT_EQ(taskSlots.records[1].size(), 2u);
    EXPECT_STREQ(taskSlots.records[1][0].GetTypeName(), "ANALOG");
    EXPECT_EQ(rawBytes(taskSlots.records[1][0]), rawBytes(raw[1]));
    EXPECT_EQ(rawBytes(taskSlots.records[1][1]), rawBytes(raw[3]));
    ASSERT_EQ(taskSlots.records[0].size(), 1u);
    EXPECT_EQ(rawBytes(taskSlots.records[0][0]), rawBytes(raw[2]));
    ASSERT_EQ(taskSlots.records[2].size(), 1u);
    EXPECT_STREQ(taskSlots.records[2][0].GetTypeName(), "TEXT");
    EXPECT_EQ(rawBytes(taskSlots.records[2][0]), rawBytes(raw[0]));
    EXPECT_EQ(data.count(), 0) << "a server task emits no Qt signal";
}

// A task with a slot for one kind only gets that kind's records; the packet
// carries every kind whatever slots the task has.
TEST_F(DispatchTest, ASlotOfOneKindGetsItsRecordsAndThePacketCarriesEveryKind)
{
    MorvaneChangeEvent* server = newReceiver(true);
    std::vector<DravoData> analogs;
    server->connectAnalog([&analogs](const QList<DravoData>& l) { analogs.insert(analogs.end(), l.begin(), l.end()); });
    const std::vector<DravoData> raw{changed("STATUS", 100001, 1), changed("ANALOG", 200002, 2),
                                     changed("TEXT", 3000001, 3), changed("ANALOG", 200001, 4)};
    DravoDataList batch = listOf(raw);
    const auto packets = publishedPackets(server, batch);
    ASSERT_EQ(packets.size(), 1u);

    ASSERT_EQ(analogs.size(), 2u);
    EXPECT_EQ(rawBytes(analogs[0]), rawBytes(raw[1]));
    EXPECT_EQ(rawBytes(analogs[1]), rawBytes(raw[3]));
    const std::vector<Emission> received = dispatch(newReceiver(), packets);
    EXPECT_EQ(pidsOf(emissionOf(received, "statusChanged").records), (std::vector<int>{100001}));
    EXPECT_EQ(pidsOf(emissionOf(received, "analogChanged").records), (std::vector<int>{200002, 200001}));
    EXPECT_EQ(pidsOf(emissionOf(received, "textChanged").records), (std::vector<int>{3000001}));
}

TEST_F(DispatchTest, ServerSlotOfAnEmptyKindIsNotCalled)
{
    MorvaneChangeEvent* server = newReceiver(true);
    SlotLog taskSlots;
    taskSlots.connectTo(server);
    DravoDataList batch = listOf({changed("TEXT", 3000001), changed("STATUS", 100001)});
    publishedPackets(server, batch);
    EXPECT_EQ(taskSlots.calls, (std::vector<std::string>{"status", "text"}));
}

TEST_F(DispatchTest, ServerRemoteUnitAndChannelOnlyBatchPublishesButCallsNoSlot)
{
    MorvaneChangeEvent* server = newReceiver(true);
    SlotLog taskSlots;
    taskSlots.connectTo(server);
    DravoDataList batch = listOf({changed("REMOTEUNIT", 1), changed("COMMLINK", 2)});
    const std::vector<DravoData> packets = publishedPackets(server, batch);
    ASSERT_EQ(packets.size(), 1u);
    std::string body;
    ASSERT_TRUE(inflatePacket(packets[0], body));
    EXPECT_EQ(body.size(), 2u * (4 + 1 + 512));
    EXPECT_TRUE(taskSlots.calls.empty());
}

TEST_F(DispatchTest, DisconnectedSlotIsNotCalledAgain)
{
    MorvaneChangeEvent* server = newReceiver(true);
    int calls = 0;
    boost::signals2::connection connection = server->connectAnalog([&calls](const QList<DravoData>&) { ++calls; });
    DravoDataList first = listOf({changed("ANALOG", 200001)});
    server->compressData(first);
    connection.disconnect();
    DravoDataList second = listOf({changed("ANALOG", 200001)});
    server->compressData(second);
    EXPECT_EQ(calls, 1);
}

TEST_F(DispatchTest, ExceptionFromATaskSlotLeavesTheHandlerAfterThePacketIsOut)
{
    MorvaneChangeEvent* server = newReceiver(true);
    bool textCalled = false;
    server->connectStatus([](const QList<DravoData>&) { throw std::runtime_error("slot failed"); });
    server->connectText([&textCalled](const QList<DravoData>&) { textCalled = true; });
    DravoDataList batch = listOf({changed("STATUS", 100001), changed("TEXT", 3000001)});
    startRecording();
    EXPECT_THROW(server->compressData(batch), std::runtime_error);
    EXPECT_EQ(DravoPlus::TakeRecordedCalls("SendEventN").size(), 1u);
    EXPECT_FALSE(textCalled);
}

} // namespace
} // namespace changeeventtest

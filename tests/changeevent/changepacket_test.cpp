// changepacket_test.cpp: the compressed change packet: the conversion of raw
// point records into their changed-event form, the packet a server task
// publishes (taken apart here with zlib and QDataStream, independently of the
// library's reader, against copy tables stated below), and the reading of
// packets by operator applications.
#include "changeeventfixture.h"

#include <compressedbytes.h>

#include <QtCore/QDataStream>
#include <QtCore/QElapsedTimer>

#include <cstring>

namespace changeeventtest {
namespace {

// ---- The copy tables, stated independently of the dictionary ----------------

// count fields of width bytes, the n-th at target + n*width, taken from
// source + n*step.
struct CopyRow {
    int target;
    int source;
    int width;
    int count = 1;
    int step = 0;   // 0: width
};

struct CopyTable {
    const char* sourceType;
    const char* changedType;
    int size;
    std::vector<CopyRow> rows;
};

const CopyTable kStatusTable{"STATUS", "CHANGED_STATUS", 160, {
    {0, 0, 4}, {4, 20, 4}, {8, 24, 4}, {12, 28, 4}, {16, 556, 4}, {20, 560, 4},
    {24, 568, 8, 6},                    // 568, 576, 584, 592, 600, 608
    {72, 616, 4, 10},                   // 616 ... 652
    {112, 553, 1},
    {120, 656, 8}, {128, 664, 8}, {136, 672, 4}, {140, 676, 4},
    {144, 8, 4}, {148, 12, 4}, {152, 680, 1},
}};

const CopyTable kAnalogTable{"ANALOG", "CHANGED_ANALOG", 216, {
    {0, 0, 4}, {8, 8, 8},
    {16, 28, 4, 3},                     // 28, 32, 36
    {28, 564, 4, 7},                    // 564 ... 588
    {56, 596, 4},
    {60, 600, 4, 6},                    // 600 ... 620
    {84, 628, 4, 7},                    // 628 ... 652
    {112, 660, 4, 7},                   // 660 ... 684
    {140, 692, 4, 7},                   // 692 ... 716
    {172, 728, 4, 6},                   // 728 ... 748
    {196, 16, 4}, {200, 20, 4}, {208, 760, 8},
}};

const CopyTable kTextTable{"TEXT", "CHANGED_TEXT", 14828, {
    {0, 0, 4},
    {4, 8, 4, 3},                       // 8, 12, 16
    {16, 36, 2}, {18, 38, 1},
    {19, 556, 14800},
    {14820, 20, 4}, {14824, 24, 4},
}};

// Checks changed-event bytes against the source record by the table: every
// listed byte copied from its source position, every other byte zero.
void expectCutByTable(const CopyTable& table, const DravoData& source, const char* bytes, int size)
{
    ASSERT_EQ(size, table.size) << table.changedType;
    std::vector<bool> listed(static_cast<std::size_t>(table.size), false);
    const char* raw = source.GetRawValue();
    int mismatches = 0;
    for (const CopyRow& row : table.rows) {
        const int step = row.step ? row.step : row.width;
        for (int n = 0; n < row.count; ++n) {
            for (int b = 0; b < row.width; ++b) {
                const int target = row.target + n * row.width + b;
                const int from = row.source + n * step + b;
                listed[static_cast<std::size_t>(target)] = true;
                if (bytes[target] != raw[from] && ++mismatches <= 5)
                    ADD_FAILURE() << table.changedType << " byte " << target << " should come from " << from;
            }
        }
    }
    for (int target = 0; target < table.size; ++target) {
        if (!listed[static_cast<std::size_t>(target)] && bytes[target] != 0 && ++mismatches <= 5)
            ADD_FAILURE() << table.changedType << " reserved byte " << target << " is not zero";
    }
    EXPECT_EQ(mismatches, 0) << table.changedType;
}

void expectConversionByTable(MorvaneChangeEvent* receiver, const CopyTable& table)
{
    DravoData source = patternedRecord(table.sourceType, 11);
    DravoData target;
    receiver->makeItToChangedEvent(&source, target);
    EXPECT_STREQ(target.GetTypeName(), table.changedType);
    expectCutByTable(table, source, target.GetRawValue(), target.GetBufferSize());
}

using PacketTest = ChangeEventTest;

// ---- Converter ---------------------------------------------------------------------

TEST_F(PacketTest, ConverterCutsAStatusRecordByItsCopyTable)
{
    expectConversionByTable(newReceiver(), kStatusTable);
}

TEST_F(PacketTest, ConverterCutsAnAnalogRecordByItsCopyTable)
{
    expectConversionByTable(newReceiver(), kAnalogTable);
}

TEST_F(PacketTest, ConverterCutsATextRecordByItsCopyTable)
{
    expectConversionByTable(newReceiver(), kTextTable);
}

TEST_F(PacketTest, ConverterTakesRemoteUnitAndChannelRecordsUnchanged)
{
    MorvaneChangeEvent* receiver = newReceiver();
    for (const char* type : {"REMOTEUNIT", "COMMLINK"}) {
        DravoData source = patternedRecord(type, 5);
        source.SetFullName("REMOTEUNIT3");
        DravoData target("CHANGED_STATUS");
        receiver->makeItToChangedEvent(&source, target);
        EXPECT_STREQ(target.GetTypeName(), type);
        EXPECT_STREQ(target.GetDataName(), "REMOTEUNIT3");
        EXPECT_EQ(rawBytes(target), rawBytes(source));
    }
}

TEST_F(PacketTest, ConverterLeavesTheTargetUntouchedForOtherRecords)
{
    MorvaneChangeEvent* receiver = newReceiver();
    DravoData before = patternedRecord("CHANGED_ANALOG", 3);
    for (const char* type : {"STATION", "CHANGED_STATUS", "NOTIFY_MESSAGE"}) {
        DravoData source = patternedRecord(type, 4);
        DravoData target = before;
        receiver->makeItToChangedEvent(&source, target);
        EXPECT_STREQ(target.GetTypeName(), "CHANGED_ANALOG") << type;
        EXPECT_EQ(rawBytes(target), rawBytes(before)) << type;
    }
    DravoData target = before;
    receiver->makeItToChangedEvent(nullptr, target);
    EXPECT_EQ(rawBytes(target), rawBytes(before));
}

// ---- Writer ----------------------------------------------------------------------------

TEST_F(PacketTest, PacketOfOneAnalogRecordHoldsOneItemOf221Bytes)
{
    MorvaneChangeEvent* server = newReceiver(true);
    DravoData analog("ANALOG");
    analog.PutValue("pid", std::int32_t{200001});
    analog.PutValue("lastvalue", 34.625);
    DravoDataList batch = listOf({analog});
    const std::vector<DravoData> packets = publishedPackets(server, batch);
    ASSERT_EQ(packets.size(), 1u);

    std::string body;
    ASSERT_TRUE(inflatePacket(packets[0], body));
    ASSERT_EQ(body.size(), 221u);
    EXPECT_EQ(body.substr(0, 4), std::string("\x00\x00\x00\xD9", 4));   // 217: the tag and 216 bytes
    EXPECT_EQ(body[4], 1);
    EXPECT_LT(packets[0].GetBufferSize(), 221) << "the packet is compressed";
}

TEST_F(PacketTest, PacketIsPublishedAsOneNamelessRecordUnderThePackedKind)
{
    MorvaneChangeEvent* server = newReceiver(true);
    DravoDataList batch = listOf({patternedChange("STATUS", 100001, 1), patternedChange("TEXT", 3000001, 2)});
    startRecording();
    server->compressData(batch);
    const std::vector<DravoRecordedCall> sends = DravoPlus::TakeRecordedCalls("SendEventN");
    ASSERT_EQ(sends.size(), 1u);
    EXPECT_EQ(sends[0].args, (std::vector<std::optional<std::string>>{"624485", "1", "1", std::nullopt, std::nullopt}));
    ASSERT_EQ(sends[0].records.size(), 1u);
    const DravoData& packet = sends[0].records[0];
    EXPECT_STREQ(packet.GetTypeName(), "");

    // The raw value is the body as qCompress gives it at its default level.
    std::string body;
    ASSERT_TRUE(inflatePacket(packet, body));
    const QByteArray recompressed = qCompress(QByteArray(body.data(), static_cast<int>(body.size())));
    EXPECT_EQ(rawBytes(packet), recompressed.toStdString());
}

// Every copied byte of every kind, walked with plain QDataStream reads.
TEST_F(PacketTest, PacketBytesFollowTheCopyTablesForEveryKind)
{
    MorvaneChangeEvent* server = newReceiver(true);
    const std::vector<DravoData> sources{patternedRecord("STATUS", 21), patternedRecord("ANALOG", 22),
                                         patternedRecord("STATION", 23), patternedRecord("TEXT", 24),
                                         patternedRecord("REMOTEUNIT", 25), patternedRecord("COMMLINK", 26)};
    DravoDataList batch = listOf(sources);
    const std::vector<DravoData> packets = publishedPackets(server, batch);
    ASSERT_EQ(packets.size(), 1u);
    std::string body;
    ASSERT_TRUE(inflatePacket(packets[0], body));

    QDataStream stream(QByteArray(body.data(), static_cast<int>(body.size())));
    struct Expected {
        quint8 tag;
        const CopyTable* table;   // null: the source's raw value whole
        const DravoData* source;
    };
    const std::vector<Expected> items{{0, &kStatusTable, &sources[0]}, {1, &kAnalogTable, &sources[1]},
                                      {2, &kTextTable, &sources[3]},   {4, nullptr, &sources[4]},
                                      {5, nullptr, &sources[5]}};
    for (const Expected& expected : items) {
        quint32 length = 0;
        quint8 tag = 0xFF;
        stream >> length >> tag;
        ASSERT_EQ(stream.status(), QDataStream::Ok);
        EXPECT_EQ(tag, expected.tag);
        const int recordSize = expected.table ? expected.table->size : expected.source->GetBufferSize();
        ASSERT_EQ(length, static_cast<quint32>(recordSize + 1)) << "tag " << int(tag);
        std::vector<char> bytes(static_cast<std::size_t>(recordSize));
        ASSERT_EQ(stream.readRawData(bytes.data(), recordSize), recordSize);
        if (expected.table)
            expectCutByTable(*expected.table, *expected.source, bytes.data(), recordSize);
        else
            EXPECT_EQ(std::string(bytes.data(), bytes.size()), rawBytes(*expected.source));
    }
    EXPECT_TRUE(stream.atEnd()) << "a record of another type gives no item";
}

TEST_F(PacketTest, BatchOfUnknownTypesPublishesNothing)
{
    MorvaneChangeEvent* server = newReceiver(true);
    DravoDataList batch = listOf({patternedRecord("STATION", 1), patternedRecord("NOTIFY_MESSAGE", 2), DravoData()});
    startRecording();
    server->compressData(batch);
    EXPECT_TRUE(DravoPlus::TakeRecordedCalls().empty());
}

// ---- Round trip and reader -----------------------------------------------------------

TEST_F(PacketTest, RoundTripGivesEveryChangeBackInOrderByteForByte)
{
    MorvaneChangeEvent* server = newReceiver(true);
    MorvaneChangeEvent* client = newReceiver();
    const std::vector<DravoData> sources{
        patternedChange("STATUS", 100003, 1), patternedChange("ANALOG", 200002, 2),
        patternedChange("STATUS", 100001, 3), patternedChange("TEXT", 3000002, 4),
        patternedChange("REMOTEUNIT", 7, 5),  patternedChange("ANALOG", 200001, 6),
        patternedChange("COMMLINK", 2, 7),    patternedChange("TEXT", 3000001, 8)};
    DravoDataList batch = listOf(sources);
    DravoDataList packets = listOf(publishedPackets(server, batch));
    ASSERT_EQ(packets.size(), 1);

    EmissionLog log(client);
    client->compressData(packets);

    auto expectSame = [&](const char* signal, std::vector<std::size_t> indexes) {
        const Emission* e = log.find(signal);
        ASSERT_NE(e, nullptr) << signal;
        ASSERT_EQ(e->records.size(), indexes.size()) << signal;
        for (std::size_t i = 0; i < indexes.size(); ++i) {
            DravoData* source = const_cast<DravoData*>(&sources[indexes[i]]);
            DravoData expected;
            server->makeItToChangedEvent(source, expected);
            EXPECT_STREQ(e->records[i].GetTypeName(), expected.GetTypeName()) << signal << " " << i;
            EXPECT_EQ(rawBytes(e->records[i]), rawBytes(expected)) << signal << " " << i;
        }
    };
    expectSame("statusChanged", {0, 2});
    expectSame("analogChanged", {1, 5});
    expectSame("textChanged", {3, 7});
    expectSame("nonPointdataChanged", {6, 4});   // by type name: COMMLINK before REMOTEUNIT
}

// Reads the changes of one crafted packet through a client-mode receiver.
std::vector<Emission> readThroughClient(MorvaneChangeEvent* client, DravoData packet)
{
    DravoDataList list = listOf({std::move(packet)});
    EmissionLog log(client);
    client->compressData(list);
    return log.emissions();
}

TEST_F(PacketTest, ReaderSkipsAnItemOfTag3AndGoesOn)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData status = patternedChange("CHANGED_STATUS", 100007, 1);
    const DravoData analog = patternedChange("CHANGED_ANALOG", 200007, 2);
    const std::vector<Emission> emissions = readThroughClient(
        client, packetOf({packetItem(3, patternedChange("CHANGED_STATUS", 100001, 3)), packetItem(0, status),
                          packetItem(3, QByteArray(216, '\x05')), packetItem(1, analog)}));

    std::vector<std::string> names;
    for (const Emission& e : emissions)
        names.push_back(e.signal);
    EXPECT_EQ(names, (std::vector<std::string>{"dataChanged", "statusChanged", "statusChangedMap", "analogChanged",
                                               "analogChangedMap"}));
    ASSERT_EQ(emissions[1].records.size(), 1u);
    EXPECT_EQ(rawBytes(emissions[1].records[0]), rawBytes(status));
    ASSERT_EQ(emissions[3].records.size(), 1u);
    EXPECT_EQ(rawBytes(emissions[3].records[0]), rawBytes(analog));
}

TEST_F(PacketTest, ReaderSkipsUnknownTagsAndEmptyItems)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData text = patternedChange("CHANGED_TEXT", 3000009, 1);
    const std::vector<Emission> emissions =
        readThroughClient(client, packetOf({QByteArray(), packetItem(9, QByteArray(160, '\x01')), QByteArray(),
                                            packetItem(255, QByteArray()), packetItem(2, text)}));
    ASSERT_EQ(emissions.size(), 3u);   // dataChanged, textChanged, textChangedMap
    EXPECT_EQ(emissions[1].signal, "textChanged");
    ASSERT_EQ(emissions[1].records.size(), 1u);
    EXPECT_EQ(rawBytes(emissions[1].records[0]), rawBytes(text));
}

TEST_F(PacketTest, ReaderLeavesTheRestOfAShortItemZero)
{
    MorvaneChangeEvent* client = newReceiver();
    QByteArray shortStatus(40, '\x07');
    shortStatus[0] = '\x2A';   // pid 42
    shortStatus[1] = shortStatus[2] = shortStatus[3] = '\0';
    const std::vector<Emission> emissions = readThroughClient(client, packetOf({packetItem(0, shortStatus)}));
    ASSERT_FALSE(emissions.empty());
    const Emission* status = &emissions[1];
    ASSERT_EQ(status->signal, "statusChanged");
    ASSERT_EQ(status->records.size(), 1u);
    const std::string bytes = rawBytes(status->records[0]);
    ASSERT_EQ(bytes.size(), 160u);
    EXPECT_EQ(bytes.substr(0, 40), shortStatus.toStdString());
    EXPECT_EQ(bytes.substr(40), std::string(120, '\0'));
    EXPECT_EQ(status->records[0].GetSignedIntValue("pid"), 42);
}

TEST_F(PacketTest, ReaderTakesAsManyBytesAsARemoteUnitHolds)
{
    MorvaneChangeEvent* client = newReceiver();
    const DravoData unit = patternedChange("REMOTEUNIT", 5, 1);
    QByteArray longer(unit.GetRawValue(), unit.GetBufferSize());
    longer.append(QByteArray(64, '\x33'));   // bytes a driver appended behind the fixed part
    const std::vector<Emission> emissions = readThroughClient(client, packetOf({packetItem(4, longer)}));
    ASSERT_EQ(emissions.size(), 1u);
    EXPECT_EQ(emissions[0].signal, "nonPointdataChanged");
    ASSERT_EQ(emissions[0].records.size(), 1u);
    EXPECT_STREQ(emissions[0].records[0].GetTypeName(), "REMOTEUNIT");
    EXPECT_EQ(rawBytes(emissions[0].records[0]), rawBytes(unit));
}

TEST_F(PacketTest, PayloadThatIsNotCompressedGivesNothing)
{
    MorvaneChangeEvent* client = newReceiver();
    const QByteArray body = QByteArray("\x00\x00\x00\x10", 4) + QByteArray("not a zlib stream");
    const std::vector<QByteArray> payloads{QByteArray(), QByteArray("\x00\x00\x00\x00", 4), body,
                                           QByteArray("plain text, no packet"),
                                           QByteArray("\x7F\xFF\xFF\xFF", 4) + QByteArray(32, 'x')};
    for (const QByteArray& payload : payloads)
        EXPECT_TRUE(readThroughClient(client, namelessRecord(payload)).empty()) << payload.toHex().toStdString();
    // An empty body compresses to a packet that holds no change either.
    EXPECT_TRUE(readThroughClient(client, packetOf({})).empty());
}

// A packet's length in front is checked before anything is allocated, and
// inflation stops there: a packet that says it is small and inflates to a
// gigabyte is not one of ours, however valid the items at its start.
TEST_F(PacketTest, PacketInflatingPastWhatItClaimsGivesNothing)
{
    MorvaneChangeEvent* client = newReceiver();
    QByteArray head;
    QDataStream stream(&head, QIODevice::WriteOnly);
    stream << packetItem(0, patternedChange("CHANGED_STATUS", 100001, 1));
    // The same items with a claim that fits them all are read (the zeros
    // after the status item are empty items).
    const std::vector<Emission> read = readThroughClient(client, namelessRecord(mvtest::compressedZeros(1, head)));
    ASSERT_EQ(read.size(), 3u);
    EXPECT_EQ(read[1].signal, "statusChanged");

    const QByteArray understated = mvtest::withClaim(mvtest::compressedZeros(1024, head), quint32(head.size()));
    const long peakBefore = mvtest::peakResidentKb();
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(readThroughClient(client, namelessRecord(understated)).empty());
    EXPECT_LT(clock.elapsed(), 5000);
    EXPECT_LT(mvtest::peakResidentKb() - peakBefore, 64 * 1024);
}

} // namespace
} // namespace changeeventtest

// changeeventfixture.cpp: set-up and clean-up of the change event tests
// against the embedded server, and the tools they share.
#include "changeeventfixture.h"

#include <eventwait.h>
#include <isolatedsettings.h>
#include <redisserver.h>

#include <MVPlant/Plant.h>

#include <QtCore/QDataStream>

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <unistd.h>

namespace changeeventtest {

const char kClientPrefix[] = "CHANGE_EVENT_MESSAGE_L:";
const char kServerPrefix[] = "CHANGE_EVENT_MESSAGE:";

namespace {

bool isUuidCharacter(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || c == '-';
}

} // namespace

bool isBoxName(const std::string& name, const std::string& prefix)
{
    if (name.compare(0, prefix.size(), prefix) != 0 || name.size() != prefix.size() + 38)
        return false;
    const std::string uuid = name.substr(prefix.size());
    if (uuid.front() != '{' || uuid.back() != '}')
        return false;
    return std::all_of(uuid.begin() + 1, uuid.end() - 1, isUuidCharacter)
        && std::count(uuid.begin(), uuid.end(), '-') == 4;
}

std::chrono::milliseconds elapsedSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

// ---- Waits --------------------------------------------------------------------

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    return mvtest::waitUntil(done, limit);
}

void settle(std::chrono::milliseconds period)
{
    mvtest::settle(period);
}

std::string argText(const DravoRecordedCall& call, std::size_t index)
{
    if (index >= call.args.size() || !call.args[index])
        return "<null>";
    return *call.args[index];
}

// ---- CallLog ------------------------------------------------------------------

void CallLog::collect()
{
    std::vector<DravoRecordedCall> taken = DravoPlus::TakeRecordedCalls();
    m_calls.insert(m_calls.end(), std::make_move_iterator(taken.begin()), std::make_move_iterator(taken.end()));
}

std::vector<DravoRecordedCall> CallLog::of(const char* operation) const
{
    std::vector<DravoRecordedCall> matching;
    for (const DravoRecordedCall& call : m_calls) {
        if (call.operation == operation)
            matching.push_back(call);
    }
    return matching;
}

int CallLog::count(const char* operation) const
{
    return static_cast<int>(std::count_if(m_calls.begin(), m_calls.end(), [operation](const DravoRecordedCall& c) {
        return c.operation == operation;
    }));
}

bool CallLog::collectUntil(const std::function<bool(const CallLog&)>& done, std::chrono::milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    for (;;) {
        collect();
        if (done(*this))
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
}

// ---- Records --------------------------------------------------------------------

namespace {

unsigned char patternByte(std::size_t position, unsigned seed)
{
    std::uint32_t x = static_cast<std::uint32_t>(position) * 2654435761u ^ (seed * 0x9E3779B9u + 0x7F4A7C15u);
    x ^= x >> 16;
    x *= 0x85EBCA6Bu;
    x ^= x >> 13;
    return static_cast<unsigned char>(1 + x % 255);
}

} // namespace

DravoData patternedRecord(const char* type, unsigned seed)
{
    DravoData record(type);
    std::vector<char> bytes(static_cast<std::size_t>(record.GetBufferSize()));
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(patternByte(i, seed));
    record.SetRawValue(bytes.data(), static_cast<int>(bytes.size()));
    return record;
}

DravoData patternedChange(const char* type, int id, unsigned seed)
{
    DravoData record = patternedRecord(type, seed);
    record.PutValue("pid", static_cast<std::int32_t>(id));
    return record;
}

DravoDataList listOf(std::vector<DravoData> records)
{
    DravoDataList list;
    for (DravoData& record : records)
        list.append(std::move(record));
    return list;
}

std::string rawBytes(const DravoData& record)
{
    return std::string(record.GetRawValue(), static_cast<std::size_t>(record.GetBufferSize()));
}

// ---- Packets by hand --------------------------------------------------------------

bool inflatePacket(const DravoData& packet, std::string& body)
{
    const auto* raw = reinterpret_cast<const unsigned char*>(packet.GetRawValue());
    const int size = packet.GetBufferSize();
    if (size < 4)
        return false;
    const uLongf expected =
        (uLongf(raw[0]) << 24) | (uLongf(raw[1]) << 16) | (uLongf(raw[2]) << 8) | uLongf(raw[3]);
    body.assign(expected, '\0');
    uLongf produced = expected;
    const int rc =
        ::uncompress(reinterpret_cast<Bytef*>(body.data()), &produced, raw + 4, static_cast<uLong>(size - 4));
    return rc == Z_OK && produced == expected;
}

QByteArray packetItem(int tag, const QByteArray& bytes)
{
    QByteArray item;
    item.append(static_cast<char>(tag));
    item.append(bytes);
    return item;
}

QByteArray packetItem(int tag, const DravoData& record)
{
    return packetItem(tag, QByteArray(record.GetRawValue(), record.GetBufferSize()));
}

DravoData packetOf(const QList<QByteArray>& items)
{
    QByteArray body;
    QDataStream stream(&body, QIODevice::WriteOnly);
    for (const QByteArray& item : items)
        stream << item;
    return namelessRecord(qCompress(body));
}

DravoData namelessRecord(const QByteArray& bytes)
{
    DravoData record;
    record.SetRawValue(bytes.constData(), bytes.size());
    return record;
}

// ---- Signals ----------------------------------------------------------------------------

EmissionLog::EmissionLog(MorvaneChangeEvent* receiver)
{
    using Receiver = MorvaneChangeEvent;
    using ListSignal = void (Receiver::*)(const QList<DravoData>&);
    using MapSignal = void (Receiver::*)(const mapEvent&);
    const std::pair<const char*, ListSignal> lists[] = {
        {"dataChanged", &Receiver::dataChanged},     {"statusChanged", &Receiver::statusChanged},
        {"analogChanged", &Receiver::analogChanged}, {"textChanged", &Receiver::textChanged},
        {"nonPointdataChanged", &Receiver::nonPointdataChanged}};
    const std::pair<const char*, MapSignal> maps[] = {{"statusChangedMap", &Receiver::statusChangedMap},
                                                      {"analogChangedMap", &Receiver::analogChangedMap},
                                                      {"textChangedMap", &Receiver::textChangedMap}};
    for (const auto& list : lists) {
        const char* name = list.first;
        QObject::connect(receiver, list.second, &m_context,
                         [this, name](const QList<DravoData>& records) { addList(name, records); },
                         Qt::DirectConnection);
    }
    for (const auto& map : maps) {
        const char* name = map.first;
        QObject::connect(receiver, map.second, &m_context,
                         [this, name](const mapEvent& records) { addMap(name, records); }, Qt::DirectConnection);
    }
}

std::vector<std::string> EmissionLog::signalNames() const
{
    std::vector<std::string> names;
    for (const Emission& e : m_emissions)
        names.push_back(e.signal);
    return names;
}

const Emission* EmissionLog::find(const std::string& signal) const
{
    for (const Emission& e : m_emissions) {
        if (e.signal == signal)
            return &e;
    }
    return nullptr;
}

void EmissionLog::addList(const char* signal, const QList<DravoData>& records)
{
    Emission e;
    e.signal = signal;
    for (const DravoData& record : records)
        e.records.push_back(record);
    m_emissions.push_back(std::move(e));
}

void EmissionLog::addMap(const char* signal, const mapEvent& records)
{
    Emission e;
    e.signal = signal;
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        e.ids.push_back(it.key());
        e.records.push_back(it.value());
    }
    m_emissions.push_back(std::move(e));
}

std::vector<int> pidsOf(const std::vector<DravoData>& records)
{
    std::vector<int> pids;
    for (const DravoData& record : records)
        pids.push_back(record.GetSignedIntValue("pid"));
    return pids;
}

std::vector<std::string> typesOf(const std::vector<DravoData>& records)
{
    std::vector<std::string> types;
    for (const DravoData& record : records)
        types.push_back(record.GetTypeName());
    return types;
}

// ---- Fixture ----------------------------------------------------------------------------

void ChangeEventTest::prepareProcessOnce()
{
    static bool prepared = false;
    if (prepared)
        return;
    prepared = true;
    // Before the first middleware call: the embedded server whatever the
    // environment says, and a settings file of the process's own.
    ASSERT_FALSE(mvtest::useIsolatedSettings("changeevent-test-settings").empty()) << "cannot make a temporary settings file";
}

namespace {
// A test pointed the process at another server than the embedded one.
bool g_otherServer = false;
} // namespace

int ChangeEventTest::useServer(const std::string& address)
{
    prepareProcessOnce();
    g_otherServer = !address.empty();
    return DravoPlus::updateServerSetting(nullptr, address.c_str(), nullptr);
}

void ChangeEventTest::useBackend(const std::string& backend)
{
    if (backend != "redis")
        return;
    const std::string address = mvtest::sharedRedisAddress();
    ASSERT_FALSE(address.empty()) << "cannot start redis-server";
    ASSERT_EQ(useServer(address), DRAVO_OK);
}

void BackendChangeEventTest::SetUp()
{
    ASSERT_NO_FATAL_FAILURE(useBackend(GetParam()));
    ChangeEventTest::SetUp();
    loadPlant();
}

std::string backendTestName(const ::testing::TestParamInfo<std::string>& info)
{
    return info.param == "redis" ? std::string("Redis") : std::string("Embedded");
}

void ChangeEventTest::SetUp()
{
    prepareProcessOnce();
    DravoPlus::SetWaitScale(kWaitScale);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    std::vector<DravoEventBoxInfo> boxes;
    ASSERT_EQ(DravoPlus::ListEventBoxes(boxes, nullptr), DRAVO_OK);
    for (const DravoEventBoxInfo& box : boxes)
        m_boxesBefore.insert(box.name);
}

void ChangeEventTest::TearDown()
{
    DravoPlus::SetEmbeddedServerOnline(true);
    m_receivers.clear();
    DravoPlus::SetCallRecording(false);
    DravoPlus::TakeRecordedCalls();
    if (DravoPlus::IsConnect(nullptr) != DRAVO_OK)
        DravoPlus::ConnectMid(nullptr);
    std::vector<DravoEventBoxInfo> boxes;
    DravoPlus::ListEventBoxes(boxes, nullptr);
    for (const DravoEventBoxInfo& box : boxes) {
        if (m_boxesBefore.count(box.name) == 0)
            DravoPlus::DeleteEventBox(box.name.c_str(), nullptr, nullptr);
    }
    // The next test of the process starts on the embedded server, as one
    // run alone does (a server of a test's own is gone with it).
    if (g_otherServer) {
        DravoPlus::DisConnectMid(nullptr);
        useServer(std::string());
    }
}

ProbedChangeEvent* ChangeEventTest::newReceiver(bool serverMode)
{
    m_receivers.push_back(std::make_unique<ProbedChangeEvent>());
    if (serverMode)
        m_receivers.back()->setServerMode();
    return m_receivers.back().get();
}

void ChangeEventTest::destroyReceiver(ProbedChangeEvent* receiver)
{
    auto it = std::find_if(m_receivers.begin(), m_receivers.end(),
                           [receiver](const std::unique_ptr<ProbedChangeEvent>& p) { return p.get() == receiver; });
    if (it != m_receivers.end())
        m_receivers.erase(it);
}

void ChangeEventTest::startRecording()
{
    DravoPlus::TakeRecordedCalls();
    DravoPlus::SetCallRecording(true);
}

void ChangeEventTest::loadPlant()
{
    /* Once per server: the tests of both backends may share a process. */
    static std::set<std::string> loadedInto;
    const char* active = DravoPlus::activeServer(nullptr);
    const std::string server = active ? active : "";
    if (loadedInto.count(server) != 0)
        return;
    std::string error;
    MVPlant::PlantSummary summary;
    ASSERT_EQ(MVPlant::LoadPlant(MV_SAMPLE_PLANT, &summary, &error), DRAVO_OK) << error;
    loadedInto.insert(server);
}

std::vector<DravoData> ChangeEventTest::publishedPackets(MorvaneChangeEvent* server, DravoDataList& batch)
{
    startRecording();
    server->compressData(batch);
    DravoPlus::SetCallRecording(false);
    std::vector<DravoData> packets;
    for (const DravoRecordedCall& call : DravoPlus::TakeRecordedCalls("SendEventN")) {
        for (const DravoData& record : call.records)
            packets.push_back(record);
    }
    return packets;
}

std::string ChangeEventTest::firstBoxName(const CallLog& log)
{
    const std::vector<DravoRecordedCall> connects = log.of("ConnectPortForRecv");
    return connects.empty() ? std::string() : argText(connects.front(), 0);
}

std::vector<DravoEventBoxInfo> ChangeEventTest::boxesOfKind(int kind)
{
    std::vector<DravoEventBoxInfo> boxes;
    std::vector<DravoEventBoxInfo> all;
    DravoPlus::ListEventBoxes(all, nullptr);
    for (const DravoEventBoxInfo& box : all) {
        if (box.kind == kind)
            boxes.push_back(box);
    }
    return boxes;
}

} // namespace changeeventtest

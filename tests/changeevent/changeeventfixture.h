// changeeventfixture.h: the fixture the change event tests run in, and the
// tools they share.
//
// Every test talks to the real embedded runtime server at a wait scale that
// turns the receiving loop's one-second receive wait into 10 ms (its pause of
// 1000 ms between connection attempts is real time). The server lives as long
// as the process, so the fixture stops the receivers it handed out, brings
// the server back if a test took it down, and removes the event boxes the
// test left behind.
//
// Beside the fixture: bounded waits that keep the Qt event loop turning, a
// collector of the middleware's recorded calls, a log of the Qt signals a
// receiver emits, records with recognisable bytes, and packets made or taken
// apart by hand (zlib and QDataStream, independently of the library's reader).
#ifndef TESTS_CHANGEEVENT_CHANGEEVENTFIXTURE_H
#define TESTS_CHANGEEVENT_CHANGEEVENTFIXTURE_H

#include <MVShared/MorvaneChangeEvent.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace changeeventtest {

using namespace std::chrono_literals;

// The product's one-second receive wait lasts 10 ms here.
constexpr double kWaitScale = 0.01;
constexpr std::chrono::milliseconds kReceiveWait = 10ms;
// The loop's pause before it connects again or ends: real time.
constexpr std::chrono::milliseconds kRetryPause = 1000ms;
// What a loaded or sanitised build may add to a bounded duration.
constexpr std::chrono::milliseconds kSlack = 400ms;
// Real time allowed for something expected to happen; waits end as soon as it
// does.
constexpr std::chrono::milliseconds kPatience = 20s;

// The event kinds of the two roles.
constexpr int kPacketKind = 0x98765;        // 624485
constexpr int kRawChangeKind = 0x7E7F7C;    // 8290172

// Box name prefixes of the two roles; a braced UUID follows (38 characters).
extern const char kClientPrefix[];
extern const char kServerPrefix[];
// Whether name is prefix followed by a braced UUID.
bool isBoxName(const std::string& name, const std::string& prefix);

using Clock = std::chrono::steady_clock;
std::chrono::milliseconds elapsedSince(Clock::time_point start);

// Keeps the test thread's event loop turning until done() holds or limit has
// passed; true when it held.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = kPatience);
// Keeps the event loop turning for a while.
void settle(std::chrono::milliseconds period);

// A recorded argument as text, "<null>" when it was null or is missing.
std::string argText(const DravoRecordedCall& call, std::size_t index);

// The middleware's recorded calls, collected as they come (the recorder is
// emptied by each collection).
class CallLog
{
public:
    void collect();
    const std::vector<DravoRecordedCall>& calls() const { return m_calls; }
    std::vector<DravoRecordedCall> of(const char* operation) const;
    int count(const char* operation) const;
    // Keeps collecting until done() holds or limit has passed.
    bool collectUntil(const std::function<bool(const CallLog&)>& done, std::chrono::milliseconds limit = kPatience);
    void clear() { m_calls.clear(); }

private:
    std::vector<DravoRecordedCall> m_calls;
};

// The receiver as the tests see it: it also shows the stop request.
class ProbedChangeEvent : public MorvaneChangeEvent
{
public:
    using MorvaneChangeEvent::MorvaneChangeEvent;
    using MorvaneChangeEvent::stopRequest;
};

// ---- Records ------------------------------------------------------------------

// A record of the type whose every byte is non-zero and differs from its
// neighbours, different for each seed, so that a byte copied from or to the
// wrong place shows.
DravoData patternedRecord(const char* type, unsigned seed);
// The same with its point id set.
DravoData patternedChange(const char* type, int id, unsigned seed);
DravoDataList listOf(std::vector<DravoData> records);
std::string rawBytes(const DravoData& record);

// ---- Packets by hand ------------------------------------------------------------

// The body of a published packet, inflated with zlib directly (the 4-byte
// big-endian length first, then the zlib stream); false when it is not one.
bool inflatePacket(const DravoData& packet, std::string& body);
// One item's bytes: the tag, then the record bytes.
QByteArray packetItem(int tag, const QByteArray& bytes);
QByteArray packetItem(int tag, const DravoData& record);
// A packet record as a server task sends it: the items written as QByteArrays
// with QDataStream, compressed with qCompress, as the raw value of a nameless
// record.
DravoData packetOf(const QList<QByteArray>& items);
// A nameless record holding these bytes as they are.
DravoData namelessRecord(const QByteArray& bytes);

// ---- Signals ------------------------------------------------------------------------

// One emission of a receiver's Qt signal, as seen where it was emitted. The
// records of a map signal are its values in ascending id, its keys in ids.
struct Emission {
    std::string signal;
    std::vector<DravoData> records;
    std::vector<int> ids;
};

// Follows all eight Qt signals of a receiver by direct connection.
class EmissionLog
{
public:
    explicit EmissionLog(MorvaneChangeEvent* receiver);
    const std::vector<Emission>& emissions() const { return m_emissions; }
    std::vector<std::string> signalNames() const;
    // The first emission of the signal; null when it was not emitted.
    const Emission* find(const std::string& signal) const;

private:
    void addList(const char* signal, const QList<DravoData>& records);
    void addMap(const char* signal, const mapEvent& records);

    QObject m_context;
    std::vector<Emission> m_emissions;
};

// "pid" of each record, in order.
std::vector<int> pidsOf(const std::vector<DravoData>& records);
std::vector<std::string> typesOf(const std::vector<DravoData>& records);

// ---- Fixture ----------------------------------------------------------------------------

class ChangeEventTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // A receiver owned by the fixture, in server mode when asked; stopped and
    // destroyed in TearDown.
    ProbedChangeEvent* newReceiver(bool serverMode = false);
    // Stops and destroys one of the fixture's receivers now.
    void destroyReceiver(ProbedChangeEvent* receiver);

    // Points the process at another server than the embedded one; called
    // before SetUp connects.
    static int useServer(const std::string& address);
    // Points the process at the backend named "embedded" or "redis" (a
    // redis-server of the test process, started on first use); called
    // before SetUp connects.
    static void useBackend(const std::string& backend);

    // Recording on, the recorder emptied first.
    void startRecording();
    // Loads the sample plant into the server in use, once per process.
    void loadPlant();

    // The packets a server task publishes for this batch (recording on while
    // it is handled).
    std::vector<DravoData> publishedPackets(MorvaneChangeEvent* server, DravoDataList& batch);

    // The name of the box a started receiver connected to first.
    static std::string firstBoxName(const CallLog& log);
    // The boxes of a kind on the server now.
    static std::vector<DravoEventBoxInfo> boxesOfKind(int kind);

private:
    static void prepareProcessOnce();

    std::vector<std::unique_ptr<ProbedChangeEvent>> m_receivers;
    std::set<std::string> m_boxesBefore;
};

// The fixture of the tests that run once per backend (the parameter:
// "embedded" or "redis"), with the sample plant loaded.
class BackendChangeEventTest : public ChangeEventTest, public ::testing::WithParamInterface<std::string>
{
protected:
    void SetUp() override;
    bool onRedis() const { return GetParam() == "redis"; }
};

// Test names end in the backend's name ("Embedded", "Redis"), so that ctest
// labels the Redis ones by it.
std::string backendTestName(const ::testing::TestParamInfo<std::string>& info);

} // namespace changeeventtest

#endif

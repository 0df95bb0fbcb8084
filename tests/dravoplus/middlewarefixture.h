// middlewarefixture.h: the fixture the middleware conformance suite runs in.
//
// Every behaviour of the middleware is tested once per backend: the fixture's
// parameter names the backend ("embedded" or "redis"), SetUp points the
// process at it (starting a redis-server for the process when needed) and
// connects, TearDown removes what the test made and
// disconnects. The embedded server lives as long as the process, so tests
// give everything they create a name of their own (uniqueName) and the
// fixture deletes the records, boxes and receivers it was told about.
//
// Alongside the fixture live the small tools the tests share: a listener that
// records its notifications, a further client of the same server (a second
// task), and bounded waits for things that happen on middleware threads.
#ifndef TESTS_DRAVOPLUS_MIDDLEWAREFIXTURE_H
#define TESTS_DRAVOPLUS_MIDDLEWAREFIXTURE_H

#include <DravoPlus/DravoPlusTesting.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace conformance {

using namespace std::chrono_literals;

// The wait scale the suite runs at: a one-second wait of the product is 10 ms.
constexpr double kTestWaitScale = 0.01;
// A wait (in the product's seconds) for something that is expected to come:
// long enough for a slow, sanitised build, and the call returns as soon as it
// comes anyway.
constexpr int kPatience = 500;
// A wait (in the product's seconds) after which "nothing came" is believed.
constexpr int kQuietWait = 5;
// Real time allowed for a notification or a background effect to show.
constexpr std::chrono::milliseconds kRealPatience = 10s;

// Polls until done() holds or limit has passed; true when it held.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = kRealPatience);

// The record's raw value as bytes, for before/after comparisons.
std::string rawBytes(const DravoData& record);

// Decides which received records a test counts as its own.
using RecordFilter = std::function<bool(const DravoData&)>;
// Accepts the records whose data name is one of names.
RecordFilter namedAmong(const std::vector<std::string>& names);

// Receives from a port until count records accepted by the filter (all, when
// it is empty) have arrived or the real deadline passed. On a shared server
// records of other tests may pass through the same kind; the filter keeps
// this test's own.
std::vector<DravoData> receiveRecords(unsigned int port, int count, const char* typeFilter = nullptr,
                                      const char* domain = nullptr, const RecordFilter& accept = RecordFilter(),
                                      std::chrono::milliseconds limit = kRealPatience);
// Everything that arrives on the port within a quiet wait (repeated while
// records keep coming).
std::vector<DravoData> drainRecords(unsigned int port, const char* domain = nullptr);
// The "pid" field of each record, in order.
std::vector<int> pidsOf(const std::vector<DravoData>& records);

// What the dictionary says of one field (offset -1 and kind none when the
// type or the field is unknown).
DravoFieldInfo fieldInfo(const char* type, const char* field);

// Files for settings and dictionaries made up by a test.
std::string makeTempFile(const std::string& stem);
std::string readFile(const std::string& path);
bool writeFile(const std::string& path, const std::string& text);
// A dictionary text with further type definitions (JSON objects, comma
// separated) placed first in its "types" array; "" when the text has none.
std::string dictionaryWithTypes(const std::string& dictionaryText, const std::string& typeDefinitions);

// A status listener that counts what it hears. Installed on the given client
// (null: the process's own) when constructed and removed when destroyed, so a
// test that stops early never leaves a dangling listener behind.
class RecordingListener : public DravoStatusListenerBase
{
public:
    explicit RecordingListener(DravoClient* client = nullptr);
    ~RecordingListener() override;
    RecordingListener(const RecordingListener&) = delete;
    RecordingListener& operator=(const RecordingListener&) = delete;

    // Removes the listener now (idempotent).
    void remove();

    void onMidConnected() override;
    void onMidDisconnected() override;
    void onActiveServerChanged(const char* address) override;
    void onEventBoxOverflow(const char* box, int dropped) override;
    void onHeartbeatLost(const char* task) override;
    void onDictionaryReloaded() override;

    std::atomic<int> connected{0};
    std::atomic<int> disconnected{0};
    std::atomic<int> activeServerChanges{0};
    std::atomic<int> dictionaryReloads{0};
    std::atomic<int> calls{0};

    // Records dropped per box, summed over its overflow notifications.
    int droppedFor(const std::string& box) const;
    bool heardHeartbeatLost(const std::string& task) const;

private:
    DravoClient* m_client;
    bool m_installed = false;
    mutable std::mutex m_mutex;
    std::map<std::string, int> m_dropped;
    std::vector<std::string> m_lostTasks;
};

// A further client of the same server, playing a second task of the plant.
// Connected when made (unless asked not to); freed when destroyed unless the
// test already let it "die" with die().
class ScopedClient
{
public:
    explicit ScopedClient(bool connect = true);
    ~ScopedClient();
    ScopedClient(const ScopedClient&) = delete;
    ScopedClient& operator=(const ScopedClient&) = delete;

    DravoClient* get() const { return m_client; }
    // Runs fn with the calling thread acting as this client, then returns the
    // thread to the process's own client; gives fn's result.
    int run(const std::function<int()>& fn) const;
    // The death of the task: the client drops without farewell.
    void die();

    int connectResult() const { return m_connectResult; }

private:
    DravoClient* m_client = nullptr;
    int m_connectResult = 0;
};

class MiddlewareTest : public ::testing::TestWithParam<std::string>
{
protected:
    void SetUp() override;
    void TearDown() override;

    const std::string& backend() const { return GetParam(); }
    bool isEmbedded() const { return backend() == "embedded"; }
    // The server-address setting that selects this test's backend.
    std::string backendAddress() const;

    // A name no other test (nor another process on a shared server) uses.
    std::string uniqueName(const std::string& stem);
    // An event kind no other test uses.
    int uniqueKind();

    // Names that TearDown cleans up.
    std::string recordName(const std::string& stem);   // deleted from the point database
    std::string boxName(const std::string& stem);      // deleted as an event box
    std::string targetName(const std::string& stem);   // unregistered as a packet target

    // Creates a box and connects a port to it; 0 on success.
    int openBox(const std::string& name, int kind, int capacity, unsigned int& port,
                const char* domain = nullptr);

    // Stores a record under a fresh name (tracked for cleanup); returns the name.
    std::string storeRecord(const std::string& stem, DravoData record);

    // Changes the server-address setting; TearDown restores this backend's.
    int changeServerSetting(const char* address1, const char* address2);

    // Puts in force the product dictionary extended by the given type
    // definitions (JSON objects); TearDown restores the product dictionary.
    int extendDictionary(const std::string& typeDefinitions);

    const std::string& settingsFile() const { return m_settingsFile; }

private:
    void useBackendSetting();

    std::string m_settingsFile;
    std::string m_originalDictionary;
    bool m_dictionaryChanged = false;
    bool m_settingChanged = false;
    int m_counter = 0;
    std::vector<std::string> m_records;
    std::vector<std::string> m_boxes;
    std::vector<std::string> m_targets;
};

// Test names end in the backend's name, capitalised ("Embedded", "Redis"), so
// that ctest can label the tests of one backend by it.
std::string backendTestName(const ::testing::TestParamInfo<std::string>& info);

} // namespace conformance

#endif

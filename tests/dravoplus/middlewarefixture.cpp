// middlewarefixture.cpp: set-up and clean-up of the conformance suite per
// backend, and the shared test tools (listener, second client, waits).
//
// The backends the suite runs against are listed once, at the bottom of this
// file; a backend joins the suite with one line there and its set-up in
// MiddlewareTest::SetUp.
#include "middlewarefixture.h"

#include "redisserver.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace conformance {

namespace {

// The current test's name reduced to characters every backend takes in a key.
std::string currentTestTag()
{
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = info ? info->name() : "none";
    for (char& c : tag) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return tag;
}

// Names and kinds are numbered across the whole process: the embedded server
// outlives each test.
std::atomic<int> g_nameCounter{0};
std::atomic<int> g_kindCounter{0};

} // namespace

// A fresh, empty file in the temporary directory; its path.
std::string makeTempFile(const std::string& stem)
{
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/" + stem + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    const int fd = ::mkstemp(buffer.data());
    if (fd < 0)
        return std::string();
    ::close(fd);
    return std::string(buffer.data());
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

std::string dictionaryWithTypes(const std::string& dictionaryText, const std::string& typeDefinitions)
{
    const std::size_t types = dictionaryText.find("\"types\"");
    const std::size_t open = types == std::string::npos ? types : dictionaryText.find('[', types);
    if (open == std::string::npos)
        return std::string();
    std::string text = dictionaryText;
    text.insert(open + 1, "\n" + typeDefinitions + ",\n");
    return text;
}

DravoFieldInfo fieldInfo(const char* type, const char* field)
{
    DravoTypeInfo info;
    if (DravoPlus::GetTypeInfo(type, info) == DRAVO_OK) {
        for (const DravoFieldInfo& f : info.fields) {
            if (f.name == field)
                return f;
        }
    }
    return DravoFieldInfo();
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return done();
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::string rawBytes(const DravoData& record)
{
    return std::string(record.GetRawValue(), static_cast<std::size_t>(record.GetBufferSize()));
}

RecordFilter namedAmong(const std::vector<std::string>& names)
{
    return [names](const DravoData& record) {
        return std::find(names.begin(), names.end(), record.GetDataName()) != names.end();
    };
}

std::vector<int> pidsOf(const std::vector<DravoData>& records)
{
    std::vector<int> pids;
    for (const DravoData& record : records)
        pids.push_back(record.GetSignedIntValue("pid"));
    return pids;
}

std::vector<DravoData> receiveRecords(unsigned int port, int count, const char* typeFilter, const char* domain,
                                      const RecordFilter& accept, std::chrono::milliseconds limit)
{
    std::vector<DravoData> received;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (static_cast<int>(received.size()) < count && std::chrono::steady_clock::now() < deadline) {
        DravoDataList list;
        const int rc = DravoPlus::ReceiveEventN(port, list, typeFilter, 1000, 100, nullptr, domain);
        if (rc == DRAVO_TIMEOUT)
            continue;
        if (rc != DRAVO_OK)
            break;
        for (const DravoData& record : list) {
            if (!accept || accept(record))
                received.push_back(record);
        }
    }
    return received;
}

std::vector<DravoData> drainRecords(unsigned int port, const char* domain)
{
    std::vector<DravoData> received;
    for (;;) {
        DravoDataList list;
        if (DravoPlus::ReceiveEventN(port, list, nullptr, 1000, kQuietWait, nullptr, domain) != DRAVO_OK)
            return received;
        for (const DravoData& record : list)
            received.push_back(record);
    }
}

// ---- RecordingListener ------------------------------------------------------

RecordingListener::RecordingListener(DravoClient* client)
    : m_client(client)
{
    DravoPlus::UseClient(m_client);
    m_installed = DravoPlus::InstallListener(*this) == DRAVO_OK;
    DravoPlus::UseClient(nullptr);
}

RecordingListener::~RecordingListener()
{
    remove();
}

void RecordingListener::remove()
{
    if (!m_installed)
        return;
    DravoPlus::UseClient(m_client);
    DravoPlus::RemoveListener(*this);
    DravoPlus::UseClient(nullptr);
    m_installed = false;
}

void RecordingListener::onMidConnected()
{
    ++calls;
    ++connected;
}

void RecordingListener::onMidDisconnected()
{
    ++calls;
    ++disconnected;
}

void RecordingListener::onActiveServerChanged(const char*)
{
    ++calls;
    ++activeServerChanges;
}

void RecordingListener::onEventBoxOverflow(const char* box, int dropped)
{
    ++calls;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_dropped[box ? box : ""] += dropped;
}

void RecordingListener::onHeartbeatLost(const char* task)
{
    ++calls;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lostTasks.emplace_back(task ? task : "");
}

void RecordingListener::onDictionaryReloaded()
{
    ++calls;
    ++dictionaryReloads;
}

int RecordingListener::droppedFor(const std::string& box) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_dropped.find(box);
    return it == m_dropped.end() ? 0 : it->second;
}

bool RecordingListener::heardHeartbeatLost(const std::string& task) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::find(m_lostTasks.begin(), m_lostTasks.end(), task) != m_lostTasks.end();
}

// ---- ScopedClient -----------------------------------------------------------

ScopedClient::ScopedClient(bool connect)
    : m_client(DravoPlus::NewClient())
{
    if (connect)
        m_connectResult = run([] { return DravoPlus::ConnectMid(nullptr); });
}

ScopedClient::~ScopedClient()
{
    if (!m_client)
        return;
    run([] { return DravoPlus::DisConnectMid(nullptr); });
    DravoPlus::FreeClient(m_client);
}

int ScopedClient::run(const std::function<int()>& fn) const
{
    DravoPlus::UseClient(m_client);
    const int rc = fn();
    DravoPlus::UseClient(nullptr);
    return rc;
}

void ScopedClient::die()
{
    if (!m_client)
        return;
    DravoPlus::FreeClient(m_client);
    m_client = nullptr;
}

// ---- MiddlewareTest ---------------------------------------------------------

void MiddlewareTest::SetUp()
{
    if (isEmbedded()) {
        // The process's own server: no other address from the environment.
        if (const char* servers = std::getenv("DRAVO_SERVERS"); servers && backendAddress() != servers)
            ::unsetenv("DRAVO_SERVERS");
    } else if (backend() == "redis") {
        // One redis-server for the test process, on a loopback port of its
        // own (a death test's child process uses its parent's).
        const std::string address = mvtest::sharedRedisAddress();
        ASSERT_FALSE(address.empty()) << "cannot start redis-server";
        ::setenv("DRAVO_SERVERS", address.c_str(), 1);
    } else {
        FAIL() << "the suite has no set-up for backend " << backend();
    }
    // A settings file of the test's own, so that no user's setting leaks in.
    m_settingsFile = makeTempFile("dravo-settings");
    ASSERT_FALSE(m_settingsFile.empty()) << "cannot make a temporary settings file";
    ::setenv("DRAVO_SETTINGS", m_settingsFile.c_str(), 1);
    useBackendSetting();

    DravoPlus::SetWaitScale(kTestWaitScale);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK) << "backend " << backend();
}

// The process reads $DRAVO_SERVERS once; when it already has (the tests of
// both backends run in one process), the setting is put in force directly.
void MiddlewareTest::useBackendSetting()
{
    ObjectNames names;
    DravoPlus::GetServerAddress(nullptr, names);
    const std::string current = names.count > 0 ? names.names[0] : "embedded";
    DravoPlus::DeatoryNameSeq(names);
    if (current != backendAddress())
        changeServerSetting(backendAddress().c_str(), nullptr);
}

void MiddlewareTest::TearDown()
{
    // Whatever the test left half done: the thread back on the process's own
    // client, recording off, the embedded server up, this backend's setting.
    DravoPlus::UseClient(nullptr);
    DravoPlus::SetCallRecording(false);
    DravoPlus::TakeRecordedCalls();
    if (isEmbedded())
        DravoPlus::SetEmbeddedServerOnline(true);
    DravoPlus::SetWaitScale(kTestWaitScale);
    if (m_settingChanged) {
        const std::string address = backendAddress();
        if (DravoPlus::updateServerSetting(nullptr, address.c_str(), nullptr) != DRAVO_OK)
            DravoPlus::updateServerSetting(nullptr, address.c_str(), "");
    }
    if (isEmbedded())
        ::unsetenv("DRAVO_SERVERS");
    if (m_dictionaryChanged)
        DravoPlus::LoadDictionary(m_originalDictionary.c_str(), nullptr);

    if (DravoPlus::IsConnect(nullptr) != DRAVO_OK)
        DravoPlus::ConnectMid(nullptr);
    waitUntil([] { return DravoPlus::IsConnect(nullptr) == DRAVO_OK; }, 2s);
    for (const std::string& target : m_targets)
        DravoPlus::UnregisterPacketReceiver(target.c_str());
    for (const std::string& box : m_boxes)
        DravoPlus::DeleteEventBox(box.c_str(), nullptr, nullptr);
    for (const std::string& record : m_records)
        DravoPlus::DeleteDataPoint(record.c_str(), nullptr, nullptr);
    DravoPlus::DisConnectMid(nullptr);

    DravoPlus::SetWaitScale(1.0);
    if (!m_settingsFile.empty()) {
        std::remove(m_settingsFile.c_str());
        ::unsetenv("DRAVO_SETTINGS");
    }
}

std::string MiddlewareTest::backendAddress() const
{
    return isEmbedded() ? "embedded" : mvtest::sharedRedisAddress();
}

std::string MiddlewareTest::uniqueName(const std::string& stem)
{
    return stem + "_" + currentTestTag() + "_" + std::to_string(::getpid()) + "_"
         + std::to_string(++g_nameCounter);
}

int MiddlewareTest::uniqueKind()
{
    // Far from the product's own kinds (20004.., 0x98765, 0x7E7F7C), and
    // different per process on a shared server.
    return 0x400000 + static_cast<int>(::getpid() % 1000) * 1000 + (++g_kindCounter % 1000);
}

std::string MiddlewareTest::recordName(const std::string& stem)
{
    m_records.push_back(uniqueName(stem));
    return m_records.back();
}

std::string MiddlewareTest::boxName(const std::string& stem)
{
    m_boxes.push_back(uniqueName(stem));
    return m_boxes.back();
}

std::string MiddlewareTest::targetName(const std::string& stem)
{
    m_targets.push_back(uniqueName(stem));
    return m_targets.back();
}

int MiddlewareTest::openBox(const std::string& name, int kind, int capacity, unsigned int& port, const char* domain)
{
    const int rc = DravoPlus::CreateEventBox(name.c_str(), kind, capacity, nullptr, domain);
    if (rc != DRAVO_OK)
        return rc;
    return DravoPlus::ConnectPortForRecv(name.c_str(), port, nullptr, domain);
}

std::string MiddlewareTest::storeRecord(const std::string& stem, DravoData record)
{
    const std::string name = recordName(stem);
    record.SetFullName(name.c_str());
    const int rc = DravoPlus::PutDataPoint(record, nullptr, nullptr);
    EXPECT_EQ(rc, DRAVO_OK) << "storing " << name;
    return name;
}

int MiddlewareTest::changeServerSetting(const char* address1, const char* address2)
{
    m_settingChanged = true;
    return DravoPlus::updateServerSetting(nullptr, address1, address2);
}

int MiddlewareTest::extendDictionary(const std::string& typeDefinitions)
{
    if (!m_dictionaryChanged)
        m_originalDictionary = DravoPlus::DictionaryPath();
    const std::string text = dictionaryWithTypes(readFile(m_originalDictionary), typeDefinitions);
    const std::string path = makeTempFile("dravo-dictionary");
    if (text.empty() || path.empty() || !writeFile(path, text))
        return DRAVO_DICTIONARY_ERROR;
    m_dictionaryChanged = true;
    std::string error;
    const int rc = DravoPlus::LoadDictionary(path.c_str(), &error);
    std::remove(path.c_str());
    EXPECT_EQ(rc, DRAVO_OK) << error;
    return rc;
}

std::string backendTestName(const ::testing::TestParamInfo<std::string>& info)
{
    std::string name = info.param;
    if (!name.empty())
        name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    return name;
}

// ---- The backends the suite runs against ------------------------------------
// One line per backend, with its set-up in SetUp above.
INSTANTIATE_TEST_SUITE_P(Backends, MiddlewareTest,
                         ::testing::Values(std::string("embedded"), std::string("redis")),
                         backendTestName);

} // namespace conformance

// runtimefixture.cpp: set-up and clean-up of the runtime interface tests
// against the embedded server with the sample plant, and the tools they
// share (signal watch, second task, bounded waits, recorder readers).
#include "runtimefixture.h"

#include <isolatedsettings.h>

#include <MVPlant/Plant.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

namespace runtimetest {

const QString kTestDomain = QStringLiteral("KestrelValley");

namespace {

void processEventsOnce()
{
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    std::this_thread::sleep_for(1ms);
}

} // namespace

// ---- Waits ------------------------------------------------------------------

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        if (done())
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        processEventsOnce();
    }
}

void settle(std::chrono::milliseconds period)
{
    const auto until = std::chrono::steady_clock::now() + period;
    while (std::chrono::steady_clock::now() < until)
        processEventsOnce();
}

// ---- Recorder ---------------------------------------------------------------

std::vector<DravoRecordedCall> takeCalls(const char* operation)
{
    return DravoPlus::TakeRecordedCalls(operation);
}

std::vector<DravoRecordedCall> callsOf(const std::vector<DravoRecordedCall>& calls, const char* operation)
{
    std::vector<DravoRecordedCall> matching;
    for (const DravoRecordedCall& call : calls) {
        if (call.operation == operation)
            matching.push_back(call);
    }
    return matching;
}

std::vector<std::string> operationsOf(const std::vector<DravoRecordedCall>& calls)
{
    std::vector<std::string> operations;
    for (const DravoRecordedCall& call : calls)
        operations.push_back(call.operation);
    return operations;
}

std::string argText(const DravoRecordedCall& call, std::size_t index)
{
    if (index >= call.args.size() || !call.args[index])
        return "<null>";
    return *call.args[index];
}

// ---- Plant ------------------------------------------------------------------

int plantId(const std::string& indexName)
{
    DravoData record;
    if (DravoPlus::GetDataPoint(indexName.c_str(), record, nullptr, nullptr) != DRAVO_OK)
        return -1;
    return record.GetSignedIntValue("id");
}

std::vector<std::pair<std::string, int>> plantPoints(const char* type)
{
    std::vector<std::pair<std::string, int>> points;
    DravoDataList records;
    if (DravoPlus::GetDataPointByTypeName(type, records, nullptr, nullptr) == DRAVO_OK) {
        for (const DravoData& record : records) {
            std::string name;
            record.GetValue("fullname", name);
            points.emplace_back(name, record.GetSignedIntValue("pid"));
        }
    }
    DravoPlus::DestoryDravoDataList(records);
    return points;
}

int putNameIndex(const std::string& name, int id)
{
    DravoData record("NAMEINDEX", name.c_str());
    const int rc = record.PutValue("id", static_cast<std::int32_t>(id));
    return rc != DRAVO_OK ? rc : DravoPlus::PutDataPoint(record, nullptr, nullptr);
}

int ensureMarker()
{
    DravoData probe;
    if (DravoPlus::GetDataPoint(":marker", probe, nullptr, nullptr) == DRAVO_OK)
        return DRAVO_OK;
    DravoData marker("MARKER", ":marker");
    marker.PutValue("version", std::int32_t{1});
    return DravoPlus::PutDataPoint(marker, nullptr, nullptr);
}

DravoData statusEnvelope(int pid, int state, int channel)
{
    DravoData param("REMOTE_AO_COMMAND");
    param.PutValue("pid", static_cast<std::int32_t>(pid));
    param.PutValue("value", static_cast<double>(state));
    DravoData envelope("REMOTE_COMMAND2");
    envelope.PutValue("cmdCode", std::int32_t{1});
    envelope.PutValue("param", param);
    envelope.PutValue("commid", static_cast<std::int32_t>(channel));
    return envelope;
}

// ---- SignalWatch ------------------------------------------------------------

SignalWatch::SignalWatch(ScadaRuntimeInterface* rt, void (ScadaRuntimeInterface::*signal)())
    : m_spy(this, &SignalWatch::arrived)
{
    // Counted where it is emitted; the watch is the context, so the count
    // stops with the watch.
    const auto direct = connect(rt, signal, this, [this] {
        m_emitter.store(QThread::currentThread());
        ++m_emitted;
    }, Qt::DirectConnection);
    // Taken over to the test thread, where the spy sees it.
    const auto queued = connect(rt, signal, this, &SignalWatch::arrived, Qt::QueuedConnection);
    m_connected = static_cast<bool>(direct) && static_cast<bool>(queued);
}

bool SignalWatch::waitForCount(int n, std::chrono::milliseconds limit)
{
    return waitUntil([this, n] { return m_spy.count() >= n; }, limit);
}

bool SignalWatch::staysQuiet(std::chrono::milliseconds period)
{
    const int before = m_spy.count();
    settle(period);
    return m_spy.count() == before;
}

// ---- SecondTask -------------------------------------------------------------

SecondTask::SecondTask()
    : m_client(DravoPlus::NewClient())
{
    DravoPlus::UseClient(m_client);
    m_connectResult = DravoPlus::ConnectMid(nullptr);
    DravoPlus::UseClient(nullptr);
}

SecondTask::~SecondTask()
{
    if (!m_client)
        return;
    DravoPlus::UseClient(m_client);
    DravoPlus::DisConnectMid(nullptr);
    DravoPlus::UseClient(nullptr);
    DravoPlus::FreeClient(m_client);
}

int SecondTask::holdHeartbeat(const std::string& task)
{
    DravoData record("TASK_USER_DATA", nullptr);
    record.PutValue("pid", std::int32_t{4242});
    DravoPlus::UseClient(m_client);
    const int rc = DravoPlus::ContendHeartBit(task.c_str(), record, nullptr, nullptr);
    DravoPlus::UseClient(nullptr);
    return rc;
}

void SecondTask::die()
{
    if (!m_client)
        return;
    DravoPlus::FreeClient(m_client);
    m_client = nullptr;
}

bool heartbeatLive(const std::string& task)
{
    std::vector<DravoHeartbeatInfo> entries;
    if (DravoPlus::ListHeartbeats(entries, nullptr) != DRAVO_OK)
        return false;
    for (const DravoHeartbeatInfo& entry : entries) {
        if (entry.task == task)
            return entry.live;
    }
    return false;
}

// ---- RuntimeTest ------------------------------------------------------------

void RuntimeTest::prepareProcessOnce()
{
    static bool prepared = false;
    if (prepared)
        return;
    prepared = true;

    // Before the first middleware call: the embedded server, whatever the
    // environment says, and a settings file of the process's own.
    ASSERT_FALSE(mvtest::useIsolatedSettings("runtime-test-settings").empty()) << "cannot make a temporary settings file";

    DravoPlus::SetWaitScale(kWaitScale);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    std::string error;
    MVPlant::PlantSummary summary;
    ASSERT_EQ(MVPlant::LoadPlant(MV_SAMPLE_PLANT, &summary, &error), DRAVO_OK) << error;
}

void RuntimeTest::SetUp()
{
    prepareProcessOnce();
    DravoPlus::SetWaitScale(kWaitScale);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
}

void RuntimeTest::TearDown()
{
    // Whatever the test left half done. The interfaces go first: their
    // destructors remove the listeners, so no notification of the clean-up
    // below reaches them or their watches.
    DravoPlus::UseClient(nullptr);
    DravoPlus::SetCallRecording(false);
    m_runtimes.clear();
    settle(10ms);
    m_watches.clear();
    m_tasks.clear();
    DravoPlus::TakeRecordedCalls();

    DravoPlus::SetEmbeddedServerOnline(true);
    if (m_settingChanged) {
        DravoPlus::updateServerSetting(nullptr, "embedded", "");
        m_settingChanged = false;
    }
    if (DravoPlus::IsConnect(nullptr) != DRAVO_OK)
        DravoPlus::ConnectMid(nullptr);
    waitUntil([] { return DravoPlus::IsConnect(nullptr) == DRAVO_OK; }, 2s);
    EXPECT_EQ(ensureMarker(), DRAVO_OK) << "the :marker probe could not be put back";
}

ScadaRuntimeInterface* RuntimeTest::newRuntime(const QString& domain)
{
    m_runtimes.push_back(std::make_unique<ScadaRuntimeInterface>(domain));
    return m_runtimes.back().get();
}

void RuntimeTest::destroyRuntime(ScadaRuntimeInterface* rt)
{
    auto it = std::find_if(m_runtimes.begin(), m_runtimes.end(),
                           [rt](const std::unique_ptr<ScadaRuntimeInterface>& p) { return p.get() == rt; });
    if (it != m_runtimes.end())
        m_runtimes.erase(it);
}

SignalWatch* RuntimeTest::watch(ScadaRuntimeInterface* rt, void (ScadaRuntimeInterface::*signal)())
{
    m_watches.push_back(std::make_unique<SignalWatch>(rt, signal));
    return m_watches.back().get();
}

SecondTask* RuntimeTest::secondTask()
{
    m_tasks.push_back(std::make_unique<SecondTask>());
    return m_tasks.back().get();
}

int RuntimeTest::changeServerSetting(const char* first, const char* second)
{
    m_settingChanged = true;
    return DravoPlus::updateServerSetting(nullptr, first, second);
}

void RuntimeTest::startRecording()
{
    DravoPlus::TakeRecordedCalls();
    DravoPlus::SetCallRecording(true);
}

std::string RuntimeTest::uniqueTask(const std::string& stem) const
{
    static int counter = 0;
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = info ? info->name() : "none";
    for (char& c : tag) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return stem + "_" + tag + "_" + std::to_string(++counter);
}

} // namespace runtimetest

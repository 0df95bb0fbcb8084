// runtimefixture.h: the fixture the runtime interface tests run in.
//
// Every test talks to the real embedded runtime server with the sample plant
// loaded, at a wait scale that turns the product's seconds into tens of
// milliseconds. The server lives as long as the process, so the fixture puts
// back whatever a test changed in it (outage, server-address setting, the
// ":marker" probe record, recording, second clients) and destroys the
// interfaces it handed out before it touches the connection again.
//
// Beside the fixture live the small tools the tests share: a watch that
// follows a signal of an interface on the test thread (the middleware emits
// from its own thread), a second task of the plant (a further middleware
// client), bounded waits that keep the Qt event loop turning, and readers of
// the middleware's call recorder.
#ifndef TESTS_RUNTIME_RUNTIMEFIXTURE_H
#define TESTS_RUNTIME_RUNTIMEFIXTURE_H

#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// Readable failure messages for Qt strings (found by argument lookup).
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace runtimetest {

using namespace std::chrono_literals;

// A one-second wait of the product lasts 10 ms here.
constexpr double kWaitScale = 0.01;
// Real time allowed for a notification to show: generous for a sanitised
// build; waits end as soon as the awaited thing happens.
constexpr std::chrono::milliseconds kPatience = 10s;
// Real time after which "no notification came" is believed.
constexpr std::chrono::milliseconds kQuiet = 400ms;

// The domain the tests give their interfaces.
extern const QString kTestDomain;

// Keeps the Qt event loop of the test thread turning until done() holds or
// limit has passed; true when it held.
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = kPatience);
// Keeps the event loop turning for a while, so that queued deliveries arrive.
void settle(std::chrono::milliseconds period = kQuiet);

// The calls the middleware recorded since the last take, all or only those of
// one operation; the recorder is emptied either way.
std::vector<DravoRecordedCall> takeCalls(const char* operation = nullptr);
// The calls of one operation among recorded ones.
std::vector<DravoRecordedCall> callsOf(const std::vector<DravoRecordedCall>& calls, const char* operation);
// The operations of recorded calls, in order.
std::vector<std::string> operationsOf(const std::vector<DravoRecordedCall>& calls);
// A recorded argument as text, "<null>" when it was null or is missing.
std::string argText(const DravoRecordedCall& call, std::size_t index);

// The id a name-index record of the plant gives ("<point>", "@C::<channel>",
// "@R::<device>"); -1 when there is no such record.
int plantId(const std::string& indexName);
// The full names and ids of every record of a type ("STATUS", "ANALOG",
// "TEXT"), in the middleware's order.
std::vector<std::pair<std::string, int>> plantPoints(const char* type);

// Stores a name-index record of the given id under name; 0 on success.
int putNameIndex(const std::string& name, int id);
// Puts the ":marker" probe back when it is missing; 0 when it exists after.
int ensureMarker();

// The envelope a caller of writeStatusPoint builds: a set-point of state to
// the status point pid over channel.
DravoData statusEnvelope(int pid, int state, int channel);

// Follows one signal of a runtime interface. The interface emits from the
// middleware's notification thread; the watch takes the signal over to the
// test thread through a queued connection, where a QSignalSpy counts it, and
// notes how often and on which thread it was emitted.
class SignalWatch : public QObject
{
    Q_OBJECT

public:
    SignalWatch(ScadaRuntimeInterface* rt, void (ScadaRuntimeInterface::*signal)());

    // Signals that reached the test thread so far.
    int count() const { return m_spy.count(); }
    // Emissions so far, counted on the emitting thread.
    int emitted() const { return m_emitted.load(); }
    // The thread of the latest emission (null before the first).
    QThread* emitterThread() const { return m_emitter.load(); }
    bool connectedToSignal() const { return m_connected; }

    // Waits until at least n signals reached the test thread.
    bool waitForCount(int n, std::chrono::milliseconds limit = kPatience);
    // True when no further signal arrives within a quiet period.
    bool staysQuiet(std::chrono::milliseconds period = kQuiet);

signals:
    void arrived();

private:
    std::atomic<int> m_emitted{0};
    std::atomic<QThread*> m_emitter{nullptr};
    bool m_connected = false;
    QSignalSpy m_spy;
};

// A second task of the plant: a further client of the same server, connected
// when made and dropped when destroyed.
class SecondTask
{
public:
    SecondTask();
    ~SecondTask();
    SecondTask(const SecondTask&) = delete;
    SecondTask& operator=(const SecondTask&) = delete;

    int connectResult() const { return m_connectResult; }
    // Enters the task's heartbeat as this client; the middleware's result.
    int holdHeartbeat(const std::string& task);
    // The death of the task: its connection drops without farewell and its
    // heartbeat leases start running out.
    void die();

private:
    DravoClient* m_client = nullptr;
    int m_connectResult = 0;
};

// Whether a heartbeat entry of the task is held by a live client.
bool heartbeatLive(const std::string& task);

class RuntimeTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // A runtime interface owned by the fixture; destroyed in TearDown before
    // any watch of it, so that no signal reaches a dead watch.
    ScadaRuntimeInterface* newRuntime(const QString& domain = kTestDomain);
    // Destroys one of the fixture's interfaces now.
    void destroyRuntime(ScadaRuntimeInterface* rt);
    // A watch of one signal, owned by the fixture.
    SignalWatch* watch(ScadaRuntimeInterface* rt,
                       void (ScadaRuntimeInterface::*signal)() = &ScadaRuntimeInterface::serverStateChanged);
    // A second task, owned by the fixture (dropped in TearDown).
    SecondTask* secondTask();

    // The middleware's setting changes through the interface or directly;
    // TearDown restores the embedded server's setting after either.
    void noteSettingChanged() { m_settingChanged = true; }
    int changeServerSetting(const char* first, const char* second);

    // Takes the embedded server down or brings it back.
    int setServerOnline(bool online) { return DravoPlus::SetEmbeddedServerOnline(online); }

    // Recording on, the recorder emptied first.
    void startRecording();

    // A heartbeat task name of this test's own.
    std::string uniqueTask(const std::string& stem) const;

private:
    static void prepareProcessOnce();

    std::vector<std::unique_ptr<ScadaRuntimeInterface>> m_runtimes;
    std::vector<std::unique_ptr<SignalWatch>> m_watches;
    std::vector<std::unique_ptr<SecondTask>> m_tasks;
    bool m_settingChanged = false;
};

} // namespace runtimetest

#endif

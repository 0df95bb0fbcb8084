// scadaruntimeinterface_test.cpp: the core of the runtime interface against
// the embedded server: what a new interface holds, how it follows the
// middleware connection through its status listener (serverStateChanged, the
// cached active server), the configured server addresses, and the task's
// heartbeat entry with its retry on every later connect.
//
// Connection changes are real ones: the embedded server is taken down and
// brought back, or the process's connection is dropped and made again, and
// the listener hears about it on the middleware's notification thread.
#include "runtimefixture.h"

// The listener and its retry values are checked where they live.
#include "../../mvshared/runtime/scadaruntimeinterface_p.h"

#include <MVShared/MorvaneTypes.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <DravoPlus/DravoPlusTesting.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>
#include <QtCore/QObject>
#include <QtCore/QThread>
#include <QtCore/QTranslator>
#include <QtNetwork/QHostInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace runtimetest {
namespace {

using ScadaRuntimeInterfaceTest = RuntimeTest;

// The position of the first recorded call of an operation; -1 when absent.
long positionOf(const std::vector<std::string>& operations, const std::string& operation)
{
    const auto it = std::find(operations.begin(), operations.end(), operation);
    return it == operations.end() ? -1 : static_cast<long>(it - operations.begin());
}

std::u16string hostName()
{
    return QHostInfo::localHostName().toStdU16String();
}

// ---- A new interface ---------------------------------------------------------

TEST_F(ScadaRuntimeInterfaceTest, ConstructorKeepsDomainAndParentWithOfflineSupportOff)
{
    QObject owner;
    ScadaRuntimeInterface rt(QStringLiteral("Millbrook"), &owner);
    EXPECT_EQ(rt.currentDomain(), QStringLiteral("Millbrook"));
    EXPECT_EQ(rt.parent(), &owner);
    EXPECT_FALSE(rt.isOfflineSupport());
}

TEST_F(ScadaRuntimeInterfaceTest, ConstructorNeitherInstallsListenerNorConnects)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    startRecording();
    ScadaRuntimeInterface* rt = newRuntime();
    const std::vector<std::string> operations = operationsOf(takeCalls());
    EXPECT_EQ(positionOf(operations, "InstallListener"), -1);
    EXPECT_EQ(positionOf(operations, "ConnectMid"), -1);
    EXPECT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK) << "the constructor connected";

    // No listener: a connection coming and going is not heard.
    SignalWatch* state = watch(rt);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->emitted(), 0);
}

TEST_F(ScadaRuntimeInterfaceTest, ConstructorStartsWithEmptyActiveServerCache)
{
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    // An empty cache makes the first call ask the middleware.
    EXPECT_EQ(rt->activeServer(), QStringLiteral("embedded"));
    const std::vector<DravoRecordedCall> asked = takeCalls("activeServer");
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(argText(asked[0], 0), "<null>");
}

TEST_F(ScadaRuntimeInterfaceTest, ConstructorCreatesListenerWithEmptyAliveValues)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const ScadaRuntimeInterfacePrivate* d = rt->d_func();
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->q, rt);
    EXPECT_TRUE(d->aliveTaskName.isEmpty());
    EXPECT_TRUE(d->aliveDisplayName.isEmpty());
    EXPECT_TRUE(d->aliveRegistered);
}

TEST_F(ScadaRuntimeInterfaceTest, DFuncReturnsThePrivateListenerInBothForms)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const ScadaRuntimeInterface* constRt = rt;
    ScadaRuntimeInterfacePrivate* d = rt->d_func();
    const ScadaRuntimeInterfacePrivate* constD = constRt->d_func();
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(constD, d);
    EXPECT_NE(static_cast<DravoStatusListenerBase*>(d), nullptr);
    // A second interface has a listener of its own.
    EXPECT_NE(newRuntime()->d_func(), d);
}

TEST_F(ScadaRuntimeInterfaceTest, MetaCastAnswersToScadaRuntimeInterface)
{
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_EQ(rt->qt_metacast("ScadaRuntimeInterface"), static_cast<void*>(rt));
    EXPECT_EQ(rt->qt_metacast("QObject"), static_cast<void*>(rt));
    EXPECT_EQ(rt->qt_metacast("ScadaRuntimeInterfacePrivate"), nullptr);
    EXPECT_STREQ(rt->metaObject()->className(), "ScadaRuntimeInterface");
    EXPECT_NE(qobject_cast<ScadaRuntimeInterface*>(static_cast<QObject*>(rt)), nullptr);
}

TEST_F(ScadaRuntimeInterfaceTest, SignalsAreStateChangedThenConnectionChanged)
{
    const QMetaObject& mo = ScadaRuntimeInterface::staticMetaObject;
    const int stateIndex = mo.indexOfSignal("serverStateChanged()");
    const int connectionIndex = mo.indexOfSignal("serverConnectionChanged()");
    ASSERT_GE(stateIndex, 0);
    ASSERT_GE(connectionIndex, 0);
    EXPECT_EQ(stateIndex - mo.methodOffset(), 0);
    EXPECT_EQ(connectionIndex - mo.methodOffset(), 1);
    EXPECT_EQ(mo.method(stateIndex).parameterCount(), 0);
    EXPECT_EQ(mo.method(connectionIndex).parameterCount(), 0);
}

TEST_F(ScadaRuntimeInterfaceTest, ServerConnectionChangedIsConnectableButNeverEmitted)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* connection = watch(rt, &ScadaRuntimeInterface::serverConnectionChanged);
    SignalWatch* state = watch(rt, &ScadaRuntimeInterface::serverStateChanged);
    ASSERT_TRUE(connection->connectedToSignal());
    rt->connectMid();
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(2));
    EXPECT_TRUE(connection->staysQuiet());
    EXPECT_EQ(connection->count(), 0);
    EXPECT_EQ(connection->emitted(), 0);
}

TEST_F(ScadaRuntimeInterfaceTest, SetDomainChangesCurrentDomain)
{
    ScadaRuntimeInterface* rt = newRuntime(QStringLiteral("KestrelHill"));
    EXPECT_EQ(rt->currentDomain(), QStringLiteral("KestrelHill"));
    rt->setDomain(QStringLiteral("Millbrook"));
    EXPECT_EQ(rt->currentDomain(), QStringLiteral("Millbrook"));
    rt->setDomain(QString());
    EXPECT_TRUE(rt->currentDomain().isEmpty());
}

TEST_F(ScadaRuntimeInterfaceTest, OfflineSupportIsAPlainFlag)
{
    ScadaRuntimeInterface* rt = newRuntime();
    rt->setOfflineSupport(true);
    EXPECT_TRUE(rt->isOfflineSupport());
    rt->setOfflineSupport(true);
    EXPECT_TRUE(rt->isOfflineSupport());
    rt->setOfflineSupport(false);
    EXPECT_FALSE(rt->isOfflineSupport());
}

// ---- Connection and status listener -------------------------------------------

TEST_F(ScadaRuntimeInterfaceTest, ConnectMidInstallsListenerThenConnects)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    startRecording();
    rt->connectMid();
    const std::vector<DravoRecordedCall> calls = takeCalls();
    const std::vector<std::string> operations = operationsOf(calls);
    const long installed = positionOf(operations, "InstallListener");
    const long connected = positionOf(operations, "ConnectMid");
    ASSERT_GE(installed, 0);
    ASSERT_GE(connected, 0);
    EXPECT_LT(installed, connected);
    EXPECT_EQ(argText(calls[static_cast<std::size_t>(connected)], 0), "<null>");
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    // The connect is heard through the listener just installed.
    EXPECT_TRUE(state->waitForCount(1));
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
}

TEST_F(ScadaRuntimeInterfaceTest, ConnectMidDuringOutageIsHeardWhenServerReturns)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid(); // fails for now; the result is not the caller's concern
    EXPECT_EQ(rt->serverState(), Morvane::MWDisconnected);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    EXPECT_TRUE(state->waitForCount(1));
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
}

TEST_F(ScadaRuntimeInterfaceTest, OutageAndReturnEmitServerStateChangedFromMiddlewareThread)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    settle(50ms);
    const int before = state->count();

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 1));
    EXPECT_EQ(rt->serverState(), Morvane::MWDisconnected);
    ASSERT_NE(state->emitterThread(), nullptr);
    EXPECT_NE(state->emitterThread(), QThread::currentThread());

    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 2));
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->count(), before + 2);
}

TEST_F(ScadaRuntimeInterfaceTest, ConnectNotificationFillsActiveServerFromMiddleware)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    startRecording();
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(2));
    // The handler asked the middleware for the active server.
    EXPECT_FALSE(takeCalls("activeServer").empty());

    // ... so the interface answers from its cache.
    EXPECT_EQ(rt->activeServer(), QStringLiteral("embedded"));
    EXPECT_TRUE(takeCalls("activeServer").empty());
}

TEST_F(ScadaRuntimeInterfaceTest, DisconnectNotificationEmptiesActiveServerCache)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    ASSERT_EQ(rt->activeServer(), QStringLiteral("embedded"));

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    startRecording();
    // The next call asks again; the server is down, so there is none.
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    EXPECT_EQ(takeCalls("activeServer").size(), 1u);
    // "Invaild" is now the cache.
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    EXPECT_TRUE(takeCalls("activeServer").empty());
}

TEST_F(ScadaRuntimeInterfaceTest, ActiveServerIsInvaildBeforeAnyConnection)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    const std::vector<DravoRecordedCall> asked = takeCalls("activeServer");
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].result, DRAVO_NOT_CONNECTED) << "the middleware knew a server";
}

// Marks every text it is asked for with its context, as a translation
// file keyed on the product's source texts would replace it.
class MarkingTranslator : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* sourceText, const char* = nullptr, int = -1) const override
    {
        return QStringLiteral("<%1>%2").arg(QString::fromLatin1(context), QString::fromUtf8(sourceText));
    }
};

TEST_F(ScadaRuntimeInterfaceTest, InvaildIsTranslatedUnderTheClassContext)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    MarkingTranslator translator;
    ASSERT_TRUE(QCoreApplication::installTranslator(&translator));
    ScadaRuntimeInterface* rt = newRuntime();
    const QString answer = rt->activeServer();
    QCoreApplication::removeTranslator(&translator);
    EXPECT_EQ(answer, QStringLiteral("<ScadaRuntimeInterface>Invaild"));
}

TEST_F(ScadaRuntimeInterfaceTest, ActiveServerKeepsInvaildAfterMiddlewareConnectsUntilConnectNotification)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->activeServer(), QStringLiteral("Invaild"));

    // Connected by somebody else in the process: the middleware now knows
    // the server, the interface keeps its answer without asking.
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_NE(DravoPlus::activeServer(nullptr), nullptr);
    startRecording();
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    EXPECT_TRUE(takeCalls("activeServer").empty());

    // A real disconnect and connect, heard through the listener.
    SignalWatch* state = watch(rt);
    rt->installSlot();
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(2));
    EXPECT_EQ(rt->activeServer(), QStringLiteral("embedded"));
}

TEST_F(ScadaRuntimeInterfaceTest, ActiveServerKeepsInvaildAfterMiddlewareConnectsUntilDisconnectNotification)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));

    SignalWatch* state = watch(rt);
    rt->installSlot();
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    // No listener for the return, so only the disconnect touched the cache:
    // it was emptied, and the interface asks the middleware again.
    rt->prepareClose();
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(waitUntil([] { return DravoPlus::IsConnect(nullptr) == DRAVO_OK; }));
    EXPECT_EQ(rt->activeServer(), QStringLiteral("embedded"));
}

TEST_F(ScadaRuntimeInterfaceTest, ServerStateIsDisconnectedForAnyNonZeroIsConnect)
{
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ASSERT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->serverState(), Morvane::MWDisconnected);

    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_NOT_CONNECTED);
    EXPECT_EQ(rt->serverState(), Morvane::MWDisconnected);
}

TEST_F(ScadaRuntimeInterfaceTest, ServerStatePollsMiddlewareWithoutEmitting)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    settle(50ms);
    const int before = state->count();
    startRecording();
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
    const std::vector<DravoRecordedCall> polls = takeCalls("IsConnect");
    ASSERT_EQ(polls.size(), 2u);
    EXPECT_EQ(argText(polls[0], 0), "<null>");
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->count(), before);
    EXPECT_EQ(state->emitted(), before);
}

TEST_F(ScadaRuntimeInterfaceTest, InstallSlotInstallsListenerWithoutConnecting)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    startRecording();
    rt->installSlot();
    const std::vector<std::string> operations = operationsOf(takeCalls());
    EXPECT_GE(positionOf(operations, "InstallListener"), 0);
    EXPECT_EQ(positionOf(operations, "ConnectMid"), -1);
    EXPECT_EQ(positionOf(operations, "DisConnectMid"), -1);

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    EXPECT_TRUE(state->waitForCount(1));
}

TEST_F(ScadaRuntimeInterfaceTest, DisConnectMidDropsConnectionThenRemovesListener)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    startRecording();
    rt->disConnectMid();
    const std::vector<std::string> operations = operationsOf(takeCalls());
    const long dropped = positionOf(operations, "DisConnectMid");
    const long removed = positionOf(operations, "RemoveListener");
    ASSERT_GE(dropped, 0);
    ASSERT_GE(removed, 0);
    EXPECT_LT(dropped, removed);
    EXPECT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK);

    // Whatever the disconnect itself delivered, nothing is heard afterwards.
    settle(50ms);
    const int before = state->count();
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->count(), before);
}

TEST_F(ScadaRuntimeInterfaceTest, PrepareCloseRemovesListenerAndKeepsConnection)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    settle(50ms);
    const int before = state->count();
    startRecording();
    rt->prepareClose();
    const std::vector<std::string> operations = operationsOf(takeCalls());
    EXPECT_GE(positionOf(operations, "RemoveListener"), 0);
    EXPECT_EQ(positionOf(operations, "DisConnectMid"), -1);
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->count(), before);
    EXPECT_EQ(state->emitted(), before);
}

TEST_F(ScadaRuntimeInterfaceTest, DestructorRemovesListener)
{
    ScadaRuntimeInterface* doomed = newRuntime();
    doomed->connectMid();
    // A survivor shows that the outage below really is delivered to the
    // listeners still installed.
    ScadaRuntimeInterface* survivor = newRuntime();
    SignalWatch* state = watch(survivor);
    survivor->connectMid();
    settle(50ms);
    const int before = state->count();

    startRecording();
    destroyRuntime(doomed);
    EXPECT_GE(positionOf(operationsOf(takeCalls()), "RemoveListener"), 0);

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 1));
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 2));
    EXPECT_EQ(survivor->serverState(), Morvane::MWConnected);
}

// ---- Server addresses -------------------------------------------------------

TEST_F(ScadaRuntimeInterfaceTest, ServerCandidateIsEmptyWithoutConfiguredAddresses)
{
    ASSERT_EQ(changeServerSetting("", ""), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_TRUE(rt->serverCandidate().isEmpty());
}

TEST_F(ScadaRuntimeInterfaceTest, ServerCandidateListsTheOneConfiguredAddress)
{
    ASSERT_EQ(changeServerSetting("embedded", ""), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    EXPECT_EQ(rt->serverCandidate(), QStringList{QStringLiteral("embedded")});
}

TEST_F(ScadaRuntimeInterfaceTest, ServerCandidateListsBothAddressesInOrder)
{
    ASSERT_EQ(changeServerSetting("embedded", "redis://10.20.9.2:6379"), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    const QStringList expected{QStringLiteral("embedded"), QStringLiteral("redis://10.20.9.2:6379")};
    EXPECT_EQ(rt->serverCandidate(), expected);
    // Asking again gives the same; the sequence is released each time.
    EXPECT_EQ(rt->serverCandidate(), expected);
}

TEST_F(ScadaRuntimeInterfaceTest, UpdateServerSettingLeavesInterfaceDisconnectedWithoutListener)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    startRecording();
    noteSettingChanged();
    rt->updateServerSetting(QStringLiteral("embedded"), QStringLiteral("redis://standby.kestrel:6379"));
    const std::vector<std::string> operations = operationsOf(takeCalls());
    const long dropped = positionOf(operations, "DisConnectMid");
    const long removed = positionOf(operations, "RemoveListener");
    ASSERT_GE(dropped, 0);
    ASSERT_GE(removed, 0);
    EXPECT_LT(dropped, removed);
    EXPECT_EQ(positionOf(operations, "ConnectMid"), -1) << "the interface reconnected on its own";

    EXPECT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    EXPECT_EQ(rt->serverState(), Morvane::MWDisconnected);

    // The addresses are the middleware's setting now.
    ObjectNames names;
    ASSERT_EQ(DravoPlus::GetServerAddress(nullptr, names), DRAVO_OK);
    ASSERT_EQ(names.count, 2);
    EXPECT_STREQ(names.names[0], "embedded");
    EXPECT_STREQ(names.names[1], "redis://standby.kestrel:6379");
    DravoPlus::DeatoryNameSeq(names);

    // No listener: an outage goes unheard.
    settle(50ms);
    const int before = state->count();
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    EXPECT_TRUE(state->staysQuiet());
    EXPECT_EQ(state->count(), before);
    EXPECT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK) << "the interface reconnected on its own";
}

TEST_F(ScadaRuntimeInterfaceTest, ConnectMidAfterUpdateServerSettingConnectsAndListensAgain)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    noteSettingChanged();
    rt->updateServerSetting(QStringLiteral("embedded"), QString());
    settle(50ms);
    const int before = state->count();
    ASSERT_NE(DravoPlus::IsConnect(nullptr), DRAVO_OK);

    rt->connectMid();
    EXPECT_EQ(DravoPlus::IsConnect(nullptr), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 1));
    EXPECT_EQ(rt->serverState(), Morvane::MWConnected);
    EXPECT_EQ(rt->serverCandidate(), QStringList{QStringLiteral("embedded")});
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    EXPECT_TRUE(state->waitForCount(before + 2));
}

// ---- Heartbeat ----------------------------------------------------------------

TEST_F(ScadaRuntimeInterfaceTest, StartAliveTaskEntersHeartbeatWithItsRecord)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const std::string task = uniqueTask("Display");
    startRecording();
    EXPECT_EQ(rt->startAliveTask(QString::fromStdString(task), QStringLiteral("Kestrel Hill overview"), char(5), 1234),
              0);
    const std::vector<DravoRecordedCall> calls = takeCalls("ContendHeartBit");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(argText(calls[0], 0), task);
    EXPECT_EQ(argText(calls[0], 1), "<null>");
    EXPECT_EQ(argText(calls[0], 2), "<null>");
    EXPECT_EQ(calls[0].result, DRAVO_OK);
    ASSERT_EQ(calls[0].records.size(), 1u);
    const DravoData& record = calls[0].records[0];
    EXPECT_STREQ(record.GetTypeName(), "TASK_USER_DATA");
    EXPECT_EQ(record.GetWStringValue("displayname"), u"Kestrel Hill overview");
    EXPECT_EQ(record.GetWStringValue("location"), hostName());
    EXPECT_EQ(record.GetSignedIntValue("oid"), 5);
    EXPECT_EQ(record.GetSignedIntValue("pid"), 1234);
    EXPECT_TRUE(heartbeatLive(task));
}

TEST_F(ScadaRuntimeInterfaceTest, StartAliveTaskPutsOidSignExtended)
{
    ScadaRuntimeInterface* rt = newRuntime();
    const std::string task = uniqueTask("Oid");
    startRecording();
    EXPECT_EQ(rt->startAliveTask(QString::fromStdString(task), QStringLiteral("Oid"), char(0xC8), 1), 0);
    const std::vector<DravoRecordedCall> calls = takeCalls("ContendHeartBit");
    ASSERT_EQ(calls.size(), 1u);
    ASSERT_EQ(calls[0].records.size(), 1u);
    EXPECT_EQ(calls[0].records[0].GetSignedIntValue("oid"), -56);
}

TEST_F(ScadaRuntimeInterfaceTest, SuccessfulStartAliveTaskStoresNoRetryValues)
{
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(rt->startAliveTask(QString::fromStdString(uniqueTask("Quiet")), QStringLiteral("Quiet"), char(3), 3), 0);
    const ScadaRuntimeInterfacePrivate* d = rt->d_func();
    EXPECT_TRUE(d->aliveTaskName.isEmpty());
    EXPECT_TRUE(d->aliveDisplayName.isEmpty());
    EXPECT_TRUE(d->aliveRegistered);
}

TEST_F(ScadaRuntimeInterfaceTest, StartAliveTaskReturnsMinusOneWhileAnotherTaskHoldsTheEntry)
{
    const std::string task = uniqueTask("Contended");
    SecondTask* other = secondTask();
    ASSERT_EQ(other->connectResult(), DRAVO_OK);
    ASSERT_EQ(other->holdHeartbeat(task), DRAVO_OK);

    ScadaRuntimeInterface* rt = newRuntime();
    startRecording();
    EXPECT_EQ(rt->startAliveTask(QString::fromStdString(task), QStringLiteral("Standby"), char(9), 99), -1);
    const std::vector<DravoRecordedCall> calls = takeCalls("ContendHeartBit");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].result, DRAVO_HEARTBEAT_HELD);

    // The entry is kept for the retry on the next connect.
    const ScadaRuntimeInterfacePrivate* d = rt->d_func();
    EXPECT_EQ(d->aliveTaskName, QString::fromStdString(task));
    EXPECT_EQ(d->aliveDisplayName, QStringLiteral("Standby"));
    EXPECT_EQ(d->aliveOid, char(9));
    EXPECT_EQ(d->alivePid, 99);
    EXPECT_FALSE(d->aliveRegistered);
}

TEST_F(ScadaRuntimeInterfaceTest, StartAliveTaskReturnsMinusOneForAnyMiddlewareError)
{
    ScadaRuntimeInterface* rt = newRuntime();
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    startRecording();
    EXPECT_EQ(rt->startAliveTask(QString::fromStdString(uniqueTask("Offline")), QStringLiteral("Offline"), char(1), 1),
              -1);
    ASSERT_EQ(DravoPlus::ConnectMid(nullptr), DRAVO_OK);
    // An empty task name is refused by the middleware with yet another code.
    EXPECT_EQ(rt->startAliveTask(QString(), QStringLiteral("Nameless"), char(1), 1), -1);
    const std::vector<DravoRecordedCall> calls = takeCalls("ContendHeartBit");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].result, DRAVO_NOT_CONNECTED);
    EXPECT_EQ(calls[1].result, DRAVO_BAD_ARGUMENT);
}

TEST_F(ScadaRuntimeInterfaceTest, SuccessAfterFailedStartAliveTaskKeepsFailedValuesForConnectRetry)
{
    SecondTask* other = secondTask();
    ASSERT_EQ(other->connectResult(), DRAVO_OK);
    ASSERT_EQ(other->holdHeartbeat("taskA"), DRAVO_OK) << "taskA must be free for the second task";

    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    settle(50ms);
    const int before = state->count();

    startRecording();
    ASSERT_EQ(rt->startAliveTask(QStringLiteral("taskA"), QStringLiteral("Display A"), char(0xC8), 7), -1);
    ASSERT_EQ(rt->startAliveTask(QStringLiteral("taskB"), QStringLiteral("Display B"), char(1), 8), 0);

    // The failed call put its oid sign-extended.
    const std::vector<DravoRecordedCall> direct = takeCalls("ContendHeartBit");
    ASSERT_EQ(direct.size(), 2u);
    EXPECT_EQ(argText(direct[0], 0), "taskA");
    ASSERT_EQ(direct[0].records.size(), 1u);
    EXPECT_EQ(direct[0].records[0].GetSignedIntValue("oid"), -56);
    EXPECT_EQ(argText(direct[1], 0), "taskB");

    // The success left taskA's values stored.
    const ScadaRuntimeInterfacePrivate* d = rt->d_func();
    EXPECT_EQ(d->aliveTaskName, QStringLiteral("taskA"));
    EXPECT_EQ(d->aliveDisplayName, QStringLiteral("Display A"));
    EXPECT_EQ(d->aliveOid, char(0xC8));
    EXPECT_EQ(d->alivePid, 7);

    // The next connect notification contends with them, oid unsigned.
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 1));
    takeCalls();
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 2));
    const std::vector<DravoRecordedCall> retried = takeCalls("ContendHeartBit");
    ASSERT_EQ(retried.size(), 1u);
    EXPECT_EQ(argText(retried[0], 0), "taskA");
    EXPECT_EQ(argText(retried[0], 1), "<null>");
    EXPECT_EQ(argText(retried[0], 2), "<null>");
    ASSERT_EQ(retried[0].records.size(), 1u);
    const DravoData& record = retried[0].records[0];
    EXPECT_STREQ(record.GetTypeName(), "TASK_USER_DATA");
    EXPECT_EQ(record.GetWStringValue("displayname"), u"Display A");
    EXPECT_EQ(record.GetWStringValue("location"), hostName());
    EXPECT_EQ(record.GetSignedIntValue("pid"), 7);
    EXPECT_EQ(record.GetSignedIntValue("oid"), 200);
}

TEST_F(ScadaRuntimeInterfaceTest, ConnectRetryThatSucceedsMarksEntryRegistered)
{
    const std::string task = uniqueTask("Standby");
    SecondTask* other = secondTask();
    ASSERT_EQ(other->holdHeartbeat(task), DRAVO_OK);

    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    settle(50ms);
    const int before = state->count();
    ASSERT_EQ(rt->startAliveTask(QString::fromStdString(task), QStringLiteral("Standby"), char(2), 22), -1);
    ASSERT_FALSE(rt->d_func()->aliveRegistered);

    // The holder dies; once its lease has run out the entry is free.
    other->die();
    ASSERT_TRUE(waitUntil([&task] { return !heartbeatLive(task); }));

    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 1));
    startRecording();
    ASSERT_EQ(setServerOnline(true), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(before + 2));
    const std::vector<DravoRecordedCall> retried = takeCalls("ContendHeartBit");
    ASSERT_EQ(retried.size(), 1u);
    EXPECT_EQ(argText(retried[0], 0), task);
    EXPECT_EQ(retried[0].result, DRAVO_OK);
    EXPECT_TRUE(rt->d_func()->aliveRegistered);
    EXPECT_TRUE(heartbeatLive(task));
}

TEST_F(ScadaRuntimeInterfaceTest, FailedConnectRetryLeavesEntryUnregistered)
{
    const std::string task = uniqueTask("Held");
    SecondTask* other = secondTask();
    ASSERT_EQ(other->holdHeartbeat(task), DRAVO_OK);

    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    ASSERT_EQ(rt->startAliveTask(QString::fromStdString(task), QStringLiteral("Held"), char(2), 2), -1);
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    startRecording();
    rt->connectMid();
    ASSERT_TRUE(state->waitForCount(1));
    const std::vector<DravoRecordedCall> retried = takeCalls("ContendHeartBit");
    ASSERT_EQ(retried.size(), 1u);
    EXPECT_EQ(argText(retried[0], 0), task);
    EXPECT_EQ(retried[0].result, DRAVO_HEARTBEAT_HELD);
    EXPECT_FALSE(rt->d_func()->aliveRegistered);
}

TEST_F(ScadaRuntimeInterfaceTest, ConnectNotificationContendsEvenWithInitialEmptyValues)
{
    ASSERT_EQ(DravoPlus::DisConnectMid(nullptr), DRAVO_OK);
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    startRecording();
    rt->connectMid();
    ASSERT_TRUE(state->waitForCount(1));
    const std::vector<DravoRecordedCall> calls = takeCalls("ContendHeartBit");
    ASSERT_EQ(calls.size(), 1u);
    // The middleware refuses the empty task name, but the call is made.
    EXPECT_EQ(argText(calls[0], 0), "");
    EXPECT_EQ(calls[0].result, DRAVO_BAD_ARGUMENT);
    ASSERT_EQ(calls[0].records.size(), 1u);
    const DravoData& record = calls[0].records[0];
    EXPECT_STREQ(record.GetTypeName(), "TASK_USER_DATA");
    EXPECT_TRUE(record.GetWStringValue("displayname").empty());
    EXPECT_EQ(record.GetWStringValue("location"), hostName());
    // A failed retry leaves the flag as it was.
    EXPECT_TRUE(rt->d_func()->aliveRegistered);
}


// ---- Threads ------------------------------------------------------------------

// The answer is the calling thread's own copy: what the listener or another
// thread does afterwards does not change a reference already handed out.
TEST_F(ScadaRuntimeInterfaceTest, ActiveServerReferenceIsTheCallingThreadsOwnCopy)
{
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    const QString& held = rt->activeServer();
    ASSERT_EQ(held, QStringLiteral("embedded"));

    // The disconnect notification empties the cache on the middleware's
    // thread, and another thread then caches "Invaild".
    ASSERT_EQ(setServerOnline(false), DRAVO_OK);
    ASSERT_TRUE(state->waitForCount(1));
    QString otherAnswer;
    std::thread other([rt, &otherAnswer] { otherAnswer = rt->activeServer(); });
    other.join();
    EXPECT_EQ(otherAnswer, QStringLiteral("Invaild"));
    EXPECT_EQ(held, QStringLiteral("embedded"));

    // The next call on this thread answers from the cache again.
    EXPECT_EQ(rt->activeServer(), QStringLiteral("Invaild"));
    EXPECT_EQ(held, QStringLiteral("Invaild"));
}

// An operator console asks for the state and the active server from a status
// timer while the middleware's notification thread follows a connection that
// comes and goes, and a task enters its heartbeat meanwhile. Every value read
// is one the interface can hold, and once the server stays up the interface
// knows it again.
TEST_F(ScadaRuntimeInterfaceTest, StateAndActiveServerAreReadSafelyWhileTheServerFlaps)
{
    constexpr int kFlaps = 60;
    constexpr int kServerReaders = 3;
    ScadaRuntimeInterface* rt = newRuntime();
    SignalWatch* state = watch(rt);
    rt->connectMid();
    const QString task = QString::fromStdString(uniqueTask("Flapping"));

    std::atomic<bool> stop{false};
    std::atomic<int> illegal{0};
    std::atomic<int> reads{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < kServerReaders; ++i) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                const QString& server = rt->activeServer();
                if (server != QStringLiteral("embedded") && server != QStringLiteral("Invaild"))
                    ++illegal;
                ++reads;
            }
        });
    }
    readers.emplace_back([&] {
        while (!stop.load()) {
            const Morvane::MWStatus now = rt->serverState();
            if (now != Morvane::MWConnected && now != Morvane::MWDisconnected)
                ++illegal;
            ++reads;
        }
    });
    readers.emplace_back([&] {
        while (!stop.load()) {
            const int rc = rt->startAliveTask(task, QStringLiteral("Flapping"), char(3), 33);
            if (rc != 0 && rc != -1)
                ++illegal;
        }
    });

    int flapped = 0;
    for (; flapped < kFlaps; ++flapped) {
        if (setServerOnline(false) != DRAVO_OK || setServerOnline(true) != DRAVO_OK)
            break;
        settle(2ms);
    }
    stop.store(true);
    for (std::thread& reader : readers)
        reader.join();

    EXPECT_EQ(flapped, kFlaps);
    EXPECT_EQ(illegal.load(), 0);
    EXPECT_GT(reads.load(), 0);
    EXPECT_GT(state->emitted(), 0);
    EXPECT_TRUE(waitUntil([rt] { return rt->serverState() == Morvane::MWConnected; }));
    EXPECT_TRUE(waitUntil([rt] { return rt->activeServer() == QStringLiteral("embedded"); }));
}

} // namespace
} // namespace runtimetest

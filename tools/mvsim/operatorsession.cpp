/*
 * operatorsession.cpp: the demo's operator steps and their checks.
 *
 * Points are chosen from the plant the simulator read back, so the session
 * runs on any plant: a set-point free of tags, one carrying the control
 * inhibit tag (tagged here, and untagged afterwards, when the plant has
 * none), a status point for the tag step. Waits keep the event loop turning
 * (the change receiver delivers through queued connections) and are bounded.
 */
#include "operatorsession.h"

#include "simulatedfielddriver.h"

#include <MVShared/LoggerEngines.h>
#include <MVShared/MorvaneTypes.h>

#include <QsLog/QsLog.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <cmath>
#include <memory>

namespace {

/* How long a step may wait for the field, a driver or the change stream. */
constexpr int kStepLimitMs = 15000;
/* Changes the session sees arrive before it goes on. */
constexpr long long kChangesToSee = 500;
/* Points resolved and read in one request each. */
constexpr int kPointsPerRequest = 100;
/* The set-point values the session sends and replaces. */
constexpr double kReplacedValue = 42.0;
constexpr double kSetpointValue = 61.25;
constexpr int kNotifyKind = 20004;

QString resultText(const Morvane::RemoteSystemResult& r)
{
    return QStringLiteral("kind %1 code %2 \"%3\"").arg(r.kind).arg(r.code).arg(r.message);
}

bool hasTag(const DravoData& record, quint32 tag)
{
    return (record.GetUnSignedIntValue("tag") & tag) != 0;
}

} // namespace

OperatorSession::OperatorSession(PlantSimulator& simulator, QTextStream& progress)
    : m_simulator(simulator)
    , m_progress(progress)
    , m_runtime(QString())
{
    for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                        &MorvaneChangeEvent::textChanged}) {
        QObject::connect(&m_changes, signal, QCoreApplication::instance(),
                         [this](const QList<DravoData>& changes) { m_changesReceived += changes.size(); });
    }
}

OperatorSession::~OperatorSession()
{
    m_changes.shutDown();
    m_runtime.prepareClose();
}

QVector<DemoCheck> OperatorSession::run()
{
    m_clock.start();
    m_runtime.connectMid();
    m_changes.init();
    m_changes.start();
    resolveNames();
    readPoints();
    choosePoints();
    receiveChanges();
    replaceAndRelease();
    applyAndRemoveTag();
    refusedControl();
    executedControl();
    pollRemoteUnit();
    resetStatistics();
    broadcastNotifications();
    writeLog();
    reportProgress();
    return m_checks;
}

void OperatorSession::check(const QString& name, bool passed, const QString& detail)
{
    m_checks.append(DemoCheck{name, passed, passed ? QString() : detail});
    m_progress << (passed ? "  PASSED  " : "  FAILED  ") << name;
    if (!passed && !detail.isEmpty())
        m_progress << ": " << detail;
    m_progress << '\n';
    m_progress.flush();
}

bool OperatorSession::waitFor(const std::function<bool()>& done, int limitMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > limitMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
        if (m_clock.elapsed() - m_lastProgress >= 1000)
            reportProgress();
    }
    return true;
}

void OperatorSession::reportProgress()
{
    const qint64 now = m_clock.elapsed();
    const double seconds = (now - m_lastProgress) / 1000.0;
    const long long rate = seconds > 0 ? std::llround((m_changesReceived - m_changesAtLastProgress) / seconds) : 0;
    const PlantSimulator::Counters c = m_simulator.counters();
    m_progress << QStringLiteral("  [%1 s] %2 changes/s  field %3  packed %4  received %5  commands %6\n")
                      .arg(now / 1000.0, 5, 'f', 1)
                      .arg(rate, 6)
                      .arg(c.changesWritten)
                      .arg(c.changesPacked)
                      .arg(m_changesReceived)
                      .arg(c.commandsAnswered);
    m_progress.flush();
    m_lastProgress = now;
    m_changesAtLastProgress = m_changesReceived;
}

DravoData OperatorSession::readPoint(int id)
{
    DravoData record;
    m_runtime.GetPoint(id, record);
    return record;
}

double OperatorSession::analogValue(int id)
{
    return readPoint(id).GetDoubleValue("lastvalue");
}

/* Step: names to ids in one request, compared with the plant. */
void OperatorSession::resolveNames()
{
    const PlantIndex& plant = m_simulator.plant();
    QList<QString> names;
    QHash<QString, int> expected;
    for (const QVector<PlantPoint>* points : {&plant.status, &plant.analog, &plant.text}) {
        const int step = qMax(1, points->size() / (kPointsPerRequest / 3));
        for (int i = 0; i < points->size() && names.size() < kPointsPerRequest; i += step) {
            names.append(points->at(i).name);
            expected.insert(points->at(i).name, points->at(i).id);
        }
    }
    const QMap<QString, int> ids = m_runtime.pointIdsWithName(names);
    int right = 0;
    for (auto it = ids.cbegin(); it != ids.cend(); ++it)
        right += expected.value(it.key()) == it.value() ? 1 : 0;
    check(QStringLiteral("resolve %1 point names in one request").arg(names.size()), right == names.size(),
          QStringLiteral("%1 of %2 names gave the plant's id").arg(right).arg(names.size()));
}

/* Step: points by id in one request. */
void OperatorSession::readPoints()
{
    const PlantIndex& plant = m_simulator.plant();
    QList<int> ids;
    for (int i = 0; i < plant.analog.size() && ids.size() < kPointsPerRequest; ++i)
        ids.append(plant.analog[i].id);
    DravoDataList list;
    const int rc = m_runtime.GetPoints(ids, list);
    bool ok = rc == 0 && list.size() == ids.size();
    for (int i = 0; ok && i < list.size(); ++i)
        ok = list[i].GetSignedIntValue("pid") == ids[i];
    check(QStringLiteral("read %1 points in one request").arg(ids.size()), ok,
          QStringLiteral("result %1, %2 records").arg(rc).arg(list.size()));
}

/* Picks the session's points from the plant's tags: set-points are
 * preferred for the controls, as an operator would send them. */
void OperatorSession::choosePoints()
{
    const PlantIndex& plant = m_simulator.plant();
    QSet<int> inhibitedUnits;
    DravoDataList units;
    DravoPlus::GetDataPointByTypeName("REMOTEUNIT", units, nullptr, nullptr);
    for (const DravoData& unit : units)
        if (hasTag(unit, Morvane::ControlInhibitTag))
            inhibitedUnits.insert(unit.GetSignedIntValue("pid"));
    QList<int> ids;
    for (const PlantPoint& p : plant.analog)
        ids.append(p.id);
    DravoDataList analog;
    m_runtime.GetPoints(ids, analog);
    QVector<const PlantPoint*> free;
    QVector<const PlantPoint*> inhibited;
    for (int i = 0; i < analog.size() && i < plant.analog.size(); ++i) {
        const PlantPoint& p = plant.analog[i];
        int driver = 0;
        int channel = 0;
        if (!plant.route(p.rtuId, driver, channel))
            continue;
        const bool setpoint = p.name.contains(QLatin1String("Setpoint"));
        if (hasTag(analog[i], Morvane::ControlInhibitTag)) {
            setpoint ? inhibited.prepend(&p) : inhibited.append(&p);
        } else if (analog[i].GetUnSignedIntValue("tag") == 0 && !inhibitedUnits.contains(p.rtuId)) {
            setpoint ? free.prepend(&p) : free.append(&p);
        }
    }
    if (!free.isEmpty()) {
        m_choice.freeSetpoint = free.first()->id;
        m_choice.statisticsPoint = free.value(1, free.first())->id;
    }
    /* A plant without an inhibited point lends one of its free points for
     * the refused control; the tag comes off right after it. */
    if (!inhibited.isEmpty()) {
        m_choice.inhibitedSetpoint = inhibited.first()->id;
    } else if (!free.isEmpty()) {
        m_choice.inhibitedSetpoint = free.last()->id;
        m_choice.inhibitLent = true;
    }
    if (!plant.status.isEmpty())
        m_choice.taggedStatus = plant.status.first().id;
}

/* Step: the field's changes reach this operator station. */
void OperatorSession::receiveChanges()
{
    const bool ok = waitFor([this] { return m_changesReceived >= kChangesToSee; }, kStepLimitMs);
    check(QStringLiteral("receive %1 field changes through change packets").arg(kChangesToSee), ok,
          QStringLiteral("%1 arrived").arg(m_changesReceived));
}

/* Step: a value replaced by hand holds against the field, then is released. */
void OperatorSession::replaceAndRelease()
{
    const int id = m_choice.freeSetpoint;
    int rc = m_runtime.manualReplace(id, QVariant(kReplacedValue));
    bool held = rc == 0 && waitFor([&] { return m_simulator.isHeld(id); }, kStepLimitMs);
    if (held) {
        const long long written = m_simulator.counters().changesWritten;
        waitFor([&] { return m_simulator.counters().changesWritten > written + 200; }, kStepLimitMs);
    }
    const DravoData replaced = readPoint(id);
    const bool ok = held && replaced.GetDoubleValue("lastvalue") == kReplacedValue
                 && (replaced.GetSignedIntValue("quality") & Morvane::ManuallyReplacedQuality);
    check(QStringLiteral("replace the value of point %1 by hand; the field leaves it alone").arg(id), ok,
          QStringLiteral("result %1, value %2, quality %3").arg(rc).arg(replaced.GetDoubleValue("lastvalue"))
              .arg(replaced.GetSignedIntValue("quality")));

    rc = m_runtime.manualReplaceRelease(id);
    const bool released = rc == 0 && waitFor([&] { return !m_simulator.isHeld(id); }, kStepLimitMs)
                       && !(readPoint(id).GetSignedIntValue("quality") & Morvane::ManuallyReplacedQuality);
    check(QStringLiteral("release the replaced value of point %1").arg(id), released,
          QStringLiteral("result %1").arg(rc));
}

/* Step: a maintenance tag on a status point, read back, then removed. */
void OperatorSession::applyAndRemoveTag()
{
    const int id = m_choice.taggedStatus;
    int rc = m_runtime.applyTagToPoint(id, Morvane::MaintenanceTag);
    const bool applied = rc == 0 && hasTag(readPoint(id), Morvane::MaintenanceTag);
    check(QStringLiteral("apply the maintenance tag to point %1").arg(id), applied, QStringLiteral("result %1").arg(rc));
    rc = m_runtime.removeTagToPoint(id, Morvane::MaintenanceTag);
    const bool removed = rc == 0 && !hasTag(readPoint(id), Morvane::MaintenanceTag);
    check(QStringLiteral("remove the maintenance tag from point %1").arg(id), removed,
          QStringLiteral("result %1").arg(rc));
}

/* Step: a set-point to an inhibited point never leaves the station. */
void OperatorSession::refusedControl()
{
    const int id = m_choice.inhibitedSetpoint;
    const PlantPoint* point = m_simulator.plant().findAnalog(id);
    int driver = 0;
    int channel = 0;
    if (point)
        m_simulator.plant().route(point->rtuId, driver, channel);
    if (m_choice.inhibitLent)
        m_runtime.applyTagToPoint(id, Morvane::ControlInhibitTag);
    const int before = m_simulator.counters().commandsAnswered;
    const Morvane::RemoteSystemResult r = m_runtime.controlAo(id, driver, channel, kSetpointValue, false);
    const bool ok = point && r.kind == 2 && r.code == 2222 && m_simulator.counters().commandsAnswered == before;
    check(QStringLiteral("control of inhibit-tagged point %1 is refused").arg(point ? point->name : QString::number(id)),
          ok, resultText(r));
    if (m_choice.inhibitLent)
        m_runtime.removeTagToPoint(id, Morvane::ControlInhibitTag);
}

/* Step: a set-point executed by the driver and confirmed in the database. */
void OperatorSession::executedControl()
{
    const int id = m_choice.freeSetpoint;
    const PlantPoint* point = m_simulator.plant().findAnalog(id);
    int driver = 0;
    int channel = 0;
    const bool routed = point && m_simulator.plant().route(point->rtuId, driver, channel);
    const Morvane::RemoteSystemResult r = m_runtime.controlAo(id, driver, channel, kSetpointValue, false);
    const bool ok = routed && r.kind == 0 && r.code == 0;
    check(QStringLiteral("control of point %1 executed by Driver%2 and confirmed")
              .arg(point ? point->name : QString::number(id)).arg(driver),
          ok, resultText(r));
}

/* Step: an integrity poll of the set-point's remote unit. */
void OperatorSession::pollRemoteUnit()
{
    const PlantIndex& plant = m_simulator.plant();
    const PlantRemoteUnit* unit = plant.remoteUnits.isEmpty() ? nullptr : &plant.remoteUnits.first();
    int driver = 0;
    int channel = 0;
    const bool routed = unit && plant.route(unit->id, driver, channel);
    const int before = m_simulator.counters().commandsAnswered;
    const Morvane::RemoteSystemResult r = m_runtime.integrityPoll(unit ? unit->id : 0, driver, channel);
    const bool ok = routed && r.kind == 0 && r.code == 0 && m_simulator.counters().commandsAnswered == before + 1;
    check(QStringLiteral("integrity poll of remote unit %1").arg(unit ? unit->name : QString()), ok, resultText(r));
}

/* Step: a point's statistics set, then reset to zero. */
void OperatorSession::resetStatistics()
{
    const int id = m_choice.statisticsPoint;
    DravoPartialData statistics("ANALOG");
    statistics.PutValue("dayMax", 99.5f);
    statistics.PutValue("dayAcc", 12.0f);
    const int put = m_runtime.putPartialAnalogUpdate(id, statistics);
    const int rc = m_runtime.resetAnalogData({id});
    const DravoData after = readPoint(id);
    const bool ok = put == 0 && rc == 0 && after.GetDoubleValue("dayMax") == 0.0
                 && after.GetDoubleValue("dayAcc") == 0.0 && after.GetSignedIntValue("isDirty") == 1;
    check(QStringLiteral("reset the statistics of point %1").arg(id), ok,
          QStringLiteral("results %1/%2, dayMax %3").arg(put).arg(rc).arg(after.GetDoubleValue("dayMax")));
}

/* Step: notifications to every station arrive in a notification box. */
void OperatorSession::broadcastNotifications()
{
    const QByteArray box = QByteArrayLiteral("mvsim.notifications.") + QByteArray::number(QCoreApplication::applicationPid());
    unsigned int port = 0;
    bool ok = DravoPlus::CreateEventBox(box.constData(), kNotifyKind, 1000, nullptr, nullptr) == 0
           && DravoPlus::ConnectPortForRecv(box.constData(), port, nullptr, nullptr) == 0;
    m_runtime.needAllDataUpdate();
    m_runtime.sendAlarmAcked(QStringLiteral("mvsim"), {1, 2, 3});
    m_runtime.serverRestarted();
    int received = 0;
    waitFor([&] {
        DravoDataList list;
        if (ok && DravoPlus::ReceiveEventN(port, list, nullptr, 10, 0, nullptr, nullptr) == 0)
            received += list.size();
        return !ok || received >= 3;
    }, kStepLimitMs);
    DravoPlus::DeleteEventBox(box.constData(), nullptr, nullptr);
    check(QStringLiteral("broadcast 3 notifications to every station"), ok && received == 3,
          QStringLiteral("%1 arrived").arg(received));
}

/* Step: log lines through the daily file engine and the callback engine. */
void OperatorSession::writeLog()
{
    QTemporaryDir root;
    if (qEnvironmentVariableIsEmpty("MRN_ROOT"))
        qputenv("MRN_ROOT", QFile::encodeName(root.path()));
    QSharedPointer<BasicFileLoggerEngine> file(new BasicFileLoggerEngine(true));
    QSharedPointer<CallBackLoggerEngine> callback(new CallBackLoggerEngine);
    int blocks = 0;
    QObject::connect(callback.data(), &CallBackLoggerEngine::notifyBlock, QCoreApplication::instance(),
                     [&](const LogBlock&) { ++blocks; }, Qt::QueuedConnection);
    QsLogging::Logger::instance().addDestination(file);
    QsLogging::Logger::instance().addDestination(callback);
    const PlantSimulator::Counters c = m_simulator.counters();
    QLOG_INFO() << "mvsim demo: field changes" << c.changesWritten << "received" << m_changesReceived;
    QLOG_WARN() << "mvsim demo: commands answered" << c.commandsAnswered;
    waitFor([&] { return blocks >= 2; }, kStepLimitMs);
    QsLogging::Logger::instance().removeDestination(file);
    QsLogging::Logger::instance().removeDestination(callback);
    m_logFile = BasicFileLoggerEngine::logFileName(QDate::currentDate());
    QFile log(m_logFile);
    const QByteArray text = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    const bool ok = blocks == 2 && text.contains("mvsim demo: field changes") && text.contains("WARN");
    check(QStringLiteral("write log lines to the daily file and the log view"), ok,
          QStringLiteral("%1 log blocks, file %2 holds %3 bytes").arg(blocks).arg(m_logFile).arg(text.size()));
    if (root.path() == QFile::decodeName(qgetenv("MRN_ROOT"))) {
        m_logFile += QStringLiteral(" (temporary: set MRN_ROOT to keep it)");
        qunsetenv("MRN_ROOT");
    }
}

/*
 * notifications.cpp: the runtime interface's change notifications and
 * session messages, and the JSON texts published to all applications.
 *
 * Every notification is one "NOTIFY_MESSAGE" record: a command code and,
 * for most codes, a "param" body. It goes out under event 20004 with the
 * interface's domain and is forgotten; the receivers decide what a code and
 * target mean, so the numbers below are a contract with every application
 * of the product and never change.
 *
 * The data-change family is some fifty operations that differ only in
 * command code, target and whether they name an object by id. They are rows
 * of one table; each operation is a one-line call that picks its row.
 */
#include "middlewaretext_p.h"

#include <MVShared/JsonEventMessage.h>
#include <MVShared/ScadaRuntimeInterface.h>
#include <MVShared/SystemOptionChangeMessage.h>

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QVector>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

namespace {

using MorvaneRuntime::putUtf16;

/* Record types and fields of the notification vocabulary. */
const char kNotifyType[] = "NOTIFY_MESSAGE";
const char kDataChangeType[] = "DATA_CHANGE_MESSAGE";
const char kAckedType[] = "ACKED_DATA_MESSAGE";
const char kLogOnOffType[] = "USER_LOGONOFF_MESSAGE";
const char kReportType[] = "REPORT_CREATION_MESSAGE";

const char kCmdCodeField[] = "cmdCode";
const char kParamField[] = "param";
const char kTargetField[] = "target";
const char kPidField[] = "pid";
const char kAckedByField[] = "ackedBy";
const char kAlarmIdsField[] = "alarmIds";
const char kUserField[] = "user";
const char kStateField[] = "state";
const char kEqidField[] = "eqid";
const char kPrefixField[] = "prefix";
const char kReportIdField[] = "reportid";

/* Command codes, as the receivers dispatch on them. 6 is not used. */
enum NotifyCommand : std::int32_t {
    CmdDataChanged = 0,
    CmdAlarmsAcked = 1,
    CmdServerRestarted = 2,
    CmdPointUpdate = 3,
    CmdUserLogOnOff = 4,
    CmdReportCreation = 5,
    CmdOpenCanvas = 7,
    CmdPointReset = 8,
    CmdAnalogLimit = 9,
    CmdCloseCanvas = 10,
    CmdRunScript = 11,
    CmdSystemOptions = 12
};

/* An acknowledgement message carries at most this many alarm ids. */
const int kAlarmIdsPerMessage = 40;
/* A system option message carries at most this many options. */
const int kOptionsPerMessage = 10;
/* Session payloads are read by stations of every release: the Qt 4.6
 * stream format. */
const int kSessionStreamVersion = QDataStream::Qt_4_6;

/* The rows of the data-change table, one per operation (the overloads with
 * and without an id are separate rows). */
enum class DataChange {
    StatusData,
    AnalogData,
    RtuStatusData,
    RtuAnalogData,
    RtuScanData,
    RemoteUnitData,
    CommLinkData,
    StationData,
    UserAccount,
    UserRight,
    AnalogUnit,
    StateName,
    AlarmPriority,
    UserStateConvetor,
    Calculation,
    DriverManager,
    HistDataSet,
    Aor,
    AorGroup,
    AllStatusData,
    AllCommlinkData,
    AllRtuData,
    AllData,
    AllAnalogUnits,
    AllStateNames,
    AllAlarmPriorities,
    AllUserStateConvetors,
    ReportScheduler,
    VServer,
    VStatusData,
    VAnalogData,
    HistDataGroup,
    Schedule,
    DailyModel,
    EventScript,
    SimpleSchedule,
    Region,
    Munjanara,
    SimpleCalculation,
    RtuDatapoint,
    CommlinkDatapoint,
    StatusDatapoint,
    AnalogDatapoint,
    AllRtuDatapoints,
    AllCommlinkDatapoints,
    AllStatusDatapoints,
    AllAnalogDatapoints,
    StatusDatapointReset,
    AnalogDatapointReset,
    AnalogLimit,
    Count
};

struct DataChangeRoute {
    DataChange row;      /* kept beside the numbers so the order is checked */
    std::int32_t cmdCode;
    std::int32_t target;
    bool carriesId;
};

/* The same target number means different data under different codes: under
 * 3 and 8, 2 and 3 are status and analog points; under 0 they are a remote
 * unit's status and analog data. Targets 20, 21 and 38 belong to senders
 * outside this library. */
constexpr DataChangeRoute kDataChangeRoutes[] = {
    {DataChange::StatusData, CmdDataChanged, 0, true},
    {DataChange::AnalogData, CmdDataChanged, 1, true},
    {DataChange::RtuStatusData, CmdDataChanged, 2, true},
    {DataChange::RtuAnalogData, CmdDataChanged, 3, true},
    {DataChange::RtuScanData, CmdDataChanged, 4, true},
    {DataChange::RemoteUnitData, CmdDataChanged, 5, true},
    {DataChange::CommLinkData, CmdDataChanged, 6, true},
    {DataChange::StationData, CmdDataChanged, 7, true},
    {DataChange::UserAccount, CmdDataChanged, 8, true},
    {DataChange::UserRight, CmdDataChanged, 9, true},
    {DataChange::AnalogUnit, CmdDataChanged, 10, true},
    {DataChange::StateName, CmdDataChanged, 11, true},
    {DataChange::AlarmPriority, CmdDataChanged, 12, true},
    {DataChange::UserStateConvetor, CmdDataChanged, 13, true},
    {DataChange::Calculation, CmdDataChanged, 14, true},
    {DataChange::DriverManager, CmdDataChanged, 15, true},
    {DataChange::HistDataSet, CmdDataChanged, 16, true},
    {DataChange::Aor, CmdDataChanged, 17, true},
    {DataChange::AorGroup, CmdDataChanged, 18, true},
    {DataChange::AllStatusData, CmdDataChanged, 19, false},
    {DataChange::AllCommlinkData, CmdDataChanged, 22, false},
    {DataChange::AllRtuData, CmdDataChanged, 23, false},
    {DataChange::AllData, CmdDataChanged, 24, false},
    {DataChange::AllAnalogUnits, CmdDataChanged, 25, false},
    {DataChange::AllStateNames, CmdDataChanged, 26, false},
    {DataChange::AllAlarmPriorities, CmdDataChanged, 27, false},
    {DataChange::AllUserStateConvetors, CmdDataChanged, 28, false},
    {DataChange::ReportScheduler, CmdDataChanged, 29, false},
    {DataChange::VServer, CmdDataChanged, 30, true},
    {DataChange::VStatusData, CmdDataChanged, 31, true},
    {DataChange::VAnalogData, CmdDataChanged, 32, true},
    {DataChange::HistDataGroup, CmdDataChanged, 33, true},
    {DataChange::Schedule, CmdDataChanged, 34, false},
    {DataChange::DailyModel, CmdDataChanged, 35, false},
    {DataChange::EventScript, CmdDataChanged, 36, false},
    {DataChange::SimpleSchedule, CmdDataChanged, 37, false},
    {DataChange::Region, CmdDataChanged, 39, false},
    {DataChange::Munjanara, CmdDataChanged, 40, false},
    {DataChange::SimpleCalculation, CmdDataChanged, 41, true},
    {DataChange::RtuDatapoint, CmdPointUpdate, 0, true},
    {DataChange::CommlinkDatapoint, CmdPointUpdate, 1, true},
    {DataChange::StatusDatapoint, CmdPointUpdate, 2, true},
    {DataChange::AnalogDatapoint, CmdPointUpdate, 3, true},
    {DataChange::AllRtuDatapoints, CmdPointUpdate, 4, false},
    {DataChange::AllCommlinkDatapoints, CmdPointUpdate, 5, false},
    {DataChange::AllStatusDatapoints, CmdPointUpdate, 6, false},
    {DataChange::AllAnalogDatapoints, CmdPointUpdate, 7, false},
    {DataChange::StatusDatapointReset, CmdPointReset, 2, true},
    {DataChange::AnalogDatapointReset, CmdPointReset, 3, true},
    {DataChange::AnalogLimit, CmdAnalogLimit, 1, true},
};

constexpr bool routesFollowRows()
{
    for (std::size_t i = 0; i < std::size(kDataChangeRoutes); ++i) {
        if (static_cast<std::size_t>(kDataChangeRoutes[i].row) != i)
            return false;
    }
    return std::size(kDataChangeRoutes) == static_cast<std::size_t>(DataChange::Count);
}
static_assert(routesFollowRows(), "the data-change table must have one row per DataChange, in order");

// ---- Building and sending -------------------------------------------------

DravoData notifyMessage(NotifyCommand cmdCode)
{
    DravoData message(kNotifyType, nullptr);
    message.PutValue(kCmdCodeField, static_cast<std::int32_t>(cmdCode));
    return message;
}

/* An empty domain reaches every application. */
void post(const QString& domain, const DravoData& message)
{
    DravoPlus::SendEvent(DRAVO_EVENT_NOTIFY, message, nullptr, domain.toLatin1().constData());
}

void postWithRecord(const QString& domain, NotifyCommand cmdCode, const DravoData& param)
{
    DravoData message = notifyMessage(cmdCode);
    message.PutValue(kParamField, param);
    post(domain, message);
}

/* Session payloads travel as the raw value of an untyped record. */
void postWithStream(const QString& domain, NotifyCommand cmdCode, const QByteArray& stream)
{
    DravoData param;
    param.SetRawValue(stream.constData(), stream.size());
    postWithRecord(domain, cmdCode, param);
}

void postDataChange(const QString& domain, DataChange row, std::optional<int> id = std::nullopt)
{
    const DataChangeRoute& route = kDataChangeRoutes[static_cast<std::size_t>(row)];
    Q_ASSERT(route.carriesId == id.has_value());
    DravoData change(kDataChangeType, nullptr);
    change.PutValue(kTargetField, route.target);
    if (id)
        change.PutValue(kPidField, static_cast<std::int32_t>(*id));
    postWithRecord(domain, static_cast<NotifyCommand>(route.cmdCode), change);
}

/* The ids as the receivers read them: a count, then each id (the stream's
 * default version; big-endian). */
QByteArray alarmIdStream(const QVector<int>& ids)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << static_cast<quint32>(ids.size());
    for (int id : ids)
        stream << static_cast<qint32>(id);
    return bytes;
}

void postAlarmBatch(const QString& domain, const QString& ackedBy, const QVector<int>& ids)
{
    DravoData acked(kAckedType, nullptr);
    putUtf16(acked, kAckedByField, ackedBy);
    const QByteArray bytes = alarmIdStream(ids);
    acked.PutValue(kAlarmIdsField, bytes.constData(), bytes.size());
    postWithRecord(domain, CmdAlarmsAcked, acked);
}

/* The station id as the receivers have always taken it: as many characters
 * as the user name has, the station id's own first and zeros after it. */
QString eqidInUserLength(const QString& user, const QString& eqid)
{
    QString fitted(user.size(), QChar(0));
    const int kept = qMin(user.size(), eqid.size());
    for (int i = 0; i < kept; ++i)
        fitted[i] = eqid.at(i);
    return fitted;
}

/* A writer for session payloads in the stream format every station reads. */
class SessionStream
{
public:
    SessionStream()
        : m_stream(&m_bytes, QIODevice::WriteOnly)
    {
        m_stream.setVersion(kSessionStreamVersion);
    }
    QDataStream& stream() { return m_stream; }
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
    QDataStream m_stream;
};

} // namespace

// ---- Data-change family -----------------------------------------------------

void ScadaRuntimeInterface::statusDataChanged(int id) { postDataChange(domain, DataChange::StatusData, id); }
void ScadaRuntimeInterface::analogDataChanged(int id) { postDataChange(domain, DataChange::AnalogData, id); }
void ScadaRuntimeInterface::needRtuStatusDataUpdate(int id) { postDataChange(domain, DataChange::RtuStatusData, id); }
void ScadaRuntimeInterface::needRtuAnalogDataUpdate(int id) { postDataChange(domain, DataChange::RtuAnalogData, id); }
void ScadaRuntimeInterface::needRtuScanDataUpdate(int id) { postDataChange(domain, DataChange::RtuScanData, id); }
void ScadaRuntimeInterface::remoteUnitDataChanged(int id) { postDataChange(domain, DataChange::RemoteUnitData, id); }
void ScadaRuntimeInterface::commLinkDataChanged(int id) { postDataChange(domain, DataChange::CommLinkData, id); }
void ScadaRuntimeInterface::stationDataChanged(int id) { postDataChange(domain, DataChange::StationData, id); }
void ScadaRuntimeInterface::userAccountChanged(int id) { postDataChange(domain, DataChange::UserAccount, id); }
void ScadaRuntimeInterface::userRightChanged(int id) { postDataChange(domain, DataChange::UserRight, id); }
void ScadaRuntimeInterface::analogUnitChanged(int id) { postDataChange(domain, DataChange::AnalogUnit, id); }
void ScadaRuntimeInterface::stateNameChanged(int id) { postDataChange(domain, DataChange::StateName, id); }
void ScadaRuntimeInterface::alarmPriorityDataChanged(int id) { postDataChange(domain, DataChange::AlarmPriority, id); }
void ScadaRuntimeInterface::userStateConvetorChanged(int id) { postDataChange(domain, DataChange::UserStateConvetor, id); }
void ScadaRuntimeInterface::calculationChanged(int id) { postDataChange(domain, DataChange::Calculation, id); }
void ScadaRuntimeInterface::driverManagerDataChanged(int id) { postDataChange(domain, DataChange::DriverManager, id); }
void ScadaRuntimeInterface::histDataSetChanged(int id) { postDataChange(domain, DataChange::HistDataSet, id); }
void ScadaRuntimeInterface::aorChanged(int id) { postDataChange(domain, DataChange::Aor, id); }
void ScadaRuntimeInterface::aorGroupChanged(int id) { postDataChange(domain, DataChange::AorGroup, id); }
void ScadaRuntimeInterface::needStatusDataUpdate() { postDataChange(domain, DataChange::AllStatusData); }
void ScadaRuntimeInterface::needCommlinkDataUpdate() { postDataChange(domain, DataChange::AllCommlinkData); }
void ScadaRuntimeInterface::needRtuDataUpdate() { postDataChange(domain, DataChange::AllRtuData); }
void ScadaRuntimeInterface::needAllDataUpdate() { postDataChange(domain, DataChange::AllData); }
void ScadaRuntimeInterface::analogUnitChanged() { postDataChange(domain, DataChange::AllAnalogUnits); }
void ScadaRuntimeInterface::stateNameChanged() { postDataChange(domain, DataChange::AllStateNames); }
void ScadaRuntimeInterface::alarmPriorityDataChanged() { postDataChange(domain, DataChange::AllAlarmPriorities); }
void ScadaRuntimeInterface::userStateConvetorChanged() { postDataChange(domain, DataChange::AllUserStateConvetors); }
void ScadaRuntimeInterface::needReportSchedulerUpdate() { postDataChange(domain, DataChange::ReportScheduler); }
void ScadaRuntimeInterface::vServerChanged(int id) { postDataChange(domain, DataChange::VServer, id); }
void ScadaRuntimeInterface::vStatusDataChanged(int id) { postDataChange(domain, DataChange::VStatusData, id); }
void ScadaRuntimeInterface::vAnalogDataChanged(int id) { postDataChange(domain, DataChange::VAnalogData, id); }
void ScadaRuntimeInterface::histDataGroupChanged(int id) { postDataChange(domain, DataChange::HistDataGroup, id); }
void ScadaRuntimeInterface::scheduleChanged() { postDataChange(domain, DataChange::Schedule); }
void ScadaRuntimeInterface::dailyModelChanged() { postDataChange(domain, DataChange::DailyModel); }
void ScadaRuntimeInterface::needEventScriptUpdate() { postDataChange(domain, DataChange::EventScript); }
void ScadaRuntimeInterface::needSimpleScheduleUpdate() { postDataChange(domain, DataChange::SimpleSchedule); }
void ScadaRuntimeInterface::regionChanged() { postDataChange(domain, DataChange::Region); }
void ScadaRuntimeInterface::munjanaraChanged() { postDataChange(domain, DataChange::Munjanara); }
void ScadaRuntimeInterface::simpleCalculationChanged(int id) { postDataChange(domain, DataChange::SimpleCalculation, id); }
void ScadaRuntimeInterface::needRtuDatapointUpdate(int id) { postDataChange(domain, DataChange::RtuDatapoint, id); }
void ScadaRuntimeInterface::needCommlinkDatapointUpdate(int id) { postDataChange(domain, DataChange::CommlinkDatapoint, id); }
void ScadaRuntimeInterface::needStatusDatapointUpdate(int id) { postDataChange(domain, DataChange::StatusDatapoint, id); }
void ScadaRuntimeInterface::needAnalogDatapointUpdate(int id) { postDataChange(domain, DataChange::AnalogDatapoint, id); }
void ScadaRuntimeInterface::needAllRtuDatapointUpdate() { postDataChange(domain, DataChange::AllRtuDatapoints); }
void ScadaRuntimeInterface::needAllCommlinkDatapointUpdate() { postDataChange(domain, DataChange::AllCommlinkDatapoints); }
void ScadaRuntimeInterface::needAllStatusDatapointUpdate() { postDataChange(domain, DataChange::AllStatusDatapoints); }
void ScadaRuntimeInterface::needAllAnalogDatapointUpdate() { postDataChange(domain, DataChange::AllAnalogDatapoints); }
void ScadaRuntimeInterface::statusDataPointReseted(int id) { postDataChange(domain, DataChange::StatusDatapointReset, id); }
void ScadaRuntimeInterface::analogDataPointReseted(int id) { postDataChange(domain, DataChange::AnalogDatapointReset, id); }
void ScadaRuntimeInterface::analogLimitChanged(int id) { postDataChange(domain, DataChange::AnalogLimit, id); }

// ---- Other notifications ----------------------------------------------------

void ScadaRuntimeInterface::serverRestarted()
{
    post(domain, notifyMessage(CmdServerRestarted));
}

void ScadaRuntimeInterface::sendAlarmAcked(const QString& ackedBy, const QList<int>& alarmIds)
{
    QVector<int> batch;
    batch.reserve(kAlarmIdsPerMessage);
    for (int id : alarmIds) {
        batch.append(id);
        if (batch.size() == kAlarmIdsPerMessage) {
            postAlarmBatch(domain, ackedBy, batch);
            batch.clear();
        }
    }
    if (!batch.isEmpty())
        postAlarmBatch(domain, ackedBy, batch);
}

void ScadaRuntimeInterface::userLogOnOffed(const QString& user, char state, const QString& eqid)
{
    DravoData logOnOff(kLogOnOffType, nullptr);
    putUtf16(logOnOff, kUserField, user);
    // The state is a signed byte on every platform, whatever char is here.
    logOnOff.PutValue(kStateField, static_cast<std::int32_t>(static_cast<signed char>(state)));
    putUtf16(logOnOff, kEqidField, eqidInUserLength(user, eqid));
    postWithRecord(domain, CmdUserLogOnOff, logOnOff);
}

void ScadaRuntimeInterface::needReportCreate(int reportId, const QString& prefix)
{
    DravoData report(kReportType, nullptr);
    putUtf16(report, kPrefixField, prefix);
    report.PutValue(kReportIdField, static_cast<std::int32_t>(reportId));
    postWithRecord(domain, CmdReportCreation, report);
}

void ScadaRuntimeInterface::openSessionCanvas(const QString& canvas, const QStringList& arguments, int session)
{
    // The session comes before the arguments: the operator runtime reads it
    // in this order.
    SessionStream payload;
    payload.stream() << canvas << static_cast<qint32>(session) << static_cast<quint32>(arguments.size());
    for (const QString& argument : arguments)
        payload.stream() << argument;
    postWithStream(domain, CmdOpenCanvas, payload.bytes());
}

void ScadaRuntimeInterface::closeSessionCanvas(const QString& canvas, int session)
{
    SessionStream payload;
    payload.stream() << canvas << static_cast<qint32>(session);
    postWithStream(domain, CmdCloseCanvas, payload.bytes());
}

void ScadaRuntimeInterface::runSessionScript(const QString& name, int session, const QString& script)
{
    SessionStream payload;
    payload.stream() << name << static_cast<qint32>(session) << qCompress(script.toUtf8(), -1);
    postWithStream(domain, CmdRunScript, payload.bytes());
}

void ScadaRuntimeInterface::systemOptionChanged(const QList<QPair<QString, QString>>& options)
{
    const QStringList texts = SystemOptionChangeMessage(options).toJson(kOptionsPerMessage);
    for (const QString& text : texts) {
        DravoData message = notifyMessage(CmdSystemOptions);
        message.PutValue(kParamField, text.toUtf8().constData());
        post(domain, message);
    }
}

int ScadaRuntimeInterface::sendEvent(int eventId, const DravoData& data)
{
    return DravoPlus::SendEvent(eventId, data, nullptr, nullptr);
}

// ---- JSON texts ---------------------------------------------------------------

namespace Morvane {

int publishJsonEventMessage(const QString& json)
{
    const QByteArray utf8 = json.toUtf8();
    DravoData payload;
    payload.SetRawValue(utf8.constData(), utf8.size());
    return DravoPlus::SendUndefinedEvent(DRAVO_EVENT_JSON, payload, nullptr, nullptr);
}

} // namespace Morvane

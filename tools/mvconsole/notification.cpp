/*
 * notification.cpp: reading notifications and saying what they mean.
 */
#include "notification.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDataStream>

#include <string>

namespace {

/* An acknowledgement carries at most 40 ids; more in a damaged body are not
 * believed. */
constexpr quint32 kMaxAlarmIds = 40;

QString translated(const char* text)
{
    return QCoreApplication::translate("ConsoleNotification", text);
}

QString utf16(const DravoData& record, const char* field)
{
    std::u16string text;
    if (record.GetValue(field, text) != 0)
        return QString();
    return QString::fromUtf16(text.data(), static_cast<int>(text.size()));
}

QList<int> alarmIds(const DravoData& acked)
{
    std::string bytes;
    if (acked.GetValue("alarmIds", bytes) != 0)
        return {};
    QDataStream stream(QByteArray(bytes.data(), static_cast<int>(bytes.size())));
    quint32 count = 0;
    stream >> count;
    QList<int> ids;
    for (quint32 i = 0; i < count && i < kMaxAlarmIds && stream.status() == QDataStream::Ok; ++i) {
        qint32 id = 0;
        stream >> id;
        if (stream.status() == QDataStream::Ok)
            ids.append(id);
    }
    return ids;
}

void readParam(const DravoData& param, ConsoleNotification& n)
{
    switch (n.cmdCode) {
    case ConsoleNotification::DataChanged:
    case ConsoleNotification::PointUpdate:
    case ConsoleNotification::PointReset:
    case ConsoleNotification::AnalogLimitChanged:
        n.target = param.GetSignedIntValue("target");
        n.hasPid = param.HasField("pid");
        n.pid = param.GetSignedIntValue("pid");
        break;
    case ConsoleNotification::AlarmsAcknowledged:
        n.ackedBy = utf16(param, "ackedBy");
        n.alarmIds = alarmIds(param);
        break;
    case ConsoleNotification::UserLogOnOff:
        n.user = utf16(param, "user");
        n.state = param.GetSignedIntValue("state");
        break;
    case ConsoleNotification::ReportCreation:
        n.prefix = utf16(param, "prefix");
        n.reportId = param.GetSignedIntValue("reportid");
        break;
    default: break;
    }
}

QString pointName(int id, const PlantIndex& plant)
{
    const PlantPoint* p = plant.findPoint(id);
    return p ? p->name : QString::number(id);
}

QString idList(const QList<int>& ids, const PlantIndex& plant)
{
    QStringList names;
    for (const int id : ids)
        names << pointName(id, plant);
    return names.join(QStringLiteral(", "));
}

QString dataChangeText(const char* withId, const char* withoutId, const ConsoleNotification& n,
                       const PlantIndex& plant)
{
    if (!n.hasPid)
        return translated(withoutId).arg(n.target);
    return translated(withId).arg(n.target).arg(pointName(n.pid, plant));
}

} // namespace

bool decodeNotification(const DravoData& record, ConsoleNotification& out)
{
    if (std::string(record.GetTypeName()) != "NOTIFY_MESSAGE" || !record.HasField("cmdCode"))
        return false;
    out = ConsoleNotification();
    out.cmdCode = record.GetSignedIntValue("cmdCode");
    DravoData param;
    if (record.GetValue("param", param) == 0)
        readParam(param, out);
    return true;
}

QString notificationText(const ConsoleNotification& n, const PlantIndex& plant)
{
    switch (n.cmdCode) {
    case ConsoleNotification::DataChanged:
        return dataChangeText(QT_TRANSLATE_NOOP("ConsoleNotification", "Data changed (target %1): %2"),
                              QT_TRANSLATE_NOOP("ConsoleNotification", "Data changed (target %1)"), n, plant);
    case ConsoleNotification::AlarmsAcknowledged:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Alarms acknowledged by %1: %2"))
            .arg(n.ackedBy, idList(n.alarmIds, plant));
    case ConsoleNotification::ServerRestarted:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Runtime server restarted"));
    case ConsoleNotification::PointUpdate:
        return dataChangeText(QT_TRANSLATE_NOOP("ConsoleNotification", "Refresh requested (target %1): %2"),
                              QT_TRANSLATE_NOOP("ConsoleNotification", "Refresh requested (target %1)"), n, plant);
    case ConsoleNotification::UserLogOnOff:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "User %1 logged on or off (state %2)"))
            .arg(n.user)
            .arg(n.state);
    case ConsoleNotification::ReportCreation:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Report %1 requested (%2)"))
            .arg(n.reportId)
            .arg(n.prefix);
    case ConsoleNotification::OpenCanvas:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Canvas opened in a session"));
    case ConsoleNotification::PointReset:
        return dataChangeText(QT_TRANSLATE_NOOP("ConsoleNotification", "Statistics reset (target %1): %2"),
                              QT_TRANSLATE_NOOP("ConsoleNotification", "Statistics reset (target %1)"), n, plant);
    case ConsoleNotification::AnalogLimitChanged:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Limits changed: %1")).arg(pointName(n.pid, plant));
    case ConsoleNotification::CloseCanvas:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Canvas closed in a session"));
    case ConsoleNotification::RunScript:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Script run in a session"));
    case ConsoleNotification::SystemOptions:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "System options changed"));
    default:
        return translated(QT_TRANSLATE_NOOP("ConsoleNotification", "Notification %1")).arg(n.cmdCode);
    }
}

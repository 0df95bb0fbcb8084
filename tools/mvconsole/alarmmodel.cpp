/*
 * alarmmodel.cpp: raising, acknowledging and clearing alarms.
 */
#include "alarmmodel.h"

#include <MVShared/PointIds.h>

#include <QtGui/QBrush>
#include <QtGui/QFont>

namespace {

const char* const kHeaders[] = {
    QT_TRANSLATE_NOOP("AlarmModel", "Time"),     QT_TRANSLATE_NOOP("AlarmModel", "Point"),
    QT_TRANSLATE_NOOP("AlarmModel", "Alarm"),    QT_TRANSLATE_NOOP("AlarmModel", "State/value"),
    QT_TRANSLATE_NOOP("AlarmModel", "Priority"), QT_TRANSLATE_NOOP("AlarmModel", "Acknowledgement"),
};
static_assert(sizeof kHeaders / sizeof kHeaders[0] == AlarmModel::ColumnCount, "one header per column");

bool isAlarmable(int id)
{
    return Morvane::isStatusPoint(id) || Morvane::isAnalogPointPoint(id);
}

double valueOf(int id, const DravoData& record)
{
    return Morvane::isStatusPoint(id) ? record.GetSignedIntValue("lastvalue") : record.GetDoubleValue("lastvalue");
}

} // namespace

AlarmModel::AlarmModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

int AlarmModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_alarms.size();
}

int AlarmModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString AlarmModel::valueText(const Alarm& alarm) const
{
    if (Morvane::isStatusPoint(alarm.id))
        return QString::number(static_cast<int>(alarm.value));
    const PlantPoint* p = point(alarm.id);
    const QString number = QString::number(alarm.value, 'f', 3);
    return p && !p->unit.isEmpty() ? number + QLatin1Char(' ') + p->unit : number;
}

QVariant AlarmModel::data(const QModelIndex& index, int role) const
{
    const Alarm* a = alarm(index.row());
    if (!index.isValid() || !a)
        return QVariant();
    const PlantPoint* p = point(a->id);
    // An unacknowledged alarm shows its priority's colour over the whole
    // row; once acknowledged only the priority cell keeps it.
    if (role == Qt::BackgroundRole && (!a->acknowledged || index.column() == PriorityColumn))
        return QBrush(AlarmRules::priorityColour(a->condition.priority));
    if (role == Qt::FontRole && a->returned) {
        QFont font;
        font.setItalic(true);
        return font;
    }
    if (role != Qt::DisplayRole)
        return QVariant();
    switch (index.column()) {
    case TimeColumn: return a->raised.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    case PointColumn: return p ? p->name : QString::number(a->id);
    case ConditionColumn: return p ? AlarmRules::conditionText(*p, a->condition, a->value) : QString();
    case ValueColumn: return valueText(*a);
    case PriorityColumn: return AlarmRules::priorityText(a->condition.priority);
    case StateColumn:
        if (a->acknowledged)
            return tr("Acknowledged by %1").arg(a->acknowledgedBy);
        return a->returned ? tr("Returned to normal, unacknowledged") : tr("Unacknowledged");
    default: return QVariant();
    }
}

QVariant AlarmModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    return tr(kHeaders[section]);
}

void AlarmModel::setPoints(const PlantIndex& plant, const QDateTime& now)
{
    beginResetModel();
    m_points.clear();
    m_alarms.clear();
    m_rowOfAlarm.clear();
    m_unacknowledged = 0;
    for (const QVector<PlantPoint>* points : {&plant.status, &plant.analog})
        for (const PlantPoint& p : *points)
            m_points.insert(p.id, p);
    for (const QVector<PlantPoint>* points : {&plant.status, &plant.analog}) {
        for (const PlantPoint& p : *points) {
            const AlarmCondition c = AlarmRules::condition(p, p.value);
            if (c.abnormal)
                m_alarms.append({p.id, c, p.value, now, false, QString(), false});
        }
    }
    m_unacknowledged = m_alarms.size();
    reindex();
    endResetModel();
}

void AlarmModel::updatePoint(const PlantPoint& point, const QDateTime& now)
{
    if (!isAlarmable(point.id))
        return;
    m_points.insert(point.id, point);
    follow(point, point.value, now);
}

void AlarmModel::applyValue(int id, double value, const QDateTime& time)
{
    const auto it = m_points.find(id);
    if (it == m_points.end())
        return;
    it->value = value;
    follow(*it, value, time);
}

void AlarmModel::applyChanges(const mapEvent& changes)
{
    const QDateTime now = QDateTime::currentDateTime();
    for (auto it = changes.cbegin(); it != changes.cend(); ++it)
        if (isAlarmable(it.key()))
            applyValue(it.key(), valueOf(it.key(), it.value()), now);
}

void AlarmModel::follow(const PlantPoint& point, double value, const QDateTime& time)
{
    const AlarmCondition next = AlarmRules::condition(point, value);
    const int row = rowOfAlarm(point.id);
    if (row < 0) {
        if (next.abnormal)
            raise(point.id, next, value, time);
        return;
    }
    Alarm& a = m_alarms[row];
    if (!next.abnormal) {
        if (a.acknowledged) {
            removeRow(row);
        } else {
            a.returned = true;
            a.value = value;
            rowChanged(row);
        }
        return;
    }
    if (a.returned || AlarmRules::raisesAgain(a.condition, next)) {
        removeRow(row);
        raise(point.id, next, value, time);
        return;
    }
    a.condition = next;
    a.value = value;
    rowChanged(row);
}

void AlarmModel::raise(int id, const AlarmCondition& condition, double value, const QDateTime& time)
{
    beginInsertRows(QModelIndex(), 0, 0);
    m_alarms.prepend({id, condition, value, time, false, QString(), false});
    ++m_unacknowledged;
    reindex();
    endInsertRows();
    emit alarmRaised(id);
}

void AlarmModel::removeRow(int row)
{
    const int id = m_alarms[row].id;
    if (!m_alarms[row].acknowledged)
        --m_unacknowledged;
    beginRemoveRows(QModelIndex(), row, row);
    m_alarms.remove(row);
    reindex();
    endRemoveRows();
    emit alarmCleared(id);
}

void AlarmModel::reindex()
{
    m_rowOfAlarm.clear();
    for (int i = 0; i < m_alarms.size(); ++i)
        m_rowOfAlarm.insert(m_alarms[i].id, i);
}

void AlarmModel::rowChanged(int row)
{
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

QList<int> AlarmModel::acknowledge(const QList<int>& alarmIds, const QString& by)
{
    QList<int> acknowledged;
    for (const int id : alarmIds) {
        const int row = rowOfAlarm(id);
        if (row < 0 || m_alarms[row].acknowledged)
            continue;
        acknowledged.append(id);
        if (m_alarms[row].returned) {
            removeRow(row);
            continue;
        }
        --m_unacknowledged;
        m_alarms[row].acknowledged = true;
        m_alarms[row].acknowledgedBy = by;
        rowChanged(row);
    }
    return acknowledged;
}

const AlarmModel::Alarm* AlarmModel::alarm(int row) const
{
    return row >= 0 && row < m_alarms.size() ? &m_alarms[row] : nullptr;
}

int AlarmModel::rowOfAlarm(int id) const
{
    return m_rowOfAlarm.value(id, -1);
}

int AlarmModel::unacknowledgedCount() const
{
    return m_unacknowledged;
}

const PlantPoint* AlarmModel::point(int id) const
{
    const auto it = m_points.constFind(id);
    return it == m_points.cend() ? nullptr : &*it;
}

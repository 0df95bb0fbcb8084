/*
 * eventlistmodel.cpp: the list of events.
 */
#include "eventlistmodel.h"

EventListModel::EventListModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

int EventListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_events.size();
}

int EventListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant EventListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_events.size() || role != Qt::DisplayRole)
        return QVariant();
    const Event& e = m_events[index.row()];
    return index.column() == TimeColumn ? e.time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : e.text;
}

QVariant EventListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section == TimeColumn ? tr("Time") : section == EventColumn ? tr("Event") : QVariant();
}

void EventListModel::addEvent(const QDateTime& time, const QString& text)
{
    if (m_events.size() >= MaximumEvents) {
        beginRemoveRows(QModelIndex(), m_events.size() - 1, m_events.size() - 1);
        m_events.removeLast();
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), 0, 0);
    m_events.prepend({time, text});
    endInsertRows();
}

QString EventListModel::text(int row) const
{
    return row >= 0 && row < m_events.size() ? m_events[row].text : QString();
}

/*
 * eventlistmodel.h: the events listed below the alarms: what the
 * applications of the domain told each other (notifications), newest first.
 * The list keeps the latest 1000.
 */
#ifndef MVCONSOLE_EVENTLISTMODEL_H
#define MVCONSOLE_EVENTLISTMODEL_H

#include <QtCore/QAbstractTableModel>
#include <QtCore/QDateTime>
#include <QtCore/QVector>

class EventListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { TimeColumn, EventColumn, ColumnCount };
    static constexpr int MaximumEvents = 1000;

    explicit EventListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    void addEvent(const QDateTime& time, const QString& text);
    QString text(int row) const;

private:
    struct Event {
        QDateTime time;
        QString text;
    };
    QVector<Event> m_events;  /* newest first */
};

#endif

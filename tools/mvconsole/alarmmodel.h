/*
 * alarmmodel.h: the console's alarm list.
 *
 * It knows every status and analog point of the plant (its normal state,
 * priority and limits) and follows their values from the change packets.
 * A point that leaves its normal condition raises one alarm (newest first);
 * when and how urgently is decided by AlarmRules alone.
 *
 * An alarm's id is its point's id, so that stations agree on it: an
 * acknowledgement sent by one console (a "NOTIFY_MESSAGE" of alarm ids)
 * acknowledges the same alarms on every other.
 *
 * Clearing: an acknowledged alarm whose point returns to normal leaves the
 * list at once. An unacknowledged one stays, marked "Returned to normal",
 * until it is acknowledged: an operator must see every alarm that happened,
 * however short. Such an alarm whose point goes abnormal again is raised
 * anew (new time, top of the list).
 */
#ifndef MVCONSOLE_ALARMMODEL_H
#define MVCONSOLE_ALARMMODEL_H

#include "alarmrules.h"
#include "plantindex.h"

#include <MVShared/MorvaneChangeEvent.h>

#include <QtCore/QAbstractTableModel>
#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QVector>

class AlarmModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { TimeColumn, PointColumn, ConditionColumn, ValueColumn, PriorityColumn, StateColumn, ColumnCount };

    struct Alarm {
        int id = 0;                /* the point's id */
        AlarmCondition condition;
        double value = 0.0;        /* the point's latest value */
        QDateTime raised;
        bool acknowledged = false;
        QString acknowledgedBy;
        bool returned = false;     /* back to normal, not yet acknowledged */
    };

    explicit AlarmModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    /* Learns the plant's status and analog points and raises the alarms of
     * those already abnormal (standing alarms, stamped `now`). Replaces
     * whatever the model held. */
    void setPoints(const PlantIndex& plant, const QDateTime& now);
    /* A point's new setup (limits or priority changed) with its current
     * value; its alarm follows at once. Unknown status and analog points are
     * learnt. */
    void updatePoint(const PlantPoint& point, const QDateTime& now);
    /* A new value of a point; ignored for points the model does not know. */
    void applyValue(int id, double value, const QDateTime& time);

    /* Acknowledges the alarms of the ids (by `by`); returns the ids that were
     * unacknowledged and are acknowledged now, in the order given. */
    QList<int> acknowledge(const QList<int>& alarmIds, const QString& by);

    const Alarm* alarm(int row) const;
    int rowOfAlarm(int id) const;
    int unacknowledgedCount() const;
    const PlantPoint* point(int id) const;
    /* The value as the list shows it: a state, or a measurement and unit. */
    QString valueText(const Alarm& alarm) const;

public slots:
    /* The changes of a change packet, stamped with the time they arrive. */
    void applyChanges(const mapEvent& changes);

signals:
    void alarmRaised(int id);
    void alarmCleared(int id);

private:
    void follow(const PlantPoint& point, double value, const QDateTime& time);
    void raise(int id, const AlarmCondition& condition, double value, const QDateTime& time);
    void removeRow(int row);
    void reindex();
    void rowChanged(int row);

    QHash<int, PlantPoint> m_points;
    QVector<Alarm> m_alarms;       /* newest first */
    QHash<int, int> m_rowOfAlarm;
    int m_unacknowledged = 0;
};

#endif

/*
 * alarmview.h: the alarm list and, below it, the events of the domain.
 *
 * Alarms show newest first in their priority's colour until acknowledged;
 * the operator acknowledges the selected alarms or all of them. The view
 * only asks (acknowledgeRequested): the window acknowledges in the model
 * and tells the other stations.
 */
#ifndef MVCONSOLE_ALARMVIEW_H
#define MVCONSOLE_ALARMVIEW_H

#include <QtWidgets/QWidget>

class AlarmModel;
class EventListModel;
class QLabel;
class QTableView;

class AlarmView : public QWidget
{
    Q_OBJECT

public:
    AlarmView(AlarmModel* alarms, EventListModel* events, QWidget* parent = nullptr);

    QTableView* alarmTable() const { return m_alarmTable; }
    QTableView* eventTable() const { return m_eventTable; }
    /* The alarm ids of the selected rows. */
    QList<int> selectedAlarms() const;

public slots:
    void acknowledgeSelected();
    void acknowledgeAll();

signals:
    void acknowledgeRequested(const QList<int>& alarmIds);

private slots:
    void showCounts();

private:
    AlarmModel* m_alarms;
    QTableView* m_alarmTable = nullptr;
    QTableView* m_eventTable = nullptr;
    QLabel* m_counts = nullptr;
};

#endif

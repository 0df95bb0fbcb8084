/*
 * consolewindow.h: the operator console's main window.
 *
 * Left, the point browser (with a filter); centre, the live point table the
 * operator drags points into and, below it, the trend chart that takes
 * analog points dragged from the browser or the table; at the bottom the
 * alarms with the domain's events below them, and the log beside them.
 * Alarms follow every status and analog point of the plant from the change
 * packets; acknowledgements go to every station of the domain as
 * notifications, and those of other stations acknowledge here too. A
 * notification that a point's limits or alarm priority changed makes the
 * console read the point again. Actions on the selected row:
 * control (set-point, poll), replace the value by hand and release it, apply
 * and remove tags. The status bar shows the connection to the runtime server,
 * the active server and the rate of changes arriving.
 */
#ifndef MVCONSOLE_CONSOLEWINDOW_H
#define MVCONSOLE_CONSOLEWINDOW_H

#include "plantindex.h"

#include <MVShared/MorvaneChangeEvent.h>
#include <MVShared/MorvaneTypes.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtWidgets/QMainWindow>

#include <memory>

class AlarmModel;
class AlarmView;
class EventListModel;
class NotificationReceiver;
class TrendView;
struct ConsoleNotification;
class QLabel;
class QLineEdit;
class LogView;
class PointBrowser;
class PointTableModel;
class PointTableView;

class ConsoleWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit ConsoleWindow(QWidget* parent = nullptr);
    ~ConsoleWindow() override;

    /* Connects, reads the plant into the browser and starts receiving
     * changes; false when the plant cannot be read (the window still shows,
     * with the reason in the log and the status bar). */
    bool start();

    PointBrowser* browser() const { return m_browser; }
    PointTableModel* model() const { return m_model; }
    PointTableView* table() const { return m_table; }
    LogView* log() const { return m_log; }
    AlarmModel* alarms() const { return m_alarms; }
    EventListModel* events() const { return m_events; }
    AlarmView* alarmView() const { return m_alarmView; }
    TrendView* trend() const { return m_trend; }
    NotificationReceiver* notifications() const { return m_notifications.get(); }
    /* The name acknowledgements are sent under: the user running the console. */
    static QString operatorName();
    ScadaRuntimeInterface* runtime() { return &m_runtime; }
    const PlantIndex& plant() const { return m_plant; }
    long long changesReceived() const { return m_changesReceived; }

public slots:
    /* Adds the point to the table (by id or full name); false when unknown. */
    bool watchPoint(int id);
    bool watchPoint(const QString& name);
    void openControl();
    /* Asks for the value, then replaces the selected point's value by hand. */
    void replaceValue();
    void replaceSelected(const QVariant& value);
    void releaseValue();
    void applyTag(Morvane::Tagging tag);
    void removeTag(Morvane::Tagging tag);
    void openServerAddress();
    /* Acknowledges the alarms here and tells every station of the domain. */
    void acknowledgeAlarms(const QList<int>& alarmIds);
    /* Lists a notification among the events and acts on it. */
    void takeNotification(const ConsoleNotification& notification);

private slots:
    void showConnection();
    void countChanges(const QList<DravoData>& changes);
    void showRate();

private:
    void buildActions();
    void buildLayout();
    /* The point of the selected row, 0 when none is selected. */
    int selectedPoint() const;
    void logResult(const QString& what, int id, int result);
    /* Reads the point again after its setup changed elsewhere. */
    void rereadPoint(int id);

    ScadaRuntimeInterface m_runtime;
    MorvaneChangeEvent m_changes;
    PlantIndex m_plant;
    PointBrowser* m_browser = nullptr;
    QLineEdit* m_filter = nullptr;
    PointTableModel* m_model = nullptr;
    PointTableView* m_table = nullptr;
    LogView* m_log = nullptr;
    AlarmModel* m_alarms = nullptr;
    EventListModel* m_events = nullptr;
    AlarmView* m_alarmView = nullptr;
    TrendView* m_trend = nullptr;
    std::unique_ptr<NotificationReceiver> m_notifications;
    QLabel* m_connection = nullptr;
    QLabel* m_server = nullptr;
    QLabel* m_rate = nullptr;
    long long m_changesReceived = 0;
    long long m_changesAtLastRate = 0;
};

#endif

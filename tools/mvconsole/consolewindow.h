/*
 * consolewindow.h: the operator console's main window.
 *
 * Left, the point browser (with a filter); centre, the live point table the
 * operator drags points into; below, the log. Actions on the selected row:
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

    ScadaRuntimeInterface m_runtime;
    MorvaneChangeEvent m_changes;
    PlantIndex m_plant;
    PointBrowser* m_browser = nullptr;
    QLineEdit* m_filter = nullptr;
    PointTableModel* m_model = nullptr;
    PointTableView* m_table = nullptr;
    LogView* m_log = nullptr;
    QLabel* m_connection = nullptr;
    QLabel* m_server = nullptr;
    QLabel* m_rate = nullptr;
    long long m_changesReceived = 0;
    long long m_changesAtLastRate = 0;
};

#endif

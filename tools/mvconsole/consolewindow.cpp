/*
 * consolewindow.cpp: the console's window, its actions and its live data.
 */
#include "consolewindow.h"

#include "alarmmodel.h"
#include "alarmview.h"
#include "controldialog.h"
#include "eventlistmodel.h"
#include "logview.h"
#include "notificationreceiver.h"
#include "pointbrowser.h"
#include "pointtablemodel.h"
#include "pointtableview.h"
#include "trendview.h"

#include <MVShared/MorvaneRTServerSetting.h>

#include <QsLog/QsLog.h>

#include <QtCore/QTimer>
#include <QtCore/QDateTime>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QToolBar>
#include <QtWidgets/QVBoxLayout>

namespace {

struct TagAction {
    Morvane::Tagging tag;
    const char* text;
};

const TagAction kTagActions[] = {
    {Morvane::ControlInhibitTag, QT_TRANSLATE_NOOP("ConsoleWindow", "Control inhibit")},
    {Morvane::OutOfServiceTag, QT_TRANSLATE_NOOP("ConsoleWindow", "Out of service")},
    {Morvane::MaintenanceTag, QT_TRANSLATE_NOOP("ConsoleWindow", "Maintenance")},
};

} // namespace

ConsoleWindow::ConsoleWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_runtime(QString())
{
    setObjectName(QStringLiteral("consoleWindow"));
    setWindowTitle(tr("Operator console"));
    buildLayout();
    buildActions();
    connect(&m_runtime, &ScadaRuntimeInterface::serverStateChanged, this, &ConsoleWindow::showConnection);
    for (auto signal : {&MorvaneChangeEvent::statusChangedMap, &MorvaneChangeEvent::analogChangedMap,
                        &MorvaneChangeEvent::textChangedMap})
        connect(&m_changes, signal, m_model, &PointTableModel::applyChanges);
    for (auto signal : {&MorvaneChangeEvent::statusChangedMap, &MorvaneChangeEvent::analogChangedMap})
        connect(&m_changes, signal, m_alarms, &AlarmModel::applyChanges);
    connect(&m_changes, &MorvaneChangeEvent::analogChangedMap, m_trend->model(), &TrendModel::applyChanges);
    for (auto signal : {&MorvaneChangeEvent::statusChanged, &MorvaneChangeEvent::analogChanged,
                        &MorvaneChangeEvent::textChanged})
        connect(&m_changes, signal, this, &ConsoleWindow::countChanges);
    auto* rateTimer = new QTimer(this);
    connect(rateTimer, &QTimer::timeout, this, &ConsoleWindow::showRate);
    rateTimer->start(1000);
}

ConsoleWindow::~ConsoleWindow()
{
    if (m_notifications)
        m_notifications->stop();
    m_changes.shutDown();
    m_runtime.prepareClose();
}

void ConsoleWindow::buildLayout()
{
    m_browser = new PointBrowser;
    m_filter = new QLineEdit;
    m_filter->setObjectName(QStringLiteral("pointFilter"));
    m_filter->setPlaceholderText(tr("Filter points"));
    connect(m_filter, &QLineEdit::textChanged, m_browser, &PointBrowser::filter);
    auto* browserPane = new QWidget;
    auto* browserLayout = new QVBoxLayout(browserPane);
    browserLayout->setContentsMargins(0, 0, 0, 0);
    browserLayout->addWidget(m_filter);
    browserLayout->addWidget(m_browser);

    m_model = new PointTableModel(&m_runtime, this);
    m_table = new PointTableView(&m_runtime);
    m_table->setModel(m_model);
    // Room for the quality and tag texts beside their badges.
    const QFontMetrics metrics = m_table->fontMetrics();
    const QString quality = PointTableModel::qualityText(Morvane::ManuallyReplacedQuality);
    const QString tags = PointTableModel::tagText(Morvane::ControlInhibitTag | Morvane::OutOfServiceTag);
    QHeaderView* header = m_table->horizontalHeader();
    header->resizeSection(PointTableModel::QualityColumn, metrics.horizontalAdvance(quality) + 40);
    header->resizeSection(PointTableModel::TagsColumn, metrics.horizontalAdvance(tags) + 60);
    connect(m_table, &PointTableView::pointDropped, this, qOverload<int>(&ConsoleWindow::watchPoint));

    m_trend = new TrendView(&m_runtime);
    connect(m_trend, &TrendView::pointAdded, this, [this](int id) { QLOG_INFO() << "trending point" << id; });
    connect(m_trend, &TrendView::pointRefused, this, [this](int id, const QString& reason) {
        QLOG_WARN() << "point" << id << "not trended:" << reason;
        statusBar()->showMessage(tr("Not trended: %1").arg(reason), 5000);
    });
    auto* centre = new QSplitter(Qt::Vertical);
    centre->addWidget(m_table);
    centre->addWidget(m_trend);
    centre->setStretchFactor(0, 1);
    centre->setStretchFactor(1, 2);
    centre->setSizes({120, 300});
    auto* main = new QSplitter(Qt::Horizontal);
    main->addWidget(browserPane);
    main->addWidget(centre);
    main->setStretchFactor(1, 2);
    main->setSizes({330, 930});
    setCentralWidget(main);

    m_alarms = new AlarmModel(this);
    m_events = new EventListModel(this);
    m_alarmView = new AlarmView(m_alarms, m_events);
    connect(m_alarmView, &AlarmView::acknowledgeRequested, this, &ConsoleWindow::acknowledgeAlarms);
    m_log = new LogView;
    auto* alarmDock = new QDockWidget(tr("Alarms and events"));
    alarmDock->setObjectName(QStringLiteral("alarmDock"));
    alarmDock->setWidget(m_alarmView);
    alarmDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    auto* logDock = new QDockWidget(tr("Log"));
    logDock->setObjectName(QStringLiteral("logDock"));
    logDock->setWidget(m_log);
    logDock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::BottomDockWidgetArea, alarmDock);
    addDockWidget(Qt::BottomDockWidgetArea, logDock);
    tabifyDockWidget(alarmDock, logDock);
    alarmDock->raise();
    resizeDocks({alarmDock}, {280}, Qt::Vertical);

    m_connection = new QLabel;
    m_connection->setObjectName(QStringLiteral("connectionState"));
    m_connection->setMinimumWidth(120);
    m_server = new QLabel;
    m_server->setObjectName(QStringLiteral("activeServer"));
    m_rate = new QLabel;
    m_rate->setObjectName(QStringLiteral("changeRate"));
    statusBar()->addWidget(m_connection);
    statusBar()->addWidget(m_server);
    statusBar()->addPermanentWidget(m_rate);
    resize(1260, 780);
}

void ConsoleWindow::buildActions()
{
    QMenu* point = menuBar()->addMenu(tr("&Point"));
    QToolBar* tools = addToolBar(tr("Point"));
    tools->setObjectName(QStringLiteral("pointToolBar"));
    const auto add = [&](const QString& text, const QString& name, auto slot) {
        QAction* action = point->addAction(text, this, slot);
        action->setObjectName(name);
        tools->addAction(action);
        m_table->addAction(action);
    };
    add(tr("Control..."), QStringLiteral("controlAction"), &ConsoleWindow::openControl);
    add(tr("Replace value..."), QStringLiteral("replaceAction"), &ConsoleWindow::replaceValue);
    add(tr("Release value"), QStringLiteral("releaseAction"), &ConsoleWindow::releaseValue);
    QMenu* apply = point->addMenu(tr("Apply tag"));
    QMenu* remove = point->addMenu(tr("Remove tag"));
    for (const TagAction& t : kTagActions) {
        const Morvane::Tagging tag = t.tag;
        apply->addAction(tr(t.text), this, [this, tag] { applyTag(tag); });
        remove->addAction(tr(t.text), this, [this, tag] { removeTag(tag); });
    }
    m_table->setContextMenuPolicy(Qt::ActionsContextMenu);

    QMenu* server = menuBar()->addMenu(tr("&Server"));
    server->addAction(tr("Server address..."), this, &ConsoleWindow::openServerAddress)
        ->setObjectName(QStringLiteral("serverAddressAction"));
}

bool ConsoleWindow::start()
{
    m_runtime.connectMid();
    showConnection();
    const int rc = m_plant.read();
    if (rc != DRAVO_OK || m_plant.isEmpty()) {
        const QString reason = rc != DRAVO_OK ? QString::fromUtf16(DravoPlus::GetErrorString(rc))
                                              : tr("the runtime server holds no plant");
        QLOG_ERROR() << "cannot read the plant:" << reason;
        statusBar()->showMessage(tr("Cannot read the plant: %1").arg(reason));
        return false;
    }
    m_browser->showPlant(m_plant);
    m_alarms->setPoints(m_plant, QDateTime::currentDateTime());
    m_notifications = std::make_unique<NotificationReceiver>(m_runtime.currentDomain());
    connect(m_notifications.get(), &NotificationReceiver::received, this, &ConsoleWindow::takeNotification,
            Qt::QueuedConnection);
    m_notifications->start();
    // An operator must never act on a stale table: a loss on the way is
    // logged and healed with the points' current records.
    m_changes.setResyncOnLoss(true);
    m_changes.init();
    m_changes.start();
    QLOG_INFO() << "plant read:" << m_plant.status.size() << "status," << m_plant.analog.size() << "analog,"
                << m_plant.text.size() << "text points";
    return true;
}

bool ConsoleWindow::watchPoint(int id)
{
    if (!m_model->addPoint(id))
        return false;
    m_table->resizeColumnToContents(PointTableModel::NameColumn);
    QLOG_INFO() << "watching point" << id << m_model->row(m_model->rowOfPoint(id))->name;
    return true;
}

bool ConsoleWindow::watchPoint(const QString& name)
{
    const PlantPoint* point = m_plant.findPoint(name);
    return point && watchPoint(point->id);
}

int ConsoleWindow::selectedPoint() const
{
    const QModelIndexList rows = m_table->selectionModel() ? m_table->selectionModel()->selectedRows()
                                                           : QModelIndexList();
    const PointTableModel::Row* row = rows.isEmpty() ? nullptr : m_model->row(rows.first().row());
    return row ? row->id : 0;
}

void ConsoleWindow::logResult(const QString& what, int id, int result)
{
    if (result == 0)
        QLOG_INFO() << what << "point" << id << "done";
    else
        QLOG_WARN() << what << "point" << id << "failed with" << result;
}

void ConsoleWindow::openControl()
{
    const int id = selectedPoint();
    if (!id)
        return;
    auto* dialog = new ControlDialog(&m_runtime, m_plant, id, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &ControlDialog::finished, this, [id](const Morvane::RemoteSystemResult& r) {
        QLOG_INFO() << "control of point" << id << "ended:" << ControlDialog::kindText(r.kind) << "code" << r.code
                    << r.message;
    });
    dialog->show();
}

void ConsoleWindow::replaceValue()
{
    const int id = selectedPoint();
    const PointTableModel::Row* row = m_model->row(m_model->rowOfPoint(id));
    if (!row)
        return;
    bool ok = false;
    QVariant value;
    if (row->kind == QLatin1String("Analog"))
        value = QInputDialog::getDouble(this, tr("Replace value"), row->name, row->value.toDouble(), -1e9, 1e9, 3, &ok);
    else if (row->kind == QLatin1String("Status"))
        value = QInputDialog::getInt(this, tr("Replace value"), row->name, row->value.toInt(), 0, 1, 1, &ok);
    else
        value = QInputDialog::getText(this, tr("Replace value"), row->name, QLineEdit::Normal, row->value, &ok);
    if (ok)
        replaceSelected(value);
}

void ConsoleWindow::replaceSelected(const QVariant& value)
{
    const int id = selectedPoint();
    if (id)
        logResult(tr("replacing the value of"), id, m_runtime.manualReplace(id, value));
}

void ConsoleWindow::releaseValue()
{
    const int id = selectedPoint();
    if (id)
        logResult(tr("releasing the value of"), id, m_runtime.manualReplaceRelease(id));
}

void ConsoleWindow::applyTag(Morvane::Tagging tag)
{
    const int id = selectedPoint();
    if (id)
        logResult(tr("tagging"), id, m_runtime.applyTagToPoint(id, tag));
}

void ConsoleWindow::removeTag(Morvane::Tagging tag)
{
    const int id = selectedPoint();
    if (id)
        logResult(tr("removing a tag of"), id, m_runtime.removeTagToPoint(id, tag));
}

/* New addresses take effect at once: the console connects again (the change
 * receiver follows on its own). */
void ConsoleWindow::openServerAddress()
{
    if (MorvaneRTServerSetting::openServerSetting() != QDialog::Accepted)
        return;
    QLOG_INFO() << "server addresses changed; connecting again";
    m_runtime.disConnectMid();
    m_runtime.connectMid();
    showConnection();
}

void ConsoleWindow::showConnection()
{
    const bool connected = m_runtime.serverState() == Morvane::MWConnected;
    m_connection->setText(connected ? tr("Connected") : tr("Not connected"));
    m_server->setText(tr("Server: %1").arg(m_runtime.activeServer()));
}

void ConsoleWindow::countChanges(const QList<DravoData>& changes)
{
    m_changesReceived += changes.size();
}

void ConsoleWindow::showRate()
{
    m_rate->setText(tr("%1 changes/s").arg(m_changesReceived - m_changesAtLastRate));
    m_changesAtLastRate = m_changesReceived;
    showConnection();
}

namespace {

/* An alarm priority changed (the data-change notification of one point). */
bool isPriorityChange(const ConsoleNotification& n)
{
    return n.cmdCode == ConsoleNotification::DataChanged && n.target == ConsoleNotification::AlarmPriorityTarget;
}

} // namespace

QString ConsoleWindow::operatorName()
{
    const QString user = qEnvironmentVariable("USER");
    return user.isEmpty() ? QStringLiteral("operator") : user;
}

void ConsoleWindow::acknowledgeAlarms(const QList<int>& alarmIds)
{
    const QList<int> acknowledged = m_alarms->acknowledge(alarmIds, operatorName());
    if (acknowledged.isEmpty())
        return;
    m_runtime.sendAlarmAcked(operatorName(), acknowledged);
    QLOG_INFO() << "acknowledged" << acknowledged.size() << "alarms";
}

void ConsoleWindow::takeNotification(const ConsoleNotification& n)
{
    m_events->addEvent(QDateTime::currentDateTime(), notificationText(n, m_plant));
    if (n.cmdCode == ConsoleNotification::AlarmsAcknowledged)
        m_alarms->acknowledge(n.alarmIds, n.ackedBy);
    else if (n.hasPid && (n.cmdCode == ConsoleNotification::AnalogLimitChanged || isPriorityChange(n)))
        rereadPoint(n.pid);
}

void ConsoleWindow::rereadPoint(int id)
{
    DravoData record;
    const int rc = m_runtime.GetPoint(id, record);
    if (rc != 0) {
        QLOG_WARN() << "cannot read point" << id << "again:" << rc;
        return;
    }
    const PlantPoint point = PlantIndex::pointOf(record);
    m_alarms->updatePoint(point, QDateTime::currentDateTime());
    m_trend->model()->updatePoint(point);
}

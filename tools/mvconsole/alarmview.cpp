/*
 * alarmview.cpp: the alarm and event tables and the acknowledge buttons.
 */
#include "alarmview.h"

#include "alarmmodel.h"
#include "eventlistmodel.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QTableView>
#include <QtWidgets/QVBoxLayout>

namespace {

QTableView* makeTable(QAbstractItemModel* model, const QString& name)
{
    auto* table = new QTableView;
    table->setObjectName(name);
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->verticalHeader()->hide();
    table->setWordWrap(false);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setStretchLastSection(true);
    return table;
}

} // namespace

AlarmView::AlarmView(AlarmModel* alarms, EventListModel* events, QWidget* parent)
    : QWidget(parent)
    , m_alarms(alarms)
{
    setObjectName(QStringLiteral("alarmView"));
    m_alarmTable = makeTable(alarms, QStringLiteral("alarmTable"));
    m_alarmTable->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // Columns as wide as their usual texts: a time, a long point name, a
    // condition and a value with its unit.
    const QFontMetrics metrics = m_alarmTable->fontMetrics();
    const auto width = [&](const char* sample) { return metrics.horizontalAdvance(QLatin1String(sample)) + 16; };
    QHeaderView* header = m_alarmTable->horizontalHeader();
    header->resizeSection(AlarmModel::TimeColumn, width("0000-00-00 00:00:00"));
    header->resizeSection(AlarmModel::PointColumn, width("KestrelHill.33kV.Feeder01.CB.TripCircuitFail"));
    header->resizeSection(AlarmModel::ConditionColumn, width("State 0 (normal 1)"));
    header->resizeSection(AlarmModel::ValueColumn, width("000000.000 m3/h"));
    header->resizeSection(AlarmModel::PriorityColumn, width("Urgent"));
    m_eventTable = makeTable(events, QStringLiteral("eventTable"));
    m_eventTable->setSelectionMode(QAbstractItemView::SingleSelection);
    m_eventTable->horizontalHeader()->resizeSection(EventListModel::TimeColumn, width("0000-00-00 00:00:00"));

    auto* acknowledge = new QPushButton(tr("Acknowledge"));
    acknowledge->setObjectName(QStringLiteral("acknowledgeSelected"));
    connect(acknowledge, &QPushButton::clicked, this, &AlarmView::acknowledgeSelected);
    auto* acknowledgeAll = new QPushButton(tr("Acknowledge all"));
    acknowledgeAll->setObjectName(QStringLiteral("acknowledgeAll"));
    connect(acknowledgeAll, &QPushButton::clicked, this, &AlarmView::acknowledgeAll);
    m_counts = new QLabel;
    m_counts->setObjectName(QStringLiteral("alarmCounts"));

    auto* bar = new QHBoxLayout;
    bar->addWidget(acknowledge);
    bar->addWidget(acknowledgeAll);
    bar->addStretch(1);
    bar->addWidget(m_counts);
    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(m_alarmTable);
    split->addWidget(m_eventTable);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    split->setSizes({180, 70});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(split, 1);

    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(alarms, signal, this, &AlarmView::showCounts);
    connect(alarms, &QAbstractItemModel::dataChanged, this, &AlarmView::showCounts);
    connect(alarms, &QAbstractItemModel::modelReset, this, &AlarmView::showCounts);
    showCounts();
}

QList<int> AlarmView::selectedAlarms() const
{
    QList<int> ids;
    for (const QModelIndex& index : m_alarmTable->selectionModel()->selectedRows())
        if (const AlarmModel::Alarm* a = m_alarms->alarm(index.row()))
            ids.append(a->id);
    return ids;
}

void AlarmView::acknowledgeSelected()
{
    const QList<int> ids = selectedAlarms();
    if (!ids.isEmpty())
        emit acknowledgeRequested(ids);
}

void AlarmView::acknowledgeAll()
{
    QList<int> ids;
    for (int row = 0; row < m_alarms->rowCount(); ++row)
        if (!m_alarms->alarm(row)->acknowledged)
            ids.append(m_alarms->alarm(row)->id);
    if (!ids.isEmpty())
        emit acknowledgeRequested(ids);
}

void AlarmView::showCounts()
{
    m_counts->setText(
        tr("%1 alarms, %2 unacknowledged").arg(m_alarms->rowCount()).arg(m_alarms->unacknowledgedCount()));
}

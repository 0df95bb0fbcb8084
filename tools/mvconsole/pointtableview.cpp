/*
 * pointtableview.cpp: dropping points into the live table.
 */
#include "pointtableview.h"

#include "pointpayload.h"
#include "pointtablemodel.h"

#include <MVShared/PointMimeData.h>
#include <MVShared/ScadaRuntimeInterface.h>

#include <QtGui/QDragEnterEvent>
#include <QtGui/QDropEvent>
#include <QtWidgets/QHeaderView>

PointTableView::PointTableView(ScadaRuntimeInterface* runtime, QWidget* parent)
    : QTableView(parent)
    , m_runtime(runtime)
{
    setObjectName(QStringLiteral("pointTable"));
    setAcceptDrops(true);
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->hide();
    // Up to three badges side by side in the quality and tags columns.
    setIconSize(QSize(46, 14));
}

int PointTableView::pointOfPayload(const QMimeData* payload) const
{
    return PointPayload::pointOf(payload, m_runtime);
}

/* A row leaves the table as the product's SCADA point payload, named form,
 * like a point of the browser (into the trend, or another application). */
Qt::DropAction PointTableView::dragRow(int row)
{
    const QModelIndex id = model() ? model()->index(row, 0) : QModelIndex();
    if (!id.isValid())
        return Qt::IgnoreAction;
    const int point = id.data(PointTableModel::PointIdRole).toInt();
    if (point <= 0)
        return Qt::IgnoreAction;
    return MorvaneScadaPointMimeData::execDrag(static_cast<uint>(point), id.data().toString(), QString(), this);
}

void PointTableView::startDrag(Qt::DropActions)
{
    dragRow(currentIndex().row());
}

void PointTableView::dragEnterEvent(QDragEnterEvent* event)
{
    if (PointPayload::carriesPoint(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void PointTableView::dragMoveEvent(QDragMoveEvent* event)
{
    if (PointPayload::carriesPoint(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void PointTableView::dropEvent(QDropEvent* event)
{
    const int id = pointOfPayload(event->mimeData());
    if (id <= 0) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    emit pointDropped(id);
}

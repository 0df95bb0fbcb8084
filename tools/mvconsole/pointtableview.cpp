/*
 * pointtableview.cpp: dropping points into the live table.
 */
#include "pointtableview.h"

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
    setDragDropMode(QAbstractItemView::DropOnly);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->hide();
}

int PointTableView::pointOfPayload(const QMimeData* payload) const
{
    if (const auto* point = qobject_cast<const MorvaneScadaPointMimeData*>(payload))
        return static_cast<int>(point->pointPid());
    if (!payload || !payload->hasFormat(Morvane::scadaPointMimeFormat()))
        return 0;
    const QByteArray bytes = payload->data(Morvane::scadaPointMimeFormat());
    bool isNumber = false;
    const int id = bytes.toInt(&isNumber);
    if (isNumber)
        return id;
    const int resolved = m_runtime->pointIdWithName(QString::fromUtf8(bytes));
    return resolved > 0 ? resolved : 0;
}

void PointTableView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasFormat(Morvane::scadaPointMimeFormat()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void PointTableView::dragMoveEvent(QDragMoveEvent* event)
{
    if (event->mimeData()->hasFormat(Morvane::scadaPointMimeFormat()))
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
